// Findings that the recorded captures do not show.
#include "Support/Findings.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace netrondo::test {
namespace {
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
constexpr auto syn = tcpFlag::syn, ack = tcpFlag::ack, fin = tcpFlag::fin;
const std::string piece(100, 'x'), full(1400, 'y');

/// An IEEE 802.3 frame with these bytes behind its length.
ByteVector ieee(std::string_view source, std::string_view destination, std::string_view payload)
{
    auto bytes = hex(payload);
    bytes.resize(std::max<std::size_t>(bytes.size(), 46));
    return ethernet({static_cast<std::uint16_t>(bytes.size()), bytes}, {.source = source, .destination = destination});
}

} // namespace

TEST(LinkFindings, AnotherRootIsAnErrorAndTwoInTurnAreAWarning)
{
    const auto bpdu = [](std::string_view root) {
        return ieee("02:00:00:00:00:0b", "01:80:c2:00:00:00",
                    "424203 0000 00 00 00 " + std::string(root)
                        + " 00000004 8000 02000000000b 8001 0000 1400 0200 0f00");
    };
    const auto first = bpdu("1000 020000000001"), second = bpdu("0000 020000000002");
    Trouble capture;
    capture.add(first, 0).add(first, 2).add(second, 4).add(second, 6);
    EXPECT_THAT(capture.all(), ElementsAre("stp.root error"));
    capture.add(first, 8);
    EXPECT_THAT(capture.all(), ElementsAre("stp.root error", "stp.tworoots warning"));
}

TEST(LinkFindings, PauseFramesByTheDozenStopALink)
{
    const auto pause = [](std::string_view time) {
        auto bytes = hex(std::string("0001") + std::string(time));
        bytes.resize(46);
        return ethernet({etherType::macControl, bytes},
                        {.source = "02:00:00:00:00:0b", .destination = "01:80:c2:00:00:01"});
    };
    Trouble stopped, resumed;
    for (int i = 0; i < 12; ++i) {
        stopped.add(pause("ffff"), 0.05 * i);
        resumed.add(pause("0000"), 0.05 * i);
    }
    EXPECT_TRUE(stopped.found("eth.pause"));
    EXPECT_FALSE(resumed.found("eth.pause"));
}

TEST(LinkFindings, AWrongCheckSequenceShowsWhereTheOthersAreRight)
{
    const auto frame = [](std::uint16_t id, bool isRight) {
        auto bytes = ethernet(ipv4({.identification = id}, udp({.destinationPort = 9}, std::string(60, 'x'))));
        std::uint32_t crc = 0xffffffff;
        for (const auto byte : bytes) {
            crc ^= byte;
            for (int bit = 0; bit < 8; ++bit)
                crc = crc >> 1 ^ (crc & 1 ? 0xedb88320 : 0);
        }
        crc = ~crc ^ (isRight ? 0 : 1);
        for (int i = 0; i < 4; ++i)
            bytes.push_back(static_cast<std::uint8_t>(crc >> 8 * i));
        return bytes;
    };
    Trouble capture, trailers;
    for (std::uint16_t i = 0; i < 40; ++i) {
        capture.add(frame(i, i != 30), i);
        trailers.add(frame(i, false), i);
    }
    ASSERT_TRUE(capture.found("eth.fcs"));
    EXPECT_THAT(capture.found("eth.fcs")->evidence, ElementsAre(31));
    EXPECT_FALSE(trailers.found("eth.fcs")) << "something else stands behind the packets";
}

TEST(LinkFindings, AStationThatHopsBetweenVlansIsSuspicious)
{
    Trouble capture;
    for (std::uint16_t i = 0; i < 6; ++i)
        capture.add(ethernet(ipv4({.identification = i}, udp({.destinationPort = 9}, std::string(40, 'x'))),
                             {.tags = i % 2 ? "81000014" : "81000015"}),
                    i);
    EXPECT_THAT(capture.all(), ElementsAre("eth.macflap warning"));
}

TEST(LinkFindings, FramesForManyStationsThatNeverSpeakAreANote)
{
    Trouble capture;
    for (std::uint16_t i = 0; i < 30; ++i) {
        const auto mac = fmt::format("02:00:00:00:01:{:02x}", i % 4);
        capture.add(ethernet(ipv4({.identification = i}, udp({.destinationPort = 9}, std::string(40, 'x'))),
                             i < 8 ? EthernetFields{.destination = mac} : EthernetFields{}),
                    i);
        capture.add(ethernet(ipv4({.source = "10.0.0.2", .destination = "10.0.0.1", .identification = i},
                                  udp({.sourcePort = 9}, std::string(40, 'x'))),
                             {.source = "02:00:00:00:00:02", .destination = "02:00:00:00:00:01"}),
                    i + 0.5);
    }
    EXPECT_THAT(capture.all(), ElementsAre("eth.flood note"));
}

