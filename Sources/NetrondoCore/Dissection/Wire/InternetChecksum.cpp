// The sum is taken over native words, which only swaps the bytes of the result (RFC 1071, section 2).
#include "Dissection/Wire/InternetChecksum.h"

namespace netrondo::InternetChecksum {

std::uint64_t sum(Bytes bytes)
{
    std::uint64_t total = 0;
    const auto* at = bytes.data();
    auto left = bytes.size();
    // Four sums side by side, so that the compiler can use vector registers.
    std::uint64_t lanes[4] = {};
    for (; left >= 16; at += 16, left -= 16) {
        for (std::size_t i = 0; i < 4; ++i)
            lanes[i] += load::native<std::uint32_t>(at + 4 * i);
    }
    total = lanes[0] + lanes[1] + lanes[2] + lanes[3];
    for (; left >= 2; at += 2, left -= 2)
        total += load::native<std::uint16_t>(at);
    if (left)
        total += *at;
    return __builtin_bswap16(fold(total));
}

std::uint16_t fold(std::uint64_t sum)
{
    sum = (sum & 0xffffffff) + (sum >> 32);
    sum = (sum & 0xffffffff) + (sum >> 32);
    sum = (sum & 0xffff) + (sum >> 16);
    sum = (sum & 0xffff) + (sum >> 16);
    return static_cast<std::uint16_t>(sum);
}

std::uint64_t pseudoHeader(const Address& source, const Address& destination, std::uint8_t protocol,
                           std::uint32_t length)
{
    const auto words = [](std::uint64_t value) {
        return (value >> 48) + (value >> 32 & 0xffff) + (value >> 16 & 0xffff) + (value & 0xffff);
    };
    return words(source.high) + words(source.low) + words(destination.high) + words(destination.low) + protocol
        + words(length);
}

} // namespace netrondo::InternetChecksum
