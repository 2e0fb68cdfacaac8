// Where frames come from as they happen: an interface of this machine, or a program somewhere else.
#pragma once

#include "Capture/CaptureReading.h"
#include "Capture/CaptureWriter.h"

#include <chrono>
#include <cstddef>
#include <span>
#include <string>
#include <vector>

namespace netrondo {

/// Belongs to the thread that asks for frames, but for `stop`, which any thread may call.
class LiveSource {
public:
    virtual ~LiveSource() = default;
    LiveSource(const LiveSource&) = delete;
    LiveSource& operator=(const LiveSource&) = delete;

    /// Waits for frames, at most so long, and fills `frames` from its start with those that came; their bytes are good
    /// until the next call. 0: none yet, or none will come (`hasEnded`). An error ends the source as well; its sentence
    /// says what happened and what helps. All frames given before stay what they are.
    virtual CaptureResult<std::size_t> nextBatch(std::span<CaptureFrame> frames,
                                                 std::chrono::milliseconds patience) = 0;
    virtual bool hasEnded() const = 0;

    /// What the last frames came from, for their times and interfaces; null before anything has come. Another one after
    /// a source has begun anew.
    virtual const CaptureReading* reading() const = 0;
    /// What has been counted so far.
    virtual CaptureCounts counts() const = 0;
    /// The same for each interface, where the source tells them apart.
    virtual std::vector<CaptureCounts> countsOfInterfaces() const { return {counts()}; }
    /// What there is to note of the interfaces beside their frames; null when there is nothing. Good as long as the
    /// source, and final once there is a `reading`.
    virtual const PcapNgNotes* notes() const { return nullptr; }
    /// What the source is trying to get over, as a sentence: a connection that broke and is to be made again. Empty
    /// while all is well.
    virtual std::string trouble() const { return {}; }

    /// Asks for the end, which comes soon; frames that are on their way may still be given before.
    virtual void stop() = 0;

protected:
    LiveSource() = default;
};

} // namespace netrondo
