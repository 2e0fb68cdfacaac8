// How an X11 connection begins: the client's order of bytes and authorization, the server's answer.
#include "Dissection/Protocols/X11Messages.h"

namespace netrondo::x11 {
namespace {
constexpr Field authLength{"x11.auth_len", "Authorization name length", Wire::number};
constexpr Field authDataLength{"x11.auth_data_len", "Authorization data length", Wire::number};
constexpr Field authData{"x11.auth_data", "Authorization data", Wire::bytes};
constexpr Field release{"x11.release", "Release", Wire::number};
constexpr Field idBase{"x11.id_base", "Resource ID base", Wire::hex};
constexpr Field idMask{"x11.id_mask", "Resource ID mask", Wire::hex};
constexpr Field motionBuffer{"x11.motion_buffer", "Motion buffer", Wire::number};
constexpr Field vendorLength{"x11.vendor_len", "Vendor length", Wire::number};
constexpr Field maxRequest{"x11.max_request", "Maximum request (4 bytes)", Wire::number};
constexpr Field screens{"x11.screens", "Screens", Wire::u8};
constexpr Field formats{"x11.formats", "Pixmap formats", Wire::u8};
constexpr Field minKey{"x11.min_key", "Lowest key code", Wire::u8};
constexpr Field maxKey{"x11.max_key", "Highest key code", Wire::u8};
} // namespace

bool isSetup(Bytes bytes)
{
    if (bytes.size() < 12 || (bytes[0] != 'l' && bytes[0] != 'B') || bytes[1] != 0)
        return false;
    const auto half = [&](std::size_t at) {
        return bytes[0] == 'l' ? load::le16(bytes.data() + at) : load::be16(bytes.data() + at);
    };
    return half(2) == 11 && half(4) == 0 && half(6) <= 64 && half(8) <= 1024
        && bytes.size() <= 12 + padded(half(6)) + padded(half(8));
}

// They begin like a reply to request 11, but such a one's length would be beyond all measure.
bool isAnswer(Bytes bytes)
{
    return bytes.size() >= 8 && bytes[0] <= 2
        && (load::le16(bytes.data() + 2) == 11 || load::be16(bytes.data() + 2) == 11) && bytes[4] == 0 && bytes[5] == 0
        && (bytes[6] != 0 || bytes[7] != 0) && (bytes[0] == 0 || bytes[1] == 0);
}

void readSetup(Layer& x11)
{
    x11.beginMessage();
    const Layer::Group group(x11, setup);
    const Numbers numbers(x11, x11.read(order) == 'l');
    x11.skip(1);
    numbers.readHalf(major);
    numbers.readHalf(minor);
    const auto nameSize = numbers.readHalf(authLength), dataSize = numbers.readHalf(authDataLength);
    x11.skip(2);
    if (nameSize)
        x11.readText(auth, nameSize), x11.skip(padded(nameSize) - nameSize);
    if (dataSize)
        x11.readBytes(authData, dataSize), x11.skip(padded(dataSize) - dataSize);
}

void readAnswer(Layer& x11, const Numbers& numbers)
{
    x11.beginMessage();
    const Layer::Group group(x11, answer);
    const auto outcome = x11.read(state);
    const std::size_t reasonSize = x11.peek8();
    x11.skip(1);
    numbers.readHalf(major);
    numbers.readHalf(minor);
    const auto size = std::size_t{numbers.readHalf(length)} * 4;
    x11.expect(size);
    const Layer::Window content(x11, size);
    if (outcome == 1) {
        numbers.readWord(release);
        numbers.readWord(idBase);
        numbers.readWord(idMask);
        numbers.readWord(motionBuffer);
        const auto vendorSize = numbers.readHalf(vendorLength);
        numbers.readHalf(maxRequest);
        x11.read(screens, formats);
        x11.skip(4);
        x11.read(minKey, maxKey);
        x11.skip(4);
        x11.readText(vendor, vendorSize);
    } else {
        x11.readText(reason, outcome == 0 ? reasonSize : size);
    }
    if (x11.more())
        x11.readRest(data);
}

} // namespace netrondo::x11
