// From a frame's outline to its facts.
#include "Dissection/Classify/FrameClassifier.h"

#include "Dissection/Classify/PortServices.h"
#include "Dissection/Wire/EtherType.h"
#include "Dissection/Wire/IpProtocol.h"
#include "Dissection/Wire/TcpHeader.h"

namespace netrondo {
namespace {

using Network = FrameOutline::Network;

struct Named {
    ProtocolName name;
    ProtocolCategory category;
};

Named ipProtocolNamed(std::uint8_t number, bool isIpv6)
{
    using enum ProtocolName;
    constexpr auto icmpTraffic = ProtocolCategory::icmp, infrastructure = ProtocolCategory::infrastructure,
                   unknown = ProtocolCategory::unknown;
    switch (number) {
    case ipProtocol::tcp: return {tcp, ProtocolCategory::tcp};
    case ipProtocol::udp: return {udp, ProtocolCategory::udp};
    case ipProtocol::icmp: return {icmp, icmpTraffic};
    case ipProtocol::icmpv6: return {icmpv6, icmpTraffic};
    // What routers and hosts say to each other to run the network itself.
    case ipProtocol::igmp: return {igmp, infrastructure};
    case ipProtocol::ospf: return {ospf, infrastructure};
    case ipProtocol::eigrp: return {eigrp, infrastructure};
    case ipProtocol::pim: return {pim, infrastructure};
    case ipProtocol::vrrp: return {vrrp, infrastructure};
    case ipProtocol::isis: return {isis, infrastructure};
    case ipProtocol::rsvp: return {rsvp, infrastructure};
    case ipProtocol::ipInIp: return {ipInIp, unknown};
    case ipProtocol::ipv6InIp: return {ipv6InIp, unknown};
    case ipProtocol::gre: return {gre, unknown};
    case ipProtocol::esp:
    case ipProtocol::ah: return {ipsec, unknown};
    case ipProtocol::l2tp: return {l2tpIp, unknown};
    case ipProtocol::sctp: return {sctp, unknown};
    case ipProtocol::dccp: return {dccp, unknown};
    case ipProtocol::udpLite: return {udpLite, unknown};
    default: return {isIpv6 ? ipv6ProtocolName(number) : ipProtocolName(number), unknown};
    }
}

Named etherTypeNamed(std::uint16_t type)
{
    using enum ProtocolName;
    constexpr auto infrastructure = ProtocolCategory::infrastructure, unknown = ProtocolCategory::unknown;
    switch (type) {
    case etherType::ipv4: return {ipv4, unknown}; // the header is cut or is none
    case etherType::ipv6: return {ipv6, unknown};
    case etherType::lldp: return {lldp, infrastructure};
    case etherType::eapol: return {dot1x, infrastructure};
    case etherType::slowProtocols: return {slowProtocols, infrastructure};
    case etherType::macControl: return {macControl, infrastructure};
    case etherType::ptp: return {ptp, infrastructure};
    case etherType::loopback: return {loopback, infrastructure};
    case etherType::rarp: return {rarp, ProtocolCategory::arp};
    case etherType::mpls:
    case etherType::mplsMulticast: return {mpls, unknown};
    case etherType::pppoeDiscovery:
    case etherType::pppoeSession: return {pppoe, unknown};
    case etherType::macsec: return {macsec, unknown};
    case etherType::profinet: return {profinet, unknown};
    case etherType::wakeOnLan: return {wakeOnLan, unknown};
    case etherType::appleTalk: return {appleTalk, unknown};
    case etherType::aarp: return {aarp, ProtocolCategory::arp};
    case etherType::sna: return {sna, unknown};
    default: return {other, unknown};
    }
}

// Organisation and protocol of SNAP frames that are not Ethernet types in disguise.
constexpr std::uint32_t cisco = 0x00000c, apple = 0x080007;

Named llcNamed(Bytes llc)
{
    using enum ProtocolName;
    constexpr auto infrastructure = ProtocolCategory::infrastructure, unknown = ProtocolCategory::unknown;
    if (llc.size() < 3)
        return {other, unknown};
    switch (llc[0]) {
    case llcSap::stp: return {stp, infrastructure};
    case llcSap::isoNetwork:
        // The network layer protocol identifier of IS-IS (ISO/IEC TR 9577); others are CLNP and ES-IS.
        if (llc.size() > 3 && llc[3] == 0x83)
            return {isis, infrastructure};
        return {other, unknown};
    case llcSap::netBios:
        // A NetBIOS frame has its delimiter EF FF at bytes 2 and 3; without one it is LLC's own supervision.
        for (const std::size_t header : {3u, 4u}) {
            if (llc.size() >= header + 4 && llc[header + 2] == 0xff && llc[header + 3] == 0xef)
                return {nbf, unknown};
        }
        return {netBeui, unknown};
    case llcSap::snap:
        if (llc.size() >= 8) {
            const auto organisation = load::be32(llc.data() + 2) & 0xffffff;
            const auto protocol = load::be16(llc.data() + 6);
            if (organisation == cisco && protocol == 0x2000)
                return {cdp, infrastructure};
            if (organisation == cisco && protocol == 0x010b) // per-VLAN spanning tree
                return {stp, infrastructure};
            if (organisation == apple && protocol == etherType::appleTalk)
                return {appleTalk, unknown};
        }
        return {other, unknown};
    default: return {other, unknown};
    }
}

struct IpxHeader {
    static constexpr std::size_t length = 30;
    const std::uint8_t* bytes;

