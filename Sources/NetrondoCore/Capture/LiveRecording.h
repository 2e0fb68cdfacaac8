// Works off a live source: writes its frames into a file, hands them on, and minds how long and how many.
#pragma once

#include "Capture/CaptureRecorder.h"
#include "Capture/LiveSource.h"

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

namespace netrondo {

/// `run` belongs to one thread, which need not be the one that made the object; `stop` and `status` may be called from
/// any. The window runs it on a thread of its own, and reads the growing file meanwhile.
class LiveRecording {
public:
    struct Limits {
        std::uint64_t frames = 0;                ///< 0: none
        std::chrono::duration<double> time{0.0}; ///< 0: none
    };
    struct Output {
        std::filesystem::path file;
        std::optional<CaptureRecorder::Ring> ring = std::nullopt;
    };
    struct Status {
        std::uint64_t frames = 0;
        CaptureCounts counts;
        bool isConnected = false; ///< the source's header has come
        std::string trouble;      ///< of the source
    };
    /// What went wrong, and with what: the source's name or the path of a file.
    struct Failure {
        std::string where;
        CaptureError error;
    };
    using Receiver = std::function<void(const CaptureReading& source, std::span<const CaptureFrame> frames)>;

    /// `name` is the source's, for failures. The file is created when the source has begun: a source that fails before
    /// costs nobody an older file. Without an output the frames go to the receiver only.
    LiveRecording(std::shared_ptr<LiveSource> source, std::string name, std::optional<Output> output,
                  const Limits& limits, Receiver receiver = {});

    /// Returns when the source has ended, a limit is reached, or something failed; the file is finished then and holds
    /// all frames until that moment. `tick` is called now and then, at least every `interval`, after the file has been
    /// brought up to date; when it returns false the recording stops.
    Result<void, Failure> run(std::chrono::milliseconds interval, const std::function<bool()>& tick = {});

    void stop();
    Status status() const;

private:
    Result<void, Failure> runToTheEnd(std::chrono::milliseconds interval, const std::function<bool()>& tick);
    Result<void, Failure> begin(const CaptureReading& reading);
    Result<void, Failure> take(std::span<const CaptureFrame> frames);
    std::unexpected<Failure> failureOfFile(const CaptureError& error) const;
    void publish();

    std::shared_ptr<LiveSource> source_;
    std::string name_;
    std::optional<Output> output_;
    std::unique_ptr<CaptureRecorder> recorder_; ///< once the source has begun
    Limits limits_;
    Receiver receiver_;
    std::uint64_t frames_ = 0;
    mutable std::mutex lock_; ///< of `status_`
    Status status_;
};

} // namespace netrondo
