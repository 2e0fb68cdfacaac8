// Points and sizes of a view, and the few questions of plane geometry that the pictures ask.
#include "Circle/Geometry.h"

#include "Base/Json.h"

#include <cmath>
#include <numbers>

namespace netrondo {

void write(JsonWriter& json, const Point& point)
{
    json.beginObject();
    json.field("x", point.x);
    json.field("y", point.y);
    json.endObject();
}

double distance(const Point& a, const Point& b)
{
    return std::hypot(a.x - b.x, a.y - b.y);
}

double distanceToSegment(const Point& p, const Point& a, const Point& b)
{
    const double dx = b.x - a.x, dy = b.y - a.y;
    const double squared = dx * dx + dy * dy;
    if (squared < 1.0)
        return std::numeric_limits<double>::max();
    const double t = ((p.x - a.x) * dx + (p.y - a.y) * dy) / squared;
    const double clamped = t < 0 ? 0 : t >= 1 ? 1 : t;
    const double x = p.x - (a.x + clamped * dx), y = p.y - (a.y + clamped * dy);
    return std::sqrt(x * x + y * y); // a tenth of std::hypot's time, and coordinates of a view do not overflow
}

std::array<Point, 6> hexagonPoints(const Point& center, double radius)
{
    std::array<Point, 6> corners;
    for (int k = 0; k < 6; ++k) {
        const double angle = k * std::numbers::pi / 3;
        corners[static_cast<std::size_t>(k)] = {center.x + radius * std::cos(angle),
                                                center.y + radius * std::sin(angle)};
    }
    return corners;
}

Point lineHexagonIntersection(const Point& lineStart, const Point& lineEnd, const Point& hexCenter, double hexRadius)
{
    const double length = distance(lineStart, lineEnd);
    if (length == 0)
        return hexCenter;
    const Point u{(lineEnd.x - lineStart.x) / length, (lineEnd.y - lineStart.y) / length};
    const Point f{lineStart.x - hexCenter.x, lineStart.y - hexCenter.y};
    const double b = 2 * (f.x * u.x + f.y * u.y);
    const double discriminant = b * b - 4 * (f.x * f.x + f.y * f.y - hexRadius * hexRadius);
    if (discriminant < 0)
        return hexCenter;
    // The larger root comes first on purpose: seen from outside it is the far side, and chords end there.
    const double root = std::sqrt(discriminant);
    const double t1 = (-b + root) / 2, t2 = (-b - root) / 2;
    const double t = t1 >= 0 ? t1 : t2;
    return {lineStart.x + t * u.x, lineStart.y + t * u.y};
}

} // namespace netrondo
