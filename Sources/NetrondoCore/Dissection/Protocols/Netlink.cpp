// Linux's netlink as nlmon interfaces capture it: what kernel and programs tell each other of interfaces, addresses,
// routes and neighbors (RFC 3549).
#include "Dissection/Protocols/MadeText.h"
#include "Dissection/Protocols/Protocols.h"

namespace netrondo::netlink {
namespace {
constexpr NamedValue types[] = {{1, "nothing"},
                                {2, "error"},
                                {3, "done"},
                                {4, "overrun"},
                                {16, "new link"},
                                {17, "delete link"},
                                {18, "get link"},
                                {19, "set link"},
                                {20, "new address"},
                                {21, "delete address"},
                                {22, "get address"},
                                {24, "new route"},
                                {25, "delete route"},
                                {26, "get route"},
                                {28, "new neighbor"},
                                {29, "delete neighbor"},
                                {30, "get neighbor"},
                                {32, "new rule"},
                                {33, "delete rule"},
                                {34, "get rule"},
                                {36, "new queue discipline"},
                                {37, "delete queue discipline"},
                                {38, "get queue discipline"},
                                {40, "new traffic class"},
                                {41, "delete traffic class"},
                                {42, "get traffic class"},
                                {44, "new traffic filter"},
                                {45, "delete traffic filter"},
                                {46, "get traffic filter"}};
constexpr NamedValue flagNames[] = {{0x0001, "request"}, {0x0002, "multipart"}, {0x0004, "acknowledge"},
                                    {0x0008, "echo"},    {0x0100, "root"},      {0x0200, "match"},
                                    {0x0400, "create"},  {0x0800, "append"}};
constexpr NamedValue families[] = {{0, "unspecified"}, {2, "IPv4"}, {7, "bridge"}, {10, "IPv6"}, {28, "MPLS"}};
constexpr NamedValue deviceFlags[] = {
    {0x1, "up"},           {0x2, "broadcast"},    {0x8, "loopback"},      {0x10, "point to point"},
    {0x40, "running"},     {0x80, "no ARP"},      {0x100, "promiscuous"}, {0x400, "aggregate"},
    {0x800, "aggregated"}, {0x1000, "multicast"}, {0x10000, "carrier"}};
constexpr NamedValue operStates[] = {{0, "unknown"}, {1, "not present"}, {2, "down"}, {3, "lower layer down"},
                                     {4, "testing"}, {5, "dormant"},     {6, "up"}};
constexpr NamedValue routeTypes[] = {{1, "unicast"},   {2, "local"},     {3, "broadcast"},   {4, "anycast"},
                                     {5, "multicast"}, {6, "blackhole"}, {7, "unreachable"}, {8, "prohibit"}};
constexpr NamedValue scopes[] = {{0, "global"}, {200, "site"}, {253, "link"}, {254, "host"}, {255, "nowhere"}};
constexpr NamedValue linkAttributes[] = {{1, "address"},
                                         {2, "broadcast address"},
                                         {3, "name"},
                                         {4, "MTU"},
                                         {5, "lower link"},
                                         {6, "queue discipline"},
                                         {7, "counters"},
                                         {9, "priority"},
                                         {10, "master"},
                                         {12, "bridge port"},
                                         {13, "queue length"},
                                         {14, "map"},
                                         {16, "state"},
                                         {17, "mode"},
                                         {18, "information"},
                                         {20, "alias"},
                                         {23, "counters, 64 bits"},
                                         {26, "families"},
                                         {27, "group"},
                                         {30, "promiscuity"},
                                         {31, "send queues"},
                                         {32, "receive queues"},
                                         {33, "carrier"},
                                         {35, "carrier changes"}};
constexpr NamedValue addressAttributes[] = {{1, "address"},           {2, "local address"}, {3, "label"},
                                            {4, "broadcast address"}, {5, "anycast"},       {6, "lifetimes"},
                                            {7, "multicast"},         {8, "flags"}};
constexpr NamedValue routeAttributes[] = {
    {1, "destination"},      {2, "source"},  {3, "input link"}, {4, "output link"}, {5, "gateway"}, {6, "priority"},
    {7, "preferred source"}, {8, "metrics"}, {9, "multipath"},  {12, "cache"},      {15, "table"},  {20, "preference"}};
constexpr NamedValue neighborAttributes[] = {{1, "destination"}, {2, "link address"}, {3, "cache"}, {4, "probes"}};

// The byte order is that of the machine that captured: numbers are read by hand.
constexpr Field message{"netlink.message", "Message", Wire::group};
constexpr Field length{"netlink.len", "Length", Wire::number};
constexpr Field type{"netlink.type", "Type", Wire::number, types};
constexpr Field flags{"netlink.flags", "Flags", Wire::flags, flagNames};
constexpr Field sequence{"netlink.seq", "Sequence number", Wire::number};
constexpr Field port{"netlink.port", "Port", Wire::number};
constexpr Field error{"netlink.error", "Error", Wire::number};
constexpr Field family{"netlink.family", "Family", Wire::u8, families};
constexpr Field device{"netlink.device", "Device type", Wire::number};
constexpr Field index{"netlink.index", "Interface index", Wire::number};
constexpr Field state{"netlink.device_flags", "Device flags", Wire::flags, deviceFlags};
constexpr Field changed{"netlink.changed", "Changed flags", Wire::hex};
constexpr Field prefixLength{"netlink.prefix_len", "Prefix length", Wire::u8};
constexpr Field addressFlags{"netlink.address_flags", "Address flags", Wire::hex8};
constexpr Field scope{"netlink.scope", "Scope", Wire::u8, scopes};
constexpr Field destinationLength{"netlink.dst_len", "Destination prefix length", Wire::u8};
constexpr Field sourceLength{"netlink.src_len", "Source prefix length", Wire::u8};
constexpr Field service{"netlink.tos", "Type of service", Wire::hex8};
constexpr Field table{"netlink.table", "Table", Wire::u8};
constexpr Field origin{"netlink.origin", "Origin", Wire::u8};
constexpr Field routeType{"netlink.route_type", "Route type", Wire::u8, routeTypes};
constexpr Field routeFlags{"netlink.route_flags", "Route flags", Wire::hex};
constexpr Field neighborState{"netlink.neighbor_state", "Neighbor’s state", Wire::hex};
constexpr Field neighborFlags{"netlink.neighbor_flags", "Neighbor’s flags", Wire::hex8};
constexpr Field handle{"netlink.handle", "Handle", Wire::hex};
constexpr Field parent{"netlink.parent", "Parent", Wire::hex};
constexpr Field queueInfo{"netlink.queue_info", "Information", Wire::hex};
constexpr Field linkAttribute{"netlink.attribute", "Attribute", Wire::number, linkAttributes};
constexpr Field addressAttribute{"netlink.attribute", "Attribute", Wire::number, addressAttributes};
constexpr Field routeAttribute{"netlink.attribute", "Attribute", Wire::number, routeAttributes};
constexpr Field neighborAttribute{"netlink.attribute", "Attribute", Wire::number, neighborAttributes};
constexpr Field otherAttribute{"netlink.attribute", "Attribute", Wire::number};
constexpr Field attributeLength{"netlink.attribute_len", "Length", Wire::number};
constexpr Field attributeType{"netlink.attribute_type", "Type", Wire::number};
constexpr Field name{"netlink.name", "Name", Wire::text};
constexpr Field mac{"netlink.mac", "MAC address", Wire::mac};
constexpr Field ip{"netlink.ip", "IPv4 address", Wire::ipv4};
constexpr Field ip6{"netlink.ip6", "IPv6 address", Wire::ipv6};
constexpr Field operState{"netlink.oper_state", "State", Wire::u8, operStates};
constexpr Field value{"netlink.value", "Value", Wire::number};
constexpr Field bytes{"netlink.bytes", "Bytes", Wire::bytes};

constexpr std::size_t headerLength = 16;

/// Reads numbers in the order of the machine that captured.
class Reader {
public:
    Reader(Layer& layer, bool isBig) : layer_(layer), isBig_(isBig) { }

