// Internet Protocol version 4 (RFC 791).
#include "Dissection/Protocols/Checksums.h"
#include "Dissection/Protocols/IpProtocolNames.h"
#include "Dissection/Protocols/Protocols.h"

namespace netrondo::ip {
namespace {
constexpr NamedValue optionTypes[] = {
    {0, "end of options"}, {1, "no operation"},         {7, "record route"}, {68, "timestamp"},
    {130, "security"},     {131, "loose source route"}, {136, "stream id"},  {137, "strict source route"},
    {148, "router alert"}};
constexpr NamedValue ecnNames[] = {{0, "not ECN-capable"}, {1, "ECT(1)"}, {2, "ECT(0)"}, {3, "congestion experienced"}};
constexpr NamedValue dscpNames[] = {{0, "default"}, {8, "CS1"},   {10, "AF11"}, {12, "AF12"},        {14, "AF13"},
                                    {16, "CS2"},    {18, "AF21"}, {20, "AF22"}, {22, "AF23"},        {24, "CS3"},
                                    {26, "AF31"},   {28, "AF32"}, {30, "AF33"}, {32, "CS4"},         {34, "AF41"},
                                    {36, "AF42"},   {38, "AF43"}, {40, "CS5"},  {44, "voice admit"}, {46, "EF"},
                                    {48, "CS6"},    {56, "CS7"}};

constexpr Field version{"ip.ver", "IP version", Wire::number};
constexpr Field headerLength{"ip.hdrlen", "IPv4 header length", Wire::number};
constexpr Field service{"ip.dsfield", "IPv4 type of service", Wire::hex8};
constexpr Field dscp{"ip.dscp", "DSCP", Wire::bits, dscpNames, 0xfc};
constexpr Field ecn{"ip.ecn", "ECN", Wire::bits, ecnNames, 0x03};
constexpr Field length{"ip.len", "IPv4 total length", Wire::u16};
constexpr Field identification{"ip.id", "IPv4 identification", Wire::hex16};
constexpr Field fragment{"ip.frag", "IPv4 fragmentation", Wire::hex16};
constexpr Field reservedBit{"ip.rb", "Reserved bit", Wire::bit, {}, 0x8000};
constexpr Field dontFragment{"ip.df", "Don’t fragment", Wire::bit, {}, 0x4000};
constexpr Field moreFragments{"ip.mf", "More fragments", Wire::bit, {}, 0x2000};
constexpr Field fragmentOffset{"ip.frag_offset", "Fragment offset", Wire::number};
constexpr Field together{"ip.together", "Datagram put together from its pieces", Wire::number};
constexpr Field ttl{"ip.ttl", "IPv4 TTL", Wire::u8};
constexpr Field next{"ip.proto", "IPv4 protocol", Wire::u8, ipProtocolNames};
constexpr Field checksum{"ip.checksum", "IPv4 header checksum", Wire::checksum16};
constexpr Field source{"ip.src", "IPv4 source", Wire::ipv4};
constexpr Field destination{"ip.dst", "IPv4 destination", Wire::ipv4};
constexpr Field address{"ip.addr", "IPv4 source or destination", Wire::none, {}, 0, From::either};
constexpr Field sourceHost{"ip.src_host", "List source address", Wire::none, {}, 0, From::source};
constexpr Field destinationHost{"ip.dst_host", "List destination address", Wire::none, {}, 0, From::destination};
constexpr Field option{"ip.option", "IPv4 option", Wire::group, optionTypes};
constexpr Field optionType{"ip.opt_type", "Type", Wire::u8, optionTypes};
constexpr Field optionLength{"ip.opt_len", "Length", Wire::u8};
constexpr Field optionPointer{"ip.opt_ptr", "Pointer", Wire::u8};
constexpr Field optionAddress{"ip.opt_addr", "Hop", Wire::ipv4};
constexpr Field optionData{"ip.opt_data", "Data", Wire::bytes};

bool isRoute(std::uint64_t type)
{
    return type == 7 || type == 131 || type == 137;
}

void readOptions(Layer& ip, std::size_t count)
{
    const Layer::Window window(ip, count);
    while (ip.more()) {
        const Layer::Group group(ip, option, ip.peek8());
        const auto type = ip.read(optionType);
        if (type <= 1)
            continue;
        const auto size = ip.read(optionLength);
        if (size < 2)
            return ip.reject(optionLength);
        const Layer::Window body(ip, size - 2);
        if (isRoute(type) && size >= 3) {
            ip.read(optionPointer);
            while (ip.more(4))
                ip.read(optionAddress);
        } else if (ip.left()) {
            ip.readRest(optionData);
        }
    }
}

/// Where a packet stands in its datagram.
struct Piece {
    std::uint32_t source, destination, identification;
    std::uint16_t bits;

