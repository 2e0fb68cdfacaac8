// The ring as a list of shapes and labels.
#include "Circle/CircleScene.h"

#include "Circle/CircleLayout.h"
#include "Circle/RingLabels.h"

#include <algorithm>
#include <boost/unordered/unordered_flat_map.hpp>
#include <cmath>
#include <numbers>

namespace netrondo {
namespace {

constexpr double labelGap = 6; // from a disc to its label

double angleOf(const CircleLayout& layout, const CircleNode& node)
{
    return std::atan2(node.position.y - layout.center.y, node.position.x - layout.center.x);
}

/// Discs keep apart: on a crowded ring they are drawn smaller than they are hit.
double drawnRadius(const CircleLayout& layout)
{
    std::vector<double> angles;
    for (const auto& node : layout.nodes)
        angles.push_back(angleOf(layout, node));
    std::ranges::sort(angles);
    std::vector<double> arcs;
    for (std::size_t i = 1; i < angles.size(); ++i)
        arcs.push_back(angles[i] - angles[i - 1]);
    if (arcs.empty())
        return layout.nodeRadius;
    // The usual arc, not the narrowest: two hosts that share a place must not shrink all the others.
    const auto usual = arcs.begin() + static_cast<std::ptrdiff_t>(arcs.size() / 4);
    std::ranges::nth_element(arcs, usual);
    return std::clamp(0.42 * layout.radius * *usual, 1.25, layout.nodeRadius);
}

/// Both directions of a conversation as the chord that is drawn for them.
struct Chord {
    const CommPair* pair;
    std::uint64_t volume;
    Point from, to;
    double width;
};

std::vector<Chord> chordsOf(const CircleLayout& layout)
{
    std::vector<Chord> chords;
    boost::unordered_flat_map<std::uint64_t, std::size_t> known;
    boost::unordered_flat_map<std::string_view, std::uint32_t, std::hash<std::string_view>> nodeOf;
    nodeOf.reserve(layout.nodes.size());
    for (std::uint32_t i = 0; i < layout.nodes.size(); ++i)
        nodeOf.emplace(layout.nodes[i].address, i);
    for (const auto& pair : layout.pairs) {
        const auto a = nodeOf.at(pair.srcAddr), b = nodeOf.at(pair.dstAddr);
        if (a == b)
            continue;
        const auto volume = layout.volume(pair);
        const double width = layout.lineThickness(pair, layout.showLineThickness);
        const auto [at, first] = known.try_emplace(std::uint64_t{std::min(a, b)} << 32 | std::max(a, b), chords.size());
        if (first) {
            chords.push_back({&pair, volume, layout.nodes[a].position, layout.nodes[b].position, width});
        } else if (auto& chord = chords[at->second]; volume > chord.volume) {
            chord.pair = &pair; // the direction that carried more gives the chord its colour and width
            chord.volume = volume;
            chord.width = width;
        }
    }
    std::ranges::stable_sort(chords, {}, &Chord::volume);
    return chords;
}

/// How much of a chord's width and colour the crowd leaves it: all of it to a few, less and less to thousands.
double shareOfCrowd(std::size_t count, double few)
{
    return static_cast<double>(count) <= few ? 1 : std::pow(few / static_cast<double>(count), 0.4);
}

/// Many chords would cover each other: the more there are, the fainter each, and the light ones most.
double chordAlpha(std::size_t count, std::uint64_t volume, std::uint64_t most)
{
    const double share = std::log1p(static_cast<double>(volume)) / std::log1p(static_cast<double>(most));
    return std::clamp(shareOfCrowd(count, 150) * (0.55 + 0.4 * share), 0.07, 0.95);
}

/// A hairline shows little of its colour: where there are few chords they are drawn wider than they are hit.
double drawnWidth(std::size_t count, double width)
{
    return width * (1 + 0.6 * std::clamp((400.0 - static_cast<double>(count)) / 360, 0.0, 1.0));
}

std::vector<RingLabelWish> wishesOf(const CircleLayout& layout)
{
    boost::unordered_flat_map<std::string_view, std::uint64_t, std::hash<std::string_view>> weights;
    for (const auto& pair : layout.pairs) {
        weights[pair.srcAddr] += layout.volume(pair);
        weights[pair.dstAddr] += layout.volume(pair);
    }
    std::vector<RingLabelWish> wishes;
    for (const auto& node : layout.nodes)
        wishes.push_back({angleOf(layout, node), node.displayLabel, weights[node.address]});
    return wishes;
}

RingLabelFrame frameOf(const CircleLayout& layout, const ScenePalette& colors)
{
    return {{2 * layout.center.x, 2 * layout.center.y},
            layout.center,
            layout.radius,
            drawnRadius(layout) + labelGap,
            {colors.text}};
}

} // namespace

double approximateTextWidth(std::string_view text, double size, bool isBold)
{
    double em = 0;
    for (const char c : text) {
        if ((static_cast<unsigned char>(c) & 0xc0) == 0x80)
            continue; // counted with the character's first byte
        em += c == '.' || c == ':' || c == 'i' || c == 'l' ? 0.33 : c >= 'A' && c <= 'Z' ? 0.70 : 0.61;
    }
    return em * size * (isBold ? 1.1 : 1);
}

const ScenePalette& palette(SceneTheme theme)
{
    static constexpr ScenePalette light{ProtocolColors::lightGround, {0x1c, 0x21, 0x27}, {0x5b, 0x65, 0x70}};
    static constexpr ScenePalette dark{ProtocolColors::darkGround, {0xe6, 0xe9, 0xee}, {0x9a, 0xa4, 0xaf}};
    return theme == SceneTheme::light ? light : dark;
}

CircleScene circleScene(const CircleLayout& layout, const SceneStyle& style, const TextWidth& textWidth)
{
    const auto& colors = palette(style.theme);
    CircleScene scene;
    scene.size = {2 * layout.center.x, 2 * layout.center.y};
    scene.ground = {colors.ground};
    scene.discs.push_back({layout.center, layout.radius, {{}, 0}, 1, {colors.text, 0.10}});

    const auto chords = chordsOf(layout);
    scene.lines.reserve(chords.size());
    for (const auto& chord : chords) {
        const double width = layout.showLineThickness ? chord.width : drawnWidth(chords.size(), chord.width);
        scene.lines.push_back({chord.from,
                               chord.to,
                               width,
                               {layout.edgeColor(*chord.pair, style.colorMode, style.thresholds),
                                chordAlpha(chords.size(), chord.volume, layout.maxVolume)}});
    }

    // A rim in the colour of the ground parts the discs from the chords that end in them.
    const double radius = drawnRadius(layout);
    const double rim = std::min(1.5, radius * 0.4);
    for (const auto& node : layout.nodes)
        scene.discs.push_back({node.position, radius, {node.protocolColor}, rim, {colors.ground}});

    auto labels = placeRingLabels(wishesOf(layout), frameOf(layout, colors), textWidth);
    for (std::uint32_t i = 0; i < labels.size(); ++i) {
        if (labels[i].text.empty()) {
            ++scene.unlabelled;
            continue;
        }
        labels[i].node = i;
        scene.labels.push_back(std::move(labels[i]));
    }
    return scene;
}

double ringInsetForLabels(const CircleLayout& layout, const TextWidth& textWidth)
{
    const double half = std::min(layout.center.x, layout.center.y);
    const auto frame = frameOf(layout, palette(SceneTheme::light));
    return std::max(0.0, half - ringRadiusForLabels(wishesOf(layout), frame, textWidth));
}

} // namespace netrondo
