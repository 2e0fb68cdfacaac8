// Routing Information Protocol (RFC 2453, its authentication RFC 4822) and RIPng (RFC 2080).
#include "Dissection/Protocols/Protocols.h"

#include <algorithm>

namespace netrondo {
namespace {
constexpr NamedValue commands[] = {{1, "Request"}, {2, "Response"}};
constexpr std::size_t header = 4, entry = 20;
constexpr std::uint32_t infinity = 16;

/// Entries to the last byte behind a header with an empty second word.
bool hasEntries(Bytes payload, Transport transport)
{
    return transport == Transport::udp && payload.size() >= header + entry && (payload.size() - header) % entry == 0
        && (payload[0] == 1 || payload[0] == 2) && payload[2] == 0 && payload[3] == 0;
}
} // namespace

namespace rip {
namespace {
constexpr NamedValue authTypes[] = {{1, "digest"}, {2, "password"}, {3, "keyed digest"}};

constexpr Field command{"rip.command", "Command", Wire::u8, commands};
constexpr Field version{"rip.version", "Version", Wire::u8};
constexpr Field domain{"rip.domain", "Routing domain", Wire::u16};
constexpr Field route{"rip.route", "Route", Wire::group};
constexpr Field family{"rip.family", "Address family", Wire::u16};
constexpr Field tag{"rip.tag", "Route tag", Wire::u16};
constexpr Field address{"rip.address", "Address", Wire::ipv4};
constexpr Field mask{"rip.mask", "Mask", Wire::ipv4};
constexpr Field nextHop{"rip.next_hop", "Next hop", Wire::ipv4};
constexpr Field metric{"rip.metric", "Metric", Wire::u32};
constexpr Field authentication{"rip.authentication", "Authentication", Wire::group};
constexpr Field authType{"rip.auth_type", "Authentication type", Wire::u16, authTypes};
constexpr Field password{"rip.password", "Password", Wire::text};
constexpr Field signedLength{"rip.auth_offset", "Length without digest", Wire::u16};
constexpr Field key{"rip.auth_key", "Key ID", Wire::u8};
constexpr Field digestLength{"rip.auth_len", "Digest length", Wire::u8};
constexpr Field sequence{"rip.auth_seq", "Sequence number", Wire::u32};
constexpr Field auth{"rip.auth", "Authentication", Wire::bytes};

void readAuthentication(Layer& rip)
{
    constexpr std::size_t room = 16;
    const Layer::Group group(rip, authentication);
    rip.read(family);
    switch (rip.read(authType)) {
    case 1: rip.readRest(auth); break; // the digest ends the message
    case 2:
        rip.add(password, 0, rip.offset(), std::min(asText(rip.rest().first(room)).find('\0'), room));
        rip.skip(room);
        break;
    case 3:
        rip.read(signedLength, key, digestLength, sequence);
        rip.skip(8);
        break;
    default: rip.readBytes(auth, room);
    }
}

void decode(Layer& rip)
{
    rip.read(command, version, domain);
    while (rip.more(20)) {
        if (rip.peek16() == 0xffff) {
            readAuthentication(rip);
            continue;
        }
        const Layer::Group group(rip, route);
        rip.read(family, tag, address, mask, nextHop, metric);
    }
}

void describe(const LayerView& rip, TextSink& out)
{
    out("RIPv{} {}, {} routes", rip[version], rip[command], rip.count(metric));
}

Likeness guess(Bytes payload, Transport transport)
{
    if (!hasEntries(payload, transport) || payload[1] < 1 || payload[1] > 2)
        return Likeness::none;
    constexpr std::uint16_t ip = 2, authenticated = 0xffff;
    for (auto at = header; at < payload.size(); at += entry) {
        const auto of = load::be16(&payload[at]);
        const auto distance = load::be32(&payload[at + 16]);
        const bool isWhole = of == 0 && payload[0] == 1; // all routes are asked for
        if (of == authenticated && payload[1] == 2)
            continue;
        if ((of != ip && !isWhole) || distance < 1 || distance > infinity)
            return Likeness::none;
    }
    return Likeness::likely;
}

constexpr Claim claims[] = {udpPort(520)};
} // namespace

constexpr Protocol protocol{{"rip", "RIP", Wire::layer},      {}, claims, decode, describe, guess,
                            opensWith({Transport::udp}, 1, 2)};
static_assert(wellFormed(protocol));
} // namespace rip

namespace ripng {
namespace {
constexpr Field command{"ripng.command", "Command", Wire::u8, commands};
constexpr Field version{"ripng.version", "Version", Wire::u8};
constexpr Field reserved{"ripng.reserved", "Reserved", Wire::u16};
constexpr Field route{"ripng.route", "Route", Wire::group};
constexpr Field prefix{"ripng.prefix", "Prefix", Wire::ipv6};
constexpr Field tag{"ripng.tag", "Route tag", Wire::u16};
constexpr Field length{"ripng.prefix_len", "Prefix length", Wire::u8};
constexpr Field metric{"ripng.metric", "Metric", Wire::u8};

void decode(Layer& ripng)
{
    ripng.read(command, version, reserved);
    while (ripng.more(20)) {
        const Layer::Group group(ripng, route);
        ripng.read(prefix, tag, length, metric);
    }
}

void describe(const LayerView& ripng, TextSink& out)
{
    out("RIPng {}, {} routes", ripng[command], ripng.count(route));
}

/// Prefixes whose last bits are zeros, and how far they are.
Likeness guess(Bytes payload, Transport transport)
{
    if (!hasEntries(payload, transport) || payload[1] != 1)
        return Likeness::none;
    for (auto at = header; at < payload.size(); at += entry) {
        const unsigned bits = payload[at + 18], distance = payload[at + 19];
        constexpr unsigned nextHop = 0xff;
        if (bits > 128 || distance < 1 || (distance > infinity && distance != nextHop))
            return Likeness::none;
        for (auto i = (bits + 7) / 8; distance != nextHop && i < 16; ++i) {
            if (payload[at + i])
                return Likeness::none;
        }
    }
    return Likeness::likely;
}

constexpr Claim claims[] = {udpPort(521)};
} // namespace

constexpr Protocol protocol{{"ripng", "RIPng", Wire::layer},  {}, claims, decode, describe, guess,
                            opensWith({Transport::udp}, 1, 2)};
static_assert(wellFormed(protocol));
} // namespace ripng

} // namespace netrondo
