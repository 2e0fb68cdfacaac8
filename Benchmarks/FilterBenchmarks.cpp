// How fast filters compile, complete and select.
#include "Dissection/Filter/DisplayFilterCompleter.h"
#include "Dissection/Filter/FrameSelector.h"
#include "Support/Allocations.h"
#include "Support/Hex.h"

#include <benchmark/benchmark.h>
#include <cstdlib>
#include <fmt/format.h>

namespace netrondo::test {
namespace {

void check(bool isRight)
{
    if (!isRight)
        std::abort();
}

/// A list of TCP segments without payload, every tenth from port 443 and every hundredth with a closed window.
class PacketFrames {
public:
    explicit PacketFrames(std::size_t count)
    {
        for (std::size_t i = 0; i < count; ++i)
            bytes_.push_back(hex("020000000002 020000000001 0800 45000028 00010000 4006 0000 0a000001",
                                 fmt::format("0a00{:04x}", i % 65536), i % 10 ? "c738" : "01bb",
                                 "c800 00000001 00000001 5010", i % 100 ? "03e8" : "0000", "0000 0000"));
        for (const auto& bytes : bytes_) {
            CaptureFrame frame;
            frame.linkType = LinkType::ethernet;
            frame.data = bytes;
            frame.capturedLength = frame.originalLength = static_cast<std::uint32_t>(bytes.size());
            frames_.push_back(frame);
        }
    }
    const std::vector<CaptureFrame>& all() const { return frames_; }

private:
    std::vector<std::vector<std::uint8_t>> bytes_;
    std::vector<CaptureFrame> frames_;
};

void compileFilter(benchmark::State& state, const char* text)
{
    check(DisplayFilter::compile(text).has_value());
    for (auto _ : state)
        benchmark::DoNotOptimize(DisplayFilter::compile(text));
}

void compileLongFilter(benchmark::State& state)
{
    std::string text = "arp";
    for (std::int64_t i = 0; i < state.range(0); ++i)
        text += " or tcp.port == 443";
    for (auto _ : state)
        benchmark::DoNotOptimize(DisplayFilter::compile(text));
    state.SetComplexityN(state.range(0));
}

void completeField(benchmark::State& state, const char* text)
{
    check(!DisplayFilterCompleter::suggestions(text, 100).empty());
    for (auto _ : state)
        benchmark::DoNotOptimize(DisplayFilterCompleter::suggestions(text, 100));
}

void filterPacketList(benchmark::State& state, const char* text, std::size_t selected)
{
    const PacketFrames frames(1000);
    FrameSelector selector(DisplayFilter::compile(text).value(), false);
    const auto select = [&] {
        std::size_t count = 0;
        for (const auto& frame : frames.all())
            count += selector.next(frame);
        return count;
    };
    check(select() == selected);
    const auto before = allocationCount();
    for (auto _ : state)
        benchmark::DoNotOptimize(select());
    state.SetItemsProcessed(state.iterations() * 1000);
    state.counters["allocations/frame"] =
        static_cast<double>(allocationCount() - before) / (1000.0 * static_cast<double>(state.iterations()));
}

BENCHMARK_CAPTURE(compileFilter, CompileFilter, "tcp.port == 443 and not (arp or dns.q contains 'example')");
BENCHMARK(compileLongFilter)->Name("CompileLongFilter")->RangeMultiplier(8)->Range(512, 32768)->Complexity();
BENCHMARK_CAPTURE(completeField, CompleteField, "tcp.port == 443 and tcp.");
BENCHMARK_CAPTURE(completeField, CompleteOneLetter, "t");
BENCHMARK_CAPTURE(filterPacketList, FilterPacketList_Port, "tcp.port == 443", 100);
BENCHMARK_CAPTURE(filterPacketList, FilterPacketList_Address, "ip.addr == 10.0.0.7", 1);
BENCHMARK_CAPTURE(filterPacketList, FilterPacketList_Text, "host contains '10.0.0.7'", 11);
BENCHMARK_CAPTURE(filterPacketList, FilterPacketList_AbsentField, "http.host", 0);
BENCHMARK_CAPTURE(filterPacketList, FilterPacketList_DecodedField, "tcp.window == 0", 10);

} // namespace
} // namespace netrondo::test
