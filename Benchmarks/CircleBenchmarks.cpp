// How fast the circle is laid out, hit and tidied.
#include "Circle/CircleLayout.h"
#include "Circle/HostServiceLayout.h"
#include "Circle/UndirectedPairs.h"
#include "Office.h"

#include <benchmark/benchmark.h>
#include <fmt/format.h>

namespace netrondo {
namespace {

const PairArray& largeOffice()
{
    static const PairArray pairs = office(2000, 10000, true);
    return pairs;
}

CircleLayout largeLayout()
{
    return CircleLayout({.size = {1600, 1000}, .pairs = largeOffice(), .showLineThickness = true, .ringInset = 90});
}

/// Goal: 20 ms.
void LayOut2000HostsAnd20000Pairs(benchmark::State& state)
{
    if (largeLayout().nodes.size() < 1990 || largeOffice().size() != 20000)
        return state.SkipWithError("the office is not as large as it should be");
    for (auto _ : state)
        benchmark::DoNotOptimize(largeLayout());
}
BENCHMARK(LayOut2000HostsAnd20000Pairs)->Unit(benchmark::kMillisecond);

void LayOutNewcomersAmongRememberedHosts(benchmark::State& state)
{
    const AngleByAddress remembered{{"10.0.0.1", 0.0}};
    for (auto _ : state)
        benchmark::DoNotOptimize(
            CircleLayout({.size = {1600, 1000}, .pairs = largeOffice(), .stableAngleByAddress = remembered}));
}
BENCHMARK(LayOutNewcomersAmongRememberedHosts)->Unit(benchmark::kMillisecond);

/// Goal: 1 ms. The centre is where the most chords pass.
void HitTestAmong20000Pairs(benchmark::State& state)
{
    const auto layout = largeLayout();
    if (!layout.findPair(layout.center, 3, "10.0.0.1->10.0.0.2", 2))
        return state.SkipWithError("no chord passes the centre");
    for (auto _ : state) {
        benchmark::DoNotOptimize(layout.findNode(layout.center));
        benchmark::DoNotOptimize(layout.findPair(layout.center, 3, "10.0.0.1->10.0.0.2", 2));
    }
}
BENCHMARK(HitTestAmong20000Pairs)->Unit(benchmark::kMillisecond);

/// Goal: 1 s.
void TidyARingOf1000HostsAnd5000Conversations(benchmark::State& state)
{
    const auto pairs = office(1000, 5000, false);
    if (CircleLayout::optimizedRingOrder(pairs, true).size() < 990)
        return state.SkipWithError("hosts are missing");
    for (auto _ : state)
        benchmark::DoNotOptimize(CircleLayout::optimizedRingOrder(pairs, true));
}
BENCHMARK(TidyARingOf1000HostsAnd5000Conversations)->Unit(benchmark::kMillisecond);

/// The worst that was found: every host talks to one, all as much as the others.
void TidyAStarOf1000EqualHosts(benchmark::State& state)
{
    std::vector<CommPair> pairs(999);
    for (std::size_t i = 0; i < pairs.size(); ++i) {
        pairs[i].srcAddr = "hub";
        pairs[i].dstAddr = fmt::format("host {}", i);
        pairs[i].packetCount = 1;
    }
    for (auto _ : state)
        benchmark::DoNotOptimize(CircleLayout::optimizedRingOrder(pairs, false));
}
BENCHMARK(TidyAStarOf1000EqualHosts)->Unit(benchmark::kMillisecond);

void LayOutTheServicesOf2000Hosts(benchmark::State& state)
{
    for (auto _ : state)
        benchmark::DoNotOptimize(HostServiceLayout({.size = {1600, 1000}, .pairs = largeOffice(), .columnInset = 150}));
}
BENCHMARK(LayOutTheServicesOf2000Hosts)->Unit(benchmark::kMillisecond);

void RankConversations(benchmark::State& state)
{
    for (auto _ : state)
        benchmark::DoNotOptimize(UndirectedPairs::ranked(largeOffice(), true));
}
BENCHMARK(RankConversations)->Unit(benchmark::kMillisecond);

} // namespace
} // namespace netrondo
