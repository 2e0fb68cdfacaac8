// Where the headers of an ordinary frame stand: most frames are such, and need no dissector to tell.
#pragma once

#include "Base/Address.h"
#include "Capture/CaptureFrame.h"

#include <cstdint>
#include <optional>

namespace netrondo {

/// Ethernet, perhaps with VLAN tags; IPv4 without options or IPv6 without extension headers; TCP or UDP with a header
/// that is all there; captured whole and no fragment. The pointers are into the frame's bytes.
struct OrdinaryHeaders {
    const std::uint8_t* network;
    const std::uint8_t* transport;
    Bytes payload; ///< what the transport carries, without what fills the frame up
    bool isIpv6;
    bool isTcp;

    /// Nothing for any other frame, and for one whose lengths contradict each other.
    static std::optional<OrdinaryHeaders> find(const CaptureFrame& frame);

    std::uint16_t sourcePort() const { return load::be16(transport); }
    std::uint16_t destinationPort() const { return load::be16(transport + 2); }
    Address source() const { return isIpv6 ? Address::ipv6(network + 8) : Address::ipv4(network + 12); }
    Address destination() const { return isIpv6 ? Address::ipv6(network + 24) : Address::ipv4(network + 16); }
};

} // namespace netrondo
