// A reader that is watched while an analysis reads it: what passes is noted, and the reading can be broken off.
#pragma once

#include "Analysis/Model/VolumeOverTime.h"
#include "Capture/CaptureReading.h"

#include <atomic>
#include <map>

namespace netrondo {

/// Passes the frames of another reader on. Belongs to the thread that reads; `stop` may be set from any.
class WatchedReading : public CaptureReading {
public:
    /// Both must outlive this reader.
    WatchedReading(CaptureReading& reader, const std::atomic<bool>& stop) : reader_(reader), stop_(stop)
    {
        if (reader.hasSecondMember())
            setSecondMember();
    }

    CaptureFormat format() const override { return reader_.format(); }
    std::span<const LinkType> interfaceLinkTypes() const override { return reader_.interfaceLinkTypes(); }
    bool isNanosecond() const override { return reader_.isNanosecond(); }
    std::uint64_t droppedFrames() const override { return reader_.droppedFrames(); }
    Position position() const override { return reader_.position(); }
    /// Where `stop` is set this ends with an error, which whoever set it knows how to take.
    CaptureResult<std::size_t> nextBatch(std::span<CaptureFrame> frames) override;

    /// The frames' lengths on the wire over their times.
    const VolumeOverTime& volume() const { return volume_; }
    std::uint64_t frames() const { return frames_; }
    const std::map<LinkType, std::uint64_t>& framesByLinkType() const { return byLinkType_; }

private:
    CaptureReading& reader_;
    const std::atomic<bool>& stop_;
    VolumeOverTime volume_;
    std::uint64_t frames_ = 0;
    std::map<LinkType, std::uint64_t> byLinkType_;
};

} // namespace netrondo
