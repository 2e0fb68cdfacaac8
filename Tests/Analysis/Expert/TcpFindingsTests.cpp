// What is said of TCP connections in trouble, and what is not said of healthy ones.
#include "Analysis/Expert/FindingLog.h"
#include "Support/Findings.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace netrondo::test {
namespace {
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
constexpr auto syn = tcpFlag::syn, ack = tcpFlag::ack, fin = tcpFlag::fin, rst = tcpFlag::rst;
const std::string piece(100, 'x'), full(1400, 'y');
} // namespace

TEST(TcpFindings, AreNoneForAConnectionThatOpensTalksAndCloses)
{
    Trouble capture;
    TcpTalk(capture)
        .open()
        .client(0.02, {.seq = 100, .ack = 100, .payload = piece})
        .server(0.03, {.seq = 100, .ack = 200, .payload = full})
        .client(0.04, {.seq = 200, .ack = 1500})
        .server(0.05, {.seq = 1500, .ack = 200, .flags = fin | ack})
        .client(0.06, {.seq = 200, .ack = 1501, .flags = fin | ack})
        .server(0.07, {.seq = 1501, .ack = 201});
    EXPECT_THAT(capture.all(), IsEmpty());
}

TEST(TcpFindings, ASegmentSentAgainIsANoteAndManyAreAnError)
{
    Trouble capture;
    TcpTalk talk(capture);
    talk.open();
    std::uint32_t seq = 100;
    for (int i = 0; i < 40; ++i, seq += 100)
        talk.client(0.1 + i * 0.01,
                    {.seq = seq, .ack = 100, .payload = std::string(100, static_cast<char>('a' + i % 26))});
    talk.client(0.6, {.seq = seq - 100, .ack = 100, .payload = piece});
    ASSERT_TRUE(capture.found("tcp.retx.endpoint"));
    EXPECT_EQ(capture.found("tcp.retx.endpoint")->severity, Severity::note) << "one of 41";
    for (int i = 0; i < 4; ++i)
        talk.client(0.61 + i * 0.001,
                    {.seq = seq - 500 + static_cast<std::uint32_t>(i) * 100, .ack = 100, .payload = piece});
    const auto* finding = capture.found("tcp.retx.endpoint");
    EXPECT_EQ(finding->severity, Severity::error);
    EXPECT_EQ(finding->count, 5u);
    EXPECT_EQ(finding->evidence.size(), 5u);
    EXPECT_EQ(finding->hosts[0].text(), "10.0.0.1");
    EXPECT_EQ(finding->port, 80);
}

TEST(TcpFindings, ASenderThatWaitsLongerAndLongerHasLostItsConnection)
{
    Trouble capture;
    TcpTalk talk(capture);
    talk.open().client(1, {.seq = 100, .ack = 100, .payload = piece});
    for (const double seconds : {1.3, 1.9, 3.1, 5.5, 10.3})
        talk.client(seconds, {.seq = 100, .ack = 100, .payload = piece});
    EXPECT_THAT(capture.all(), ElementsAre("tcp.rto error"));
    const auto* finding = capture.found("tcp.rto");
    EXPECT_NEAR(finding->measured, 4800, 1);
    ASSERT_EQ(finding->symptoms.size(), 1u) << "told once, as the timeout";
    EXPECT_EQ(finding->symptoms[0].finding, Finding::tcpRetxEndpoint);
}

TEST(TcpFindings, OvertakenSegmentsAreKnownByTheirIdentification)
{
    Trouble capture;
    TcpTalk talk(capture);
    talk.open();
    talk.server(0.1, {.seq = 1500, .ack = 100, .payload = full, .identification = 11});
    talk.server(0.5, {.seq = 100, .ack = 100, .payload = piece, .identification = 10});
    EXPECT_TRUE(capture.found("tcp.ooo"));
    EXPECT_FALSE(capture.found("tcp.fastretx"));

    Trouble other;
    TcpTalk resent(other);
    resent.open();
    resent.server(0.1, {.seq = 1500, .ack = 100, .payload = full, .identification = 11});
    resent.server(0.5, {.seq = 100, .ack = 100, .payload = piece, .identification = 12});
    EXPECT_FALSE(other.found("tcp.ooo")) << "it was sent later than the other one";
}

TEST(TcpFindings, ThreeEqualAcknowledgmentsAskForASegment)
{
    Trouble capture;
    TcpTalk talk(capture);
    talk.open().server(0.1, {.seq = 100, .ack = 100, .payload = full}).client(0.11, {.seq = 100, .ack = 1500});
    talk.server(0.12, {.seq = 2900, .ack = 100, .payload = full});
    for (int i = 0; i < 2; ++i)
        talk.client(0.13 + i * 0.001, {.seq = 100, .ack = 1500});
    EXPECT_FALSE(capture.found("tcp.dupack"));
    talk.client(0.14, {.seq = 100, .ack = 1500});
    EXPECT_TRUE(capture.found("tcp.dupack"));
}

