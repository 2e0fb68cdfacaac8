// A whole file analysed at once, and a file analysed while it grows.
#include "Capture/CaptureFile.h"
#include "Capture/Drivers/AnalyzeFile.h"
#include "Capture/Drivers/FilterChoice.h"
#include "Capture/Drivers/GrowingPcapAnalyzer.h"
#include "Support/Captures.h"
#include "Support/Frames.h"
#include "Support/NameMessages.h"

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

TEST(AnalyzeFile, OfAFileOfTwentyFourBytesHasNothingInIt)
{
    const auto result = CaptureFile::analyze(TempFile(PcapBytes()).path(), AnalysisMode::l3IP, {}).value();
    EXPECT_TRUE(result.pairs.empty());
    EXPECT_TRUE(result.protocols.empty());
    EXPECT_EQ(result.totalBytes, 0u);
    EXPECT_EQ(result.durationSeconds, 0);
    EXPECT_FALSE(result.captureStartSeconds);
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

/// A server tells the name of 10.0.0.2, and then 10.0.0.1 speaks to it, twice, a second apart.
TempFile namedHost()
{
    const auto answer = DnsMessage().question("files.example").a("files.example", "10.0.0.2").bytes();
    return TempFile(PcapBytes()
                        .frame(ethernet(ipv4({.source = "10.0.0.53", .destination = "10.0.0.1"},
                                             udp({.sourcePort = 53, .destinationPort = 4000}, Bytes(answer)))),
                               {.seconds = 1})
                        .frame(segment, {.seconds = 2})
                        .frame(segment, {.seconds = 3}));
}

TEST(AnalyzeFile, HostsKeepTheNamesThatFramesLeftOutTell)
{
    const auto file = namedHost();
    const auto reader = CaptureFile::open(file.path()).value();
    const auto choice = CaptureFile::choiceOf(DisplayFilter::compile("tcp").value(), false);
    const auto result = CaptureFile::analyze(*reader, AnalysisMode::l3IP, {}, {}, choice).value();
    ASSERT_EQ(result.pairs.size(), 1u);
    EXPECT_EQ(result.pairs[0].resolvedDst, "files.example");
    EXPECT_EQ(result.totalPackets, 2u);
}

TEST(FilterChoice, TakesWhatBothTheFilterAndTheOtherChoiceTake)
{
    const auto file = namedHost();
    const auto chosen = [&](const std::optional<DisplayFilter>& filter, CaptureFile::FrameChoice among) {
        const auto reader = CaptureFile::open(file.path()).value();
        const auto choice = CaptureFile::choiceOf(filter, false, std::move(among));
        return CaptureFile::analyze(*reader, AnalysisMode::l3IP, {}, {}, choice).value().totalPackets;
    };
    const auto late = [](const CaptureFrame& frame) { return frame.seconds() >= 3; };
    const auto tcp = DisplayFilter::compile("tcp").value(),
               second = DisplayFilter::compile("frame.number == 2").value();
    EXPECT_EQ(chosen({}, {}), 3u);
    EXPECT_EQ(chosen(tcp, {}), 2u);
    EXPECT_EQ(chosen({}, late), 1u);
    EXPECT_EQ(chosen(tcp, late), 1u);
    EXPECT_EQ(chosen(second, {}), 1u) << "frames keep their numbers";
    EXPECT_EQ(chosen(DisplayFilter::compile("frame.number == 3").value(), late), 1u) << "whoever declines the others";
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

TEST(GrowingPcap, ARecordCutInItsHeaderStopsQuietlyAndIsTakenUpThereByTheNextPull)
{
    const auto whole = PcapBytes().frame(segment).frame(segment).bytes();
    const auto cut = whole.size() - segment.size() - 6;
    const TempFile file(Bytes(whole).first(cut));
    EXPECT_EQ(CaptureFile::analyze(file.path(), AnalysisMode::l3IP, {}).error(), CaptureError::truncatedFrame());
    GrowingPcapAnalyzer analyzer(AnalysisMode::l3IP, {});
    EXPECT_EQ(analyzer.pull(file.path(), AnalysisMode::l3IP, {}).value().totalPackets, 1u);
    append(file.path(), Bytes(whole).subspan(cut));
    EXPECT_EQ(analyzer.pull(file.path(), AnalysisMode::l3IP, {}).value().totalPackets, 2u);
}

TEST(GrowingPcap, APullReadsNothingOfWhatAnEarlierOneRead)
{
    const TempFile file(PcapBytes().frame(segment).frame(segment));
    const auto read = std::filesystem::file_size(file);
    GrowingPcapAnalyzer analyzer(AnalysisMode::l3IP, {});
    EXPECT_EQ(analyzer.pull(file.path(), AnalysisMode::l3IP, {}).value().totalPackets, 2u);
    std::filesystem::resize_file(file, 0);
    std::filesystem::resize_file(file, read); // zeros: a header or a record read there would be none
    append(file.path(), Bytes(PcapBytes().frame(segment)).subspan(24));
    EXPECT_EQ(analyzer.pull(file.path(), AnalysisMode::l3IP, {}).value().totalPackets, 3u);
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
