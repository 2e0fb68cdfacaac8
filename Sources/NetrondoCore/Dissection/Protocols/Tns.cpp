// Transparent Network Substrate: how clients of an Oracle database reach it and talk to it.
#include "Dissection/Protocols/Protocols.h"

#include <algorithm>

namespace netrondo::tns {
namespace {
constexpr NamedValue types[] = {{1, "Connect"},  {2, "Accept"},  {3, "Acknowledge"}, {4, "Refuse"},
                                {5, "Redirect"}, {6, "Data"},    {7, "Null"},        {9, "Abort"},
                                {11, "Resend"},  {12, "Marker"}, {13, "Attention"},  {14, "Control"}};
constexpr NamedValue optionNames[] = {{0x2000, "broken connection told"},
                                      {0x1000, "packet checksum"},
                                      {0x0800, "header checksum"},
                                      {0x0400, "full duplex"},
                                      {0x0200, "half duplex"},
                                      {0x0010, "direct I/O"},
                                      {0x0004, "can receive attention"},
                                      {0x0002, "can send attention"}};
constexpr NamedValue dataFlagNames[] = {{0x0001, "send token"},   {0x0002, "request confirmation"},
                                        {0x0004, "confirmation"}, {0x0020, "more data"},
                                        {0x0040, "end of file"},  {0x0080, "do it now"}};
constexpr NamedValue functions[] = {
    {1, "protocol negotiation"}, {2, "data types"}, {3, "call"},           {4, "error"},
    {6, "row header"},           {7, "row"},        {8, "call's results"}, {9, "status"},
    {11, "bind variables"},      {12, "flush"},     {16, "description"},   {17, "call with another"},
    {0xde, "network services"}};
constexpr NamedValue markers[] = {{0, "data marker"}, {1, "attention marker"}};
constexpr NamedValue markerData[] = {{1, "break"}, {2, "reset"}, {3, "interrupt"}};

constexpr Field message{"tns.message", "Message", Wire::number, types};
constexpr Field length{"tns.length", "Length", Wire::u16};
constexpr Field longLength{"tns.length", "Length", Wire::u32};
constexpr Field checksum{"tns.checksum", "Packet checksum", Wire::hex16};
constexpr Field type{"tns.type", "Type", Wire::u8, types};
constexpr Field reserved{"tns.reserved", "Reserved", Wire::hex8};
constexpr Field headerChecksum{"tns.header_checksum", "Header checksum", Wire::hex16};
constexpr Field version{"tns.version", "Version", Wire::u16};
constexpr Field compatible{"tns.compatible", "Oldest version", Wire::u16};
constexpr Field options{"tns.options", "Service options", Wire::flags16, optionNames};
constexpr Field sessionUnit{"tns.sdu", "Session data unit", Wire::u16};
constexpr Field transportUnit{"tns.tdu", "Transport data unit", Wire::u16};
constexpr Field characteristics{"tns.characteristics", "Transport characteristics", Wire::hex16};
constexpr Field turnaround{"tns.turnaround", "Line turnaround", Wire::u16};
constexpr Field one{"tns.one", "Value of one", Wire::hex16};
constexpr Field dataLength{"tns.data_length", "Data length", Wire::u16};
constexpr Field dataOffset{"tns.data_offset", "Data offset", Wire::u16};
constexpr Field mostData{"tns.most_data", "Most data received", Wire::u32};
constexpr Field flags0{"tns.flags0", "Connect flags 0", Wire::hex8};
constexpr Field flags1{"tns.flags1", "Connect flags 1", Wire::hex8};
constexpr Field headerRest{"tns.header_rest", "Rest of the header", Wire::bytes};
constexpr Field text{"tns.text", "Text", Wire::text};
constexpr Field userReason{"tns.user_reason", "User's reason", Wire::u8};
constexpr Field systemReason{"tns.system_reason", "System's reason", Wire::u8};
constexpr Field dataFlags{"tns.data_flags", "Data flags", Wire::flags16, dataFlagNames};
constexpr Field function{"tns.function", "Function", Wire::u8, functions};
constexpr Field markerType{"tns.marker", "Marker", Wire::u8, markers};
constexpr Field markerByte{"tns.marker_data", "Marker data", Wire::u8, markerData};
constexpr Field control{"tns.control", "Control", Wire::u16};
constexpr Field data{"tns.data", "Data", Wire::bytes};

constexpr std::size_t headerSize = 8;

/// The text that stands at the announced place, which counts from the message's beginning.
void readTextAt(Layer& tns, std::uint32_t begin, std::uint64_t offset, std::uint64_t size)
{
    const std::size_t done = tns.offset() - begin;
    if (tns.stopped() || size == 0)
        return;
    if (offset > done)
        tns.readBytes(headerRest, offset - done);
    if (offset >= done && tns.more())
        tns.readText(text, size);
}

void readConnect(Layer& tns, std::uint32_t begin)
{
    tns.read(version, compatible, options, sessionUnit, transportUnit, characteristics, turnaround, one);
    const auto size = tns.read(dataLength), offset = tns.read(dataOffset);
    if (offset >= 34) // a short header goes without the rest
        tns.read(mostData, flags0, flags1);
    readTextAt(tns, begin, offset, size);
}

void readAccept(Layer& tns, std::uint32_t begin)
{
    tns.read(version, options, sessionUnit, transportUnit, one);
    const auto size = tns.read(dataLength), offset = tns.read(dataOffset);
    tns.read(flags0, flags1);
    readTextAt(tns, begin, offset, size);
}

void readText(Layer& tns)
{
    const auto size = tns.read(dataLength);
    if (size && tns.more())
        tns.readText(text, std::min<std::size_t>(size, tns.leftOnWire()));
}

void readBody(Layer& tns, std::uint64_t kind, std::uint32_t begin)
{
    switch (kind) {
    case 1: readConnect(tns, begin); break;
    case 2: readAccept(tns, begin); break;
    case 4: tns.read(userReason, systemReason), readText(tns); break;
    case 5: readText(tns); break;
    case 6:
        tns.read(dataFlags);
        if (tns.more())
            tns.read(function);
        break;
    case 9: tns.read(userReason, systemReason); break;
    case 12: tns.read(markerType, reserved, markerByte); break;
    case 14: tns.read(control); break;
    default: break;
    }
    if (tns.more())
        tns.readRest(data);
}

/// Whether a message may begin so. Since version 315 the length of what follows the accept takes four bytes.
bool isHead(Bytes bytes, std::uint64_t& size)
{
    if (bytes.size() < headerSize)
        return false;
    const std::uint64_t narrow = load::be16(bytes.data()), wide = load::be32(bytes.data());
    size = narrow ? narrow : wide;
    return size >= headerSize && size < 0x200000 && !nameIn(types, bytes[4]).empty();
}

void decode(Layer& tns)
{
    while (tns.more()) {
        std::uint64_t size = 0;
        if (tns.left() >= headerSize && !isHead(tns.rest(), size))
            return static_cast<void>(tns.readRest(data));
        tns.beginMessage();
        const auto begin = tns.offset();
        const auto kind = tns.peek8(4);
        const Layer::Group group(tns, message, kind);
        if (tns.left() >= 2 && tns.peek16() == 0)
            tns.read(longLength);
        else
            tns.read(length, checksum);
        tns.read(type, reserved, headerChecksum);
        if (tns.stopped())
            return;
        tns.expect(size - headerSize);
        const Layer::Window body(tns, size - headerSize);
        if (tns.more())
            readBody(tns, kind, begin);
    }
}

void describe(const LayerView& tns, TextSink& out)
{
    const auto kind = tns[message];
    if (!kind)
        return out("Data, {} bytes", tns.bytes().size());
    std::size_t told = 0;
    tns.each(message, [&](const Value& entry) {
        if (++told <= 4)
            out("{}{}", told > 1 ? ", " : "", entry);
    });
    if (told > 4)
        out(" and {} more", told - 4);
    if (const auto what = tns[version])
        out(", version {}", what);
    if (const auto what = tns[function])
        out(", {}", what);
    if (const auto what = tns[markerByte])
        out(", {}", what);
    if (const auto why = tns[userReason])
        out(", reasons {} and {}", why, tns[systemReason]);
    if (const auto words = tns[text])
        out(": {}", words);
}

/// A connect whose text begins with a bracket and ends with the segment.
Likeness guess(Bytes payload, Transport transport)
{
    if (transport != Transport::tcp || payload.size() < 28 || payload[4] != 1
        || load::be16(payload.data()) != payload.size() || load::be16(payload.data() + 2) != 0)
        return Likeness::none;
    const std::size_t size = load::be16(&payload[24]), offset = load::be16(&payload[26]);
    return size && offset >= 28 && offset + size == payload.size() && payload[offset] == '(' ? Likeness::certain
                                                                                             : Likeness::none;
}

constexpr Claim claims[] = {tcpPort(1521)};
} // namespace

constexpr Protocol protocol{
    {"tns", "TNS", Wire::layer}, {}, claims, decode, describe, guess, opensWith({Transport::tcp}, 0x00, 0x0f)};
static_assert(wellFormed(protocol));
} // namespace netrondo::tns
