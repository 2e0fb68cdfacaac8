// HKDF, header protection and AES-128-GCM for QUIC Initial packets, through OpenSSL.
#include "Dissection/Protocols/QuicCrypto.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <openssl/evp.h>
#include <openssl/hmac.h>
#include <string_view>

namespace netrondo::quicCrypto {
namespace {

using Digest = std::array<std::uint8_t, 32>;
using Salt = std::array<std::uint8_t, 20>;

constexpr Salt saltV1{0x38, 0x76, 0x2c, 0xf7, 0xf5, 0x59, 0x34, 0xb3, 0x4d, 0x17,
                      0x9a, 0xe6, 0xa4, 0xc8, 0x0c, 0xad, 0xcc, 0xbb, 0x7f, 0x0a};
constexpr Salt saltV2{0x0d, 0xed, 0xe3, 0xde, 0xf7, 0x00, 0xa6, 0xdb, 0x81, 0x93,
                      0x81, 0xbe, 0x6e, 0x26, 0x9d, 0xcb, 0xf9, 0xbd, 0x2e, 0xd9};
constexpr Salt saltDraft29{0xaf, 0xbf, 0xec, 0x28, 0x99, 0x93, 0xd2, 0x4c, 0x9e, 0x97,
                           0x86, 0xf1, 0x9c, 0x61, 0x11, 0xe0, 0x43, 0x90, 0xa8, 0x99};
constexpr Salt saltDraft23{0xc3, 0xee, 0xf7, 0x12, 0xc7, 0x2e, 0xbb, 0x5a, 0x11, 0xa7,
                           0xd2, 0x43, 0x2b, 0xb4, 0x63, 0x65, 0xbe, 0xf9, 0xf5, 0x02};

const Salt* saltOf(std::uint32_t version)
{
    if (version == 1)
        return &saltV1;
    if (version == 0x6b3343cf)
        return &saltV2;
    if (version >= 0xff00001d && version <= 0xff000022)
        return &saltDraft29;
    if (version >= 0xff000017 && version <= 0xff00001c)
        return &saltDraft23;
    return nullptr;
}

Digest hmac(Bytes key, Bytes message)
{
    Digest digest{};
    unsigned length = 0;
    HMAC(EVP_sha256(), key.data(), static_cast<int>(key.size()), message.data(), message.size(), digest.data(),
         &length);
    return digest;
}

/// HKDF-Expand-Label (RFC 8446, 7.1) for outputs of at most one digest.
Digest expandLabel(const Digest& secret, std::string_view label, std::uint16_t length)
{
    constexpr std::string_view prefix = "tls13 ";
    std::array<std::uint8_t, 64> info{};
    std::size_t size = 0;
    info[size++] = static_cast<std::uint8_t>(length >> 8);
    info[size++] = static_cast<std::uint8_t>(length);
    info[size++] = static_cast<std::uint8_t>(prefix.size() + label.size());
    for (const auto part : {prefix, label}) {
        std::memcpy(&info[size], part.data(), part.size());
        size += part.size();
    }
    info[size++] = 0; // no context
    info[size++] = 1; // the first and only block
    return hmac(secret, Bytes(info).first(size));
}

template <auto Free> struct Freer {
    template <typename T> void operator()(T* object) const { Free(object); }
};
using Cipher = std::unique_ptr<EVP_CIPHER_CTX, Freer<EVP_CIPHER_CTX_free>>;

/// The five bytes that hide the header's low bits and the packet number.
std::array<std::uint8_t, 16> headerMask(Bytes key, Bytes sample)
{
    std::array<std::uint8_t, 16> mask{};
    const Cipher cipher(EVP_CIPHER_CTX_new());
    int length = 0;
    EVP_EncryptInit_ex(cipher.get(), EVP_aes_128_ecb(), nullptr, key.data(), nullptr);
    EVP_CIPHER_CTX_set_padding(cipher.get(), 0);
    EVP_EncryptUpdate(cipher.get(), mask.data(), &length, sample.data(), 16);
    return mask;
}

bool decrypt(Bytes key, Bytes nonce, Bytes header, Bytes sealed, std::span<std::uint8_t> plain)
{
    constexpr std::size_t tagLength = 16;
    const auto body = sealed.first(sealed.size() - tagLength);
    std::array<std::uint8_t, tagLength> tag;
    std::ranges::copy(sealed.last(tagLength), tag.begin());
    const Cipher cipher(EVP_CIPHER_CTX_new());
    int length = 0;
    return EVP_DecryptInit_ex(cipher.get(), EVP_aes_128_gcm(), nullptr, key.data(), nonce.data())
        && EVP_DecryptUpdate(cipher.get(), nullptr, &length, header.data(), static_cast<int>(header.size()))
        && EVP_DecryptUpdate(cipher.get(), plain.data(), &length, body.data(), static_cast<int>(body.size()))
        && EVP_CIPHER_CTX_ctrl(cipher.get(), EVP_CTRL_GCM_SET_TAG, tagLength, tag.data())
        && EVP_DecryptFinal_ex(cipher.get(), plain.data() + body.size(), &length) == 1;
}

} // namespace

bool knowsVersion(std::uint32_t version)
{
    return saltOf(version);
}

Opened open(const InitialPacket& packet, std::span<std::uint8_t> plain)
{
    const auto* salt = saltOf(packet.version);
    constexpr std::size_t sampleOffset = 4, maxHeader = 1500;
    const auto at = packet.packetNumberOffset;
    if (!salt || packet.bytes.size() < at + sampleOffset + 16 || at + 4 > maxHeader)
        return {};
    const bool second = packet.version == 0x6b3343cf;
    const auto side = expandLabel(hmac(*salt, packet.clientId), packet.isServer ? "server in" : "client in", 32);
    const auto key = expandLabel(side, second ? "quicv2 key" : "quic key", 16);
    const auto iv = expandLabel(side, second ? "quicv2 iv" : "quic iv", 12);
    const auto hide = expandLabel(side, second ? "quicv2 hp" : "quic hp", 16);
    const auto mask = headerMask(Bytes(hide).first(16), packet.bytes.subspan(at + sampleOffset, 16));

    std::array<std::uint8_t, maxHeader> header;
    std::ranges::copy(packet.bytes.first(at + 4), header.begin());
    header[0] = static_cast<std::uint8_t>(header[0] ^ (mask[0] & 0x0f));
    Opened opened;
    opened.packetNumberLength = (header[0] & 3u) + 1u;
    std::array<std::uint8_t, 12> nonce;
    std::copy_n(iv.begin(), nonce.size(), nonce.begin());
    for (std::size_t i = 0; i < opened.packetNumberLength; ++i) {
        header[at + i] ^= mask[1 + i];
        opened.packetNumber = opened.packetNumber << 8 | header[at + i];
    }
    for (std::size_t i = 0; i < 4; ++i)
        nonce[8 + i] ^= static_cast<std::uint8_t>(opened.packetNumber >> (24 - 8 * i));
    const auto sealed = packet.bytes.subspan(at + opened.packetNumberLength);
    if (sealed.size() <= 16 || plain.size() < sealed.size())
        return {};
    if (!decrypt(Bytes(key).first(16), nonce, Bytes(header).first(at + opened.packetNumberLength), sealed, plain))
        return {};
    opened.length = sealed.size() - 16;
    return opened;
}

} // namespace netrondo::quicCrypto
