// Which service a port belongs to: well-known and registered ports (IANA's registry, and the custom of networks).
#pragma once

#include "Dissection/Classify/ProtocolCategory.h"
#include "Dissection/Classify/ProtocolName.h"

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

/// The name of a port's service, or none.
std::optional<ProtocolName> serviceOf(std::uint16_t port);
/// The same as text, or the empty view.
std::string_view name(std::uint16_t port);
/// A port below the ephemeral ones without a name: somebody's service, we do not know whose.
bool isUnnamedService(std::uint16_t port);
/// The service name of the destination port, else of the source port, else `transport`.
ProtocolName serviceName(std::uint16_t sourcePort, std::uint16_t destinationPort, ProtocolName transport);

/// True for names that say no more than how the bytes were carried ("TCP", "IPv6", "SCTP").
bool isTransportOnly(ProtocolName name);
bool isTransportOnly(std::string_view name);

/// The named service whose ports carry the highest summed count, the one with the lowest port on a tie.
std::optional<ProtocolName> dominantAppProtocol(std::span<const std::pair<std::uint16_t, PortStats>> ports);

/// The category of frames with this name: that of their transport, but `infrastructure` for the protocols that
/// networks run for themselves (routing, flow export).
ProtocolCategory category(ProtocolName name, ProtocolCategory transport);

} // namespace PortServices

} // namespace netrondo
