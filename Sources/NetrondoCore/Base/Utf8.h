// Reading UTF-8 that may be none (RFC 3629).
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace netrondo {

/// What stands at the beginning of a text: a character, or bytes that are none.
struct Utf8Character {
    char32_t value = 0;
    std::uint8_t length = 0; ///< bytes; of what is no character, those that could have begun one, at least one
    bool valid = false;
};

/// The first character of a text that is not empty.
constexpr Utf8Character utf8At(std::string_view text)
{
    const auto byte = [&](std::size_t at) { return static_cast<std::uint8_t>(text[at]); };
    const auto lead = byte(0);
    if (lead < 0x80)
        return {lead, 1, true};
    if (lead < 0xc2 || lead > 0xf4)
        return {0, 1, false};
    const unsigned length = lead < 0xe0 ? 2 : lead < 0xf0 ? 3 : 4;
    char32_t value = lead & (0x7fu >> length);
    for (unsigned i = 1; i < length; ++i) {
        // The second byte rules out overlong forms, surrogates and what lies behind the last character.
        const unsigned least = i > 1 ? 0x80 : lead == 0xe0 ? 0xa0 : lead == 0xf0 ? 0x90 : 0x80;
        const unsigned most = i > 1 ? 0xbf : lead == 0xed ? 0x9f : lead == 0xf4 ? 0x8f : 0xbf;
        if (i >= text.size() || byte(i) < least || byte(i) > most)
            return {0, static_cast<std::uint8_t>(i), false};
        value = value << 6 | (byte(i) & 0x3fu);
    }
    return {value, static_cast<std::uint8_t>(length), true};
}

} // namespace netrondo
