#include "Circle/CircleOrder.h"

#include "Circle/CircleLayout.h"
#include "Support/Conversations.h"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <numbers>
#include <random>

namespace netrondo::test {
namespace {

using Texts = std::vector<std::string>;

/// The search written out plainly: in every round all hosts without a seat at all free seats.
std::vector<std::uint32_t> plainOrder(std::uint32_t hosts, const std::vector<std::vector<double>>& weight,
                                      std::uint32_t first, std::uint32_t second)
{
    constexpr int nobody = -1;
    const int n = static_cast<int>(hosts);
    const double half = n / 2.0;
    std::vector<int> seats(hosts, nobody);
    seats[0] = static_cast<int>(first);
    seats[hosts / 2] = static_cast<int>(second);
    std::vector<int> remaining;
    for (int host = 0; host < n; ++host)
        if (host != static_cast<int>(first) && host != static_cast<int>(second))
            remaining.push_back(host);
    while (!remaining.empty()) {
        double best = std::numeric_limits<double>::lowest();
        int bestHost = nobody, bestSeat = nobody;
        for (const int host : remaining)
            for (int seat = 0; seat < n; ++seat) {
                if (seats[static_cast<std::size_t>(seat)] != nobody)
                    continue;
                double affinity = 0;
                int nearest = n;
                for (int j = 0; j < n; ++j) {
                    const int other = seats[static_cast<std::size_t>(j)];
                    if (other == nobody)
                        continue;
                    const int d = std::min(std::abs(seat - j), n - std::abs(seat - j));
                    nearest = std::min(nearest, d);
                    const double w = weight[static_cast<std::size_t>(host)][static_cast<std::size_t>(other)];
                    if (w > 0)
                        affinity += w * (1 - std::abs(d - half) / half);
                }
                const double score = affinity == 0 ? nearest * 0.000001 : affinity;
                if (score > best) {
                    best = score;
                    bestHost = host;
                    bestSeat = seat;
                }
            }
        seats[static_cast<std::size_t>(bestSeat)] = bestHost;
        std::erase(remaining, bestHost);
    }
    return {seats.begin(), seats.end()};
}

struct RandomGraph {
    std::uint32_t hosts;
    std::vector<RingEdge> edges;
    std::vector<std::vector<double>> weight;

