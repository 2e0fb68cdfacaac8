#include "Analysis/Model/CommPair.h"

#include "Support/JsonText.h"

#include <gtest/gtest.h>
#include <rapidjson/document.h>

namespace netrondo::test {
namespace {

CommPair bare()
{
    CommPair pair;
    pair.srcAddr = "10.0.0.1";
    pair.dstAddr = "10.0.0.2";
    pair.topProtocol = "ICMP";
    pair.category = ProtocolCategory::icmp;
    return pair;
}

} // namespace

TEST(CommPair, ItsIdentityIsSourceArrowDestination)
{
    EXPECT_EQ(bare().id(), "10.0.0.1->10.0.0.2");
    EXPECT_EQ(CommPair{}.id(), "->");
}

TEST(CommPair, ItsVolumeIsBytesOrPackets)
{
    auto pair = bare();
    pair.packetCount = 3;
    pair.byteCount = 300;
    EXPECT_EQ(pair.volume(true), 300u);
    EXPECT_EQ(pair.volume(false), 3u);
}

TEST(CommPair, JsonLeavesOutWhatIsAbsent)
{
    EXPECT_EQ(jsonText(bare()),
              R"({"srcAddr":"10.0.0.1","dstAddr":"10.0.0.2","hasTCP":false,"hasUDP":false,"packetCount":0,)"
              R"("byteCount":0,"topProtocol":"ICMP","category":"icmp","isMAC":false,"dstPorts":{},)"
              R"("payloadProtocols":[],"tcpQualityByPort":{}})");
}

TEST(CommPair, JsonHasTheFieldsInTheirOrderPortsAscendingAndSetsSorted)
{
    CommPair pair = bare();
    pair.resolvedSrc = "client.example";
    pair.resolvedDst = "server.example";
    pair.srcMAC = "02:00:00:00:00:01";
    pair.dstMAC = "02:00:00:00:00:02";
    pair.srcIP = "10.0.0.1";
    pair.dstIP = "10.0.0.2";
    pair.hasTCP = pair.hasUDP = true;
    pair.packetCount = 18446744073709551615u;
    pair.byteCount = 4294967296;
    pair.topProtocol = "HTTP";
    pair.category = ProtocolCategory::tcp;
    pair.isMAC = true;
    pair.dstPorts = {{80, {5, true, false}}, {443, {6, true, true}}, {50000, {1, false, true}}};
    pair.payloadProtocols = {"HTTP", "TLS"};
    pair.firstSeenSeconds = 1700000000.25;
    pair.lastSeenSeconds = 1700000001.5;
    TCPSessionQuality quality;
    quality.tcpPackets = 7;
    pair.tcpQuality = quality;
    quality.tcpPackets = 3;
    pair.tcpQualityByPort = {{80, quality}};
    EXPECT_EQ(jsonText(pair),
              R"({"srcAddr":"10.0.0.1","dstAddr":"10.0.0.2","resolvedSrc":"client.example",)"
              R"("resolvedDst":"server.example","srcMAC":"02:00:00:00:00:01","dstMAC":"02:00:00:00:00:02",)"
              R"("srcIP":"10.0.0.1","dstIP":"10.0.0.2","hasTCP":true,"hasUDP":true,)"
              R"("packetCount":18446744073709551615,"byteCount":4294967296,"topProtocol":"HTTP","category":"tcp",)"
              R"("isMAC":true,"dstPorts":{"80":{"count":5,"isTCP":true,"isUDP":false},)"
              R"("443":{"count":6,"isTCP":true,"isUDP":true},"50000":{"count":1,"isTCP":false,"isUDP":true}},)"
              R"("payloadProtocols":["HTTP","TLS"],"firstSeenSeconds":1700000000.25,"lastSeenSeconds":1700000001.5,)"
              R"("tcpQuality":)"
                  + jsonText(*pair.tcpQuality) + R"(,"tcpQualityByPort":{"80":)" + jsonText(quality) + "}}");
}

TEST(CommPair, JsonNamesEveryCategoryByItsCase)
{
    constexpr std::string_view names[] = {"tcp", "udp", "arp", "icmp", "infrastructure", "unknown"};
    for (std::size_t i = 0; i < std::size(names); ++i) {
        const ProtocolStats stats{"Name", static_cast<ProtocolCategory>(i), 2};
        EXPECT_EQ(jsonText(stats), fmt::format(R"({{"name":"Name","category":"{}","count":2}})", names[i]));
    }
}

TEST(CommPair, AHostNameThatIsNotUtf8StillGivesJson)
{
    auto pair = bare();
    pair.resolvedSrc = "caf\xe9\xc3\"\\\x01";
    rapidjson::Document parsed;
    parsed.Parse<rapidjson::kParseValidateEncodingFlag>(jsonText(pair).c_str());
    ASSERT_FALSE(parsed.HasParseError());
    EXPECT_STREQ(parsed["resolvedSrc"].GetString(), "caf\uFFFD\uFFFD\"\\\x01");
}

TEST(ProtocolCategory, OnEqualPriorityTheNewerWins)
{
    using enum ProtocolCategory;
    EXPECT_EQ(prefer(icmp, udp), udp);
    EXPECT_EQ(prefer(tcp, udp), udp);
    EXPECT_EQ(prefer(udp, tcp), tcp);
    EXPECT_EQ(prefer(udp, icmp), udp);
    EXPECT_EQ(prefer(arp, icmp), icmp);
    EXPECT_EQ(prefer(infrastructure, unknown), infrastructure);
    EXPECT_EQ(prefer(unknown, unknown), unknown);
}

} // namespace netrondo::test
