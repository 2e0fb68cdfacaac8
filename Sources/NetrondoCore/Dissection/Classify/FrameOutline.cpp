// The walk over a frame's headers: Ethernet with VLAN tags and LLC/SNAP, Linux cooked, raw IP; IPv4 and IPv6.
#include "Dissection/Classify/FrameOutline.h"

#include "Dissection/Wire/EtherType.h"
#include "Dissection/Wire/IpProtocol.h"

#include <algorithm>

namespace netrondo {
namespace {

using Network = FrameOutline::Network;

std::uint32_t size32(Bytes data)
{
    return static_cast<std::uint32_t>(data.size());
}

void walkIpv4(Bytes data, std::uint32_t at, FrameOutline& outline)
{
    if (data.size() < at + 20 || data[at] >> 4 != 4)
        return;
    const auto* header = data.data() + at;
    outline.network = Network::ipv4;
    outline.networkOffset = at;
    outline.ipProtocol = header[9];
    outline.knowsIpProtocol = true;
    const std::uint32_t totalLength = load::be16(header + 2);
    // A length of zero is what a network card's segmentation offload leaves behind: the frame's own end counts then.
    outline.networkEnd = totalLength ? std::min(at + totalLength, size32(data)) : size32(data);
    outline.isLaterFragment = (load::be16(header + 6) & 0x1fff) != 0;
    // A header length below the fixed header's has no transport behind it that could be trusted.
    const std::uint32_t headerLength = (header[0] & 0x0fu) * 4;
    if (headerLength >= 20 && at + headerLength < outline.networkEnd && !outline.isLaterFragment)
        outline.transportOffset = at + headerLength;
}

bool isExtensionHeader(std::uint8_t next)
{
    return next == ipProtocol::hopByHop || next == ipProtocol::routing || next == ipProtocol::fragment
        || next == ipProtocol::ah || next == ipProtocol::destinationOptions;
}

void walkIpv6(Bytes data, std::uint32_t at, FrameOutline& outline)
{
    if (data.size() < at + 40 || data[at] >> 4 != 6)
        return;
    const auto* header = data.data() + at;
    outline.network = Network::ipv6;
    outline.networkOffset = at;
    const std::uint32_t payloadLength = load::be16(header + 4);
    // Zero: a jumbogram (RFC 2675) or segmentation offload.
    outline.networkEnd = payloadLength ? std::min(at + 40 + payloadLength, size32(data)) : size32(data);

    auto next = header[6];
    auto offset = at + 40;
    // RFC 8200 lets each extension header occur once (destination options twice); more is somebody's attack.
    for (int left = 16; isExtensionHeader(next) && left > 0; --left) {
        if (outline.networkEnd < offset + 8)
            return;
        const auto* extension = data.data() + offset;
        if (next == ipProtocol::fragment) {
            if (load::be16(extension + 2) & 0xfff8)
                outline.isLaterFragment = true;
            offset += 8;
        } else if (next == ipProtocol::ah) {
            offset += (extension[1] + 2u) * 4;
        } else {
            offset += (extension[1] + 1u) * 8;
        }
        next = extension[0];
        if (outline.isLaterFragment)
            break; // what follows is data, whatever `next` says of the first fragment
    }
    outline.ipProtocol = next;
    outline.knowsIpProtocol = !isExtensionHeader(next) || outline.isLaterFragment;
    if (outline.knowsIpProtocol && !outline.isLaterFragment && offset < outline.networkEnd)
        outline.transportOffset = offset;
}

void walkNetwork(Bytes data, std::uint32_t at, FrameOutline& outline)
{
    switch (outline.etherType) {
    case etherType::ipv4: return walkIpv4(data, at, outline);
    case etherType::ipv6: return walkIpv6(data, at, outline);
    case etherType::arp: outline.network = Network::arp; break;
    case etherType::ipx:
    case etherType::ipxOld: outline.network = Network::ipx; break;
    default: outline.network = Network::other;
    }
    outline.networkOffset = at;
    outline.networkEnd = size32(data);
}

// IEEE 802.3: a length, then LLC. Novell's raw form has no LLC: its IPX checksum, always FFFF, stands in its place.
void walkLlc(Bytes data, std::uint32_t at, FrameOutline& outline)
{
    outline.network = Network::llc;
    outline.networkOffset = at;
    outline.networkEnd = std::min(at + outline.etherType, size32(data));
    if (data.size() < at + 3)
        return;
    const auto* llc = data.data() + at;
    if (load::be16(llc) == 0xffff) {
        outline.network = Network::ipx;
    } else if (llc[0] == llcSap::ipx && llc[2] == 0x03) {
        outline.network = Network::ipx;
        outline.networkOffset = at + 3;
    } else if (llc[0] == llcSap::snap && llc[1] == llcSap::snap && data.size() >= at + 8) {
        const auto organisation = load::be32(llc + 2) & 0xffffff;
        const auto type = load::be16(llc + 6);
        if (organisation == 0 && type >= etherType::firstType) { // RFC 1042: an EtherType after all
            outline.etherType = type;
            walkNetwork(data, at + 8, outline);
        }
    }
}

void walkEthernet(Bytes data, FrameOutline& outline)
{
    if (data.size() >= 6)
        outline.hasDestinationMac = true;
    if (data.size() >= 12) {
        outline.hasSourceMac = true;
        outline.sourceMacOffset = 6;
    }
    std::uint32_t at = 12;
    if (data.size() < at + 2)
        return;
    auto type = load::be16(data.data() + at);
    while (etherType::isVlanTag(type)) {
        at += 4;
        if (data.size() < at + 2)
            return;
        type = load::be16(data.data() + at);
    }
    outline.etherType = type;
    if (type < etherType::firstType)
        walkLlc(data, at + 2, outline);
    else
        walkNetwork(data, at + 2, outline);
}

// Linux cooked capture, both versions: the kernel's own header with the sender's link address only.
struct CookedLayout {
    std::uint32_t headerLength, protocol, addressLength, address;
};
constexpr CookedLayout cooked{16, 14, 4, 6};
constexpr CookedLayout cooked2{20, 0, 11, 12};

void walkCooked(Bytes data, const CookedLayout& layout, FrameOutline& outline)
{
    if (data.size() < layout.headerLength)
        return;
    // Version 1 keeps the address length in 16 bits, version 2 in 8; no link address is longer than 8 bytes.
    const auto length = layout.addressLength == 4 ? load::be16(data.data() + 4) : data[layout.addressLength];
    outline.hasSourceMac = length == 6;
    outline.sourceMacOffset = layout.address;
    outline.etherType = load::be16(data.data() + layout.protocol);
    // Only these three are analysed on a cooked link: anything else names hosts by link addresses it does not have.
    if (outline.etherType == etherType::ipv4 || outline.etherType == etherType::ipv6
        || outline.etherType == etherType::ipx)
        walkNetwork(data, layout.headerLength, outline);
}

void walkRaw(Bytes data, FrameOutline& outline)
{
    if (data.empty())
        return;
    if (data[0] >> 4 == 4)
        walkIpv4(data, 0, outline);
    else if (data[0] >> 4 == 6)
        walkIpv6(data, 0, outline);
}

} // namespace

FrameOutline outlineOf(const CaptureFrame& frame)
{
    FrameOutline outline;
    readOutline(frame, outline);
    return outline;
}

void readOutline(const CaptureFrame& frame, FrameOutline& outline)
{
    outline = {};
    switch (frame.linkType) {
    case LinkType::ethernet: walkEthernet(frame.data, outline); break;
    case LinkType::null:
    case LinkType::raw: walkRaw(frame.data, outline); break;
    case LinkType::linuxSLL: walkCooked(frame.data, cooked, outline); break;
    case LinkType::linuxSLL2: walkCooked(frame.data, cooked2, outline); break;
    case LinkType::ieee80211:
    case LinkType::ieee80211Radio:
    case LinkType::unknown: break;
    }
}

} // namespace netrondo
