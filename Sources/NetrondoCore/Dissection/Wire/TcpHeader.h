// The TCP header's flags (RFC 9293).
#pragma once

#include <cstdint>

namespace netrondo::tcpFlag {
constexpr std::uint8_t fin = 0x01, syn = 0x02, rst = 0x04, psh = 0x08, ack = 0x10, urg = 0x20, ece = 0x40, cwr = 0x80;
} // namespace netrondo::tcpFlag
