// The table of link layers: number, case name, and the name a person reads.
#include "Capture/LinkType.h"

#include <algorithm>
#include <fmt/format.h>

namespace netrondo {
namespace {
struct Row {
    LinkType type;
    std::string_view caseName, displayName;
};

constexpr Row rows[] = {
    {LinkType::null, "null", "Null / loopback"},
    {LinkType::ethernet, "ethernet", "Ethernet"},
    {LinkType::raw, "raw", "Raw IP"},
    {LinkType::ieee80211, "ieee80211", "IEEE 802.11"},
    {LinkType::linuxSLL, "linuxSLL", "Linux cooked"},
    {LinkType::linuxSLL2, "linuxSLL2", "Linux cooked v2"},
    {LinkType::ieee80211Radio, "ieee80211Radio", "IEEE 802.11 + Radiotap"},
};

/// The row of a known link type; none for `unknown`.
const Row* find(std::uint16_t number)
{
    const auto* row = std::ranges::find(rows, static_cast<LinkType>(number), &Row::type);
    return row == std::end(rows) ? nullptr : row;
}
} // namespace

std::optional<LinkType> linkTypeExactly(std::uint16_t rawValue)
{
    const auto type = static_cast<LinkType>(rawValue);
    return type == LinkType::unknown || find(rawValue) ? std::optional(type) : std::nullopt;
}

LinkType linkType(std::uint16_t raw)
{
    return linkTypeExactly(raw).value_or(LinkType::unknown);
}

std::string displayName(LinkType type)
{
    const auto number = static_cast<std::uint16_t>(type);
    const auto* row = find(number);
    return row ? std::string(row->displayName) : fmt::format("Unknown (DLT {})", number);
}

std::string_view caseName(LinkType type)
{
    const auto* row = find(static_cast<std::uint16_t>(type));
    return row ? row->caseName : "unknown";
}

} // namespace netrondo
