// The ways the main view can lay out hosts, and the texts of the switch between them.
#include "Circle/CircleHostLayoutMode.h"

#include <algorithm>

namespace netrondo {
namespace {

struct Texts {
    std::string_view rawValue, shortTitle, accessibilityLabel, systemImage, helpText;
};

constexpr Texts texts[] = {
    {"hosts", "Hosts", "Host to host conversations", "person.3", "Host↔host conversations on the ring."},
    {"byProtocol", "Services", "Host to service links", "server.rack", "Hosts (left) linked to services (right)."},
    {"map", "Map", "Infrastructure map", "point.3.connected.trianglepath.dotted",
     "L2/L3 infrastructure from STP, CDP/LLDP, and routing in the capture."},
};

const Texts& textsOf(CircleHostLayoutMode mode)
{
    return texts[static_cast<std::size_t>(mode)];
}

} // namespace

std::string_view rawValue(CircleHostLayoutMode mode)
{
    return textsOf(mode).rawValue;
}

std::string_view shortTitle(CircleHostLayoutMode mode)
{
    return textsOf(mode).shortTitle;
}

std::string_view accessibilityLabel(CircleHostLayoutMode mode)
{
    return textsOf(mode).accessibilityLabel;
}

std::string_view systemImage(CircleHostLayoutMode mode)
{
    return textsOf(mode).systemImage;
}

std::string_view helpText(CircleHostLayoutMode mode)
{
    return textsOf(mode).helpText;
}

std::optional<CircleHostLayoutMode> circleHostLayoutMode(std::string_view rawValue)
{
    for (const auto mode : allCircleHostLayoutModes)
        if (textsOf(mode).rawValue == rawValue)
            return mode;
    return std::nullopt;
}

std::vector<CircleHostLayoutMode> available(bool showMap)
{
    std::vector modes{CircleHostLayoutMode::hosts, CircleHostLayoutMode::byProtocol};
    if (showMap)
        modes.push_back(CircleHostLayoutMode::map);
    return modes;
}

CircleHostLayoutMode next(CircleHostLayoutMode mode, bool showMap)
{
    const auto modes = available(showMap);
    const auto at = std::ranges::find(modes, mode);
    if (at == modes.end())
        return CircleHostLayoutMode::hosts;
    return at + 1 == modes.end() ? modes.front() : *(at + 1);
}

} // namespace netrondo
