// IPsec: AH (RFC 4302), ESP (RFC 4303), and IKE (RFC 2408, RFC 7296) with NAT traversal (RFC 3948).
#include "Dissection/Protocols/IpProtocolNames.h"
#include "Dissection/Protocols/Protocols.h"

namespace netrondo {

namespace ah {
namespace {
constexpr Field next{"ah.next", "Next header", Wire::u8, ipProtocolNames};
constexpr Field length{"ah.len", "Length in words less two", Wire::u8};
constexpr Field reserved{"ah.reserved", "Reserved", Wire::u16};
constexpr Field spi{"ah.spi", "Security parameters index", Wire::hex32};
constexpr Field sequence{"ah.seq", "Sequence number", Wire::u32};
constexpr Field check{"ah.icv", "Integrity check value", Wire::bytes};

void decode(Layer& ah)
{
    const auto number = ah.read(next), words = ah.read(length);
    ah.read(reserved, spi, sequence);
    if (words < 1)
        return ah.reject(length);
    ah.readBytes(check, (words - 1) * 4);
    ah.handOver(ipProtocol(static_cast<std::uint8_t>(number)));
}

constexpr Claim claims[] = {ipProtocol(51)};
} // namespace

constexpr Protocol protocol{{"ah", "AH", Wire::layer}, {}, claims, decode};
static_assert(wellFormed(protocol));
} // namespace ah

namespace esp {
namespace {
constexpr Field spi{"esp.spi", "Security parameters index", Wire::hex32};
constexpr Field sequence{"esp.seq", "Sequence number", Wire::u32};
constexpr Field data{"esp.data", "Encrypted data", Wire::bytes};

void decode(Layer& esp)
{
    esp.read(spi, sequence);
    if (esp.more())
        esp.readRest(data);
}

void describe(const LayerView& esp, TextSink& out)
{
    out("ESP SPI=0x");
    out.putHex(esp[spi].number(), 8);
    out(", Seq={}", esp[sequence]);
}

constexpr Claim claims[] = {ipProtocol(50)};
} // namespace

constexpr Protocol protocol{{"esp", "ESP", Wire::layer}, {}, claims, decode, describe};
static_assert(wellFormed(protocol));
} // namespace esp

namespace ike {
namespace {
constexpr NamedValue exchanges[] = {{2, "Main mode"},        {4, "Aggressive mode"}, {5, "Informational"},
                                    {32, "Quick mode"},      {34, "IKE_SA_INIT"},    {35, "IKE_AUTH"},
                                    {36, "CREATE_CHILD_SA"}, {37, "INFORMATIONAL"}};

constexpr Field marker{"ike.marker", "Non-ESP marker", Wire::hex32};
constexpr Field keepAlive{"ike.keep_alive", "NAT keep-alive", Wire::hex8};
constexpr Field initiator{"ike.ispi", "Initiator SPI", Wire::hex64};
constexpr Field responder{"ike.rspi", "Responder SPI", Wire::hex64};
constexpr Field next{"ike.next", "Next payload", Wire::u8};
constexpr Field version{"ike.version", "Version", Wire::hex8};
constexpr Field exchange{"ike.exchange", "Exchange", Wire::u8, exchanges};
constexpr Field flags{"ike.flags", "Flags", Wire::hex8};
constexpr Field messageId{"ike.id", "Message ID", Wire::hex32};
constexpr Field length{"ike.length", "Length", Wire::u32};
constexpr Field payload{"ike.payload", "Payload", Wire::number};
constexpr Field payloadNext{"ike.payload_next", "Next payload", Wire::u8};
constexpr Field payloadFlags{"ike.payload_flags", "Flags", Wire::hex8};
constexpr Field payloadLength{"ike.payload_len", "Length", Wire::u16};
constexpr Field data{"ike.data", "Data", Wire::bytes};

void readMessage(Layer& ike)
{
    ike.read(initiator, responder);
    auto kind = ike.read(next);
    const auto number = ike.read(version);
    ike.read(exchange);
    const auto bits = ike.read(flags);
    ike.read(messageId, length);
    const bool encrypted = number >> 4 == 1 && bits & 1;
    while (kind && !encrypted && ike.more(4)) {
        const Layer::Group group(ike, payload, kind);
        kind = kind == 46 ? 0 : kind; // what follows an encrypted payload is inside it
        const auto after = ike.read(payloadNext);
        ike.read(payloadFlags);
        const auto size = ike.read(payloadLength);
        if (size < 4)
            return ike.reject(payloadLength);
        if (size > 4)
            ike.readBytes(data, size - 4);
        kind = kind ? after : 0;
    }
    if (ike.more())
        ike.readRest(data);
}

void decode(Layer& ike)
{
    const auto& summary = ike.summary();
    if (summary.sourcePort != 4500 && summary.destinationPort != 4500)
        return readMessage(ike);
    if (ike.left() == 1)
        return static_cast<void>(ike.read(keepAlive));
    if (ike.left() >= 4 && ike.peek32() != 0)
        return ike.handOver(esp::protocol);
    ike.read(marker);
    readMessage(ike);
}

void describe(const LayerView& ike, TextSink& out)
{
    if (ike.has(keepAlive))
        return out("NAT keep-alive");
    if (const auto kind = ike[exchange])
        out("{}, {}", kind, ike[flags].number() & 0x20 ? "response" : "message");
}

constexpr Claim claims[] = {udpPort(500), udpPort(4500)};
} // namespace

constexpr Protocol protocol{{"ike", "IKE", Wire::layer}, {}, claims, decode, describe};
static_assert(wellFormed(protocol));
} // namespace ike

} // namespace netrondo
