// The interface every source of frames offers.
#pragma once

#include "Capture/CaptureError.h"
#include "Capture/CaptureFrame.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

namespace netrondo {

enum class CaptureFormat { pcap, pcapng, sniffer, wiretap };

/// "pcap", "pcapng", "sniffer" or "wiretap".
std::string_view rawValue(CaptureFormat format);

/// What a source says of the interface a frame came from: what is needed to write the frame again as it was.
struct SourceInterface {
    std::uint16_t linkNumber = static_cast<std::uint16_t>(LinkType::ethernet); ///< registered; `LinkType` may lack it
    std::uint32_t snaplen = 0;                                                 ///< 0: not told
    bool isNanosecond = false; ///< its times are finer than microseconds

    friend bool operator==(const SourceInterface&, const SourceInterface&) = default;
};

class CaptureReading {
public:
    virtual ~CaptureReading() = default;
    CaptureReading(const CaptureReading&) = delete;
    CaptureReading& operator=(const CaptureReading&) = delete;

    virtual CaptureFormat format() const = 0;
    /// The link type of each interface seen so far, indexed by `CaptureFrame::interfaceID`.
    virtual std::span<const LinkType> interfaceLinkTypes() const = 0;
    /// True when the file itself says that its fractions are nanoseconds.
    virtual bool isNanosecond() const { return false; }

    /// Frames that the capturing machine has dropped, by its own counters as far as they were read.
    virtual std::uint64_t droppedFrames() const { return 0; }
    /// True when the file was compressed in several parts, of which the first one is read.
    bool hasSecondMember() const { return hasSecondMember_; }
    void setSecondMember() { hasSecondMember_ = true; }

    /// The interface a frame of this source came from.
    virtual SourceInterface interfaceOf(const CaptureFrame& frame) const;

    /// The next frame, nothing at the end of the data, or an error. The frame's bytes stay good until the next call.
    CaptureResult<std::optional<CaptureFrame>> nextFrame();

    /// Fills `frames` from its start with the next frames and tells how many; 0 is the end of the data. It stops early
    /// where the reader's buffer ends, so that all frames of one batch are good together, until the next call.
    /// An error comes alone: the frames before it have come with the call before.
    virtual CaptureResult<std::size_t> nextBatch(std::span<CaptureFrame> frames) = 0;

    /// How far reading has come, in bytes of the source, for progress: offset and size (0 when unknown).
    struct Position {
        std::uint64_t offset = 0;
        std::uint64_t size = 0;
    };
    virtual Position position() const { return {}; }

    // For whoever shows single frames of a file: where they are, and reading them once more.

    /// The capture time of a frame of this reader in nanoseconds since 1970, by the resolution that the file states
    /// for its interface. Wraps around for times that no clock shows.
    virtual std::int64_t nanoseconds(const CaptureFrame& frame) const;
    /// Where in the source the record of a frame of the last batch begins, for `moveTo`.
    virtual std::uint64_t offsetOf(const CaptureFrame&) const { return 0; }
    /// A second reader of the same source with a place of its own, which knows what this one knows so far. An error
    /// for a source that can be read only once.
    virtual CaptureResult<std::unique_ptr<CaptureReading>> again() const;
    /// Goes on with the record that begins at an offset that `offsetOf` gave.
    virtual CaptureResult<void> moveTo(std::uint64_t offset);

protected:
    CaptureReading() = default;

private:
    bool hasSecondMember_ = false;
};

} // namespace netrondo
