// Internet Protocol version 6 (RFC 8200).
#include "Dissection/Protocols/IpProtocolNames.h"
#include "Dissection/Protocols/Protocols.h"

namespace netrondo::ipv6 {
namespace {
constexpr Field first{"ipv6.first", "Version, class and flow", Wire::hex32};
constexpr Field version{"ipv6.ver", "Version", Wire::bits, {}, 0xf0000000};
constexpr Field trafficClass{"ipv6.class", "Traffic class", Wire::bits, {}, 0x0ff00000};
constexpr Field flow{"ipv6.flow", "Flow label", Wire::bits, {}, 0x000fffff};
constexpr Field length{"ipv6.plen", "IPv6 payload length", Wire::u16};
constexpr Field next{"ipv6.next", "IPv6 next header", Wire::u8, ipProtocolNames};
constexpr Field hops{"ipv6.hop", "IPv6 hop limit", Wire::u8};
constexpr Field source{"ipv6.src", "IPv6 source", Wire::ipv6};
constexpr Field destination{"ipv6.dst", "IPv6 destination", Wire::ipv6};
constexpr Field address{"ipv6.addr", "IPv6 source or destination", Wire::none, {}, 0, From::either};

void decode(Layer& ipv6)
{
    if (ipv6.peek8() >> 4 != 6)
        return ipv6.reject(version);
    ipv6.readParts(first, version, trafficClass, flow);
    const auto payload = ipv6.read(length);
    const auto protocol = ipv6.read(next);
    ipv6.read(hops);
    const auto* addresses = ipv6.rest().data();
    ipv6.read(source, destination);
    if (ipv6.stopped())
        return;
    ipv6.setEndpoints(Address::ipv6(addresses), Address::ipv6(addresses + 16));
    ipv6.frame().isFragment = false;
    // A payload length of 0 announces a jumbogram (RFC 2675), or segmentation left to the network card.
    ipv6.handOver(ipProtocol(static_cast<std::uint8_t>(protocol)), payload ? payload : ipv6.left());
    ipv6.endHere();
}

void describe(const LayerView& ipv6, TextSink& out)
{
    out("{}", ipv6[next]);
}

constexpr const Field* catalogue[] = {&source, &destination, &address, &hops, &next};
constexpr Claim claims[] = {etherType(0x86dd), ipProtocol(41), pppProtocol(0x0057), greProtocol(0x86dd)};
} // namespace

constexpr Protocol protocol{{"ipv6", "IPv6", Wire::layer}, catalogue, claims, decode, describe};
static_assert(wellFormed(protocol));
} // namespace netrondo::ipv6
