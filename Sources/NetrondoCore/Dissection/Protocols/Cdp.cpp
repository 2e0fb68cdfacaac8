// Cisco Discovery Protocol: what a switch tells its neighbour.
#include "Dissection/Protocols/Protocols.h"

namespace netrondo::cdp {
namespace {
constexpr NamedValue types[] = {{1, "device ID"},
                                {2, "addresses"},
                                {3, "port ID"},
                                {4, "capabilities"},
                                {5, "software version"},
                                {6, "platform"},
                                {7, "IP prefixes"},
                                {8, "hello"},
                                {9, "VTP domain"},
                                {10, "native VLAN"},
                                {11, "duplex"},
                                {14, "VoIP VLAN"},
                                {16, "power consumption"},
                                {17, "MTU"},
                                {18, "trust"},
                                {20, "system name"},
                                {22, "management addresses"},
                                {26, "power available"}};
constexpr NamedValue duplexes[] = {{0, "half"}, {1, "full"}};

constexpr Field version{"cdp.version", "Version", Wire::u8};
constexpr Field lifetime{"cdp.ttl", "Time to live (s)", Wire::u8};
constexpr Field checksum{"cdp.checksum", "Checksum", Wire::hex16};
constexpr Field element{"cdp.tlv", "Element", Wire::number, types};
constexpr Field type{"cdp.tlv_type", "Type", Wire::hex16, types};
constexpr Field length{"cdp.tlv_len", "Length", Wire::u16};
constexpr Field device{"cdp.device", "Device", Wire::text};
constexpr Field port{"cdp.port", "Port", Wire::text};
constexpr Field capabilities{"cdp.capabilities", "Capabilities", Wire::hex32};
constexpr Field software{"cdp.software", "Software", Wire::text};
constexpr Field platform{"cdp.platform", "Platform", Wire::text};
constexpr Field domain{"cdp.vtp", "VTP domain", Wire::text};
constexpr Field nativeVlan{"cdp.native_vlan", "Native VLAN", Wire::u16};
constexpr Field duplex{"cdp.duplex", "Duplex", Wire::u8, duplexes};
constexpr Field count{"cdp.addresses", "Number of addresses", Wire::u32};
constexpr Field protocolType{"cdp.protocol_type", "Protocol type", Wire::u8};
constexpr Field protocolLength{"cdp.protocol_len", "Protocol length", Wire::u8};
constexpr Field protocolBytes{"cdp.protocol_bytes", "Protocol", Wire::bytes};
constexpr Field addressLength{"cdp.address_len", "Address length", Wire::u16};
constexpr Field address{"cdp.address", "Address", Wire::ipv4};
constexpr Field data{"cdp.data", "Data", Wire::bytes};

void readAddresses(Layer& cdp)
{
    const auto addresses = cdp.read(count);
    for (std::uint64_t i = 0; i < addresses && cdp.more(); ++i) {
        cdp.read(protocolType);
        cdp.readBytes(protocolBytes, cdp.read(protocolLength));
        const auto size = cdp.read(addressLength);
        if (size == 4)
            cdp.read(address);
        else
            cdp.readBytes(data, size);
    }
}

void readContent(Layer& cdp, std::uint64_t kind)
{
    switch (kind) {
    case 1: cdp.readText(device, cdp.left()); break;
    case 2:
    case 22: readAddresses(cdp); break;
    case 3: cdp.readText(port, cdp.left()); break;
    case 4: cdp.read(capabilities); break;
    case 5: cdp.readText(software, cdp.left()); break;
    case 6: cdp.readText(platform, cdp.left()); break;
    case 9: cdp.readText(domain, cdp.left()); break;
    case 10: cdp.read(nativeVlan); break;
    case 11: cdp.read(duplex); break;
    default: break;
    }
    if (cdp.more())
        cdp.readRest(data);
}

void decode(Layer& cdp)
{
    cdp.read(version, lifetime, checksum);
    while (cdp.more(4)) {
        const Layer::Group group(cdp, element, cdp.peek16());
        const auto kind = cdp.read(type), size = cdp.read(length);
        if (size < 4)
            return cdp.reject(length);
        const Layer::Window content(cdp, size - 4);
        readContent(cdp, kind);
    }
}

void describe(const LayerView& cdp, TextSink& out)
{
    out("Device “{}”, port {}", cdp[device], cdp[port]);
    if (const auto model = cdp[platform])
        out(", {}", model);
    if (const auto id = cdp[nativeVlan])
        out(", native VLAN {}", id);
}

constexpr Claim claims[] = {snapCisco(0x2000), greProtocol(0x2000)};
} // namespace

constexpr Protocol protocol{{"cdp", "CDP", Wire::layer}, {}, claims, decode, describe};
static_assert(wellFormed(protocol));
} // namespace netrondo::cdp