    Address destination() const { return Address::ipx(load::be32(bytes + 6), load::be48(bytes + 10)); }
    Address source() const { return Address::ipx(load::be32(bytes + 18), load::be48(bytes + 22)); }
    std::uint16_t destinationSocket() const { return load::be16(bytes + 16); }
    std::uint16_t sourceSocket() const { return load::be16(bytes + 28); }
    std::uint8_t packetType() const { return bytes[5]; }

    // Sockets say more than the packet type, which many stacks leave at 0 or 4.
    ProtocolName name() const
    {
        using enum ProtocolName;
        for (const auto socket : {destinationSocket(), sourceSocket()}) {
            switch (socket) {
            case 0x0451: return ncp;
            case 0x0452: return ipxSap;
            case 0x0453: return ipxRip;
            case 0x0455: return ipxNetBios;
            case 0x0456: return ipxDiagnostic;
            case 0x0457: return ipxSerialization;
            default: break;
            }
        }
        switch (packetType()) {
        case 1: return ipxRip;
        case 5: return spx;
        case 17: return ncp;
        case 20: return ipxNetBios;
        default: return ipx;
        }
    }
};

/// Ports, and the name and category that follow from them: what both transports begin with.
void readPorts(const std::uint8_t* header, ProtocolName transport, ProtocolCategory category, FrameFacts& facts)
{
    const auto source = load::be16(header), destination = load::be16(header + 2);
    const auto name = PortServices::serviceName(source, destination, transport);
    facts.sourcePort = source;
    facts.destinationPort = destination;
    facts.name = name;
    facts.category = PortServices::category(name, category);
}

/// The fields that a TCP header cut short still holds.
std::uint8_t fieldsWithin(std::size_t length)
{
    return static_cast<std::uint8_t>(
        FrameFacts::ports | (length >= 8 ? FrameFacts::tcpSeq : 0) | (length >= 12 ? FrameFacts::tcpAck : 0)
        | (length >= 14 ? FrameFacts::tcpFlags : 0) | (length >= 16 ? FrameFacts::tcpWindow : 0));
}

void readTcp(Bytes segment, FrameFacts& facts)
{
    facts.isTcp = true;
    if (segment.size() < 4)
        return;
    const auto* header = segment.data();
    const auto has = fieldsWithin(segment.size());
    const std::uint8_t flags = has & FrameFacts::tcpFlags ? header[13] : 0;
    const auto seq = has & FrameFacts::tcpSeq ? load::be32(header + 4) : 0;
    const auto ack = has & FrameFacts::tcpAck ? load::be32(header + 8) : 0;
    const auto window = has & FrameFacts::tcpWindow ? load::be16(header + 14) : std::uint16_t{0};
    const auto payload = tcpPayloadOffset(0, segment);
    // Options are read on SYN segments only, which offer them; the SACK blocks of other segments stay unread.
    if (flags & tcpFlag::syn && segment.size() > 20 && header[12] >> 4 > 5)
        facts.tcpOptions = slice(segment, 20, (header[12] >> 4) * 4u - 20);
    readPorts(header, ProtocolName::tcp, ProtocolCategory::tcp, facts);
    facts.has |= has;
    facts.flags = flags;
    facts.window = window;
    facts.seq = seq;
    facts.ack = ack;
    if (payload)
        facts.payload = segment.subspan(*payload);
}

void readUdp(Bytes datagram, FrameFacts& facts)
{
    facts.isUdp = true;
    if (datagram.size() < 4)
        return;
    readPorts(datagram.data(), ProtocolName::udp, ProtocolCategory::udp, facts);
    facts.has |= FrameFacts::ports;
    if (datagram.size() < 8)
        return;
    const std::size_t length = load::be16(datagram.data() + 4);
    facts.payload = slice(datagram, 8, length > 8 ? length - 8 : length == 0 ? datagram.size() : 0);
}

void readIp(const FrameOutline& outline, Bytes data, FrameFacts& facts)
{
    const auto* header = data.data() + outline.networkOffset;
    const bool isIpv6 = outline.network == Network::ipv6;
    const auto source = isIpv6 ? Address::ipv6(header + 8) : Address::ipv4(header + 12);
    const auto destination = isIpv6 ? Address::ipv6(header + 24) : Address::ipv4(header + 16);
    facts.source = source;
    facts.sourceIp = source;
    facts.destination = destination;
    facts.destinationIp = destination;
    if (!isIpv6) {
        facts.identification = load::be16(header + 4);
        facts.has |= FrameFacts::ipv4Id;
    }
    const auto named = outline.knowsIpProtocol ? ipProtocolNamed(outline.ipProtocol, isIpv6)
                                               : Named{ProtocolName::ipv6, ProtocolCategory::unknown};
    facts.name = named.name;
    facts.category = named.category;
    if (outline.isLaterFragment) // the middle of a datagram: its name and category, nothing of its transport header
        return;
    const auto transport = outline.transportOffset
        ? data.subspan(outline.transportOffset, outline.networkEnd - outline.transportOffset)
        : Bytes{};
    if (outline.ipProtocol == ipProtocol::tcp && outline.knowsIpProtocol)
        readTcp(transport, facts);
    else if (outline.ipProtocol == ipProtocol::udp && outline.knowsIpProtocol)
        readUdp(transport, facts);
}

// RFC 826 over Ethernet and IPv4. The addresses are the hosts of `l3IP` mode, but ARP is no IP traffic: `sourceIp` and
// `destinationIp` stay empty, so that the analysis by IP address leaves it out.
bool readArp(Bytes arp, FrameFacts& facts)
{
    facts.name = ProtocolName::arp;
    facts.category = ProtocolCategory::arp;
    if (arp.size() < 28 || arp[4] != 6 || arp[5] != 4)
        return false;
    facts.source = Address::ipv4(arp.data() + 14);
    facts.destination = Address::ipv4(arp.data() + 24);
    return true;
}

} // namespace

bool isIpxFamily(ProtocolName name)
{
    return name >= ProtocolName::ipx && name <= ProtocolName::ipxSerialization;
}

std::uint64_t fnv1a64(Bytes data)
{
    std::uint64_t hash = 0xcbf29ce484222325ull;
    for (const auto byte : data)
        hash = (hash ^ byte) * 0x100000001b3ull;
    return hash;
}

bool classify(const CaptureFrame& frame, AnalysisMode mode, FrameFacts& facts)
{
    return classify(frame, outlineOf(frame), mode, facts);
}

bool classify(const CaptureFrame& frame, const FrameOutline& outline, AnalysisMode mode, FrameFacts& facts)
{
    facts.clear();
    facts.byteCount = frame.originalLength;
    const auto data = frame.data;
    if (outline.hasSourceMac)
        facts.sourceMac = Address::mac(data.data() + outline.sourceMacOffset);
    if (outline.hasDestinationMac)
        facts.destinationMac = Address::mac(data.data() + outline.destinationMacOffset);
    const bool byMac = mode == AnalysisMode::l2MAC;
    if (byMac && !(facts.sourceMac && facts.destinationMac))
        return false;

    const auto network = slice(data, outline.networkOffset);
    bool hasHosts = false;
    switch (outline.network) {
    case Network::ipv4:
    case Network::ipv6:
        readIp(outline, data, facts);
        hasHosts = true;
        break;
    case Network::arp: hasHosts = readArp(network, facts); break;
    case Network::ipx:
        facts.name = ProtocolName::ipx;
        if (network.size() >= IpxHeader::length) {
            const IpxHeader ipx{network.data()};
            facts.name = ipx.name();
            facts.source = ipx.source();
            facts.destination = ipx.destination();
            hasHosts = true;
        }
        break;
    case Network::llc: {
        const auto named = llcNamed(network);
        facts.name = named.name;
        facts.category = named.category;
        if (named.name == ProtocolName::nbf || named.name == ProtocolName::netBeui) {
            facts.source = facts.sourceMac;
            facts.destination = facts.destinationMac;
            facts.isMacPair = true;
            hasHosts = true;
        }
        break;
    }
    case Network::none:
    case Network::other: {
        const auto named = etherTypeNamed(outline.etherType);
        facts.name = named.name;
        facts.category = named.category;
        break;
    }
    }
    if (byMac) {
        facts.source = facts.sourceMac;
        facts.destination = facts.destinationMac;
        facts.isMacPair = true;
        return true;
    }
    return hasHosts;
}

} // namespace netrondo
