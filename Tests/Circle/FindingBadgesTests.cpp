// Which hosts and conversations have a badge, and where it stands.
#include "Circle/FindingBadges.h"

#include "Circle/CircleLayout.h"
#include "Circle/HostServiceLayout.h"
#include "Circle/ScenePage.h"
#include "Support/Conversations.h"
#include "Support/FindingLists.h"

#include <algorithm>
#include <fmt/format.h>
#include <functional>
#include <gtest/gtest.h>
#include <set>

namespace netrondo::test {
namespace {

CircleLayout ring(std::vector<CommPair> pairs, double side = 800)
{
    return CircleLayout(
        {.size = {side, side}, .pairs = PairArray(std::move(pairs)), .useBytes = true, .ringInset = 80});
}

FindingMarks marks(std::initializer_list<std::string_view> lines)
{
    return marksOf(findings(lines));
}

/// "10.0.0.1 error" for a host, "10.0.0.1-10.0.0.2 note" for a conversation.
std::vector<std::string> dump(const std::vector<SceneBadge>& badges, const std::vector<CircleNode>& nodes)
{
    std::vector<std::string> texts;
    for (const auto& badge : badges)
        texts.push_back((badge.from == badge.to
                             ? nodes[badge.from].address
                             : fmt::format("{}-{}", nodes[badge.from].address, nodes[badge.to].address))
                        + ' ' + std::string(rawValue(badge.severity)));
    return texts;
}

void expectApart(const std::vector<SceneBadge>& badges)
{
    for (std::size_t i = 0; i < badges.size(); ++i)
        for (std::size_t j = 0; j < i; ++j)
            EXPECT_GE(distance(badges[i].center, badges[j].center), badges[i].radius + badges[j].radius);
}

} // namespace

TEST(FindingBadges, StandAtHostsAndConversationsTheWorstFirst)
{
    const auto layout = ring(pairs({"10.0.0.1 10.0.0.2", "10.0.0.2 10.0.0.1", "10.0.0.1 10.0.0.3"}));
    const auto badges = placeBadges(layout, 8,
                                    marks({"tcp.rst warning 10.0.0.2 10.0.0.1", "tcp.rto error 10.0.0.1 10.0.0.2",
                                           "arp.dupip note 10.0.0.3", "cap.offload info 10.0.0.1"}));
    EXPECT_EQ(dump(badges, layout.nodes), (std::vector<std::string>{"10.0.0.1-10.0.0.2 error", "10.0.0.3 note"}));
    expectApart(badges);
}

TEST(FindingBadges, StandOnTheirChordOrBesideTheirHost)
{
    const auto layout = ring(pairs({"10.0.0.1 10.0.0.2", "10.0.0.3 10.0.0.4"}));
    const auto badges = placeBadges(layout, 8, marks({"tcp.rst error 10.0.0.1 10.0.0.2", "arp.dupip note 10.0.0.3"}));
    ASSERT_EQ(badges.size(), 2u);
    EXPECT_LT(
        distanceToSegment(badges[0].center, layout.nodes[badges[0].from].position, layout.nodes[badges[0].to].position),
        1e-6);
    EXPECT_LT(distance(badges[1].center, layout.nodes[badges[1].from].position), 8 + 2 * badges[1].radius);
    EXPECT_LT(distance(badges[1].center, layout.center), layout.radius) << "inwards, where no labels are";
}

TEST(FindingBadges, OfAConversationThatIsNotDrawnStandAtItsHost)
{
    const auto layout = ring(pairs({"10.0.0.1 10.0.0.2", "10.0.0.3 10.0.0.4"}));
    EXPECT_EQ(dump(placeBadges(layout, 8, marks({"tcp.rst error 10.0.0.1 10.0.0.3"})), layout.nodes),
              (std::vector<std::string>{"10.0.0.1 error"}));
    EXPECT_EQ(dump(placeBadges(layout, 8, marks({"tcp.rst error 10.0.0.2 172.16.0.1"})), layout.nodes),
              (std::vector<std::string>{"10.0.0.2 error"}));
    EXPECT_TRUE(placeBadges(layout, 8, marks({"tcp.rst error 172.16.0.1 172.16.0.2", "cap.time error"})).empty());
}

TEST(FindingBadges, AreOneForAHostHoweverMuchIsSaidOfIt)
{
    const auto layout = ring(pairs({"10.0.0.1 10.0.0.2"}));
    EXPECT_EQ(dump(placeBadges(layout, 8,
                               marks({"arp.dupip note 10.0.0.1", "tcp.rst warning 10.0.0.1 172.16.0.1",
                                      "tcp.rst error 10.0.0.1 172.16.0.2"})),
                   layout.nodes),
              (std::vector<std::string>{"10.0.0.1 error"}));
}

TEST(FindingBadges, StayApartAndLegibleFromTenToTwoThousandHosts)
{
    for (const int hosts : {10, 100, 2000}) {
        std::vector<CommPair> talks;
        std::vector<ExpertFinding> list;
        const auto name = [](int i) { return fmt::format("10.1.{}.{}", i / 250, i % 250 + 1); };
        for (int i = 0; i + 1 < hosts; ++i) {
            talks.push_back(pair(fmt::format("{} {}", name(i), name(i * 7 % hosts == i ? i + 1 : i * 7 % hosts))));
            list.push_back(finding(fmt::format("tcp.rst {} {} {}", i % 10 == 3 ? "error" : "warning",
                                               talks.back().srcAddr, talks.back().dstAddr)));
            list.push_back(finding(fmt::format("arp.dupip note {}", name(i))));
        }
        const auto layout = ring(std::move(talks));
        const auto badges = placeBadges(layout, 3, marksOf(list));
        expectApart(badges);
        EXPECT_GE(badges.size(), 9u) << hosts;
        EXPECT_LE(badges.size(), 300u) << hosts;
        for (const auto& badge : badges) {
            EXPECT_GE(badge.radius, 6) << hosts;
            EXPECT_LE(distance(badge.center, layout.center), layout.radius) << hosts;
        }
        EXPECT_TRUE(std::ranges::is_sorted(badges, std::greater{}, &SceneBadge::severity));
    }
}

TEST(FindingBadges, StandAtTheHostsOfTheColumns)
{
    const HostServiceLayout layout({.size = {800, 600}, .pairs = PairArray(pairs({"10.0.0.1 10.0.0.2 HTTP"}))});
    const auto badges = placeBadges(layout, marks({"tcp.rst error 10.0.0.1 10.0.0.2", "cap.offload info 10.0.0.1"}));
    EXPECT_EQ(dump(badges, layout.nodes), (std::vector<std::string>{"10.0.0.1 error", "10.0.0.2 error"}));
}

TEST(FindingBadges, HaveASignOfTheirOwnForEverySeverity)
{
    std::set<std::size_t> shapes;
    for (const auto severity : {Severity::info, Severity::note, Severity::warning, Severity::error}) {
        std::vector<ScenePolygon> sign;
        addSign(sign, severity, {50, 50}, 7, {});
        ASSERT_FALSE(sign.empty());
        shapes.insert(sign.front().points.size());
        for (const auto& polygon : sign)
            for (const auto& point : polygon.points)
                EXPECT_LE(distance(point, {50, 50}), 7 * 1.5);
    }
    EXPECT_EQ(shapes.size(), 4u) << "outlines with as many corners look alike";
}

TEST(FindingBadges, MoveWithThePictureOnItsPage)
{
    CircleScene scene;
    scene.size = {800, 700};
    const SceneBadge badge{0, 0, Severity::note, {100, 100}, 7};
    addBadges(scene, std::span(&badge, 1));
    const auto before = scene.polygons.front().points.front();
    const ScenePage page{{800, 800}, SceneTheme::light, "a", "b", {}};
    const auto composed = page.compose(scene, approximateTextWidth);
    const auto after = composed.polygons.front().points.front();
    EXPECT_EQ(after.x, before.x);
    EXPECT_GT(after.y, before.y + 10);
}

} // namespace netrondo::test
