// Novell's IPX, and SAP, RIP and SPX on it.
#include "Dissection/Protocols/Protocols.h"

namespace netrondo {

namespace ipx {
namespace {
constexpr NamedValue packetTypes[] = {{0, "unknown"}, {1, "RIP"}, {2, "echo"}, {3, "error"},
                                      {4, "PEP"},     {5, "SPX"}, {17, "NCP"}, {20, "NetBIOS broadcast"}};
constexpr NamedValue sockets[] = {{0x0451, "NCP"},
                                  {0x0452, "SAP"},
                                  {0x0453, "RIP"},
                                  {0x0455, "NetBIOS"},
                                  {0x0456, "diagnostic"},
                                  {0x0457, "serialization"},
                                  {0x0550, "NetBIOS name query"},
                                  {0x0551, "NetBIOS redirect"},
                                  {0x0552, "NetBIOS datagram"},
                                  {0x0553, "NetBIOS name"},
                                  {0x85be, "EIGRP"},
                                  {0x9001, "NLSP"},
                                  {0x9004, "IPX WAN"}};

constexpr Field checksum{"ipx.checksum", "Checksum", Wire::hex16};
constexpr Field length{"ipx.len", "Length", Wire::u16};
constexpr Field hops{"ipx.hops", "Transport control", Wire::u8};
constexpr Field packetType{"ipx.type", "Packet type", Wire::u8, packetTypes};
constexpr Field destinationNetwork{"ipx.dst_net", "Destination network", Wire::hex32};
constexpr Field destinationNode{"ipx.dst_node", "Destination node", Wire::mac};
constexpr Field destinationSocket{"ipx.dst_socket", "Destination socket", Wire::hex16, sockets};
constexpr Field sourceNetwork{"ipx.src_net", "Source network", Wire::hex32};
constexpr Field sourceNode{"ipx.src_node", "Source node", Wire::mac};
constexpr Field sourceSocket{"ipx.src_socket", "Source socket", Wire::hex16, sockets};

void decode(Layer& ipx)
{
    ipx.read(checksum);
    const auto size = ipx.read(length);
    ipx.read(hops);
    const auto kind = ipx.read(packetType);
    const auto toNetwork = ipx.read(destinationNetwork), toNode = ipx.read(destinationNode);
    const auto toSocket = static_cast<std::uint16_t>(ipx.read(destinationSocket));
    const auto fromNetwork = ipx.read(sourceNetwork), fromNode = ipx.read(sourceNode);
    const auto fromSocket = static_cast<std::uint16_t>(ipx.read(sourceSocket));
    if (ipx.stopped())
        return;
    if (size < 30)
        return ipx.reject(length);
    ipx.setEndpoints(Address::ipx(static_cast<std::uint32_t>(fromNetwork), fromNode),
                     Address::ipx(static_cast<std::uint32_t>(toNetwork), toNode));
    // Who is asked for a name answers from the socket of names to that of files.
    constexpr std::uint16_t names = 0x0551;
    ipx.handOver({ipxPacketType(static_cast<std::uint8_t>(kind)), ipxSocket(fromSocket == names ? names : toSocket),
                  ipxSocket(fromSocket)},
                 size - 30);
    ipx.endHere();
}

void describe(const LayerView& ipx, TextSink& out)
{
    out("{}, socket {} → {}", ipx[packetType], ipx[sourceSocket], ipx[destinationSocket]);
}

constexpr Claim claims[] = {etherType(0x8137), llcSap(0xe0), pppProtocol(0x002b), greProtocol(0x8137)};
} // namespace

constexpr Protocol protocol{{"ipx", "IPX", Wire::layer}, {}, claims, decode, describe};
static_assert(wellFormed(protocol));
} // namespace ipx

namespace ipxsap {
namespace {
constexpr NamedValue operations[] = {
    {1, "General query"}, {2, "General response"}, {3, "Nearest query"}, {4, "Nearest response"}};
constexpr NamedValue services[] = {{0x0003, "print queue"},          {0x0004, "file server"},
                                   {0x0007, "print server"},         {0x0047, "advertising print server"},
                                   {0x026b, "time synchronization"}, {0x0278, "directory server"},
                                   {0x0640, "Windows server"},       {0xffff, "any"}};

constexpr Field operation{"ipxsap.op", "Operation", Wire::u16, operations};
constexpr Field server{"ipxsap.server", "Server", Wire::group};
constexpr Field service{"ipxsap.service", "Service", Wire::hex16, services};
constexpr Field name{"ipxsap.name", "Name", Wire::text};
constexpr Field network{"ipxsap.network", "Network", Wire::hex32};
constexpr Field node{"ipxsap.node", "Node", Wire::mac};
constexpr Field socket{"ipxsap.socket", "Socket", Wire::hex16};
constexpr Field hops{"ipxsap.hops", "Hops", Wire::u16};

void decode(Layer& sap)
{
    const auto kind = sap.read(operation);
    if (kind == 1 || kind == 3)
        return static_cast<void>(sap.read(service));
    while (sap.more(64)) {
        const Layer::Group group(sap, server);
        sap.read(service);
        const auto text = asText(sap.rest().first(48));
        sap.add(name, 0, sap.offset(), std::min<std::size_t>(text.find('\0'), 48));
        sap.skip(48);
        sap.read(network, node, socket, hops);
    }
}

void describe(const LayerView& sap, TextSink& out)
{
    out("{}", sap[operation]);
    if (const auto what = sap[service])
        out(", {}", what);
    if (const auto who = sap[name])
        out(" “{}”", who);
}

constexpr Claim claims[] = {ipxSocket(0x0452)};
} // namespace

constexpr Protocol protocol{{"ipxsap", "IPX SAP", Wire::layer}, {}, claims, decode, describe};
static_assert(wellFormed(protocol));
} // namespace ipxsap

namespace ipxrip {
namespace {
constexpr NamedValue operations[] = {{1, "Request"}, {2, "Response"}};

constexpr Field operation{"ipxrip.op", "Operation", Wire::u16, operations};
constexpr Field route{"ipxrip.route", "Route", Wire::group};
constexpr Field network{"ipxrip.network", "Network", Wire::hex32};
constexpr Field hops{"ipxrip.hops", "Hops", Wire::u16};
constexpr Field ticks{"ipxrip.ticks", "Ticks", Wire::u16};

void decode(Layer& rip)
{
    rip.read(operation);
    while (rip.more(8)) {
        const Layer::Group group(rip, route);
        rip.read(network, hops, ticks);
    }
}

void describe(const LayerView& rip, TextSink& out)
{
    out("{}, {} networks", rip[operation], rip.count(route));
}

constexpr Claim claims[] = {ipxSocket(0x0453), ipxPacketType(1)};
} // namespace

constexpr Protocol protocol{{"ipxrip", "IPX RIP", Wire::layer}, {}, claims, decode, describe};
static_assert(wellFormed(protocol));
} // namespace ipxrip

namespace spx {
namespace {
constexpr NamedValue controls[] = {
    {0x10, "end of message"}, {0x20, "attention"}, {0x40, "acknowledgment wanted"}, {0x80, "system"}};

constexpr Field control{"spx.control", "Connection control", Wire::flags8, controls};
constexpr Field stream{"spx.stream", "Datastream type", Wire::hex8};
constexpr Field source{"spx.src", "Source connection", Wire::u16};
constexpr Field destination{"spx.dst", "Destination connection", Wire::u16};
constexpr Field sequence{"spx.seq", "Sequence number", Wire::u16};
constexpr Field acknowledgment{"spx.ack", "Acknowledgment number", Wire::u16};
constexpr Field allocation{"spx.alloc", "Allocation number", Wire::u16};

void decode(Layer& spx)
{
    spx.read(control, stream, source, destination);
    spx.read(sequence, acknowledgment, allocation);
    spx.handOverData();
}

void describe(const LayerView& spx, TextSink& out)
{
    out("{} → {} Seq={} Ack={}", spx[source], spx[destination], spx[sequence], spx[acknowledgment]);
}

constexpr Claim claims[] = {ipxPacketType(5)};
} // namespace

constexpr Protocol protocol{{"spx", "SPX", Wire::layer}, {}, claims, decode, describe};
static_assert(wellFormed(protocol));
} // namespace spx

} // namespace netrondo
