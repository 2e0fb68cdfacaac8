// The table of port services, and what protocol names stand for.
#include "Dissection/Classify/PortServices.h"

#include "Base/Counter.h"

#include <algorithm>
#include <iterator>

namespace netrondo::PortServices {
namespace {

struct Service {
    std::uint16_t port;
    ProtocolName name;
};

constexpr Service services[] = {
#define NR_SERVICE(port, name) {port, ProtocolName::name},
#include "Dissection/Classify/PortServices.def"
#undef NR_SERVICE
};

static_assert(std::adjacent_find(std::begin(services), std::end(services),
                                 [](const Service& a, const Service& b) { return a.port >= b.port; })
                  == std::end(services),
              "the services stand in the order of their ports, each port once");
static_assert(std::end(services)[-1].port < ephemeralPortFloor, "an ephemeral port belongs to nobody's service");

// Names that say how the bytes were carried and not what they were. A tunnel (GRE, IPsec) or ICMP says more than that.
constexpr ProtocolName transportNames[] = {
    ProtocolName::other,  ProtocolName::tcp,  ProtocolName::udp,     ProtocolName::tcpRaw,
    ProtocolName::udpRaw, ProtocolName::ip,   ProtocolName::ipv4,    ProtocolName::ipv6,
    ProtocolName::sctp,   ProtocolName::dccp, ProtocolName::udpLite,
};

// What networks run for themselves: routing and the redundancy, label and multicast protocols that go with it, flow
// export, and the link layer's own neighbours, loops and bundles. Monitoring that hosts take part in (SNMP, Syslog)
// stays with its transport.
constexpr ProtocolName infrastructureNames[] = {
    ProtocolName::bgp,      ProtocolName::rip,        ProtocolName::ripng,         ProtocolName::ospf,
    ProtocolName::eigrp,    ProtocolName::isis,       ProtocolName::babel,         ProtocolName::olsr,
    ProtocolName::aodv,     ProtocolName::bgmp,       ProtocolName::lisp,          ProtocolName::bfd,
    ProtocolName::vrrp,     ProtocolName::hsrp,       ProtocolName::glbp,          ProtocolName::pim,
    ProtocolName::igmp,     ProtocolName::msdp,       ProtocolName::autoRp,        ProtocolName::ldp,
    ProtocolName::rsvp,     ProtocolName::lmp,        ProtocolName::lspPing,       ProtocolName::netFlow,
    ProtocolName::ipfix,    ProtocolName::sFlow,      ProtocolName::lldp,          ProtocolName::cdp,
    ProtocolName::mndp,     ProtocolName::stp,        ProtocolName::slowProtocols, ProtocolName::dot1x,
    ProtocolName::openFlow, ProtocolName::macControl,
};

// Services that only TCP carries, on ports that phones and players take for their datagrams.
constexpr ProtocolName tcpNames[] = {
    ProtocolName::ndmp,      ProtocolName::zabbix, ProtocolName::kubelet, ProtocolName::dicom, ProtocolName::hkp,
    ProtocolName::netBackup, ProtocolName::dnp3,   ProtocolName::gluster, ProtocolName::plex,  ProtocolName::mongoDb,
};

constexpr char lower(char c)
{
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c;
}

constexpr bool sameIgnoringCase(std::string_view a, std::string_view b)
{
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](char left, char right) { return lower(left) == lower(right); });
}

} // namespace

namespace detail {

constinit const std::array<ProtocolName, 65536> serviceByPort = [] {
    std::array<ProtocolName, 65536> table{};
    for (const auto& service : services)
        table[service.port] = service.name;
    return table;
}();

constinit const std::array<std::uint64_t, 65536 / 64> hasService = [] {
    std::array<std::uint64_t, 65536 / 64> bits{};
    for (const auto& service : services)
        bits[service.port / 64] |= std::uint64_t{1} << service.port % 64;
    return bits;
}();

constinit const std::array<std::uint8_t, protocolNameCount> nameTraits = [] {
    std::array<std::uint8_t, protocolNameCount> traits{};
    for (const auto name : transportNames)
        traits[static_cast<std::size_t>(name)] |= transportOnly;
    for (auto name = static_cast<std::size_t>(ProtocolName::firstIpProtocol); name < protocolNameCount; ++name)
        traits[name] |= transportOnly;
    for (const auto name : tcpNames)
        traits[static_cast<std::size_t>(name)] |= overTcpOnly;
    for (const auto name : infrastructureNames)
        traits[static_cast<std::size_t>(name)] |= infrastructure;
    return traits;
}();

} // namespace detail

std::string_view name(std::uint16_t port)
{
    const auto service = serviceOf(port);
    return service ? text(*service) : std::string_view{};
}

bool isUnnamedService(std::uint16_t port)
{
    return port < ephemeralPortFloor && !serviceOf(port);
}

bool isTransportOnly(std::string_view name)
{
    if (const auto known = protocolName(name))
        return isTransportOnly(*known);
    return std::any_of(std::begin(transportNames), std::end(transportNames),
                       [&](ProtocolName transport) { return sameIgnoringCase(text(transport), name); });
}

std::optional<ProtocolName> dominantAppProtocol(std::span<const std::pair<std::uint16_t, PortStats>> ports)
{
    const auto applicationOn = [](const std::pair<std::uint16_t, PortStats>& entry) {
        const auto& [port, stats] = entry;
        const auto service = serviceOf(port, stats.isUDP && !stats.isTCP ? ProtocolName::udp : ProtocolName::tcp);
        return service && !isTransportOnly(*service) ? service : std::nullopt;
    };
    const auto first =
        std::find_if(ports.begin(), ports.end(), [&](const auto& entry) { return applicationOn(entry).has_value(); });
    if (first == ports.end())
        return {};

    std::array<Counter64, static_cast<std::size_t>(ProtocolName::firstIpProtocol)> counts{};
    for (auto at = first; at != ports.end(); ++at)
        if (const auto service = applicationOn(*at))
            counts[static_cast<std::size_t>(*service)] += at->second.count;

    auto best = *applicationOn(*first);
    for (auto at = first; at != ports.end(); ++at)
        if (const auto service = applicationOn(*at);
            service && counts[static_cast<std::size_t>(*service)] > counts[static_cast<std::size_t>(best)])
            best = *service;
    return best;
}

} // namespace netrondo::PortServices
