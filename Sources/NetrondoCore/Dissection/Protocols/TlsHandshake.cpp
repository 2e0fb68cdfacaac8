// Hellos with their extensions, certificates, key exchanges.
#include "Dissection/Protocols/TlsHandshake.h"

#include "Dissection/Protocols/Certificate.h"

namespace netrondo::tlsHandshake {
namespace {

constexpr NamedValue nameTypes[] = {{0, "host name"}};
constexpr NamedValue compressions[] = {{0, "none"}, {1, "deflate"}};

constexpr Field type{"tls.handshake_type", "Handshake type", Wire::u8, tlsNames::handshakeTypes};
constexpr Field length{"tls.handshake_len", "Length", Wire::u24};
constexpr Field sequence{"tls.handshake_seq", "Message sequence", Wire::u16};
constexpr Field fragmentOffset{"tls.fragment_offset", "Fragment offset", Wire::u24};
constexpr Field fragmentLength{"tls.fragment_len", "Fragment length", Wire::u24};
constexpr Field legacyVersion{"tls.hello_version", "Version of the hello", Wire::hex16, tlsNames::versions};
constexpr Field random{"tls.random", "Random", Wire::bytes};
constexpr Field sessionIdLength{"tls.session_id_len", "Session ID length", Wire::u8};
constexpr Field sessionId{"tls.session_id", "Session ID", Wire::bytes};
constexpr Field cookieLength{"tls.cookie_len", "Cookie length", Wire::u8};
constexpr Field cookie{"tls.cookie", "Cookie", Wire::bytes};
constexpr Field suitesLength{"tls.suites_len", "Cipher suites length", Wire::u16};
constexpr Field chosenSuite{"tls.chosen_suite", "Chosen cipher suite", Wire::hex16, tlsNames::suites};
constexpr Field compressionsLength{"tls.compressions_len", "Compression methods length", Wire::u8};
constexpr Field compression{"tls.compression", "Compression method", Wire::u8, compressions};
constexpr Field extensionsLength{"tls.extensions_len", "Extensions length", Wire::u16};
constexpr Field extension{"tls.extension", "Extension", Wire::number, tlsNames::extensions};
constexpr Field extensionType{"tls.extension_type", "Type", Wire::u16, tlsNames::extensions};
constexpr Field extensionLength{"tls.extension_len", "Length", Wire::u16};
constexpr Field extensionData{"tls.extension_data", "Data", Wire::bytes};
constexpr Field listLength{"tls.list_len", "List length", Wire::u16};
constexpr Field shortListLength{"tls.list_len", "List length", Wire::u8};
constexpr Field nameType{"tls.sni_type", "Name type", Wire::u8, nameTypes};
constexpr Field nameLength{"tls.sni_len", "Name length", Wire::u16};
constexpr Field alpnLength{"tls.alpn_len", "Protocol length", Wire::u8};
constexpr Field alpn{"tls.alpn", "Application protocol", Wire::text};
constexpr Field supportedVersion{"tls.supported_version", "Supported version", Wire::hex16, tlsNames::versions};
constexpr Field group{"tls.group", "Group", Wire::hex16, tlsNames::groups};
constexpr Field signature{"tls.signature_algorithm", "Signature algorithm", Wire::hex16, tlsNames::signatures};
constexpr Field keyShare{"tls.key_share", "Key share", Wire::number, tlsNames::groups};
constexpr Field keyLength{"tls.key_len", "Key length", Wire::u16};
constexpr Field key{"tls.key", "Key", Wire::bytes};
constexpr Field certificatesLength{"tls.certificates_len", "Certificates length", Wire::u24};
constexpr Field certificateLength{"tls.certificate_len", "Certificate length", Wire::u24};
constexpr Field contextLength{"tls.context_len", "Context length", Wire::u8};
constexpr Field lifetime{"tls.ticket_lifetime", "Ticket lifetime (s)", Wire::u32};
constexpr Field body{"tls.handshake_body", "Body", Wire::bytes};

/// The random that makes a Server Hello a request to start over (RFC 8446, 4.1.3).
constexpr std::uint8_t retryRandom[32] = {0xcf, 0x21, 0xad, 0x74, 0xe5, 0x9a, 0x61, 0x11, 0xbe, 0x1d, 0x8c,
                                          0x02, 0x1e, 0x65, 0xb8, 0x91, 0xc2, 0xa2, 0x11, 0x16, 0x7a, 0xbb,
                                          0x8c, 0x5e, 0x07, 0x9e, 0x09, 0xe2, 0xc8, 0xa8, 0x33, 0x9c};
constexpr Field retry{"tls.retry", "Asks to start over (Hello Retry Request)", Wire::none};

void readNumbers(Layer& layer, const Field& count, const Field& each)
{
    const auto size = layer.read(count);
    const Layer::Window list(layer, size);
    while (layer.more())
        layer.read(each);
}

void readServerNames(Layer& layer)
{
    if (!layer.left()) // a server acknowledges with an empty extension
        return;
    const auto size = layer.read(listLength);
    const Layer::Window list(layer, size);
    while (layer.more()) {
        layer.read(nameType);
        const auto letters = layer.read(nameLength);
        layer.readText(serverName, letters);
    }
}

void readProtocols(Layer& layer)
{
    const auto size = layer.read(listLength);
    const Layer::Window list(layer, size);
    while (layer.more()) {
        const auto letters = layer.read(alpnLength);
        layer.readText(alpn, letters);
    }
}

void readKeyShare(Layer& layer)
{
    const Layer::Group node(layer, keyShare, layer.peek16());
    layer.read(group);
    const auto size = layer.read(keyLength);
    layer.readBytes(key, size);
}

void readKeyShares(Layer& layer, bool isClient)
{
    if (!isClient) {
        if (layer.left() == 2) // a retry request names the group only
            return static_cast<void>(layer.read(group));
        return readKeyShare(layer);
    }
    const auto size = layer.read(listLength);
    const Layer::Window list(layer, size);
    while (layer.more())
        readKeyShare(layer);
}

void readExtension(Layer& layer, std::uint64_t kind, bool isClient)
{
    switch (kind) {
    case 0: return readServerNames(layer);
    case 10: return readNumbers(layer, listLength, group);
    case 13:
    case 50: return readNumbers(layer, listLength, signature);
    case 16: return readProtocols(layer);
    case 43:
        if (!isClient)
            return static_cast<void>(layer.read(version));
        return readNumbers(layer, shortListLength, supportedVersion);
    case 51: return readKeyShares(layer, isClient);
    default:
        if (layer.left())
            layer.readRest(extensionData);
    }
}

void readExtensions(Layer& layer, bool isClient)
{
    if (!layer.more())
        return;
    const auto size = layer.read(extensionsLength);
    const Layer::Window list(layer, size);
    while (layer.more()) {
        const Layer::Group node(layer, extension, layer.peek16());
        const auto kind = layer.read(extensionType);
        const auto bytes = layer.read(extensionLength);
        const Layer::Window content(layer, bytes);
        readExtension(layer, kind, isClient);
    }
}

void readClientHello(Layer& layer, Framing framing)
{
    layer.read(legacyVersion);
    layer.readBytes(random, 32);
    const auto idSize = layer.read(sessionIdLength);
    if (idSize)
        layer.readBytes(sessionId, idSize);
    if (framing == Framing::datagram) {
        const auto cookieSize = layer.read(cookieLength);
        if (cookieSize)
            layer.readBytes(cookie, cookieSize);
    }
    readNumbers(layer, suitesLength, suite);
    readNumbers(layer, compressionsLength, compression);
    readExtensions(layer, true);
}

void readServerHello(Layer& layer)
{
    layer.read(legacyVersion);
    const auto at = layer.offset();
    const auto bytes = layer.readBytes(random, 32);
    if (bytes.size() == 32 && std::equal(bytes.begin(), bytes.end(), retryRandom))
        layer.add(retry, 0, at, 32);
    const auto idSize = layer.read(sessionIdLength);
    if (idSize)
        layer.readBytes(sessionId, idSize);
    layer.read(chosenSuite, compression);
    readExtensions(layer, false);
}

void readCertificates(Layer& layer)
{
    // TLS 1.3 puts a request context before the list, and extensions behind each certificate. The three bytes of the
    // list's length tell the two forms apart: they reach to the end of the message.
    const bool hasContext = (layer.peek32() >> 8) + 3 != layer.leftOnWire();
    if (hasContext)
        layer.skip(layer.read(contextLength));
    const auto size = layer.read(certificatesLength);
    const Layer::Window list(layer, size);
    while (layer.more()) {
        const auto bytes = layer.read(certificateLength);
        certificate::read(layer, bytes);
        if (hasContext)
            readExtensions(layer, true);
    }
}

void readBody(Layer& layer, std::uint64_t kind, Framing framing)
{
    switch (kind) {
    case 1: readClientHello(layer, framing); break;
    case 2: readServerHello(layer); break;
    case 3: layer.read(legacyVersion), layer.skip(layer.read(cookieLength)); break;
    case 4: layer.read(lifetime), layer.readRest(body); break;
    case 8: readExtensions(layer, false); break;
    case 11: readCertificates(layer); break;
    default:
        if (layer.left())
            layer.readRest(body);
    }
}

} // namespace

bool looksPlain(Bytes bytes)
{
    if (bytes.size() < 4 || nameIn(tlsNames::handshakeTypes, bytes[0]).empty())
        return false;
    // Encrypted bytes rarely have a small high byte in the length as well.
    return bytes[1] == 0 || (bytes[0] == 11 && bytes[1] < 4);
}

std::size_t wholeMessages(Bytes bytes)
{
    std::size_t at = 0;
    while (bytes.size() - at >= 4) {
        const auto size = 4 + (load::be32(&bytes[at]) & 0xffffff);
        if (size > bytes.size() - at)
            break;
        at += size;
    }
    return at;
}

void readMessages(Layer& layer, Framing framing, Fragments* fragments)
{
    while (layer.more()) {
        const Layer::Group node(layer, message, layer.peek8());
        const auto kind = layer.read(type);
        auto size = layer.read(length);
        if (framing == Framing::datagram) {
            const auto number = layer.read(sequence);
            const auto start = layer.read(fragmentOffset);
            const auto part = layer.read(fragmentLength);
            if (start || part != size) {
                const auto bytes = part ? layer.readBytes(body, part) : Bytes();
                if (fragments && !bytes.empty() && fragments->count < fragments->all.size())
                    fragments->all[fragments->count++] = {
                        static_cast<std::uint8_t>(kind), static_cast<std::uint16_t>(number),
                        static_cast<std::uint32_t>(size), static_cast<std::uint32_t>(start), bytes};
                continue;
            }
        }
        const Layer::Window content(layer, size);
        readBody(layer, kind, framing);
    }
}

void describe(const LayerView& view, TextSink& out)
{
    bool first = true;
    view.each(message, [&](const Value& entry) {
        out("{}{}", first ? "" : ", ", entry);
        first = false;
    });
    if (view.has(retry))
        out(" (retry request)");
    if (const auto name = view[serverName]) {
        out(" (SNI=");
        out.putForeign(name.text());
        out(")");
    }
    if (const auto chosen = view[chosenSuite])
        out(" ({})", chosen);
}

} // namespace netrondo::tlsHandshake
