// Ethernet frames of ordinary traffic, for tests that decode them: the makers of Support/Frames.h without the wire
// numbers, whose names the dissectors use otherwise.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

namespace netrondo::test {

struct Ends {
    std::string_view source = "10.0.0.1";
    std::string_view destination = "10.0.0.2";
    std::uint16_t sourcePort = 51000;
    std::uint16_t destinationPort = 80;

    Ends back() const { return {destination, source, destinationPort, sourcePort}; }
};

/// A TCP segment over IPv4 with the flags ACK and PSH.
std::vector<std::uint8_t> tcpFrame(const Ends& ends, std::string_view payload = {});
/// A TCP segment over IPv4 that begins with this sequence number.
std::vector<std::uint8_t> tcpFrame(const Ends& ends, std::uint32_t sequence, std::string_view payload,
                                   std::uint8_t flags = 0x10);
/// A UDP datagram over IPv4.
std::vector<std::uint8_t> udpFrame(const Ends& ends, std::string_view payload = {});

} // namespace netrondo::test
