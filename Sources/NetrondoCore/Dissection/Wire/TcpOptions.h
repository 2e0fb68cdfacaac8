// TCP options (RFC 9293, 7323, 2018; IANA's list of option kinds) as values.
#pragma once

#include "Base/Bytes.h"

#include <array>
#include <bitset>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace netrondo {

class JsonWriter;

struct SackBlock {
    std::uint32_t left = 0;
    std::uint32_t right = 0;
    friend bool operator==(const SackBlock&, const SackBlock&) = default;
};

struct TcpTimestamps {
    std::uint32_t value = 0;
    std::uint32_t echo = 0;
    friend bool operator==(const TcpTimestamps&, const TcpTimestamps&) = default;
};

/// The options of one segment. Needs no memory of its own.
struct TCPOptions {
    std::optional<std::uint16_t> mss;        ///< bytes
    std::optional<std::uint8_t> windowScale; ///< shift count as sent, not clamped to 14
    bool sackPermitted = false;
    std::optional<TcpTimestamps> timestamps;
    /// The kinds present beyond the common ones (end of list and padding excepted).
    std::bitset<256> extraKinds;

    std::span<const SackBlock> sackBlocks() const& { return {blocks.data(), blockCount}; }
    std::span<const SackBlock> sackBlocks() && = delete; // they would be gone with the options
    /// The names of `extraKinds`, sorted ("Fast Open"); a kind without a name is "Option {n}".
    std::vector<std::string> extraNames() const;
    /// Nothing known and nothing unknown.
    bool empty() const;

    std::array<SackBlock, 4> blocks{}; ///< 40 bytes of options hold no more than four
    std::uint8_t blockCount = 0;

    friend bool operator==(const TCPOptions&, const TCPOptions&) = default;
};

/// Reads the options area of a TCP header (what stands behind its first 20 bytes). A length below 2 or past the end
/// ends the list, what came before it stays; an option whose length does not fit its kind is skipped.
TCPOptions parseTcpOptions(Bytes options);

/// The name of an option kind ("Fast Open"), "Option {n}" for one without.
std::string tcpOptionName(std::uint8_t kind);

/// Writes the options as an object: `mss`, `windowScale`, `sackPermitted`, `sackBlocks`, `timestamps`, `extraNames`.
void write(JsonWriter& json, const TCPOptions& options);
void write(JsonWriter& json, const SackBlock& block);
void write(JsonWriter& json, const TcpTimestamps& timestamps);

} // namespace netrondo
