// The two directions of a conversation taken as one.
#include "Circle/UndirectedPairs.h"

#include "Base/Address.h"
#include "Circle/PairID.h"

#include <algorithm>
#include <boost/unordered/unordered_flat_map.hpp>

namespace netrondo::UndirectedPairs {
namespace {

/// The two addresses, the smaller first.
using Ends = std::pair<std::string_view, std::string_view>;

Ends endsOf(const CommPair& pair)
{
    return std::minmax<std::string_view>(pair.srcAddr, pair.dstAddr);
}

struct EndsHash {
    std::size_t operator()(const Ends& ends) const
    {
        const std::hash<std::string_view> hash;
        return hashWords(hash(ends.first), hash(ends.second));
    }
};

/// The direction with more packets; else with more bytes; else the one whose identifier sorts first.
const CommPair& canonical(const CommPair& a, const CommPair* b)
{
    if (!b)
        return a;
    if (a.packetCount != b->packetCount)
        return a.packetCount > b->packetCount ? a : *b;
    if (a.byteCount != b->byteCount)
        return a.byteCount > b->byteCount ? a : *b;
    return pairIDBefore(*b, a) ? *b : a;
}

} // namespace

std::vector<Conversation> ranked(std::span<const CommPair> pairs, bool byBytes)
{
    std::vector<Conversation> conversations;
    boost::unordered_flat_map<Ends, std::size_t, EndsHash> known;
    for (const auto& pair : pairs) {
        const auto [at, first] = known.try_emplace(endsOf(pair), conversations.size());
        auto& conversation = first ? conversations.emplace_back() : conversations[at->second];
        conversation.pair = &canonical(pair, conversation.pair);
        conversation.packets += pair.packetCount;
        conversation.bytes += pair.byteCount;
    }
    std::ranges::sort(conversations, [byBytes](const Conversation& a, const Conversation& b) {
        const std::uint64_t ofA = byBytes ? a.bytes : a.packets, ofB = byBytes ? b.bytes : b.packets;
        return ofA != ofB ? ofA > ofB : pairIDBefore(*a.pair, *b.pair);
    });
    return conversations;
}

std::vector<CommPair> focusedOn(std::span<const CommPair> displayed, const CommPair* selectedPair,
                                std::optional<std::string_view> nodeAddress)
{
    const auto isInFocus = [&](const CommPair& pair) {
        if (nodeAddress && nodeAddress->starts_with(servicePrefix))
            return pair.carries(nodeAddress->substr(servicePrefix.size()));
        if (nodeAddress)
            return pair.srcAddr == *nodeAddress || pair.dstAddr == *nodeAddress;
        return !selectedPair || endsOf(pair) == endsOf(*selectedPair);
    };
    std::vector<CommPair> focused;
    std::ranges::copy_if(displayed, std::back_inserter(focused), isInFocus);
    return focused;
}

} // namespace netrondo::UndirectedPairs
