// Which conversations are drawn, and in which order a tidied ring seats their hosts.
#include "Base/Address.h"
#include "Circle/CircleLayout.h"
#include "Circle/CircleOrder.h"
#include "Circle/PairID.h"

#include <algorithm>
#include <boost/unordered/unordered_flat_map.hpp>
#include <numbers>

namespace netrondo {
namespace {

constexpr char unitSeparator = '\x1f';

/// Addresses as numbers in the order in which they are first named.
class AddressList {
public:
    std::uint32_t add(std::string_view address)
    {
        const auto [at, added] = known_.try_emplace(address, static_cast<std::uint32_t>(addresses_.size()));
        if (added)
            addresses_.push_back(address);
        return at->second;
    }
    std::string_view operator[](std::size_t index) const { return addresses_[index]; }
    std::size_t size() const { return addresses_.size(); }
    std::vector<std::string> texts() const { return {addresses_.begin(), addresses_.end()}; }

private:
    boost::unordered_flat_map<std::string_view, std::uint32_t, std::hash<std::string_view>> known_;
    std::vector<std::string_view> addresses_;
};

/// The conversations between hosts, in the order of their first pair.
std::vector<RingEdge> weightedEdges(AddressList& list, std::span<const CommPair> pairs, bool useBytes)
{
    boost::unordered_flat_map<std::uint64_t, std::size_t> known;
    std::vector<RingEdge> edges;
    for (const auto& pair : pairs) {
        auto a = list.add(pair.srcAddr), b = list.add(pair.dstAddr);
        const auto volume = pair.volume(useBytes);
        if (a == b || volume == 0)
            continue;
        if (b < a)
            std::swap(a, b);
        const auto [at, first] = known.try_emplace(std::uint64_t{a} << 32 | b, edges.size());
        if (first)
            edges.push_back({a, b, 0});
        edges[at->second].weight += static_cast<double>(volume);
    }
    return edges;
}

/// The ends of the heaviest edge, the one that sorts first in front. Of equal ones that wins whose front end stands
/// first in the list, then whose other end does.
std::pair<std::uint32_t, std::uint32_t> heaviestEdge(const AddressList& list, std::span<const RingEdge> edges)
{
    std::pair<std::uint32_t, std::uint32_t> heaviest{0, 1};
    double weight = -1;
    for (const auto& edge : edges) {
        const auto ends = list[edge.a] < list[edge.b] ? std::pair(edge.a, edge.b) : std::pair(edge.b, edge.a);
        if (edge.weight > weight || (edge.weight == weight && ends < heaviest))
            heaviest = ends, weight = edge.weight;
    }
    return heaviest;
}

} // namespace

std::vector<std::string> CircleLayout::optimizedRingOrder(std::span<const CommPair> pairs, bool useBytes,
                                                          std::span<const std::string> including)
{
    AddressList list;
    const auto edges = weightedEdges(list, pairs, useBytes);
    for (const auto& address : including)
        list.add(address);
    if (list.size() < 3)
        return list.texts();

    const auto [first, second] = heaviestEdge(list, edges);
    std::vector<std::string> order;
    order.reserve(list.size());
    for (const auto host : ringOrder(static_cast<std::uint32_t>(list.size()), edges, first, second))
        order.emplace_back(list[host]);
    return order;
}

AngleByAddress CircleLayout::rearrangeAngles(std::span<const CommPair> pairs, bool useBytes,
                                             std::span<const std::string> including)
{
    const auto order = optimizedRingOrder(pairs, useBytes, including);
    AngleByAddress angles;
    for (std::size_t i = 0; i < order.size(); ++i)
        angles[order[i]] =
            static_cast<double>(i) * 2 * std::numbers::pi / static_cast<double>(order.size()) - std::numbers::pi / 2;
    return angles;
}

std::vector<CommPair> CircleLayout::topConversationPairs(std::span<const CommPair> pairs, std::int64_t limit,
                                                         bool useBytes)
{
    if (limit <= 0 || pairs.empty())
        return {};

    struct Group {
        const CommPair* first;
        std::uint32_t number;
        Counter64 volume;
    };
    std::vector<Group> groups;
    std::vector<std::uint32_t> groupOf;
    AddressList list;
    boost::unordered_flat_map<std::uint64_t, std::uint32_t> known;
    for (const auto& pair : pairs) {
        const auto a = list.add(pair.srcAddr), b = list.add(pair.dstAddr);
        const auto number = static_cast<std::uint32_t>(groups.size());
        const auto [at, first] = known.try_emplace(std::uint64_t{std::min(a, b)} << 32 | std::max(a, b), number);
        if (first)
            groups.push_back({&pair, number, 0});
        groups[at->second].volume += pair.volume(useBytes);
        groupOf.push_back(at->second);
    }
    std::ranges::stable_sort(groups, [](const Group& a, const Group& b) {
        return a.volume != b.volume ? a.volume > b.volume : pairIDBefore(*a.first, *b.first);
    });
    groups.resize(std::min(groups.size(), static_cast<std::size_t>(limit)));

    // Where each kept group's pairs begin in the result.
    constexpr auto dropped = static_cast<std::size_t>(-1);
    std::vector<std::vector<const CommPair*>> kept(groups.size());
    std::vector<std::size_t> rank(known.size(), dropped);
    for (std::size_t i = 0; i < groups.size(); ++i)
        rank[groups[i].number] = i;
    for (std::size_t i = 0; i < pairs.size(); ++i)
        if (const auto at = rank[groupOf[i]]; at != dropped)
            kept[at].push_back(&pairs[i]);
    std::vector<CommPair> top;
    for (const auto& group : kept)
        for (const auto* pair : group)
            top.push_back(*pair);
    return top;
}

std::string CircleLayout::undirectedEdgeKey(std::string_view a, std::string_view b)
{
    const auto [smaller, larger] = std::minmax(a, b);
    return std::string(smaller).append(1, unitSeparator).append(larger);
}

std::optional<std::string> CircleLayout::undirectedEdgeKey(std::optional<std::string_view> pairID)
{
    const auto ends = pairID ? splitPairID(*pairID) : std::nullopt;
    return ends ? std::optional(undirectedEdgeKey(ends->first, ends->second)) : std::nullopt;
}

} // namespace netrondo
