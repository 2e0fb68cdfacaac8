// The peer protocol of BitTorrent (BEP 3; fast extension BEP 6, extensions BEP 10).
#include "Dissection/Protocols/Protocols.h"

namespace netrondo::bittorrent {
namespace {
constexpr NamedValue types[] = {{0, "Choke"},          {1, "Unchoke"},      {2, "Interested"},    {3, "Not interested"},
                                {4, "Have"},           {5, "Bitfield"},     {6, "Request"},       {7, "Piece"},
                                {8, "Cancel"},         {9, "Port"},         {13, "Suggest"},      {14, "Have all"},
                                {15, "Have none"},     {16, "Reject"},      {17, "Allowed fast"}, {20, "Extended"},
                                {0x100, "Keep alive"}, {0x101, "Handshake"}};
constexpr unsigned keepAlive = 0x100, handshake = 0x101;

constexpr Field message{"bittorrent.message", "Message", Wire::number, types};
constexpr Field nameLength{"bittorrent.name_len", "Name length", Wire::u8};
constexpr Field name{"bittorrent.name", "Protocol name", Wire::text};
constexpr Field reserved{"bittorrent.reserved", "Extensions", Wire::hex64};
constexpr Field hash{"bittorrent.info_hash", "Torrent", Wire::bytes};
constexpr Field peer{"bittorrent.peer", "Peer", Wire::bytes};
constexpr Field length{"bittorrent.length", "Length", Wire::u32};
constexpr Field type{"bittorrent.type", "Type", Wire::u8, types};
constexpr Field piece{"bittorrent.piece", "Piece", Wire::u32};
constexpr Field begin{"bittorrent.begin", "Offset in the piece", Wire::u32};
constexpr Field size{"bittorrent.size", "Size", Wire::u32};
constexpr Field bits{"bittorrent.bitfield", "Pieces at hand", Wire::bytes};
constexpr Field port{"bittorrent.port", "Port", Wire::u16};
constexpr Field extension{"bittorrent.extension", "Extension", Wire::u8};
constexpr Field data{"bittorrent.data", "Data", Wire::bytes};

constexpr std::string_view greeting = "\x13"
                                      "BitTorrent protocol";

void readHandshake(Layer& peers)
{
    const Layer::Group group(peers, message, handshake);
    peers.read(nameLength);
    peers.readText(name, greeting.size() - 1);
    peers.read(reserved);
    peers.readBytes(hash, 20);
    peers.readBytes(peer, 20);
    if (!peers.stopped())
        peers.learn(Transport::tcp, protocol); // peers choose their ports freely
}

/// What a message of that kind may measure; nothing else is one, so that the middle of a piece is none.
bool fits(unsigned kind, std::uint32_t count)
{
    switch (kind) {
    case 0:
    case 1:
    case 2:
    case 3:
    case 14:
    case 15: return count == 1;
    case 4:
    case 13:
    case 17: return count == 5;
    case 6:
    case 8:
    case 16: return count == 13;
    case 9: return count == 3;
    case 7: return count > 9 && count <= 9 + 128 * 1024;
    case 5:
    case 20: return count > 1 && count <= 1024 * 1024;
    default: return false;
    }
}

void readBody(Layer& peers)
{
    const auto kind = peers.read(type);
    switch (kind) {
    case 4:
    case 13:
    case 17: peers.read(piece); break;
    case 5: peers.readRest(bits); break;
    case 6:
    case 8:
    case 16: peers.read(piece, begin, size); break;
    case 7: peers.read(piece, begin); break;
    case 9: peers.read(port); break;
    case 20: peers.read(extension); break;
    default: break;
    }
    if (peers.more())
        peers.readRest(data);
}

void decode(Layer& peers)
{
    while (peers.more()) {
        if (asText(peers.rest()).starts_with(greeting.substr(0, peers.left()))) {
            peers.beginMessage();
            readHandshake(peers);
            continue;
        }
        const auto count = peers.peek32();
        const bool isZeros = peers.left() >= 8 && peers.peek32(4) == 0; // of a piece
        if (peers.left() >= 4 && count == 0 && !isZeros) {
            const Layer::Group group(peers, message, keepAlive);
            peers.read(length);
            continue;
        }
        const bool isHead = peers.left() < 5 ? peers.peek8() == 0 : fits(peers.peek8(4), count);
        if (!isHead) // the middle of a piece, or encrypted
            return static_cast<void>(peers.readRest(data));
        peers.beginMessage();
        if (peers.left() < 5) // what it is comes with the next segment
            return peers.read(length, type);
        const Layer::Group group(peers, message, peers.peek8(4));
        peers.read(length);
        peers.expect(count);
        const Layer::Window content(peers, count);
        readBody(peers);
    }
}

void describe(const LayerView& peers, TextSink& out)
{
    std::size_t count = 0;
    peers.each(message, [&](const Value& entry) {
        if (++count <= 6)
            out("{}{}", count > 1 ? ", " : "", entry);
    });
    if (count > 6)
        out(" and {} more", count - 6);
    if (const auto number = peers[piece]; number && count == 1)
        out(" {}", number);
    if (const auto at = peers[begin]; at && count == 1)
        out(", offset {}", at);
    if (const auto bytes = peers[data]; bytes && !count)
        out("Continuation, {} bytes", bytes.node()->length);
}

Likeness guess(Bytes payload, Transport transport)
{
    return transport == Transport::tcp && asText(payload).starts_with(greeting) ? Likeness::certain : Likeness::none;
}

constexpr Claim claims[] = {tcpPorts(6881, 6889)};
} // namespace

constexpr Protocol protocol{{"bittorrent", "BitTorrent", Wire::layer}, {}, claims, decode, describe, guess,
                            opensWith({Transport::tcp}, 0x13)};
static_assert(wellFormed(protocol));
} // namespace netrondo::bittorrent
