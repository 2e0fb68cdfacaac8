// QUIC (RFC 9000, 9369): headers, and what the Initial packets of both ends say before keys are agreed on.
#include "Dissection/Protocols/Protocols.h"
#include "Dissection/Protocols/QuicCrypto.h"
#include "Dissection/Protocols/TlsHandshake.h"

#include <algorithm>
#include <array>

namespace netrondo {
namespace {

constexpr std::uint32_t version2 = 0x6b3343cf;
constexpr NamedValue versions[] = {{0, "version negotiation"},
                                   {1, "1"},
                                   {version2, "2"},
                                   {0xff00001d, "draft 29"},
                                   {0xff00001b, "draft 27"},
                                   {0x51303433, "Q043"},
                                   {0x51303436, "Q046"},
                                   {0x51303530, "Q050"}};
constexpr NamedValue packetTypes[] = {
    {0, "Initial"}, {1, "0-RTT"}, {2, "Handshake"}, {3, "Retry"}, {4, "Version Negotiation"}, {5, "Protected Payload"}};
constexpr NamedValue frameTypes[] = {{0x00, "PADDING"},         {0x01, "PING"},   {0x02, "ACK"},
                                     {0x03, "ACK with ECN"},    {0x06, "CRYPTO"}, {0x1c, "CONNECTION_CLOSE"},
                                     {0x1d, "CONNECTION_CLOSE"}};

constexpr Field packet{"quic.packet", "QUIC packet", Wire::number, packetTypes};
constexpr Field firstByte{"quic.first", "First byte", Wire::hex8};
constexpr Field version{"quic.version", "QUIC version", Wire::hex32, versions};
constexpr Field destinationLength{"quic.dcid_len", "Destination connection ID length", Wire::u8};
constexpr Field destinationId{"quic.dcid", "Destination connection ID", Wire::bytes};
constexpr Field sourceLength{"quic.scid_len", "Source connection ID length", Wire::u8};
constexpr Field sourceId{"quic.scid", "Source connection ID", Wire::bytes};
constexpr Field supported{"quic.supported_version", "Supported version", Wire::hex32, versions};
constexpr Field tokenLength{"quic.token_len", "Token length", Wire::number};
constexpr Field token{"quic.token", "Token", Wire::bytes};
constexpr Field length{"quic.len", "Length", Wire::number};
constexpr Field payload{"quic.payload", "Protected payload", Wire::bytes};
constexpr Field retryTag{"quic.retry_tag", "Retry integrity tag", Wire::bytes};
constexpr Field packetNumber{"quic.packet_number", "Packet number", Wire::number};
constexpr Field filler{"quic.filler", "Bytes that are no packet", Wire::bytes};

constexpr Field frame{"quic.frame", "Frame", Wire::number, frameTypes};
constexpr Field frameType{"quic.frame_type", "Frame type", Wire::number, frameTypes};
constexpr Field largest{"quic.ack_largest", "Largest acknowledged", Wire::number};
constexpr Field delay{"quic.ack_delay", "ACK delay", Wire::number};
constexpr Field rangeCount{"quic.ack_ranges", "ACK ranges", Wire::number};
constexpr Field range{"quic.ack_range", "ACK range", Wire::number};
constexpr Field offset{"quic.crypto_offset", "Offset", Wire::number};
constexpr Field dataLength{"quic.crypto_len", "Length", Wire::number};
constexpr Field cryptoData{"quic.crypto_data", "Crypto data", Wire::bytes};
constexpr Field errorCode{"quic.error", "Error code", Wire::number};
constexpr Field reasonLength{"quic.reason_len", "Reason length", Wire::number};
constexpr Field reason{"quic.reason", "Reason", Wire::text};
constexpr Field padding{"quic.padding", "Padding", Wire::bytes};

/// A number of 1, 2, 4 or 8 bytes, told by its two highest bits.
std::uint64_t readVariable(Layer& quic, const Field& field)
{
    const std::size_t size = std::size_t{1} << (quic.peek8() >> 6);
    if (!quic.more(size)) {
        quic.skip(size + quic.left());
        return 0;
    }
    std::uint64_t value = quic.peek8() & 0x3f;
    for (std::size_t i = 1; i < size; ++i)
        value = value << 8 | quic.peek8(i);
    quic.add(field, value, quic.offset(), size);
    quic.skip(size);
    return value;
}

std::uint64_t typeOf(std::uint8_t first, std::uint32_t numbered)
{
    if (numbered == 0)
        return 4;
    const auto bits = static_cast<std::uint64_t>(first >> 4 & 3);
    return numbered == version2 ? (bits + 3) % 4 : bits; // version 2 shuffles the types (RFC 9369, 3.2)
}

/// What both ends of a connection start from: the client's first destination ID, and the handshake as far as it came.
struct Handshake : ProtocolMemory {
    static constexpr std::size_t maxId = 20;
    std::array<std::uint8_t, maxId> id;
    std::size_t idLength = 0; ///< 0 while no packet of the client was opened
    std::uint8_t clientWay = 0;
    struct Way {
        PieceBuffer pieces;
        std::size_t told = 0; ///< messages up to here were shown
    };
    std::array<Way, 2> ways;

