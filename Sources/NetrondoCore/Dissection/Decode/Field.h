// What a field of a protocol is: its name in filters, what a person calls it, and how its bytes are written.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

namespace netrondo {

/// How a field stands in the frame, and with it how its value is written out.
enum class Wire : std::uint8_t {
    layer, ///< the node of a protocol; it has children and no value of its own
    group, ///< a node that gathers others
    none,  ///< present or not, nothing more
    u8,
    u16,
    u24,
    u32,
    u48,
    u64,
    le16,
    le32,
    le64,
    i8,
    i32,
    hex8,
    hex16,
    hex24,
    hex32,
    hex64,
    leHex16,
    leHex32,
    leHex64,
    number,     ///< a number that a dissector worked out
    hex,        ///< the same, written in hexadecimal
    bit,        ///< one bit of a larger number
    bits,       ///< some bits of a larger number
    flags8,     ///< a set of named bits; the names are masks
    flags16,    ///< the same in two bytes
    flags,      ///< the same, worked out by a dissector
    checksum16, ///< a checksum with the outcome of its verification (`ChecksumOutcome`)
    checksum32, ///< the same in four bytes; what it should be is not kept
    mac,
    ipv4,
    ipv6,
    bytes,
    text,     ///< characters as they stand in the frame
    utf16,    ///< little-endian UTF-16 as it stands in the frame
    madeText, ///< text that the bytes do not spell; it is in the tree's own characters
    oid,      ///< an ASN.1 object identifier
    guid,     ///< a GUID with its first three parts in little-endian order
    seconds,  ///< a number of seconds since 1970, in 32 bits
    ntpTime,  ///< 32.32 fixed-point seconds since 1900
    fileTime, ///< 100-ns units since 1601, little-endian
    elapsed,  ///< signed nanoseconds, worked out; written as seconds
};

/// How many bytes a `read` of this kind takes; 0 for those whose length the dissector says.
constexpr std::size_t sizeOf(Wire wire)
{
    switch (wire) {
    case Wire::u8:
    case Wire::i8:
    case Wire::hex8:
    case Wire::flags8: return 1;
    case Wire::u16:
    case Wire::le16:
    case Wire::hex16:
    case Wire::leHex16:
    case Wire::flags16:
    case Wire::checksum16: return 2;
    case Wire::u24:
    case Wire::hex24: return 3;
    case Wire::u32:
    case Wire::le32:
    case Wire::i32:
    case Wire::hex32:
    case Wire::leHex32:
    case Wire::ipv4:
    case Wire::checksum32:
    case Wire::seconds: return 4;
    case Wire::u48:
    case Wire::mac: return 6;
    case Wire::u64:
    case Wire::le64:
    case Wire::hex64:
    case Wire::leHex64:
    case Wire::ntpTime:
    case Wire::fileTime: return 8;
    case Wire::ipv6:
    case Wire::guid: return 16;
    default: return 0;
    }
}

/// A number and what it is called.
struct NamedValue {
    std::uint64_t value;
    std::string_view name;
};

/// Where the value of a name that no bytes carry alone comes from.
enum class From : std::uint8_t {
    node,       ///< the nodes of the tree with this id: the usual case
    either,     ///< the nodes of the two ids that end in ".src" and ".dst"
    sourcePort, ///< the summary, when its transport is this protocol
    destinationPort,
    eitherPort,
    tcpFlag, ///< whether the TCP flags hold the word in `detail`
    expert,  ///< whether the frame carries the finding in `detail`
    source,  ///< the summary's columns
    destination,
    eitherHost,
    frameLength,
    frameTime,
    frameNumber,
};

struct Field {
    std::string_view id;
    std::string_view summary;
    Wire wire = Wire::none;
    std::span<const NamedValue> names{};
    std::uint64_t mask = 0; ///< of `bit` and `bits`: which bits of the number they are read from
    From from = From::node;
    std::string_view detail{};
};

/// The name of a value, or nothing.
constexpr std::string_view nameIn(std::span<const NamedValue> names, std::uint64_t value)
{
    for (const auto& entry : names) {
        if (entry.value == value)
            return entry.name;
    }
    return {};
}

/// The outcome of a checksum's verification, kept above its 16 bits (and the 16 of the value it should have).
enum class ChecksumOutcome : std::uint8_t {
    unchecked, ///< the frame does not hold all of the bytes that the sum covers
    correct,
    wrong,
    offloaded, ///< the sender left the sum to its network card: only the pseudo-header is in it
    absent,    ///< zero where the protocol allows to leave the sum out
};

} // namespace netrondo
