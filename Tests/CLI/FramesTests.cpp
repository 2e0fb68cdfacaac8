// `netrondo frames`: one line of JSON for each frame, keys in order, bytes as the file holds them.
#include "Support/Captures.h"
#include "Support/Command.h"
#include "Support/Gzip.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

namespace netrondo::test {
namespace {

TEST(FramesCommand, PrintsTheFieldsOfEveryFrameInOrder)
{
    const TempFile file(PcapBytes()
                            .frame(hex("00ff10"), {.seconds = 1'700'000'000, .fraction = 7, .originalLength = 60})
                            .frame({}, {.seconds = 2}));
    const auto run = netrondo({"frames", file.path().string()});
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_EQ(run.output,
              R"({"interfaceID":0,"timestampSeconds":1700000000,"timestampFraction":7,"capturedLength":3,)"
              R"("originalLength":60,"linkType":"ethernet","data":"00ff10"})"
              "\n"
              R"({"interfaceID":0,"timestampSeconds":2,"timestampFraction":0,"capturedLength":0,)"
              R"("originalLength":0,"linkType":"ethernet","data":""})"
              "\n");
}

TEST(FramesCommand, KeepsNanosecondsAsTheFileStoresThem)
{
    const TempFile file(PcapBytes({.order = ByteOrder::big, .nanoseconds = true})
                            .frame(hex("00"), {.seconds = 5, .fraction = 999'999'999}));
    const auto run = netrondo({"frames", file.path().string()});
    EXPECT_THAT(run.output, testing::HasSubstr(R"("timestampSeconds":5,"timestampFraction":999999999,)"));
}

struct LinkCase {
    std::string_view name;
    std::uint32_t number;
    std::string_view caseName;
};

class FramesLinkType : public testing::TestWithParam<LinkCase> { };

TEST_P(FramesLinkType, IsShownByItsCaseName)
{
    const TempFile file(PcapBytes({.linkType = GetParam().number}).frame(hex("00")));
    const auto run = netrondo({"frames", file.path().string()});
    EXPECT_THAT(run.output, testing::HasSubstr("\"linkType\":\"" + std::string(GetParam().caseName) + "\""));
}

INSTANTIATE_TEST_SUITE_P(Numbers, FramesLinkType,
                         testing::Values(LinkCase{"Null", 0, "null"}, LinkCase{"Ethernet", 1, "ethernet"},
                                         LinkCase{"Raw", 12, "raw"}, LinkCase{"Raw101", 101, "unknown"},
                                         LinkCase{"Wifi", 105, "ieee80211"}, LinkCase{"Cooked", 113, "linuxSLL"},
                                         LinkCase{"Radiotap", 127, "ieee80211Radio"},
                                         LinkCase{"Cooked2", 276, "linuxSLL2"}),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(FramesCommand, NumbersTheInterfacesOfPcapng)
{
    const TempFile file(PcapNgBytes().section().interface(1).interface(113).enhanced(1, hex("0001")));
    const auto run = netrondo({"frames", file.path().string()});
    EXPECT_THAT(run.output, testing::HasSubstr(R"({"interfaceID":1,)"));
    EXPECT_THAT(run.output, testing::HasSubstr(R"("linkType":"linuxSLL")"));
}

TEST(FramesCommand, ACaptureWithoutFramesPrintsNothing)
{
    const auto run = netrondo({"frames", TempFile(PcapBytes()).path().string()});
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_EQ(run.output, "");
}

TEST(FramesCommand, ReadsStandardInput)
{
    const PcapBytes capture = PcapBytes().frame(hex("0a"));
    const auto run = netrondo({"frames", "-"}, {}, capture);
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_THAT(run.output, testing::EndsWith("\"data\":\"0a\"}\n"));
}

TEST(FramesCommand, ReadsCompressedStandardInput)
{
    const auto run = netrondo({"frames", "-"}, {}, gzipped(PcapBytes().frame(hex("0a")).bytes()));
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_THAT(run.output, testing::EndsWith("\"data\":\"0a\"}\n"));
}

TEST(FramesCommand, SaysWhatIsWrongWithStandardInput)
{
    const auto run = netrondo({"frames", "-"}, {}, hex("d4c3"));
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.errors, "netrondo: -: File is too small to be a capture.\n");
}

TEST(FramesCommand, ReadsAFifo)
{
    const TempFolder folder;
    const auto fifo = folder / "live";
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
    Process process({"frames", fifo.string()});
    append(fifo, PcapBytes().frame(hex("0b")).bytes()); // opening waits for the command to open the other end
    const auto run = process.end();
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_THAT(run.output, testing::EndsWith("\"data\":\"0b\"}\n"));
}

} // namespace
} // namespace netrondo::test
