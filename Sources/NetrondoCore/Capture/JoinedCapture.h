// Live capture on several interfaces at once, as one source.
#pragma once

#include "Capture/LiveCapture.h"

#include <array>
#include <memory>
#include <optional>
#include <vector>

namespace netrondo {

/// Frames come in the order of their times as far as they are there: an interface that has nothing yet holds the
/// others up for nobody. What ends one capture ends all of them, after the frames that had come.
class JoinedCapture final : public LiveSource {
public:
    /// One capture for each of the options; at least one. A frame's `interfaceID` is its place among them.
    static CaptureResult<std::unique_ptr<JoinedCapture>> start(const std::vector<LiveCapture::Options>& interfaces);
    ~JoinedCapture() override;

    CaptureResult<std::size_t> nextBatch(std::span<CaptureFrame> frames, std::chrono::milliseconds patience) override;
    bool hasEnded() const override { return hasEnded_; }
    /// Null until all interfaces are listened on.
    const CaptureReading* reading() const override;
    CaptureCounts counts() const override; ///< of all interfaces together
    std::vector<CaptureCounts> countsOfInterfaces() const override;
    const PcapNgNotes* notes() const override { return &notes_; } ///< the interfaces' names and filters
    void stop() override;

    /// Of the capture that failed.
    LiveCapture::Fault fault() const { return fault_; }

private:
    /// One interface, and the frames of it that are to be handed on.
    struct Part {
        std::unique_ptr<LiveCapture> capture;
        std::array<CaptureFrame, 64> frames;
        std::size_t at = 0, end = 0;

        bool isEmpty() const { return at == end; }
        std::int64_t time() const { return capture->reading()->nanoseconds(frames[at]); }
    };
    class Reading;

    JoinedCapture(std::vector<Part> parts, PcapNgNotes notes);

    void refill();
    std::size_t merge(std::span<CaptureFrame> frames);
    void waitForFrames(std::chrono::milliseconds patience) const;

    std::vector<Part> parts_;
    PcapNgNotes notes_;
    std::unique_ptr<Reading> reading_;
    std::optional<CaptureError> error_;
    LiveCapture::Fault fault_ = LiveCapture::Fault::none;
    bool hasEnded_ = false;
};

} // namespace netrondo
