// Headers around payloads.
#include "Support/Segments.h"

#include "Support/Dissect.h"
#include "Support/Hex.h"

#include "Dissection/Decode/Render.h"

#include <algorithm>

namespace netrondo::test {
namespace {

void put16(std::vector<std::uint8_t>& bytes, std::size_t at, std::size_t number)
{
    bytes[at] = static_cast<std::uint8_t>(number >> 8);
    bytes[at + 1] = static_cast<std::uint8_t>(number);
}

void put32(std::vector<std::uint8_t>& bytes, std::size_t at, std::uint32_t number)
{
    put16(bytes, at, number >> 16);
    put16(bytes, at + 2, number & 0xffff);
}

/// Ethernet and IPv4 around a payload.
std::vector<std::uint8_t> packet(std::uint8_t protocol, bool isBack, Bytes payload)
{
    auto bytes = hex("020000000002 020000000001 0800 4500 0000 0000 4000 40 00 0000 0a000001 0a000002");
    put16(bytes, 16, 20 + payload.size());
    bytes[23] = protocol;
    if (isBack)
        std::swap(bytes[29], bytes[33]);
    bytes.insert(bytes.end(), payload.begin(), payload.end());
    return bytes;
}

CaptureFrame viewOf(const std::vector<std::uint8_t>& bytes)
{
    CaptureFrame frame;
    frame.linkType = LinkType::ethernet;
    frame.data = bytes;
    frame.capturedLength = frame.originalLength = static_cast<std::uint32_t>(bytes.size());
    return frame;
}

} // namespace

std::size_t Capture::add(std::vector<std::uint8_t> bytes)
{
    auto& kept = decoded_.emplace_back();
    kept.bytes = std::move(bytes);
    decoder_.decodeNext(viewOf(kept.bytes), kept.frame);
    kept.info = test::info(kept.frame);
    kept.protocol = Render::protocol(kept.frame.summary);
    kept.dump = test::dump(kept.frame, true);
    return decoded_.size() - 1;
}

std::size_t Capture::tcp(std::uint16_t to, std::uint16_t from, std::uint32_t sequence, Bytes payload,
                         std::uint8_t flags)
{
    auto segment = hex("0000 0000 00000000 00000000 5000 7210 0000 0000");
    put16(segment, 0, from);
    put16(segment, 2, to);
    put32(segment, 4, sequence);
    segment[13] = flags;
    segment.insert(segment.end(), payload.begin(), payload.end());
    return add(packet(6, to > from, segment));
}

std::size_t Capture::udp(std::uint16_t to, std::uint16_t from, Bytes payload)
{
    auto datagram = hex("0000 0000 0000 0000");
    put16(datagram, 0, from);
    put16(datagram, 2, to);
    put16(datagram, 4, 8 + payload.size());
    datagram.insert(datagram.end(), payload.begin(), payload.end());
    return add(packet(17, to > from, datagram));
}

std::size_t Capture::fragment(std::uint16_t id, std::uint16_t offset, bool moreFollow, Bytes payload)
{
    auto bytes = packet(17, false, payload);
    put16(bytes, 18, id);
    put16(bytes, 20, (moreFollow ? 0x2000u : 0u) | offset / 8u);
    return add(std::move(bytes));
}

std::string Capture::values(std::size_t frame, std::string_view id) const
{
    return test::values(decoded_[frame].frame, id);
}

std::string Capture::dumpOutOfTurn(std::size_t frame) const
{
    DecodedFrame decoded;
    decoder_.decode(viewOf(decoded_[frame].bytes), frame + 1, decoded);
    return test::dump(decoded, true);
}

} // namespace netrondo::test
