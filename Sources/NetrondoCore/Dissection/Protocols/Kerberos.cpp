// Kerberos version 5 (RFC 4120).
#include "Dissection/Protocols/Ber.h"
#include "Dissection/Protocols/Protocols.h"

namespace netrondo::kerberos {
namespace {
constexpr NamedValue messages[] = {{10, "AS-REQ"},   {11, "AS-REP"},   {12, "TGS-REQ"},  {13, "TGS-REP"},
                                   {14, "AP-REQ"},   {15, "AP-REP"},   {20, "KRB-SAFE"}, {21, "KRB-PRIV"},
                                   {22, "KRB-CRED"}, {30, "KRB-ERROR"}};
constexpr NamedValue errors[] = {{6, "client unknown"},
                                 {7, "server unknown"},
                                 {12, "policy"},
                                 {14, "encryption type unsupported"},
                                 {18, "client revoked"},
                                 {23, "password expired"},
                                 {24, "pre-authentication failed"},
                                 {25, "pre-authentication required"},
                                 {31, "integrity check failed"},
                                 {32, "ticket expired"},
                                 {33, "ticket not yet valid"},
                                 {34, "request is a replay"},
                                 {37, "clock skew"},
                                 {41, "message modified"},
                                 {52, "response too big"},
                                 {60, "generic error"},
                                 {68, "wrong realm"}};
constexpr NamedValue encryptionTypes[] = {{1, "des-cbc-crc"},
                                          {3, "des-cbc-md5"},
                                          {16, "des3-cbc-sha1"},
                                          {17, "aes128-cts-hmac-sha1-96"},
                                          {18, "aes256-cts-hmac-sha1-96"},
                                          {19, "aes128-cts-hmac-sha256-128"},
                                          {20, "aes256-cts-hmac-sha384-192"},
                                          {23, "rc4-hmac"},
                                          {24, "rc4-hmac-exp"},
                                          {static_cast<std::uint64_t>(-128), "rc4-md4"},
                                          {static_cast<std::uint64_t>(-133), "rc4-hmac-old"},
                                          {static_cast<std::uint64_t>(-135), "rc4-hmac-old-exp"}};

constexpr Field recordLength{"kerberos.record_len", "Record length", Wire::u32};
constexpr Field message{"kerberos.type", "Message type", Wire::number, messages};
constexpr Field version{"kerberos.version", "Version", Wire::number};
constexpr Field realm{"kerberos.realm", "Realm", Wire::text};
constexpr Field clientRealm{"kerberos.crealm", "Client realm", Wire::text};
constexpr Field clientName{"kerberos.cname", "Client name", Wire::text};
constexpr Field serverName{"kerberos.sname", "Server name", Wire::text};
constexpr Field nameType{"kerberos.name_type", "Name type", Wire::number};
constexpr Field errorCode{"kerberos.error", "Error code", Wire::number, errors};
constexpr Field errorText{"kerberos.error_text", "Error text", Wire::text};
constexpr Field encryptionType{"kerberos.etype", "Encryption type", Wire::i32, encryptionTypes};
constexpr Field until{"kerberos.till", "Valid until", Wire::text};
constexpr Field nonce{"kerberos.nonce", "Nonce", Wire::number};
constexpr Field serverTime{"kerberos.stime", "Server time", Wire::text};
constexpr Field element{"kerberos.element", "Element", Wire::bytes};

/// PrincipalName: [0] type, [1] the parts of the name.
void readName(Layer& kerberos, const Field& field)
{
    const auto size = ber::enter(kerberos, ber::sequence, field);
    const Layer::Window name(kerberos, size);
    {
        const auto bytes = ber::enter(kerberos, ber::context(0), nameType);
        const Layer::Window kind(kerberos, bytes);
        ber::readInteger(kerberos, nameType);
    }
    const auto bytes = ber::enter(kerberos, ber::context(1), field);
    const Layer::Window list(kerberos, bytes);
    const auto parts = ber::enter(kerberos, ber::sequence, field);
    const Layer::Window strings(kerberos, parts);
    while (kerberos.more())
        ber::readContents(kerberos, field);
}

/// One numbered element of a message's sequence: `read(number)` reads the inside or leaves it.
template <typename F> void readElements(Layer& kerberos, F readElement)
{
    const auto size = ber::enter(kerberos, ber::sequence, element);
    const Layer::Window fields(kerberos, size);
    while (kerberos.more()) {
        const auto header = ber::peek(kerberos);
        if (!header)
            return kerberos.skip(kerberos.left() + 1);
        kerberos.skip(header->size);
        const Layer::Window content(kerberos, header->length);
        readElement(header->tag & 0x1fu);
        if (kerberos.more())
            kerberos.readRest(element);
    }
}

void readEncryptionTypes(Layer& kerberos)
{
    const auto size = ber::enter(kerberos, ber::sequence, encryptionType);
    const Layer::Window list(kerberos, size);
    while (kerberos.more())
        ber::readInteger(kerberos, encryptionType);
}

void readRequestBody(Layer& kerberos)
{
    readElements(kerberos, [&](unsigned number) {
        switch (number) {
        case 1: readName(kerberos, clientName); break;
        case 2: ber::readContents(kerberos, realm); break;
        case 3: readName(kerberos, serverName); break;
        case 5: ber::readContents(kerberos, until); break;
        case 7: ber::readInteger(kerberos, nonce); break;
        case 8: readEncryptionTypes(kerberos); break;
        default: break;
        }
    });
}

void readReply(Layer& kerberos)
{
    readElements(kerberos, [&](unsigned number) {
        switch (number) {
        case 0: ber::readInteger(kerberos, version); break;
        case 3: ber::readContents(kerberos, clientRealm); break;
        case 4: readName(kerberos, clientName); break;
        default: break;
        }
    });
}

void readRequest(Layer& kerberos)
{
    readElements(kerberos, [&](unsigned number) {
        if (number == 1)
            ber::readInteger(kerberos, version);
        else if (number == 4)
            readRequestBody(kerberos);
    });
}

void readError(Layer& kerberos)
{
    readElements(kerberos, [&](unsigned number) {
        switch (number) {
        case 0: ber::readInteger(kerberos, version); break;
        case 4: ber::readContents(kerberos, serverTime); break;
        case 6: ber::readInteger(kerberos, errorCode); break;
        case 7: ber::readContents(kerberos, clientRealm); break;
        case 8: readName(kerberos, clientName); break;
        case 9: ber::readContents(kerberos, realm); break;
        case 10: readName(kerberos, serverName); break;
        case 11: ber::readContents(kerberos, errorText); break;
        default: break;
        }
    });
}

void readMessage(Layer& kerberos)
{
    const auto header = ber::peek(kerberos);
    if (!header)
        return kerberos.skip(kerberos.left() + 1);
    const auto kind = header->tag & 0x1fu;
    if ((header->tag & 0xe0) != 0x60) {
        kerberos.readRest(element); // the middle of a message
        return;
    }
    kerberos.add(message, kind, kerberos.offset(), 1);
    kerberos.skip(header->size);
    const Layer::Window content(kerberos, header->length);
    if (kind == 10 || kind == 12)
        readRequest(kerberos);
    else if (kind == 11 || kind == 13)
        readReply(kerberos);
    else if (kind == 30)
        readError(kerberos);
    else
        kerberos.readRest(element);
}

void decode(Layer& kerberos)
{
    if (!kerberos.isStream())
        return readMessage(kerberos);
    while (kerberos.more()) {
        if ((kerberos.peek8(4) & 0xe0) != 0x60 || kerberos.peek8() != 0) {
            kerberos.readRest(element);
            return;
        }
        kerberos.beginMessage();
        const auto size = kerberos.read(recordLength);
        kerberos.expect(size);
        const Layer::Window record(kerberos, size);
        readMessage(kerberos);
    }
}

void describe(const LayerView& kerberos, TextSink& out)
{
    const auto kind = kerberos[message];
    if (!kind)
        return out("Continuation");
    out("{}", kind);
    if (const auto code = kerberos[errorCode])
        out(": {}", code);
    if (const auto client = kerberos[clientName])
        out(", client {}", client);
    bool first = true;
    kerberos.each(serverName, [&](const Value& part) {
        out("{}{}", first ? ", server " : "/", part);
        first = false;
    });
    if (const auto where = kerberos[realm])
        out(", realm {}", where);
}

/// An application element that the datagram, or the length in front of it in a stream, is as long as.
Likeness guess(Bytes payload, Transport transport)
{
    const auto bytes = transport == Transport::tcp ? slice(payload, 4) : payload;
    if (bytes.size() < 10 || (transport == Transport::tcp && payload[0] != 0))
        return Likeness::none;
    const bool isApplication = (bytes[0] & 0xe0) == 0x60 && !nameIn(messages, bytes[0] & 0x1fu).empty();
    const std::size_t inner = bytes[1] & 0x80 ? 2u + (bytes[1] & 0x7fu) : 2u;
    if (!isApplication || inner > 5 || bytes[inner] != ber::sequence)
        return Likeness::none;
    std::size_t size = inner == 2 ? bytes[1] : 0;
    for (std::size_t i = 2; i < inner; ++i)
        size = size << 8 | bytes[i];
    const auto told = transport == Transport::tcp ? load::be32(payload.data()) : payload.size();
    return inner + size == told ? Likeness::likely : Likeness::none;
}

constexpr Claim claims[] = {tcpPort(88), udpPort(88), tcpPort(464), udpPort(464)};
} // namespace

constexpr Protocol protocol{{"kerberos", "Kerberos", Wire::layer},
                            {},
                            claims,
                            decode,
                            describe,
                            guess,
                            Opening{.firstBytes = {}}.orByte(0).orBytes(0x60, 0x7f)};
static_assert(wellFormed(protocol));
} // namespace netrondo::kerberos
