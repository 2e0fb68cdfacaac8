// Enhanced Interior Gateway Routing Protocol (RFC 7868).
#include "Dissection/Protocols/Checksums.h"
#include "Dissection/Protocols/Prefix.h"
#include "Dissection/Protocols/Protocols.h"

namespace netrondo::eigrp {
namespace {
constexpr NamedValue opcodes[] = {{1, "Update"}, {2, "Request"}, {3, "Query"},      {4, "Reply"},
                                  {5, "Hello"},  {6, "IPX SAP"}, {10, "SIA query"}, {11, "SIA reply"}};
constexpr NamedValue flagNames[] = {{1, "initial"}, {2, "conditional receive"}, {4, "restart"}, {8, "end of table"}};
constexpr NamedValue elementTypes[] = {{0x0001, "parameters"},
                                       {0x0002, "authentication"},
                                       {0x0003, "sequence"},
                                       {0x0004, "software version"},
                                       {0x0005, "next multicast sequence"},
                                       {0x0006, "peer information"},
                                       {0x0007, "peer termination"},
                                       {0x0102, "IPv4 internal route"},
                                       {0x0103, "IPv4 external route"},
                                       {0x0302, "IPX internal route"},
                                       {0x0303, "IPX external route"},
                                       {0x0402, "IPv6 internal route"},
                                       {0x0403, "IPv6 external route"},
                                       {0x0602, "internal route, wide metrics"},
                                       {0x0603, "external route, wide metrics"}};
constexpr NamedValue origins[] = {{1, "IGRP"},  {2, "EIGRP"}, {3, "static"},    {4, "RIP"},
                                  {5, "HELLO"}, {6, "OSPF"},  {7, "IS-IS"},     {8, "EGP"},
                                  {9, "BGP"},   {10, "IDRP"}, {11, "connected"}};

constexpr Field version{"eigrp.version", "Version", Wire::u8};
constexpr Field opcode{"eigrp.opcode", "Opcode", Wire::u8, opcodes};
constexpr Field checksum{"eigrp.checksum", "Checksum", Wire::checksum16};
constexpr Field flags{"eigrp.flags", "Flags", Wire::hex32};
constexpr Field flagSet{"eigrp.flag_set", "Flags set", Wire::flags, flagNames};
constexpr Field sequence{"eigrp.seq", "Sequence", Wire::u32};
constexpr Field acknowledgment{"eigrp.ack", "Acknowledge", Wire::u32};
constexpr Field router{"eigrp.router", "Virtual router", Wire::u16};
constexpr Field system{"eigrp.as", "Autonomous system", Wire::u16};
constexpr Field element{"eigrp.tlv", "Element", Wire::number, elementTypes};
constexpr Field elementType{"eigrp.tlv_type", "Type", Wire::hex16, elementTypes};
constexpr Field elementLength{"eigrp.tlv_len", "Length", Wire::u16};
constexpr Field weight1{"eigrp.k1", "K1", Wire::u8};
constexpr Field weight2{"eigrp.k2", "K2", Wire::u8};
constexpr Field weight3{"eigrp.k3", "K3", Wire::u8};
constexpr Field weight4{"eigrp.k4", "K4", Wire::u8};
constexpr Field weight5{"eigrp.k5", "K5", Wire::u8};
constexpr Field weight6{"eigrp.k6", "K6", Wire::u8};
constexpr Field holdTime{"eigrp.hold_time", "Hold time (s)", Wire::u16};
constexpr Field releaseMajor{"eigrp.release", "IOS release", Wire::u8};
constexpr Field releaseMinor{"eigrp.release_minor", "IOS release, minor", Wire::u8};
constexpr Field elementMajor{"eigrp.tlv_version", "EIGRP version", Wire::u8};
constexpr Field elementMinor{"eigrp.tlv_version_minor", "EIGRP version, minor", Wire::u8};
constexpr Field nextSequence{"eigrp.next_seq", "Next multicast sequence", Wire::u32};
constexpr Field nextHop{"eigrp.next_hop", "Next hop", Wire::ipv4};
constexpr Field nextHop6{"eigrp.next_hop", "Next hop", Wire::ipv6};
constexpr Field originRouter{"eigrp.origin_router", "Originating router", Wire::ipv4};
constexpr Field originSystem{"eigrp.origin_as", "Originating autonomous system", Wire::u32};
constexpr Field tag{"eigrp.tag", "Tag", Wire::u32};
constexpr Field externalMetric{"eigrp.external_metric", "External metric", Wire::u32};
constexpr Field reserved{"eigrp.reserved", "Reserved", Wire::hex16};
constexpr Field origin{"eigrp.origin", "External protocol", Wire::u8, origins};
constexpr Field externalFlags{"eigrp.external_flags", "External flags", Wire::hex8};
constexpr Field delay{"eigrp.delay", "Scaled delay", Wire::u32};
constexpr Field bandwidth{"eigrp.bandwidth", "Scaled bandwidth", Wire::u32};
constexpr Field mtu{"eigrp.mtu", "MTU", Wire::u24};
constexpr Field hops{"eigrp.hops", "Hops", Wire::u8};
constexpr Field reliability{"eigrp.reliability", "Reliability", Wire::u8};
constexpr Field load{"eigrp.load", "Load", Wire::u8};
constexpr Field internalTag{"eigrp.internal_tag", "Internal tag", Wire::u8};
constexpr Field routeFlags{"eigrp.route_flags", "Route flags", Wire::hex8};
constexpr Field prefixLength{"eigrp.prefix_len", "Prefix length", Wire::u8};
constexpr Field route{"eigrp.route", "Route", Wire::madeText};
constexpr Field elementData{"eigrp.tlv_data", "Data", Wire::bytes};

/// A delay of all ones marks a route that is gone (RFC 7868, 5.6.3).
constexpr std::uint64_t unreachable = 0xffff'ffff;
constexpr Field withdrawn{"eigrp.withdrawn", "Unreachable", Wire::none};

void readRoute(Layer& eigrp, Address::Kind kind, bool isExternal)
{
    eigrp.read(kind == Address::Kind::ipv4 ? nextHop : nextHop6);
    if (isExternal) {
        eigrp.read(originRouter, originSystem, tag, externalMetric);
        eigrp.read(reserved, origin, externalFlags);
    }
    const auto at = eigrp.offset();
    if (eigrp.read(delay) == unreachable)
        eigrp.add(withdrawn, 0, at, 4);
    eigrp.read(bandwidth, mtu, hops, reliability, load, internalTag, routeFlags);
    while (eigrp.more()) {
        const auto bits = eigrp.read(prefixLength);
        prefix::read(eigrp, route, kind, bits, prefix::bytesFor(bits));
    }
}

void readElement(Layer& eigrp, std::uint64_t kind)
{
    switch (kind) {
    case 0x0001: eigrp.read(weight1, weight2, weight3, weight4, weight5, weight6, holdTime); break;
    case 0x0004: eigrp.read(releaseMajor, releaseMinor, elementMajor, elementMinor); break;
    case 0x0005: eigrp.read(nextSequence); break;
    case 0x0102:
    case 0x0103: readRoute(eigrp, Address::Kind::ipv4, kind & 1); break;
    case 0x0402:
    case 0x0403: readRoute(eigrp, Address::Kind::ipv6, kind & 1); break;
    default: break;
    }
    if (eigrp.more())
        eigrp.readRest(elementData);
}

void decode(Layer& eigrp)
{
    eigrp.read(version, opcode);
    if (eigrp.isCut() || eigrp.frame().isFragment || eigrp.isQuoted())
        eigrp.read(checksum);
    else
        checksums::read(eigrp, checksum, eigrp.whole(), 0, Expert::eigrpChecksum);
    const auto at = eigrp.offset();
    if (const auto bits = eigrp.read(flags))
        eigrp.add(flagSet, bits, at, 4);
    eigrp.read(sequence, acknowledgment, router, system);
    while (eigrp.more(4)) {
        const Layer::Group group(eigrp, element, eigrp.peek16());
        const auto kind = eigrp.read(elementType), size = eigrp.read(elementLength);
        if (size < 4)
            return eigrp.reject(elementLength);
        const Layer::Window content(eigrp, size - 4);
        readElement(eigrp, kind);
    }
}

void describe(const LayerView& eigrp, TextSink& out)
{
    const auto kind = eigrp[opcode];
    const bool isAck = kind == 5 && eigrp[acknowledgment].number();
    if (isAck)
        out("Hello (acknowledges {})", eigrp[acknowledgment]);
    else
        out("{}", kind);
    out(", AS {}", eigrp[system]);
    std::size_t routes = 0;
    eigrp.each(route, [&](const Value& entry) {
        if (++routes <= 3)
            out(" {}", entry);
    });
    if (routes > 3)
        out(" and {} more", routes - 3);
}

constexpr Claim claims[] = {ipProtocol(88), ipxSocket(0x85be)};
} // namespace

constexpr Protocol protocol{{"eigrp", "EIGRP", Wire::layer}, {}, claims, decode, describe};
static_assert(wellFormed(protocol));
} // namespace netrondo::eigrp
