// Hosts on the left, services on the right, links between them.
#include "Circle/HostServiceLayout.h"

#include "Base/Address.h"
#include "Base/Counter.h"
#include "Circle/BarycentreSweep.h"
#include "Circle/PairID.h"
#include "Circle/UndirectedPairs.h"

#include <algorithm>
#include <boost/unordered/unordered_flat_map.hpp>
#include <cmath>

namespace netrondo {
namespace {

constexpr std::size_t labelChars = 18;
constexpr double leastThreshold = 4.0; // as on the ring

/// A service of a pair and its share of the pair's volume.
struct Share {
    std::string_view service;
    std::uint64_t volume;
};

/// Shares a pair's volume out among the services of its ports, to the last packet.
void shareOut(const CommPair& pair, std::uint64_t volume, std::vector<Share>& shares)
{
    shares.clear();
    std::uint64_t total = 0;
    for (const auto& [port, stats] : pair.dstPorts) {
        const auto service = PortServices::name(port);
        if (service.empty() || stats.count == 0)
            continue;
        const auto at = std::ranges::find(shares, service, &Share::service);
        if (at == shares.end())
            shares.push_back({service, stats.count});
        else
            at->volume += stats.count;
        total += stats.count;
    }
    if (shares.empty()) {
        shares.push_back({pair.topProtocol, volume});
        return;
    }
    std::uint64_t counted = 0, given = 0;
    for (auto& share : shares) {
        counted += share.volume;
        const auto upToHere = static_cast<std::uint64_t>(static_cast<Uint128>(volume) * counted / total);
        share.volume = upToHere - given;
        given = upToHere;
    }
}

/// Hosts, services and links as numbers, before they have places.
struct Columns {
    std::vector<CircleNode> hosts, services;
    struct Weighted {
        ColumnLink ends;
        Counter64 volume;
        double first, last; ///< seconds
    };
    std::vector<Weighted> links;

    Columns(const PairArray& pairs, bool useBytes, bool showNames)
    {
        std::vector<Share> shares;
        for (const auto& pair : pairs) {
            const auto source = host(pair.srcAddr, [&] { return pair.displaySrc(showNames, labelChars); });
            const auto destination = host(pair.dstAddr, [&] { return pair.displayDst(showNames, labelChars); });
            shareOut(pair, pair.volume(useBytes), shares);
            for (const auto& share : shares) {
                const auto at = service(share.service);
                link(source, at, share.volume, pair);
                if (destination != source)
                    link(destination, at, share.volume, pair);
            }
        }
    }

private:
    using Index = boost::unordered_flat_map<std::string_view, std::uint32_t, std::hash<std::string_view>>;

    template <typename Label> std::uint32_t host(const std::string& address, const Label& label)
    {
        const auto [at, added] = knownHosts_.try_emplace(address, static_cast<std::uint32_t>(hosts.size()));
        if (added) {
            auto& node = hosts.emplace_back();
            node.address = address;
            node.displayLabel = label();
        }
        return at->second;
    }
    std::uint32_t service(std::string_view name)
    {
        const auto [at, added] = knownServices_.try_emplace(name, static_cast<std::uint32_t>(services.size()));
        if (added) {
            auto& node = services.emplace_back();
            node.address = std::string(UndirectedPairs::servicePrefix).append(name);
            node.displayLabel = name;
            node.role = CircleNode::Role::service;
            node.serviceName = name;
            node.protocolColor = ProtocolColors::color(name);
        }
        return at->second;
    }
    void link(std::uint32_t host, std::uint32_t service, std::uint64_t volume, const CommPair& pair)
    {
        const auto key = std::uint64_t{host} << 32 | service;
        const double first = pair.firstSeenSeconds.value_or(0), last = pair.lastSeenSeconds.value_or(first);
        const auto [at, added] = knownLinks_.try_emplace(key, links.size());
        if (added)
            links.push_back({{host, service}, 0, first, last});
        auto& link = links[at->second];
        link.volume += volume;
        link.first = std::min(link.first, first);
        link.last = std::max(link.last, last);
    }

