// How OpenVPN's control packets are protected, which they do not say themselves: the layout in which all numbers fit
// does.
#pragma once

#include "Base/Bytes.h"

#include <cstddef>
#include <cstdint>

namespace netrondo::openvpn {

inline constexpr unsigned softReset = 3, control = 4, ack = 5, data1 = 6, clientReset = 7, serverReset = 8, data2 = 9,
                          clientReset3 = 10, wrappedControl = 11;

/// The size of a control packet's HMAC (0 for none), or sealed as a whole. The two ends are configured alike.
using Protection = std::uint8_t;
inline constexpr Protection isSealed = 0xfe, unknown = 0xff;
inline constexpr std::size_t sealTag = 32;

/// Whether the opcode is that of a control packet.
constexpr bool isControl(unsigned code)
{
    return code >= 1 && code <= 11 && code != data1 && code != data2;
}
/// Whether nothing stands behind the numbers of such a packet.
constexpr bool isBare(unsigned code)
{
    return code != control && code != clientReset3 && code != wrappedControl;
}
/// Whether a control packet (not empty) reads well under that protection.
bool fits(Bytes packet, Protection protection);
/// The protection under which it reads well.
Protection protectionOf(Bytes packet);

} // namespace netrondo::openvpn
