// Transport Layer Security: the records (RFC 8446, 5) and what is in them before encryption begins.
#include "Dissection/Decode/PieceBuffer.h"
#include "Dissection/Protocols/Protocols.h"
#include "Dissection/Protocols/SslHello.h"
#include "Dissection/Protocols/TlsHandshake.h"

#include <algorithm>
#include <array>
#include <vector>

namespace netrondo {
namespace {

constexpr Field record{"tls.record", "Record", Wire::number, tlsNames::contentTypes};
constexpr Field contentType{"tls.content_type", "Content type", Wire::u8, tlsNames::contentTypes};
constexpr Field epoch{"tls.epoch", "Epoch", Wire::u16};
constexpr Field sequence{"tls.record_seq", "Sequence number", Wire::u48};
constexpr Field length{"tls.record_len", "Record length", Wire::u16};
constexpr Field alertLevel{"tls.alert.level", "TLS alert level", Wire::u8, tlsNames::alertLevels};
constexpr Field alertDescription{"tls.alert.desc", "TLS alert description", Wire::u8, tlsNames::alerts};
constexpr Field encryptedHandshake{"tls.encrypted_handshake", "Encrypted handshake message", Wire::bytes};
constexpr Field encryptedAlert{"tls.encrypted_alert", "Encrypted alert", Wire::bytes};
constexpr Field applicationData{"tls.app_data", "Encrypted application data", Wire::bytes};
constexpr Field piece{"tls.handshake_piece", "Piece of a handshake message", Wire::bytes};
constexpr Field cipherChange{"tls.change_cipher_spec", "Change cipher spec", Wire::bytes};
constexpr Field heartbeat{"tls.heartbeat", "Heartbeat", Wire::bytes};
constexpr Field continuation{"tls.continuation", "Continuation of a record", Wire::bytes};

void readAlert(Layer& tls)
{
    if (tls.leftOnWire() != 2) {
        tls.readRest(encryptedAlert);
        return;
    }
    const auto level = tls.read(alertLevel);
    tls.read(alertDescription);
    if (level == 2 && !tls.stopped())
        tls.mark(Expert::tlsFatalAlert);
}

/// Handshake messages of the records before encryption; one may be cut into several records (RFC 8446, 5.1).
class HandshakePieces {
public:
    bool isOpen() const { return size_ > 0; }
    std::size_t missing() const { return needed_ - std::min(needed_, size_); }

