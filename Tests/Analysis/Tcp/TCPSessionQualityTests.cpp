#include "Analysis/Tcp/TCPSessionQuality.h"

#include "Support/JsonText.h"

#include <gtest/gtest.h>
#include <limits>

namespace netrondo::test {
namespace {

using enum SessionQualityGrade;
using enum QualityStrictness;

struct Trouble {
    std::uint32_t resets = 0, retransmissions = 0, zeroWindows = 0;
    std::optional<double> rtt = {};
};

TCPSessionQuality quality(std::uint64_t packets, const Trouble& trouble = {})
{
    TCPSessionQuality made;
    made.tcpPackets = packets;
    made.rstCount = trouble.resets;
    made.retransmitGuess = trouble.retransmissions;
    made.retransmitEndpoint = trouble.retransmissions;
    made.zeroWindowCount = trouble.zeroWindows;
    made.rttMsEstimate = trouble.rtt;
    return made;
}

TCPSessionQuality window(std::uint16_t least, std::uint16_t most, std::uint16_t last)
{
    TCPSessionQuality made;
    made.windowMin = least;
    made.windowMax = most;
    made.windowLast = last;
    made.hasWindowSample = true;
    return made;
}

constexpr Counter32 TCPSessionQuality::*smallCounters[] = {
    &TCPSessionQuality::synCount,
    &TCPSessionQuality::finCount,
    &TCPSessionQuality::rstCount,
    &TCPSessionQuality::ackCount,
    &TCPSessionQuality::pshCount,
    &TCPSessionQuality::urgCount,
    &TCPSessionQuality::eceCount,
    &TCPSessionQuality::cwrCount,
    &TCPSessionQuality::retransmitGuess,
    &TCPSessionQuality::retransmitEndpoint,
    &TCPSessionQuality::retransmitInfrastructure,
    &TCPSessionQuality::retransmitApplication,
    &TCPSessionQuality::spuriousRetransmitCount,
    &TCPSessionQuality::ackedUnseenCount,
    &TCPSessionQuality::sackPacketCount,
    &TCPSessionQuality::sackDSackCount,
    &TCPSessionQuality::sackUnseenCount,
    &TCPSessionQuality::sackInvalidCount,
    &TCPSessionQuality::sackLeftoverCount,
    &TCPSessionQuality::zeroWindowCount,
};

struct ScoreCase {
    std::string_view name;
    std::uint64_t packets;
    Trouble trouble;
    std::optional<int> score;
};

class ScoreTable : public testing::TestWithParam<ScoreCase> { };

TEST_P(ScoreTable, IsWhatTheTroubleLeavesOfAHundred)
{
    EXPECT_EQ(quality(GetParam().packets, GetParam().trouble).score(), GetParam().score);
}

INSTANTIATE_TEST_SUITE_P(
    Rules, ScoreTable,
    testing::Values(ScoreCase{"NoSegments", 0, {.resets = 1, .rtt = 700}, {}}, ScoreCase{"NoTrouble", 1, {}, 100},
                    ScoreCase{"OneReset", 9, {.resets = 1}, 60}, ScoreCase{"ManyResets", 9, {.resets = 9}, 60},
                    ScoreCase{"OneRetransmissionIn250CostsOnePoint", 250, {.retransmissions = 1}, 99},
                    ScoreCase{"OneRetransmissionIn1000TruncatesToNoPointLeft", 1000, {.retransmissions = 1}, 99},
                    ScoreCase{"SixteenPercentCostFortyPoints", 100, {.retransmissions = 16}, 60},
                    ScoreCase{"MoreThanSixteenPercentCostNoMore", 100, {.retransmissions = 90}, 60},
                    ScoreCase{"AZeroWindowCostsFour", 1000, {.zeroWindows = 1}, 96},
                    ScoreCase{"SixZeroWindowsCost24", 1000, {.zeroWindows = 6}, 76},
                    ScoreCase{"SevenZeroWindowsCost25", 1000, {.zeroWindows = 7}, 75},
                    ScoreCase{"VeryManyZeroWindowsCost25", 1000, {.zeroWindows = 4294967295}, 75},
                    ScoreCase{"Handshake0", 10, {.rtt = 0.1}, 100}, ScoreCase{"Handshake100", 10, {.rtt = 100}, 100},
                    ScoreCase{"HandshakeOver100", 10, {.rtt = 100.001}, 95},
                    ScoreCase{"Handshake200", 10, {.rtt = 200}, 95},
                    ScoreCase{"HandshakeOver200", 10, {.rtt = 200.5}, 85},
                    ScoreCase{"Handshake500", 10, {.rtt = 500}, 85},
                    ScoreCase{"HandshakeOver500", 10, {.rtt = 500.5}, 70},
                    ScoreCase{"Everything", 10, {.resets = 3, .retransmissions = 10, .zeroWindows = 10, .rtt = 900}, 0},
                    ScoreCase{"ExactlyZeroIsLeft", 10, {.resets = 1, .retransmissions = 8, .zeroWindows = 5}, 0}),
    [](const auto& row) { return std::string(row.param.name); });

} // namespace

TEST(TCPSessionQuality, AThousandPacketsWithSomeTroubleScore85ExcellentUnderBalancedGoodUnderStrict)
{
    const auto record = quality(1000, {.retransmissions = 8, .zeroWindows = 2, .rtt = 150});
    EXPECT_EQ(record.score(), 85);
    EXPECT_EQ(record.grade(), excellent);
    EXPECT_EQ(record.grade(thresholds(balanced)), excellent);
    EXPECT_EQ(record.grade(thresholds(strict)), good);
    const auto taken = record.deductions();
    EXPECT_EQ(taken.reset, 0);
    EXPECT_EQ(taken.retransmission, 2);
    EXPECT_EQ(taken.zeroWindow, 8);
    EXPECT_EQ(taken.handshake, 5);
}

TEST(TCPSessionQuality, AConnectionWithAResetAndNoOtherTroubleScores60GoodUnderBalancedFairUnderStrict)
{
    const auto record = quality(500, {.resets = 1});
    EXPECT_EQ(record.score(), 60);
    EXPECT_EQ(record.grade(thresholds(balanced)), good);
    EXPECT_EQ(record.grade(thresholds(strict)), fair);
}

TEST(TCPSessionQuality, ARecordWithNoPacketsHasNoScoreAndGradesUnknownUnderEveryPreset)
{
    for (const auto strictness : {lenient, balanced, strict}) {
        EXPECT_EQ(TCPSessionQuality{}.score(), std::nullopt);
        EXPECT_EQ(TCPSessionQuality{}.grade(thresholds(strictness)), unknown);
        EXPECT_EQ(displayName(TCPSessionQuality{}.grade(thresholds(strictness))), "n/a");
    }
}

TEST(TCPSessionQuality, InfrastructureApplicationAndSpuriousRetransmissionsAndSackAnomaliesDoNotLowerTheScore)
{
    auto record = quality(10);
    record.retransmitInfrastructure = 10;
    record.retransmitApplication = 10;
    record.spuriousRetransmitCount = 10;
    record.ackedUnseenCount = 10;
    record.sackPacketCount = record.sackDSackCount = record.sackUnseenCount = 10;
    record.sackInvalidCount = record.sackLeftoverCount = 10;
    EXPECT_EQ(record.score(), 100);
}

TEST(TCPSessionQuality, TwoResetsCostTheSame40PointsAsOne)
{
    EXPECT_EQ(quality(9, {.resets = 2}).score(), quality(9, {.resets = 1}).score());
    EXPECT_EQ(quality(9, {.resets = 2}).deductions().reset, 40);
}

TEST(TCPSessionQuality, ARecordWhosePenaltiesExceedTheBaseScoresZeroNeverBelow)
{
    EXPECT_EQ(quality(2, {.resets = 1, .retransmissions = 2, .zeroWindows = 9, .rtt = 501}).score(), 0);
}

TEST(TCPSessionQuality, AHandshakeOfExactly500MsCosts15AndOf500Point5MsCosts30)
{
    EXPECT_EQ(quality(9, {.rtt = 500}).deductions().handshake, 15);
    EXPECT_EQ(quality(9, {.rtt = 500.5}).deductions().handshake, 30);
}

TEST(TCPSessionQuality, TheScoreDoesNotDependOnTheStrictness)
{
    const auto record = quality(100, {.retransmissions = 10});
    EXPECT_EQ(record.score(), 75);
    EXPECT_EQ(record.grade(thresholds(lenient)), excellent);
    EXPECT_EQ(record.grade(thresholds(balanced)), good);
    EXPECT_EQ(record.grade(thresholds(strict)), good);
}

TEST(TCPSessionQuality, EveryBandBeginsAtItsMinimum)
{
    for (const auto strictness : {lenient, balanced, strict}) {
        const auto bands = thresholds(strictness);
        EXPECT_EQ(gradeOf(100, bands), excellent);
        EXPECT_EQ(gradeOf(bands.excellentMin, bands), excellent);
        EXPECT_EQ(gradeOf(bands.excellentMin - 1, bands), good);
        EXPECT_EQ(gradeOf(bands.goodMin, bands), good);
        EXPECT_EQ(gradeOf(bands.goodMin - 1, bands), fair);
        EXPECT_EQ(gradeOf(bands.fairMin, bands), fair);
        EXPECT_EQ(gradeOf(bands.fairMin - 1, bands), poor);
        EXPECT_EQ(gradeOf(0, bands), poor);
        EXPECT_EQ(gradeOf({}, bands), unknown);
    }
}

TEST(TCPSessionQuality, ThresholdsOutOfOrderResolveToTheHighestBandWhoseMinimumIsMet)
{
    const QualityGradeThresholds odd{.excellentMin = 50, .goodMin = 60, .fairMin = 90};
    EXPECT_EQ(gradeOf(95, odd), excellent);
    EXPECT_EQ(gradeOf(55, odd), excellent);
    EXPECT_EQ(gradeOf(40, odd), poor);
}

TEST(TCPSessionQuality, ThePresetsFollowTheirRule)
{
    constexpr int goodMin[] = {50, 60, 75};
    for (const auto strictness : {lenient, balanced, strict}) {
        const int raw = static_cast<int>(strictness);
        EXPECT_EQ(thresholds(strictness), (QualityGradeThresholds{70 + 10 * raw, goodMin[raw], 25 + 15 * raw}));
        EXPECT_EQ(strictnessById(id(strictness)), strictness);
    }
    EXPECT_EQ(thresholds(balanced), QualityGradeThresholds{});
    EXPECT_EQ(strictnessById("Strict"), std::nullopt);
    EXPECT_EQ(strictnessById(""), std::nullopt);
}

TEST(TCPSessionQuality, ThePresetsAreExplainedInTheirExactWords)
{
    EXPECT_EQ(id(lenient), "lenient");
    EXPECT_EQ(id(balanced), "balanced");
    EXPECT_EQ(id(strict), "strict");
    EXPECT_EQ(displayName(lenient), "Lenient");
    EXPECT_EQ(displayName(balanced), "Balanced");
    EXPECT_EQ(displayName(strict), "Strict");
    EXPECT_EQ(subtitle(lenient), "More sessions look healthy");
    EXPECT_EQ(subtitle(balanced), "Default Netrondo bands");
    EXPECT_EQ(subtitle(strict), "Only clean sessions look Excellent");
    EXPECT_EQ(explanation(lenient),
              "More sessions look healthy (Excellent ≥ 70 · Good ≥ 50 · Fair ≥ 25). Use when you only want the worst "
              "outliers.");
    EXPECT_EQ(explanation(balanced), "Default Netrondo bands (Excellent ≥ 80 · Good ≥ 60 · Fair ≥ 40).");
    EXPECT_EQ(
        explanation(strict),
        "Only clean sessions look Excellent (Excellent ≥ 90 · Good ≥ 75 · Fair ≥ 55). Use when you want Fair/Poor "
        "to light up sooner.");
    EXPECT_EQ(strictnessExplanation(),
              "Changes Excellent / Good / Fair / Poor color bands only — not the underlying 0–100 score.");
}

TEST(TCPSessionQuality, TheGradesHaveTheirNamesAndColours)
{
    EXPECT_EQ(rawValue(excellent), "excellent");
    EXPECT_EQ(rawValue(good), "good");
    EXPECT_EQ(rawValue(fair), "fair");
    EXPECT_EQ(rawValue(poor), "poor");
    EXPECT_EQ(rawValue(unknown), "unknown");
    EXPECT_EQ(displayName(excellent), "Excellent");
    EXPECT_EQ(displayName(good), "Good");
    EXPECT_EQ(displayName(fair), "Fair");
    EXPECT_EQ(displayName(poor), "Poor");
    EXPECT_EQ(displayName(unknown), "n/a");
    EXPECT_EQ(color(excellent), (GradeColor{0, 200, 80}));
    EXPECT_EQ(color(good), (GradeColor{160, 220, 0}));
    EXPECT_EQ(color(fair), (GradeColor{255, 165, 0}));
    EXPECT_EQ(color(poor), (GradeColor{220, 40, 40}));
    EXPECT_EQ(color(unknown), (GradeColor{128, 128, 128}));
}

TEST(TCPSessionQuality, MergingAddsEveryCounter)
{
    TCPSessionQuality one, other;
    one.tcpPackets = 1000;
    other.tcpPackets = 5;
    std::uint32_t number = 1;
    for (const auto counter : smallCounters) {
        one.*counter = number;
        other.*counter = 100 * number++;
    }
    EXPECT_EQ(std::size(smallCounters), 20u);
    one.merge(other);
    EXPECT_EQ(one.tcpPackets, 1005u);
    number = 1;
    for (const auto counter : smallCounters)
        EXPECT_EQ(one.*counter, 101 * number++);
}

TEST(TCPSessionQuality, MergingAnEmptyRecordChangesNothing)
{
    auto record = window(7, 9, 8);
    record.tcpPackets = 3;
    record.rttMsEstimate = 4;
    const auto before = record;
    record.merge({});
    EXPECT_EQ(record, before);
    TCPSessionQuality fresh;
    fresh.merge(before);
    EXPECT_EQ(fresh, before);
}

TEST(TCPSessionQuality, MergingWidensTheWindowsAndTakesTheOthersLast)
{
    auto record = window(100, 200, 150);
    record.merge(window(50, 120, 60));
    EXPECT_EQ(record, window(50, 200, 60));
    record.merge(window(55, 65535, 0));
    EXPECT_EQ(record, window(50, 65535, 0));
}

TEST(TCPSessionQuality, MergingTakesTheOthersWindowsWhenItHasNoneOfItsOwn)
{
    TCPSessionQuality record;
    record.merge(window(10, 20, 15));
    EXPECT_EQ(record, window(10, 20, 15));
}

TEST(TCPSessionQuality, MergingKeepsTheSmallerRoundTrip)
{
    TCPSessionQuality record, quick, slow;
    quick.rttMsEstimate = 10;
    slow.rttMsEstimate = 20;
    record.merge(slow);
    EXPECT_EQ(record.rttMsEstimate, 20);
    record.merge(quick);
    EXPECT_EQ(record.rttMsEstimate, 10);
    record.merge(slow);
    record.merge({});
    EXPECT_EQ(record.rttMsEstimate, 10);
}

TEST(TCPSessionQuality, MergedHandshakesKeepTheFirstsValuesOrTheBooleansAndUniteTheNames)
{
    TCPHandshakeOptions first, second;
    first.mssClient = 1460;
    first.wscaleServer = 7;
    first.sackClient = true;
    first.extraClient = {"Fast Open", "Option 99"};
    second.mssClient = 536;
    second.mssServer = 1400;
    second.wscaleClient = 2;
    second.wscaleServer = 9;
    second.sackPermitted = second.sackServer = true;
    second.timestamps = second.timestampsClient = second.timestampsServer = true;
    second.extraClient = {"MD5 Signature", "Option 99"};
    second.extraServer = {"Multipath TCP"};

    auto merged = first;
    merged.merge(second);
    TCPHandshakeOptions expected;
    expected.mssClient = 1460;
    expected.mssServer = 1400;
    expected.wscaleClient = 2;
    expected.wscaleServer = 7;
    expected.sackPermitted = expected.sackClient = expected.sackServer = true;
    expected.timestamps = expected.timestampsClient = expected.timestampsServer = true;
    expected.extraClient = {"Fast Open", "MD5 Signature", "Option 99"};
    expected.extraServer = {"Multipath TCP"};
    EXPECT_EQ(merged, expected);

    TCPSessionQuality record;
    record.handshake = first;
    TCPSessionQuality other;
    other.handshake = second;
    record.merge(other);
    EXPECT_EQ(record.handshake, expected);
}

TEST(TCPSessionQualityDeathTest, ACounterThatWouldPassItsRangeStopsTheProgram)
{
    for (const auto counter : smallCounters) {
        TCPSessionQuality full, one;
        full.*counter = std::numeric_limits<std::uint32_t>::max();
        full.merge({}); // still in range
        one.*counter = 1;
        EXPECT_DEATH(full.merge(one), "a counter passed its range");
    }
    TCPSessionQuality full, one;
    full.tcpPackets = std::numeric_limits<std::uint64_t>::max();
    one.tcpPackets = 1;
    EXPECT_DEATH(full.merge(one), "a counter passed its range");
}

TEST(TCPSessionQuality, JsonHasTheFieldsInTheirOrderAndLeavesOutWhatIsAbsent)
{
    EXPECT_EQ(jsonText(TCPSessionQuality{}),
              R"({"tcpPackets":0,"synCount":0,"finCount":0,"rstCount":0,"ackCount":0,"pshCount":0,"urgCount":0,)"
              R"("eceCount":0,"cwrCount":0,"retransmitGuess":0,"retransmitEndpoint":0,"retransmitInfrastructure":0,)"
              R"("retransmitApplication":0,"spuriousRetransmitCount":0,"ackedUnseenCount":0,"sackPacketCount":0,)"
              R"("sackDSackCount":0,"sackUnseenCount":0,"sackInvalidCount":0,"sackLeftoverCount":0,)"
              R"("zeroWindowCount":0,"windowMin":65535,"windowMax":0,"windowLast":0,"hasWindowSample":false,)"
              R"("handshake":{"sackPermitted":false,"sackClient":false,"sackServer":false,"timestamps":false,)"
              R"("timestampsClient":false,"timestampsServer":false,"extraClient":[],"extraServer":[]}})");
}

TEST(TCPSessionQuality, JsonHasEveryValueUnderItsOwnKey)
{
    TCPSessionQuality record;
    record.tcpPackets = 5000000000;
    std::uint32_t number = 1;
    for (const auto counter : smallCounters)
        record.*counter = number++;
    record.windowMin = 21;
    record.windowMax = 22;
    record.windowLast = 23;
    record.hasWindowSample = true;
    record.rttMsEstimate = 1.5;
    record.handshake.mssClient = 1460;
    record.handshake.mssServer = 1400;
    record.handshake.wscaleClient = 7;
    record.handshake.wscaleServer = 8;
    record.handshake.sackPermitted = record.handshake.sackClient = true;
    record.handshake.timestampsServer = true;
    record.handshake.extraClient = {"Fast Open", "Option 99"};
    EXPECT_EQ(jsonText(record),
              R"({"tcpPackets":5000000000,"synCount":1,"finCount":2,"rstCount":3,"ackCount":4,"pshCount":5,)"
              R"("urgCount":6,"eceCount":7,"cwrCount":8,"retransmitGuess":9,"retransmitEndpoint":10,)"
              R"("retransmitInfrastructure":11,"retransmitApplication":12,"spuriousRetransmitCount":13,)"
              R"("ackedUnseenCount":14,"sackPacketCount":15,"sackDSackCount":16,"sackUnseenCount":17,)"
              R"("sackInvalidCount":18,"sackLeftoverCount":19,"zeroWindowCount":20,"windowMin":21,"windowMax":22,)"
              R"("windowLast":23,"hasWindowSample":true,"rttMsEstimate":1.5,"handshake":{"mssClient":1460,)"
              R"("mssServer":1400,"wscaleClient":7,"wscaleServer":8,"sackPermitted":true,"sackClient":true,)"
              R"("sackServer":false,"timestamps":false,"timestampsClient":false,"timestampsServer":true,)"
              R"("extraClient":["Fast Open","Option 99"],"extraServer":[]}})");
}

TEST(TCPSessionQuality, ThresholdsAreJsonUnderTheirFieldNames)
{
    EXPECT_EQ(jsonText(thresholds(strict)), R"({"excellentMin":90,"goodMin":75,"fairMin":55})");
}

} // namespace netrondo::test
