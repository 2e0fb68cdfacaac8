// A picture as a list of shapes and labels: what any painter can play, on a screen or on paper.
#pragma once

#include "Analysis/Tcp/TCPSessionQuality.h"
#include "Circle/EdgeColorMode.h"
#include "Circle/Geometry.h"
#include "Circle/ProtocolColors.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace netrondo {

struct CircleLayout;
struct HostServiceLayout;

struct SceneColor {
    ProtocolColors::RGB rgb;
    double alpha = 1;
    friend bool operator==(const SceneColor&, const SceneColor&) = default;
};

/// A straight line.
struct SceneLine {
    Point from, to;
    double width = 1;
    SceneColor color;
    friend bool operator==(const SceneLine&, const SceneLine&) = default;
};

struct SceneCurve {
    std::array<Point, 4> points; ///< start, two control points, end
    double width = 1;
    SceneColor color;
    friend bool operator==(const SceneCurve&, const SceneCurve&) = default;
};

/// A filled circle with an outline; either may be without alpha.
struct SceneDisc {
    Point center;
    double radius = 0;
    SceneColor fill;
    double outlineWidth = 0;
    SceneColor outline;
    friend bool operator==(const SceneDisc&, const SceneDisc&) = default;
};

/// Filled, with an outline around it that may be without alpha.
struct ScenePolygon {
    std::vector<Point> points;
    SceneColor fill;
    double outlineWidth = 0; ///< outwards
    SceneColor outline;
    friend bool operator==(const ScenePolygon&, const ScenePolygon&) = default;
};

struct SceneBox {
    Point origin;
    Size size;
    double corner = 0; ///< radius of its rounded corners
    SceneColor fill;
    friend bool operator==(const SceneBox&, const SceneBox&) = default;
};

/// A line of text. `at` is half-way up its letters: at its beginning, its middle or its end.
struct SceneLabel {
    enum class Align : std::uint8_t { start, middle, end };
    static constexpr std::uint32_t noNode = UINT32_MAX;

    std::string text;
    Point at;
    double angle = 0; ///< radians, clockwise
    Align align = Align::start;
    double size = 12; ///< of the font, in points of the view
    bool isBold = false;
    SceneColor color;
    std::uint32_t node = noNode; ///< that it names, as an index of the layout's nodes
    friend bool operator==(const SceneLabel&, const SceneLabel&) = default;
};

/// Layers from the bottom to the top, each drawn in its order. Immutable once made; a pure function of a layout, a
/// style and the widths of letters.
struct CircleScene {
    Size size;
    SceneColor ground;
    std::vector<SceneLine> lines;
    std::vector<SceneCurve> curves;
    std::vector<SceneDisc> discs;
    std::vector<ScenePolygon> polygons;
    std::vector<SceneBox> boxes;
    std::vector<SceneLabel> labels;
    std::size_t unlabelled = 0; ///< nodes whose labels found no room

    friend bool operator==(const CircleScene&, const CircleScene&) = default;
};

/// How wide a text is in a font of the given size. The painter's fonts know.
using TextWidth = std::function<double(std::string_view text, double size, bool isBold)>;
/// For whoever has no fonts at hand: nearly right for a sans-serif.
double approximateTextWidth(std::string_view text, double size, bool isBold);
/// From the top of one line of text to the next.
constexpr double lineHeight(double fontSize)
{
    return 1.25 * fontSize;
}

enum class SceneTheme : std::uint8_t { light, dark };

/// The colours that are not a protocol's.
struct ScenePalette {
    ProtocolColors::RGB ground, text, faintText;
};
const ScenePalette& palette(SceneTheme theme);

struct SceneStyle {
    SceneTheme theme = SceneTheme::light;
    EdgeColorMode colorMode = EdgeColorMode::protocol;
    QualityGradeThresholds thresholds = {};
};

/// The ring: a chord for each conversation, its directions taken together, the heavy ones on top; a disc for each host;
/// labels around, level where there is room, turned outwards where there are many, and only those of the hosts that
/// moved most where not all find room.
CircleScene circleScene(const CircleLayout& layout, const SceneStyle& style, const TextWidth& textWidth);
/// The inset at which the ring of a layout is as large as its labels let it be.
double ringInsetForLabels(const CircleLayout& layout, const TextWidth& textWidth);

/// Hosts and services in their columns with the links between them.
CircleScene serviceScene(const HostServiceLayout& layout, const SceneStyle& style, const TextWidth& textWidth);
/// The inset at which the columns of a layout leave room for their labels.
double columnInsetForLabels(const HostServiceLayout& layout, const TextWidth& textWidth);

} // namespace netrondo
