// Every capture at hand is analysed in both modes: the samples, and a collection that NETRONDO_CORPUS names.
#include "Base/Json.h"
#include "Capture/CaptureFile.h"
#include "Capture/Drivers/AnalyzeFile.h"
#include "Support/SampleFrames.h"

#include <filesystem>
#include <gtest/gtest.h>

namespace netrondo::test {
namespace {

/// Analyses a file; 1 when it is a capture whose totals add up, 0 when it is none.
int analysed(const std::filesystem::path& path, AnalysisMode mode)
{
    const auto result = CaptureFile::analyze(path, mode, {});
    if (!result) {
        EXPECT_NE(result.error().errorDescription(), "");
        return 0;
    }
    std::uint64_t packets = 0, bytes = 0, frames = 0;
    for (const auto pair : result->pairs) {
        packets += pair.packetCount;
        bytes += pair.byteCount;
    }
    for (const auto& protocol : result->protocols)
        frames += protocol.count;
    EXPECT_EQ(packets, result->totalPackets);
    EXPECT_EQ(bytes, result->totalBytes);
    EXPECT_EQ(frames, result->totalPackets);
    std::string text;
    TextOutput out(text);
    JsonWriter json(out);
    write(json, *result);
    out.flush();
    EXPECT_TRUE(text.starts_with("{\"pairs\":["));
    return 1;
}

/// How many captures lie below the folder.
int analysedBelow(const std::filesystem::path& folder)
{
    int captures = 0;
    for (const auto& file : filesBelow(folder)) {
        SCOPED_TRACE(file);
        const auto byIp = analysed(file, AnalysisMode::l3IP);
        EXPECT_EQ(analysed(file, AnalysisMode::l2MAC), byIp);
        captures += byIp;
    }
    return captures;
}

} // namespace

TEST(CorpusAnalysis, OfEverySampleAddsUpInBothModes)
{
    EXPECT_GT(analysedBelow(NETRONDO_SOURCE_DIR "/Samples"), 60);
}

TEST(CorpusAnalysis, OfEveryFileOfTheCollectionAddsUpInBothModes)
{
    const auto folder = collection();
    if (!folder)
        GTEST_SKIP() << noCollection;
    EXPECT_GT(analysedBelow(*folder), 0);
}

} // namespace netrondo::test
