// DNP3 (IEEE 1815) over TCP and UDP: the link's frames, and how the application's message in them begins.
#include "Dissection/Protocols/Protocols.h"

#include <algorithm>

namespace netrondo::dnp3 {
namespace {
constexpr NamedValue primaries[] = {
    {0, "Reset Link"},          {1, "Reset User Process"},    {2, "Test Link"},
    {3, "Confirmed User Data"}, {4, "Unconfirmed User Data"}, {9, "Request Link Status"}};
constexpr NamedValue secondaries[] = {
    {0, "Ack"}, {1, "Nack"}, {11, "Link Status"}, {14, "Not Functioning"}, {15, "Not Used"}};
constexpr NamedValue functions[] = {{0, "Confirm"},
                                    {1, "Read"},
                                    {2, "Write"},
                                    {3, "Select"},
                                    {4, "Operate"},
                                    {5, "Direct Operate"},
                                    {6, "Direct Operate, No Answer"},
                                    {7, "Freeze"},
                                    {8, "Freeze, No Answer"},
                                    {9, "Freeze and Clear"},
                                    {10, "Freeze and Clear, No Answer"},
                                    {11, "Freeze at Time"},
                                    {12, "Freeze at Time, No Answer"},
                                    {13, "Cold Restart"},
                                    {14, "Warm Restart"},
                                    {15, "Initialize Data"},
                                    {16, "Initialize Application"},
                                    {17, "Start Application"},
                                    {18, "Stop Application"},
                                    {19, "Save Configuration"},
                                    {20, "Enable Unsolicited"},
                                    {21, "Disable Unsolicited"},
                                    {22, "Assign Class"},
                                    {23, "Delay Measurement"},
                                    {24, "Record Current Time"},
                                    {25, "Open File"},
                                    {26, "Close File"},
                                    {27, "Delete File"},
                                    {28, "Get File Information"},
                                    {29, "Authenticate File"},
                                    {30, "Abort File"},
                                    {32, "Authentication Request"},
                                    {33, "Authentication Request, No Answer"},
                                    {129, "Response"},
                                    {130, "Unsolicited Response"},
                                    {131, "Authentication Response"}};
constexpr NamedValue groups[] = {{1, "binary input"},
                                 {2, "binary input event"},
                                 {3, "double-bit input"},
                                 {10, "binary output"},
                                 {12, "control relay output"},
                                 {20, "counter"},
                                 {21, "frozen counter"},
                                 {22, "counter event"},
                                 {30, "analog input"},
                                 {32, "analog input event"},
                                 {40, "analog output status"},
                                 {41, "analog output"},
                                 {50, "time and date"},
                                 {51, "common time"},
                                 {52, "time delay"},
                                 {60, "class data"},
                                 {70, "file"},
                                 {80, "internal indications"},
                                 {110, "octet string"},
                                 {120, "authentication"}};
constexpr NamedValue indications[] = {{0x8000, "device restart"},        {0x4000, "device trouble"},
                                      {0x2000, "local control"},         {0x1000, "need time"},
                                      {0x0800, "class 3 events"},        {0x0400, "class 2 events"},
                                      {0x0200, "class 1 events"},        {0x0100, "broadcast"},
                                      {0x0020, "configuration corrupt"}, {0x0010, "already executing"},
                                      {0x0008, "event buffer overflow"}, {0x0004, "parameter error"},
                                      {0x0002, "object unknown"},        {0x0001, "function not supported"}};

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
constexpr Field check{"dnp3.crc", "CRC", Wire::leHex16};
constexpr Field transport{"dnp3.transport", "Transport", Wire::hex8};
constexpr Field isLast{"dnp3.final", "Last", Wire::bit, {}, 0x80};
constexpr Field isFirst{"dnp3.first", "First", Wire::bit, {}, 0x40};
constexpr Field segment{"dnp3.segment", "Sequence number", Wire::bits, {}, 0x3f};
constexpr Field application{"dnp3.application", "Application control", Wire::hex8};
constexpr Field confirm{"dnp3.confirm", "Confirm", Wire::bit, {}, 0x20};
constexpr Field unsolicited{"dnp3.unsolicited", "Unsolicited", Wire::bit, {}, 0x10};
constexpr Field sequence{"dnp3.seq", "Sequence number", Wire::bits, {}, 0x0f};
constexpr Field function{"dnp3.function", "Function", Wire::u8, functions};
constexpr Field indication{"dnp3.indications", "Internal indications", Wire::flags16, indications};
constexpr Field objectGroup{"dnp3.group", "Object group", Wire::u8, groups};
constexpr Field variation{"dnp3.variation", "Variation", Wire::u8};
constexpr Field qualifier{"dnp3.qualifier", "Qualifier", Wire::hex8};
constexpr Field objects{"dnp3.objects", "Object data", Wire::bytes};
constexpr Field data{"dnp3.data", "Data", Wire::bytes};

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

/// How the application's message begins; all of it is in the first 16 bytes.
void readApplication(Layer& dnp3)
{
    if (!dnp3.more())
        return;
    dnp3.readParts(application, confirm, unsolicited, sequence);
    const auto what = dnp3.read(function);
    if (what == 129 || what == 130)
        dnp3.read(indication);
    if (dnp3.more(3))
        dnp3.read(objectGroup, variation, qualifier);
}

void readUserData(Layer& dnp3, std::uint64_t size)
{
    for (auto rest = size; rest != 0 && dnp3.more();) {
        const auto here = std::min<std::uint64_t>(rest, 16);
        {
            const Layer::Window block(dnp3, here);
            if (rest == size && dnp3.readParts(transport, isLast, isFirst, segment) & isFirst.mask)
                readApplication(dnp3);
            if (dnp3.more())
                dnp3.readRest(objects);
        }
        dnp3.read(check);
        rest -= here;
    }
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
        const Layer::Group group(dnp3, message);
        dnp3.read(start);
        const auto size = dnp3.read(length);
        if (dnp3.peek8() & isPrimary.mask)
            dnp3.readParts(control, fromMaster, isPrimary, primary);
        else
            dnp3.readParts(control, fromMaster, isPrimary, secondary);
        dnp3.read(destination, source, check);
        if (size > headerRest)
            readUserData(dnp3, size - headerRest);
    }
}

void describe(const LayerView& dnp3, TextSink& out)
{
    const auto from = dnp3[source];
    if (!from)
        return out("Data, {} bytes", dnp3.bytes().size());
    if (const auto what = dnp3[function]) {
        out("{}", what);
        if (const auto kind = dnp3[objectGroup])
            out(", {}", kind);
    } else {
        const auto link = dnp3[primary];
        out("{}", link ? link : dnp3[secondary]);
    }
    if (const auto state = dnp3[indication]; state && state.number() != 0)
        out(" ({})", state);
    out(", {} → {}", from, dnp3[destination]);
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
