// A file that is written whole record by whole record, so that whatever happens, what stands in it can be read.
#pragma once

#include "Base/Bytes.h"
#include "Capture/CaptureError.h"

#include <cstdint>
#include <filesystem>
#include <vector>

namespace netrondo {

/// When a file gets its name.
enum class FileNaming {
    whenWhole,    ///< written beside its place under a temporary name, renamed by `finish`; else nothing is left of it
    fromTheStart, ///< for what others may read while it grows; whatever happens, the records written so far stay
};

/// Collects records and writes them in large pieces. Pipes and devices, and the path "-" (standard output), are written
/// to as they are, whatever the naming. After a failure every further call returns the same error.
class OutputFile {
public:
    static CaptureResult<OutputFile> create(const std::filesystem::path& path, FileNaming naming);
    ~OutputFile();
    OutputFile(OutputFile&& other) noexcept;
    OutputFile& operator=(OutputFile&&) = delete;

    /// Adds bytes to the record that has begun.
    void append(Bytes bytes) { buffer_.insert(buffer_.end(), bytes.begin(), bytes.end()); }
    /// Ends the record; now and then writes what has been collected.
    CaptureResult<void> endRecord();
    /// Writes all whole records.
    CaptureResult<void> flush();
    /// Writes the rest and gives the file its name.
    CaptureResult<void> finish();

    /// Bytes in whole records so far, written or still collected.
    std::uint64_t size() const { return written_ + (recordEnds_.empty() ? 0 : recordEnds_.back()); }

private:
    explicit OutputFile(int descriptor) : descriptor_(descriptor) { }

    std::size_t write(std::size_t count);
    void keepWholeRecords(std::size_t written);
    void abandon();

    static constexpr std::size_t writeAtOnce = 256 * 1024;

    int descriptor_ = -1;
    bool isRegular_ = false;
    std::filesystem::path path_;
    std::filesystem::path temporary_;     ///< empty when the file has its name, or never gets one
    std::vector<std::uint8_t> buffer_;    ///< what is not written yet
    std::vector<std::size_t> recordEnds_; ///< in the buffer
    std::uint64_t written_ = 0;
    int error_ = 0; ///< errno of the first failure
};

} // namespace netrondo
