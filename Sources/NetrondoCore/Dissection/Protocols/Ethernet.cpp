// Ethernet II and IEEE 802.3: who sends to whom on the link, and what the frame carries.
#include "Dissection/Protocols/EtherTypeNames.h"
#include "Dissection/Protocols/Protocols.h"

namespace netrondo::eth {
namespace {
constexpr std::uint16_t firstEtherType = 0x600; // below it the field is a length (IEEE 802.3, 3.2.6)

constexpr Field destination{"eth.dst", "Ethernet destination", Wire::mac};
constexpr Field source{"eth.src", "Ethernet source", Wire::mac};
constexpr Field address{"eth.addr", "Ethernet source or destination", Wire::none, {}, 0, From::either};
constexpr Field type{"eth.type", "EtherType", Wire::hex16, etherTypeNames};
constexpr Field length{"eth.len", "IEEE 802.3 length", Wire::u16};

void decode(Layer& eth)
{
    const auto to = eth.read(destination), from = eth.read(source);
    if (!eth.stopped() && !eth.isQuoted()) {
        eth.summary().source = Address::mac(from);
        eth.summary().destination = Address::mac(to);
    }
    if (eth.left() >= 2 && eth.peek16() < firstEtherType) {
        const auto size = eth.read(length);
        eth.handOver(etherType(static_cast<std::uint16_t>(size)), size);
        return eth.endHere();
    }
    const auto next = eth.read(type);
    eth.handOver(etherType(static_cast<std::uint16_t>(next)));
}

void describe(const LayerView& eth, TextSink& out)
{
    if (eth.has(length))
        return out("IEEE 802.3, {} bytes", eth[length]);
    out("EtherType {}", eth[type]);
}

constexpr const Field* catalogue[] = {&source, &destination, &address, &type};
constexpr Claim claims[] = {linkTypeIs(1), greProtocol(0x6558)};
} // namespace

constexpr Protocol protocol{{"eth", "Ethernet", Wire::layer}, catalogue, claims, decode, describe};
static_assert(wellFormed(protocol));
} // namespace netrondo::eth

namespace netrondo::vlan {
namespace {
constexpr std::uint16_t firstEtherType = 0x600;

constexpr Field control{"vlan.tci", "Tag control information", Wire::hex16};
constexpr Field priority{"vlan.priority", "Priority", Wire::bits, {}, 0xe000};
constexpr Field dropEligible{"vlan.dei", "Drop eligible", Wire::bit, {}, 0x1000};
constexpr Field id{"vlan.id", "VLAN", Wire::bits, {}, 0x0fff};
constexpr Field type{"vlan.etype", "EtherType", Wire::hex16, etherTypeNames};
constexpr Field length{"vlan.len", "IEEE 802.3 length", Wire::u16};

void decode(Layer& vlan)
{
    vlan.readParts(control, priority, dropEligible, id);
    if (vlan.left() >= 2 && vlan.peek16() < firstEtherType) {
        const auto size = vlan.read(length);
        vlan.handOver(etherType(static_cast<std::uint16_t>(size)), size);
        return vlan.endHere();
    }
    const auto next = vlan.read(type);
    vlan.handOver(etherType(static_cast<std::uint16_t>(next)));
}

void describe(const LayerView& vlan, TextSink& out)
{
    out("VLAN {}, priority {}", vlan[id], vlan[priority]);
}

constexpr Claim claims[] = {etherType(0x8100), etherType(0x88a8), etherType(0x9100), etherType(0x9200)};
} // namespace

constexpr Protocol protocol{{"vlan", "VLAN", Wire::layer}, {}, claims, decode, describe};
static_assert(wellFormed(protocol));
} // namespace netrondo::vlan
