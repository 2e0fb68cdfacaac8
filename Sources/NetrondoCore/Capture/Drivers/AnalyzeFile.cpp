// The loop from a reader to the aggregator.
#include "Capture/Drivers/AnalyzeFile.h"

#include "Analysis/PairAggregator.h"
#include "Capture/CaptureFile.h"

#include <algorithm>
#include <array>

namespace netrondo::CaptureFile {
namespace {

constexpr std::uint64_t progressInterval = 10'000;

} // namespace

CaptureResult<AnalysisResult> analyze(const std::filesystem::path& path, AnalysisMode mode,
                                      const ExpertPreferences& expertPreferences, const Progress& progress)
{
    NR_TRY(const auto reader, open(path));
    return analyze(*reader, mode, expertPreferences, progress);
}

CaptureResult<AnalysisResult> analyze(CaptureReading& reader, AnalysisMode mode,
                                      const ExpertPreferences& expertPreferences, const Progress& progress,
                                      const FrameChoice& choice)
{
    PairAggregator aggregator(mode, expertPreferences);
    std::array<CaptureFrame, 256> frames;
    std::uint64_t count = 0;
    while (true) {
        // No batch reaches over a frame whose number is reported.
        const auto room = std::min<std::uint64_t>(frames.size(), progressInterval - count % progressInterval);
        NR_TRY(const auto got, reader.nextBatch(std::span(frames).first(room)));
        if (got == 0)
            break;
        auto kept = frames.begin() + static_cast<std::ptrdiff_t>(got);
        if (choice)
            kept = std::remove_if(frames.begin(), kept, std::not_fn(std::cref(choice)));
        aggregator.ingest({frames.begin(), kept});
        count += got;
        if (progress && count % progressInterval == 0)
            progress(count);
    }
    if (progress)
        progress(count);
    return std::move(aggregator).takeResult();
}

} // namespace netrondo::CaptureFile
