#include "Circle/CircleLayout.h"
#include "Support/Conversations.h"

#include <gtest/gtest.h>

namespace netrondo::test {
namespace {

/// A ring of radius 100 around (100, 100), its hosts at the given places of a clock with twelve hours.
CircleLayout clock(std::vector<CommPair> list, std::initializer_list<std::pair<const char*, int>> hours,
                   bool showLineThickness = false)
{
    AngleByAddress angles;
    for (const auto& [address, hour] : hours)
        angles[address] = (hour - 3) * 3.14159265358979 / 6;
    return CircleLayout({.size = {200, 200},
                         .pairs = std::move(list),
                         .showLineThickness = showLineThickness,
                         .stableAngleByAddress = angles});
}

std::string found(const CommPair* pair)
{
    return pair ? pair->id() : "nothing";
}

} // namespace

TEST(HitTest, ANodeIsHitUpToItsRadius)
{
    const auto layout = clock(pairs({"A B"}), {{"A", 12}, {"B", 6}});
    ASSERT_EQ(layout.nodeRadius, 6);
    EXPECT_EQ(layout.findNode({100, 5.99})->address, "A");
    EXPECT_EQ(layout.findNode({100, 6.5}), nullptr);
    EXPECT_EQ(layout.findNode({100, 197})->address, "B");
}

TEST(HitTest, OfOverlappingNodesTheFirstOneIsHit)
{
    const auto layout = clock(pairs({"B A"}), {{"A", 12}, {"B", 12}});
    EXPECT_EQ(layout.findNode({100, 0})->address, "B");
}

TEST(HitTest, AChordIsHitWithinTheSlopAndItsEmphasizedWidth)
{
    const auto layout = clock(pairs({"A B"}), {{"A", 12}, {"B", 6}});
    EXPECT_EQ(found(layout.findPair({104.9, 100})), "A->B");
    EXPECT_EQ(found(layout.findPair({105.1, 100})), "nothing");
    EXPECT_EQ(found(layout.findPair({109.9, 100}, 8)), "A->B");
}

TEST(HitTest, APointOnAChordHitsWithNoSlopAtAll)
{
    const auto layout = clock(pairs({"A B"}), {{"A", 12}, {"B", 6}});
    EXPECT_EQ(found(layout.findPair({100, 100}, 0)), "A->B");
    EXPECT_EQ(found(layout.findPair({103.9, 100}, 0)), "A->B") << "never less than four points";
    EXPECT_EQ(found(layout.findPair({104.1, 100}, 0)), "nothing");
    EXPECT_EQ(found(layout.findPair({100, 100}, -50)), "A->B");
}

TEST(HitTest, AHeavyChordIsHitFromFartherAway)
{
    const auto layout = clock(pairs({"A B TCP 100", "C D TCP 1"}), {{"A", 12}, {"B", 6}, {"C", 1}, {"D", 5}}, true);
    EXPECT_EQ(found(layout.findPair({87.1, 100}, 3)), "A->B") << "ten wide";
    EXPECT_EQ(found(layout.findPair({86.9, 100}, 3)), "nothing");
}

TEST(HitTest, AChordShorterThanOnePointIsNeverHit)
{
    EXPECT_EQ(found(clock(pairs({"A B"}), {{"A", 12}, {"B", 12}}).findPair({100, 0})), "nothing");
    EXPECT_EQ(found(clock(pairs({"A A"}), {{"A", 12}}).findPair({100, 0})), "nothing");
}

TEST(HitTest, AnEmptyLayoutHasNothingToHit)
{
    const CircleLayout layout({.size = {200, 200}});
    EXPECT_EQ(layout.findNode({100, 100}), nullptr);
    EXPECT_EQ(layout.findPair({100, 100}), nullptr);
}

TEST(HitTest, TheNearestChordWins)
{
    const auto layout = clock(pairs({"A B", "C D"}), {{"A", 12}, {"B", 6}, {"C", 3}, {"D", 9}});
    EXPECT_EQ(found(layout.findPair({101, 98})), "A->B");
    EXPECT_EQ(found(layout.findPair({98, 101})), "C->D");
    EXPECT_EQ(found(layout.findPair({100, 100})), "A->B") << "on a tie the one given first";
}

TEST(HitTest, TheDirectionWithTheLargerVolumeStandsForTheChord)
{
    const auto hours = {std::pair("A", 12), std::pair("B", 6)};
    EXPECT_EQ(found(clock(pairs({"A B TCP 1", "B A TCP 2"}), hours).findPair({100, 100})), "B->A");
    EXPECT_EQ(found(clock(pairs({"B A TCP 1", "A B TCP 2"}), hours).findPair({100, 100})), "A->B");
    EXPECT_EQ(found(clock(pairs({"B A TCP 2", "A B TCP 2"}), hours).findPair({100, 100})), "A->B")
        << "on equal volumes the one that sorts first";
}

TEST(HitTest, ThePreferredDirectionStandsForTheChordWhateverItsVolume)
{
    const auto layout = clock(pairs({"A B TCP 1", "B A TCP 2"}), {{"A", 12}, {"B", 6}});
    EXPECT_EQ(found(layout.findPair({100, 100}, 3, "A->B")), "A->B");
    EXPECT_EQ(found(layout.findPair({100, 100}, 3, "A->C")), "B->A") << "neither is preferred";
    EXPECT_EQ(found(layout.findPair({100, 100}, 3, "A->")), "B->A");
}

TEST(HitTest, OfTwoDirectionsTheDistanceOfTheLatestHitCounts)
{
    // Both directions lie on the same line, so their distances agree to the last bits; the rule shows in which of two
    // chords wins when a direction comes last.
    const auto layout = clock(pairs({"A B", "C D", "B A"}), {{"A", 12}, {"B", 6}, {"C", 3}, {"D", 9}});
    EXPECT_EQ(found(layout.findPair({100.5, 101})), "A->B");
}

TEST(HitTest, HysteresisKeepsTheSelectionBetweenCloseChords)
{
    const auto layout = clock(pairs({"A B", "C D"}), {{"A", 12}, {"B", 6}, {"C", 3}, {"D", 9}});
    EXPECT_EQ(found(layout.findPair({102, 101}, 3, "A->B", 0)), "C->D");
    EXPECT_EQ(found(layout.findPair({102, 101}, 3, "A->B", 2)), "A->B");
    EXPECT_EQ(found(layout.findPair({102, 101}, 3, "B->A", 2)), "A->B") << "either way round";
    EXPECT_EQ(found(layout.findPair({104, 101}, 3, "A->B", 2)), "C->D") << "too far behind";
}

TEST(HitTest, HysteresisNeedsAPreferredChordThatIsHitItself)
{
    const auto layout = clock(pairs({"A B", "C D"}), {{"A", 12}, {"B", 6}, {"C", 3}, {"D", 9}});
    for (const char* id : {"A->X", "->B", "A->", "AB", "", "->"})
        EXPECT_EQ(found(layout.findPair({102, 101}, 3, id, 2)), "C->D") << id;
    EXPECT_EQ(found(layout.findPair({150, 101}, 3, "A->B", 200)), "C->D");
}

TEST(HitTest, TheKeyOfAConversationIsTheSameEitherWayRound)
{
    EXPECT_EQ(CircleLayout::undirectedEdgeKey("B", "A"),
              "A\x1f"
              "B");
    EXPECT_EQ(CircleLayout::undirectedEdgeKey("A", "B"),
              "A\x1f"
              "B");
    EXPECT_EQ(CircleLayout::undirectedEdgeKey(std::optional<std::string_view>("B->A")),
              "A\x1f"
              "B");
    EXPECT_EQ(CircleLayout::undirectedEdgeKey(std::optional<std::string_view>("A->B->C")),
              "A\x1f"
              "B->C")
        << "the first arrow parts";
    EXPECT_EQ(CircleLayout::undirectedEdgeKey(std::nullopt), std::nullopt);
    for (const char* id : {"", "AB", "->B", "A->"})
        EXPECT_EQ(CircleLayout::undirectedEdgeKey(std::optional<std::string_view>(id)), std::nullopt) << id;
}

} // namespace netrondo::test
