// The names protocols are counted under, as small numbers: text is made when a person or a file reads it.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace netrondo {

/// A row of ProtocolNames.def, or one of the numbered names behind them ("IP protocol 99").
enum class ProtocolName : std::uint16_t {
#define NR_NAME(id, text) id,
#include "Dissection/Classify/ProtocolNames.def"
#undef NR_NAME
    firstIpProtocol,                           ///< 256 names "IP protocol {n}" begin here
    firstIpv6Protocol = firstIpProtocol + 256, ///< 256 names "IPv6 protocol {n}" begin here
    count = firstIpv6Protocol + 256,
};

constexpr std::size_t protocolNameCount = static_cast<std::size_t>(ProtocolName::count);

constexpr ProtocolName ipProtocolName(std::uint8_t number)
{
    return static_cast<ProtocolName>(static_cast<int>(ProtocolName::firstIpProtocol) + number);
}
constexpr ProtocolName ipv6ProtocolName(std::uint8_t number)
{
    return static_cast<ProtocolName>(static_cast<int>(ProtocolName::firstIpv6Protocol) + number);
}

/// The text of a name; it lives as long as the program.
std::string_view text(ProtocolName name);
/// The name with this text, if there is one.
std::optional<ProtocolName> protocolName(std::string_view text);

} // namespace netrondo
