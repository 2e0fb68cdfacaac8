// What is said of links, ARP and IP in trouble, and when it is held back.
#include "Support/Findings.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace netrondo::test {
namespace {
using testing::ElementsAre;
using testing::IsEmpty;

ByteVector arp(int operation, std::string_view mac, std::string_view sender, std::string_view target,
               std::string_view destination = "ff:ff:ff:ff:ff:ff")
{
    ByteVector out = hex("0001 0800 06 04");
    put(out, static_cast<std::uint64_t>(operation), 2);
    put(out, addressBytes(mac));
    put(out, addressBytes(sender));
    put(out, hex("000000000000"));
    put(out, addressBytes(target));
    return ethernet({etherType::arp, out}, {.source = mac, .destination = destination});
}

ByteVector icmp(std::string_view source, std::string_view destination, std::string_view message, std::uint16_t id = 1,
                std::uint8_t ttl = 64, const EthernetFields& link = {})
{
    return ethernet(ipv4({.source = source, .destination = destination, .identification = id, .ttl = ttl},
                         {ipProtocol::icmp, hex(message), 2}),
                    link);
}

constexpr std::string_view a = "02:00:00:00:00:0a", b = "02:00:00:00:00:0b";
} // namespace

TEST(ArpFindings, AnAddressThatTwoStationsClaimInTurnIsAnErrorAndOneThatMovesANote)
{
    Trouble capture;
    capture.add(arp(2, a, "10.0.0.1", "10.0.0.9", b), 0).add(arp(2, b, "10.0.0.1", "10.0.0.9", a), 1);
    EXPECT_THAT(capture.all(), ElementsAre("arp.dupip note")) << "it moved";
    capture.add(arp(2, a, "10.0.0.1", "10.0.0.9", b), 2);
    EXPECT_THAT(capture.all(), ElementsAre("arp.dupip error"));
    EXPECT_THAT(capture.found("arp.dupip")->evidence, ElementsAre(1, 2, 3));
}

struct SharedCase {
    std::string_view name, mac;
};

class SharedAddress : public testing::TestWithParam<SharedCase> { };

