// The analysis of one frame after the other. What a frame needs lies anywhere in memory and takes as long to come as
// several frames take to be read; so a frame goes through its steps a few frames apart from each other, each step asks
// for the memory of the next one, and the last step counts the frames in their order.
#include "Analysis/PairAggregator.h"

#include "Analysis/Expert/CaptureExpertScanner.h"
#include "Analysis/Model/ConversationTable.h"
#include "Base/Prefetch.h"
#include "Dissection/Classify/FrameClassifier.h"
#include "Dissection/Wire/TcpHeader.h"

#define XXH_INLINE_ALL
#include <xxhash.h>

#include <algorithm>
#include <array>

namespace netrondo {
namespace {

/// How many frames lie between two steps of a frame, and how many steps follow the reading.
constexpr std::size_t gap = 4, stepsAfterReading = 4;
constexpr std::size_t underWay = 32; ///< room for frames between their first step and their last
static_assert(gap * stepsAfterReading < underWay);

struct ProtocolCount {
    Counter64 count;
    ProtocolCategory category = ProtocolCategory::unknown; ///< of the first frame
};

/// A frame on its way through the steps. One that does not count goes along, so that the scans see all in their order.
struct Pending {
    FrameFacts facts;
    FrameOutline outline;
    const CaptureFrame* frame = nullptr;
    std::optional<FrameSkip> skip; ///< why it does not count
    std::uint64_t hash = 0;        ///< of the session
    std::uint32_t number = SlotIndex::none;
    Session* session = nullptr;
    std::uint64_t digest = 0;
    std::uint16_t ports[2] = {0, 0}; ///< as the session keeps them
    Session::Kind kind = Session::Kind::other;
    std::uint8_t sender = 0; ///< which of the session's hosts

    const Address& host(int side) const { return side == sender ? facts.source : facts.destination; }
    FlowState& flow() const { return session->flows[sender]; }
    bool isHandshake() const { return facts.flags & (tcpFlag::syn | tcpFlag::fin); }
    /// Its findings ask for more than others: ARP, and frames with tags.
    bool isRare() const
    {
        return outline.network == FrameOutline::Network::arp || (outline.networkOffset > 14 && facts.destinationMac);
    }
};

std::uint64_t hostsHash(const Pending& frame)
{
    return hashWords(hashOf(frame.host(0)) + 0x2545f4914f6cdd1dull, hashOf(frame.host(1)));
}

std::uint64_t sessionHash(const Pending& frame)
{
    const auto& first = frame.host(0);
    const auto hosts = first.kind == Address::Kind::ipv4 ? first.low << 32 | frame.host(1).low : hostsHash(frame);
    return hashWords(hosts,
                     std::uint64_t{frame.ports[0]} << 32 | std::uint64_t{frame.ports[1]} << 16
                         | static_cast<std::uint64_t>(frame.kind));
}

Session::Kind kindOf(const FrameFacts& facts)
{
    using enum Session::Kind;
    const bool hasPorts = facts.has & FrameFacts::ports;
    if (facts.isUdp)
        return hasPorts ? udp : udpWithoutPorts;
    if (!facts.isTcp)
        return other;
    if (!hasPorts)
        return tcpWithoutPorts;
    return facts.hasAll(FrameFacts::wholeTcpHeader) && facts.sourceIp && facts.destinationIp ? tcp : cutTcp;
}

/// The order of two addresses of one kind.
bool isBefore(const Address& a, const Address& b)
{
    return a.high != b.high ? a.high < b.high : a.low < b.low;
}

/// The addresses of source and destination on the other layer than the hosts'.
std::array<Address, 2> othersOf(const FrameFacts& facts)
{
    if (facts.source.kind == Address::Kind::mac)
        return {facts.sourceIp, facts.destinationIp};
    return {facts.sourceMac, facts.destinationMac};
}

/// Frames whose endpoints count in this mode.
bool counts(const FrameFacts& facts, AnalysisMode mode)
{
    const bool isIpPair = facts.sourceIp && facts.destinationIp && !facts.isMacPair;
    if (mode == AnalysisMode::l3IP && !isIpPair) {
        // Legacy LAN protocols stay visible in IP mode.
        const bool isLegacy =
            isIpxFamily(facts.name) || facts.name == ProtocolName::netBeui || facts.name == ProtocolName::nbf;
        if (!isLegacy)
            return false;
    }
    return facts.source != facts.destination;
}

} // namespace

struct PairAggregator::State {
    State(AnalysisMode analysisMode, const ExpertPreferences& expert, FrameMarks marks)
        : mode(analysisMode), expertScanner(expert, marks)
    { }

