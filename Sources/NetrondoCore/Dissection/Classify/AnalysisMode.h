// Whether the hosts of an analysis are IP addresses or MAC addresses.
#pragma once

#include <cstdint>
#include <string_view>

namespace netrondo {

enum class AnalysisMode : std::uint8_t {
    l3IP,  ///< hosts are IP addresses; frames without both are left out, legacy LAN protocols excepted
    l2MAC, ///< hosts are MAC addresses; every classified frame counts
};

constexpr std::string_view rawValue(AnalysisMode mode)
{
    return mode == AnalysisMode::l3IP ? "l3IP" : "l2MAC";
}

} // namespace netrondo
