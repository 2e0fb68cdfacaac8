// What frames leave behind for later ones: the start of a message that goes on in another segment, how much of a body
// is still to come, the pieces of a datagram, a protocol's tables.
#pragma once

#include "Base/Address.h"
#include "Dissection/Decode/FrameContexts.h"
#include "Dissection/Decode/PieceBuffer.h"
#include "Dissection/Decode/Protocol.h"

#include <array>
#include <boost/unordered/unordered_flat_map.hpp>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <vector>

namespace netrondo {

/// The two ends of a connection, the same whichever way a frame goes.
struct ConnectionKey {
    Address low, high;
    std::uint16_t lowPort = 0, highPort = 0;
    Transport transport = Transport::none;

    friend bool operator==(const ConnectionKey&, const ConnectionKey&) = default;
};

struct ConnectionKeyHash {
    using is_avalanching = void;
    std::size_t operator()(const ConnectionKey& key) const
    {
        const auto ports = std::uint64_t{key.lowPort} << 32 | std::uint64_t{key.highPort} << 8
            | static_cast<std::uint64_t>(key.transport);
        return hashWords(hashOf(key.low) + ports, hashOf(key.high));
    }
};

/// A frame's place in a connection.
struct ConnectionPlace {
    ConnectionKey key;
    std::uint8_t way = 0; ///< 0 from the low end to the high one, 1 back

    static ConnectionPlace of(Transport transport, const Address& source, std::uint16_t sourcePort,
                              const Address& destination, std::uint16_t destinationPort);
};

/// What a segment's payload goes on with. The bytes are the session's and last until the frame is done.
struct StreamContext {
    const Protocol* protocol = nullptr; ///< of the message that goes on, else known from earlier in the connection
    Bytes before;                       ///< the start of a message, from earlier segments
    Bytes after;                        ///< what follows the payload, from segments that came too early
    std::uint32_t continued = 0; ///< so many first bytes of the payload belong to a message that began earlier and is
                                 ///< not taken apart here

    bool isTogether() const { return !before.empty() || !after.empty(); }
};

/// What a segment's dissector says about the end of its bytes.
struct StreamOutcome {
    const Protocol* protocol = nullptr; ///< whose messages they are; nobody's when null
    bool isLearned = false;             ///< by content, against what the port says
    bool isAnew = false;                ///< a message began with the first byte, whatever was expected
    bool hasMessages = false;           ///< it has messages that may go on in another segment, if these do or not
    Bytes pending;                      ///< the start of a message that goes on
    std::uint64_t needed = 0;           ///< how long `pending` has to become before it is worth another look
    std::uint64_t skip = 0;             ///< how many bytes behind this segment belong to its last message
};

/// What a protocol keeps of one way of a connection.
struct ProtocolMemory {
    ProtocolMemory() = default;
    ProtocolMemory(const ProtocolMemory&) = delete;
    ProtocolMemory& operator=(const ProtocolMemory&) = delete;
    virtual ~ProtocolMemory() = default;
};

/// One piece of an IP datagram.
struct DatagramPiece {
    Address source, destination;
    std::uint32_t identification;
    std::uint8_t protocol;
    bool isLast;
    std::uint32_t offset; ///< of `bytes` in the datagram's payload
    Bytes bytes;
};

/// Follows the frames of a capture in their order. Memory is bounded: past the bounds below it forgets, and the frames
/// that follow are decoded by themselves.
class DecodeSession {
public:
    static constexpr std::size_t maxConnections = 65'536;
    static constexpr std::size_t maxIdle = 32'768; ///< of them, about: those of which only the next number is known
    static constexpr std::size_t maxPendingEach = 64 * 1024;
    static constexpr std::size_t maxEarly = 16;      ///< segments of a way that came before their turn
    static constexpr std::int32_t farBack = 1 << 24; ///< numbers that no segment sent again has: others begin
    static constexpr std::size_t maxPendingAll = 32 * 1024 * 1024;
    static constexpr std::size_t maxMemories = 4096;
    static constexpr std::size_t maxDatagrams = 256;
    static constexpr std::size_t maxDatagramSize = 65'536;
    static constexpr std::int64_t datagramLifetime = 30'000'000'000; ///< nanoseconds of capture time

    /// With `contexts`, what each frame needed is kept there, so that it can be decoded again out of turn.
    explicit DecodeSession(FrameContexts* contexts = nullptr) : contexts_(contexts) { }
    DecodeSession(const DecodeSession&) = delete;
    DecodeSession& operator=(const DecodeSession&) = delete;

    /// Starts a frame; everything below is about it.
    void beginFrame(std::uint64_t number, std::int64_t nanoseconds);

