#include "Circle/Geometry.h"

#include <cmath>
#include <gtest/gtest.h>
#include <limits>

namespace netrondo::test {
namespace {

void expectNear(const Point& found, const Point& expected)
{
    EXPECT_NEAR(found.x, expected.x, 1e-9);
    EXPECT_NEAR(found.y, expected.y, 1e-9);
}

} // namespace

TEST(Geometry, TheDistanceToASegmentIsTheOneToItsNearestPoint)
{
    const Point a{0, 0}, b{10, 0};
    EXPECT_DOUBLE_EQ(distanceToSegment({5, 3}, a, b), 3);
    EXPECT_DOUBLE_EQ(distanceToSegment({-4, 3}, a, b), 5);
    EXPECT_DOUBLE_EQ(distanceToSegment({13, 4}, a, b), 5);
    EXPECT_DOUBLE_EQ(distanceToSegment({7, 0}, a, b), 0);
}

TEST(Geometry, ASegmentShorterThanOnePointIsInfinitelyFar)
{
    EXPECT_EQ(distanceToSegment({0, 0}, {0, 0}, {0.9, 0}), std::numeric_limits<double>::max());
    EXPECT_EQ(distanceToSegment({0, 0}, {0, 0}, {0, 0}), std::numeric_limits<double>::max());
    EXPECT_EQ(distanceToSegment({0, 0}, {0, 0}, {1, 0}), 0) << "one point long is long enough";
}

TEST(Geometry, TheHexagonsFirstCornerPointsToTheRight)
{
    const auto corners = hexagonPoints({100, 50}, 10);
    expectNear(corners[0], {110, 50});
    expectNear(corners[1], {105, 50 + 10 * std::sqrt(3) / 2});
    expectNear(corners[3], {90, 50});
    for (const auto& corner : corners)
        EXPECT_NEAR(distance(corner, {100, 50}), 10, 1e-9);
}

TEST(Geometry, ALineFromOutsideMeetsTheFarSideOfTheHexagonsCircle)
{
    expectNear(lineHexagonIntersection({0, 0}, {10, 0}, {20, 0}, 5), {25, 0});
}

TEST(Geometry, ALineFromInsideMeetsTheSideItPointsTo)
{
    expectNear(lineHexagonIntersection({20, 0}, {0, 0}, {20, 0}, 5), {15, 0});
}

TEST(Geometry, ALinePastTheHexagonGivesTheFartherOfTheCrossingsBehindIt)
{
    expectNear(lineHexagonIntersection({40, 0}, {50, 0}, {20, 0}, 5), {15, 0});
}

TEST(Geometry, ALineThatMissesOrHasNoLengthGivesTheHexagonsCentre)
{
    expectNear(lineHexagonIntersection({0, 9}, {10, 9}, {20, 0}, 5), {20, 0});
    expectNear(lineHexagonIntersection({7, 7}, {7, 7}, {20, 0}, 5), {20, 0});
}

} // namespace netrondo::test
