// The TCP tracker's rules, one by one, on segments between host 0 (port 51000) and host 1 (port 80).
#include "Analysis/Tcp/TCPQualityTracker.h"
#include "Dissection/Wire/TcpHeader.h"

#include <cmath>
#include <gtest/gtest.h>

namespace netrondo::test {
namespace {

using namespace tcpFlag;

/// One connection, fed segment by segment.
class Session {
public:
    struct Segment {
        std::uint8_t flags = ack;
        std::uint32_t seq = 0;
        std::uint32_t length = 0;
        std::optional<std::uint32_t> acked = 0;
        std::optional<std::uint16_t> ipId = {};
        std::uint64_t digest = 0;
        std::uint16_t window = 1000;
        double time = 0;
        const TCPOptions* options = nullptr;
    };

    void send(int sender, const Segment& segment)
    {
        TcpSegment raw;
        raw.sourcePort = sender == 0 ? 51000 : 80;
        raw.destinationPort = sender == 0 ? 80 : 51000;
        raw.flags = segment.flags;
        raw.seq = segment.seq;
        raw.ack = segment.acked;
        raw.ipId = segment.ipId;
        raw.window = segment.window;
        raw.payloadLength = segment.length;
        raw.payloadDigest = segment.length == 0 ? 0 : segment.digest ? segment.digest : segment.seq + 1;
        raw.options = segment.options;
        raw.timestampSeconds = static_cast<std::uint64_t>(segment.time);
        raw.timestampFraction =
            static_cast<std::uint64_t>(std::lround((segment.time - static_cast<double>(raw.timestampSeconds)) * 1e6));
        ++row.flows[sender].frames;
        tracker.observe(row, details, sender, raw);
    }

    TCPSessionQuality of(int sender) const { return tracker.quality(row, details, sender); }
    bool hasFlow(int sender) const { return row.flows[sender].knows(FlowState::exists); }

