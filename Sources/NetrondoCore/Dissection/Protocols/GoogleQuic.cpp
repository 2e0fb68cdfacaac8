// QUIC as Google had it before the standard (versions Q010 to Q043): public headers, and the handshake's tagged
// messages, which the client and a refusing server send in the clear.
#include "Dissection/Protocols/Protocols.h"

#include <algorithm>
#include <array>

namespace netrondo::gquic {
namespace {
constexpr unsigned hasVersion = 0x01, isReset = 0x02, hasId = 0x08, hasNonce = 0x04, numberBits = 0x30;
constexpr NamedValue numberSizes[] = {{0, "1 byte"}, {1, "2 bytes"}, {2, "4 bytes"}, {3, "6 bytes"}};
constexpr NamedValue streamLengths[] = {{0, "to the end"}, {1, "2 bytes"}};

constexpr Field flags{"gquic.flags", "Flags", Wire::hex8};
constexpr Field versionBit{"gquic.has_version", "Version", Wire::bit, {}, hasVersion};
constexpr Field resetBit{"gquic.reset", "Reset", Wire::bit, {}, isReset};
constexpr Field nonceBit{
    "gquic.has_nonce", "Nonce of the server, or an old client's connection ID", Wire::bit, {}, hasNonce};
constexpr Field idBit{"gquic.has_cid", "Connection ID", Wire::bit, {}, hasId};
constexpr Field numberSize{"gquic.number_size", "Packet number", Wire::bits, numberSizes, numberBits};
constexpr Field connectionId{"gquic.cid", "Connection ID", Wire::bytes};
constexpr Field nonce{"gquic.nonce", "Diversification nonce", Wire::bytes};
constexpr Field version{"gquic.version", "Version", Wire::text};
constexpr Field supported{"gquic.supported_version", "Supported version", Wire::text};
constexpr Field packetNumber{"gquic.packet_number", "Packet number", Wire::number};
constexpr Field hash{"gquic.hash", "Message authentication hash", Wire::bytes};
constexpr Field privateFlags{"gquic.private_flags", "Private flags", Wire::hex8};
constexpr Field payload{"gquic.payload", "Protected payload", Wire::bytes};
constexpr Field frame{"gquic.frame", "Stream frame", Wire::group};
constexpr Field frameType{"gquic.frame_type", "Frame type", Wire::hex8};
constexpr Field fin{"gquic.fin", "Last of the stream", Wire::bit, {}, 0x40};
constexpr Field lengthBit{"gquic.has_length", "Data length", Wire::bits, streamLengths, 0x20};
constexpr Field offsetSize{"gquic.offset_size", "Size of the offset", Wire::bits, {}, 0x1c};
constexpr Field stream{"gquic.stream", "Stream", Wire::number};
constexpr Field offset{"gquic.offset", "Offset", Wire::number};
constexpr Field dataLength{"gquic.data_len", "Data length", Wire::number};
constexpr Field message{"gquic.message", "Handshake message", Wire::text};
constexpr Field entryCount{"gquic.entries", "Entries", Wire::le16};
constexpr Field reserved{"gquic.reserved", "Reserved", Wire::leHex16};
constexpr Field entry{"gquic.entry", "Entry", Wire::group};
constexpr Field tag{"gquic.tag", "Tag", Wire::text};
constexpr Field valueOf{"gquic.value_of", "Value of", Wire::madeText};
constexpr Field end{"gquic.end", "End of its value", Wire::le32};
constexpr Field serverName{"gquic.sni", "Server name", Wire::text};
constexpr Field userAgent{"gquic.user_agent", "User agent", Wire::text};
constexpr Field asked{"gquic.asked_version", "Version", Wire::text};
constexpr Field error{"gquic.error", "Error", Wire::le64};
constexpr Field rejected{"gquic.rejected", "Rejected packet number", Wire::le64};
constexpr Field value{"gquic.value", "Value", Wire::bytes};
constexpr Field rest{"gquic.rest", "Further frames", Wire::bytes};

constexpr std::size_t idLength = 8, nonceSize = 32, hashSize = 12, tagSize = 4;

bool isVersion(Bytes bytes)
{
    const auto isDigit = [](std::uint8_t byte) { return byte >= '0' && byte <= '9'; };
    return bytes.size() >= tagSize && bytes[0] == 'Q' && bytes[1] == '0' && isDigit(bytes[2]) && isDigit(bytes[3]);
}

/// A tag's letters, without the zeros that fill it up.
std::string_view lettersOf(Bytes bytes)
{
    const auto letters = asText(bytes);
    return letters.substr(0, letters.find('\0'));
}

bool isMessageTag(Bytes bytes)
{
    const auto letters = lettersOf(slice(bytes, 0, tagSize));
    return bytes.size() >= tagSize && (letters == "CHLO" || letters == "SHLO" || letters == "REJ" || letters == "SREJ");
}

std::size_t idSizeOf(unsigned bits)
{
    return bits & hasId ? idLength : 0;
}

std::size_t numberSizeOf(unsigned bits)
{
    constexpr std::array<std::uint8_t, 4> sizes{1, 2, 4, 6};
    return sizes[(bits & numberBits) >> 4];
}

/// How numbers are written; what a connection's version says.
struct Numbers {
    unsigned version = 0;  ///< 0 where it is not known
    bool isServer = false; ///< known to be the server's