    Index knownHosts_, knownServices_;
    boost::unordered_flat_map<std::uint64_t, std::size_t> knownLinks_;
};

/// A host has the colour of the service it has most to do with.
void colorHosts(Columns& columns)
{
    std::vector<const Columns::Weighted*> main(columns.hosts.size());
    for (const auto& link : columns.links) {
        auto& most = main[link.ends.first];
        if (!most || link.volume > most->volume)
            most = &link;
    }
    for (std::size_t i = 0; i < main.size(); ++i)
        columns.hosts[i].protocolColor = columns.services[main[i]->ends.second].protocolColor;
}

/// A point of a cubic curve.
Point pointOf(const std::array<Point, 4>& c, double t)
{
    const double u = 1 - t, a = u * u * u, b = 3 * u * u * t, d = 3 * u * t * t, e = t * t * t;
    return {a * c[0].x + b * c[1].x + d * c[2].x + e * c[3].x, a * c[0].y + b * c[1].y + d * c[2].y + e * c[3].y};
}

/// The distance to a curve, taken as a line of so many pieces that the eye sees no corner.
double distanceToCurve(const Point& p, const std::array<Point, 4>& curve)
{
    constexpr int pieces = 24;
    double nearest = std::numeric_limits<double>::max();
    Point from = curve[0];
    for (int i = 1; i <= pieces; ++i) {
        const Point to = pointOf(curve, static_cast<double>(i) / pieces);
        nearest = std::min(nearest, distanceToSegment(p, from, to));
        from = to;
    }
    return nearest;
}

} // namespace

HostServiceLayout::HostServiceLayout(Parameters parameters)
    : pairs(std::move(parameters.pairs)), useBytes(parameters.useBytes), showLineThickness(parameters.showLineThickness)
{
    Columns columns(pairs, useBytes, parameters.showHostNames);
    colorHosts(columns);
    std::vector<ColumnLink> ends;
    for (const auto& link : columns.links)
        ends.push_back(link.ends);
    const auto order = barycentreSweep(static_cast<std::uint32_t>(columns.hosts.size()),
                                       static_cast<std::uint32_t>(columns.services.size()), ends);
    crossings = order.crossings;
    hostCount = columns.hosts.size();

    const auto [width, height] = parameters.size;
    center = {width / 2, height / 2};
    const double inset = std::clamp(parameters.columnInset, 0.0, width * 0.45);
    const auto rows = static_cast<double>(std::max({columns.hosts.size(), columns.services.size(), std::size_t{1}}));
    // Discs of one column do not run into each other, however many there are.
    nodeRadius = std::max(1.0, std::min(std::max(6.0, std::min(width, height) / 80), 0.4 * height / rows));

    std::vector<std::uint32_t> placeOfHost(columns.hosts.size()), placeOfService(columns.services.size());
    const auto place = [&](std::vector<CircleNode>& column, const std::vector<std::uint32_t>& ranks, double x,
                           std::vector<std::uint32_t>& placeOf) {
        const auto rowCount = static_cast<double>(std::max<std::size_t>(column.size(), 1));
        // Where rows are close, the first and the last keep room for the half of a label that rises above its disc.
        const double pad = std::clamp(9 - height / rowCount / 2, 0.0, height / 20);
        const double step = (height - 2 * pad) / rowCount;
        for (std::size_t i = 0; i < ranks.size(); ++i) {
            placeOf[ranks[i]] = static_cast<std::uint32_t>(nodes.size());
            nodes.push_back(std::move(column[ranks[i]]));
            nodes.back().position = {x, pad + (static_cast<double>(i) + 0.5) * step};
        }
    };
    nodes.reserve(columns.hosts.size() + columns.services.size());
    place(columns.hosts, order.left, inset, placeOfHost);
    place(columns.services, order.right, width - inset, placeOfService);

    for (const auto& link : columns.links) {
        links.push_back(
            {placeOfHost[link.ends.first], placeOfService[link.ends.second], link.volume, link.first, link.last});
        maxVolume = std::max<std::uint64_t>(maxVolume, link.volume);
    }
    std::ranges::sort(links, {}, [](const Link& link) { return std::pair(link.host, link.service); });
}

const Point* HostServiceLayout::position(std::string_view address) const
{
    const auto at = std::ranges::find(nodes, address, &CircleNode::address);
    return at == nodes.end() ? nullptr : &at->position;
}

std::string HostServiceLayout::id(const Link& link) const
{
    return nodes[link.host].address + std::string(pairArrow) + nodes[link.service].address;
}

double HostServiceLayout::lineThickness(const Link& link, bool emphasized) const
{
    if (!emphasized)
        return 1.0;
    if (!showLineThickness)
        return 2.0;
    return std::clamp(static_cast<double>(link.volume) * 10 / static_cast<double>(maxVolume) + 1, 1.0, 10.0);
}

std::array<Point, 4> HostServiceLayout::curve(const Link& link) const
{
    const auto &from = nodes[link.host].position, &to = nodes[link.service].position;
    const double middle = (from.x + to.x) / 2;
    return {from, {middle, from.y}, {middle, to.y}, to};
}

const CircleNode* HostServiceLayout::findNode(const Point& point) const
{
    for (const auto& node : nodes)
        if (distance(node.position, point) <= nodeRadius)
            return &node;
    return nullptr;
}

const HostServiceLayout::Link* HostServiceLayout::findLink(const Point& point, double hitSlop,
                                                           std::optional<std::string_view> preferLinkID,
                                                           double hysteresis) const
{
    const Link *best = nullptr, *preferred = nullptr;
    double bestDistance = 0, preferredDistance = 0;
    const auto ends = preferLinkID ? splitPairID(*preferLinkID) : std::nullopt;
    for (const auto& link : links) {
        const double threshold = std::max(hitSlop + lineThickness(link, true), leastThreshold);
        const auto line = curve(link);
        const auto [upper, lower] = std::minmax(line[0].y, line[3].y); // the curve stays between its ends
        if (point.y < upper - threshold || point.y > lower + threshold)
            continue;
        const double away = distanceToCurve(point, line);
        if (!(away < threshold))
            continue;
        if (!best || away < bestDistance)
            best = &link, bestDistance = away;
        if (ends && nodes[link.host].address == ends->first && nodes[link.service].address == ends->second)
            preferred = &link, preferredDistance = away;
    }
    return hysteresis > 0 && preferred && preferredDistance <= bestDistance + hysteresis ? preferred : best;
}

} // namespace netrondo
