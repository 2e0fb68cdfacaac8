// PPP over Ethernet (RFC 2516), PPP itself (RFC 1661) and its control protocols.
#include "Dissection/Protocols/Protocols.h"

namespace netrondo {

namespace pppoe {
namespace {
constexpr NamedValue codes[] = {{0x00, "Session data"},   {0x07, "Offer (PADO)"},        {0x09, "Initiation (PADI)"},
                                {0x19, "Request (PADR)"}, {0x65, "Confirmation (PADS)"}, {0xa7, "Terminate (PADT)"}};
constexpr NamedValue tags[] = {
    {0x0101, "service name"}, {0x0102, "concentrator name"}, {0x0103, "host unique"},  {0x0104, "cookie"},
    {0x0105, "vendor"},       {0x0110, "relay session"},     {0x0203, "generic error"}};

constexpr Field version{"pppoe.version", "Version and type", Wire::hex8};
constexpr Field code{"pppoe.code", "Code", Wire::hex8, codes};
constexpr Field session{"pppoe.session", "Session", Wire::hex16};
constexpr Field length{"pppoe.len", "Payload length", Wire::u16};
constexpr Field tagType{"pppoe.tag", "Tag", Wire::hex16, tags};
constexpr Field tagLength{"pppoe.tag_len", "Length", Wire::u16};
constexpr Field tagText{"pppoe.tag_value", "Value", Wire::text};

void decode(Layer& pppoe)
{
    pppoe.read(version);
    const auto kind = pppoe.read(code);
    pppoe.read(session);
    const auto size = pppoe.read(length);
    if (kind == 0) {
        pppoe.handOver(ppp::protocol, size);
    } else {
        const Layer::Window list(pppoe, size);
        while (pppoe.more(4)) {
            pppoe.read(tagType);
            const auto bytes = pppoe.read(tagLength);
            if (bytes)
                pppoe.readText(tagText, bytes);
        }
    }
    pppoe.endHere();
}

void describe(const LayerView& pppoe, TextSink& out)
{
    out("{}, session {}", pppoe[code], pppoe[session]);
}

constexpr Claim claims[] = {etherType(0x8863), etherType(0x8864)};
} // namespace

constexpr Protocol protocol{{"pppoe", "PPPoE", Wire::layer}, {}, claims, decode, describe};
static_assert(wellFormed(protocol));
} // namespace pppoe

namespace ppp {
namespace {
constexpr NamedValue protocols[] = {{0x0021, "IPv4"},     {0x0057, "IPv6"}, {0x0281, "MPLS"}, {0x8021, "IPCP"},
                                    {0x8057, "IPv6CP"},   {0x80fd, "CCP"},  {0xc021, "LCP"},  {0xc023, "PAP"},
                                    {0xc025, "LQR"},      {0xc223, "CHAP"}, {0xc227, "EAP"},  {0x00fd, "compressed"},
                                    {0x003d, "multilink"}};

constexpr Field address{"ppp.address", "Address", Wire::hex8};
constexpr Field control{"ppp.control", "Control", Wire::hex8};
constexpr Field next{"ppp.proto", "Protocol", Wire::hex16, protocols};
constexpr Field shortNext{"ppp.proto", "Protocol", Wire::hex8, protocols};

void decode(Layer& ppp)
{
    if (ppp.peek16() == 0xff03)
        ppp.read(address, control);
    // An odd first byte is a whole compressed number (RFC 1661, 6.5).
    const auto number = ppp.peek8() & 1 ? ppp.read(shortNext) : ppp.read(next);
    ppp.handOver(pppProtocol(static_cast<std::uint16_t>(number)));
}

void describe(const LayerView& ppp, TextSink& out)
{
    out("PPP {}{}", ppp[next], ppp[shortNext]);
}

constexpr Claim claims[] = {linkTypeIs(9), etherType(0x880b), greProtocol(0x880b)};
} // namespace

constexpr Protocol protocol{{"ppp", "PPP", Wire::layer}, {}, claims, decode, describe};
static_assert(wellFormed(protocol));
} // namespace ppp

namespace pppcontrol {
namespace {
constexpr NamedValue codes[] = {{1, "Configure-Request"}, {2, "Configure-Ack"},     {3, "Configure-Nak"},
                                {4, "Configure-Reject"},  {5, "Terminate-Request"}, {6, "Terminate-Ack"},
                                {7, "Code-Reject"},       {8, "Protocol-Reject"},   {9, "Echo-Request"},
                                {10, "Echo-Reply"},       {11, "Discard-Request"}};

constexpr Field code{"pppcontrol.code", "Code", Wire::u8, codes};
constexpr Field identifier{"pppcontrol.id", "Identifier", Wire::u8};
constexpr Field length{"pppcontrol.len", "Length", Wire::u16};
constexpr Field data{"pppcontrol.data", "Data", Wire::bytes};

void decode(Layer& control)
{
    control.read(code, identifier);
    const auto size = control.read(length);
    if (size < 4)
        return control.reject(length);
    if (size > 4)
        control.readBytes(data, size - 4);
    control.endHere();
}

void describe(const LayerView& control, TextSink& out)
{
    out("{} id={}", control[code], control[identifier]);
}

constexpr Claim claims[] = {pppProtocol(0xc021), pppProtocol(0x8021), pppProtocol(0x8057),
                            pppProtocol(0x80fd), pppProtocol(0xc023), pppProtocol(0xc223)};
} // namespace

constexpr Protocol protocol{{"pppcontrol", "PPP control", Wire::layer}, {}, claims, decode, describe};
static_assert(wellFormed(protocol));
} // namespace pppcontrol

} // namespace netrondo