    std::uint64_t u16(const Field& field) { return read(field, 2); }
    std::uint64_t u32(const Field& field) { return read(field, 4); }
    std::uint16_t peek16(std::size_t ahead) const
    {
        const auto number = layer_.peek16(ahead);
        return isBig_ ? number : static_cast<std::uint16_t>(number >> 8 | number << 8);
    }
    std::uint32_t peek32() const { return isBig_ ? layer_.peek32() : __builtin_bswap32(layer_.peek32()); }
    Layer& layer() const { return layer_; }

private:
    std::uint64_t read(const Field& field, std::size_t size)
    {
        if (!layer_.more(size)) {
            layer_.readBytes(field, size);
            return 0;
        }
        const auto number = size == 2 ? peek16(0) : peek32();
        layer_.add(field, number, layer_.offset(), size);
        layer_.skip(size);
        return number;
    }

    Layer& layer_;
    bool isBig_;
};

/// What the attributes of a kind of message are called, and which of them hold an address or letters.
struct Kind {
    const Field* attribute;
    std::uint16_t addresses; ///< a bit for each type
    std::uint16_t names;
};
constexpr Kind linkKind{&linkAttribute, 1 << 1 | 1 << 2, 1 << 3 | 1 << 6};
constexpr Kind addressKind{&addressAttribute, 1 << 1 | 1 << 2 | 1 << 4 | 1 << 5 | 1 << 7, 1 << 3};
constexpr Kind routeKind{&routeAttribute, 1 << 1 | 1 << 2 | 1 << 5 | 1 << 7, 0};
constexpr Kind neighborKind{&neighborAttribute, 1 << 1 | 1 << 2, 0};
constexpr Kind otherKind{&otherAttribute, 0, 0};

void readContent(Reader& reader, const Kind& kind, std::uint64_t which)
{
    auto& layer = reader.layer();
    const auto size = layer.left();
    const auto isIn = [&](unsigned set) { return which < 16 && (set >> which & 1); };
    if (isIn(kind.names))
        layer.readZeroText(name);
    else if (isIn(kind.addresses) && size == 4)
        layer.read(ip);
    else if (isIn(kind.addresses) && size == 6)
        layer.read(mac);
    else if (isIn(kind.addresses) && size == 16)
        layer.read(ip6);
    else if (&kind == &linkKind && which == 16 && size == 1)
        layer.read(operState);
    else if (size == 4)
        reader.u32(value);
    else if (size)
        layer.readRest(bytes);
}

void readAttributes(Reader& reader, const Kind& kind)
{
    constexpr std::uint64_t typeMask = 0x3fff; // the bits above it: nested, and in network order
    constexpr std::size_t header = 4;
    auto& layer = reader.layer();
    while (layer.more(header)) {
        const std::uint64_t which = reader.peek16(2) & typeMask;
        const Layer::Group group(layer, *kind.attribute, which);
        const auto size = reader.u16(attributeLength);
        reader.u16(attributeType);
        if (size < header)
            return layer.reject(attributeLength);
        {
            const Layer::Window content(layer, size - header);
            readContent(reader, kind, which);
        }
        layer.skip(std::min<std::size_t>((4 - size % 4) % 4, layer.left()));
    }
}

void readBody(Reader& reader, std::uint64_t what)
{
    auto& layer = reader.layer();
    switch (what < 16 ? 0 : what / 4) {
    case 16 / 4:
        layer.read(family);
        layer.skip(1);
        reader.u16(device), reader.u32(index), reader.u32(state), reader.u32(changed);
        return readAttributes(reader, linkKind);
    case 20 / 4:
        layer.read(family, prefixLength, addressFlags, scope);
        reader.u32(index);
        return readAttributes(reader, addressKind);
    case 24 / 4:
        layer.read(family, destinationLength, sourceLength, service);
        layer.read(table, origin, scope, routeType);
        reader.u32(routeFlags);
        return readAttributes(reader, routeKind);
    case 28 / 4:
        layer.read(family);
        layer.skip(3);
        reader.u32(index), reader.u16(neighborState);
        layer.read(neighborFlags, routeType);
        return readAttributes(reader, neighborKind);
    case 36 / 4:
    case 40 / 4:
    case 44 / 4:
        layer.read(family);
        layer.skip(3);
        reader.u32(index), reader.u32(handle), reader.u32(parent), reader.u32(queueInfo);
        return readAttributes(reader, otherKind);
    default: break;
    }
    if (what == 2 && layer.more(4))
        reader.u32(error);
    if (layer.more())
        layer.readRest(bytes);
}

/// The first message's length fits the frame in one order only.
bool isBigEndian(const Layer& layer)
{
    const auto big = layer.peek32(), little = __builtin_bswap32(big);
    return little < headerLength || little > layer.leftOnWire();
}

void decode(Layer& layer)
{
    Reader reader(layer, isBigEndian(layer));
    while (layer.more(4)) {
        const Layer::Group group(layer, message);
        const auto size = reader.u32(length);
        if (size < headerLength)
            return layer.reject(length);
        {
            const Layer::Window window(layer, size - 4);
            const auto what = reader.u16(type);
            reader.u16(flags), reader.u32(sequence), reader.u32(port);
            readBody(reader, what);
        }
        layer.skip(std::min<std::size_t>((4 - size % 4) % 4, layer.left()));
    }
    layer.endHere();
}

void describe(const LayerView& view, TextSink& out)
{
    const auto count = view.count(type);
    out("{}", view[type]);
    if (const auto interfaceName = view[name])
        out(" {}", interfaceName);
    else if (const auto where = view[index])
        out(" {}", where);
    if (const auto how = view[state])
        out(", {}", how);
    if (const auto how = view[operState])
        out(", {}", how);
    if (const auto address = view[ip] ? view[ip] : view[ip6])
        out(", {}", address);
    if (count > 1)
        out(", {} messages", count);
}
} // namespace

constexpr Protocol protocol{{"netlink", "Netlink", Wire::layer}, {}, {}, decode, describe};
static_assert(wellFormed(protocol));
} // namespace netrondo::netlink
