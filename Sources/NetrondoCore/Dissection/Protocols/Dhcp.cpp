// Dynamic Host Configuration Protocol (RFC 2131, 2132) and the BOOTP under it.
#include "Dissection/Protocols/Protocols.h"

namespace netrondo::dhcp {
namespace {
constexpr NamedValue operations[] = {{1, "request"}, {2, "reply"}};
constexpr NamedValue messageTypes[] = {{1, "Discover"},
                                       {2, "Offer"},
                                       {3, "Request"},
                                       {4, "Decline"},
                                       {5, "ACK"},
                                       {6, "NAK"},
                                       {7, "Release"},
                                       {8, "Inform"},
                                       {10, "Lease Query"},
                                       {11, "Lease Unassigned"},
                                       {12, "Lease Unknown"},
                                       {13, "Lease Active"}};
constexpr NamedValue optionNames[] = {{0, "padding"},
                                      {1, "subnet mask"},
                                      {2, "time offset"},
                                      {3, "routers"},
                                      {4, "time servers"},
                                      {6, "DNS servers"},
                                      {7, "log servers"},
                                      {12, "host name"},
                                      {15, "domain name"},
                                      {17, "root path"},
                                      {26, "MTU"},
                                      {28, "broadcast address"},
                                      {31, "router discovery"},
                                      {33, "static routes"},
                                      {42, "NTP servers"},
                                      {43, "vendor information"},
                                      {44, "NetBIOS name servers"},
                                      {46, "NetBIOS node type"},
                                      {47, "NetBIOS scope"},
                                      {50, "requested address"},
                                      {51, "lease time"},
                                      {52, "option overload"},
                                      {53, "message type"},
                                      {54, "server"},
                                      {55, "parameter request list"},
                                      {56, "message"},
                                      {57, "maximum message size"},
                                      {58, "renewal time"},
                                      {59, "rebinding time"},
                                      {60, "vendor class"},
                                      {61, "client identifier"},
                                      {66, "TFTP server name"},
                                      {67, "boot file name"},
                                      {77, "user class"},
                                      {81, "client FQDN"},
                                      {82, "relay agent information"},
                                      {93, "client architecture"},
                                      {94, "client network interface"},
                                      {97, "client machine identifier"},
                                      {116, "auto-configuration"},
                                      {119, "domain search list"},
                                      {121, "classless static routes"},
                                      {150, "TFTP servers"},
                                      {249, "classless static routes (Microsoft)"},
                                      {252, "proxy auto-discovery"},
                                      {255, "end"}};

constexpr Field operation{"dhcp.op", "Operation", Wire::u8, operations};
constexpr Field hardwareType{"dhcp.hw", "Hardware type", Wire::u8};
constexpr Field hardwareLength{"dhcp.hlen", "Hardware address length", Wire::u8};
constexpr Field hops{"dhcp.hops", "Hops", Wire::u8};
constexpr Field transaction{"dhcp.xid", "DHCP transaction ID", Wire::hex32};
constexpr Field elapsed{"dhcp.secs", "Seconds elapsed", Wire::u16};
constexpr Field flags{"dhcp.flags", "Flags", Wire::hex16};
constexpr Field broadcast{"dhcp.broadcast", "Broadcast", Wire::bit, {}, 0x8000};
constexpr Field clientAddress{"dhcp.ciaddr", "Client address", Wire::ipv4};
constexpr Field yourAddress{"dhcp.yiaddr", "Your address", Wire::ipv4};
constexpr Field serverAddress{"dhcp.siaddr", "Next server", Wire::ipv4};
constexpr Field relayAddress{"dhcp.giaddr", "Relay agent", Wire::ipv4};
constexpr Field clientMac{"dhcp.chaddr", "Client MAC", Wire::mac};
constexpr Field hardwarePadding{"dhcp.chaddr_pad", "Client address padding", Wire::bytes};
constexpr Field clientHardware{"dhcp.chaddr_bytes", "Client hardware address", Wire::bytes};
constexpr Field serverName{"dhcp.sname", "Server name", Wire::text};
constexpr Field bootFile{"dhcp.file", "Boot file", Wire::text};
constexpr Field cookie{"dhcp.cookie", "Magic cookie", Wire::hex32};
constexpr Field option{"dhcp.option", "Option", Wire::number, optionNames};
constexpr Field code{"dhcp.option_code", "Option", Wire::u8, optionNames};
constexpr Field length{"dhcp.option_len", "Length", Wire::u8};
constexpr Field messageType{"dhcp.opt53", "DHCP message type", Wire::u8, messageTypes};
constexpr Field address{"dhcp.option_addr", "Address", Wire::ipv4};
constexpr Field requested{"dhcp.opt50", "Requested address", Wire::ipv4};
constexpr Field server{"dhcp.opt54", "Server", Wire::ipv4};
constexpr Field duration{"dhcp.option_time", "Seconds", Wire::u32};
constexpr Field hostName{"dhcp.opt12", "Host name", Wire::text};
constexpr Field text{"dhcp.option_text", "Text", Wire::text};
constexpr Field number{"dhcp.option_number", "Value", Wire::u16};
constexpr Field wanted{"dhcp.option_wanted", "Wanted", Wire::u8, optionNames};
constexpr Field clientIdMac{"dhcp.client_mac", "Client MAC", Wire::mac};
constexpr Field data{"dhcp.option_data", "Data", Wire::bytes};

constexpr std::uint32_t magic = 0x63825363;

void readContent(Layer& dhcp, std::uint64_t kind)
{
    switch (kind) {
    case 1:
    case 3:
    case 4:
    case 6:
    case 7:
    case 28:
    case 42:
    case 44:
    case 150:
        while (dhcp.more(4))
            dhcp.read(address);
        break;
    case 12: dhcp.readText(hostName, dhcp.left()); break;
    case 15:
    case 17:
    case 56:
    case 60:
    case 66:
    case 67:
    case 252: dhcp.readText(text, dhcp.left()); break;
    case 26:
    case 57: dhcp.read(number); break;
    case 50: dhcp.read(requested); break;
    case 51:
    case 58:
    case 59: dhcp.read(duration); break;
    case 53: dhcp.read(messageType); break;
    case 54: dhcp.read(server); break;
    case 55:
        while (dhcp.more())
            dhcp.read(wanted);
        break;
    case 61:
        if (dhcp.left() == 7 && dhcp.peek8() == 1) {
            dhcp.skip(1);
            dhcp.read(clientIdMac);
        }
        break;
    default: break;
    }
    if (dhcp.more())
        dhcp.readRest(data);
}

void readOptions(Layer& dhcp)
{
    while (dhcp.more()) {
        if (dhcp.peek8() == 0) {
            dhcp.skip(1);
            continue;
        }
        const Layer::Group group(dhcp, option, dhcp.peek8());
        const auto kind = dhcp.read(code);
        if (kind == 255)
            return;
        const auto size = dhcp.read(length);
        const Layer::Window content(dhcp, size);
        readContent(dhcp, kind);
    }
}

void decode(Layer& dhcp)
{
    dhcp.read(operation);
    const auto medium = dhcp.read(hardwareType), size = dhcp.read(hardwareLength);
    dhcp.read(hops, transaction, elapsed);
    dhcp.readParts(flags, broadcast);
    dhcp.read(clientAddress, yourAddress, serverAddress, relayAddress);
    if (medium == 1 && size == 6) {
        dhcp.read(clientMac);
        dhcp.readBytes(hardwarePadding, 10);
    } else {
        dhcp.readBytes(clientHardware, 16);
    }
    for (const auto& [field, width] : {std::pair(&serverName, 64u), {&bootFile, 128u}}) {
        const auto bytes = asText(dhcp.rest().first(std::min<std::size_t>(dhcp.left(), width)));
        if (bytes.size() == width) // the text ends with the first zero
            dhcp.add(*field, 0, dhcp.offset(), std::min(bytes.find('\0'), bytes.size()));
        dhcp.skip(width);
    }
    if (dhcp.peek32() != magic) {
        dhcp.endHere();
        return;
    }
    dhcp.read(cookie);
    readOptions(dhcp);
    dhcp.endHere();
}

void describe(const LayerView& dhcp, TextSink& out)
{
    const auto type = dhcp[messageType];
    if (type)
        out("{}", type);
    else
        out("BOOTP {}", dhcp[operation]);
    out(" xid=0x");
    out.putHex(dhcp[transaction].number(), 8);
    if (const auto mac = dhcp[clientMac])
        out(" {}", mac);
    if (const auto name = dhcp[hostName])
        out(" “{}”", name);
    if (const auto wish = dhcp[requested])
        out(", wants {}", wish);
    if (const auto given = dhcp[yourAddress]; given && given.number())
        out(", gets {}", given);
    if (const auto from = dhcp[server])
        out(", server {}", from);
}

Likeness guess(Bytes payload, Transport transport)
{
    return transport == Transport::udp && payload.size() >= 240 && (payload[0] == 1 || payload[0] == 2)
            && load::be32(&payload[236]) == magic
        ? Likeness::certain
        : Likeness::none;
}

constexpr const Field* catalogue[] = {&messageType, &transaction};
constexpr Claim claims[] = {udpPort(67), udpPort(68), udpPort(4011)};
} // namespace

constexpr Protocol protocol{{"dhcp", "DHCP", Wire::layer},    catalogue, claims, decode, describe, guess,
                            opensWith({Transport::udp}, 1, 2)};
static_assert(wellFormed(protocol));
} // namespace netrondo::dhcp
