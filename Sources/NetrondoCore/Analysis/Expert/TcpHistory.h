// The findings of TCP's history for whoever decodes frames: in passing, or from a finished summary.
#pragma once

#include "Analysis/Expert/CaptureExpertSummary.h"
#include "Dissection/Decode/FrameHistory.h"
#include "Dissection/Filter/DisplayFilter.h"

#include <array>
#include <span>

namespace netrondo {

/// Those of a frame's findings that nodes of its tree can be marked with.
struct HistoryMarks {
    std::array<Expert, 4> marks{};
    std::size_t count = 0;
    explicit HistoryMarks(std::span<const Finding> findings);
    std::span<const Expert> all() const { return std::span(marks).first(count); }
};

/// Follows the streams of a capture frame by frame, as the analysis does, and tells what it counts for each.
FrameHistory followHistory();
/// The same for a filter that asks for findings; nothing for one that does not.
FrameHistory historyFor(const DisplayFilter& filter);

} // namespace netrondo
