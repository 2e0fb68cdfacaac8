// What goes wrong in TCP connections, beside what the quality tracker counts: the scan keeps a state of its own.
#pragma once

#include "Analysis/Expert/BoundedTable.h"
#include "Analysis/Expert/CopyScan.h"
#include "Analysis/Expert/FindingLog.h"
#include "Analysis/Expert/IpScan.h"
#include "Analysis/Tcp/TCPQualityTracker.h"
#include "Base/PagedVector.h"
#include "Base/SparseVector.h"
#include "Dissection/Classify/FrameFacts.h"

#include <cstdint>

namespace netrondo {

class ConversationTable;

/// A TCP segment as the scan sees it, after the tracker has counted it.
struct SegmentSight {
    const FrameFacts& facts;
    const Sighting& at;
    std::uint32_t connection = 0; ///< the number of its session
    std::uint32_t place = 0;      ///< where the connection is kept
    int sender = 0;               ///< which of the session's hosts
    TcpEvents events = 0;
    CopyScan::Copy copy = CopyScan::Copy::none;
    std::uint8_t ttl = 0;
    bool dontFragment = false;
    Bytes options; ///< of any segment, as far as captured
};

class TcpScan {
public:
    explicit TcpScan(const ExpertPreferences& preferences) : preferences_(preferences) { }

    void scan(const SegmentSight& sight, FindingLog& log);
    /// Where the connection of this session is kept, from now on at least; never 0.
    std::uint32_t placeOf(std::uint32_t connection) { return connections_.placeOf(connection); }
    /// For callers that scan many segments: brings closer what the scan of one looks up.
    void prefetchConnection(std::uint32_t place) const { connections_.prefetch(place); }
    void finish(const ConversationTable& table, const IpScan& ip, double end, FindingLog& log) const;

    /// Of how many of a hundred connections a packet passed twice; 0 where there are only few.
    double duplicatedShare() const;

    /// The side that serves, 0 or 1: it was asked to open, or else has the port of a service.
    static int server(const FrameFacts& facts, int sender);

private:
    /// Time since the first frame in units of 2^-14 s: differences are right up to a day and a half.
    using Tick = std::uint32_t;

    /// One direction of a connection.
    struct Side {
        enum Known : std::uint8_t { sent = 1, acked = 2, fin = 4, offered = 8, sack = 16, full = 32, waited = 64 };
        std::uint32_t nextSeq = 0; ///< the highest sequence end sent
        std::uint32_t ackSent = 0; ///< the highest acknowledgment sent
        Tick lastData = 0;
        std::uint16_t window = 0;
        std::uint16_t ipId = 0; ///< of the segment at `nextSeq`
        std::uint8_t shift = 0;
        std::uint8_t ttl = 0;
        std::uint8_t dupAcks = 0;
        std::uint8_t known = 0;
        std::uint32_t dataSegments = 0;
        std::uint32_t bytes = 0; ///< of payload, also of what was sent again; stops at the most it can count

        bool knows(Known what) const { return known & what; }
    };
    /// Two cache lines: what every segment needs, and what few do.
    struct alignas(128) Connection {
        enum State : std::uint8_t {
            synSeen = 1,
            synAckSeen = 2,
            established = 4, ///< the client has answered the SYN+ACK
            wasReset = 8,
            refused = 16,
            troubled = 32,
            duplicated = 64, ///< a packet of it passed twice
        };
        Side sides[2];
        Tick last = 0;
        std::uint16_t roundTrip = 0; ///< of the handshake, ticks
        std::uint8_t state = 0;
        std::uint8_t client = 0;

        std::uint32_t trouble = 0; ///< its number where it is `troubled`
        std::uint32_t isn = 0;
        Tick firstSyn = 0, lastSyn = 0, synAck = 0;
        Tick delayedAck[2] = {0, 0}; ///< when a late acknowledgment let the side go on, where it `waited`
        std::uint32_t synFrame = 0, synAckFrame = 0;
        std::uint16_t mss[2] = {0, 0}; ///< as offered by each side, 0 for none
        std::uint8_t offers[2] = {0, 0};
        enum Offer : std::uint8_t { scale = 1, selective = 2, timestamps = 4 };
        std::uint8_t synCount = 0;

