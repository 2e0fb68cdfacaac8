// Placing the labels around the ring.
#include "Circle/RingLabels.h"

#include "Base/Shorten.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <numbers>
#include <numeric>
#include <set>

namespace netrondo {
namespace {

constexpr double pi = std::numbers::pi;
constexpr double margin = 4;         // from the labels to the edge of the view
constexpr double smallestFont = 8.5; // below this nobody reads
constexpr double fontStep = 0.5;
constexpr double mostOfSide = 0.22;    // how much of the smaller side a label may take from the ring
constexpr std::size_t fewestChars = 5; // a shorter rest tells nothing
constexpr std::size_t mostLevelLabels = 64;

double largestFont(const Size& view)
{
    return std::clamp(std::min(view.width, view.height) / 62, smallestFont, 13.0);
}

struct Box {
    double left, top, right, bottom;
    bool touches(const Box& other) const
    {
        return left < other.right && other.left < right && top < other.bottom && other.top < bottom;
    }
};

/// A level label beside a ring of this radius, and the room it takes.
struct Level {
    SceneLabel label;
    Box box;
};

Level level(const RingLabelWish& wish, const RingLabelFrame& frame, double radius, double font, double width)
{
    const double c = std::cos(wish.angle), s = std::sin(wish.angle), height = lineHeight(font);
    const auto align = std::abs(c) < 0.12 ? SceneLabel::Align::middle
        : c > 0                           ? SceneLabel::Align::start
                                          : SceneLabel::Align::end;
    const Point at{frame.center.x + (radius + frame.gap) * c,
                   frame.center.y + (radius + frame.gap) * s + s * height / 2};
    const double left = align == SceneLabel::Align::start ? at.x
        : align == SceneLabel::Align::end                 ? at.x - width
                                                          : at.x - width / 2;
    return {{std::string(wish.text), at, 0, align, font, false, frame.color},
            {left, at.y - height / 2, left + width, at.y + height / 2}};
}

/// All labels level, or nothing when any of them touches another or leaves the view.
std::optional<std::vector<SceneLabel>> placeLevel(std::span<const RingLabelWish> wishes, const RingLabelFrame& frame,
                                                  double font, const TextWidth& textWidth)
{
    std::vector<SceneLabel> labels;
    std::vector<Box> boxes;
    for (const auto& wish : wishes) {
        auto placed = level(wish, frame, frame.radius, font, textWidth(wish.text, font, false));
        const auto& box = placed.box;
        // Half a point of grace: a radius found for these labels lets them end at the margin.
        if (box.left < margin - 0.5 || box.top < margin - 0.5 || box.right > frame.view.width - margin + 0.5
            || box.bottom > frame.view.height - margin + 0.5)
            return std::nullopt;
        if (std::ranges::any_of(boxes, [&](const Box& other) { return box.touches(other); }))
            return std::nullopt;
        boxes.push_back(box);
        labels.push_back(std::move(placed.label));
    }
    return labels;
}

/// How long a label that points outwards can be before it leaves the view.
double roomOutwards(double angle, const RingLabelFrame& frame, double height)
{
    const double c = std::abs(std::cos(angle)), s = std::abs(std::sin(angle));
    const double byWidth = (frame.view.width / 2 - margin - height / 2 * s) / std::max(c, 1e-9);
    const double byHeight = (frame.view.height / 2 - margin - height / 2 * c) / std::max(s, 1e-9);
    return std::min(byWidth, byHeight) - frame.radius - frame.gap + 0.5;
}

/// The text cut to a width, empty when too little of it would be left.
std::string fitted(std::string_view text, double room, double font, const TextWidth& textWidth)
{
    if (textWidth(text, font, false) <= room)
        return std::string(text);
    for (std::size_t chars = std::min<std::size_t>(text.size(), 40); chars-- > fewestChars;)
        if (auto shorter = shortenMiddle(text, chars); textWidth(shorter, font, false) <= room)
            return shorter;
    return {};
}

/// The angle by which labels of a height must differ at their inner ends.
double stepOf(double font, const RingLabelFrame& frame)
{
    return 2 * std::atan(lineHeight(font) / (2 * (frame.radius + frame.gap)));
}

/// The narrowest of the arcs between neighbours.
double narrowestArc(std::span<const RingLabelWish> wishes)
{
    std::vector<double> angles;
    for (const auto& wish : wishes)
        angles.push_back(wish.angle);
    std::ranges::sort(angles);
    double narrowest = angles.empty() ? 2 * pi : angles.front() + 2 * pi - angles.back();
    for (std::size_t i = 1; i < angles.size(); ++i)
        narrowest = std::min(narrowest, angles[i] - angles[i - 1]);
    return narrowest;
}

/// The largest font in which all labels have room side by side, or the smallest one.
double outwardFont(std::span<const RingLabelWish> wishes, const RingLabelFrame& frame)
{
    const double arc = wishes.size() > 1 ? narrowestArc(wishes) : 2 * pi;
    double font = largestFont(frame.view);
    while (font > smallestFont && stepOf(font, frame) > arc)
        font -= fontStep;
    return std::max(font, smallestFont);
}

/// The wishes, the heaviest first; on equal weight in their order.
std::vector<std::size_t> byWeight(std::span<const RingLabelWish> wishes)
{
    std::vector<std::size_t> order(wishes.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::ranges::stable_sort(order, std::greater{}, [&](std::size_t i) { return wishes[i].weight; });
    return order;
}

std::vector<SceneLabel> placeOutwards(std::span<const RingLabelWish> wishes, const RingLabelFrame& frame,
                                      const TextWidth& textWidth)
{
    std::vector<SceneLabel> labels(wishes.size());
    const double font = outwardFont(wishes, frame), step = stepOf(font, frame) * (1 - 1e-9);
    std::set<double> taken;
    for (const auto i : byWeight(wishes)) {
        const double angle = wishes[i].angle;
        if (!taken.empty()) {
            const auto next = taken.lower_bound(angle);
            const double after = next == taken.end() ? *taken.begin() + 2 * pi : *next;
            const double before = next == taken.begin() ? *taken.rbegin() - 2 * pi : *std::prev(next);
            if (after - angle < step || angle - before < step)
                continue;
        }
        auto text = fitted(wishes[i].text, roomOutwards(angle, frame, lineHeight(font)), font, textWidth);
        if (text.empty())
            continue;
        taken.insert(angle);
        // On the left half the text is turned about, so that nobody has to read it upside down.
        const bool isLeft = std::cos(angle) < -1e-9;
        const double reach = frame.radius + frame.gap;
        labels[i] = {std::move(text),
                     {frame.center.x + reach * std::cos(angle), frame.center.y + reach * std::sin(angle)},
                     isLeft ? angle + pi : angle,
                     isLeft ? SceneLabel::Align::end : SceneLabel::Align::start,
                     font,
                     false,
                     frame.color};
    }
    return labels;
}

} // namespace

std::vector<SceneLabel> placeRingLabels(std::span<const RingLabelWish> wishes, const RingLabelFrame& frame,
                                        const TextWidth& textWidth)
{
    if (wishes.size() <= mostLevelLabels)
        for (double font = largestFont(frame.view); font >= std::min(10.0, largestFont(frame.view)); font -= fontStep)
            if (auto labels = placeLevel(wishes, frame, font, textWidth))
                return *std::move(labels);
    return placeOutwards(wishes, frame, textWidth);
}

double ringRadiusForLabels(std::span<const RingLabelWish> wishes, const RingLabelFrame& frame,
                           const TextWidth& textWidth)
{
    const double side = std::min(frame.view.width, frame.view.height);
    const double font = largestFont(frame.view), height = lineHeight(font);
    const double halfWidth = frame.view.width / 2 - margin, halfHeight = frame.view.height / 2 - margin;

    auto fitting = frame;
    if (wishes.size() <= mostLevelLabels) {
        double radius = side / 2 - frame.gap - margin;
        for (const auto& wish : wishes) {
            const double c = std::abs(std::cos(wish.angle)), s = std::abs(std::sin(wish.angle));
            const double width = textWidth(wish.text, font, false);
            if (c >= 0.12)
                radius = std::min(radius, (halfWidth - width) / c - frame.gap);
            if (s > 1e-9)
                radius = std::min(radius, (halfHeight - height / 2 - s * height / 2) / s - frame.gap);
        }
        fitting.radius = radius;
        if (radius >= side * 0.28 && placeLevel(wishes, fitting, font, textWidth))
            return radius;
    }

    double radius = side / 2 - frame.gap - margin;
    fitting.radius = side * 0.35;
    const double outward = outwardFont(wishes, fitting);
    for (const auto& wish : wishes) {
        const double c = std::abs(std::cos(wish.angle)), s = std::abs(std::sin(wish.angle));
        const double width = std::min(textWidth(wish.text, outward, false), side * mostOfSide);
        const double room = std::min((halfWidth - height / 2 * s) / std::max(c, 1e-9),
                                     (halfHeight - height / 2 * c) / std::max(s, 1e-9));
        radius = std::min(radius, room - width - frame.gap);
    }
    return radius;
}

} // namespace netrondo
