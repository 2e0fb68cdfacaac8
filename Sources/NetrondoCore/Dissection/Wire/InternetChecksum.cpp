// The sum is taken over native words, which only swaps the bytes of the result (RFC 1071, section 2).
#include "Dissection/Wire/InternetChecksum.h"

namespace netrondo::InternetChecksum {

namespace {

/// As many 64-byte blocks as there are. Sixteen sums side by side, so that the compiler can use the widest vector
/// registers that the processor has.
#if defined(__x86_64__) && defined(__GNUC__) && !defined(__clang__) && !defined(__SANITIZE_ADDRESS__)                  \
    && !defined(__SANITIZE_THREAD__)
[[gnu::target_clones("avx512f", "avx2", "default")]]
#endif
std::uint64_t
sumOfBlocks(const std::uint8_t* at, std::size_t blocks)
{
    std::uint64_t lanes[16] = {};
    for (; blocks; --blocks, at += 64) {
        for (std::size_t i = 0; i < 16; ++i)
            lanes[i] += load::native<std::uint32_t>(at + 4 * i);
    }
    std::uint64_t total = 0;
    for (const auto lane : lanes)
        total += lane;
    return total;
}

} // namespace

std::uint64_t sum(Bytes bytes)
{
    const auto* at = bytes.data();
    auto left = bytes.size();
    std::uint64_t total = left >= 64 ? sumOfBlocks(at, left / 64) : 0;
    at += left / 64 * 64;
    left %= 64;
    for (; left >= 4; at += 4, left -= 4)
        total += load::native<std::uint32_t>(at);
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
