// The X Window System protocol, version 11 (X Consortium standard, release 6.8 and later).
#include "Dissection/Protocols/Protocols.h"

#include <algorithm>

namespace netrondo::x11 {
namespace {
constexpr NamedValue opcodes[] = {{1, "CreateWindow"},
                                  {2, "ChangeWindowAttributes"},
                                  {3, "GetWindowAttributes"},
                                  {4, "DestroyWindow"},
                                  {5, "DestroySubwindows"},
                                  {6, "ChangeSaveSet"},
                                  {7, "ReparentWindow"},
                                  {8, "MapWindow"},
                                  {9, "MapSubwindows"},
                                  {10, "UnmapWindow"},
                                  {11, "UnmapSubwindows"},
                                  {12, "ConfigureWindow"},
                                  {13, "CirculateWindow"},
                                  {14, "GetGeometry"},
                                  {15, "QueryTree"},
                                  {16, "InternAtom"},
                                  {17, "GetAtomName"},
                                  {18, "ChangeProperty"},
                                  {19, "DeleteProperty"},
                                  {20, "GetProperty"},
                                  {21, "ListProperties"},
                                  {22, "SetSelectionOwner"},
                                  {23, "GetSelectionOwner"},
                                  {24, "ConvertSelection"},
                                  {25, "SendEvent"},
                                  {26, "GrabPointer"},
                                  {27, "UngrabPointer"},
                                  {28, "GrabButton"},
                                  {29, "UngrabButton"},
                                  {30, "ChangeActivePointerGrab"},
                                  {31, "GrabKeyboard"},
                                  {32, "UngrabKeyboard"},
                                  {33, "GrabKey"},
                                  {34, "UngrabKey"},
                                  {35, "AllowEvents"},
                                  {36, "GrabServer"},
                                  {37, "UngrabServer"},
                                  {38, "QueryPointer"},
                                  {39, "GetMotionEvents"},
                                  {40, "TranslateCoordinates"},
                                  {41, "WarpPointer"},
                                  {42, "SetInputFocus"},
                                  {43, "GetInputFocus"},
                                  {44, "QueryKeymap"},
                                  {45, "OpenFont"},
                                  {46, "CloseFont"},
                                  {47, "QueryFont"},
                                  {48, "QueryTextExtents"},
                                  {49, "ListFonts"},
                                  {50, "ListFontsWithInfo"},
                                  {51, "SetFontPath"},
                                  {52, "GetFontPath"},
                                  {53, "CreatePixmap"},
                                  {54, "FreePixmap"},
                                  {55, "CreateGC"},
                                  {56, "ChangeGC"},
                                  {57, "CopyGC"},
                                  {58, "SetDashes"},
                                  {59, "SetClipRectangles"},
                                  {60, "FreeGC"},
                                  {61, "ClearArea"},
                                  {62, "CopyArea"},
                                  {63, "CopyPlane"},
                                  {64, "PolyPoint"},
                                  {65, "PolyLine"},
                                  {66, "PolySegment"},
                                  {67, "PolyRectangle"},
                                  {68, "PolyArc"},
                                  {69, "FillPoly"},
                                  {70, "PolyFillRectangle"},
                                  {71, "PolyFillArc"},
                                  {72, "PutImage"},
                                  {73, "GetImage"},
                                  {74, "PolyText8"},
                                  {75, "PolyText16"},
                                  {76, "ImageText8"},
                                  {77, "ImageText16"},
                                  {78, "CreateColormap"},
                                  {79, "FreeColormap"},
                                  {80, "CopyColormapAndFree"},
                                  {81, "InstallColormap"},
                                  {82, "UninstallColormap"},
                                  {83, "ListInstalledColormaps"},
                                  {84, "AllocColor"},
                                  {85, "AllocNamedColor"},
                                  {86, "AllocColorCells"},
                                  {87, "AllocColorPlanes"},
                                  {88, "FreeColors"},
                                  {89, "StoreColors"},
                                  {90, "StoreNamedColor"},
                                  {91, "QueryColors"},
                                  {92, "LookupColor"},
                                  {93, "CreateCursor"},
                                  {94, "CreateGlyphCursor"},
                                  {95, "FreeCursor"},
                                  {96, "RecolorCursor"},
                                  {97, "QueryBestSize"},
                                  {98, "QueryExtension"},
                                  {99, "ListExtensions"},
                                  {100, "ChangeKeyboardMapping"},
                                  {101, "GetKeyboardMapping"},
                                  {102, "ChangeKeyboardControl"},
                                  {103, "GetKeyboardControl"},
                                  {104, "Bell"},
                                  {105, "ChangePointerControl"},
                                  {106, "GetPointerControl"},
                                  {107, "SetScreenSaver"},
                                  {108, "GetScreenSaver"},
                                  {109, "ChangeHosts"},
                                  {110, "ListHosts"},
                                  {111, "SetAccessControl"},
                                  {112, "SetCloseDownMode"},
                                  {113, "KillClient"},
                                  {114, "RotateProperties"},
                                  {115, "ForceScreenSaver"},
                                  {116, "SetPointerMapping"},
                                  {117, "GetPointerMapping"},
                                  {118, "SetModifierMapping"},
                                  {119, "GetModifierMapping"},
                                  {127, "NoOperation"}};
constexpr NamedValue events[] = {
    {2, "KeyPress"},          {3, "KeyRelease"},        {4, "ButtonPress"},     {5, "ButtonRelease"},
    {6, "MotionNotify"},      {7, "EnterNotify"},       {8, "LeaveNotify"},     {9, "FocusIn"},
    {10, "FocusOut"},         {11, "KeymapNotify"},     {12, "Expose"},         {13, "GraphicsExposure"},
    {14, "NoExposure"},       {15, "VisibilityNotify"}, {16, "CreateNotify"},   {17, "DestroyNotify"},
    {18, "UnmapNotify"},      {19, "MapNotify"},        {20, "MapRequest"},     {21, "ReparentNotify"},
    {22, "ConfigureNotify"},  {23, "ConfigureRequest"}, {24, "GravityNotify"},  {25, "ResizeRequest"},
    {26, "CirculateNotify"},  {27, "CirculateRequest"}, {28, "PropertyNotify"}, {29, "SelectionClear"},
    {30, "SelectionRequest"}, {31, "SelectionNotify"},  {32, "ColormapNotify"}, {33, "ClientMessage"},
    {34, "MappingNotify"},    {35, "GenericEvent"}};
constexpr NamedValue errors[] = {
    {1, "bad request"},    {2, "bad value"},       {3, "bad window"}, {4, "bad pixmap"},     {5, "bad atom"},
    {6, "bad cursor"},     {7, "bad font"},        {8, "bad match"},  {9, "bad drawable"},   {10, "bad access"},
    {11, "out of memory"}, {12, "bad colormap"},   {13, "bad GC"},    {14, "bad ID choice"}, {15, "bad name"},
    {16, "bad length"},    {17, "not implemented"}};
constexpr NamedValue states[] = {{0, "refused"}, {1, "accepted"}, {2, "needs further authentication"}};
constexpr NamedValue orders[] = {{'l', "little-endian"}, {'B', "big-endian"}};

constexpr Field order{"x11.order", "Byte order", Wire::u8, orders};
constexpr Field guessedOrder{"x11.guessed_order", "Byte order, by the looks of the numbers", Wire::number, orders};
constexpr Field setup{"x11.setup", "Connection setup", Wire::group};
constexpr Field answer{"x11.setup_answer", "Answer to the connection setup", Wire::group};
constexpr Field state{"x11.state", "Connection", Wire::u8, states};
constexpr Field reason{"x11.reason", "Reason", Wire::text};
constexpr Field major{"x11.major", "Major version", Wire::number};
constexpr Field minor{"x11.minor", "Minor version", Wire::number};
constexpr Field authLength{"x11.auth_len", "Authorization name length", Wire::number};
constexpr Field authDataLength{"x11.auth_data_len", "Authorization data length", Wire::number};
constexpr Field auth{"x11.auth", "Authorization", Wire::text};
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
constexpr Field vendor{"x11.vendor", "Vendor", Wire::text};

constexpr Field request{"x11.request", "Request", Wire::number, opcodes};
constexpr Field reply{"x11.reply", "Reply to request number", Wire::number};
constexpr Field event{"x11.event", "Event", Wire::number, events};
constexpr Field error{"x11.error", "Error", Wire::number, errors};
constexpr Field opcode{"x11.opcode", "Opcode", Wire::u8, opcodes};
constexpr Field minorOpcode{"x11.minor_opcode", "Opcode in the extension", Wire::u8};
constexpr Field detail{"x11.detail", "Detail", Wire::u8};
constexpr Field length{"x11.length", "Length (4 bytes)", Wire::number};
constexpr Field sequence{"x11.seq", "Sequence number", Wire::number};
constexpr Field window{"x11.window", "Window", Wire::hex};
constexpr Field parent{"x11.parent", "Parent", Wire::hex};
constexpr Field root{"x11.root", "Root", Wire::hex};
constexpr Field child{"x11.child", "Child", Wire::hex};
constexpr Field sibling{"x11.sibling", "Sibling", Wire::hex};
constexpr Field drawable{"x11.drawable", "Drawable", Wire::hex};
constexpr Field destination{"x11.destination", "Destination", Wire::hex};
constexpr Field pixmap{"x11.pixmap", "Pixmap", Wire::hex};
constexpr Field gc{"x11.gc", "Graphics context", Wire::hex};
constexpr Field font{"x11.font", "Font", Wire::hex};
constexpr Field colormap{"x11.colormap", "Colormap", Wire::hex};
constexpr Field cursor{"x11.cursor", "Cursor", Wire::hex};
constexpr Field property{"x11.property", "Property (atom)", Wire::number};
constexpr Field type{"x11.type", "Type (atom)", Wire::number};
constexpr Field selection{"x11.selection", "Selection (atom)", Wire::number};
constexpr Field time{"x11.time", "Server time (ms)", Wire::number};
constexpr Field x{"x11.x", "X", Wire::number};
constexpr Field y{"x11.y", "Y", Wire::number};
constexpr Field rootX{"x11.root_x", "X in the root window", Wire::number};
constexpr Field rootY{"x11.root_y", "Y in the root window", Wire::number};
constexpr Field width{"x11.width", "Width", Wire::number};
constexpr Field height{"x11.height", "Height", Wire::number};
constexpr Field modifiers{"x11.modifiers", "Keys and buttons held", Wire::hex};
constexpr Field nameLength{"x11.name_len", "Name length", Wire::number};
constexpr Field name{"x11.name", "Name", Wire::text};
constexpr Field badValue{"x11.bad_value", "Bad value", Wire::hex};
constexpr Field extensionCode{"x11.extension_code", "Minor opcode", Wire::number};
constexpr Field data{"x11.data", "Data", Wire::bytes};

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

/// Numbers in the order of bytes that the client chose for the connection.
class Numbers {
public:
    Numbers(Layer& layer, bool isLittle) : layer_(layer), isLittle_(isLittle) { }

