// The handshake messages that TLS, DTLS and QUIC share (RFC 5246, RFC 8446).
#pragma once

#include "Dissection/Decode/Layer.h"
#include "Dissection/Decode/LayerView.h"
#include "Dissection/Protocols/TlsNames.h"

#include <array>

namespace netrondo::tlsHandshake {

inline constexpr Field message{"tls.hs", "TLS handshake", Wire::number, tlsNames::handshakeTypes};
inline constexpr Field serverName{"tls.sni", "TLS SNI", Wire::text};
inline constexpr Field version{"tls.ver", "TLS version", Wire::hex16, tlsNames::versions};
inline constexpr Field suite{"tls.suite", "Cipher suite", Wire::hex16, tlsNames::suites};

enum class Framing { stream, datagram };

/// Whether the bytes look like the start of a handshake message in the clear.
bool looksPlain(Bytes bytes);
/// How many of the bytes are whole messages.
std::size_t wholeMessages(Bytes bytes);
/// A piece of a message in datagrams (RFC 6347, 4.2.3). The bytes are the layer's.
struct Fragment {
    std::uint8_t kind;
    std::uint16_t sequence; ///< of the message
    std::uint32_t size;     ///< of the whole message
    std::uint32_t start;
    Bytes bytes;
};
struct Fragments {
    std::array<Fragment, 32> all;
    std::size_t count = 0;
};

/// Reads messages up to the end of the layer's window. Pieces of messages in datagrams are noted in `fragments`.
void readMessages(Layer& layer, Framing framing, Fragments* fragments = nullptr);
/// ", " and the name of each message, with the server's name and the chosen suite.
void describe(const LayerView& view, TextSink& out);

} // namespace netrondo::tlsHandshake
