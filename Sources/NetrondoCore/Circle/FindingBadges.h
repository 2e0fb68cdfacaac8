// The signs that stand at hosts and conversations where something is wrong.
#pragma once

#include "Analysis/Expert/FindingTable.h"
#include "Circle/CircleScene.h"

#include <cstdint>
#include <span>
#include <vector>

namespace netrondo {

/// At a host (`from` and `to` are the same node) or on a conversation's chord.
struct SceneBadge {
    std::uint32_t from = 0, to = 0; ///< indices of the layout's nodes
    Severity severity = Severity::info;
    Point center;
    double radius = 0;
    friend bool operator==(const SceneBadge&, const SceneBadge&) = default;
};

/// The badges of a layout, the worst first. They do not cover one another: where many would, the worst of them stand
/// and the others have to wait until the view is zoomed in. Mere information has no badge. What concerns a conversation
/// that is not drawn stands at one of its hosts. `discRadius` is that of the drawn hosts.
std::vector<SceneBadge> placeBadges(const CircleLayout& layout, double discRadius, const FindingMarks& marks);
/// In the columns hosts alone have badges, for everything that concerns them.
std::vector<SceneBadge> placeBadges(const HostServiceLayout& layout, const FindingMarks& marks);

/// Draws a severity's sign: its outline tells it from the others as well as its colour does. A cross in an octagon is
/// an error, an exclamation mark in a triangle a warning, an i in a disc a note, a dot in a square mere information.
void addSign(std::vector<ScenePolygon>& polygons, Severity severity, const Point& center, double radius,
             const SceneColor& ground);
void addBadges(CircleScene& scene, std::span<const SceneBadge> badges);

} // namespace netrondo
