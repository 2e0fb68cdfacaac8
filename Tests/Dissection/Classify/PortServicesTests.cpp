#include "Dissection/Classify/PortServices.h"

#include <gtest/gtest.h>
#include <map>
#include <vector>

namespace netrondo::test {
namespace {

using Ports = std::vector<std::pair<std::uint16_t, PortStats>>;

std::string_view dominant(const Ports& ports)
{
    const auto name = PortServices::dominantAppProtocol(ports);
    return name ? text(*name) : "none";
}

} // namespace

TEST(PortServices, KnowsTheServicesOfTheAnalysisByTheirExactNames)
{
    const std::map<std::uint16_t, std::string_view> expected = {
        {23, "Telnet"},       {53, "DNS"},     {67, "DHCP"},    {68, "DHCP"},    {69, "TFTP"},
        {110, "POP3"},        {119, "NNTP"},   {123, "NTP"},    {135, "RPC"},    {137, "NetBIOS-NS"},
        {161, "SNMP"},        {162, "SNMP"},   {179, "BGP"},    {389, "LDAP"},   {445, "SMB"},
        {465, "SMTPS"},       {500, "ISAKMP"}, {514, "Syslog"}, {548, "AFP"},    {554, "RTSP"},
        {587, "Submission"},  {631, "IPP"},    {636, "LDAPS"},  {853, "DoT"},    {993, "IMAPS"},
        {995, "POP3S"},       {2049, "NFS"},   {2123, "GTP-C"}, {2152, "GTP-U"}, {3128, "HTTP-Proxy"},
        {4739, "IPFIX"},      {4789, "VXLAN"}, {5222, "XMPP"},  {5353, "mDNS"},  {5355, "LLMNR"},
        {5432, "PostgreSQL"}, {5672, "AMQP"},  {6379, "Redis"}, {8000, "HTTP"},  {8883, "MQTT"},
    };
    for (const auto& [port, name] : expected)
        EXPECT_EQ(PortServices::name(port), name) << port;
}

TEST(PortServices, KnowsTheServicesThatANetworkMeetsToday)
{
    const std::map<std::uint16_t, std::string_view> expected = {
        {20, "FTP-Data"},  {21, "FTP"},          {22, "SSH"},          {25, "SMTP"},   {80, "HTTP"},
        {88, "Kerberos"},  {138, "NetBIOS-DGM"}, {139, "NetBIOS-SSN"}, {143, "IMAP"},  {443, "TLS"},
        {520, "RIP"},      {521, "RIPng"},       {989, "FTPS"},        {990, "FTPS"},  {1433, "MSSQL"},
        {1434, "MSSQL"},   {1812, "RADIUS"},     {1645, "RADIUS"},     {1883, "MQTT"}, {1900, "SSDP"},
        {2055, "NetFlow"}, {3306, "MySQL"},      {3389, "RDP"},        {3478, "STUN"}, {5060, "SIP"},
        {5061, "SIP"},     {5900, "VNC"},        {6343, "sFlow"},      {8080, "HTTP"}, {9995, "NetFlow"},
    };
    for (const auto& [port, name] : expected)
        EXPECT_EQ(PortServices::name(port), name) << port;
}

TEST(PortServices, EveryServiceNameInUseBelongsToSomePort)
{
    for (const auto* name : {"FTP", "TLS", "DHCP", "DoT", "POP3S", "SSDP", "mDNS", "FTPS", "RADIUS", "Submission",
                             "RTSP", "VNC", "PostgreSQL", "LLMNR", "LDAPS", "MSSQL", "HTTP", "NetBIOS-QL", "LDAP"}) {
        const auto service = protocolName(name);
        ASSERT_TRUE(service) << name;
        int ports = 0;
        for (int port = 0; port < 65536; ++port)
            ports += PortServices::serviceOf(static_cast<std::uint16_t>(port)) == service;
        EXPECT_GT(ports, 0) << name;
    }
}

TEST(PortServices, SomeTwoHundredPortsAndMoreHaveANameAndNoneOfThemIsEphemeral)
{
    int named = 0;
    for (int port = 0; port < 65536; ++port)
        if (PortServices::serviceOf(static_cast<std::uint16_t>(port))) {
            EXPECT_LT(port, PortServices::ephemeralPortFloor);
            ++named;
        }
    EXPECT_GE(named, 200);
}

TEST(PortServices, APortWithoutANameBelowTheEphemeralOnesIsAnUnnamedService)
{
    EXPECT_EQ(PortServices::name(4), "");
    EXPECT_TRUE(PortServices::isUnnamedService(4));
    EXPECT_TRUE(PortServices::isUnnamedService(49151));
    EXPECT_FALSE(PortServices::isUnnamedService(49152));
    EXPECT_FALSE(PortServices::isUnnamedService(65535));
    EXPECT_FALSE(PortServices::isUnnamedService(80));
}

TEST(PortServices, TheDestinationPortNamesAFrameBeforeTheSourcePort)
{
    EXPECT_EQ(PortServices::serviceName(80, 53, ProtocolName::udp), ProtocolName::dns);
    EXPECT_EQ(PortServices::serviceName(53, 50000, ProtocolName::udp), ProtocolName::dns);
    EXPECT_EQ(PortServices::serviceName(50000, 50001, ProtocolName::udp), ProtocolName::udp);
}

TEST(PortServices, BareTransportAndNetworkNamesAreTransportOnly)
{
    for (const auto* name : {"TCP", "UDP", "TCP (raw)", "UDP (raw)", "IP", "IPv4", "IPV4", "IPv6", "IPV6", "SCTP",
                             "DCCP", "UDP-Lite", "IP protocol 99", "IPv6 protocol 7"})
        EXPECT_TRUE(PortServices::isTransportOnly(name)) << name;
    for (const auto* name : {"", "HTTP", "TLS", "ICMP", "ICMPv6", "ARP", "GRE", "IPsec", "OSPF", "TC", "TCPX", "IPX"})
        EXPECT_FALSE(PortServices::isTransportOnly(name)) << name;
    EXPECT_TRUE(PortServices::isTransportOnly(ipProtocolName(255)));
    EXPECT_FALSE(PortServices::isTransportOnly(ProtocolName::http));
}

TEST(PortServices, NoPortIsServedByABareTransport)
{
    for (int port = 0; port < 65536; ++port) {
        const auto service = PortServices::serviceOf(static_cast<std::uint16_t>(port));
        EXPECT_FALSE(service && PortServices::isTransportOnly(*service)) << port;
    }
}

TEST(PortServices, RoutingAndFlowExportAreInfrastructureWhateverCarriesThem)
{
    for (const auto* name : {"BGP", "RIP", "OSPF", "RIPng", "EIGRP", "IS-IS", "LDP", "BFD", "HSRP", "VRRP", "PIM",
                             "NetFlow", "IPFIX", "sFlow"})
        for (const auto transport : {ProtocolCategory::tcp, ProtocolCategory::udp, ProtocolCategory::unknown})
            EXPECT_EQ(PortServices::category(protocolName(name).value(), transport), ProtocolCategory::infrastructure)
                << name;
    EXPECT_EQ(PortServices::category(ProtocolName::http, ProtocolCategory::tcp), ProtocolCategory::tcp);
    EXPECT_EQ(PortServices::category(ProtocolName::dns, ProtocolCategory::udp), ProtocolCategory::udp);
    EXPECT_EQ(PortServices::category(ProtocolName::icmp, ProtocolCategory::icmp), ProtocolCategory::icmp);
}

TEST(PortServices, TheServiceWithTheHighestSumOverItsPortsDominates)
{
    EXPECT_EQ(dominant({}), "none");
    EXPECT_EQ(dominant({{4, {100}}, {50000, {100}}}), "none");
    EXPECT_EQ(dominant({{53, {1}}, {50000, {100}}}), "DNS");
    EXPECT_EQ(dominant({{22, {7}}, {80, {4}}, {443, {5}}, {8080, {4}}}), "HTTP");
}

TEST(PortServices, OnATieTheServiceWithTheLowestPortDominates)
{
    EXPECT_EQ(dominant({{22, {5}}, {80, {5}}}), "SSH");
    EXPECT_EQ(dominant({{22, {8}}, {80, {4}}, {8080, {4}}}), "SSH");
    EXPECT_EQ(dominant({{80, {4}}, {443, {8}}, {8080, {4}}}), "HTTP");
    EXPECT_EQ(dominant({{22, {0}}, {80, {0}}}), "SSH");
}

TEST(PortServices, ACallMayUseThePortOfAServiceThatOnlyTcpCarries)
{
    constexpr auto udp = ProtocolName::udp, tcp = ProtocolName::tcp;
    EXPECT_EQ(PortServices::serviceName(30000, 20000, tcp), ProtocolName::dnp3);
    EXPECT_EQ(PortServices::serviceName(20000, 30000, udp), udp);
    EXPECT_EQ(PortServices::serviceName(20000, 53, udp), ProtocolName::dns);
    EXPECT_EQ(PortServices::name(20000), "DNP3");
    EXPECT_EQ(dominant({{20000, {9, false, true}}}), "none");
    EXPECT_EQ(dominant({{20000, {9, true, true}}}), "DNP3");
}

} // namespace netrondo::test
