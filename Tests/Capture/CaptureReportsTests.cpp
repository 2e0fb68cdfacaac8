// The capture program's lines, as they come through a pipe.
#include "Capture/CaptureReports.h"

#include <gtest/gtest.h>
#include <string>

namespace netrondo::test {
namespace {

CaptureReports after(std::string_view text)
{
    CaptureReports reports;
    reports.take(text);
    return reports;
}

TEST(CaptureReports, ALineCountsOnceItsEndHasCome)
{
    CaptureReports reports;
    reports.take("liste");
    reports.take("ning");
    EXPECT_FALSE(reports.isListening());
    reports.take("\ncounts 1 2");
    EXPECT_TRUE(reports.isListening());
    reports.take("0 3\n");
    EXPECT_EQ(reports.counts(), (CaptureCounts{.received = 1, .dropped = 20, .interfaceDropped = 3}));
}

struct ErrorLine {
    std::string_view text;
    CaptureFault fault;
    std::string_view detail;
};

TEST(CaptureReports, AnErrorIsItsKindAndItsText)
{
    for (const auto& [text, fault, detail] :
         {ErrorLine{"error permission Operation not permitted\n", CaptureFault::permission, "Operation not permitted"},
          ErrorLine{"error interface gone\n", CaptureFault::interface, "gone"},
          ErrorLine{"error down the interface went down\n", CaptureFault::interfaceDown, "the interface went down"},
          ErrorLine{"error filter syntax error\n", CaptureFault::filter, "syntax error"},
          ErrorLine{"error other out of memory\n", CaptureFault::other, "out of memory"},
          ErrorLine{"error something else\n", CaptureFault::other, "else"},
          ErrorLine{"error\n", CaptureFault::other, ""}, ErrorLine{"words\n\n", CaptureFault::none, ""}}) {
        const auto reports = after(text);
        EXPECT_EQ(reports.fault(), fault) << text;
        EXPECT_EQ(reports.detail(), detail) << text;
    }
}

TEST(CaptureReports, ALineThatIsTooLongIsDroppedAndTheNextIsRead)
{
    const std::string longest(CaptureReports::longestLine, 'x');
    EXPECT_TRUE(after(longest + "\nlistening\n").isListening());
    EXPECT_TRUE(after(longest + "x\nlistening\n").isListening());
    EXPECT_FALSE(after(longest + "listening\n").isListening());
}

} // namespace
} // namespace netrondo::test
