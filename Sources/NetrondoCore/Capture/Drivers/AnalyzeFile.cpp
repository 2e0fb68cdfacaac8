// The loop from a reader to the aggregator.
#include "Capture/Drivers/AnalyzeFile.h"

#include "Analysis/PairAggregator.h"
#include "Capture/CaptureFile.h"

#include <algorithm>
#include <array>

namespace netrondo::CaptureFile {
namespace {

constexpr std::uint64_t progressInterval = 10'000;

void ingestChosen(std::span<const CaptureFrame> frames, const FrameChoice& choice, PairAggregator& aggregator)
{
    while (!frames.empty()) {
        const auto declined = std::find_if_not(frames.begin(), frames.end(), std::cref(choice));
        const auto chosen = static_cast<std::size_t>(declined - frames.begin());
        aggregator.ingest(frames.first(chosen));
        if (declined != frames.end())
            aggregator.leaveOut(*declined);
        frames = frames.subspan(std::min(chosen + 1, frames.size()));
    }
}

} // namespace

CaptureResult<AnalysisResult> analyze(const std::filesystem::path& path, AnalysisMode mode,
                                      const ExpertPreferences& expertPreferences, const Progress& progress)
{
    NR_TRY(const auto reader, open(path));
    return analyze(*reader, mode, expertPreferences, progress);
}

CaptureResult<AnalysisResult> analyze(CaptureReading& reader, AnalysisMode mode,
                                      const ExpertPreferences& expertPreferences, const Progress& progress,
                                      const FrameChoice& choice, FrameMarks marks)
{
    PairAggregator aggregator(mode, expertPreferences, marks);
    if (reader.isNanosecond())
        aggregator.setNanosecond();
    if (reader.hasSecondMember())
        aggregator.setSecondMember();
    std::array<CaptureFrame, 256> frames;
    std::uint64_t count = 0;
    while (true) {
        // No batch reaches over a frame whose number is reported.
        const auto room = std::min<std::uint64_t>(frames.size(), progressInterval - count % progressInterval);
        NR_TRY(const auto got, reader.nextBatch(std::span(frames).first(room)));
        if (got == 0)
            break;
        if (choice)
            ingestChosen(std::span(frames).first(got), choice, aggregator);
        else
            aggregator.ingest(std::span(frames).first(got));
        count += got;
        if (progress && count % progressInterval == 0)
            progress(count);
    }
    if (progress)
        progress(count);
    aggregator.setDropped(reader.droppedFrames());
    return std::move(aggregator).takeResult();
}

} // namespace netrondo::CaptureFile
