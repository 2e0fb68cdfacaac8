// Reading a capture to its end, with the frames kept and the error that ended it.
#pragma once

#include "Capture/CaptureFile.h"
#include "Capture/CaptureReading.h"

#include <array>
#include <optional>
#include <string>
#include <vector>

namespace netrondo::test {

/// A frame whose bytes stay.
struct KeptFrame {
    std::int64_t interfaceID;
    std::uint64_t seconds, fraction;
    std::uint32_t capturedLength, originalLength;
    LinkType linkType;
    std::vector<std::uint8_t> data;

    explicit KeptFrame(const CaptureFrame& frame)
        : interfaceID(frame.interfaceID)
        , seconds(frame.timestampSeconds)
        , fraction(frame.timestampFraction)
        , capturedLength(frame.capturedLength)
        , originalLength(frame.originalLength)
        , linkType(frame.linkType)
        , data(frame.data.begin(), frame.data.end())
    { }
    friend bool operator==(const KeptFrame&, const KeptFrame&) = default;
};

/// What a capture gave: its frames, and the sentence of the error that ended it, empty for the end of the data.
struct Contents {
    std::vector<KeptFrame> frames;
    std::string error;

    friend bool operator==(const Contents&, const Contents&) = default;
};

/// Reads on to the end, one frame at a time.
inline Contents readFrames(CaptureReading& reader)
{
    Contents contents;
    for (;;) {
        const auto next = reader.nextFrame();
        if (!next)
            contents.error = next.error().errorDescription();
        const auto frame = next.value_or(std::nullopt);
        if (!frame)
            return contents;
        contents.frames.emplace_back(*frame);
    }
}

/// Reads on to the end, many frames at a time.
inline Contents readBatches(CaptureReading& reader)
{
    Contents contents;
    std::array<CaptureFrame, 7> frames; // odd, so that batches end anywhere in the window
    for (;;) {
        const auto count = reader.nextBatch(frames);
        if (!count)
            contents.error = count.error().errorDescription();
        if (!count || *count == 0)
            return contents;
        for (std::size_t i = 0; i < *count; ++i)
            contents.frames.emplace_back(frames[i]);
    }
}

/// The contents of a file; that it cannot be opened is its error.
inline Contents readFile(const std::filesystem::path& path)
{
    const auto reader = CaptureFile::open(path);
    return reader ? readFrames(**reader) : Contents{{}, reader.error().errorDescription()};
}

} // namespace netrondo::test
