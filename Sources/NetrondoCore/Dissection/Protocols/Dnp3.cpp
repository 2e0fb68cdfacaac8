// DNP3 (IEEE 1815) over TCP and UDP: the link's frames and the transport's byte.
#include "Dissection/Protocols/Checksums.h"
#include "Dissection/Protocols/Protocols.h"

#include <algorithm>
#include <array>
#include <vector>

namespace netrondo::dnp3 {
namespace {
constexpr NamedValue primaries[] = {
    {0, "Reset Link"},          {1, "Reset User Process"},    {2, "Test Link"},
    {3, "Confirmed User Data"}, {4, "Unconfirmed User Data"}, {9, "Request Link Status"}};
constexpr NamedValue secondaries[] = {
    {0, "Ack"}, {1, "Nack"}, {11, "Link Status"}, {14, "Not Functioning"}, {15, "Not Used"}};
constexpr Field message{"dnp3.frame", "Frame", Wire::group};
constexpr Field start{"dnp3.start", "Start", Wire::hex16};
constexpr Field length{"dnp3.length", "Length", Wire::u8};
constexpr Field control{"dnp3.control", "Control", Wire::hex8};
constexpr Field fromMaster{"dnp3.from_master", "From the master", Wire::bit, {}, 0x80};
constexpr Field isPrimary{"dnp3.primary", "Primary", Wire::bit, {}, 0x40};
constexpr Field primary{"dnp3.link_function", "Link function", Wire::bits, primaries, 0x0f};
constexpr Field secondary{"dnp3.link_answer", "Link function", Wire::bits, secondaries, 0x0f};
constexpr Field destination{"dnp3.dst", "Destination", Wire::le16};
constexpr Field source{"dnp3.src", "Source", Wire::le16};
constexpr Field check{"dnp3.crc", "CRC", Wire::checksum16};
constexpr Field transport{"dnp3.transport", "Transport", Wire::hex8};
constexpr Field isLast{"dnp3.final", "Last", Wire::bit, {}, 0x80};
constexpr Field isFirst{"dnp3.first", "First", Wire::bit, {}, 0x40};
constexpr Field segment{"dnp3.segment", "Sequence number", Wire::bits, {}, 0x3f};
constexpr Field block{"dnp3.block", "Block", Wire::bytes};
constexpr Field data{"dnp3.data", "Data", Wire::bytes};

constexpr std::uint64_t blockSize = 16;
constexpr std::uint16_t startWord = 0x0564;
/// The control byte and the two addresses, which the length counts.
constexpr std::uint64_t headerRest = 5;

std::uint16_t crc(Bytes bytes)
{
    std::uint16_t sum = 0;
    for (const auto byte : bytes) {
        sum = static_cast<std::uint16_t>(sum ^ byte);
        for (int i = 0; i < 8; ++i)
            sum = static_cast<std::uint16_t>(sum & 1 ? sum >> 1 ^ 0xa6bc : sum >> 1);
    }
    return static_cast<std::uint16_t>(~sum);
}

/// Reads the checksum of the bytes that stand before it.
void readCrc(Layer& dnp3, Bytes covered)
{
    if (dnp3.left() < 2)
        return dnp3.await(check, 2 - dnp3.left());
    const auto sent = load::le16(dnp3.rest().data());
    const bool isJudged = dnp3.frame().depth != DecodeDepth::row;
    const auto expected = isJudged ? crc(covered) : sent;
    const auto outcome = !isJudged ? ChecksumOutcome::unchecked
        : sent == expected         ? ChecksumOutcome::correct
                                   : ChecksumOutcome::wrong;
    dnp3.add(check, checksums::verdict(sent, expected, outcome), dnp3.offset(), 2);
    if (outcome == ChecksumOutcome::wrong)
        dnp3.mark(Expert::dnp3Checksum);
    dnp3.skip(2);
}

/// What the blocks carry, without the checksums between them.
struct UserData {
    std::array<std::uint8_t, 256> bytes;
    std::size_t size = 0;

