// The broad kinds of traffic, and which of two wins a conversation.
#pragma once

#include <cstdint>
#include <string_view>

namespace netrondo {

enum class ProtocolCategory : std::uint8_t { tcp, udp, arp, icmp, infrastructure, unknown };

constexpr int priority(ProtocolCategory category)
{
    constexpr int priorities[] = {5, 5, 4, 4, 3, 0};
    return priorities[static_cast<int>(category)];
}

/// Of two categories the one with the higher priority; on equal priority the second, the newer one.
constexpr ProtocolCategory prefer(ProtocolCategory a, ProtocolCategory b)
{
    return priority(b) < priority(a) ? a : b;
}

constexpr std::string_view caseName(ProtocolCategory category)
{
    constexpr std::string_view names[] = {"tcp", "udp", "arp", "icmp", "infrastructure", "unknown"};
    return names[static_cast<int>(category)];
}

} // namespace netrondo
