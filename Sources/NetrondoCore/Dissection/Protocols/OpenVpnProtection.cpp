// What OpenVPN's control packets look like under each protection.
#include "Dissection/Protocols/OpenVpnProtection.h"

namespace netrondo::openvpn {
namespace {
constexpr Protection hmacSizes[] = {16, 20, 28, 32, 48, 64};
constexpr std::size_t sessionEnd = 9, replaySize = 8, maxAcks = 8;

/// A packet number and the time it was counted from: small, and not before the protocol's day.
bool isReplayGuard(Bytes bytes)
{
    constexpr std::uint32_t year2001 = 1'000'000'000;
    return bytes.size() >= replaySize && bytes[0] == 0 && load::be32(bytes.data()) > 0
        && load::be32(bytes.data() + 4) >= year2001;
}

/// Numbers of messages are small for a key's life.
bool isMessageNumber(Bytes bytes, std::size_t at)
{
    return bytes.size() >= at + 4 && load::be16(bytes.data() + at) == 0;
}

/// With an HMAC of that size, or none.
bool fitsOpen(Bytes packet, Protection protection)
{
    const unsigned code = packet[0] >> 3;
    std::size_t at = sessionEnd;
    if (protection) {
        if (!isReplayGuard(slice(packet, at + protection)))
            return false;
        at += protection + replaySize;
    }
    if (packet.size() <= at)
        return false;
    const std::size_t count = packet[at++];
    if (count > maxAcks || (code == ack && count == 0))
        return false;
    for (std::size_t i = 0; i < count; ++i, at += 4) {
        if (!isMessageNumber(packet, at))
            return false;
    }
    at += count ? 8 : 0;
    if (code != ack) {
        if (!isMessageNumber(packet, at))
            return false;
        at += 4;
    }
    return isBare(code) ? packet.size() == at : packet.size() >= at;
}

bool fitsSealed(Bytes packet)
{
    return isReplayGuard(slice(packet, sessionEnd)) && packet.size() > sessionEnd + replaySize + sealTag;
}

} // namespace

bool fits(Bytes packet, Protection protection)
{
    if (protection == isSealed)
        return fitsSealed(packet);
    return protection != unknown && fitsOpen(packet, protection);
}

Protection protectionOf(Bytes packet)
{
    if (fitsOpen(packet, 0))
        return fitsSealed(packet) ? isSealed : 0;
    for (const auto size : hmacSizes) {
        if (fitsOpen(packet, size))
            return size;
    }
    return fitsSealed(packet) ? isSealed : unknown;
}

} // namespace netrondo::openvpn
