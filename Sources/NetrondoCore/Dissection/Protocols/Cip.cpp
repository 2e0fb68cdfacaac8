// The Common Industrial Protocol: services asked of objects, and their answers (CIP Networks Library, volume 1).
#include "Dissection/Protocols/CipNames.h"
#include "Dissection/Protocols/Protocols.h"

#include <array>
#include <cstring>
#include <span>

namespace netrondo::cip {
namespace {
constexpr NamedValue segments[] = {
    {0x00, "port"},      {0x20, "class"},          {0x24, "instance"}, {0x28, "member"},  {0x2c, "connection point"},
    {0x30, "attribute"}, {0x34, "electronic key"}, {0x38, "service"},  {0x40, "network"}, {0x60, "symbol"},
    {0x80, "data"},      {0x91, "symbol"}};
constexpr NamedValue connectionTypes[] = {{0, "null"}, {1, "multicast"}, {2, "point to point"}};

constexpr Field serviceByte{"cip.service_byte", "Service and direction", Wire::hex8};
constexpr Field isReply{"cip.reply", "Reply", Wire::bit, {}, 0x80};
constexpr Field service{"cip.service", "Service", Wire::bits, serviceNames, 0x7f};
constexpr Field managerService{"cip.service", "Service", Wire::bits, managerServiceNames, 0x7f};
constexpr Field tagService{"cip.service", "Service", Wire::bits, tagServiceNames, 0x7f};
constexpr Field pathSize{"cip.path_size", "Path size in words", Wire::u8};
constexpr Field path{"cip.path", "Path", Wire::group};
constexpr Field segment{"cip.segment", "Segment", Wire::number, segments};
constexpr Field segmentType{"cip.segment_type", "Segment type", Wire::hex8};
constexpr Field classId{"cip.class", "Class", Wire::hex, classNames};
constexpr Field askedClass{"cip.asked_class", "Class of the request", Wire::hex, classNames};
constexpr Field instance{"cip.instance", "Instance", Wire::number};
constexpr Field member{"cip.member", "Member", Wire::number};
constexpr Field point{"cip.point", "Connection point", Wire::number};
constexpr Field attribute{"cip.attribute", "Attribute", Wire::number};
constexpr Field symbol{"cip.symbol", "Symbol", Wire::text};
constexpr Field port{"cip.port", "Port", Wire::number};
constexpr Field link{"cip.link", "Link address", Wire::bytes};
constexpr Field linkText{"cip.link", "Link address", Wire::text};
constexpr Field vendor{"cip.vendor", "Vendor", Wire::le16};
constexpr Field deviceType{"cip.device_type", "Device type", Wire::le16};
constexpr Field productCode{"cip.product_code", "Product code", Wire::le16};
constexpr Field majorRevision{"cip.major", "Major revision and compatibility", Wire::u8};
constexpr Field minorRevision{"cip.minor", "Minor revision", Wire::u8};
constexpr Field reserved{"cip.reserved", "Reserved", Wire::hex8};
constexpr Field status{"cip.status", "Status", Wire::hex8, statusNames};
constexpr Field extendedSize{"cip.extended_size", "Extended status size in words", Wire::u8};
constexpr Field extended{"cip.extended", "Extended status", Wire::leHex16, extendedNames};
constexpr Field tick{"cip.tick", "Priority and tick", Wire::hex8};
constexpr Field ticks{"cip.ticks", "Timeout ticks", Wire::u8};
constexpr Field toTarget{"cip.to_target", "Connection to the target", Wire::leHex32};
constexpr Field toOriginator{"cip.to_originator", "Connection to the originator", Wire::leHex32};
constexpr Field connectionSerial{"cip.connection_serial", "Connection serial number", Wire::leHex16};
constexpr Field originatorVendor{"cip.originator_vendor", "Originator's vendor", Wire::le16};
constexpr Field originatorSerial{"cip.originator_serial", "Originator's serial number", Wire::leHex32};
constexpr Field multiplier{"cip.multiplier", "Timeout multiplier", Wire::u8};
constexpr Field reserved24{"cip.reserved", "Reserved", Wire::hex24};
constexpr Field intervalToTarget{"cip.interval_to_target", "Packet interval to the target (µs)", Wire::le32};
constexpr Field intervalToOriginator{"cip.interval_to_originator", "Packet interval to the originator (µs)",
                                     Wire::le32};
constexpr Field parameters{"cip.parameters", "Connection parameters", Wire::leHex16};
constexpr Field connectionType{"cip.connection_type", "Type", Wire::bits, connectionTypes, 0x6000};
constexpr Field connectionSize{"cip.connection_size", "Size", Wire::bits, {}, 0x01ff};
constexpr Field largeParameters{"cip.parameters", "Connection parameters", Wire::leHex32};
constexpr Field largeType{"cip.connection_type", "Type", Wire::bits, connectionTypes, 0x60000000};
constexpr Field largeSize{"cip.connection_size", "Size", Wire::bits, {}, 0xffff};
constexpr Field trigger{"cip.trigger", "Transport and trigger", Wire::hex8};
constexpr Field applicationSize{"cip.application_size", "Application data in words", Wire::u8};
constexpr Field messageSize{"cip.message_size", "Message size", Wire::le16};
constexpr Field padding{"cip.padding", "Padding", Wire::hex8};
constexpr Field routeSize{"cip.route_size", "Route size in words", Wire::u8};
constexpr Field messageCount{"cip.message_count", "Messages", Wire::le16};
constexpr Field messageOffset{"cip.message_offset", "Message offset", Wire::le16};
constexpr Field attributeCount{"cip.attribute_count", "Attributes", Wire::le16};
constexpr Field attributeId{"cip.attribute_id", "Attribute", Wire::le16};
constexpr Field dataType{"cip.type", "Data type", Wire::leHex16, typeNames};
constexpr Field elements{"cip.elements", "Elements", Wire::le16};
constexpr Field fragmentOffset{"cip.fragment_offset", "Offset", Wire::le32};
constexpr Field data{"cip.data", "Data", Wire::bytes};

constexpr unsigned connectionManager = 0x06, symbolClass = 0x6b;

/// What a request asks, by which its reply is understood: a reply names the service alone.
struct Asked {
    std::uint16_t classId = 0;
    std::uint8_t service = 0;
    std::uint8_t isKnown = 0;
};

struct Requests : ProtocolMemory {
    std::array<Asked, 128> asked; ///< the latest of each service
};

const Field& serviceOf(unsigned classNumber)
{
    if (classNumber == connectionManager)
        return managerService;
    return classNumber == symbolClass ? tagService : service;
}

/// The same of a reply whose request was not seen: some numbers are one class's alone.
const Field& serviceOfReply(unsigned what)
{
    return what == 0x54 || what == 0x5b ? managerService : what == 0x4c || what == 0x4d ? tagService : service;
}

/// A logical segment's number, in one, two or four bytes; wider ones follow a byte of padding.
std::uint64_t readLogical(Layer& cip, const Field& field, unsigned format)
{
    const std::size_t size = format == 0 ? 1 : format == 1 ? 2 : 4, gap = format ? 1 : 0;
    if (format == 3 || cip.left() < gap + size) {
        cip.await(field);
        return 0;
    }
    cip.skip(gap);
    std::uint64_t value = 0;
    for (std::size_t i = size; i-- > 0;)
        value = value << 8 | cip.peek8(i);
    cip.add(field, value, cip.offset(), size);
    cip.skip(size);
    return value;
}

void readPort(Layer& cip, unsigned first)
{
    const std::size_t size = first & 0x10 ? cip.peek8() : 1, begin = cip.offset();
    if (first & 0x10)
        cip.skip(1);
    if ((first & 15) == 15) {
        if (cip.left() < 2)
            return cip.await(port);
        cip.add(port, load::le16(cip.rest().data()), cip.offset(), 2);
        cip.skip(2);
    } else {
        cip.add(port, first & 15, cip.offset() - 1, 1);
    }
    cip.readBytes(first & 0x10 ? linkText : link, size);
    if ((cip.offset() - begin) % 2 == 0 && cip.more()) // with the segment's first byte that is odd
        cip.skip(1);
}

void readKey(Layer& cip)
{
    const Layer::Window key(cip, cip.peek8() == 4 ? 9 : 1);
    cip.skip(1);
    if (cip.more())
        cip.read(vendor, deviceType, productCode, majorRevision, minorRevision);
}

/// What a path leads to.
struct Target {
    std::uint64_t classNumber = 0;
    bool hasClass = false;
};

void readSegment(Layer& cip, Target& target)
{
    const unsigned first = cip.peek8(), kind = first >> 5, logical = first & 0x1c, format = first & 3;
    const bool isLogical = kind == 1;
    const Layer::Group group(cip, segment, first == 0x91 ? first : isLogical ? 0x20u | logical : kind << 5);
    cip.read(segmentType);
    if (kind == 0)
        return readPort(cip, first);
    if (isLogical) {
        switch (logical) {
        case 0x00:
            target.classNumber = readLogical(cip, classId, format);
            target.hasClass = true;
            return;
        case 0x04: readLogical(cip, instance, format); return;
        case 0x08: readLogical(cip, member, format); return;
        case 0x0c: readLogical(cip, point, format); return;
        case 0x10: readLogical(cip, attribute, format); return;
        case 0x14: readKey(cip); return;
        default: cip.skip(1); return;
        }
    }
    if (first == 0x91 || kind == 3) {
        const std::size_t size = first == 0x91 ? cip.peek8() : first & 0x1fu;
        if (first == 0x91)
            cip.skip(1);
        cip.readText(symbol, size);
        if (size % 2 == (first == 0x91 ? 1u : 0u) && cip.more())
            cip.skip(1);
        target = {symbolClass, true}; // a tag by its name
        return;
    }
    if (kind == 2 && !(first & 0x10))
        return static_cast<void>(cip.readBytes(data, 1));
    const std::size_t words = cip.peek8();
    cip.skip(1);
    if (words)
        cip.readBytes(data, words * 2);
}

Target readPath(Layer& cip, const Field& size)
{
    const auto bytes = cip.read(size) * 2;
    if (&size == &routeSize)
        cip.read(reserved);
    Target target;
    const Layer::Window content(cip, bytes);
    const Layer::Group group(cip, path);
    while (cip.more())
        readSegment(cip, target);
    return target;
}

/// The words of an application that close the answers of the connection manager.
void readApplication(Layer& cip)
{
    const auto words = cip.read(applicationSize);
    cip.read(reserved);
    if (words && !cip.stopped())
        cip.readBytes(data, words * 2);
}

void readForwardOpen(Layer& cip, bool isLarge)
{
    cip.read(tick, ticks, toTarget, toOriginator, connectionSerial, originatorVendor, originatorSerial, multiplier,
             reserved24);
    for (const auto* interval : {&intervalToTarget, &intervalToOriginator}) {
        cip.read(*interval);
        if (isLarge)
            cip.readParts(largeParameters, largeType, largeSize);
        else
            cip.readParts(parameters, connectionType, connectionSize);
    }
    cip.read(trigger);
    readPath(cip, pathSize);
}

void readUnconnectedSend(Layer& cip)
{
    cip.read(tick, ticks);
    const auto size = cip.read(messageSize);
    if (cip.stopped())
        return;
    cip.embed(protocol, size);
    if (size % 2 && cip.more())
        cip.read(padding);
    if (cip.more())
        readPath(cip, routeSize);
}

void readMultiple(Layer& cip)
{
    const auto all = cip.rest();
    const auto count = cip.read(messageCount);
    for (std::uint64_t i = 0; i < count && cip.more(); ++i)
        cip.read(messageOffset);
    if (cip.stopped() || all.size() < 2 + 2 * count)
        return;
    std::size_t at = 2 + 2 * count;
    for (std::size_t i = 0; i < count && cip.more(); ++i) {
        const std::size_t begin = load::le16(&all[2 + 2 * i]);
        const std::size_t end = i + 1 < count ? load::le16(&all[4 + 2 * i]) : at + cip.leftOnWire();
        if (begin != at || end <= begin)
            return cip.reject(messageOffset);
        cip.embed(protocol, end - begin);
        at = end;
    }
}

void readManagerRequest(Layer& cip, unsigned what)
{
    switch (what) {
    case 0x4e:
        cip.read(tick, ticks, connectionSerial, originatorVendor, originatorSerial);
        readPath(cip, routeSize);
        break;
    case 0x52: readUnconnectedSend(cip); break;
    case 0x54:
    case 0x5b: readForwardOpen(cip, what == 0x5b); break;
    default: break;
    }
}

void readTagRequest(Layer& cip, unsigned what)
{
    if (what == 0x4d || what == 0x53)
        cip.read(dataType);
    if (what == 0x4c || what == 0x4d || what == 0x52 || what == 0x53)
        cip.read(elements);
    if ((what == 0x52 || what == 0x53) && cip.more())
        cip.read(fragmentOffset);
}

void remember(Layer& cip, const Asked& asked)
{
    const auto transport = cip.summary().transport;
    if (transport != Transport::tcp && transport != Transport::udp)
        return;
    if (auto* const requests = cip.memory<Requests>(transport, Layer::Ways::both))
        requests->asked[asked.service] = asked;
}

Asked requestOf(Layer& cip, unsigned what)
{
    Asked asked;
    const auto transport = cip.summary().transport;
    if (const auto kept = cip.kept(); kept && kept->size() == sizeof asked) {
        std::memcpy(&asked, kept->data(), sizeof asked);
    } else if (transport == Transport::tcp || transport == Transport::udp) {
        if (auto* const requests = cip.memory<Requests>(transport, Layer::Ways::both))
            asked = requests->asked[what];
    }
    cip.keep({reinterpret_cast<const std::uint8_t*>(&asked), sizeof asked});
    return asked;
}

void readRequest(Layer& cip, unsigned what)
{
    // The path says what the service's number means, so that one is named when both are known.
    const auto at = cip.tree().size();
    cip.readParts(serviceByte, isReply, service);
    const auto target = readPath(cip, pathSize);
    if (cip.stopped())
        return;
    if (target.hasClass) {
        cip.tree().at(at + 2).field = &serviceOf(static_cast<unsigned>(target.classNumber));
        remember(cip, {static_cast<std::uint16_t>(target.classNumber), static_cast<std::uint8_t>(what), 1});
    }
    if (!cip.more())
        return;
    if (what == 0x0a)
        return readMultiple(cip);
    if (what == 0x03) {
        const auto count = cip.read(attributeCount);
        for (std::uint64_t i = 0; i < count && cip.more(); ++i)
            cip.read(attributeId);
    } else if (target.classNumber == connectionManager) {
        readManagerRequest(cip, what);
    } else if (target.classNumber == symbolClass) {
        readTagRequest(cip, what);
    }
}

void readReply(Layer& cip, unsigned what)
{
    const auto asked = requestOf(cip, what);
    cip.readParts(serviceByte, isReply, asked.isKnown ? serviceOf(asked.classId) : serviceOfReply(what));
    if (asked.isKnown)
        cip.add(askedClass, asked.classId);
    cip.read(reserved);
    const auto outcome = cip.read(status), words = cip.read(extendedSize);
    for (std::uint64_t i = 0; i < words && !cip.stopped(); ++i)
        cip.read(extended);
    if (!cip.more())
        return;
    if (what == 0x0a)
        return readMultiple(cip);
    const bool isManager = asked.isKnown && asked.classId == connectionManager;
    if (outcome == 0 && isManager && (what == 0x54 || what == 0x5b)) {
        cip.read(toTarget, toOriginator, connectionSerial, originatorVendor, originatorSerial, intervalToTarget,
                 intervalToOriginator);
        readApplication(cip);
    } else if (outcome == 0 && isManager && what == 0x4e) {
        cip.read(connectionSerial, originatorVendor, originatorSerial);
        readApplication(cip);
    } else if ((outcome == 0 || outcome == 6) && asked.isKnown && asked.classId == symbolClass
               && (what == 0x4c || what == 0x52)) {
        cip.read(dataType);
    }
}

void decode(Layer& cip)
{
    const unsigned first = cip.peek8(), what = first & 0x7f;
    if (first & 0x80)
        readReply(cip, what);
    else
        readRequest(cip, what);
    if (cip.more())
        cip.readRest(data);
}

Value serviceIn(const LayerView& cip)
{
    for (const auto* field : {&service, &managerService, &tagService}) {
        if (const auto found = cip[*field])
            return found;
    }
    return cip[service];
}

void describe(const LayerView& cip, TextSink& out)
{
    const auto what = serviceIn(cip);
    if (what && nameIn(what.node()->field->names, what.number()).empty()) {
        out("Service 0x");
        out.putHex(what.number(), 2);
    } else {
        out("{}", what);
    }
    if (cip[isReply] == 1) {
        out(" reply: {}", cip[status]);
        if (const auto why = cip[extended])
            out(", {}", why);
        if (const auto where = cip[askedClass])
            out(", {}", where);
        return;
    }
    if (const auto tag = cip[symbol])
        out(" {}", tag);
    else if (const auto where = cip[classId])
        out(", {}", where);
    if (const auto which = cip[instance])
        out(", instance {}", which);
    if (const auto which = cip[attribute])
        out(", attribute {}", which);
}
} // namespace

constexpr Protocol protocol{{"cip", "CIP", Wire::layer}, {}, {}, decode, describe};
static_assert(wellFormed(protocol));
} // namespace netrondo::cip
