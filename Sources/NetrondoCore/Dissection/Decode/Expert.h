// The findings a decoded node can be marked with.
#pragma once

#include <cstdint>
#include <string_view>

namespace netrondo {

enum class Expert : std::uint8_t {
    none,
#define NR_EXPERT(identifier, id, text) identifier,
#include "Dissection/Decode/Expert.def"
#undef NR_EXPERT
};

/// The identifier that filters and reports use ("tcp.zerowin"); empty for `none`.
std::string_view expertId(Expert expert);
/// The sentence for a person.
std::string_view expertText(Expert expert);

} // namespace netrondo
