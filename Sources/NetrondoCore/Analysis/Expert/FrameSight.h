// One frame as the scans see it.
#pragma once

#include "Analysis/Expert/FindingLog.h"
#include "Base/Address.h"
#include "Capture/CaptureFrame.h"
#include "Dissection/Classify/FrameOutline.h"

namespace netrondo {

/// Addresses that several routers share on purpose: VRRP and CARP, HSRP of both versions, GLBP.
constexpr bool isSharedByRouters(std::uint64_t mac)
{
    return mac >> 8 == 0x00005e0001 || mac >> 8 == 0x00005e0002 || mac >> 8 == 0x00000c07ac || mac >> 12 == 0x00000c9ff
        || mac >> 24 == 0x0007b4;
}

struct FrameSight {
    const CaptureFrame& frame;
    const FrameOutline& outline;
    Sighting at;

    Bytes data() const { return frame.data; }
    bool isIpv4() const { return outline.network == FrameOutline::Network::ipv4; }
    bool isIpv6() const { return outline.network == FrameOutline::Network::ipv6; }
    bool isIp() const { return isIpv4() || isIpv6(); }
    const std::uint8_t* network() const { return frame.data.data() + outline.networkOffset; }
    Address source() const { return isIpv6() ? Address::ipv6(network() + 8) : Address::ipv4(network() + 12); }
    Address destination() const { return isIpv6() ? Address::ipv6(network() + 24) : Address::ipv4(network() + 16); }
    std::uint8_t ttl() const { return isIpv6() ? network()[7] : network()[8]; }
    std::uint64_t sourceMac() const
    {
        return outline.hasSourceMac ? load::be48(frame.data.data() + outline.sourceMacOffset) : 0;
    }
    std::uint64_t destinationMac() const
    {
        return outline.hasDestinationMac ? load::be48(frame.data.data() + outline.destinationMacOffset) : 0;
    }
    /// From the transport header on, as far as the IP length and the capture go; empty for later fragments.
    Bytes transport() const
    {
        return outline.transportOffset
            ? frame.data.subspan(outline.transportOffset, outline.networkEnd - outline.transportOffset)
            : Bytes{};
    }
};

} // namespace netrondo
