// The frames behind Traffic.h.
#include "Support/Traffic.h"

#include "Support/Frames.h"

namespace netrondo::test {

std::vector<std::uint8_t> tcpFrame(const Ends& ends, std::string_view payload)
{
    return ethernet(ipv4({.source = ends.source, .destination = ends.destination},
                         tcp({.sourcePort = ends.sourcePort,
                              .destinationPort = ends.destinationPort,
                              .flags = tcpFlag::ack | tcpFlag::psh},
                             payload)));
}

std::vector<std::uint8_t> udpFrame(const Ends& ends, std::string_view payload)
{
    return ethernet(ipv4({.source = ends.source, .destination = ends.destination},
                         udp({.sourcePort = ends.sourcePort, .destinationPort = ends.destinationPort}, payload)));
}

} // namespace netrondo::test
