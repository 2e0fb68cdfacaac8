// The fast path: which two hosts a frame is between, its transport facts and the name it is counted under.
#pragma once

#include "Capture/CaptureFrame.h"
#include "Dissection/Classify/AnalysisMode.h"
#include "Dissection/Classify/FrameFacts.h"
#include "Dissection/Classify/FrameOutline.h"

#include <algorithm>
#include <cstdint>
#include <optional>

namespace netrondo {

/// Fills `facts` from a frame; false when the frame yields no endpoint in this mode. Takes no memory and makes no text.
///
/// In `l3IP` mode the hosts are the IP addresses; IPX frames give their IPX addresses, NetBEUI frames (a MAC pair, it
/// has no network layer) the MAC addresses, ARP the sender's and target's addresses without being an IP pair. In
/// `l2MAC` mode they are the MAC addresses, and links without two of them (raw IP, Linux cooked) yield nothing.
bool classify(const CaptureFrame& frame, AnalysisMode mode, FrameFacts& facts);
/// The same for a frame whose outline is known.
bool classify(const CaptureFrame& frame, const FrameOutline& outline, AnalysisMode mode, FrameFacts& facts);

/// True for the names of the IPX family, which stay visible in `l3IP` mode, as NetBEUI does.
bool isIpxFamily(ProtocolName name);

/// 64-bit FNV-1a, as the payload hash of a TCP segment is given out.
std::uint64_t fnv1a64(Bytes data);

/// Where a TCP payload starts, given where the TCP header does: nothing when the header's 13th byte is not captured or
/// no byte follows the header. A header that claims less than 20 bytes is taken as 20 long.
inline std::optional<std::size_t> tcpPayloadOffset(std::size_t transport, Bytes data)
{
    if (data.size() < transport + 13)
        return {};
    const auto headerLength = std::max<std::size_t>((data[transport + 12] >> 2) & 0x3c, 20);
    const auto offset = transport + headerLength;
    if (offset >= data.size())
        return {};
    return offset;
}

} // namespace netrondo
