// What only the frames before tell of a frame: findings that somebody who followed the streams marks it with.
#pragma once

#include "Dissection/Decode/PacketDecoder.h"

#include <functional>
#include <span>

namespace netrondo {

/// Asked for every frame of a capture in its order; the answer is good until the next call.
using FrameHistory = std::function<std::span<const Expert>(const CaptureFrame& frame)>;

/// Marks the nodes of a decoded frame that TCP's history is about: the sequence number of a segment that was sent
/// again, the acknowledgment of data never seen, a window of zero.
void markHistory(DecodedFrame& frame, std::span<const Expert> findings);

} // namespace netrondo
