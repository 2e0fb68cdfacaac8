// One frame through the decoder, and its tree as text.
#pragma once

#include "Capture/CaptureFrame.h"
#include "Dissection/Decode/PacketDecoder.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace netrondo::test {

/// A decoded frame together with the bytes it views.
struct Decoded {
    std::vector<std::uint8_t> bytes;
    CaptureFrame capture;
    DecodedFrame frame;

    Decoded(Bytes frameBytes, LinkType link, std::uint32_t originalLength, std::uint64_t seconds = 0);
    Decoded(const Decoded&) = delete;
    Decoded& operator=(const Decoded&) = delete;
    operator const DecodedFrame&() const { return frame; }
};

Decoded decoded(Bytes frame, LinkType link = LinkType::ethernet);
/// A frame of which the capture kept only the given bytes.
Decoded decodedCut(Bytes frame, std::uint32_t originalLength, LinkType link = LinkType::ethernet);

std::string info(const DecodedFrame& decoded);
std::string protocolColumn(const DecodedFrame& decoded);
/// The protocols of the layers, joined by ":" ("eth:ip:tcp").
std::string layers(const DecodedFrame& decoded);
/// A line for each node: indented id, value and name; with its bytes when asked for.
std::string dump(const DecodedFrame& decoded, bool withBytes = false);
/// The values of all nodes with exactly this id, each followed by its name in parentheses, joined by "; ".
std::string values(const DecodedFrame& decoded, std::string_view id);
/// The ids of all findings, in tree order, joined by " ".
std::string experts(const DecodedFrame& decoded);
std::string json(const DecodedFrame& decoded);

} // namespace netrondo::test
