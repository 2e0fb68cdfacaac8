// A whole file analysed at once, and a file analysed while it grows.
#include "Capture/Drivers/AnalyzeFile.h"
#include "Capture/Drivers/GrowingPcapAnalyzer.h"
#include "Support/Captures.h"
#include "Support/Frames.h"

#include <gtest/gtest.h>

namespace netrondo::test {
namespace {

const auto segment = ethernet(ipv4({}, tcp({}, "x")));

/// The progress calls of an analysis of so many frames.
std::vector<std::uint64_t> progressOf(std::uint32_t frames)
{
    PcapBytes capture;
    for (std::uint32_t i = 0; i < frames; ++i)
        capture.frame(segment);
    const TempFile file(capture);
    std::vector<std::uint64_t> calls;
    const auto result =
        CaptureFile::analyze(file.path(), AnalysisMode::l3IP, {}, [&](std::uint64_t count) { calls.push_back(count); });
    EXPECT_EQ(result.value().totalPackets, frames);
    return calls;
}

} // namespace

TEST(AnalyzeFile, ReportsProgressEveryTenThousandFramesAndAtTheEnd)
{
    EXPECT_EQ(progressOf(25'000), (std::vector<std::uint64_t>{10'000, 20'000, 25'000}));
}

TEST(AnalyzeFile, ReportsTheFinalCountAlthoughItWasReportedAlready)
{
    EXPECT_EQ(progressOf(10'000), (std::vector<std::uint64_t>{10'000, 10'000}));
}

TEST(AnalyzeFile, OfAFileOfTwentyFourBytesIsEmptyAndReportsProgressOnceWithZero)
{
    EXPECT_EQ(progressOf(0), std::vector<std::uint64_t>{0});
}

TEST(AnalyzeFile, GivesNoPartialResultWhenTheLastRecordsHeaderIsCut)
{
    const TempFile file(PcapBytes().frame(segment).frame(segment).cut(segment.size() + 5));
    const auto result = CaptureFile::analyze(file.path(), AnalysisMode::l3IP, {});
    ASSERT_FALSE(result);
    EXPECT_EQ(result.error(), CaptureError::truncatedFrame());
}

TEST(AnalyzeFile, TakesAllEarlierFramesWhenTheLastRecordsBodyIsCut)
{
    const TempFile file(PcapBytes().frame(segment).frame(segment).cut(5));
    EXPECT_EQ(CaptureFile::analyze(file.path(), AnalysisMode::l3IP, {})->totalPackets, 1u);
}

TEST(GrowingPcap, EachPullTakesWhatWasAppended)
{
    const auto whole = PcapBytes().frame(segment).frame(segment).frame(segment).bytes();
    const TempFile file(Bytes(whole).first(24));
    GrowingPcapAnalyzer analyzer(AnalysisMode::l3IP, {});
    std::uint64_t before = 0;
    EXPECT_EQ(analyzer.pull(file.path(), AnalysisMode::l3IP, {})->totalPackets, 0u);
    // One byte after the other: a record counts once it is whole, whatever part of it a pull finds.
    for (std::size_t at = 24; at < whole.size(); ++at) {
        append(file.path(), Bytes(whole).subspan(at, 1));
        const auto packets = analyzer.pull(file.path(), AnalysisMode::l3IP, {})->totalPackets;
        const auto expected = (at + 1 - 24) / (16 + segment.size());
        ASSERT_EQ(packets, expected) << at;
        before = packets;
    }
    EXPECT_EQ(before, 3u);
}

TEST(GrowingPcap, FileShorterThanItsHeaderFailsAndIsTakenUpLater)
{
    const auto whole = PcapBytes().frame(segment).bytes();
    const TempFile file(Bytes(whole).first(10));
    GrowingPcapAnalyzer analyzer(AnalysisMode::l3IP, {});
    EXPECT_EQ(analyzer.pull(file.path(), AnalysisMode::l3IP, {}).error(), CaptureError::fileTooSmall());
    append(file.path(), Bytes(whole).subspan(10));
    EXPECT_EQ(analyzer.pull(file.path(), AnalysisMode::l3IP, {})->totalPackets, 1u);
}

TEST(GrowingPcap, ChangeOfModeStartsOver)
{
    const TempFile file(PcapBytes().frame(segment).frame(segment));
    GrowingPcapAnalyzer analyzer(AnalysisMode::l3IP, {});
    EXPECT_EQ(analyzer.pull(file.path(), AnalysisMode::l3IP, {})->totalPackets, 2u);
    const auto byMac = analyzer.pull(file.path(), AnalysisMode::l2MAC, {}).value();
    EXPECT_EQ(byMac.mode, AnalysisMode::l2MAC);
    EXPECT_EQ(byMac.totalPackets, 2u);
    EXPECT_EQ(byMac.pairs[0].srcAddr, "02:00:00:00:00:01");
}

TEST(GrowingPcap, NeverRewindsOnItsOwn)
{
    const TempFile file(PcapBytes().frame(segment).frame(segment));
    GrowingPcapAnalyzer analyzer(AnalysisMode::l3IP, {});
    EXPECT_EQ(analyzer.pull(file.path(), AnalysisMode::l3IP, {})->totalPackets, 2u);
    std::filesystem::resize_file(file.path(), 30);
    EXPECT_EQ(analyzer.pull(file.path(), AnalysisMode::l3IP, {})->totalPackets, 2u);
}

TEST(GrowingPcap, FollowsClassicPcapOnly)
{
    const TempFile file(PcapNgBytes().section());
    GrowingPcapAnalyzer analyzer(AnalysisMode::l3IP, {});
    const auto result = analyzer.pull(file.path(), AnalysisMode::l3IP, {});
    ASSERT_FALSE(result);
    EXPECT_EQ(result.error(), CaptureError::invalidHeader("Not a PCAP magic: a0d0d0a"));
}

TEST(GrowingPcap, MissingFileIsTheSystemsError)
{
    GrowingPcapAnalyzer analyzer(AnalysisMode::l3IP, {});
    const auto result = analyzer.pull("/nonexistent/file.pcap", AnalysisMode::l3IP, {});
    ASSERT_FALSE(result);
    EXPECT_EQ(result.error().errorDescription(), "No such file or directory");
}

} // namespace netrondo::test
