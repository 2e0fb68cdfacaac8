// Domain Name System (RFC 1035) over UDP and TCP, and its relatives on the local link: mDNS, LLMNR, NetBIOS names.
#include "Dissection/Protocols/DnsMessage.h"
#include "Dissection/Protocols/Protocols.h"

#include <algorithm>

namespace netrondo {
namespace {

constexpr Field length{"dns.length", "Message length", Wire::u16};

/// Over TCP every message is led by its length (RFC 1035, 4.2.2).
void readMessages(Layer& layer, dnsMessage::Names names)
{
    if (!layer.isStream())
        return dnsMessage::read(layer, names);
    while (layer.more()) {
        layer.beginMessage();
        const auto size = layer.read(length);
        if (layer.stopped())
            return;
        layer.rebase();
        const Layer::Window message(layer, size);
        dnsMessage::read(layer, names);
    }
}

void decodeDomain(Layer& layer)
{
    readMessages(layer, dnsMessage::Names::domain);
}

Likeness guess(Bytes payload, Transport transport)
{
    if (transport == Transport::tcp) {
        const bool framed = payload.size() >= 14 && load::be16(payload.data()) == payload.size() - 2;
        return framed && dnsMessage::looksRight(payload.subspan(2)) ? Likeness::likely : Likeness::none;
    }
    return dnsMessage::looksRight(payload) ? Likeness::likely : Likeness::none;
}

} // namespace

namespace dns {
namespace {
constexpr const Field* catalogue[] = {&dnsMessage::id, &dnsMessage::rcode, &dnsMessage::question, &dnsMessage::answer};
constexpr Claim claims[] = {udpPort(53), tcpPort(53)};
} // namespace

constexpr Protocol protocol{{"dns", "DNS", Wire::layer}, catalogue, claims, decodeDomain, dnsMessage::describe, guess};
static_assert(wellFormed(protocol));
} // namespace dns

namespace mdns {
namespace {
constexpr Claim claims[] = {udpPort(5353)};
} // namespace

constexpr Protocol protocol{{"mdns", "mDNS", Wire::layer}, {}, claims, decodeDomain, dnsMessage::describe};
static_assert(wellFormed(protocol));
} // namespace mdns

namespace llmnr {
namespace {
constexpr Claim claims[] = {udpPort(5355), tcpPort(5355)};
} // namespace

constexpr Protocol protocol{{"llmnr", "LLMNR", Wire::layer}, {}, claims, decodeDomain, dnsMessage::describe};
static_assert(wellFormed(protocol));
} // namespace llmnr

namespace nbns {
namespace {
void decode(Layer& layer)
{
    readMessages(layer, dnsMessage::Names::netBios);
}

/// A name of 16 characters, each in two letters (RFC 1001, 14.1), where the first one of DNS would stand.
Likeness guess(Bytes payload, Transport transport)
{
    constexpr std::size_t nameAt = 12, nameSize = 32;
    if (transport != Transport::udp || payload.size() < nameAt + 1 + nameSize || payload[nameAt] != nameSize
        || !dnsMessage::looksRight(payload))
        return Likeness::none;
    const bool isHalves = std::ranges::all_of(payload.subspan(nameAt + 1, nameSize),
                                              [](std::uint8_t letter) { return letter >= 'A' && letter <= 'P'; });
    return isHalves ? Likeness::certain : Likeness::none;
}

constexpr Claim claims[] = {udpPort(137), tcpPort(137)};
} // namespace

constexpr Protocol protocol{{"nbns", "NBNS", Wire::layer}, {}, claims, decode, dnsMessage::describe, guess,
                            opensOn({Transport::udp})};
static_assert(wellFormed(protocol));
} // namespace nbns

} // namespace netrondo
