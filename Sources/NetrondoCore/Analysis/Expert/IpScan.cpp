// IPv4 (RFC 791), IPv6 (RFC 8200), ICMP (RFC 792, RFC 4443), neighbour discovery (RFC 4861), OSPF (RFC 2328), EIGRP
// (RFC 7868), VRRP (RFC 5798), HSRP (RFC 2281).
#include "Analysis/Expert/IpScan.h"

#include "Analysis/Model/ConversationTable.h"
#include "Dissection/Classify/PortServices.h"
#include "Dissection/Wire/InternetChecksum.h"
#include "Dissection/Wire/IpProtocol.h"

#define XXH_INLINE_ALL
#include <xxhash.h>

#include <algorithm>
#include <fmt/format.h>

namespace netrondo {
namespace {

constexpr std::size_t maxRouters = 64;

/// A place in a small table, the same in every run: what displaces what shows in results.
std::size_t place(const Address& from, const Address& to, std::uint32_t number, std::size_t size)
{
    return (from.low * 31 + to.low * 17 + from.high + to.high + number * 0x9e3779b1ull) % size;
}

bool isMulticast(const Address& address)
{
    if (address.kind == Address::Kind::ipv6)
        return address.high >> 56 == 0xff;
    return address.low >> 28 == 0xe || address.low == 0xffffffff;
}

std::uint64_t segmentOf(const FrameSight& sight)
{
    const auto data = sight.data();
    std::uint64_t vlan = 0;
    if (sight.frame.linkType == LinkType::ethernet && data.size() >= 16 && load::be16(data.data() + 12) == 0x8100)
        vlan = load::be16(data.data() + 14) & 0xfff;
    return static_cast<std::uint64_t>(sight.frame.interfaceID) << 12 | vlan;
}

struct Unreachable {
    Severity severity;
    const char* text;
};

Unreachable icmpv4Unreachable(std::uint8_t code)
{
    switch (code) {
    case 0: return {Severity::warning, "“network unreachable”"};
    case 1: return {Severity::warning, "“host unreachable”"};
    case 2: return {Severity::note, "“protocol unreachable”"};
    case 3: return {Severity::note, "“port unreachable”"};
    case 4: return {Severity::note, "“fragmentation needed”"}; // how a sender learns the MTU
    case 9:
    case 10:
    case 13: return {Severity::warning, "“forbidden by a filter”"};
    default: return {Severity::warning, "“unreachable”"};
    }
}

Unreachable icmpv6Unreachable(std::uint8_t code)
{
    switch (code) {
    case 0: return {Severity::warning, "“no route”"};
    case 1: return {Severity::warning, "“forbidden by a filter”"};
    case 3: return {Severity::warning, "“address unreachable”"};
    case 4: return {Severity::note, "“port unreachable”"};
    default: return {Severity::warning, "“unreachable”"};
    }
}

/// The packet that an ICMP error quotes.
struct Quoted {
    Address from, to;
    std::uint8_t protocol = 0;
    std::uint16_t destinationPort = 0;
    std::uint32_t echoNumber = 0; ///< of a quoted echo request
    bool isEcho = false;
};

/// The ports that tracing a route tries.
bool isTracePort(const Quoted& packet)
{
    return packet.protocol == ipProtocol::udp && packet.destinationPort >= 33434 && packet.destinationPort < 33700;
}

std::optional<Quoted> quoted(Bytes packet, bool isIpv6)
{
    Quoted result;
    Bytes transport;
    if (isIpv6) {
        if (packet.size() < 40 || packet[0] >> 4 != 6)
            return {};
        result.from = Address::ipv6(packet.data() + 8);
        result.to = Address::ipv6(packet.data() + 24);
        result.protocol = packet[6];
        transport = packet.subspan(40);
    } else {
        if (packet.size() < 20 || packet[0] >> 4 != 4)
            return {};
        result.from = Address::ipv4(packet.data() + 12);
        result.to = Address::ipv4(packet.data() + 16);
        result.protocol = packet[9];
        transport = slice(packet, (packet[0] & 0x0fu) * 4u);
    }
    if (transport.size() < 8)
        return result;
    if (result.protocol == ipProtocol::tcp || result.protocol == ipProtocol::udp)
        result.destinationPort = load::be16(transport.data() + 2);
    if ((result.protocol == ipProtocol::icmp && transport[0] == 8)
        || (result.protocol == ipProtocol::icmpv6 && transport[0] == 128)) {
        result.isEcho = true;
        result.echoNumber = load::be32(transport.data() + 4);
    }
    return result;
}

} // namespace

void IpScan::scan(const FrameSight& sight, Copy copy, FindingLog& log)
{
    ++packets_;
    scanHeader(sight, copy, log);
    if (copy != Copy::none) // what follows counts events, and this one was counted
        return;
    const auto* header = sight.network();
    const bool isFragment = sight.isIpv4() ? (load::be16(header + 6) & 0x3fff) != 0
                                           : header[6] == ipProtocol::fragment || sight.outline.isLaterFragment;
    if (isFragment) [[unlikely]]
        scanFragment(sight, log);
    const auto transport = sight.transport();
    switch (sight.outline.ipProtocol) {
    case ipProtocol::tcp: break;
    case ipProtocol::udp:
        if (transport.size() >= 8 + 20 && load::be16(transport.data() + 2) == 1985)
            scanHsrp(transport.subspan(8), sight, log);
        break;
    case ipProtocol::icmp:
    case ipProtocol::icmpv6: scanIcmp(sight, log); break;
    case ipProtocol::ospf: scanOspf(transport, sight, log); break;
    case ipProtocol::eigrp: scanEigrp(transport, sight, log); break;
    case ipProtocol::vrrp:
        if (transport.size() >= 8 && (transport[0] & 0x0f) == 1)
            scanVrrp(transport, sight, log);
        break;
    default: break;
    }
}

void IpScan::scanHeader(const FrameSight& sight, Copy copy, FindingLog& log)
{
    if (sight.ttl() <= preferences_.lowTtl) [[unlikely]]
        scanTtl(sight, copy, log);
    const auto* header = sight.network();
    if (!sight.isIpv4()) {
        if (header[8] == 0xff) [[unlikely]] {
            auto& finding = log.record(Finding::ipMartian, {sight.source(), {}, 0}, sight.at);
            finding.measured = static_cast<double>(finding.count);
            finding.detail = "It is a multicast address.";
        }
        return;
    }
    const std::size_t length = (header[0] & 0x0fu) * 4u;
    if (length >= 20 && sight.outline.networkOffset + length <= sight.data().size()) {
        ++headersV4_;
        // A sum of zero in the field is what a card that fills it in later leaves.
        if (!InternetChecksum::isRightHeader(header, length) && load::be16(header + 10) != 0) [[unlikely]] {
            ++wrongHeaders_;
            auto& finding = log.report(Finding::ipChecksum, {sight.source(), {}, 0}, sight.at);
            finding.measured = static_cast<double>(finding.count);
        }
    }
    const auto source = load::be32(header + 12), destination = load::be32(header + 16);
    const auto net = source >> 24;
    if (net == 0 || net == 127 || net >= 224 || source == destination) [[unlikely]] {
        // A host that speaks to itself; some record that with addresses on the link.
        const bool isLoopback =
            (sight.sourceMac() == 0 && sight.destinationMac() == 0) || (net == 127 && destination >> 24 == 127);
        const bool isUnnumbered = source == 0 // who has no address yet may ask for one, and queries groups
            && (sight.outline.ipProtocol == ipProtocol::igmp
                || (sight.outline.ipProtocol == ipProtocol::udp && sight.transport().size() >= 4
                    && load::be16(sight.transport().data() + 2) == 67));
        if (isLoopback || isUnnumbered)
            return;
        auto& finding = log.record(Finding::ipMartian, {sight.source(), {}, 0}, sight.at);
        finding.measured = static_cast<double>(finding.count);
        if (source == destination && net != 127)
            finding.detail = "It sends to itself.";
    } else if (source >> 16 == 0xa9fe && !isMulticast(sight.destination())) [[unlikely]] {
        const auto station = sight.outline.hasSourceMac ? Address::mac(sight.sourceMac()) : Address{};
        auto& finding = log.record(Finding::ipApipa, {sight.source(), station, 0}, sight.at);
        finding.measured = static_cast<double>(finding.count);
    }
}

void IpScan::scanTtl(const FrameSight& sight, Copy copy, FindingLog& log)
{
    const auto destination = sight.destination();
    const auto protocol = sight.outline.ipProtocol;
    if (copy != Copy::none || isMulticast(destination) || sight.outline.isLaterFragment)
        return;
    const auto transport = sight.transport();
    const auto port = transport.size() >= 4 ? load::be16(transport.data() + 2) : std::uint16_t{0};
    const auto sourcePort = transport.size() >= 4 ? load::be16(transport.data()) : std::uint16_t{0};
    constexpr std::uint16_t bgp = 179, rip = 520, ripng = 521, mdns = 5353;
    // These talk to neighbours and keep it so by their time to live.
    const bool isForNeighbours = protocol == ipProtocol::ospf || protocol == ipProtocol::eigrp
        || protocol == ipProtocol::vrrp || protocol == ipProtocol::igmp || protocol == ipProtocol::pim || port == bgp
        || sourcePort == bgp || port == rip || port == ripng || port == mdns;
    if (isForNeighbours)
        return;
    auto* lows = tracers_.at(sight.source());
    if (lows)
        *lows |= 1u << sight.ttl();
    // Tracing a route begins with a time to live of 1 and goes on with 2, 3 and so on.
    const bool isTrace = protocol == ipProtocol::icmp || protocol == ipProtocol::icmpv6
        || (protocol == ipProtocol::udp && port >= 33434 && port < 33700) || !lows || (*lows & (*lows - 1))
        || *lows & 2;
    if (isTrace)
        return;
    auto& finding = log.record(Finding::ipTtlLow, {sight.source(), destination, 0}, sight.at);
    finding.measured = sight.ttl();
    finding.threshold = preferences_.lowTtl;
}

void IpScan::scanFragment(const FrameSight& sight, FindingLog& log)
{
    const auto data = sight.data();
    const auto* header = sight.network();
    std::uint32_t offset = 0, identification = 0, start = 0;
    bool hasMore = false;
    if (sight.isIpv4()) {
        const auto word = load::be16(header + 6);
        offset = (word & 0x1fffu) * 8;
        hasMore = word & 0x2000;
        identification = load::be16(header + 4);
        start = sight.outline.networkOffset + (header[0] & 0x0fu) * 4;
    } else {
        // The fragment header is found first where there is no other extension before it, which is the rule.
        start = sight.outline.networkOffset + 48;
        if (header[6] != ipProtocol::fragment || start > data.size())
            return;
        const auto word = load::be16(header + 42);
        offset = word & 0xfff8u;
        hasMore = word & 1;
        identification = load::be32(header + 44);
        if (offset == 0 && !hasMore) // an “atomic fragment” is whole
            return;
    }
    const auto from = sight.source(), to = sight.destination();
    log.record(Finding::ipFrag, {from, to, 0}, sight.at);
    if (start > sight.outline.networkEnd || sight.frame.capturedLength < sight.frame.originalLength)
        return;
    const auto length = sight.outline.networkEnd - start;
    auto& slot = datagrams_[place(from, to, identification, datagrams_.size())];
    if (!slot.isPending || slot.from != from || slot.to != to || slot.identification != identification) {
        if (slot.isPending) {
            reportDatagram(slot, sight.at.seconds, log);
            ++displaced_;
        }
        slot = {};
        slot.from = from;
        slot.to = to;
        slot.identification = identification;
        slot.at = sight.at;
        slot.isPending = true;
    }
    const auto digest = XXH3_64bits(data.data() + start, length);
    const auto known = std::span(slot.pieces).first(std::min<std::size_t>(slot.count, slot.pieces.size()));
    for (const auto& piece : known) {
        if (piece.offset == offset && piece.length == length && piece.digest == digest)
            return; // the same again
        if (offset < piece.offset + piece.length && piece.offset < offset + length)
            slot.overlaps = true;
    }
    if (slot.count < slot.pieces.size())
        slot.pieces[slot.count] = {offset, length, digest};
    ++slot.count;
    slot.bytes += length;
    if (!hasMore)
        slot.total = offset + length;
    if (slot.overlaps || (slot.total && slot.bytes >= slot.total)) {
        if (slot.overlaps)
            reportDatagram(slot, sight.at.seconds, log);
        slot.isPending = false;
    }
}

void IpScan::reportDatagram(const Datagram& datagram, double end, FindingLog& log)
{
    constexpr double patience = 30;
    auto* finding = log.find(Finding::ipFrag, {datagram.from, datagram.to, 0});
    if (!finding)
        return;
    if (datagram.overlaps) {
        finding->severity = Severity::error;
        finding->detail = fmt::format("Pieces of the datagram that begins in frame {} overlap with different bytes.",
                                      datagram.at.frame);
    } else if (end - datagram.at.seconds >= patience) {
        finding->severity = std::max(finding->severity, Severity::warning);
        if (finding->detail.empty())
            finding->detail =
                fmt::format("The datagram that begins in frame {} never got complete.", datagram.at.frame);
    }
}

void IpScan::scanIcmp(const FrameSight& sight, FindingLog& log)
{
    const auto message = sight.transport();
    const bool isIpv6 = sight.outline.ipProtocol == ipProtocol::icmpv6;
    if (message.size() < 8 || isIpv6 != sight.isIpv6())
        return;
    const auto type = message[0];
    if (type == (isIpv6 ? 128 : 8))
        return scanEcho(message, true, sight, log);
    if (type == (isIpv6 ? 129 : 0))
        return scanEcho(message, false, sight, log);
    if (isIpv6 && type >= 133 && type <= 137)
        return scanNeighbourDiscovery(message, sight, log);
    if (isIpv6 ? type <= 3 : type == 3 || type == 11)
        return scanIcmpError(message, isIpv6, sight, log);
    if (!isIpv6 && type == 5) {
        const auto target = quoted(message.subspan(8), false);
        auto& finding = log.record(Finding::icmpRedirect, {sight.source(), sight.destination(), 0}, sight.at);
        finding.measured = static_cast<double>(finding.count);
        if (target && finding.detail.empty())
            finding.detail =
                fmt::format("{} is the way to {}", Address::ipv4(message.data() + 4).text(), target->to.text());
    }
}

void IpScan::scanIcmpError(Bytes message, bool isIpv6, const FrameSight& sight, FindingLog& log)
{
    const auto victim = quoted(message.subspan(8), isIpv6);
    if (!victim)
        return;
    if (victim->isEcho) // it got an answer of a kind
        settle(victim->from, victim->to, victim->echoNumber);
    const bool isTimeExceeded = message[0] == (isIpv6 ? 3 : 11);
    if (isTimeExceeded) {
        if (message[1] != 0) // fragments that never got complete
            return;
        const auto* lows = tracers_.find(victim->from);
        auto& finding = log.record(Finding::ipTtlExpired, {sight.source(), victim->to, 0}, sight.at);
        finding.measured = static_cast<double>(finding.count);
        const bool isTrace = (lows && *lows) || isTracePort(*victim);
        if (isTrace && finding.count == 1)
            finding.severity = Severity::info;
        else if (!isTrace)
            finding.severity = Severity::warning;
        return;
    }
    const bool isTooBig = isIpv6 && message[0] == 2;
    const auto what = isTooBig ? Unreachable{Severity::note, "“packet too big”"}
        : isIpv6               ? icmpv6Unreachable(message[1])
                               : icmpv4Unreachable(message[1]);
    if (!isTooBig && !(!isIpv6 && message[1] == 4))
        unreachable_.at(victim->to);
    else if (auto* when = tooBig_.at({victim->from, victim->to, 0}))
        *when = sight.at.seconds;
    // Tracing a route ends at a port that nobody listens on.
    const bool isTrace = isTracePort(*victim);
    const auto port = isTrace ? std::uint16_t{0} : victim->destinationPort;
    const auto severity = isTrace ? Severity::info : what.severity;
    auto& finding = log.record(Finding::icmpUnreach, {sight.source(), victim->to, port}, sight.at);
    finding.measured = static_cast<double>(finding.count);
    if (finding.count == 1 || severity > finding.severity)
        finding.severity = severity;
    if (!finding.detail.empty())
        return;
    finding.detail = fmt::format("to {} {}", victim->from.text(), what.text);
    if (isTooBig)
        finding.detail += fmt::format(", the MTU is {}", load::be32(message.data() + 4));
    else if (!isIpv6 && message[1] == 4)
        finding.detail += fmt::format(", the MTU is {}", load::be16(message.data() + 6));
    else if (victim->destinationPort)
        finding.detail += fmt::format(" for {} port {}", victim->protocol == ipProtocol::tcp ? "TCP" : "UDP",
                                      victim->destinationPort);
}

void IpScan::settle(const Address& from, const Address& to, std::uint32_t number)
{
    auto& slot = echoes_[place(from, to, number, echoes_.size())];
    if (!slot.isPending || slot.from != from || slot.to != to || slot.number != number)
        return;
    slot.isPending = false;
    auto* pings = pings_.find({from, to, 0});
    if (!pings)
        return;
    if (pings->since > 1 && slot.at.seconds - pings->sinceTime >= preferences_.echoSeconds)
        pings->mostInARow = std::max(pings->mostInARow, pings->since - 1);
    pings->since = 0;
}

bool IpScan::isOverdue(const Echo& echo, double now, double patience)
{
    return echo.isPending && now - echo.at.seconds >= patience;
}

void IpScan::reportLost(const Echo& echo, FindingLog& log) const
{
    auto& finding = log.record(Finding::icmpEcho, {echo.from, echo.to, 0}, echo.at);
    finding.measured = static_cast<double>(finding.count);
    finding.threshold = preferences_.echoesInARow;
}

void IpScan::scanEcho(Bytes message, bool isRequest, const FrameSight& sight, FindingLog& log)
{
    const auto number = load::be32(message.data() + 4);
    const auto from = sight.source(), to = sight.destination();
    if (!isRequest)
        return settle(to, from, number);
    if (isMulticast(to)) // nobody has to answer
        return;
    auto& slot = echoes_[place(from, to, number, echoes_.size())];
    if (isOverdue(slot, sight.at.seconds, preferences_.echoSeconds)) {
        reportLost(slot, log);
    } else {
        displaced_ += slot.isPending;
    }
    slot = {from, to, number, sight.at, true};
    if (auto* pings = pings_.at({from, to, 0})) {
        ++pings->sent;
        if (pings->since++ == 0)
            pings->sinceTime = sight.at.seconds;
        pings->latest = sight.at.seconds;
    }
}

void IpScan::scanNeighbourDiscovery(Bytes message, const FrameSight& sight, FindingLog& log)
{
    const auto type = message[0];
    if (type == 134)
        return scanRouterAdvertisement(message, sight, log);
    if (type == 137 && message.size() >= 40) {
        auto& finding = log.record(Finding::icmpRedirect, {sight.source(), sight.destination(), 0}, sight.at);
        finding.measured = static_cast<double>(finding.count);
        if (finding.detail.empty())
            finding.detail = fmt::format("{} is the way to {}", Address::ipv6(message.data() + 8).text(),
                                         Address::ipv6(message.data() + 24).text());
        return;
    }
    if ((type != 135 && type != 136) || message.size() < 24)
        return;
    const auto target = Address::ipv6(message.data() + 8);
    const auto source = sight.source();
    if (type == 135) {
        if (source.high == 0 && source.low == 0) {
            probes_[nextProbe_] = {target, sight.at, sight.sourceMac()};
            nextProbe_ = (nextProbe_ + 1) % probes_.size();
        }
        return;
    }
    constexpr double patience = 3;
    for (auto& probe : probes_) {
        if (probe.target != target || sight.at.seconds - probe.at.seconds > patience || probe.mac == sight.sourceMac())
            continue;
        log.record(Finding::ndDupip, {target, {}, 0}, probe.at);
        auto& finding = log.record(Finding::ndDupip, {target, {}, 0}, sight.at);
        finding.count = 1;
        finding.measured = 1;
        finding.detail =
            fmt::format("{} asked, {} has it.", Address::mac(probe.mac).text(), Address::mac(sight.sourceMac()).text());
        probe = {};
    }
}

void IpScan::scanRouterAdvertisement(Bytes message, const FrameSight& sight, FindingLog& log)
{
    if (message.size() < 16)
        return;
    Advertiser seen;
    seen.segment = segmentOf(sight);
    seen.address = sight.source();
    seen.flags = message[5] & 0xc0; // managed, other: where addresses and settings come from
    seen.lifetime = load::be16(message.data() + 6);
    seen.at = sight.at;
    for (std::size_t at = 16; at + 8 <= message.size() && message[at + 1] != 0; at += message[at + 1] * 8u) {
        if (message[at] == 3 && at + 32 <= message.size())
            seen.prefixes += hashWords(load::be64(message.data() + at + 16), message[at + 2]);
    }
    auto known = std::find_if(advertisers_.begin(), advertisers_.end(), [&](const Advertiser& other) {
        return other.segment == seen.segment && other.address == seen.address;
    });
    if (known == advertisers_.end()) {
        if (advertisers_.size() == maxRouters)
            return;
        known = advertisers_.insert(advertisers_.end(), seen);
    }
    // A router that says “use me” and “do not” in turn; once it may say that it goes.
    seen.toggles = known->toggles + ((known->lifetime == 0) != (seen.lifetime == 0));
    if (seen.toggles > known->toggles && seen.toggles >= 2) {
        auto& finding = log.record(Finding::ndRa, {seen.address, seen.address, 0}, sight.at);
        finding.measured = static_cast<double>(finding.count);
        finding.detail = "it is a default router and is none in turn";
    }
    *known = seen;
    for (const auto& other : advertisers_) {
        if (other.segment != seen.segment || other.address == seen.address
            || (other.prefixes == seen.prefixes && other.flags == seen.flags))
            continue;
        const bool isFirst = other.at.frame < seen.at.frame;
        const Subject subject{isFirst ? other.address : seen.address, isFirst ? seen.address : other.address, 0};
        auto& finding = log.record(Finding::ndRa, subject, sight.at);
        finding.measured = static_cast<double>(finding.count);
        if (finding.detail.empty())
            finding.detail = other.flags != seen.flags ? "the managed and other flags" : "the prefixes";
    }
}

IpScan::Router* IpScan::compareRouters(const Router& router, const char* const (&names)[3], FindingLog& log)
{
    auto known = std::find_if(routers_.begin(), routers_.end(), [&](const Router& other) {
        return other.segment == router.segment && other.protocol == router.protocol && other.address == router.address;
    });
    if (known == routers_.end()) {
        if (routers_.size() == maxRouters) {
            ++displaced_;
            return nullptr;
        }
        known = routers_.insert(routers_.end(), router);
    }
    std::ranges::copy(router.settings, known->settings);
    known->at = router.at;
    known->id = router.id;
    for (const auto& other : routers_) {
        if (other.segment != router.segment || other.protocol != router.protocol || other.address == router.address)
            continue;
        std::string what;
        double count = 0;
        for (std::size_t i = 0; i < std::size(names); ++i) {
            if (other.settings[i] == router.settings[i])
                continue;
            what += (what.empty() ? "" : ", ") + std::string(names[i]);
            ++count;
        }
        if (what.empty())
            continue;
        const bool isLower = router.address < other.address;
        auto& finding = log.record(
            Finding::routeAdjacency,
            {isLower ? router.address : other.address, isLower ? other.address : router.address, 0}, router.at);
        finding.measured = count;
        finding.detail = what;
    }
    return &*known;
}

void IpScan::scanOspf(Bytes packet, const FrameSight& sight, FindingLog& log)
{
    constexpr std::uint8_t hello = 1;
    if (packet.size() < 44 || packet[0] != 2 || packet[1] != hello)
        return;
    auto* router = compareRouters(
        {segmentOf(sight),
         ipProtocol::ospf,
         sight.source(),
         {load::be32(packet.data() + 8), load::be16(packet.data() + 14),
          hashWords(load::be32(packet.data() + 24), load::be16(packet.data() + 28)) + load::be32(packet.data() + 32)},
         sight.at,
         load::be32(packet.data() + 4)},
        {"the area", "the kind of authentication", "the mask or the timers"}, log);
    if (router && !isMulticast(sight.destination())) // hellos to a single neighbour list as well; one list is enough
        return;
    const auto length = std::min<std::size_t>(load::be16(packet.data() + 2), packet.size());
    if (router && length >= 44 && sight.frame.capturedLength == sight.frame.originalLength)
        compareNeighbours(*router, packet.first(length).subspan(44), sight.at, log);
}

// A hello lists whom the router has heard (RFC 2328, A.3.2). Whom it no longer lists it has lost, although that one
// still speaks.
void IpScan::compareNeighbours(Router& router, Bytes list, const Sighting& at, FindingLog& log)
{
    const auto before = router.neighbours;
    const auto countBefore = router.neighbourCount;
    router.neighbourCount = static_cast<std::uint8_t>(std::min<std::size_t>(list.size() / 4, router.neighbours.size()));
    for (std::size_t i = 0; i < router.neighbourCount; ++i)
        router.neighbours[i] = load::be32(list.data() + 4 * i);
    const auto now = std::span(router.neighbours).first(router.neighbourCount);
    for (const auto id : std::span(before).first(countBefore)) {
        if (std::ranges::find(now, id) != now.end())
            continue;
        constexpr double alive = 15; // the usual hellos come every ten seconds
        const auto lost = std::ranges::find_if(routers_, [&](const Router& other) {
            return other.segment == router.segment && other.protocol == router.protocol && other.id == id
                && at.seconds - other.at.seconds <= alive;
        });
        if (lost == routers_.end())
            continue; // it is gone, and not only for this router
        auto& finding = log.record(Finding::routeAdjacency, {router.address, lost->address, 0}, at);
        finding.measured = static_cast<double>(finding.count);
        finding.detail =
            fmt::format("{} no longer lists {} among those it hears", router.address.text(), lost->address.text());
    }
}

void IpScan::scanEigrp(Bytes packet, const FrameSight& sight, FindingLog& log)
{
    constexpr std::uint8_t hello = 5;
    constexpr std::uint16_t parameters = 0x0001;
    if (packet.size() < 20 + 12 || packet[1] != hello || load::be16(packet.data() + 20) != parameters)
        return;
    compareRouters({segmentOf(sight),
                    ipProtocol::eigrp,
                    sight.source(),
                    {load::be32(packet.data() + 16), load::be32(packet.data() + 24), packet[28]},
                    sight.at,
                    0},
                   {"the autonomous system", "the K values", "the K values"}, log);
}

void IpScan::scanHsrp(Bytes message, const FrameSight& sight, FindingLog& log)
{
    // Version 1: version, operation, state, hello time, hold time, priority, group (RFC 2281, 5.1).
    constexpr std::uint8_t hello = 0, coup = 1, resign = 2, active = 16;
    if (message.size() < 20 || message[0] != 0)
        return;
    const auto group = std::uint64_t{message[6]} << 8 | 2;
    if (message[1] == hello && message[2] == active)
        return scanRedundancy(group, "HSRP", message[3], sight, log);
    if (message[1] != coup && message[1] != resign)
        return;
    auto& finding = log.record(Finding::fhrpFlap, {sight.source(), sight.destination(), 0}, sight.at);
    finding.measured = static_cast<double>(finding.count);
    finding.detail = fmt::format("HSRP group {}: {}", message[6], message[1] == coup ? "it takes over" : "it resigns");
}

void IpScan::scanVrrp(Bytes message, const FrameSight& sight, FindingLog& log)
{
    // Version 2 counts the interval in seconds, version 3 in hundredths (RFC 3768, 5.3; RFC 5798, 5.2).
    const bool isOld = message[0] >> 4 == 2;
    const double interval = isOld ? message[5] : (load::be16(message.data() + 4) & 0xfff) / 100.0;
    scanRedundancy(std::uint64_t{message[1]} << 8 | 1, "VRRP", interval, sight, log);
}

void IpScan::scanRedundancy(std::uint64_t id, const char* protocol, double interval, const FrameSight& sight,
                            FindingLog& log)
{
    const auto source = sight.source();
    const auto key = id << 32 | segmentOf(sight);
    auto group = std::find_if(groups_.begin(), groups_.end(), [&](const Group& known) { return known.id == key; });
    if (group == groups_.end()) {
        if (groups_.size() < maxRouters)
            groups_.push_back({key, source, sight.at.seconds, {}, -1e300, {}, 0});
        else
            ++displaced_;
        return;
    }
    if (group->master == source) {
        group->lastMaster = sight.at.seconds;
        return;
    }
    if (!group->subject.a)
        group->subject = {group->master, source, 0};
    auto& finding = log.record(Finding::fhrpFlap, group->subject, sight.at);
    finding.measured = static_cast<double>(finding.count);
    finding.detail = fmt::format("{} group {}", protocol, id >> 8);
    // Who was master speaks again although the other one is: each thinks that it is the master.
    const auto together = 3 * std::max(interval, 1.0) + 0.5;
    const bool isBack = group->before == source && sight.at.seconds - group->lastBefore < together;
    group->turns = isBack ? group->turns + 1 : 0;
    if (group->turns >= 2)
        finding.severity = Severity::error;
    group->before = group->master;
    group->lastBefore = group->lastMaster;
    group->master = source;
    group->lastMaster = sight.at.seconds;
}

// A service that answers at other times is one that somebody misses; large packets that a router has spoken of
// do not vanish.
void IpScan::finishTransport(const ConversationTable& table, FindingLog& log) const
{
    struct Closed {
        Address host;
        std::uint16_t port;
        ExpertFinding* record;
    };
    constexpr std::uint16_t firstMediaPort = 10'000; // above, calls take any port and leave it when they end
    std::vector<Closed> closed;
    for (auto& record : log.records()) {
        if (record.count == 0)
            continue;
        if (record.finding == Finding::ipBlackhole) {
            constexpr double soon = 5;
            const auto* told = tooBig_.find(Subject{record.hosts[0], record.hosts[1], 0});
            if (told && *told >= record.firstSeconds - soon && *told <= record.lastSeconds + soon)
                FindingLog::withdraw(record);
        }
        if (record.finding == Finding::icmpUnreach && record.severity == Severity::note && record.port
            && record.detail.find("“port unreachable” for UDP") != std::string::npos && record.port < firstMediaPort
            && PortServices::serviceOf(record.port))
            closed.push_back({record.hosts[1], record.port, &record});
    }
    if (closed.empty())
        return;
    const auto order = [](const Closed& one) { return std::tuple(one.host, one.port); };
    std::ranges::sort(closed, {}, order);
    for (std::uint32_t number = 0; number < table.sessions.size(); ++number) {
        const auto& session = table.sessions[number];
        if (session.kind != Session::Kind::udp)
            continue;
        for (const int side : {0, 1}) {
            if (session.flows[side].frames == 0 || session.ports[side] >= session.ports[1 - side])
                continue; // it never answered, or is the client’s
            const std::tuple wanted(table.addresses.address(session.hostKind, session.hosts[side]),
                                    session.ports[side]);
            const auto [from, to] = std::ranges::equal_range(closed, wanted, {}, order);
            for (auto place = from; place != to; ++place) {
                place->record->severity = Severity::warning;
                place->record->detail += ", which answers at other times";
            }
            if (from != to)
                closed.erase(from, to);
        }
        if (closed.empty())
            return;
    }
}

void IpScan::tellCutOff(std::vector<std::string>& lines) const
{
    tell(lines, tracers_, "senders of packets near the end of their life");
    tell(lines, unreachable_, "unreachable hosts");
    tell(lines, tooBig_, "pairs of hosts with packets too big");
    tell(lines, pings_, "pairs of hosts that ping");
    if (displaced_)
        lines.push_back(
            fmt::format("{} pings, datagrams in pieces and routers were displaced by newer ones", displaced_));
}

void IpScan::finish(FindingLog& log, double end) const
{
    std::vector<const Echo*> waiting;
    for (const auto& echo : echoes_) {
        if (isOverdue(echo, end, preferences_.echoSeconds))
            waiting.push_back(&echo);
    }
    std::ranges::sort(waiting, {}, [](const Echo* echo) { return echo->at.frame; });
    for (const auto* echo : waiting)
        reportLost(*echo, log);
    for (auto& record : log.records()) {
        if (record.finding != Finding::icmpEcho || record.count == 0)
            continue;
        const auto* pings = pings_.find({record.hosts[0], record.hosts[1], 0});
        constexpr std::uint32_t many = 20;
        if (!pings)
            continue;
        const bool isOver = end - pings->latest >= preferences_.echoSeconds;
        const auto inARow = std::max(pings->mostInARow, isOver ? pings->since : 0);
        if (inARow >= preferences_.echoesInARow || (pings->sent >= many && record.count * 10 >= pings->sent))
            record.severity = Severity::warning;
    }
    for (const auto& datagram : datagrams_) {
        if (datagram.isPending)
            reportDatagram(datagram, end, log);
    }
    const bool mostAreWrong = wrongHeaders_ >= 3 && wrongHeaders_ * 2 >= headersV4_;
    for (auto& record : log.records()) {
        if (record.finding == Finding::ipChecksum && mostAreWrong) { // a tool has given the hosts other addresses
            record.severity = Severity::note;
            record.confidence = 0.5;
        }
        if (record.finding != Finding::ipFrag)
            continue;
        record.measured = static_cast<double>(record.count);
        record.threshold = preferences_.fragmentPercent;
        const auto share = 100.0 * static_cast<double>(record.count) / static_cast<double>(packets_);
        if (record.severity == Severity::note && share < preferences_.fragmentPercent)
            FindingLog::withdraw(record);
    }
}

} // namespace netrondo
