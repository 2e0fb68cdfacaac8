// From the numbers of a conversation to the record in words.
#include "Analysis/Model/ConversationTable.h"

#include "Analysis/Tcp/Complaints.h"
#include "Base/Prefetch.h"

#include <algorithm>
#include <boost/unordered/unordered_flat_map.hpp>
#include <string>
#include <tuple>
#include <utility>

namespace netrondo {
namespace {

struct Named {
    ProtocolName name;
    ProtocolCategory category;
};

/// What the frames of one direction of a session are counted under: all are alike.
Named nameOf(const Session& session, std::uint32_t side)
{
    if (!session.hasPorts())
        return {static_cast<ProtocolName>(session.ports[0]), static_cast<ProtocolCategory>(session.ports[1])};
    const bool isUdp = session.kind == Session::Kind::udp;
    const auto name = PortServices::serviceName(session.ports[side], session.ports[1 - side],
                                                isUdp ? ProtocolName::udp : ProtocolName::tcp);
    return {name, PortServices::category(name, isUdp ? ProtocolCategory::udp : ProtocolCategory::tcp)};
}

bool isTcp(const Session& session)
{
    using enum Session::Kind;
    return session.kind == tcp || session.kind == cutTcp || session.kind == tcpWithoutPorts;
}

bool isUdp(const Session& session)
{
    return session.kind == Session::Kind::udp || session.kind == Session::Kind::udpWithoutPorts;
}

/// One stable pass of a counting sort of `numbers` by `rankOf(number)` below `ranks`.
template <typename RankOf> void sortByRank(std::vector<std::uint32_t>& numbers, std::size_t ranks, const RankOf& rankOf)
{
    std::vector<std::uint32_t> starts(ranks + 1);
    for (const auto number : numbers)
        ++starts[rankOf(number) + 1];
    for (std::size_t i = 1; i < starts.size(); ++i)
        starts[i] += starts[i - 1];
    std::vector<std::uint32_t> sorted(numbers.size());
    for (const auto number : numbers)
        sorted[starts[rankOf(number)]++] = number;
    numbers = std::move(sorted);
}

template <typename T> T& at(PortMap<T>& map, std::uint16_t port)
{
    const auto place =
        std::lower_bound(map.begin(), map.end(), port, [](const auto& entry, auto key) { return entry.first < key; });
    if (place != map.end() && place->first == port)
        return place->second;
    return map.emplace(place, port, T{})->second;
}

void assign(std::optional<std::string>& text, const Address& address)
{
    if (!address)
        return text.reset();
    char buffer[Address::maxText];
    const std::string_view written(buffer, address.write(buffer));
    if (text)
        text->assign(written);
    else
        text.emplace(written);
}

void assign(std::optional<std::string>& text, std::string_view name)
{
    if (name.empty())
        text.reset();
    else
        text = std::string(name);
}

/// The MAC and IP text of one end, of which the host is one and `other` the other. An IPX host has no IP text.
void assignLayers(std::optional<std::string>& mac, std::optional<std::string>& ip, const Address& host,
                  const Address& other)
{
    const bool isMacHost = host.kind == Address::Kind::mac;
    assign(mac, isMacHost ? host : other);
    assign(ip, isMacHost ? other : host.isIp() ? host : Address{});
}

void assign(std::string& text, const Address& address)
{
    char buffer[Address::maxText];
    text.assign(buffer, address.write(buffer));
}

/// What a pair is called: by what it carries, or, where that is only how bytes are carried, by what its ports are known
/// for.
ProtocolName knownBy(const CommPair& ports, ProtocolName top)
{
    return PortServices::isTransportOnly(top) ? PortServices::dominantAppProtocol(ports.dstPorts).value_or(top) : top;
}
} // namespace

ConversationTable ConversationTable::snapshot() const
{
    ConversationTable copy;
    copy.addresses = addresses;
    copy.conversations = conversations;
    copy.sessions = sessions;
    copy.details = details;
    copy.tracker = tracker.snapshot();
    copy.names = names;
    return copy;
}

void ConversationTable::group()
{
    starts_.assign(conversations.size() + std::size_t{2}, 0);
    for (std::uint32_t number = 0; number < details.size(); ++number)
        ++starts_[details[number].conversation + 2];
    for (std::size_t i = 2; i < starts_.size(); ++i)
        starts_[i] += starts_[i - 1];
    grouped_.resize(details.size());
    for (std::uint32_t number = 0; number < details.size(); ++number)
        grouped_[starts_[details[number].conversation + 1]++] = number;
}

void ConversationTable::sumUp()
{
    group();
    totals_.resize(std::size_t{conversations.size()} * 2);
    // The sessions of a conversation lie anywhere in memory: they are asked for in two steps before their turn.
    constexpr std::size_t gap = 12;
    const auto approach = [&](std::size_t at) {
        if (at < grouped_.size()) {
            const auto number = grouped_[at];
            prefetch(&sessions[number].flows[0]);
            prefetch(&sessions[number].flows[1]);
            prefetch(&details[number]);
        }
        if (at >= gap && at - gap < grouped_.size())
            tracker.prefetchHandshake(details[grouped_[at - gap]]);
    };
    for (std::size_t at = 0; at < 2 * gap; ++at)
        approach(at);
    for (std::uint32_t conversation = 0; conversation < conversations.size(); ++conversation) {
        for (std::size_t at = starts_[conversation]; at < starts_[conversation + 1]; ++at)
            approach(at + 2 * gap);
        for (const std::uint32_t side : {0u, 1u})
            totals_[conversation * 2 + side] = total(conversation * 2 + side);
        judge(conversation);
    }
}

void ConversationTable::judge(ConversationId conversation)
{
    if (!totals_[conversation * 2].hasTcp && !totals_[conversation * 2 + 1].hasTcp)
        return;
    TCPSessionQuality sum;
    for (const auto number : sessionsOf(conversation)) {
        for (const int side : {0, 1})
            tracker.addWhatIsJudged(sessions[number], details[number], side, sum);
    }
    for (const std::uint32_t side : {0u, 1u}) {
        auto& pair = totals_[conversation * 2 + side];
        pair.tcpScore = static_cast<std::int8_t>(sum.score().value_or(PairTotals::noScore));
        pair.hasTcpComplaints = hasComplaints(sum);
    }
}

/// The top protocol is that of the last frame, but a name that says no more than how bytes were carried does not
/// replace one that says more; of categories with the same priority the last one stays.
PairTotals ConversationTable::total(std::uint32_t pairNumber) const
{
    const auto side = pairNumber & 1;
    PairTotals sum;
    std::uint64_t newestFrame = 0, nameFrame = 0, categoryFrame = 0;
    for (const auto number : sessionsOf(pairNumber / 2)) {
        const auto& session = sessions[number];
        const auto& flow = session.flows[side];
        if (flow.frames == 0)
            continue;
        sum.packets += flow.frames;
        sum.bytes += flow.bytes;
        sum.hasTcp |= isTcp(session);
        sum.hasUdp |= isUdp(session);
        const auto frame = flow.newestFrame();
        const auto [name, category] = nameOf(session, side);
        const auto ranksBefore = [&](bool isFirst, int rank, int rankSoFar, std::uint64_t frameSoFar) {
            return isFirst || rank > rankSoFar || (rank == rankSoFar && frame > frameSoFar);
        };
        const bool isFirst = newestFrame == 0;
        if (ranksBefore(isFirst, !PortServices::isTransportOnly(name), !PortServices::isTransportOnly(sum.topProtocol),
                        nameFrame)) {
            sum.topProtocol = name;
            nameFrame = frame;
        }
        if (ranksBefore(isFirst, priority(category), priority(sum.category), categoryFrame)) {
            sum.category = category;
            categoryFrame = frame;
        }
        if (frame > newestFrame) {
            newestFrame = frame;
            sum.lastSeen = flow.lastSeen;
        }
    }
    return sum;
}

std::span<const std::uint32_t> ConversationTable::sessionsOf(ConversationId conversation) const
{
    return std::span(grouped_).subspan(starts_[conversation], starts_[conversation + 1] - starts_[conversation]);
}

// No character of an address sorts before the "-" of "->", so the order of the joined texts is that of the source
// texts, then that of the destination texts; each host's text is written and compared once, not once a pair.
std::vector<std::uint32_t> ConversationTable::pairsByKey() const
{
    boost::unordered_flat_map<std::uint64_t, std::uint32_t> hostNumbers; // by kind and number
    std::vector<std::pair<std::string, std::uint32_t>> hosts;
    std::vector<std::uint32_t> numbers;
    std::vector<std::uint32_t> hostOf(std::size_t{conversations.size()} * 2);
    for (std::uint32_t i = 0; i < conversations.size(); ++i) {
        const auto& row = conversations[i];
        for (const std::uint32_t side : {0u, 1u}) {
            const auto key = static_cast<std::uint64_t>(row.hostKind) << 32 | row.hosts[side];
            const auto [place, isNew] = hostNumbers.try_emplace(key, static_cast<std::uint32_t>(hosts.size()));
            if (isNew)
                hosts.emplace_back(host(i, side).text(), place->second);
            hostOf[i * 2 + side] = place->second;
            if (row.hasPair[side])
                numbers.push_back(i * 2 + side);
        }
    }
    std::sort(hosts.begin(), hosts.end());
    std::vector<std::uint32_t> rank(hosts.size());
    for (std::uint32_t i = 0; i < hosts.size(); ++i)
        rank[hosts[i].second] = i;
    sortByRank(numbers, hosts.size(), [&](std::uint32_t number) { return rank[hostOf[number ^ 1]]; });
    sortByRank(numbers, hosts.size(), [&](std::uint32_t number) { return rank[hostOf[number]]; });
    return numbers;
}

std::optional<TCPSessionQuality> ConversationTable::quality(std::uint32_t pairNumber) const
{
    const auto side = pairNumber & 1;
    std::vector<std::uint32_t> flows;
    for (const auto number : sessionsOf(pairNumber / 2)) {
        if (sessions[number].flows[side].knows(FlowState::exists))
            flows.push_back(number);
    }
    if (flows.empty())
        return {};
    // The last one folded in gives the last window: the order is that of appearance.
    std::sort(flows.begin(), flows.end(),
              [&](std::uint32_t a, std::uint32_t b) { return details[a].order[side] < details[b].order[side]; });
    auto sum = qualityOf(flows.front(), side);
    for (std::size_t i = 1; i < flows.size(); ++i)
        sum.merge(qualityOf(flows[i], side));
    return sum;
}

TCPSessionQuality ConversationTable::qualityOf(std::uint32_t session, std::uint32_t side) const
{
    return tracker.quality(sessions[session], details[session], static_cast<int>(side));
}

std::optional<TCPSessionQuality> ConversationTable::conversationQuality(std::uint32_t pairNumber) const
{
    auto sum = quality(pairNumber);
    auto reverse = quality(pairNumber ^ 1);
    if (!sum)
        return reverse;
    if (reverse)
        sum->merge(*reverse);
    return sum;
}

void ConversationTable::readPorts(std::uint32_t pairNumber, CommPair& into) const
{
    const auto side = pairNumber & 1;
    into.dstPorts.clear();
    into.payloadProtocols.clear();
    const auto addPayloadProtocol = [&](ProtocolName name) {
        const auto written = text(name);
        const auto place = std::lower_bound(into.payloadProtocols.begin(), into.payloadProtocols.end(), written);
        if (place == into.payloadProtocols.end() || *place != written)
            into.payloadProtocols.insert(place, written);
    };
    const auto count = [&](std::uint16_t port, std::uint64_t frames, bool isTcp) {
        auto& stats = at(into.dstPorts, port);
        stats.count += frames;
        stats.isTCP |= isTcp;
        stats.isUDP |= !isTcp;
    };
    for (const auto number : sessionsOf(pairNumber / 2)) {
        const auto& session = sessions[number];
        const auto& flow = session.flows[side];
        if (flow.frames == 0)
            continue;
        if (!session.hasPorts()) {
            if (session.kind == Session::Kind::udpWithoutPorts)
                addPayloadProtocol(ProtocolName::udp);
            continue;
        }
        const auto source = session.ports[side], destination = session.ports[1 - side];
        count(destination, flow.frames, isTcp(session));
        // A service that answers from its own port is counted under it whichever way the frame travels; the ephemeral
        // ports of clients are not. Deliberate.
        if (source < PortServices::ephemeralPortFloor || PortServices::serviceOf(source))
            count(source, flow.frames, isTcp(session));
        if (isUdp(session) || flow.knows(FlowState::carriedPayload))
            addPayloadProtocol(nameOf(session, side).name);
    }
}

ProtocolName ConversationTable::topProtocol(std::uint32_t pairNumber) const
{
    const auto top = pair(pairNumber).topProtocol;
    if (!PortServices::isTransportOnly(top))
        return top;
    CommPair ports;
    readPorts(pairNumber, ports);
    return knownBy(ports, top);
}

void ConversationTable::readQuality(std::uint32_t pairNumber, CommPair& into) const
{
    into.tcpQualityByPort.clear();
    into.tcpQuality = conversationQuality(pairNumber);
    if (!into.tcpQuality || into.dstPorts.empty())
        return;

    // Each flow counts under its source port, then under its destination port (twice where the two are the same). This
    // direction's flows come first, in their order; then those of the reverse direction.
    struct Entry {
        std::uint16_t port;
        std::uint32_t isReverse;
        std::uint32_t order;
        std::uint32_t session;
        std::uint32_t side;
    };
    std::vector<Entry> entries;
    for (const auto number : sessionsOf(pairNumber / 2)) {
        const auto& session = sessions[number];
        for (const std::uint32_t side : {0u, 1u}) {
            if (!session.flows[side].knows(FlowState::exists))
                continue;
            for (const auto port : {session.ports[side], session.ports[1 - side]})
                entries.push_back({port, side ^ (pairNumber & 1), details[number].order[side], number, side});
        }
    }
    std::sort(entries.begin(), entries.end(), [](const Entry& a, const Entry& b) {
        return std::tuple(a.port, a.isReverse, a.order) < std::tuple(b.port, b.isReverse, b.order);
    });
    auto port = into.dstPorts.begin();
    for (auto entry = entries.begin(); entry != entries.end();) {
        const auto end = std::find_if(entry, entries.end(), [&](const Entry& e) { return e.port != entry->port; });
        while (port != into.dstPorts.end() && port->first < entry->port)
            ++port;
        if (port != into.dstPorts.end() && port->first == entry->port) {
            auto& sum = into.tcpQualityByPort.emplace_back(entry->port, qualityOf(entry->session, entry->side)).second;
            for (++entry; entry != end; ++entry)
                sum.merge(qualityOf(entry->session, entry->side));
        }
        entry = end;
    }
}

void ConversationTable::read(std::uint32_t pairNumber, CommPair& into) const
{
    const auto& totals = pair(pairNumber);
    const auto& row = conversations[pairNumber / 2];
    const auto side = pairNumber & 1;
    const auto& origin = row.origins[side];
    const auto other = [&](int end) { return addresses.address(row.otherKinds[side][end], origin.others[end]); };
    const auto from = source(pairNumber), to = destination(pairNumber);
    assign(into.srcAddr, from);
    assign(into.dstAddr, to);
    assign(into.resolvedSrc, names.name(from));
    assign(into.resolvedDst, names.name(to));
    assignLayers(into.srcMAC, into.srcIP, from, other(0));
    assignLayers(into.dstMAC, into.dstIP, to, other(1));
    into.hasTCP = totals.hasTcp;
    into.hasUDP = totals.hasUdp;
    into.packetCount = totals.packets;
    into.byteCount = totals.bytes;
    into.category = totals.category;
    into.isMAC = row.hostKind == Address::Kind::mac;
    into.firstSeenSeconds = firstSeen(pairNumber);
    into.lastSeenSeconds = totals.lastSeen;
    readPorts(pairNumber, into);
    into.topProtocol = text(knownBy(into, totals.topProtocol));
    readQuality(pairNumber, into);
}

} // namespace netrondo
