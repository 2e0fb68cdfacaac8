// NetBIOS on IPX: Novell's protocol with names and sessions on one socket, and the names and mailslots that Microsoft
// put on sockets of its own.
#include "Dissection/Protocols/NetBiosNames.h"
#include "Dissection/Protocols/Protocols.h"

namespace netrondo {
namespace {
/// A broadcast that routers pass on notes up to eight networks it came through, so that it goes through none twice.
constexpr std::size_t networkCount = 8, networksLength = networkCount * 4;

void readNetworks(Layer& layer, const Field& list, const Field& network)
{
    const Layer::Group group(layer, list);
    for (std::size_t i = 0; i < networkCount && layer.more(); ++i)
        layer.read(network);
}
} // namespace

namespace nbipx {
namespace {
constexpr std::uint8_t datagram = 11;
constexpr NamedValue types[] = {{1, "Find name"},        {2, "Name recognized"},          {3, "Check name"},
                                {4, "Name in use"},      {5, "Deregister name"},          {6, "Session data"},
                                {7, "Session end"},      {8, "Session end acknowledged"}, {9, "Status query"},
                                {10, "Status response"}, {datagram, "Directed datagram"}};
constexpr NamedValue nameFlagNames[] = {
    {0x01, "deregistered"}, {0x02, "duplicated"}, {0x04, "registered"}, {0x40, "in use"}, {0x80, "group"}};
constexpr NamedValue controls[] = {
    {0x08, "resend"}, {0x10, "end of message"}, {0x20, "attention"}, {0x40, "acknowledgment wanted"}, {0x80, "system"}};

constexpr Field networks{"nbipx.networks", "Networks it came through", Wire::group};
constexpr Field network{"nbipx.network", "Network", Wire::hex32};
constexpr Field nameFlags{"nbipx.name_flags", "Name flags", Wire::flags8, nameFlagNames};
constexpr Field control{"nbipx.control", "Connection control", Wire::flags8, controls};
constexpr Field type{"nbipx.type", "Packet type", Wire::u8, types};
constexpr Field name{"nbipx.name", "Name", Wire::madeText};
constexpr Field sourceName{"nbipx.src_name", "Source name", Wire::madeText};
constexpr Field source{"nbipx.src", "Source connection", Wire::leHex16};
constexpr Field destination{"nbipx.dst", "Destination connection", Wire::leHex16};
constexpr Field sequence{"nbipx.seq", "Sequence number", Wire::le16};
constexpr Field total{"nbipx.total", "Length of the message", Wire::le16};
constexpr Field offset{"nbipx.offset", "Offset in the message", Wire::le16};
constexpr Field length{"nbipx.len", "Data length", Wire::le16};
constexpr Field expected{"nbipx.expected", "Sequence number expected", Wire::le16};
constexpr Field received{"nbipx.received", "Bytes received", Wire::le16};

/// Sessions and datagrams begin with their header, names with the networks; only what follows tells which it is.
bool isName(const Layer& nbipx)
{
    constexpr std::size_t sessionHeader = 18, namePacket = networksLength + 2 + netBiosNames::length;
    const auto first = nbipx.peek8(1), second = nbipx.peek8(networksLength + 1);
    if (first < 6 || first > datagram || first == 9 || first == 10)
        return true;
    const auto size = static_cast<std::size_t>(nbipx.peek8(12) | nbipx.peek8(13) << 8);
    return nbipx.left() == namePacket && second >= 1 && second <= 5 && sessionHeader + size != namePacket;
}

void readSession(Layer& nbipx)
{
    nbipx.read(control, type, source, destination, sequence);
    nbipx.read(total, offset);
    const auto size = nbipx.read(length);
    nbipx.read(expected, received);
    if (!size || nbipx.stopped())
        return nbipx.endHere();
    if (nbipx.peek32() == 0xff534d42)
        nbipx.handOver(smb::protocol, size);
    else
        nbipx.handOverData(size);
    nbipx.endHere();
}

void readDatagram(Layer& nbipx)
{
    nbipx.read(control, type);
    netBiosNames::read(nbipx, sourceName);
    netBiosNames::read(nbipx, name);
    if (nbipx.peek32() == 0xff534d42)
        nbipx.handOver(smb::protocol);
    else
        nbipx.handOverData();
}

void decode(Layer& nbipx)
{
    if (!isName(nbipx))
        return nbipx.peek8(1) == datagram ? readDatagram(nbipx) : readSession(nbipx);
    readNetworks(nbipx, networks, network);
    nbipx.read(nameFlags, type);
    netBiosNames::read(nbipx, name);
    nbipx.endHere();
}

void describe(const LayerView& nbipx, TextSink& out)
{
    out("{}", nbipx[type]);
    if (const auto who = nbipx[sourceName])
        out(" from {} to {}", who, nbipx[name]);
    else if (const auto what = nbipx[name])
        out(" {}", what);
    if (const auto from = nbipx[source]) {
        out(" {} → {}", from, nbipx[destination]);
        if (nbipx[length].number())
            out(", Seq={}, {} bytes", nbipx[sequence], nbipx[length]);
        else if (nbipx[type] == 6)
            out(", acknowledged up to {}", nbipx[expected]);
    }
}

constexpr Claim claims[] = {ipxSocket(0x0455)};
} // namespace

constexpr Protocol protocol{{"nbipx", "NetBIOS/IPX", Wire::layer}, {}, claims, decode, describe};
static_assert(wellFormed(protocol));
} // namespace nbipx

namespace nmpi {
namespace {
constexpr std::uint64_t mailslotSend = 0xfc;
constexpr NamedValue operations[] = {
    {0xf1, "Claim name"},     {0xf2, "Delete name"},           {0xf3, "Query name"},    {0xf4, "Name found"},
    {0xf5, "Message hangup"}, {mailslotSend, "Mailslot send"}, {0xfd, "Mailslot find"}, {0xfe, "Mailslot name found"}};
constexpr NamedValue nameTypes[] = {{1, "machine"}, {2, "workgroup"}, {3, "browser"}};

constexpr Field networks{"nmpi.networks", "Networks it came through", Wire::group};
constexpr Field network{"nmpi.network", "Network", Wire::hex32};
constexpr Field operation{"nmpi.op", "Operation", Wire::hex8, operations};
constexpr Field nameType{"nmpi.name_type", "Kind of name", Wire::u8, nameTypes};
constexpr Field identifier{"nmpi.id", "Message ID", Wire::leHex16};
constexpr Field name{"nmpi.name", "Requested name", Wire::madeText};
constexpr Field sourceName{"nmpi.src_name", "Source name", Wire::madeText};

void decode(Layer& nmpi)
{
    readNetworks(nmpi, networks, network);
    const auto what = nmpi.read(operation);
    nmpi.read(nameType, identifier);
    netBiosNames::read(nmpi, name);
    netBiosNames::read(nmpi, sourceName);
    if (what == mailslotSend && nmpi.peek32() == 0xff534d42)
        nmpi.handOver(smb::protocol);
    else
        nmpi.endHere();
}

void describe(const LayerView& nmpi, TextSink& out)
{
    out("{} {} from {}", nmpi[operation], nmpi[name], nmpi[sourceName]);
}

constexpr Claim claims[] = {ipxSocket(0x0551), ipxSocket(0x0553)};
} // namespace

constexpr Protocol protocol{{"nmpi", "NMPI", Wire::layer}, {}, claims, decode, describe};
static_assert(wellFormed(protocol));
} // namespace nmpi

} // namespace netrondo
