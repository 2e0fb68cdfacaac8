// BJNP: how Canon's printers and scanners are found and used in a network.
#include "Dissection/Protocols/Protocols.h"

namespace netrondo::bjnp {
namespace {
constexpr NamedValue devices[] = {{0x01, "Printer"}, {0x02, "Scanner"}};
constexpr NamedValue commands[] = {{0x01, "discover"}, {0x10, "start"},    {0x11, "end"}, {0x20, "read"},
                                   {0x21, "write"},    {0x30, "identify"}, {0x32, "poll"}};

constexpr Field identifier{"bjnp.id", "Identifier", Wire::text};
constexpr Field device{"bjnp.device", "Device", Wire::hex8};
constexpr Field isResponse{"bjnp.response", "Response", Wire::bit, {}, 0x80};
constexpr Field deviceType{"bjnp.device_type", "Device type", Wire::bits, devices, 0x7f};
constexpr Field command{"bjnp.command", "Command", Wire::hex8, commands};
constexpr Field status{"bjnp.status", "Status", Wire::hex16};
constexpr Field sequence{"bjnp.seq", "Sequence number", Wire::u16};
constexpr Field session{"bjnp.session", "Session", Wire::hex16};
constexpr Field length{"bjnp.len", "Payload length", Wire::u32};
constexpr Field data{"bjnp.data", "Data", Wire::bytes};

constexpr std::size_t headerLength = 16;

bool looksRight(Bytes bytes)
{
    const auto text = asText(bytes);
    return bytes.size() >= headerLength
        && (text.starts_with("BJNP") || text.starts_with("BJNB") || text.starts_with("MFNP"));
}

void decode(Layer& bjnp)
{
    bjnp.readText(identifier, 4);
    bjnp.readParts(device, isResponse, deviceType);
    bjnp.read(command, status, sequence, session);
    if (const auto size = bjnp.read(length))
        bjnp.readBytes(data, size);
    bjnp.endHere();
}

void describe(const LayerView& bjnp, TextSink& out)
{
    out("{} {}, {}", bjnp[deviceType], bjnp[isResponse] == 1 ? "response" : "request", bjnp[command]);
    if (const auto bytes = bjnp[data])
        out(", {} bytes", bytes.node()->length);
}

Likeness guess(Bytes payload, Transport transport)
{
    return transport == Transport::udp && looksRight(payload) ? Likeness::certain : Likeness::none;
}

} // namespace

constexpr Protocol protocol{
    {"bjnp", "BJNP", Wire::layer}, {}, {}, decode, describe, guess, opensWith({Transport::udp}, 'B').orByte('M')};
static_assert(wellFormed(protocol));
} // namespace netrondo::bjnp
