// The Internet checksum (RFC 1071): the sum of all 16-bit words in ones' complement.
#pragma once

#include "Base/Address.h"
#include "Base/Bytes.h"

#include <cstdint>

namespace netrondo::InternetChecksum {

/// The unfolded sum of the bytes as big-endian words, an odd last byte filled up with zero. Sums of even-sized pieces
/// add up.
std::uint64_t sum(Bytes bytes);
/// The 16-bit sum, not inverted.
std::uint16_t fold(std::uint64_t sum);
/// Whether an IPv4 header of so many bytes, at least 20 and a multiple of 4, sums up as a right checksum makes it.
inline bool isRightHeader(const std::uint8_t* header, std::size_t length)
{
    // Most have no options: few enough words to be added without a loop, in the machine's own order.
    const auto word = [header](std::size_t number) {
        return std::uint64_t{load::native<std::uint32_t>(header + 4 * number)};
    };
    auto total = word(0) + word(1) + word(2) + word(3) + word(4);
    for (std::size_t number = 5; number < length / 4; ++number)
        total += word(number);
    total = (total & 0xffffffff) + (total >> 32);
    total = (total & 0xffff) + (total >> 16);
    return total % 0xffff == 0;
}
/// The sum of a TCP or UDP pseudo-header.
std::uint64_t pseudoHeader(const Address& source, const Address& destination, std::uint8_t protocol,
                           std::uint32_t length);

} // namespace netrondo::InternetChecksum
