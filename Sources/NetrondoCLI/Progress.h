// The progress bar on standard error while a capture is read.
#pragma once

#include "Capture/CaptureReading.h"

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

namespace netrondo::cli {

/// Shows nothing unless standard error is a terminal, nothing for what is quick, and leaves nothing behind.
class Progress {
public:
    Progress();
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    /// So many frames are read, so much of the source.
    void show(std::uint64_t frames, CaptureReading::Position position);
    void showInflating(CaptureReading::Position position);

private:
    using Clock = std::chrono::steady_clock;

    void draw(std::string line, CaptureReading::Position position);

    bool terminal_;
    Clock::time_point due_;
};

/// Opens a capture; the bar is there while a compressed one is inflated.
CaptureResult<std::unique_ptr<CaptureReading>> openCapture(const std::string& file);

} // namespace netrondo::cli
