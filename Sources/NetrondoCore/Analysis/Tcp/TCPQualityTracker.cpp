// The TCP tracker's rules, segment by segment.
#include "Analysis/Tcp/TCPQualityTracker.h"

#include "Base/Address.h"
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

// Microseconds or nanoseconds: the fraction is read by its size.
double captureTime(const TcpSegment& segment)
{
    const auto fraction = static_cast<double>(segment.timestampFraction);
    return static_cast<double>(segment.timestampSeconds)
        + (segment.timestampFraction <= 1'000'000 ? fraction / 1e6 : fraction / 1e9);
}

} // namespace

std::uint64_t TCPQualityTracker::hash(ConversationId conversation, std::uint16_t port0, std::uint16_t port1)
{
    return hashWords(conversation, std::uint64_t{port0} << 16 | port1);
}

std::uint32_t TCPQualityTracker::find(std::uint64_t hash, ConversationId conversation, std::uint16_t port0,
                                      std::uint16_t port1) const
{
    return index_.find(hash, [&](std::uint32_t number) {
        const auto& candidate = connections_[number];
        return candidate.conversation == conversation && candidate.ports[0] == port0 && candidate.ports[1] == port1;
    });
}

std::uint32_t TCPQualityTracker::connection(std::uint64_t hash, ConversationId conversation, std::uint16_t port0,
                                            std::uint16_t port1)
{
    auto number = find(hash, conversation, port0, port1);
    if (number == SlotIndex::none) {
        number = connections_.append();
        auto& made = connections_[number];
        made.conversation = conversation;
        made.ports[0] = port0;
        made.ports[1] = port1;
        index_.insert(hash, number);
    }
    return number;
}

void TCPQualityTracker::prefetchGuess(std::uint64_t hash) const
{
    if (const auto number = index_.guess(hash); number != SlotIndex::none)
        prefetchFlows(number);
}

void TCPQualityTracker::prefetchFlows(std::uint32_t connection) const
{
    const auto* bytes = reinterpret_cast<const char*>(&connections_[connection]);
    for (std::size_t at = 0; at < sizeof(TcpConnection); at += 64)
        __builtin_prefetch(bytes + at);
}

void TCPQualityTracker::prefetchRecent(std::uint32_t connection, int sender) const
{
    recent_.prefetch(connections_[connection].flows[sender].recent);
}

FlowState& TCPQualityTracker::started(FlowState& flow)
{
    if (!flow.knows(FlowState::exists)) {
        flow.known |= FlowState::exists;
        flow.order = nextOrder_++;
    }
    return flow;
}

FlowTrouble& TCPQualityTracker::trouble(FlowState& flow)
{
    if (!flow.trouble) {
        if (troubles_.size() == 0)
            troubles_.append();
        flow.trouble = troubles_.append();
    }
    return troubles_[flow.trouble];
}

