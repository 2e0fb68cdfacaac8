// Protocol Independent Multicast (RFC 7761; bootstrap routers RFC 5059).
#include "Dissection/Protocols/Checksums.h"
#include "Dissection/Protocols/Prefix.h"
#include "Dissection/Protocols/Protocols.h"

namespace netrondo::pim {
namespace {
constexpr NamedValue types[] = {{0, "Hello"},        {1, "Register"},  {2, "Register-Stop"},
                                {3, "Join/Prune"},   {4, "Bootstrap"}, {5, "Assert"},
                                {6, "Graft"},        {7, "Graft-Ack"}, {8, "Candidate-RP advertisement"},
                                {9, "State refresh"}};
constexpr NamedValue optionTypes[] = {{1, "hold time"},      {2, "LAN prune delay"}, {19, "DR priority"},
                                      {20, "generation ID"}, {21, "state refresh"},  {22, "bidirectional"},
                                      {24, "address list"}};
constexpr NamedValue families[] = {{1, "IPv4"}, {2, "IPv6"}};
constexpr NamedValue sourceFlags[] = {{1, "rendezvous point tree"}, {2, "wildcard"}, {4, "sparse"}};

constexpr Field first{"pim.first", "Version and type", Wire::hex8};
constexpr Field version{"pim.version", "Version", Wire::bits, {}, 0xf0};
constexpr Field type{"pim.type", "Type", Wire::bits, types, 0x0f};
constexpr Field reserved{"pim.reserved", "Reserved", Wire::u8};
constexpr Field reserved16{"pim.reserved", "Reserved", Wire::u16};
constexpr Field checksum{"pim.checksum", "Checksum", Wire::checksum16};
constexpr Field option{"pim.hello_option", "Option", Wire::number, optionTypes};
constexpr Field optionType{"pim.option", "Option", Wire::u16, optionTypes};
constexpr Field optionLength{"pim.option_len", "Length", Wire::u16};
constexpr Field optionData{"pim.option_data", "Data", Wire::bytes};
constexpr Field holdTime{"pim.hold_time", "Hold time (s)", Wire::u16};
constexpr Field delay{"pim.prune_delay", "Propagation delay (ms)", Wire::u16};
constexpr Field override{"pim.override", "Override interval (ms)", Wire::u16};
constexpr Field priority{"pim.dr_priority", "DR priority", Wire::u32};
constexpr Field generation{"pim.generation", "Generation ID", Wire::hex32};
constexpr Field flags{"pim.register_flags", "Flags", Wire::hex32};
constexpr Field isBorder{"pim.border", "Border", Wire::bit, {}, 0x80000000};
constexpr Field isNull{"pim.null_register", "Null register", Wire::bit, {}, 0x40000000};
constexpr Field family{"pim.family", "Address family", Wire::u8, families};
constexpr Field encoding{"pim.encoding", "Encoding", Wire::u8};
constexpr Field maskLength{"pim.mask_len", "Mask length", Wire::u8};
constexpr Field groupFlags{"pim.group_flags", "Group flags", Wire::hex8};
constexpr Field pathFlags{"pim.source_flags", "Source flags", Wire::flags8, sourceFlags};
constexpr Field neighbour4{"pim.neighbour", "Upstream neighbour", Wire::ipv4};
constexpr Field neighbour6{"pim.neighbour", "Upstream neighbour", Wire::ipv6};
constexpr Field address4{"pim.address", "Address", Wire::ipv4};
constexpr Field address6{"pim.address", "Address", Wire::ipv6};
constexpr Field source4{"pim.source", "Source", Wire::ipv4};
constexpr Field source6{"pim.source", "Source", Wire::ipv6};
constexpr Field point4{"pim.rp", "Rendezvous point", Wire::ipv4};
constexpr Field point6{"pim.rp", "Rendezvous point", Wire::ipv6};
constexpr Field router4{"pim.bsr", "Bootstrap router", Wire::ipv4};
constexpr Field router6{"pim.bsr", "Bootstrap router", Wire::ipv6};
constexpr Field group{"pim.group", "Group", Wire::madeText};
constexpr Field joined{"pim.join", "Joined source", Wire::madeText};
constexpr Field pruned{"pim.prune", "Pruned source", Wire::madeText};
constexpr Field groupCount{"pim.groups", "Number of groups", Wire::u8};
constexpr Field joinCount{"pim.joins", "Number of joined sources", Wire::u16};
constexpr Field pruneCount{"pim.prunes", "Number of pruned sources", Wire::u16};
constexpr Field fragmentTag{"pim.fragment_tag", "Fragment tag", Wire::hex16};
constexpr Field hashLength{"pim.hash_len", "Hash mask length", Wire::u8};
constexpr Field routerPriority{"pim.bsr_priority", "Bootstrap router’s priority", Wire::u8};
constexpr Field pointCount{"pim.rps", "Number of rendezvous points", Wire::u8};
constexpr Field pointCountHere{"pim.rps_here", "Rendezvous points in this fragment", Wire::u8};
constexpr Field pointPriority{"pim.rp_priority", "Rendezvous point’s priority", Wire::u8};
constexpr Field preference{"pim.preference", "Metric preference", Wire::hex32};
constexpr Field isOnTree{"pim.rpt", "Rendezvous point tree", Wire::bit, {}, 0x80000000};
constexpr Field metric{"pim.metric", "Metric", Wire::u32};
constexpr Field body{"pim.body", "Body", Wire::bytes};

/// An address led by its family and encoding (RFC 7761, 4.9.1).
void readUnicast(Layer& pim, const Field& v4, const Field& v6)
{
    const auto kind = pim.read(family);
    pim.read(encoding);
    if (kind == 1)
        pim.read(v4);
    else if (kind == 2)
        pim.read(v6);
    else
        pim.reject(family);
}

void readMasked(Layer& pim, const Field& field, const Field& bits)
{
    const auto kind = pim.read(family);
    pim.read(encoding, bits);
    const auto length = pim.read(maskLength);
    if (kind != 1 && kind != 2)
        return pim.reject(family);
    prefix::read(pim, field, kind == 1 ? Address::Kind::ipv4 : Address::Kind::ipv6, length, kind == 1 ? 4 : 16);
}

void readGroup(Layer& pim)
{
    readMasked(pim, group, groupFlags);
}

void readHello(Layer& pim)
{
    while (pim.more(4)) {
        const Layer::Group node(pim, option, pim.peek16());
        const auto kind = pim.read(optionType), size = pim.read(optionLength);
        const Layer::Window content(pim, size);
        switch (kind) {
        case 1: pim.read(holdTime); break;
        case 2: pim.read(delay, override); break;
        case 19: pim.read(priority); break;
        case 20: pim.read(generation); break;
        case 24:
            while (pim.more())
                readUnicast(pim, address4, address6);
            break;
        default: break;
        }
        if (pim.more())
            pim.readRest(optionData);
    }
}

void readJoins(Layer& pim)
{
    readUnicast(pim, neighbour4, neighbour6);
    pim.read(reserved);
    const auto groups = pim.read(groupCount);
    pim.read(holdTime);
    for (std::uint64_t i = 0; i < groups && pim.more(); ++i) {
        readGroup(pim);
        const auto joins = pim.read(joinCount), prunes = pim.read(pruneCount);
        for (std::uint64_t j = 0; j < joins && pim.more(); ++j)
            readMasked(pim, joined, pathFlags);
        for (std::uint64_t j = 0; j < prunes && pim.more(); ++j)
            readMasked(pim, pruned, pathFlags);
    }
}

void readBootstrap(Layer& pim)
{
    pim.read(fragmentTag, hashLength, routerPriority);
    readUnicast(pim, router4, router6);
    while (pim.more()) {
        readGroup(pim);
        pim.read(pointCount);
        const auto points = pim.read(pointCountHere);
        pim.read(reserved16);
        for (std::uint64_t i = 0; i < points && pim.more(); ++i) {
            readUnicast(pim, point4, point6);
            pim.read(holdTime, pointPriority, reserved);
        }
    }
}

void readCandidate(Layer& pim)
{
    pim.read(groupCount, pointPriority, holdTime);
    readUnicast(pim, point4, point6);
    while (pim.more())
        readGroup(pim);
}

/// A Register's sum covers its first eight bytes only, so that routers need not touch the packet inside.
void readChecksum(Layer& pim, std::uint64_t kind)
{
    constexpr std::size_t registerSum = 8;
    const auto whole = pim.whole();
    const bool is6 = pim.frame().networkSource.kind == Address::Kind::ipv6;
    if (kind == 1 && whole.size() >= registerSum && !is6)
        checksums::read(pim, checksum, whole.first(registerSum), 0, Expert::pimChecksum);
    else if (kind == 1 || pim.isCut() || pim.frame().isFragment || pim.isQuoted())
        pim.read(checksum);
    else if (is6)
        checksums::readTransport(pim, checksum, 103, Expert::pimChecksum);
    else
        checksums::read(pim, checksum, whole, 0, Expert::pimChecksum);
}

void decode(Layer& pim)
{
    const auto kind = pim.readParts(first, version, type) & 15;
    pim.read(reserved);
    readChecksum(pim, kind);
    switch (kind) {
    case 0: readHello(pim); break;
    case 1:
        pim.readParts(flags, isBorder, isNull);
        if (pim.leftOnWire())
            pim.handOver(etherType(pim.peek8() >> 4 == 6 ? 0x86dd : 0x0800));
        return;
    case 2:
        readGroup(pim);
        readUnicast(pim, source4, source6);
        break;
    case 3:
    case 6:
    case 7: readJoins(pim); break;
    case 4: readBootstrap(pim); break;
    case 5:
        readGroup(pim);
        readUnicast(pim, source4, source6);
        pim.readParts(preference, isOnTree);
        pim.read(metric);
        break;
    case 8: readCandidate(pim); break;
    default: break;
    }
    if (pim.more())
        pim.readRest(body);
}

void describe(const LayerView& pim, TextSink& out)
{
    out("{}", pim[type]);
    std::size_t groups = 0;
    pim.each(group, [&](const Value& entry) {
        if (++groups <= 3)
            out("{}{}", groups == 1 ? " " : ", ", entry);
    });
    if (groups > 3)
        out(" and {} more", groups - 3);
}

constexpr Claim claims[] = {ipProtocol(103)};
} // namespace

constexpr Protocol protocol{{"pim", "PIM", Wire::layer}, {}, claims, decode, describe};
static_assert(wellFormed(protocol));
} // namespace netrondo::pim
