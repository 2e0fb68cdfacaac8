// The analysis of one frame after the other, in batches: first all headers are read and the rows they will need are
// fetched from memory, then the rows are counted up, in the order of the frames.
#include "Analysis/PairAggregator.h"

#include "Analysis/Expert/CaptureExpertScanner.h"
#include "Analysis/Model/ConversationTable.h"
#include "Dissection/Classify/FrameClassifier.h"

#define XXH_INLINE_ALL
#include <xxhash.h>

#include <algorithm>
#include <array>

namespace netrondo {
namespace {

constexpr std::size_t batchSize = 32;

struct ProtocolCount {
    Counter64 count;
    ProtocolCategory category = ProtocolCategory::unknown; ///< of the first frame
};

/// A frame that counts, on its way through the steps of a batch.
struct Pending {
    FrameFacts facts;
    const CaptureFrame* frame = nullptr;
    std::uint64_t hash = 0; ///< of the two hosts
    std::uint64_t portsHash = 0;
    std::uint32_t conversation = 0;
    int sender = 0;         ///< which of the conversation's hosts
    bool isTracked = false; ///< a TCP segment with its whole header
    std::uint32_t connection = SlotIndex::none;
    std::uint64_t digest = 0;

    std::uint16_t port(int host) const { return host == sender ? facts.sourcePort : facts.destinationPort; }
};

std::uint64_t hashOf(const Address& a, const Address& b)
{
    return hashWords(netrondo::hashOf(a) + 0x2545f4914f6cdd1dull, netrondo::hashOf(b));
}

/// Frames whose endpoints count in this mode.
bool counts(const FrameFacts& facts, AnalysisMode mode)
{
    if (mode == AnalysisMode::l3IP) {
        const bool isIpPair = facts.sourceIp && facts.destinationIp && !facts.isMacPair;
        // Legacy LAN protocols stay visible in IP mode.
        const bool isLegacy =
            isIpxFamily(facts.name) || facts.name == ProtocolName::netBeui || facts.name == ProtocolName::nbf;
        if (!isIpPair && !isLegacy)
            return false;
    }
    return facts.source != facts.destination;
}

} // namespace

struct PairAggregator::State {
    State(AnalysisMode mode_, const ExpertPreferences& expert) : mode(mode_), expertScanner(expert) { }

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
    std::array<Pending, batchSize> pending;

    void ingestBatch(std::span<const CaptureFrame> frames);
    bool read(const CaptureFrame& frame, Pending& into);
    void guessRows(Pending& frame);
    void findConversation(Pending& frame);
    void guessConnection(const Pending& frame);
    void findConnection(Pending& frame);
    void countPair(const Pending& frame);
    void countPorts(const Pending& frame);
    void observe(const Pending& frame);

