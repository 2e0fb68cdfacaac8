// The identifier of a pair, "{srcAddr}->{dstAddr}", compared and taken apart without writing it out.
#pragma once

#include "Analysis/Model/CommPair.h"

#include <optional>
#include <string_view>
#include <utility>

namespace netrondo {

constexpr std::string_view pairArrow = "->";

inline bool isPairID(std::string_view id, const CommPair& pair)
{
    return id.size() == pair.srcAddr.size() + pairArrow.size() + pair.dstAddr.size() && id.starts_with(pair.srcAddr)
        && id.substr(pair.srcAddr.size()).starts_with(pairArrow) && id.ends_with(pair.dstAddr);
}

/// The two addresses of an identifier, parted at its first arrow; nothing when either is empty.
inline std::optional<std::pair<std::string_view, std::string_view>> splitPairID(std::string_view id)
{
    const auto arrow = id.find(pairArrow);
    if (arrow == id.npos || arrow == 0 || arrow + pairArrow.size() == id.size())
        return std::nullopt;
    return std::pair(id.substr(0, arrow), id.substr(arrow + pairArrow.size()));
}

/// True when the identifier of `a` sorts before that of `b`.
inline bool pairIDBefore(const CommPair& a, const CommPair& b)
{
    // Source addresses of which one begins with the other meet the arrow of the shorter: only whole texts tell.
    if (a.srcAddr.size() == b.srcAddr.size())
        return std::pair<std::string_view, std::string_view>(a.srcAddr, a.dstAddr)
            < std::pair<std::string_view, std::string_view>(b.srcAddr, b.dstAddr);
    return a.id() < b.id();
}

} // namespace netrondo
