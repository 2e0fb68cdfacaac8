// One captured frame into a decoded one: what the packet list, the tree pane and the display filter read.
#pragma once

#include "Capture/CaptureFrame.h"
#include "Dissection/Decode/DecodeSession.h"
#include "Dissection/Decode/DecodeTree.h"
#include "Dissection/Decode/Decoding.h"
#include "Dissection/Decode/FrameSummary.h"
#include "Dissection/Decode/OrdinaryHeaders.h"

#include <memory>
#include <optional>
#include <span>

namespace netrondo {

/// The layers of one frame. It is made to be used again: a warm one takes no memory for another frame.
/// It views the frame's bytes, which must live as long as it is read.
struct DecodedFrame {
    FrameSummary summary;
    DecodeTree tree;
    FoundContexts contexts; ///< what the frame needed of earlier ones when it was decoded out of turn

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
///
/// Frames that are decoded in their order know what the ones before left unfinished. With `Keep::contexts` the decoder
/// keeps what each of them needed and was marked with, and then decodes any of them again as it was the first time.
class PacketDecoder {
public:
    enum class Keep { nothing, contexts };

    /// `isNanosecond`: the file says that its fractions are nanoseconds.
    explicit PacketDecoder(bool isNanosecond = false, Keep keep = Keep::nothing);

    /// Decodes the next frame of a capture: the first one gets the number 1 and the time 0.
    void decodeNext(const CaptureFrame& frame, DecodedFrame& decoded);
    /// Counts a frame without decoding it; what it would have left for later ones is unknown to them.
    void skip(const CaptureFrame& frame);
    /// Decodes the frame that was counted last. `known` is what `OrdinaryHeaders` found in it, if somebody has looked.
    void decodeCounted(const CaptureFrame& frame, DecodedFrame& decoded, DecodeDepth depth = DecodeDepth::tree,
                       const std::optional<OrdinaryHeaders>* known = nullptr);
    /// Marks the frame that was decoded last, out of those in their order, with what the streams' history tells of it.
    void mark(DecodedFrame& decoded, std::span<const Expert> findings);
    /// Decodes any frame, by its number; the time counts from the first frame that was met. It may be called while
    /// another thread decodes frames in their order.
    void decode(const CaptureFrame& frame, std::uint64_t number, DecodedFrame& decoded) const;

    const DecodeSession& session() const { return *session_; }

private:
    std::int64_t absolute(const CaptureFrame& frame) const;
    void number(const CaptureFrame& frame, std::uint64_t number, FrameSummary& summary) const;

    std::int64_t fractionToNanoseconds_;
    std::int64_t start_ = 0;
    std::uint64_t count_ = 0;
    std::unique_ptr<FrameContexts> contexts_;
    std::unique_ptr<DecodeSession> session_;
};

} // namespace netrondo
