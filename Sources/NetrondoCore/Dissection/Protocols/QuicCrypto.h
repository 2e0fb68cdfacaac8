// The public keys of QUIC Initial packets (RFC 9001, 5; RFC 9369): anyone on the path can derive them.
#pragma once

#include "Base/Bytes.h"

#include <cstdint>
#include <span>

namespace netrondo::quicCrypto {

/// An Initial packet, as it stands in the datagram.
struct InitialPacket {
    std::uint32_t version;
    Bytes clientId; ///< what the keys come from: the first destination ID that the client chose
    bool isServer;
    Bytes bytes;                    ///< the packet from its first byte to its last
    std::size_t packetNumberOffset; ///< in `bytes`
};

/// What opening a packet yields: the length of the packet number and of the plain text; 0 and 0 when it does not open.
struct Opened {
    std::size_t packetNumberLength = 0;
    std::uint32_t packetNumber = 0;
    std::size_t length = 0;
};

bool knowsVersion(std::uint32_t version);

/// Removes header protection, checks and decrypts into `plain`, which is as long as the rest of the packet.
Opened open(const InitialPacket& packet, std::span<std::uint8_t> plain);

} // namespace netrondo::quicCrypto