TEST(TcpFindings, AClosedWindowIsAnErrorOnceItHasLastedASecond)
{
    Trouble capture;
    TcpTalk talk(capture);
    talk.open()
        .server(0.1, {.seq = 100, .ack = 100, .payload = full})
        .client(0.2, {.seq = 100, .ack = 1500, .window = 0});
    EXPECT_EQ(capture.found("tcp.zerowin")->severity, Severity::warning);
    talk.client(1.5, {.seq = 100, .ack = 1500, .window = 800});
    const auto* finding = capture.found("tcp.zerowin");
    EXPECT_EQ(finding->severity, Severity::error);
    EXPECT_NEAR(finding->measured, 1.3, 0.001);
    EXPECT_EQ(finding->hosts[0].text(), "10.0.0.1") << "the slow receiver";
}

TEST(TcpFindings, ARefusedConnectionIsNotAReset)
{
    Trouble capture;
    TcpTalk(capture).client(0, {.seq = 99, .flags = syn}).server(0.01, {.ack = 100, .flags = rst | ack, .window = 0});
    EXPECT_THAT(capture.all(), ElementsAre("tcp.refused warning"));
}

TEST(TcpFindings, AResetIsAWarningWhileDataIsOnItsWayAndANoteElse)
{
    Trouble calm;
    TcpTalk(calm).open().client(1, {.seq = 100, .ack = 100, .flags = rst | ack});
    EXPECT_THAT(calm.all(), ElementsAre("tcp.rst note"));
    Trouble cut;
    TcpTalk(cut)
        .open()
        .server(1, {.seq = 100, .ack = 100, .payload = full})
        .client(1.01, {.seq = 100, .ack = 100, .flags = rst | ack});
    EXPECT_THAT(cut.all(), ElementsAre("tcp.rst warning"));
}

TEST(TcpFindings, AResetWithAnotherTimeToLiveComesFromSomebodyElse)
{
    Trouble capture;
    TcpTalk(capture).open().server(1, {.seq = 100, .ack = 100, .flags = rst | ack, .ttl = 57});
    EXPECT_THAT(capture.all(), ElementsAre("tcp.rst.injected warning"));
}

TEST(TcpFindings, AResetAfterALongSilenceMeansThatSomebodyForgotTheConnection)
{
    Trouble capture;
    TcpTalk(capture).open().server(90, {.seq = 100, .ack = 100, .flags = rst | ack});
    EXPECT_THAT(capture.all(), Contains("tcp.idle warning"));
    EXPECT_FALSE(capture.found("tcp.rst"));
}

TEST(TcpFindings, ARequestThatNobodyAnswersWaitsForTheEndOfTheCapture)
{
    Trouble capture;
    TcpTalk talk(capture);
    talk.client(0, {.seq = 99, .flags = syn}).client(1, {.seq = 99, .flags = syn});
    EXPECT_FALSE(capture.found("tcp.syn.noanswer")) << "an answer may still come";
    talk.client(3.5, {.seq = 99, .flags = syn});
    ASSERT_TRUE(capture.found("tcp.syn.noanswer"));
    EXPECT_EQ(capture.found("tcp.syn.noanswer")->hosts[1].text(), "10.0.0.2");
}

struct HandshakeCase {
    double roundTrip;
    std::vector<std::string> findings;
};

class SlowHandshake : public testing::TestWithParam<HandshakeCase> { };

TEST_P(SlowHandshake, IsGradedAsTheScoreGradesIt)
{
    Trouble capture;
    TcpTalk(capture).open(0, GetParam().roundTrip);
    EXPECT_THAT(capture.all(), testing::ElementsAreArray(GetParam().findings));
}

INSTANTIATE_TEST_SUITE_P(Bands, SlowHandshake,
                         testing::Values(HandshakeCase{0.09, {}}, HandshakeCase{0.15, {"tcp.slowhandshake note"}},
                                         HandshakeCase{0.3, {"tcp.slowhandshake warning"}},
                                         HandshakeCase{0.7, {"tcp.slowhandshake error"}}));

