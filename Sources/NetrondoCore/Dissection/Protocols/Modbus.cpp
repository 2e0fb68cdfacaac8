// Modbus over TCP: the MBAP header and the function's data (MODBUS Application Protocol 1.1b3).
#include "Dissection/Protocols/Protocols.h"

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
constexpr Field bits{"modbus.bits", "Bits", Wire::bytes};
constexpr Field data{"modbus.data", "Data", Wire::bytes};

constexpr std::uint16_t port = 502;

void readRegisters(Layer& modbus)
{
    const Layer::Window registers(modbus, modbus.read(byteCount));
    while (modbus.more(2))
        modbus.read(reg);
}

void readBits(Layer& modbus)
{
    modbus.readBytes(bits, modbus.read(byteCount));
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

void readQuery(Layer& modbus, std::uint64_t number)
{
    switch (number) {
    case 1:
    case 2:
    case 3:
    case 4: modbus.read(reference, count); break;
    case 15: modbus.read(reference, count), readBits(modbus); break;
    case 16: modbus.read(reference, count), readRegisters(modbus); break;
    case 23: modbus.read(reference, count, reference, count), readRegisters(modbus); break;
    case 24: modbus.read(reference); break;
    default: break;
    }
}

void readResponse(Layer& modbus, std::uint64_t number)
{
    switch (number) {
    case 1:
    case 2: readBits(modbus); break;
    case 3:
    case 4:
    case 23: readRegisters(modbus); break;
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
        modbus.read(transaction, identifier);
        const auto size = modbus.read(length);
        const Layer::Window body(modbus, size);
        modbus.read(unit);
        const auto code = modbus.readParts(functionByte, function, isException);
        if (code & 0x80)
            modbus.read(exception);
        else if (!readEither(modbus, code))
            isQuery ? readQuery(modbus, code) : readResponse(modbus, code);
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
    if (const auto registers = modbus.count(reg))
        out(", {} register{}", registers, registers == 1 ? "" : "s");
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
