// Goes through the frames of a capture and picks those that a filter selects, decoding no more of them than it must.
// A message spread over frames that were not decoded is not put together.
#pragma once

#include "Dissection/Decode/FrameHistory.h"
#include "Dissection/Decode/PacketDecoder.h"
#include "Dissection/Filter/DisplayFilter.h"

#include <cstdint>
#include <optional>

namespace netrondo {

class FrameSelector {
public:
    /// Without a filter every frame is selected. `isNanosecond`: the file says that its fractions are nanoseconds.
    /// `history`, where there is one, marks every frame that is decoded. `depth` is what the caller reads of a frame.
    FrameSelector(std::optional<DisplayFilter> filter, bool isNanosecond, FrameHistory history = {},
                  DecodeDepth depth = DecodeDepth::tree);

    /// Counts a frame that nobody asks about.
    void skip(const CaptureFrame& frame);

    /// Numbers the next frame of the capture and tells whether the filter selects it; if so, it is decoded into
    /// `decoded`.
    bool next(const CaptureFrame& frame, DecodedFrame& decoded);
    /// The same for whoever needs the answer alone.
    bool next(const CaptureFrame& frame);

private:
    void decode(const CaptureFrame& frame, DecodedFrame& decoded, DecodeDepth depth,
                const std::optional<OrdinaryHeaders>& headers);

    std::optional<DisplayFilter> filter_;
    PacketDecoder decoder_;
    FrameHistory history_;
    DecodeDepth depth_;
    std::span<const Expert> marks_; ///< of the frame counted last; the history's
    DecodedFrame scratch_;
};

/// What can be told of a frame by looking at its fixed places, or nothing: then it takes decoding. `session` is that of
/// the frames decoded before, if there is one; `headers` are the frame's.
std::optional<bool> matchesAtAGlance(const DisplayFilter& filter, const CaptureFrame& frame,
                                     const std::optional<OrdinaryHeaders>& headers,
                                     const DecodeSession* session = nullptr);
inline std::optional<bool> matchesAtAGlance(const DisplayFilter& filter, const CaptureFrame& frame,
                                            const DecodeSession* session = nullptr)
{
    return matchesAtAGlance(filter, frame, OrdinaryHeaders::find(frame), session);
}

} // namespace netrondo
