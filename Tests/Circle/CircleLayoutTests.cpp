#include "Circle/CircleLayout.h"

#include "Base/Json.h"
#include "Support/Conversations.h"

#include <cmath>
#include <gtest/gtest.h>
#include <numbers>
#include <random>

namespace netrondo::test {
namespace {

constexpr double pi = std::numbers::pi;
constexpr double goldenAngle = 2.399963229728653;

using Parameters = CircleLayout::Parameters;

CircleLayout laidOut(std::initializer_list<std::string_view> lines, Parameters parameters = {.size = {800, 600}})
{
    parameters.pairs = pairs(lines);
    return CircleLayout(std::move(parameters));
}

std::vector<std::string> addresses(const CircleLayout& layout)
{
    std::vector<std::string> found;
    for (const auto& node : layout.nodes)
        found.push_back(node.address);
    return found;
}

/// The angle at which a host sits.
double angleOf(const CircleLayout& layout, std::string_view address)
{
    const auto* at = layout.position(address);
    return at ? std::atan2(at->y - layout.center.y, at->x - layout.center.x) : std::nan("");
}

void expectSameAngle(double found, double expected)
{
    EXPECT_NEAR(CircleLayout::normalizeAngle(found - expected), 0, 1e-9) << found << " and " << expected;
}

} // namespace

TEST(CircleLayout, TheRingFitsTheSmallerSide)
{
    const auto layout = laidOut({"A B"}, {.size = {800, 600}, .ringInset = 70});
    EXPECT_EQ(layout.center, (Point{400, 300}));
    EXPECT_EQ(layout.radius, 230);
    EXPECT_EQ(layout.nodeRadius, 7.5);
}

TEST(CircleLayout, NeitherRingNorDiscsVanishInASmallView)
{
    const auto layout = laidOut({"A B"}, {.size = {30, 40}, .ringInset = 70});
    EXPECT_EQ(layout.radius, 20);
    EXPECT_EQ(layout.nodeRadius, 6);
}

TEST(CircleLayout, HostsStandInTheOrderInWhichThePairsFirstNameThem)
{
    EXPECT_EQ(addresses(laidOut({"C A", "A B", "D C"})), (std::vector<std::string>{"C", "A", "B", "D"}));
}

TEST(CircleLayout, OneHostStandsAtTheTop)
{
    const auto layout = laidOut({"A A"});
    ASSERT_EQ(layout.nodes.size(), 1u);
    expectSameAngle(angleOf(layout, "A"), -pi / 2);
    EXPECT_NEAR(layout.nodes[0].position.x, 400, 1e-9);
    EXPECT_NEAR(layout.nodes[0].position.y, 0, 1e-9);
}

TEST(CircleLayout, HostsWithoutRememberedAnglesStandEvenly)
{
    const auto layout = laidOut({"A B", "C D"});
    for (int i = 0; i < 4; ++i)
        expectSameAngle(angleOf(layout, layout.nodes[static_cast<std::size_t>(i)].address), i * pi / 2 - pi / 2);
}

TEST(CircleLayout, AnEmptyMapOfAnglesMeansEvenPlacesEvenWhenThereAreSlots)
{
    const auto layout = laidOut({"A B"},
                                {.size = {800, 600},
                                 .stableAngleByAddress = AngleByAddress{},
                                 .stableSlotByAddress = SlotByAddress{{"A", 5}},
                                 .ringCapacity = 100});
    expectSameAngle(angleOf(layout, "A"), -pi / 2);
    expectSameAngle(angleOf(layout, "B"), pi / 2);
}

TEST(CircleLayout, RememberedAnglesStayAndTheSecondOfTwoHostsLandsOpposite)
{
    const auto layout = laidOut({"A B"}, {.size = {800, 600}, .stableAngleByAddress = AngleByAddress{{"A", 0.3}}});
    expectSameAngle(angleOf(layout, "A"), 0.3);
    expectSameAngle(angleOf(layout, "B"), 0.3 + pi);
}

TEST(CircleLayout, NewcomersTakeTheWidestFreeArcOneAfterTheOther)
{
    const auto layout =
        laidOut({"A B", "C D"}, {.size = {800, 600}, .stableAngleByAddress = AngleByAddress{{"A", 0}, {"B", pi / 2}}});
    expectSameAngle(angleOf(layout, "C"), -3 * pi / 4);
    expectSameAngle(angleOf(layout, "D"), -3 * pi / 8);
}

TEST(CircleLayout, ARememberedHostThatIsNotShownKeepsItsPlaceFree)
{
    const auto layout =
        laidOut({"A B"}, {.size = {800, 600}, .stableAngleByAddress = AngleByAddress{{"A", 0}, {"gone", pi}}});
    expectSameAngle(angleOf(layout, "B"), pi / 2);
}

TEST(CircleLayout, ARememberedAngleThatIsNoNumberCountsAsNone)
{
    const auto layout =
        laidOut({"A B"}, {.size = {800, 600}, .stableAngleByAddress = AngleByAddress{{"A", std::nan("")}, {"B", 0.0}}});
    expectSameAngle(angleOf(layout, "A"), pi);
}

TEST(CircleLayout, SlotsAreStepsOfTheGoldenAngleFromTheTop)
{
    const auto layout = laidOut({"A B", "C D"},
                                {.size = {800, 600},
                                 .stableSlotByAddress = SlotByAddress{{"A", 0}, {"B", 1}, {"C", 7}, {"D", -1}},
                                 .ringCapacity = 8});
    expectSameAngle(angleOf(layout, "A"), -pi / 2);
    expectSameAngle(angleOf(layout, "B"), goldenAngle - pi / 2);
    expectSameAngle(angleOf(layout, "C"), 7 * goldenAngle - pi / 2);
    const double known[] = {-pi / 2, goldenAngle - pi / 2, 7 * goldenAngle - pi / 2};
    expectSameAngle(angleOf(layout, "D"), CircleLayout::nextStableAngle(known));
}

TEST(CircleLayout, WithARingCapacityOfOneOnlySlotZeroSurvives)
{
    for (const int capacity : {1, 0, -3}) {
        const auto layout = laidOut({"A B", "C A"},
                                    {.size = {800, 600},
                                     .stableSlotByAddress = SlotByAddress{{"A", 0}, {"B", 1}, {"C", 2}},
                                     .ringCapacity = capacity});
        expectSameAngle(angleOf(layout, "A"), -pi / 2);
        expectSameAngle(angleOf(layout, "B"), pi / 2);
        expectSameAngle(angleOf(layout, "C"), 0);
    }
}

TEST(CircleLayout, LabelsAreTheNamesThatThePairOfTheFirstMentionKnows)
{
    auto list = pairs({"10.0.0.1 10.0.0.2", "10.0.0.2 10.0.0.1"});
    list[0].resolvedSrc = "first.office.example";
    list[1].resolvedSrc = "unused";
    const CircleLayout named({.size = {800, 600}, .pairs = list, .showHostNames = true});
    EXPECT_EQ(named.nodes[0].displayLabel, "first.of…e.example");
    EXPECT_EQ(named.nodes[1].displayLabel, "10.0.0.2") << "the first mention knew no name";
    const CircleLayout plain({.size = {800, 600}, .pairs = list});
    EXPECT_EQ(plain.nodes[0].displayLabel, "10.0.0.1");
}

TEST(CircleLayout, AHostHasTheColourOfItsDominantProtocol)
{
    const auto layout = laidOut({"A B HTTP", "A C DNS", "A D DNS"});
    EXPECT_EQ(layout.nodes[0].protocolColor, ProtocolColors::color("DNS"));
    EXPECT_EQ(layout.nodes[1].protocolColor, ProtocolColors::color("HTTP"));
    EXPECT_EQ(layout.nodes[0].role, CircleNode::Role::host);
    EXPECT_EQ(layout.nodes[0].serviceName, std::nullopt);
}

TEST(CircleLayout, TheDominantProtocolIsTheFirstNamedOnATie)
{
    const auto list = pairs({"A B HTTP", "C A DNS", "B A DNS", "A C HTTP"});
    EXPECT_EQ(dominantProtocol("A", list), "HTTP");
    EXPECT_EQ(dominantProtocol("C", list), "DNS");
    EXPECT_EQ(dominantProtocol("X", list), "Unknown");
}

TEST(CircleLayout, TheLayoutsColoursAgreeWithTheDominantProtocolOfEachHost)
{
    std::mt19937 random(5);
    constexpr const char* protocols[] = {"HTTP", "DNS", "TLS", "SSH"};
    std::vector<CommPair> list;
    for (int i = 0; i < 300; ++i)
        list.push_back(
            pair(std::to_string(random() % 40) + " " + std::to_string(random() % 40) + " " + protocols[random() % 4]));
    const CircleLayout layout({.size = {800, 600}, .pairs = list});
    for (const auto& node : layout.nodes)
        EXPECT_EQ(node.protocolColor, ProtocolColors::color(dominantProtocol(node.address, list))) << node.address;
}

TEST(CircleLayout, TheLargestVolumeIsOneForAnEmptyOrAllZeroCapture)
{
    EXPECT_EQ(laidOut({}).maxVolume, 1u);
    const auto zero = laidOut({"A B TCP 0 0"}, {.size = {800, 600}, .showLineThickness = true});
    EXPECT_EQ(zero.maxVolume, 1u);
    EXPECT_EQ(zero.lineThickness(zero.pairs[0], true), 1.0);
}

TEST(CircleLayout, VolumesAreBytesOrPackets)
{
    EXPECT_EQ(laidOut({"A B TCP 7 900", "A C TCP 9 300"}).maxVolume, 9u);
    EXPECT_EQ(laidOut({"A B TCP 7 900", "A C TCP 9 300"}, {.size = {800, 600}, .useBytes = true}).maxVolume, 900u);
}

TEST(CircleLayout, LineThicknessFollowsTheVolumeWhenEmphasizedAndAskedFor)
{
    const auto plain = laidOut({"A B TCP 50", "A C TCP 100"});
    EXPECT_EQ(plain.lineThickness(plain.pairs[0], false), 1.0);
    EXPECT_EQ(plain.lineThickness(plain.pairs[0], true), 2.0);
    const auto sized = laidOut({"A B TCP 50", "A C TCP 100"}, {.size = {800, 600}, .showLineThickness = true});
    EXPECT_EQ(sized.lineThickness(sized.pairs[0], false), 1.0);
    EXPECT_EQ(sized.lineThickness(sized.pairs[0], true), 6.0);
    EXPECT_EQ(sized.lineThickness(sized.pairs[1], true), 10.0) << "11 is too wide";
}

TEST(CircleLayout, AThicknessThatIsNoNumberBecomesTen)
{
    auto layout = laidOut({"A B TCP 0"}, {.size = {800, 600}, .showLineThickness = true});
    layout.maxVolume = 0;
    EXPECT_EQ(layout.lineThickness(layout.pairs[0], true), 10.0);
}

TEST(CircleLayout, ChordsAreColouredByProtocolOrByTheGradeOfTheirQuality)
{
    auto list = pairs({"A B HTTP"});
    const CircleLayout layout({.size = {800, 600}, .pairs = list});
    EXPECT_EQ(layout.edgeColor(list[0]), ProtocolColors::color("HTTP"));
    EXPECT_EQ(layout.edgeColor(list[0], EdgeColorMode::protocol, {}), ProtocolColors::color("HTTP"));
    EXPECT_EQ(layout.edgeColor(list[0], EdgeColorMode::quality, {}), (ProtocolColors::RGB{128, 128, 128}));
    list[0].tcpQuality.emplace().tcpPackets = 10;
    EXPECT_EQ(layout.edgeColor(list[0], EdgeColorMode::quality, {}), (ProtocolColors::RGB{0, 200, 80}));
    list[0].tcpQuality->rstCount = 1; // a score of 60
    EXPECT_EQ(layout.edgeColor(list[0], EdgeColorMode::quality, {}), (ProtocolColors::RGB{160, 220, 0}));
    EXPECT_EQ(layout.edgeColor(list[0], EdgeColorMode::quality, thresholds(QualityStrictness::strict)),
              (ProtocolColors::RGB{255, 165, 0}));
}

TEST(CircleLayout, AnAddressWithoutANodeHasNoPosition)
{
    const auto layout = laidOut({"A B"});
    EXPECT_NE(layout.position("A"), nullptr);
    EXPECT_EQ(layout.position("C"), nullptr);
    EXPECT_EQ(layout.position(""), nullptr);
}

TEST(CircleLayout, ThePlaceOfAnIndexIsAnEvenStepFromTheTop)
{
    const auto third = CircleLayout::nodePosition(1, 4, {10, 20}, 5);
    EXPECT_NEAR(third.x, 15, 1e-9);
    EXPECT_NEAR(third.y, 20, 1e-9);
    EXPECT_EQ(CircleLayout::nodePosition(3, 0, {10, 20}, 5), (Point{10, 20})) << "of none it is the centre";
    EXPECT_EQ(CircleLayout::nodePosition(3, -1, {10, 20}, 5), (Point{10, 20}));
}

TEST(CircleLayout, AnglesAreNormalisedToTheHalfOpenTurn)
{
    EXPECT_EQ(CircleLayout::normalizeAngle(pi), pi);
    EXPECT_EQ(CircleLayout::normalizeAngle(-pi), pi);
    EXPECT_EQ(CircleLayout::normalizeAngle(0), 0);
    EXPECT_NEAR(CircleLayout::normalizeAngle(7 * pi / 2), -pi / 2, 1e-12);
    EXPECT_NEAR(CircleLayout::normalizeAngle(-7 * pi / 2), pi / 2, 1e-12);
    EXPECT_NEAR(CircleLayout::normalizeAngle(200 * pi + 1), 1, 1e-9);
}

TEST(CircleLayout, CopiesShareTheirPairsAndAreEqual)
{
    const auto layout = laidOut({"A B", "B A"});
    const auto copy = layout;
    EXPECT_EQ(copy, layout);
    EXPECT_EQ(&copy.pairs[0], &layout.pairs[0]);
    EXPECT_NE(laidOut({"A B"}), layout);
    EXPECT_EQ(*copy.position("B"), *layout.position("B"));
}

TEST(CircleLayout, NodesAreEqualAndHashedByAllTheirFields)
{
    const CircleNode node{"A", "a", {1, 2}, {3, 4, 5}, CircleNode::Role::host, {}};
    const std::hash<CircleNode> hash;
    EXPECT_EQ(hash(node), hash(CircleNode(node)));
    std::vector<CircleNode> others(7, node);
    others[0].address = "B";
    others[1].displayLabel = "b";
    others[2].position.x = 9;
    others[3].position.y = 9;
    others[4].protocolColor.b = 9;
    others[5].role = CircleNode::Role::service;
    others[6].serviceName = "HTTP";
    for (const auto& other : others) {
        EXPECT_NE(other, node);
        EXPECT_NE(hash(other), hash(node));
    }
}

TEST(CircleLayout, IsWrittenWithItsFieldsAsKeysInTheirOrder)
{
    std::string text;
    {
        TextOutput out(text);
        JsonWriter json(out);
        write(json, laidOut({}, {.size = {40, 40}, .useBytes = true}));
    }
    EXPECT_EQ(text,
              R"({"center":{"x":20.0,"y":20.0},"radius":20.0,"nodeRadius":6.0,"nodes":[],"pairs":[],)"
              R"("maxVolume":1,"useBytes":true,"showLineThickness":false})");
    text.clear();
    {
        TextOutput out(text);
        JsonWriter json(out);
        write(json, CircleNode{"A", "a", {1, 2.5}, {3, 4, 5}, CircleNode::Role::service, "HTTP"});
    }
    EXPECT_EQ(text,
              R"({"address":"A","displayLabel":"a","position":{"x":1.0,"y":2.5},)"
              R"("protocolColor":{"r":3,"g":4,"b":5},"role":"service","serviceName":"HTTP"})");
}

} // namespace netrondo::test
