// One way through the frames of a capture, behind the pass that finds them.
#pragma once

#include "Capture/FrameIndex.h"

#include <chrono>
#include <functional>
#include <optional>
#include <stop_token>
#include <thread>

namespace netrondo {

/// Calls `visit(frame, capture)` for every frame in order, counted from 0, to the end of the pass or until it is told
/// to stop; where it has caught up with the pass it waits a little. `isWhole` tells that the index has come to its end.
/// The error is that of a frame that can no longer be read.
template <typename Visit>
std::optional<CaptureError> eachFrame(const std::stop_token& stop, const FrameIndex& index,
                                      const std::function<bool()>& isWhole, Visit visit)
{
    constexpr auto breath = std::chrono::milliseconds(5);
    auto fetcher = index.fetcher();
    if (!fetcher)
        return fetcher.error();
    for (std::uint32_t frame = 0; !stop.stop_requested();) {
        const bool whole = isWhole(); // asked first: the count that follows is final then
        const auto count = index.count();
        for (; frame < count && !stop.stop_requested(); ++frame) {
            const auto capture = fetcher->fetch(frame);
            if (!capture)
                return capture.error();
            visit(frame, *capture);
        }
        if (whole)
            break;
        std::this_thread::sleep_for(breath);
    }
    return {};
}

} // namespace netrondo
