// How fast captures are read: from a file in the page cache to frames, and from gzip to a file.
#include "Capture/CaptureFile.h"
#include "Capture/FrameIndex.h"
#include "Capture/GzipCodec.h"
#include "Support/Captures.h"
#include "Support/Gzip.h"

#include <array>
#include <benchmark/benchmark.h>
#include <random>

namespace netrondo::test {
namespace {
constexpr std::size_t frameCount = 100'000;

/// Frames as a busy link has them, the same on every run: half full segments, a third acknowledgements, the rest mixed.
template <typename Add> void generate(Add&& add)
{
    std::mt19937 random(57012);
    std::vector<std::uint8_t> data(1514);
    for (std::size_t i = 0; i < frameCount; ++i) {
        const auto kind = random() % 6;
        const std::size_t length = kind < 3 ? 1514 : kind < 5 ? 66 : 60 + random() % 1400;
        for (std::size_t at = 14; at < length; at += 1 + random() % 16) // neither constant nor noise, for gzip's sake
            data[at] = static_cast<std::uint8_t>(random());
        add(Bytes(data).first(length), i);
    }
}

const std::vector<std::uint8_t>& pcap()
{
    static const auto bytes = [] {
        PcapBytes capture;
        generate([&](Bytes data, std::uint64_t i) { capture.frame(data, {i / 1000, i % 1000 * 1000}); });
        return capture.bytes();
    }();
    return bytes;
}

std::vector<std::uint8_t> pcapng()
{
    PcapNgBytes capture;
    capture.section().interface(1);
    generate([&](Bytes data, std::uint64_t i) { capture.enhanced(0, data, i * 1000); });
    return capture.bytes();
}

/// Reads the file to its end, as often as asked, and checks first that all frames are there.
void readFrames(benchmark::State& state, Bytes bytes)
{
    const TempFile file(bytes);
    std::array<CaptureFrame, 64> frames;
    for (auto _ : state) {
        const auto reader = CaptureFile::open(file);
        std::size_t total = 0;
        for (std::size_t count = 1; count > 0; total += count)
            count = (*reader)->nextBatch(frames).value();
        if (total != frameCount)
            return state.SkipWithError("frames are missing");
        benchmark::DoNotOptimize(frames);
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(frameCount));
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(bytes.size()));
}

void ReadPcapFrames(benchmark::State& state)
{
    readFrames(state, pcap());
}

void ReadPcapngFrames(benchmark::State& state)
{
    readFrames(state, pcapng());
}

/// Items are the frames inside, bytes are those that come out.
void InflateGzip(benchmark::State& state)
{
    const TempFile packed(gzipped(pcap()), "capture.pcap.gz");
    const TempFolder folder;
    const auto output = folder / "capture.pcap";
    for (auto _ : state) {
        if (!GzipCodec::decompress(packed, output) || std::filesystem::file_size(output) != pcap().size())
            return state.SkipWithError("bytes are missing");
        state.PauseTiming();
        std::filesystem::remove(output);
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(frameCount));
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(pcap().size()));
}

void BuildFrameIndex(benchmark::State& state)
{
    const TempFile file(pcap());
    for (auto _ : state) {
        const auto index = FrameIndex::open(file).value();
        if (!index->extend() || index->count() != frameCount)
            return state.SkipWithError("frames are missing");
    }
    state.SetItemsProcessed(state.iterations() * std::int64_t{frameCount});
}

/// One frame at a time, each somewhere else in the file.
void FetchFrameAnywhere(benchmark::State& state)
{
    const TempFile file(pcap());
    const auto index = FrameIndex::open(file).value();
    if (!index->extend())
        return state.SkipWithError("frames are missing");
    auto fetcher = index->fetcher().value();
    std::mt19937 random(1);
    for (auto _ : state) {
        const auto frame = fetcher.fetch(static_cast<std::uint32_t>(random() % frameCount));
        if (!frame)
            return state.SkipWithError("a frame is missing");
        benchmark::DoNotOptimize(frame->data.data());
    }
}

BENCHMARK(BuildFrameIndex)->Unit(benchmark::kMillisecond);
BENCHMARK(FetchFrameAnywhere)->Unit(benchmark::kMicrosecond);
BENCHMARK(ReadPcapFrames)->Unit(benchmark::kMillisecond);
BENCHMARK(ReadPcapngFrames)->Unit(benchmark::kMillisecond);
BENCHMARK(InflateGzip)->Unit(benchmark::kMillisecond);
} // namespace
} // namespace netrondo::test
