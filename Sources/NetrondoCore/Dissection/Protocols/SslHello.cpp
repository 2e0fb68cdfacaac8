// Cipher specifications of three bytes, of which those of TLS begin with a zero.
#include "Dissection/Protocols/SslHello.h"

#include "Dissection/Protocols/TlsHandshake.h"

namespace netrondo::sslHello {
namespace {

constexpr NamedValue specs[] = {
    {0x010080, "SSL2_RC4_128_WITH_MD5"},         {0x020080, "SSL2_RC4_128_EXPORT40_WITH_MD5"},
    {0x030080, "SSL2_RC2_128_CBC_WITH_MD5"},     {0x040080, "SSL2_RC2_128_CBC_EXPORT40_WITH_MD5"},
    {0x050080, "SSL2_IDEA_128_CBC_WITH_MD5"},    {0x060040, "SSL2_DES_64_CBC_WITH_MD5"},
    {0x0700c0, "SSL2_DES_192_EDE3_CBC_WITH_MD5"}};

constexpr Field length{"tls.ssl2.len", "Length", Wire::number};
constexpr Field type{"tls.ssl2.type", "Message type", Wire::u8, tlsNames::handshakeTypes};
constexpr Field specsLength{"tls.ssl2.specs_len", "Cipher specifications length", Wire::u16};
constexpr Field sessionIdLength{"tls.ssl2.session_id_len", "Session ID length", Wire::u16};
constexpr Field challengeLength{"tls.ssl2.challenge_len", "Challenge length", Wire::u16};
constexpr Field spec{"tls.ssl2.spec", "Cipher specification", Wire::hex24, specs};
constexpr Field sessionId{"tls.ssl2.session_id", "Session ID", Wire::bytes};
constexpr Field challenge{"tls.ssl2.challenge", "Challenge", Wire::bytes};

constexpr std::size_t head = 11;

} // namespace

bool begins(Bytes bytes)
{
    if (bytes.size() < head || !(bytes[0] & 0x80) || bytes[2] != 1)
        return false;
    const auto version = load::be16(&bytes[3]);
    const std::size_t size = load::be16(&bytes[0]) & 0x7fff, specSize = load::be16(&bytes[5]),
                      idSize = load::be16(&bytes[7]), challengeSize = load::be16(&bytes[9]);
    return (version == 2 || (version >= 0x0300 && version <= 0x0303)) && specSize && specSize % 3 == 0
        && (idSize == 0 || idSize == 16) && challengeSize >= 16 && challengeSize <= 32
        && size == head - 2 + specSize + idSize + challengeSize;
}

void read(Layer& layer)
{
    layer.add(length, layer.peek16() & 0x7fff, layer.offset(), 2);
    layer.skip(2);
    const Layer::Group hello(layer, tlsHandshake::message, 1);
    layer.read(type);
    layer.read(tlsHandshake::version);
    const auto specSize = layer.read(specsLength);
    const auto idSize = layer.read(sessionIdLength), challengeSize = layer.read(challengeLength);
    for (std::uint64_t at = 0; at < specSize && !layer.stopped(); at += 3) {
        if (layer.peek8() != 0) {
            layer.read(spec);
            continue;
        }
        layer.skip(1);
        layer.read(tlsHandshake::suite);
    }
    if (idSize)
        layer.readBytes(sessionId, idSize);
    layer.readBytes(challenge, challengeSize);
}

} // namespace netrondo::sslHello
