// How long it takes to decode a frame into its tree, to say it in a row, and to write it as JSON.
#include "Dissection/Decode/PacketDecoder.h"
#include "Dissection/Decode/PacketList.h"
#include "Dissection/Decode/Render.h"
#include "Support/Hex.h"

#include <benchmark/benchmark.h>

namespace netrondo {
namespace {

/// A full-size TCP segment with timestamps, as most frames of a busy link are; its port says nothing.
std::vector<std::uint8_t> segment(std::size_t payload)
{
    auto bytes = test::hex("020000000002 020000000001 0800 4500 0000 1c464000 4006 0000 0a000001 0a000002"
                           "9c409c41 11223344 00000001 8018 7210 0000 0000 0101080a 0000000a 00000009");
    bytes.resize(bytes.size() + payload, 0x5a);
    const auto total = bytes.size() - 14;
    bytes[16] = static_cast<std::uint8_t>(total >> 8);
    bytes[17] = static_cast<std::uint8_t>(total);
    return bytes;
}

CaptureFrame frameOf(const std::vector<std::uint8_t>& bytes)
{
    CaptureFrame frame;
    frame.linkType = LinkType::ethernet;
    frame.data = bytes;
    frame.capturedLength = frame.originalLength = static_cast<std::uint32_t>(bytes.size());
    return frame;
}

void DecodeTcpIntoTree(benchmark::State& state)
{
    const auto bytes = segment(static_cast<std::size_t>(state.range(0)));
    const auto frame = frameOf(bytes);
    const PacketDecoder decoder;
    DecodedFrame decoded;
    decoder.decode(frame, 1, decoded);
    if (decoded.summary.sourcePort != 40000 || decoded.tree.layers().size() < 4)
        return state.SkipWithError("the frame is not decoded as TCP");
    for (auto _ : state) {
        decoder.decode(frame, 1, decoded);
        benchmark::DoNotOptimize(decoded.tree.size());
    }
    state.counters["nodes"] = decoded.tree.size();
}
BENCHMARK(DecodeTcpIntoTree)->Arg(0)->Arg(100)->Arg(1448);

void WritePacketListRow(benchmark::State& state)
{
    const auto bytes = segment(100);
    DecodedFrame decoded;
    PacketDecoder().decode(frameOf(bytes), 1, decoded);
    PacketList list;
    TextSink out;
    for (auto _ : state) {
        out.clear();
        list.write(decoded, out);
        benchmark::DoNotOptimize(out.size());
    }
}
BENCHMARK(WritePacketListRow);

void WriteTreeAsJson(benchmark::State& state)
{
    const auto bytes = segment(100);
    DecodedFrame decoded;
    PacketDecoder().decode(frameOf(bytes), 1, decoded);
    TextSink text;
    for (auto _ : state) {
        text.clear();
        Render::json(decoded, text);
        benchmark::DoNotOptimize(text.size());
    }
}
BENCHMARK(WriteTreeAsJson);

} // namespace
} // namespace netrondo
