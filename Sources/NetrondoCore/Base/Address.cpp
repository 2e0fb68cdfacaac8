// Addresses to text and back.
#include "Base/Address.h"

#include <arpa/inet.h>
#include <array>
#include <charconv>
#include <cstring>
#include <random>

namespace netrondo {
namespace {

constexpr char hexDigits[] = "0123456789abcdef";

/// Every octet's digits with a point behind them, and how many characters that makes.
struct OctetText {
    char text[4];
    std::uint8_t size;
};

constexpr std::array<OctetText, 256> makeOctets()
{
    std::array<OctetText, 256> all{};
    for (unsigned value = 0; value < 256; ++value) {
        auto& [text, size] = all[value];
        if (value >= 100)
            text[size++] = static_cast<char>('0' + value / 100);
        if (value >= 10)
            text[size++] = static_cast<char>('0' + value / 10 % 10);
        text[size++] = static_cast<char>('0' + value % 10);
        text[size++] = '.';
    }
    return all;
}

constexpr auto octets = makeOctets();

/// Writes one character more than it counts: `out` has room for it.
char* writeIpv4(char* out, std::uint32_t value)
{
    for (int shift = 24; shift >= 0; shift -= 8) {
        const auto& octet = octets[value >> shift & 0xff];
        std::memcpy(out, octet.text, sizeof octet.text);
        out += octet.size;
    }
    return out - 1; // without the last point
}

char* writeHexFixed(char* out, std::uint64_t value, int digits)
{
    for (int shift = 4 * (digits - 1); shift >= 0; shift -= 4)
        *out++ = hexDigits[value >> shift & 0xf];
    return out;
}

char* writeHexGroup(char* out, unsigned group)
{
    int shift = 12;
    while (shift > 0 && !(group >> shift & 0xf))
        shift -= 4;
    for (; shift >= 0; shift -= 4)
        *out++ = hexDigits[group >> shift & 0xf];
    return out;
}

// RFC 5952: lower case, no leading zeros, the longest run of two or more zero groups as "::" (the first on a tie), and
// the dotted form for addresses that are known by their prefix to embed an IPv4 address.
char* writeIpv6(char* out, std::uint64_t high, std::uint64_t low)
{
    unsigned groups[8];
    for (int i = 0; i < 4; ++i) {
        groups[i] = static_cast<unsigned>(high >> (48 - 16 * i) & 0xffff);
        groups[i + 4] = static_cast<unsigned>(low >> (48 - 16 * i) & 0xffff);
    }
    if (high == 0 && low >> 32 == 0xffff) {
        std::memcpy(out, "::ffff:", 7);
        return writeIpv4(out + 7, static_cast<std::uint32_t>(low));
    }
    int bestStart = -1, bestLength = 1;
    for (int i = 0; i < 8;) {
        int end = i;
        while (end < 8 && groups[end] == 0)
            ++end;
        if (end - i > bestLength) {
            bestStart = i;
            bestLength = end - i;
        }
        i = end > i ? end : i + 1;
    }
    for (int i = 0; i < 8;) {
        if (i == bestStart) {
            *out++ = ':';
            *out++ = ':';
            i += bestLength;
            continue;
        }
        if (i > 0 && i != bestStart + bestLength)
            *out++ = ':';
        out = writeHexGroup(out, groups[i++]);
    }
    return out;
}

char* writeMac(char* out, std::uint64_t value)
{
    for (int shift = 40; shift >= 0; shift -= 8) {
        out = writeHexFixed(out, value >> shift & 0xff, 2);
        if (shift)
            *out++ = ':';
    }
    return out;
}

int hexValue(char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}

std::optional<std::uint64_t> parseMac(std::string_view text)
{
    if (text.size() != 17)
        return {};
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < 17; i += 3) {
        const int upper = hexValue(text[i]), lower = hexValue(text[i + 1]);
        if (upper < 0 || lower < 0 || (i + 2 < 17 && text[i + 2] != ':'))
            return {};
        value = value << 8 | static_cast<unsigned>(upper << 4 | lower);
    }
    return value;
}

char* writeDecnet(char* out, unsigned value)
{
    constexpr unsigned nodeBits = 10, nodeMask = 0x3ff;
    out = std::to_chars(out, out + 2, value >> nodeBits).ptr;
    *out++ = '.';
    return std::to_chars(out, out + 4, value & nodeMask).ptr;
}

std::uint64_t randomWord()
{
    std::random_device source;
    return std::uint64_t{source()} << 32 | source();
}

} // namespace

const HashSecrets hashSecrets{randomWord(), randomWord()};

std::size_t Address::write(char* out) const
{
    char* end = out;
    switch (kind) {
    case Kind::none: break;
    case Kind::mac: end = writeMac(out, low); break;
    case Kind::ipv4: end = writeIpv4(out, static_cast<std::uint32_t>(low)); break;
    case Kind::ipv6: end = writeIpv6(out, high, low); break;
    case Kind::ipx:
        end = writeHexFixed(out, high, 8);
        *end++ = '.';
        end = writeHexFixed(end, low, 12);
        break;
    case Kind::decnet: end = writeDecnet(out, static_cast<unsigned>(low)); break;
    }
    return static_cast<std::size_t>(end - out);
}

std::string Address::text() const
{
    char buffer[maxText];
    return std::string(buffer, write(buffer));
}

std::optional<Address> Address::parse(std::string_view text)
{
    if (const auto value = parseMac(text))
        return mac(*value);
    if (text.empty() || text.size() > maxText)
        return {};
    char terminated[maxText + 1] = {};
    std::memcpy(terminated, text.data(), text.size());
    std::uint8_t bytes[16];
    if (inet_pton(AF_INET, terminated, bytes) == 1)
        return ipv4(bytes);
    if (inet_pton(AF_INET6, terminated, bytes) == 1)
        return ipv6(bytes);
    return {};
}

} // namespace netrondo