    Bytes clientId() const { return Bytes(id).first(idLength); }
    void begin(Bytes clientsId, std::uint8_t way)
    {
        idLength = std::min(clientsId.size(), maxId);
        std::copy_n(clientsId.begin(), idLength, id.begin());
        clientWay = way;
        ways = {};
    }
};

Handshake* handshakeOf(Layer& quic)
{
    return quic.memory<Handshake>(Transport::udp, Layer::Ways::both);
}

quicCrypto::Opened open(Layer& quic, quicCrypto::InitialPacket initial, std::span<std::uint8_t> room)
{
    if (const auto kept = quic.kept(); kept && !kept->empty()) {
        initial.isServer = kept->front();
        initial.clientId = kept->subspan(1);
        return quicCrypto::open(initial, room);
    }
    auto* const known = handshakeOf(quic);
    const auto way = quic.way(Transport::udp);
    const auto ownId = initial.clientId;
    quicCrypto::Opened opened;
    if (known && known->idLength) {
        initial.clientId = known->clientId();
        initial.isServer = way != known->clientWay;
        opened = quicCrypto::open(initial, room);
    }
    if (!opened.length) { // a client's first packet, or its first one after a retry
        initial.clientId = ownId;
        initial.isServer = false;
        opened = quicCrypto::open(initial, room);
        if (opened.length && known) {
            known->begin(ownId, way);
            quic.learn(Transport::udp, quic::protocol); // packets with short headers look like nothing
        }
    }
    std::array<std::uint8_t, 1 + Handshake::maxId> context{initial.isServer};
    if (known)
        std::ranges::copy(known->clientId(), context.begin() + 1);
    quic.keep(Bytes(context).first(opened.length && known ? 1 + known->idLength : 0));
    return opened;
}

/// Decrypts an Initial packet into the tree's own bytes, for the layer of its frames.
void openInitial(Layer& quic, std::uint32_t numbered, Bytes id, Bytes whole, std::size_t numberAt)
{
    const auto room = quic.tree().makeBytes(whole.size());
    if (room.empty())
        return;
    const auto opened = open(quic, {numbered, id, false, whole, numberAt}, room);
    if (!opened.length)
        return; // a server's of which the client's first packet is missing; or not what it seems
    quic.add(packetNumber, opened.packetNumber);
    const auto start = static_cast<std::size_t>(room.data() - quic.tree().ownBytes().data());
    quic.embedOwn(quicframes::protocol, start, opened.length);
}

void readLong(Layer& quic)
{
    const auto start = quic.offset();
    const auto whole = quic.rest();
    Layer::Group group(quic, packet);
    const auto first = static_cast<std::uint8_t>(quic.read(firstByte));
    const auto numbered = static_cast<std::uint32_t>(quic.read(version));
    const auto kind = typeOf(first, numbered);
    group.setNumber(kind);
    const auto id = quic.readBytes(destinationId, quic.read(destinationLength));
    quic.readBytes(sourceId, quic.read(sourceLength));
    if (quic.stopped())
        return;
    if (kind == 4) {
        while (quic.more(4))
            quic.read(supported);
        return;
    }
    if (kind == 3) {
        if (quic.left() > 16)
            quic.readBytes(token, quic.left() - 16);
        quic.readRest(retryTag);
        return;
    }
    if (kind == 0) {
        const auto size = readVariable(quic, tokenLength);
        if (size)
            quic.readBytes(token, size);
    }
    const auto size = readVariable(quic, length);
    if (quic.stopped())
        return;
    const auto numberAt = quic.offset() - start;
    if (kind == 0 && size <= quic.left())
        openInitial(quic, numbered, id, whole.first(numberAt + size), numberAt);
    quic.readBytes(payload, size);
}

void decodeQuic(Layer& quic)
{
    while (quic.more()) {
        if (quic.peek8() & 0x80) {
            readLong(quic);
            continue;
        }
        if (quic.peek8() == 0) { // datagrams are filled up with zeros
            quic.readRest(filler);
            return;
        }
        // How long the connection ID is, only the two ends know.
        Layer::Group group(quic, packet, 5);
        quic.read(firstByte);
        quic.readRest(payload);
    }
}

void describeQuic(const LayerView& quic, TextSink& out)
{
    bool first = true;
    quic.each(packet, [&](const Value& entry) {
        out("{}{}", first ? "" : ", ", entry);
        first = false;
    });
    if (const auto id = quic[destinationId]; id && id.node()->length)
        out(", DCID={}", id);
    if (const auto id = quic[sourceId]; id && id.node()->length)
        out(", SCID={}", id);
}

bool isKnownVersion(std::uint32_t number)
{
    return number == 0 || quicCrypto::knowsVersion(number) || (number & 0x0f0f0f0f) == 0x0a0a0a0a;
}

Likeness guess(Bytes bytes, Transport transport)
{
    if (transport != Transport::udp || bytes.size() < 8 || !(bytes[0] & 0x80))
        return Likeness::none;
    const auto numbered = load::be32(&bytes[1]);
    // Version negotiation may have anything in the first byte's low bits, but its connection IDs must fit.
    const std::size_t id = bytes[5];
    if (!isKnownVersion(numbered) || id > 20 || bytes.size() < 7 + id || bytes[6 + id] > 20)
        return Likeness::none;
    if (numbered == 0)
        return bytes.size() >= 11 ? Likeness::likely : Likeness::none;
    return bytes[0] & 0x40 ? Likeness::certain : Likeness::likely;
}

/// The handshake's bytes in order: clients shuffle their pieces within a packet and over several.
class CryptoStream {
public:
    explicit CryptoStream(Layer& quic) : known_(handshakeOf(quic)) { }

