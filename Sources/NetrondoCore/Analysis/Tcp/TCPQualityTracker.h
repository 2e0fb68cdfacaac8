// Watches every TCP segment, one direction of one connection at a time, and counts what went wrong.
#pragma once

#include "Analysis/Tcp/RecentSegments.h"
#include "Analysis/Tcp/TCPSessionQuality.h"
#include "Base/Bytes.h"
#include "Base/Counter.h"
#include "Base/PagedVector.h"
#include "Base/SlotIndex.h"
#include "Dissection/Wire/TcpOptions.h"

#include <bitset>
#include <cstdint>
#include <optional>
#include <vector>

namespace netrondo {

/// A pair of hosts, by the number its owner has given it, and which of the two is the sender: 0 or 1.
using ConversationId = std::uint32_t;

/// One TCP segment as the tracker sees it.
struct TcpSegment {
    std::uint16_t sourcePort = 0;
    std::uint16_t destinationPort = 0;
    std::uint8_t flags = 0;
    std::uint16_t window = 0; ///< raw header field
    std::uint32_t seq = 0;
    std::optional<std::uint32_t> ack;
    std::optional<std::uint16_t> ipId; ///< IPv4 identification
    std::uint32_t payloadLength = 0;
    /// A digest of the payload's bytes: equal for equal payloads and (but for a chance of 2^-64) for no others.
    std::uint64_t payloadDigest = 0;
    const TCPOptions* options = nullptr; ///< when the segment's options were read
    std::uint64_t timestampSeconds = 0;
    std::uint64_t timestampFraction = 0;
};

/// What a SYN or SYN+ACK offered, in short.
struct TcpOffer {
    enum : std::uint8_t { present = 1, hasMss = 2, hasWindowScale = 4, sackPermitted = 8, timestamps = 16 };
    std::uint16_t mss = 0;
    std::uint8_t windowScale = 0;
    std::uint8_t bits = 0;
    std::uint32_t extraSet = 0; ///< which set of other options, 0 for none
};

/// Everything kept of one direction of a connection. Counters that stay zero on a healthy connection live in
/// `FlowTrouble`, so that an idle flow costs little.
struct FlowState {
    enum Known : std::uint8_t {
        exists = 1,
        nextseqKnown = 2,
        lastackKnown = 4,
        synTimeKnown = 8,
        rttKnown = 16,
        windowSampled = 32,
        carriedPayload = 64
    };
    Counter64 tcpPackets;
    std::uint32_t nextseq = 0; ///< the highest sequence end sent on this flow
    std::uint32_t lastack = 0; ///< the highest acknowledgement the peer has sent for it
    std::uint32_t order = 0;   ///< flows are numbered as they appear
    std::uint16_t windowMin = 65535;
    std::uint16_t windowMax = 0;
    std::uint16_t windowLast = 0;
    std::uint8_t known = 0;
    /// How many segments from now on may repeat a remembered sequence number although theirs lies ahead of all that was
    /// sent: 0 when the last 64 came in order, each ahead of the one before.
    std::uint8_t disorder = 0;
    RecentSegments::Ring recent;
    Counter32 ackCount, pshCount, synCount, finCount;
    std::uint32_t trouble = 0; ///< number of the flow's `FlowTrouble`, 0 for none
    TcpOffer clientOffer;      ///< of the last SYN sent on this flow
    TcpOffer serverOffer;      ///< of the last SYN+ACK sent on this flow
    double synTime = 0;        ///< seconds, of the last SYN without ACK
    double rttMs = 0;          ///< smallest handshake round trip, milliseconds

    bool knows(Known what) const { return known & what; }
};

struct FlowTrouble {
    Counter32 rstCount, urgCount, eceCount, cwrCount;
    Counter32 retransmitGuess, retransmitEndpoint, retransmitInfrastructure, retransmitApplication;
    Counter32 spuriousRetransmitCount, ackedUnseenCount;
    Counter32 sackPacketCount, sackDSackCount, sackUnseenCount, sackInvalidCount, sackLeftoverCount;
    Counter32 zeroWindowCount;
};

/// Both directions of one connection between the two hosts of a conversation, host 0 being the one its owner calls so.
struct alignas(64) TcpConnection {
    ConversationId conversation = 0;
    std::uint16_t ports[2] = {0, 0}; ///< of host 0 and of host 1
    FlowState flows[2];              ///< [0] is sent by host 0
};

/// One per analysis. Flows are never removed or expired: a reused pair of ports continues the old flow's state. Payload
/// bytes are never looked at, only their length and a digest.
class TCPQualityTracker {
public:
    static std::uint64_t hash(ConversationId conversation, std::uint16_t port0, std::uint16_t port1);
    /// The connection's number, made when there is none yet.
    std::uint32_t connection(std::uint64_t hash, ConversationId conversation, std::uint16_t port0, std::uint16_t port1);
    /// The same, but `SlotIndex::none` instead of a new one.
    std::uint32_t find(std::uint64_t hash, ConversationId conversation, std::uint16_t port0, std::uint16_t port1) const;

    /// Feeds one segment, in capture order, sent by host `sender` (0 or 1) of the connection.
    void observe(std::uint32_t connection, int sender, const TcpSegment& segment);

    std::uint32_t connectionCount() const { return connections_.size(); }
    const TcpConnection& operator[](std::uint32_t connection) const { return connections_[connection]; }

    /// The record of one direction, with what its handshakes offered folded in.
    TCPSessionQuality quality(const FlowState& flow) const;

    /// For callers that observe many segments at once: bring the memory closer, in this order.
    void prefetchIndex(std::uint64_t hash) const { index_.prefetch(hash); }
    void prefetchGuess(std::uint64_t hash) const;
    void prefetchFlows(std::uint32_t connection) const;
    void prefetchRecent(std::uint32_t connection, int sender) const;

    /// A copy for reading results; it does not remember segments and is not to be fed.
    TCPQualityTracker snapshot() const;

private:
    FlowState& started(FlowState& flow);
    FlowTrouble& trouble(FlowState& flow);
    void countFlags(FlowState& flow, const TcpSegment& segment);
    void sampleWindow(FlowState& flow, const TcpSegment& segment);
    void acknowledge(FlowState& flow, FlowState& reverse, const TcpSegment& segment);
    void examineSack(FlowState& flow, const FlowState& reverse, const TcpSegment& segment);
    void checkRetransmission(FlowState& flow, const SegmentFingerprint& fingerprint, const TcpSegment& segment,
                             bool isAhead);
    void handshake(FlowState& flow, const FlowState& reverse, const TcpSegment& segment);
    TcpOffer offer(const TCPOptions& options);

    PagedVector<TcpConnection> connections_;
    SlotIndex index_;
    PagedVector<FlowTrouble> troubles_; ///< number 0 is not used
    RecentSegments recent_;
    std::vector<std::bitset<256>> extraSets_; ///< the distinct sets of uncommon options, number 0 is empty
    std::uint32_t nextOrder_ = 1;
};

} // namespace netrondo
