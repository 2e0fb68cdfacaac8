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
/// The sum of a TCP or UDP pseudo-header.
std::uint64_t pseudoHeader(const Address& source, const Address& destination, std::uint8_t protocol,
                           std::uint32_t length);

} // namespace netrondo::InternetChecksum
