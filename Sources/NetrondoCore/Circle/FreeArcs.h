// The free arcs between hosts on the ring: where the next newcomer sits.
#pragma once

#include <cstddef>
#include <map>
#include <set>
#include <span>
#include <utility>

namespace netrondo {

/// Answers "the middle of the widest free arc" for a growing set of angles without sorting them again each time:
/// thousands of hosts can join a ring at once.
class FreeArcs {
public:
    FreeArcs() = default;
    explicit FreeArcs(std::span<const double> angles);

    /// An angle that is no number (a damaged setting) takes no place.
    void take(double angle);
    /// The middle of the widest arc, the first one clockwise from −π on a tie; the top of an empty ring.
    double widestMiddle() const;

private:
    using Angles = std::map<double, double>; ///< each angle and the gap that follows it

    void setGap(Angles::iterator at, double gap);

    Angles angles_;
    std::size_t count_ = 0;                      ///< hosts, several of which may share an angle
    std::set<std::pair<double, double>> widest_; ///< (−gap, angle): the widest first, then the smallest angle
};

} // namespace netrondo
