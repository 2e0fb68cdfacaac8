// Watches every TCP segment, one direction of one connection at a time, and counts what went wrong.
#pragma once

#include "Analysis/Session.h"
#include "Analysis/Tcp/RecentSegments.h"
#include "Analysis/Tcp/TCPSessionQuality.h"
#include "Base/Counter.h"
#include "Base/PagedVector.h"
#include "Base/Prefetch.h"
#include "Dissection/Wire/TcpOptions.h"

#include <bitset>
#include <cstdint>
#include <optional>
#include <vector>

namespace netrondo {

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

/// What the tracker counted for one segment, beside its flags: a bit for each of the counters of trouble.
using TcpEvents = std::uint8_t;
namespace tcpEvent {
constexpr TcpEvents endpointRetransmission = 1, infrastructureRetransmission = 2, applicationRetransmission = 4,
                    spuriousRetransmission = 8, ackedUnseen = 16, zeroWindow = 32;
} // namespace tcpEvent

/// What a SYN or SYN+ACK offered, in short.
struct TcpOffer {
    enum : std::uint8_t { present = 1, hasMss = 2, hasWindowScale = 4, sackPermitted = 8, timestamps = 16 };
    std::uint16_t mss = 0;
    std::uint8_t windowScale = 0;
    std::uint8_t bits = 0;
    std::uint32_t extraSet = 0; ///< which set of other options, 0 for none
};

/// What only the segments with SYN or FIN tell of a connection, by direction.
struct TcpHandshake {
    struct Side {
        Counter32 synCount, finCount;
        Counter32 withoutAck; ///< segments whose ACK flag is not set; all others have it
        TcpOffer clientOffer; ///< of the last SYN sent on this flow
        TcpOffer serverOffer; ///< of the last SYN+ACK sent on this flow
        double synTime = -1;  ///< seconds, of the last SYN without ACK; negative for none
        double rttMs = 0;     ///< smallest handshake round trip, milliseconds; 0 for none
    };
    Side sides[2];
};

/// The counters of a flow that stay zero on a healthy connection.
struct TcpTrouble {
    Counter32 rstCount, urgCount, eceCount, cwrCount;
    Counter32 retransmitGuess, retransmitEndpoint, retransmitInfrastructure, retransmitApplication;
    Counter32 spuriousRetransmitCount, ackedUnseenCount;
    Counter32 sackPacketCount, sackDSackCount, sackUnseenCount, sackInvalidCount, sackLeftoverCount;
    Counter32 zeroWindowCount;
};

/// One per analysis. Flows are never removed or expired: a reused pair of ports continues the old flow's state. Payload
/// bytes are never looked at, only their length and a digest. The sessions themselves are their owner's.
class TCPQualityTracker {
public:
    /// Feeds one segment, in capture order, sent by host `sender` (0 or 1) of the session, whose owner has counted it
    /// in `frames` already. Tells what was counted, so that marks of frames and counters agree.
    TcpEvents observe(Session& session, SessionDetails& details, int sender, const TcpSegment& segment);

    /// The record of one direction, with what its handshakes offered folded in.
    TCPSessionQuality quality(const Session& session, const SessionDetails& details, int side) const;

    /// Adds to `sum` those counters of one direction, if there is any TCP in it, that make the score and the
    /// complaints.
    void addWhatIsJudged(const Session& session, const SessionDetails& details, int side, TCPSessionQuality& sum) const;

    /// For callers that observe many segments at once: bring closer what a segment from this flow is compared with.
    void prefetchRecent(const FlowState& flow) const { recent_.prefetch(flow.recent); }
    /// The same for a segment with SYN or FIN.
    void prefetchHandshake(const SessionDetails& details) const
    {
        if (details.handshake)
            prefetch(&handshakes_[details.handshake]);
    }

    /// A copy for reading results; it does not remember segments and is not to be fed.
    TCPQualityTracker snapshot() const;

private:
    /// A segment on its way through the rules.
    struct Step {
        Session& session;
        SessionDetails& details;
        const TcpSegment& segment;
        int sender;
        FlowState& flow;
        FlowState& reverse;
        TcpEvents& events;
    };
    static void count(const Step& step, Counter32& counter, TcpEvents event)
    {
        ++counter;
        step.events |= event;
    }
    void start(const Step& step, int side);
    TcpTrouble& trouble(const Step& step);
    TcpHandshake& handshakeOf(const Step& step);
    const TcpHandshake::Side& handshakeOf(const SessionDetails& details, int side) const;
    void countFlags(const Step& step);
    void sampleWindow(const Step& step);
    void acknowledge(const Step& step);
    void examineSack(const Step& step);
    void checkRetransmission(const Step& step, const SegmentFingerprint& fingerprint, bool isAhead);
    void shakeHands(const Step& step);
    TcpOffer offer(const TCPOptions& options);

    PagedVector<TcpHandshake> handshakes_; ///< number 0 is not used
    PagedVector<TcpTrouble> troubles_;     ///< number 0 is not used
    RecentSegments recent_;
    std::vector<std::bitset<256>> extraSets_; ///< the distinct sets of uncommon options, number 0 is empty
    std::uint32_t nextOrder_ = 1;
};

} // namespace netrondo
