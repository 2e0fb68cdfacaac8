// Goes through the frames of a capture and picks those that a filter selects, decoding no more of them than it must.
// A message spread over frames that were not decoded is not put together.
#pragma once

#include "Dissection/Decode/PacketDecoder.h"
#include "Dissection/Filter/DisplayFilter.h"

#include <cstdint>
#include <optional>

namespace netrondo {

class FrameSelector {
public:
    /// Without a filter every frame is selected. `isNanosecond`: the file says that its fractions are nanoseconds.
    FrameSelector(std::optional<DisplayFilter> filter, bool isNanosecond);

    /// Counts a frame that nobody asks about.
    void skip(const CaptureFrame& frame);

    /// Numbers the next frame of the capture and tells whether the filter selects it; if so, it is decoded into
    /// `decoded`.
    bool next(const CaptureFrame& frame, DecodedFrame& decoded);
    /// The same for whoever needs the answer alone.
    bool next(const CaptureFrame& frame);

private:
    std::optional<DisplayFilter> filter_;
    PacketDecoder decoder_;
    DecodedFrame scratch_;
};

/// What can be told of a frame by looking at its fixed places, or nothing: then it takes decoding. `session` is that of
/// the frames decoded before, if there is one.
std::optional<bool> matchesAtAGlance(const DisplayFilter& filter, const CaptureFrame& frame,
                                     const DecodeSession* session = nullptr);

} // namespace netrondo
