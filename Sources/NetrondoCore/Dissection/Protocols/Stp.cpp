// Spanning Tree Protocol: STP, RSTP and MSTP (IEEE 802.1D, 802.1Q).
#include "Dissection/Protocols/Protocols.h"

namespace netrondo::stp {
namespace {
constexpr NamedValue versions[] = {{0, "STP"}, {2, "RSTP"}, {3, "MSTP"}, {4, "SPT"}};
constexpr NamedValue types[] = {
    {0x00, "Configuration"}, {0x02, "Rapid/Multiple spanning tree"}, {0x80, "Topology change notification"}};
constexpr NamedValue roles[] = {{0, "unknown"}, {1, "alternate or backup"}, {2, "root"}, {3, "designated"}};

constexpr Field identifier{"stp.protocol", "Protocol identifier", Wire::hex16};
constexpr Field version{"stp.version", "Version", Wire::u8, versions};
constexpr Field type{"stp.type", "BPDU type", Wire::hex8, types};
constexpr Field flags{"stp.flags", "Flags", Wire::hex8};
constexpr Field change{"stp.tc", "Topology change", Wire::bit, {}, 0x01};
constexpr Field proposal{"stp.proposal", "Proposal", Wire::bit, {}, 0x02};
constexpr Field role{"stp.role", "Port role", Wire::bits, roles, 0x0c};
constexpr Field learning{"stp.learning", "Learning", Wire::bit, {}, 0x10};
constexpr Field forwarding{"stp.forwarding", "Forwarding", Wire::bit, {}, 0x20};
constexpr Field agreement{"stp.agreement", "Agreement", Wire::bit, {}, 0x40};
constexpr Field changeAck{"stp.tca", "Topology change acknowledgment", Wire::bit, {}, 0x80};
constexpr Field rootPriority{"stp.root_priority", "Root priority", Wire::u16};
constexpr Field rootMac{"stp.root", "Root bridge", Wire::mac};
constexpr Field cost{"stp.cost", "Root path cost", Wire::u32};
constexpr Field bridgePriority{"stp.bridge_priority", "Bridge priority", Wire::u16};
constexpr Field bridgeMac{"stp.bridge", "Bridge", Wire::mac};
constexpr Field port{"stp.port", "Port", Wire::hex16};
constexpr Field messageAge{"stp.age", "Message age (1/256 s)", Wire::u16};
constexpr Field maxAge{"stp.max_age", "Maximum age (1/256 s)", Wire::u16};
constexpr Field hello{"stp.hello", "Hello time (1/256 s)", Wire::u16};
constexpr Field delay{"stp.delay", "Forward delay (1/256 s)", Wire::u16};
constexpr Field version1Length{"stp.v1_len", "Version 1 length", Wire::u8};
constexpr Field version3Length{"stp.v3_len", "Version 3 length", Wire::u16};
constexpr Field mstFormat{"stp.mst_format", "MST format", Wire::u8};
constexpr Field mstName{"stp.mst_name", "MST region", Wire::text};
constexpr Field mstRevision{"stp.mst_revision", "MST revision", Wire::u16};
constexpr Field mstDigest{"stp.mst_digest", "MST digest", Wire::bytes};
constexpr Field mstCost{"stp.mst_cost", "Internal root path cost", Wire::u32};
constexpr Field mstBridgePriority{"stp.mst_bridge_priority", "MST bridge priority", Wire::u16};
constexpr Field mstBridge{"stp.mst_bridge", "MST bridge", Wire::mac};
constexpr Field hops{"stp.mst_hops", "Remaining hops", Wire::u8};
constexpr Field instances{"stp.mst_rest", "Rest", Wire::bytes};
constexpr Field mstInstance{"stp.msti", "MST instance", Wire::number};
constexpr Field mstPriority{"stp.msti_priority", "Instance’s root priority and number", Wire::u16};
constexpr Field mstRoot{"stp.msti_root", "Instance’s regional root", Wire::mac};
constexpr Field mstInstanceCost{"stp.msti_cost", "Instance’s root path cost", Wire::u32};
constexpr Field mstOwnPriority{"stp.msti_bridge_priority", "Instance’s bridge priority", Wire::hex8};
constexpr Field mstPortPriority{"stp.msti_port_priority", "Instance’s port priority", Wire::hex8};

void readMultiple(Layer& stp)
{
    const auto size = stp.read(version3Length);
    const Layer::Window extension(stp, size);
    stp.read(mstFormat);
    const auto nameBytes = asText(stp.rest().first(std::min<std::size_t>(stp.left(), 32)));
    stp.add(mstName, 0, stp.offset(), std::min(nameBytes.find('\0'), nameBytes.size()));
    stp.skip(32);
    stp.read(mstRevision);
    stp.readBytes(mstDigest, 16);
    stp.read(mstCost, mstBridgePriority, mstBridge, hops);
    while (stp.more(16)) {
        const Layer::Group group(stp, mstInstance, stp.peek16(1) & 0x0fffu);
        stp.readParts(flags, change, proposal, role, learning, forwarding, agreement, changeAck);
        stp.read(mstPriority, mstRoot, mstInstanceCost, mstOwnPriority, mstPortPriority, hops);
    }
    if (stp.more())
        stp.readRest(instances);
}

void decode(Layer& stp)
{
    stp.read(identifier);
    const auto which = stp.read(version), kind = stp.read(type);
    if (kind == 0x80) {
        stp.endHere();
        return;
    }
    stp.readParts(flags, change, proposal, role, learning, forwarding, agreement, changeAck);
    stp.read(rootPriority, rootMac, cost, bridgePriority, bridgeMac, port);
    stp.read(messageAge, maxAge, hello, delay);
    if (which >= 2)
        stp.read(version1Length);
    if (which == 3 && stp.more(2))
        readMultiple(stp);
    stp.endHere();
}

void describe(const LayerView& stp, TextSink& out)
{
    const auto kind = stp[type];
    if (kind == 0x80)
        return out("Topology change notification");
    out("{} root {}/{}", stp[version], stp[rootPriority], stp[rootMac]);
    out(", cost {}, bridge {}/{}, port 0x", stp[cost], stp[bridgePriority], stp[bridgeMac]);
    out.putHex(stp[port].number(), 4);
    if (stp[change] == 1)
        out(", topology change");
}

// Cisco's per-VLAN form has the same body behind a SNAP header.
constexpr Claim claims[] = {llcSap(0x42), snapCisco(0x010b)};
} // namespace

constexpr Protocol protocol{{"stp", "STP", Wire::layer}, {}, claims, decode, describe};
static_assert(wellFormed(protocol));
} // namespace netrondo::stp
