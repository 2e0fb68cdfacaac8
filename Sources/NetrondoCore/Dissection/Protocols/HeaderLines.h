// The message form that HTTP, RTSP, SIP and SSDP share: a start line, headers, an empty line, a body.
#pragma once

#include "Dissection/Decode/Layer.h"

#include <span>
#include <string_view>

namespace netrondo::headerLines {

/// A header that has a field of its own.
struct Known {
    std::string_view name; ///< compared without regard to case
    std::string_view shortName;
    const Field& field;
};

/// Reads header lines up to and including the empty one. Each becomes a node `header` with the whole line; known ones
/// get the value as a node of their field below it. True when the empty line was there.
bool read(Layer& layer, const Field& header, std::span<const Known> known);

} // namespace netrondo::headerLines
