// A stream over arbitrary bytes that arrive in arbitrary pieces: it gives the frames that the file of the same bytes
// holds, and ends or fails when they end.
#pragma once

#include "Capture/CaptureFile.h"
#include "Capture/CaptureStream.h"
#include "Targets/Readers.h"

namespace netrondo::fuzz {

/// The frames of the bytes as a file, but not behind a record that no stream would wait for.
inline Digest asWholeFile(Bytes bytes)
{
    const auto format = CaptureFile::formatOf(bytes);
    if (format == CaptureFormat::pcap) {
        const auto reader = PcapReader::open(asFile(bytes));
        return reader ? oneByOne(**reader) : Digest();
    }
    const auto reader = PcapNgReader::open(asFile(bytes));
    return reader ? oneByOne(**reader) : Digest();
}

/// The first byte says how large the pieces are.
inline void stream(Bytes input)
{
    if (input.empty() || input.size() > pipeCapacity)
        return;
    const std::size_t piece = input[0] + 1U;
    const auto bytes = input.subspan(1);
    int ends[2];
    NR_ASSERT(::pipe2(ends, O_CLOEXEC) == 0);
    CaptureStream stream(ends[0]);
    Digest digest;
    bool failed = false;
    std::array<CaptureFrame, 3> frames;
    const auto take = [&] {
        for (;;) {
            const auto count = stream.nextBatch(frames);
            failed = !count;
            if (failed)
                NR_ASSERT(!count.error().errorDescription().empty());
            if (failed || *count == 0)
                return;
            for (std::size_t i = 0; i < *count; ++i)
                digest.add(frames[i]);
        }
    };
    for (std::size_t at = 0; at < bytes.size() && !failed; at += piece) {
        const auto part = slice(bytes, at, piece);
        NR_ASSERT(::write(ends[1], part.data(), part.size()) == static_cast<ssize_t>(part.size()));
        take();
        NR_ASSERT(!stream.hasEnded());
    }
    ::close(ends[1]);
    if (!failed)
        take();
    NR_ASSERT(failed || stream.hasEnded());
    const auto whole = asWholeFile(bytes);
    NR_ASSERT(digest.frames <= whole.frames);
    if (!failed && stream.reading())
        NR_ASSERT(digest.frames == whole.frames && digest.hash == whole.hash);
}

} // namespace netrondo::fuzz
