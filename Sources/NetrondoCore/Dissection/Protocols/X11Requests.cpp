// The requests of an X11 client: their kinds, and whom they are about.
#include "Dissection/Protocols/X11Messages.h"

#include <algorithm>

namespace netrondo::x11 {
namespace {
constexpr Field minorOpcode{"x11.minor_opcode", "Opcode in the extension", Wire::u8};
constexpr Field drawable{"x11.drawable", "Drawable", Wire::hex};
constexpr Field destination{"x11.destination", "Destination", Wire::hex};
constexpr Field pixmap{"x11.pixmap", "Pixmap", Wire::hex};
constexpr Field gc{"x11.gc", "Graphics context", Wire::hex};
constexpr Field font{"x11.font", "Font", Wire::hex};
constexpr Field colormap{"x11.colormap", "Colormap", Wire::hex};
constexpr Field cursor{"x11.cursor", "Cursor", Wire::hex};
constexpr Field selection{"x11.selection", "Selection (atom)", Wire::number};
constexpr Field nameLength{"x11.name_len", "Name length", Wire::number};

/// What stands behind the first four bytes of a request, as far as it is told: words, then two or four half words.
struct Shape {
    std::uint8_t opcode;
    std::uint8_t halves; ///< 2: a size; 4: a place and a size
    const Field* words[3] = {};
};
constexpr Shape shapes[] = {{1, 4, {&window, &parent}},
                            {2, 0, {&window}},
                            {3, 0, {&window}},
                            {4, 0, {&window}},
                            {5, 0, {&window}},
                            {6, 0, {&window}},
                            {7, 0, {&window, &parent}},
                            {8, 0, {&window}},
                            {9, 0, {&window}},
                            {10, 0, {&window}},
                            {11, 0, {&window}},
                            {12, 0, {&window}},
                            {13, 0, {&window}},
                            {14, 0, {&drawable}},
                            {15, 0, {&window}},
                            {17, 0, {&property}},
                            {18, 0, {&window, &property, &type}},
                            {19, 0, {&window, &property}},
                            {20, 0, {&window, &property, &type}},
                            {21, 0, {&window}},
                            {22, 0, {&window, &selection, &time}},
                            {23, 0, {&selection}},
                            {24, 0, {&window, &selection, &type}},
                            {25, 0, {&window}},
                            {26, 0, {&window}},
                            {28, 0, {&window}},
                            {31, 0, {&window, &time}},
                            {38, 0, {&window}},
                            {42, 0, {&window, &time}},
                            {46, 0, {&font}},
                            {47, 0, {&font}},
                            {53, 2, {&pixmap, &drawable}},
                            {54, 0, {&pixmap}},
                            {55, 0, {&gc, &drawable}},
                            {56, 0, {&gc}},
                            {59, 0, {&gc}},
                            {60, 0, {&gc}},
                            {61, 4, {&window}},
                            {62, 0, {&drawable, &destination, &gc}},
                            {63, 0, {&drawable, &destination, &gc}},
                            {64, 0, {&drawable, &gc}},
                            {65, 0, {&drawable, &gc}},
                            {66, 0, {&drawable, &gc}},
                            {67, 0, {&drawable, &gc}},
                            {68, 0, {&drawable, &gc}},
                            {69, 0, {&drawable, &gc}},
                            {70, 0, {&drawable, &gc}},
                            {71, 0, {&drawable, &gc}},
                            {72, 2, {&drawable, &gc}},
                            {73, 4, {&drawable}},
                            {74, 0, {&drawable, &gc}},
                            {75, 0, {&drawable, &gc}},
                            {76, 0, {&drawable, &gc}},
                            {77, 0, {&drawable, &gc}},
                            {78, 0, {&colormap, &window}},
                            {79, 0, {&colormap}},
                            {84, 0, {&colormap}},
                            {93, 0, {&cursor}},
                            {94, 0, {&cursor, &font}},
                            {95, 0, {&cursor}}};

/// What stands before the length of a name.
constexpr const Field* fontOnly[] = {&font};
constexpr const Field* colormapOnly[] = {&colormap};

void readName(Layer& x11, const Numbers& numbers, std::span<const Field* const> before)
{
    numbers.readWords(before);
    const auto size = numbers.readHalf(nameLength);
    x11.skip(2);
    x11.readText(name, size);
}

void readArguments(Layer& x11, const Numbers& numbers, std::uint64_t code)
{
    switch (code) {
    case 16:
    case 98: readName(x11, numbers, {}); break;
    case 45: readName(x11, numbers, fontOnly); break;
    case 85:
    case 92: readName(x11, numbers, colormapOnly); break;
    default:
        for (const auto& shape : shapes) {
            if (shape.opcode != code)
                continue;
            numbers.readWords(shape.words);
            if (shape.halves == 4)
                numbers.readHalf(x), numbers.readHalf(y);
            if (shape.halves)
                numbers.readHalf(width), numbers.readHalf(height);
        }
    }
    if (x11.more())
        x11.readRest(data);
}

/// Whether a request of that kind can be so many words long, where its kind alone says.
bool lengthFits(unsigned code, std::size_t words, std::size_t nameSize)
{
    constexpr std::uint8_t bare[] = {36, 37, 43, 44, 52, 99, 103, 106, 108, 110, 117, 119};
    constexpr std::uint8_t ofOneWord[] = {3,  4,  5,  8,  9,  10, 11, 14, 15, 17, 21, 23, 27,
                                          32, 38, 46, 47, 54, 60, 79, 81, 82, 83, 95, 113};
    if (std::ranges::find(bare, code) != std::end(bare))
        return words == 1;
    if (std::ranges::find(ofOneWord, code) != std::end(ofOneWord))
        return words == 2;
    if (code == 16 || code == 49 || code == 50 || code == 98) // a name fills them
        return words == 2 + padded(nameSize) / 4;
    return true;
}

/// Requests of more than 65535 words leave their length empty and have a long one behind it.
bool isRequest(Layer& x11, const Numbers& numbers)
{
    const auto code = x11.peek8();
    if (code == 0 || (code > 119 && code < 127))
        return false;
    if (x11.left() < 8)
        return x11.left() < 4 || numbers.half(2) != 0;
    if (numbers.half(2) == 0)
        return numbers.word(4) > 2;
    const auto nameSize = code == 49 || code == 50 ? numbers.half(6) : numbers.half(4);
    return lengthFits(code, numbers.half(2), nameSize);
}

} // namespace

void readRequests(Layer& x11, const Numbers& numbers, WaitingRequests* waiting)
{
    while (x11.more()) {
        if (!isRequest(x11, numbers)) // the middle of a long request whose beginning was not seen
            return static_cast<void>(x11.readRest(data));
        x11.beginMessage();
        const Layer::Group group(x11, request, x11.peek8());
        const auto code = x11.read(opcode);
        x11.read(code < 128 ? detail : minorOpcode);
        std::uint64_t size = std::uint64_t{numbers.readHalf(length)} * 4;
        const std::uint64_t head = size ? 4 : 8;
        if (!size)
            size = std::uint64_t{numbers.readWord(length)} * 4;
        if (x11.stopped() || size < head)
            return x11.reject(length);
        const bool goesBy = x11.expect(size - head);
        if (waiting && (goesBy || size - head <= x11.leftOnWire())) // else it is read again once it is whole
            waiting->add(static_cast<std::uint8_t>(code));
        const Layer::Window content(x11, size - head);
        if (x11.more())
            readArguments(x11, numbers, code);
    }
}

} // namespace netrondo::x11
