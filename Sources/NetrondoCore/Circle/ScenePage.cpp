// What stands around a picture on its page.
#include "Circle/ScenePage.h"

#include "Base/Shorten.h"

#include <algorithm>
#include <fmt/format.h>

namespace netrondo {
namespace {

constexpr double headerHeight = 54, footerHeight = 34;
constexpr double side = 20; // of the page, left and right
constexpr double titleFont = 16, textFont = 11.5;
constexpr double swatchWidth = 16, swatchHeight = 4, swatchGap = 6, entryGap = 18;
constexpr double leastSide = 360; // a smaller page holds the picture alone

bool hasRoom(const Size& size)
{
    return std::min(size.width, size.height) >= leastSide;
}

void move(Point& point, double y)
{
    point.y += y;
}

/// The text cut to a width.
std::string fitted(const std::string& text, double room, double font, bool isBold, const TextWidth& textWidth)
{
    auto fitting = text;
    for (auto chars = text.size(); chars > 0 && textWidth(fitting, font, isBold) > room; --chars)
        fitting = shortenMiddle(text, chars);
    return fitting;
}

/// How many entries stand in a row of a width, with room for "+N more" unless all do.
std::size_t entriesIn(double room, const std::vector<LegendEntry>& legend, const std::vector<double>& widths,
                      const TextWidth& textWidth)
{
    double used = 0;
    for (std::size_t i = 0; i < legend.size(); ++i) {
        used += widths[i];
        const auto rest = legend.size() - i - 1;
        const double more = rest ? textWidth(fmt::format("+{} more", rest), textFont, false) : -entryGap;
        if (used + more > room) {
            // One entry less, whose place the remark takes.
            return i;
        }
    }
    return legend.size();
}

void addLegend(CircleScene& scene, const std::vector<LegendEntry>& legend, const ScenePalette& colors,
               const TextWidth& textWidth)
{
    std::vector<double> widths;
    for (const auto& entry : legend)
        widths.push_back(swatchWidth + swatchGap + textWidth(entry.text, textFont, false) + entryGap);
    const auto shown = entriesIn(scene.size.width - 2 * side, legend, widths, textWidth);
    const auto rest = legend.size() - shown;
    const auto more = rest ? fmt::format("+{} more", rest) : std::string();

    double width = rest ? textWidth(more, textFont, false) : -entryGap;
    for (std::size_t i = 0; i < shown; ++i)
        width += widths[i];
    double x = (scene.size.width - width) / 2;
    const double y = scene.size.height - footerHeight / 2 - 2;
    for (std::size_t i = 0; i < shown; ++i) {
        scene.boxes.push_back(
            {{x, y - swatchHeight / 2}, {swatchWidth, swatchHeight}, swatchHeight / 2, {legend[i].color}});
        scene.labels.push_back({legend[i].text,
                                {x + swatchWidth + swatchGap, y},
                                0,
                                SceneLabel::Align::start,
                                textFont,
                                false,
                                {colors.text}});
        x += widths[i];
    }
    if (rest)
        scene.labels.push_back({more, {x, y}, 0, SceneLabel::Align::start, textFont, false, {colors.faintText}});
}

} // namespace

Size ScenePage::pictureSize() const
{
    return hasRoom(size) ? Size{size.width, size.height - headerHeight - footerHeight} : size;
}

CircleScene ScenePage::compose(CircleScene picture, const TextWidth& textWidth) const
{
    if (!hasRoom(size))
        return picture;
    for (auto& line : picture.lines)
        move(line.from, headerHeight), move(line.to, headerHeight);
    for (auto& curve : picture.curves)
        for (auto& point : curve.points)
            move(point, headerHeight);
    for (auto& disc : picture.discs)
        move(disc.center, headerHeight);
    for (auto& polygon : picture.polygons)
        for (auto& point : polygon.points)
            move(point, headerHeight);
    for (auto& box : picture.boxes)
        move(box.origin, headerHeight);
    for (auto& label : picture.labels)
        move(label.at, headerHeight);
    picture.size = size;

    const auto& colors = palette(theme);
    const double room = size.width - 2 * side;
    picture.labels.push_back({fitted(title, room, titleFont, true, textWidth),
                              {side, 22},
                              0,
                              SceneLabel::Align::start,
                              titleFont,
                              true,
                              {colors.text}});
    picture.labels.push_back({fitted(subtitle, room, textFont, false, textWidth),
                              {side, 41},
                              0,
                              SceneLabel::Align::start,
                              textFont,
                              false,
                              {colors.faintText}});
    addLegend(picture, legend, colors, textWidth);
    return picture;
}

} // namespace netrondo