    TCPQualityTracker tracker;
    netrondo::Session row;
    SessionDetails details;
};

struct Retransmissions {
    std::uint32_t guess = 0, endpoint = 0, infrastructure = 0, application = 0, spurious = 0;
    friend bool operator==(const Retransmissions&, const Retransmissions&) = default;
    friend std::ostream& operator<<(std::ostream& out, const Retransmissions& r)
    {
        return out << "guess " << r.guess << ", endpoint " << r.endpoint << ", infrastructure " << r.infrastructure
                   << ", application " << r.application << ", spurious " << r.spurious;
    }
};

Retransmissions retransmissions(const TCPSessionQuality& quality)
{
    return {quality.retransmitGuess, quality.retransmitEndpoint, quality.retransmitInfrastructure,
            quality.retransmitApplication, quality.spuriousRetransmitCount};
}

constexpr Retransmissions none{};
constexpr Retransmissions oneEndpoint{1, 1, 0, 0, 0};

TCPOptions sack(const std::vector<SackBlock>& blocks)
{
    TCPOptions options;
    for (const auto& block : blocks)
        options.blocks[options.blockCount++] = block;
    return options;
}

} // namespace

TEST(TcpTracker, SecondCopyWithTheSameIpIdIsAnInfrastructureRetransmissionOnly)
{
    Session session;
    session.send(0, {.seq = 100, .length = 10, .ipId = 7});
    session.send(0, {.seq = 100, .length = 10, .ipId = 7});
    EXPECT_EQ(retransmissions(session.of(0)), (Retransmissions{0, 0, 1, 0, 0}));
}

TEST(TcpTracker, SecondCopyWithAnotherIpIdIsAnEndpointRetransmission)
{
    Session session;
    session.send(0, {.seq = 100, .length = 10, .ipId = 7});
    session.send(0, {.seq = 100, .length = 10, .ipId = 8});
    EXPECT_EQ(retransmissions(session.of(0)), oneEndpoint);
}

TEST(TcpTracker, SecondCopyOverIpv6IsAnEndpointRetransmission)
{
    Session session;
    session.send(0, {.seq = 100, .length = 10});
    session.send(0, {.seq = 100, .length = 10});
    EXPECT_EQ(retransmissions(session.of(0)), oneEndpoint);
}

TEST(TcpTracker, OnlyTheNewestMatchDecidesTheClassOfARetransmission)
{
    Session session;
    session.send(0, {.seq = 100, .length = 10, .ipId = 7});
    session.send(0, {.seq = 100, .length = 10, .ipId = 8}); // endpoint
    session.send(0, {.seq = 100, .length = 10, .ipId = 7}); // the newest has 8: endpoint again
    EXPECT_EQ(retransmissions(session.of(0)), (Retransmissions{2, 2, 0, 0, 0}));
}

TEST(TcpTracker, SamePayloadAtAnotherSequenceNumberIsAnApplicationRetransmissionOnly)
{
    Session session;
    session.send(0, {.seq = 100, .length = 10, .digest = 5});
    session.send(0, {.seq = 110, .length = 10, .digest = 5});
    session.send(0, {.seq = 120, .length = 10, .digest = 5ull << 32 | 5}); // equal in the low half only
    EXPECT_EQ(retransmissions(session.of(0)), (Retransmissions{0, 0, 0, 1, 0}));
}

TEST(TcpTracker, DataWhollyAcknowledgedByThePeerIsSpuriousAndNothingElse)
{
    Session session;
    session.send(0, {.seq = 100, .length = 10, .ipId = 7});
    session.send(1, {.seq = 1, .acked = 110});
    session.send(0, {.seq = 100, .length = 10, .ipId = 7});
    EXPECT_EQ(retransmissions(session.of(0)), (Retransmissions{0, 0, 0, 0, 1}));
}

TEST(TcpTracker, DataReachingPastTheAcknowledgementIsNotSpurious)
{
    Session session;
    session.send(0, {.seq = 100, .length = 10});
    session.send(1, {.seq = 1, .acked = 109});
    session.send(0, {.seq = 100, .length = 10});
    EXPECT_EQ(retransmissions(session.of(0)), oneEndpoint);
}

TEST(TcpTracker, KeepAlivesAndPureAcknowledgementsAreNeverRetransmissions)
{
    Session session;
    session.send(0, {.seq = 100, .length = 10});
    session.send(1, {.seq = 1, .acked = 110});
    for (int i = 0; i < 3; ++i) {
        session.send(0, {.seq = 109, .length = 1});
        session.send(0, {.seq = 109, .length = 0});
        session.send(0, {.seq = 110, .length = 0});
    }
    EXPECT_EQ(retransmissions(session.of(0)), none);
}

TEST(TcpTracker, DataRepeatsNoSegmentThatCarriedNone)
{
    Session session;
    session.send(0, {.seq = 100}); // as the last segment of a handshake: the request has its sequence number
    session.send(0, {.seq = 100, .length = 10});
    EXPECT_EQ(retransmissions(session.of(0)), none);
    session.send(0, {.seq = 100});
    session.send(0, {.seq = 100, .length = 10});
    EXPECT_EQ(retransmissions(session.of(0)), oneEndpoint) << "it repeats the data before";
}

TEST(TcpTracker, RetransmittedSynIsAnEndpointRetransmission)
{
    Session session;
    session.send(0, {.flags = syn, .seq = 99, .acked = {}, .ipId = 1});
    session.send(0, {.flags = syn, .seq = 99, .acked = {}, .ipId = 2});
    EXPECT_EQ(retransmissions(session.of(0)), oneEndpoint);
}

TEST(TcpTracker, BareFinIsNotCheckedButMovesTheSequenceEnd)
{
    Session session;
    session.send(0, {.flags = ack | fin, .seq = 100});
    session.send(0, {.flags = ack | fin, .seq = 100});
    EXPECT_EQ(retransmissions(session.of(0)), none);
    session.send(1, {.seq = 1, .acked = 101});
    EXPECT_EQ(session.of(1).ackedUnseenCount, 0u);
    session.send(1, {.seq = 1, .acked = 102});
    EXPECT_EQ(session.of(1).ackedUnseenCount, 1u);
}

TEST(TcpTracker, FinWhoseByteIsAcknowledgedIsSpurious)
{
    Session session;
    session.send(0, {.flags = ack | fin, .seq = 100, .length = 5});
    session.send(1, {.seq = 1, .acked = 106});
    session.send(0, {.flags = ack | fin, .seq = 100, .length = 5});
    EXPECT_EQ(retransmissions(session.of(0)), (Retransmissions{0, 0, 0, 0, 1}));
}

TEST(TcpTracker, SequenceNumbersThatWrapAreComparedAsSerialNumbers)
{
    Session session;
    session.send(0, {.seq = 4'294'967'280u, .length = 16}); // ends at 0
    session.send(0, {.seq = 0, .length = 16});
    session.send(1, {.seq = 1, .acked = 16});
    EXPECT_EQ(session.of(1).ackedUnseenCount, 0u); // 16 is not after the sequence end, 16
    session.send(0, {.seq = 4'294'967'280u, .length = 16});
    EXPECT_EQ(retransmissions(session.of(0)), (Retransmissions{0, 0, 0, 0, 1})); // its end, 0, is before 16
    session.send(0, {.seq = 16, .length = 4});
    EXPECT_EQ(retransmissions(session.of(0)), (Retransmissions{0, 0, 0, 0, 1}));
}

TEST(TcpTracker, ZeroWindowCountsExceptOnFinAndRst)
{
    Session session;
    session.send(0, {.flags = ack | fin, .window = 0});
    session.send(0, {.flags = rst, .window = 0});
    EXPECT_EQ(session.of(0).zeroWindowCount, 0u);
    session.send(0, {.flags = syn, .window = 0});
    session.send(0, {.flags = ack, .window = 0});
    EXPECT_EQ(session.of(0).zeroWindowCount, 2u);
}

TEST(TcpTracker, WindowStatisticsLeaveResetsOut)
{
    Session session;
    EXPECT_FALSE(TCPSessionQuality{}.hasWindowSample);
    session.send(0, {.window = 500});
    session.send(0, {.window = 900});
    session.send(0, {.flags = rst, .window = 1});
    session.send(0, {.window = 700});
    const auto quality = session.of(0);
    EXPECT_TRUE(quality.hasWindowSample);
    EXPECT_EQ(quality.windowMin, 500);
    EXPECT_EQ(quality.windowMax, 900);
    EXPECT_EQ(quality.windowLast, 700);
}

TEST(TcpTracker, RstWithAckMovesNothingAndIsNotCheckedButIsCountedAndRemembered)
{
    Session session;
    session.send(0, {.seq = 100, .length = 10});
    session.send(1, {.flags = rst | ack, .seq = 500, .length = 4, .acked = 110});
    session.send(0, {.seq = 100, .length = 10}); // would be spurious had the reset acknowledged it
    EXPECT_EQ(retransmissions(session.of(0)), oneEndpoint);
    EXPECT_EQ(session.of(1).tcpPackets, 1u);
    EXPECT_EQ(session.of(1).rstCount, 1u);
    session.send(0, {.seq = 110, .length = 1, .acked = 400});
    session.send(1, {.seq = 500, .length = 4, .acked = 100}); // a repetition of the reset's segment
    EXPECT_EQ(session.of(1).retransmitEndpoint, 1u);
    session.send(1,
                 {.flags = rst | ack, .seq = 500, .length = 4, .acked = 110}); // not checked: no repetition of either
    EXPECT_EQ(retransmissions(session.of(1)), oneEndpoint);
}

TEST(TcpTracker, AcknowledgementOfDataNeverSeenCountsOnceTheSequenceEndIsKnown)
{
    Session session;
    session.send(1, {.seq = 1, .acked = 5000});
    EXPECT_EQ(session.of(1).ackedUnseenCount, 0u);
    session.send(0, {.seq = 100, .length = 10});
    session.send(1, {.seq = 1, .acked = 110});
    EXPECT_EQ(session.of(1).ackedUnseenCount, 0u);
    session.send(1, {.seq = 1, .acked = 111});
    EXPECT_EQ(session.of(1).ackedUnseenCount, 1u);
}

TEST(TcpTracker, AnAcknowledgementNumberWithoutTheFlagIsNone)
{
    Session session;
    session.send(0, {.seq = 100, .length = 10});
    session.send(1, {.flags = psh, .seq = 1, .acked = 110});
    session.send(0, {.seq = 100, .length = 10});
    EXPECT_EQ(retransmissions(session.of(0)), oneEndpoint);
}

TEST(TcpTracker, EveryFlagIsCountedByItself)
{
    Session session;
    session.send(0, {.flags = 0xff});
    session.send(0, {.flags = urg | ece | cwr});
    const auto q = session.of(0);
    EXPECT_EQ(q.tcpPackets, 2u);
    for (const auto count : {q.synCount, q.finCount, q.rstCount, q.ackCount, q.pshCount})
        EXPECT_EQ(count, 1u);
    for (const auto count : {q.urgCount, q.eceCount, q.cwrCount})
        EXPECT_EQ(count, 2u);
}

struct SackCase {
    std::string_view name;
    std::vector<SackBlock> blocks;
    std::uint32_t dSack, unseen, invalid, leftover;
};

class SackBlocks : public testing::TestWithParam<SackCase> { };

// Host 0 has sent up to 1000; the acknowledgement is 500.
TEST_P(SackBlocks, AreSortedIntoTheirKinds)
{
    Session session;
    session.send(0, {.seq = 0, .length = 1000});
    const auto options = sack(GetParam().blocks);
    session.send(1, {.seq = 1, .acked = 500, .options = &options});
    const auto quality = session.of(1);
    EXPECT_EQ(quality.sackPacketCount, GetParam().blocks.empty() ? 0u : 1u);
    EXPECT_EQ(quality.sackDSackCount, GetParam().dSack);
    EXPECT_EQ(quality.sackUnseenCount, GetParam().unseen);
    EXPECT_EQ(quality.sackInvalidCount, GetParam().invalid);
    EXPECT_EQ(quality.sackLeftoverCount, GetParam().leftover);
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, SackBlocks,
    testing::Values(SackCase{"None", {}, 0, 0, 0, 0}, SackCase{"Plain", {{600, 700}}, 0, 0, 0, 0},
                    SackCase{"Empty", {{600, 600}}, 0, 0, 1, 0}, SackCase{"Reversed", {{700, 600}}, 0, 0, 1, 0},
                    SackCase{"FirstAtOrBeforeTheAck", {{400, 500}}, 1, 0, 0, 0},
                    SackCase{"LaterAtOrBeforeTheAck", {{600, 700}, {400, 500}}, 0, 0, 0, 1},
                    SackCase{"FirstInsideSecond", {{620, 640}, {600, 700}}, 1, 0, 0, 0},
                    SackCase{"FirstEqualsSecond", {{600, 700}, {600, 700}}, 1, 0, 0, 0},
                    SackCase{"FirstReachesOutOfSecond", {{620, 740}, {600, 700}}, 0, 0, 0, 0},
                    SackCase{"InvalidSecondContainsNothing", {{620, 640}, {700, 600}}, 0, 0, 1, 0},
                    SackCase{"PastTheSequenceEnd", {{900, 1001}}, 0, 1, 0, 0},
                    SackCase{"UpToTheSequenceEnd", {{900, 1000}}, 0, 0, 0, 0},
                    SackCase{"EachKindOnceASegment", {{1, 1}, {2, 1}, {100, 200}, {200, 300}}, 0, 0, 1, 1}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(TcpTracker, HandshakeRoundTripIsTheSmallestOfSeveral)
{
    Session session;
    const auto shake = [&](double at, double rtt, std::uint32_t seq) {
        session.send(0, {.flags = syn, .seq = seq, .acked = {}, .time = at});
        session.send(1, {.flags = syn | ack, .seq = seq, .acked = seq + 1, .time = at + rtt});
    };
    shake(0, 0.2, 1);
    EXPECT_NEAR(session.of(1).rttMsEstimate.value(), 200, 1e-6);
    shake(100, 0.05, 1000);
    EXPECT_NEAR(session.of(1).rttMsEstimate.value(), 50, 1e-6);
    shake(200, 0.3, 2000);
    EXPECT_NEAR(session.of(1).rttMsEstimate.value(), 50, 1e-6);
    EXPECT_FALSE(session.of(0).rttMsEstimate);
}

TEST(TcpTracker, SynAckAMinuteOrMoreAfterTheSynOrAtItsVeryTimeYieldsNoRoundTrip)
{
    for (const double delay : {0.0, 60.0, 61.0, -1.0}) {
        Session session;
        session.send(0, {.flags = syn, .seq = 1, .acked = {}, .time = 10});
        session.send(1, {.flags = syn | ack, .seq = 1, .acked = 2, .time = 10 + delay});
        EXPECT_FALSE(session.of(1).rttMsEstimate) << delay;
    }
}

TEST(TcpTracker, FractionsAboveAMillionAreNanoseconds)
{
    Session session;
    auto& [tracker, row, details] = session;
    TcpSegment segment;
    segment.flags = syn;
    segment.timestampSeconds = 5;
    segment.timestampFraction = 100'000'000; // 0.1 s
    tracker.observe(row, details, 0, segment);
    segment.flags = syn | ack;
    segment.ack = 1;
    segment.timestampFraction = 130'000'000;
    tracker.observe(row, details, 1, segment);
    EXPECT_NEAR(session.of(1).rttMsEstimate.value(), 30, 1e-6);
}

TEST(TcpTracker, SegmentOlderThanTheLast64GoesUnnoticed)
{
    for (const bool noticed : {true, false}) {
        Session session;
        session.send(0, {.seq = 100, .length = 10});
        // Pure acknowledgements and resets take their places among the 64, too.
        for (int i = 0; i < (noticed ? 63 : 64); ++i)
            session.send(0, i % 2 ? Session::Segment{.seq = 110} : Session::Segment{.flags = rst, .seq = 110});
        session.send(0, {.seq = 100, .length = 10});
        EXPECT_EQ(retransmissions(session.of(0)), noticed ? oneEndpoint : none);
    }
}

TEST(TcpTracker, PayloadOlderThanTheLast64SegmentsIsForgotten)
{
    for (const bool noticed : {true, false}) {
        Session session;
        session.send(0, {.seq = 100, .length = 10, .digest = 77});
        for (std::uint32_t i = 0; i < (noticed ? 63u : 64u); ++i)
            session.send(0, {.seq = 110 + i, .length = 1, .digest = 1000 + i});
        session.send(0, {.seq = 5000, .length = 10, .digest = 77});
        EXPECT_EQ(session.of(0).retransmitApplication, noticed ? 1u : 0u);
    }
}

TEST(TcpTracker, HandshakeOptionsOfEachSideAreTheLastOffered)
{
    Session session;
    TCPOptions first, second, server;
    first.mss = 1460;
    first.windowScale = 7;
    second.mss = 1400;
    second.sackPermitted = true;
    second.extraKinds.set(34);
    server.timestamps = TcpTimestamps{};
    server.mss = 1300;
    session.send(0, {.flags = syn, .seq = 1, .acked = {}, .options = &first});
    session.send(0, {.flags = syn, .seq = 1, .acked = {}, .options = &second});
    const TCPOptions empty;
    session.send(0, {.flags = syn, .seq = 1, .acked = {}, .options = &empty}); // nothing in it: not kept
    session.send(1, {.flags = syn | ack, .seq = 1, .acked = 2, .options = &server});
    const auto client = session.of(0).handshake;
    EXPECT_EQ(client.mssClient, 1400);
    EXPECT_FALSE(client.wscaleClient);
    EXPECT_TRUE(client.sackClient);
    EXPECT_TRUE(client.sackPermitted);
    EXPECT_FALSE(client.mssServer);
    EXPECT_EQ(client.extraClient, std::vector<std::string>{tcpOptionName(34)});
    const auto answer = session.of(1).handshake;
    EXPECT_EQ(answer.mssServer, 1300);
    EXPECT_TRUE(answer.timestampsServer);
    EXPECT_TRUE(answer.timestamps);
    EXPECT_FALSE(answer.timestampsClient);
}

TEST(TcpTracker, ReusedPortsContinueTheOldFlow)
{
    Session session;
    session.send(0, {.flags = syn, .seq = 1, .acked = {}});
    session.send(0, {.flags = syn, .seq = 1, .acked = {}});
    EXPECT_EQ(session.of(0).synCount, 2u);
    EXPECT_EQ(session.of(0).tcpPackets, 2u);
}

TEST(TcpTracker, AnAcknowledgementMakesTheReverseFlowAppear)
{
    Session session;
    session.send(0, {.seq = 100, .acked = 1});
    EXPECT_TRUE(session.hasFlow(1));
    EXPECT_EQ(session.of(1).tcpPackets, 0u);
    Session silent;
    silent.send(0, {.flags = psh, .seq = 100, .acked = {}});
    EXPECT_FALSE(silent.hasFlow(1));
}

TEST(TcpTracker, AnIdleFlowOfOneSegmentCostsUnderHalfAKilobyte)
{
    // A session with its details and its place in the index (two slots of eight bytes at most half full), the
    // handshake, and the smallest ring of remembered segments.
    EXPECT_LT(sizeof(netrondo::Session) + sizeof(SessionDetails) + 4 * 8 + sizeof(TcpHandshake) + 64, 512u);
}

} // namespace netrondo::test
