// DHCP for IPv6 (RFC 8415).
#include "Dissection/Protocols/DnsMessage.h"
#include "Dissection/Protocols/Protocols.h"

namespace netrondo::dhcpv6 {
namespace {
constexpr NamedValue types[] = {{1, "Solicit"},
                                {2, "Advertise"},
                                {3, "Request"},
                                {4, "Confirm"},
                                {5, "Renew"},
                                {6, "Rebind"},
                                {7, "Reply"},
                                {8, "Release"},
                                {9, "Decline"},
                                {10, "Reconfigure"},
                                {11, "Information-request"},
                                {12, "Relay-forward"},
                                {13, "Relay-reply"},
                                {14, "Leasequery"},
                                {15, "Leasequery-reply"},
                                {16, "Leasequery-done"},
                                {17, "Leasequery-data"},
                                {20, "DHCPv4-query"},
                                {21, "DHCPv4-response"}};
constexpr NamedValue optionNames[] = {
    {1, "client identifier"},   {2, "server identifier"}, {3, "IA_NA"},         {4, "IA_TA"},
    {5, "IA address"},          {6, "option request"},    {7, "preference"},    {8, "elapsed time"},
    {9, "relay message"},       {11, "authentication"},   {13, "status code"},  {14, "rapid commit"},
    {16, "vendor class"},       {17, "vendor options"},   {18, "interface ID"}, {19, "reconfigure message"},
    {20, "reconfigure accept"}, {23, "DNS servers"},      {24, "domain list"},  {25, "IA_PD"},
    {26, "IA prefix"},          {31, "SNTP servers"},     {32, "refresh time"}, {37, "remote ID"},
    {39, "client FQDN"},        {56, "NTP server"}};
constexpr NamedValue statusCodes[] = {{0, "success"},     {1, "failure"},       {2, "no addresses"}, {3, "no binding"},
                                      {4, "not on link"}, {5, "use multicast"}, {6, "no prefix"}};

constexpr Field type{"dhcpv6.type", "Message type", Wire::u8, types};
constexpr Field transaction{"dhcpv6.xid", "Transaction ID", Wire::hex24};
constexpr Field hops{"dhcpv6.hops", "Hop count", Wire::u8};
constexpr Field link{"dhcpv6.link", "Link address", Wire::ipv6};
constexpr Field peer{"dhcpv6.peer", "Peer address", Wire::ipv6};
constexpr Field option{"dhcpv6.option", "Option", Wire::number, optionNames};
constexpr Field code{"dhcpv6.option_code", "Option", Wire::u16, optionNames};
constexpr Field length{"dhcpv6.option_len", "Length", Wire::u16};
constexpr Field identifier{"dhcpv6.duid", "DUID", Wire::bytes};
constexpr Field association{"dhcpv6.iaid", "IAID", Wire::hex32};
constexpr Field renewal{"dhcpv6.t1", "T1 (s)", Wire::u32};
constexpr Field rebinding{"dhcpv6.t2", "T2 (s)", Wire::u32};
constexpr Field address{"dhcpv6.address", "Address", Wire::ipv6};
constexpr Field preferred{"dhcpv6.preferred", "Preferred lifetime (s)", Wire::u32};
constexpr Field valid{"dhcpv6.valid", "Valid lifetime (s)", Wire::u32};
constexpr Field prefixLength{"dhcpv6.prefix_len", "Prefix length", Wire::u8};
constexpr Field prefix{"dhcpv6.prefix", "Prefix", Wire::ipv6};
constexpr Field wanted{"dhcpv6.wanted", "Wanted", Wire::u16, optionNames};
constexpr Field elapsed{"dhcpv6.elapsed", "Elapsed (10 ms)", Wire::u16};
constexpr Field status{"dhcpv6.status", "Status", Wire::u16, statusCodes};
constexpr Field statusText{"dhcpv6.status_text", "Status text", Wire::text};
constexpr Field server{"dhcpv6.dns", "DNS server", Wire::ipv6};
constexpr Field nameFlags{"dhcpv6.fqdn_flags", "Flags", Wire::hex8};
constexpr Field name{"dhcpv6.fqdn", "Client FQDN", Wire::madeText};
constexpr Field data{"dhcpv6.data", "Data", Wire::bytes};

constexpr int maxNesting = 8;

void readOptions(Layer& dhcp, int nesting);

void readName(Layer& dhcp)
{
    dhcp.read(nameFlags);
    MadeText text;
    const auto end = dnsMessage::name(dhcp.rest(), 0, text);
    dhcp.addText(name, text, dhcp.offset(), end ? end : dhcp.left());
    dhcp.skip(dhcp.left());
}

void readContent(Layer& dhcp, std::uint64_t kind, int nesting)
{
    switch (kind) {
    case 1:
    case 2: dhcp.readRest(identifier); break;
    case 3:
    case 25:
        dhcp.read(association, renewal, rebinding);
        readOptions(dhcp, nesting + 1);
        break;
    case 5:
        dhcp.read(address, preferred, valid);
        readOptions(dhcp, nesting + 1);
        break;
    case 26:
        dhcp.read(preferred, valid);
        dhcp.read(prefixLength, prefix);
        readOptions(dhcp, nesting + 1);
        break;
    case 6:
        while (dhcp.more(2))
            dhcp.read(wanted);
        break;
    case 8: dhcp.read(elapsed); break;
    case 9: dhcp.handOver(protocol); break;
    case 13:
        dhcp.read(status);
        dhcp.readText(statusText, dhcp.left());
        break;
    case 23:
        while (dhcp.more(16))
            dhcp.read(server);
        break;
    case 39: readName(dhcp); break;
    default: break;
    }
    if (dhcp.more())
        dhcp.readRest(data);
}

void readOptions(Layer& dhcp, int nesting)
{
    while (dhcp.more() && nesting < maxNesting) {
        const Layer::Group group(dhcp, option, dhcp.peek16());
        const auto kind = dhcp.read(code), size = dhcp.read(length);
        const Layer::Window content(dhcp, size);
        readContent(dhcp, kind, nesting);
    }
}

void decode(Layer& dhcp)
{
    const auto kind = dhcp.read(type);
    if (kind == 12 || kind == 13)
        dhcp.read(hops, link, peer);
    else
        dhcp.read(transaction);
    readOptions(dhcp, 0);
}

void describe(const LayerView& dhcp, TextSink& out)
{
    out("{}", dhcp[type]);
    if (const auto xid = dhcp[transaction]) {
        out(" xid=0x");
        out.putHex(xid.number(), 6);
    }
    if (const auto given = dhcp[address])
        out(" {}", given);
    if (const auto given = dhcp[prefix])
        out(" {}/{}", given, dhcp[prefixLength]);
    if (const auto client = dhcp[name])
        out(" “{}”", client);
    if (const auto result = dhcp[status]; result && result.number())
        out(", {}", result);
}

/// Options to the last byte, of which one names a client or, of a relay, holds a message.
Likeness guess(Bytes payload, Transport transport)
{
    if (transport != Transport::udp || payload.size() < 8 || payload[0] < 1 || payload[0] > 13)
        return Likeness::none;
    constexpr unsigned clientId = 1, relayed = 9, highestOption = 150;
    const bool isRelay = payload[0] >= 12;
    std::size_t at = isRelay ? 34 : 4;
    bool isNamed = false;
    while (at + 4 <= payload.size()) {
        const auto kind = load::be16(&payload[at]), size = load::be16(&payload[at + 2]);
        if (kind == 0 || kind > highestOption)
            return Likeness::none;
        isNamed = isNamed || (isRelay ? kind == relayed : kind == clientId && size >= 6);
        at += 4u + size;
    }
    return isNamed && at == payload.size() ? Likeness::likely : Likeness::none;
}

constexpr Claim claims[] = {udpPort(546), udpPort(547)};
} // namespace

constexpr Protocol protocol{{"dhcpv6", "DHCPv6", Wire::layer}, {}, claims, decode, describe, guess,
                            opensWith({Transport::udp}, 1, 13)};
static_assert(wellFormed(protocol));
} // namespace netrondo::dhcpv6
