// What is under the pointer: hosts on the ring and chords between them.
#include "Circle/CircleLayout.h"
#include "Circle/PairID.h"

#include <algorithm>
#include <boost/unordered/unordered_flat_map.hpp>

namespace netrondo {
namespace {

/// Easier to hit than it is wide: a chord of one point is still caught from four points away.
constexpr double leastThreshold = 4.0;

/// A conversation by its two nodes, whichever way round.
std::uint64_t edgeOf(std::uint32_t a, std::uint32_t b)
{
    return std::uint64_t{std::min(a, b)} << 32 | std::max(a, b);
}

} // namespace

struct CircleLayout::Hit {
    std::uint64_t edge;
    const CommPair* pair;
    double distance;
};

const CircleNode* CircleLayout::findNode(const Point& point) const
{
    for (const auto& node : nodes)
        if (distance(node.position, point) <= nodeRadius)
            return &node;
    return nullptr;
}

const CommPair& CircleLayout::pickCanonical(const CommPair& a, const CommPair& b,
                                            std::optional<std::string_view> preferPairID) const
{
    if (preferPairID) {
        if (isPairID(*preferPairID, a))
            return a;
        if (isPairID(*preferPairID, b))
            return b;
    }
    const auto ofA = volume(a), ofB = volume(b);
    if (ofA != ofB)
        return ofB < ofA ? a : b;
    return pairIDBefore(b, a) ? b : a;
}

const CommPair* CircleLayout::findPair(const Point& point, double hitSlop, std::optional<std::string_view> preferPairID,
                                       double hysteresis) const
{
    std::vector<Hit> hits; // one for each conversation, in the order of their first hit
    boost::unordered_flat_map<std::uint64_t, std::size_t> hitOfEdge;
    for (std::size_t i = 0; i < chords_.size(); ++i) {
        const auto& chord = chords_[i];
        const double away = distanceToSegment(point, chord.start, chord.end);
        if (!(away < std::max(hitSlop + chord.thickness, leastThreshold)))
            continue;
        const auto edge = edgeOf(chord.startNode, chord.endNode);
        const auto [at, first] = hitOfEdge.try_emplace(edge, hits.size());
        if (first) {
            hits.push_back({edge, &pairs[i], away});
        } else {
            // The distance of the latest direction counts, on purpose not the smaller one.
            auto& hit = hits[at->second];
            hit = {edge, &pickCanonical(*hit.pair, pairs[i], preferPairID), away};
        }
    }
    if (hits.empty())
        return nullptr;
    const auto& best = *std::ranges::min_element(hits, {}, &Hit::distance);

    // Between close chords the pointer's tremble must not throw the selection about.
    if (hysteresis > 0 && preferPairID) {
        if (const auto ends = splitPairID(*preferPairID)) {
            const auto a = nodeIndex(ends->first), b = nodeIndex(ends->second);
            const auto preferred = a && b ? hitOfEdge.find(edgeOf(*a, *b)) : hitOfEdge.end();
            if (preferred != hitOfEdge.end() && hits[preferred->second].distance <= best.distance + hysteresis)
                return hits[preferred->second].pair;
        }
    }
    return best.pair;
}

} // namespace netrondo
