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

constexpr NamedValue payloads[] = {{1, "SA"},
                                   {2, "Proposal"},
                                   {3, "Transform"},
                                   {4, "Key exchange"},
                                   {5, "Identification"},
                                   {6, "Certificate"},
                                   {7, "Certificate request"},
                                   {8, "Hash"},
                                   {9, "Signature"},
                                   {10, "Nonce"},
                                   {11, "Notification"},
                                   {12, "Delete"},
                                   {13, "Vendor ID"},
                                   {20, "NAT discovery"},
                                   {33, "SA"},
                                   {34, "Key exchange"},
                                   {35, "Initiator ID"},
                                   {36, "Responder ID"},
                                   {37, "Certificate"},
                                   {38, "Certificate request"},
                                   {39, "Authentication"},
                                   {40, "Nonce"},
                                   {41, "Notify"},
                                   {42, "Delete"},
                                   {43, "Vendor ID"},
                                   {44, "Initiator traffic selector"},
                                   {45, "Responder traffic selector"},
                                   {46, "Encrypted"},
                                   {47, "Configuration"},
                                   {48, "EAP"},
                                   {53, "Encrypted fragment"}};
constexpr NamedValue securityProtocols[] = {{1, "IKE"}, {2, "AH"}, {3, "ESP"}};
constexpr NamedValue transformTypes[] = {{1, "encryption"},
                                         {2, "pseudo-random function"},
                                         {3, "integrity"},
                                         {4, "key exchange"},
                                         {5, "extended sequence numbers"}};
constexpr NamedValue groups[] = {{1, "MODP 768"},   {2, "MODP 1024"},   {5, "MODP 1536"}, {14, "MODP 2048"},
                                 {15, "MODP 3072"}, {16, "MODP 4096"},  {19, "P-256"},    {20, "P-384"},
                                 {21, "P-521"},     {31, "Curve25519"}, {32, "Curve448"}};
constexpr NamedValue ciphers[] = {{2, "DES"},         {3, "3DES"},        {12, "AES-CBC"},
                                  {13, "AES-CTR"},    {14, "AES-CCM-8"},  {18, "AES-GCM-8"},
                                  {19, "AES-GCM-12"}, {20, "AES-GCM-16"}, {28, "ChaCha20-Poly1305"}};
constexpr NamedValue randoms[] = {
    {1, "HMAC-MD5"}, {2, "HMAC-SHA1"}, {5, "HMAC-SHA2-256"}, {6, "HMAC-SHA2-384"}, {7, "HMAC-SHA2-512"}};
constexpr NamedValue integrities[] = {{0, "none"},
                                      {1, "HMAC-MD5-96"},
                                      {2, "HMAC-SHA1-96"},
                                      {5, "AES-XCBC-96"},
                                      {12, "HMAC-SHA2-256-128"},
                                      {13, "HMAC-SHA2-384-192"},
                                      {14, "HMAC-SHA2-512-256"}};
constexpr NamedValue notices[] = {{1, "unsupported critical payload"},
                                  {5, "invalid major version"},
                                  {7, "invalid syntax"},
                                  {14, "no proposal chosen"},
                                  {17, "invalid key exchange"},
                                  {24, "authentication failed"},
                                  {38, "traffic selectors unacceptable"},
                                  {16384, "initial contact"},
                                  {16388, "NAT detection, source"},
                                  {16389, "NAT detection, destination"},
                                  {16390, "cookie"},
                                  {16393, "rekey SA"},
                                  {16396, "MOBIKE supported"},
                                  {16404, "multiple authentication"},
                                  {16418, "signature hash algorithms"},
                                  {16406, "redirect supported"},
                                  {16430, "fragmentation supported"},
                                  {16431, "hash algorithms of signatures"}};

