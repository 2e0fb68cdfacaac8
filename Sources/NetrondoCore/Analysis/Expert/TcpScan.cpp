// The rules about TCP (RFC 9293; RFC 2018, 5681 and 6298 on repetition; RFC 7323 on options).
#include "Analysis/Expert/TcpScan.h"

#include "Analysis/Model/ConversationTable.h"
#include "Dissection/Classify/PortServices.h"
#include "Dissection/Wire/TcpHeader.h"
#include "Dissection/Wire/TcpOptions.h"

#include <algorithm>
#include <fmt/format.h>
#include <map>

namespace netrondo {
namespace {

using Copy = CopyScan::Copy;

constexpr std::uint64_t floorOfShares = 20;        // below, a single segment would be many percent
constexpr std::uint32_t transferBytes = 1'000'000; // what users wait for
constexpr std::uint32_t steadyBytes = 128'000;     // sent when a window has had time to grow

bool isAfter(std::uint32_t a, std::uint32_t b)
{
    return static_cast<std::int32_t>(a - b) > 0;
}

std::uint32_t sequenceLength(const FrameFacts& facts)
{
    return static_cast<std::uint32_t>(facts.payload.size()) + (facts.flags & tcpFlag::syn ? 1 : 0)
        + (facts.flags & tcpFlag::fin ? 1 : 0);
}

} // namespace

int TcpScan::server(const FrameFacts& facts, int sender)
{
    const bool sourceServes = PortServices::serviceOf(facts.sourcePort).has_value();
    const bool destinationServes = PortServices::serviceOf(facts.destinationPort).has_value();
    if (sourceServes != destinationServes)
        return sourceServes ? sender : 1 - sender;
    return facts.sourcePort < facts.destinationPort ? sender : 1 - sender;
}

TcpScan::SideTrouble& TcpScan::trouble(Connection& connection, int side)
{
    if (!connection.is(Connection::troubled)) {
        connection.trouble = troubles_.append();
        connection.state |= Connection::troubled;
    }
    return troubles_[connection.trouble].sides[side];
}

Subject TcpScan::subject(const Context& at)
{
    const auto& facts = at.sight.facts;
    const int serves = at.connection.is(Connection::synSeen) || at.connection.is(Connection::synAckSeen)
        ? 1 - at.connection.client
        : server(facts, at.sight.sender);
    return {facts.source, facts.destination, serves == at.sight.sender ? facts.sourcePort : facts.destinationPort};
}

Subject TcpScan::reversed(const Context& at)
{
    const auto forward = subject(at);
    return {forward.b, forward.a, forward.port};
}

// The tracker's events are marked as they are counted, whatever they turn out to mean.
void TcpScan::note(const SegmentSight& sight, FindingLog& log)
{
    constexpr std::pair<TcpEvents, Finding> marks[] = {{tcpEvent::endpointRetransmission, Finding::tcpRetxEndpoint},
                                                       {tcpEvent::infrastructureRetransmission, Finding::tcpRetxInfra},
                                                       {tcpEvent::applicationRetransmission, Finding::tcpRetxApp},
                                                       {tcpEvent::spuriousRetransmission, Finding::tcpSpurious},
                                                       {tcpEvent::ackedUnseen, Finding::tcpAckedUnseen},
                                                       {tcpEvent::zeroWindow, Finding::tcpZerowin}};
    for (const auto& [event, finding] : marks) {
        if (sight.events & event)
            log.annotate(sight.at.frame, finding);
    }
}

void TcpScan::scan(const SegmentSight& sight, FindingLog& log)
{
    auto& connection = connections_.at(sight.place);
    if (sight.events) [[unlikely]]
        note(sight, log);
    ++segments_;
    const Context at{
        sight, connection, connection.sides[sight.sender], connection.sides[1 - sight.sender], tick(sight.at.seconds),
        log};
    const auto flags = sight.facts.flags;
    if (sight.copy != Copy::none) [[unlikely]] {
        constexpr auto seenTwice = tcpEvent::infrastructureRetransmission | tcpEvent::spuriousRetransmission;
        if (sight.copy == Copy::same && sight.events & seenTwice) {
            connection.state |= Connection::duplicated;
            log.record(Finding::tcpRetxInfra, subject(at), sight.at);
        }
        return; // what follows counts what hosts did, and this they did once
    }
    if ((flags & (tcpFlag::syn | tcpFlag::fin | tcpFlag::rst)) || !(flags & tcpFlag::ack)) [[unlikely]] {
        scanFlags(at);
        if (flags & tcpFlag::syn)
            scanSyn(at);
    }
    scanTtl(at);
    if (flags & tcpFlag::rst) [[unlikely]] {
        scanReset(at);
        connection.last = at.now;
        return;
    }
    if (connection.is(Connection::troubled)) [[unlikely]] {
        auto& others = trouble(connection, 1 - sight.sender);
        others.keepAlives = 0; // somebody is there
        others.idle = 0;
        if (!others.peerIsAlive && others.largeResent) { // what counts is what it does not get while it speaks
            others.peerIsAlive = true;
            others.largeResent = 0;
        }
    }
    if (connection.is(Connection::synAckSeen) && sight.sender == connection.client)
        connection.state |= Connection::established;
    if (flags & tcpFlag::ack)
        scanAcknowledgment(at);
    if (sequenceLength(sight.facts))
        scanData(at);
    scanWindow(at);
    connection.last = at.now;
}

void TcpScan::scanFlags(const Context& at)
{
    using namespace tcpFlag;
    const auto flags = at.sight.facts.flags & (fin | syn | rst | psh | tcpFlag::ack | urg);
    const char* what = flags == 0                                         ? "none at all"
        : (flags & (syn | fin)) == (syn | fin)                            ? "SYN and FIN"
        : (flags & (syn | rst)) == (syn | rst)                            ? "SYN and RST"
        : (flags & (fin | psh | urg | tcpFlag::ack)) == (fin | psh | urg) ? "FIN, PSH and URG without ACK"
                                                                          : nullptr;
    if (!what)
        return;
    auto& finding = at.log.report(Finding::tcpBadflags, subject(at), at.sight.at);
    finding.measured = static_cast<double>(finding.count);
    finding.detail = what;
}

void TcpScan::scanSyn(const Context& at)
{
    auto& connection = at.connection;
    const auto& facts = at.sight.facts;
    const bool isAnswer = facts.flags & tcpFlag::ack;
    if (!isAnswer) {
        if (connection.is(Connection::synSeen) && connection.isn != facts.seq) {
            const auto silence = seconds(since(at.now, connection.last));
            const bool wasUsed = connection.is(Connection::established);
            connection.client = static_cast<std::uint8_t>(at.sight.sender);
            if (wasUsed && silence < preferences_.reuseSeconds) {
                auto& finding = at.log.report(Finding::tcpReuse, subject(at), at.sight.at);
                finding.measured = silence;
                finding.threshold = preferences_.reuseSeconds;
            }
            connection = {};
        }
        connection.client = static_cast<std::uint8_t>(at.sight.sender);
        if (connection.synCount++ == 0) {
            connection.firstSyn = at.now;
            connection.synFrame = at.sight.at.frame;
        }
        connection.synCount = std::max<std::uint8_t>(connection.synCount, 1); // 256 of them are as good as 255
        connection.isn = facts.seq;
        connection.lastSyn = at.now;
        connection.state |= Connection::synSeen;
    } else {
        connection.client = static_cast<std::uint8_t>(1 - at.sight.sender);
        if (!connection.is(Connection::synAckSeen)) {
            connection.synAck = at.now;
            connection.synAckFrame = at.sight.at.frame;
        }
        if (!connection.is(Connection::synAckSeen) && connection.is(Connection::synSeen)) {
            const auto took = since(at.now, connection.lastSyn);
            connection.roundTrip = static_cast<std::uint16_t>(std::min<Tick>(took, 0xffff));
            const auto inMs = seconds(took) * 1000;
            if (inMs > preferences_.handshakeMilliseconds && inMs < 60'000) {
                auto& finding = at.log.report(Finding::tcpSlowhandshake, reversed(at), at.sight.at);
                finding.measured = std::max(finding.measured, inMs);
                finding.threshold = preferences_.handshakeMilliseconds;
                finding.severity = finding.measured > preferences_.handshakeErrorMilliseconds ? Severity::error
                    : finding.measured > preferences_.handshakeWarnMilliseconds               ? Severity::warning
                                                                                              : Severity::note;
            }
        }
        connection.state |= Connection::synAckSeen;
    }
    const auto options = parseTcpOptions(at.sight.options);
    at.me.known |= Side::offered;
    at.me.shift = options.windowScale ? std::min<std::uint8_t>(*options.windowScale, 14) : 0xff;
    connection.mss[at.sight.sender] = options.mss.value_or(0);
    connection.offers[at.sight.sender] = static_cast<std::uint8_t>((options.windowScale ? Connection::scale : 0)
                                                                   | (options.sackPermitted ? Connection::selective : 0)
                                                                   | (options.timestamps ? Connection::timestamps : 0));
}

void TcpScan::scanReset(const Context& at)
{
    auto& connection = at.connection;
    const auto& facts = at.sight.facts;
    if (connection.is(Connection::wasReset) || connection.is(Connection::refused))
        return;
    const auto flags = facts.flags;
    if (flags & tcpFlag::ack && connection.is(Connection::synSeen) && !connection.is(Connection::synAckSeen)
        && at.sight.sender != connection.client && facts.ack == connection.isn + 1) {
        if (seconds(since(at.now, connection.lastSyn)) > preferences_.synSeconds)
            return; // whoever clears up later does not answer for the service
        connection.state |= Connection::refused;
        auto& finding = at.log.report(Finding::tcpRefused, reversed(at), at.sight.at);
        finding.measured = static_cast<double>(finding.count);
        return;
    }
    const bool wasOpen = !connection.is(Connection::synSeen) || connection.is(Connection::established);
    connection.state |= Connection::wasReset;
    if (!wasOpen)
        return; // a request that was given up
    if (at.me.ttl && std::abs(int{at.sight.ttl} - int{at.me.ttl}) >= preferences_.resetTtlShift) {
        auto& finding = at.log.report(Finding::tcpRstInjected, subject(at), at.sight.at);
        finding.measured = std::abs(int{at.sight.ttl} - int{at.me.ttl});
        finding.threshold = preferences_.resetTtlShift;
        return;
    }
    const auto silence = seconds(since(at.now, connection.last));
    if (connection.last && silence >= preferences_.idleSeconds) {
        auto& finding = at.log.report(Finding::tcpIdle, subject(at), at.sight.at);
        finding.measured = std::max(finding.measured, silence);
        finding.threshold = preferences_.idleSeconds;
        return;
    }
    // What was sent and not acknowledged; after a FIN of either side the data was done with.
    std::uint32_t outstanding = 0;
    for (const auto& [from, to] : {std::pair(&at.me, &at.peer), std::pair(&at.peer, &at.me)}) {
        if (from->knows(Side::sent) && to->knows(Side::acked) && isAfter(from->nextSeq, to->ackSent))
            outstanding += from->nextSeq - to->ackSent;
    }
    const bool isClosing = at.me.knows(Side::fin) || at.peer.knows(Side::fin);
    auto& finding = at.log.report(Finding::tcpRst, subject(at), at.sight.at);
    finding.measured = std::max<double>(finding.measured, outstanding);
    if (outstanding && !isClosing) {
        finding.severity = Severity::warning;
        finding.detail = "Data was on its way.";
    } else if (finding.detail.empty() && isClosing) {
        finding.detail = "The connection was being closed.";
    }
}

void TcpScan::scanAcknowledgment(const Context& at)
{
    const auto& facts = at.sight.facts;
    auto& me = at.me;
    const bool isBare = facts.payload.empty() && !(facts.flags & (tcpFlag::syn | tcpFlag::fin));
    const bool isSame = me.knows(Side::acked) && facts.ack == me.ackSent;
    if (at.sight.events & tcpEvent::ackedUnseen) [[unlikely]] {
        if (ackedUnseen_++ == 0)
            ackedUnseenFirst_ = at.sight.at;
        at.log.record(Finding::tcpAckedUnseen, subject(at), at.sight.at).measured += 1;
    }
    if (isSame && isBare && facts.window == me.window && at.peer.knows(Side::sent)
        && isAfter(at.peer.nextSeq, facts.ack)) {
        me.dupAcks = static_cast<std::uint8_t>(std::min(me.dupAcks + 1, 255));
        constexpr std::size_t oneBlock = 10; // kind, length and two edges
        if (at.sight.options.size() >= oneBlock) {
            const auto options = parseTcpOptions(at.sight.options); // outlives its blocks
            for (const auto& block : options.sackBlocks()) {
                auto& others = trouble(at.connection, 1 - at.sight.sender);
                if (!isAfter(block.left, facts.ack) || (others.askedAt && !isAfter(block.left, others.askedFor)))
                    continue;
                if (!others.askedAt)
                    others.askedAt = at.now;
                others.askedFor = block.left;
            }
        }
        if (me.dupAcks >= preferences_.duplicateAcks) {
            auto& finding = at.log.report(Finding::tcpDupack, subject(at), at.sight.at);
            finding.measured = static_cast<double>(finding.count);
            finding.threshold = preferences_.duplicateAcks;
        }
    } else if (!isSame && (!me.knows(Side::acked) || isAfter(facts.ack, me.ackSent))) {
        me.dupAcks = 0;
        me.ackSent = facts.ack;
        me.known |= Side::acked;
        if (at.connection.is(Connection::troubled)) [[unlikely]] {
            auto& others = trouble(at.connection, 1 - at.sight.sender);
            others.largeResent = 0;
            others.peerIsAlive = false;
            others.doublings = 0;
            if (others.askedAt && !isAfter(others.askedFor, facts.ack))
                others.askedAt = 0;
            if (others.fullSince) {
                others.fullTime += since(at.now, others.fullSince);
                others.fullSince = 0;
            }
        }
        // A delayed acknowledgment comes after 40 ms or 200 ms; somebody may have waited for it.
        if (isBare && at.peer.knows(Side::sent) && facts.ack == at.peer.nextSeq && !at.peer.knows(Side::full)) {
            const auto took = seconds(since(at.now, at.peer.lastData)) * 1000;
            if ((took >= 35 && took <= 45) || (took >= 190 && took <= 210)) [[unlikely]] {
                at.connection.delayedAck[1 - at.sight.sender] = at.now;
                at.peer.known |= Side::waited;
            }
        }
    }
}

void TcpScan::scanData(const Context& at)
{
    const auto& facts = at.sight.facts;
    auto& me = at.me;
    const auto length = sequenceLength(facts);
    const auto end = facts.seq + length;
    const bool isKeepAlive = at.peer.knows(Side::acked) && facts.seq == at.peer.ackSent - 1 && facts.payload.size() <= 1
        && !(facts.flags & (tcpFlag::syn | tcpFlag::fin));
    if (isKeepAlive) [[unlikely]] {
        if (at.peer.window == 0) // it asks for room
            return;
        auto& mine = trouble(at.connection, at.sight.sender);
        if (mine.keepAlives++ == 0)
            mine.keepAlive = at.sight.at;
        if (mine.keepAlives >= preferences_.keepAlives) {
            if (mine.keepAlives == static_cast<std::uint8_t>(preferences_.keepAlives))
                at.log.record(Finding::tcpKeepalive, subject(at), mine.keepAlive);
            auto& finding = at.log.report(Finding::tcpKeepalive, subject(at), at.sight.at);
            finding.measured = mine.keepAlives;
            finding.threshold = preferences_.keepAlives;
        }
        return;
    }
    if (facts.flags & tcpFlag::fin)
        me.known |= Side::fin;
    if (!facts.payload.empty() || facts.flags & tcpFlag::syn)
        ++me.dataSegments;
    const bool isAhead = !me.knows(Side::sent) || isAfter(end, me.nextSeq);
    constexpr auto resent =
        tcpEvent::endpointRetransmission | tcpEvent::spuriousRetransmission | tcpEvent::infrastructureRetransmission;
    if (at.sight.events & resent) [[unlikely]] {
        // The tracker goes on with the numbers of an earlier connection over the same ports; here they began anew.
        const bool isNew = me.knows(Side::sent) && !isAfter(me.nextSeq, facts.seq);
        if (!isNew)
            scanResent(at, true);
    } else if (at.sight.events & tcpEvent::applicationRetransmission) [[unlikely]] {
        constexpr std::size_t small = 64; // keystrokes, keep-alives and the like repeat by nature
        if (facts.payload.size() >= small && server(facts, at.sight.sender) != at.sight.sender)
            at.log.record(Finding::tcpRetxApp, subject(at), at.sight.at);
    } else if (!isAhead && !facts.payload.empty()) [[unlikely]] {
        // It fills a hole: it was overtaken, or its first copy was lost before the capture point. The identification
        // of IPv4 tells which, where the sender counts it; else only what came sooner than any repetition could.
        const bool hasId = facts.has & FrameFacts::ipv4Id && facts.identification && me.ipId;
        const auto roundTrip =
            at.connection.roundTrip ? Tick{at.connection.roundTrip} : milliseconds(preferences_.outOfOrderMilliseconds);
        const bool wasAskedFor =
            isAskedFor(at) && since(at.now, trouble(at.connection, at.sight.sender).askedAt) >= roundTrip;
        const bool wasOvertaken = hasId ? static_cast<std::int16_t>(facts.identification - me.ipId) < 0
                                        : since(at.now, me.lastData) < roundTrip && !wasAskedFor;
        if (wasOvertaken) {
            at.log.report(Finding::tcpOoo, subject(at), at.sight.at);
        } else {
            scanResent(at, false);
        }
    } else if (me.knows(Side::waited) && !facts.payload.empty()) [[unlikely]] {
        scanStall(at);
    }
    if (at.connection.last && since(at.now, at.connection.last) >= milliseconds(preferences_.idleSeconds * 1000))
        [[unlikely]]
        trouble(at.connection, at.sight.sender).idle = since(at.now, at.connection.last);
    if (isAhead) {
        me.nextSeq = end;
        me.ipId = facts.identification;
    }
    me.lastData = at.now;
    me.known |= Side::sent;
    constexpr std::size_t fullSize = 1200; // no segment of a host that has more to say is smaller
    me.known =
        static_cast<std::uint8_t>(facts.payload.size() >= fullSize ? me.known | Side::full : me.known & ~Side::full);
    const auto size = static_cast<std::uint32_t>(facts.payload.size());
    const bool wasSmall = me.bytes < steadyBytes;
    me.bytes = me.bytes > ~size ? ~0u : me.bytes + size;
    if (wasSmall && me.bytes >= steadyBytes) [[unlikely]]
        trouble(at.connection, at.sight.sender).large = at.sight.at;
    if (at.connection.is(Connection::troubled)) [[unlikely]] {
        auto& mine = trouble(at.connection, at.sight.sender);
        if (mine.large.frame) {
            mine.sentSince = mine.sentSince > ~size ? ~0u : mine.sentSince + size;
            mine.lastSince = at.now;
        }
    }
    // Bytes on the way against the room the receiver gave.
    if (at.peer.knows(Side::acked) && !facts.payload.empty() && !(facts.flags & tcpFlag::syn)
        && isAfter(me.nextSeq, at.peer.ackSent)) {
        const auto given = room(at.peer, me);
        if (given && me.nextSeq - at.peer.ackSent >= given) [[unlikely]] {
            auto& finding = at.log.report(Finding::tcpWinfull, subject(at), at.sight.at);
            finding.measured = std::max<double>(finding.measured, me.nextSeq - at.peer.ackSent);
            auto& mine = trouble(at.connection, at.sight.sender);
            if (!mine.fullSince)
                mine.fullSince = at.now;
        }
    }
}

std::uint32_t TcpScan::room(const Side& receiver, const Side& sender)
{
    if (!receiver.knows(Side::offered) || !sender.knows(Side::offered))
        return 0;
    const bool isScaled = receiver.shift != 0xff && sender.shift != 0xff;
    return std::uint32_t{receiver.window} << (isScaled ? receiver.shift : 0);
}

// The receiver has named a hole that this segment lies in.
bool TcpScan::isAskedFor(const Context& at)
{
    if (!at.connection.is(Connection::troubled))
        return false;
    const auto& mine = trouble(at.connection, at.sight.sender);
    return mine.askedAt && isAfter(mine.askedFor, at.sight.facts.seq);
}

// Data that follows at once on an acknowledgment that came late has waited for it.
void TcpScan::scanStall(const Context& at)
{
    at.me.known = static_cast<std::uint8_t>(at.me.known & ~Side::waited);
    constexpr double atOnce = 5; // milliseconds
    if (since(at.now, at.connection.delayedAck[at.sight.sender]) >= milliseconds(atOnce))
        return;
    auto& mine = trouble(at.connection, at.sight.sender);
    if (++mine.stalls < preferences_.delayedAckStalls)
        return;
    auto& finding = at.log.report(Finding::tcpDelayedack, subject(at), at.sight.at);
    finding.count = mine.stalls;
    finding.measured = mine.stalls;
    finding.threshold = preferences_.delayedAckStalls;
}

// A segment that was sent again. `isKnownCopy`: the tracker remembers or knows that it was acknowledged; else it fills
// a hole, so that its first copy never came by.
void TcpScan::scanResent(const Context& at, bool isKnownCopy)
{
    const auto& facts = at.sight.facts;
    const auto events = at.sight.events;
    auto& connection = at.connection;
    if (facts.flags & tcpFlag::syn) // told by the rules about handshakes
        return;
    const auto whom = subject(at);
    if (events & tcpEvent::infrastructureRetransmission) {
        connection.state |= Connection::duplicated;
        at.log.record(Finding::capDupes, {}, at.sight.at);
        at.log.record(Finding::tcpRetxInfra, whom, at.sight.at);
        return;
    }
    if (events & tcpEvent::spuriousRetransmission) {
        at.log.record(Finding::tcpSpurious, whom, at.sight.at);
        return;
    }
    if (isKnownCopy)
        at.log.record(Finding::tcpRetxEndpoint, whom, at.sight.at);
    const auto wait = since(at.now, at.me.lastData);
    const auto timeout = std::max<Tick>(milliseconds(preferences_.timeoutMilliseconds), 2u * connection.roundTrip);
    if (at.peer.dupAcks >= preferences_.duplicateAcks || (wait < timeout && isAskedFor(at))) {
        at.log.report(Finding::tcpFastretx, whom, at.sight.at).measured += 1;
        return;
    }
    if (wait < timeout || at.peer.window == 0)
        return;
    auto& mine = trouble(connection, at.sight.sender);
    const bool isSame = mine.resentSeq == facts.seq && mine.wait;
    mine.doublings =
        static_cast<std::uint8_t>(isSame && wait > mine.wait + mine.wait / 2 ? std::min(mine.doublings + 1, 255)
                                      : isSame                               ? mine.doublings
                                                                             : 0);
    if (at.me.knows(Side::full) && at.sight.dontFragment && facts.payload.size() >= 1200)
        mine.largeResent = static_cast<std::uint8_t>(std::min(mine.largeResent + 1, 255));
    mine.resentSeq = facts.seq;
    mine.wait = wait;
    auto& finding = at.log.report(Finding::tcpRto, whom, at.sight.at);
    finding.measured = std::max(finding.measured, seconds(wait) * 1000);
    finding.threshold = preferences_.timeoutMilliseconds;
    if (mine.doublings >= preferences_.timeoutDoublings) {
        finding.severity = Severity::error;
        finding.detail = "The waits doubled again and again: the connection was lost.";
    }
    if (mine.largeResent >= preferences_.blackholeRepeats && mine.peerIsAlive) {
        auto& hole = at.log.report(Finding::ipBlackhole, {whom.a, whom.b, 0}, at.sight.at);
        hole.measured = std::max<double>(hole.measured, mine.largeResent);
        hole.threshold = preferences_.blackholeRepeats;
    }
    if (mine.idle) {
        auto& idle = at.log.report(Finding::tcpIdle, whom, at.sight.at);
        idle.measured = seconds(mine.idle);
        idle.threshold = preferences_.idleSeconds;
        mine.idle = 0;
    }
}

void TcpScan::scanWindow(const Context& at)
{
    const auto& facts = at.sight.facts;
    at.me.window = facts.window;
    if (at.sight.events & tcpEvent::zeroWindow && !(facts.flags & tcpFlag::syn)) [[unlikely]] {
        auto& mine = trouble(at.connection, at.sight.sender);
        if (!mine.isClosed) {
            mine.isClosed = true;
            mine.closedAt = at.now;
        }
        auto& finding = at.log.record(Finding::tcpZerowin, subject(at), at.sight.at);
        finding.threshold = preferences_.frozenSeconds;
        if (static_cast<double>(finding.count) >= preferences_.frozenTimes)
            finding.severity = Severity::error;
    }
    if (!at.connection.is(Connection::troubled)) [[likely]]
        return;
    if (auto& others = trouble(at.connection, 1 - at.sight.sender); others.large.frame)
        others.mostRoom = std::max(others.mostRoom, room(at.me, at.peer));
    auto& mine = trouble(at.connection, at.sight.sender);
    if (!mine.isClosed)
        return;
    const auto closed = since(at.now, mine.closedAt);
    if (auto* finding = at.log.find(Finding::tcpZerowin, subject(at))) {
        finding->measured = std::max(finding->measured, seconds(closed));
        if (finding->measured >= preferences_.frozenSeconds)
            finding->severity = Severity::error;
        if (facts.window != 0)
            finding->detail = fmt::format("It opened again in frame {}.", at.sight.at.frame);
    }
    mine.isClosed = facts.window == 0;
}

void TcpScan::scanTtl(const Context& at)
{
    auto& me = at.me;
    if (at.sight.ttl == me.ttl) [[likely]]
        return;
    if (me.ttl == 0) {
        me.ttl = at.sight.ttl;
        return;
    }
    const auto shift = std::abs(int{at.sight.ttl} - int{me.ttl});
    constexpr int longestDetour = 32; // beyond it a host has set another first value
    if (shift < preferences_.ttlShift || shift > longestDetour || at.sight.facts.flags & tcpFlag::rst)
        return;
    auto& mine = trouble(at.connection, at.sight.sender);
    mine.otherTtlRun =
        mine.otherTtl == at.sight.ttl ? static_cast<std::uint8_t>(mine.otherTtlRun + 1) : std::uint8_t{1};
    mine.otherTtl = at.sight.ttl;
    if (mine.otherTtlRun < 3)
        return;
    auto& finding =
        at.log.report(Finding::ipTtlChange, {at.sight.facts.source, at.sight.facts.destination, 0}, at.sight.at);
    finding.measured = shift;
    finding.threshold = preferences_.ttlShift;
    me.ttl = at.sight.ttl;
    mine.otherTtlRun = 0;
}

namespace {

/// The ends of a connection as the findings name them.
struct Ends {
    Address hosts[2];
    std::uint16_t ports[2];
    int server;
};

Ends endsOf(const ConversationTable& table, std::uint32_t number, bool knowsClient, int client)
{
    const auto& session = table.sessions[number];
    Ends ends{{table.addresses.address(session.hostKind, session.hosts[0]),
               table.addresses.address(session.hostKind, session.hosts[1])},
              {session.ports[0], session.ports[1]},
              0};
    FrameFacts facts;
    facts.sourcePort = ends.ports[0];
    facts.destinationPort = ends.ports[1];
    ends.server = knowsClient ? 1 - client : TcpScan::server(facts, 0);
    return ends;
}

} // namespace

// Shares are of all connections between the same hosts for the same service, as the findings are.
void TcpScan::finishShares(const ConversationTable& table, FindingLog& log) const
{
    constexpr Finding shared[] = {Finding::tcpRetxEndpoint, Finding::tcpRetxInfra, Finding::tcpSpurious,
                                  Finding::tcpOoo, Finding::tcpWinfull};
    if (std::none_of(std::begin(shared), std::end(shared), [&](auto finding) { return log.has(finding); }))
        return;
    std::vector<std::uint64_t> segments(log.records().size());
    // Nearly all connections have no record: a bit for each subject that has one spares them the search.
    constexpr std::size_t bits = 1 << 16;
    std::vector<bool> isSubject(bits);
    const auto bitOf = [](const Address& from, const Address& to, std::uint16_t port) {
        return (hashOf(from) + 3 * hashOf(to) + port) % bits;
    };
    for (const auto& record : log.records()) {
        if (std::find(std::begin(shared), std::end(shared), record.finding) != std::end(shared))
            isSubject[bitOf(record.hosts[0], record.hosts[1], record.port)] = true;
    }
    for (std::uint32_t number = 0; number < connections_.size(); ++number) {
        const auto& connection = connections_[number];
        if (!connection.sides[0].dataSegments && !connection.sides[1].dataSegments)
            continue;
        const auto ends =
            endsOf(table, number, connection.state & (Connection::synSeen | Connection::synAckSeen), connection.client);
        for (const int side : {0, 1}) {
            if (!connection.sides[side].dataSegments
                || !isSubject[bitOf(ends.hosts[side], ends.hosts[1 - side], ends.ports[ends.server])])
                continue;
            for (const auto finding : shared) {
                if (const auto* record =
                        log.find(finding, {ends.hosts[side], ends.hosts[1 - side], ends.ports[ends.server]}))
                    segments[static_cast<std::size_t>(record - log.records().data())] +=
                        connection.sides[side].dataSegments;
            }
        }
    }
    for (std::size_t i = 0; i < segments.size(); ++i) {
        auto& record = log.records()[i];
        const auto all = std::max(segments[i], record.count);
        const auto share =
            100.0 * static_cast<double>(record.count) / static_cast<double>(std::max<std::uint64_t>(all, 1));
        const auto grade = [&](double warning, double error) {
            record.measured = share;
            record.threshold = warning;
            constexpr std::uint64_t few = 3; // one or two are what a tail probe or a busy moment makes
            if (all < floorOfShares || record.count < few) {
                record.severity = Severity::note;
                return;
            }
            record.severity = share >= error ? Severity::error : share >= warning ? Severity::warning : Severity::note;
        };
        switch (record.finding) {
        case Finding::tcpRetxEndpoint:
            grade(preferences_.retransmissionPercent, preferences_.retransmissionErrorPercent);
            record.detail = fmt::format("Of {} segments.", all);
            break;
        case Finding::tcpRetxInfra: grade(preferences_.duplicatedPercent, 1e9); break;
        case Finding::tcpSpurious: grade(preferences_.spuriousPercent, 1e9); break;
        case Finding::tcpOoo: grade(preferences_.outOfOrderPercent, 1e9); break;
        case Finding::tcpWinfull:
            if (share < 10 || all < floorOfShares) // a window that is full now and then is how TCP works
                FindingLog::withdraw(record);
            break;
        default: break;
        }
    }
}

void TcpScan::finishOpenings(const ConversationTable& table, const IpScan& ip, double end, FindingLog& log) const
{
    const bool seesOneWay = log.has(Finding::capOneway);
    for (std::uint32_t number = 0; number < connections_.size(); ++number) {
        const auto& connection = connections_[number];
        if (!(connection.state & (Connection::synSeen | Connection::synAckSeen))
            || connection.state & (Connection::established | Connection::refused | Connection::wasReset))
            continue;
        const auto ends = endsOf(table, number, true, connection.client);
        const auto& client = ends.hosts[1 - ends.server];
        const auto& server = ends.hosts[ends.server];
        const Subject subject{client, server, ends.ports[ends.server]};
        const bool answered = connection.is(Connection::synAckSeen);
        const auto since = answered ? seconds(connection.synAck) : seconds(connection.firstSyn);
        if (end - since < preferences_.synSeconds)
            continue;
        if (answered) {
            // The clients of a flood are made up: it is about the service.
            auto& finding =
                log.record(Finding::tcpHalfopen, {{}, server, subject.port}, {connection.synAckFrame, since});
            finding.measured = static_cast<double>(finding.count);
            finding.threshold = preferences_.halfOpen;
        } else if (connection.synCount >= 2 && !seesOneWay && !ip.isUnreachable(server)) {
            auto& finding = log.record(Finding::tcpSynNoanswer, subject, {connection.synFrame, since});
            finding.count += connection.synCount - 1u;
            finding.measured = std::max(finding.measured, std::min(end, seconds(connection.last)) - since);
            finding.threshold = preferences_.synSeconds;
        }
    }
}

void TcpScan::finishTransfers(const ConversationTable& table, FindingLog& log) const
{
    std::uint64_t all = 0, oneWay = 0;
    Sighting firstOneWay;
    for (std::uint32_t number = 0; number < connections_.size(); ++number) {
        const auto& connection = connections_[number];
        all += connection.sides[0].known || connection.sides[1].known || connection.state;
        for (const int side : {0, 1}) {
            const auto& from = connection.sides[side];
            const auto& to = connection.sides[1 - side];
            if (from.dataSegments >= 10 && !to.knows(Side::sent) && !to.knows(Side::acked) && to.ttl == 0
                && oneWay++ == 0)
                firstOneWay = {connection.synFrame ? connection.synFrame : 1, seconds(connection.lastSyn)};
        }
        if (connection.is(Connection::established)) {
            finishOptions(table, number, log);
            if (connection.is(Connection::troubled))
                finishTransfer(table, number, log);
        }
    }
    if (all && 100.0 * static_cast<double>(oneWay) / static_cast<double>(all) >= preferences_.onewayPercent && oneWay) {
        auto& finding = log.record(Finding::capOneway, {}, firstOneWay);
        finding.count = oneWay;
        finding.measured = 100.0 * static_cast<double>(oneWay) / static_cast<double>(all);
        finding.threshold = preferences_.onewayPercent;
    }
    const auto unseen =
        100.0 * static_cast<double>(ackedUnseen_) / static_cast<double>(std::max<std::uint64_t>(segments_, 1));
    if (ackedUnseen_ >= floorOfShares / 4 && segments_ >= floorOfShares && unseen >= preferences_.captureLossPercent) {
        auto& finding = log.record(Finding::capLoss, {}, ackedUnseenFirst_);
        finding.count = ackedUnseen_;
        finding.measured = unseen;
        finding.threshold = preferences_.captureLossPercent;
        finding.detail = fmt::format("{} acknowledgments are for data that the capture does not hold", ackedUnseen_);
    }
    for (auto& record : log.records()) {
        if (record.finding == Finding::tcpRetxApp) {
            record.measured = static_cast<double>(record.count);
            record.threshold = preferences_.repeatedPayloads;
            if (record.measured < preferences_.repeatedPayloads)
                FindingLog::withdraw(record);
        }
    }
}

// What the two sides of a handshake offered, where they do not agree.
void TcpScan::finishOptions(const ConversationTable& table, std::uint32_t number, FindingLog& log) const
{
    const auto& connection = connections_[number];
    const int client = connection.client, server = 1 - client;
    if (!connection.sides[client].knows(Side::offered) || !connection.sides[server].knows(Side::offered))
        return;
    const auto clientMss = connection.mss[client], serverMss = connection.mss[server];
    constexpr std::uint16_t smallMss = 1220; // what IPv6 over its least MTU leaves
    constexpr int usualDifference = 40;      // between IPv4 and IPv6, or with and without options
    const bool differsInSize = clientMss && serverMss && std::abs(clientMss - serverMss) > usualDifference;
    const bool isSmall = (clientMss && clientMss < smallMss) || (serverMss && serverMss < smallMss);
    // A server may offer only what the client did: one that offers less has switched it off, or somebody removed it.
    const auto missing = static_cast<std::uint8_t>(connection.offers[client] & ~connection.offers[server]);
    if (!missing && !differsInSize && !isSmall) [[likely]]
        return;
    const auto ends = endsOf(table, number, true, client);
    auto& finding =
        log.record(Finding::tcpOptions, {ends.hosts[1 - ends.server], ends.hosts[ends.server], ends.ports[ends.server]},
                   {connection.synAckFrame, seconds(connection.synAck)});
    const auto roundTrip = seconds(connection.roundTrip) * 1000;
    finding.measured = std::max(finding.measured, roundTrip);
    finding.threshold = preferences_.longRoundTripMilliseconds;
    const auto say = [&](const std::string& what) {
        if (finding.detail.size() < 160 && finding.detail.find(what) == std::string::npos)
            finding.detail += (finding.detail.empty() ? "" : ", ") + what;
    };
    if (missing & Connection::scale)
        say("the server does not scale its window");
    if (missing & Connection::selective)
        say("the server has no selective acknowledgments");
    if (missing & Connection::timestamps)
        say("the server has no timestamps");
    if (differsInSize || isSmall)
        say(fmt::format("segments of at most {} and {} bytes", clientMss, serverMss));
    const auto largest = std::max(connection.sides[0].bytes, connection.sides[1].bytes);
    if (missing & Connection::scale && largest >= transferBytes && roundTrip >= preferences_.longRoundTripMilliseconds)
        finding.severity = Severity::warning;
}

// Whether the receiver's window held a large transfer up.
void TcpScan::finishTransfer(const ConversationTable& table, std::uint32_t number, FindingLog& log) const
{
    const auto& connection = connections_[number];
    const auto ends = endsOf(table, number, true, connection.client);
    for (const int side : {0, 1}) {
        const auto& from = connection.sides[side];
        const auto& transfer = troubles_[connection.trouble].sides[side];
        const auto port = ends.ports[ends.server];
        constexpr double muchOfIt = 0.1;
        const auto whole = seconds(since(from.lastData, connection.synAck));
        if (transfer.fullTime && whole >= 1 && seconds(transfer.fullTime) >= muchOfIt * whole) {
            if (auto* full = log.find(Finding::tcpWinfull, {ends.hosts[side], ends.hosts[1 - side], port}))
                full->severity = Severity::warning;
        }
        if (from.bytes < transferBytes || transfer.mostRoom == 0)
            continue;
        const auto offered = connection.mss[1 - side];
        const double segment = offered ? offered : 1460;
        const auto took = seconds(transfer.lastSince) - transfer.large.seconds;
        const auto roundTrip = seconds(connection.roundTrip);
        const auto rate = took > 0 ? transfer.sentSince / took : 0;
        const auto wanted = preferences_.smallWindowSegments * segment;
        const bool isTiny = transfer.mostRoom < wanted;
        // As fast as one window a round trip: the window was the limit.
        const bool isLimit =
            roundTrip * 1000 >= preferences_.longRoundTripMilliseconds && rate * roundTrip >= 0.9 * transfer.mostRoom;
        if (!isTiny && !isLimit)
            continue;
        auto& finding =
            log.record(Finding::tcpSmallwin, {ends.hosts[1 - side], ends.hosts[side], port}, transfer.large);
        finding.measured = transfer.mostRoom;
        finding.threshold = isTiny ? wanted : 2 * transfer.mostRoom;
        finding.detail = isTiny
            ? fmt::format("That is less than {} full segments.", preferences_.smallWindowSegments)
            : fmt::format("With a round trip of {:.0f} ms it allows {:.0f} kB a second, and that is "
                          "how fast the transfer was.",
                          roundTrip * 1000, transfer.mostRoom / roundTrip / 1000);
    }
}

// A flood opens connections faster, and under more names, than people do.
void TcpScan::finishFloods(const ConversationTable& table, FindingLog& log) const
{
    constexpr double span = 10;
    constexpr std::size_t sources = 10;
    struct Request {
        double seconds;
        Address client;
    };
    for (auto& record : log.records()) {
        if (record.finding != Finding::tcpHalfopen || record.count == 0)
            continue;
        if (record.measured < preferences_.halfOpen) {
            FindingLog::withdraw(record);
            continue;
        }
        if (record.measured < preferences_.synFlood)
            continue;
        std::vector<Request> requests;
        for (std::uint32_t number = 0; number < connections_.size(); ++number) {
            const auto& connection = connections_[number];
            if (!connection.is(Connection::synAckSeen)
                || connection.state & (Connection::established | Connection::refused | Connection::wasReset))
                continue;
            const auto ends = endsOf(table, number, true, connection.client);
            if (ends.hosts[ends.server] == record.hosts[1] && ends.ports[ends.server] == record.port)
                requests.push_back({seconds(connection.synAck), ends.hosts[1 - ends.server]});
        }
        std::ranges::sort(requests, {}, &Request::seconds);
        std::map<Address, std::uint32_t> clients;
        for (std::size_t from = 0, to = 0; to < requests.size(); ++to) {
            ++clients[requests[to].client];
            for (; requests[to].seconds - requests[from].seconds > span; ++from) {
                if (--clients[requests[from].client] == 0)
                    clients.erase(requests[from].client);
            }
            if (static_cast<double>(to - from + 1) >= preferences_.synFlood && clients.size() >= sources) {
                record.severity = Severity::error;
                break;
            }
        }
    }
}

double TcpScan::duplicatedShare() const
{
    std::uint64_t all = 0, duplicated = 0;
    for (std::uint32_t number = 0; number < connections_.size(); ++number) {
        const auto& connection = connections_[number];
        all += connection.sides[0].dataSegments || connection.sides[1].dataSegments;
        duplicated += connection.is(Connection::duplicated);
    }
    return all < floorOfShares ? 0 : 100.0 * static_cast<double>(duplicated) / static_cast<double>(all);
}

// A refusal that the client gets around at once (it tries the server's other address), or that ends when the service
// has started, is worth a note.
void TcpScan::finishRefusals(const ConversationTable& table, FindingLog& log) const
{
    if (!log.has(Finding::tcpRefused))
        return;
    struct Opening {
        Address client, server;
        std::uint32_t clientMac, serverMac;
        std::uint16_t port;
        double seconds;
        bool succeeded;
    };
    std::vector<Opening> openings;
    for (std::uint32_t number = 0; number < connections_.size(); ++number) {
        const auto& connection = connections_[number];
        if (!connection.is(Connection::established) && !connection.is(Connection::refused))
            continue;
        const auto ends = endsOf(table, number, true, connection.client);
        const auto& macs = table.conversations[table.details[number].conversation].origins[connection.client].others;
        openings.push_back({ends.hosts[1 - ends.server], ends.hosts[ends.server], macs[0], macs[1],
                            ends.ports[ends.server], seconds(connection.firstSyn),
                            connection.is(Connection::established)});
    }
    // The successes, by the machines and by the service, to be searched.
    std::vector<const Opening*> byMachines, byService;
    for (const auto& opening : openings) {
        if (opening.succeeded)
            byMachines.push_back(&opening);
    }
    byService = byMachines;
    const auto machines = [](const Opening* one) {
        return std::tuple(one->port, one->clientMac, one->serverMac, one->seconds);
    };
    const auto service = [](const Opening* one) { return std::tuple(one->port, one->server, one->seconds); };
    constexpr double atOnce = 3;
    std::ranges::sort(byMachines, {}, machines);
    std::ranges::sort(byService, {}, service);
    for (const auto& refused : openings) {
        auto* record =
            refused.succeeded ? nullptr : log.find(Finding::tcpRefused, {refused.client, refused.server, refused.port});
        if (!record || record->severity == Severity::note)
            continue;
        bool isGotAround = false;
        constexpr int tried = 16; // addresses of one machine
        auto other = std::ranges::lower_bound(byMachines, machines(&refused), {}, machines);
        for (int i = 0; i < tried && other != byMachines.end() && (*other)->port == refused.port
             && (*other)->clientMac == refused.clientMac && (*other)->serverMac == refused.serverMac
             && (*other)->seconds - refused.seconds < atOnce;
             ++i, ++other)
            isGotAround |= refused.clientMac && (*other)->server != refused.server;
        // Where both sides serve, as with BGP, the other one may have opened it.
        bool before = false, after = false;
        for (const auto& [server, client] : {std::pair(&refused.server, static_cast<const Address*>(nullptr)),
                                             std::pair(&refused.client, &refused.server)}) {
            const auto place =
                std::ranges::lower_bound(byService, std::tuple(refused.port, *server, refused.seconds), {}, service);
            const auto isSame = [&](const Opening* one) {
                return one->port == refused.port && one->server == *server && (!client || one->client == *client);
            };
            after |= place != byService.end() && isSame(*place);
            before |= place != byService.begin() && isSame(*std::prev(place));
        }
        if (isGotAround || (after && !before))
            record->severity = Severity::note;
    }
    // A client that is refused under one address tries the other kind at once: the same refusal of the same service.
    std::vector<const Opening*> refusals;
    for (const auto& opening : openings) {
        if (!opening.succeeded && opening.clientMac)
            refusals.push_back(&opening);
    }
    std::ranges::sort(refusals, {}, machines);
    for (std::size_t i = 1; i < refusals.size(); ++i) {
        const auto &first = *refusals[i - 1], &second = *refusals[i];
        if (first.port != second.port || first.clientMac != second.clientMac || first.serverMac != second.serverMac
            || first.server.kind == second.server.kind || second.seconds - first.seconds >= atOnce)
            continue;
        auto* told = log.find(Finding::tcpRefused, {first.client, first.server, first.port});
        auto* same = log.find(Finding::tcpRefused, {second.client, second.server, second.port});
        if (!told || !same || !told->count || !same->count)
            continue;
        told->absorb(*same);
        told->detail = fmt::format("It refuses under {} too.", second.server.text());
    }
}

// Who opens many connections that fail: to many ports of one host, or to one port of many hosts.
void TcpScan::finishScans(const ConversationTable& table, double end, FindingLog& log) const
{
    // A scan makes as many of these as there are connections: they are small, and counted before they are made.
    struct Attempt {
        const Address* client; ///< in `failures`
        Address server;
        double seconds;
        std::uint32_t frame;
        std::uint16_t port;
        bool failed;
    };
    const auto hasFailed = [&](const Connection& connection) {
        return connection.is(Connection::refused)
            || (!connection.is(Connection::synAckSeen)
                && end - seconds(connection.firstSyn) >= preferences_.synSeconds);
    };
    // Only clients with many failures are looked at; most captures have none.
    std::map<Address, std::uint32_t> failures;
    for (std::uint32_t number = 0; number < connections_.size(); ++number) {
        const auto& connection = connections_[number];
        if (connection.is(Connection::synSeen) && hasFailed(connection)) {
            const auto ends = endsOf(table, number, true, connection.client);
            ++failures[ends.hosts[1 - ends.server]];
        }
    }
    const auto few =
        std::min(preferences_.scannedPorts, preferences_.scannedHosts) * preferences_.scanFailedPercent / 100;
    std::erase_if(failures, [&](const auto& client) { return client.second < few; });
    if (failures.empty())
        return;
    const auto eachAttempt = [&](auto visit) {
        for (std::uint32_t number = 0; number < connections_.size(); ++number) {
            const auto& connection = connections_[number];
            if (!connection.is(Connection::synSeen))
                continue;
            const auto ends = endsOf(table, number, true, connection.client);
            if (const auto client = failures.find(ends.hosts[1 - ends.server]); client != failures.end())
                visit(connection, ends, client->first);
        }
    };
    std::size_t count = 0;
    eachAttempt([&](const auto&...) { ++count; });
    std::vector<Attempt> attempts;
    attempts.reserve(count);
    eachAttempt([&](const Connection& connection, const Ends& ends, const Address& client) {
        attempts.push_back({&client, ends.hosts[ends.server], seconds(connection.firstSyn), connection.synFrame,
                            ends.ports[ends.server], hasFailed(connection)});
    });
    constexpr double span = 60;
    const auto search = [&](auto sameTarget, auto differs, Finding finding, double wanted, auto subjectOf) {
        for (std::size_t from = 0; from < attempts.size();) {
            auto to = from + 1;
            while (to < attempts.size() && attempts[to].client == attempts[from].client
                   && sameTarget(attempts[to], attempts[from]))
                ++to;
            // Within the group by time: the most different targets within the span.
            const std::span group(attempts.data() + from, to - from);
            from = to;
            if (static_cast<double>(group.size()) < wanted)
                continue;
            std::sort(group.begin(), group.end(), [](const auto& a, const auto& b) { return a.frame < b.frame; });
            std::map<std::uint64_t, std::uint32_t> within;
            std::size_t start = 0, most = 0, failed = 0;
            for (std::size_t i = 0; i < group.size(); ++i) {
                ++within[differs(group[i])];
                for (; group[i].seconds - group[start].seconds > span; ++start) {
                    if (--within[differs(group[start])] == 0)
                        within.erase(differs(group[start]));
                }
                most = std::max(most, within.size());
                failed += group[i].failed;
            }
            const auto share = 100.0 * static_cast<double>(failed) / static_cast<double>(group.size());
            if (static_cast<double>(most) < wanted || share < preferences_.scanFailedPercent)
                continue;
            const auto subject = subjectOf(group.front());
            for (const auto& attempt : group)
                log.record(finding, subject, {attempt.frame, attempt.seconds});
            auto* record = log.find(finding, subject);
            if (!record)
                continue;
            record->count = failed;
            record->measured = static_cast<double>(most);
            record->threshold = wanted;
        }
    };
    const auto order = [&](auto less) { std::sort(attempts.begin(), attempts.end(), less); };
    order([](const auto& a, const auto& b) { return std::tie(*a.client, a.server) < std::tie(*b.client, b.server); });
    search([](const auto& a, const auto& b) { return a.server == b.server; },
           [](const auto& a) { return std::uint64_t{a.port}; }, Finding::scanPort, preferences_.scannedPorts,
           [](const auto& a) {
               return Subject{*a.client, a.server, 0};
           });
    order([](const auto& a, const auto& b) { return std::tie(*a.client, a.port) < std::tie(*b.client, b.port); });
    search([](const auto& a, const auto& b) { return a.port == b.port; },
           [](const auto& a) { return hashOf(a.server); }, Finding::scanHost, preferences_.scannedHosts,
           [](const auto& a) {
               return Subject{*a.client, {}, a.port};
           });
}

void TcpScan::finish(const ConversationTable& table, const IpScan& ip, double end, FindingLog& log) const
{
    finishTransfers(table, log);
    finishShares(table, log);
    finishOpenings(table, ip, end, log);
    finishFloods(table, log);
    finishRefusals(table, log);
    finishScans(table, end, log);
}

} // namespace netrondo
