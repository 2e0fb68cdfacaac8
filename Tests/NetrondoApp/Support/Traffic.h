// Frames between made-up hosts, for captures that a test writes for the window.
#pragma once

#include "Support/Captures.h"
#include "Support/Frames.h"

#include <fmt/format.h>

namespace netrondo::test {

inline ByteVector frameBetween(std::uint32_t a, std::uint32_t b, std::string_view payload = "x")
{
    const auto address = [](std::uint32_t n) {
        return fmt::format("10.{}.{}.{}", n >> 16 & 255, n >> 8 & 255, n & 255);
    };
    const auto source = address(a), destination = address(b);
    return ethernet(ipv4({.source = source, .destination = destination}, tcp({}, payload)));
}

} // namespace netrondo::test
