// The frames behind Traffic.h.
#include "Support/Traffic.h"

#include "Support/Frames.h"

namespace netrondo::test {

std::vector<std::uint8_t> tcpFrame(const Ends& ends, std::string_view payload)
{
    return tcpFrame(ends, TcpFields().seq, payload, tcpFlag::ack | tcpFlag::psh);
}

std::vector<std::uint8_t> tcpFrame(const Ends& ends, std::uint32_t sequence, std::string_view payload,
                                   std::uint8_t flags)
{
    return ethernet(ipv4(
        {.source = ends.source, .destination = ends.destination},
        tcp({.sourcePort = ends.sourcePort, .destinationPort = ends.destinationPort, .seq = sequence, .flags = flags},
            payload)));
}

std::vector<std::uint8_t> udpFrame(const Ends& ends, std::string_view payload)
{
    return ethernet(ipv4({.source = ends.source, .destination = ends.destination},
                         udp({.sourcePort = ends.sourcePort, .destinationPort = ends.destinationPort}, payload)));
}

} // namespace netrondo::test
