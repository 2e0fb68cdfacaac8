// Messages of VNC: what the client does, what the screen shows.
#include "Dissection/Protocols/VncMessages.h"

#include <algorithm>
#include <optional>

namespace netrondo::vncMessages {
namespace {
constexpr Field clientMessage{"vnc.client", "Client message", Wire::number, vncNames::clientMessages};
constexpr Field serverMessage{"vnc.server", "Server message", Wire::number, vncNames::serverMessages};
constexpr Field messageType{"vnc.type", "Message type", Wire::u8};
constexpr Field pixelFormat{"vnc.pixel_format", "Pixel format", Wire::group};
constexpr Field depth{"vnc.depth", "Depth", Wire::u8};
constexpr Field bigEndian{"vnc.big_endian", "Big-endian", Wire::u8};
constexpr Field trueColour{"vnc.true_colour", "True colour", Wire::u8};
constexpr Field redMaximum{"vnc.red_max", "Red maximum", Wire::u16};
constexpr Field greenMaximum{"vnc.green_max", "Green maximum", Wire::u16};
constexpr Field blueMaximum{"vnc.blue_max", "Blue maximum", Wire::u16};
constexpr Field redShift{"vnc.red_shift", "Red shift", Wire::u8};
constexpr Field greenShift{"vnc.green_shift", "Green shift", Wire::u8};
constexpr Field blueShift{"vnc.blue_shift", "Blue shift", Wire::u8};
constexpr Field encodingCount{"vnc.encodings", "Encodings", Wire::u16};
constexpr Field encoding{"vnc.encoding", "Encoding", Wire::i32, vncNames::encodings};
constexpr Field incremental{"vnc.incremental", "Incremental", Wire::u8};
constexpr Field x{"vnc.x", "X", Wire::u16};
constexpr Field y{"vnc.y", "Y", Wire::u16};
constexpr Field sourceX{"vnc.source_x", "Source X", Wire::u16};
constexpr Field sourceY{"vnc.source_y", "Source Y", Wire::u16};
constexpr Field down{"vnc.down", "Down", Wire::u8};
constexpr Field key{"vnc.key", "Key", Wire::hex32, vncNames::keys};
constexpr Field buttons{"vnc.buttons", "Buttons", Wire::hex8};
constexpr Field rectangles{"vnc.rectangles", "Rectangles", Wire::u16};
constexpr Field rectangle{"vnc.rectangle", "Rectangle", Wire::group};
constexpr Field length{"vnc.length", "Length", Wire::u32};
constexpr Field unknownLength{"vnc.unknown_length", "Nothing tells how long this rectangle is", Wire::none};
constexpr Field firstColour{"vnc.first_colour", "First colour", Wire::u16};
constexpr Field colours{"vnc.colours", "Colours", Wire::u16};
constexpr Field text{"vnc.text", "Text", Wire::text};

enum Encoding : std::int64_t {
    raw = 0,
    copyRectangle = 1,
    rre = 2,
    coRre = 4,
    zlib = 6,
    tight = 7,
    zrle = 16,
    desktopSize = -223,
    lastRectangle = -224,
    pointerPosition = -232,
    cursor = -239,
    xCursor = -240,
    pointerMotion = -257,
    extendedKey = -258,
    ledState = -261,
    desktopName = -307,
    extendedDesktopSize = -308,
};

/// Text for the other side's clipboard. A length below zero is of a later extension and means as many bytes.
void readCutText(Layer& vnc)
{
    vnc.skip(3);
    const auto size = static_cast<std::uint32_t>(vnc.read(length));
    readContent(vnc, text, size >> 31 ? 0u - size : size);
}

/// How long a client's message is; 0 for bytes that are none, or not all of one.
std::size_t clientMessageSize(Bytes bytes)
{
    if (bytes.size() < 6)
        return 0;
    switch (bytes[0]) {
    case 0: return bytes.size() >= 20 && (bytes[4] == 8 || bytes[4] == 16 || bytes[4] == 32) ? 20 : 0;
    case 2: return bytes[1] == 0 ? 4 + std::size_t{load::be16(&bytes[2])} * 4 : 0;
    case 3: return bytes[1] <= 1 ? 10 : 0;
    case 4: return bytes[1] <= 1 && bytes[2] == 0 && bytes[3] == 0 ? 8 : 0;
    case 5: return 6;
    case 6: return bytes.size() >= 8 ? 8 + std::size_t{load::be32(&bytes[4])} : 0;
    default: return 0;
    }
}

/// Whether the bytes are messages up to their end.
bool areClientMessages(Bytes bytes)
{
    while (!bytes.empty()) {
        const auto size = clientMessageSize(bytes);
        if (!size || size > bytes.size())
            return false;
        bytes = bytes.subspan(size);
    }
    return true;
}

/// An update with a rectangle of a known encoding.
bool isUpdate(const Layer& vnc)
{
    const auto count = vnc.peek16(2);
    const auto kind = static_cast<std::int32_t>(vnc.peek32(12));
    return vnc.left() >= 16 && vnc.peek16() == 0 && count > 0 && count < 2000
        && !nameIn(vncNames::encodings, vncNames::pseudo(kind)).empty();
}

/// How long the pixels of a Tight rectangle are (the protocol's community edition, 7.7.6), from its first byte on;
/// nothing where that is not here, or not known.
std::optional<std::uint64_t> tightSize(const Layer& vnc, std::uint64_t columns, std::uint64_t rows,
                                       std::uint8_t pixelSize)
{
    const auto control = vnc.peek8() >> 4;
    std::uint64_t at = 1;
    std::uint64_t packed = 0; // before compression
    if (!vnc.left() || !pixelSize || control > 9)
        return {};
    if (control == 8)
        return at + pixelSize;
    if (control < 8) {
        const auto filter = control & 4 ? vnc.peek8(at++) : std::uint8_t{0};
        packed = columns * rows * pixelSize;
        if (filter == 1) {
            const auto colourCount = vnc.peek8(at++) + 1u;
            at += std::uint64_t{colourCount} * pixelSize;
            packed = (colourCount <= 2 ? (columns + 7) / 8 : columns) * rows;
        } else if (filter > 2) {
            return {};
        }
        if (packed < 12) // not worth it
            return at + packed;
    }
    std::uint64_t size = 0;
    for (unsigned shift = 0; shift <= 14; shift += 7) {
        if (vnc.left() <= at)
            return {};
        const auto byte = vnc.peek8(at++);
        size |= (shift < 14 ? byte & 0x7fu : byte) << shift;
        if (!(byte & 0x80))
            break;
    }
    return at + size;
}

/// How many bytes follow the head of a rectangle; nothing where that is not told, or not here.
std::optional<std::uint64_t> contentSize(const Layer& vnc, std::int64_t kind, std::uint64_t columns, std::uint64_t rows,
                                         const State& state)
{
    const std::uint64_t pixel = state.pixelSize;
    const auto mask = (columns + 7) / 8 * rows;
    switch (kind) {
    case raw: return pixel ? std::optional(columns * rows * pixel) : std::nullopt;
    case rre: return pixel && vnc.left() >= 4 ? std::optional(4 + pixel + vnc.peek32() * (pixel + 8)) : std::nullopt;
    case coRre: return pixel && vnc.left() >= 4 ? std::optional(4 + pixel + vnc.peek32() * (pixel + 4)) : std::nullopt;
    case tight: return tightSize(vnc, columns, rows, state.tightPixelSize);
    case cursor: return pixel || !columns || !rows ? std::optional(columns * rows * pixel + mask) : std::nullopt;
    case xCursor: return mask ? 6 + 2 * mask : 0;
    case desktopSize:
    case lastRectangle:
    case pointerPosition:
    case pointerMotion:
    case extendedKey: return 0;
    case ledState: return 1;
    case extendedDesktopSize: return vnc.left() ? std::optional(4 + 16 * std::uint64_t{vnc.peek8()}) : std::nullopt;
    default: return {};
    }
}

/// What is missing of a rectangle's length comes with the next segment; of another kind of rectangle, it never does.
bool tellsLength(std::int64_t kind, const State& state)
{
    switch (kind) {
    case rre:
    case coRre: return state.pixelSize;
    case tight: return state.tightPixelSize;
    case extendedDesktopSize: return true;
    default: return false;
    }
}

bool readRectangle(Layer& vnc, State& state)
{
    constexpr std::size_t head = 12;
    const auto kind = static_cast<std::int32_t>(vnc.peek32(8));
    const auto right = vnc.peek16() + vnc.peek16(4), bottom = vnc.peek16(2) + vnc.peek16(6);
    const bool isPicture = kind >= 0;
    if (vnc.left() >= head
        && (nameIn(vncNames::encodings, vncNames::pseudo(kind)).empty()
            || (isPicture && state.width && (right > state.width || bottom > state.height))))
        return false;
    const Layer::Group group(vnc, rectangle);
    vnc.read(x, y);
    const auto columns = vnc.read(width), rows = vnc.read(height);
    vnc.read(encoding);
    if (vnc.stopped())
        return true;
    --state.rectangles;
    if (kind == lastRectangle)
        state.rectangles = 0;
    if (kind == desktopSize || kind == extendedDesktopSize)
        state.width = static_cast<std::uint16_t>(columns), state.height = static_cast<std::uint16_t>(rows);
    if (kind == copyRectangle) {
        vnc.read(sourceX, sourceY);
    } else if (kind == zlib || kind == zrle || kind == desktopName) {
        const auto size = vnc.read(length);
        if (!vnc.stopped())
            readContent(vnc, kind == desktopName ? text : data, size);
    } else if (const auto size = contentSize(vnc, kind, columns, rows, state)) {
        readContent(vnc, data, *size);
    } else if (tellsLength(kind, state) && vnc.left() < 1024) {
        vnc.await(data);
    } else {
        vnc.add(unknownLength, 0, vnc.offset(), 0);
        return false;
    }
    return true;
}

} // namespace

void readContent(Layer& vnc, const Field& field, std::uint64_t size)
{
    if (vnc.stopped())
        return;
    if (size > vnc.leftOnWire())
        vnc.goesOn(size - vnc.leftOnWire());
    if (const auto here = std::min<std::uint64_t>(size, vnc.left()))
        vnc.readBytes(field, here);
}

void readPixelFormat(Layer& vnc, State& state)
{
    const Layer::Group group(vnc, pixelFormat);
    const auto bits = vnc.read(bitsPerPixel), used = vnc.read(depth);
    vnc.read(bigEndian);
    const auto isTrue = vnc.read(trueColour);
    const auto red = vnc.read(redMaximum), green = vnc.read(greenMaximum), blue = vnc.read(blueMaximum);
    vnc.read(redShift, greenShift, blueShift);
    vnc.skip(3);
    if (vnc.stopped())
        return;
    const bool isKnown = bits == 8 || bits == 16 || bits == 32;
    state.pixelSize = static_cast<std::uint8_t>(isKnown ? bits / 8 : 0);
    const bool isShort = bits == 32 && used == 24 && isTrue && red == 255 && green == 255 && blue == 255;
    state.tightPixelSize = isShort ? 3 : state.pixelSize;
}

bool readFromClient(Layer& vnc, State& state)
{
    const auto kind = vnc.peek8();
    if (!state.isClientInStep && !areClientMessages(vnc.rest()))
        return false;
    state.isClientInStep = !nameIn(vncNames::clientMessages, kind).empty();
    if (!state.isClientInStep)
        return false;
    const Layer::Group group(vnc, clientMessage, kind);
    vnc.read(messageType);
    switch (kind) {
    case 0: vnc.skip(3), readPixelFormat(vnc, state); break;
    case 2: {
        vnc.skip(1);
        for (auto count = vnc.read(encodingCount); count && !vnc.stopped(); --count)
            vnc.read(encoding);
        break;
    }
    case 3: vnc.read(incremental, x, y, width, height); break;
    case 4: vnc.read(down), vnc.skip(2), vnc.read(key); break;
    case 5: vnc.read(buttons, x, y); break;
    default: readCutText(vnc); break;
    }
    return true;
}

bool readFromServer(Layer& vnc, State& state)
{
    if (!state.isServerInStep) {
        if (!isUpdate(vnc))
            return false;
        state.isServerInStep = true;
        state.rectangles = 0;
    }
    if (state.rectangles > 0)
        return state.isServerInStep = readRectangle(vnc, state);
    const auto kind = vnc.peek8();
    state.isServerInStep = !nameIn(vncNames::serverMessages, kind).empty();
    if (!state.isServerInStep)
        return false;
    const Layer::Group group(vnc, serverMessage, kind);
    vnc.read(messageType);
    if (kind == 0) {
        vnc.skip(1);
        state.rectangles = static_cast<std::uint16_t>(vnc.read(rectangles));
    } else if (kind == 1) {
        vnc.skip(1), vnc.read(firstColour);
        readContent(vnc, data, vnc.read(colours) * 6);
    } else if (kind == 3) {
        readCutText(vnc);
    }
    return true;
}

namespace {

void listEncodings(const LayerView& vnc, TextSink& out)
{
    std::size_t told = 0;
    vnc.each(encoding, [&](const Value& entry) {
        if (++told <= 6)
            out("{}{}", told == 1 ? ": " : ", ", entry);
    });
    if (told > 6)
        out(" and {} more", told - 6);
}

void describeKey(const Value& value, TextSink& out)
{
    const auto number = value.number();
    if (number > ' ' && number < 0x7f)
        out(", {}", static_cast<char>(number));
    else
        out(", {}", value);
}

void describeFromClient(const LayerView& vnc, const Value& kind, TextSink& out)
{
    out("{}", kind);
    switch (kind.number()) {
    case 0: return out(", {} bits per pixel, depth {}", vnc[bitsPerPixel], vnc[depth]);
    case 2: return listEncodings(vnc, out);
    case 3:
        return out("{}, {} × {} at {}, {}", vnc[incremental].number() ? ", incremental" : "", vnc[width], vnc[height],
                   vnc[x], vnc[y]);
    case 4: describeKey(vnc[key], out); return out(" {}", vnc[down].number() ? "pressed" : "released");
    case 5:
        out(" at {}, {}", vnc[x], vnc[y]);
        if (const auto held = vnc[buttons]; held.number())
            out(", buttons {}", held);
        return;
    default: return out(" “{}”", vnc[text]);
    }
}

void describeFromServer(const LayerView& vnc, const Value& kind, TextSink& out)
{
    out("{}", kind);
    if (kind == 0)
        out(", {} rectangles{}{}", vnc[rectangles], vnc.has(encoding) ? ", " : "", vnc[encoding]);
    else if (kind == 1)
        out(", {} from {}", vnc[colours], vnc[firstColour]);
    else if (kind == 3)
        out(" “{}”", vnc[text]);
}

} // namespace

void describe(const LayerView& vnc, TextSink& out)
{
    const auto messages = vnc.count(clientMessage) + vnc.count(serverMessage);
    if (const auto kind = vnc[clientMessage])
        describeFromClient(vnc, kind, out);
    else if (const auto other = vnc[serverMessage])
        describeFromServer(vnc, other, out);
    else if (vnc.has(rectangle))
        out("Rectangle of {} × {} at {}, {}, {}", vnc[width], vnc[height], vnc[x], vnc[y], vnc[encoding]);
    if (messages > 1)
        out(" (and {} more messages)", messages - 1);
}

} // namespace netrondo::vncMessages
