// User Datagram Protocol (RFC 768) and UDP-Lite (RFC 3828).
#include "Dissection/Protocols/Checksums.h"
#include "Dissection/Protocols/Protocols.h"

namespace netrondo::udp {
namespace {
constexpr Field sourcePort{"udp.source", "Source port", Wire::u16};
constexpr Field destinationPort{"udp.destination", "Destination port", Wire::u16};
constexpr Field listSourcePort{"udp.srcport", "UDP source port", Wire::none, {}, 0, From::sourcePort, "udp"};
constexpr Field listDestinationPort{"udp.dstport", "UDP destination port", Wire::none, {}, 0, From::destinationPort,
                                    "udp"};
constexpr Field eitherPort{"udp.port", "UDP source or destination port", Wire::none, {}, 0, From::eitherPort, "udp"};
constexpr Field length{"udp.length", "UDP length", Wire::u16};
constexpr Field checksum{"udp.checksum", "UDP checksum", Wire::checksum16};

void readChecksum(Layer& udp, std::uint64_t size)
{
    if (udp.left() >= 2 && udp.peek16() == 0) { // the sender made none
        udp.add(checksum, std::uint64_t{static_cast<std::uint8_t>(ChecksumOutcome::absent)} << 32, udp.offset(), 2);
        return udp.skip(2);
    }
    if (size == udp.whole().size())
        checksums::readTransport(udp, checksum, 17, Expert::udpChecksum);
    else
        udp.read(checksum);
}

void decode(Layer& udp)
{
    const auto from = static_cast<std::uint16_t>(udp.read(sourcePort));
    const auto to = static_cast<std::uint16_t>(udp.read(destinationPort));
    if (udp.stopped())
        return;
    udp.setPorts(Transport::udp, from, to);
    const auto size = udp.read(length);
    readChecksum(udp, size);
    if (udp.stopped())
        return;
    if (size && size < 8) // 0 is a jumbogram's
        return udp.reject(length);
    // A first fragment's length is that of the whole datagram, so only a shorter one is taken at its word.
    const auto payload = size ? std::min<std::size_t>(size - 8, udp.leftOnWire()) : udp.leftOnWire();
    const Layer::Window datagram(udp, payload);
    if (udp.left())
        udp.handOverPayload(Transport::udp, from, to);
}

void describe(const LayerView& udp, TextSink& out)
{
    const auto size = udp[length].number();
    out("{} → {} Len={}", udp[sourcePort].number(), udp[destinationPort].number(), size >= 8 ? size - 8 : 0);
}

constexpr const Field* catalogue[] = {&listSourcePort, &listDestinationPort, &eitherPort, &length};
constexpr Claim claims[] = {ipProtocol(17)};
} // namespace

constexpr Protocol protocol{{"udp", "UDP", Wire::layer}, catalogue, claims, decode, describe};
static_assert(wellFormed(protocol));
} // namespace netrondo::udp