    /// A TCP payload of `size` bytes on the wire, all of them captured if `isWhole`.
    StreamContext enterStream(const ConnectionPlace& place, std::uint32_t sequence, std::uint32_t size, bool isWhole);
    /// What `enterStream` said of a frame, from what was kept of it.
    static StreamContext streamContext(const FoundContexts::Entry& kept, Bytes bytes);
    /// What became of the payload that entered; `payload` is what the frame holds of it. True when the frame is worth
    /// decoding again: it came late, and its last message goes on in what came before it.
    bool leaveStream(const StreamOutcome& outcome, Bytes payload);
    /// A connection begins with a SYN from there, or with the answer to one, whose data begin with that number: what
    /// was known of an earlier one does not hold.
    void begin(const ConnectionPlace& place, std::uint32_t sequence, bool isAnswer);
    /// Whether what came before matters to a frame there; of TCP, with that number.
    bool isFollowing(const ConnectionPlace& place, std::uint32_t sequence) const;
    /// The protocol of a connection, known by what came before; or null.
    const Protocol* protocolOf(const ConnectionKey& key) const;
    /// From here on the connection's payloads are this protocol's.
    void learn(const ConnectionKey& key, const Protocol& protocol) { connect(key).protocol = &protocol; }
    /// TCP connections that begin with that end are this protocol's; the other end chooses its port yet. The latest few
    /// that were told are kept.
    void expect(const Address& end, std::uint16_t port, const Protocol& protocol);
    /// Whether the segment repeats bytes that were seen before.
    bool isRepeated() const { return isRepeated_; }

    /// The memory of one way of a connection, to be filled by its protocol; null past the bound. What is about both
    /// ways is kept with way 0.
    std::unique_ptr<ProtocolMemory>* memory(const ConnectionPlace& place);

    /// Takes a piece; the datagram's whole payload once all of its pieces are there, else nothing.
    Bytes datagram(const DatagramPiece& piece);

    /// Keeps something by which this frame's dissectors can find their context again.
    void keep(ContextKind kind, const Protocol* protocol, std::uint32_t continued, Bytes bytes)
    {
        if (contexts_)
            contexts_->add({number_, kind, protocol, continued}, bytes);
    }

private:
    void keep(const StreamContext& context);

    /// A segment that came before one that it follows.
    struct Early {
        std::uint32_t sequence;
        std::vector<std::uint8_t> bytes;
    };
    struct Way {
        std::uint32_t next = 0; ///< the sequence number that is expected
        bool isFollowed = false;
        const Protocol* protocol = nullptr; ///< of the message that goes on
        std::uint64_t skip = 0;
        std::uint64_t needed = 0;
        std::vector<std::uint8_t> pending;
        std::vector<Early> early;          ///< only while something is pending, or behind a hole
        std::optional<std::uint32_t> hole; ///< where a segment is missing that may come late; what came early was told
                                           ///< by itself, for no message was pending
        std::unique_ptr<ProtocolMemory> memory;

        bool isIdle() const { return skip == 0 && pending.empty() && !hole && !memory; }
    };
    struct Connection {
        const Protocol* protocol = nullptr;
        std::array<Way, 2> ways;

        bool isIdle() const { return !protocol && ways[0].isIdle() && ways[1].isIdle(); }
    };
    struct Expected {
        Address end;
        std::uint16_t port = 0;
        const Protocol* protocol = nullptr;

        bool isEndOf(const ConnectionKey& key) const
        {
            return (key.low == end && key.lowPort == port) || (key.high == end && key.highPort == port);
        }
    };
    struct Datagram {
        Address source, destination;
        std::uint32_t identification;
        std::uint8_t protocol;
        std::int64_t started;
        std::size_t size; ///< 0 until the last piece has come
        PieceBuffer pieces;

        bool fill(const DatagramPiece& piece);
    };

    Connection& connect(const ConnectionKey& key);
    /// The same for one of which only the next number is to be known; from time to time the others of that sort go.
    Connection& note(const ConnectionKey& key);
    void forget(const ConnectionKey& key);
    /// Whether there is room for a segment that comes so far before its turn.
    static bool mayHold(const Way& way, std::uint32_t ahead, std::uint32_t size);
    void hold(Way& way, Bytes payload);
    /// Holds a segment behind the way's hole, or gives the hole up.
    void holdBehindHole(Way& way, Bytes payload);
    bool fillHole(Way& way, const StreamOutcome& outcome);
    /// Takes what follows `sequence` out of the segments that came early, and drops those that come too late now.
    void takeEarly(Way& way, std::uint32_t sequence);
    void dropEarly(Way& way);
    void dropPending(Way& way);
    void forgetAll();

    FrameContexts* contexts_;
    std::uint64_t number_ = 0;
    std::int64_t now_ = 0;
    boost::unordered_flat_map<ConnectionKey, Connection, ConnectionKeyHash> connections_;
    std::array<Expected, 16> expected_; ///< a ring
    std::size_t expectedCount_ = 0;
    std::size_t pendingBytes_ = 0;
    std::size_t memories_ = 0;
    std::size_t noted_ = 0;    ///< since idle ones were forgotten
    bool hasDatagram_ = false; ///< the frame completed one, which is not there a second time

    // The segment between `enterStream` and `leaveStream`.
    ConnectionPlace place_;
    std::uint32_t sequence_ = 0;
    std::uint32_t size_ = 0;
    bool isWhole_ = false;
    bool isRepeated_ = false;
    StreamContext context_;
    bool isPassing_ = false;           ///< the payload is all within a message
    bool isEarly_ = false;             ///< the segment leaves a gap in a message that may yet be filled
    bool isFilling_ = false;           ///< the segment is the one that the hole begins with
    std::optional<std::uint32_t> gap_; ///< where it left one while no message was pending
    std::vector<std::uint8_t> before_, after_;

    std::deque<Datagram> datagrams_;
    PieceBuffer wholeDatagram_;
};

} // namespace netrondo