    /// Before version 33 the bit was a part of the connection ID's size.
    bool hasNonce(unsigned bits) const
    {
        return (bits & gquic::hasNonce) && (bits & hasId ? isServer && version >= 33 : true);
    }
    bool isBig() const { return version >= 39; }

    std::uint64_t load(Bytes bytes, std::size_t size) const
    {
        std::uint64_t number = 0;
        for (std::size_t i = 0; i < size && i < bytes.size(); ++i)
            number = number << 8 | bytes[isBig() ? i : size - 1 - i];
        return number;
    }
    std::uint64_t read(Layer& quic, const Field& field, std::size_t size) const
    {
        if (!quic.more(size)) {
            quic.skip(size);
            return 0;
        }
        const auto number = load(quic.rest(), size);
        quic.add(field, number, quic.offset(), size);
        quic.skip(size);
        return number;
    }
};

/// What a connection's packets with a version told.
struct Connection : ProtocolMemory {
    std::uint8_t version = 0, clientWay = 0;
};

/// The version that a connection's packets are written in, which only the client's first ones carry.
Numbers numbersOf(Layer& quic, unsigned told)
{
    std::uint8_t known[2] = {static_cast<std::uint8_t>(told), 0};
    if (const auto kept = quic.kept(); kept && kept->size() == sizeof known) {
        std::ranges::copy(*kept, known);
    } else if (auto* const connection = quic.memory<Connection>(Transport::udp, Layer::Ways::both)) {
        const auto way = quic.way(Transport::udp);
        if (told) {
            connection->version = known[0];
            connection->clientWay = way;
        }
        known[0] = connection->version;
        known[1] = connection->version && way != connection->clientWay;
    }
    quic.keep(known);
    return {known[0], known[1] != 0};
}

/// Where the first stream frame's data would begin, from its type on; 0 for another frame.
std::size_t streamHead(Bytes bytes)
{
    if (bytes.empty() || !(bytes[0] & 0x80))
        return 0;
    const unsigned bits = bytes[0];
    const unsigned offsetBits = bits >> 2 & 7;
    return 1u + (bits & 3) + 1u + (offsetBits ? offsetBits + 1u : 0u) + (bits & 0x20 ? 2u : 0u);
}

/// Where the first frame stands behind the packet number, if it holds a handshake message in the clear: the hash in
/// front covers it, but does not hide it. 0 for what is encrypted.
std::size_t clearFrames(Bytes bytes)
{
    for (const auto at : {hashSize, hashSize + 1}) { // with private flags until version 34
        const auto head = streamHead(slice(bytes, at));
        if (head && isMessageTag(slice(bytes, at + head)))
            return at;
    }
    return 0;
}

const Field& fieldOf(std::string_view name, std::size_t size)
{
    if (name == "SNI")
        return serverName;
    if (name == "UAID")
        return userAgent;
    if (name == "RNON" && size == 8)
        return error;
    if (name == "RSEQ" && size == 8)
        return rejected;
    return name == "VER" && size == tagSize ? asked : value;
}

/// An index of tags with where their values end, then the values one behind the other.
void readMessage(Layer& quic)
{
    quic.readText(message, tagSize);
    const auto count = quic.read(entryCount);
    quic.read(reserved);
    const auto index = quic.rest();
    std::size_t entries = 0;
    for (; entries < count && quic.more(8); ++entries) {
        const Layer::Group group(quic, entry);
        quic.readText(tag, tagSize);
        quic.read(end);
    }
    std::uint32_t before = 0;
    for (std::size_t i = 0; i < entries && entries == count && quic.more(); ++i) {
        const auto until = load::le32(index.data() + i * 8 + tagSize);
        if (until < before)
            return quic.reject(end);
        const std::size_t size = until - before;
        before = until;
        if (!size)
            continue;
        const auto name = lettersOf(index.subspan(i * 8, tagSize));
        Layer::Group group(quic, valueOf);
        group.setText(name);
        const auto& field = fieldOf(name, size);
        if (field.wire == Wire::le64)
            quic.read(field);
        else
            quic.readBytes(field, size);
    }
    if (quic.more())
        quic.readRest(rest);
}

void readStream(Layer& quic, const Numbers& numbers)
{
    const Layer::Group group(quic, frame);
    const auto bits = quic.readParts(frameType, fin, lengthBit, offsetSize);
    numbers.read(quic, stream, (bits & 3) + 1);
    if (const auto size = bits >> 2 & 7)
        numbers.read(quic, offset, size + 1);
    const auto size = bits & 0x20 ? numbers.read(quic, dataLength, 2) : quic.leftOnWire();
    const Layer::Window content(quic, size);
    if (quic.more())
        readMessage(quic);
}

bool isNegotiation(Bytes bytes)
{
    std::size_t at = 0;
    while (isVersion(slice(bytes, at)))
        at += tagSize;
    return at == bytes.size() && at > tagSize;
}

void decode(Layer& quic)
{
    const auto bits = static_cast<unsigned>(quic.readParts(flags, versionBit, resetBit, nonceBit, idBit, numberSize));
    if (const auto size = idSizeOf(bits))
        quic.readBytes(connectionId, size);
    if (bits & isReset)
        return readMessage(quic);
    unsigned told = 0;
    if (bits & hasVersion) {
        if (isNegotiation(quic.rest())) {
            while (quic.more(tagSize))
                quic.readText(supported, tagSize);
            return;
        }
        if (isVersion(quic.rest())) {
            told = (quic.peek8(2) - unsigned{'0'}) * 10 + quic.peek8(3) - unsigned{'0'};
            quic.learn(Transport::udp, protocol); // a server's packets have little that could be known again
        }
        quic.readText(version, tagSize);
    }
    const auto numbers = numbersOf(quic, told);
    if (numbers.hasNonce(bits))
        quic.readBytes(nonce, nonceSize);
    numbers.read(quic, packetNumber, numberSizeOf(bits));
    const auto frames = clearFrames(quic.rest());
    if (!frames) {
        if (quic.more())
            quic.readRest(payload);
        return;
    }
    quic.readBytes(hash, hashSize);
    if (frames > hashSize)
        quic.read(privateFlags);
    readStream(quic, numbers);
    if (quic.more())
        quic.readRest(rest);
}

void describe(const LayerView& quic, TextSink& out)
{
    if (quic.has(supported)) {
        out("Version negotiation");
        quic.each(supported, [&](const Value& one) { out(" {}", one); });
        return;
    }
    if (const auto bits = quic[flags]; bits.number() & isReset) {
        out("Public reset");
        if (const auto number = quic[rejected])
            out(", packet {}", number);
    } else if (const auto what = quic[message]) {
        out("{}", lettersOf(asBytes(what.text())));
        if (const auto name = quic[serverName])
            out(", SNI={}", name);
    } else {
        out("Protected payload");
    }
    if (const auto number = quic[packetNumber])
        out(", packet {}", number);
    if (const auto name = quic[version])
        out(", {}", name);
    if (const auto id = quic[connectionId])
        out(", CID={}", id);
}

/// A version in its place, a reset by its tag, or a handshake message; other packets are known by the connection.
Likeness guess(Bytes datagram, Transport transport)
{
    if (transport != Transport::udp || datagram.empty() || datagram[0] & 0x80)
        return Likeness::none;
    const unsigned bits = datagram[0];
    const auto behind = slice(datagram, 1 + idSizeOf(bits));
    if (bits & isReset)
        return lettersOf(slice(behind, 0, tagSize)) == "PRST" ? Likeness::certain : Likeness::none;
    const bool isOpen =
        bits & hasVersion ? (bits & hasId) && isVersion(behind) : clearFrames(slice(behind, numberSizeOf(bits))) > 0;
    return isOpen ? Likeness::certain : Likeness::none;
}
} // namespace

constexpr Protocol protocol{{"gquic", "QUIC (Google)", Wire::layer}, {}, {}, decode, describe, guess,
                            opensWith({Transport::udp}, 0, 0x7f)};
static_assert(wellFormed(protocol));
} // namespace netrondo::gquic
