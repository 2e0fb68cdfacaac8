#include "Circle/FindingBadges.h"

#include "Circle/CircleLayout.h"
#include "Circle/HostServiceLayout.h"

#include <algorithm>
#include <boost/unordered/unordered_flat_map.hpp>
#include <cmath>
#include <numbers>
#include <string_view>

namespace netrondo {
namespace {

constexpr double leastRadius = 6, mostRadius = 8;
constexpr std::size_t mostBadges = 300; // more signs than that say nothing any more, and each is compared with all

struct Wish {
    SceneBadge badge;
    std::vector<Point> places; ///< the best first
};

Point between(const Point& a, const Point& b, double share)
{
    return {a.x + (b.x - a.x) * share, a.y + (b.y - a.y) * share};
}

std::vector<SceneBadge> placed(std::vector<Wish> wishes, double nodeRadius)
{
    const double radius = std::clamp(0.8 * nodeRadius, leastRadius, mostRadius);
    std::ranges::stable_sort(wishes, std::greater{}, [](const Wish& wish) { return wish.badge.severity; });
    std::vector<SceneBadge> badges;
    for (auto& wish : wishes) {
        if (badges.size() == mostBadges)
            break;
        const auto free = std::ranges::find_if(wish.places, [&](const Point& place) {
            return std::ranges::none_of(
                badges, [&](const SceneBadge& other) { return distance(other.center, place) < 2 * radius + 1; });
        });
        if (free == wish.places.end())
            continue;
        wish.badge.center = *free;
        wish.badge.radius = radius;
        badges.push_back(wish.badge);
    }
    return badges;
}

using NodeOf = boost::unordered_flat_map<std::string_view, std::uint32_t, std::hash<std::string_view>>;

NodeOf nodesByAddress(const std::vector<CircleNode>& nodes)
{
    NodeOf nodeOf;
    nodeOf.reserve(nodes.size());
    for (std::uint32_t i = 0; i < nodes.size(); ++i)
        nodeOf.emplace(nodes[i].address, i);
    return nodeOf;
}

std::uint64_t edge(std::uint32_t a, std::uint32_t b)
{
    return std::uint64_t{std::min(a, b)} << 32 | std::max(a, b);
}

/// Regular, with a corner or the middle of a side on top.
std::vector<Point> polygon(const Point& center, double radius, int corners, bool cornerOnTop)
{
    std::vector<Point> points;
    for (int i = 0; i < corners; ++i) {
        const double angle = 2 * std::numbers::pi * (i + (cornerOnTop ? 0.0 : 0.5)) / corners - std::numbers::pi / 2;
        points.push_back({center.x + radius * std::cos(angle), center.y + radius * std::sin(angle)});
    }
    return points;
}

std::vector<Point> box(const Point& center, double width, double height)
{
    return {{center.x - width / 2, center.y - height / 2},
            {center.x + width / 2, center.y - height / 2},
            {center.x + width / 2, center.y + height / 2},
            {center.x - width / 2, center.y + height / 2}};
}

/// A bar from corner to corner of a square around the centre.
std::vector<Point> slantedBar(const Point& center, double half, double thickness, int direction)
{
    const double t = thickness / 2 / std::numbers::sqrt2;
    const double d = direction;
    return {{center.x - half - t, center.y - d * (half - t)},
            {center.x - half + t, center.y - d * (half + t)},
            {center.x + half + t, center.y + d * (half - t)},
            {center.x + half - t, center.y + d * (half + t)}};
}

} // namespace

std::vector<SceneBadge> placeBadges(const CircleLayout& layout, double discRadius, const FindingMarks& marks)
{
    const auto nodeOf = nodesByAddress(layout.nodes);
    boost::unordered_flat_map<std::uint64_t, bool> isDrawn;
    for (const auto& pair : layout.pairs)
        isDrawn.emplace(edge(nodeOf.at(pair.srcAddr), nodeOf.at(pair.dstAddr)), true);
    std::vector<Wish> wishes;
    // A host may be named by several marks; it has one badge.
    boost::unordered_flat_map<std::uint32_t, Severity> hosts;
    for (const auto& [ends, mark] : marks.marks) {
        if (mark.severity == Severity::info)
            continue;
        const auto from = nodeOf.find(ends.first.text());
        const auto to = ends.second ? nodeOf.find(ends.second.text()) : from;
        if (from != to && from != nodeOf.end() && to != nodeOf.end()
            && isDrawn.contains(edge(from->second, to->second))) {
            const auto& a = layout.nodes[from->second].position;
            const auto& b = layout.nodes[to->second].position;
            Wish wish{{from->second, to->second, mark.severity, {}, 0}, {}};
            for (const double share : {0.5, 0.4, 0.6, 0.3, 0.7, 0.22, 0.78, 0.15, 0.85})
                wish.places.push_back(between(a, b, share));
            wishes.push_back(std::move(wish));
            continue;
        }
        const auto node = from != nodeOf.end() ? from : to;
        if (node == nodeOf.end())
            continue;
        auto& worst = hosts.try_emplace(node->second, mark.severity).first->second;
        worst = std::max(worst, mark.severity);
    }
    const double radius = std::clamp(0.8 * layout.nodeRadius, leastRadius, mostRadius);
    for (std::uint32_t i = 0; i < layout.nodes.size(); ++i) {
        const auto host = hosts.find(i);
        if (host == hosts.end())
            continue;
        const auto& at = layout.nodes[i].position;
        // Inwards of the disc, where no labels are.
        const double away = std::max(1.0, distance(at, layout.center));
        Wish wish{{i, i, host->second, {}, 0}, {}};
        for (const double step : {0.0, 2.2 * radius})
            wish.places.push_back(between(at, layout.center, (0.7 * discRadius + 0.8 * radius + step) / away));
        wishes.push_back(std::move(wish));
    }
    return placed(std::move(wishes), layout.nodeRadius);
}

std::vector<SceneBadge> placeBadges(const HostServiceLayout& layout, const FindingMarks& marks)
{
    const auto nodeOf = nodesByAddress(layout.nodes);
    boost::unordered_flat_map<std::uint32_t, Severity> hosts;
    for (const auto& [ends, mark] : marks.marks) {
        if (mark.severity == Severity::info)
            continue;
        for (const auto& end : {ends.first, ends.second}) {
            const auto node = end ? nodeOf.find(end.text()) : nodeOf.end();
            if (node == nodeOf.end())
                continue;
            auto& worst = hosts.try_emplace(node->second, mark.severity).first->second;
            worst = std::max(worst, mark.severity);
        }
    }
    std::vector<Wish> wishes;
    const double radius = std::clamp(0.8 * layout.nodeRadius, leastRadius, mostRadius);
    for (std::uint32_t i = 0; i < layout.hostCount; ++i) {
        const auto host = hosts.find(i);
        if (host == hosts.end())
            continue;
        const auto& at = layout.nodes[i].position;
        wishes.push_back({{i, i, host->second, {}, 0}, {{at.x + 0.7 * layout.nodeRadius + 0.8 * radius, at.y}}});
    }
    return placed(std::move(wishes), layout.nodeRadius);
}

void addSign(std::vector<ScenePolygon>& polygons, Severity severity, const Point& center, double radius,
             const SceneColor& ground)
{
    // Hues that people with a colour-vision deficiency can tell apart (Okabe and Ito).
    constexpr ProtocolColors::RGB vermillion{0xd5, 0x5e, 0x00}, orange{0xe6, 0x9f, 0x00}, blue{0x00, 0x72, 0xb2};
    constexpr ProtocolColors::RGB grey{0x6b, 0x74, 0x80}, white{0xff, 0xff, 0xff}, black{0x1c, 0x18, 0x10};
    const double r = radius, stroke = 0.26 * r;
    const double halo = std::max(1.0, 0.18 * r);
    const auto at = [&](double x, double y) { return Point{center.x + x * r, center.y + y * r}; };
    const auto shape = [&](std::vector<Point> points, ProtocolColors::RGB color) {
        polygons.push_back({std::move(points), {color}, halo, ground});
    };
    const auto stroked = [&](std::vector<Point> points, ProtocolColors::RGB color) {
        polygons.push_back({std::move(points), {color}, 0, {{}, 0}});
    };
    switch (severity) {
    case Severity::error:
        shape(polygon(center, 1.04 * r, 8, false), vermillion);
        for (const int direction : {1, -1})
            stroked(slantedBar(center, 0.42 * r, stroke, direction), white);
        break;
    case Severity::warning:
        // The dark rim gives the orange its contrast on a light ground.
        shape({at(0, -1.08), at(1.12, 0.9), at(-1.12, 0.9)}, black);
        stroked({at(0, -0.84), at(0.93, 0.79), at(-0.93, 0.79)}, orange);
        stroked(box(at(0, -0.02), stroke, 0.66 * r), black);
        stroked(box(at(0, 0.56), stroke, stroke), black);
        break;
    case Severity::note:
        shape(polygon(center, r, 24, true), blue);
        stroked(box(at(0, -0.5), stroke, stroke), white);
        stroked(box(at(0, 0.2), stroke, 0.8 * r), white);
        break;
    case Severity::info:
        shape(polygon(center, 1.1 * r, 4, false), grey);
        stroked(polygon(center, 0.3 * r, 12, true), white);
        break;
    }
}

void addBadges(CircleScene& scene, std::span<const SceneBadge> badges)
{
    for (const auto& badge : badges)
        addSign(scene.polygons, badge.severity, badge.center, badge.radius, scene.ground);
}

} // namespace netrondo
