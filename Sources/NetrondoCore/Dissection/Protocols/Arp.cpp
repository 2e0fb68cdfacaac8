// Address Resolution Protocol (RFC 826): who owns a network address, and who answers for it.
#include "Dissection/Protocols/EtherTypeNames.h"
#include "Dissection/Protocols/Protocols.h"

namespace netrondo::arp {
namespace {
constexpr NamedValue opcodes[] = {{1, "request"},       {2, "reply"},           {3, "reverse request"},
                                  {4, "reverse reply"}, {8, "inverse request"}, {9, "inverse reply"}};
constexpr NamedValue hardwareTypes[] = {{1, "Ethernet"}, {6, "IEEE 802"}, {15, "Frame Relay"}, {32, "InfiniBand"}};

constexpr Field hardware{"arp.hw", "ARP hardware type", Wire::u16, hardwareTypes};
constexpr Field network{"arp.proto", "ARP protocol type", Wire::hex16, etherTypeNames};
constexpr Field macLength{"arp.hlen", "ARP MAC length", Wire::u8};
constexpr Field ipLength{"arp.plen", "ARP address length", Wire::u8};
constexpr Field opcode{"arp.op", "ARP opcode", Wire::u16, opcodes};
constexpr Field senderMac{"arp.sha", "ARP sender MAC", Wire::mac};
constexpr Field senderIp{"arp.spa", "ARP sender IP", Wire::ipv4};
constexpr Field targetMac{"arp.tha", "ARP target MAC", Wire::mac};
constexpr Field targetIp{"arp.tpa", "ARP target IP", Wire::ipv4};

void decode(Layer& arp)
{
    arp.read(hardware, network);
    const auto macs = arp.read(macLength), ips = arp.read(ipLength);
    arp.read(opcode);
    if (macs != 6 || ips != 4) // other sizes belong to dead media; their tree ends at the opcode
        return;
    arp.read(senderMac, senderIp, targetMac, targetIp);
    arp.endHere();
}

void describe(const LayerView& arp, TextSink& out)
{
    const auto op = arp[opcode];
    const auto sender = arp[senderIp], mac = arp[senderMac], target = arp[targetIp];
    if (!target)
        return out("ARP {}", op);
    if (sender.number() == target.number())
        return out("{} announces itself at {}", sender, mac);
    if (op == 1 && sender == 0)
        return out("Who has {}? (probe)", target);
    if (op == 1)
        return out("Who has {}? Tell {}", target, sender);
    if (op == 2)
        return out("{} is at {}", sender, mac);
    if (op == 3)
        return out("Who is {}? Tell {}", arp[targetMac], mac);
    if (op == 4)
        return out("{} is at {}", arp[targetMac], target);
    out("ARP {} from {} to {}", op, sender, target);
}

constexpr const Field* catalogue[] = {&opcode, &senderIp, &targetIp, &senderMac, &targetMac};
constexpr Claim claims[] = {etherType(0x0806), etherType(0x8035)};
} // namespace

constexpr Protocol protocol{{"arp", "ARP", Wire::layer}, catalogue, claims, decode, describe};
static_assert(wellFormed(protocol));
} // namespace netrondo::arp
