// Real-time Transport Protocol and its control protocol (RFC 3550). Their ports are agreed on elsewhere, so they are
// known by content only, and only where nothing else claims the datagram.
#include "Dissection/Protocols/Protocols.h"

namespace netrondo {
namespace {

constexpr NamedValue payloadTypes[] = {
    {0, "PCMU"},           {3, "GSM"},         {4, "G.723"},  {8, "PCMA"},  {9, "G.722"},
    {13, "comfort noise"}, {14, "MPEG audio"}, {18, "G.729"}, {26, "JPEG"}, {31, "H.261"},
    {32, "MPEG video"},    {33, "MPEG-2 TS"},  {34, "H.263"}};

} // namespace

namespace rtp {
namespace {
constexpr Field first{"rtp.first", "Version and flags", Wire::hex8};
constexpr Field version{"rtp.version", "Version", Wire::bits, {}, 0xc0};
constexpr Field padding{"rtp.padding", "Padding", Wire::bit, {}, 0x20};
constexpr Field extension{"rtp.extension", "Extension", Wire::bit, {}, 0x10};
constexpr Field sources{"rtp.sources", "Contributing sources", Wire::bits, {}, 0x0f};
constexpr Field second{"rtp.second", "Marker and payload type", Wire::hex8};
constexpr Field marker{"rtp.marker", "Marker", Wire::bit, {}, 0x80};
constexpr Field payloadType{"rtp.payload_type", "Payload type", Wire::bits, payloadTypes, 0x7f};
constexpr Field sequence{"rtp.seq", "Sequence number", Wire::u16};
constexpr Field timestamp{"rtp.timestamp", "Timestamp", Wire::u32};
constexpr Field source{"rtp.ssrc", "Synchronization source", Wire::hex32};
constexpr Field contributing{"rtp.csrc", "Contributing source", Wire::hex32};
constexpr Field payload{"rtp.payload", "Payload", Wire::bytes};

void decode(Layer& rtp)
{
    const auto bits = rtp.readParts(first, version, padding, extension, sources);
    rtp.readParts(second, marker, payloadType);
    rtp.read(sequence, timestamp, source);
    for (std::uint64_t i = 0; i < (bits & 15) && rtp.more(); ++i)
        rtp.read(contributing);
    if (rtp.more())
        rtp.readRest(payload);
}

void describe(const LayerView& rtp, TextSink& out)
{
    out("PT={}, SSRC=0x", rtp[payloadType]);
    out.putHex(rtp[source].number(), 8);
    out(", Seq={}, Time={}{}", rtp[sequence], rtp[timestamp], rtp[marker] == 1 ? ", mark" : "");
}

constexpr std::size_t header = 12;
constexpr unsigned firstDynamic = 96;

/// Whether the payload holds whole frames of a static type's codec (RFC 3551, 6), as far as one has frames of a size.
bool fitsCodec(unsigned kind, std::size_t size)
{
    switch (kind) {
    case 0: // 8 samples a millisecond
    case 8:
    case 9: return size % 8 == 0;
    case 3: return size % 33 == 0;
    case 4: return size % 4 == 0;
    case 18: return size % 10 == 0 || size % 10 == 2; // the last frame may be one of silence
    case 33: return size % 188 == 0;
    default: return kind <= 34;
    }
}

Likeness guess(Bytes bytes, Transport transport)
{
    if (transport != Transport::udp || bytes.size() < 20 || bytes[0] != 0x80)
        return Likeness::none;
    const unsigned kind = bytes[1] & 0x7fu;
    const auto size = bytes.size() - header;
    const bool isKnown = kind >= firstDynamic || fitsCodec(kind, size);
    return isKnown && load::be32(&bytes[8]) ? Likeness::likely : Likeness::none;
}
} // namespace

constexpr Protocol protocol{{"rtp", "RTP", Wire::layer},      {}, {}, decode, describe, guess,
                            opensWith({Transport::udp}, 0x80)};
static_assert(wellFormed(protocol));
} // namespace rtp

namespace rtcp {
namespace {
constexpr NamedValue types[] = {{200, "Sender report"},    {201, "Receiver report"}, {202, "Source description"},
                                {203, "Goodbye"},          {204, "Application"},     {205, "Transport feedback"},
                                {206, "Payload feedback"}, {207, "Extended report"}};

constexpr Field packet{"rtcp.packet", "Packet", Wire::number, types};
constexpr Field first{"rtcp.first", "Version and count", Wire::hex8};
constexpr Field type{"rtcp.type", "Type", Wire::u8, types};
constexpr Field length{"rtcp.length", "Length in words", Wire::u16};
constexpr Field body{"rtcp.body", "Body", Wire::bytes};

void decode(Layer& rtcp)
{
    while (rtcp.more(4)) {
        const Layer::Group group(rtcp, packet, rtcp.peek8(1));
        rtcp.read(first, type);
        const auto words = rtcp.read(length);
        if (words)
            rtcp.readBytes(body, words * 4);
    }
}

void describe(const LayerView& rtcp, TextSink& out)
{
    bool isFirst = true;
    rtcp.each(packet, [&](const Value& entry) {
        out("{}{}", isFirst ? "" : ", ", entry);
        isFirst = false;
    });
}

/// A report with room for its blocks, behind which anything may stand (encrypted, say), or packets to the last byte.
Likeness guess(Bytes payload, Transport transport)
{
    constexpr unsigned senderReport = 200, receiverReport = 201, lowest = 200, highest = 207;
    if (transport != Transport::udp || payload.size() < 8 || payload[0] >> 6 != 2)
        return Likeness::none;
    const unsigned kind = payload[1], blocks = payload[0] & 0x1fu;
    const std::size_t words = load::be16(&payload[2]);
    if (kind == senderReport || kind == receiverReport) {
        const std::size_t least = (kind == senderReport ? 6 : 1) + std::size_t{6} * blocks;
        return words >= least && (words + 1) * 4 <= payload.size() ? Likeness::likely : Likeness::none;
    }
    std::size_t at = 0;
    while (at + 8 <= payload.size() && payload[at] >> 6 == 2 && payload[at + 1] >= lowest && payload[at + 1] <= highest)
        at += (load::be16(&payload[at + 2]) + std::size_t{1}) * 4;
    return at == payload.size() ? Likeness::likely : Likeness::none;
}
} // namespace

constexpr Protocol protocol{{"rtcp", "RTCP", Wire::layer},          {}, {}, decode, describe, guess,
                            opensWith({Transport::udp}, 0x80, 0xbf)};
static_assert(wellFormed(protocol));
} // namespace rtcp

} // namespace netrondo