TEST_P(SharedAddress, OfRoutersThatStandInForEachOtherIsNoConflict)
{
    Trouble capture;
    for (int i = 0; i < 4; ++i)
        capture.add(arp(2, i % 2 ? a : GetParam().mac, "10.0.0.1", "10.0.0.9", b), i);
    EXPECT_THAT(capture.all(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Protocols, SharedAddress,
                         testing::Values(SharedCase{"Vrrp", "00:00:5e:00:01:05"},
                                         SharedCase{"VrrpIpv6", "00:00:5e:00:02:05"},
                                         SharedCase{"Hsrp", "00:00:0c:07:ac:01"},
                                         SharedCase{"Hsrp2", "00:00:0c:9f:f0:01"},
                                         SharedCase{"Glbp", "00:07:b4:00:01:01"}),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(ArpFindings, ThreeQuestionsWithoutAnAnswerAreAWarningUnlessNoAnswerIsEverSeen)
{
    Trouble blind, seeing;
    seeing.add(arp(2, b, "10.0.0.8", "10.0.0.1", a), 0);
    for (auto* capture : {&blind, &seeing})
        for (int i = 0; i < 3; ++i)
            capture->add(arp(1, a, "10.0.0.1", "10.0.0.77"), 1 + i);
    EXPECT_THAT(seeing.all(), IsEmpty()) << "the answer may still come";
    for (auto* capture : {&blind, &seeing})
        capture->add(arp(1, a, "10.0.0.1", "10.0.0.8"), 5);
    EXPECT_EQ(seeing.found("arp.noreply")->severity, Severity::warning);
    EXPECT_EQ(blind.found("arp.noreply")->severity, Severity::info);
    seeing.add(arp(2, b, "10.0.0.77", "10.0.0.1", a), 6);
    EXPECT_FALSE(seeing.found("arp.noreply"));
}

TEST(ArpFindings, WhoAsksForManyAddressesScans)
{
    Trouble capture;
    for (int i = 0; i < 60; ++i)
        capture.add(arp(1, a, "10.0.0.1", fmt::format("10.0.1.{}", i)), i * 0.2);
    EXPECT_THAT(capture.all(), ElementsAre("arp.scan warning"));
    EXPECT_EQ(capture.found("arp.scan")->measured, 60);
    EXPECT_EQ(capture.found("arp.scan")->firstFrame, 1u);
}

TEST(ArpFindings, AFrameWhoseTwoSendersDifferIsAWarning)
{
    Trouble capture;
    auto frame = arp(1, a, "10.0.0.1", "10.0.0.2");
    frame[11] = 0x0c; // the Ethernet source
    EXPECT_THAT(capture.add(frame, 0).all(), ElementsAre("arp.mismatch warning"));
}

TEST(LinkFindings, AGroupAddressCannotSend)
{
    Trouble capture;
    capture.add(ethernet(ipv4({}, udp()), {.source = "03:00:00:00:00:01"}), 0);
    EXPECT_THAT(capture.all(), ElementsAre("eth.srcgroup error"));
}

TEST(LinkFindings, BroadcastsByTheHundredAreAStorm)
{
    Trouble capture;
    for (std::uint16_t i = 0; i < 600; ++i)
        capture.add(
            ethernet(ipv4({.destination = "255.255.255.255", .identification = i}, udp({}, std::string(40, 'x'))),
                     {.destination = "ff:ff:ff:ff:ff:ff"}),
            0.001 * i);
    EXPECT_THAT(capture.all(), ElementsAre("eth.storm warning"));
    EXPECT_EQ(capture.found("eth.storm")->measured, 600);
}

TEST(LinkFindings, TheSameBroadcastFourTimesAtOncePlaceIsALoopAndAtSeveralPlacesNone)
{
    const auto frame =
        ethernet(ipv4({.destination = "255.255.255.255", .identification = 77}, udp({}, std::string(40, 'x'))),
                 {.destination = "ff:ff:ff:ff:ff:ff"});
    Trouble loop, places;
    for (int i = 0; i < 4; ++i) {
        loop.add(frame, 0.1 * i);
        places.add(frame, 0.0001 * i, i);
    }
    EXPECT_TRUE(loop.found("eth.loop"));
    EXPECT_FALSE(places.found("eth.loop"));
}

TEST(LinkFindings, ShortFramesAreRuntsWhereEverybodyElsePads)
{
    const auto shortFrame = ethernet(ipv4({}, udp({}, "x")), {.source = a});
    Trouble host;
    host.add(shortFrame, 0).add(shortFrame, 1);
    EXPECT_FALSE(host.found("eth.runt")) << "nobody pads: captured where frames are sent";
    Trouble wire;
    for (int i = 0; i < 20; ++i)
        wire.add(ethernet(ipv4({.identification = static_cast<std::uint16_t>(i)}, udp({}, std::string(20, 'x')))), i);
    wire.add(shortFrame, 30);
    ASSERT_TRUE(wire.found("eth.runt"));
    EXPECT_EQ(wire.found("eth.runt")->hosts[0].text(), a);
}

TEST(CaptureFindings, CutFramesAreANoteFromOnePercentOn)
{
    Trouble few, many;
    const auto frame = ethernet(ipv4({}, udp({}, std::string(40, 'x'))));
    for (int i = 0; i < 200; ++i) {
        i == 0 ? few.addCut(frame, i, 1000) : few.add(frame, i);
        i < 4 ? many.addCut(frame, i, 1000) : many.add(frame, i);
    }
    EXPECT_FALSE(few.found("cap.truncated"));
    EXPECT_TRUE(many.found("cap.truncated"));
}

TEST(CaptureFindings, AHostWhoseChecksumsAreAllWrongLeavesThemToItsCard)
{
    Trouble capture;
    for (std::uint16_t i = 0; i < 10; ++i) {
        auto frame = ethernet(ipv4({.identification = i}, udp({.destinationPort = 9}, std::string(40, 'x'))));
        frame[14 + 20 + 6] ^= 0x55; // the UDP checksum
        capture.add(frame, i);
        capture.add(ethernet(ipv4({.source = "10.0.0.2", .destination = "10.0.0.1", .identification = i},
                                  udp({.sourcePort = 9}, std::string(40, 'x')))),
                    i + 0.5);
    }
    EXPECT_THAT(capture.all(), ElementsAre("cap.offload info"));
    EXPECT_EQ(capture.found("cap.offload")->hosts[0].text(), "10.0.0.1");
}

TEST(CaptureFindings, TimeThatRunsBackIsNoted)
{
    Trouble capture;
    const auto frame = [](std::uint16_t id) {
        return ethernet(ipv4({.identification = id}, udp({.destinationPort = 9})));
    };
    EXPECT_THAT(capture.add(frame(1), 10).add(frame(2), 9.9).all(), ElementsAre("cap.time note"));
}

TEST(CaptureFindings, EveryFrameIsAnalysedOrSkippedForAReason)
{
    Trouble capture;
    capture.add(ethernet(ipv4({}, udp())), 0)
        .add(arp(1, a, "10.0.0.1", "10.0.0.2"), 1)
        .add(ethernet(ipv4({.source = "10.0.0.1", .destination = "10.0.0.1"}, udp())), 2)
        .add(ethernet({0x1234, hex("00")}), 3);
    const auto& accounting = capture.summary().accounting;
    EXPECT_EQ(accounting.read, 4u);
    EXPECT_EQ(accounting.analysed, 1u);
    std::vector<std::string> reasons;
    std::uint64_t skipped = 0;
    for (const auto& skip : accounting.skipped) {
        reasons.push_back(skip.reason);
        skipped += skip.frames;
    }
    EXPECT_EQ(skipped, 3u);
    EXPECT_THAT(
        reasons,
        testing::UnorderedElementsAre("not IP: EtherType 0x0806 (ARP)", "from a host to itself", "EtherType 0x1234"));
    EXPECT_TRUE(capture.found("cap.unanalysed"));
}

TEST(IpFindings, APacketThatPassesAgainAndAgainIsInALoop)
{
    Trouble capture;
    const EthernetFields there{.source = a, .destination = b}, back{.source = b, .destination = a};
    for (int i = 0; i < 8; ++i)
        capture.add(icmp("10.0.0.1", "10.9.0.9", "08000000 00010001", 7, static_cast<std::uint8_t>(64 - i),
                         i % 2 ? back : there),
                    0.001 * i);
    capture.add(icmp("10.0.0.254", "10.0.0.1",
                     "0b000000 00000000 4500001c00070000 0101 0000 0a000001 0a090009 08000000 00010001"),
                0.1);
    EXPECT_THAT(capture.all(), ElementsAre("ip.loop error")) << "the report of its end is part of it";
    EXPECT_EQ(capture.found("ip.loop")->symptoms.size(), 1u);
}

TEST(IpFindings, APacketSeenBeforeAndBehindThreeRoutersIsInNone)
{
    Trouble capture;
    for (int i = 0; i < 4; ++i) {
        const auto mac = fmt::format("02:00:00:00:01:0{}", i);
        capture.add(
            icmp("10.0.0.1", "10.9.0.9", "00000000 00010001", 7, static_cast<std::uint8_t>(64 - i), {.source = mac}),
            0.001 * i, i);
    }
    EXPECT_THAT(capture.all(), IsEmpty());
}

struct SenderCase {
    std::string_view name, source, finding;
    std::string_view destination = "10.0.0.2";
};

class Sender : public testing::TestWithParam<SenderCase> { };

TEST_P(Sender, ThatCannotBeIsFound)
{
    Trouble capture;
    capture.add(ethernet(ipv4({.source = GetParam().source, .destination = GetParam().destination},
                              udp({.destinationPort = 9}))),
                0);
    if (GetParam().finding.empty())
        EXPECT_THAT(capture.all(), IsEmpty());
    else
        EXPECT_THAT(capture.all(), ElementsAre(GetParam().finding));
}

INSTANTIATE_TEST_SUITE_P(Addresses, Sender,
                         testing::Values(SenderCase{"Loopback", "127.0.0.1", "ip.martian warning"},
                                         SenderCase{"LoopbackToItself", "127.0.0.1", "", "127.0.0.1"},
                                         SenderCase{"LoopbackToLoopback", "127.0.0.1", "", "127.0.0.53"},
                                         SenderCase{"Multicast", "224.0.0.5", "ip.martian warning"},
                                         SenderCase{"Broadcast", "255.255.255.255", "ip.martian warning"},
                                         SenderCase{"Nobody", "0.0.0.1", "ip.martian warning"},
                                         SenderCase{"Itself", "10.0.0.2", "ip.martian warning"},
                                         SenderCase{"LinkLocal", "169.254.7.7", "ip.apipa note"},
                                         SenderCase{"Ordinary", "192.0.2.7", ""}),
                         [](const auto& row) { return std::string(row.param.name); });

struct UnreachableCase {
    std::string_view name, head, finding;
};

class Unreachable : public testing::TestWithParam<UnreachableCase> { };

TEST_P(Unreachable, IsGradedByItsCode)
{
    Trouble capture;
    const auto message =
        std::string(GetParam().head) + "0000 00000578 45000028 00010000 40060000 0a000001 0a000009 c7380050 00000001";
    capture.add(icmp("10.0.0.254", "10.0.0.1", message), 0);
    EXPECT_THAT(capture.all(), ElementsAre(GetParam().finding));
    EXPECT_EQ(capture.found("icmp.unreach")->hosts[1].text(), "10.0.0.9") << "whom the packet was for";
    EXPECT_EQ(capture.found("icmp.unreach")->port, 80);
}

INSTANTIATE_TEST_SUITE_P(Codes, Unreachable,
                         testing::Values(UnreachableCase{"Network", "0300", "icmp.unreach warning"},
                                         UnreachableCase{"Host", "0301", "icmp.unreach warning"},
                                         UnreachableCase{"Protocol", "0302", "icmp.unreach note"},
                                         UnreachableCase{"Port", "0303", "icmp.unreach note"},
                                         UnreachableCase{"TooBig", "0304", "icmp.unreach note"},
                                         UnreachableCase{"Filtered", "030d", "icmp.unreach warning"}),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(IpFindings, ThreePingsInARowWithoutAnAnswerAreAWarning)
{
    Trouble capture;
    for (int i = 0; i < 3; ++i) {
        EXPECT_FALSE(capture.found("icmp.echo") && capture.found("icmp.echo")->severity == Severity::warning);
        capture.add(
            icmp("10.0.0.1", "10.0.0.2", fmt::format("08000000 0001000{}", i), static_cast<std::uint16_t>(i + 1)), i);
    }
    capture.add(icmp("10.0.0.1", "10.0.0.3", "08000000 00020001", 9), 9);
    capture.add(icmp("10.0.0.3", "10.0.0.1", "00000000 00020001", 9), 9.01);
    EXPECT_THAT(capture.all(), ElementsAre("icmp.echo warning"));
    EXPECT_EQ(capture.found("icmp.echo")->count, 3u);
}

TEST(IpFindings, AWrongHeaderChecksumIsAnErrorButNoneAtAllIsNot)
{
    auto wrong = ethernet(ipv4({}, udp({.destinationPort = 9}))), none = wrong;
    wrong[14 + 10] ^= 1;
    none[14 + 10] = none[14 + 11] = 0;
    EXPECT_THAT(Trouble().add(wrong, 0).all(), ElementsAre("ip.checksum error"));
    EXPECT_THAT(Trouble().add(none, 0).all(), IsEmpty());
}

TEST(IpFindings, FragmentsAreANoteAndADatagramThatStaysIncompleteAWarning)
{
    const auto fragment = [](std::uint16_t word, std::uint16_t id) {
        return ethernet(ipv4({.identification = id, .fragment = word}, {ipProtocol::udp, ByteVector(64, 1), 0}));
    };
    Trouble whole, incomplete;
    whole.add(fragment(0x2000, 5), 0).add(fragment(8, 5), 0.1);
    incomplete.add(fragment(0x2000, 5), 0);
    for (auto* capture : {&whole, &incomplete})
        capture->add(ethernet(ipv4({.identification = 99}, udp({.destinationPort = 9}))), 40);
    EXPECT_THAT(whole.all(), ElementsAre("ip.frag note"));
    EXPECT_THAT(incomplete.all(), ElementsAre("ip.frag warning"));
    Trouble overlap;
    auto other = fragment(0x2000 | 4, 5);
    other[60] = 9;
    overlap.add(fragment(0x2000, 5), 0).add(other, 0.1);
    EXPECT_THAT(overlap.all(), ElementsAre("ip.frag error"));
}

TEST(IpFindings, TheOtherVrrpRouterTakesOver)
{
    const auto advertisement = [](std::string_view source, std::uint16_t id) {
        return ethernet(ipv4({.source = source, .destination = "224.0.0.18", .identification = id, .ttl = 255},
                             {ipProtocol::vrrp, hex("21056401 0064 0000 0a000001"), 0}),
                        {.destination = "01:00:5e:00:00:12"});
    };
    Trouble capture;
    capture.add(advertisement("10.0.0.2", 1), 0).add(advertisement("10.0.0.2", 2), 1);
    EXPECT_THAT(capture.all(), IsEmpty());
    capture.add(advertisement("10.0.0.3", 3), 5);
    EXPECT_THAT(capture.all(), ElementsAre("fhrp.flap warning"));
    EXPECT_EQ(capture.found("fhrp.flap")->detail, "VRRP group 5");
}

} // namespace netrondo::test
