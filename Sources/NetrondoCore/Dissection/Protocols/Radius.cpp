// RADIUS (RFC 2865, 2866, 5176).
#include "Dissection/Protocols/Protocols.h"

namespace netrondo::radius {
namespace {
constexpr NamedValue codes[] = {{1, "Access-Request"},
                                {2, "Access-Accept"},
                                {3, "Access-Reject"},
                                {4, "Accounting-Request"},
                                {5, "Accounting-Response"},
                                {11, "Access-Challenge"},
                                {12, "Status-Server"},
                                {40, "Disconnect-Request"},
                                {41, "Disconnect-ACK"},
                                {42, "Disconnect-NAK"},
                                {43, "CoA-Request"},
                                {44, "CoA-ACK"},
                                {45, "CoA-NAK"}};
constexpr NamedValue attributeNames[] = {{1, "User-Name"},
                                         {2, "User-Password"},
                                         {3, "CHAP-Password"},
                                         {4, "NAS-IP-Address"},
                                         {5, "NAS-Port"},
                                         {6, "Service-Type"},
                                         {7, "Framed-Protocol"},
                                         {8, "Framed-IP-Address"},
                                         {9, "Framed-IP-Netmask"},
                                         {11, "Filter-Id"},
                                         {12, "Framed-MTU"},
                                         {18, "Reply-Message"},
                                         {24, "State"},
                                         {25, "Class"},
                                         {26, "Vendor-Specific"},
                                         {27, "Session-Timeout"},
                                         {28, "Idle-Timeout"},
                                         {29, "Termination-Action"},
                                         {30, "Called-Station-Id"},
                                         {31, "Calling-Station-Id"},
                                         {32, "NAS-Identifier"},
                                         {33, "Proxy-State"},
                                         {40, "Acct-Status-Type"},
                                         {41, "Acct-Delay-Time"},
                                         {42, "Acct-Input-Octets"},
                                         {43, "Acct-Output-Octets"},
                                         {44, "Acct-Session-Id"},
                                         {45, "Acct-Authentic"},
                                         {46, "Acct-Session-Time"},
                                         {47, "Acct-Input-Packets"},
                                         {48, "Acct-Output-Packets"},
                                         {49, "Acct-Terminate-Cause"},
                                         {55, "Event-Timestamp"},
                                         {60, "CHAP-Challenge"},
                                         {61, "NAS-Port-Type"},
                                         {64, "Tunnel-Type"},
                                         {65, "Tunnel-Medium-Type"},
                                         {77, "Connect-Info"},
                                         {79, "EAP-Message"},
                                         {80, "Message-Authenticator"},
                                         {81, "Tunnel-Private-Group-Id"},
                                         {85, "Acct-Interim-Interval"},
                                         {87, "NAS-Port-Id"},
                                         {95, "NAS-IPv6-Address"}};

constexpr Field code{"radius.code", "Code", Wire::u8, codes};
constexpr Field identifier{"radius.id", "Identifier", Wire::u8};
constexpr Field length{"radius.length", "Length", Wire::u16};
constexpr Field authenticator{"radius.authenticator", "Authenticator", Wire::bytes};
constexpr Field attribute{"radius.attribute", "Attribute", Wire::number, attributeNames};
constexpr Field attributeType{"radius.attr_type", "Type", Wire::u8, attributeNames};
constexpr Field attributeLength{"radius.attr_len", "Length", Wire::u8};
constexpr Field userName{"radius.user_name", "User name", Wire::text};
constexpr Field text{"radius.attr_text", "Text", Wire::text};
constexpr Field number{"radius.attr_number", "Value", Wire::u32};
constexpr Field address{"radius.attr_address", "Address", Wire::ipv4};
constexpr Field vendor{"radius.attr_vendor", "Vendor", Wire::u32};
constexpr Field data{"radius.attr_data", "Data", Wire::bytes};

void readValue(Layer& radius, std::uint64_t kind)
{
    switch (kind) {
    case 1: radius.readText(userName, radius.left()); break;
    case 4:
    case 8:
    case 9: radius.read(address); break;
    case 11:
    case 18:
    case 30:
    case 31:
    case 32:
    case 44:
    case 77:
    case 87: radius.readText(text, radius.left()); break;
    case 26: radius.read(vendor); break;
    case 79: radius.embed(eap::protocol); break;
    default:
        if (radius.left() == 4 && kind != 24 && kind != 25)
            radius.read(number);
    }
    if (radius.more())
        radius.readRest(data);
}

void decode(Layer& radius)
{
    radius.read(code, identifier);
    const auto size = radius.read(length);
    radius.readBytes(authenticator, 16);
    if (size < 20)
        return radius.reject(length);
    const Layer::Window message(radius, size - 20);
    while (radius.more()) {
        const Layer::Group group(radius, attribute, radius.peek8());
        const auto kind = radius.read(attributeType), bytes = radius.read(attributeLength);
        if (bytes < 2)
            return radius.reject(attributeLength);
        const Layer::Window content(radius, bytes - 2);
        readValue(radius, kind);
    }
}

void describe(const LayerView& radius, TextSink& out)
{
    out("{} id={}", radius[code], radius[identifier]);
    if (const auto name = radius[userName])
        out(", user “{}”", name);
}

/// A length that is the datagram's, filled by attributes to the last byte.
Likeness guess(Bytes payload, Transport transport)
{
    constexpr std::size_t header = 20, longest = 4096;
    if (transport != Transport::udp || payload.size() < header || payload.size() > longest
        || nameIn(codes, payload[0]).empty() || load::be16(&payload[2]) != payload.size())
        return Likeness::none;
    std::size_t at = header;
    while (at + 2 <= payload.size() && payload[at] && payload[at + 1] >= 2)
        at += payload[at + 1];
    return at == payload.size() ? Likeness::likely : Likeness::none;
}

constexpr Claim claims[] = {udpPort(1812), udpPort(1813), udpPort(1645), udpPort(1646), udpPort(3799)};
} // namespace

constexpr Protocol protocol{{"radius", "RADIUS", Wire::layer}, {}, claims, decode, describe, guess,
                            opensOn({Transport::udp})};
static_assert(wellFormed(protocol));
} // namespace netrondo::radius
