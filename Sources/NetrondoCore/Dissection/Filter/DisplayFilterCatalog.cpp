// The catalogue's table. Aliases are the spellings that other tools taught their users, where the values here answer
// the same question.
#include "Dissection/Filter/DisplayFilterCatalog.h"

#include "Dissection/Filter/FilterText.h"

#include <boost/unordered/unordered_flat_map.hpp>
#include <string>

namespace netrondo {
namespace {

using Kind = DisplayFilterExtractor::Kind;
using Field = DisplayFilterField;
using Names = std::vector<std::string_view>;

Field proto(std::string_view name, std::string_view summary, Names aliases = {})
{
    return {name, summary, {Kind::proto, {name}}, std::move(aliases)};
}

/// A field whose tree identifier is its own name: nearly all are.
Field tree(std::string_view name, std::string_view summary, Names aliases = {})
{
    return {name, summary, {Kind::tree, {name}}, std::move(aliases)};
}

Field trees(std::string_view name, std::string_view summary, Names ids, Names aliases = {})
{
    return {name, summary, {Kind::trees, std::move(ids)}, std::move(aliases)};
}

Field of(Kind kind, std::string_view name, std::string_view summary, Names payload = {}, Names aliases = {})
{
    return {name, summary, {kind, std::move(payload)}, std::move(aliases)};
}

std::vector<Field> makeFields()
{
    return {
        proto("frame", "Capture frame"),
        proto("eth", "Ethernet", {"ethernet"}),
        proto("arp", "ARP"),
        proto("ip", "IPv4", {"ipv4"}),
        proto("ipv6", "IPv6", {"ip6"}),
        proto("tcp", "TCP"),
        proto("udp", "UDP"),
        proto("icmp", "ICMP"),
        proto("icmpv6", "ICMPv6", {"icmp6"}),
        proto("igmp", "IGMP"),
        proto("gre", "GRE"),
        proto("ipx", "IPX"),
        proto("dns", "DNS"),
        proto("mdns", "mDNS"),
        proto("http", "HTTP"),
        proto("http2", "HTTP/2"),
        proto("tls", "TLS", {"ssl"}),
        proto("ssh", "SSH"),
        proto("ftp", "FTP"),
        proto("telnet", "Telnet"),
        proto("smtp", "SMTP"),
        proto("smb", "SMB", {"smb2"}),
        proto("ldap", "LDAP"),
        proto("kerberos", "Kerberos", {"krb5"}),
        proto("rpc", "RPC"),
        proto("sip", "SIP"),
        proto("dhcp", "DHCP", {"bootp"}),
        proto("ntp", "NTP"),
        proto("snmp", "SNMP"),
        proto("pop3", "POP3", {"pop"}),
        proto("imap", "IMAP"),
        proto("mysql", "MySQL"),
        proto("postgres", "PostgreSQL", {"postgresql", "pgsql"}),
        proto("redis", "Redis", {"resp"}),
        proto("mqtt", "MQTT"),
        proto("rdp", "RDP"),
        proto("vnc", "VNC", {"rfb"}),
        proto("bgp", "BGP"),
        proto("tftp", "TFTP"),
        proto("syslog", "Syslog"),
        proto("radius", "RADIUS"),
        proto("stun", "STUN"),
        proto("quic", "QUIC"),

        of(Kind::summaryLength, "frame.len", "Frame length (bytes)", {}, {"frame.pkt_len"}),
        of(Kind::summaryNumber, "frame.number", "Packet number"),
        of(Kind::summaryTime, "frame.time_relative", "Seconds from first packet"),
        tree("eth.src", "Ethernet source"),
        tree("eth.dst", "Ethernet destination"),
        trees("eth.addr", "Ethernet source or destination", {"eth.src", "eth.dst"}),
        tree("eth.type", "EtherType"),
        tree("arp.op", "ARP opcode", {"arp.opcode"}),
        tree("arp.spa", "ARP sender IP", {"arp.src.proto_ipv4"}),
        tree("arp.tpa", "ARP target IP", {"arp.dst.proto_ipv4"}),
        tree("arp.sha", "ARP sender MAC", {"arp.src.hw_mac"}),
        tree("arp.tha", "ARP target MAC", {"arp.dst.hw_mac"}),
        tree("ip.src", "IPv4 source"),
        tree("ip.dst", "IPv4 destination"),
        trees("ip.addr", "IPv4 source or destination", {"ip.src", "ip.dst"}),
        tree("ip.ttl", "IPv4 TTL", {"ip.hdr.ttl"}),
        tree("ip.proto", "IPv4 protocol", {"ip.protocol"}),
        tree("ip.len", "IPv4 total length"),
        tree("ip.ver", "IP version", {"ip.version"}),
        tree("ipv6.src", "IPv6 source"),
        tree("ipv6.dst", "IPv6 destination"),
        trees("ipv6.addr", "IPv6 source or destination", {"ipv6.src", "ipv6.dst"}),
        tree("ipv6.hop", "IPv6 hop limit", {"ipv6.hlim"}),
        tree("ipv6.next", "IPv6 next header", {"ipv6.nxt"}),
        of(Kind::summarySrcPort, "tcp.srcport", "TCP source port", {"tcp"}),
        of(Kind::summaryDstPort, "tcp.dstport", "TCP destination port", {"tcp"}),
        of(Kind::summaryEitherPort, "tcp.port", "TCP source or destination port", {"tcp"}),
        tree("tcp.seq", "TCP sequence number", {"tcp.seq_raw"}),
        tree("tcp.ack", "TCP acknowledgment number", {"tcp.ack_raw"}),
        tree("tcp.window", "TCP window", {"tcp.window_size", "tcp.window_size_value"}),
        tree("tcp.len", "TCP payload length"),
        tree("tcp.hdrlen", "TCP header length", {"tcp.hdr_len"}),
        tree("tcp.flags", "TCP flags"),
        of(Kind::flagsContains, "tcp.flags.syn", "SYN flag", {"SYN"}),
        of(Kind::flagsContains, "tcp.flags.ack", "ACK flag", {"ACK"}),
        of(Kind::flagsContains, "tcp.flags.fin", "FIN flag", {"FIN"}),
        of(Kind::flagsContains, "tcp.flags.reset", "RST flag", {"RST"}, {"tcp.flags.rst"}),
        of(Kind::flagsContains, "tcp.flags.push", "PSH flag", {"PSH"}, {"tcp.flags.psh"}),
        of(Kind::flagsContains, "tcp.flags.urg", "URG flag", {"URG"}),
        tree("tcp.opt.mss", "TCP MSS", {"tcp.options.mss_val", "tcp.options.mss"}),
        tree("tcp.opt.wscale", "TCP window scale", {"tcp.options.wscale", "tcp.options.wscale.shift"}),
        tree("tcp.opt.sack", "SACK permitted", {"tcp.options.sack_perm"}),
        tree("tcp.opt.sackblk", "SACK blocks", {"tcp.options.sack"}),
        tree("tcp.opt.ts", "TCP timestamps", {"tcp.options.timestamp"}),
        // These five keep the names that analysts know and read this program's own findings. That a "duplicate ACK"
        // is a segment captured twice on its way through the infrastructure is meant so.
        of(Kind::expert, "tcp.analysis.retransmission", "Endpoint retransmission", {"tcp.retx.endpoint"}),
        of(Kind::expert, "tcp.analysis.spurious_retransmission", "Spurious retransmission", {"tcp.spurious"}),
        of(Kind::expert, "tcp.analysis.ack_lost_segment", "ACKed unseen segment", {"tcp.acked_unseen"}),
        of(Kind::expert, "tcp.analysis.zero_window", "Zero window", {"tcp.zerowin"}),
        of(Kind::expert, "tcp.analysis.duplicate_ack", "Infrastructure TCP duplicate", {"tcp.retx.infra"}),
        of(Kind::summarySrcPort, "udp.srcport", "UDP source port", {"udp"}),
        of(Kind::summaryDstPort, "udp.dstport", "UDP destination port", {"udp"}),
        of(Kind::summaryEitherPort, "udp.port", "UDP source or destination port", {"udp"}),
        tree("udp.length", "UDP length", {"udp.len"}),
        tree("icmp.type", "ICMP type"),
        tree("icmp.code", "ICMP code"),
        tree("icmpv6.type", "ICMPv6 type"),
        tree("icmpv6.code", "ICMPv6 code"),
        tree("icmpv6.target", "ICMPv6 target address",
             {"icmpv6.nd.ns.target_address", "icmpv6.nd.na.target_address", "icmpv6.nd.rd.target_address"}),
        tree("dns.id", "DNS transaction ID"),
        tree("dns.rcode", "DNS response code", {"dns.flags.rcode"}),
        tree("dns.q", "DNS query name", {"dns.qry.name"}),
        tree("dns.an", "DNS answer"),
        tree("http.host", "HTTP Host"),
        tree("http.ua", "HTTP User-Agent", {"http.user_agent"}),
        tree("http.ct", "HTTP Content-Type", {"http.content_type"}),
        tree("http.cl", "HTTP Content-Length", {"http.content_length", "http.content_length_header"}),
        tree("http.start", "HTTP start line"),
        tree("tls.sni", "TLS SNI", {"tls.handshake.extensions_server_name", "ssl.handshake.extensions_server_name"}),
        tree("tls.ver", "TLS version", {"tls.record.version", "ssl.record.version"}),
        tree("tls.alert.desc", "TLS alert description", {"tls.alert_message.desc", "ssl.alert_message.desc"}),
        tree("tls.hs", "TLS handshake", {"tls.handshake", "tls.handshake.type", "ssl.handshake", "ssl.handshake.type"}),
        tree("dhcp.opt53", "DHCP message type", {"dhcp.option.dhcp", "bootp.option.dhcp"}),
        tree("dhcp.xid", "DHCP transaction ID", {"dhcp.id", "bootp.id"}),
        tree("ssh.banner", "SSH banner", {"ssh.protocol"}),
        tree("smb.cmd", "SMB command", {"smb2.cmd"}),
        tree("snmp.community", "SNMP community"),
        // What the packet list shows, whatever kind of address it is.
        of(Kind::summarySource, "ip.src_host", "List source address"),
        of(Kind::summaryDest, "ip.dst_host", "List destination address"),
        of(Kind::summaryEitherHost, "host", "List source or destination", {}, {"ip.host"}),
    };
}

using ByName = boost::unordered_flat_map<std::string_view, const Field*>;

ByName makeByName(std::span<const Field> fields)
{
    ByName byName;
    for (const auto& field : fields)
        for (const auto name : field.allNames())
            byName.emplace(name, &field);
    return byName;
}

} // namespace

std::string_view caseName(Kind kind)
{
    static constexpr std::string_view names[] = {
        "proto",         "tree",        "trees",        "summarySrcPort", "summaryDstPort", "summaryEitherPort",
        "flagsContains", "expert",      "experts",      "summarySource",  "summaryDest",    "summaryEitherHost",
        "summaryLength", "summaryTime", "summaryNumber"};
    return names[static_cast<std::size_t>(kind)];
}

std::vector<std::string_view> Field::allNames() const
{
    std::vector<std::string_view> names = {name};
    names.insert(names.end(), aliases.begin(), aliases.end());
    return names;
}

std::span<const Field> DisplayFilterCatalog::fields()
{
    static const auto all = makeFields();
    return all;
}

const Field* DisplayFilterCatalog::field(std::string_view name)
{
    static const auto byName = makeByName(fields());
    const auto found = byName.find(lowerCased(name)); // all spellings in the table are lower case
    return found == byName.end() ? nullptr : found->second;
}

bool DisplayFilterCatalog::isKnown(std::string_view name)
{
    return field(name) != nullptr;
}

void write(JsonWriter& json, const DisplayFilterField& field)
{
    const auto& extractor = field.extractor;
    json.beginObject();
    json.field("name", field.name);
    json.field("aliases", field.aliases);
    json.field("summary", field.summary);
    json.key("extractor");
    json.beginObject();
    json.key(caseName(extractor.kind));
    if (extractor.kind == Kind::trees || extractor.kind == Kind::experts) {
        json.value(extractor.payload);
    } else if (extractor.payload.empty()) {
        json.null();
    } else {
        json.value(extractor.payload.front());
    }
    json.endObject();
    json.endObject();
}

} // namespace netrondo
