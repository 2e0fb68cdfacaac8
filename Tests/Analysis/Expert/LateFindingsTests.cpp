// Findings that need more than single frames: transfers, times, and what others have said before. Each with the traffic
// that looks alike and is healthy.
#include "Capture/Drivers/AnalyzeFile.h"
#include "Support/Allocations.h"
#include "Support/Captures.h"
#include "Support/Files.h"
#include "Support/Findings.h"
#include "Support/Gzip.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace netrondo::test {
namespace {
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
constexpr auto syn = tcpFlag::syn, ack = tcpFlag::ack, rst = tcpFlag::rst;
const std::string full(1400, 'y');

/// A handshake in which the two sides offer these options.
void shake(TcpTalk& talk, std::string_view client, std::string_view server, double roundTrip = 0.05)
{
    talk.client(0, {.seq = 99, .flags = syn, .options = client});
    talk.server(roundTrip, {.seq = 99, .ack = 100, .flags = syn | ack, .options = server});
    talk.client(roundTrip * 1.1, {.seq = 100, .ack = 100});
}

/// The server sends in bursts of so many segments, a burst every 50 ms; the client answers each with this window.
void transfer(TcpTalk& talk, int bursts, int segments, std::uint16_t window)
{
    std::uint32_t seq = 100;
    for (int burst = 0; burst < bursts; ++burst) {
        const auto at = 0.1 + burst * 0.05;
        for (int i = 0; i < segments; ++i, seq += 1400)
            talk.server(at + i * 0.0001, {.seq = seq, .ack = 100, .payload = full});
        talk.client(at + 0.049, {.seq = 100, .ack = seq, .window = window});
    }
}

constexpr std::string_view scales = "02 04 05b4 01 03 03 07", doesNot = "02 04 05b4";
} // namespace

TEST(TcpFindings, ALargeTransferThroughAWindowBelowFourSegmentsIsAWarning)
{
    Trouble small, roomy, shortOne;
    TcpTalk narrow(small), wide(roomy), brief(shortOne);
    shake(narrow, doesNot, doesNot);
    transfer(narrow, 400, 2, 4000);
    shake(wide, scales, scales);
    transfer(wide, 400, 2, 4000); // times 128
    shake(brief, doesNot, doesNot);
    transfer(brief, 20, 2, 4000);
    ASSERT_TRUE(small.found("tcp.smallwin"));
    EXPECT_EQ(small.found("tcp.smallwin")->measured, 4000);
    EXPECT_EQ(small.found("tcp.smallwin")->hosts[0].text(), "10.0.0.1") << "who offers so little";
    EXPECT_FALSE(roomy.found("tcp.smallwin"));
    EXPECT_FALSE(shortOne.found("tcp.smallwin"));
}