    /// Reads a record's content: whole messages as they come, the piece of a longer one as bytes.
    void read(Layer& tls, bool isWhole)
    {
        if (!isOpen()) {
            const auto whole = tlsHandshake::wholeMessages(tls.rest());
            if (whole) {
                const Layer::Window messages(tls, whole);
                tlsHandshake::readMessages(tls, tlsHandshake::Framing::stream);
            }
            if (!tls.more())
                return;
            if (!isWhole || tls.left() < 4) // the record itself goes on: what is there is read as far as it goes
                return tlsHandshake::readMessages(tls, tlsHandshake::Framing::stream);
            needed_ = 4 + (tls.peek32() & 0xffffff);
        }
        const auto bytes = tls.readRest(piece);
        if (count_ == pieces_.size())
            return;
        pieces_[count_++] = bytes;
        size_ += bytes.size();
    }
    /// Gives the message to a layer of its own once it is all there.
    void handOver(Layer& tls)
    {
        if (!isOpen() || missing())
            return;
        const auto room = tls.tree().makeBytes(size_);
        auto to = room.begin();
        for (std::size_t i = 0; i < count_ && !room.empty(); ++i)
            to = std::ranges::copy(pieces_[i], to).out;
        size_ = count_ = 0;
        if (room.empty())
            return;
        tls.setBare();
        tls.handOverOwn(tls::protocol, static_cast<std::size_t>(room.data() - tls.tree().ownBytes().data()),
                        room.size());
    }

private:
    std::array<Bytes, 64> pieces_;
    std::size_t count_ = 0, size_ = 0, needed_ = 0;
};

bool isPlainHandshake(Layer& tls, std::uint64_t kind, bool encrypted, const HandshakePieces& pieces)
{
    return kind == 22 && !encrypted && (pieces.isOpen() || tlsHandshake::looksPlain(tls.rest()));
}

void readContent(Layer& tls, std::uint64_t kind)
{
    switch (kind) {
    case 20: tls.readRest(cipherChange); break;
    case 21: readAlert(tls); break;
    case 22: tls.readRest(encryptedHandshake); break;
    case 24: tls.readRest(heartbeat); break;
    default: tls.readRest(applicationData); break;
    }
}

bool isRecord(Bytes bytes)
{
    return bytes.size() >= 3 && bytes[0] >= 20 && bytes[0] <= 24 && bytes[1] == 3 && bytes[2] <= 4
        && (bytes.size() < 5 || load::be16(&bytes[3]) <= 0x4800);
}

constexpr std::size_t recordHeader = 13; // of DTLS

bool isDatagramRecord(Bytes bytes)
{
    return bytes.size() >= recordHeader && bytes[0] >= 20 && bytes[0] <= 25 && bytes[1] == 0xfe
        && (bytes[2] == 0xff || bytes[2] == 0xfd) && load::be16(&bytes[11]) <= 0x4800;
}

void decodeTls(Layer& tls)
{
    if (tls.isBare()) // QUIC carries the messages without records (RFC 9001, 4.1)
        return tlsHandshake::readMessages(tls, tlsHandshake::Framing::stream);
    bool encrypted = false;
    HandshakePieces pieces;
    while (tls.more()) {
        if (sslHello::begins(tls.rest())) {
            tls.beginMessage();
            const Layer::Group group(tls, record, 22);
            sslHello::read(tls);
            continue;
        }
        if (!isRecord(tls.rest())) { // the middle of a record whose start came in an earlier segment
            tls.readRest(continuation);
            return;
        }
        if (!pieces.isOpen())
            tls.beginMessage();
        const Layer::Group group(tls, record, tls.peek8());
        const auto kind = tls.read(contentType);
        tls.read(tlsHandshake::version);
        const auto size = tls.read(length);
        if (tls.stopped())
            return;
        const bool isPlain = isPlainHandshake(tls, kind, encrypted, pieces);
        // What is encrypted needs no putting together.
        if (size > tls.leftOnWire() && (kind >= 23 || (kind == 22 && !isPlain && tls.left() >= 4)))
            tls.goesOn(size - tls.leftOnWire());
        const bool isWhole = size <= tls.left();
        const Layer::Window window(tls, size);
        if (isPlain)
            pieces.read(tls, isWhole);
        else
            readContent(tls, kind);
        pieces.handOver(tls);
        encrypted = encrypted || kind == 20;
    }
    if (pieces.isOpen())
        tls.await(tlsHandshake::message, pieces.missing());
}

/// The message of a way whose pieces are coming.
struct DatagramPieces : ProtocolMemory {
    std::uint8_t kind = 0;
    std::uint16_t sequence = 0;
    std::uint32_t size = 0; ///< 0: none is open
    PieceBuffer pieces;
};

constexpr std::uint32_t longestMessage = 64 * 1024;

/// Takes a piece; the whole message behind the header of one that came in a single piece, or nothing yet.
std::vector<std::uint8_t> put(DatagramPieces& open, const tlsHandshake::Fragment& part)
{
    if (part.size > longestMessage || part.start > part.size || part.bytes.size() > part.size - part.start)
        return {};
    if (open.size != part.size || open.sequence != part.sequence || open.kind != part.kind) {
        open.kind = part.kind;
        open.sequence = part.sequence;
        open.size = part.size;
        open.pieces = {};
    }
    open.pieces.add(part.start, part.bytes);
    const auto body = open.pieces.beginning();
    if (body.size() < open.size)
        return {};
    const auto high = static_cast<std::uint8_t>(open.size >> 16), middle = static_cast<std::uint8_t>(open.size >> 8),
               low = static_cast<std::uint8_t>(open.size);
    std::vector<std::uint8_t> whole = {open.kind,
                                       high,
                                       middle,
                                       low,
                                       static_cast<std::uint8_t>(open.sequence >> 8),
                                       static_cast<std::uint8_t>(open.sequence),
                                       0,
                                       0,
                                       0,
                                       high,
                                       middle,
                                       low};
    whole.insert(whole.end(), body.begin(), body.end());
    open.size = 0;
    return whole;
}

/// Gives the messages that end with pieces of this datagram to layers of their own.
void handOverWhole(Layer& tls, const tlsHandshake::Fragments& fragments)
{
    if (!fragments.count)
        return;
    tls.setBare();
    while (const auto kept = tls.kept())
        tls.handOverCopy(dtls::protocol, *kept);
    auto* open = tls.memory<DatagramPieces>(Transport::udp, Layer::Ways::one);
    for (std::size_t i = 0; open && i < fragments.count; ++i) {
        const auto whole = put(*open, fragments.all[i]);
        if (whole.empty())
            continue;
        tls.keep(whole);
        tls.handOverCopy(dtls::protocol, whole);
    }
}

void decodeDtls(Layer& tls)
{
    if (tls.isBare())
        return tlsHandshake::readMessages(tls, tlsHandshake::Framing::datagram);
    tlsHandshake::Fragments fragments;
    while (tls.more()) {
        if (!isDatagramRecord(tls.rest()))
            return tls.isCut() && tls.left() < recordHeader ? tls.skip(recordHeader) : tls.reject(contentType);
        const Layer::Group group(tls, record, tls.peek8());
        const auto kind = tls.read(contentType);
        tls.read(tlsHandshake::version);
        const auto era = tls.read(epoch);
        tls.read(sequence);
        const auto size = tls.read(length);
        const Layer::Window window(tls, size);
        if (kind == 22 && era == 0 && tlsHandshake::looksPlain(tls.rest()))
            tlsHandshake::readMessages(tls, tlsHandshake::Framing::datagram, &fragments);
        else
            readContent(tls, kind);
    }
    handOverWhole(tls, fragments);
}

void describeRecord(const LayerView& tls, std::uint64_t kind, std::uint32_t from, std::uint32_t to, TextSink& out)
{
    for (auto i = from; i < to; ++i) {
        const auto& node = tls.tree()[i];
        if (node.field == &encryptedHandshake)
            return out("Encrypted Handshake Message");
        if (node.field == &encryptedAlert)
            return out("Encrypted Alert");
        if (node.field == &alertLevel) {
            const Value level(tls.tree(), &node);
            const auto description = LayerView(tls.tree(), from - 1)[alertDescription]; // of this record
            return out("Alert ({}{}{})", level, description ? ", " : "", description);
        }
        if (node.field == &tlsHandshake::message)
            return tlsHandshake::describe(LayerView(tls.tree(), from - 1), out);
    }
    out("{}", nameIn(tlsNames::contentTypes, kind));
}

void describe(const LayerView& tls, TextSink& out)
{
    const auto nodes = tls.nodes();
    const auto before = out.size();
    std::size_t lastAt = before, lastEnd = before; // equal records are said once
    for (const auto& node : nodes) {
        if (node.field != &record)
            continue;
        const auto index = static_cast<std::uint32_t>(&node - tls.tree().nodes().data());
        const auto at = out.size();
        if (at > before)
            out(", ");
        const auto start = out.size();
        describeRecord(tls, node.number, index + 1, node.end, out);
        if (at > before && out.text().substr(start) == out.text().substr(lastAt, lastEnd - lastAt)) {
            out.truncate(at);
            continue;
        }
        lastAt = start;
        lastEnd = out.size();
    }
    if (out.size() == before)
        tlsHandshake::describe(tls, out);
    if (const auto rest = tls[continuation])
        out("{}Continuation, {} bytes", out.size() > before ? ", " : "", rest.node()->length);
}

Likeness guessTls(Bytes payload, Transport transport)
{
    const bool isKnown = (isRecord(payload) && payload.size() >= 6) || sslHello::begins(payload);
    return transport == Transport::tcp && isKnown ? Likeness::certain : Likeness::none;
}

Likeness guessDtls(Bytes payload, Transport transport)
{
    return transport == Transport::udp && isDatagramRecord(payload) ? Likeness::certain : Likeness::none;
}

} // namespace

namespace tls {
namespace {
constexpr const Field* catalogue[] = {&tlsHandshake::serverName, &tlsHandshake::version, &alertDescription,
                                      &tlsHandshake::message};
constexpr Claim claims[] = {tcpPort(443),  tcpPort(465),  tcpPort(563),  tcpPort(636),  tcpPort(853),  tcpPort(989),
                            tcpPort(990),  tcpPort(992),  tcpPort(993),  tcpPort(995),  tcpPort(3269), tcpPort(5061),
                            tcpPort(5223), tcpPort(6697), tcpPort(8443), tcpPort(8883), tcpPort(9443)};
} // namespace

constexpr Protocol protocol{{"tls", "TLS", Wire::layer},
                            catalogue,
                            claims,
                            decodeTls,
                            describe,
                            guessTls,
                            opensWith({Transport::tcp}, 20, 24).orByte(0x80)};
static_assert(wellFormed(protocol));
} // namespace tls

namespace dtls {
constexpr Protocol protocol{{"dtls", "DTLS", Wire::layer},      {}, {}, decodeDtls, describe, guessDtls,
                            opensWith({Transport::udp}, 20, 25)};
static_assert(wellFormed(protocol));
} // namespace dtls

} // namespace netrondo
