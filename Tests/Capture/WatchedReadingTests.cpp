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

} // namespace
} // namespace netrondo::test
