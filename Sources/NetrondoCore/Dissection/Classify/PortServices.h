// Which service a port belongs to: well-known and registered ports (IANA's registry, and the custom of networks).
#pragma once

#include "Dissection/Classify/ProtocolCategory.h"
#include "Dissection/Classify/ProtocolName.h"

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <utility>

namespace netrondo {

/// What a pair of hosts exchanged over one port.
struct PortStats {
    std::uint64_t count = 0;
    bool isTCP = false;
    bool isUDP = false;

    friend bool operator==(const PortStats&, const PortStats&) = default;
};

namespace PortServices {

/// Ports from here on are handed out by operating systems for the length of one connection.
constexpr std::uint16_t ephemeralPortFloor = 49152;

namespace detail {
/// The service of every port, `ProtocolName::other` where there is none.
extern const std::array<ProtocolName, 65536> serviceByPort;
/// Whether there is one, a bit for each port. Every frame asks, mostly for ports without one: this much stays in the
/// cache nearest to the processor.
extern const std::array<std::uint64_t, 65536 / 64> hasService;
static_assert(static_cast<int>(ProtocolName::other) == 0, "an empty table says that nothing is known");

/// What is known about a protocol name beyond its text.
enum NameTrait : std::uint8_t { transportOnly = 1, infrastructure = 2, overTcpOnly = 4 };
extern const std::array<std::uint8_t, protocolNameCount> nameTraits;

inline bool hasTrait(ProtocolName name, NameTrait trait)
{
    return nameTraits[static_cast<std::size_t>(name)] & trait;
}
} // namespace detail

/// The name of a port's service, or none.
inline std::optional<ProtocolName> serviceOf(std::uint16_t port)
{
    const bool isKnown = detail::hasService[port / 64] >> port % 64 & 1;
    return isKnown ? std::optional(detail::serviceByPort[port]) : std::nullopt;
}
/// The same for what is spoken over this transport: a call may use the port of a service that only TCP carries.
inline std::optional<ProtocolName> serviceOf(std::uint16_t port, ProtocolName transport)
{
    const auto service = serviceOf(port);
    const bool isOther = service && transport == ProtocolName::udp && detail::hasTrait(*service, detail::overTcpOnly);
    return isOther ? std::nullopt : service;
}
/// The name of a port's service as text, or the empty view.
std::string_view name(std::uint16_t port);
/// A port below the ephemeral ones without a name: somebody's service, we do not know whose.
bool isUnnamedService(std::uint16_t port);
/// The service name of the destination port, else of the source port, else `transport`.
inline ProtocolName serviceName(std::uint16_t sourcePort, std::uint16_t destinationPort, ProtocolName transport)
{
    const auto destination = serviceOf(destinationPort, transport);
    return destination ? *destination : serviceOf(sourcePort, transport).value_or(transport);
}

/// True for names that say no more than how the bytes were carried ("TCP", "IPv6", "SCTP", "IP protocol 99").
inline bool isTransportOnly(ProtocolName name)
{
    return detail::hasTrait(name, detail::transportOnly);
}
/// The same for a text, whatever the case of its letters ("IPV4").
bool isTransportOnly(std::string_view name);

/// The named service whose ports carry the highest summed count, the one with the lowest port on a tie. The ports stand
/// in ascending order.
std::optional<ProtocolName> dominantAppProtocol(std::span<const std::pair<std::uint16_t, PortStats>> ports);

/// The category of frames with this name: that of their transport, but `infrastructure` for the protocols that
/// networks run for themselves (routing, flow export).
inline ProtocolCategory category(ProtocolName name, ProtocolCategory transport)
{
    return detail::hasTrait(name, detail::infrastructure) ? ProtocolCategory::infrastructure : transport;
}

} // namespace PortServices

} // namespace netrondo
