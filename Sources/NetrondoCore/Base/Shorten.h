// Text made to fit a small place.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace netrondo {

/// The text itself when it has at most `maxChars` characters, else its two ends with "…" between them, `maxChars` in
/// all. The longer end is the last one: of an address or a host name among its likes, the end is what tells.
///
/// Characters are what a reader counts (grapheme clusters, UAX #29): an accent or a joined emoji is never torn off.
/// Bytes that are not UTF-8 count one each.
std::string shortenMiddle(std::string_view text, std::size_t maxChars);

} // namespace netrondo
