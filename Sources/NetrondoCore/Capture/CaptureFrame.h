// One captured frame: a view into the reader's buffer, and the form that owns its bytes.
#pragma once

#include "Base/Bytes.h"
#include "Capture/LinkType.h"

#include <cstdint>
#include <vector>

namespace netrondo {

/// A frame as a reader yields it. `data` is the reader's and is good until the next call of `nextFrame` or `nextBatch`.
struct CaptureFrame {
    std::int64_t interfaceID = 0;        ///< index of the capturing interface; 0 from classic pcap
    std::uint64_t timestampSeconds = 0;  ///< as the file stores it
    std::uint64_t timestampFraction = 0; ///< as the file stores it: microseconds or nanoseconds
    std::uint32_t capturedLength = 0;    ///< bytes present in `data`
    std::uint32_t originalLength = 0;    ///< bytes on the wire
    LinkType linkType = LinkType::unknown;
    Bytes data; ///< from the link-layer header on

    /// Capture time in seconds; the analysis takes the fraction as microseconds, whatever the file's resolution.
    double seconds() const
    {
        return static_cast<double>(timestampSeconds) + static_cast<double>(timestampFraction) / 1e6;
    }
};

/// A frame for whoever keeps it longer than the reader keeps its buffer.
struct StoredFrame {
    CaptureFrame header; ///< its `data` is empty; `view` gives the frame with its bytes
    std::vector<std::uint8_t> bytes;

    explicit StoredFrame(const CaptureFrame& frame) : header(frame), bytes(frame.data.begin(), frame.data.end())
    {
        header.data = {};
    }
    CaptureFrame view() const
    {
        auto frame = header;
        frame.data = bytes;
        return frame;
    }
};

} // namespace netrondo
