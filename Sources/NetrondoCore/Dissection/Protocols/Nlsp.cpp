// NetWare Link Services Protocol: IS-IS for IPX (Novell's NLSP specification, 1.1).
#include "Dissection/Protocols/Protocols.h"

namespace netrondo::nlsp {
namespace {
constexpr NamedValue types[] = {{15, "Level 1 LAN hello"},
                                {17, "WAN hello"},
                                {18, "Level 1 link state"},
                                {24, "Level 1 list of link states"},
                                {26, "Level 1 request of link states"}};
constexpr NamedValue options[] = {{0xc0, "areas"},           {0x06, "neighbors"}, {0x09, "link states"},
                                  {0xc1, "management"},      {0xc2, "links"},     {0xc3, "services"},
                                  {0xc4, "external routes"}, {0xc5, "MTU"},       {0xc6, "local circuit"}};

constexpr Field discriminator{"nlsp.discriminator", "Protocol", Wire::hex8};
constexpr Field headerLength{"nlsp.header_len", "Header length", Wire::u8};
constexpr Field minor{"nlsp.minor", "Minor version", Wire::u8};
constexpr Field reserved8{"nlsp.reserved", "Reserved", Wire::hex8};
constexpr Field typeByte{"nlsp.type_byte", "Flags and type", Wire::hex8};
constexpr Field type{"nlsp.type", "Packet type", Wire::bits, types, 0x1f};
constexpr Field major{"nlsp.major", "Major version", Wire::u8};
constexpr Field reserved{"nlsp.reserved", "Reserved", Wire::hex16};
constexpr Field circuit{"nlsp.circuit", "Circuit", Wire::hex8};
constexpr Field source{"nlsp.source", "Source", Wire::mac};
constexpr Field holdTime{"nlsp.hold", "Hold time (s)", Wire::u16};
constexpr Field length{"nlsp.len", "Length", Wire::u16};
constexpr Field priority{"nlsp.priority", "Priority", Wire::u8};
constexpr Field router{"nlsp.router", "Designated router", Wire::mac};
constexpr Field pseudonode{"nlsp.pseudonode", "Pseudonode", Wire::u8};
constexpr Field lifetime{"nlsp.lifetime", "Lifetime left (s)", Wire::u16};
constexpr Field origin{"nlsp.origin", "Originator", Wire::mac};
constexpr Field piece{"nlsp.piece", "Piece", Wire::u8};
constexpr Field sequence{"nlsp.seq", "Sequence number", Wire::hex32};
constexpr Field checksum{"nlsp.checksum", "Checksum", Wire::hex16};
constexpr Field state{"nlsp.state", "State", Wire::hex8};
constexpr Field option{"nlsp.option", "Option", Wire::number, options};
constexpr Field optionCode{"nlsp.option_code", "Code", Wire::hex8};
constexpr Field optionLength{"nlsp.option_len", "Length", Wire::u8};
constexpr Field network{"nlsp.area", "Area", Wire::hex32};
constexpr Field mask{"nlsp.mask", "Mask", Wire::hex32};
constexpr Field mtu{"nlsp.mtu", "MTU", Wire::u32};
constexpr Field data{"nlsp.data", "Data", Wire::bytes};

void readOption(Layer& nlsp)
{
    const Layer::Group group(nlsp, option, nlsp.peek8());
    const auto code = nlsp.read(optionCode), size = nlsp.read(optionLength);
    const Layer::Window content(nlsp, size);
    while (code == 0xc0 && nlsp.more(8))
        nlsp.read(network, mask);
    if (code == 0xc5 && size == 4)
        nlsp.read(mtu);
    if (nlsp.more())
        nlsp.readRest(data);
}

void readLinkStateId(Layer& nlsp)
{
    nlsp.read(origin, pseudonode, piece);
}

void readHeader(Layer& nlsp, std::uint64_t kind)
{
    switch (kind) {
    case 15: nlsp.read(circuit, source, holdTime, length, priority, router, pseudonode); break;
    case 17: nlsp.read(circuit, source, holdTime, length, pseudonode); break;
    case 18:
        nlsp.read(length, lifetime);
        readLinkStateId(nlsp);
        nlsp.read(sequence, checksum, state);
        break;
    case 24:
        nlsp.read(length, source, pseudonode);
        readLinkStateId(nlsp);
        readLinkStateId(nlsp);
        break;
    case 26: nlsp.read(length, source, pseudonode); break;
    default: nlsp.reject(type);
    }
}

void decode(Layer& nlsp)
{
    nlsp.read(discriminator, headerLength, minor, reserved8);
    const auto kind = nlsp.readParts(typeByte, type) & 0x1f;
    nlsp.read(major, reserved);
    readHeader(nlsp, kind);
    while (nlsp.more(2))
        readOption(nlsp);
    nlsp.endHere();
}

void describe(const LayerView& nlsp, TextSink& out)
{
    out("{}", nlsp[type]);
    if (const auto from = nlsp[source])
        out(" from {}", from);
    if (const auto who = nlsp[router])
        out(", router {}.{}", who, nlsp[pseudonode]);
    if (const auto who = nlsp[origin]; who && nlsp.has(sequence))
        out(" of {}.{}-{}, sequence {}", who, nlsp[pseudonode], nlsp[piece], nlsp[sequence]);
    if (const auto where = nlsp[network])
        out(", area {}/{}", where, nlsp[mask]);
}

constexpr Claim claims[] = {ipxSocket(0x9001)};
} // namespace

constexpr Protocol protocol{{"nlsp", "NLSP", Wire::layer}, {}, claims, decode, describe};
static_assert(wellFormed(protocol));
} // namespace netrondo::nlsp
