// What the classifier makes of a frame, link by link and layer by layer.
#include "Dissection/Classify/ClassifiedEndpoint.h"
#include "Dissection/Classify/FrameClassifier.h"
#include "Dissection/Classify/FrameOutline.h"
#include "Support/Frames.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

namespace netrondo::test {
namespace {

constexpr auto byIp = AnalysisMode::l3IP;
constexpr auto byMac = AnalysisMode::l2MAC;

std::optional<ClassifiedEndpoint> classified(const ByteVector& bytes, AnalysisMode mode = byIp,
                                             LinkType link = LinkType::ethernet)
{
    return classifyInWords(frameOf(bytes, link), mode);
}

/// "src->dst name category", or "nothing".
std::string inShort(const std::optional<ClassifiedEndpoint>& endpoint)
{
    if (!endpoint)
        return "nothing";
    return fmt::format("{}->{} {} {}", endpoint->src, endpoint->dst, endpoint->protocolName,
                       caseName(endpoint->category));
}

ByteVector llcFrame(std::string_view llc)
{
    const auto payload = hex(llc);
    return ethernet({static_cast<std::uint16_t>(payload.size()), payload});
}

constexpr std::string_view ipxHeader = "ffff 001e 00 00 00000001 ffffffffffff 0452 00000002 00a0ccd0a1b2 4003";
constexpr std::string_view arpRequest = "0001 0800 06 04 0001 020000000001 0a000001 000000000000 0a000002";

Transport raw(std::uint8_t protocol, std::string_view bytes = "00000000 00000000")
{
    return {protocol, hex(bytes), 0};
}

} // namespace

TEST(Classifier, TcpOverEthernetGivesAllItsFields)
{
    const auto frame = ethernet(ipv4({.identification = 77},
                                     tcp({.sourcePort = 51000,
                                          .destinationPort = 443,
                                          .seq = 0xfffffffe,
                                          .ack = 9,
                                          .flags = tcpFlag::ack | tcpFlag::psh,
                                          .window = 512},
                                         "hello")));
    const auto endpoint = classified(frame).value();
    EXPECT_EQ(endpoint.src, "10.0.0.1");
    EXPECT_EQ(endpoint.dst, "10.0.0.2");
    EXPECT_EQ(endpoint.srcIP, "10.0.0.1");
    EXPECT_EQ(endpoint.dstIP, "10.0.0.2");
    EXPECT_EQ(endpoint.srcMAC, "02:00:00:00:00:01"); // given in IP mode too
    EXPECT_EQ(endpoint.dstMAC, "02:00:00:00:00:02");
    EXPECT_EQ(endpoint.srcPort, 51000);
    EXPECT_EQ(endpoint.dstPort, 443);
    EXPECT_TRUE(endpoint.isTCP);
    EXPECT_FALSE(endpoint.isUDP);
    EXPECT_FALSE(endpoint.isMACPair);
    EXPECT_EQ(endpoint.category, ProtocolCategory::tcp);
    EXPECT_EQ(endpoint.protocolName, "TLS");
    EXPECT_EQ(endpoint.byteCount, 14u + 20 + 20 + 5);
    EXPECT_EQ(endpoint.tcpFlags, tcpFlag::ack | tcpFlag::psh);
    EXPECT_EQ(endpoint.tcpWindow, 512);
    EXPECT_EQ(endpoint.tcpSeq, 0xfffffffeu);
    EXPECT_EQ(endpoint.tcpAck, 9u);
    EXPECT_FALSE(endpoint.tcpOptions);
    EXPECT_EQ(endpoint.ipv4Id, 77);
    EXPECT_EQ(endpoint.tcpPayloadLength, 5);
    EXPECT_EQ(endpoint.tcpPayloadHash, 0xa430d84680aabd0bull); // FNV-1a of "hello"
}

TEST(Classifier, TcpOverIpv6GivesTheSameFieldsButNoIdentification)
{
    const auto endpoint = classified(ethernet(ipv6({}, tcp({.seq = 5}, "x")))).value();
    EXPECT_EQ(inShort(endpoint), "2001:db8::1->2001:db8::2 HTTP tcp");
    EXPECT_EQ(endpoint.tcpSeq, 5u);
    EXPECT_EQ(endpoint.tcpPayloadLength, 1);
    EXPECT_FALSE(endpoint.ipv4Id);
}

TEST(Classifier, AcknowledgementIsTheHeadersFieldWhateverTheFlags)
{
    EXPECT_EQ(classified(ethernet(ipv4({}, tcp({.ack = 1234, .flags = tcpFlag::syn}))))->tcpAck, 1234u);
}

TEST(Classifier, EthernetPaddingIsNotPayload)
{
    auto frame = ethernet(ipv4({}, tcp()));
    frame.resize(60);
    const auto endpoint = classified(frame).value();
    EXPECT_EQ(endpoint.tcpPayloadLength, 0);
    EXPECT_FALSE(endpoint.tcpPayloadHash);
    EXPECT_EQ(endpoint.byteCount, 60u);
}

TEST(Classifier, PayloadNeverReachesPastTheCapturedBytes)
{
    auto frame = ethernet(ipv4({}, tcp({}, "0123456789")));
    frame.resize(frame.size() - 4);
    EXPECT_EQ(classified(frame)->tcpPayloadLength, 6);
}

TEST(Classifier, ByteCountIsTheOriginalLength)
{
    const auto bytes = ethernet(ipv4({}, tcp()));
    auto frame = frameOf(bytes);
    frame.originalLength = 1514;
    EXPECT_EQ(classifyInWords(frame, byIp)->byteCount, 1514u);
}

TEST(Classifier, IpLengthOfZeroMeansSegmentationOffload)
{
    EXPECT_EQ(classified(ethernet(ipv4({.totalLength = 0}, tcp({}, "0123"))))->tcpPayloadLength, 4);
}

TEST(Classifier, IpLengthThatEndsInsideTheTcpHeaderLeavesWhatItCovers)
{
    const auto endpoint = classified(ethernet(ipv4({.totalLength = 28}, tcp({.seq = 7}, "0123")))).value();
    EXPECT_TRUE(endpoint.isTCP);
    EXPECT_EQ(endpoint.tcpSeq, 7u);
    EXPECT_FALSE(endpoint.tcpAck);
    EXPECT_FALSE(endpoint.tcpFlags);
    EXPECT_EQ(endpoint.tcpPayloadLength, 0);
}

TEST(Classifier, TcpDataOffsetBelowTwentyBytesIsTwenty)
{
    auto frame = ethernet(ipv4({}, tcp({}, "abc")));
    frame[14 + 20 + 12] = 0x10; // claims 4 bytes
    EXPECT_EQ(classified(frame)->tcpPayloadLength, 3);
    EXPECT_EQ(tcpPayloadOffset(34, frame), 54u);
}

TEST(Classifier, TcpPayloadOffsetNeedsThirteenBytesAndAByteBehindTheHeader)
{
    const auto segment = tcp({}, "a").bytes;
    EXPECT_EQ(tcpPayloadOffset(0, segment), 20u);
    EXPECT_FALSE(tcpPayloadOffset(0, Bytes(segment).first(20)));
    EXPECT_FALSE(tcpPayloadOffset(0, Bytes(segment).first(12)));
    EXPECT_FALSE(tcpPayloadOffset(100, segment));
}

TEST(Classifier, TcpOptionsAreReadOnSynSegmentsOnly)
{
    constexpr std::string_view mss = "020405b4", sack = "0101 050a 00000001 00000002";
    EXPECT_EQ(classified(ethernet(ipv4({}, tcp({.flags = tcpFlag::syn, .options = mss}))))->tcpOptions->mss, 1460);
    EXPECT_EQ(
        classified(ethernet(ipv4({}, tcp({.flags = tcpFlag::syn | tcpFlag::ack, .options = mss}))))->tcpOptions->mss,
        1460);
    EXPECT_FALSE(classified(ethernet(ipv4({}, tcp({.flags = tcpFlag::ack, .options = sack}))))->tcpOptions);
    EXPECT_FALSE(classified(ethernet(ipv4({}, tcp({.flags = tcpFlag::syn}))))->tcpOptions);
}

TEST(Classifier, UdpIsNamedByItsPorts)
{
    const auto endpoint =
        classified(ethernet(ipv4({}, udp({.sourcePort = 51000, .destinationPort = 53}, "q")))).value();
    EXPECT_EQ(inShort(endpoint), "10.0.0.1->10.0.0.2 DNS udp");
    EXPECT_TRUE(endpoint.isUDP);
    EXPECT_FALSE(endpoint.tcpSeq);
    EXPECT_EQ(endpoint.tcpPayloadLength, 0);
}

TEST(Classifier, NameIsThatOfTheDestinationPortThenOfTheSourcePortThenTheTransports)
{
    const auto name = [](std::uint16_t source, std::uint16_t destination) {
        return std::string(
            classified(ethernet(ipv4({}, tcp({.sourcePort = source, .destinationPort = destination}))))->protocolName);
    };
    EXPECT_EQ(name(80, 53), "DNS");
    EXPECT_EQ(name(80, 51000), "HTTP");
    EXPECT_EQ(name(50000, 51000), "TCP");
}

TEST(Classifier, RoutingNamesAreInfrastructure)
{
    EXPECT_EQ(inShort(classified(ethernet(ipv4({}, tcp({.destinationPort = 179}))))),
              "10.0.0.1->10.0.0.2 BGP infrastructure");
    EXPECT_EQ(inShort(classified(ethernet(ipv4({}, udp({.destinationPort = 520}))))),
              "10.0.0.1->10.0.0.2 RIP infrastructure");
    EXPECT_EQ(inShort(classified(ethernet(ipv4({}, raw(89))))), "10.0.0.1->10.0.0.2 OSPF infrastructure");
}

struct IpProtocolCase {
    std::uint8_t number;
    std::string_view overIpv4, overIpv6;
};

class IpProtocols : public testing::TestWithParam<IpProtocolCase> { };

TEST_P(IpProtocols, AreNamed)
{
    const auto& row = GetParam();
    EXPECT_EQ(classified(ethernet(ipv4({}, raw(row.number))))->protocolName, row.overIpv4);
    EXPECT_EQ(classified(ethernet(ipv6({}, raw(row.number))))->protocolName, row.overIpv6);
}

INSTANTIATE_TEST_SUITE_P(Numbers, IpProtocols,
                         testing::Values(IpProtocolCase{1, "ICMP", "ICMP"}, IpProtocolCase{2, "IGMP", "IGMP"},
                                         IpProtocolCase{58, "ICMPv6", "ICMPv6"}, IpProtocolCase{50, "IPsec", "IPsec"},
                                         IpProtocolCase{88, "EIGRP", "EIGRP"}, IpProtocolCase{89, "OSPF", "OSPF"},
                                         IpProtocolCase{132, "SCTP", "SCTP"}, IpProtocolCase{47, "GRE", "GRE"},
                                         IpProtocolCase{124, "IS-IS", "IS-IS"},
                                         IpProtocolCase{253, "IP protocol 253", "IPv6 protocol 253"},
                                         IpProtocolCase{59, "IP protocol 59", "IPv6 protocol 59"}),
                         [](const auto& row) { return fmt::format("Protocol{}", row.param.number); });

TEST(Classifier, Icmpv6IsOfTheIcmpCategory)
{
    EXPECT_EQ(classified(ethernet(ipv6({}, raw(58))))->category, ProtocolCategory::icmp);
    EXPECT_EQ(classified(ethernet(ipv4({}, raw(1))))->category, ProtocolCategory::icmp);
}

TEST(Classifier, LaterFragmentKeepsNameAndCategoryButHasNoTransportHeader)
{
    for (const auto& frame : {ethernet(ipv4({.fragment = 185}, tcp())),
                              ethernet(ipv6({.extensions = "06 00 05c8 00000001", .firstExtension = 44}, tcp()))}) {
        const auto endpoint = classified(frame).value();
        EXPECT_EQ(endpoint.protocolName, "TCP");
        EXPECT_EQ(endpoint.category, ProtocolCategory::tcp);
        EXPECT_FALSE(endpoint.isTCP);
        EXPECT_FALSE(endpoint.isUDP);
        EXPECT_FALSE(endpoint.srcPort);
        EXPECT_FALSE(endpoint.tcpFlags);
    }
}

TEST(Classifier, FirstFragmentIsReadAsAnyOtherPacket)
{
    EXPECT_TRUE(classified(ethernet(ipv4({.fragment = 0x2000}, tcp())))->isTCP);
    EXPECT_TRUE(classified(ethernet(ipv6({.extensions = "06 00 0001 00000001", .firstExtension = 44}, tcp())))->isTCP);
}

TEST(Classifier, Ipv6ExtensionHeadersAreWalked)
{
    // Hop-by-hop, routing, destination options, authentication (of 16 bytes), then TCP.
    const auto frame = ethernet(ipv6({.extensions = "2b00000000000000 3c00000000000000 3300000000000000"
                                                    "0602000000000000 0000000000000000",
                                      .firstExtension = 0},
                                     tcp()));
    EXPECT_EQ(inShort(classified(frame)), "2001:db8::1->2001:db8::2 HTTP tcp");
}

TEST(Classifier, Ipv6ExtensionHeadersAreWalkedWithABound)
{
    std::string chain;
    for (int i = 0; i < 17; ++i)
        chain += "3c00000000000000";
    const auto endpoint = classified(ethernet(ipv6({.extensions = chain, .firstExtension = 60}, tcp()))).value();
    EXPECT_EQ(endpoint.protocolName, "IPv6");
    EXPECT_FALSE(endpoint.isTCP);
}

TEST(Classifier, NullLinkIsRawIpFromItsFirstByte)
{
    const auto packet = ipv4({}, tcp()).bytes;
    EXPECT_EQ(inShort(classified(packet, byIp, LinkType::null)), "10.0.0.1->10.0.0.2 HTTP tcp");
    auto withFamily = hex("02000000");
    put(withFamily, packet);
    EXPECT_EQ(inShort(classified(withFamily, byIp, LinkType::null)), "nothing");
}

TEST(Classifier, RawIpHasNoMacAddresses)
{
    const auto endpoint = classified(ipv6({}, tcp()).bytes, byIp, LinkType::raw).value();
    EXPECT_EQ(inShort(endpoint), "2001:db8::1->2001:db8::2 HTTP tcp");
    EXPECT_FALSE(endpoint.srcMAC);
    EXPECT_FALSE(endpoint.dstMAC);
}

TEST(Classifier, RawIpYieldsNothingByMacEmptyOrOfAnotherVersion)
{
    EXPECT_FALSE(classified(ipv4({}, tcp()).bytes, byMac, LinkType::raw));
    EXPECT_FALSE(classified({}, byIp, LinkType::raw));
    EXPECT_FALSE(classified(hex("50 00"), byIp, LinkType::raw));
}

TEST(Classifier, ThreeStackedVlanTagsAreAllSkipped)
{
    const auto frame = ethernet(ipv4({}, tcp()), {.tags = "88a80001 91000002 81000003"});
    EXPECT_EQ(inShort(classified(frame)), "10.0.0.1->10.0.0.2 HTTP tcp");
}

TEST(Classifier, LinuxCookedCapturesAreRead)
{
    auto v1 = hex("0000 0001 0006 020000000001 0000 0800");
    put(v1, ipv4({}, tcp()).bytes);
    auto v2 = hex("86dd 0000 00000003 0001 00 06 020000000001 0000");
    put(v2, ipv6({}, tcp()).bytes);
    const auto first = classified(v1, byIp, LinkType::linuxSLL).value();
    EXPECT_EQ(inShort(first), "10.0.0.1->10.0.0.2 HTTP tcp");
    EXPECT_EQ(first.srcMAC, "02:00:00:00:00:01"); // the sender's is the only one such a link has
    EXPECT_FALSE(first.dstMAC);
    EXPECT_EQ(inShort(classified(v2, byIp, LinkType::linuxSLL2)), "2001:db8::1->2001:db8::2 HTTP tcp");
    EXPECT_FALSE(classified(v1, byMac, LinkType::linuxSLL)); // no destination to be a host
}

TEST(Classifier, IpxOverLinuxCookedTakesItsNameFromTheIpxHeader)
{
    auto frame = hex("0000 0001 0006 020000000001 0000 8137");
    put(frame, hex(ipxHeader));
    EXPECT_EQ(inShort(classified(frame, byIp, LinkType::linuxSLL)),
              "00000002.00a0ccd0a1b2->00000001.ffffffffffff IPX SAP unknown");
}

TEST(Classifier, ArpOverLinuxCookedYieldsNothing)
{
    auto frame = hex("0000 0001 0006 020000000001 0000 0806");
    put(frame, hex(arpRequest));
    EXPECT_EQ(inShort(classified(frame, byIp, LinkType::linuxSLL)), "nothing");
}

TEST(Classifier, WirelessAndUnknownLinksYieldNothing)
{
    const auto frame = ethernet(ipv4({}, tcp()));
    for (const auto link : {LinkType::ieee80211, LinkType::ieee80211Radio, LinkType::unknown}) {
        for (const auto mode : {byIp, byMac})
            EXPECT_FALSE(classified(frame, mode, link));
    }
}

TEST(Classifier, MacModeNamesTheHostsByMacAndKeepsTheRest)
{
    const auto endpoint = classified(ethernet(ipv4({}, tcp())), byMac).value();
    EXPECT_EQ(inShort(endpoint), "02:00:00:00:00:01->02:00:00:00:00:02 HTTP tcp");
    EXPECT_TRUE(endpoint.isMACPair);
    EXPECT_EQ(endpoint.srcIP, "10.0.0.1");
    EXPECT_EQ(endpoint.srcPort, 51000);
}

TEST(Classifier, ArpIsItsAddressesByIpAndAMacPairByMac)
{
    const auto frame = ethernet({etherType::arp, hex(arpRequest)});
    const auto endpoint = classified(frame).value();
    EXPECT_EQ(inShort(endpoint), "10.0.0.1->10.0.0.2 ARP arp");
    EXPECT_FALSE(endpoint.srcIP); // no IP traffic: the analysis by IP leaves it out
    EXPECT_FALSE(endpoint.isMACPair);
    const auto pair = classified(frame, byMac).value();
    EXPECT_EQ(inShort(pair), "02:00:00:00:00:01->02:00:00:00:00:02 ARP arp");
    EXPECT_TRUE(pair.isMACPair);
}

struct LinkLayerCase {
    std::string_view name;
    ByteVector frame;
    std::string_view byIp, byMac;
};

class LinkLayer : public testing::TestWithParam<LinkLayerCase> { };

TEST_P(LinkLayer, IsNamedInBothModes)
{
    const std::string macs = "02:00:00:00:00:01->02:00:00:00:00:02 ";
    EXPECT_EQ(inShort(classified(GetParam().frame)), GetParam().byIp);
    EXPECT_EQ(inShort(classified(GetParam().frame, byMac)), macs + std::string(GetParam().byMac));
}

INSTANTIATE_TEST_SUITE_P(
    Protocols, LinkLayer,
    testing::Values(LinkLayerCase{"Stp", llcFrame("42 42 03 0000 00 00"), "nothing", "STP infrastructure"},
                    LinkLayerCase{"IsIs", llcFrame("fe fe 03 83 1b"), "nothing", "IS-IS infrastructure"},
                    LinkLayerCase{"EsIs", llcFrame("fe fe 03 82 1b"), "nothing", "Other unknown"},
                    LinkLayerCase{"Cdp", llcFrame("aa aa 03 00000c 2000 02 b4"), "nothing", "CDP infrastructure"},
                    LinkLayerCase{"PerVlanSpanningTree", llcFrame("aa aa 03 00000c 010b 0000"), "nothing",
                                  "STP infrastructure"},
                    LinkLayerCase{"UnknownSap", llcFrame("70 70 03 00"), "nothing", "Other unknown"},
                    LinkLayerCase{"CutLlc", llcFrame("42"), "nothing", "Other unknown"},
                    LinkLayerCase{"Lldp", ethernet({0x88cc, hex("0207")}), "nothing", "LLDP infrastructure"},
                    LinkLayerCase{"Dot1x", ethernet({0x888e, hex("0101")}), "nothing", "802.1X infrastructure"},
                    LinkLayerCase{"UnknownEtherType", ethernet({0x88b5, hex("00")}), "nothing", "Other unknown"},
                    LinkLayerCase{"Nbf", llcFrame("f0 f0 03 2c00 ffef 08"),
                                  "02:00:00:00:00:01->02:00:00:00:00:02 NBF unknown", "NBF unknown"},
                    LinkLayerCase{"NetBeuiSupervision", llcFrame("f0 f1 01 01"),
                                  "02:00:00:00:00:01->02:00:00:00:00:02 NetBEUI unknown", "NetBEUI unknown"},
                    LinkLayerCase{"IpxRaw8023", llcFrame(ipxHeader),
                                  "00000002.00a0ccd0a1b2->00000001.ffffffffffff IPX SAP unknown", "IPX SAP unknown"},
                    LinkLayerCase{"IpxOverLlc", llcFrame(std::string("e0 e0 03") + std::string(ipxHeader)),
                                  "00000002.00a0ccd0a1b2->00000001.ffffffffffff IPX SAP unknown", "IPX SAP unknown"},
                    LinkLayerCase{"IpxByEtherType", ethernet({0x8137, hex(ipxHeader)}),
                                  "00000002.00a0ccd0a1b2->00000001.ffffffffffff IPX SAP unknown", "IPX SAP unknown"},
                    LinkLayerCase{"CutIpx", ethernet({0x8137, hex("ffff001e")}), "nothing", "IPX unknown"},
                    LinkLayerCase{"CutIpv4", ethernet({0x0800, hex("45000014")}), "nothing", "IPv4 unknown"},
                    LinkLayerCase{"Ipv4OverSnap",
                                  [] {
                                      auto payload = hex("aa aa 03 000000 0800");
                                      put(payload, ipv4({}, tcp()).bytes);
                                      return ethernet({static_cast<std::uint16_t>(payload.size()), payload});
                                  }(),
                                  "10.0.0.1->10.0.0.2 HTTP tcp", "HTTP tcp"}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(Classifier, NoPrefixOfAFrameIsReadPastItsEnd)
{
    const ByteVector frames[] = {
        ethernet(ipv4({.options = "01"}, tcp({.flags = tcpFlag::syn, .options = "020405b4 01 030307"}, "payload")),
                 {.tags = "81000001"}),
        ethernet(ipv6({.extensions = "06 00 0001 00000001", .firstExtension = 44}, tcp({}, "payload"))),
        ethernet({etherType::arp, hex(arpRequest)}),
        llcFrame(ipxHeader),
        llcFrame("f0 f0 03 2c00 ffef 08"),
    };
    for (const auto& whole : frames) {
        for (std::size_t length = 0; length <= whole.size(); ++length) {
            const ByteVector prefix(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length));
            for (const auto link : {LinkType::ethernet, LinkType::raw, LinkType::linuxSLL, LinkType::linuxSLL2}) {
                for (const auto mode : {byIp, byMac}) {
                    if (const auto endpoint = classified(prefix, mode, link)) {
                        EXPECT_LE(endpoint->tcpPayloadLength, static_cast<std::int64_t>(length));
                    }
                }
            }
        }
    }
}

TEST(Fnv1a, MatchesItsPublishedTestVectors)
{
    EXPECT_EQ(fnv1a64(asBytes("")), 0xcbf29ce484222325ull);
    EXPECT_EQ(fnv1a64(asBytes("a")), 0xaf63dc4c8601ec8cull);
    EXPECT_EQ(fnv1a64(asBytes("foobar")), 0x85944171f73967e8ull);
}

} // namespace netrondo::test
