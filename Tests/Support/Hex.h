// Hexadecimal text into bytes, so that a test's frame can be read in the test.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string_view>
#include <vector>

namespace netrondo::test {

/// The bytes of all pieces, one after the other; blanks and line ends are ignored. Odd text throws.
template <typename... Pieces> std::vector<std::uint8_t> hex(Pieces... pieces)
{
    std::vector<std::uint8_t> bytes;
    int pending = -1;
    const auto add = [&](std::string_view piece) {
        for (const char c : piece) {
            if (c == ' ' || c == '\n')
                continue;
            const int digit = c >= '0' && c <= '9' ? c - '0'
                : c >= 'a' && c <= 'f'             ? c - 'a' + 10
                : c >= 'A' && c <= 'F'             ? c - 'A' + 10
                                                   : throw std::invalid_argument("not hexadecimal");
            if (pending < 0) {
                pending = digit;
            } else {
                bytes.push_back(static_cast<std::uint8_t>(pending << 4 | digit));
                pending = -1;
            }
        }
    };
    (add(pieces), ...);
    if (pending >= 0)
        throw std::invalid_argument("half a byte");
    return bytes;
}

} // namespace netrondo::test
