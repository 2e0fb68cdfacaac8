// Two columns ordered so that few of the links between them cross.
#include "Circle/BarycentreSweep.h"

#include <algorithm>
#include <numeric>

namespace netrondo {
namespace {

constexpr int mostSweeps = 12; // more changes nothing worth the time

std::vector<std::uint32_t> ranksOf(std::span<const std::uint32_t> order)
{
    std::vector<std::uint32_t> ranks(order.size());
    for (std::uint32_t i = 0; i < order.size(); ++i)
        ranks[order[i]] = i;
    return ranks;
}

/// Links cross when their left ends and their right ends stand in opposite orders: inversions, counted with a Fenwick
/// tree.
std::uint64_t crossingsOf(const ColumnOrder& order, std::span<const ColumnLink> links)
{
    const auto leftRank = ranksOf(order.left), rightRank = ranksOf(order.right);
    std::vector<ColumnLink> placed;
    placed.reserve(links.size());
    for (const auto& [left, right] : links)
        placed.emplace_back(leftRank[left], rightRank[right]);
    std::ranges::sort(placed);

    std::vector<std::uint64_t> tree(order.right.size() + 1);
    std::uint64_t crossings = 0, seen = 0;
    for (const auto& [left, right] : placed) {
        std::uint64_t notBelow = 0;
        for (std::size_t i = right + 1; i > 0; i &= i - 1)
            notBelow += tree[i];
        crossings += seen - notBelow;
        for (std::size_t i = right + 1; i < tree.size(); i += i & (~i + 1))
            ++tree[i];
        ++seen;
    }
    return crossings;
}

/// Moves each entry of a column to the mean rank of its partners in the other one; the unlinked keep their rank.
void sweep(std::vector<std::uint32_t>& column, std::span<const std::uint32_t> other, std::span<const ColumnLink> links,
           bool columnIsLeft)
{
    const auto otherRank = ranksOf(other);
    struct Mean {
        double sum = 0, count = 0;
    };
    std::vector<Mean> means(column.size());
    for (const auto& [left, right] : links) {
        auto& mean = means[columnIsLeft ? left : right];
        mean.sum += otherRank[columnIsLeft ? right : left];
        mean.count += 1;
    }
    std::vector<double> place(column.size());
    for (std::size_t i = 0; i < column.size(); ++i) {
        const auto& mean = means[column[i]];
        place[column[i]] = mean.count > 0 ? mean.sum / mean.count : static_cast<double>(i);
    }
    std::ranges::stable_sort(column, {}, [&](std::uint32_t entry) { return place[entry]; });
}

} // namespace

ColumnOrder barycentreSweep(std::uint32_t leftCount, std::uint32_t rightCount, std::span<const ColumnLink> links)
{
    ColumnOrder order;
    order.left.resize(leftCount);
    order.right.resize(rightCount);
    std::iota(order.left.begin(), order.left.end(), 0u);
    std::iota(order.right.begin(), order.right.end(), 0u);
    order.crossings = crossingsOf(order, links);

    auto best = order;
    for (int i = 0; i < mostSweeps && best.crossings > 0; ++i) {
        const auto before = std::pair(order.left, order.right);
        sweep(order.right, order.left, links, false);
        sweep(order.left, order.right, links, true);
        order.crossings = crossingsOf(order, links);
        if (order.crossings < best.crossings)
            best = order;
        if (before == std::pair(order.left, order.right))
            break;
    }
    return best;
}

} // namespace netrondo