    void append(Bytes more)
    {
        const auto count = std::min(more.size(), bytes.size() - size);
        std::copy_n(more.begin(), count, bytes.data() + size);
        size += count;
    }
    Bytes all() const { return Bytes(bytes).first(size); }
};

/// The beginning of an application's message that comes in several frames.
struct Fragment : ProtocolMemory {
    static constexpr std::size_t most = 4096;
    std::uint32_t ends = 0; ///< the link's two addresses
    std::uint64_t next = 0; ///< the transport's number that is expected
    std::vector<std::uint8_t> bytes;
};

/// A piece of a message: what came before it is kept, and the last one completes it.
void readPiece(Layer& dnp3, std::uint64_t how, std::uint32_t ends, Bytes piece)
{
    const auto carrier = dnp3.summary().transport;
    auto* const open = carrier == Transport::tcp || carrier == Transport::udp
        ? dnp3.memory<Fragment>(carrier, Layer::Ways::one)
        : nullptr;
    const auto number = how & segment.mask;
    Bytes before;
    if (!(how & isFirst.mask)) {
        if (const auto kept = dnp3.kept())
            before = *kept;
        else if (open && open->ends == ends && open->next == number)
            before = open->bytes;
        dnp3.keep(before);
    }
    const bool goesOn = how & isFirst.mask || !before.empty();
    if (goesOn && how & isLast.mask) {
        std::array<std::uint8_t, Fragment::most + 256> whole;
        const auto used = std::min(before.size(), Fragment::most);
        std::copy_n(before.begin(), used, whole.begin());
        std::copy_n(piece.begin(), piece.size(), whole.data() + used);
        dnp3.embedCopy(dnp3app::protocol, Bytes(whole).first(used + piece.size()));
    }
    if (!open)
        return;
    if (how & isFirst.mask)
        open->bytes.clear();
    if (!goesOn || how & isLast.mask || open->bytes.size() + piece.size() > Fragment::most)
        return open->bytes.clear();
    open->bytes.insert(open->bytes.end(), piece.begin(), piece.end());
    open->ends = ends;
    open->next = (number + 1) & segment.mask;
}

/// Blocks of up to 16 bytes, each with its checksum; the first one begins with the transport's byte. A message in one
/// block is read where it stands.
void readUserData(Layer& dnp3, std::uint64_t size, std::uint32_t ends)
{
    UserData collected;
    std::uint64_t how = 0;
    bool isRead = false;
    for (auto rest = size; rest != 0 && dnp3.more();) {
        const auto here = std::min<std::uint64_t>(rest, blockSize);
        const auto covered = slice(dnp3.rest(), 0, here);
        {
            const Layer::Window content(dnp3, here);
            if (rest == size)
                how = dnp3.readParts(transport, isLast, isFirst, segment);
            collected.append(dnp3.rest());
            isRead = size <= blockSize && how & isFirst.mask && how & isLast.mask;
            if (dnp3.more() && isRead)
                dnp3.embed(dnp3app::protocol);
            else if (dnp3.more())
                dnp3.readRest(block);
        }
        if (!dnp3.isCut() || dnp3.left())
            readCrc(dnp3, covered);
        rest -= here;
    }
    if (!isRead && !dnp3.stopped() && collected.size + 1 == size)
        readPiece(dnp3, how, ends, collected.all());
}

void decode(Layer& dnp3)
{
    while (dnp3.more()) {
        if ((dnp3.left() > 1 ? dnp3.peek16() != startWord : dnp3.peek8() != startWord >> 8)
            || (dnp3.left() > 2 && dnp3.peek8(2) < headerRest)) {
            dnp3.readRest(data);
            return;
        }
        dnp3.beginMessage();
        const std::size_t begin = dnp3.offset() - dnp3.begin();
        const Layer::Group group(dnp3, message);
        dnp3.read(start);
        const auto size = dnp3.read(length);
        if (dnp3.peek8() & isPrimary.mask)
            dnp3.readParts(control, fromMaster, isPrimary, primary);
        else
            dnp3.readParts(control, fromMaster, isPrimary, secondary);
        const auto head = slice(dnp3.whole(), begin, 8);
        const auto ends = dnp3.peek32();
        dnp3.read(destination, source);
        readCrc(dnp3, head);
        if (size > headerRest)
            readUserData(dnp3, size - headerRest, ends);
    }
}

void describe(const LayerView& dnp3, TextSink& out)
{
    const auto from = dnp3[source];
    if (!from)
        return out("Data, {} bytes", dnp3.bytes().size());
    if (!dnp3.has(transport)) {
        const auto link = dnp3[primary];
        out("{}, ", link ? link : dnp3[secondary]);
    }
    out("{} → {}", from, dnp3[destination]);
    if (const auto frames = dnp3.count(message); frames > 1)
        out(" and {} more", frames - 1);
}

/// A whole header whose checksum is right.
Likeness guess(Bytes payload, Transport carrier)
{
    if ((carrier != Transport::tcp && carrier != Transport::udp) || payload.size() < 10
        || load::be16(payload.data()) != startWord || payload[2] < headerRest)
        return Likeness::none;
    return crc(payload.first(8)) == load::le16(payload.data() + 8) ? Likeness::certain : Likeness::none;
}

// Over UDP its header tells: telephony uses ports from 20000 on.
constexpr Claim claims[] = {tcpPort(20000)};
} // namespace

constexpr Protocol protocol{{"dnp3", "DNP3", Wire::layer},
                            {},
                            claims,
                            decode,
                            describe,
                            guess,
                            opensWith({Transport::tcp, Transport::udp}, 0x05)};
static_assert(wellFormed(protocol));
} // namespace netrondo::dnp3
