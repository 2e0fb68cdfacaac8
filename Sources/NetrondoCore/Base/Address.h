// MAC, IPv4, IPv6, IPX and DECnet addresses as one small value that hashes as words and becomes text when somebody
// reads it.
#pragma once

#include "Base/Bytes.h"

#include <array>
#include <compare>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace netrondo {

/// An address of one of the kinds below; the default value is no address at all.
struct Address {
    enum class Kind : std::uint8_t { none, mac, ipv4, ipv6, ipx, decnet };

    /// The address as a number in network order, right-aligned in 128 bits: IPv4 fills the low 32 bits of `low`, a MAC
    /// address its low 48, IPX the network (32 bits) and node (48 bits) from `high` downwards into `low`, DECnet the
    /// area (6 bits) and node (10 bits) the low 16 bits of `low`.
    std::uint64_t high = 0;
    std::uint64_t low = 0;
    Kind kind = Kind::none;

    static Address mac(std::uint64_t value) { return {0, value, Kind::mac}; }
    static Address mac(const std::uint8_t* six) { return mac(load::be48(six)); }
    static Address ipv4(std::uint32_t value) { return {0, value, Kind::ipv4}; }
    static Address ipv4(const std::uint8_t* four) { return ipv4(load::be32(four)); }
    static Address ipv6(const std::uint8_t* sixteen)
    {
        return {load::be64(sixteen), load::be64(sixteen + 8), Kind::ipv6};
    }
    static Address ipx(std::uint32_t network, std::uint64_t node) { return {network, node, Kind::ipx}; }
    static Address decnet(std::uint16_t areaAndNode) { return {0, areaAndNode, Kind::decnet}; }

    explicit operator bool() const { return kind != Kind::none; }
    bool isIp() const { return kind == Kind::ipv4 || kind == Kind::ipv6; }

    /// The longest text of any address, without a terminating zero.
    static constexpr std::size_t maxText = 45;
    /// Writes the text to `out`, which has room for `maxText` characters; returns its length.
    ///
    /// IPv4 is dotted decimal, IPv6 is RFC 5952, MAC addresses are lower-case pairs joined by ":", IPX is
    /// "{network}.{node}" in lower-case hexadecimal (8 and 12 digits), DECnet "{area}.{node}" in decimal. No address is
    /// the empty text.
    std::size_t write(char* out) const;
    std::string text() const;

    /// Reads IPv4, IPv6 or MAC text in the forms that `text` writes (IPv6 in any RFC 4291 form); nothing for other
    /// text.
    static std::optional<Address> parse(std::string_view text);

    friend bool operator==(const Address&, const Address&) = default;
    friend auto operator<=>(const Address&, const Address&) = default;
};

__extension__ typedef unsigned __int128 Uint128;

/// Drawn anew by every process: whoever writes a capture cannot choose addresses that all share a place in our tables.
struct HashSecrets {
    std::uint64_t a, b;
};
extern const HashSecrets hashSecrets;

/// Mixes words into a 64-bit hash, good in all bits; the tables use high and low ones. It is good for this process
/// only.
inline std::uint64_t hashWords(std::uint64_t a, std::uint64_t b)
{
    const auto product = static_cast<Uint128>(a ^ hashSecrets.a) * (b ^ hashSecrets.b);
    return static_cast<std::uint64_t>(product) ^ static_cast<std::uint64_t>(product >> 64);
}

inline std::uint64_t hashOf(const Address& address)
{
    return hashWords(address.high + static_cast<std::uint64_t>(address.kind), address.low);
}

struct AddressHash {
    std::size_t operator()(const Address& address) const { return hashOf(address); }
};

} // namespace netrondo
