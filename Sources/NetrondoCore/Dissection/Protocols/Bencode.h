// Bencoding (BEP 3): numbers, strings, lists and dictionaries, as BitTorrent's protocols write them.
#pragma once

#include "Base/Bytes.h"

#include <cstdint>
#include <optional>
#include <string_view>

namespace netrondo::bencode {

/// How deep lists and dictionaries may lie in each other.
constexpr unsigned maxDepth = 8;

/// A string's length in front of its bytes.
struct Head {
    std::size_t size;   ///< of the digits and the colon
    std::size_t length; ///< of the bytes behind, there or not
};
/// Nothing where no length stands, or one with more digits than a datagram can be long.
std::optional<Head> stringHead(Bytes bytes);
/// The digits of a number that begins with 'i' and ends with 'e'; empty for none.
std::string_view number(Bytes bytes);
/// How many of the first bytes are one whole value, with the keys of its dictionaries in order; 0 for none.
std::size_t valueSize(Bytes bytes, unsigned depth = 0);
/// What a dictionary has under a key, with its encoding; empty for nothing. The dictionary is whole.
Bytes find(Bytes dictionary, std::string_view key);

} // namespace netrondo::bencode
