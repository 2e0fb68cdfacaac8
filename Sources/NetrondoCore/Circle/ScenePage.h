// What stands around a picture on its page: a heading above it, a legend below.
#pragma once

#include "Circle/CircleScene.h"

#include <string>
#include <vector>

namespace netrondo {

struct LegendEntry {
    std::string text;
    ProtocolColors::RGB color;
};

struct ScenePage {
    Size size;
    SceneTheme theme = SceneTheme::light;
    std::string title;
    std::string subtitle;
    std::vector<LegendEntry> legend; ///< the most important first

    /// The size the picture has on the page.
    Size pictureSize() const;
    /// The picture on its page.
    CircleScene compose(CircleScene picture, const TextWidth& textWidth) const;
};

} // namespace netrondo
