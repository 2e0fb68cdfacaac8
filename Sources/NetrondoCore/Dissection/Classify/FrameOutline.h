// Where each header of a frame starts: one walk, from which the classifier, the name store and the scans all begin.
#pragma once

#include "Capture/CaptureFrame.h"

#include <cstdint>

namespace netrondo {

/// Offsets are into the frame's captured bytes. What the bytes do not hold is left at its default.
struct FrameOutline {
    enum class Network : std::uint8_t {
        none, ///< nothing this program analyses, or cut before it could be told
        ipv4, ///< a whole fixed header is there
        ipv6, ///< likewise
        arp,
        ipx,
        llc,   ///< IEEE 802.3 with an LLC header that leads to none of the others
        other, ///< an EtherType that is none of the others
    };

    Network network = Network::none;
    bool hasSourceMac = false;
    bool hasDestinationMac = false;
    /// A fragment that is not the first: what follows the IP header is the middle of something.
    bool isLaterFragment = false;
    std::uint8_t ipProtocol = 0; ///< of the transport, behind any IPv6 extension headers
    /// The extension headers could be walked to their end, or there are none.
    bool knowsIpProtocol = false;
    std::uint16_t etherType = 0; ///< behind VLAN and SNAP headers; below 0x600 the length of an 802.3 frame
    std::uint32_t sourceMacOffset = 0;
    std::uint32_t destinationMacOffset = 0;
    std::uint32_t networkOffset = 0;   ///< of the network header; for `llc` of the LLC header
    std::uint32_t transportOffset = 0; ///< 0: no transport header
    std::uint32_t networkEnd = 0;      ///< where the IP length says the packet ends, never past the captured bytes
};

/// Walks the headers of a frame. Reads nothing past the captured bytes; 802.11 and unknown link types give an empty
/// outline. A frame of link type `null` is raw IP from its first byte on: no family header is skipped.
FrameOutline outlineOf(const CaptureFrame& frame);
/// The same, into a record that is used again and again: copying one whose fields have just been written makes the
/// processor wait.
void readOutline(const CaptureFrame& frame, FrameOutline& outline);

} // namespace netrondo
