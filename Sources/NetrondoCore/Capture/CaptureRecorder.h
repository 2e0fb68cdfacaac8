// Writes what is captured into a file, or into a ring of files of which the last few are kept.
#pragma once

#include "Capture/CaptureWriter.h"

#include <cstdint>
#include <deque>
#include <filesystem>
#include <memory>
#include <optional>

namespace netrondo {

/// Files have their names from the start, so that others can read them while they grow, and that all is kept whatever
/// happens.
class CaptureRecorder {
public:
    struct Ring {
        std::uint64_t bytes = 0; ///< a file that has reached this size is followed by the next
        std::size_t files = 0;   ///< so many are kept, the one being written among them; at least 1
    };

    /// Creates the (first) file; `notes` go into every one, as `CaptureWriter` has it. Those of a ring are numbered:
    /// NAME-00001.pcap, NAME-00002.pcap, …
    static CaptureResult<std::unique_ptr<CaptureRecorder>> create(const std::filesystem::path& path,
                                                                  std::optional<Ring> ring = std::nullopt,
                                                                  const PcapNgNotes* notes = nullptr);

    /// As `CaptureWriter` does. After an error only `finish` is left to call.
    CaptureResult<void> begin(const SourceInterface& interface);
    CaptureResult<void> write(const CaptureFrame& frame, const CaptureReading& source);
    CaptureResult<void> flush();
    /// Also after a failure, for what could be written before it.
    CaptureResult<void> finish(std::span<const CaptureCounts> counts);

    std::uint64_t frames() const { return frames_; } ///< in all files
    /// The file being written, for messages.
    const std::filesystem::path& file() const { return file_; }

private:
    CaptureRecorder(std::filesystem::path path, std::optional<Ring> ring, const PcapNgNotes* notes)
        : path_(std::move(path)), ring_(ring), notes_(notes)
    { }

    CaptureResult<void> openNext();
    std::filesystem::path nameOf(std::uint64_t number) const;

    std::filesystem::path path_;
    std::optional<Ring> ring_;
    const PcapNgNotes* notes_;
    std::unique_ptr<CaptureWriter> writer_;
    std::filesystem::path file_;
    std::deque<std::filesystem::path> kept_; ///< of a ring, the oldest first
    std::uint64_t opened_ = 0;
    std::uint64_t frames_ = 0;
};

} // namespace netrondo
