#include "Circle/FreeArcs.h"

#include "Circle/CircleLayout.h"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <numbers>
#include <random>

namespace netrondo::test {
namespace {

constexpr double pi = std::numbers::pi;

/// The widest free arc found by walking over all of them: what a ring of a handful of hosts would do.
double plainNextAngle(std::vector<double> angles)
{
    if (angles.empty())
        return -pi / 2;
    for (auto& angle : angles)
        angle = CircleLayout::normalizeAngle(angle);
    std::sort(angles.begin(), angles.end());
    if (angles.size() == 1)
        return CircleLayout::normalizeAngle(angles[0] + pi);
    double widest = -1, candidate = 0;
    for (std::size_t i = 0; i < angles.size(); ++i) {
        const double next = i + 1 < angles.size() ? angles[i + 1] : angles[0] + 2 * pi;
        const double gap = next - angles[i];
        if (gap > widest) {
            widest = gap;
            candidate = angles[i] + gap / 2;
        }
    }
    return CircleLayout::normalizeAngle(candidate);
}

} // namespace

TEST(FreeArcs, AnEmptyRingBeginsAtTheTop)
{
    EXPECT_EQ(CircleLayout::nextStableAngle({}), -pi / 2);
}

TEST(FreeArcs, TheSecondHostLandsOppositeTheFirst)
{
    const double first[] = {-pi / 2};
    EXPECT_EQ(CircleLayout::nextStableAngle(first), pi / 2);
}

TEST(FreeArcs, OfEquallyWideArcsTheFirstOneIsTaken)
{
    const double across[] = {0, pi};
    EXPECT_EQ(CircleLayout::nextStableAngle(across), pi / 2);
}

TEST(FreeArcs, TheArcThatCrossesTheTurnCountsWhole)
{
    const double right[] = {-0.5, 0.5};
    EXPECT_NEAR(CircleLayout::nextStableAngle(right), pi, 1e-12);
}

TEST(FreeArcs, TwoHostsAtTheSamePlaceLeaveTheOppositeOne)
{
    const double same[] = {1.0, 1.0};
    EXPECT_EQ(CircleLayout::nextStableAngle(same), plainNextAngle({1.0, 1.0}));
}

TEST(FreeArcs, GrowingRingsGoExactlyWhereThePlainWalkPutsEachHost)
{
    std::mt19937 random(11);
    std::uniform_real_distribution<double> anywhere(-20, 20);
    for (int ring = 0; ring < 60; ++ring) {
        std::vector<double> angles;
        for (int known = ring % 7; known > 0; --known)
            angles.push_back(random() % 4 ? anywhere(random) : std::floor(anywhere(random)) * pi / 4);
        FreeArcs arcs(angles);
        for (int newcomer = 0; newcomer < 80; ++newcomer) {
            const double expected = plainNextAngle(angles);
            ASSERT_EQ(arcs.widestMiddle(), expected) << "ring " << ring << ", newcomer " << newcomer;
            ASSERT_EQ(CircleLayout::nextStableAngle(angles), expected);
            angles.push_back(expected);
            arcs.take(expected);
        }
    }
}

} // namespace netrondo::test
