// The application layer of DNP3 (IEEE 1815): functions, and objects by group, variation and qualifier.
#include "Dissection/Protocols/MadeText.h"
#include "Dissection/Protocols/Protocols.h"

#include <algorithm>
#include <bit>
#include <chrono>

namespace netrondo::dnp3app {
namespace {
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
                                 {4, "double-bit input event"},
                                 {10, "binary output"},
                                 {11, "binary output event"},
                                 {12, "control relay output"},
                                 {13, "binary output command event"},
                                 {20, "counter"},
                                 {21, "frozen counter"},
                                 {22, "counter event"},
                                 {23, "frozen counter event"},
                                 {30, "analog input"},
                                 {31, "frozen analog input"},
                                 {32, "analog input event"},
                                 {33, "frozen analog input event"},
                                 {34, "analog input deadband"},
                                 {40, "analog output status"},
                                 {41, "analog output"},
                                 {42, "analog output event"},
                                 {50, "time and date"},
                                 {51, "common time"},
                                 {52, "time delay"},
                                 {60, "class data"},
                                 {70, "file"},
                                 {80, "internal indications"},
                                 {110, "octet string"},
                                 {111, "octet string event"},
                                 {120, "authentication"}};
constexpr NamedValue indications[] = {{0x8000, "device restart"},        {0x4000, "device trouble"},
                                      {0x2000, "local control"},         {0x1000, "need time"},
                                      {0x0800, "class 3 events"},        {0x0400, "class 2 events"},
                                      {0x0200, "class 1 events"},        {0x0100, "broadcast"},
                                      {0x0020, "configuration corrupt"}, {0x0010, "already executing"},
                                      {0x0008, "event buffer overflow"}, {0x0004, "parameter error"},
                                      {0x0002, "object unknown"},        {0x0001, "function not supported"}};
constexpr NamedValue prefixNames[] = {
    {0, "none"},           {1, "index in 1 byte"}, {2, "index in 2 bytes"}, {3, "index in 4 bytes"},
    {4, "size in 1 byte"}, {5, "size in 2 bytes"}, {6, "size in 4 bytes"}};
constexpr NamedValue rangeNames[] = {{0, "start and stop in 1 byte"},  {1, "start and stop in 2 bytes"},
                                     {2, "start and stop in 4 bytes"}, {6, "all"},
                                     {7, "count in 1 byte"},           {8, "count in 2 bytes"},
                                     {9, "count in 4 bytes"},          {11, "variable format"}};
constexpr NamedValue binaryFlags[] = {{0x80, "on"},           {0x40, "reserved"},      {0x20, "chatter"},
                                      {0x10, "local forced"}, {0x08, "remote forced"}, {0x04, "communication lost"},
                                      {0x02, "restart"},      {0x01, "online"}};
constexpr NamedValue numberFlags[] = {
    {0x40, "reference or discontinuity"}, {0x20, "out of range"}, {0x10, "local forced"}, {0x08, "remote forced"},
    {0x04, "communication lost"},         {0x02, "restart"},      {0x01, "online"}};
constexpr NamedValue doubleStates[] = {{0, "between"}, {1, "off"}, {2, "on"}, {3, "indeterminate"}};
constexpr NamedValue controls[] = {{0, "null"}, {1, "pulse on"}, {2, "pulse off"}, {3, "latch on"}, {4, "latch off"}};
constexpr NamedValue tripNames[] = {{0, "none"}, {1, "close"}, {2, "trip"}};
constexpr NamedValue commandStates[] = {{0, "success"},        {1, "timeout"},       {2, "no select"},
                                        {3, "format error"},   {4, "not supported"}, {5, "already active"},
                                        {6, "hardware error"}, {7, "local"},         {8, "too many operations"},
                                        {9, "not authorized"}, {10, "inhibited"},    {12, "out of range"}};

constexpr Field application{"dnp3.application", "Application control", Wire::hex8};
constexpr Field isFirst{"dnp3.al_first", "First", Wire::bit, {}, 0x80};
constexpr Field isLast{"dnp3.al_final", "Last", Wire::bit, {}, 0x40};
constexpr Field confirm{"dnp3.confirm", "Confirm", Wire::bit, {}, 0x20};
constexpr Field unsolicited{"dnp3.unsolicited", "Unsolicited", Wire::bit, {}, 0x10};
constexpr Field sequence{"dnp3.seq", "Sequence number", Wire::bits, {}, 0x0f};
constexpr Field function{"dnp3.function", "Function", Wire::u8, functions};
constexpr Field indication{"dnp3.indications", "Internal indications", Wire::flags16, indications};
constexpr Field header{"dnp3.object", "Objects", Wire::number, groups};
constexpr Field objectGroup{"dnp3.group", "Object group", Wire::u8, groups};
constexpr Field variation{"dnp3.variation", "Variation", Wire::u8};
constexpr Field qualifier{"dnp3.qualifier", "Qualifier", Wire::hex8};
constexpr Field prefix{"dnp3.prefix", "Prefix", Wire::bits, prefixNames, 0x70};
constexpr Field range{"dnp3.range", "Range", Wire::bits, rangeNames, 0x0f};
constexpr Field start{"dnp3.range_start", "Start", Wire::number};
constexpr Field stop{"dnp3.range_stop", "Stop", Wire::number};
constexpr Field count{"dnp3.count", "Count", Wire::number};
constexpr Field point{"dnp3.point", "Point", Wire::number};
constexpr Field index{"dnp3.index", "Index", Wire::number};
constexpr Field size{"dnp3.size", "Size", Wire::number};
constexpr Field binary{"dnp3.flags", "Flags", Wire::flags8, binaryFlags};
constexpr Field state{"dnp3.state", "State", Wire::bit, {}, 0x80};
constexpr Field twofold{"dnp3.flags", "Flags", Wire::hex8};
constexpr Field doubleState{"dnp3.double_state", "State", Wire::bits, doubleStates, 0xc0};
constexpr Field packedState{"dnp3.state", "State", Wire::number};
constexpr Field packedDouble{"dnp3.double_state", "State", Wire::number, doubleStates};
constexpr Field flags{"dnp3.flags", "Flags", Wire::flags8, numberFlags};
constexpr Field counter16{"dnp3.value", "Value", Wire::le16};
constexpr Field counter32{"dnp3.value", "Value", Wire::le32};
constexpr Field analog{"dnp3.value", "Value", Wire::i32};
constexpr Field real{"dnp3.real", "Value", Wire::madeText};
constexpr Field time{"dnp3.time", "Time", Wire::madeText};
constexpr Field relative{"dnp3.relative", "Relative time (ms)", Wire::le16};
constexpr Field interval{"dnp3.interval", "Interval", Wire::le32};
constexpr Field control{"dnp3.crob", "Control code", Wire::hex8};
constexpr Field operation{"dnp3.operation", "Operation", Wire::bits, controls, 0x0f};
constexpr Field trip{"dnp3.trip", "Trip or close", Wire::bits, tripNames, 0xc0};
constexpr Field repeats{"dnp3.repeats", "Repeats", Wire::u8};
constexpr Field onTime{"dnp3.on_time", "On time (ms)", Wire::le32};
constexpr Field offTime{"dnp3.off_time", "Off time (ms)", Wire::le32};
constexpr Field commandState{"dnp3.command_status", "Status", Wire::u8, commandStates};
constexpr Field bytes{"dnp3.bytes", "Value", Wire::bytes};
constexpr Field objects{"dnp3.objects", "Object data", Wire::bytes};

/// What an object is made of, a letter a part: f flags of a binary, g of a double-bit one, n of a number; p packed
/// bits, P packed double bits; s and l signed numbers of 16 and 32 bits, S and L unsigned ones; F and D floating-point
/// numbers; t a time, r a relative one, i an interval; c a control relay's block, z its outcome.
struct Layout {
    std::uint8_t group, variation;
    std::string_view parts;
};
constexpr Layout layouts[] = {
    {1, 1, "p"},    {1, 2, "f"},    {2, 1, "f"},    {2, 2, "ft"},   {2, 3, "fr"},   {3, 1, "P"},    {3, 2, "g"},
    {4, 1, "g"},    {4, 2, "gt"},   {4, 3, "gr"},   {10, 1, "p"},   {10, 2, "f"},   {11, 1, "f"},   {11, 2, "ft"},
    {12, 1, "c"},   {13, 1, "f"},   {13, 2, "ft"},  {20, 1, "nL"},  {20, 2, "nS"},  {20, 5, "L"},   {20, 6, "S"},
    {21, 1, "nL"},  {21, 2, "nS"},  {21, 5, "nLt"}, {21, 6, "nSt"}, {21, 9, "L"},   {21, 10, "S"},  {22, 1, "nL"},
    {22, 2, "nS"},  {22, 5, "nLt"}, {22, 6, "nSt"}, {23, 1, "nL"},  {23, 2, "nS"},  {23, 5, "nLt"}, {23, 6, "nSt"},
    {30, 1, "nl"},  {30, 2, "ns"},  {30, 3, "l"},   {30, 4, "s"},   {30, 5, "nF"},  {30, 6, "nD"},  {31, 1, "nl"},
    {31, 2, "ns"},  {31, 3, "nlt"}, {31, 4, "nst"}, {31, 5, "l"},   {31, 6, "s"},   {31, 7, "nF"},  {31, 8, "nD"},
    {32, 1, "nl"},  {32, 2, "ns"},  {32, 3, "nlt"}, {32, 4, "nst"}, {32, 5, "nF"},  {32, 6, "nD"},  {32, 7, "nFt"},
    {32, 8, "nDt"}, {33, 1, "nl"},  {33, 2, "ns"},  {33, 3, "nlt"}, {33, 4, "nst"}, {33, 5, "nF"},  {33, 6, "nD"},
    {33, 7, "nFt"}, {33, 8, "nDt"}, {34, 1, "S"},   {34, 2, "L"},   {34, 3, "F"},   {40, 1, "nl"},  {40, 2, "ns"},
    {40, 3, "nF"},  {40, 4, "nD"},  {41, 1, "lz"},  {41, 2, "sz"},  {41, 3, "Fz"},  {41, 4, "Dz"},  {42, 1, "nl"},
    {42, 2, "ns"},  {42, 3, "nlt"}, {42, 4, "nst"}, {42, 5, "nF"},  {42, 6, "nD"},  {42, 7, "nFt"}, {42, 8, "nDt"},
    {50, 1, "t"},   {50, 2, "ti"},  {50, 3, "t"},   {51, 1, "t"},   {51, 2, "t"},   {52, 1, "r"},   {52, 2, "r"},
    {80, 1, "p"}};

std::uint64_t littleAt(const Layer& dnp3, std::size_t bytesCount)
{
    std::uint64_t value = 0;
    for (std::size_t i = bytesCount; i-- > 0;)
        value = value << 8 | dnp3.peek8(i);
    return value;
}

/// A number of any width, little-endian.
std::uint64_t readNumber(Layer& dnp3, const Field& field, std::size_t bytesCount)
{
    if (dnp3.left() < bytesCount) {
        dnp3.await(field, bytesCount - dnp3.left());
        return 0;
    }
    const auto value = littleAt(dnp3, bytesCount);
    dnp3.add(field, value, dnp3.offset(), bytesCount);
    dnp3.skip(bytesCount);
    return value;
}

void readSigned(Layer& dnp3, std::size_t bytesCount)
{
    if (dnp3.left() < bytesCount)
        return dnp3.await(analog, bytesCount - dnp3.left());
    const auto shift = 64 - 8 * bytesCount;
    const auto value = static_cast<std::int64_t>(littleAt(dnp3, bytesCount) << shift) >> shift;
    dnp3.add(analog, static_cast<std::uint64_t>(value), dnp3.offset(), bytesCount);
    dnp3.skip(bytesCount);
}

void readReal(Layer& dnp3, std::size_t bytesCount)
{
    if (dnp3.left() < bytesCount)
        return dnp3.await(real, bytesCount - dnp3.left());
    MadeText made;
    if (bytesCount == 4)
        made.add("{}", std::bit_cast<float>(static_cast<std::uint32_t>(littleAt(dnp3, 4))));
    else
        made.add("{}", std::bit_cast<double>(littleAt(dnp3, 8)));
    dnp3.addText(real, made, dnp3.offset(), bytesCount);
    dnp3.skip(bytesCount);
}

/// Milliseconds since 1970, in six bytes.
void readTime(Layer& dnp3)
{
    constexpr std::uint64_t beyond = 253'402'300'800'000; // the year 10000
    if (dnp3.left() < 6)
        return dnp3.await(time, 6 - dnp3.left());
    using namespace std::chrono;
    const auto value = littleAt(dnp3, 6);
    MadeText made;
    if (value < beyond) {
        const auto all = milliseconds(value);
        const auto day = floor<days>(all);
        const year_month_day date{sys_days(day)};
        const auto ofDay = static_cast<unsigned>((all - day).count());
        made.add("{:04}-{:02}-{:02} {:02}:{:02}:{:02}.{:03}", static_cast<int>(date.year()),
                 static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()), ofDay / 3'600'000,
                 ofDay / 60'000 % 60, ofDay / 1000 % 60, ofDay % 1000);
    } else {
        made.add("{} ms", value);
    }
    dnp3.addText(time, made, dnp3.offset(), 6);
    dnp3.skip(6);
}

void readPart(Layer& dnp3, char part)
{
    switch (part) {
    case 'f': dnp3.readParts(binary, state); break;
    case 'g': dnp3.readParts(twofold, doubleState); break;
    case 'n': dnp3.read(flags); break;
    case 's': readSigned(dnp3, 2); break;
    case 'l': readSigned(dnp3, 4); break;
    case 'S': dnp3.read(counter16); break;
    case 'L': dnp3.read(counter32); break;
    case 'F': readReal(dnp3, 4); break;
    case 'D': readReal(dnp3, 8); break;
    case 't': readTime(dnp3); break;
    case 'r': dnp3.read(relative); break;
    case 'i': dnp3.read(interval); break;
    case 'z': dnp3.read(commandState); break;
    case 'c':
        dnp3.readParts(control, operation, trip);
        dnp3.read(repeats, onTime, offTime, commandState);
        break;
    default: break;
    }
}

/// States in single or double bits, from the lowest of each byte on.
void readPacked(Layer& dnp3, std::uint64_t first, std::uint64_t many, unsigned width)
{
    const auto all = dnp3.rest();
    const auto perByte = 8 / width;
    for (std::uint64_t i = 0; i < many && i / perByte < all.size() && !dnp3.tree().full(); ++i) {
        const auto byte = all[i / perByte];
        const auto at = dnp3.offset() + i / perByte;
        dnp3.addParts(point, first + i, at, 1);
        const auto node = dnp3.tree().size() - 1;
        dnp3.add(width == 1 ? packedState : packedDouble, byte >> i % perByte * width & ((1u << width) - 1), at, 1);
        dnp3.tree().close(node);
    }
    dnp3.skip((many + perByte - 1) / perByte);
}

struct Range {
    std::uint64_t first = 0, count = 0;
    bool hasObjects = false;
};

Range readRange(Layer& dnp3, unsigned how)
{
    const std::size_t width = how % 3 == 0 ? 1 : how % 3 == 1 ? 2 : 4;
    if (how < 3) {
        const auto low = readNumber(dnp3, start, width), high = readNumber(dnp3, stop, width);
        return {low, high >= low ? high - low + 1 : 0, true};
    }
    if (how >= 7 && how <= 9)
        return {0, readNumber(dnp3, count, how == 7 ? 1 : how == 8 ? 2 : 4), true};
    if (how == 11)
        return {0, readNumber(dnp3, count, 1), true};
    return {};
}

/// Other requests only name what they are about; a freeze at a time says when.
bool carriesData(std::uint64_t what, std::uint64_t kind)
{
    return (what >= 2 && what <= 6) || ((what == 11 || what == 12) && kind == 50) || what >= 25;
}

void readObjects(Layer& dnp3, std::uint64_t what)
{
    const Layer::Group group(dnp3, header, dnp3.peek8());
    const auto kind = dnp3.read(objectGroup), form = dnp3.read(variation);
    const auto how = dnp3.readParts(qualifier, prefix, range);
    if (dnp3.stopped())
        return;
    const auto asked = readRange(dnp3, static_cast<unsigned>(how & 0x0f));
    const auto prefixed = how >> 4 & 7;
    const std::size_t width = prefixed % 3 == 1 ? 1 : prefixed % 3 == 2 ? 2 : 4;
    const auto* layout =
        std::ranges::find_if(layouts, [&](const Layout& row) { return row.group == kind && row.variation == form; });
    const bool isString = kind == 110 || kind == 111;
    const auto parts = layout == std::end(layouts) ? std::string_view() : layout->parts;
    if (!carriesData(what, kind)) { // but for the points' numbers
        for (std::uint64_t i = 0; prefixed && i < asked.count && dnp3.more(); ++i)
            readNumber(dnp3, index, width);
        return;
    }
    if (!asked.hasObjects || dnp3.stopped())
        return;
    if (parts == "p" || parts == "P")
        return readPacked(dnp3, asked.first, asked.count, parts == "p" ? 1 : 2);
    if (parts.empty() && prefixed < 4 && !(isString && form))
        return static_cast<void>(dnp3.more() ? dnp3.readRest(objects) : Bytes());
    for (std::uint64_t i = 0; i < asked.count && dnp3.more(); ++i) {
        const bool isNumbered = prefixed >= 1 && prefixed <= 3;
        const Layer::Group one(dnp3, point,
                               isNumbered && dnp3.left() >= width ? littleAt(dnp3, width) : asked.first + i);
        if (isNumbered)
            readNumber(dnp3, index, width);
        if (prefixed >= 4) {
            const auto long_ = readNumber(dnp3, size, width);
            dnp3.readBytes(bytes, long_);
        } else if (isString) {
            dnp3.readBytes(bytes, form);
        } else {
            for (const auto part : parts) {
                if (!dnp3.stopped())
                    readPart(dnp3, part);
            }
        }
    }
}

void decode(Layer& dnp3)
{
    dnp3.readParts(application, isFirst, isLast, confirm, unsolicited, sequence);
    const auto what = dnp3.read(function);
    if (what >= 129 && what <= 131)
        dnp3.read(indication);
    while (dnp3.more(3))
        readObjects(dnp3, what);
    if (dnp3.more())
        dnp3.readRest(objects);
}

void describe(const LayerView& dnp3, TextSink& out)
{
    out("{}", dnp3[function]);
    if (const auto state16 = dnp3[indication]; state16 && state16.number() != 0)
        out(" ({})", state16);
    std::size_t told = 0;
    dnp3.each(objectGroup, [&](const Value& kind) {
        if (++told <= 3)
            out(", {}", kind);
    });
    if (const auto which = dnp3[point]; which && dnp3.count(point) == 1)
        out(" {}", which);
    if (const auto many = dnp3.count(point); many > 1)
        out(", {} points", many);
    for (const auto* field : {&operation, &counter16, &counter32, &analog, &real, &time}) {
        if (const auto value = dnp3[*field]; value && dnp3.count(point) == 1) {
            out(" = {}", value);
            break;
        }
    }
    if (const auto outcome = dnp3[commandState]; outcome.number())
        out(": {}", outcome);
}
} // namespace

constexpr Protocol protocol{{"dnp3.al", "DNP3 application", Wire::layer}, {}, {}, decode, describe};
static_assert(wellFormed(protocol));
} // namespace netrondo::dnp3app