    AnalysisMode mode;
    ConversationTable table;
    SlotIndex conversationIndex;
    SlotIndex sessionIndex;
    std::array<ProtocolCount, protocolNameCount> protocolCounts;
    Counter64 totalPackets;
    Counter64 totalBytes;
    std::optional<double> firstTimestamp;
    double lastTimestamp = 0;
    CaptureExpertScanner expertScanner;
    std::array<Pending, underWay> pending;

    void ingest(std::span<const CaptureFrame> frames);
    bool read(const CaptureFrame& frame, Pending& into);
    void guessSession(Pending& frame) const;
    void approachSession(const Pending& frame) const;
    void approachDetails(const Pending& frame) const;
    void settle(Pending& frame);
    void findSession(Pending& frame);
    void addSession(Pending& frame);
    ConversationId conversationOf(const Pending& frame);
    void startPair(const Pending& frame, double time);
    void count(const Pending& frame);
    void observe(const Pending& frame, const FrameSight& sight, CopyScan::Copy copy);

    AnalysisResult resultFrom(std::shared_ptr<ConversationTable> finished) const;
};

bool PairAggregator::State::read(const CaptureFrame& frame, Pending& into)
{
    into.frame = &frame;
    auto& facts = into.facts;
    readOutline(frame, into.outline);
    if (!classify(frame, into.outline, mode, facts)) {
        into.skip = FrameSkip::unclassified;
        return false;
    }
    if (HostNameStore::mayHoldNames(facts)) [[unlikely]]
        table.names.harvest(facts);
    if (!counts(facts, mode)) {
        into.skip = facts.source == facts.destination ? FrameSkip::toItself : FrameSkip::notIp;
        return false;
    }
    into.skip.reset();
    into.sender = isBefore(facts.source, facts.destination) ? 0 : 1;
    into.kind = kindOf(facts);
    if (facts.has & FrameFacts::ports) {
        into.ports[into.sender] = facts.sourcePort;
        into.ports[1 - into.sender] = facts.destinationPort;
    } else {
        into.ports[0] = static_cast<std::uint16_t>(facts.name);
        into.ports[1] = static_cast<std::uint16_t>(facts.category);
    }
    into.hash = sessionHash(into);
    into.digest = 0;
    // The tracker compares payloads of one flow with each other; it needs a value that is equal for equal bytes, not
    // the FNV hash that is given out, which costs a multiplication a byte.
    if (into.kind == Session::Kind::tcp && !facts.payload.empty())
        into.digest = XXH3_64bits(facts.payload.data(), facts.payload.size());
    return true;
}

/// Most frames belong to a session that is known, and then the first entry under their hash is nearly always theirs.
void PairAggregator::State::guessSession(Pending& frame) const
{
    frame.number = sessionIndex.guess(frame.hash);
    if (frame.number == SlotIndex::none)
        return conversationIndex.prefetch(hostsHash(frame));
    const auto& session = table.sessions[frame.number];
    prefetch(&session.flows[0]);
    prefetch(&session.flows[1]);
}

void PairAggregator::State::approachSession(const Pending& frame) const
{
    if (frame.number == SlotIndex::none) [[unlikely]] {
        if (const auto guess = conversationIndex.guess(hostsHash(frame)); guess != SlotIndex::none)
            prefetch(&table.conversations[guess]);
        return;
    }
    const auto& session = table.sessions[frame.number];
    const auto& flow = session.flows[frame.sender];
    if (session.hostKind != Address::Kind::ipv4) {
        table.addresses.prefetch(session.hosts[0]);
        table.addresses.prefetch(session.hosts[1]);
    }
    if (frame.kind == Session::Kind::tcp) {
        expertScanner.prefetchConnection(session);
        if (!frame.facts.payload.empty())
            table.tracker.prefetchRecent(flow);
    }
    if (flow.frames == 0 || frame.isHandshake())
        prefetch(&table.details[frame.number]);
}

void PairAggregator::State::approachDetails(const Pending& frame) const
{
    if (frame.number == SlotIndex::none)
        return;
    if (frame.isHandshake())
        table.tracker.prefetchHandshake(table.details[frame.number]);
    if (table.sessions[frame.number].flows[frame.sender].frames == 0) {
        prefetch(&table.conversations[table.details[frame.number].conversation]);
        const auto others = othersOf(frame.facts);
        table.addresses.prefetchNumberOf(others[0]);
        table.addresses.prefetchNumberOf(others[1]);
    }
}

void PairAggregator::State::settle(Pending& frame)
{
    const auto sight = expertScanner.arrive(*frame.frame, frame.outline);
    const auto copy = expertScanner.scanFrame(sight);
    if (frame.skip)
        return expertScanner.skip(sight, *frame.skip);
    findSession(frame);
    count(frame);
    if (frame.kind == Session::Kind::tcp)
        observe(frame, sight, copy);
}

void PairAggregator::State::findSession(Pending& frame)
{
    const auto isOf = [&](const Session& session) {
        return session.ports[0] == frame.ports[0] && session.ports[1] == frame.ports[1] && session.kind == frame.kind
            && session.hostKind == frame.facts.source.kind
            && table.addresses.isNumberOf(session.hosts[0], frame.host(0))
            && table.addresses.isNumberOf(session.hosts[1], frame.host(1));
    };
    if (frame.number == SlotIndex::none || !isOf(table.sessions[frame.number])) [[unlikely]] {
        frame.number =
            sessionIndex.find(frame.hash, [&](std::uint32_t number) { return isOf(table.sessions[number]); });
        if (frame.number == SlotIndex::none)
            addSession(frame);
    }
    frame.session = &table.sessions[frame.number];
}

void PairAggregator::State::addSession(Pending& frame)
{
    frame.number = table.sessions.append();
    auto& session = table.sessions[frame.number];
    session.hosts[0] = table.addresses.numberOf(frame.host(0));
    session.hosts[1] = table.addresses.numberOf(frame.host(1));
    session.hostKind = frame.facts.source.kind;
    session.ports[0] = frame.ports[0];
    session.ports[1] = frame.ports[1];
    session.kind = frame.kind;
    sessionIndex.insert(frame.hash, frame.number);
    table.details[table.details.append()].conversation = conversationOf(frame);
}

ConversationId PairAggregator::State::conversationOf(const Pending& frame)
{
    const auto hash = hostsHash(frame);
    const auto& hosts = table.sessions[frame.number].hosts;
    auto conversation = conversationIndex.find(hash, [&](std::uint32_t number) {
        const auto& row = table.conversations[number];
        return row.hosts[0] == hosts[0] && row.hosts[1] == hosts[1] && row.hostKind == frame.facts.source.kind;
    });
    if (conversation == SlotIndex::none) {
        conversation = table.conversations.append();
        auto& row = table.conversations[conversation];
        row.hosts[0] = hosts[0];
        row.hosts[1] = hosts[1];
        row.hostKind = frame.facts.source.kind;
        conversationIndex.insert(hash, conversation);
    }
    return conversation;
}

/// Called for the first frame of every flow; the first one of them is the first frame of the pair.
void PairAggregator::State::startPair(const Pending& frame, double time)
{
    const auto& facts = frame.facts;
    auto& row = table.conversations[table.details[frame.number].conversation];
    if (row.hasPair[frame.sender])
        return;
    row.hasPair[frame.sender] = true;
    const auto others = othersOf(facts);
    auto& origin = row.origins[frame.sender];
    origin.firstSeen = time;
    for (const auto end : {0u, 1u}) {
        row.otherKinds[frame.sender][end] = others[end].kind;
        if (others[end])
            origin.others[end] = table.addresses.numberOf(others[end]);
    }
}

void PairAggregator::State::count(const Pending& frame)
{
    const auto& facts = frame.facts;
    const auto time = frame.frame->seconds();
    if (!firstTimestamp)
        firstTimestamp = time;
    lastTimestamp = time;
    ++totalPackets;
    totalBytes += facts.byteCount;

    auto& protocol = protocolCounts[static_cast<std::size_t>(facts.name)];
    if (protocol.count == 0)
        protocol.category = facts.category;
    ++protocol.count;

    auto& flow = frame.flow();
    if (flow.frames == 0) [[unlikely]]
        startPair(frame, time);
    ++flow.frames;
    flow.bytes += facts.byteCount;
    flow.lastSeen = time;
    flow.setNewestFrame(totalPackets);
}

void PairAggregator::State::observe(const Pending& frame, const FrameSight& sight, CopyScan::Copy copy)
{
    const auto& facts = frame.facts;
    TcpSegment segment;
    segment.sourcePort = facts.sourcePort;
    segment.destinationPort = facts.destinationPort;
    segment.flags = facts.flags;
    segment.window = facts.window;
    segment.seq = facts.seq;
    segment.ack = facts.ack;
    if (facts.has & FrameFacts::ipv4Id)
        segment.ipId = facts.identification;
    segment.payloadLength = static_cast<std::uint32_t>(facts.payload.size());
    segment.payloadDigest = frame.digest;
    segment.timestampSeconds = frame.frame->timestampSeconds;
    segment.timestampFraction = frame.frame->timestampFraction;
    std::optional<TCPOptions> options;
    if (!facts.tcpOptions.empty()) [[unlikely]]
        segment.options = &options.emplace(parseTcpOptions(facts.tcpOptions));
    const auto events = table.tracker.observe(*frame.session, table.details[frame.number], frame.sender, segment);
    expertScanner.scanSegment(sight, copy, facts, frame.number, *frame.session, frame.sender, events);
}

void PairAggregator::State::ingest(std::span<const CaptureFrame> frames)
{
    std::size_t begun = 0;
    // Each call moves every frame on by one place, the newest being at `front`; who reaches a step takes it.
    const auto moveOn = [&](std::size_t front) {
        const auto reaches = [&](std::size_t step) { return front >= step * gap && front - step * gap < begun; };
        const auto at = [&](std::size_t step) -> Pending& { return pending[(front - step * gap) % underWay]; };
        if (reaches(1) && !at(1).skip) [[likely]]
            guessSession(at(1));
        if (reaches(2) && at(2).isRare()) [[unlikely]]
            expertScanner.prefetchRare(at(2).facts, at(2).outline, 1);
        if (reaches(2) && !at(2).skip) [[likely]]
            approachSession(at(2));
        if (reaches(3) && !at(3).skip) [[likely]]
            approachDetails(at(3));
        if (reaches(stepsAfterReading)) [[likely]]
            settle(at(stepsAfterReading));
    };
    for (const auto& frame : frames) {
        auto& next = pending[begun % underWay];
        if (read(frame, next))
            sessionIndex.prefetch(next.hash);
        expertScanner.prefetchStations(next.facts);
        if (next.isRare()) [[unlikely]]
            expertScanner.prefetchRare(next.facts, next.outline, 0);
        moveOn(begun++);
    }
    for (std::size_t i = 0; i < gap * stepsAfterReading; ++i)
        moveOn(begun + i);
}

AnalysisResult PairAggregator::State::resultFrom(std::shared_ptr<ConversationTable> finished) const
{
    finished->sumUp();
    auto findings = expertScanner.begin(); // a growing capture asks again: the findings so far are not used up
    expertScanner.scanTransport(*finished, findings);
    expertScanner.emitArpFindings(*finished, findings);

    AnalysisResult result;
    result.expertSummary = expertScanner.summary(std::move(findings));
    result.pairs = PairList(std::move(finished));
    for (std::size_t i = 0; i < protocolCounts.size(); ++i) {
        if (const auto& protocol = protocolCounts[i]; protocol.count > 0)
            result.protocols.push_back({text(static_cast<ProtocolName>(i)), protocol.category, protocol.count});
    }
    std::sort(result.protocols.begin(), result.protocols.end(), [](const ProtocolStats& a, const ProtocolStats& b) {
        return a.count != b.count ? a.count > b.count : a.name < b.name;
    });
    result.totalPackets = totalPackets;
    result.totalBytes = totalBytes;
    result.mode = mode;
    if (firstTimestamp)
        result.durationSeconds = lastTimestamp - *firstTimestamp;
    result.captureStartSeconds = firstTimestamp;
    return result;
}

PairAggregator::PairAggregator(AnalysisMode mode, const ExpertPreferences& expert, FrameMarks marks)
    : state_(std::make_unique<State>(mode, expert, marks))
{ }

PairAggregator::~PairAggregator() = default;
PairAggregator::PairAggregator(PairAggregator&&) noexcept = default;
PairAggregator& PairAggregator::operator=(PairAggregator&&) noexcept = default;

void PairAggregator::setNanosecond()
{
    state_->expertScanner.setNanosecond();
}

void PairAggregator::setSecondMember()
{
    state_->expertScanner.setSecondMember();
}

void PairAggregator::setDropped(std::uint64_t frames)
{
    state_->expertScanner.setDropped(frames);
}

void PairAggregator::leaveOut(const CaptureFrame& frame)
{
    state_->expertScanner.leaveOut(frame);
    // A host keeps the name that other frames tell, whatever is left of the frames.
    FrameFacts facts;
    if (classify(frame, outlineOf(frame), state_->mode, facts) && HostNameStore::mayHoldNames(facts))
        state_->table.names.harvest(facts);
}

std::array<Finding, 4> PairAggregator::latestFindings() const
{
    return state_->expertScanner.latest();
}

void PairAggregator::ingest(std::span<const CaptureFrame> frames)
{
    state_->ingest(frames);
}

AnalysisResult PairAggregator::result() const
{
    return state_->resultFrom(std::make_shared<ConversationTable>(state_->table.snapshot()));
}

AnalysisResult PairAggregator::takeResult() &&
{
    return state_->resultFrom(std::make_shared<ConversationTable>(std::move(state_->table)));
}

} // namespace netrondo
