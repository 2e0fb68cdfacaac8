// Frames built in the test that reads them, from the inside out, with their lengths and checksums right:
//
//     ethernet(ipv4({.source = "10.0.0.1", .destination = "10.0.0.2"}, tcp({.sourcePort = 51000}, "GET /")))
#pragma once

#include "Base/Address.h"
#include "Capture/CaptureFrame.h"
#include "Dissection/Wire/EtherType.h"
#include "Dissection/Wire/IpProtocol.h"
#include "Dissection/Wire/TcpHeader.h"
#include "Support/Hex.h"

#include <cmath>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace netrondo::test {

using ByteVector = std::vector<std::uint8_t>;

inline void put(ByteVector& out, std::uint64_t value, int width)
{
    for (int shift = 8 * (width - 1); shift >= 0; shift -= 8)
        out.push_back(static_cast<std::uint8_t>(value >> shift));
}

inline void put(ByteVector& out, Bytes bytes)
{
    out.insert(out.end(), bytes.begin(), bytes.end());
}

/// An address's own bytes: 4, 6 or 16. Text that is no address throws.
inline ByteVector addressBytes(std::string_view text)
{
    const auto address = Address::parse(text).value();
    ByteVector out;
    if (address.kind == Address::Kind::ipv6)
        put(out, address.high, 8);
    put(out, address.low, address.kind == Address::Kind::ipv6 ? 8 : address.kind == Address::Kind::mac ? 6 : 4);
    return out;
}

/// The Internet checksum (RFC 1071).
inline std::uint16_t internetChecksum(Bytes bytes, std::uint32_t sum = 0)
{
    for (std::size_t i = 0; i < bytes.size(); ++i)
        sum += static_cast<std::uint32_t>(bytes[i]) << (i % 2 ? 0 : 8);
    while (sum >> 16)
        sum = (sum & 0xffff) + (sum >> 16);
    return static_cast<std::uint16_t>(~sum);
}

/// A transport header with its payload, waiting for the addresses that its checksum covers.
struct Transport {
    std::uint8_t protocol;
    ByteVector bytes;
    std::size_t checksumOffset; ///< 0: none to fill in
};

struct TcpFields {
    std::uint16_t sourcePort = 51000;
    std::uint16_t destinationPort = 80;
    std::uint32_t seq = 1;
    std::uint32_t ack = 1;
    std::uint8_t flags = tcpFlag::ack;
    std::uint16_t window = 1000;
    std::string_view options = {}; ///< hexadecimal, padded with zeros to a multiple of four bytes
};

inline Transport tcp(const TcpFields& fields = {}, std::string_view payload = {})
{
    auto options = hex(fields.options);
    options.resize((options.size() + 3) / 4 * 4);
    ByteVector out;
    put(out, fields.sourcePort, 2);
    put(out, fields.destinationPort, 2);
    put(out, fields.seq, 4);
    put(out, fields.ack, 4);
    put(out, (20 + options.size()) / 4 << 4, 1);
    put(out, fields.flags, 1);
    put(out, fields.window, 2);
    put(out, 0, 4);
    put(out, options);
    put(out, asBytes(payload));
    return {ipProtocol::tcp, std::move(out), 16};
}

struct UdpFields {
    std::uint16_t sourcePort = 51000;
    std::uint16_t destinationPort = 53;
};

inline Transport udp(const UdpFields& fields, Bytes payload)
{
    ByteVector out;
    put(out, fields.sourcePort, 2);
    put(out, fields.destinationPort, 2);
    put(out, 8 + payload.size(), 2);
    put(out, 0, 2);
    put(out, payload);
    return {ipProtocol::udp, std::move(out), 6};
}

inline Transport udp(const UdpFields& fields = {}, std::string_view payload = {})
{
    return udp(fields, asBytes(payload));
}

inline void fillChecksum(Transport& transport, const ByteVector& source, const ByteVector& destination)
{
    if (!transport.checksumOffset)
        return;
    ByteVector pseudo = source;
    put(pseudo, destination);
    put(pseudo, transport.bytes.size(), 4);
    put(pseudo, transport.protocol, 4);
    put(pseudo, transport.bytes);
    const auto sum = internetChecksum(pseudo);
    transport.bytes[transport.checksumOffset] = static_cast<std::uint8_t>(sum >> 8);
    transport.bytes[transport.checksumOffset + 1] = static_cast<std::uint8_t>(sum);
}