    bool isPiece() const { return bits & 0x3fff; }
    std::uint32_t offset() const { return (bits & 0x1fffu) * 8; }
};

bool isPutTogether(Layer& ip, const Piece& piece, std::uint8_t protocol, std::size_t payload)
{
    if (!piece.isPiece() || payload > ip.left())
        return false;
    return ip.handOverDatagram({Address::ipv4(piece.source), Address::ipv4(piece.destination), piece.identification,
                                protocol, !(piece.bits & 0x2000), piece.offset(), ip.rest().first(payload)},
                               ipProtocol(protocol), together);
}

void handOver(Layer& ip, std::uint64_t protocol, const Piece& piece, std::size_t payload)
{
    if (isPutTogether(ip, piece, static_cast<std::uint8_t>(protocol), payload))
        return ip.endHere();
    if (piece.offset())
        ip.handOverData(payload);
    else
        ip.handOver(ipProtocol(static_cast<std::uint8_t>(protocol)), payload);
    ip.endHere();
}

void decode(Layer& ip)
{
    const auto first = ip.peek8();
    if (first >> 4 != 4)
        return ip.reject(version);
    const auto header = static_cast<std::size_t>(first & 0x0f) * 4;
    ip.add(version, 4, ip.offset(), 1);
    ip.add(headerLength, header, ip.offset(), 1);
    ip.skip(1);
    if (header < 20)
        return ip.reject(headerLength);
    ip.readParts(service, dscp, ecn);
    const auto total = ip.read(length);
    const auto id = ip.read(identification);
    const auto pieces = ip.peek16();
    const auto pieceOffset = static_cast<std::uint64_t>(pieces & 0x1fff) * 8;
    const auto piecesAt = ip.tree().size();
    ip.readParts(fragment, reservedBit, dontFragment, moreFragments);
    if (!ip.stopped()) {
        ip.add(fragmentOffset, pieceOffset, ip.offset() - 2, 2);
        ip.tree().close(piecesAt);
    }
    ip.read(ttl);
    const auto protocol = ip.read(next);
    if (ip.whole().size() >= header && !ip.isQuoted())
        checksums::read(ip, checksum, ip.whole().first(header), 0, Expert::ipChecksum);
    else
        ip.read(checksum);
    const auto from = ip.read(source), to = ip.read(destination);
    if (ip.stopped())
        return;
    ip.setEndpoints(Address::ipv4(static_cast<std::uint32_t>(from)), Address::ipv4(static_cast<std::uint32_t>(to)));
    const Piece piece{static_cast<std::uint32_t>(from), static_cast<std::uint32_t>(to), static_cast<std::uint32_t>(id),
                      pieces};
    ip.frame().isFragment = piece.isPiece();
    if (header > 20)
        readOptions(ip, header - 20);
    if (ip.stopped())
        return;
    // A total length of 0 is what a sender that leaves segmentation to its network card shows to a local capture.
    if (total == 0)
        return handOver(ip, protocol, piece, ip.left());
    if (total < header)
        return ip.reject(length);
    handOver(ip, protocol, piece, total - header);
}

void describe(const LayerView& ip, TextSink& out)
{
    if (ip[fragment].number() & 0x3fff)
        return out("Fragment of {} id {}, offset {}{}", ip[next], ip[identification], ip[fragmentOffset],
                   ip[moreFragments] == 1 ? "" : ", last");
    out("{}", ip[next]);
}

constexpr const Field* catalogue[] = {&source,  &destination, &address,        &ttl, &next, &length,
                                      &version, &sourceHost,  &destinationHost};
constexpr Claim claims[] = {etherType(0x0800),   ipProtocol(4),       ipProtocol(94),
                            pppProtocol(0x0021), greProtocol(0x0800), llcSap(0x06)};
} // namespace

constexpr Protocol protocol{{"ip", "IPv4", Wire::layer}, catalogue, claims, decode, describe};
static_assert(wellFormed(protocol));
} // namespace netrondo::ip
