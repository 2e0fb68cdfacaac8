// ICMPv6 (RFC 4443), neighbour discovery (RFC 4861) and multicast listeners (RFC 2710, 3810).
#include "Dissection/Protocols/Checksums.h"
#include "Dissection/Protocols/Protocols.h"

namespace netrondo::icmpv6 {
namespace {
constexpr NamedValue types[] = {{1, "Destination unreachable"},
                                {2, "Packet too big"},
                                {3, "Time exceeded"},
                                {4, "Parameter problem"},
                                {128, "Echo request"},
                                {129, "Echo reply"},
                                {130, "Multicast listener query"},
                                {131, "Multicast listener report"},
                                {132, "Multicast listener done"},
                                {133, "Router solicitation"},
                                {134, "Router advertisement"},
                                {135, "Neighbor solicitation"},
                                {136, "Neighbor advertisement"},
                                {137, "Redirect"},
                                {138, "Router renumbering"},
                                {143, "Multicast listener report v2"},
                                {144, "Home agent discovery request"},
                                {145, "Home agent discovery reply"},
                                {146, "Mobile prefix solicitation"},
                                {147, "Mobile prefix advertisement"},
                                {151, "Multicast router advertisement"},
                                {155, "RPL control"}};
constexpr NamedValue unreachable[] = {{0, "no route"},         {1, "prohibited"},
                                      {2, "beyond scope"},     {3, "address unreachable"},
                                      {4, "port unreachable"}, {5, "source address failed policy"},
                                      {6, "route rejected"}};
constexpr NamedValue optionTypes[] = {{1, "source link-layer address"},
                                      {2, "target link-layer address"},
                                      {3, "prefix information"},
                                      {4, "redirected header"},
                                      {5, "MTU"},
                                      {7, "advertisement interval"},
                                      {8, "home agent"},
                                      {14, "nonce"},
                                      {24, "route information"},
                                      {25, "DNS servers"},
                                      {31, "DNS search list"}};
constexpr NamedValue recordTypes[] = {{1, "is include"},        {2, "is exclude"},        {3, "change to include"},
                                      {4, "change to exclude"}, {5, "allow new sources"}, {6, "block old sources"}};

constexpr Field type{"icmpv6.type", "ICMPv6 type", Wire::u8, types};
constexpr Field code{"icmpv6.code", "ICMPv6 code", Wire::u8};
constexpr Field unreachableCode{"icmpv6.code", "ICMPv6 code", Wire::u8, unreachable};
constexpr Field checksum{"icmpv6.checksum", "ICMPv6 checksum", Wire::checksum16};
constexpr Field reserved{"icmpv6.reserved", "Reserved", Wire::hex32};
constexpr Field identifier{"icmpv6.ident", "Identifier", Wire::hex16};
constexpr Field sequence{"icmpv6.seq", "Sequence number", Wire::u16};
constexpr Field mtu{"icmpv6.mtu", "MTU", Wire::u32};
constexpr Field pointer{"icmpv6.pointer", "Pointer", Wire::u32};
constexpr Field target{"icmpv6.target", "ICMPv6 target address", Wire::ipv6};
constexpr Field redirectTo{"icmpv6.destination", "Destination address", Wire::ipv6};
constexpr Field group{"icmpv6.group", "Multicast address", Wire::ipv6};
constexpr Field sourceAddress{"icmpv6.source", "Source", Wire::ipv6};
constexpr Field naFlags{"icmpv6.na_flags", "Flags", Wire::hex32};
constexpr Field isRouter{"icmpv6.na_router", "Router", Wire::bit, {}, 0x80000000};
constexpr Field solicited{"icmpv6.na_solicited", "Solicited", Wire::bit, {}, 0x40000000};
constexpr Field overrides{"icmpv6.na_override", "Override", Wire::bit, {}, 0x20000000};
constexpr Field hopLimit{"icmpv6.ra_hops", "Hop limit", Wire::u8};
constexpr Field raFlags{"icmpv6.ra_flags", "Flags", Wire::hex8};
constexpr Field managed{"icmpv6.ra_managed", "Managed addresses", Wire::bit, {}, 0x80};
constexpr Field otherConfig{"icmpv6.ra_other", "Other configuration", Wire::bit, {}, 0x40};
constexpr Field lifetime{"icmpv6.ra_lifetime", "Router lifetime", Wire::u16};
constexpr Field reachable{"icmpv6.ra_reachable", "Reachable time (ms)", Wire::u32};
constexpr Field retransmit{"icmpv6.ra_retransmit", "Retransmission time (ms)", Wire::u32};
constexpr Field maxResponse{"icmpv6.max_response", "Maximum response code", Wire::u16};
constexpr Field records{"icmpv6.records", "Number of records", Wire::u16};
constexpr Field record{"icmpv6.record", "Multicast record", Wire::group, recordTypes};
constexpr Field recordType{"icmpv6.record_type", "Type", Wire::u8, recordTypes};
constexpr Field auxLength{"icmpv6.aux_len", "Auxiliary words", Wire::u8};
constexpr Field sources{"icmpv6.sources", "Number of sources", Wire::u16};
constexpr Field option{"icmpv6.option", "Option", Wire::group, optionTypes};
constexpr Field optionType{"icmpv6.opt_type", "Type", Wire::u8, optionTypes};
constexpr Field optionLength{"icmpv6.opt_len", "Length in 8 bytes", Wire::u8};
constexpr Field linkAddress{"icmpv6.opt_mac", "Link-layer address", Wire::mac};
constexpr Field prefixLength{"icmpv6.prefix_len", "Prefix length", Wire::u8};
constexpr Field prefixFlags{"icmpv6.prefix_flags", "Flags", Wire::hex8};
constexpr Field validTime{"icmpv6.prefix_valid", "Valid lifetime (s)", Wire::u32};
constexpr Field preferredTime{"icmpv6.prefix_preferred", "Preferred lifetime (s)", Wire::u32};
constexpr Field prefix{"icmpv6.prefix", "Prefix", Wire::ipv6};
constexpr Field dnsServer{"icmpv6.dns_server", "DNS server", Wire::ipv6};
constexpr Field optionData{"icmpv6.opt_data", "Data", Wire::bytes};
constexpr Field payload{"icmpv6.data", "Data", Wire::bytes};

void readOptionBody(Layer& icmp, std::uint64_t kind)
{
    switch (kind) {
    case 1:
    case 2:
        if (icmp.left() >= 6)
            icmp.read(linkAddress);
        break;
    case 3: icmp.read(prefixLength, prefixFlags, validTime, preferredTime, reserved, prefix); break;
    case 5:
        icmp.skip(2);
        icmp.read(mtu);
        break;
    case 25:
        icmp.skip(2);
        icmp.read(validTime);
        while (icmp.more(16))
            icmp.read(dnsServer);
        break;
    default: icmp.readRest(optionData); break;
    }
}

void readOptions(Layer& icmp)
{
    while (icmp.more(2)) {
        const Layer::Group node(icmp, option, icmp.peek8());
        const auto kind = icmp.read(optionType), size = icmp.read(optionLength) * 8;
        if (size == 0)
            return icmp.reject(optionLength);
        const Layer::Window body(icmp, size - 2);
        readOptionBody(icmp, kind);
    }
}

void readListenerReport(Layer& icmp)
{
    icmp.skip(2);
    const auto count = icmp.read(records);
    for (std::uint64_t i = 0; i < count && icmp.more(); ++i) {
        const Layer::Group node(icmp, record, icmp.peek8());
        icmp.read(recordType);
        const auto aux = icmp.read(auxLength);
        const auto addresses = icmp.read(sources);
        icmp.read(group);
        for (std::uint64_t j = 0; j < addresses && icmp.more(); ++j)
            icmp.read(sourceAddress);
        if (aux)
            icmp.skip(aux * 4);
    }
}

void quote(Layer& icmp)
{
    icmp.frame().quotes = true;
    icmp.handOver(etherType(0x86dd));
}

void readListenerQuery(Layer& icmp)
{
    icmp.read(maxResponse);
    icmp.skip(2);
    icmp.read(group);
    if (icmp.left() < 4) // version 1
        return;
    icmp.skip(2);
    const auto count = icmp.read(sources);
    for (std::uint64_t i = 0; i < count && icmp.more(); ++i)
        icmp.read(sourceAddress);
}

void readBody(Layer& icmp, std::uint64_t kind)
{
    switch (kind) {
    case 1:
    case 3: icmp.read(reserved), quote(icmp); break;
    case 2: icmp.read(mtu), quote(icmp); break;
    case 4: icmp.read(pointer), quote(icmp); break;
    case 128:
    case 129:
        icmp.read(identifier, sequence);
        if (icmp.left())
            icmp.readRest(payload);
        break;
    case 130: readListenerQuery(icmp); break;
    case 131:
    case 132: icmp.read(maxResponse), icmp.skip(2), icmp.read(group); break;
    case 133: icmp.read(reserved), readOptions(icmp); break;
    case 134:
        icmp.read(hopLimit);
        icmp.readParts(raFlags, managed, otherConfig);
        icmp.read(lifetime, reachable, retransmit);
        readOptions(icmp);
        break;
    case 135: icmp.read(reserved, target), readOptions(icmp); break;
    case 136:
        icmp.readParts(naFlags, isRouter, solicited, overrides);
        icmp.read(target);
        readOptions(icmp);
        break;
    case 137: icmp.read(reserved, target, redirectTo), readOptions(icmp); break;
    case 143: readListenerReport(icmp); break;
    default: break;
    }
}

void decode(Layer& icmp)
{
    const auto kind = icmp.read(type);
    icmp.read(kind == 1 ? unreachableCode : code);
    checksums::readTransport(icmp, checksum, 58, Expert::icmpChecksum);
    readBody(icmp, kind);
}

void describe(const LayerView& icmp, TextSink& out)
{
    const auto kind = icmp[type];
    out("{}", kind);
    if (kind == 1)
        out(" ({})", icmp[unreachableCode]);
    else if (kind == 2)
        out(" (MTU {})", icmp[mtu]);
    else if (kind == 128 || kind == 129)
        out(" id={} seq={}", icmp[identifier], icmp[sequence]);
    else if (kind == 135)
        out(" for {}", icmp[target]);
    else if (kind == 136 || kind == 137)
        out(" {}", icmp[target]);
    else if (kind == 130 || kind == 131 || kind == 132 || kind == 143)
        out(" {}", icmp[group]);
    if (const auto mac = icmp[linkAddress])
        out(" {} {}", kind == 136 ? "is at" : "from", mac);
}

constexpr const Field* catalogue[] = {&type, &code, &target};
constexpr Claim claims[] = {ipProtocol(58)};
} // namespace

constexpr Protocol protocol{{"icmpv6", "ICMPv6", Wire::layer}, catalogue, claims, decode, describe};
static_assert(wellFormed(protocol));
} // namespace netrondo::icmpv6
