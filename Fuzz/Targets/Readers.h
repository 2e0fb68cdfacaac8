// A reader over arbitrary bytes: it stays within them, and gives the same frames one by one, in batches and from a
// pipe.
#pragma once

#include "Base/Address.h"
#include "Capture/CaptureReading.h"
#include "Capture/PcapNgReader.h"
#include "Capture/PcapReader.h"
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

template <typename Reader> void read(Bytes input)
{
    const auto one = Reader::open(asFile(input)), many = Reader::open(asFile(input));
    NR_ASSERT(one.has_value() == many.has_value());
    if (!one)
        return NR_ASSERT(!one.error().errorDescription().empty());
    const auto digest = oneByOne(**one);
    NR_ASSERT(digest == inBatches(**many));
    NR_ASSERT((*one)->position().offset <= input.size());
    if (input.size() <= pipeCapacity)
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

} // namespace netrondo::fuzz