TEST(TcpFindings, ThreeUnansweredKeepAlivesAreAWarningAndAnsweredOnesAreNone)
{
    Trouble dead, alive;
    TcpTalk silent(dead), answered(alive);
    for (auto* talk : {&silent, &answered})
        talk->open().client(1, {.seq = 100, .ack = 100, .payload = piece}).server(1.01, {.seq = 100, .ack = 200});
    for (int i = 0; i < 4; ++i) {
        silent.client(10 + i, {.seq = 199, .ack = 100});
        silent.client(10.5 + i, {.seq = 199, .ack = 100, .payload = "k"});
        answered.client(10 + i, {.seq = 199, .ack = 100, .payload = "k"}).server(10.1 + i, {.seq = 100, .ack = 200});
    }
    EXPECT_TRUE(dead.found("tcp.keepalive"));
    EXPECT_FALSE(alive.found("tcp.keepalive"));
}

struct FlagsCase {
    std::uint8_t flags;
    bool areOdd;
};

class OddFlags : public testing::TestWithParam<FlagsCase> { };

TEST_P(OddFlags, AreThoseThatNoStackSends)
{
    Trouble capture;
    TcpTalk(capture).client(0, {.seq = 5, .flags = GetParam().flags});
    EXPECT_EQ(capture.found("tcp.badflags") != nullptr, GetParam().areOdd);
}

INSTANTIATE_TEST_SUITE_P(Flags, OddFlags,
                         testing::Values(FlagsCase{0, true}, FlagsCase{syn | fin, true},
                                         FlagsCase{fin | tcpFlag::psh | tcpFlag::urg, true}, FlagsCase{syn, false},
                                         FlagsCase{fin | ack, false}, FlagsCase{ack | tcpFlag::psh, false}));

TEST(TcpFindings, ManyRefusedPortsOfAHostAreAScanAndNothingElse)
{
    Trouble capture;
    for (std::uint16_t port = 1; port <= 25; ++port) {
        const auto at = port * 0.1;
        capture.add(ethernet(ipv4({.identification = port}, tcp({.destinationPort = port, .seq = 7, .flags = syn}))),
                    at);
        capture.add(ethernet(ipv4({.source = "10.0.0.2", .destination = "10.0.0.1", .identification = port},
                                  tcp({.sourcePort = port, .destinationPort = 51000, .ack = 8, .flags = rst | ack}))),
                    at + 0.01);
    }
    EXPECT_THAT(capture.all(), ElementsAre("scan.port warning"));
    EXPECT_EQ(capture.found("scan.port")->measured, 25);
}

TEST(TcpFindings, ASegmentSeenOnBothSidesOfARouterIsNoDuplicate)
{
    Trouble capture;
    const auto here = ethernet(ipv4({.identification = 9, .ttl = 64}, tcp({.seq = 100}, "hello")));
    const auto there = ethernet(ipv4({.identification = 9, .ttl = 63}, tcp({.seq = 100}, "hello")),
                                {.source = "02:00:00:00:00:aa", .destination = "02:00:00:00:00:bb"});
    capture.add(here, 0).add(there, 0.001);
    EXPECT_THAT(capture.all(), IsEmpty());
    EXPECT_EQ(capture.summary().findingsOf(2).size(), 1u) << "the tracker counts it all the same";

    Trouble twice;
    twice.add(here, 0).add(here, 0.001);
    EXPECT_TRUE(twice.found("tcp.retx.infra"));
}

TEST(TcpFindings, CanBeAskedForAgainAndAgainWhileTheCaptureGrows)
{
    Trouble capture;
    TcpTalk talk(capture);
    talk.open().client(0.2, {.seq = 100, .ack = 100, .window = 0});
    const auto first = capture.summary().findings;
    EXPECT_EQ(capture.summary().findings, first);
    talk.client(5, {.seq = 100, .ack = 100});
    EXPECT_NE(capture.summary().findings, first);
}

TEST(TcpFindings, OfAMillionConnectionsKeepABoundedNumberAndSayWhatWasCutOff)
{
    Trouble capture;
    const auto refusals = FindingLog::maxRecordsPerFinding + 50;
    for (std::uint32_t i = 0; i < refusals; ++i) {
        const auto host = fmt::format("10.{}.{}.1", 1 + i / 200, i % 200);
        capture.add(ethernet(ipv4({.source = host}, tcp({.seq = 7, .flags = syn}))), i * 10.0);
        capture.add(ethernet(ipv4({.source = "10.0.0.2", .destination = host},
                                  tcp({.sourcePort = 80, .destinationPort = 51000, .ack = 8, .flags = rst | ack}))),
                    i * 10.0 + 0.01);
    }
    ASSERT_EQ(capture.summary().findings.size(), 1u) << "told once, as that of the server";
    EXPECT_EQ(capture.summary().findings[0].conversations, FindingLog::maxRecordsPerFinding);
    EXPECT_EQ(capture.summary().findings[0].evidence.size(), ExpertFinding::maxEvidence);
    EXPECT_THAT(capture.summary().cutOff, ElementsAre("tcp.refused: 50 sightings beyond the first 1000 subjects"));
}

} // namespace netrondo::test