    void add(Layer& quic, std::uint64_t at, Bytes bytes)
    {
        constexpr std::uint64_t farthest = 64 * 1024;
        if (at + bytes.size() > farthest)
            return;
        if (known_)
            known_->ways[quic.way(Transport::udp)].pieces.add(at, bytes);
        else if (count_ < pieces_.size())
            pieces_[count_++] = {at, bytes};
        hasPieces_ = true;
    }
    /// Gives what is there without a gap, from the first message on that was not shown, to the handshake's layer.
    void handOver(Layer& quic)
    {
        if (!hasPieces_)
            return;
        quic.setStream();
        quic.setBare();
        if (const auto kept = quic.kept())
            return quic.handOverCopy(tls::protocol, *kept);
        if (!known_)
            return handOverAlone(quic);
        auto& way = known_->ways[quic.way(Transport::udp)];
        const auto fresh = way.pieces.beginning().subspan(std::min(way.told, way.pieces.beginning().size()));
        way.told += tlsHandshake::wholeMessages(fresh);
        quic.keep(fresh);
        quic.handOverCopy(tls::protocol, fresh);
    }

private:
    void handOverAlone(Layer& quic)
    {
        std::uint64_t end = 0;
        for (std::size_t pass = 0; pass < count_; ++pass) {
            for (std::size_t i = 0; i < count_; ++i) {
                if (pieces_[i].at <= end)
                    end = std::max(end, pieces_[i].at + pieces_[i].bytes.size());
            }
        }
        const auto room = quic.tree().makeBytes(end);
        if (room.empty())
            return;
        for (std::size_t i = 0; i < count_; ++i) {
            if (pieces_[i].at + pieces_[i].bytes.size() <= end)
                std::ranges::copy(pieces_[i].bytes, room.begin() + static_cast<std::ptrdiff_t>(pieces_[i].at));
        }
        quic.handOverOwn(tls::protocol, static_cast<std::size_t>(room.data() - quic.tree().ownBytes().data()), end);
    }

    struct Piece {
        std::uint64_t at;
        Bytes bytes;
    };
    Handshake* known_;
    bool hasPieces_ = false;
    std::array<Piece, 64> pieces_; ///< of a packet by itself
    std::size_t count_ = 0;
};

void readAck(Layer& quic, std::uint64_t kind)
{
    readVariable(quic, largest);
    readVariable(quic, delay);
    const auto ranges = readVariable(quic, rangeCount);
    for (std::uint64_t i = 0; i < 2 * ranges + 1 && quic.more(); ++i)
        readVariable(quic, range);
    for (int i = 0; kind == 3 && i < 3 && quic.more(); ++i)
        readVariable(quic, range);
}

void readCrypto(Layer& quic, CryptoStream& stream)
{
    const auto at = readVariable(quic, offset);
    const auto size = readVariable(quic, dataLength);
    const auto bytes = quic.readBytes(cryptoData, size);
    if (!quic.stopped())
        stream.add(quic, at, bytes);
}

void readPadding(Layer& quic)
{
    std::size_t zeros = 0;
    while (zeros < quic.left() && quic.peek8(zeros) == 0)
        ++zeros;
    quic.readBytes(padding, zeros);
}

void decodeFrames(Layer& quic)
{
    CryptoStream stream(quic);
    while (quic.more()) {
        if (quic.peek8() == 0) {
            readPadding(quic);
            continue;
        }
        const Layer::Group group(quic, frame, quic.peek8());
        const auto kind = readVariable(quic, frameType);
        if (kind == 2 || kind == 3) {
            readAck(quic, kind);
        } else if (kind == 6) {
            readCrypto(quic, stream);
        } else if (kind == 0x1c || kind == 0x1d) {
            readVariable(quic, errorCode);
            if (kind == 0x1c)
                readVariable(quic, frameType);
            quic.readText(reason, readVariable(quic, reasonLength));
        } else if (kind != 1) {
            return quic.reject(frameType);
        }
    }
    stream.handOver(quic);
}

} // namespace

namespace quic {
constexpr Protocol protocol{{"quic", "QUIC", Wire::layer},          {}, {}, decodeQuic, describeQuic, guess,
                            opensWith({Transport::udp}, 0x80, 0xff)};
static_assert(wellFormed(protocol));
} // namespace quic

namespace quicframes {
constexpr Protocol protocol{{"quic.frames", "QUIC", Wire::layer}, {}, {}, decodeFrames};
static_assert(wellFormed(protocol));
} // namespace quicframes

} // namespace netrondo