        bool is(State what) const { return state & what; }
    };
    /// What only a connection in trouble needs.
    struct SideTrouble {
        std::uint32_t resentSeq = 0;
        Tick wait = 0; ///< before the last timeout
        std::uint8_t doublings = 0;
        std::uint8_t largeResent = 0; ///< full-sized, since the last progress
        bool peerIsAlive = false;     ///< it spoke since
        std::uint8_t keepAlives = 0;
        Sighting keepAlive;
        bool isClosed = false; ///< its window
        Tick closedAt = 0, closedLongest = 0;
        Tick fullSince = 0, fullTime = 0; ///< since it filled the peer’s window; for how long it had in all
        std::uint32_t askedFor = 0;       ///< up to here the peer misses something and has what is behind
        Tick askedAt = 0;                 ///< when it began to say so
        Sighting large; ///< when it had sent so much that it counts as a transfer; what follows is what came since
        std::uint32_t sentSince = 0;
        std::uint32_t mostRoom = 0; ///< bytes, the largest window of the peer
        Tick lastSince = 0;
        std::uint16_t stalls = 0; ///< how often it waited for a late acknowledgment
        std::uint8_t otherTtl = 0, otherTtlRun = 0;
        Tick idle = 0; ///< silence before it sent data that nobody answered yet
    };
    struct Trouble {
        SideTrouble sides[2];
    };

    struct Context {
        const SegmentSight& sight;
        Connection& connection;
        Side& me;
        Side& peer;
        Tick now;
        FindingLog& log;
    };

    static Tick tick(double seconds) { return static_cast<Tick>(static_cast<std::uint64_t>(seconds * 16384.0)); }
    /// Nothing where the clock was set back.
    static Tick since(Tick now, Tick then) { return static_cast<std::int32_t>(now - then) > 0 ? now - then : 0; }
    static double seconds(Tick ticks) { return ticks / 16384.0; }
    static Tick milliseconds(double count) { return static_cast<Tick>(count * 16.384); }

    SideTrouble& trouble(Connection& connection, int side);
    /// {a} is the sender, {b} the receiver, the port that of the service.
    static Subject subject(const Context& at);
    /// The same turned round: {a} is the receiver.
    static Subject reversed(const Context& at);

    void note(const SegmentSight& sight, FindingLog& log);
    void scanSyn(const Context& at);
    void scanReset(const Context& at);
    void scanAcknowledgment(const Context& at);
    void scanData(const Context& at);
    void scanStall(const Context& at);
    void scanResent(const Context& at, bool isKnownCopy);
    bool isAskedFor(const Context& at);
    void scanWindow(const Context& at);
    /// What a window stands for, in bytes; 0 where the capture does not hold what scales it.
    static std::uint32_t room(const Side& receiver, const Side& sender);
    void scanTtl(const Context& at);
    void scanFlags(const Context& at);
    void finishShares(const ConversationTable& table, FindingLog& log) const;
    void finishOpenings(const ConversationTable& table, const IpScan& ip, double end, FindingLog& log) const;
    void finishTransfers(const ConversationTable& table, FindingLog& log) const;
    void finishTransfer(const ConversationTable& table, std::uint32_t number, FindingLog& log) const;
    void finishOptions(const ConversationTable& table, std::uint32_t number, FindingLog& log) const;
    void finishFloods(const ConversationTable& table, FindingLog& log) const;
    void finishRefusals(const ConversationTable& table, FindingLog& log) const;
    void finishScans(const ConversationTable& table, double end, FindingLog& log) const;

    const ExpertPreferences& preferences_;
    SparseVector<Connection> connections_; ///< by session
    PagedVector<Trouble> troubles_;
    std::uint64_t segments_ = 0, ackedUnseen_ = 0;
    Sighting ackedUnseenFirst_;
};

} // namespace netrondo
