// The sentences the user reads.
#include "Capture/CaptureError.h"
#include "Capture/CaptureReading.h"

#include <cerrno>
#include <gtest/gtest.h>

namespace netrondo::test {

struct ErrorCase {
    std::string_view name;
    CaptureError error;
    std::string_view description;
};

class CaptureErrorTable : public testing::TestWithParam<ErrorCase> { };

TEST_P(CaptureErrorTable, IsDescribedInASentence)
{
    EXPECT_EQ(GetParam().error.errorDescription(), GetParam().description);
}

INSTANTIATE_TEST_SUITE_P(
    All, CaptureErrorTable,
    testing::Values(
        ErrorCase{"InvalidHeader", CaptureError::invalidHeader("Short IDB"), "Invalid capture header: Short IDB"},
        ErrorCase{"Io", CaptureError::io("gzip stream was empty."), "I/O error: gzip stream was empty."},
        ErrorCase{"FileTooSmall", CaptureError::fileTooSmall(), "File is too small to be a capture."},
        ErrorCase{"UnsupportedFormat", CaptureError::unsupportedFormat(),
                  "Unsupported capture format. Netrondo opens PCAP, PCAPNG, gzip-compressed captures, and Sniffer Pro "
                  ".cap/.caz."},
        ErrorCase{"TruncatedFrame", CaptureError::truncatedFrame(), "Truncated frame in capture."},
        ErrorCase{"System", CaptureError::system(ENOENT), "No such file or directory"}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(CaptureFormat, HasAName)
{
    EXPECT_EQ(rawValue(CaptureFormat::pcap), "pcap");
    EXPECT_EQ(rawValue(CaptureFormat::pcapng), "pcapng");
    EXPECT_EQ(rawValue(CaptureFormat::sniffer), "sniffer");
    EXPECT_EQ(rawValue(CaptureFormat::wiretap), "wiretap");
}

} // namespace netrondo::test
