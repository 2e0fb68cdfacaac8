// Frames of every protocol, from files of hexadecimal text: Tests/Golden/Dissection/*.frames.
#pragma once

#include "Capture/LinkType.h"

#include <cstdint>
#include <string>
#include <vector>

namespace netrondo::test {

struct ProtocolFrame {
    std::string file; ///< without its suffix
    std::size_t line = 0;
    LinkType link = LinkType::ethernet;
    std::vector<std::uint8_t> bytes;
};

/// A line is a link type's number and the frame's bytes; "#" begins a comment. Sorted by file, in the order of lines.
const std::vector<ProtocolFrame>& protocolFrames();

} // namespace netrondo::test
