// S7 communication: what programmable controllers and their stations say over the ISO transport service. Its maker
// never published it; names and layout are those in common use.
#include "Dissection/Protocols/Protocols.h"

namespace netrondo::s7comm {
namespace {
constexpr NamedValue kinds[] = {{1, "Job"}, {2, "Acknowledgement"}, {3, "Reply"}, {7, "User data"}};
constexpr NamedValue functions[] = {
    {0x00, "CPU services"},     {0x04, "Read"},           {0x05, "Write"},
    {0x1a, "Request download"}, {0x1b, "Download block"}, {0x1c, "Download ended"},
    {0x1d, "Start upload"},     {0x1e, "Upload"},         {0x1f, "End upload"},
    {0x28, "Program control"},  {0x29, "Stop"},           {0xf0, "Setup communication"}};
constexpr NamedValue groups[] = {{1, "programming commands"}, {2, "cyclic data"}, {3, "block functions"},
                                 {4, "CPU functions"},        {5, "security"},    {7, "time functions"}};
constexpr NamedValue errorClasses[] = {{0x00, "no error"}, {0x81, "application relationship"},
                                       {0x82, "object"},   {0x83, "resource"},
                                       {0x84, "service"},  {0x85, "supplies"},
                                       {0x87, "access"}};
constexpr NamedValue results[] = {
    {0x00, "reserved"},           {0x01, "hardware fault"},    {0x03, "not allowed"},    {0x05, "address out of range"},
    {0x06, "type not supported"}, {0x07, "type inconsistent"}, {0x0a, "no such object"}, {0xff, "success"}};
constexpr NamedValue areas[] = {{0x03, "system information"},
                                {0x05, "system flags"},
                                {0x06, "analog inputs"},
                                {0x07, "analog outputs"},
                                {0x1c, "counters"},
                                {0x1d, "timers"},
                                {0x80, "peripherals"},
                                {0x81, "inputs"},
                                {0x82, "outputs"},
                                {0x83, "flags"},
                                {0x84, "data block"},
                                {0x85, "instance data block"},
                                {0x86, "local data"}};
constexpr NamedValue types[] = {{1, "BIT"},   {2, "BYTE"}, {3, "CHAR"}, {4, "WORD"},     {5, "INT"},
                                {6, "DWORD"}, {7, "DINT"}, {8, "REAL"}, {28, "COUNTER"}, {29, "TIMER"}};
constexpr NamedValue dataTypes[] = {{0, "null"},    {3, "bits"}, {4, "bytes, length in bits"},
                                    {5, "integer"}, {7, "real"}, {9, "octets"}};

constexpr Field identifier{"s7comm.protocol_id", "Protocol ID", Wire::hex8};
constexpr Field kind{"s7comm.kind", "Kind", Wire::u8, kinds};
constexpr Field redundancy{"s7comm.redundancy", "Redundancy", Wire::hex16};
constexpr Field reference{"s7comm.reference", "Reference", Wire::u16};
constexpr Field parameterLength{"s7comm.parameter_len", "Parameter length", Wire::u16};
constexpr Field dataLength{"s7comm.data_len", "Data length", Wire::u16};
constexpr Field errorClass{"s7comm.error_class", "Error class", Wire::hex8, errorClasses};
constexpr Field errorCode{"s7comm.error_code", "Error code", Wire::hex8};
constexpr Field parameter{"s7comm.parameter", "Parameter", Wire::group};
constexpr Field function{"s7comm.function", "Function", Wire::hex8, functions};
constexpr Field reserved{"s7comm.reserved", "Reserved", Wire::hex8};
constexpr Field maxCalling{"s7comm.max_calling", "Most jobs of the caller", Wire::u16};
constexpr Field maxCalled{"s7comm.max_called", "Most jobs of the called", Wire::u16};
constexpr Field pduLength{"s7comm.pdu_len", "PDU length", Wire::u16};
constexpr Field itemCount{"s7comm.item_count", "Items", Wire::u8};
constexpr Field item{"s7comm.item", "Item", Wire::group};
constexpr Field specification{"s7comm.specification", "Specification", Wire::hex8};
constexpr Field itemLength{"s7comm.item_len", "Length", Wire::u8};
constexpr Field syntax{"s7comm.syntax", "Syntax", Wire::hex8};
constexpr Field type{"s7comm.type", "Type", Wire::u8, types};
constexpr Field elements{"s7comm.elements", "Elements", Wire::u16};
constexpr Field block{"s7comm.db", "Data block", Wire::u16};
constexpr Field area{"s7comm.area", "Area", Wire::hex8, areas};
constexpr Field address{"s7comm.address", "Address", Wire::hex24};
constexpr Field byteAddress{"s7comm.byte", "Byte", Wire::bits, {}, 0x7ffff8};
constexpr Field bitAddress{"s7comm.bit", "Bit", Wire::bits, {}, 0x7};
constexpr Field method{"s7comm.method", "Method", Wire::hex8};
constexpr Field typeAndGroup{"s7comm.type_group", "Type and group", Wire::hex8};
constexpr Field group{"s7comm.group", "Group", Wire::bits, groups, 0x0f};
constexpr Field subfunction{"s7comm.subfunction", "Subfunction", Wire::u8};
constexpr Field sequence{"s7comm.sequence", "Sequence", Wire::u8};
constexpr Field result{"s7comm.result", "Result", Wire::hex8, results};
constexpr Field dataType{"s7comm.data_type", "Type of data", Wire::u8, dataTypes};
constexpr Field valueLength{"s7comm.value_len", "Length", Wire::u16};
constexpr Field value{"s7comm.value", "Value", Wire::bytes};
constexpr Field data{"s7comm.data", "Data", Wire::bytes};

enum Kind : std::uint8_t { job = 1, acknowledgement = 2, reply = 3, userData = 7 };
enum Function : std::uint8_t { readVariables = 4, writeVariables = 5, setup = 0xf0 };

void readItem(Layer& s7)
{
    const Layer::Group node(s7, item);
    s7.read(specification);
    const Layer::Window content(s7, s7.read(itemLength));
    if (s7.read(syntax) == 0x10) { // any area, by its address; other ways to name a variable are rare
        s7.read(type, elements, block, area);
        s7.readParts(address, byteAddress, bitAddress);
    }
    if (s7.more())
        s7.readRest(data);
}

void readParameter(Layer& s7, std::uint64_t of, std::uint64_t what)
{
    if (what == setup) {
        s7.read(reserved, maxCalling, maxCalled, pduLength);
    } else if (what == readVariables || what == writeVariables) {
        const auto count = s7.read(itemCount);
        for (std::uint64_t i = 0; of == job && i < count && s7.more(); ++i)
            readItem(s7);
    }
}

void readUserData(Layer& s7)
{
    s7.skip(3); // a head that never changes
    s7.skip(1); // the length of what follows
    s7.read(method);
    s7.readParts(typeAndGroup, group);
    s7.read(subfunction, sequence);
}

/// Values with the outcome and the length of each; answers to writing have the outcome alone.
void readValues(Layer& s7)
{
    while (s7.more()) {
        const Layer::Group node(s7, item);
        s7.read(result);
        if (!s7.more(3))
            continue;
        const auto how = s7.read(dataType);
        const auto told = s7.read(valueLength);
        const auto size = how >= 3 && how <= 5 ? (told + 7) / 8 : told;
        s7.readBytes(value, size);
        if (size % 2 && s7.more())
            s7.skip(1); // the next one begins at an even place
    }
}

void readOutcomes(Layer& s7)
{
    while (s7.more())
        s7.read(result);
}

void readData(Layer& s7, std::uint64_t of, std::uint64_t what)
{
    if (of == reply && what == writeVariables)
        readOutcomes(s7);
    else if ((of == reply && what == readVariables) || (of == job && what == writeVariables) || of == userData)
        readValues(s7);
    if (s7.more())
        s7.readRest(data);
}

void decode(Layer& s7)
{
    s7.read(identifier);
    const auto of = s7.read(kind);
    s7.read(redundancy, reference);
    const auto parameters = s7.read(parameterLength), size = s7.read(dataLength);
    if (of == acknowledgement || of == reply)
        s7.read(errorClass, errorCode);
    std::uint64_t what = 0;
    if (parameters) {
        const Layer::Group node(s7, parameter);
        const Layer::Window content(s7, parameters);
        if (of == userData) {
            readUserData(s7);
        } else {
            what = s7.read(function);
            readParameter(s7, of, what);
        }
        if (s7.more())
            s7.readRest(data);
    }
    const Layer::Window content(s7, size);
    readData(s7, of, what);
}

void describeItem(const LayerView& s7, TextSink& out)
{
    if (const auto where = s7[area]) {
        out(", {} ", where);
        if (where == 0x84)
            out("{} ", s7[block]);
        out("byte {}, {} {}", s7[byteAddress], s7[elements], s7[type]);
    }
    if (const auto items = s7[itemCount]; items.number() > 1)
        out(" (and {} more items)", items.number() - 1);
}

void describe(const LayerView& s7, TextSink& out)
{
    out("{}", s7[kind]);
    if (const auto what = s7[function])
        out(", {}", what);
    else if (const auto which = s7[group])
        out(", {} {}", which, s7[subfunction]);
    describeItem(s7, out);
    if (const auto size = s7[pduLength])
        out(", PDU of {} bytes", size);
    if (const auto why = s7[errorClass]; why.number())
        out(", error: {}, code {}", why, s7[errorCode]);
    if (const auto outcome = s7[result]; outcome && s7[kind].number() != job)
        out(", {}", outcome);
    out(", reference {}", s7[reference]);
}
} // namespace

constexpr Protocol protocol{{"s7comm", "S7comm", Wire::layer}, {}, {}, decode, describe};
static_assert(wellFormed(protocol));
} // namespace netrondo::s7comm
