// How fast frames become facts, facts conversations, and conversations a result.
#include "Analysis/PairAggregator.h"
#include "Dissection/Classify/ClassifiedEndpoint.h"
#include "Dissection/Classify/FrameClassifier.h"
#include "Support/Allocations.h"
#include "Support/Frames.h"

#include <benchmark/benchmark.h>
#include <cstdlib>
#include <cstring>
#include <fmt/format.h>

namespace netrondo::test {
namespace {

/// Frames kept in memory, as a reader's buffer would hold them.
class Traffic {
public:
    void add(ByteVector bytes) { bytes_.push_back(std::move(bytes)); }
    std::vector<CaptureFrame> frames() const
    {
        std::vector<CaptureFrame> views;
        for (const auto& bytes : bytes_)
            views.push_back(frameOf(bytes, LinkType::ethernet, static_cast<double>(views.size()) / 1e5));
        return views;
    }

private:
    std::vector<ByteVector> bytes_;
};

std::string host(std::uint32_t number)
{
    return fmt::format("10.{}.{}.{}", number >> 16 & 0xff, number >> 8 & 0xff, number & 0xff);
}

/// Segments of `payload` bytes in order, spread over so many connections, an acknowledgement after every second one.
Traffic segments(std::uint32_t connections, std::uint32_t count, std::size_t payload)
{
    Traffic traffic;
    std::string bytes(payload, 'x');
    std::uint32_t random = 12345;
    std::vector<std::uint32_t> sent(connections);
    for (std::uint32_t i = 0; i < count; ++i) {
        random = random * 1664525 + 1013904223;
        const auto number = random / 8 % connections;
        const auto client = host(number * 7 % 20'000 + 1), server = host(100'000 + number % 5'000);
        const auto port = static_cast<std::uint16_t>(50'000 + number % 10'000);
        auto& seq = sent[number];
        if (payload >= sizeof seq)
            std::memcpy(bytes.data(), &seq, sizeof seq); // no two payloads of a connection are the same
        traffic.add(ethernet(ipv4({.source = client, .destination = server},
                                  tcp({.sourcePort = port, .destinationPort = 443, .seq = seq}, bytes))));
        seq += static_cast<std::uint32_t>(payload);
        if (i % 2)
            traffic.add(ethernet(ipv4({.source = server, .destination = client},
                                      tcp({.sourcePort = 443, .destinationPort = port, .ack = seq}))));
    }
    return traffic;
}

void count(benchmark::State& state, std::span<const CaptureFrame> frames, std::size_t allocations)
{
    std::size_t bytes = 0;
    for (const auto& frame : frames)
        bytes += frame.data.size();
    const auto rounds = static_cast<std::size_t>(state.iterations());
    state.SetItemsProcessed(static_cast<std::int64_t>(rounds * frames.size()));
    state.SetBytesProcessed(static_cast<std::int64_t>(rounds * bytes));
    state.counters["allocations/frame"] =
        static_cast<double>(allocations) / static_cast<double>(rounds * frames.size());
}

void ClassifyTcpFrames(benchmark::State& state)
{
    const auto traffic = segments(100, 20'000, 64);
    const auto frames = traffic.frames();
    FrameFacts facts;
    if (!classify(frames[0], AnalysisMode::l3IP, facts) || !facts.isTcp)
        std::abort();
    const auto before = allocationCount();
    for (auto _ : state) {
        for (const auto& frame : frames)
            benchmark::DoNotOptimize(classify(frame, AnalysisMode::l3IP, facts));
    }
    count(state, frames, allocationCount() - before);
}
BENCHMARK(ClassifyTcpFrames);

void ClassifyInWords(benchmark::State& state)
{
    const auto traffic = segments(100, 5'000, 64);
    const auto frames = traffic.frames();
    const auto before = allocationCount();
    for (auto _ : state) {
        for (const auto& frame : frames)
            benchmark::DoNotOptimize(classifyInWords(frame, AnalysisMode::l3IP));
    }
    count(state, frames, allocationCount() - before);
}
BENCHMARK(ClassifyInWords);

/// The argument is the number of connections: from all in the cache to far beyond it.
void IngestManyPairs(benchmark::State& state)
{
    const auto traffic = segments(static_cast<std::uint32_t>(state.range(0)), 200'000, 64);
    const auto frames = traffic.frames();
    PairAggregator aggregator(AnalysisMode::l3IP, {});
    aggregator.ingest(frames); // all conversations are known: what follows is the cost of one more frame
    if (aggregator.result().totalPackets != frames.size())
        std::abort();
    const auto before = allocationCount();
    for (auto _ : state)
        aggregator.ingest(frames);
    count(state, frames, allocationCount() - before);
}
BENCHMARK(IngestManyPairs)->Arg(100)->Arg(10'000)->Arg(100'000)->Unit(benchmark::kMillisecond);

void IngestFullSegments(benchmark::State& state)
{
    const auto traffic = segments(200, 50'000, 1448);
    const auto frames = traffic.frames();
    PairAggregator aggregator(AnalysisMode::l3IP, {});
    aggregator.ingest(frames);
    const auto before = allocationCount();
    for (auto _ : state)
        aggregator.ingest(frames);
    count(state, frames, allocationCount() - before);
}
BENCHMARK(IngestFullSegments)->Unit(benchmark::kMillisecond);

void ResultOfManyPairs(benchmark::State& state)
{
    const auto traffic = segments(100'000, 200'000, 8);
    const auto frames = traffic.frames();
    PairAggregator aggregator(AnalysisMode::l3IP, {});
    aggregator.ingest(frames);
    std::size_t pairs = 0;
    for (auto _ : state)
        pairs = aggregator.result().pairs.size();
    if (pairs == 0)
        std::abort();
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(pairs));
}
BENCHMARK(ResultOfManyPairs)->Unit(benchmark::kMillisecond);

} // namespace
} // namespace netrondo::test
