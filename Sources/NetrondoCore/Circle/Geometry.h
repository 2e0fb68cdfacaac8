// Points and sizes of a view, and the few questions of plane geometry that the pictures ask.
#pragma once

#include <array>
#include <limits>

namespace netrondo {

class JsonWriter;

/// A point in view coordinates: x to the right, y downwards.
struct Point {
    double x = 0;
    double y = 0;
    friend bool operator==(const Point&, const Point&) = default;
};

struct Size {
    double width = 0;
    double height = 0;
    friend bool operator==(const Size&, const Size&) = default;
};

void write(JsonWriter& json, const Point& point);

double distance(const Point& a, const Point& b);

/// The distance from `p` to the segment; a segment shorter than one point is infinitely far (the largest finite
/// number), so that a degenerate chord is never hit.
double distanceToSegment(const Point& p, const Point& a, const Point& b);

/// The corners of a regular hexagon, clockwise on screen from the one on the right.
std::array<Point, 6> hexagonPoints(const Point& center, double radius);

/// Where a line meets a hexagon-shaped node, taking the hexagon as its circumscribed circle: close enough for the end
/// of a chord. The centre itself when they do not meet.
Point lineHexagonIntersection(const Point& lineStart, const Point& lineEnd, const Point& hexCenter, double hexRadius);

} // namespace netrondo
