// The ways the main view can lay out hosts, and the texts of the switch between them.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace netrondo {

enum class CircleHostLayoutMode : std::uint8_t {
    hosts,      ///< the ring
    byProtocol, ///< hosts linked to services
    map,        ///< the infrastructure
};

inline constexpr std::array allCircleHostLayoutModes{CircleHostLayoutMode::hosts, CircleHostLayoutMode::byProtocol,
                                                     CircleHostLayoutMode::map};

std::string_view rawValue(CircleHostLayoutMode mode); ///< "byProtocol"; the mode's `id` as well
std::string_view shortTitle(CircleHostLayoutMode mode);
std::string_view accessibilityLabel(CircleHostLayoutMode mode);
std::string_view systemImage(CircleHostLayoutMode mode); ///< the name of an icon, which the application maps to its own
std::string_view helpText(CircleHostLayoutMode mode);
/// The mode with this raw value, if there is one.
std::optional<CircleHostLayoutMode> circleHostLayoutMode(std::string_view rawValue);

/// The modes to choose from: the map only when there is one to show.
std::vector<CircleHostLayoutMode> available(bool showMap);
/// The mode after this one, round and round; the first one from a mode that is not available.
CircleHostLayoutMode next(CircleHostLayoutMode mode, bool showMap);

} // namespace netrondo
