// Internet Control Message Protocol (RFC 792, 1256, 4884).
#include "Dissection/Protocols/Checksums.h"
#include "Dissection/Protocols/Protocols.h"

namespace netrondo::icmp {
namespace {
constexpr NamedValue types[] = {{0, "Echo reply"},           {3, "Destination unreachable"},
                                {4, "Source quench"},        {5, "Redirect"},
                                {8, "Echo request"},         {9, "Router advertisement"},
                                {10, "Router solicitation"}, {11, "Time exceeded"},
                                {12, "Parameter problem"},   {13, "Timestamp request"},
                                {14, "Timestamp reply"},     {15, "Information request"},
                                {16, "Information reply"},   {17, "Address mask request"},
                                {18, "Address mask reply"},  {42, "Extended echo request"},
                                {43, "Extended echo reply"}};
constexpr NamedValue unreachable[] = {{0, "network unreachable"},
                                      {1, "host unreachable"},
                                      {2, "protocol unreachable"},
                                      {3, "port unreachable"},
                                      {4, "fragmentation needed"},
                                      {5, "source route failed"},
                                      {6, "network unknown"},
                                      {7, "host unknown"},
                                      {9, "network prohibited"},
                                      {10, "host prohibited"},
                                      {11, "network unreachable for service"},
                                      {12, "host unreachable for service"},
                                      {13, "communication prohibited"},
                                      {14, "host precedence violation"},
                                      {15, "precedence cutoff"}};
constexpr NamedValue redirects[] = {
    {0, "for the network"}, {1, "for the host"}, {2, "for service and network"}, {3, "for service and host"}};
constexpr NamedValue exceeded[] = {{0, "TTL expired in transit"}, {1, "fragment reassembly time exceeded"}};

constexpr Field type{"icmp.type", "ICMP type", Wire::u8, types};
constexpr Field code{"icmp.code", "ICMP code", Wire::u8};
constexpr Field unreachableCode{"icmp.code", "ICMP code", Wire::u8, unreachable};
constexpr Field redirectCode{"icmp.code", "ICMP code", Wire::u8, redirects};
constexpr Field exceededCode{"icmp.code", "ICMP code", Wire::u8, exceeded};
constexpr Field checksum{"icmp.checksum", "ICMP checksum", Wire::checksum16};
constexpr Field identifier{"icmp.ident", "Identifier", Wire::hex16};
constexpr Field sequence{"icmp.seq", "Sequence number", Wire::u16};
constexpr Field unused{"icmp.unused", "Unused", Wire::hex16};
constexpr Field mtu{"icmp.mtu", "MTU of the next hop", Wire::u16};
constexpr Field gateway{"icmp.gateway", "Gateway", Wire::ipv4};
constexpr Field pointer{"icmp.pointer", "Pointer", Wire::u8};
constexpr Field originate{"icmp.originate", "Originate timestamp", Wire::u32};
constexpr Field received{"icmp.receive", "Receive timestamp", Wire::u32};
constexpr Field transmitted{"icmp.transmit", "Transmit timestamp", Wire::u32};
constexpr Field mask{"icmp.mask", "Address mask", Wire::ipv4};
constexpr Field addressCount{"icmp.addresses", "Number of addresses", Wire::u8};
constexpr Field entrySize{"icmp.entry_size", "Words per address", Wire::u8};
constexpr Field lifetime{"icmp.lifetime", "Lifetime", Wire::u16};
constexpr Field router{"icmp.router", "Router", Wire::ipv4};
constexpr Field preference{"icmp.preference", "Preference", Wire::i32};
constexpr Field payload{"icmp.data", "Data", Wire::bytes};

const Field& codeOf(std::uint64_t kind)
{
    return kind == 3 ? unreachableCode : kind == 5 ? redirectCode : kind == 11 ? exceededCode : code;
}

/// The packet that the message is about; a sender cuts it short, which is no fault.
void quote(Layer& icmp)
{
    icmp.frame().quotes = true;
    icmp.handOver(etherType(0x0800));
}

void readError(Layer& icmp, std::uint64_t kind, std::uint64_t reason)
{
    if (kind == 5)
        icmp.read(gateway);
    else if (kind == 12)
        icmp.read(pointer), icmp.skip(3);
    else if (kind == 3 && reason == 4)
        icmp.read(unused, mtu);
    else
        icmp.read(unused, unused);
    quote(icmp);
}

void readRouters(Layer& icmp)
{
    const auto routers = icmp.read(addressCount);
    icmp.read(entrySize, lifetime);
    for (std::uint64_t i = 0; i < routers && icmp.more(8); ++i)
        icmp.read(router, preference);
}

void decode(Layer& icmp)
{
    const auto kind = icmp.read(type);
    const auto reason = icmp.read(codeOf(kind));
    if (icmp.isCut() || icmp.frame().isFragment || icmp.isQuoted())
        icmp.read(checksum);
    else
        checksums::read(icmp, checksum, icmp.whole(), 0, Expert::icmpChecksum);
    switch (kind) {
    case 0:
    case 8:
    case 42:
    case 43:
        icmp.read(identifier, sequence);
        if (icmp.left())
            icmp.readRest(payload);
        break;
    case 3:
    case 4:
    case 5:
    case 11:
    case 12: readError(icmp, kind, reason); break;
    case 9: readRouters(icmp); break;
    case 13:
    case 14: icmp.read(identifier, sequence, originate, received, transmitted); break;
    case 15:
    case 16: icmp.read(identifier, sequence); break;
    case 17:
    case 18: icmp.read(identifier, sequence, mask); break;
    default: break;
    }
}

void describe(const LayerView& icmp, TextSink& out)
{
    const auto kind = icmp[type];
    out("{}", kind);
    const auto seq = icmp[sequence];
    if (seq)
        return out(" id={} seq={}", icmp[identifier], seq);
    const auto reason = icmp[codeOf(kind.number())];
    if (reason && (reason.number() || reason.node()->field != &code))
        out(" ({})", reason);
    if (const auto value = icmp[mtu])
        out(", next MTU {}", value);
    if (const auto value = icmp[gateway])
        out(", use {}", value);
}

constexpr const Field* catalogue[] = {&type, &code};
constexpr Claim claims[] = {ipProtocol(1)};
} // namespace

constexpr Protocol protocol{{"icmp", "ICMP", Wire::layer}, catalogue, claims, decode, describe};
static_assert(wellFormed(protocol));
} // namespace netrondo::icmp
