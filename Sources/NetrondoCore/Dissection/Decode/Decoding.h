// The state of decoding one frame: what is still to be read, and what inner layers need to know of the outer ones.
#pragma once

#include "Capture/CaptureFrame.h"
#include "Dissection/Decode/DecodeSession.h"
#include "Dissection/Decode/DecodeTree.h"
#include "Dissection/Decode/FrameSummary.h"

#include <array>
#include <cstdint>

namespace netrondo {

/// A stretch of bytes that waits for its protocol. Its members have no defaults, so that the room for many costs
/// nothing.
struct PendingLayer {
    const Protocol* protocol;
    std::uint32_t offset;  ///< in the frame, or in the tree's own bytes
    std::uint32_t end;     ///< behind the last byte that is there
    std::uint32_t wireEnd; ///< where the protocol outside says it ends; beyond `end` when the capture is cut
    std::uint8_t nodeFlags;
    bool isStream;           ///< a piece of a byte stream: its last message may go on in a later piece
    bool isSegment;          ///< what follows TCP's header: what it leaves unfinished is kept for the next segment
    bool isPiece;            ///< of a message that is known to go on in another segment
    bool isBare;             ///< without the framing that the protocol has elsewhere
    std::uint32_t continued; ///< so many first bytes belong to a message that began in an earlier segment
};

/// How much of a frame is asked for.
enum class DecodeDepth : std::uint8_t {
    tree, ///< everything
    row,  ///< what a row of the packet list says: the tree may begin with the transport, and no checksum is judged
};

struct Decoding {
    static constexpr std::size_t maxPending = 32;

    Decoding(DecodeTree& into, FrameSummary& columns, const CaptureFrame& of, DecodeSession* inOrder,
             FoundContexts* outOfTurn, DecodeDepth wanted)
        : tree(into), summary(columns), capture(of), session(inOrder), contexts(outOfTurn), depth(wanted)
    { }

    DecodeTree& tree;
    FrameSummary& summary;
    const CaptureFrame& capture; ///< its absolute time judges certificates; its bytes are the tree's

    DecodeSession* session;  ///< follows the frames in their order; null for a frame out of turn
    FoundContexts* contexts; ///< what an earlier pass found this frame to need; null when none was made
    DecodeDepth depth;
    /// The segment whose stream is followed: what of it is in the frame, and how it ends.
    struct Stream {
        bool isEntered = false;
        Bytes payload;
        StreamOutcome outcome;
    } stream;

    /// The network layer's addresses as the transport's pseudo-header takes them; `none` under another network.
    Address networkSource{};
    Address networkDestination{};
    bool isFragment = false; ///< the innermost IP packet is a piece of a larger one
    bool quotes = false;     ///< what follows is quoted by an error message

    std::size_t pendingCount = 0;
    std::array<PendingLayer, maxPending> pending;
};

} // namespace netrondo
