// A reader over arbitrary bytes: it stays within them, and gives the same frames one by one, in batches, from a pipe
// and through an index.
#pragma once

#include "Base/Address.h"
#include "Capture/CaptureReading.h"
#include "Capture/FrameIndex.h"
#include "Capture/PcapNgReader.h"
#include "Capture/PcapReader.h"
#include "Capture/SnifferReader.h"
#include "Targets/Input.h"

#include <array>

namespace netrondo::fuzz {

/// What a reader gave, in a few numbers.
struct Digest {
    std::uint64_t frames = 0;
    std::uint64_t hash = 0;
    CaptureError error = {CaptureError::Kind::io, "none"};

    void add(const CaptureFrame& frame)
    {
        NR_ASSERT(frame.capturedLength == frame.data.size());
        ++frames;
        for (const auto word : {static_cast<std::uint64_t>(frame.interfaceID), frame.timestampSeconds,
                                frame.timestampFraction, std::uint64_t{frame.originalLength},
                                static_cast<std::uint64_t>(frame.linkType), std::uint64_t{frame.capturedLength}})
            hash = hashWords(hash, word);
        for (const auto byte : frame.data)
            hash = hash * 31 + byte;
    }
    friend bool operator==(const Digest&, const Digest&) = default;
};

inline Digest oneByOne(CaptureReading& reader)
{
    Digest digest;
    for (;;) {
        const auto next = reader.nextFrame();
        if (!next)
            digest.error = next.error();
        const auto frame = next.value_or(std::nullopt);
        if (!frame)
            return digest;
        digest.add(*frame);
    }
}

inline Digest inBatches(CaptureReading& reader)
{
    Digest digest;
    std::array<CaptureFrame, 5> frames;
    for (;;) {
        const auto count = reader.nextBatch(frames);
        if (!count)
            digest.error = count.error();
        if (!count || *count == 0)
            return digest;
        for (std::size_t i = 0; i < *count; ++i)
            digest.add(frames[i]);
    }
}

/// Every frame by its place in the index, the last one first, against the frames one after the other.
inline void checkIndex(std::unique_ptr<CaptureReading> forIndex, CaptureReading& sequential, std::uint64_t count)
{
    const auto index = FrameIndex::of(std::move(forIndex)).value();
    static_cast<void>(index->extend());
    NR_ASSERT(index->count() == count);
    auto fetcher = index->fetcher().value();
    std::vector<Digest> backwards(count);
    for (auto i = index->count(); i-- > 0;) {
        auto frame = fetcher.fetch(i).value();
        NR_ASSERT(frame.timestampSeconds * 1'000'000'000 + frame.timestampFraction
                  == static_cast<std::uint64_t>(index->nanoseconds(i)));
        frame.timestampSeconds = frame.timestampFraction = 0;
        backwards[i].add(frame);
    }
    for (std::uint32_t i = 0; i < count; ++i) {
        auto frame = *sequential.nextFrame().value();
        NR_ASSERT(sequential.nanoseconds(frame) == index->nanoseconds(i));
        frame.timestampSeconds = frame.timestampFraction = 0;
        Digest digest;
        digest.add(frame);
        NR_ASSERT(digest == backwards[i]);
    }
}

/// `fromPipe`: whether the reader takes this input from a pipe, too.
template <typename Reader>
void read(
    Bytes input, bool (*fromPipe)(const Reader&) = [](const Reader&) { return true; })
{
    const auto one = Reader::open(asFile(input)), many = Reader::open(asFile(input));
    NR_ASSERT(one.has_value() == many.has_value());
    if (!one)
        return NR_ASSERT(!one.error().errorDescription().empty());
    const auto digest = oneByOne(**one);
    NR_ASSERT(digest == inBatches(**many));
    NR_ASSERT((*one)->position().offset <= input.size());
    checkIndex(Reader::open(asFile(input)).value(), **Reader::open(asFile(input)), digest.frames);
    if (input.size() <= pipeCapacity && fromPipe(**one))
        NR_ASSERT(digest == inBatches(**Reader::open(asPipe(input))));
}

inline void pcap(Bytes input)
{
    read<PcapReader>(input);
}

inline void pcapng(Bytes input)
{
    read<PcapNgReader>(input);
}

inline void sniffer(Bytes input)
{
    read<SnifferReader>(input, [](const SnifferReader& reader) { return !reader.header().isWrapped(); });
}

} // namespace netrondo::fuzz
