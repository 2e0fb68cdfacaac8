// IEC 60870-5-104: telecontrol over TCP, with the service data units of IEC 60870-5-101.
#include "Dissection/Protocols/Iec104Elements.h"
#include "Dissection/Protocols/Protocols.h"

namespace netrondo::iec104 {
namespace {
constexpr NamedValue formats[] = {{0, "Information"}, {1, "Supervision"}, {3, "Control"}};
constexpr NamedValue controls[] = {{0x01, "start data"}, {0x02, "start data confirmed"},
                                   {0x04, "stop data"},  {0x08, "stop data confirmed"},
                                   {0x10, "test frame"}, {0x20, "test frame confirmed"}};

constexpr NamedValue types[] = {
    {1, "M_SP_NA_1"},   {2, "M_SP_TA_1"},   {3, "M_DP_NA_1"},   {4, "M_DP_TA_1"},   {5, "M_ST_NA_1"},
    {6, "M_ST_TA_1"},   {7, "M_BO_NA_1"},   {8, "M_BO_TA_1"},   {9, "M_ME_NA_1"},   {10, "M_ME_TA_1"},
    {11, "M_ME_NB_1"},  {12, "M_ME_TB_1"},  {13, "M_ME_NC_1"},  {14, "M_ME_TC_1"},  {15, "M_IT_NA_1"},
    {16, "M_IT_TA_1"},  {20, "M_PS_NA_1"},  {21, "M_ME_ND_1"},  {30, "M_SP_TB_1"},  {31, "M_DP_TB_1"},
    {32, "M_ST_TB_1"},  {33, "M_BO_TB_1"},  {34, "M_ME_TD_1"},  {35, "M_ME_TE_1"},  {36, "M_ME_TF_1"},
    {37, "M_IT_TB_1"},  {45, "C_SC_NA_1"},  {46, "C_DC_NA_1"},  {47, "C_RC_NA_1"},  {48, "C_SE_NA_1"},
    {49, "C_SE_NB_1"},  {50, "C_SE_NC_1"},  {51, "C_BO_NA_1"},  {58, "C_SC_TA_1"},  {59, "C_DC_TA_1"},
    {60, "C_RC_TA_1"},  {61, "C_SE_TA_1"},  {62, "C_SE_TB_1"},  {63, "C_SE_TC_1"},  {64, "C_BO_TA_1"},
    {70, "M_EI_NA_1"},  {100, "C_IC_NA_1"}, {101, "C_CI_NA_1"}, {102, "C_RD_NA_1"}, {103, "C_CS_NA_1"},
    {105, "C_RP_NA_1"}, {107, "C_TS_TA_1"}, {110, "P_ME_NA_1"}, {111, "P_ME_NB_1"}, {112, "P_ME_NC_1"},
    {113, "P_AC_NA_1"}, {120, "F_FR_NA_1"}, {121, "F_SR_NA_1"}, {122, "F_SC_NA_1"}, {123, "F_LS_NA_1"},
    {124, "F_AF_NA_1"}, {125, "F_SG_NA_1"}, {126, "F_DR_TA_1"}};
constexpr NamedValue causes[] = {{1, "periodic"},
                                 {2, "background scan"},
                                 {3, "spontaneous"},
                                 {4, "initialized"},
                                 {5, "request"},
                                 {6, "activation"},
                                 {7, "activation confirmed"},
                                 {8, "deactivation"},
                                 {9, "deactivation confirmed"},
                                 {10, "activation terminated"},
                                 {11, "returned by a remote command"},
                                 {12, "returned by a local command"},
                                 {13, "file transfer"},
                                 {14, "authentication"},
                                 {15, "session key"},
                                 {16, "user role and update key"},
                                 {20, "station interrogation"},
                                 {21, "interrogation of group 1"},
                                 {22, "interrogation of group 2"},
                                 {23, "interrogation of group 3"},
                                 {24, "interrogation of group 4"},
                                 {25, "interrogation of group 5"},
                                 {26, "interrogation of group 6"},
                                 {27, "interrogation of group 7"},
                                 {28, "interrogation of group 8"},
                                 {29, "interrogation of group 9"},
                                 {30, "interrogation of group 10"},
                                 {31, "interrogation of group 11"},
                                 {32, "interrogation of group 12"},
                                 {33, "interrogation of group 13"},
                                 {34, "interrogation of group 14"},
                                 {35, "interrogation of group 15"},
                                 {36, "interrogation of group 16"},
                                 {37, "counter request"},
                                 {38, "request of counter group 1"},
                                 {39, "request of counter group 2"},
                                 {40, "request of counter group 3"},
                                 {41, "request of counter group 4"},
                                 {44, "unknown type"},
                                 {45, "unknown cause"},
                                 {46, "unknown common address"},
                                 {47, "unknown object address"}};

constexpr Field message{"iec104.message", "Message", Wire::number, formats};
constexpr Field start{"iec104.start", "Start", Wire::hex8};
constexpr Field length{"iec104.length", "Length", Wire::u8};
constexpr Field sent{"iec104.sent", "Send number", Wire::number};
constexpr Field received{"iec104.received", "Receive number", Wire::number};
constexpr Field controlByte{"iec104.control_byte", "Control", Wire::hex8};
constexpr Field control{"iec104.control", "Function", Wire::bits, controls, 0xfc};
constexpr Field type{"iec104.type", "Type", Wire::u8, types};
constexpr Field structure{"iec104.structure", "Structure", Wire::hex8};
constexpr Field isSequence{"iec104.sequence", "Sequence", Wire::bit, {}, 0x80};
constexpr Field count{"iec104.count", "Objects", Wire::bits, {}, 0x7f};
constexpr Field causeByte{"iec104.cause_byte", "Cause of transmission", Wire::hex8};
constexpr Field test{"iec104.test", "Test", Wire::bit, {}, 0x80};
constexpr Field negative{"iec104.negative", "Negative", Wire::bit, {}, 0x40};
constexpr Field cause{"iec104.cause", "Cause", Wire::bits, causes, 0x3f};
constexpr Field originator{"iec104.originator", "Originator", Wire::u8};
constexpr Field station{"iec104.station", "Common address", Wire::le16};
constexpr Field object{"iec104.object", "Object", Wire::group};
constexpr Field address{"iec104.address", "Object address", Wire::number};
constexpr Field data{"iec104.data", "Data", Wire::bytes};

constexpr std::uint8_t startByte = 0x68;

/// Numbers count in steps of two: the lowest bit tells the formats apart.
void readNumber(Layer& iec, const Field& field)
{
    if (!iec.more(2))
        return iec.await(field);
    iec.add(field, load::le16(iec.rest().data()) >> 1U, iec.offset(), 2);
    iec.skip(2);
}

std::uint64_t readAddress(Layer& iec)
{
    if (!iec.more(3)) {
        iec.await(address);
        return 0;
    }
    const auto number = load::le16(iec.rest().data()) | std::uint32_t{iec.peek8(2)} << 16;
    iec.add(address, number, iec.offset(), 3);
    iec.skip(3);
    return number;
}

void readObjects(Layer& iec, std::uint64_t kind, std::uint64_t how)
{
    if (!elementSize(kind))
        return static_cast<void>(readAddress(iec));
    std::uint64_t first = 0;
    for (std::uint64_t i = 0; i < (how & 0x7f) && iec.more(); ++i) {
        const Layer::Group group(iec, object);
        if (i == 0 || !(how & 0x80))
            first = readAddress(iec);
        else // in a sequence, the addresses of the others are the next ones
            iec.add(address, first + i);
        readElement(iec, kind);
    }
}

void readUnit(Layer& iec)
{
    const auto kind = iec.read(type);
    const auto how = iec.readParts(structure, isSequence, count);
    iec.readParts(causeByte, test, negative, cause);
    iec.read(originator, station);
    readObjects(iec, kind, how);
    if (iec.more())
        iec.readRest(data);
}

void decode(Layer& iec)
{
    while (iec.more()) {
        if (iec.peek8() != startByte || (iec.left() > 1 && iec.peek8(1) < 4)) {
            iec.readRest(data);
            return;
        }
        iec.beginMessage();
        const auto first = iec.peek8(2);
        const Layer::Group group(iec, message, first & 1 ? first & 3 : 0);
        iec.read(start);
        const auto size = iec.read(length);
        const Layer::Window body(iec, size);
        if (!(first & 1)) {
            readNumber(iec, sent), readNumber(iec, received);
            if (iec.more())
                readUnit(iec);
        } else if (first & 2) {
            iec.readParts(controlByte, control);
            iec.skip(3);
        } else {
            iec.skip(2);
            readNumber(iec, received);
        }
    }
}

void describeUnit(const LayerView& iec, TextSink& out)
{
    out("{}", iec[type]);
    if (const auto why = iec[cause])
        out(", {}", why);
    if (iec[negative] == 1)
        out(", negative");
    if (iec[test] == 1)
        out(", test");
    if (const auto where = iec[station])
        out(", station {}", where);
    if (const auto where = iec[address])
        out(", object {}", where);
    if (const auto one = iec[object]) {
        const auto begin = static_cast<std::size_t>(one.node() - iec.nodes().data());
        const auto size = one.node()->end - static_cast<std::size_t>(one.node() - iec.tree().nodes().data());
        describeElement(iec.nodes().subspan(begin, size), iec.tree(), out);
    }
    if (const auto objects = iec[count]; objects.number() > 1)
        out(", {} objects", objects);
    out(", number {}, expects {}", iec[sent], iec[received]);
}

void describe(const LayerView& iec, TextSink& out)
{
    const auto kind = iec[message];
    if (!kind)
        return out("Data, {} bytes", iec.bytes().size());
    if (iec.has(type))
        describeUnit(iec, out);
    else if (const auto what = iec[control])
        out("{}: {}", kind, what);
    else
        out("{}, expects {}", kind, iec[received]);
    if (const auto messages = iec.count(message); messages > 1)
        out(" and {} more", messages - 1);
}

/// A message of its own length, with a known type or function.
Likeness guess(Bytes payload, Transport transport)
{
    if (transport != Transport::tcp || payload.size() < 6 || payload[0] != startByte
        || payload[1] != payload.size() - 2)
        return Likeness::none;
    if (payload.size() == 6) {
        const bool acts = (payload[2] & 3) == 3 && !nameIn(controls, payload[2] >> 2).empty();
        return acts && payload[3] == 0 && payload[4] == 0 && payload[5] == 0 ? Likeness::likely : Likeness::none;
    }
    const bool carries = payload.size() >= 15 && !(payload[2] & 1) && !(payload[4] & 1);
    return carries && !nameIn(types, payload[6]).empty() && !nameIn(causes, payload[8] & 0x3fu).empty()
        ? Likeness::likely
        : Likeness::none;
}

constexpr Claim claims[] = {tcpPort(2404)};
} // namespace

constexpr Protocol protocol{{"iec104", "IEC 104", Wire::layer},    {}, claims, decode, describe, guess,
                            opensWith({Transport::tcp}, startByte)};
static_assert(wellFormed(protocol));
} // namespace netrondo::iec104