    std::uint32_t half(std::size_t ahead = 0) const { return half(layer_.rest(), ahead); }
    std::uint32_t word(std::size_t ahead = 0) const { return word(layer_.rest(), ahead); }
    std::uint32_t half(Bytes bytes, std::size_t at) const
    {
        if (bytes.size() < at + 2)
            return 0;
        return isLittle_ ? load::le16(bytes.data() + at) : load::be16(bytes.data() + at);
    }
    std::uint32_t word(Bytes bytes, std::size_t at) const
    {
        if (bytes.size() < at + 4)
            return 0;
        return isLittle_ ? load::le32(bytes.data() + at) : load::be32(bytes.data() + at);
    }
    std::uint32_t readHalf(const Field& field) const { return read(field, half(), 2); }
    std::uint32_t readWord(const Field& field) const { return read(field, word(), 4); }
    void readWords(std::span<const Field* const> fields) const
    {
        for (const auto* field : fields) {
            if (field)
                readWord(*field);
        }
    }

private:
    std::uint32_t read(const Field& field, std::uint32_t number, std::size_t size) const
    {
        if (!layer_.stopped() && layer_.left() >= size)
            layer_.add(field, number, layer_.offset(), size);
        layer_.skip(size);
        return number;
    }

    Layer& layer_;
    bool isLittle_;
};

std::size_t padded(std::size_t size)
{
    return (size + 3) & ~std::size_t{3};
}

/// A client's first bytes: version 11.0, with an authorization that fills the rest.
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

/// The server's first bytes begin like a reply to request 11, but such a one's length would be beyond all measure.
bool isAnswer(Bytes bytes)
{
    return bytes.size() >= 8 && bytes[0] <= 2
        && (load::le16(bytes.data() + 2) == 11 || load::be16(bytes.data() + 2) == 11) && bytes[4] == 0 && bytes[5] == 0
        && (bytes[6] != 0 || bytes[7] != 0) && (bytes[0] == 0 || bytes[1] == 0);
}

/// What the setup said.
struct Connection : ProtocolMemory {
    std::uint8_t order = 0; ///< 'l', 'B', or 0 where the setup was not seen
    std::uint8_t clientWay = 0;
};

bool isServerPort(std::uint16_t port)
{
    return port >= 6000 && port <= 6063;
}

/// A length that is too large by its bytes' order is far too large; sizes and resources are small numbers.
bool looksLittle(Bytes bytes, bool fromServer)
{
    if (!fromServer)
        return bytes.size() < 4 || load::le16(bytes.data() + 2) <= load::be16(bytes.data() + 2);
    if (isAnswer(bytes))
        return load::le16(bytes.data() + 2) == 11;
    if (bytes.size() >= 8 && bytes[0] == 1 && load::le32(bytes.data() + 4) != load::be32(bytes.data() + 4))
        return load::le32(bytes.data() + 4) < load::be32(bytes.data() + 4);
    if (bytes.size() >= 8 && bytes[0] == 0) // an error's value
        return load::le32(bytes.data() + 4) <= load::be32(bytes.data() + 4);
    int littles = 0;
    for (std::size_t at = 8; at + 4 <= std::min<std::size_t>(bytes.size(), 20); at += 4)
        littles += load::le32(bytes.data() + at) <= load::be32(bytes.data() + at) ? 1 : -1;
    return littles >= 0;
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

void readRequests(Layer& x11, const Numbers& numbers)
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
        x11.expect(size - head);
        const Layer::Window content(x11, size - head);
        if (x11.more())
            readArguments(x11, numbers, code);
    }
}

void readReply(Layer& x11, const Numbers& numbers)
{
    const Layer::Group group(x11, reply, numbers.half(2));
    x11.skip(1);
    x11.read(detail);
    numbers.readHalf(sequence);
    const auto size = 24 + std::uint64_t{numbers.readWord(length)} * 4;
    x11.expect(size);
    const Layer::Window content(x11, size);
    if (x11.more())
        x11.readRest(data);
}

void readError(Layer& x11, const Numbers& numbers)
{
    const Layer::Group group(x11, error, x11.peek8(1));
    x11.skip(2);
    numbers.readHalf(sequence);
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

void readServer(Layer& x11, const Numbers& numbers)
{
    while (x11.more()) {
        const unsigned first = x11.peek8();
        if ((first & 0x7f) == 0 && (first || x11.peek8(1) == 0)) // no error is number 0
            return static_cast<void>(x11.readRest(data));
        x11.beginMessage();
        if (first == 0)
            readError(x11, numbers);
        else if (first == 1)
            readReply(x11, numbers);
        else
            readEvent(x11, numbers);
    }
}

void decode(Layer& x11)
{
    const auto bytes = x11.rest();
    const bool opens = isSetup(bytes);
    std::uint8_t known[2] = {0, isServerPort(x11.summary().sourcePort)}; // the order of bytes, and who speaks
    if (const auto kept = x11.kept(); kept && kept->size() == sizeof known) {
        std::copy(kept->begin(), kept->end(), known);
    } else if (auto* const connection = x11.memory<Connection>(Transport::tcp, Layer::Ways::both)) {
        if (opens) {
            connection->order = bytes[0];
            connection->clientWay = x11.way(Transport::tcp);
            x11.learn(Transport::tcp, protocol);
        }
        if (connection->order) {
            known[0] = connection->order;
            known[1] = x11.way(Transport::tcp) != connection->clientWay;
        }
    }
    x11.keep(known);
    if (opens)
        return readSetup(x11);
    const bool fromServer = known[1];
    const bool isLittle = known[0] ? known[0] == 'l' : looksLittle(bytes, fromServer);
    if (!known[0] && x11.more())
        x11.add(guessedOrder, isLittle ? 'l' : 'B');
    const Numbers numbers(x11, isLittle);
    if (!fromServer)
        return readRequests(x11, numbers);
    if (isAnswer(bytes))
        readAnswer(x11, numbers);
    readServer(x11, numbers);
}

/// The messages of one kind, as many as a line has room for.
void list(const LayerView& x11, const Field& kind, std::string_view one, std::string_view many, TextSink& out)
{
    const auto count = x11.count(kind);
    out("{} ", count == 1 ? one : many);
    std::size_t told = 0;
    x11.each(kind, [&](const Value& entry) {
        if (++told > 6)
            return;
        const auto number = entry.number();
        out("{}", told > 1 ? ", " : "");
        if (&kind == &request && number > 127)
            out("extension {}", number);
        else
            out("{}", entry);
    });
    if (count > 6)
        out(" and {} more", count - 6);
}

void describe(const LayerView& x11, TextSink& out)
{
    if (x11.has(setup))
        return out("Connection setup, version {}.{}, {}{}{}", x11[major], x11[minor], x11[order],
                   x11.has(auth) ? ", " : "", x11[auth]);
    std::string_view between;
    const auto next = [&] {
        out("{}", between);
        between = "; ";
    };
    if (x11.has(answer)) {
        next();
        out("Connection {}", x11[state]);
        if (const auto who = x11[vendor])
            out(", {}", who);
        if (const auto why = x11[reason])
            out(": {}", why);
    }
    if (x11.has(request))
        next(), list(x11, request, "Request", "Requests", out);
    if (x11.has(error)) {
        next(), list(x11, error, "Error", "Errors", out);
        out(", {}", x11[opcode]);
    }
    if (x11.has(reply))
        next(), list(x11, reply, "Reply to request number", "Replies to request numbers", out);
    if (x11.has(event))
        next(), list(x11, event, "Event", "Events", out);
    if (const auto what = x11[name])
        out(" “{}”", what);
    if (const auto bytes = x11[data]; bytes && between.empty())
        out("Continuation, {} bytes", bytes.node()->length);
}

Likeness guess(Bytes payload, Transport transport)
{
    return transport == Transport::tcp && isSetup(payload) ? Likeness::certain : Likeness::none;
}

constexpr Claim claims[] = {tcpPorts(6000, 6063)};
} // namespace

constexpr Protocol protocol{
    {"x11", "X11", Wire::layer}, {}, claims, decode, describe, guess, opensWith({Transport::tcp}, 'l').orByte('B')};
static_assert(wellFormed(protocol));
} // namespace netrondo::x11