void TCPQualityTracker::countFlags(FlowState& flow, const TcpSegment& segment)
{
    using namespace tcpFlag;
    ++flow.tcpPackets;
    const auto flags = segment.flags;
    if (flags & tcpFlag::ack)
        ++flow.ackCount;
    if (flags & psh)
        ++flow.pshCount;
    if (flags & syn)
        ++flow.synCount;
    if (flags & fin)
        ++flow.finCount;
    if (flags & (rst | urg | ece | cwr)) [[unlikely]] {
        auto& rare = trouble(flow);
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

void TCPQualityTracker::sampleWindow(FlowState& flow, const TcpSegment& segment)
{
    if (!flow.knows(FlowState::windowSampled)) {
        flow.windowMin = flow.windowMax = segment.window;
        flow.known |= FlowState::windowSampled;
    } else {
        flow.windowMin = std::min(flow.windowMin, segment.window);
        flow.windowMax = std::max(flow.windowMax, segment.window);
    }
    flow.windowLast = segment.window;
    if (segment.window == 0 && !(segment.flags & tcpFlag::fin)) [[unlikely]]
        ++trouble(flow).zeroWindowCount;
}

void TCPQualityTracker::examineSack(FlowState& flow, const FlowState& reverse, const TcpSegment& segment)
{
    const auto blocks = segment.options->sackBlocks();
    const auto isValid = [](const SackBlock& block) { return !isAtOrBefore(block.right, block.left); };
    bool invalid = false, dSack = false, unseen = false, leftover = false;
    for (std::size_t i = 0; i < blocks.size(); ++i) {
        const auto& block = blocks[i];
        if (!isValid(block)) {
            invalid = true;
            continue;
        }
        if (isAtOrBefore(block.right, *segment.ack))
            (i == 0 ? dSack : leftover) = true;
        if (reverse.knows(FlowState::nextseqKnown) && isAfter(block.right, reverse.nextseq))
            unseen = true;
    }
    // RFC 2883, section 4: a first block inside the second reports a duplicate, too.
    if (blocks.size() >= 2 && isValid(blocks[0]) && isValid(blocks[1]) && isAtOrBefore(blocks[1].left, blocks[0].left)
        && isAtOrBefore(blocks[0].right, blocks[1].right))
        dSack = true;

    auto& counters = trouble(flow);
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

void TCPQualityTracker::acknowledge(FlowState& flow, FlowState& reverse, const TcpSegment& segment)
{
    const auto ack = *segment.ack;
    if (reverse.knows(FlowState::nextseqKnown) && isAfter(ack, reverse.nextseq)) [[unlikely]]
        ++trouble(flow).ackedUnseenCount;
    if (segment.options && !segment.options->sackBlocks().empty())
        examineSack(flow, reverse, segment);
    if (!reverse.knows(FlowState::lastackKnown) || isAfter(ack, reverse.lastack)) {
        reverse.lastack = ack;
        reverse.known |= FlowState::lastackKnown;
    }
}

void TCPQualityTracker::checkRetransmission(FlowState& flow, const SegmentFingerprint& fingerprint,
                                            const TcpSegment& segment, bool isAhead)
{
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
            ++trouble(flow).spuriousRetransmitCount;
            return;
        }
    }
    // Where all came in order, nothing remembered has the sequence number of a segment ahead of it all.
    const bool isSurelyNew = isAhead && flow.disorder == 0;
    const auto earlier =
        isSurelyNew ? std::optional<SegmentFingerprint>{} : recent_.newestWithSameSeq(flow.recent, fingerprint);
    if (earlier) {
        auto& counters = trouble(flow);
        if (fingerprint.ipId && fingerprint.ipId == earlier->ipId) {
            // The same IP packet seen again: something on the way duplicated it. Deliberately not part of the guess.
            ++counters.retransmitInfrastructure;
        } else {
            ++counters.retransmitGuess;
            ++counters.retransmitEndpoint;
        }
        return;
    }
    // The same bytes in new sequence space: the application said it twice. Deliberately not part of the guess either.
    if (segment.payloadLength > 0 && recent_.hasPayloadElsewhere(flow.recent, fingerprint))
        ++trouble(flow).retransmitApplication;
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

void TCPQualityTracker::handshake(FlowState& flow, const FlowState& reverse, const TcpSegment& segment)
{
    const auto time = captureTime(segment);
    const bool hasOptions = segment.options && !segment.options->empty();
    if (!(segment.flags & tcpFlag::ack)) {
        flow.synTime = time;
        flow.known |= FlowState::synTimeKnown;
        if (hasOptions)
            flow.clientOffer = offer(*segment.options);
        return;
    }
    if (hasOptions)
        flow.serverOffer = offer(*segment.options);
    if (!reverse.knows(FlowState::synTimeKnown) || reverse.synTime > time)
        return;
    const auto sample = (time - reverse.synTime) * 1000;
    if (sample <= 0 || sample >= 60'000) // a minute on: not an answer to that SYN any more
        return;
    if (!flow.knows(FlowState::rttKnown) || sample < flow.rttMs)
        flow.rttMs = sample;
    flow.known |= FlowState::rttKnown;
}

void TCPQualityTracker::observe(std::uint32_t connection, int sender, const TcpSegment& segment)
{
    auto& both = connections_[connection];
    auto& flow = started(both.flows[sender]);
    auto& reverse = both.flows[1 - sender];
    const bool isRst = segment.flags & tcpFlag::rst;
    const bool isSyn = segment.flags & tcpFlag::syn;

    countFlags(flow, segment);
    if (!isRst)
        sampleWindow(flow, segment);
    if (segment.flags & tcpFlag::ack && segment.ack && !isRst)
        acknowledge(flow, started(reverse), segment);

    const auto ordinal = static_cast<std::uint32_t>(flow.tcpPackets);
    const SegmentFingerprint fingerprint{ordinal, segment.seq, segment.payloadDigest, segment.ipId};
    // Ahead of all that was sent, but not so far that 64 such steps would reach around the sequence space.
    constexpr std::uint32_t farthestStep = 1u << 24;
    const bool isAhead = !isRst && (!flow.knows(FlowState::nextseqKnown) || segment.seq - flow.nextseq < farthestStep);
    if (!isRst) {
        checkRetransmission(flow, fingerprint, segment, isAhead);
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
            flow.disorder = RecentSegments::window;
        else if (flow.disorder > 0)
            --flow.disorder;
    }
    if (isSyn)
        handshake(flow, reverse, segment);
}

TCPQualityTracker TCPQualityTracker::snapshot() const
{
    TCPQualityTracker copy;
    copy.connections_ = connections_;
    copy.troubles_ = troubles_;
    copy.extraSets_ = extraSets_;
    return copy;
}

TCPSessionQuality TCPQualityTracker::quality(const FlowState& flow) const
{
    TCPSessionQuality record;
    record.tcpPackets = flow.tcpPackets;
    record.synCount = flow.synCount;
    record.finCount = flow.finCount;
    record.ackCount = flow.ackCount;
    record.pshCount = flow.pshCount;
    if (flow.trouble) {
        const auto& rare = troubles_[flow.trouble];
        record.rstCount = rare.rstCount;
        record.urgCount = rare.urgCount;
        record.eceCount = rare.eceCount;
        record.cwrCount = rare.cwrCount;
        record.retransmitGuess = rare.retransmitGuess;
        record.retransmitEndpoint = rare.retransmitEndpoint;
        record.retransmitInfrastructure = rare.retransmitInfrastructure;
        record.retransmitApplication = rare.retransmitApplication;
        record.spuriousRetransmitCount = rare.spuriousRetransmitCount;
        record.ackedUnseenCount = rare.ackedUnseenCount;
        record.sackPacketCount = rare.sackPacketCount;
        record.sackDSackCount = rare.sackDSackCount;
        record.sackUnseenCount = rare.sackUnseenCount;
        record.sackInvalidCount = rare.sackInvalidCount;
        record.sackLeftoverCount = rare.sackLeftoverCount;
        record.zeroWindowCount = rare.zeroWindowCount;
    }
    record.windowMin = flow.windowMin;
    record.windowMax = flow.windowMax;
    record.windowLast = flow.windowLast;
    record.hasWindowSample = flow.knows(FlowState::windowSampled);
    if (flow.knows(FlowState::rttKnown))
        record.rttMsEstimate = flow.rttMs;

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
    fold(flow.clientOffer, both.mssClient, both.wscaleClient, both.sackClient, both.timestampsClient, both.extraClient);
    fold(flow.serverOffer, both.mssServer, both.wscaleServer, both.sackServer, both.timestampsServer, both.extraServer);
    both.sackPermitted = both.sackClient || both.sackServer;
    both.timestamps = both.timestampsClient || both.timestampsServer;
    return record;
}

} // namespace netrondo
