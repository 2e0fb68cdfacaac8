// What the colour of a chord says.
#pragma once

#include <cstdint>

namespace netrondo {

enum class EdgeColorMode : std::uint8_t {
    protocol, ///< the colour of the pair's top protocol
    quality,  ///< the colour of its TCP quality grade
};

} // namespace netrondo
