// What bridges and stations say to each other below the network layer: pause frames (IEEE 802.3x), LACP (802.1AX),
// the MACsec header (802.1AE).
#include "Dissection/Protocols/EtherTypeNames.h"
#include "Dissection/Protocols/Protocols.h"

namespace netrondo {

namespace maccontrol {
namespace {
constexpr NamedValue opcodes[] = {{1, "Pause"}, {0x0101, "Priority flow control"}};

constexpr Field opcode{"maccontrol.opcode", "Opcode", Wire::hex16, opcodes};
constexpr Field time{"maccontrol.time", "Pause time (512 bit times)", Wire::u16};
constexpr Field classes{"maccontrol.classes", "Classes", Wire::hex16};

void decode(Layer& control)
{
    const auto kind = control.read(opcode);
    if (kind == 1)
        control.read(time);
    if (kind == 0x0101) {
        control.read(classes);
        for (int i = 0; i < 8; ++i)
            control.read(time);
    }
    control.endHere();
}

void describe(const LayerView& control, TextSink& out)
{
    out("{}", control[opcode]);
    if (const auto quanta = control[time])
        out(", {} × 512 bit times", quanta);
}

constexpr Claim claims[] = {etherType(0x8808)};
} // namespace

constexpr Protocol protocol{{"maccontrol", "MAC control", Wire::layer}, {}, claims, decode, describe};
static_assert(wellFormed(protocol));
} // namespace maccontrol

namespace slow {
namespace {
constexpr NamedValue subtypes[] = {{1, "LACP"}, {2, "Marker"}, {3, "OAM"}, {10, "OSSP"}};
constexpr NamedValue parts[] = {{0, "end"}, {1, "actor"}, {2, "partner"}, {3, "collector"}};
constexpr NamedValue states[] = {{0x01, "active"},          {0x02, "short timeout"}, {0x04, "aggregation"},
                                 {0x08, "synchronization"}, {0x10, "collecting"},    {0x20, "distributing"},
                                 {0x40, "defaulted"},       {0x80, "expired"}};

constexpr Field subtype{"slow.subtype", "Subtype", Wire::u8, subtypes};
constexpr Field version{"slow.version", "Version", Wire::u8};
constexpr Field part{"slow.part", "Part", Wire::u8, parts};
constexpr Field length{"slow.len", "Length", Wire::u8};
constexpr Field systemPriority{"slow.system_priority", "System priority", Wire::u16};
constexpr Field system{"slow.system", "System", Wire::mac};
constexpr Field key{"slow.key", "Key", Wire::hex16};
constexpr Field portPriority{"slow.port_priority", "Port priority", Wire::u16};
constexpr Field port{"slow.port", "Port", Wire::u16};
constexpr Field state{"slow.state", "State", Wire::flags8, states};
constexpr Field collectorDelay{"slow.collector_delay", "Collector’s largest delay (10 µs)", Wire::u16};
constexpr Field transaction{"slow.transaction", "Transaction", Wire::hex32};
constexpr Field data{"slow.data", "Data", Wire::bytes};

void decode(Layer& slow)
{
    const auto kind = slow.read(subtype);
    slow.read(version);
    for (int i = 0; kind == 1 && i < 2 && slow.more(20); ++i) { // the actor, then its partner
        slow.read(part, length, systemPriority, system);
        slow.read(key, portPriority, port, state);
        slow.skip(3);
    }
    if (kind == 1 && slow.more(16) && slow.peek8() == 3)
        slow.read(part, length, collectorDelay), slow.skip(12);
    if (kind == 2 && slow.more(16))
        slow.read(part, length, port, system, transaction);
    if (slow.more())
        slow.readRest(data);
}

void describe(const LayerView& slow, TextSink& out)
{
    out("{}", slow[subtype]);
    if (const auto who = slow[system]) // the actor, which stands before the partner
        out(" system {}, port {}, {}", who, slow[port], slow[state]);
}

constexpr Claim claims[] = {etherType(0x8809)};
} // namespace

constexpr Protocol protocol{{"slow", "LACP", Wire::layer}, {}, claims, decode, describe};
static_assert(wellFormed(protocol));
} // namespace slow

namespace macsec {
namespace {
constexpr Field control{"macsec.tci", "Tag control and association", Wire::hex8};
constexpr Field hasChannel{"macsec.sc", "Secure channel present", Wire::bit, {}, 0x20};
constexpr Field encrypted{"macsec.e", "Encrypted", Wire::bit, {}, 0x08};
constexpr Field changed{"macsec.c", "Changed text", Wire::bit, {}, 0x04};
constexpr Field association{"macsec.an", "Association", Wire::bits, {}, 0x03};
constexpr Field shortLength{"macsec.sl", "Short length", Wire::u8};
constexpr Field packetNumber{"macsec.pn", "Packet number", Wire::u32};
constexpr Field channel{"macsec.sci", "Secure channel", Wire::hex64};
constexpr Field type{"macsec.etype", "EtherType", Wire::hex16, etherTypeNames};
constexpr Field data{"macsec.data", "Protected data", Wire::bytes};

void decode(Layer& macsec)
{
    const auto bits = macsec.readParts(control, hasChannel, encrypted, changed, association);
    macsec.read(shortLength, packetNumber);
    if (bits & 0x20)
        macsec.read(channel);
    if (bits & 0x0c || macsec.leftOnWire() < 18) {
        if (macsec.more())
            macsec.readRest(data);
        return;
    }
    // Only authenticated: the payload is readable, and a check value of 16 bytes ends the frame.
    const auto next = static_cast<std::uint16_t>(macsec.read(type));
    macsec.handOver(etherType(next), macsec.leftOnWire() - 16);
    macsec.endHere();
}

void describe(const LayerView& macsec, TextSink& out)
{
    out("MACsec, packet {}{}", macsec[packetNumber], macsec[encrypted] == 1 ? ", encrypted" : "");
}

constexpr Claim claims[] = {etherType(0x88e5)};
} // namespace

constexpr Protocol protocol{{"macsec", "MACsec", Wire::layer}, {}, claims, decode, describe};
static_assert(wellFormed(protocol));
} // namespace macsec

} // namespace netrondo
