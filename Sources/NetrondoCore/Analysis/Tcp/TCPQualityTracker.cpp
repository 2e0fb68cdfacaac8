// The TCP tracker's rules, segment by segment.
#include "Analysis/Tcp/TCPQualityTracker.h"

#include "Dissection/Wire/TcpHeader.h"

#include <algorithm>

namespace netrondo {
namespace {

// Sequence numbers are compared as serial numbers: by the sign of their wrapped difference.
bool isAfter(std::uint32_t a, std::uint32_t b)
{
    return static_cast<std::int32_t>(a - b) > 0;
}

bool isAtOrBefore(std::uint32_t a, std::uint32_t b)
{
    return a == b || static_cast<std::int32_t>(a - b) < 0;
}

std::uint32_t sequenceLength(const TcpSegment& segment)
{
    return segment.payloadLength + (segment.flags & tcpFlag::syn ? 1 : 0) + (segment.flags & tcpFlag::fin ? 1 : 0);
}

/// For a count that is not kept itself; it is as fatal for it to pass its range as it is for those that are.
std::uint32_t narrowed(std::uint64_t count)
{
    if (count > UINT32_MAX)
        fatal("a counter passed its range", __FILE__, __LINE__);
    return static_cast<std::uint32_t>(count);
}

// Microseconds or nanoseconds: the fraction is read by its size.
double captureTime(const TcpSegment& segment)
{
    const auto fraction = static_cast<double>(segment.timestampFraction);
    return static_cast<double>(segment.timestampSeconds)
        + (segment.timestampFraction <= 1'000'000 ? fraction / 1e6 : fraction / 1e9);
}

/// The element with this number, which is made when it is 0: numbers begin with 1.
template <typename T> T& numbered(PagedVector<T>& elements, std::uint32_t& number)
{
    if (!number) {
        if (elements.size() == 0)
            elements.append();
        number = elements.append();
    }
    return elements[number];
}

} // namespace

void TCPQualityTracker::start(const Step& step, int side)
{
    auto& flow = step.session.flows[side];
    if (!flow.knows(FlowState::exists)) [[unlikely]] {
        flow.known |= FlowState::exists;
        step.details.order[side] = nextOrder_++;
    }
}

TcpTrouble& TCPQualityTracker::trouble(const Step& step)
{
    return numbered(troubles_, step.details.trouble[step.sender]);
}

TcpHandshake& TCPQualityTracker::handshakeOf(const Step& step)
{
    return numbered(handshakes_, step.details.handshake);
}

void TCPQualityTracker::countFlags(const Step& step)
{
    using namespace tcpFlag;
    const auto flags = step.segment.flags;
    if (flags & psh)
        ++step.flow.pshCount;
    if (flags & (syn | fin) || !(flags & tcpFlag::ack)) [[unlikely]] {
        auto& side = handshakeOf(step).sides[step.sender];
        if (flags & syn)
            ++side.synCount;
        if (flags & fin)
            ++side.finCount;
        if (!(flags & tcpFlag::ack))
            ++side.withoutAck;
    }
    if (flags & (rst | urg | ece | cwr)) [[unlikely]] {
        auto& rare = trouble(step);
        if (flags & rst)
            ++rare.rstCount;
        if (flags & urg)
            ++rare.urgCount;
        if (flags & ece)
            ++rare.eceCount;
        if (flags & cwr)
            ++rare.cwrCount;
    }
}

void TCPQualityTracker::sampleWindow(const Step& step)
{
    auto& flow = step.flow;
    const auto window = step.segment.window;
    if (!flow.knows(FlowState::windowSampled)) {
        flow.windowMin = flow.windowMax = window;
        flow.known |= FlowState::windowSampled;
    } else {
        flow.windowMin = std::min(flow.windowMin, window);
        flow.windowMax = std::max(flow.windowMax, window);
    }
    flow.windowLast = window;
    if (window == 0 && !(step.segment.flags & tcpFlag::fin)) [[unlikely]]
        count(step, trouble(step).zeroWindowCount, tcpEvent::zeroWindow);
}

void TCPQualityTracker::examineSack(const Step& step)
{
    const auto& reverse = step.reverse;
    const auto blocks = step.segment.options->sackBlocks();
    const auto isValid = [](const SackBlock& block) { return !isAtOrBefore(block.right, block.left); };
    bool invalid = false, dSack = false, unseen = false, leftover = false;
    for (std::size_t i = 0; i < blocks.size(); ++i) {
        const auto& block = blocks[i];
        if (!isValid(block)) {
            invalid = true;
            continue;
        }
        if (isAtOrBefore(block.right, *step.segment.ack))
            (i == 0 ? dSack : leftover) = true;
        if (reverse.knows(FlowState::nextseqKnown) && isAfter(block.right, reverse.nextseq))
            unseen = true;
    }
    // RFC 2883, section 4: a first block inside the second reports a duplicate, too.
    if (blocks.size() >= 2 && isValid(blocks[0]) && isValid(blocks[1]) && isAtOrBefore(blocks[1].left, blocks[0].left)
        && isAtOrBefore(blocks[0].right, blocks[1].right))
        dSack = true;

    auto& counters = trouble(step);
    ++counters.sackPacketCount;
    if (invalid)
        ++counters.sackInvalidCount;
    if (dSack)
        ++counters.sackDSackCount;
    if (unseen)
        ++counters.sackUnseenCount;
    if (leftover)
        ++counters.sackLeftoverCount;
}

void TCPQualityTracker::acknowledge(const Step& step)
{
    auto& reverse = step.reverse;
    const auto ack = *step.segment.ack;
    if (reverse.knows(FlowState::nextseqKnown) && isAfter(ack, reverse.nextseq)) [[unlikely]]
        count(step, trouble(step).ackedUnseenCount, tcpEvent::ackedUnseen);
    if (step.segment.options && !step.segment.options->sackBlocks().empty())
        examineSack(step);
    if (!reverse.knows(FlowState::lastackKnown) || isAfter(ack, reverse.lastack)) {
        reverse.lastack = ack;
        reverse.known |= FlowState::lastackKnown;
    }
}

void TCPQualityTracker::checkRetransmission(const Step& step, const SegmentFingerprint& fingerprint, bool isAhead)
{
    const auto& flow = step.flow;
    const auto& segment = step.segment;
    const bool isSyn = segment.flags & tcpFlag::syn;
    if (!flow.knows(FlowState::lastackKnown)) {
        if (!isSyn && segment.payloadLength == 0)
            return;
    } else {
        const bool isKeepAlive = !isSyn && segment.seq == flow.lastack - 1 && segment.payloadLength <= 1;
        if (isKeepAlive || (!isSyn && segment.payloadLength == 0))
            return;
        const auto length = sequenceLength(segment);
        if (length && isAtOrBefore(segment.seq + length, flow.lastack)) [[unlikely]] {
            count(step, trouble(step).spuriousRetransmitCount, tcpEvent::spuriousRetransmission);
            return;
        }
    }
    // Where all came in order, nothing remembered has the sequence number of a segment ahead of it all.
    const bool isSurelyNew = isAhead && flow.recent.disorder == 0;
    const auto earlier =
        isSurelyNew ? std::optional<SegmentFingerprint>{} : recent_.newestWithSameSeq(flow.recent, fingerprint);
    if (earlier) {
        auto& counters = trouble(step);
        if (fingerprint.ipId && fingerprint.ipId == earlier->ipId) {
            // The same IP packet seen again: something on the way duplicated it. Deliberately not part of the guess.
            count(step, counters.retransmitInfrastructure, tcpEvent::infrastructureRetransmission);
        } else {
            ++counters.retransmitGuess;
            count(step, counters.retransmitEndpoint, tcpEvent::endpointRetransmission);
        }
        return;
    }
    // The same bytes in new sequence space: the application said it twice. Deliberately not part of the guess either.
    if (segment.payloadLength > 0 && recent_.hasPayloadElsewhere(flow.recent, fingerprint))
        count(step, trouble(step).retransmitApplication, tcpEvent::applicationRetransmission);
}

TcpOffer TCPQualityTracker::offer(const TCPOptions& options)
{
    TcpOffer made;
    made.bits = TcpOffer::present;
    if (options.mss) {
        made.mss = *options.mss;
        made.bits |= TcpOffer::hasMss;
    }
    if (options.windowScale) {
        made.windowScale = *options.windowScale;
        made.bits |= TcpOffer::hasWindowScale;
    }
    if (options.sackPermitted)
        made.bits |= TcpOffer::sackPermitted;
    if (options.timestamps)
        made.bits |= TcpOffer::timestamps;
    if (options.extraKinds.any()) {
        // Stacks offer a handful of sets; a capture that invents thousands gets its sets stored unshared.
        constexpr std::size_t searched = 64;
        if (extraSets_.empty())
            extraSets_.emplace_back();
        const auto end = extraSets_.begin() + static_cast<std::ptrdiff_t>(std::min(searched, extraSets_.size()));
        auto found = std::find(extraSets_.begin() + 1, end, options.extraKinds);
        if (found == end)
            found = extraSets_.insert(extraSets_.end(), options.extraKinds);
        made.extraSet = static_cast<std::uint32_t>(found - extraSets_.begin());
    }
    return made;
}

void TCPQualityTracker::shakeHands(const Step& step)
{
    const auto& segment = step.segment;
    auto& side = handshakeOf(step).sides[step.sender];
    const auto time = captureTime(segment);
    const bool hasOptions = segment.options && !segment.options->empty();
    if (!(segment.flags & tcpFlag::ack)) {
        side.synTime = time;
        if (hasOptions)
            side.clientOffer = offer(*segment.options);
        return;
    }
    if (hasOptions)
        side.serverOffer = offer(*segment.options);
    const auto synTime = handshakeOf(step).sides[1 - step.sender].synTime;
    if (synTime < 0 || synTime > time)
        return;
    const auto sample = (time - synTime) * 1000;
    if (sample <= 0 || sample >= 60'000) // a minute on: not an answer to that SYN any more
        return;
    if (side.rttMs == 0 || sample < side.rttMs)
        side.rttMs = sample;
}

TcpEvents TCPQualityTracker::observe(Session& session, SessionDetails& details, int sender, const TcpSegment& segment)
{
    TcpEvents events = 0;
    auto& flow = session.flows[sender];
    const Step step{session, details, segment, sender, flow, session.flows[1 - sender], events};
    const bool isRst = segment.flags & tcpFlag::rst;
    const bool isSyn = segment.flags & tcpFlag::syn;

    start(step, sender);
    RecentSegments::passSegment(flow.recent);
    countFlags(step);
    if (!isRst)
        sampleWindow(step);
    if (segment.flags & tcpFlag::ack && segment.ack && !isRst) {
        start(step, 1 - sender);
        acknowledge(step);
    }

    const auto ordinal = static_cast<std::uint32_t>(flow.frames);
    const SegmentFingerprint fingerprint{ordinal, segment.seq, segment.payloadDigest, segment.ipId};
    // Ahead of all that was sent, but not so far that 64 such steps would reach around the sequence space.
    constexpr std::uint32_t farthestStep = 1u << 24;
    const bool isAhead = !isRst && (!flow.knows(FlowState::nextseqKnown) || segment.seq - flow.nextseq < farthestStep);
    if (!isRst) {
        checkRetransmission(step, fingerprint, isAhead);
        if (const auto length = sequenceLength(segment)) {
            const auto end = segment.seq + length;
            if (!flow.knows(FlowState::nextseqKnown) || isAfter(end, flow.nextseq)) {
                flow.nextseq = end;
                flow.known |= FlowState::nextseqKnown;
            }
        }
    }
    if (segment.payloadLength > 0)
        flow.known |= FlowState::carriedPayload;
    if (segment.payloadLength > 0 || isSyn)
        recent_.remember(flow.recent, fingerprint);
    if (segment.payloadLength > 0 || isSyn || segment.flags & tcpFlag::fin) {
        if (!isAhead)
            flow.recent.disorder = RecentSegments::window;
        else if (flow.recent.disorder > 0)
            --flow.recent.disorder;
    }
    if (isSyn)
        shakeHands(step);
    return events;
}

TCPQualityTracker TCPQualityTracker::snapshot() const
{
    TCPQualityTracker copy;
    copy.handshakes_ = handshakes_;
    copy.troubles_ = troubles_;
    copy.extraSets_ = extraSets_;
    return copy;
}

const TcpHandshake::Side& TCPQualityTracker::handshakeOf(const SessionDetails& details, int side) const
{
    static const TcpHandshake none;
    return (details.handshake ? handshakes_[details.handshake] : none).sides[side];
}

void TCPQualityTracker::addWhatIsJudged(const Session& session, const SessionDetails& details, int side,
                                        TCPSessionQuality& sum) const
{
    if (!session.flows[side].knows(FlowState::exists))
        return;
    const auto& handshake = handshakeOf(details, side);
    sum.tcpPackets += session.flows[side].frames;
    sum.synCount += handshake.synCount;
    if (handshake.rttMs > 0)
        sum.rttMsEstimate = std::min(sum.rttMsEstimate.value_or(handshake.rttMs), handshake.rttMs);
    if (!details.trouble[side])
        return;
    const auto& rare = troubles_[details.trouble[side]];
    sum.rstCount += rare.rstCount;
    sum.retransmitGuess += rare.retransmitGuess;
    sum.retransmitInfrastructure += rare.retransmitInfrastructure;
    sum.spuriousRetransmitCount += rare.spuriousRetransmitCount;
    sum.ackedUnseenCount += rare.ackedUnseenCount;
    sum.sackInvalidCount += rare.sackInvalidCount;
    sum.zeroWindowCount += rare.zeroWindowCount;
}

TCPSessionQuality TCPQualityTracker::quality(const Session& session, const SessionDetails& details, int side) const
{
    const auto& flow = session.flows[side];
    const auto& handshake = handshakeOf(details, side);
    TCPSessionQuality record;
    addWhatIsJudged(session, details, side, record);
    record.finCount = handshake.finCount;
    record.ackCount = narrowed(flow.frames - handshake.withoutAck);
    record.pshCount = flow.pshCount;
    if (details.trouble[side]) {
        const auto& rare = troubles_[details.trouble[side]];
        record.urgCount = rare.urgCount;
        record.eceCount = rare.eceCount;
        record.cwrCount = rare.cwrCount;
        record.retransmitEndpoint = rare.retransmitEndpoint;
        record.retransmitApplication = rare.retransmitApplication;
        record.sackPacketCount = rare.sackPacketCount;
        record.sackDSackCount = rare.sackDSackCount;
        record.sackUnseenCount = rare.sackUnseenCount;
        record.sackLeftoverCount = rare.sackLeftoverCount;
    }
    record.windowMin = flow.windowMin;
    record.windowMax = flow.windowMax;
    record.windowLast = flow.windowLast;
    record.hasWindowSample = flow.knows(FlowState::windowSampled);

    const auto fold = [&](const TcpOffer& offered, auto& mss, auto& scale, bool& sack, bool& timestamps, auto& extra) {
        if (offered.bits & TcpOffer::hasMss)
            mss = offered.mss;
        if (offered.bits & TcpOffer::hasWindowScale)
            scale = offered.windowScale;
        sack = offered.bits & TcpOffer::sackPermitted;
        timestamps = offered.bits & TcpOffer::timestamps;
        if (offered.extraSet) {
            TCPOptions named;
            named.extraKinds = extraSets_[offered.extraSet];
            extra = named.extraNames();
        }
    };
    auto& both = record.handshake;
    fold(handshake.clientOffer, both.mssClient, both.wscaleClient, both.sackClient, both.timestampsClient,
         both.extraClient);
    fold(handshake.serverOffer, both.mssServer, both.wscaleServer, both.sackServer, both.timestampsServer,
         both.extraServer);
    both.sackPermitted = both.sackClient || both.sackServer;
    both.timestamps = both.timestampsClient || both.timestampsServer;
    return record;
}

} // namespace netrondo