constexpr Field proposal{"ike.proposal", "Proposal", Wire::group};
constexpr Field proposalNext{"ike.proposal_next", "More proposals", Wire::u8};
constexpr Field proposalNumber{"ike.proposal_number", "Number", Wire::u8};
constexpr Field securityProtocol{"ike.protocol", "Protocol", Wire::u8, securityProtocols};
constexpr Field spiLength{"ike.spi_len", "SPI length", Wire::u8};
constexpr Field spi{"ike.spi", "SPI", Wire::bytes};
constexpr Field transformCount{"ike.transforms", "Number of transforms", Wire::u8};
constexpr Field transform{"ike.transform", "Transform", Wire::number, transformTypes};
constexpr Field transformType{"ike.transform_type", "Type", Wire::u8, transformTypes};
constexpr Field transformNumber{"ike.transform_number", "Number", Wire::u8};
constexpr Field transformId{"ike.transform_id", "Transform ID", Wire::u16};
constexpr Field cipher{"ike.transform_id", "Transform ID", Wire::u16, ciphers};
constexpr Field random{"ike.transform_id", "Transform ID", Wire::u16, randoms};
constexpr Field integrity{"ike.transform_id", "Transform ID", Wire::u16, integrities};
constexpr Field keyGroup{"ike.transform_id", "Transform ID", Wire::u16, groups};
constexpr Field attributes{"ike.attributes", "Attributes", Wire::bytes};
constexpr Field domain{"ike.doi", "Domain of interpretation", Wire::u32};
constexpr Field situation{"ike.situation", "Situation", Wire::hex32};
constexpr Field exchangeGroup{"ike.group", "Group", Wire::u16, groups};
constexpr Field notice{"ike.notify", "Notification", Wire::u16, notices};
constexpr Field reserved{"ike.reserved", "Reserved", Wire::hex8};
constexpr Field reserved16{"ike.reserved", "Reserved", Wire::hex16};
constexpr Field vendor{"ike.vendor", "Vendor ID", Wire::bytes};
constexpr Field marker{"ike.marker", "Non-ESP marker", Wire::hex32};
constexpr Field keepAlive{"ike.keep_alive", "NAT keep-alive", Wire::hex8};
constexpr Field initiator{"ike.ispi", "Initiator SPI", Wire::hex64};
constexpr Field responder{"ike.rspi", "Responder SPI", Wire::hex64};
constexpr Field next{"ike.next", "Next payload", Wire::u8, payloads};
constexpr Field version{"ike.version", "Version", Wire::hex8};
constexpr Field exchange{"ike.exchange", "Exchange", Wire::u8, exchanges};
constexpr Field flags{"ike.flags", "Flags", Wire::hex8};
constexpr Field messageId{"ike.id", "Message ID", Wire::hex32};
constexpr Field length{"ike.length", "Length", Wire::u32};
constexpr Field payload{"ike.payload", "Payload", Wire::number, payloads};
constexpr Field payloadNext{"ike.payload_next", "Next payload", Wire::u8, payloads};
constexpr Field payloadFlags{"ike.payload_flags", "Flags", Wire::hex8};
constexpr Field payloadLength{"ike.payload_len", "Length", Wire::u16};
constexpr Field data{"ike.data", "Data", Wire::bytes};

/// A transform of version 2 says what it is for (RFC 7296, 3.3.2); one of version 1 is numbered (RFC 2408, 3.6).
void readTransform(Layer& ike, bool isSecond)
{
    const Layer::Group group(ike, transform, isSecond ? ike.peek8(4) : 0);
    ike.read(proposalNext, reserved);
    const auto size = ike.read(payloadLength);
    constexpr std::size_t header = 4;
    if (size < header)
        return ike.reject(payloadLength);
    const Layer::Window content(ike, size - header);
    if (isSecond) {
        const auto kind = ike.read(transformType);
        ike.read(reserved);
        const Field* const ids[] = {&transformId, &cipher, &random, &integrity, &keyGroup};
        ike.read(kind < std::size(ids) ? *ids[kind] : transformId);
    } else {
        ike.read(transformNumber, transformType, reserved16);
    }
    if (ike.more())
        ike.readRest(attributes);
}

