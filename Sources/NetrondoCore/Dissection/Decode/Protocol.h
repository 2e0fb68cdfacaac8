// What a dissector is: a protocol's name, its fields, what it claims, and the functions that read it and say it.
#pragma once

#include "Base/Bytes.h"
#include "Dissection/Decode/Field.h"

#include <array>
#include <cstdint>
#include <initializer_list>
#include <span>
#include <string_view>

namespace netrondo {

class Layer;
class LayerView;
class TextSink;

/// The lists of numbers by which one protocol announces the next.
enum class ClaimTable : std::uint8_t {
    linkType,
    etherType,
    ipProtocol,
    tcpPort,
    udpPort,
    sctpPort,
    sctpPayload,
    llcSap,
    snapCisco,
    snapNortel,
    pppProtocol,
    greProtocol,
    ipxSocket,
    ipxPacketType,
    ddpType,
    osiNlpid,
    count,
};

/// A range of numbers in one of the lists.
struct Claim {
    ClaimTable table;
    std::uint16_t low;
    std::uint16_t high;
};

constexpr Claim linkTypeIs(std::uint16_t number)
{
    return {ClaimTable::linkType, number, number};
}
constexpr Claim etherType(std::uint16_t number)
{
    return {ClaimTable::etherType, number, number};
}
constexpr Claim ipProtocol(std::uint8_t number)
{
    return {ClaimTable::ipProtocol, number, number};
}
constexpr Claim tcpPort(std::uint16_t number)
{
    return {ClaimTable::tcpPort, number, number};
}
constexpr Claim tcpPorts(std::uint16_t low, std::uint16_t high)
{
    return {ClaimTable::tcpPort, low, high};
}
constexpr Claim udpPort(std::uint16_t number)
{
    return {ClaimTable::udpPort, number, number};
}
constexpr Claim udpPorts(std::uint16_t low, std::uint16_t high)
{
    return {ClaimTable::udpPort, low, high};
}
constexpr Claim sctpPort(std::uint16_t number)
{
    return {ClaimTable::sctpPort, number, number};
}
constexpr Claim sctpPayload(std::uint16_t number)
{
    return {ClaimTable::sctpPayload, number, number};
}
constexpr Claim llcSap(std::uint8_t number)
{
    return {ClaimTable::llcSap, number, number};
}
constexpr Claim snapCisco(std::uint16_t number)
{
    return {ClaimTable::snapCisco, number, number};
}
constexpr Claim snapNortel(std::uint16_t number)
{
    return {ClaimTable::snapNortel, number, number};
}
constexpr Claim pppProtocol(std::uint16_t number)
{
    return {ClaimTable::pppProtocol, number, number};
}
constexpr Claim greProtocol(std::uint16_t number)
{
    return {ClaimTable::greProtocol, number, number};
}
constexpr Claim ipxSocket(std::uint16_t number)
{
    return {ClaimTable::ipxSocket, number, number};
}
constexpr Claim ipxPacketType(std::uint8_t number)
{
    return {ClaimTable::ipxPacketType, number, number};
}
constexpr Claim ddpType(std::uint8_t number)
{
    return {ClaimTable::ddpType, number, number};
}
constexpr Claim osiNlpid(std::uint8_t number)
{
    return {ClaimTable::osiNlpid, number, number};
}

/// What carries a payload whose protocol is looked for.
enum class Transport : std::uint8_t { none, tcp, udp, sctp, dccp, udpLite };

/// How sure the look of a payload makes a protocol. A `certain` guess overrules what the port says; a `likely` one is
/// asked only where no port says anything.
enum class Likeness : std::uint8_t { none, likely, certain };

/// Looks at a payload's first bytes.
using Guess = Likeness (*)(Bytes payload, Transport transport);

/// Where a guess can say anything but `none`, so that most payloads need few guesses: on which transports, and behind
/// which first bytes.
struct Opening {
    std::uint8_t transports = 0xff; ///< a bit for each `Transport`
    std::array<bool, 256> firstBytes = everyByte();

    static constexpr std::array<bool, 256> everyByte()
    {
        std::array<bool, 256> all{};
        all.fill(true);
        return all;
    }
    constexpr bool allows(Transport transport, std::uint8_t firstByte) const
    {
        return (transports >> static_cast<unsigned>(transport) & 1) && firstBytes[firstByte];
    }
    /// The same, with these first bytes too.
    constexpr Opening orBytes(std::uint8_t low, std::uint8_t high) const
    {
        auto wider = *this;
        for (unsigned byte = low; byte <= high; ++byte)
            wider.firstBytes[byte] = true;
        return wider;
    }
    constexpr Opening orByte(std::uint8_t byte) const { return orBytes(byte, byte); }
};

constexpr Opening opensOn(std::initializer_list<Transport> transports)
{
    Opening opening;
    opening.transports = 0;
    for (const auto transport : transports)
        opening.transports = static_cast<std::uint8_t>(opening.transports | 1u << static_cast<unsigned>(transport));
    return opening;
}
constexpr Opening opensWith(std::initializer_list<Transport> transports, std::uint8_t low, std::uint8_t high)
{
    auto opening = opensOn(transports);
    opening.firstBytes = {};
    return opening.orBytes(low, high);
}
constexpr Opening opensWith(std::initializer_list<Transport> transports, std::uint8_t firstByte)
{
    return opensWith(transports, firstByte, firstByte);
}

struct Protocol {
    Field field;                               ///< its name in filters, its display name, `Wire::layer`
    std::span<const Field* const> catalogue{}; ///< the fields that filters, completion and help show, in their order
    std::span<const Claim> claims{};           ///< the numbers that announce it
    void (*decode)(Layer&) = nullptr;          ///< reads it
    void (*describe)(const LayerView&,
                     TextSink&) = nullptr; ///< says it in a line; nothing said leaves it to the layer below
    Guess guess = nullptr;                 ///< knows it by its content
    Opening opening{};                     ///< of what the guess knows
};

/// True for a field that may stand in a catalogue: a dotted lower-case id under its protocol's name, and a summary.
constexpr bool wellFormed(const Field& field, std::string_view protocol)
{
    if (field.summary.empty() || !field.id.starts_with(protocol) || field.id.ends_with('.'))
        return false;
    if (field.id.size() <= protocol.size() || field.id[protocol.size()] != '.')
        return false;
    for (const char c : field.id) {
        if (!(c >= 'a' && c <= 'z') && !(c >= '0' && c <= '9') && c != '.' && c != '_')
            return false;
    }
    return true;
}

consteval bool wellFormed(const Protocol& protocol)
{
    if (protocol.field.id.empty() || protocol.field.summary.empty() || protocol.field.wire != Wire::layer
        || !protocol.decode)
        return false;
    for (const auto* field : protocol.catalogue) {
        if (!wellFormed(*field, protocol.field.id))
            return false;
    }
    for (const auto& claim : protocol.claims) {
        if (claim.low > claim.high)
            return false;
    }
    return true;
}

} // namespace netrondo
