// The free arcs between hosts on the ring: where the next newcomer sits.
#include "Circle/FreeArcs.h"

#include "Circle/CircleLayout.h"

#include <cmath>
#include <iterator>
#include <numbers>

namespace netrondo {
namespace {
constexpr double turn = 2 * std::numbers::pi;
}

FreeArcs::FreeArcs(std::span<const double> angles)
{
    for (const double angle : angles)
        take(angle);
}

void FreeArcs::setGap(Angles::iterator at, double gap)
{
    widest_.erase({-at->second, at->first});
    at->second = gap;
    widest_.insert({-gap, at->first});
}

void FreeArcs::take(double angle)
{
    const double normal = CircleLayout::normalizeAngle(angle);
    if (!std::isfinite(normal))
        return;
    ++count_;
    const auto [at, added] = angles_.try_emplace(normal, 0.0);
    if (!added)
        return; // a second host at the same place leaves an arc of no width, which is never the widest
    const auto after = std::next(at);
    setGap(at, (after == angles_.end() ? angles_.begin()->first + turn : after->first) - normal);
    if (at == angles_.begin())
        setGap(std::prev(angles_.end()), normal + turn - std::prev(angles_.end())->first);
    else
        setGap(std::prev(at), normal - std::prev(at)->first);
}

double FreeArcs::widestMiddle() const
{
    if (angles_.empty())
        return -std::numbers::pi / 2;
    if (count_ == 1) // not by its gap: a + 2π − a is not quite 2π for every a
        return CircleLayout::normalizeAngle(angles_.begin()->first + std::numbers::pi);
    const auto& [negativeGap, angle] = *widest_.begin();
    return CircleLayout::normalizeAngle(angle - negativeGap / 2);
}

} // namespace netrondo
