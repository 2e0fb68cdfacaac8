// Folds frames into conversations: the model of who talks to whom.
#pragma once

#include "Analysis/Expert/ExpertPreferences.h"
#include "Analysis/Model/AnalysisResult.h"
#include "Capture/CaptureFrame.h"
#include "Dissection/Classify/AnalysisMode.h"

#include <array>
#include <memory>
#include <span>

namespace netrondo {

/// Lives for one analysis: made for a mode and the expert preferences, fed all frames in capture order, asked for a
/// result as often as one likes. Belongs to the thread that feeds it.
class PairAggregator {
public:
    PairAggregator(AnalysisMode mode, const ExpertPreferences& expert, FrameMarks marks = FrameMarks::none);
    ~PairAggregator();
    PairAggregator(PairAggregator&&) noexcept;
    PairAggregator& operator=(PairAggregator&&) noexcept;

    /// Folds one frame in. Never fails: what cannot be classified changes nothing.
    void ingest(const CaptureFrame& frame) { ingest(std::span(&frame, 1)); }
    /// The same for many frames, in order; several at once hide the memory's latency.
    void ingest(std::span<const CaptureFrame> frames);

    /// A frame that the user does not want analysed: it counts as read, and later ones keep their numbers.
    void leaveOut(const CaptureFrame& frame);
    /// The fractions of the timestamps are nanoseconds; to be said before the first frame. Findings heed it.
    void setNanosecond();
    /// The file is compressed in several parts, of which only the first one is read.
    void setSecondMember();
    /// So many frames were dropped before they came into the capture, by the count of whoever captured.
    void setDropped(std::uint64_t frames);
    /// What the frame ingested last was found to be marked with.
    std::array<Finding, 4> latestFindings() const;

    /// The result of the frames so far; the aggregator goes on.
    AnalysisResult result() const;
    /// The same for an aggregator that is done: hands its tables over instead of copying them.
    AnalysisResult takeResult() &&;

private:
    struct State;
    std::unique_ptr<State> state_;
};

} // namespace netrondo
