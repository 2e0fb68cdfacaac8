// The frame as it was captured: its number, time and lengths, ahead of all protocols.
#include "Dissection/Protocols/Protocols.h"

namespace netrondo::frame {
namespace {

constexpr Field number{"frame.number", "Packet number", Wire::number, {}, 0, From::frameNumber};
constexpr Field time{"frame.time_relative", "Seconds from first packet", Wire::elapsed, {}, 0, From::frameTime};
constexpr Field length{"frame.len", "Frame length (bytes)", Wire::number, {}, 0, From::frameLength};
constexpr Field captured{"frame.cap_len", "Captured length (bytes)", Wire::number};
constexpr Field interface {
    "frame.interface_id", "Interface", Wire::number
};

void decode(Layer& frame)
{
    const auto& capture = frame.frame().capture;
    frame.add(number, frame.summary().number);
    frame.add(time, static_cast<std::uint64_t>(frame.summary().nanoseconds));
    frame.add(length, capture.originalLength);
    frame.add(captured, capture.data.size());
    frame.add(interface, static_cast<std::uint64_t>(capture.interfaceID));
    if (!frame.handOver(linkTypeIs(static_cast<std::uint16_t>(capture.linkType))) && capture.data.empty()
        && capture.originalLength)
        frame.mark(Expert::cut);
}

constexpr const Field* catalogue[] = {&length, &number, &time};
} // namespace

constexpr Protocol protocol{{"frame", "Capture frame", Wire::layer}, catalogue, {}, decode};
static_assert(wellFormed(protocol));
} // namespace netrondo::frame