void readProposals(Layer& ike, bool isSecond)
{
    if (!isSecond)
        ike.read(domain, situation);
    while (ike.more(8)) {
        const Layer::Group group(ike, proposal);
        ike.read(proposalNext, reserved);
        const auto size = ike.read(payloadLength);
        constexpr std::size_t header = 4;
        if (size < header)
            return ike.reject(payloadLength);
        const Layer::Window content(ike, size - header);
        ike.read(proposalNumber, securityProtocol);
        const auto bytes = ike.read(spiLength);
        ike.read(transformCount);
        if (bytes)
            ike.readBytes(spi, bytes);
        while (ike.more(8))
            readTransform(ike, isSecond);
    }
}

void readPayload(Layer& ike, std::uint64_t kind, bool isSecond)
{
    switch (kind) {
    case 1:
    case 33: readProposals(ike, isSecond); break;
    case 34: ike.read(exchangeGroup, reserved16); break;
    case 11: ike.read(domain); [[fallthrough]];
    case 41: {
        ike.read(securityProtocol);
        const auto bytes = ike.read(spiLength);
        ike.read(notice);
        if (bytes)
            ike.readBytes(spi, bytes);
        break;
    }
    case 13:
    case 43: ike.readRest(vendor); break;
    default: break;
    }
    if (ike.more())
        ike.readRest(data);
}

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
        const auto is = kind;
        kind = kind == 46 ? 0 : kind; // what follows an encrypted payload is inside it
        const auto after = ike.read(payloadNext);
        ike.read(payloadFlags);
        const auto size = ike.read(payloadLength);
        if (size < 4)
            return ike.reject(payloadLength);
        const Layer::Window content(ike, size - 4);
        readPayload(ike, is, number >> 4 == 2);
        kind = kind ? after : 0;
    }
    if (ike.more())
        ike.readRest(data);
}

/// A header whose version, exchange, flags and length agree with the datagram.
bool isMessage(Bytes bytes)
{
    constexpr std::size_t header = 28;
    if (bytes.size() < header || load::be64(bytes.data()) == 0 || load::be32(&bytes[24]) != bytes.size())
        return false;
    const unsigned number = bytes[17] >> 4, bits = bytes[19];
    const bool hasFlags = number == 1 ? bits <= 7 : number == 2 && (bits & ~0x38u) == 0;
    return hasFlags && !nameIn(exchanges, bytes[18]).empty();
}

constexpr std::size_t markerSize = 4; ///< four zeros where ESP shares the port

void decode(Layer& ike)
{
    const auto& summary = ike.summary();
    if (summary.sourcePort != 4500 && summary.destinationPort != 4500) {
        if (isMessage(slice(ike.rest(), markerSize)) && ike.peek32() == 0)
            ike.read(marker); // a port of its own behind NAT
        return readMessage(ike);
    }
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
        out("{}", kind);
    if (ike[version].number() >> 4 == 2)
        out(" {}, message {}", ike[flags].number() & 0x20 ? "response" : "request", ike[messageId].number());
    ike.each(notice, [&](const Value& entry) { out(", {}", entry); });
}

Likeness guess(Bytes bytes, Transport transport)
{
    if (transport != Transport::udp || bytes.size() < 28)
        return Likeness::none;
    const bool isMarked = load::be32(bytes.data()) == 0 && isMessage(bytes.subspan(markerSize));
    return isMarked || isMessage(bytes) ? Likeness::likely : Likeness::none;
}

constexpr Claim claims[] = {udpPort(500), udpPort(4500)};
} // namespace

constexpr Protocol protocol{{"ike", "IKE", Wire::layer}, {}, claims, decode, describe, guess,
                            opensOn({Transport::udp})};
static_assert(wellFormed(protocol));
} // namespace ike

} // namespace netrondo
