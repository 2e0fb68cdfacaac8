// What an X11 server sends: replies, errors and events.
#include "Dissection/Protocols/X11Messages.h"

namespace netrondo::x11 {
namespace {
constexpr Field sequence{"x11.seq", "Sequence number", Wire::number};
constexpr Field root{"x11.root", "Root", Wire::hex};
constexpr Field child{"x11.child", "Child", Wire::hex};
constexpr Field sibling{"x11.sibling", "Sibling", Wire::hex};
constexpr Field rootX{"x11.root_x", "X in the root window", Wire::number};
constexpr Field rootY{"x11.root_y", "Y in the root window", Wire::number};
constexpr Field modifiers{"x11.modifiers", "Keys and buttons held", Wire::hex};
constexpr Field badValue{"x11.bad_value", "Bad value", Wire::hex};
constexpr Field extensionCode{"x11.extension_code", "Minor opcode", Wire::number};

/// Which request has the number; 0 for nobody knows.
std::uint8_t requestOf(Layer& x11, std::uint16_t number, WaitingRequests* waiting)
{
    std::uint8_t code = 0;
    if (const auto kept = x11.kept(); kept && kept->size() == 1)
        code = kept->front();
    else if (waiting)
        code = waiting->answered(number);
    x11.keep({&code, 1});
    return code;
}

void readReply(Layer& x11, const Numbers& numbers, WaitingRequests* waiting)
{
    const auto number = static_cast<std::uint16_t>(numbers.half(2));
    const Layer::Group group(x11, reply, number);
    if (const auto code = requestOf(x11, number, waiting))
        x11.add(replyTo, code);
    x11.skip(1);
    x11.read(detail);
    numbers.readHalf(sequence);
    const auto size = 24 + std::uint64_t{numbers.readWord(length)} * 4;
    x11.expect(size);
    const Layer::Window content(x11, size);
    if (x11.more())
        x11.readRest(data);
}

void readError(Layer& x11, const Numbers& numbers, WaitingRequests* waiting)
{
    const Layer::Group group(x11, error, x11.peek8(1));
    x11.skip(2);
    const auto number = numbers.readHalf(sequence);
    if (waiting && !x11.stopped())
        waiting->failed(static_cast<std::uint16_t>(number));
    numbers.readWord(badValue);
    numbers.readHalf(extensionCode);
    x11.read(opcode);
    x11.skip(21);
}

void readEventBody(const Numbers& numbers, unsigned code)
{
    constexpr const Field* pointer[] = {&time, &root, &window, &child};
    constexpr const Field* changed[] = {&window, &property, &time};
    constexpr const Field* two[] = {&parent, &window};
    constexpr const Field* three[] = {&parent, &window, &sibling};
    constexpr const Field* message[] = {&window, &type};
    constexpr const Field* one[] = {&window};
    switch (code) {
    case 2:
    case 3:
    case 4:
    case 5:
    case 6:
    case 7:
    case 8:
        numbers.readWords(pointer);
        numbers.readHalf(rootX), numbers.readHalf(rootY), numbers.readHalf(x), numbers.readHalf(y);
        numbers.readHalf(modifiers);
        break;
    case 9:
    case 10:
    case 15:
    case 25:
    case 32: numbers.readWords(one); break;
    case 12:
        numbers.readWords(one);
        numbers.readHalf(x), numbers.readHalf(y), numbers.readHalf(width), numbers.readHalf(height);
        break;
    case 16:
    case 17:
    case 18:
    case 19:
    case 20:
    case 21: numbers.readWords(two); break;
    case 22:
    case 23:
        numbers.readWords(three);
        numbers.readHalf(x), numbers.readHalf(y), numbers.readHalf(width), numbers.readHalf(height);
        break;
    case 28: numbers.readWords(changed); break;
    case 33: numbers.readWords(message); break;
    default: break;
    }
}

void readEvent(Layer& x11, const Numbers& numbers)
{
    const unsigned code = x11.peek8() & 0x7fu; // the highest bit: another client sent it
    const Layer::Group group(x11, event, code);
    x11.skip(1);
    std::uint64_t size = 28;
    if (code == 11) {
        size = 31;
    } else {
        x11.read(detail);
        numbers.readHalf(sequence);
    }
    if (code == 35)
        size += std::uint64_t{numbers.word()} * 4;
    x11.expect(size);
    const Layer::Window content(x11, size);
    if (!x11.more())
        return;
    readEventBody(numbers, code);
    if (x11.more())
        x11.readRest(data);
}

} // namespace

void readServer(Layer& x11, const Numbers& numbers, WaitingRequests* waiting)
{
    while (x11.more()) {
        const unsigned first = x11.peek8();
        if ((first & 0x7f) == 0 && (first || x11.peek8(1) == 0)) // no error is number 0
            return static_cast<void>(x11.readRest(data));
        x11.beginMessage();
        if (first == 0)
            readError(x11, numbers, waiting);
        else if (first == 1)
            readReply(x11, numbers, waiting);
        else
            readEvent(x11, numbers);
    }
}

} // namespace netrondo::x11
