// NetBIOS without IP and with it: NetBEUI frames (NBF), the datagram service (RFC 1002); AppleTalk and its ARP.
#include "Dissection/Protocols/MadeText.h"
#include "Dissection/Protocols/NetBiosNames.h"
#include "Dissection/Protocols/Protocols.h"

namespace netrondo {
namespace nbf {
namespace {
constexpr NamedValue commands[] = {
    {0x00, "Add group name query"},  {0x01, "Add name query"},     {0x02, "Name in conflict"},
    {0x03, "Status query"},          {0x07, "Terminate trace"},    {0x08, "Datagram"},
    {0x09, "Datagram broadcast"},    {0x0a, "Name query"},         {0x0d, "Add name response"},
    {0x0e, "Name recognized"},       {0x0f, "Status response"},    {0x14, "Data acknowledge"},
    {0x15, "Data, first or middle"}, {0x16, "Data, only or last"}, {0x17, "Session confirm"},
    {0x18, "Session end"},           {0x19, "Session initialize"}, {0x1a, "No receive"},
    {0x1b, "Receive outstanding"},   {0x1c, "Receive continue"},   {0x1f, "Session alive"}};

constexpr Field length{"nbf.len", "Header length", Wire::le16};
constexpr Field delimiter{"nbf.delimiter", "Delimiter", Wire::leHex16};
constexpr Field command{"nbf.command", "Command", Wire::hex8, commands};
constexpr Field data1{"nbf.data1", "Data 1", Wire::hex8};
constexpr Field data2{"nbf.data2", "Data 2", Wire::leHex16};
constexpr Field transmit{"nbf.transmit", "Transmit correlator", Wire::leHex16};
constexpr Field response{"nbf.response", "Response correlator", Wire::leHex16};
constexpr Field destinationName{"nbf.dst_name", "Destination name", Wire::madeText};
constexpr Field sourceName{"nbf.src_name", "Source name", Wire::madeText};
constexpr Field destinationSession{"nbf.dst_session", "Destination session", Wire::u8};
constexpr Field sourceSession{"nbf.src_session", "Source session", Wire::u8};

void decode(Layer& nbf)
{
    if (nbf.left() < 14 || nbf.peek16(2) != 0xffef) // an LLC frame without NetBIOS in it
        return nbf.handOverData();
    const auto size = nbf.read(length);
    nbf.read(delimiter);
    const auto kind = nbf.read(command);
    nbf.read(data1, data2, transmit, response);
    if (kind < 0x14 && size >= 44) {
        netBiosNames::read(nbf, destinationName);
        netBiosNames::read(nbf, sourceName);
    } else {
        nbf.read(destinationSession, sourceSession);
    }
    const bool isSmb = (kind == 0x08 || kind == 0x09 || kind == 0x15 || kind == 0x16) && nbf.peek32() == 0xff534d42;
    if (isSmb)
        nbf.handOver(smb::protocol);
    else
        nbf.handOverData();
}

void describe(const LayerView& nbf, TextSink& out)
{
    out("{}", nbf[command]);
    if (const auto from = nbf[sourceName])
        out(" from {} to {}", from, nbf[destinationName]);
}

constexpr Claim claims[] = {llcSap(0xf0)};
} // namespace

constexpr Protocol protocol{{"nbf", "NetBEUI", Wire::layer}, {}, claims, decode, describe};
static_assert(wellFormed(protocol));
} // namespace nbf

namespace nbdgm {
namespace {
constexpr NamedValue types[] = {{0x10, "Direct unique datagram"}, {0x11, "Direct group datagram"},
                                {0x12, "Broadcast datagram"},     {0x13, "Datagram error"},
                                {0x14, "Datagram query request"}, {0x15, "Positive query response"},
                                {0x16, "Negative query response"}};

constexpr Field type{"nbdgm.type", "Message type", Wire::hex8, types};
constexpr Field flags{"nbdgm.flags", "Flags", Wire::hex8};
constexpr Field identifier{"nbdgm.id", "Datagram ID", Wire::hex16};
constexpr Field source{"nbdgm.src", "Source", Wire::ipv4};
constexpr Field port{"nbdgm.port", "Source port", Wire::u16};
constexpr Field length{"nbdgm.len", "Length", Wire::u16};
constexpr Field offset{"nbdgm.offset", "Packet offset", Wire::u16};
constexpr Field sourceName{"nbdgm.src_name", "Source name", Wire::madeText};
constexpr Field destinationName{"nbdgm.dst_name", "Destination name", Wire::madeText};

void readEncodedName(Layer& layer, const Field& field)
{
    constexpr std::size_t wholeName = netBiosNames::encodedLength + 1;
    if (!netBiosNames::readEncoded(layer, field))
        layer.isCut() && layer.left() < wholeName ? layer.skip(wholeName) : layer.reject(field);
}

void decode(Layer& nbdgm)
{
    const auto kind = nbdgm.read(type);
    nbdgm.read(flags, identifier, source, port);
    if (kind < 0x10 || kind > 0x12)
        return;
    nbdgm.read(length, offset);
    readEncodedName(nbdgm, sourceName);
    readEncodedName(nbdgm, destinationName);
    if (nbdgm.peek32() == 0xff534d42)
        nbdgm.handOver(smb::protocol);
    else
        nbdgm.handOverData();
}

void describe(const LayerView& nbdgm, TextSink& out)
{
    out("{}", nbdgm[type]);
    if (const auto from = nbdgm[sourceName])
        out(" from {} to {}", from, nbdgm[destinationName]);
}

constexpr Claim claims[] = {udpPort(138)};
} // namespace

constexpr Protocol protocol{{"nbdgm", "NBDGM", Wire::layer}, {}, claims, decode, describe};
static_assert(wellFormed(protocol));
} // namespace nbdgm

namespace aarp {
namespace {
constexpr NamedValue operations[] = {{1, "request"}, {2, "reply"}, {3, "probe"}};

constexpr Field hardware{"aarp.hw", "Hardware type", Wire::u16};
constexpr Field network{"aarp.proto", "Protocol type", Wire::hex16};
constexpr Field hardwareLength{"aarp.hlen", "Hardware address length", Wire::u8};
constexpr Field protocolLength{"aarp.plen", "Protocol address length", Wire::u8};
constexpr Field operation{"aarp.op", "Operation", Wire::u16, operations};
constexpr Field senderMac{"aarp.sha", "Sender MAC", Wire::mac};
constexpr Field senderAddress{"aarp.spa", "Sender AppleTalk address", Wire::hex32};
constexpr Field targetMac{"aarp.tha", "Target MAC", Wire::mac};
constexpr Field targetAddress{"aarp.tpa", "Target AppleTalk address", Wire::hex32};

void decode(Layer& aarp)
{
    aarp.read(hardware, network);
    const auto macs = aarp.read(hardwareLength), addresses = aarp.read(protocolLength);
    aarp.read(operation);
    if (macs == 6 && addresses == 4)
        aarp.read(senderMac, senderAddress, targetMac, targetAddress);
    aarp.endHere();
}

void describe(const LayerView& aarp, TextSink& out)
{
    const auto net = aarp[targetAddress].number();
    out("AARP {} for {}.{}", aarp[operation], net >> 8 & 0xffff, net & 0xff);
}

constexpr Claim claims[] = {etherType(0x80f3)};
} // namespace

constexpr Protocol protocol{{"aarp", "AARP", Wire::layer}, {}, claims, decode, describe};
static_assert(wellFormed(protocol));
} // namespace aarp

namespace ddp {
namespace {
constexpr NamedValue types[] = {{1, "RTMP response"}, {2, "NBP"}, {3, "ATP"}, {4, "AEP"},
                                {5, "RTMP request"},  {6, "ZIP"}, {7, "ADSP"}};

constexpr NamedValue nameFunctions[] = {{1, "broadcast request"}, {2, "lookup"}, {3, "lookup reply"}, {4, "forward"}};
constexpr NamedValue transactionFunctions[] = {{1, "request"}, {2, "response"}, {3, "release"}};
constexpr NamedValue echoFunctions[] = {{1, "request"}, {2, "reply"}};

constexpr Field length{"ddp.len", "Hops and length", Wire::hex16};
constexpr Field checksum{"ddp.checksum", "Checksum", Wire::hex16};
constexpr Field destinationNetwork{"ddp.dst_net", "Destination network", Wire::u16};
constexpr Field sourceNetwork{"ddp.src_net", "Source network", Wire::u16};
constexpr Field destinationNode{"ddp.dst_node", "Destination node", Wire::u8};
constexpr Field sourceNode{"ddp.src_node", "Source node", Wire::u8};
constexpr Field destinationSocket{"ddp.dst_socket", "Destination socket", Wire::u8};
constexpr Field sourceSocket{"ddp.src_socket", "Source socket", Wire::u8};
constexpr Field type{"ddp.type", "Type", Wire::u8, types};
constexpr Field nameByte{"ddp.nbp", "Function and count", Wire::hex8};
constexpr Field nameFunction{"ddp.nbp.function", "Function", Wire::bits, nameFunctions, 0xf0};
constexpr Field nameCount{"ddp.nbp.count", "Number of names", Wire::bits, {}, 0x0f};
constexpr Field nameId{"ddp.nbp.id", "Transaction", Wire::u8};
constexpr Field nameEntry{"ddp.nbp.name", "Name", Wire::madeText};
constexpr Field entryNetwork{"ddp.nbp.network", "Network", Wire::u16};
constexpr Field entryNode{"ddp.nbp.node", "Node", Wire::u8};
constexpr Field entrySocket{"ddp.nbp.socket", "Socket", Wire::u8};
constexpr Field enumerator{"ddp.nbp.enumerator", "Enumerator", Wire::u8};
constexpr Field transactionByte{"ddp.atp", "Control", Wire::hex8};
constexpr Field transactionFunction{"ddp.atp.function", "Function", Wire::bits, transactionFunctions, 0xc0};
constexpr Field transactionBitmap{"ddp.atp.bitmap", "Bitmap or sequence", Wire::hex8};
constexpr Field transactionId{"ddp.atp.id", "Transaction", Wire::u16};
constexpr Field transactionUser{"ddp.atp.user", "User bytes", Wire::hex32};
constexpr Field senderNetwork{"ddp.rtmp.network", "Sender’s network", Wire::u16};
constexpr Field senderIdLength{"ddp.rtmp.id_len", "ID length (bits)", Wire::u8};
constexpr Field senderNode{"ddp.rtmp.node", "Sender’s node", Wire::u8};
constexpr Field route{"ddp.rtmp.route", "Route", Wire::group};
constexpr Field routeNetwork{"ddp.rtmp.route_network", "Network", Wire::u16};
constexpr Field routeDistance{"ddp.rtmp.distance", "Distance and range", Wire::hex8};
constexpr Field routeEnd{"ddp.rtmp.route_end", "Last network of the range", Wire::u16};
constexpr Field routeVersion{"ddp.rtmp.version", "Version", Wire::hex8};
constexpr Field echoFunction{"ddp.aep.function", "Echo", Wire::u8, echoFunctions};
constexpr Field rest{"ddp.data", "Data", Wire::bytes};

/// Object, type and zone, each led by its length (Inside AppleTalk, chapter 7): "Spooler:LaserWriter@*".
void readEntityName(Layer& ddp)
{
    MadeText text;
    std::size_t at = 0;
    for (const std::string_view behind : {":", "@", ""}) {
        const auto part = slice(ddp.rest(), at + 1, ddp.peek8(at));
        text.put(asText(part));
        text.put(behind);
        at += 1u + ddp.peek8(at);
    }
    if (at > ddp.left())
        return ddp.skip(at);
    ddp.addText(nameEntry, text, ddp.offset(), at);
    ddp.skip(at);
}

void readNames(Layer& ddp)
{
    const auto count = ddp.readParts(nameByte, nameFunction, nameCount) & 15;
    ddp.read(nameId);
    for (std::uint64_t i = 0; i < count && ddp.more(); ++i) {
        ddp.read(entryNetwork, entryNode, entrySocket, enumerator);
        readEntityName(ddp);
    }
}

/// Routes are single networks, or with the high bit of the distance a range that ends behind it.
void readRoutes(Layer& ddp)
{
    ddp.read(senderNetwork, senderIdLength, senderNode);
    while (ddp.more(3)) {
        const Layer::Group group(ddp, route);
        ddp.read(routeNetwork);
        if (ddp.read(routeDistance) & 0x80)
            ddp.read(routeEnd, routeVersion);
    }
}

void readMessage(Layer& ddp, std::uint64_t kind)
{
    switch (kind) {
    case 1: readRoutes(ddp); break;
    case 2: readNames(ddp); break;
    case 3:
        ddp.readParts(transactionByte, transactionFunction);
        ddp.read(transactionBitmap, transactionId, transactionUser);
        break;
    case 4: ddp.read(echoFunction); break;
    default: break;
    }
    if (ddp.more())
        ddp.readRest(rest);
}

void decode(Layer& ddp)
{
    const auto size = ddp.read(length) & 0x3ff;
    ddp.read(checksum, destinationNetwork, sourceNetwork);
    ddp.read(destinationNode, sourceNode, destinationSocket, sourceSocket);
    const auto kind = ddp.read(type);
    if (size < 13)
        return ddp.reject(length);
    {
        const Layer::Window message(ddp, size - 13);
        readMessage(ddp, kind);
    }
    ddp.endHere();
}

void describe(const LayerView& ddp, TextSink& out)
{
    out("{} {}.{}:{} → {}.{}:{}", ddp[type], ddp[sourceNetwork], ddp[sourceNode], ddp[sourceSocket],
        ddp[destinationNetwork], ddp[destinationNode], ddp[destinationSocket]);
    if (const auto what = ddp[nameFunction] ? ddp[nameFunction] : ddp[transactionFunction])
        out(", {}", what);
    if (const auto name = ddp[nameEntry])
        out(" {}", name);
}

constexpr Claim claims[] = {etherType(0x809b)};
} // namespace

constexpr Protocol protocol{{"ddp", "AppleTalk", Wire::layer}, {}, claims, decode, describe};
static_assert(wellFormed(protocol));
} // namespace ddp

} // namespace netrondo
