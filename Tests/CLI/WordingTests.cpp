// Numbers and TCP trouble in words.
#include "Analysis/Tcp/Complaints.h"
#include "Base/Units.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace netrondo::test {
namespace {

using namespace units;

TEST(Units, GroupDigitsByThousands)
{
    EXPECT_EQ(grouped(0), "0");
    EXPECT_EQ(grouped(999), "999");
    EXPECT_EQ(grouped(1000), "1,000");
    EXPECT_EQ(grouped(UINT64_MAX), "18,446,744,073,709,551,615");
}

TEST(Units, BytesHaveThreeDigitsThatMatter)
{
    EXPECT_EQ(bytes(0), "0 B");
    EXPECT_EQ(bytes(999), "999 B");
    EXPECT_EQ(bytes(1000), "1.00 kB");
    EXPECT_EQ(bytes(12'345), "12.3 kB");
    EXPECT_EQ(bytes(999'949), "999.9 kB");
    EXPECT_EQ(bytes(999'951), "1.00 MB");
    EXPECT_EQ(bytes(UINT64_MAX), "18.4 EB");
}

TEST(Units, TimeSpansUseTheUnitThatReadsBest)
{
    EXPECT_EQ(timeSpan(0), "0 ms");
    EXPECT_EQ(timeSpan(0.25), "250 ms");
    EXPECT_EQ(timeSpan(4.2061), "4.206 s");
    EXPECT_EQ(timeSpan(724), "12 min 04 s");
    EXPECT_EQ(timeSpan(3600), "1 h 00 min");
    EXPECT_EQ(timeSpan(90'000), "1 d 01 h");
    EXPECT_EQ(timeSpan(-2), "−2.000 s");
    EXPECT_EQ(timeSpan(1.8e19), "1.8e+19 s");
}

TEST(Units, SharesAreNeverRoundedToNothing)
{
    EXPECT_EQ(percent(0, 10), "0.0 %");
    EXPECT_EQ(percent(1, 100'000), "<0.1 %");
    EXPECT_EQ(percent(1, 3), "33.3 %");
    EXPECT_EQ(percent(1, 0), "0 %");
}

TEST(Units, APointInTimeBeyondTheCalendarStaysANumber)
{
    EXPECT_EQ(pointInTime(1.8e19), "18000000000000000000 s after 1970");
}

TEST(Units, RatesOfAbsurdSpansAreStillText)
{
    EXPECT_EQ(rate(22.61), "22.6");
    EXPECT_EQ(rate(12'345.6), "12,346");
    EXPECT_EQ(rate(1e300), "1e+300");
}

std::vector<std::string> details(const TCPSessionQuality& quality)
{
    EXPECT_TRUE(hasComplaints(quality));
    std::vector<std::string> found;
    for (const auto& complaint : complaints(quality))
        found.push_back(complaint.detail);
    return found;
}

TEST(Complaints, OfACleanConversationAreNone)
{
    TCPSessionQuality quality;
    quality.tcpPackets = 100;
    EXPECT_TRUE(complaints(quality).empty());
    EXPECT_FALSE(hasComplaints(quality));
    EXPECT_EQ(briefly(complaints(quality)), "");
}

TEST(Complaints, ComeInTheOrderOfWhatTheyCost)
{
    TCPSessionQuality quality;
    quality.tcpPackets = 1000;
    quality.pshCount = 10;
    quality.rstCount = 1;
    quality.retransmitGuess = 8;
    quality.zeroWindowCount = 2;
    quality.rttMsEstimate = 150;
    EXPECT_EQ(briefly(complaints(quality)), "1 reset −40, 2 zero windows −8, handshake 150 ms −5, 0.8 % sent again −2");
    EXPECT_THAT(
        details(quality),
        testing::ElementsAre("1 reset: a side broke the connection off",
                             "2 zero windows: a receiver had no room left and stopped the sender",
                             "the quickest handshake took 150 ms",
                             "8 of 1,000 segments sent again (0.8 %): lost on the way, or acknowledged too late"));
}

TEST(Complaints, AResetBeforeAnyDataIsARefusal)
{
    TCPSessionQuality quality;
    quality.tcpPackets = 2;
    quality.synCount = 1;
    quality.rstCount = 1;
    EXPECT_THAT(details(quality), testing::ElementsAre("1 reset before any data: the connection was refused"));
}

TEST(Complaints, AttemptsWithoutAnAnswerAreNamed)
{
    TCPSessionQuality quality;
    quality.tcpPackets = 3;
    quality.synCount = 3;
    EXPECT_THAT(details(quality), testing::ElementsAre("no answer to any attempt to connect"));
}

TEST(Complaints, FactsThatCostNothingFollow)
{
    TCPSessionQuality quality;
    quality.tcpPackets = 100;
    quality.retransmitInfrastructure = 1;
    quality.spuriousRetransmitCount = 2;
    quality.ackedUnseenCount = 3;
    quality.sackInvalidCount = 1;
    EXPECT_EQ(briefly(complaints(quality)), "");
    EXPECT_THAT(
        details(quality),
        testing::ElementsAre("1 packet seen twice: duplicated on the way, or captured twice",
                             "2 segments sent again although already acknowledged",
                             "3 acknowledgements of data that is not in the capture: frames are missing from it",
                             "1 segment with an impossible SACK block"));
}

TEST(Complaints, PointsHaveATypographicMinusSign)
{
    EXPECT_EQ(pointsOff(40), "−40");
    EXPECT_EQ(pointsOff(2.5), "−2.5");
    EXPECT_EQ(pointsOff(0.001), "−0.1");
}

} // namespace
} // namespace netrondo::test
