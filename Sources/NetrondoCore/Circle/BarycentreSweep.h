// Two columns ordered so that few of the links between them cross.
#pragma once

#include <cstdint>
#include <span>
#include <utility>
#include <vector>

namespace netrondo {

/// A link from the left column to the right one, by index.
using ColumnLink = std::pair<std::uint32_t, std::uint32_t>;

struct ColumnOrder {
    std::vector<std::uint32_t> left, right; ///< the entries from top to bottom
    std::uint64_t crossings = 0;
};

/// Begins with the given order and moves the entries of one column, then of the other, to the mean place of those they
/// are linked with, again and again; of all orders on the way the one with the fewest crossings is kept.
ColumnOrder barycentreSweep(std::uint32_t leftCount, std::uint32_t rightCount, std::span<const ColumnLink> links);

} // namespace netrondo
