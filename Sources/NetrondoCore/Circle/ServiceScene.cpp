// The services view as a list of shapes and labels.
#include "Base/Shorten.h"
#include "Circle/CircleScene.h"
#include "Circle/HostServiceLayout.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <span>

namespace netrondo {
namespace {

constexpr double labelGap = 6;
constexpr double margin = 4;
constexpr double smallestFont = 8.5;
constexpr double largestFont = 13;

std::span<const CircleNode> column(const HostServiceLayout& layout, CircleNode::Role role)
{
    const std::span nodes(layout.nodes);
    return role == CircleNode::Role::host ? nodes.first(layout.hostCount) : nodes.subspan(layout.hostCount);
}

/// From one row of a column to the next.
double rowHeight(const HostServiceLayout& layout, CircleNode::Role role)
{
    const auto nodes = column(layout, role);
    return nodes.size() > 1 ? nodes[1].position.y - nodes[0].position.y : 2 * layout.center.y;
}

double fontFor(const HostServiceLayout& layout, CircleNode::Role role)
{
    return std::clamp(rowHeight(layout, role) / 1.25, smallestFont, largestFont);
}

std::vector<std::uint64_t> weightsOf(const HostServiceLayout& layout)
{
    std::vector<std::uint64_t> weights(layout.nodes.size());
    for (const auto& link : layout.links) {
        weights[link.host] += link.volume;
        weights[link.service] += link.volume;
    }
    return weights;
}

/// Labels beside a column; where rows are too close, those of the heaviest nodes that keep apart.
void addLabels(CircleScene& scene, const HostServiceLayout& layout, CircleNode::Role role, SceneColor color,
               const TextWidth& textWidth)
{
    const auto nodes = column(layout, role);
    const auto weights = weightsOf(layout);
    const auto offset = role == CircleNode::Role::host ? std::size_t{0} : layout.hostCount;
    const double font = fontFor(layout, role);
    std::vector<std::size_t> order(nodes.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::ranges::stable_sort(order, std::greater{}, [&](std::size_t i) { return weights[offset + i]; });

    // Rows are even, so whether a label has room is whether any of its neighbours has one already.
    const auto apart = static_cast<std::size_t>(std::ceil(lineHeight(font) / rowHeight(layout, role) - 1e-9));
    std::vector<bool> taken(nodes.size());
    const bool isHost = role == CircleNode::Role::host;
    for (const auto i : order) {
        const auto first = taken.begin() + static_cast<std::ptrdiff_t>(i >= apart ? i - apart + 1 : 0);
        const auto last = taken.begin() + static_cast<std::ptrdiff_t>(std::min(i + apart, nodes.size()));
        const auto& node = nodes[i];
        const double x = node.position.x + (isHost ? -1 : 1) * (layout.nodeRadius + labelGap);
        const double room = isHost ? x - margin : 2 * layout.center.x - margin - x;
        auto text = node.displayLabel;
        for (std::size_t chars = 18; chars >= 4 && textWidth(text, font, false) > room; --chars)
            text = shortenMiddle(node.displayLabel, chars);
        if (std::find(first, last, true) != last || textWidth(text, font, false) > room) {
            ++scene.unlabelled;
            continue;
        }
        taken[i] = true;
        scene.labels.push_back({std::move(text),
                                {x, node.position.y},
                                0,
                                isHost ? SceneLabel::Align::end : SceneLabel::Align::start,
                                font,
                                false,
                                color,
                                static_cast<std::uint32_t>(offset + i)});
    }
}

} // namespace

CircleScene serviceScene(const HostServiceLayout& layout, const SceneStyle& style, const TextWidth& textWidth)
{
    const auto& colors = palette(style.theme);
    CircleScene scene;
    scene.size = {2 * layout.center.x, 2 * layout.center.y};
    scene.ground = {colors.ground};

    std::vector<HostServiceLayout::Link> links = layout.links;
    std::ranges::stable_sort(links, {}, &HostServiceLayout::Link::volume);
    const auto count = static_cast<double>(std::max<std::size_t>(links.size(), 1));
    const double crowd = std::min(1.0, std::pow(150.0 / count, 0.3));
    for (const auto& link : links) {
        const double share =
            std::log1p(static_cast<double>(link.volume)) / std::log1p(static_cast<double>(layout.maxVolume));
        scene.curves.push_back({layout.curve(link),
                                layout.lineThickness(link, layout.showLineThickness),
                                {layout.linkColor(link), std::clamp(crowd * (0.5 + 0.4 * share), 0.07, 0.9)}});
    }
    const double rim = std::min(1.5, layout.nodeRadius * 0.4);
    for (const auto& node : layout.nodes)
        scene.discs.push_back({node.position, layout.nodeRadius, {node.protocolColor}, rim, {colors.ground}});
    addLabels(scene, layout, CircleNode::Role::host, {colors.text}, textWidth);
    addLabels(scene, layout, CircleNode::Role::service, {colors.text}, textWidth);
    return scene;
}

double columnInsetForLabels(const HostServiceLayout& layout, const TextWidth& textWidth)
{
    double widest = 0;
    for (const auto role : {CircleNode::Role::host, CircleNode::Role::service})
        for (const auto& node : column(layout, role))
            widest = std::max(widest, textWidth(node.displayLabel, fontFor(layout, role), false));
    return std::min(widest + layout.nodeRadius + labelGap + margin + 1, 2 * layout.center.x * 0.3);
}

} // namespace netrondo