    AnalysisResult resultFrom(std::shared_ptr<ConversationTable> finished) const;
};

bool PairAggregator::State::read(const CaptureFrame& frame, Pending& into)
{
    expertScanner.scanFrame(frame);
    auto& facts = into.facts;
    if (!classify(frame, mode, facts))
        return false;
    if (HostNameStore::mayHoldNames(facts)) [[unlikely]]
        table.names.harvest(facts);
    if (!counts(facts, mode))
        return false;
    into.frame = &frame;
    into.sender = facts.source < facts.destination ? 0 : 1;
    into.hash = into.sender == 0 ? hashOf(facts.source, facts.destination) : hashOf(facts.destination, facts.source);
    into.isTracked = facts.isTcp && facts.hasAll(FrameFacts::wholeTcpHeader) && facts.sourceIp && facts.destinationIp;
    into.connection = SlotIndex::none;
    into.digest = 0;
    // The tracker compares payloads of one flow with each other; it needs a value that is equal for equal bytes, not
    // the FNV hash that is given out, which costs a multiplication a byte.
    if (into.isTracked && !facts.payload.empty())
        into.digest = XXH3_64bits(facts.payload.data(), facts.payload.size());
    return true;
}

void PairAggregator::State::guessRows(Pending& frame)
{
    frame.conversation = conversationIndex.guess(frame.hash);
    if (frame.conversation == SlotIndex::none)
        return;
    const auto* row = reinterpret_cast<const char*>(&table.conversations[frame.conversation]);
    for (std::size_t at = 0; at < sizeof(Conversation); at += 64)
        __builtin_prefetch(row + at);
}

void PairAggregator::State::findConversation(Pending& frame)
{
    const auto& facts = frame.facts;
    const auto& first = frame.sender == 0 ? facts.source : facts.destination;
    const auto& second = frame.sender == 0 ? facts.destination : facts.source;
    frame.conversation = conversationIndex.find(frame.hash, [&](std::uint32_t number) {
        const auto& row = table.conversations[number];
        return row.hosts[0] == first && row.hosts[1] == second;
    });
    if (frame.conversation == SlotIndex::none) {
        frame.conversation = table.conversations.append();
        auto& row = table.conversations[frame.conversation];
        row.hosts[0] = first;
        row.hosts[1] = second;
        table.origins.append();
        table.origins.append();
        conversationIndex.insert(frame.hash, frame.conversation);
    }
    if (!(facts.has & FrameFacts::ports))
        return;
    const auto& latest = frame.isTracked ? table.conversations[frame.conversation].connection
                                         : table.conversations[frame.conversation].session;
    if (latest.number != SlotIndex::none && latest.ports[0] == frame.port(0) && latest.ports[1] == frame.port(1))
        frame.connection = latest.number;
    frame.portsHash = TCPQualityTracker::hash(frame.conversation, frame.port(0), frame.port(1)) + facts.isTcp;
    if (frame.connection == SlotIndex::none)
        (frame.isTracked ? table.tracker.prefetchIndex(frame.portsHash) : sessionIndex.prefetch(frame.portsHash));
    else if (frame.isTracked)
        table.tracker.prefetchFlows(frame.connection);
}

void PairAggregator::State::guessConnection(const Pending& frame)
{
    if (!(frame.facts.has & FrameFacts::ports))
        return;
    if (frame.isTracked) {
        if (frame.connection == SlotIndex::none)
            table.tracker.prefetchGuess(frame.portsHash);
        return;
    }
    const auto session = frame.connection != SlotIndex::none ? frame.connection : sessionIndex.guess(frame.portsHash);
    if (session != SlotIndex::none)
        __builtin_prefetch(&table.sessions[session]);
}

void PairAggregator::State::findConnection(Pending& frame)
{
    if (!frame.isTracked)
        return;
    if (frame.connection == SlotIndex::none) {
        frame.connection = table.tracker.connection(frame.portsHash, frame.conversation, frame.port(0), frame.port(1));
        auto& latest = table.conversations[frame.conversation].connection;
        latest = {{frame.port(0), frame.port(1)}, frame.connection};
    }
    if (!frame.facts.payload.empty())
        table.tracker.prefetchRecent(frame.connection, frame.sender);
}

void PairAggregator::State::countPair(const Pending& frame)
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

    auto& pair = table.conversations[frame.conversation].pairs[frame.sender];
    if (!pair.is(PairTotals::exists)) {
        pair.flags = PairTotals::exists;
        pair.flags |= facts.isMacPair ? PairTotals::isMac : 0;
        pair.topProtocol = facts.name;
        pair.category = facts.category;
        const bool isMacHost = facts.source.kind == Address::Kind::mac;
        table.origins[frame.conversation * 2 + static_cast<std::uint32_t>(frame.sender)] = {
            time, isMacHost ? facts.sourceIp : facts.sourceMac, isMacHost ? facts.destinationIp : facts.destinationMac};
    }
    pair.lastSeen = time;
    ++pair.packets;
    pair.bytes += facts.byteCount;
    pair.flags |= facts.isTcp ? PairTotals::hasTcp : 0;
    pair.flags |= facts.isUdp ? PairTotals::hasUdp : 0;
    if (!PortServices::isTransportOnly(facts.name) || PortServices::isTransportOnly(pair.topProtocol))
        pair.topProtocol = facts.name;
    pair.category = prefer(pair.category, facts.category);
}

