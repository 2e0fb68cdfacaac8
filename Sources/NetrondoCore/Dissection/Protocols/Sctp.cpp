// Stream Control Transmission Protocol (RFC 9260), and DCCP (RFC 4340) and UDP-Lite (RFC 3828) beside it.
#include "Dissection/Decode/Dissector.h"
#include "Dissection/Protocols/Protocols.h"

#include <array>
#include <bit>
#include <boost/crc.hpp>

namespace netrondo {

namespace sctp {
namespace {
constexpr NamedValue chunks[] = {
    {0, "DATA"},          {1, "INIT"},        {2, "INIT ACK"},           {3, "SACK"},         {4, "HEARTBEAT"},
    {5, "HEARTBEAT ACK"}, {6, "ABORT"},       {7, "SHUTDOWN"},           {8, "SHUTDOWN ACK"}, {9, "ERROR"},
    {10, "COOKIE ECHO"},  {11, "COOKIE ACK"}, {14, "SHUTDOWN COMPLETE"}, {15, "AUTH"},        {64, "I-DATA"},
    {128, "ASCONF ACK"},  {130, "RE-CONFIG"}, {192, "FORWARD TSN"},      {193, "ASCONF"}};

constexpr Field sourcePort{"sctp.source", "Source port", Wire::u16};
constexpr Field destinationPort{"sctp.destination", "Destination port", Wire::u16};
constexpr Field tag{"sctp.tag", "Verification tag", Wire::hex32};
constexpr Field checksum{"sctp.checksum", "Checksum", Wire::checksum32};
constexpr Field chunk{"sctp.chunk", "Chunk", Wire::number, chunks};
constexpr Field type{"sctp.chunk_type", "Type", Wire::u8, chunks};
constexpr Field flags{"sctp.chunk_flags", "Flags", Wire::hex8};
constexpr Field length{"sctp.chunk_len", "Length", Wire::u16};
constexpr Field sequence{"sctp.tsn", "Transmission sequence number", Wire::u32};
constexpr Field stream{"sctp.stream", "Stream", Wire::u16};
constexpr Field streamSequence{"sctp.stream_seq", "Stream sequence number", Wire::u16};
constexpr Field payloadProtocol{"sctp.ppid", "Payload protocol", Wire::u32};
constexpr Field initiateTag{"sctp.initiate_tag", "Initiate tag", Wire::hex32};
constexpr Field window{"sctp.window", "Advertised window", Wire::u32};
constexpr Field outbound{"sctp.streams_out", "Outbound streams", Wire::u16};
constexpr Field inbound{"sctp.streams_in", "Inbound streams", Wire::u16};
constexpr Field cumulative{"sctp.cumulative", "Cumulative TSN", Wire::u32};
constexpr Field data{"sctp.data", "Data", Wire::bytes};

void readPayload(Layer& sctp, std::uint64_t bits)
{
    const auto id = sctp.read(payloadProtocol);
    if (!sctp.left())
        return;
    // Only a whole message (first and last piece in one) can be read on.
    const auto& summary = sctp.summary();
    const auto* next = (bits & 3) == 3
        ? Dissector::application(sctp.rest(), Transport::sctp, summary.sourcePort, summary.destinationPort)
        : nullptr;
    if (!next && id <= 0xffff)
        next = Dissector::claimant(ClaimTable::sctpPayload, static_cast<std::uint16_t>(id));
    if (next)
        sctp.handOver(*next);
    else
        sctp.readRest(data);
}

void readChunk(Layer& sctp, std::uint64_t kind, std::uint64_t bits)
{
    switch (kind) {
    case 0:
        sctp.read(sequence, stream, streamSequence);
        readPayload(sctp, bits);
        break;
    case 1:
    case 2: sctp.read(initiateTag, window, outbound, inbound, sequence); break;
    case 3: sctp.read(cumulative, window); break;
    default: break;
    }
    if (sctp.more())
        sctp.readRest(data);
}

/// CRC-32c with its bytes in little-endian order, over the packet with zeros in the sum's place (RFC 9260, 6.8).
std::uint32_t sumOf(Bytes packet)
{
    constexpr std::size_t sumAt = 8, sumEnd = 12;
    boost::crc_optimal<32, 0x1edc6f41, 0xffffffff, 0xffffffff, true, true> sum;
    sum.process_bytes(packet.data(), sumAt);
    constexpr std::array<std::uint8_t, sumEnd - sumAt> zeros{};
    sum.process_bytes(zeros.data(), zeros.size());
    sum.process_bytes(packet.data() + sumEnd, packet.size() - sumEnd);
    return std::byteswap(sum.checksum());
}

void readChecksum(Layer& sctp)
{
    const auto sent = sctp.read(checksum);
    if (sctp.stopped() || sctp.isCut() || sctp.frame().isFragment || sctp.isQuoted())
        return;
    // A sum of zero is left to the network card, or not used under DTLS (RFC 9653).
    const auto outcome = sent == 0    ? ChecksumOutcome::offloaded
        : sent == sumOf(sctp.whole()) ? ChecksumOutcome::correct
                                      : ChecksumOutcome::wrong;
    sctp.tree().at(sctp.tree().size() - 1).number = std::uint64_t{static_cast<std::uint8_t>(outcome)} << 32 | sent;
    if (outcome == ChecksumOutcome::wrong)
        sctp.mark(Expert::sctpChecksum);
}

void decode(Layer& sctp)
{
    const auto from = static_cast<std::uint16_t>(sctp.read(sourcePort));
    const auto to = static_cast<std::uint16_t>(sctp.read(destinationPort));
    if (sctp.stopped())
        return;
    sctp.setPorts(Transport::sctp, from, to);
    sctp.read(tag);
    readChecksum(sctp);
    while (sctp.more(4)) {
        const Layer::Group group(sctp, chunk, sctp.peek8());
        const auto kind = sctp.read(type), bits = sctp.read(flags), size = sctp.read(length);
        if (size < 4)
            return sctp.reject(length);
        {
            const Layer::Window content(sctp, size - 4);
            readChunk(sctp, kind, bits);
        }
        const auto filler = (4 - size % 4) % 4;
        if (filler && sctp.more(filler))
            sctp.skip(filler);
    }
}

void describe(const LayerView& sctp, TextSink& out)
{
    out("{} → {}", sctp[sourcePort].number(), sctp[destinationPort].number());
    sctp.each(chunk, [&](const Value& entry) { out(" {}", entry); });
    if (const auto number = sctp[sequence])
        out(", TSN {}", number);
    if (const auto number = sctp[cumulative])
        out(", up to TSN {}", number);
}

constexpr Claim claims[] = {ipProtocol(132), udpPort(9899)};
} // namespace

constexpr Protocol protocol{{"sctp", "SCTP", Wire::layer}, {}, claims, decode, describe};
static_assert(wellFormed(protocol));
} // namespace sctp

namespace dccp {
namespace {
constexpr NamedValue types[] = {{0, "Request"},  {1, "Response"}, {2, "Data"},  {3, "Ack"},  {4, "DataAck"},
                                {5, "CloseReq"}, {6, "Close"},    {7, "Reset"}, {8, "Sync"}, {9, "SyncAck"}};

constexpr Field sourcePort{"dccp.source", "Source port", Wire::u16};
constexpr Field destinationPort{"dccp.destination", "Destination port", Wire::u16};
constexpr Field offset{"dccp.offset", "Data offset in words", Wire::u8};
constexpr Field coverage{"dccp.coverage", "CCVal and coverage", Wire::hex8};
constexpr Field checksum{"dccp.checksum", "Checksum", Wire::hex16};
constexpr Field typeByte{"dccp.type_byte", "Type and X", Wire::hex8};
constexpr Field type{"dccp.type", "Type", Wire::bits, types, 0x1e};
constexpr Field header{"dccp.header", "Sequence numbers and options", Wire::bytes};

void decode(Layer& dccp)
{
    const auto from = static_cast<std::uint16_t>(dccp.read(sourcePort));
    const auto to = static_cast<std::uint16_t>(dccp.read(destinationPort));
    const auto words = dccp.read(offset);
    dccp.read(coverage, checksum);
    dccp.readParts(typeByte, type);
    if (dccp.stopped())
        return;
    dccp.setPorts(Transport::dccp, from, to);
    if (words * 4 < 9)
        return dccp.reject(offset);
    dccp.readBytes(header, words * 4 - 9);
    dccp.handOverData();
}

void describe(const LayerView& dccp, TextSink& out)
{
    out("{} → {} {}", dccp[sourcePort].number(), dccp[destinationPort].number(), dccp[type]);
}

constexpr Claim claims[] = {ipProtocol(33)};
} // namespace

constexpr Protocol protocol{{"dccp", "DCCP", Wire::layer}, {}, claims, decode, describe};
static_assert(wellFormed(protocol));
} // namespace dccp

namespace udplite {
namespace {
constexpr Field sourcePort{"udplite.source", "Source port", Wire::u16};
constexpr Field destinationPort{"udplite.destination", "Destination port", Wire::u16};
constexpr Field coverage{"udplite.coverage", "Checksum coverage", Wire::u16};
constexpr Field checksum{"udplite.checksum", "Checksum", Wire::hex16};

void decode(Layer& udplite)
{
    const auto from = static_cast<std::uint16_t>(udplite.read(sourcePort));
    const auto to = static_cast<std::uint16_t>(udplite.read(destinationPort));
    udplite.read(coverage, checksum);
    if (udplite.stopped())
        return;
    udplite.setPorts(Transport::udpLite, from, to);
    udplite.handOverPayload(Transport::udpLite, from, to);
}

void describe(const LayerView& udplite, TextSink& out)
{
    out("{} → {}", udplite[sourcePort].number(), udplite[destinationPort].number());
}

constexpr Claim claims[] = {ipProtocol(136)};
} // namespace

constexpr Protocol protocol{{"udplite", "UDP-Lite", Wire::layer}, {}, claims, decode, describe};
static_assert(wellFormed(protocol));
} // namespace udplite

} // namespace netrondo
