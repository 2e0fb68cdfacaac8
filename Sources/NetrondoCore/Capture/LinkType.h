// The link layers a capture can be of, by their registered link-type numbers (tcpdump.org's LINKTYPE_ list).
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace netrondo {

enum class LinkType : std::uint16_t {
    null = 0,
    ethernet = 1,
    raw = 12,
    ieee80211 = 105,
    linuxSLL = 113,
    linuxSLL2 = 276,
    ieee80211Radio = 127,
    unknown = 65535,
};

/// The link type with exactly this number; nothing for any number that is not in the enumeration.
std::optional<LinkType> linkTypeExactly(std::uint16_t rawValue);
/// The link type with this number, `unknown` for a number that is not in the enumeration. What readers use.
LinkType linkType(std::uint16_t raw);

/// The name shown to a person. That of `unknown` always shows 65535: the number the file held is not kept.
std::string displayName(LinkType type);
/// The name of the case, as JSON and scripts see it ("linuxSLL2").
std::string_view caseName(LinkType type);

} // namespace netrondo
