// The order of a tidied ring: heavy conversation partners sit opposite each other.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace netrondo {

/// What two hosts, named by their numbers, have to do with each other. Between two hosts stands at most one edge, and
/// none from a host to itself.
struct RingEdge {
    std::uint32_t a = 0, b = 0;
    double weight = 0;
};

/// Seats `hosts` hosts (three or more) on a ring of as many seats. `first` and `second` begin, across from each other;
/// then, again and again, of all hosts without a seat and all free seats the pair with the best score is chosen. The
/// score of a host at a seat is the sum over its seated neighbours, in the order of their seats, of the weight times
/// how nearly opposite the neighbour sits (1 straight across, falling evenly to 0 at the seat itself); for a host
/// without seated neighbours a little for every seat of distance to the next host. Ties go to the smaller host, then
/// seat.
///
/// Returns the hosts in the order of their seats. Scores that a placement does not touch are not summed again.
std::vector<std::uint32_t> ringOrder(std::uint32_t hosts, std::span<const RingEdge> edges, std::uint32_t first,
                                     std::uint32_t second);

} // namespace netrondo
