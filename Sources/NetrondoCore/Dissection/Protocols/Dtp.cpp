// Cisco's Dynamic Trunking Protocol: whether two switches make their link a trunk.
#include "Dissection/Protocols/Protocols.h"

namespace netrondo::dtp {
namespace {
constexpr NamedValue elements[] = {{1, "domain"}, {2, "status"}, {3, "type"}, {4, "neighbour"}};
constexpr NamedValue operations[] = {{0, "access"}, {1, "trunk"}};
constexpr NamedValue wishes[] = {{1, "on"}, {2, "off"}, {3, "desirable"}, {4, "auto"}, {5, "non-negotiate"}};
constexpr NamedValue encapsulations[] = {{1, "native"}, {2, "ISL"}, {5, "802.1Q"}};

constexpr Field version{"dtp.version", "Version", Wire::u8};
constexpr Field element{"dtp.tlv", "Element", Wire::number, elements};
constexpr Field type{"dtp.tlv_type", "Type", Wire::u16, elements};
constexpr Field length{"dtp.tlv_len", "Length", Wire::u16};
constexpr Field domain{"dtp.domain", "Domain", Wire::text};
constexpr Field status{"dtp.status", "Status", Wire::hex8};
constexpr Field operation{"dtp.operating", "Operates as", Wire::bits, operations, 0x80};
constexpr Field wish{"dtp.administrative", "Set to", Wire::bits, wishes, 0x07};
constexpr Field trunkType{"dtp.type", "Trunk type", Wire::hex8};
constexpr Field operatingType{"dtp.operating_type", "Encapsulation", Wire::bits, encapsulations, 0xe0};
constexpr Field wishedType{"dtp.administrative_type", "Encapsulation that is set", Wire::bits, encapsulations, 0x07};
constexpr Field neighbour{"dtp.neighbour", "Neighbour", Wire::mac};
constexpr Field data{"dtp.data", "Data", Wire::bytes};

void decode(Layer& dtp)
{
    dtp.read(version);
    while (dtp.more(4) && dtp.peek16(2) >= 4) {
        const Layer::Group group(dtp, element, dtp.peek16());
        const auto kind = dtp.read(type);
        const Layer::Window content(dtp, dtp.read(length) - 4);
        switch (kind) {
        case 1: dtp.readZeroText(domain); break;
        case 2: dtp.readParts(status, operation, wish); break;
        case 3: dtp.readParts(trunkType, operatingType, wishedType); break;
        case 4: dtp.read(neighbour); break;
        default: break;
        }
        if (dtp.more())
            dtp.readRest(data);
    }
    dtp.endHere();
}

void describe(const LayerView& dtp, TextSink& out)
{
    if (!dtp.has(status))
        return out("No status");
    out("Port is {}, operates as {}", dtp[wish], dtp[operation]);
    if (const auto how = dtp[operatingType])
        out(", {}", how);
    if (const auto where = dtp[domain]; where && !where.text().empty())
        out(", domain “{}”", where);
}

constexpr Claim claims[] = {snapCisco(0x2004)};
} // namespace

constexpr Protocol protocol{{"dtp", "DTP", Wire::layer}, {}, claims, decode, describe};
static_assert(wellFormed(protocol));
} // namespace netrondo::dtp