/// An IP packet and the EtherType it travels under.
struct Packet {
    std::uint16_t etherType;
    ByteVector bytes;
};

struct Ipv4Fields {
    std::string_view source = "10.0.0.1";
    std::string_view destination = "10.0.0.2";
    std::uint16_t identification = 1;
    std::uint16_t fragment = 0; ///< flags and offset, as the header has them
    std::uint8_t ttl = 64;
    std::string_view options = {}; ///< hexadecimal, padded with zeros to a multiple of four bytes
    std::optional<std::uint16_t> totalLength = std::nullopt; ///< when it is to lie
};

inline Packet ipv4(const Ipv4Fields& fields, Transport transport)
{
    const auto source = addressBytes(fields.source), destination = addressBytes(fields.destination);
    fillChecksum(transport, source, destination);
    auto options = hex(fields.options);
    options.resize((options.size() + 3) / 4 * 4);
    const auto headerLength = 20 + options.size();
    ByteVector out;
    put(out, 0x40 | headerLength / 4, 1);
    put(out, 0, 1);
    put(out, fields.totalLength.value_or(static_cast<std::uint16_t>(headerLength + transport.bytes.size())), 2);
    put(out, fields.identification, 2);
    put(out, fields.fragment, 2);
    put(out, fields.ttl, 1);
    put(out, transport.protocol, 1);
    put(out, 0, 2);
    put(out, source);
    put(out, destination);
    put(out, options);
    const auto sum = internetChecksum(out);
    out[10] = static_cast<std::uint8_t>(sum >> 8);
    out[11] = static_cast<std::uint8_t>(sum);
    put(out, transport.bytes);
    return {etherType::ipv4, std::move(out)};
}

struct Ipv6Fields {
    std::string_view source = "2001:db8::1";
    std::string_view destination = "2001:db8::2";
    /// Extension headers before the transport, hexadecimal, whole; the last one's next header must name the transport.
    std::string_view extensions = {};
    std::uint8_t firstExtension = 0; ///< what the first of them is
};

inline Packet ipv6(const Ipv6Fields& fields, Transport transport)
{
    const auto source = addressBytes(fields.source), destination = addressBytes(fields.destination);
    fillChecksum(transport, source, destination);
    const auto extensions = hex(fields.extensions);
    ByteVector out;
    put(out, 0x60000000, 4);
    put(out, extensions.size() + transport.bytes.size(), 2);
    put(out, extensions.empty() ? transport.protocol : fields.firstExtension, 1);
    put(out, 64, 1);
    put(out, source);
    put(out, destination);
    put(out, extensions);
    put(out, transport.bytes);
    return {etherType::ipv6, std::move(out)};
}

struct EthernetFields {
    std::string_view source = "02:00:00:00:00:01";
    std::string_view destination = "02:00:00:00:00:02";
    std::string_view tags = {}; ///< VLAN tags, hexadecimal: type and tag, four bytes each
};

inline ByteVector ethernet(const Packet& packet, const EthernetFields& fields = {})
{
    auto out = addressBytes(fields.destination);
    put(out, addressBytes(fields.source));
    put(out, hex(fields.tags));
    put(out, packet.etherType, 2);
    put(out, packet.bytes);
    return out;
}

/// A frame that views `bytes`, which outlive it.
inline CaptureFrame frameOf(const ByteVector& bytes, LinkType link = LinkType::ethernet, double seconds = 0)
{
    CaptureFrame frame;
    frame.timestampSeconds = static_cast<std::uint64_t>(seconds);
    frame.timestampFraction =
        static_cast<std::uint64_t>(std::lround((seconds - static_cast<double>(frame.timestampSeconds)) * 1e6));
    frame.capturedLength = frame.originalLength = static_cast<std::uint32_t>(bytes.size());
    frame.linkType = link;
    frame.data = bytes;
    return frame;
}

} // namespace netrondo::test