TEST(LinkFindings, NeighboursThatDisagreeAboutTheirVlanAreAWarning)
{
    const auto lldp = [](std::string_view source, std::string_view vlan) {
        auto bytes = hex("0207 04 02000000000a 0403 05 3031 0602 0078 fe06 0080c2 01 " + std::string(vlan) + " 0000");
        bytes.resize(46);
        return ethernet({etherType::lldp, bytes}, {.source = source, .destination = "01:80:c2:00:00:0e"});
    };
    Trouble agree, differ;
    agree.add(lldp("02:00:00:00:00:0a", "0001"), 0).add(lldp("02:00:00:00:00:0b", "0001"), 1);
    differ.add(lldp("02:00:00:00:00:0a", "0001"), 0).add(lldp("02:00:00:00:00:0b", "0014"), 1);
    EXPECT_THAT(agree.all(), IsEmpty());
    EXPECT_THAT(differ.all(), ElementsAre("l2.mismatch warning"));
    EXPECT_EQ(differ.found("l2.mismatch")->detail, "native VLAN 1 and 20");
}

TEST(LinkFindings, AnAuthenticatorThatSaysFailureKeepsAStationOut)
{
    const auto eap = [](std::string_view message) {
        auto bytes = hex("02 00 0004" + std::string(message));
        bytes.resize(46);
        return ethernet({etherType::eapol, bytes}, {.source = "02:00:00:00:00:0b", .destination = "02:00:00:00:00:0a"});
    };
    Trouble success, failure, silence;
    EXPECT_THAT(success.add(eap("03 01 0004"), 0).all(), IsEmpty());
    EXPECT_THAT(failure.add(eap("04 01 0004"), 0).all(), ElementsAre("dot1x.fail warning"));
    for (int i = 0; i < 3; ++i)
        silence.add(eap("01 01 0005 01"), 30 * i);
    EXPECT_THAT(silence.all(), ElementsAre("dot1x.fail warning"));
}

TEST(ArpFindings, AFloodOfAnnouncementsIsAWarning)
{
    Trouble capture;
    for (int i = 0; i < 10; ++i) {
        auto bytes = hex("0001 0800 06 04 0001 02000000000a 0a000001 000000000000 0a000001");
        bytes.resize(46);
        capture.add(
            ethernet({etherType::arp, bytes}, {.source = "02:00:00:00:00:0a", .destination = "ff:ff:ff:ff:ff:ff"}),
            0.5 * i);
    }
    EXPECT_THAT(capture.all(), ElementsAre("arp.garp warning"));
}

TEST(IpFindings, ARedirectNamesTheShorterWay)
{
    Trouble capture;
    capture.add(
        ethernet(ipv4({.source = "10.0.0.254", .destination = "10.0.0.1"},
                      {ipProtocol::icmp,
                       hex("0501 0000 0a0000fd 4500001c 00010000 40010000 0a000001 0a090009 0800 0000 0001 0001"), 2})),
        0);
    EXPECT_THAT(capture.all(), ElementsAre("icmp.redirect warning"));
    EXPECT_EQ(capture.found("icmp.redirect")->detail, "10.0.0.253 is the way to 10.9.0.9");
}

TEST(IpFindings, OspfRoutersWithDifferentTimersCannotBecomeNeighbours)
{
    const auto ospf = [](std::string_view source, std::string_view interval) {
        return ethernet(ipv4({.source = source,
                              .destination = "224.0.0.5",
                              .identification = interval == "000a" ? std::uint16_t{1} : std::uint16_t{2},
                              .ttl = 1},
                             {ipProtocol::ospf,
                              hex("0201 002c 0a0000fe 00000000 0000 0000 0000000000000000 ffffff00 "
                                  + std::string(interval) + " 02 01 00000028 00000000 00000000"),
                              0}),
                        {.destination = "01:00:5e:00:00:05"});
    };
    Trouble agree, differ;
    agree.add(ospf("10.0.0.2", "000a"), 0).add(ospf("10.0.0.3", "000a"), 1);
    differ.add(ospf("10.0.0.2", "000a"), 0).add(ospf("10.0.0.3", "001e"), 1);
    EXPECT_THAT(agree.all(), IsEmpty());
    EXPECT_THAT(differ.all(), ElementsAre("route.adjacency error"));
}

TEST(TcpFindings, FullSegmentsThatVanishWhileThePeerSpeaksMeetABlackHole)
{
    Trouble capture;
    TcpTalk talk(capture);
    talk.open().client(1, {.seq = 100, .ack = 100, .payload = full});
    for (int i = 0; i < 6; ++i) {
        talk.client(2 + i, {.seq = 100, .ack = 100, .payload = full});
        talk.server(2.5 + i, {.seq = 100 + static_cast<std::uint32_t>(i), .ack = 100, .payload = "z"});
    }
    EXPECT_THAT(capture.all(), ElementsAre("ip.blackhole error")) << "the repetitions are part of it";
}

