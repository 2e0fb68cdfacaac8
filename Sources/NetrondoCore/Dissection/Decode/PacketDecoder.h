// One captured frame into a decoded one: what the packet list, the tree pane and the display filter read.
#pragma once

#include "Capture/CaptureFrame.h"
#include "Dissection/Decode/DecodeTree.h"
#include "Dissection/Decode/FrameSummary.h"

namespace netrondo {

/// The layers of one frame. It is made to be used again: a warm one takes no memory for another frame.
/// It views the frame's bytes, which must live as long as it is read.
struct DecodedFrame {
    FrameSummary summary;
    DecodeTree tree;

    /// Whether the frame carries the protocol, quoted packets included.
    bool carries(const Protocol& protocol) const
    {
        for (const auto& layer : tree.layers()) {
            if (layer.protocol == &protocol)
                return true;
        }
        return false;
    }
};

/// Numbers frames and times them against the first one.
class PacketDecoder {
public:
    /// `isNanosecond`: the file says that its fractions are nanoseconds.
    explicit PacketDecoder(bool isNanosecond = false) : fractionToNanoseconds_(isNanosecond ? 1 : 1000) { }

    /// Decodes the next frame of a capture: the first one gets the number 1 and the time 0.
    void decodeNext(const CaptureFrame& frame, DecodedFrame& decoded);
    /// Counts a frame without decoding it.
    void skip(const CaptureFrame& frame);
    /// Decodes any frame, by its number; the time counts from the first frame that was met.
    void decode(const CaptureFrame& frame, std::uint64_t number, DecodedFrame& decoded) const;

private:
    std::int64_t absolute(const CaptureFrame& frame) const;

    std::int64_t fractionToNanoseconds_;
    std::int64_t start_ = 0;
    std::uint64_t count_ = 0;
};

} // namespace netrondo
