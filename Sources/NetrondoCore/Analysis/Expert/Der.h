// The distinguished encoding of ASN.1 (ITU-T X.690), element by element.
#pragma once

#include "Base/Bytes.h"

#include <cstdint>
#include <optional>

namespace netrondo {

/// One element: its contents, and where the next one begins.
struct Der {
    std::uint8_t tag = 0;
    Bytes content;
    Bytes whole;
    Bytes rest;
};

inline std::optional<Der> der(Bytes bytes)
{
    if (bytes.size() < 2)
        return {};
    std::size_t length = bytes[1], header = 2;
    if (length & 0x80) {
        const auto digits = length & 0x7f;
        if (digits == 0 || digits > 3 || bytes.size() < 2 + digits)
            return {};
        length = 0;
        for (std::size_t i = 0; i < digits; ++i)
            length = length << 8 | bytes[2 + i];
        header += digits;
    }
    if (length > bytes.size() - header)
        return {};
    return Der{bytes[0], bytes.subspan(header, length), bytes.first(header + length), bytes.subspan(header + length)};
}

} // namespace netrondo
