// Tunnels in UDP: VXLAN (RFC 7348) and its extension, Geneve (RFC 8926), L2TP (RFC 2661), WireGuard.
#include "Dissection/Protocols/EtherTypeNames.h"
#include "Dissection/Protocols/Protocols.h"

namespace netrondo {
namespace {

/// Whether an Ethernet frame of a common network begins there.
bool beginsFrame(Bytes bytes, std::size_t at)
{
    constexpr std::size_t header = 14, looked = 2; // bytes of what follows
    if (bytes.size() < at + header + looked)
        return false;
    const auto next = bytes[at + header] >> 4;
    switch (load::be16(&bytes[at + 12])) {
    case 0x0800: return next == 4;
    case 0x86dd: return next == 6;
    case 0x0806: return load::be16(&bytes[at + header]) == 1;
    case 0x8100: return true;
    default: return false;
    }
}

} // namespace

namespace vxlan {
namespace {
constexpr Field flags{"vxlan.flags", "Flags", Wire::hex8};
constexpr Field reserved{"vxlan.reserved", "Reserved", Wire::hex24};
constexpr Field network{"vxlan.vni", "Network identifier", Wire::u24};
constexpr Field reserved2{"vxlan.reserved2", "Reserved", Wire::hex8};

void decode(Layer& vxlan)
{
    vxlan.read(flags, reserved, network, reserved2);
    vxlan.handOver(linkTypeIs(1));
}

void describe(const LayerView& vxlan, TextSink& out)
{
    out("VXLAN {}", vxlan[network]);
}

Likeness guess(Bytes payload, Transport transport)
{
    constexpr std::size_t header = 8;
    const bool hasHeader = transport == Transport::udp && payload.size() > header
        && load::be32(payload.data()) == 0x08000000 && payload[7] == 0;
    return hasHeader && beginsFrame(payload, header) ? Likeness::likely : Likeness::none;
}

constexpr Claim claims[] = {udpPort(4789), udpPort(8472)};
} // namespace

constexpr Protocol protocol{{"vxlan", "VXLAN", Wire::layer}, {}, claims, decode, describe, guess,
                            opensWith({Transport::udp}, 8)};
static_assert(wellFormed(protocol));
} // namespace vxlan

// The generic protocol extension: VXLAN that says what it carries (draft-ietf-nvo3-vxlan-gpe).
namespace vxlangpe {
namespace {
constexpr NamedValue protocols[] = {{1, "IPv4"}, {2, "IPv6"}, {3, "Ethernet"}, {4, "NSH"}, {5, "MPLS"}};

constexpr Field flags{"vxlangpe.flags", "Flags", Wire::hex8};
constexpr Field reserved{"vxlangpe.reserved", "Reserved", Wire::hex16};
constexpr Field next{"vxlangpe.proto", "Next protocol", Wire::u8, protocols};
constexpr Field network{"vxlangpe.vni", "Network identifier", Wire::u24};
constexpr Field reserved2{"vxlangpe.reserved2", "Reserved", Wire::hex8};

void decode(Layer& vxlan)
{
    vxlan.read(flags, reserved);
    const auto number = vxlan.read(next);
    vxlan.read(network, reserved2);
    switch (number) {
    case 0: // senders that do not know the extension
    case 3: vxlan.handOver(linkTypeIs(1)); break;
    case 1: vxlan.handOver(etherType(0x0800)); break;
    case 2: vxlan.handOver(etherType(0x86dd)); break;
    case 5: vxlan.handOver(etherType(0x8847)); break;
    default: vxlan.handOverData();
    }
}

void describe(const LayerView& vxlan, TextSink& out)
{
    out("VXLAN {}, {}", vxlan[network], vxlan[next]);
}

constexpr Claim claims[] = {udpPort(4790)};
} // namespace

constexpr Protocol protocol{{"vxlangpe", "VXLAN-GPE", Wire::layer}, {}, claims, decode, describe};
static_assert(wellFormed(protocol));
} // namespace vxlangpe

namespace geneve {
namespace {
constexpr Field first{"geneve.first", "Version and options length", Wire::hex8};
constexpr Field version{"geneve.version", "Version", Wire::bits, {}, 0xc0};
constexpr Field optionsLength{"geneve.options_len", "Options length in words", Wire::bits, {}, 0x3f};
constexpr Field flags{"geneve.flags", "Flags", Wire::hex8};
constexpr Field type{"geneve.proto", "Protocol type", Wire::hex16, etherTypeNames};
constexpr Field network{"geneve.vni", "Network identifier", Wire::u24};
constexpr Field reserved{"geneve.reserved", "Reserved", Wire::hex8};
constexpr Field options{"geneve.options", "Options", Wire::bytes};

void decode(Layer& geneve)
{
    const auto words = geneve.readParts(first, version, optionsLength) & 0x3f;
    geneve.read(flags);
    const auto next = static_cast<std::uint16_t>(geneve.read(type));
    geneve.read(network, reserved);
    if (words)
        geneve.readBytes(options, words * 4);
    geneve.handOver({greProtocol(next), etherType(next)});
}

void describe(const LayerView& geneve, TextSink& out)
{
    out("Geneve {}", geneve[network]);
}

Likeness guess(Bytes payload, Transport transport)
{
    constexpr std::size_t header = 8;
    if (transport != Transport::udp || payload.size() < header || payload[0] >> 6 != 0 || (payload[1] & 0x3f) != 0
        || payload[7] != 0 || load::be16(&payload[2]) != 0x6558)
        return Likeness::none;
    return beginsFrame(payload, header + (payload[0] & 0x3fu) * 4) ? Likeness::likely : Likeness::none;
}

constexpr Claim claims[] = {udpPort(6081)};
} // namespace

constexpr Protocol protocol{{"geneve", "Geneve", Wire::layer},   {}, claims, decode, describe, guess,
                            opensWith({Transport::udp}, 0, 0x3f)};
static_assert(wellFormed(protocol));
} // namespace geneve

namespace l2tp {
namespace {
// RFC 2661, 3.2 and 4.4.
constexpr NamedValue messages[] = {{1, "Start-Control-Connection-Request"},
                                   {2, "Start-Control-Connection-Reply"},
                                   {3, "Start-Control-Connection-Connected"},
                                   {4, "Stop-Control-Connection-Notification"},
                                   {6, "Hello"},
                                   {7, "Outgoing-Call-Request"},
                                   {8, "Outgoing-Call-Reply"},
                                   {9, "Outgoing-Call-Connected"},
                                   {10, "Incoming-Call-Request"},
                                   {11, "Incoming-Call-Reply"},
                                   {12, "Incoming-Call-Connected"},
                                   {14, "Call-Disconnect-Notify"},
                                   {15, "WAN-Error-Notify"},
                                   {16, "Set-Link-Info"}};
constexpr NamedValue attributes[] = {{0, "message type"},
                                     {1, "result code"},
                                     {2, "protocol version"},
                                     {3, "framing capabilities"},
                                     {4, "bearer capabilities"},
                                     {5, "tie breaker"},
                                     {6, "firmware revision"},
                                     {7, "host name"},
                                     {8, "vendor name"},
                                     {9, "assigned tunnel"},
                                     {10, "receive window"},
                                     {11, "challenge"},
                                     {13, "challenge response"},
                                     {14, "assigned session"},
                                     {15, "call serial number"},
                                     {16, "minimum speed"},
                                     {17, "maximum speed"},
                                     {18, "bearer type"},
                                     {19, "framing type"},
                                     {21, "called number"},
                                     {22, "calling number"},
                                     {24, "connect speed"},
                                     {29, "proxy authentication type"},
                                     {38, "receive speed"},
                                     {39, "sequencing required"}};

constexpr Field flags{"l2tp.flags", "Flags and version", Wire::hex16};
constexpr Field isControl{"l2tp.control", "Control message", Wire::bit, {}, 0x8000};
constexpr Field version{"l2tp.version", "Version", Wire::bits, {}, 0x000f};
constexpr Field length{"l2tp.length", "Length", Wire::u16};
constexpr Field tunnel{"l2tp.tunnel", "Tunnel", Wire::u16};
constexpr Field session{"l2tp.session", "Session", Wire::u16};
constexpr Field sent{"l2tp.ns", "Sequence number", Wire::u16};
constexpr Field received{"l2tp.nr", "Expected sequence number", Wire::u16};
constexpr Field offset{"l2tp.offset", "Offset size", Wire::u16};
constexpr Field attribute{"l2tp.avp", "Attribute", Wire::number, attributes};
constexpr Field attributeHead{"l2tp.avp_head", "Flags and length", Wire::hex16};
constexpr Field isMandatory{"l2tp.avp_mandatory", "Mandatory", Wire::bit, {}, 0x8000};
constexpr Field isHidden{"l2tp.avp_hidden", "Hidden", Wire::bit, {}, 0x4000};
constexpr Field attributeLength{"l2tp.avp_len", "Length", Wire::bits, {}, 0x03ff};
constexpr Field vendor{"l2tp.vendor", "Vendor", Wire::u16};
constexpr Field attributeType{"l2tp.avp_type", "Type", Wire::u16, attributes};
constexpr Field messageType{"l2tp.message", "Message type", Wire::u16, messages};
constexpr Field resultCode{"l2tp.result", "Result code", Wire::u16};
constexpr Field hostName{"l2tp.host", "Host name", Wire::text};
constexpr Field assignedTunnel{"l2tp.assigned_tunnel", "Assigned tunnel", Wire::u16};
constexpr Field assignedSession{"l2tp.assigned_session", "Assigned session", Wire::u16};
constexpr Field value{"l2tp.value", "Value", Wire::bytes};

/// RFC 2661, 4.1.
void readAttributes(Layer& l2tp)
{
    while (l2tp.more(6)) {
        const Layer::Group group(l2tp, attribute, l2tp.peek16(4));
        const auto head = l2tp.readParts(attributeHead, isMandatory, isHidden, attributeLength);
        const auto size = head & 0x3ff;
        if (size < 6)
            return l2tp.reject(attributeLength);
        const Layer::Window content(l2tp, size - 2);
        const auto owner = l2tp.read(vendor), kind = l2tp.read(attributeType);
        const bool isPlain = owner == 0 && !(head & 0x4000) && l2tp.left() >= 2;
        if (isPlain && kind == 0)
            l2tp.read(messageType);
        else if (isPlain && kind == 1)
            l2tp.read(resultCode);
        else if (isPlain && kind == 7)
            l2tp.readText(hostName, l2tp.left());
        else if (isPlain && kind == 9)
            l2tp.read(assignedTunnel);
        else if (isPlain && kind == 14)
            l2tp.read(assignedSession);
        if (l2tp.more())
            l2tp.readRest(value);
    }
}

void decode(Layer& l2tp)
{
    const auto bits = l2tp.readParts(flags, isControl, version);
    if ((bits & 15) != 2) // version 3 over UDP has another header
        return l2tp.handOverData();
    if (bits & 0x4000)
        l2tp.read(length);
    l2tp.read(tunnel, session);
    if (bits & 0x0800)
        l2tp.read(sent, received);
    if (bits & 0x0200)
        l2tp.skip(l2tp.read(offset));
    if (!(bits & 0x8000))
        return l2tp.handOver(ppp::protocol);
    readAttributes(l2tp);
}

void describe(const LayerView& l2tp, TextSink& out)
{
    if (l2tp[isControl] != 1)
        out("Data");
    else if (const auto kind = l2tp[messageType])
        out("{}", kind);
    else
        out("Acknowledgment"); // a control message without attributes (RFC 2661, 5.8)
    out(", tunnel {}, session {}", l2tp[tunnel], l2tp[session]);
    if (const auto name = l2tp[hostName])
        out(", host “{}”", name);
    if (const auto code = l2tp[resultCode])
        out(", result {}", code);
}

/// A control message: its length, and first of its attributes the type, in eight bytes; none in an acknowledgment.
Likeness guess(Bytes payload, Transport transport)
{
    constexpr std::size_t header = 12;
    constexpr std::uint16_t control = 0xc802;
    if (transport != Transport::udp || payload.size() < header || load::be16(payload.data()) != control
        || load::be16(&payload[2]) != payload.size())
        return Likeness::none;
    constexpr std::uint32_t typeOfEight = 0x80080000;
    const bool hasType = payload.size() >= header + 8 && load::be32(&payload[header]) == typeOfEight
        && load::be16(&payload[header + 4]) == 0;
    return payload.size() == header || hasType ? Likeness::likely : Likeness::none;
}

constexpr Claim claims[] = {udpPort(1701)};
} // namespace

constexpr Protocol protocol{{"l2tp", "L2TP", Wire::layer},    {}, claims, decode, describe, guess,
                            opensWith({Transport::udp}, 0xc8)};
static_assert(wellFormed(protocol));
} // namespace l2tp

namespace wireguard {
namespace {
constexpr NamedValue types[] = {
    {1, "Handshake initiation"}, {2, "Handshake response"}, {3, "Cookie reply"}, {4, "Transport data"}};

constexpr Field type{"wireguard.type", "Type", Wire::u8, types};
constexpr Field reserved{"wireguard.reserved", "Reserved", Wire::hex24};
constexpr Field sender{"wireguard.sender", "Sender", Wire::leHex32};
constexpr Field receiver{"wireguard.receiver", "Receiver", Wire::leHex32};
constexpr Field counter{"wireguard.counter", "Counter", Wire::le64};
constexpr Field data{"wireguard.data", "Encrypted data", Wire::bytes};

Likeness guess(Bytes payload, Transport transport)
{
    if (transport != Transport::udp || payload.size() < 32 || payload[0] < 1 || payload[0] > 2 || payload[1]
        || payload[2] || payload[3])
        return Likeness::none;
    return payload.size() == (payload[0] == 1 ? 148 : 92) ? Likeness::certain : Likeness::none;
}

void decode(Layer& wireguard)
{
    if (guess(wireguard.rest(), Transport::udp) == Likeness::certain)
        wireguard.learn(Transport::udp, protocol); // the data that follow have nothing that could be known again
    const auto kind = wireguard.read(type);
    wireguard.read(reserved);
    if (kind == 1 || kind == 2)
        wireguard.read(sender);
    if (kind >= 2)
        wireguard.read(receiver);
    if (kind == 4)
        wireguard.read(counter);
    if (wireguard.more())
        wireguard.readRest(data);
}

void describe(const LayerView& wireguard, TextSink& out)
{
    out("{}", wireguard[type]);
    if (const auto from = wireguard[sender])
        out(", sender {}", from);
    if (const auto to = wireguard[receiver])
        out(", receiver {}", to);
    if (const auto number = wireguard[counter])
        out(", counter {}", number);
}

constexpr Claim claims[] = {udpPort(51820)};
} // namespace

constexpr Protocol protocol{{"wireguard", "WireGuard", Wire::layer}, {}, claims, decode, describe, guess,
                            opensWith({Transport::udp}, 1, 2)};
static_assert(wellFormed(protocol));
} // namespace wireguard

} // namespace netrondo