/// What the tracker does not count: UDP, and TCP whose header was cut behind the ports.
void PairAggregator::State::countPorts(const Pending& frame)
{
    const auto& facts = frame.facts;
    auto& row = table.conversations[frame.conversation];
    if (!(facts.has & FrameFacts::ports)) {
        if (facts.isUdp)
            row.pairs[frame.sender].flags |= PairTotals::udpWithoutPorts;
        return;
    }
    auto number = frame.connection;
    if (number == SlotIndex::none || table.sessions[number].isTcp != facts.isTcp) {
        number = sessionIndex.find(frame.portsHash, [&](std::uint32_t candidate) {
            const auto& session = table.sessions[candidate];
            return session.conversation == frame.conversation && session.ports[0] == frame.port(0)
                && session.ports[1] == frame.port(1) && session.isTcp == facts.isTcp;
        });
        if (number == SlotIndex::none) {
            number = table.sessions.append();
            auto& session = table.sessions[number];
            session.conversation = frame.conversation;
            session.ports[0] = frame.port(0);
            session.ports[1] = frame.port(1);
            session.isTcp = facts.isTcp;
            sessionIndex.insert(frame.portsHash, number);
        }
        row.session = {{frame.port(0), frame.port(1)}, number};
    }
    ++table.sessions[number].frames[frame.sender];
}

void PairAggregator::State::observe(const Pending& frame)
{
    const auto& facts = frame.facts;
    TCPOptions options;
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
    if (!facts.tcpOptions.empty()) {
        options = parseTcpOptions(facts.tcpOptions);
        segment.options = &options;
    }
    segment.timestampSeconds = frame.frame->timestampSeconds;
    segment.timestampFraction = frame.frame->timestampFraction;
    table.tracker.observe(frame.connection, frame.sender, segment);
}

void PairAggregator::State::ingestBatch(std::span<const CaptureFrame> frames)
{
    std::size_t kept = 0;
    for (const auto& frame : frames) {
        if (read(frame, pending[kept])) {
            conversationIndex.prefetch(pending[kept].hash);
            ++kept;
        }
    }
    const std::span batch(pending.data(), kept);
    for (auto& frame : batch)
        guessRows(frame);
    for (auto& frame : batch)
        findConversation(frame);
    for (const auto& frame : batch)
        guessConnection(frame);
    for (auto& frame : batch)
        findConnection(frame);
    for (const auto& frame : batch) {
        countPair(frame);
        if (frame.isTracked)
            observe(frame);
        else
            countPorts(frame);
    }
}

AnalysisResult PairAggregator::State::resultFrom(std::shared_ptr<ConversationTable> finished) const
{
    finished->group();
    auto scanner = expertScanner; // a growing capture asks again: the findings so far are not used up
    scanner.scanTransport(*finished, {});
    scanner.emitArpFindings();

    AnalysisResult result;
    result.expertSummary = scanner.summary();
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

PairAggregator::PairAggregator(AnalysisMode mode, const ExpertPreferences& expert)
    : state_(std::make_unique<State>(mode, expert))
{ }

PairAggregator::~PairAggregator() = default;
PairAggregator::PairAggregator(PairAggregator&&) noexcept = default;
PairAggregator& PairAggregator::operator=(PairAggregator&&) noexcept = default;

void PairAggregator::ingest(std::span<const CaptureFrame> frames)
{
    while (!frames.empty()) {
        const auto part = frames.first(std::min(batchSize, frames.size()));
        state_->ingestBatch(part);
        frames = frames.subspan(part.size());
    }
}

AnalysisResult PairAggregator::result() const
{
    auto copy = std::make_shared<ConversationTable>();
    copy->conversations = state_->table.conversations;
    copy->origins = state_->table.origins;
    copy->sessions = state_->table.sessions;
    copy->tracker = state_->table.tracker.snapshot();
    copy->names = state_->table.names;
    return state_->resultFrom(std::move(copy));
}

AnalysisResult PairAggregator::takeResult() &&
{
    return state_->resultFrom(std::make_shared<ConversationTable>(std::move(state_->table)));
}

} // namespace netrondo
