// Open Shortest Path First versions 2 and 3 (RFC 2328, RFC 5340).
#include "Dissection/Protocols/Protocols.h"

namespace netrondo::ospf {
namespace {
constexpr NamedValue types[] = {
    {1, "Hello"}, {2, "Database Description"}, {3, "LS Request"}, {4, "LS Update"}, {5, "LS Acknowledge"}};

constexpr Field version{"ospf.version", "Version", Wire::u8};
constexpr Field type{"ospf.type", "Type", Wire::u8, types};
constexpr Field length{"ospf.len", "Length", Wire::u16};
constexpr Field router{"ospf.router", "Router", Wire::ipv4};
constexpr Field area{"ospf.area", "Area", Wire::ipv4};
constexpr Field checksum{"ospf.checksum", "Checksum", Wire::hex16};
constexpr Field authType{"ospf.auth_type", "Authentication type", Wire::u16};
constexpr Field authData{"ospf.auth", "Authentication", Wire::bytes};
constexpr Field instance{"ospf.instance", "Instance", Wire::u8};
constexpr Field reserved{"ospf.reserved", "Reserved", Wire::u8};
constexpr Field mask{"ospf.mask", "Network mask", Wire::ipv4};
constexpr Field helloInterval{"ospf.hello_interval", "Hello interval (s)", Wire::u16};
constexpr Field options{"ospf.options", "Options", Wire::hex8};
constexpr Field options3{"ospf.options", "Options", Wire::hex24};
constexpr Field priority{"ospf.priority", "Priority", Wire::u8};
constexpr Field deadInterval{"ospf.dead_interval", "Dead interval (s)", Wire::u32};
constexpr Field deadInterval3{"ospf.dead_interval", "Dead interval (s)", Wire::u16};
constexpr Field interface {
    "ospf.interface", "Interface ID", Wire::u32
};
constexpr Field designated{"ospf.dr", "Designated router", Wire::ipv4};
constexpr Field backup{"ospf.bdr", "Backup designated router", Wire::ipv4};
constexpr Field neighbour{"ospf.neighbour", "Neighbour", Wire::ipv4};
constexpr Field body{"ospf.body", "Body", Wire::bytes};

void readHello(Layer& ospf, std::uint64_t number)
{
    if (number == 2) {
        ospf.read(mask, helloInterval, options, priority);
        ospf.read(deadInterval);
    } else {
        ospf.read(interface, priority, options3);
        ospf.read(helloInterval, deadInterval3);
    }
    ospf.read(designated, backup);
    while (ospf.more(4))
        ospf.read(neighbour);
}

void decode(Layer& ospf)
{
    const auto number = ospf.read(version), kind = ospf.read(type), size = ospf.read(length);
    ospf.read(router, area, checksum);
    if (number == 2) {
        ospf.read(authType);
        ospf.readBytes(authData, 8);
    } else {
        ospf.read(instance, reserved);
    }
    const std::size_t header = number == 2 ? 24 : 16;
    if (size < header)
        return ospf.reject(length);
    {
        const Layer::Window message(ospf, size - header);
        if (kind == 1)
            readHello(ospf, number);
        if (ospf.more())
            ospf.readRest(body);
    }
    ospf.endHere(); // a cryptographic digest may follow
}

void describe(const LayerView& ospf, TextSink& out)
{
    out("{}, router {}, area {}", ospf[type], ospf[router], ospf[area]);
}

constexpr Claim claims[] = {ipProtocol(89)};
} // namespace

constexpr Protocol protocol{{"ospf", "OSPF", Wire::layer}, {}, claims, decode, describe};
static_assert(wellFormed(protocol));
} // namespace netrondo::ospf
