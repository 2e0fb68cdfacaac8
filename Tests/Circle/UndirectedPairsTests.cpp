#include "Circle/UndirectedPairs.h"
#include "Support/Conversations.h"

#include <algorithm>
#include <gtest/gtest.h>

namespace netrondo::test {
namespace {

std::vector<std::string> rankedIDs(const std::vector<CommPair>& list, bool byBytes)
{
    std::vector<std::string> found;
    for (const auto& conversation : UndirectedPairs::ranked(list, byBytes))
        found.push_back(conversation.pair->id());
    return found;
}

using Texts = std::vector<std::string>;

} // namespace

TEST(UndirectedPairs, TheTwoDirectionsOfAConversationAreOne)
{
    const auto list = pairs({"A B TCP 3 300", "C D TCP 1 100", "B A TCP 4 50"});
    const auto ranked = UndirectedPairs::ranked(list, false);
    ASSERT_EQ(ranked.size(), 2u);
    EXPECT_EQ(ranked[0].pair->id(), "B->A");
    EXPECT_EQ(ranked[0].packets, 7u);
    EXPECT_EQ(ranked[0].bytes, 350u);
}

TEST(UndirectedPairs, TheDirectionWithMorePacketsStandsForBoth)
{
    EXPECT_EQ(rankedIDs(pairs({"A B TCP 3 900", "B A TCP 4 1"}), true), Texts{"B->A"});
}

TEST(UndirectedPairs, OnEqualPacketsTheOneWithMoreBytesStandsForBoth)
{
    EXPECT_EQ(rankedIDs(pairs({"A B TCP 4 1", "B A TCP 4 2"}), false), Texts{"B->A"});
}

TEST(UndirectedPairs, OnEqualBytesTheOneThatSortsFirstStandsForBoth)
{
    EXPECT_EQ(rankedIDs(pairs({"B A TCP 4 2", "A B TCP 4 2"}), false), Texts{"A->B"});
    // "!" sorts before the arrow: whole identifiers count, not their parts.
    EXPECT_EQ(rankedIDs(pairs({"a a! TCP 4 2", "a! a TCP 4 2"}), false), Texts{"a!->a"});
}

TEST(UndirectedPairs, AreRankedByBytesOrByPackets)
{
    const auto list = pairs({"A B TCP 1 900", "C D TCP 9 100"});
    EXPECT_EQ(rankedIDs(list, true), (Texts{"A->B", "C->D"}));
    EXPECT_EQ(rankedIDs(list, false), (Texts{"C->D", "A->B"}));
}

TEST(UndirectedPairs, TiesAreRankedByTheirIdentifier)
{
    EXPECT_EQ(rankedIDs(pairs({"C D TCP 5 5", "A B TCP 5 5", "B C TCP 5 5"}), true), (Texts{"A->B", "B->C", "C->D"}));
}

TEST(UndirectedPairs, AFocusedHostKeepsThePairsItIsAnEndOf)
{
    const auto list = pairs({"A B", "B C", "C A", "C D"});
    EXPECT_EQ(ids(UndirectedPairs::focusedOn(list, nullptr, "A")), (Texts{"A->B", "C->A"}));
    EXPECT_EQ(ids(UndirectedPairs::focusedOn(list, &list[3], "A")), (Texts{"A->B", "C->A"})) << "the host decides";
}

TEST(UndirectedPairs, AFocusedServiceKeepsThePairsThatCarryIt)
{
    auto list = pairs({"A B HTTP", "B C DNS", "C D TCP", "D E TCP"});
    list[2].payloadProtocols = {"HTTP"};
    list[3].dstPorts = {{80, {1, true, false}}};
    EXPECT_EQ(ids(UndirectedPairs::focusedOn(list, nullptr, "svc:HTTP")), (Texts{"A->B", "C->D", "D->E"}));
    EXPECT_TRUE(UndirectedPairs::focusedOn(list, nullptr, "svc:").empty());
}

TEST(UndirectedPairs, WithoutAHostTheSelectedPairKeepsItsTwoDirections)
{
    const auto list = pairs({"A B", "B C", "B A"});
    EXPECT_EQ(ids(UndirectedPairs::focusedOn(list, &list[0], {})), (Texts{"A->B", "B->A"}));
}

TEST(UndirectedPairs, WithoutAFocusAllPairsStay)
{
    const auto list = pairs({"A B", "B C"});
    EXPECT_EQ(UndirectedPairs::focusedOn(list, nullptr, {}), list);
}

} // namespace netrondo::test
