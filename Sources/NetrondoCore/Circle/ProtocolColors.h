// The colour of every protocol, in the circle, the legend and the tables.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

namespace netrondo {

class JsonWriter;

namespace ProtocolColors {

struct RGB {
    std::uint8_t r = 0, g = 0, b = 0;
    friend bool operator==(const RGB&, const RGB&) = default;
};

/// The grounds on which the colours are drawn; each colour stands out from both by 3 : 1 or more (WCAG 2.2, 1.4.11).
constexpr RGB lightGround{0xff, 0xff, 0xff};
constexpr RGB darkGround{0x14, 0x17, 0x1c};

/// The colour of a protocol name; a name of nobody's has one of its own as well, the same every time.
RGB color(std::string_view protocolName);

/// The protocols most often met. People with a colour-vision deficiency tell these from each other.
std::span<const std::string_view> common();

void write(JsonWriter& json, const RGB& color);

} // namespace ProtocolColors
} // namespace netrondo