    RandomGraph(std::mt19937& random, std::uint32_t most, bool integers)
        : hosts(3 + static_cast<std::uint32_t>(random() % most))
    {
        weight.assign(hosts, std::vector<double>(hosts, 0.0));
        const auto wanted = random() % (hosts * 3 + 1);
        const auto range = 1 + random() % (random() % 2 ? 3 : 100'000); // few different weights give many ties
        const bool isStar = random() % 4 == 0;
        for (std::uint32_t i = 0; i < wanted; ++i) {
            const auto a = isStar ? 0u : static_cast<std::uint32_t>(random() % hosts);
            const auto b = static_cast<std::uint32_t>(random() % hosts);
            if (a == b || weight[a][b] > 0)
                continue;
            const double w = integers ? 1 + static_cast<double>(random() % range)
                                      : std::exp(static_cast<double>(random() % 4000) / 100 - 20);
            weight[a][b] = weight[b][a] = w;
            edges.push_back({a, b, w});
        }
    }
};

} // namespace

TEST(CircleOrder, FewerThanThreeHostsStandInTheOrderOfTheirFirstMention)
{
    EXPECT_EQ(CircleLayout::optimizedRingOrder({}, true), Texts{});
    EXPECT_EQ(CircleLayout::optimizedRingOrder(pairs({"B A TCP 5"}), false), (Texts{"B", "A"}));
    const Texts alone{"Z", "Y", "Z"};
    EXPECT_EQ(CircleLayout::optimizedRingOrder({}, false, alone), (Texts{"Z", "Y"}));
}

TEST(CircleOrder, WithoutTrafficTheFirstTwoSitAcrossAndTheOthersSpreadOut)
{
    const auto list = pairs({"A B TCP 0", "C D TCP 0", "E E TCP 9"});
    const auto order = CircleLayout::optimizedRingOrder(list, false);
    ASSERT_EQ(order.size(), 5u);
    EXPECT_EQ(order[0], "A");
    EXPECT_EQ(order[2], "B");
    const Texts names{"A", "B", "C", "D", "E", "F", "G", "H"};
    EXPECT_EQ(CircleLayout::optimizedRingOrder({}, false, names), (Texts{"A", "E", "C", "F", "B", "G", "D", "H"}));
}

TEST(CircleOrder, TheHeaviestConversationSitsAcrossTheRingTheOneThatSortsFirstAtTheTop)
{
    const auto order = CircleLayout::optimizedRingOrder(pairs({"A B TCP 2", "D C TCP 3", "C D TCP 1"}), false);
    EXPECT_EQ(order[0], "C");
    EXPECT_EQ(order[2], "D");
}

TEST(CircleOrder, BothDirectionsOfAConversationWeighTogether)
{
    const auto order = CircleLayout::optimizedRingOrder(pairs({"A B TCP 3", "C D TCP 2", "D C TCP 2"}), false);
    EXPECT_EQ(order[0], "C");
    EXPECT_EQ(order[2], "D");
}

TEST(CircleOrder, OfEquallyHeavyConversationsTheOneFirstInTheListWins)
{
    const auto order = CircleLayout::optimizedRingOrder(pairs({"C D TCP 2", "A B TCP 2"}), false);
    EXPECT_EQ(order[0], "C");
    EXPECT_EQ(order[2], "D");
}

TEST(CircleOrder, BytesOrPacketsDecide)
{
    const auto list = pairs({"A B TCP 9 10", "C D TCP 1 500"});
    EXPECT_EQ(CircleLayout::optimizedRingOrder(list, false)[0], "A");
    EXPECT_EQ(CircleLayout::optimizedRingOrder(list, true)[0], "C");
}

TEST(CircleOrder, ExtraAddressesAreSeatedToo)
{
    const Texts extra{"C", "A", "D"};
    const auto order = CircleLayout::optimizedRingOrder(pairs({"A B TCP 1"}), false, extra);
    EXPECT_EQ(order, (Texts{"A", "C", "B", "D"}));
}

TEST(CircleOrder, RearrangedAnglesAreEvenStepsFromTheTop)
{
    const auto angles = CircleLayout::rearrangeAngles(pairs({"A B TCP 2", "C A TCP 1", "D A TCP 1"}), false);
    const auto order = CircleLayout::optimizedRingOrder(pairs({"A B TCP 2", "C A TCP 1", "D A TCP 1"}), false);
    ASSERT_EQ(angles.size(), 4u);
    for (int i = 0; i < 4; ++i)
        EXPECT_DOUBLE_EQ(angles.at(order[static_cast<std::size_t>(i)]), (i - 1) * std::numbers::pi / 2);
    EXPECT_TRUE(CircleLayout::rearrangeAngles({}, false).empty());
}

TEST(CircleOrder, EverySeatIsTheOneThatThePlainSearchFindsWithIntegerWeights)
{
    std::mt19937 random(1);
    for (int round = 0; round < 300; ++round) {
        const RandomGraph graph(random, round % 10 ? 25 : 58, true);
        const auto first = static_cast<std::uint32_t>(random() % graph.hosts);
        const auto second = (first + 1) % graph.hosts;
        ASSERT_EQ(ringOrder(graph.hosts, graph.edges, first, second),
                  plainOrder(graph.hosts, graph.weight, first, second))
            << "round " << round;
    }
}

TEST(CircleOrder, EverySeatIsTheOneThatThePlainSearchFindsWithWeightsThatRound)
{
    std::mt19937 random(2);
    for (int round = 0; round < 300; ++round) {
        const RandomGraph graph(random, round % 10 ? 25 : 58, false);
        ASSERT_EQ(ringOrder(graph.hosts, graph.edges, 0, 1), plainOrder(graph.hosts, graph.weight, 0, 1))
            << "round " << round;
    }
}

TEST(CircleOrder, LonersOutrankConversationsLighterThanTheirDistance)
{
    // Weights this small do not come from packets, but the rule is the rule: a loner's millionths count.
    std::vector<std::vector<double>> weight(9, std::vector<double>(9, 0.0));
    weight[0][2] = weight[2][0] = 1e-7;
    const std::vector<RingEdge> edges{{0, 2, 1e-7}};
    EXPECT_EQ(ringOrder(9, edges, 0, 1), plainOrder(9, weight, 0, 1));
}

TEST(CircleOrder, TheTopConversationComesWithBothDirections)
{
    const auto list = pairs({"A B TCP 3", "C D TCP 5", "B A TCP 3"});
    EXPECT_EQ(ids(CircleLayout::topConversationPairs(list, 1, false)), (Texts{"A->B", "B->A"}));
    EXPECT_EQ(ids(CircleLayout::topConversationPairs(list, 2, false)), (Texts{"A->B", "B->A", "C->D"}));
    EXPECT_EQ(ids(CircleLayout::topConversationPairs(list, 99, false)), (Texts{"A->B", "B->A", "C->D"}));
}

TEST(CircleOrder, TheLimitCountsConversationsByBytesOrPackets)
{
    const auto list = pairs({"A B TCP 9 10", "C D TCP 1 500"});
    EXPECT_EQ(ids(CircleLayout::topConversationPairs(list, 1, false)), Texts{"A->B"});
    EXPECT_EQ(ids(CircleLayout::topConversationPairs(list, 1, true)), Texts{"C->D"});
}

TEST(CircleOrder, EqualConversationsAreOrderedByTheirFirstPair)
{
    const auto list = pairs({"D C TCP 2", "A B TCP 1", "C D TCP 2", "B A TCP 3"});
    EXPECT_EQ(ids(CircleLayout::topConversationPairs(list, 9, false)), (Texts{"A->B", "B->A", "D->C", "C->D"}));
}

TEST(CircleOrder, ALimitOfNothingKeepsNothing)
{
    const auto list = pairs({"A B"});
    EXPECT_TRUE(CircleLayout::topConversationPairs(list, 0, false).empty());
    EXPECT_TRUE(CircleLayout::topConversationPairs(list, -1, false).empty());
    EXPECT_TRUE(CircleLayout::topConversationPairs({}, 5, false).empty());
}

} // namespace netrondo::test
