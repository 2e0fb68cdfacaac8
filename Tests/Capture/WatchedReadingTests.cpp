// What is noted of the frames that pass, and breaking a reading off.
#include "Capture/CaptureFile.h"
#include "Capture/Drivers/AnalyzeFile.h"
#include "Capture/Drivers/WatchedReading.h"
#include "Support/Captures.h"
#include "Support/Frames.h"

#include <gtest/gtest.h>

namespace netrondo::test {
namespace {

TempFile captureOf(std::uint32_t frames)
{
    PcapBytes capture;
    for (std::uint32_t i = 0; i < frames; ++i)
        capture.frame(ethernet(ipv4({}, tcp({}, "x"))));
    return TempFile(capture);
}

TEST(WatchedReading, NotesEveryFrameOfAnAnalysisAndChangesNothing)
{
    const auto file = captureOf(500);
    const std::atomic<bool> stop = false;
    const auto reader = CaptureFile::open(file.path()).value();
    WatchedReading watched(*reader, stop);
    const auto result = CaptureFile::analyze(watched, AnalysisMode::l3IP, {}).value();
    EXPECT_EQ(result.totalPackets, 500u);
    EXPECT_EQ(watched.frames(), 500u);
    EXPECT_EQ(watched.framesByLinkType(), (std::map<LinkType, std::uint64_t>{{LinkType::ethernet, 500}}));
    EXPECT_EQ(watched.volume().between(-1e9, 1e10).bytes, result.totalBytes);
}

TEST(WatchedReading, EndsWithAnErrorWhereItIsStopped)
{
    const auto file = captureOf(30'000);
    std::atomic<bool> stop = false;
    const auto reader = CaptureFile::open(file.path()).value();
    WatchedReading watched(*reader, stop);
    const auto result =
        CaptureFile::analyze(watched, AnalysisMode::l3IP, {}, [&](std::uint64_t frames) { stop = frames >= 10'000; });
    EXPECT_FALSE(result);
    EXPECT_EQ(watched.frames(), 10'000u);
}

TEST(WatchedReading, PassesOnWhatTheReaderKnowsOfTheCapture)
{
    class Cut : public CaptureReading {
        CaptureFormat format() const override { return CaptureFormat::pcapng; }
        std::span<const LinkType> interfaceLinkTypes() const override { return types_; }
        bool isNanosecond() const override { return true; }
        std::uint64_t droppedFrames() const override { return 7; }
        CaptureResult<std::size_t> nextBatch(std::span<CaptureFrame>) override { return 0; }
        std::vector<LinkType> types_{LinkType::ethernet};
    } cut;
    cut.setSecondMember();
    const std::atomic<bool> stop = false;
    const WatchedReading watched(cut, stop);
    EXPECT_EQ(watched.format(), CaptureFormat::pcapng);
    EXPECT_EQ(watched.interfaceLinkTypes().size(), 1u);
    EXPECT_TRUE(watched.isNanosecond());
    EXPECT_EQ(watched.droppedFrames(), 7u);
    EXPECT_TRUE(watched.hasSecondMember());
}

} // namespace
} // namespace netrondo::test
