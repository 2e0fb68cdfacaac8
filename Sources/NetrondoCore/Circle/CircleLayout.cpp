// Placing hosts on the ring.
#include "Circle/CircleLayout.h"

#include "Base/Json.h"
#include "Circle/FreeArcs.h"

#include <algorithm>
#include <boost/unordered/unordered_flat_map.hpp>
#include <cmath>
#include <numbers>

namespace netrondo {
namespace {

constexpr std::size_t labelChars = 18;
constexpr double goldenAngle = 2.399963229728653; // π·(3 − √5): each step falls into one of the widest gaps
constexpr double top = -std::numbers::pi / 2;

/// The ends of a pair as node indices.
struct Ends {
    std::uint32_t source, destination;
};

/// The hosts in the order in which the pairs first name them, with their labels.
struct Hosts {
    std::vector<CircleNode> nodes;
    std::vector<Ends> ends;

    Hosts(const PairArray& pairs, bool showNames)
    {
        boost::unordered_flat_map<std::string_view, std::uint32_t, std::hash<std::string_view>> known;
        known.reserve(std::min<std::size_t>(2 * pairs.size(), 1024));
        const auto index = [&](const std::string& address, const auto& label) {
            const auto [at, added] = known.try_emplace(address, static_cast<std::uint32_t>(nodes.size()));
            if (added)
                nodes.emplace_back().address = address, nodes.back().displayLabel = label();
            return at->second;
        };
        ends.reserve(pairs.size());
        for (const auto& pair : pairs) {
            const auto source = index(pair.srcAddr, [&] { return pair.displaySrc(showNames, labelChars); });
            const auto destination = index(pair.dstAddr, [&] { return pair.displayDst(showNames, labelChars); });
            ends.push_back({source, destination});
        }
        for (auto& node : nodes)
            if (node.displayLabel.empty())
                node.displayLabel = node.address;
    }
};

/// Counts protocols in the order in which they first appear, for one host after the other.
class ProtocolBallot {
public:
    void vote(std::string_view protocol)
    {
        const auto at = std::ranges::find(votes_, protocol, &Votes::protocol);
        if (at == votes_.end())
            votes_.push_back({protocol, 1});
        else
            ++at->count;
    }
    /// The winner, the first named on a tie; the ballot is empty again.
    std::string_view close()
    {
        const auto winner = std::ranges::max_element(votes_, {}, &Votes::count);
        const auto name = winner == votes_.end() ? std::string_view("Unknown") : winner->protocol;
        votes_.clear();
        return name;
    }

private:
    struct Votes {
        std::string_view protocol;
        std::size_t count;
    };
    std::vector<Votes> votes_;
};

/// The dominant protocol of every node, in one walk over the pairs of each.
std::vector<std::string_view> dominantProtocols(std::size_t nodes, const PairArray& pairs, std::span<const Ends> ends)
{
    std::vector<std::uint32_t> begin(nodes + 1), touching;
    const auto forEachEnd = [&](const auto& visit) {
        for (std::uint32_t i = 0; i < ends.size(); ++i) {
            visit(ends[i].source, i);
            if (ends[i].destination != ends[i].source) // a host that talks to itself has one vote for that
                visit(ends[i].destination, i);
        }
    };
    forEachEnd([&](std::uint32_t node, std::uint32_t) { ++begin[node + 1]; });
    for (std::size_t node = 0; node < nodes; ++node)
        begin[node + 1] += begin[node];
    touching.resize(begin[nodes]);
    auto next = begin;
    forEachEnd([&](std::uint32_t node, std::uint32_t pair) { touching[next[node]++] = pair; });

    std::vector<std::string_view> dominant(nodes);
    ProtocolBallot ballot;
    for (std::size_t node = 0; node < nodes; ++node) {
        for (auto i = begin[node]; i < begin[node + 1]; ++i)
            ballot.vote(pairs[touching[i]].topProtocol);
        dominant[node] = ballot.close();
    }
    return dominant;
}

AngleByAddress anglesOfSlots(const SlotByAddress& slots, std::int64_t ringCapacity)
{
    const auto seats = ringCapacity > 1 ? ringCapacity : 1;
    AngleByAddress angles;
    for (const auto& [address, slot] : slots)
        if (slot >= 0 && slot < seats)
            angles.emplace(address, static_cast<double>(slot) * goldenAngle + top);
    return angles;
}

/// The angle of each node: the one it is known to have, else the middle of the widest free arc.
std::vector<double> seat(std::span<const CircleNode> nodes, const CircleLayout::Parameters& parameters)
{
    AngleByAddress fromSlots;
    const AngleByAddress* known = nullptr;
    if (parameters.stableAngleByAddress) {
        known = &*parameters.stableAngleByAddress;
    } else if (parameters.stableSlotByAddress) {
        fromSlots = anglesOfSlots(*parameters.stableSlotByAddress, parameters.ringCapacity);
        known = &fromSlots;
    }

    std::vector<double> angles(nodes.size());
    if (!known || known->empty()) {
        const auto total = static_cast<double>(std::max<std::size_t>(nodes.size(), 1));
        for (std::size_t i = 0; i < nodes.size(); ++i)
            angles[i] = static_cast<double>(i) * 2 * std::numbers::pi / total + top;
        return angles;
    }

    // Hosts that are remembered but not shown keep their places free.
    FreeArcs arcs;
    for (const auto& [address, angle] : *known)
        arcs.take(angle);
    for (std::size_t i = 0; i < nodes.size(); ++i) {
        const auto at = known->find(nodes[i].address);
        if (at != known->end() && std::isfinite(at->second)) {
            angles[i] = at->second;
        } else {
            angles[i] = arcs.widestMiddle();
            arcs.take(angles[i]);
        }
    }
    return angles;
}

} // namespace

CircleLayout::CircleLayout(Parameters parameters)
    : pairs(std::move(parameters.pairs)), useBytes(parameters.useBytes), showLineThickness(parameters.showLineThickness)
{
    const auto [width, height] = parameters.size;
    const double minSide = std::min(width, height);
    center = {width / 2, height / 2};
    radius = std::max(20.0, minSide / 2 - parameters.ringInset);
    nodeRadius = std::max(6.0, minSide / 80);

    Hosts hosts(pairs, parameters.showHostNames);
    nodes = std::move(hosts.nodes);
    const auto angles = seat(nodes, parameters);
    const auto dominant = dominantProtocols(nodes.size(), pairs, hosts.ends);
    for (std::size_t i = 0; i < nodes.size(); ++i) {
        nodes[i].position = nodePosition(angles[i], center, radius);
        nodes[i].protocolColor = ProtocolColors::color(dominant[i]);
    }
    nodesByAddress_.resize(nodes.size());
    for (std::uint32_t i = 0; i < nodes.size(); ++i)
        nodesByAddress_[i] = i;
    std::ranges::sort(nodesByAddress_, {}, [&](std::uint32_t i) -> const std::string& { return nodes[i].address; });

    maxVolume = 0;
    for (const auto& pair : pairs)
        maxVolume = std::max(maxVolume, volume(pair));
    maxVolume = std::max<std::uint64_t>(maxVolume, 1);

    chords_.reserve(pairs.size());
    for (std::size_t i = 0; i < pairs.size(); ++i) {
        const auto [source, destination] = hosts.ends[i];
        chords_.push_back(
            {nodes[source].position, nodes[destination].position, source, destination, lineThickness(pairs[i], true)});
    }
}

std::optional<std::uint32_t> CircleLayout::nodeIndex(std::string_view address) const
{
    const auto at = std::ranges::lower_bound(nodesByAddress_, address, {},
                                             [&](std::uint32_t i) -> std::string_view { return nodes[i].address; });
    if (at == nodesByAddress_.end() || nodes[*at].address != address)
        return std::nullopt;
    return *at;
}

const Point* CircleLayout::position(std::string_view address) const
{
    const auto index = nodeIndex(address);
    return index ? &nodes[*index].position : nullptr;
}

double CircleLayout::lineThickness(const CommPair& pair, bool emphasized) const
{
    if (!emphasized)
        return 1.0;
    if (!showLineThickness)
        return 2.0;
    const double thickness = static_cast<double>(volume(pair)) * 10 / static_cast<double>(maxVolume) + 1;
    return thickness < 10 ? std::max(thickness, 1.0) : 10; // what is not a number becomes 10 as well
}

ProtocolColors::RGB CircleLayout::edgeColor(const CommPair& pair) const
{
    return ProtocolColors::color(pair.topProtocol);
}

ProtocolColors::RGB CircleLayout::edgeColor(const CommPair& pair, EdgeColorMode mode,
                                            const QualityGradeThresholds& thresholds) const
{
    if (mode == EdgeColorMode::protocol)
        return edgeColor(pair);
    const auto grade = pair.tcpQuality ? pair.tcpQuality->grade(thresholds) : SessionQualityGrade::unknown;
    const auto [r, g, b] = color(grade);
    return {r, g, b};
}

Point CircleLayout::nodePosition(double angle, const Point& center, double radius)
{
    return {center.x + radius * std::cos(angle), center.y + radius * std::sin(angle)};
}

Point CircleLayout::nodePosition(std::int64_t index, std::int64_t total, const Point& center, double radius)
{
    if (total <= 0)
        return center;
    const double angle = static_cast<double>(index) * 2 * std::numbers::pi / static_cast<double>(total) + top;
    return nodePosition(angle, center, radius);
}

double CircleLayout::normalizeAngle(double angle)
{
    constexpr double pi = std::numbers::pi;
    double r = std::fmod(angle, 2 * pi);
    if (r <= -pi)
        r += 2 * pi;
    if (r > pi)
        r -= 2 * pi;
    return r;
}

double CircleLayout::nextStableAngle(std::span<const double> existing)
{
    return FreeArcs(existing).widestMiddle();
}

std::string_view dominantProtocol(std::string_view address, std::span<const CommPair> pairs)
{
    ProtocolBallot ballot;
    for (const auto& pair : pairs)
        if (pair.srcAddr == address || pair.dstAddr == address)
            ballot.vote(pair.topProtocol);
    return ballot.close();
}

void write(JsonWriter& json, const CircleLayout& layout)
{
    json.beginObject();
    json.field("center", layout.center);
    json.field("radius", layout.radius);
    json.field("nodeRadius", layout.nodeRadius);
    json.field("nodes", layout.nodes);
    json.key("pairs");
    json.beginArray();
    for (const auto& pair : layout.pairs)
        json.value(pair);
    json.endArray();
    json.field("maxVolume", layout.maxVolume);
    json.field("useBytes", layout.useBytes);
    json.field("showLineThickness", layout.showLineThickness);
    json.endObject();
}

} // namespace netrondo
