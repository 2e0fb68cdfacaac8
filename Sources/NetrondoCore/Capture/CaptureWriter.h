// Writes frames into pcap and pcapng files.
#pragma once

#include "Capture/CaptureReading.h"
#include "Capture/OutputFile.h"
#include "Capture/PcapNgNotes.h"

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace netrondo {

/// What a live source counted on an interface; pcapng keeps it.
struct CaptureCounts {
    std::uint64_t received = 0;         ///< frames that passed the capture filter
    std::uint64_t dropped = 0;          ///< frames lost for want of room
    std::uint64_t interfaceDropped = 0; ///< frames that the interface or its driver lost

    friend bool operator==(const CaptureCounts&, const CaptureCounts&) = default;
};

/// One file. An object that is destroyed before `finish` leaves what its `FileNaming` says.
class CaptureWriter {
public:
    struct Options {
        CaptureFormat format = CaptureFormat::pcap; ///< or pcapng
        FileNaming naming = FileNaming::whenWhole;
        /// What the source says beside its frames, as far as it has been read; pcap has no place for it. Must outlive
        /// the writer, which numbers the interfaces as the notes do and keeps their resolution of time.
        const PcapNgNotes* notes = nullptr;
    };

    /// The format that a file's name asks for: pcapng for names that end in .pcapng, pcap for others; nothing for a
    /// compressed file, which is not written.
    static std::optional<CaptureFormat> formatFor(const std::filesystem::path& path);

    /// Creates the file; the path "-" is standard output.
    static CaptureResult<std::unique_ptr<CaptureWriter>> create(const std::filesystem::path& path,
                                                                const Options& options);

    virtual ~CaptureWriter() = default;
    CaptureWriter(const CaptureWriter&) = delete;
    CaptureWriter& operator=(const CaptureWriter&) = delete;

    /// Writes what the file begins with, if that is not done yet, so that it can be read before its first frame.
    /// Without it, the first frame does the same.
    virtual CaptureResult<void> begin(const SourceInterface& interface) = 0;

    /// Adds a frame that was captured so many nanoseconds after 1970. The time goes into the file as finely as
    /// `interface` says that its times are; in a pcap file the first interface decides. `options` are kept by pcapng
    /// only. Frames that the format cannot hold are refused: a second link type in a pcap file, times before 1970.
    virtual CaptureResult<void> write(const CaptureFrame& frame, std::int64_t nanoseconds,
                                      const SourceInterface& interface, const PcapNgOptions& options = {}) = 0;
    /// Adds a frame that `source` has just yielded.
    CaptureResult<void> write(const CaptureFrame& frame, const CaptureReading& source)
    {
        return write(frame, source.nanoseconds(frame), source.interfaceOf(frame));
    }

    /// Hands on all whole records, for whoever reads the file as it grows.
    CaptureResult<void> flush() { return file_.flush(); }
    /// Ends the file and gives it its name. `counts` go into a pcapng file, for its first interfaces in order; without
    /// them the statistics of the notes do.
    virtual CaptureResult<void> finish(std::span<const CaptureCounts> counts = {}) = 0;

    std::uint64_t frames() const { return frames_; }
    std::uint64_t size() const { return file_.size(); } ///< in bytes

protected:
    explicit CaptureWriter(OutputFile file) : file_(std::move(file)) { }

    /// Ends the record that holds a frame.
    CaptureResult<void> endFrame()
    {
        ++frames_;
        return file_.endRecord();
    }

    OutputFile file_;

private:
    std::uint64_t frames_ = 0;
};

} // namespace netrondo
