// Modbus over TCP: the MBAP header and the function's data (MODBUS Application Protocol 1.1b3).
#include "Dissection/Protocols/MadeText.h"
#include "Dissection/Protocols/Protocols.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <optional>

namespace netrondo::modbus {
namespace {
constexpr NamedValue functions[] = {{1, "Read Coils"},
                                    {2, "Read Discrete Inputs"},
                                    {3, "Read Holding Registers"},
                                    {4, "Read Input Registers"},
                                    {5, "Write Single Coil"},
                                    {6, "Write Single Register"},
                                    {7, "Read Exception Status"},
                                    {8, "Diagnostics"},
                                    {11, "Get Event Counter"},
                                    {12, "Get Event Log"},
                                    {15, "Write Multiple Coils"},
                                    {16, "Write Multiple Registers"},
                                    {17, "Report Server ID"},
                                    {20, "Read File Record"},
                                    {21, "Write File Record"},
                                    {22, "Mask Write Register"},
                                    {23, "Read/Write Multiple Registers"},
                                    {24, "Read FIFO Queue"},
                                    {43, "Encapsulated Interface"}};
constexpr NamedValue exceptions[] = {{1, "illegal function"},      {2, "illegal data address"},
                                     {3, "illegal data value"},    {4, "server device failure"},
                                     {5, "acknowledge"},           {6, "server device busy"},
                                     {8, "memory parity error"},   {10, "gateway path unavailable"},
                                     {11, "gateway target silent"}};

constexpr Field message{"modbus.message", "Message", Wire::number, functions};
constexpr Field transaction{"modbus.transaction", "Transaction", Wire::u16};
constexpr Field identifier{"modbus.protocol", "Protocol", Wire::u16};
constexpr Field length{"modbus.length", "Length", Wire::u16};
constexpr Field unit{"modbus.unit", "Unit", Wire::u8};
constexpr Field functionByte{"modbus.function_byte", "Function and exception", Wire::hex8};
constexpr Field function{"modbus.function", "Function", Wire::bits, functions, 0x7f};
constexpr Field isException{"modbus.is_exception", "Exception", Wire::bit, {}, 0x80};
constexpr Field exception{"modbus.exception", "Exception code", Wire::u8, exceptions};
constexpr Field reference{"modbus.reference", "Reference", Wire::u16};
constexpr Field count{"modbus.count", "Count", Wire::u16};
constexpr Field value{"modbus.value", "Value", Wire::hex16};
constexpr Field andMask{"modbus.and_mask", "AND mask", Wire::hex16};
constexpr Field orMask{"modbus.or_mask", "OR mask", Wire::hex16};
constexpr Field byteCount{"modbus.byte_count", "Bytes", Wire::u8};
constexpr Field reg{"modbus.register", "Register", Wire::u16};
constexpr Field asked{"modbus.asked_reference", "Reference of the request", Wire::number};
constexpr Field askedCount{"modbus.asked_count", "Count of the request", Wire::number};
constexpr Field numbered{"modbus.register_at", "Register at", Wire::number};
constexpr Field bits{"modbus.bits", "Bits", Wire::bytes};
constexpr Field states{"modbus.states", "States", Wire::madeText};
constexpr Field data{"modbus.data", "Data", Wire::bytes};

constexpr std::uint16_t port = 502;

/// What a request asks for, by which its answer is understood: that has the values alone.
struct Asked {
    std::uint16_t transaction = 0, reference = 0, count = 0;
    std::uint8_t unit = 0, function = 0;
};

struct Requests : ProtocolMemory {
    std::array<Asked, 64> queries;
    Asked& at(std::uint16_t number) { return queries[number % queries.size()]; }
};

/// The registers from `first` on; where nobody knows which ones they are, their values alone.
void readRegisters(Layer& modbus, std::optional<std::uint64_t> first)
{
    const Layer::Window registers(modbus, modbus.read(byteCount));
    for (std::uint64_t i = 0; modbus.more(2); ++i) {
        if (!first) {
            modbus.read(reg);
            continue;
        }
        const Layer::Group group(modbus, numbered, *first + i);
        modbus.read(reg);
    }
}

/// `count` bits, from the lowest of each byte on; as many as there are where nobody knows the count.
void readBits(Layer& modbus, std::optional<std::uint64_t> many)
{
    const auto at = modbus.offset() + 1;
    const auto bytes = modbus.readBytes(bits, modbus.read(byteCount));
    MadeText made;
    for (std::uint64_t i = 0; i < std::min<std::uint64_t>(many.value_or(bytes.size() * 8), bytes.size() * 8); ++i)
        made.put(bytes[i / 8] >> i % 8 & 1 ? '1' : '0');
    if (made.size())
        modbus.addText(states, made, at, bytes.size());
}

/// What both ways say alike: a write is answered by what was written where.
bool readEither(Layer& modbus, std::uint64_t number)
{
    switch (number) {
    case 5:
    case 6: modbus.read(reference, value); return true;
    case 22: modbus.read(reference, andMask, orMask); return true;
    default: return false;
    }
}

/// Where the query begins, and how much it is about, for its answer.
void remember(Layer& modbus, const Asked& query)
{
    if (auto* const requests = modbus.stopped() ? nullptr : modbus.memory<Requests>(Transport::tcp, Layer::Ways::both))
        requests->at(query.transaction) = query;
}

void readQuery(Layer& modbus, Asked query)
{
    switch (query.function) {
    case 1:
    case 2:
    case 3:
    case 4:
    case 15:
    case 16:
    case 23:
        query.reference = static_cast<std::uint16_t>(modbus.read(reference));
        query.count = static_cast<std::uint16_t>(modbus.read(count));
        remember(modbus, query);
        break;
    case 24: modbus.read(reference); return;
    default: return;
    }
    if (query.function == 15)
        readBits(modbus, query.count);
    else if (query.function == 16)
        readRegisters(modbus, query.reference);
    else if (query.function == 23) {
        const auto written = modbus.read(reference);
        modbus.read(count);
        readRegisters(modbus, written);
    }
}

/// The query of an answer, if it was seen.
std::optional<Asked> queryOf(Layer& modbus, const Asked& answer)
{
    Asked query;
    if (const auto kept = modbus.kept(); kept && kept->size() == sizeof query)
        std::memcpy(&query, kept->data(), sizeof query);
    else if (auto* const requests = modbus.memory<Requests>(Transport::tcp, Layer::Ways::both))
        query = requests->at(answer.transaction);
    modbus.keep({reinterpret_cast<const std::uint8_t*>(&query), sizeof query});
    if (query.transaction != answer.transaction || query.unit != answer.unit || query.function != answer.function)
        return std::nullopt;
    modbus.add(asked, query.reference);
    modbus.add(askedCount, query.count);
    return query;
}

void readResponse(Layer& modbus, const Asked& answer)
{
    switch (answer.function) {
    case 1:
    case 2: {
        const auto query = queryOf(modbus, answer);
        readBits(modbus, query ? std::optional<std::uint64_t>(query->count) : std::nullopt);
        break;
    }
    case 3:
    case 4:
    case 23: {
        const auto query = queryOf(modbus, answer);
        readRegisters(modbus, query ? std::optional<std::uint64_t>(query->reference) : std::nullopt);
        break;
    }
    case 15:
    case 16: modbus.read(reference, count); break;
    default: break;
    }
}

void decode(Layer& modbus)
{
    const bool isQuery = modbus.summary().destinationPort == port;
    while (modbus.more()) {
        // A protocol other than 0, or no room for unit and function: this is no message.
        if (modbus.peek16(2) != 0 || (modbus.left() >= 6 && modbus.peek16(4) < 2)) {
            modbus.readRest(data);
            return;
        }
        modbus.beginMessage();
        const Layer::Group group(modbus, message, modbus.peek8(7) & 0x7f);
        Asked told;
        told.transaction = static_cast<std::uint16_t>(modbus.read(transaction));
        modbus.read(identifier);
        const auto size = modbus.read(length);
        const Layer::Window body(modbus, size);
        told.unit = static_cast<std::uint8_t>(modbus.read(unit));
        const auto code = modbus.readParts(functionByte, function, isException);
        if (code & 0x80)
            modbus.read(exception);
        else if (told.function = static_cast<std::uint8_t>(code); !readEither(modbus, code))
            isQuery ? readQuery(modbus, told) : readResponse(modbus, told);
        if (modbus.more())
            modbus.readRest(data);
    }
}

void describe(const LayerView& modbus, TextSink& out)
{
    const auto what = modbus[function];
    if (!what)
        return out("Data, {} bytes", modbus.bytes().size());
    out("{}", what);
    if (const auto why = modbus[exception])
        out(": exception, {}", why);
    if (const auto where = modbus[reference])
        out(", reference {}", where);
    if (const auto many = modbus[count])
        out(", count {}", many);
    if (const auto set = modbus[value])
        out(" = {}", set);
    if (const auto where = modbus[asked])
        out(", reference {}, count {}", where, modbus[askedCount]);
    if (const auto registers = modbus.count(reg)) {
        out(", {} register{}", registers, registers == 1 ? "" : "s");
        std::size_t told = 0;
        modbus.each(reg, [&](const Value& entry) {
            if (++told <= 4)
                out("{}{}", told > 1 ? ", " : " = ", entry);
        });
        if (told > 4)
            out(" …");
    }
    if (const auto all = modbus[states])
        out(", {} state{} = {}", all.text().size(), all.text().size() == 1 ? "" : "s", all.text().substr(0, 16));
    out(", unit {}, transaction {}", modbus[unit], modbus[transaction]);
    if (const auto messages = modbus.count(message); messages > 1)
        out(" and {} more", messages - 1);
}

/// A message of its own length, of a known function.
Likeness guess(Bytes payload, Transport transport)
{
    if (transport != Transport::tcp || payload.size() < 8 || load::be16(payload.data() + 2) != 0)
        return Likeness::none;
    const bool known = !nameIn(functions, payload[7] & 0x7fu).empty();
    return known && load::be16(payload.data() + 4) == payload.size() - 6 && payload.size() <= 260 ? Likeness::likely
                                                                                                  : Likeness::none;
}

constexpr Claim claims[] = {tcpPort(port)};
} // namespace

constexpr Protocol protocol{{"modbus", "Modbus", Wire::layer}, {}, claims, decode, describe, guess,
                            opensOn({Transport::tcp})};
static_assert(wellFormed(protocol));
} // namespace netrondo::modbus
