// What the two ends of a conversation said to each other, byte by byte and in the order in which it was said.
#pragma once

#include "Dissection/Decode/PacketDecoder.h"

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <vector>

namespace netrondo {

/// Takes the frames of one TCP connection or of one exchange of UDP datagrams, and gives what they carried: once,
/// however often it was sent, and put in order. Where bytes are missing in the capture it says how many.
class StreamFollower {
public:
    struct Piece {
        std::uint64_t frame = 0;   ///< its number, from 1
        bool isAnswer = false;     ///< of the end that did not speak first
        std::uint64_t missing = 0; ///< bytes in front of it that the capture lacks
        std::vector<std::uint8_t> bytes;

        friend bool operator==(const Piece&, const Piece&) = default;
    };

    /// A frame of the conversation, decoded to its tree; others are the caller's to leave out.
    void add(const DecodedFrame& frame);
    /// There is no frame behind: what still waits for bytes before it follows as it is.
    void end();
    /// What has come in order since it was asked last.
    std::vector<Piece> take();

private:
    struct Waiting {
        std::uint64_t frame;
        std::vector<std::uint8_t> bytes;
    };
    struct Side {
        std::optional<std::uint32_t> next;        ///< the sequence number of the byte that comes next
        std::map<std::uint32_t, Waiting> waiting; ///< by how far they lie ahead of the first of them
        std::uint32_t origin = 0;                 ///< the sequence number that these count from
        std::size_t waitingBytes = 0;
        std::uint64_t missing = 0;
    };

    void addSegment(Side& side, bool isAnswer, std::uint32_t sequence, std::uint64_t frame, Bytes bytes);
    void give(Side& side, bool isAnswer, std::uint64_t frame, Bytes bytes);
    void giveWaiting(Side& side, bool isAnswer);
    void skipGap(Side& side, bool isAnswer);

    std::optional<FrameSummary> first_;
    std::array<Side, 2> sides_;
    std::vector<Piece> pieces_;
};

} // namespace netrondo
