// Points, measured values, commands, qualities and times.
#include "Dissection/Protocols/Iec104Elements.h"

#include "Dissection/Protocols/MadeText.h"

#include <algorithm>
#include <bit>

namespace netrondo::iec104 {
namespace {
constexpr NamedValue singleStates[] = {{0, "off"}, {1, "on"}};
constexpr NamedValue doubleStates[] = {{0, "indeterminate"}, {1, "off"}, {2, "on"}, {3, "indeterminate"}};
constexpr NamedValue doubleCommands[] = {{0, "not permitted"}, {1, "off"}, {2, "on"}, {3, "not permitted"}};
constexpr NamedValue stepCommands[] = {{0, "not permitted"}, {1, "lower"}, {2, "higher"}, {3, "not permitted"}};
constexpr NamedValue commandQualifiers[] = {
    {0, "unspecified"}, {1, "short pulse"}, {2, "long pulse"}, {3, "persistent"}};
constexpr NamedValue qualities[] = {
    {0x80, "invalid"}, {0x40, "not topical"}, {0x20, "substituted"}, {0x10, "blocked"}, {0x01, "overflow"}};
constexpr NamedValue initialCauses[] = {{0, "switched on"}, {1, "reset by hand"}, {2, "remote reset"}};
constexpr NamedValue interrogations[] = {
    {20, "station"},  {21, "group 1"},  {22, "group 2"},  {23, "group 3"},  {24, "group 4"},  {25, "group 5"},
    {26, "group 6"},  {27, "group 7"},  {28, "group 8"},  {29, "group 9"},  {30, "group 10"}, {31, "group 11"},
    {32, "group 12"}, {33, "group 13"}, {34, "group 14"}, {35, "group 15"}, {36, "group 16"}};
constexpr NamedValue counterRequests[] = {{1, "group 1"}, {2, "group 2"}, {3, "group 3"}, {4, "group 4"}, {5, "all"}};
constexpr NamedValue freezes[] = {{0, "read"}, {1, "freeze"}, {2, "freeze and reset"}, {3, "reset"}};
constexpr NamedValue resets[] = {{1, "process"}, {2, "time-tagged information"}};
constexpr NamedValue parameterKinds[] = {{1, "threshold"}, {2, "smoothing"}, {3, "low limit"}, {4, "high limit"}};
constexpr NamedValue activations[] = {
    {1, "parameters loaded before"}, {2, "parameters of the object"}, {3, "cyclic transmission"}};

constexpr Field single{"iec104.siq", "Single point", Wire::hex8};
constexpr Field twofold{"iec104.diq", "Double point", Wire::hex8};
constexpr Field singleState{"iec104.state", "State", Wire::bits, singleStates, 0x01};
constexpr Field doubleState{"iec104.state", "State", Wire::bits, doubleStates, 0x03};
constexpr Field invalid{"iec104.invalid", "Invalid", Wire::bit, {}, 0x80};
constexpr Field notTopical{"iec104.not_topical", "Not topical", Wire::bit, {}, 0x40};
constexpr Field substituted{"iec104.substituted", "Substituted", Wire::bit, {}, 0x20};
constexpr Field blocked{"iec104.blocked", "Blocked", Wire::bit, {}, 0x10};
constexpr Field quality{"iec104.quality", "Quality", Wire::flags8, qualities};
constexpr Field step{"iec104.vti", "Step position", Wire::hex8};
constexpr Field isTransient{"iec104.transient", "In transition", Wire::bit, {}, 0x80};
constexpr Field position{"iec104.position", "Position", Wire::i32};
constexpr Field bitString{"iec104.bits", "Bits", Wire::leHex32};
constexpr Field normalized{"iec104.normalized", "Normalized value", Wire::madeText};
constexpr Field scaled{"iec104.scaled", "Scaled value", Wire::i32};
constexpr Field real{"iec104.float", "Value", Wire::madeText};
constexpr Field counter{"iec104.counter", "Counter", Wire::i32};
constexpr Field counterByte{"iec104.counter_byte", "Counter's state", Wire::hex8};
constexpr Field counterInvalid{"iec104.counter_invalid", "Invalid", Wire::bit, {}, 0x80};
constexpr Field counterAdjusted{"iec104.counter_adjusted", "Adjusted", Wire::bit, {}, 0x40};
constexpr Field counterCarry{"iec104.counter_carry", "Carry", Wire::bit, {}, 0x20};
constexpr Field counterNumber{"iec104.counter_seq", "Sequence number", Wire::bits, {}, 0x1f};
constexpr Field states{"iec104.states", "States", Wire::leHex16};
constexpr Field changes{"iec104.changes", "Changes", Wire::leHex16};
constexpr Field commandByte{"iec104.command", "Command", Wire::hex8};
constexpr Field doubleCommand{"iec104.order", "Order", Wire::bits, doubleCommands, 0x03};
constexpr Field stepCommand{"iec104.order", "Order", Wire::bits, stepCommands, 0x03};
constexpr Field singleCommand{"iec104.order", "Order", Wire::bits, singleStates, 0x01};
constexpr Field commandQualifier{"iec104.qualifier", "Qualifier", Wire::bits, commandQualifiers, 0x7c};
constexpr Field isSelect{"iec104.select", "Select only", Wire::bit, {}, 0x80};
constexpr Field setPointByte{"iec104.qos", "Set-point qualifier", Wire::hex8};
constexpr Field setPoint{"iec104.qualifier", "Qualifier", Wire::bits, {}, 0x7f};
constexpr Field initialByte{"iec104.coi", "Cause of initialization", Wire::hex8};
constexpr Field initialCause{"iec104.initial_cause", "Cause", Wire::bits, initialCauses, 0x7f};
constexpr Field changedParameters{"iec104.changed_parameters", "Parameters changed", Wire::bit, {}, 0x80};
constexpr Field interrogation{"iec104.interrogation", "Interrogation", Wire::u8, interrogations};
constexpr Field counterByte2{"iec104.qcc", "Counter interrogation", Wire::hex8};
constexpr Field counterRequest{"iec104.counter_request", "Request", Wire::bits, counterRequests, 0x3f};
constexpr Field freeze{"iec104.freeze", "Freeze", Wire::bits, freezes, 0xc0};
constexpr Field reset{"iec104.reset", "Reset", Wire::u8, resets};
constexpr Field testCounter{"iec104.test_counter", "Test counter", Wire::le16};
constexpr Field parameterByte{"iec104.qpm", "Parameter", Wire::hex8};
constexpr Field parameterKind{"iec104.parameter", "Kind", Wire::bits, parameterKinds, 0x3f};
constexpr Field activation{"iec104.activation", "Activation", Wire::u8, activations};
constexpr Field time{"iec104.time", "Time", Wire::madeText};
constexpr Field element{"iec104.element", "Element", Wire::bytes};

enum class Part : std::uint8_t {
    none,
    singlePoint,
    doublePoint,
    stepPosition,
    qualityByte,
    bits32,
    normalizedValue,
    scaledValue,
    shortFloat,
    counterReading,
    statesAndChanges,
    time24,
    time56,
    singleOrder,
    doubleOrder,
    stepOrder,
    setPointQualifier,
    initialization,
    interrogationQualifier,
    counterQualifier,
    resetQualifier,
    testNumber,
    parameterQualifier,
    activationQualifier,
    file, ///< not taken apart; its size stands with the type
};

constexpr std::size_t sizeOfPart(Part part)
{
    switch (part) {
    case Part::none:
    case Part::file: return 0;
    case Part::normalizedValue:
    case Part::scaledValue:
    case Part::testNumber: return 2;
    case Part::time24: return 3;
    case Part::bits32:
    case Part::shortFloat:
    case Part::statesAndChanges: return 4;
    case Part::counterReading: return 5;
    case Part::time56: return 7;
    default: return 1;
    }
}

struct Contents {
    std::uint8_t type;
    Part parts[3];
    std::uint8_t size = 0; ///< of files
};

using enum Part;
constexpr Contents contents[] = {{1, {singlePoint}},
                                 {2, {singlePoint, time24}},
                                 {3, {doublePoint}},
                                 {4, {doublePoint, time24}},
                                 {5, {stepPosition, qualityByte}},
                                 {6, {stepPosition, qualityByte, time24}},
                                 {7, {bits32, qualityByte}},
                                 {8, {bits32, qualityByte, time24}},
                                 {9, {normalizedValue, qualityByte}},
                                 {10, {normalizedValue, qualityByte, time24}},
                                 {11, {scaledValue, qualityByte}},
                                 {12, {scaledValue, qualityByte, time24}},
                                 {13, {shortFloat, qualityByte}},
                                 {14, {shortFloat, qualityByte, time24}},
                                 {15, {counterReading}},
                                 {16, {counterReading, time24}},
                                 {20, {statesAndChanges, qualityByte}},
                                 {21, {normalizedValue}},
                                 {30, {singlePoint, time56}},
                                 {31, {doublePoint, time56}},
                                 {32, {stepPosition, qualityByte, time56}},
                                 {33, {bits32, qualityByte, time56}},
                                 {34, {normalizedValue, qualityByte, time56}},
                                 {35, {scaledValue, qualityByte, time56}},
                                 {36, {shortFloat, qualityByte, time56}},
                                 {37, {counterReading, time56}},
                                 {45, {singleOrder}},
                                 {46, {doubleOrder}},
                                 {47, {stepOrder}},
                                 {48, {normalizedValue, setPointQualifier}},
                                 {49, {scaledValue, setPointQualifier}},
                                 {50, {shortFloat, setPointQualifier}},
                                 {51, {bits32}},
                                 {58, {singleOrder, time56}},
                                 {59, {doubleOrder, time56}},
                                 {60, {stepOrder, time56}},
                                 {61, {normalizedValue, setPointQualifier, time56}},
                                 {62, {scaledValue, setPointQualifier, time56}},
                                 {63, {shortFloat, setPointQualifier, time56}},
                                 {64, {bits32, time56}},
                                 {70, {initialization}},
                                 {100, {interrogationQualifier}},
                                 {101, {counterQualifier}},
                                 {102, {}},
                                 {103, {time56}},
                                 {105, {resetQualifier}},
                                 {107, {testNumber, time56}},
                                 {110, {normalizedValue, parameterQualifier}},
                                 {111, {scaledValue, parameterQualifier}},
                                 {112, {shortFloat, parameterQualifier}},
                                 {113, {activationQualifier}},
                                 {120, {file}, 6},
                                 {121, {file}, 7},
                                 {122, {file}, 4},
                                 {123, {file}, 5},
                                 {124, {file}, 4},
                                 {126, {file}, 13}};

const Contents* contentsOf(std::uint64_t type)
{
    const auto* found = std::ranges::find(contents, type, &Contents::type);
    return found == std::end(contents) ? nullptr : found;
}

/// Little-endian and signed, in two bytes.
std::int64_t signedAt(const Layer& iec)
{
    return static_cast<std::int16_t>(load::le16(iec.rest().data()));
}

void readStep(Layer& iec)
{
    const unsigned byte = iec.peek8(), low = byte & 0x7f;
    const auto at = iec.offset();
    iec.readParts(step, isTransient);
    iec.add(position, static_cast<std::uint64_t>(static_cast<std::int64_t>(low) - (low & 0x40 ? 128 : 0)), at, 1);
}

/// Three or seven bytes: milliseconds and minutes, then hours, day, month and year.
void readTime(Layer& iec, bool isLong)
{
    const auto bytes = iec.rest();
    const unsigned thousandths = load::le16(bytes.data());
    MadeText made;
    if (isLong) {
        made.add("20{:02}-{:02}-{:02} {:02}:", bytes[6] & 0x7f, bytes[5] & 0x0f, bytes[4] & 0x1f, bytes[3] & 0x1f);
    }
    made.add("{:02}:{:02}.{:03}", bytes[2] & 0x3f, thousandths / 1000, thousandths % 1000);
    if (isLong && bytes[3] & 0x80)
        made.put(", summer time");
    if (bytes[2] & 0x80)
        made.put(", invalid");
    const std::size_t size = isLong ? 7 : 3;
    iec.addText(time, made, iec.offset(), size);
    iec.skip(size);
}

void readPart(Layer& iec, Part part)
{
    if (iec.left() < sizeOfPart(part))
        return iec.await(element, sizeOfPart(part) - iec.left());
    MadeText made;
    switch (part) {
    case singlePoint: iec.readParts(single, singleState, invalid, notTopical, substituted, blocked); break;
    case doublePoint: iec.readParts(twofold, doubleState, invalid, notTopical, substituted, blocked); break;
    case stepPosition: readStep(iec); break;
    case qualityByte: iec.read(quality); break;
    case bits32: iec.read(bitString); break;
    case normalizedValue:
        made.add("{}", static_cast<double>(signedAt(iec)) / 32'768);
        iec.addText(normalized, made, iec.offset(), 2);
        iec.skip(2);
        break;
    case scaledValue:
        iec.add(scaled, static_cast<std::uint64_t>(signedAt(iec)), iec.offset(), 2);
        iec.skip(2);
        break;
    case shortFloat:
        made.add("{}", std::bit_cast<float>(load::le32(iec.rest().data())));
        iec.addText(real, made, iec.offset(), 4);
        iec.skip(4);
        break;
    case counterReading:
        iec.add(counter,
                static_cast<std::uint64_t>(std::int64_t{static_cast<std::int32_t>(load::le32(iec.rest().data()))}),
                iec.offset(), 4);
        iec.skip(4);
        iec.readParts(counterByte, counterInvalid, counterAdjusted, counterCarry, counterNumber);
        break;
    case statesAndChanges: iec.read(states, changes); break;
    case time24: readTime(iec, false); break;
    case time56: readTime(iec, true); break;
    case singleOrder: iec.readParts(commandByte, singleCommand, commandQualifier, isSelect); break;
    case doubleOrder: iec.readParts(commandByte, doubleCommand, commandQualifier, isSelect); break;
    case stepOrder: iec.readParts(commandByte, stepCommand, commandQualifier, isSelect); break;
    case setPointQualifier: iec.readParts(setPointByte, setPoint, isSelect); break;
    case initialization: iec.readParts(initialByte, initialCause, changedParameters); break;
    case interrogationQualifier: iec.read(interrogation); break;
    case counterQualifier: iec.readParts(counterByte2, counterRequest, freeze); break;
    case resetQualifier: iec.read(reset); break;
    case testNumber: iec.read(testCounter); break;
    case parameterQualifier: iec.readParts(parameterByte, parameterKind); break;
    case activationQualifier: iec.read(activation); break;
    case none:
    case file: break;
    }
}

} // namespace

std::optional<std::size_t> elementSize(std::uint64_t type)
{
    const auto* known = contentsOf(type);
    if (!known)
        return std::nullopt;
    std::size_t size = known->size;
    for (const auto part : known->parts)
        size += sizeOfPart(part);
    return size;
}

void readElement(Layer& iec, std::uint64_t type)
{
    const auto* known = contentsOf(type);
    if (!known)
        return;
    if (known->size)
        return static_cast<void>(iec.readBytes(element, known->size));
    for (const auto part : known->parts) {
        if (part != none && !iec.stopped())
            readPart(iec, part);
    }
}

void describeElement(std::span<const Node> object, const DecodeTree& tree, TextSink& out)
{
    const auto first = [&](std::initializer_list<const Field*> wanted) {
        const auto found = std::ranges::find_if(
            object, [&](const Node& node) { return std::ranges::find(wanted, node.field) != wanted.end(); });
        return Value(tree, found == object.end() ? nullptr : &*found);
    };
    if (const auto value =
            first({&singleState, &doubleState, &position, &bitString, &states, &normalized, &scaled, &real, &counter,
                   &singleCommand, &doubleCommand, &stepCommand, &interrogation, &counterRequest, &reset}))
        out(" = {}", value);
    if (const auto how = first({&quality}); how.number())
        out(" ({})", how);
    else if (first({&invalid}) == 1)
        out(" (invalid)");
    if (const auto selects = first({&isSelect}))
        out(", {}", selects == 1 ? "select" : "execute");
}

} // namespace netrondo::iec104
