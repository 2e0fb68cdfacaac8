// Generic Routing Encapsulation (RFC 2784, 2890, and the enhanced form of PPTP, RFC 2637), and ERSPAN in it.
#include "Dissection/Protocols/EtherTypeNames.h"
#include "Dissection/Protocols/Protocols.h"

namespace netrondo {

namespace gre {
namespace {
constexpr Field flags{"gre.flags", "Flags and version", Wire::hex16};
constexpr Field hasChecksum{"gre.has_checksum", "Checksum present", Wire::bit, {}, 0x8000};
constexpr Field hasRouting{"gre.has_routing", "Routing present", Wire::bit, {}, 0x4000};
constexpr Field hasKey{"gre.has_key", "Key present", Wire::bit, {}, 0x2000};
constexpr Field hasSequence{"gre.has_sequence", "Sequence number present", Wire::bit, {}, 0x1000};
constexpr Field hasAck{"gre.has_ack", "Acknowledgment present", Wire::bit, {}, 0x0080};
constexpr Field version{"gre.version", "Version", Wire::bits, {}, 0x0007};
constexpr Field type{"gre.proto", "Protocol type", Wire::hex16, etherTypeNames};
constexpr Field checksum{"gre.checksum", "Checksum", Wire::hex16};
constexpr Field offset{"gre.offset", "Offset", Wire::u16};
constexpr Field key{"gre.key", "Key", Wire::hex32};
constexpr Field payloadLength{"gre.payload_len", "Payload length", Wire::u16};
constexpr Field callId{"gre.call_id", "Call ID", Wire::u16};
constexpr Field sequence{"gre.seq", "Sequence number", Wire::u32};
constexpr Field acknowledgment{"gre.ack", "Acknowledgment number", Wire::u32};

void decode(Layer& gre)
{
    const auto bits = gre.readParts(flags, hasChecksum, hasRouting, hasKey, hasSequence, hasAck, version);
    const auto next = gre.read(type);
    if (bits & 0xc000)
        gre.read(checksum, offset);
    const bool enhanced = (bits & 7) == 1;
    if (bits & 0x2000) {
        if (enhanced)
            gre.read(payloadLength, callId);
        else
            gre.read(key);
    }
    if (bits & 0x1000)
        gre.read(sequence);
    if (enhanced && bits & 0x0080)
        gre.read(acknowledgment);
    if (!gre.leftOnWire())
        return;
    // ERSPAN type I has the number of type II and no header; the missing sequence number tells.
    if (next == 0x88be && !(bits & 0x1000))
        return static_cast<void>(gre.handOver(greProtocol(0x6558)));
    const auto number = static_cast<std::uint16_t>(next);
    // Cisco's metadata tells the type of what follows behind itself in Ethernet frames, but before itself here.
    if (number == 0x8909)
        return gre.handOver(metadata::protocol);
    gre.handOver({greProtocol(number), etherType(number)});
}

/// Routers send each other a packet for themselves that says nothing; its coming back is what they want to know.
void describe(const LayerView& gre, TextSink& out)
{
    if (gre[type] == 0)
        return out("GRE, keep-alive");
    out("GRE, {}", gre[type]);
}

constexpr Claim claims[] = {ipProtocol(47)};
} // namespace

constexpr Protocol protocol{{"gre", "GRE", Wire::layer}, {}, claims, decode, describe};
static_assert(wellFormed(protocol));
} // namespace gre

namespace erspan {
namespace {
constexpr Field first{"erspan.first", "Version and VLAN", Wire::hex16};
constexpr Field version{"erspan.version", "Version", Wire::bits, {}, 0xf000};
constexpr Field vlan{"erspan.vlan", "VLAN", Wire::bits, {}, 0x0fff};
constexpr Field second{"erspan.second", "Class and session", Wire::hex16};
constexpr Field session{"erspan.session", "Session", Wire::bits, {}, 0x03ff};
constexpr Field index{"erspan.index", "Index", Wire::hex32};

void decode(Layer& erspan)
{
    const auto bits = erspan.readParts(first, version, vlan);
    erspan.readParts(second, session);
    erspan.read(index);
    if (bits >> 12 == 2) // type III: hardware fields, and a platform header where its flag says so
        erspan.skip(erspan.peek8(3) & 1 ? 12 : 4);
    erspan.handOver(linkTypeIs(1));
}

void describe(const LayerView& erspan, TextSink& out)
{
    out("ERSPAN session {}", erspan[session]);
}

constexpr Claim claims[] = {greProtocol(0x88be), greProtocol(0x22eb)};
} // namespace

constexpr Protocol protocol{{"erspan", "ERSPAN", Wire::layer}, {}, claims, decode, describe};
static_assert(wellFormed(protocol));
} // namespace erspan

} // namespace netrondo
