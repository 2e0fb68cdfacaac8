// Noting what passes.
#include "Capture/Drivers/WatchedReading.h"

namespace netrondo {

CaptureResult<std::size_t> WatchedReading::nextBatch(std::span<CaptureFrame> frames)
{
    if (stop_.load(std::memory_order_relaxed))
        return std::unexpected(CaptureError::io("The reading was stopped."));
    NR_TRY(const auto got, reader_.nextBatch(frames));
    // Hardly a capture has more than one link type: runs of the same are counted at once.
    for (std::size_t i = 0; i < got;) {
        const auto type = frames[i].linkType;
        const auto begin = i;
        for (; i < got && frames[i].linkType == type; ++i)
            volume_.add(frames[i].seconds(), frames[i].originalLength);
        byLinkType_[type] += i - begin;
    }
    frames_ += got;
    return got;
}

} // namespace netrondo
