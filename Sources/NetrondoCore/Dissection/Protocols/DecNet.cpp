// DECnet Phase IV: the routing layer (Digital Network Architecture, routing layer 2.0.0).
#include "Dissection/Protocols/MadeText.h"
#include "Dissection/Protocols/Protocols.h"

namespace netrondo::decnet {
namespace {
constexpr NamedValue formats[] = {{2, "short data"}, {6, "long data"}};
constexpr NamedValue controls[] = {{0, "Initialization"}, {1, "Verification"},   {2, "Hello and test"},
                                   {3, "Level 1 routes"}, {4, "Level 2 routes"}, {5, "Router hello"},
                                   {6, "End node hello"}};
constexpr NamedValue nodeTypes[] = {{1, "level 2 router"}, {2, "level 1 router"}, {3, "end node"}};

constexpr Field length{"decnet.len", "Length", Wire::le16};
constexpr Field padding{"decnet.padding", "Padding", Wire::bytes};
constexpr Field dataFlags{"decnet.flags", "Flags", Wire::hex8};
constexpr Field format{"decnet.format", "Format", Wire::bits, formats, 0x07};
constexpr Field wantsBack{"decnet.return", "Return to sender wanted", Wire::bit, {}, 0x08};
constexpr Field isBack{"decnet.returned", "Returned to sender", Wire::bit, {}, 0x10};
constexpr Field isLocal{"decnet.intra", "Within the Ethernet", Wire::bit, {}, 0x20};
constexpr Field controlFlags{"decnet.flags", "Flags", Wire::hex8};
constexpr Field isControl{"decnet.control", "Control message", Wire::bit, {}, 0x01};
constexpr Field control{"decnet.type", "Message", Wire::bits, controls, 0x0e};
constexpr Field areas{"decnet.areas", "Area and subarea", Wire::hex16};
constexpr Field destination{"decnet.dst", "Destination", Wire::madeText};
constexpr Field source{"decnet.src", "Source", Wire::madeText};
constexpr Field neighbor{"decnet.neighbor", "Neighbor", Wire::madeText};
constexpr Field nextRouter{"decnet.next_router", "Next level 2 router", Wire::u8};
constexpr Field visits{"decnet.visits", "Routers visited", Wire::u8};
constexpr Field service{"decnet.service", "Service class", Wire::hex8};
constexpr Field nextProtocol{"decnet.proto", "Protocol type", Wire::hex8};
constexpr Field version{"decnet.version", "Version", Wire::hex24};
constexpr Field info{"decnet.info", "Information", Wire::hex8};
constexpr Field nodeType{"decnet.node_type", "Type of node", Wire::bits, nodeTypes, 0x03};
constexpr Field blockSize{"decnet.block", "Largest block", Wire::le16};
constexpr Field priority{"decnet.priority", "Priority", Wire::u8};
constexpr Field area{"decnet.area", "Area", Wire::u8};
constexpr Field seed{"decnet.seed", "Verification seed", Wire::bytes};
constexpr Field timer{"decnet.timer", "Hello timer (s)", Wire::le16};
constexpr Field reserved{"decnet.reserved", "Reserved", Wire::hex8};
constexpr Field testData{"decnet.test", "Test data", Wire::bytes};
constexpr Field routers{"decnet.routers", "Routers heard", Wire::group};
constexpr Field logicalName{"decnet.ethernet", "Ethernet’s name", Wire::bytes};
constexpr Field segment{"decnet.segment", "Routes", Wire::group};
constexpr Field count{"decnet.count", "Number of routes", Wire::le16};
constexpr Field first{"decnet.first", "First destination", Wire::le16};
constexpr Field route{"decnet.route", "Route", Wire::leHex16};
constexpr Field cost{"decnet.cost", "Cost", Wire::bits, {}, 0x03ff};
constexpr Field hops{"decnet.hops", "Hops", Wire::bits, {}, 0x7c00};
constexpr Field checksum{"decnet.checksum", "Checksum", Wire::leHex16};
constexpr Field function{"decnet.function", "Function value", Wire::bytes};

/// A node's number of two bytes, little-endian: area and node.
std::uint16_t readNode(Layer& layer, const Field& field)
{
    if (!layer.more(2)) {
        layer.skip(2);
        return 0;
    }
    const auto number = load::le16(layer.rest().data());
    MadeText text;
    text.add("{}.{}", number >> 10, number & 0x3ff);
    layer.addText(field, text, layer.offset(), 2);
    layer.skip(2);
    return number;
}

/// The same as the end of an Ethernet address, aa:00:04:00:….
std::uint16_t readStation(Layer& layer, const Field& field)
{
    layer.skip(4);
    return readNode(layer, field);
}

void setSource(Layer& layer, std::uint16_t node)
{
    if (!layer.stopped())
        layer.setEndpoints(Address::decnet(node), layer.summary().destination);
}

void readHello(Layer& layer, bool isRouter)
{
    constexpr std::size_t entry = 7;
    layer.read(version);
    setSource(layer, readStation(layer, source));
    layer.readParts(info, nodeType);
    layer.read(blockSize);
    if (isRouter) {
        layer.read(priority, area, timer, reserved);
        const auto size = layer.peek8();
        layer.skip(1);
        const Layer::Window list(layer, size);
        const Layer::Group group(layer, routers);
        layer.readBytes(logicalName, entry);
        const auto heard = layer.peek8();
        layer.skip(1);
        for (std::size_t i = 0; i < heard / entry && layer.more(entry); ++i) {
            readStation(layer, neighbor);
            layer.read(priority);
        }
        return;
    }
    layer.read(area);
    layer.readBytes(seed, 8);
    readStation(layer, neighbor);
    layer.read(timer, reserved);
    const auto size = layer.peek8();
    layer.skip(1);
    layer.readBytes(testData, size);
}

void readRoutes(Layer& layer)
{
    setSource(layer, readNode(layer, source));
    layer.read(reserved);
    while (layer.more(6)) {
        const Layer::Group group(layer, segment);
        const auto routes = layer.read(count);
        layer.read(first);
        for (std::uint64_t i = 0; i < routes && layer.more(2); ++i)
            layer.readParts(route, hops, cost);
    }
    layer.read(checksum);
}

void readControl(Layer& layer)
{
    const auto kind = layer.readParts(controlFlags, isControl, control) >> 1 & 7;
    switch (kind) {
    case 0:
        setSource(layer, readNode(layer, source));
        layer.readParts(info, nodeType);
        layer.read(blockSize, version, timer);
        break;
    case 1:
    case 2: {
        setSource(layer, readNode(layer, source));
        const auto size = layer.peek8();
        layer.skip(1);
        layer.readBytes(kind == 1 ? function : testData, size);
        break;
    }
    case 3:
    case 4: readRoutes(layer); break;
    case 5:
    case 6: readHello(layer, kind == 5); break;
    default: return layer.reject(control);
    }
    layer.endHere();
}

void readData(Layer& layer)
{
    const auto bits = layer.readParts(dataFlags, format, wantsBack, isBack, isLocal);
    std::uint16_t to = 0, from = 0;
    if ((bits & 7) == 6) {
        layer.read(areas);
        to = readStation(layer, destination);
        layer.read(areas);
        from = readStation(layer, source);
        layer.read(nextRouter, visits, service, nextProtocol);
    } else if ((bits & 7) == 2) {
        to = readNode(layer, destination);
        from = readNode(layer, source);
        layer.read(visits);
    } else {
        return layer.reject(format);
    }
    if (layer.stopped())
        return;
    layer.setEndpoints(Address::decnet(from), Address::decnet(to));
    layer.handOver(nsp::protocol);
}

void decode(Layer& decnet)
{
    const auto size = decnet.read(length);
    {
        const Layer::Window message(decnet, size);
        if (decnet.peek8() & 0x80)
            decnet.readBytes(padding, decnet.peek8() & 0x7f);
        if (decnet.peek8() & 1)
            readControl(decnet);
        else
            readData(decnet);
    }
    decnet.endHere();
}

void describe(const LayerView& decnet, TextSink& out)
{
    if (const auto what = decnet[control])
        out("{}", what);
    else if (const auto to = decnet[destination])
        out("{} {} → {}", decnet[format], decnet[source], to);
    if (const auto what = decnet[nodeType])
        out(", {} {}, every {} s", what, decnet[source], decnet[timer]);
}

constexpr Claim claims[] = {etherType(0x6003), pppProtocol(0x0027)};
} // namespace

constexpr Protocol protocol{{"decnet", "DECnet", Wire::layer}, {}, claims, decode, describe};
static_assert(wellFormed(protocol));
} // namespace netrondo::decnet
