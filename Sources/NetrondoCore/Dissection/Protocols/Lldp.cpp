// Link Layer Discovery Protocol (IEEE 802.1AB): what a switch tells its neighbour.
#include "Dissection/Protocols/Protocols.h"

namespace netrondo::lldp {
namespace {
constexpr NamedValue types[] = {{0, "end"},
                                {1, "chassis ID"},
                                {2, "port ID"},
                                {3, "time to live"},
                                {4, "port description"},
                                {5, "system name"},
                                {6, "system description"},
                                {7, "capabilities"},
                                {8, "management address"},
                                {127, "organization"}};

constexpr Field element{"lldp.tlv", "Element", Wire::number, types};
constexpr Field header{"lldp.tlv_header", "Type and length", Wire::hex16};
constexpr Field type{"lldp.tlv_type", "Type", Wire::bits, types, 0xfe00};
constexpr Field length{"lldp.tlv_len", "Length", Wire::bits, {}, 0x01ff};
constexpr Field subtype{"lldp.subtype", "Subtype", Wire::u8};
constexpr Field chassisMac{"lldp.chassis_mac", "Chassis", Wire::mac};
constexpr Field chassisText{"lldp.chassis", "Chassis", Wire::text};
constexpr Field portMac{"lldp.port_mac", "Port", Wire::mac};
constexpr Field portText{"lldp.port", "Port", Wire::text};
constexpr Field lifetime{"lldp.ttl", "Time to live (s)", Wire::u16};
constexpr Field portDescription{"lldp.port_description", "Port description", Wire::text};
constexpr Field systemName{"lldp.system_name", "System name", Wire::text};
constexpr Field systemDescription{"lldp.system_description", "System description", Wire::text};
constexpr Field capabilities{"lldp.capabilities", "Capabilities", Wire::hex16};
constexpr Field enabled{"lldp.enabled", "Enabled capabilities", Wire::hex16};
constexpr Field addressLength{"lldp.address_len", "Address length", Wire::u8};
constexpr Field management{"lldp.management", "Management address", Wire::ipv4};
constexpr Field organization{"lldp.oui", "Organization", Wire::hex24};
constexpr Field vlan{"lldp.vlan", "Port VLAN", Wire::u16};
constexpr Field management6{"lldp.management", "Management address", Wire::ipv6};
constexpr Field numbering{"lldp.numbering", "Interface numbering", Wire::u8};
constexpr Field interface {
    "lldp.interface", "Interface number", Wire::u32
};
constexpr Field nameLength{"lldp.name_len", "Name length", Wire::u8};
constexpr Field vlanName{"lldp.vlan_name", "VLAN name", Wire::text};
constexpr Field negotiation{"lldp.negotiation", "Autonegotiation", Wire::hex8};
constexpr Field advertised{"lldp.advertised", "Advertised speeds", Wire::hex16};
constexpr Field mediaType{"lldp.mau", "Operational medium", Wire::u16};
constexpr Field powerBits{"lldp.power", "Power support", Wire::hex8};
constexpr Field powerPair{"lldp.power_pair", "Power pair", Wire::u8};
constexpr Field powerClass{"lldp.power_class", "Power class", Wire::u8};
constexpr Field aggregation{"lldp.aggregation", "Aggregation status", Wire::hex8};
constexpr Field aggregateId{"lldp.aggregate", "Aggregated port", Wire::u32};
constexpr Field frameSize{"lldp.max_frame", "Largest frame", Wire::u16};
constexpr Field mediaCapabilities{"lldp.med_capabilities", "Media capabilities", Wire::hex16};
constexpr Field mediaClass{"lldp.med_class", "Media class", Wire::u8};
constexpr Field policy{"lldp.med_policy", "Network policy", Wire::hex32};
constexpr Field policyApplication{"lldp.med_application", "Application", Wire::bits, {}, 0xff000000};
constexpr Field policyVlan{"lldp.med_vlan", "Policy VLAN", Wire::bits, {}, 0x001ffe00};
constexpr Field inventory{"lldp.med_inventory", "Inventory", Wire::text};
constexpr Field data{"lldp.data", "Data", Wire::bytes};

void readId(Layer& lldp, const Field& mac, const Field& text, std::uint64_t macSubtype)
{
    const auto kind = lldp.read(subtype);
    if (kind == macSubtype && lldp.left() == 6)
        lldp.read(mac);
    else if (lldp.left())
        lldp.readText(text, lldp.left());
}

void readManagement(Layer& lldp)
{
    const auto size = lldp.read(addressLength), kind = lldp.read(subtype);
    if (kind == 1 && size == 5)
        lldp.read(management);
    else if (kind == 2 && size == 17)
        lldp.read(management6);
    else if (size > 1)
        lldp.readBytes(data, size - 1);
    lldp.read(numbering, interface);
}

/// The elements of IEEE 802.1, IEEE 802.3 and of media endpoints (TIA-1057).
void readOrganization(Layer& lldp)
{
    constexpr std::uint64_t bridging = 0x0080c2, ethernet = 0x00120f, media = 0x0012bb;
    const auto who = lldp.read(organization), what = lldp.read(subtype);
    if (who == bridging && what == 1) {
        lldp.read(vlan);
    } else if (who == bridging && what == 3) {
        lldp.read(vlan);
        lldp.readText(vlanName, lldp.read(nameLength));
    } else if (who == ethernet && what == 1) {
        lldp.read(negotiation, advertised, mediaType);
    } else if (who == ethernet && what == 2) {
        lldp.read(powerBits, powerPair, powerClass);
    } else if (who == ethernet && what == 3) {
        lldp.read(aggregation, aggregateId);
    } else if (who == ethernet && what == 4) {
        lldp.read(frameSize);
    } else if (who == media && what == 1) {
        lldp.read(mediaCapabilities, mediaClass);
    } else if (who == media && what == 2) {
        lldp.readParts(policy, policyApplication, policyVlan);
    } else if (who == media && what >= 5 && what <= 11) {
        lldp.readText(inventory, lldp.left());
    }
}

void readContent(Layer& lldp, std::uint64_t kind)
{
    switch (kind) {
    case 1: readId(lldp, chassisMac, chassisText, 4); break;
    case 2: readId(lldp, portMac, portText, 3); break;
    case 3: lldp.read(lifetime); break;
    case 4: lldp.readText(portDescription, lldp.left()); break;
    case 5: lldp.readText(systemName, lldp.left()); break;
    case 6: lldp.readText(systemDescription, lldp.left()); break;
    case 7: lldp.read(capabilities, enabled); break;
    case 8: readManagement(lldp); break;
    case 127: readOrganization(lldp); break;
    default: break;
    }
    if (lldp.more())
        lldp.readRest(data);
}

void decode(Layer& lldp)
{
    while (lldp.more()) {
        const Layer::Group group(lldp, element, lldp.peek8() >> 1);
        const auto word = lldp.readParts(header, type, length);
        if (lldp.stopped() || word >> 9 == 0)
            break;
        const Layer::Window content(lldp, word & 0x1ff);
        readContent(lldp, word >> 9);
    }
    lldp.endHere();
}

void describe(const LayerView& lldp, TextSink& out)
{
    if (const auto name = lldp[systemName])
        out("“{}” ", name);
    out("chassis {}{}, port {}{}", lldp[chassisMac], lldp[chassisText], lldp[portMac], lldp[portText]);
    if (const auto seconds = lldp[lifetime])
        out(", TTL {} s", seconds);
}

constexpr Claim claims[] = {etherType(0x88cc)};
} // namespace

constexpr Protocol protocol{{"lldp", "LLDP", Wire::layer}, {}, claims, decode, describe};
static_assert(wellFormed(protocol));
} // namespace netrondo::lldp