TEST(TcpFindings, ATransferAsFastAsOneWindowARoundTripIsLimitedByIt)
{
    Trouble limited, free;
    TcpTalk slow(limited), fast(free);
    shake(slow, doesNot, doesNot);
    transfer(slow, 60, 20, 28'000);
    shake(fast, scales, scales);
    transfer(fast, 60, 20, 28'000);
    ASSERT_TRUE(limited.found("tcp.smallwin"));
    EXPECT_THAT(limited.found("tcp.smallwin")->detail, HasSubstr("50 ms"));
    EXPECT_FALSE(free.found("tcp.smallwin"));
}

struct OptionsCase {
    std::string_view name, client, server, detail;
};

class OfferedOptions : public testing::TestWithParam<OptionsCase> { };

TEST_P(OfferedOptions, OfOneSideOnlyAreANote)
{
    Trouble capture;
    TcpTalk talk(capture);
    shake(talk, GetParam().client, GetParam().server);
    if (GetParam().detail.empty()) {
        EXPECT_THAT(capture.all(), IsEmpty());
        return;
    }
    EXPECT_THAT(capture.all(), ElementsAre("tcp.options note"));
    EXPECT_EQ(capture.found("tcp.options")->detail, GetParam().detail);
}

INSTANTIATE_TEST_SUITE_P(
    Handshakes, OfferedOptions,
    testing::Values(
        OptionsCase{"Alike", "02 04 05b4 04 02 01 03 03 07", "02 04 05b4 04 02 01 03 03 02", ""},
        OptionsCase{"NoScale", "02 04 05b4 01 03 03 07", "02 04 05b4", "the server does not scale its window"},
        OptionsCase{"NoSack", "02 04 05b4 04 02", "02 04 05b4", "the server has no selective acknowledgments"},
        OptionsCase{"NoTimestamps", "02 04 05b4 08 0a 00000001 00000000", "02 04 05b4", "the server has no timestamps"},
        OptionsCase{"ServerOffersMore", "02 04 05b4", "02 04 05b4 04 02", ""},
        OptionsCase{"SmallMss", "02 04 0218", "02 04 0218", "segments of at most 536 and 536 bytes"},
        OptionsCase{"OtherMss", "02 04 0550", "02 04 05b4", "segments of at most 1360 and 1460 bytes"},
        OptionsCase{"OfIpv6", "02 04 05a0", "02 04 05b4", ""}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(TcpFindings, AMissingScaleIsAWarningForALargeTransferOverALongWay)
{
    Trouble capture;
    TcpTalk talk(capture);
    shake(talk, scales, doesNot);
    transfer(talk, 60, 20, 64'000);
    EXPECT_EQ(capture.found("tcp.options")->severity, Severity::warning);
}

TEST(TcpFindings, AHoleThatSelectiveAcknowledgmentsNameIsMendedQuickly)
{
    const auto repeated = [](std::string_view options) {
        Trouble capture;
        TcpTalk talk(capture);
        talk.open().server(0.1, {.seq = 100, .ack = 100, .payload = full});
        talk.client(0.11, {.seq = 100, .ack = 1500, .options = ""});
        talk.server(0.111, {.seq = 1500, .ack = 100, .payload = full});
        talk.server(0.112, {.seq = 2900, .ack = 100, .payload = full});
        talk.client(0.12, {.seq = 100, .ack = 1500, .options = options});
        talk.server(0.14, {.seq = 1500, .ack = 100, .payload = full});
        return capture.summary();
    };
    const auto hasFast = [](const CaptureExpertSummary& summary) {
        return std::ranges::any_of(summary.findingsOf(9), [](auto f) { return f == Finding::tcpFastretx; });
    };
    EXPECT_TRUE(hasFast(repeated("01 01 05 0a 00000b54 000010cc")));
    EXPECT_FALSE(hasFast(repeated("01 01 05 0a 000001f4 00000320"))) << "it tells of what was acknowledged already";
    EXPECT_FALSE(hasFast(repeated(""))) << "a single repeated acknowledgment is none";
}

TEST(TcpFindings, HalfOpenConnectionsAreAFloodOnlyFastAndUnderManyNames)
{
    const auto requests = [](int clients, double every) {
        Trouble capture;
        for (std::uint32_t i = 0; i < 60; ++i) {
            const auto client = fmt::format("192.0.2.{}", i % static_cast<unsigned>(clients) + 1);
            const auto port = static_cast<std::uint16_t>(30'000 + i);
            capture.add(ethernet(ipv4({.source = client}, tcp({.sourcePort = port, .seq = 9, .flags = syn}))),
                        every * i);
            capture.add(ethernet(ipv4(
                            {.source = "10.0.0.2", .destination = client},
                            tcp({.sourcePort = 80, .destinationPort = port, .seq = 5, .ack = 10, .flags = syn | ack}))),
                        every * i + 0.01);
        }
        capture.add(ethernet(ipv4({}, udp({.destinationPort = 9}))), 60 * every + 10);
        return capture.all();
    };
    EXPECT_THAT(requests(60, 0.1), ElementsAre("tcp.halfopen error"));
    EXPECT_THAT(requests(60, 5), ElementsAre("tcp.halfopen warning")) << "slowly";
    EXPECT_THAT(requests(3, 0.1), ElementsAre("tcp.halfopen warning")) << "from few";
}

TEST(IpFindings, LargePacketsOfWhichARouterHasSpokenDoNotVanish)
{
    const auto resent = [](bool isTold) {
        Trouble capture;
        TcpTalk talk(capture);
        talk.open().client(1, {.seq = 100, .ack = 100, .payload = full});
        if (isTold) {
            ByteVector message =
                hex("0304 0000 00000578 45000028 00010000 40060000 0a000001 0a000002 c7380050 00000001");
            capture.add(ethernet(ipv4({.source = "10.0.0.254", .destination = "10.0.0.1", .identification = 900},
                                      {ipProtocol::icmp, message, 2})),
                        1.1);
        }
        for (int i = 0; i < 6; ++i) {
            talk.client(2 + i, {.seq = 100, .ack = 100, .payload = full});
            talk.server(2.5 + i, {.seq = 100 + static_cast<std::uint32_t>(i), .ack = 100, .payload = "z"});
        }
        return capture.found("ip.blackhole") != nullptr;
    };
    EXPECT_TRUE(resent(false));
    EXPECT_FALSE(resent(true));
}

TEST(IpFindings, AClosedPortIsAWarningWhereTheServiceAnswersAtOtherTimes)
{
    const auto closed = [](bool answers) {
        Trouble capture;
        const UdpFields ask{.sourcePort = 51000, .destinationPort = 161},
            answer{.sourcePort = 161, .destinationPort = 51000};
        capture.add(ethernet(ipv4({.identification = 1}, udp(ask, "hello there"))), 0);
        if (answers)
            capture.add(ethernet(ipv4({.source = "10.0.0.2", .destination = "10.0.0.1"}, udp(answer, "hello you"))),
                        0.1);
        ByteVector message = hex("0303 0000 00000000 45000028 00010000 40110000 0a000001 0a000002 c73800a1 00140000");
        capture.add(ethernet(ipv4({.source = "10.0.0.2", .destination = "10.0.0.1", .identification = 900},
                                  {ipProtocol::icmp, message, 2})),
                    1);
        return capture.all();
    };
    EXPECT_THAT(closed(false), ElementsAre("icmp.unreach note"));
    EXPECT_THAT(closed(true), ElementsAre("icmp.unreach warning"));
}

TEST(IpFindings, SinglePingsThatAreLostAmongManyAreANote)
{
    const auto pings = [](auto isLost) {
        Trouble capture;
        for (std::uint16_t i = 0; i < 40; ++i) {
            ByteVector ask = hex(fmt::format("08000000 0001{:04x}", i)),
                       answer = hex(fmt::format("00000000 0001{:04x}", i));
            capture.add(ethernet(ipv4({.identification = i}, {ipProtocol::icmp, ask, 2})), i);
            if (!isLost(i))
                capture.add(ethernet(ipv4({.source = "10.0.0.2", .destination = "10.0.0.1", .identification = i},
                                          {ipProtocol::icmp, answer, 2})),
                            i + 0.01);
        }
        capture.add(ethernet(ipv4({.identification = 99}, udp({.destinationPort = 9}))), 60);
        return capture.all();
    };
    EXPECT_THAT(pings([](int) { return false; }), IsEmpty());
    EXPECT_THAT(pings([](int i) { return i % 15 == 4; }), ElementsAre("icmp.echo note")) << "three, and each by itself";
    EXPECT_THAT(pings([](int i) { return i % 8 == 4; }), ElementsAre("icmp.echo warning")) << "an eighth of them";
    EXPECT_THAT(pings([](int i) { return i >= 20 && i < 23; }), ElementsAre("icmp.echo warning")) << "three in a row";
}

namespace {
ByteVector ospfHello(std::string_view source, std::string_view id, std::string_view neighbours, std::uint16_t number)
{
    const auto list = hex(neighbours);
    auto packet = hex(fmt::format("0201 {:04x} {} 00000000 0000 0000 0000000000000000 ffffff00 000a 02 01 00000028 "
                                  "00000000 00000000",
                                  44 + list.size(), id));
    packet.insert(packet.end(), list.begin(), list.end());
    return ethernet(ipv4({.source = source, .destination = "224.0.0.5", .identification = number, .ttl = 1},
                         {ipProtocol::ospf, packet, 0}),
                    {.destination = "01:00:5e:00:00:05"});
}
} // namespace

TEST(IpFindings, AnOspfRouterThatNoLongerHearsAnotherOneThatSpeaksHasLostIt)
{
    const auto hellos = [](bool speaks) {
        Trouble capture;
        std::uint16_t number = 0;
        for (int i = 0; i < 6; ++i) {
            capture.add(ospfHello("10.0.0.2", "0a000002", i < 4 ? "0a000003" : "", ++number), 10 * i);
            if (speaks || i < 2)
                capture.add(ospfHello("10.0.0.3", "0a000003", "0a000002", ++number), 10 * i + 1);
        }
        return capture.all();
    };
    EXPECT_THAT(hellos(true), ElementsAre("route.adjacency error"));
    EXPECT_THAT(hellos(false), IsEmpty()) << "it was switched off";
}

namespace {
ByteVector vrrp(std::string_view source, std::uint16_t id)
{
    return ethernet(ipv4({.source = source, .destination = "224.0.0.18", .identification = id, .ttl = 255},
                         {ipProtocol::vrrp, hex("21056401 0064 0000 0a000001"), 0}),
                    {.destination = "01:00:5e:00:00:12"});
}
} // namespace

TEST(IpFindings, TwoVrrpMastersAtTheSameTimeAreAnError)
{
    Trouble both, planned;
    for (std::uint16_t i = 0; i < 10; ++i) {
        both.add(vrrp(i % 2 ? "10.0.0.2" : "10.0.0.3", i), 0.5 * i);
        planned.add(vrrp(i < 4 || i > 7 ? "10.0.0.2" : "10.0.0.3", i), 5 * i);
    }
    EXPECT_THAT(both.all(), ElementsAre("fhrp.flap error"));
    EXPECT_THAT(planned.all(), ElementsAre("fhrp.flap warning"));
}

TEST(IpFindings, AnHsrpRouterThatResignsIsAWarningAndOneThatSpeaksIsNone)
{
    const auto hsrp = [](std::string_view operation, std::uint16_t id) {
        const auto message = hex("00 " + std::string(operation) + " 10 03 0a 64 01 00 636973636f000000 0a000001");
        return ethernet(ipv4({.source = "10.0.0.2", .destination = "224.0.0.2", .identification = id, .ttl = 1},
                             udp({.sourcePort = 1985, .destinationPort = 1985}, asText(message))),
                        {.destination = "01:00:5e:00:00:02"});
    };
    Trouble calm, gone;
    EXPECT_THAT(calm.add(hsrp("00", 1), 0).add(hsrp("00", 2), 3).all(), IsEmpty());
    EXPECT_THAT(gone.add(hsrp("00", 1), 0).add(hsrp("02", 2), 3).all(), ElementsAre("fhrp.flap warning"));
}

TEST(IpFindings, ARouterThatIsTheDefaultInTurnIsAWarning)
{
    const auto advertisement = [](std::uint16_t lifetime) {
        return ethernet(
            ipv6({.source = "fe80::1", .destination = "ff02::1"},
                 {ipProtocol::icmpv6, hex(fmt::format("8600 0000 40 00 {:04x} 00000000 00000000", lifetime)), 2}),
            {.destination = "33:33:00:00:00:01"});
    };
    Trouble steady, going, toggling;
    for (int i = 0; i < 6; ++i) {
        steady.add(advertisement(1800), i);
        going.add(advertisement(i < 5 ? 1800 : 0), i);
        toggling.add(advertisement(i % 2 ? 1800 : 0), i);
    }
    EXPECT_FALSE(steady.found("nd.ra"));
    EXPECT_FALSE(going.found("nd.ra"));
    EXPECT_TRUE(toggling.found("nd.ra"));
}

TEST(LinkFindings, AFifthOfAllFramesForTenSecondsIsAStormToo)
{
    const auto seconds = [](int length, int others) {
        Trouble capture;
        std::uint16_t id = 0;
        for (int second = 0; second < length; ++second) {
            for (int i = 0; i < 120 + others; ++i) {
                const bool isBroadcast = i < 120;
                capture.add(
                    ethernet(ipv4({.destination = isBroadcast ? "255.255.255.255" : "10.0.0.2", .identification = ++id},
                                  udp({.destinationPort = 9}, std::string(40, 'x'))),
                             {.destination = isBroadcast ? "ff:ff:ff:ff:ff:ff" : "02:00:00:00:00:01"}),
                    second + i * 0.001);
            }
        }
        return capture.all();
    };
    EXPECT_THAT(seconds(12, 100), ElementsAre("eth.storm warning"));
    EXPECT_THAT(seconds(7, 100), IsEmpty()) << "over soon";
    EXPECT_THAT(seconds(12, 800), IsEmpty()) << "few among many";
}

TEST(LinkFindings, AVirtualRouterMaySpeakInSeveralVlans)
{
    Trouble capture;
    for (std::uint16_t i = 0; i < 6; ++i)
        capture.add(ethernet(ipv4({.identification = i}, udp({.destinationPort = 9}, std::string(40, 'x'))),
                             {.source = "00:00:5e:00:01:05", .tags = i % 2 ? "81000014" : "81000015"}),
                    i);
    EXPECT_THAT(capture.all(), IsEmpty());
}

TEST(ApplicationFindings, AnAddressThatAHostGaveItselfBelongsToTheLeaseItDidNotGet)
{
    Trouble capture;
    ByteVector discover(240);
    discover[0] = 1, discover[1] = 1, discover[2] = 6;
    std::ranges::copy(hex("020000000001"), discover.begin() + 28);
    std::ranges::copy(hex("63825363"), discover.begin() + 236);
    for (const auto byte : hex("350101ff"))
        discover.push_back(byte);
    for (std::uint16_t i = 0; i < 4; ++i)
        capture.add(ethernet(ipv4({.source = "0.0.0.0", .destination = "255.255.255.255", .identification = i},
                                  udp({.sourcePort = 68, .destinationPort = 67}, asText(discover))),
                             {.source = "02:00:00:00:00:01", .destination = "ff:ff:ff:ff:ff:ff"}),
                    3 * i);
    capture.add(ethernet(ipv4({.source = "169.254.7.7"}, udp({.destinationPort = 9})), {.source = "02:00:00:00:00:01"}),
                20);
    EXPECT_THAT(capture.all(), ElementsAre("dhcp.fail error"));
    ASSERT_EQ(capture.found("dhcp.fail")->symptoms.size(), 1u);
    EXPECT_EQ(capture.found("dhcp.fail")->symptoms[0].finding, Finding::ipApipa);
}

namespace {
ByteVector dns(std::string_view flags, std::uint16_t id)
{
    auto message = hex(fmt::format("{:04x} {} 0001 0000 0000 0000", id, flags));
    for (const auto byte : hex("03777777 076578616d706c65 00 0001 0001"))
        message.push_back(byte);
    return message;
}
ByteVector dnsFrame(bool isAnswer, std::string_view flags, std::uint16_t id)
{
    const auto message = dns(flags, id);
    return isAnswer
        ? ethernet(ipv4({.source = "10.0.0.2", .destination = "10.0.0.1", .identification = id},
                        udp({.sourcePort = 53, .destinationPort = 5300}, asText(message))))
        : ethernet(ipv4({.identification = id}, udp({.sourcePort = 5300, .destinationPort = 53}, asText(message))));
}
} // namespace

TEST(ApplicationFindings, ATruncatedAnswerIsANoteUnlessItIsAskedForOverTcp)
{
    const auto truncated = [](bool isAskedAgain) {
        Trouble capture;
        capture.add(dnsFrame(false, "0100", 1), 0).add(dnsFrame(true, "8380", 1), 0.01);
        if (isAskedAgain) {
            TcpTalk talk(capture);
            const auto answer = dns("8180", 2);
            ByteVector framed = hex(fmt::format("{:04x}", answer.size()));
            framed.insert(framed.end(), answer.begin(), answer.end());
            const TcpFields fields{.sourcePort = 53, .destinationPort = 5301, .seq = 100, .ack = 100};
            capture.add(ethernet(ipv4({.source = "10.0.0.2", .destination = "10.0.0.1", .identification = 7},
                                      tcp(fields, asText(framed)))),
                        0.1);
        }
        capture.add(ethernet(ipv4({.identification = 99}, udp({.destinationPort = 9}))), 60);
        return capture.all();
    };
    EXPECT_THAT(truncated(false), ElementsAre("dns.rcode note"));
    EXPECT_THAT(truncated(true), IsEmpty());
}

TEST(ApplicationFindings, ASlowNameServerIsToldWithItsMedian)
{
    Trouble capture;
    for (std::uint16_t i = 0; i < 21; ++i) {
        capture.add(dnsFrame(false, "0100", i), 10.0 * i);
        capture.add(dnsFrame(true, "8180", i), 10.0 * i + (i < 20 ? 0.01 : 0.9));
    }
    ASSERT_TRUE(capture.found("dns.slow"));
    EXPECT_NEAR(capture.found("dns.slow")->measured, 900, 0.01);
    EXPECT_THAT(capture.found("dns.slow")->detail, HasSubstr("The median of 21 answers is about 9."));
}

TEST(CaptureFindings, FramesThatTheCapturingMachineDroppedAreMissing)
{
    Trouble capture;
    capture.add(ethernet(ipv4({}, udp({.destinationPort = 9}))), 0);
    EXPECT_THAT(capture.all(), IsEmpty());
    capture.aggregator().setDropped(7);
    EXPECT_THAT(capture.all(), ElementsAre("cap.loss warning"));
    EXPECT_EQ(capture.found("cap.loss")->detail, "the capturing machine dropped 7 frames");
}

TEST(CaptureFindings, OfACutCaptureWhatPayloadsSayIsLimited)
{
    const auto caveat = [](bool isCut) {
        Trouble capture;
        capture.add(dnsFrame(false, "0100", 1), 0).add(dnsFrame(true, "8182", 1), 0.01);
        if (isCut)
            capture.addCut(ethernet(ipv4({.identification = 7}, udp({.destinationPort = 9}))), 1, 1000);
        return ExpertText::whyItFired(*capture.found("dns.rcode"));
    };
    EXPECT_THAT(caveat(true), HasSubstr("Limited by snap length."));
    EXPECT_THAT(caveat(false), Not(HasSubstr("snap length")));
}

TEST(CaptureFindings, AcknowledgmentsOfWhatWasCutOffAreNoLoss)
{
    const auto found = [](bool isCut) {
        Trouble capture;
        TcpTalk(capture).open();
        for (std::uint32_t i = 0; i < 20; ++i) {
            const auto at = 1.0 + i;
            const auto data =
                ethernet(ipv4({.source = "10.0.0.2",
                               .destination = "10.0.0.1",
                               .identification = static_cast<std::uint16_t>(100 + i)},
                              tcp({.sourcePort = 80, .destinationPort = 51000, .seq = 100 + 1000 * i, .ack = 100},
                                  std::string(100, static_cast<char>('a' + i)))));
            isCut ? capture.addCut(data, at, 1054) : capture.add(data, at);
            capture.add(ethernet(ipv4({.identification = static_cast<std::uint16_t>(200 + i)},
                                      tcp({.seq = 100, .ack = 1100 + 1000 * i}))),
                        at + 0.01);
        }
        return capture.found("cap.loss") != nullptr;
    };
    EXPECT_TRUE(found(false));
    EXPECT_FALSE(found(true));
}

TEST(RollUp, TellsTheSameTroubleOfManyPeersOnceAsThatOfTheHost)
{
    const auto refusals = [](int servers) {
        Trouble capture;
        for (int i = 1; i <= servers; ++i) {
            const auto server = fmt::format("10.0.1.{}", i);
            const auto port = static_cast<std::uint16_t>(40'000 + i);
            capture.add(ethernet(ipv4({.destination = server}, tcp({.sourcePort = port, .seq = 7, .flags = syn}))),
                        30 * i);
            capture.add(ethernet(ipv4({.source = server, .destination = "10.0.0.1"},
                                      tcp({.sourcePort = 80, .destinationPort = port, .ack = 8, .flags = rst | ack}))),
                        30 * i + 0.01);
        }
        return capture.summary().findings;
    };
    EXPECT_EQ(refusals(4).size(), 4u);
    EXPECT_EQ(refusals(4)[0].scope(), "conversation");
    const auto many = refusals(6);
    ASSERT_EQ(many.size(), 1u);
    EXPECT_EQ(many[0].scope(), "host");
    EXPECT_EQ(many[0].conversations, 6u);
    EXPECT_EQ(many[0].count, 6u);
    EXPECT_EQ(many[0].evidence.size(), 6u);
    EXPECT_EQ(ExpertText::title(many[0]), "a group of 6 hosts refuses the connection");
}

TEST(RollUp, LeavesWhatIsMutedByItself)
{
    ExpertPreferences preferences;
    preferences.mutes.push_back(
        {Finding::tcpRefused, *Address::parse("10.0.0.1"), *Address::parse("10.0.1.3"), "known"});
    Trouble capture(preferences);
    for (int i = 1; i <= 8; ++i) {
        const auto server = fmt::format("10.0.1.{}", i);
        capture.add(ethernet(ipv4({.destination = server}, tcp({.seq = 7, .flags = syn}))), 30 * i);
        capture.add(ethernet(ipv4({.source = server, .destination = "10.0.0.1"},
                                  tcp({.sourcePort = 80, .destinationPort = 51000, .ack = 8, .flags = rst | ack}))),
                    30 * i + 0.01);
    }
    const auto& findings = capture.summary().findings;
    ASSERT_EQ(findings.size(), 2u);
    EXPECT_EQ(std::ranges::count_if(findings, [](const auto& f) { return f.muted.has_value(); }), 1);
}

namespace {
ByteVector arpFrame(int operation, std::uint32_t sender, std::uint32_t target,
                    std::string_view mac = "02:00:00:00:00:0a")
{
    auto bytes = hex(fmt::format("0001 0800 06 04 {:04x}", operation));
    put(bytes, addressBytes(mac));
    put(bytes, sender, 4);
    put(bytes, hex("000000000000"));
    put(bytes, target, 4);
    bytes.resize(46);
    return ethernet({etherType::arp, bytes}, {.source = mac, .destination = "ff:ff:ff:ff:ff:ff"});
}
} // namespace

TEST(ArpFindings, RequestsOfManyStationsByTheDozenAreAStormAndAFewAreNone)
{
    const auto requests = [](std::uint32_t count) {
        Trouble capture;
        for (std::uint32_t i = 0; i < count; ++i)
            capture.add(arpFrame(1, 0x0a000001 + i, 0x0a0000c8, fmt::format("02:00:00:00:01:{:02x}", i)), 0.01 * i);
        return capture.found("arp.storm") != nullptr;
    };
    EXPECT_TRUE(requests(60));
    EXPECT_FALSE(requests(30));
}

TEST(ArpFindings, AGatewaysAddressThatFlipsAgainAndAgainIsSpoofed)
{
    const auto flips = [](bool isGateway, int count) {
        Trouble capture;
        ByteVector lease(240);
        lease[0] = 2, lease[1] = 1, lease[2] = 6;
        std::ranges::copy(hex("63825363"), lease.begin() + 236);
        for (const auto byte : hex("350105 03040a0000fe ff"))
            lease.push_back(byte);
        capture.add(arpFrame(2, 0x0a0000fe, 0x0a000001), 0);
        if (isGateway)
            capture.add(
                ethernet(ipv4({.source = "10.0.0.9"}, udp({.sourcePort = 67, .destinationPort = 68}, asText(lease)))),
                0.5);
        for (int i = 1; i <= count; ++i)
            capture.add(arpFrame(2, 0x0a0000fe, 0x0a000001, i % 2 ? "02:00:00:00:00:0b" : "02:00:00:00:00:0a"), i);
        return capture.found("arp.spoof") != nullptr;
    };
    EXPECT_TRUE(flips(true, 6));
    EXPECT_FALSE(flips(false, 6)) << "two hosts with one address";
    EXPECT_FALSE(flips(true, 1)) << "it moved";
}

TEST(ArpFindings, AGatewayIsAlsoWhoCarriesThePacketsOfManyHosts)
{
    const auto flips = [](int carried) {
        Trouble capture;
        for (int i = 1; i <= carried; ++i)
            capture.add(ethernet(ipv4({.source = fmt::format("192.0.2.{}", i), .destination = "10.0.0.1"},
                                      udp({.destinationPort = 9})),
                                 {.source = "02:00:00:00:00:0a"}),
                        0.1 * i);
        for (int i = 1; i <= 6; ++i)
            capture.add(arpFrame(2, 0x0a0000fe, 0x0a000001, i % 2 ? "02:00:00:00:00:0b" : "02:00:00:00:00:0a"), i);
        return capture.all();
    };
    EXPECT_THAT(flips(6), testing::Contains("arp.spoof error"));
    EXPECT_THAT(flips(6), Not(testing::Contains("arp.dupip error")));
    EXPECT_THAT(flips(2), testing::Contains("arp.dupip error")) << "a host with two addresses";
}

TEST(LinkFindings, AStationSeenAtSeveralCapturePointsDoesNotHop)
{
    Trouble capture;
    for (std::uint16_t i = 0; i < 12; ++i)
        capture.add(ethernet(ipv4({.identification = i}, udp({.destinationPort = 9}, std::string(40, 'x'))),
                             {.tags = i % 2 ? "81000014" : "81000015"}),
                    i, i % 2);
    EXPECT_FALSE(capture.found("eth.macflap"));
}

TEST(TcpFindings, AServiceThatRefusesUnderBothItsAddressesIsToldOnce)
{
    const auto attempt = [](Trouble& capture, double seconds, bool isVersion6) {
        const auto frame = [&](bool isAnswer, const TcpFields& fields) {
            const EthernetFields link{.source = isAnswer ? "02:00:00:00:00:02" : "02:00:00:00:00:01",
                                      .destination = isAnswer ? "02:00:00:00:00:01" : "02:00:00:00:00:02"};
            if (isVersion6)
                return ethernet(ipv6({.source = isAnswer ? "2001:db8::2" : "2001:db8::1",
                                      .destination = isAnswer ? "2001:db8::1" : "2001:db8::2"},
                                     tcp(fields)),
                                link);
            return ethernet(
                ipv4({.source = isAnswer ? "10.0.0.2" : "10.0.0.1", .destination = isAnswer ? "10.0.0.1" : "10.0.0.2"},
                     tcp(fields)),
                link);
        };
        capture.add(frame(false, {.seq = 7, .flags = syn}), seconds);
        capture.add(frame(true, {.sourcePort = 80, .destinationPort = 51000, .ack = 8, .flags = rst | ack}),
                    seconds + 0.01);
    };
    Trouble atOnce, later;
    attempt(atOnce, 0, true);
    attempt(atOnce, 0.02, false);
    EXPECT_THAT(atOnce.all(), ElementsAre("tcp.refused warning"));
    EXPECT_THAT(atOnce.found("tcp.refused")->evidence, ElementsAre(2, 4));
    EXPECT_THAT(ExpertText::whatHappened(*atOnce.found("tcp.refused")), HasSubstr("It refuses under 10.0.0.2 too."));
    attempt(later, 0, true);
    attempt(later, 30, false);
    EXPECT_THAT(later.all(), ElementsAre("tcp.refused warning", "tcp.refused warning"));
}

TEST(TcpFindings, AResetLongAfterTheRequestRefusesNothing)
{
    const auto answered = [](double seconds) {
        Trouble capture;
        TcpTalk(capture)
            .client(0, {.seq = 99, .flags = syn})
            .server(seconds, {.ack = 100, .flags = rst | ack, .window = 0});
        return capture.found("tcp.refused") != nullptr;
    };
    EXPECT_TRUE(answered(2.9));
    EXPECT_FALSE(answered(3.1));
}

TEST(ApplicationFindings, AFailureThatAForwarderPassesOnIsToldOfItsClient)
{
    const auto answer = [](std::string_view from, std::string_view to, std::uint16_t id) {
        return ethernet(ipv4({.source = from, .destination = to, .identification = id},
                             udp({.sourcePort = 53, .destinationPort = 5300}, asText(dns("8182", id)))));
    };
    Trouble capture;
    capture.add(answer("198.51.100.1", "192.0.2.1", 5), 0);     // outside the translation of addresses
    capture.add(answer("198.51.100.1", "10.0.0.53", 5), 0.001); // inside it
    EXPECT_THAT(capture.all(), ElementsAre("dns.rcode warning"));
    capture.add(answer("10.0.0.53", "10.0.0.1", 6), 0.002);
    ASSERT_THAT(capture.all(), ElementsAre("dns.rcode warning"));
    EXPECT_THAT(capture.found("dns.rcode")->evidence, ElementsAre(3));
    EXPECT_EQ(capture.found("dns.rcode")->hosts[0].text(), "10.0.0.1");
    capture.add(answer("198.51.100.1", "10.0.0.53", 7), 60); // nobody waits for this one
    const auto& findings = capture.summary().findings;
    ASSERT_EQ(findings.size(), 2u);
    EXPECT_THAT(findings[1].evidence, ElementsAre(4));
    EXPECT_EQ(findings[1].firstFrame, 4u);
}

TEST(ApplicationFindings, NamesAndPasswordsInBase64AreInTheClear)
{
    const auto says = [](std::uint16_t port, std::string_view line) {
        Trouble capture;
        capture.add(ethernet(ipv4({}, tcp({.destinationPort = port, .seq = 1, .flags = ack}, line))), 0);
        return capture.found("app.cleartext") != nullptr;
    };
    EXPECT_TRUE(says(143, "A002 AUTHENTICATE PLAIN AGEAYg==\r\n"));
    EXPECT_TRUE(says(143, "a login anna secret\r\n"));
    EXPECT_FALSE(says(143, "A002 AUTHENTICATE GSSAPI\r\n"));
    EXPECT_TRUE(says(110, "AUTH PLAIN\r\n"));
    EXPECT_TRUE(says(110, "auth login\r\n"));
    EXPECT_FALSE(says(110, "AUTH CRAM-MD5\r\n"));
    EXPECT_TRUE(says(587, "AUTH PLAIN AGEAYg==\r\n"));
    EXPECT_FALSE(says(587, "AUTH\r\n"));
}

TEST(ApplicationFindings, TwoServersThatOfferAddressesOnOneNetworkAreNamed)
{
    const auto offer = [](std::string_view server) {
        ByteVector message(240);
        message[0] = 2, message[1] = 1, message[2] = 6;
        std::ranges::copy(hex("63825363"), message.begin() + 236);
        for (const auto byte : hex(fmt::format("350102 3604{} ff", server)))
            message.push_back(byte);
        return ethernet(ipv4({.source = "10.0.0.9"}, udp({.sourcePort = 67, .destinationPort = 68}, asText(message))));
    };
    Trouble capture;
    capture.add(offer("0a000009"), 0).add(offer("0a000063"), 1);
    ASSERT_THAT(capture.all(), ElementsAre("dhcp.fail warning"));
    EXPECT_EQ(ExpertText::whatHappened(*capture.found("dhcp.fail")),
              "10.0.0.9 and 10.0.0.99 both offer addresses on one network, first frame 2.");
}

TEST(LinkFindings, LargeFramesThatNobodyAnswersInKindAreTooLarge)
{
    const auto exchange = [](bool isMutual) {
        Trouble capture;
        const std::string large(3000, 'x');
        for (std::uint16_t i = 0; i < 4; ++i) {
            capture.add(ethernet(ipv4({.identification = i}, udp({.destinationPort = 9}, large))), i);
            if (isMutual)
                capture.add(ethernet(ipv4({.source = "10.0.0.2", .destination = "10.0.0.1", .identification = i},
                                          udp({.sourcePort = 9}, large)),
                                     {.source = "02:00:00:00:00:02", .destination = "02:00:00:00:00:01"}),
                            i + 0.1);
        }
        return capture.found("eth.oversize") != nullptr;
    };
    EXPECT_TRUE(exchange(false));
    EXPECT_FALSE(exchange(true)) << "a network with jumbo frames";
}

TEST(IpFindings, APacketThatDiesIsAWarningUnlessSomebodyTracesTheRoute)
{
    const auto dies = [](std::uint8_t ttl) {
        Trouble capture;
        capture.add(
            ethernet(ipv4({.destination = "10.9.0.9", .identification = 1, .ttl = ttl}, udp({.destinationPort = 9}))),
            0);
        const auto message = hex("0b00 0000 00000000 45000028 00010000 01110000 0a000001 0a090009 c7380009 00140000");
        capture.add(ethernet(ipv4({.source = "10.0.0.254", .destination = "10.0.0.1", .identification = 900},
                                  {ipProtocol::icmp, message, 2})),
                    1);
        return capture.all();
    };
    EXPECT_THAT(dies(64), ElementsAre("ip.ttl.expired warning"));
    EXPECT_THAT(dies(1), ElementsAre("ip.ttl.expired info"));
}

TEST(IpFindings, UnicastNearTheEndOfItsLifeIsANoteButNotThatOfNeighbours)
{
    const auto low = [](std::uint8_t ttl, std::uint16_t port) {
        Trouble capture;
        capture.add(ethernet(ipv4({.ttl = ttl}, udp({.destinationPort = port}))), 0);
        return capture.all();
    };
    EXPECT_THAT(low(3, 9), ElementsAre("ip.ttl.low note"));
    EXPECT_THAT(low(60, 9), IsEmpty());
    EXPECT_THAT(low(3, 520), IsEmpty()) << "RIP";
}

TEST(IpFindings, AShiftOfTheTimeToLiveInAFlowMeansAnotherWay)
{
    const auto shifted = [](std::uint8_t later, int count) {
        Trouble capture;
        TcpTalk talk(capture);
        talk.open();
        for (int i = 0; i < 6; ++i) {
            const std::string bytes(100, static_cast<char>('a' + i));
            talk.server(1 + i,
                        {.seq = 100 + static_cast<std::uint32_t>(i) * 100,
                         .ack = 100,
                         .payload = bytes,
                         .ttl = i >= 6 - count ? later : std::uint8_t{64}});
        }
        return capture.found("ip.ttl.change") != nullptr;
    };
    EXPECT_TRUE(shifted(60, 4));
    EXPECT_FALSE(shifted(60, 2)) << "two packets only";
    EXPECT_FALSE(shifted(63, 4)) << "a single hop";
}

TEST(TcpFindings, TheSameBytesInNewSegmentsAreNotedFromTheThirdRepetitionOn)
{
    const auto repeats = [](int count, std::size_t size) {
        Trouble capture;
        TcpTalk talk(capture);
        talk.open();
        const std::string bytes(size, 'q');
        for (int i = 0; i <= count; ++i) {
            const auto seq = 100 + static_cast<std::uint32_t>(i) * static_cast<std::uint32_t>(size);
            talk.client(1 + i, {.seq = seq, .ack = 100, .payload = bytes});
            talk.server(1.1 + i, {.seq = 100, .ack = seq + static_cast<std::uint32_t>(size)});
        }
        return capture.all();
    };
    EXPECT_THAT(repeats(3, 100), ElementsAre("tcp.retx.app note"));
    EXPECT_THAT(repeats(2, 100), IsEmpty());
    EXPECT_THAT(repeats(9, 10), IsEmpty()) << "keystrokes";
}

TEST(TcpFindings, DataSentAgainAfterItWasAcknowledgedIsSpuriousAndAProbeIsNot)
{
    Trouble again, probe;
    TcpTalk resent(again), probed(probe);
    for (auto* talk : {&resent, &probed})
        talk->open().client(1, {.seq = 100, .ack = 100, .payload = full}).server(1.01, {.seq = 100, .ack = 1500});
    resent.client(1.1, {.seq = 100, .ack = 100, .payload = full});
    probed.client(1.1, {.seq = 1499, .ack = 100, .payload = "y"});
    EXPECT_THAT(again.all(), ElementsAre("tcp.spurious note"));
    EXPECT_THAT(probe.all(), IsEmpty());
}

TEST(TcpFindings, AClockThatIsSetBackMakesNobodyWait)
{
    Trouble capture;
    TcpTalk talk(capture);
    talk.open().client(5, {.seq = 100, .ack = 100, .payload = full});
    talk.client(3, {.seq = 100, .ack = 100, .payload = full});
    EXPECT_FALSE(capture.found("tcp.rto"));
    EXPECT_TRUE(capture.found("tcp.retx.endpoint"));
}

TEST(TcpFindings, DelaysAreNotJudgedWhereTheClockCountsWholeSeconds)
{
    const auto opened = [](double offset) {
        Trouble capture;
        for (int i = 0; i < 20; ++i)
            capture.add(ethernet(ipv4({.identification = static_cast<std::uint16_t>(i)}, udp({.destinationPort = 9}))),
                        i);
        TcpTalk(capture).open(30, 1 + offset);
        return capture.found("tcp.slowhandshake") != nullptr;
    };
    EXPECT_TRUE(opened(0.25));
    Trouble whole;
    for (int i = 0; i < 20; ++i)
        whole.add(ethernet(ipv4({.identification = static_cast<std::uint16_t>(i)}, udp({.destinationPort = 9}))), i);
    TcpTalk talk(whole);
    talk.client(30, {.seq = 99, .flags = syn}).server(31, {.seq = 99, .ack = 100, .flags = syn | ack});
    EXPECT_THAT(whole.all(), IsEmpty());
}

TEST(LinkFindings, TheSameMulticastInSeveralVlansOrInReportsOfListenersIsNoLoop)
{
    Trouble vlans, reports, loop;
    const auto query = ipv4({.destination = "239.1.1.1", .identification = 5},
                            udp({.destinationPort = 9}, "hello everybody out there"));
    const auto report =
        ipv6({.source = "fe80::1", .destination = "ff02::16"},
             {ipProtocol::icmpv6, hex("8f00 0000 00000001 04000000 ff020000000000000000000000010003"), 2});
    for (int i = 0; i < 6; ++i) {
        vlans.add(ethernet(query, {.destination = "01:00:5e:01:01:01", .tags = fmt::format("8100{:04x}", i + 1)}),
                  0.1 * i);
        loop.add(ethernet(query, {.destination = "01:00:5e:01:01:01", .tags = "81000007"}), 0.1 * i);
        reports.add(ethernet(report, {.destination = "33:33:00:00:00:16"}), 0.1 * i);
    }
    EXPECT_FALSE(vlans.found("eth.loop"));
    EXPECT_FALSE(reports.found("eth.loop"));
    EXPECT_TRUE(loop.found("eth.loop"));
}

TEST(TcpFindings, AWindowThatIsFullMostOfTheTimeIsAWarning)
{
    const auto transferred = [](std::uint16_t window) {
        Trouble capture;
        TcpTalk talk(capture);
        shake(talk, doesNot, doesNot);
        talk.client(0.06, {.seq = 100, .ack = 100, .window = window});
        transfer(talk, 30, 4, window);
        return capture.all();
    };
    EXPECT_THAT(transferred(5600), ElementsAre("tcp.winfull warning"));
    EXPECT_THAT(transferred(60'000), IsEmpty());
}

TEST(CaptureFindings, OfAFileInSeveralCompressedPartsSayThatOnlyTheFirstIsRead)
{
    const auto bytes = PcapNgBytes().section().interface(1).enhanced(0, pattern(60));
    auto packed = gzipped(bytes);
    const auto remarks = [](Bytes file) {
        return CaptureFile::analyze(TempFile(file).path(), AnalysisMode::l3IP, {}).value().expertSummary.remarks;
    };
    EXPECT_THAT(remarks(packed), IsEmpty());
    const auto more = packed;
    packed.insert(packed.end(), more.begin(), more.end());
    EXPECT_THAT(remarks(packed), ElementsAre("The file is compressed in several parts; only the first one is read."));
}

TEST(CaptureFindings, OfAFileInNanosecondsAndOneOfAnotherLinkSaySo)
{
    const auto remarks = [](std::uint16_t link, const char* magic) {
        auto bytes = hex(magic);
        for (const auto byte : hex(fmt::format(
                 "0200 0400 00000000 00000000 ffff0000 {:02x}{:02x}0000 00000000 00000000 0e000000 0e000000 "
                 "020000000002 020000000001 0800",
                 link & 255, link >> 8)))
            bytes.push_back(byte);
        return CaptureFile::analyze(TempFile(bytes).path(), AnalysisMode::l3IP, {}).value().expertSummary.remarks;
    };
    EXPECT_THAT(remarks(1, "d4c3b2a1"), IsEmpty());
    EXPECT_THAT(remarks(1, "4d3cb2a1"), ElementsAre(HasSubstr("nanoseconds")));
    EXPECT_THAT(remarks(105, "d4c3b2a1"), ElementsAre(HasSubstr("not analysed")));
}

TEST(CaptureFindings, DropCountersOfAPcapngFileAreHeeded)
{
    const auto found = [](std::uint64_t dropped) {
        ByteVector statistics = hex("00000000 00000000 00000000 0500 0800");
        for (int i = 0; i < 8; ++i)
            statistics.push_back(static_cast<std::uint8_t>(dropped >> 8 * i));
        const auto bytes = PcapNgBytes()
                               .section()
                               .interface(1)
                               .enhanced(0, ethernet(ipv4({}, udp({.destinationPort = 9}))))
                               .block(5, statistics);
        const auto summary = CaptureFile::analyze(TempFile(bytes).path(), AnalysisMode::l3IP, {}).value().expertSummary;
        return summary.findings.empty() ? std::string() : summary.findings[0].detail;
    };
    EXPECT_EQ(found(0), "");
    EXPECT_EQ(found(12), "the capturing machine dropped 12 frames");
}

TEST(HostileCaptures, WithMoreHostsThanTheTablesHoldStayWithinThemAndSaySo)
{
    constexpr std::uint32_t hosts = 70'000;
    Trouble capture;
    for (std::uint32_t i = 0; i < hosts; ++i)
        capture.add(arpFrame(1, 0x0a000000 + i, 0x0b000000 + i,
                             fmt::format("02:00:00:{:02x}:{:02x}:{:02x}", i >> 16, i >> 8 & 255, i & 255)),
                    0.001 * i);
    const auto cut = capture.summary().cutOff;
    EXPECT_THAT(cut, testing::Contains("4464 sightings beyond the first 65536 stations"));
    EXPECT_THAT(cut, testing::Contains("4464 sightings beyond the first 65536 ARP questions"));
    EXPECT_THAT(cut, testing::Contains(HasSubstr("beyond the first 16384 hosts that ask by ARP")));
    EXPECT_LE(capture.summary().findings.size(), 2u * 1000) << "a storm and scans, no list of everybody";
    // Once they are full, more strangers take no memory: frames of ARP are none that conversations are made of.
    ByteVector frames[64];
    for (std::uint32_t i = 0; i < 64; ++i)
        frames[i] = arpFrame(1, 0x0c000000 + i, 0x0d000000 + i, fmt::format("02:00:01:00:00:{:02x}", i));
    for (std::uint32_t i = 0; i < 64; ++i)
        capture.add(frames[i], 70.1 + 0.1 * i);
    EXPECT_NO_ALLOCATIONS({
        for (std::uint32_t i = 0; i < 64; ++i)
            capture.add(frames[i], 80 + 0.1 * i);
    });
}

TEST(HostileCaptures, OfForgedSendersKeepABoundedNumberOfFindings)
{
    Trouble capture;
    for (std::uint32_t i = 0; i < 3000; ++i) {
        const auto source = fmt::format("127.{}.{}.1", i >> 8, i & 255);
        capture.add(ethernet(ipv4({.source = source, .identification = static_cast<std::uint16_t>(i)},
                                  udp({.destinationPort = 9}))),
                    0.01 * i);
    }
    const auto& summary = capture.summary();
    EXPECT_LE(summary.findings.size(), 1000u);
    EXPECT_THAT(summary.cutOff, testing::Contains("ip.martian: 2000 sightings beyond the first 1000 subjects"));
}

TEST(HostileCaptures, ThatScanEverythingAreOneScanWithAHundredFrames)
{
    Trouble capture;
    for (std::uint32_t i = 0; i < 3000; ++i)
        capture.add(
            ethernet(ipv4({.destination = fmt::format("10.{}.{}.{}", 1 + i / 250 / 250, i / 250 % 250, 1 + i % 250),
                           .identification = static_cast<std::uint16_t>(i)},
                          tcp({.sourcePort = static_cast<std::uint16_t>(1024 + i),
                               .destinationPort = 445,
                               .seq = 7,
                               .flags = syn}))),
            0.001 * i);
    capture.add(ethernet(ipv4({.identification = 9}, udp({.destinationPort = 9}))), 20);
    EXPECT_THAT(capture.all(), ElementsAre("scan.host warning"));
    EXPECT_EQ(capture.found("scan.host")->count, 3000u);
    EXPECT_EQ(capture.found("scan.host")->evidence.size(), ExpertFinding::maxEvidence);
}

} // namespace netrondo::test
