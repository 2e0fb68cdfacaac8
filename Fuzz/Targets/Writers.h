// Frames of an arbitrary capture, written and read again: the same frames, at the same times.
#pragma once

#include "Capture/CaptureWriter.h"
#include "Targets/Readers.h"

namespace netrondo::fuzz {

/// What a copy must keep of a frame.
struct Kept {
    CaptureFormat format; ///< of the copy
    std::uint64_t hash = 0;

    void add(const CaptureReading& reader, const CaptureFrame& frame)
    {
        const auto interface = reader.interfaceOf(frame);
        // Files keep the finer part of a time only where the interface, in pcap the first one, has one.
        const auto unit = interface.isNanosecond && format == CaptureFormat::pcapng ? 1 : 1000;
        for (const auto word :
             {static_cast<std::uint64_t>(reader.nanoseconds(frame) / unit * unit), std::uint64_t{frame.originalLength},
              std::uint64_t{frame.capturedLength}, std::uint64_t{interface.linkNumber}})
            hash = hashWords(hash, word);
        for (const auto byte : frame.data)
            hash = hash * 31 + byte;
    }
};

/// Copies frames until there are no more or the writer refuses one.
inline void copy(CaptureReading& reader, CaptureWriter& writer, Kept& kept)
{
    for (;;) {
        const auto next = reader.nextFrame();
        if (!next || !*next)
            return;
        const auto written = writer.write(**next, reader);
        if (!written) {
            NR_ASSERT(!written.error().errorDescription().empty());
            return;
        }
        kept.add(reader, **next);
    }
}

template <typename Source, typename Copy> void roundTrip(Bytes input, CaptureFormat format)
{
    const auto reader = Source::open(asFile(input));
    if (!reader)
        return;
    const int target = memoryFile({});
    const auto path = "/proc/self/fd/" + std::to_string(target);
    Kept written{format}, read{format};
    {
        const auto writer = CaptureWriter::create(path, {.format = format, .naming = FileNaming::fromTheStart});
        NR_ASSERT(writer.has_value());
        copy(**reader, **writer, written);
        NR_ASSERT((*writer)->finish().has_value());
    }
    NR_ASSERT(::lseek(target, 0, SEEK_SET) == 0);
    const auto again = Copy::open(FileHandle(target));
    NR_ASSERT(again.has_value());
    while (const auto frame = (*again)->nextFrame().value())
        read.add(**again, *frame);
    NR_ASSERT(written.hash == read.hash);
}

/// The first byte picks the formats of the source and the copy; the rest is the source.
inline void writers(Bytes input)
{
    if (input.empty())
        return;
    const auto source = input.subspan(1);
    const bool isPcap = input[0] / 2 % 2 == 0, becomesPcap = input[0] % 2 == 0;
    if (becomesPcap)
        (isPcap ? roundTrip<PcapReader, PcapReader> : roundTrip<PcapNgReader, PcapReader>)(source, CaptureFormat::pcap);
    else
        (isPcap ? roundTrip<PcapReader, PcapNgReader> : roundTrip<PcapNgReader, PcapNgReader>)(source,
                                                                                               CaptureFormat::pcapng);
}

} // namespace netrondo::fuzz
