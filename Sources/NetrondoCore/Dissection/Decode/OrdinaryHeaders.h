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

// Inline: it is the first thing done to every frame that is looked at. Every condition here is one under which the
// dissectors would read the same.
inline std::optional<OrdinaryHeaders> OrdinaryHeaders::find(const CaptureFrame& frame)
{
    constexpr std::size_t ethernetHeader = 14, vlanTag = 4, ipv4Header = 20, ipv6Header = 40, tcpHeader = 20,
                          udpHeader = 8;
    constexpr std::uint8_t tcpProtocol = 6, udpProtocol = 17;
    constexpr auto isVlanTag = [](std::uint16_t tag) {
        return tag == 0x8100 || tag == 0x88a8 || tag == 0x9100 || tag == 0x9200;
    };
    const auto bytes = frame.data;
    if (frame.linkType != LinkType::ethernet || bytes.size() < ethernetHeader + ipv4Header + udpHeader
        || frame.originalLength != bytes.size())
        return {};
    auto link = ethernetHeader;
    auto type = load::be16(bytes.data() + 12);
    while (isVlanTag(type) && bytes.size() >= link + vlanTag + ipv4Header + udpHeader) {
        link += vlanTag;
        type = load::be16(bytes.data() + link - 2);
    }
    OrdinaryHeaders found;
    found.network = bytes.data() + link;
    const auto* network = found.network;
    const auto left = bytes.size() - link;
    std::size_t header = ipv4Header, size = 0;
    std::uint8_t protocol = 0;
    if (type == 0x0800 && network[0] == 0x45) {
        if (load::be16(network + 6) & 0x3fff) // a fragment
            return {};
        found.isIpv6 = false;
        size = load::be16(network + 2);
        protocol = network[9];
    } else if (type == 0x86dd && network[0] >> 4 == 6 && left >= ipv6Header) {
        found.isIpv6 = true;
        header = ipv6Header;
        size = load::be16(network + 4) ? ipv6Header + load::be16(network + 4) : 0;
        protocol = network[6];
    } else {
        return {};
    }
    if (size > left)
        return {};
    found.transport = network + header;
    std::size_t transportHeader = udpHeader;
    if (protocol == tcpProtocol) {
        found.isTcp = true;
        if (size < header + tcpHeader)
            return {};
        transportHeader = static_cast<std::size_t>(found.transport[12] >> 4) * 4;
        if (transportHeader < tcpHeader || size < header + transportHeader)
            return {};
    } else if (protocol == udpProtocol) {
        found.isTcp = false;
        if (size < header + udpHeader || load::be16(found.transport + 4) != size - header)
            return {};
    } else {
        return {};
    }
    found.payload = {found.transport + transportHeader, size - header - transportHeader};
    return found;
}

} // namespace netrondo
