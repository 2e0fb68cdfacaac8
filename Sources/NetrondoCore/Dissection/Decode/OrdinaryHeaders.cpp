// Every condition here is one under which the dissectors would read the same.
#include "Dissection/Decode/OrdinaryHeaders.h"

namespace netrondo {
namespace {
constexpr std::size_t ethernetHeader = 14, vlanTag = 4, ipv4Header = 20, ipv6Header = 40, tcpHeader = 20, udpHeader = 8;
constexpr std::uint8_t tcpProtocol = 6, udpProtocol = 17;

constexpr bool isVlanTag(std::uint16_t type)
{
    return type == 0x8100 || type == 0x88a8 || type == 0x9100 || type == 0x9200;
}
} // namespace

std::optional<OrdinaryHeaders> OrdinaryHeaders::find(const CaptureFrame& frame)
{
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
