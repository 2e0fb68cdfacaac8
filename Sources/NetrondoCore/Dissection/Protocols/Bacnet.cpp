// BACnet/IP (ASHRAE 135, annex J): the virtual link, the network's header and the application's services.
#include "Dissection/Protocols/BacnetNames.h"
#include "Dissection/Protocols/MadeText.h"
#include "Dissection/Protocols/Protocols.h"

#include <bit>

namespace netrondo::bacnet {
namespace {
constexpr NamedValue linkFunctions[] = {{0, "Result"},
                                        {1, "Write Broadcast Table"},
                                        {2, "Read Broadcast Table"},
                                        {3, "Read Broadcast Table reply"},
                                        {4, "Forwarded NPDU"},
                                        {5, "Register Foreign Device"},
                                        {6, "Read Foreign Device Table"},
                                        {7, "Read Foreign Device Table reply"},
                                        {8, "Delete Foreign Device"},
                                        {9, "Distribute Broadcast"},
                                        {10, "Original Unicast"},
                                        {11, "Original Broadcast"},
                                        {12, "Secure"}};
constexpr NamedValue linkResults[] = {{0x00, "success"},
                                      {0x10, "write of the broadcast table refused"},
                                      {0x20, "read of the broadcast table refused"},
                                      {0x30, "registration refused"},
                                      {0x40, "read of the foreign device table refused"},
                                      {0x50, "deletion refused"},
                                      {0x60, "distribution refused"}};
constexpr NamedValue networkMessages[] = {
    {0, "Who-Is-Router-To-Network"},        {1, "I-Am-Router-To-Network"},
    {2, "I-Could-Be-Router-To-Network"},    {3, "Reject-Message-To-Network"},
    {4, "Router-Busy-To-Network"},          {5, "Router-Available-To-Network"},
    {6, "Initialize-Routing-Table"},        {7, "Initialize-Routing-Table-Ack"},
    {8, "Establish-Connection-To-Network"}, {9, "Disconnect-Connection-To-Network"},
    {18, "What-Is-Network-Number"},         {19, "Network-Number-Is"}};
constexpr NamedValue kinds[] = {
    {0, "request"}, {1, "unconfirmed"}, {2, "acknowledged"}, {3, "reply"}, {4, "segment acknowledged"},
    {5, "error"},   {6, "rejected"},    {7, "aborted"}};
constexpr NamedValue tagTypes[] = {{0, "null"},   {1, "boolean"}, {2, "unsigned"}, {3, "signed"}, {4, "real"},
                                   {5, "double"}, {6, "octets"},  {7, "text"},     {8, "bits"},   {9, "enumerated"},
                                   {10, "date"},  {11, "time"},   {12, "object"}};

constexpr Field linkType{"bacnet.type", "Type", Wire::hex8};
constexpr Field linkFunction{"bacnet.link_function", "Link function", Wire::u8, linkFunctions};
constexpr Field length{"bacnet.length", "Length", Wire::u16};
constexpr Field linkResult{"bacnet.link_result", "Result", Wire::hex16, linkResults};
constexpr Field timeToLive{"bacnet.ttl", "Time to live (s)", Wire::u16};
constexpr Field address{"bacnet.address", "Address", Wire::ipv4};
constexpr Field port{"bacnet.port", "Port", Wire::u16};
constexpr Field mask{"bacnet.mask", "Distribution mask", Wire::ipv4};
constexpr Field remaining{"bacnet.remaining", "Time remaining (s)", Wire::u16};
constexpr Field version{"bacnet.version", "Version", Wire::u8};
constexpr Field control{"bacnet.control", "Control", Wire::hex8};
constexpr Field isMessage{"bacnet.network", "Network message", Wire::bit, {}, 0x80};
constexpr Field hasDestination{"bacnet.has_dst", "Destination given", Wire::bit, {}, 0x20};
constexpr Field hasSource{"bacnet.has_src", "Source given", Wire::bit, {}, 0x08};
constexpr Field wantsReply{"bacnet.wants_reply", "Reply expected", Wire::bit, {}, 0x04};
constexpr Field priority{"bacnet.priority", "Priority", Wire::bits, {}, 0x03};
constexpr Field destinationNetwork{"bacnet.dnet", "Destination network", Wire::u16};
constexpr Field destinationLength{"bacnet.dlen", "Destination length", Wire::u8};
constexpr Field destinationAddress{"bacnet.dadr", "Destination address", Wire::bytes};
constexpr Field sourceNetwork{"bacnet.snet", "Source network", Wire::u16};
constexpr Field sourceLength{"bacnet.slen", "Source length", Wire::u8};
constexpr Field sourceAddress{"bacnet.sadr", "Source address", Wire::bytes};
constexpr Field hops{"bacnet.hops", "Hop count", Wire::u8};
constexpr Field networkMessage{"bacnet.message", "Network message", Wire::u8, networkMessages};
constexpr Field vendor{"bacnet.vendor", "Vendor", Wire::u16};
constexpr Field network{"bacnet.network_number", "Network", Wire::u16};
constexpr Field first{"bacnet.apdu", "Kind and flags", Wire::hex8};
constexpr Field kindOf{"bacnet.kind", "Kind", Wire::bits, kinds, 0xf0};
constexpr Field isSegmented{"bacnet.segmented", "Segmented", Wire::bit, {}, 0x08};
constexpr Field moreFollows{"bacnet.more", "More follows", Wire::bit, {}, 0x04};
constexpr Field sizes{"bacnet.sizes", "Most segments and size", Wire::hex8};
constexpr Field invoke{"bacnet.invoke", "Invocation", Wire::u8};
constexpr Field segment{"bacnet.segment", "Segment", Wire::u8};
constexpr Field window{"bacnet.window", "Window", Wire::u8};
constexpr Field confirmed{"bacnet.service", "Service", Wire::u8, confirmedServices};
constexpr Field unconfirmed{"bacnet.service", "Service", Wire::u8, unconfirmedServices};
constexpr Field rejectReason{"bacnet.reason", "Reason", Wire::u8, rejectReasons};
constexpr Field abortReason{"bacnet.reason", "Reason", Wire::u8, abortReasons};
constexpr Field tag{"bacnet.tag", "Tag", Wire::number, tagTypes};
constexpr Field contextTag{"bacnet.context", "Context tag", Wire::number};
constexpr Field opening{"bacnet.opening", "Opening tag", Wire::number};
constexpr Field closing{"bacnet.closing", "Closing tag", Wire::number};
constexpr Field objectWord{"bacnet.object", "Object", Wire::hex32};
constexpr Field objectType{"bacnet.object_type", "Object type", Wire::bits, objectNames, 0xffc00000};
constexpr Field instance{"bacnet.instance", "Instance", Wire::bits, {}, 0x003fffff};
constexpr Field property{"bacnet.property", "Property", Wire::number, propertyNames};
constexpr Field arrayIndex{"bacnet.index", "Array index", Wire::number};
constexpr Field errorClass{"bacnet.error_class", "Error class", Wire::number, errorClasses};
constexpr Field errorCode{"bacnet.error_code", "Error code", Wire::number, errorCodes};
constexpr Field boolean{"bacnet.boolean", "Boolean", Wire::number};
constexpr Field number{"bacnet.number", "Value", Wire::number};
constexpr Field signedNumber{"bacnet.signed", "Value", Wire::i32};
constexpr Field real{"bacnet.real", "Value", Wire::madeText};
constexpr Field characterSet{"bacnet.charset", "Character set", Wire::u8};
constexpr Field text{"bacnet.text", "Text", Wire::text};
constexpr Field moment{"bacnet.moment", "Value", Wire::madeText};
constexpr Field bytes{"bacnet.bytes", "Value", Wire::bytes};
constexpr Field data{"bacnet.data", "Data", Wire::bytes};

/// What a context tag of a service means.
enum class Meaning { plain, anObject, aProperty, anIndex, aText };

/// A service's parameters, as deep as they lie in opening tags (ASHRAE 135, clause 21).
Meaning meaningOf(std::uint64_t service, bool isConfirmed, bool isReply, unsigned depth, unsigned tagNumber)
{
    using enum Meaning;
    constexpr Meaning referenced[] = {anObject, aProperty, anIndex};
    if (!isConfirmed) {
        if (service == 7)
            return tagNumber == 2 ? anObject : tagNumber == 3 ? aText : plain;
        if (service != 2)
            return plain;
    } else {
        switch (service) {
        case 5: return depth == 0 && tagNumber == 1 ? anObject : plain;
        case 12:
        case 15:
        case 26: return depth == 0 && tagNumber < 3 ? referenced[tagNumber] : plain;
        case 14:
            if (depth == 0)
                return tagNumber == 0 ? anObject : plain;
            if (depth == 1 && isReply)
                return tagNumber == 2 ? aProperty : tagNumber == 3 ? anIndex : plain;
            return depth == 1 && tagNumber < 2 ? referenced[tagNumber + 1] : plain;
        case 16:
            return depth == 0 && tagNumber == 0 ? anObject
                : depth == 1 && tagNumber < 2   ? referenced[tagNumber + 1]
                                                : plain;
        case 28:
            return depth == 0 && tagNumber == 1 ? anObject
                : depth == 1 && tagNumber < 2   ? referenced[tagNumber + 1]
                                                : plain;
        case 1: break;
        default: return plain;
        }
    }
    // A notification of change: the process, the device, the anObject, the time left, and a list of values.
    if (depth == 0)
        return tagNumber == 1 || tagNumber == 2 ? anObject : plain;
    return depth == 1 && tagNumber < 2 ? referenced[tagNumber + 1] : plain;
}

std::uint64_t unsignedAt(const Layer& bacnet, std::size_t size)
{
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < size; ++i)
        value = value << 8 | bacnet.peek8(i);
    return value;
}

void readNumber(Layer& bacnet, const Field& field, std::size_t size)
{
    if (size == 0 || size > 8 || bacnet.left() < size)
        return static_cast<void>(bacnet.readBytes(bytes, size));
    bacnet.add(field, unsignedAt(bacnet, size), bacnet.offset(), size);
    bacnet.skip(size);
}

void readObject(Layer& bacnet, std::size_t size)
{
    if (size == 4)
        bacnet.readParts(objectWord, objectType, instance);
    else
        bacnet.readBytes(bytes, size);
}

void readMoment(Layer& bacnet, bool isDate)
{
    MadeText made;
    const auto part = [&](std::size_t at, unsigned base) {
        const unsigned byte = bacnet.peek8(at);
        if (byte == 0xff)
            made.put("*");
        else
            made.add("{:02}", byte + base);
    };
    if (isDate) {
        part(0, 1900), made.put('-'), part(1, 0), made.put('-'), part(2, 0);
    } else {
        part(0, 0), made.put(':'), part(1, 0), made.put(':'), part(2, 0), made.put('.'), part(3, 0);
    }
    bacnet.addText(moment, made, bacnet.offset(), 4);
    bacnet.skip(4);
}

void readApplicationValue(Layer& bacnet, unsigned type, std::size_t size)
{
    if (bacnet.left() < size)
        return static_cast<void>(bacnet.readBytes(bytes, size));
    const auto raw = bacnet.rest();
    MadeText made;
    switch (type) {
    case 2:
    case 9: readNumber(bacnet, number, size); return;
    case 3:
        if (size == 0 || size > 4)
            break;
        bacnet.add(signedNumber,
                   static_cast<std::uint64_t>(static_cast<std::int64_t>(unsignedAt(bacnet, size) << (64 - 8 * size))
                                              >> (64 - 8 * size)),
                   bacnet.offset(), size);
        bacnet.skip(size);
        return;
    case 4:
        if (size != 4)
            break;
        made.add("{}", std::bit_cast<float>(load::be32(raw.data())));
        bacnet.addText(real, made, bacnet.offset(), size);
        bacnet.skip(size);
        return;
    case 5:
        if (size != 8)
            break;
        made.add("{}", std::bit_cast<double>(load::be64(raw.data())));
        bacnet.addText(real, made, bacnet.offset(), size);
        bacnet.skip(size);
        return;
    case 7:
        if (size == 0)
            break;
        if (bacnet.read(characterSet) == 0)
            bacnet.readText(text, size - 1);
        else
            bacnet.readBytes(bytes, size - 1);
        return;
    case 10:
    case 11:
        if (size != 4)
            break;
        readMoment(bacnet, type == 10);
        return;
    case 12: readObject(bacnet, size); return;
    default: break;
    }
    if (size)
        bacnet.readBytes(bytes, size);
}

void readContextValue(Layer& bacnet, Meaning meaning, std::size_t size)
{
    switch (meaning) {
    case Meaning::anObject: readObject(bacnet, size); break;
    case Meaning::aProperty: readNumber(bacnet, property, size); break;
    case Meaning::anIndex: readNumber(bacnet, arrayIndex, size); break;
    case Meaning::aText: readApplicationValue(bacnet, 7, size); break;
    case Meaning::plain:
        if (size && size <= 4)
            readNumber(bacnet, number, size);
        else if (size)
            bacnet.readBytes(bytes, size);
    }
}

/// An error's two enumerations, the class and the code.
void readError(Layer& bacnet)
{
    for (const auto* field : {&errorClass, &errorCode}) {
        if (bacnet.peek8() >> 3 != 0x12 || bacnet.stopped()) // another service's own error
            return;
        const std::size_t size = bacnet.peek8() & 7;
        bacnet.skip(1);
        readNumber(bacnet, *field, size);
    }
}

/// One tag with its value; `depth` counts the opening tags that are open.
void readTag(Layer& bacnet, std::uint64_t service, bool isConfirmed, bool isReply, unsigned& depth)
{
    const unsigned head = bacnet.peek8();
    const bool isExtended = head >> 4 == 15, isContext = head & 8;
    const unsigned which = isExtended ? bacnet.peek8(1) : head >> 4;
    const unsigned low = head & 7; // a length, or what opens and closes
    const bool isOpening = isContext && low == 6, isClosing = isContext && low == 7;
    const auto& field = isOpening ? opening : isClosing ? closing : isContext ? contextTag : tag;
    const Layer::Group group(bacnet, field, which);
    bacnet.skip(isExtended ? 2 : 1);
    if (isOpening || isClosing) {
        depth = isOpening ? depth + 1 : depth - (depth > 0);
        return;
    }
    std::size_t size = low;
    if (size == 5) {
        size = bacnet.peek8();
        const std::size_t wide = size == 254 ? 2 : size == 255 ? 4 : 0;
        if (wide && bacnet.left() > wide)
            size = wide == 2 ? bacnet.peek16(1) : bacnet.peek32(1);
        bacnet.skip(1 + wide);
    }
    if (bacnet.stopped())
        return;
    if (isContext)
        readContextValue(bacnet, meaningOf(service, isConfirmed, isReply, depth, which), size);
    else if (which == 1) // a boolean is its own length
        bacnet.add(boolean, low);
    else
        readApplicationValue(bacnet, which, size);
}

void readApplication(Layer& bacnet)
{
    const auto bits = bacnet.readParts(first, kindOf, isSegmented, moreFollows);
    const auto kind = bits >> 4;
    const bool isConfirmed = kind != 1, hasSegments = (kind == 0 || kind == 3) && bits & 8;
    if (kind == 0)
        bacnet.read(sizes);
    if (isConfirmed)
        bacnet.read(invoke);
    std::uint64_t place = 0;
    if (hasSegments || kind == 4)
        place = bacnet.read(segment), bacnet.read(window);
    if (kind == 4)
        return;
    if (kind == 6 || kind == 7)
        return static_cast<void>(bacnet.read(kind == 6 ? rejectReason : abortReason));
    const auto service = bacnet.read(isConfirmed ? confirmed : unconfirmed);
    if (place != 0)
        return; // the middle of a message that comes in segments
    if (kind == 5)
        readError(bacnet);
    unsigned depth = 0;
    while (bacnet.more())
        readTag(bacnet, service, isConfirmed, kind == 3, depth);
}

void readNetwork(Layer& bacnet)
{
    bacnet.read(version);
    const auto bits = bacnet.readParts(control, isMessage, hasDestination, hasSource, wantsReply, priority);
    if (bits & 0x20) {
        bacnet.read(destinationNetwork);
        if (const auto size = bacnet.read(destinationLength))
            bacnet.readBytes(destinationAddress, size);
    }
    if (bits & 0x08) {
        bacnet.read(sourceNetwork);
        if (const auto size = bacnet.read(sourceLength))
            bacnet.readBytes(sourceAddress, size);
    }
    if (bits & 0x20)
        bacnet.read(hops);
    if (bacnet.stopped())
        return;
    if (!(bits & 0x80)) {
        if (bacnet.more())
            readApplication(bacnet);
        return;
    }
    const auto what = bacnet.read(networkMessage);
    if (what >= 0x80)
        bacnet.read(vendor);
    else if (what < 3 || what == 4 || what == 5) {
        while (bacnet.more(2))
            bacnet.read(network);
    }
}

void readLink(Layer& bacnet, std::uint64_t function)
{
    switch (function) {
    case 0: bacnet.read(linkResult); break;
    case 1:
    case 3:
        while (bacnet.more(10))
            bacnet.read(address, port, mask);
        break;
    case 4: bacnet.read(address, port), readNetwork(bacnet); break;
    case 5: bacnet.read(timeToLive); break;
    case 7:
        while (bacnet.more(10))
            bacnet.read(address, port, timeToLive, remaining);
        break;
    case 8: bacnet.read(address, port); break;
    case 9:
    case 10:
    case 11: readNetwork(bacnet); break;
    default: break;
    }
}

void decode(Layer& bacnet)
{
    if (bacnet.peek8() != 0x81 && bacnet.more())
        return static_cast<void>(bacnet.readRest(data));
    bacnet.read(linkType);
    const auto function = bacnet.read(linkFunction), size = bacnet.read(length);
    if (size < 4)
        return bacnet.reject(length);
    const Layer::Window message(bacnet, size - 4);
    if (bacnet.more())
        readLink(bacnet, function);
    if (bacnet.more())
        bacnet.readRest(data);
}

void describe(const LayerView& bacnet, TextSink& out)
{
    const auto link = bacnet[linkFunction];
    if (!link)
        return out("Data, {} bytes", bacnet.bytes().size());
    if (const auto kind = bacnet[kindOf]) {
        if (const auto what = bacnet[unconfirmed])
            out("{}", what);
        else if (const auto asked = bacnet[confirmed])
            out("{} {}", asked, kind);
        else
            out("{}", kind);
        if (const auto id = bacnet[invoke])
            out(" {}", id);
        if (const auto why = bacnet[rejectReason] ? bacnet[rejectReason] : bacnet[abortReason])
            out(": {}", why);
    } else if (const auto what = bacnet[networkMessage]) {
        out("{}", what);
        if (const auto which = bacnet[network])
            out(" {}", which);
    } else {
        out("{}", link);
        if (const auto result = bacnet[linkResult])
            out(": {}", result);
    }
    // A notification names its device before the object whose property it tells.
    const Node *what = nullptr, *which = nullptr, *named = nullptr;
    for (const auto& node : bacnet.nodes()) {
        if (node.field == &property) {
            named = &node;
            break;
        }
        if (node.field == &objectType)
            what = &node;
        else if (node.field == &instance)
            which = &node;
    }
    if (what && which)
        out(", {} {}", Value(bacnet.tree(), what), Value(bacnet.tree(), which));
    if (named)
        out(" {}", Value(bacnet.tree(), named));
    for (const auto* field : {&real, &signedNumber, &text, &boolean}) {
        if (const auto value = bacnet[*field])
            return out(" = {}", value);
    }
    if (const auto why = bacnet[errorCode])
        out(": {}, {}", bacnet[errorClass], why);
}

/// A link header of the payload's own length.
Likeness guess(Bytes payload, Transport transport)
{
    const bool isLink = transport == Transport::udp && payload.size() >= 4 && payload[0] == 0x81
        && !nameIn(linkFunctions, payload[1]).empty() && load::be16(payload.data() + 2) == payload.size();
    return isLink ? Likeness::likely : Likeness::none;
}

constexpr Claim claims[] = {udpPort(47808)};
} // namespace

constexpr Protocol protocol{{"bacnet", "BACnet", Wire::layer}, {}, claims, decode, describe, guess,
                            opensWith({Transport::udp}, 0x81)};
static_assert(wellFormed(protocol));
} // namespace netrondo::bacnet
