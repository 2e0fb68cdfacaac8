// IS-IS (ISO/IEC 10589, RFC 1195) and the other OSI network protocols by name.
#include "Dissection/Protocols/MadeText.h"
#include "Dissection/Protocols/Prefix.h"
#include "Dissection/Protocols/Protocols.h"

namespace netrondo {

namespace osi {
namespace {
constexpr NamedValue protocols[] = {{0x81, "CLNP"}, {0x82, "ES-IS"}, {0x83, "IS-IS"}, {0xcc, "IPv4"}, {0x8e, "IPv6"}};

constexpr Field identifier{"osi.nlpid", "Network layer protocol", Wire::hex8, protocols};

void decode(Layer& osi)
{
    if (!osi.left())
        return static_cast<void>(osi.read(identifier));
    const auto number = osi.peek8(); // the protocol itself begins with this byte
    osi.add(identifier, number, osi.offset(), 1);
    osi.handOver(osiNlpid(number));
}

void describe(const LayerView& osi, TextSink& out)
{
    out("{}", osi[identifier]);
}

constexpr Claim claims[] = {llcSap(0xfe)};
} // namespace

constexpr Protocol protocol{{"osi", "OSI", Wire::layer}, {}, claims, decode, describe};
static_assert(wellFormed(protocol));
} // namespace osi

namespace isis {
namespace {
constexpr NamedValue types[] = {{15, "Level 1 LAN hello"},
                                {16, "Level 2 LAN hello"},
                                {17, "Point-to-point hello"},
                                {18, "Level 1 link state"},
                                {20, "Level 2 link state"},
                                {24, "Level 1 complete sequence numbers"},
                                {25, "Level 2 complete sequence numbers"},
                                {26, "Level 1 partial sequence numbers"},
                                {27, "Level 2 partial sequence numbers"}};
constexpr NamedValue circuits[] = {{1, "level 1"}, {2, "level 2"}, {3, "levels 1 and 2"}};
constexpr NamedValue elements[] = {{1, "area addresses"},
                                   {2, "neighbours"},
                                   {6, "neighbours on the LAN"},
                                   {8, "padding"},
                                   {9, "link state entries"},
                                   {10, "authentication"},
                                   {12, "checksum"},
                                   {14, "buffer size"},
                                   {22, "extended neighbours"},
                                   {128, "IPv4 internal reachability"},
                                   {129, "protocols supported"},
                                   {130, "IPv4 external reachability"},
                                   {132, "IPv4 interface addresses"},
                                   {134, "router ID"},
                                   {135, "extended IPv4 reachability"},
                                   {137, "host name"},
                                   {211, "restart"},
                                   {222, "neighbours by topology"},
                                   {229, "topologies"},
                                   {232, "IPv6 interface addresses"},
                                   {236, "IPv6 reachability"},
                                   {240, "point-to-point adjacency"},
                                   {242, "capabilities"}};
constexpr NamedValue adjacencies[] = {{0, "up"}, {1, "initializing"}, {2, "down"}};
constexpr NamedValue authentications[] = {{1, "password"}, {54, "HMAC-MD5"}};
constexpr NamedValue linkStateFlags[] = {{0x04, "overloaded"}, {0x80, "repairs partitions"}, {0x40, "attached"}};

constexpr Field discriminator{"isis.nlpid", "Protocol discriminator", Wire::hex8};
constexpr Field headerLength{"isis.header_len", "Header length", Wire::u8};
constexpr Field version{"isis.version", "Version", Wire::u8};
constexpr Field idLength{"isis.id_len", "System ID length", Wire::u8};
constexpr Field type{"isis.type", "PDU type", Wire::bits, types, 0x1f};
constexpr Field typeByte{"isis.type_byte", "Type", Wire::hex8};
constexpr Field version2{"isis.version2", "Version", Wire::u8};
constexpr Field reserved{"isis.reserved", "Reserved", Wire::u8};
constexpr Field areas{"isis.max_areas", "Maximum areas", Wire::u8};
constexpr Field circuit{"isis.circuit", "Circuit type", Wire::hex8, circuits};
constexpr Field system{"isis.system", "Source", Wire::madeText};
constexpr Field holding{"isis.holding", "Holding time (s)", Wire::u16};
constexpr Field length{"isis.length", "PDU length", Wire::u16};
constexpr Field priority{"isis.priority", "Priority", Wire::u8};
constexpr Field lan{"isis.lan", "Designated system", Wire::madeText};
constexpr Field localCircuit{"isis.local_circuit", "Local circuit ID", Wire::hex8};
constexpr Field lifetime{"isis.lsp.lifetime", "Remaining lifetime (s)", Wire::u16};
constexpr Field linkState{"isis.lsp.id", "Link state ID", Wire::madeText};
constexpr Field sequence{"isis.lsp.seq", "Sequence number", Wire::hex32};
constexpr Field checksum{"isis.lsp.checksum", "Checksum", Wire::hex16};
constexpr Field flags{"isis.lsp.flags", "Flags", Wire::flags8, linkStateFlags};
constexpr Field start{"isis.start", "First link state ID", Wire::madeText};
constexpr Field end{"isis.end", "Last link state ID", Wire::madeText};
constexpr Field element{"isis.tlv", "Element", Wire::number, elements};
constexpr Field elementType{"isis.tlv_type", "Type", Wire::u8, elements};
constexpr Field elementLength{"isis.tlv_len", "Length", Wire::u8};
constexpr Field areaLength{"isis.area_len", "Area length", Wire::u8};
constexpr Field area{"isis.area", "Area", Wire::bytes};
constexpr Field lanNeighbour{"isis.lan_neighbour", "Neighbour", Wire::mac};
constexpr Field authentication{"isis.auth_type", "Authentication type", Wire::u8, authentications};
constexpr Field authData{"isis.auth", "Authentication", Wire::bytes};
constexpr Field bufferSize{"isis.buffer_size", "Buffer size", Wire::u16};
constexpr Field entry{"isis.entry", "Link state entry", Wire::group};
constexpr Field neighbour{"isis.neighbour", "Neighbour", Wire::madeText};
constexpr Field metric24{"isis.metric", "Metric", Wire::u24};
constexpr Field metric32{"isis.metric", "Metric", Wire::u32};
constexpr Field metric8{"isis.metric", "Metric", Wire::u8};
constexpr Field otherMetrics{"isis.other_metrics", "Delay, expense and error metrics", Wire::hex24};
constexpr Field virtualFlag{"isis.virtual", "Virtual", Wire::u8};
constexpr Field subLength{"isis.sub_len", "Sub-elements length", Wire::u8};
constexpr Field subElements{"isis.sub", "Sub-elements", Wire::bytes};
constexpr Field network{"isis.protocol_supported", "Protocol", Wire::hex8, osi::protocols};
constexpr Field address4{"isis.address", "Interface address", Wire::ipv4};
constexpr Field address6{"isis.address", "Interface address", Wire::ipv6};
constexpr Field routerId{"isis.router", "Router ID", Wire::ipv4};
constexpr Field networkAddress{"isis.network", "Network", Wire::ipv4};
constexpr Field mask{"isis.mask", "Mask", Wire::ipv4};
constexpr Field control{"isis.control", "Control", Wire::hex8};
constexpr Field prefixLength{"isis.prefix_len", "Prefix length", Wire::u8};
constexpr Field prefix{"isis.prefix", "Prefix", Wire::madeText};
constexpr Field hostName{"isis.hostname", "Host name", Wire::text};
constexpr Field adjacency{"isis.adjacency", "Adjacency state", Wire::u8, adjacencies};
constexpr Field extendedCircuit{"isis.extended_circuit", "Circuit ID", Wire::u32};
constexpr Field topology{"isis.topology", "Topology", Wire::hex16};
constexpr Field data{"isis.data", "Data", Wire::bytes};

/// Six bytes of a system, then perhaps the pseudonode's, then perhaps the fragment's: "0000.0000.0001.00-00".
void readId(Layer& isis, const Field& field, std::size_t size)
{
    if (isis.stopped() || isis.left() < size)
        return isis.skip(size);
    const auto bytes = isis.rest().first(size);
    MadeText text;
    for (std::size_t i = 0; i < size; ++i)
        text.add("{}{:02x}", i == 7 ? "-" : i && i % 2 == 0 ? "." : "", bytes[i]);
    isis.addText(field, text, isis.offset(), size);
    isis.skip(size);
}

void readSubElements(Layer& isis)
{
    if (const auto size = isis.read(subLength))
        isis.readBytes(subElements, size);
}

void readEntry(Layer& isis)
{
    const Layer::Group group(isis, entry);
    isis.read(lifetime);
    readId(isis, linkState, 8);
    isis.read(sequence, checksum);
}

void readNeighbour(Layer& isis)
{
    readId(isis, neighbour, 7);
    isis.read(metric24);
    readSubElements(isis);
}

void readReachability4(Layer& isis)
{
    isis.read(metric32);
    const auto bits = isis.read(control);
    prefix::read(isis, prefix, Address::Kind::ipv4, bits & 0x3f, prefix::bytesFor(bits & 0x3f));
    if (bits & 0x40)
        readSubElements(isis);
}

void readReachability6(Layer& isis)
{
    isis.read(metric32);
    const auto bits = isis.read(control), size = isis.read(prefixLength);
    prefix::read(isis, prefix, Address::Kind::ipv6, size, prefix::bytesFor(size));
    if (bits & 0x20)
        readSubElements(isis);
}

void readAdjacency(Layer& isis)
{
    isis.read(adjacency);
    if (isis.more(4))
        isis.read(extendedCircuit);
    if (isis.more(6))
        readId(isis, neighbour, 6);
    if (isis.more(4))
        isis.read(extendedCircuit);
}

/// One item of an element; elements repeat theirs up to their end. False where there are none.
bool readItem(Layer& isis, std::uint64_t kind)
{
    switch (kind) {
    case 1: isis.readBytes(area, isis.read(areaLength)); return true;
    case 2:
        isis.read(metric8, otherMetrics);
        readId(isis, neighbour, 7);
        return true;
    case 6: isis.read(lanNeighbour); return true;
    case 9: readEntry(isis); return true;
    case 22: readNeighbour(isis); return true;
    case 128:
    case 130: isis.read(metric8, otherMetrics, networkAddress, mask); return true;
    case 129: isis.read(network); return true;
    case 132: isis.read(address4); return true;
    case 135: readReachability4(isis); return true;
    case 229: isis.read(topology); return true;
    case 232: isis.read(address6); return true;
    case 236: readReachability6(isis); return true;
    default: return false;
    }
}

void readElement(Layer& isis)
{
    const Layer::Group group(isis, element, isis.peek8());
    const auto kind = isis.read(elementType), size = isis.read(elementLength);
    const Layer::Window content(isis, size);
    switch (kind) {
    case 2: isis.read(virtualFlag); break;
    case 10: isis.read(authentication), isis.readRest(authData); break;
    case 14: isis.read(bufferSize); break;
    case 134: isis.read(routerId); break;
    case 137: isis.readText(hostName, isis.left()); break;
    case 240: readAdjacency(isis); break;
    default: break;
    }
    while (isis.more() && readItem(isis, kind)) { }
    if (isis.more())
        isis.readRest(data);
}

void readHeader(Layer& isis, std::uint64_t kind)
{
    if (kind >= 15 && kind <= 17) {
        isis.read(circuit);
        readId(isis, system, 6);
        isis.read(holding, length);
        if (kind == 17)
            return static_cast<void>(isis.read(localCircuit));
        isis.read(priority);
        return readId(isis, lan, 7);
    }
    isis.read(length);
    if (kind == 18 || kind == 20) {
        isis.read(lifetime);
        readId(isis, linkState, 8);
        isis.read(sequence, checksum, flags);
        return;
    }
    readId(isis, system, 7);
    if (kind == 24 || kind == 25) {
        readId(isis, start, 8);
        readId(isis, end, 8);
    }
}

void decode(Layer& isis)
{
    isis.read(discriminator, headerLength, version, idLength);
    const auto kind = isis.readParts(typeByte, type) & 0x1f;
    isis.read(version2, reserved, areas);
    if (nameIn(types, kind).empty())
        return isis.reject(type);
    readHeader(isis, kind);
    while (isis.more(2))
        readElement(isis);
}

void describe(const LayerView& isis, TextSink& out)
{
    out("{}", isis[type]);
    if (const auto from = isis[system])
        out(", from {}", from);
    else if (const auto id = isis[linkState])
        out(", {}, sequence {}", id, isis[sequence]);
    if (const auto name = isis[hostName])
        out(", “{}”", name);
    if (const auto state = isis[adjacency])
        out(", {}", state);
}

constexpr Claim claims[] = {osiNlpid(0x83), ipProtocol(124)};
} // namespace

constexpr Protocol protocol{{"isis", "IS-IS", Wire::layer}, {}, claims, decode, describe};
static_assert(wellFormed(protocol));
} // namespace isis

} // namespace netrondo