TEST(TcpFindings, ManyHalfOpenConnectionsToAServiceAreAFlood)
{
    Trouble capture;
    for (std::uint32_t i = 0; i < 60; ++i) {
        const auto client = fmt::format("192.0.2.{}", i + 1);
        capture.add(ethernet(ipv4({.source = client}, tcp({.seq = 9, .flags = syn}))), 0.1 * i);
        capture.add(
            ethernet(ipv4({.source = "10.0.0.2", .destination = client},
                          tcp({.sourcePort = 80, .destinationPort = 51000, .seq = 5, .ack = 10, .flags = syn | ack}))),
            0.1 * i + 0.01);
    }
    capture.add(ethernet(ipv4({}, udp({.destinationPort = 9}))), 30);
    EXPECT_THAT(capture.all(), ElementsAre("tcp.halfopen error"));
    EXPECT_EQ(capture.found("tcp.halfopen")->count, 60u);
}

TEST(TcpFindings, PortsUsedAgainAreANote)
{
    Trouble capture;
    TcpTalk talk(capture);
    talk.open()
        .client(1, {.seq = 100, .ack = 100, .flags = fin | ack})
        .server(1.1, {.seq = 100, .ack = 101, .flags = fin | ack});
    talk.client(5, {.seq = 70'000, .flags = syn});
    ASSERT_TRUE(capture.found("tcp.reuse"));
    EXPECT_NEAR(capture.found("tcp.reuse")->measured, 3.9, 0.01);
}

TEST(TcpFindings, StallsOfFortyMillisecondsAreDelayedAcknowledgments)
{
    Trouble capture;
    TcpTalk talk(capture);
    talk.open();
    std::uint32_t seq = 100;
    for (int i = 0; i < 7; ++i, seq += 100) {
        talk.client(1 + i * 0.041, {.seq = seq, .ack = 100, .payload = std::string(100, static_cast<char>('a' + i))});
        talk.server(1.04 + i * 0.041, {.seq = 100, .ack = seq + 100});
    }
    EXPECT_THAT(capture.all(), ElementsAre("tcp.delayedack note"));
}

TEST(TcpFindings, OneHostThatTriesAPortOfManyHostsScansThem)
{
    Trouble capture;
    for (std::uint16_t i = 1; i <= 25; ++i)
        capture.add(ethernet(ipv4({.destination = fmt::format("10.0.1.{}", i), .identification = i},
                                  tcp({.destinationPort = 445, .seq = 7, .flags = syn}))),
                    i);
    capture.add(ethernet(ipv4({.identification = 900}, udp({.destinationPort = 9}))), 40);
    EXPECT_THAT(capture.all(), ElementsAre("scan.host warning"));
    EXPECT_EQ(capture.found("scan.host")->port, 445);
}

TEST(CaptureFindings, DataWithoutAnyAnswerMeansThatOneDirectionIsMissing)
{
    Trouble capture;
    TcpTalk talk(capture);
    for (std::uint32_t i = 0; i < 12; ++i)
        talk.client(i, {.seq = 100 + 100 * i, .ack = 100, .payload = std::string(100, static_cast<char>('a' + i))});
    EXPECT_THAT(capture.all(), ElementsAre("cap.oneway warning"));
}

TEST(CaptureFindings, AcknowledgmentsOfDataNeverSeenMeanThatFramesAreMissing)
{
    Trouble capture;
    TcpTalk talk(capture);
    talk.open().client(1, {.seq = 100, .ack = 100, .payload = piece});
    for (std::uint32_t i = 0; i < 20; ++i)
        talk.server(2 + i, {.seq = 100, .ack = 5000 + i});
    EXPECT_THAT(capture.all(), Contains("cap.loss warning"));
    EXPECT_THAT(capture.all(), Not(Contains("tcp.acked_unseen note"))) << "explained by the loss";
}

TEST(CaptureFindings, FramesCapturedTwiceAreAWarning)
{
    Trouble capture;
    for (std::uint16_t i = 0; i < 40; ++i) {
        const auto frame = ethernet(ipv4({.identification = i}, udp({.destinationPort = 9}, std::string(40, 'x'))));
        capture.add(frame, i).add(frame, i + 0.001);
    }
    EXPECT_THAT(capture.all(), ElementsAre("cap.dupes warning"));
    EXPECT_EQ(capture.found("cap.dupes")->measured, 50);
}

TEST(ApplicationFindings, OldTlsVersionsAreWeak)
{
    const auto serverHello = [](std::string_view version) {
        return hex("16 0303 002a 02 000026" + std::string(version)
                   + "0000000000000000000000000000000000000000000000000000000000000000 00 c02f 00");
    };
    for (const auto& [version, isWeak] : {std::pair("0303", false), std::pair("0302", true), std::pair("0300", true)}) {
        Trouble capture;
        const auto bytes = serverHello(version);
        capture.add(ethernet(ipv4({.source = "10.0.0.2", .destination = "10.0.0.1"},
                                  tcp({.sourcePort = 443, .destinationPort = 51000}, asText(bytes)))),
                    0);
        EXPECT_EQ(capture.found("tls.weak") != nullptr, isWeak) << version;
    }
}

} // namespace netrondo::test
