// From the numbers of a conversation to the record in words.
#include "Analysis/Model/ConversationTable.h"

#include <algorithm>
#include <string>
#include <tuple>
#include <utility>

namespace netrondo {
namespace {

/// Places the numbers 0 to `count`-1 into groups by `conversationOf(number)`, ascending within each.
template <typename Groups, typename ConversationOf>
void fill(Groups& groups, std::uint32_t count, std::uint32_t conversations, ConversationOf conversationOf)
{
    groups.starts.assign(conversations + 2, 0);
    for (std::uint32_t number = 0; number < count; ++number)
        ++groups.starts[conversationOf(number) + 2];
    for (std::size_t i = 2; i < groups.starts.size(); ++i)
        groups.starts[i] += groups.starts[i - 1];
    groups.numbers.resize(count);
    for (std::uint32_t number = 0; number < count; ++number)
        groups.numbers[groups.starts[conversationOf(number) + 1]++] = number;
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

} // namespace

void ConversationTable::group()
{
    const auto count = conversations.size();
    fill(connectionGroups_, tracker.connectionCount(), count,
         [&](std::uint32_t number) { return tracker[number].conversation; });
    fill(sessionGroups_, sessions.size(), count, [&](std::uint32_t number) { return sessions[number].conversation; });
}

std::span<const std::uint32_t> ConversationTable::connectionsOf(ConversationId conversation) const
{
    return connectionGroups_.of(conversation);
}

std::span<const std::uint32_t> ConversationTable::sessionsOf(ConversationId conversation) const
{
    return sessionGroups_.of(conversation);
}

// No character of an address sorts before the "-" of "->", so the order of the joined texts is that of the source
// texts, then that of the destination texts; each host's text is written and compared once, not once a pair.
std::vector<std::uint32_t> ConversationTable::pairsByKey() const
{
    boost::unordered_flat_map<Address, std::uint32_t, AddressHash> hostNumbers;
    std::vector<std::pair<std::string, std::uint32_t>> hosts;
    std::vector<std::uint32_t> numbers;
    std::vector<std::uint32_t> hostOf(std::size_t{conversations.size()} * 2);
    for (std::uint32_t i = 0; i < conversations.size(); ++i) {
        for (const std::uint32_t side : {0u, 1u}) {
            const auto& host = conversations[i].hosts[side];
            const auto [place, isNew] = hostNumbers.try_emplace(host, static_cast<std::uint32_t>(hosts.size()));
            if (isNew)
                hosts.emplace_back(host.text(), place->second);
            hostOf[i * 2 + side] = place->second;
            if (conversations[i].pairs[side].is(PairTotals::exists))
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
    std::vector<const FlowState*> flows;
    for (const auto number : connectionsOf(pairNumber / 2)) {
        const auto& flow = tracker[number].flows[pairNumber & 1];
        if (flow.knows(FlowState::exists))
            flows.push_back(&flow);
    }
    if (flows.empty())
        return {};
    // The last one folded in gives the last window: the order is that of appearance.
    std::sort(flows.begin(), flows.end(), [](const auto* a, const auto* b) { return a->order < b->order; });
    auto sum = tracker.quality(*flows.front());
    for (std::size_t i = 1; i < flows.size(); ++i)
        sum.merge(tracker.quality(*flows[i]));
    return sum;
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
    const auto countSession = [&](const std::uint16_t* ports, std::uint64_t frames, bool isTcp) {
        const auto source = ports[side], destination = ports[1 - side];
        count(destination, frames, isTcp);
        // A service that answers from its own port is counted under it whichever way the frame travels; the ephemeral
        // ports of clients are not. Deliberate.
        if (source < PortServices::ephemeralPortFloor || PortServices::serviceOf(source))
            count(source, frames, isTcp);
    };
    for (const auto number : connectionsOf(pairNumber / 2)) {
        const auto& connection = tracker[number];
        const auto& flow = connection.flows[side];
        if (flow.tcpPackets == 0)
            continue;
        countSession(connection.ports, flow.tcpPackets, true);
        if (flow.knows(FlowState::carriedPayload))
            addPayloadProtocol(
                PortServices::serviceName(connection.ports[side], connection.ports[1 - side], ProtocolName::tcp));
    }
    for (const auto number : sessionsOf(pairNumber / 2)) {
        const auto& session = sessions[number];
        if (session.frames[side] == 0)
            continue;
        countSession(session.ports, session.frames[side], session.isTcp);
        if (!session.isTcp)
            addPayloadProtocol(
                PortServices::serviceName(session.ports[side], session.ports[1 - side], ProtocolName::udp));
    }
    if (pair(pairNumber).is(PairTotals::udpWithoutPorts))
        addPayloadProtocol(ProtocolName::udp);
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
        const FlowState* flow;
    };
    std::vector<Entry> entries;
    for (const auto number : connectionsOf(pairNumber / 2)) {
        const auto& connection = tracker[number];
        for (const std::uint32_t side : {0u, 1u}) {
            const auto& flow = connection.flows[side];
            if (!flow.knows(FlowState::exists))
                continue;
            for (const auto port : {connection.ports[side], connection.ports[1 - side]})
                entries.push_back({port, side ^ (pairNumber & 1), flow.order, &flow});
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
            auto& sum = into.tcpQualityByPort.emplace_back(entry->port, tracker.quality(*entry->flow)).second;
            for (++entry; entry != end; ++entry)
                sum.merge(tracker.quality(*entry->flow));
        }
        entry = end;
    }
}

void ConversationTable::read(std::uint32_t pairNumber, CommPair& into) const
{
    const auto& totals = pair(pairNumber);
    const auto& origin = origins[pairNumber];
    assign(into.srcAddr, source(pairNumber));
    assign(into.dstAddr, destination(pairNumber));
    assign(into.resolvedSrc, names.name(source(pairNumber)));
    assign(into.resolvedDst, names.name(destination(pairNumber)));
    assignLayers(into.srcMAC, into.srcIP, source(pairNumber), origin.otherSource);
    assignLayers(into.dstMAC, into.dstIP, destination(pairNumber), origin.otherDestination);
    into.hasTCP = totals.is(PairTotals::hasTcp);
    into.hasUDP = totals.is(PairTotals::hasUdp);
    into.packetCount = totals.packets;
    into.byteCount = totals.bytes;
    into.category = totals.category;
    into.isMAC = totals.is(PairTotals::isMac);
    into.firstSeenSeconds = origin.firstSeen;
    into.lastSeenSeconds = totals.lastSeen;
    readPorts(pairNumber, into);
    auto top = totals.topProtocol;
    if (PortServices::isTransportOnly(top))
        top = PortServices::dominantAppProtocol(into.dstPorts).value_or(top);
    into.topProtocol = text(top);
    readQuality(pairNumber, into);
}

} // namespace netrondo
