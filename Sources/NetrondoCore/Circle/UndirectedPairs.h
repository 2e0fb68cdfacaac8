// The two directions of a conversation taken as one: ranking, and narrowing the picture to what is focused.
#pragma once

#include "Analysis/Model/CommPair.h"
#include "Base/Counter.h"

#include <optional>
#include <span>
#include <string_view>
#include <vector>

namespace netrondo::UndirectedPairs {

/// A conversation: the direction that stands for it, and what both directions carried.
struct Conversation {
    const CommPair* pair = nullptr; ///< one of the pairs that were ranked
    Counter64 packets;
    Counter64 bytes;
};

/// The conversations of the pairs, the one with the most bytes (or packets) first; on equal volume by the identifier of
/// the direction that stands for it.
std::vector<Conversation> ranked(std::span<const CommPair> pairs, bool byBytes);

/// What the addresses of service nodes begin with ("svc:HTTP").
constexpr std::string_view servicePrefix = "svc:";

/// The displayed pairs narrowed to the focus: those that touch the node (of a service node, those that carry its
/// protocol); without a node, the two directions of the selected pair; without either, all of them.
std::vector<CommPair> focusedOn(std::span<const CommPair> displayed, const CommPair* selectedPair,
                                std::optional<std::string_view> nodeAddress);

} // namespace netrondo::UndirectedPairs
