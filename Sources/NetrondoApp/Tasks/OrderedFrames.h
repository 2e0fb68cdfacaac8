// The pass that decodes frames in their order, as another thread sees it.
#pragma once

#include "Dissection/Decode/IndexedDecoder.h"
#include "Tasks/FrameStore.h"

#include <stop_token>

namespace netrondo {

/// Gives a decoder what that pass has kept, as far as it has come.
class OrderedFrames {
public:
    /// Both outlive it.
    OrderedFrames(const FrameStore::OrderedDecoder& source, IndexedDecoder& decoder);

    /// Waits until the pass has been at the frame, or does not move on any more.
    void awaitFollowed(std::uint32_t frame, const std::stop_token& stop);

private:
    bool look();

    const FrameStore::OrderedDecoder& source_;
    IndexedDecoder& decoder_;
    std::uint32_t followed_ = 0;
};

} // namespace netrondo
