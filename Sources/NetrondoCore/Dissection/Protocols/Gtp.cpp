// GPRS tunnels: users' packets, and what nodes of mobile networks say about them (3GPP TS 29.060, 29.274, 29.281).
#include "Dissection/Protocols/GtpNames.h"
#include "Dissection/Protocols/MadeText.h"
#include "Dissection/Protocols/Protocols.h"

#include <algorithm>

namespace netrondo {

namespace gtp {
namespace {
constexpr Field first{"gtp.flags", "Version and flags", Wire::hex8};
constexpr Field version{"gtp.version", "Version", Wire::bits, {}, 0xe0};
constexpr Field type{"gtp.type", "Message type", Wire::u8, types1};
constexpr Field type2{"gtp.type", "Message type", Wire::u8, types2};
constexpr Field length{"gtp.length", "Length", Wire::u16};
constexpr Field tunnel{"gtp.teid", "Tunnel endpoint", Wire::hex32};
constexpr Field sequence{"gtp.seq", "Sequence number", Wire::u16};
constexpr Field sequence2{"gtp.seq", "Sequence number", Wire::u24};
constexpr Field packetNumber{"gtp.npdu", "N-PDU number", Wire::u8};
constexpr Field nextExtension{"gtp.next_ext", "Next extension", Wire::hex8};
constexpr Field extension{"gtp.extension", "Extension header", Wire::bytes};
constexpr Field element{"gtp.ie", "Information element", Wire::number, elements1};
constexpr Field element2{"gtp.ie", "Information element", Wire::number, elements2};
constexpr Field elementType{"gtp.ie_type", "Type", Wire::u8, elements1};
constexpr Field elementType2{"gtp.ie_type", "Type", Wire::u8, elements2};
constexpr Field elementLength{"gtp.ie_len", "Length", Wire::u16};
constexpr Field instance{"gtp.ie_instance", "Instance", Wire::u8};
constexpr Field cause{"gtp.cause", "Cause", Wire::u8, causes1};
constexpr Field cause2{"gtp.cause", "Cause", Wire::u8, causes2};
constexpr Field subscriber{"gtp.imsi", "IMSI", Wire::madeText};
constexpr Field telephone{"gtp.msisdn", "MSISDN", Wire::madeText};
constexpr Field equipment{"gtp.imei", "IMEI", Wire::madeText};
constexpr Field accessPoint{"gtp.apn", "Access point", Wire::madeText};
constexpr Field recovery{"gtp.recovery", "Restart counter", Wire::u8};
constexpr Field dataTunnel{"gtp.teid_data", "Tunnel endpoint for data", Wire::hex32};
constexpr Field controlTunnel{"gtp.teid_control", "Tunnel endpoint for control", Wire::hex32};
constexpr Field accessPointId{"gtp.nsapi", "NSAPI", Wire::u8};
constexpr Field node4{"gtp.address", "Address", Wire::ipv4};
constexpr Field node6{"gtp.address", "Address", Wire::ipv6};
constexpr Field bearer{"gtp.ebi", "Bearer", Wire::u8};
constexpr Field uplink{"gtp.ambr_up", "Aggregate rate up (kbit/s)", Wire::u32};
constexpr Field downlink{"gtp.ambr_down", "Aggregate rate down (kbit/s)", Wire::u32};
constexpr Field radio{"gtp.rat", "Radio access", Wire::u8, radios};
constexpr Field endpointByte{"gtp.fteid", "Endpoint", Wire::hex8};
constexpr Field hasV4{"gtp.fteid_v4", "IPv4", Wire::bit, {}, 0x80};
constexpr Field hasV6{"gtp.fteid_v6", "IPv6", Wire::bit, {}, 0x40};
constexpr Field endpointKind{"gtp.fteid_interface", "Interface", Wire::bits, {}, 0x3f};
constexpr Field endpointKey{"gtp.fteid_teid", "Tunnel endpoint", Wire::hex32};
constexpr Field networkKind{"gtp.pdn_type", "PDN type", Wire::bits, pdnTypes, 0x07};
constexpr Field networkByte{"gtp.pdn", "PDN", Wire::hex8};
constexpr Field prefixLength{"gtp.prefix_len", "Prefix length", Wire::u8};
constexpr Field chargingId{"gtp.charging", "Charging ID", Wire::u32};
constexpr Field elementData{"gtp.ie_data", "Data", Wire::bytes};

/// Digits of a number, two in a byte, the low half first; 0xf fills up.
void readDigits(Layer& gtp, const Field& field, std::size_t from = 0)
{
    MadeText text;
    for (const auto byte : gtp.rest().subspan(std::min(from, gtp.left()))) {
        for (const auto digit : {byte & 15u, unsigned{byte} >> 4}) {
            if (digit < 10)
                text.put(static_cast<char>('0' + digit));
        }
    }
    gtp.addText(field, text, gtp.offset(), gtp.left());
    gtp.skip(gtp.left());
}

/// Labels led by their lengths, as in DNS.
void readAccessPoint(Layer& gtp)
{
    MadeText text;
    const auto bytes = gtp.rest();
    for (std::size_t at = 0; at < bytes.size();) {
        const auto label = slice(bytes, at + 1, bytes[at]);
        if (text.size())
            text.put('.');
        text.put(asText(label));
        at += 1u + bytes[at];
    }
    gtp.addText(accessPoint, text, gtp.offset(), gtp.left());
    gtp.skip(gtp.left());
}

void readAddress(Layer& gtp)
{
    if (gtp.left() == 4)
        gtp.read(node4);
    else if (gtp.left() == 16)
        gtp.read(node6);
}

/// Elements of version 1 below 128 have no length of their own (3GPP TS 29.060, 7.7); 0 for an unknown one.
std::size_t lengthOf(std::uint64_t kind)
{
    struct Row {
        std::uint8_t kind, length;
    };
    constexpr Row rows[] = {{1, 1},  {2, 8},  {3, 6},  {4, 4},  {5, 4},  {8, 1},  {9, 3},  {11, 1}, {12, 3},
                            {13, 1}, {14, 1}, {15, 1}, {16, 4}, {17, 4}, {18, 5}, {19, 1}, {20, 1}, {21, 1},
                            {22, 1}, {23, 1}, {24, 1}, {25, 2}, {26, 2}, {27, 2}, {28, 2}, {29, 1}, {127, 4}};
    const auto* row = std::ranges::find(rows, kind, &Row::kind);
    return row == std::end(rows) ? 0 : row->length;
}

void readElement1(Layer& gtp, std::uint64_t kind)
{
    switch (kind) {
    case 1: gtp.read(cause); break;
    case 2: readDigits(gtp, subscriber); break;
    case 14: gtp.read(recovery); break;
    case 16: gtp.read(dataTunnel); break;
    case 17: gtp.read(controlTunnel); break;
    case 20: gtp.read(accessPointId); break;
    case 127: gtp.read(chargingId); break;
    case 131: readAccessPoint(gtp); break;
    case 133: readAddress(gtp); break;
    case 134: readDigits(gtp, telephone, 1); break;
    case 151: gtp.read(radio); break;
    case 154: readDigits(gtp, equipment); break;
    default: break;
    }
    if (gtp.more())
        gtp.readRest(elementData);
}

void readElements1(Layer& gtp)
{
    while (gtp.more()) {
        const Layer::Group group(gtp, element, gtp.peek8());
        const auto kind = gtp.read(elementType);
        const auto size = kind < 128 ? lengthOf(kind) : gtp.read(elementLength);
        if (kind < 128 && size == 0)
            return gtp.reject(elementType);
        const Layer::Window content(gtp, size);
        readElement1(gtp, kind);
    }
}

void readEndpoint(Layer& gtp)
{
    const auto bits = gtp.readParts(endpointByte, hasV4, hasV6, endpointKind);
    gtp.read(endpointKey);
    if (bits & 0x80)
        gtp.read(node4);
    if (bits & 0x40)
        gtp.read(node6);
}

void readAllocation(Layer& gtp)
{
    const auto kind = gtp.readParts(networkByte, networkKind) & 7;
    if (kind == 2 || kind == 3)
        gtp.read(prefixLength, node6);
    if (kind == 1 || kind == 3)
        gtp.read(node4);
}

void readElement2(Layer& gtp, std::uint64_t kind)
{
    switch (kind) {
    case 1: readDigits(gtp, subscriber); break;
    case 2: gtp.read(cause2); break;
    case 3: gtp.read(recovery); break;
    case 71: readAccessPoint(gtp); break;
    case 72: gtp.read(uplink, downlink); break;
    case 73: gtp.read(bearer); break;
    case 75: readDigits(gtp, equipment); break;
    case 76: readDigits(gtp, telephone); break;
    case 79: readAllocation(gtp); break;
    case 82: gtp.read(radio); break;
    case 87: readEndpoint(gtp); break;
    case 94: gtp.read(chargingId); break;
    case 99: gtp.readParts(networkByte, networkKind); break;
    default: break;
    }
    if (gtp.more())
        gtp.readRest(elementData);
}

/// Bearer contexts hold elements of their own, one level deep.
void readElements2(Layer& gtp, bool isInner)
{
    while (gtp.more(4)) {
        const Layer::Group group(gtp, element2, gtp.peek8());
        const auto kind = gtp.read(elementType2), size = gtp.read(elementLength);
        gtp.read(instance);
        const Layer::Window content(gtp, size);
        if (kind == 93 && !isInner)
            readElements2(gtp, true);
        readElement2(gtp, kind);
    }
}

void readVersion1(Layer& gtp, std::uint64_t bits, std::uint64_t kind)
{
    gtp.read(tunnel);
    if (bits & 7) {
        gtp.read(sequence, packetNumber);
        auto more = gtp.read(nextExtension);
        while (more && gtp.more(4)) {
            const std::size_t size = std::size_t{gtp.peek8()} * 4;
            if (size < 4)
                return gtp.reject(extension);
            gtp.readBytes(extension, size - 1);
            more = gtp.read(nextExtension);
        }
    }
    if (kind == 255 && gtp.leftOnWire())
        gtp.handOver(etherType(gtp.peek8() >> 4 == 6 ? 0x86dd : 0x0800));
    else
        readElements1(gtp);
}

/// One message; the answer is whether another one rides behind it (3GPP TS 29.274, 5.5.1).
bool readMessage(Layer& gtp)
{
    constexpr std::uint64_t carriesAnother = 0x10;
    gtp.beginMessage();
    const auto bits = gtp.readParts(first, version);
    const bool isSecond = bits >> 5 == 2;
    const auto kind = gtp.read(isSecond ? type2 : type), size = gtp.read(length);
    const Layer::Window message(gtp, isSecond ? size : size + 4);
    if (!isSecond) {
        readVersion1(gtp, bits, kind);
        return false;
    }
    if (bits & 8)
        gtp.read(tunnel);
    gtp.read(sequence2, packetNumber);
    readElements2(gtp, false);
    return bits & carriesAnother;
}

void decode(Layer& gtp)
{
    while (readMessage(gtp) && gtp.more() && gtp.peek8() >> 5 == 2)
        continue;
}

void describe(const LayerView& gtp, TextSink& out)
{
    std::size_t told = 0;
    for (const auto& node : gtp.nodes()) {
        if (node.field == &type || node.field == &type2)
            out("{}{}", told++ ? " with " : "", Value(gtp.tree(), &node));
    }
    if (const auto id = gtp[tunnel]) {
        out(", TEID 0x");
        out.putHex(id.number(), 8);
    }
    if (const auto who = gtp[subscriber])
        out(", IMSI {}", who);
    if (const auto where = gtp[accessPoint])
        out(", APN {}", where);
    if (const auto why = gtp[cause] ? gtp[cause] : gtp[cause2])
        out(", {}", why);
}

/// A length that is the datagram's, in the places that versions 1 and 2 have for it, and a type that has a name.
Likeness guess(Bytes payload, Transport transport)
{
    constexpr std::size_t header = 8, optional = 4;
    constexpr std::uint8_t userData = 255;
    if (transport != Transport::udp || payload.size() < header + optional
        || nameIn(payload[0] >> 5 == 2 ? type2.names : type.names, payload[1]).empty())
        return Likeness::none;
    const auto size = load::be16(&payload[2]);
    if (payload[0] >> 5 == 2)
        return (payload[0] & 0x07) == 0 && size == payload.size() - 4 ? Likeness::likely : Likeness::none;
    if (payload[0] >> 4 != 3 || payload[0] & 0x08 || size != payload.size() - header)
        return Likeness::none;
    const auto carried = payload[payload[0] & 0x07 ? header + optional : header] >> 4;
    return payload[1] != userData || (payload.size() > header + optional && (carried == 4 || carried == 6))
        ? Likeness::likely
        : Likeness::none;
}

constexpr Claim claims[] = {udpPort(2152), udpPort(2123), udpPort(3386), tcpPort(2123)};
} // namespace

constexpr Protocol protocol{
    {"gtp", "GTP", Wire::layer}, {}, claims, decode, describe, guess, opensWith({Transport::udp}, 0x30, 0x58)};
static_assert(wellFormed(protocol));
} // namespace gtp

} // namespace netrondo
