// The frame as it was captured: its number, time and lengths, ahead of all protocols.
#include "Dissection/Decode/Dissector.h"
#include "Dissection/Protocols/Protocols.h"
#include "Dissection/Wire/InternetChecksum.h"

namespace netrondo::frame {
namespace {

constexpr Field number{"frame.number", "Packet number", Wire::number, {}, 0, From::frameNumber};
constexpr Field time{"frame.time_relative", "Seconds from first packet", Wire::elapsed, {}, 0, From::frameTime};
constexpr Field length{"frame.len", "Frame length (bytes)", Wire::number, {}, 0, From::frameLength};
constexpr Field captured{"frame.cap_len", "Captured length (bytes)", Wire::number};
constexpr Field interface {
    "frame.interface_id", "Interface", Wire::number
};

/// A sender's own copy of an IPv4 packet whose checksum its network card was to fill in; the length must be right then.
bool isLeftToTheCard(const std::uint8_t* header, std::uint32_t onWire)
{
    return load::be16(header + 10) == 0 && load::be16(header + 2) == onWire;
}

/// Netlink has Linux's cooked header, with a medium of its own and no address.
bool isNetlink(Bytes bytes)
{
    constexpr std::uint16_t netlink = 824, lastPacketType = 7;
    return bytes.size() >= 16 && load::be16(bytes.data()) <= lastPacketType && load::be16(bytes.data() + 2) == netlink
        && load::be16(bytes.data() + 4) == 0 && load::be64(bytes.data() + 6) == 0;
}

/// The link of a frame whose own is not known, by what its bytes look like. Readers keep no number of a link type that
/// they have no name for, and IP without a link header has several.
std::uint16_t likelyLink(Bytes bytes, std::uint32_t onWire)
{
    constexpr std::uint16_t raw = 12, ppp = 9, hdlc = 104, cooked = 113, none = 0xffff;
    if (bytes.size() < 8)
        return none;
    const auto* const at = bytes.data();
    const std::size_t header = (at[0] & 0x0fu) * 4u;
    if (at[0] >> 4 == 4 && header >= 20 && header <= bytes.size() && load::be16(at + 2) >= header
        && (isLeftToTheCard(at, onWire)
            || (load::be16(at + 2) <= onWire && InternetChecksum::isRightHeader(at, header))))
        return raw;
    if (at[0] >> 4 == 6 && load::be16(at + 4) + 40u == onWire)
        return raw;
    const auto next = load::be16(at + 2);
    if (load::be16(at) == 0xff03 && Dissector::claimant(ClaimTable::pppProtocol, next))
        return ppp;
    const bool isHdlc = (at[0] == 0x0f || at[0] == 0x8f) && at[1] == 0;
    if (isHdlc
        && (next == 0x8035 || Dissector::claimant(ClaimTable::etherType, next)
            || Dissector::claimant(ClaimTable::snapCisco, next)))
        return hdlc;
    if (isNetlink(bytes))
        return cooked;
    return none;
}

void decode(Layer& frame)
{
    const auto& capture = frame.frame().capture;
    frame.add(number, frame.summary().number);
    frame.add(time, static_cast<std::uint64_t>(frame.summary().nanoseconds));
    frame.add(length, capture.originalLength);
    frame.add(captured, capture.data.size());
    frame.add(interface, static_cast<std::uint64_t>(capture.interfaceID));
    const auto link = capture.linkType == LinkType::unknown ? likelyLink(capture.data, capture.originalLength)
                                                            : static_cast<std::uint16_t>(capture.linkType);
    frame.handOver(linkTypeIs(link));
}

constexpr const Field* catalogue[] = {&length, &number, &time};
} // namespace

constexpr Protocol protocol{{"frame", "Capture frame", Wire::layer}, catalogue, {}, decode};
static_assert(wellFormed(protocol));
} // namespace netrondo::frame
