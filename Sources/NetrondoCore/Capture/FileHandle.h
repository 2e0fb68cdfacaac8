// A buffered file for reading: whole pieces as views, large reads underneath, and a way back that works on pipes too.
#pragma once

#include "Base/Bytes.h"
#include "Capture/CaptureError.h"

#include <cstdint>
#include <filesystem>
#include <memory>
#include <vector>

namespace netrondo {

/// Owns a descriptor and a window of the file's bytes. Reading returns views into the window, good until the next call
/// that may refill it. Movable, not copyable.
class FileHandle {
public:
    /// Opens a file for reading; "-" is standard input. A directory is an error.
    static CaptureResult<FileHandle> open(const std::filesystem::path& path);
    /// Takes over an open descriptor (and closes it).
    explicit FileHandle(int descriptor);
    ~FileHandle();
    FileHandle(FileHandle&& other) noexcept;
    FileHandle& operator=(FileHandle&& other) noexcept;

    /// Up to `count` bytes from the current offset, and moves behind them; fewer only at the end of the file. The
    /// window grows with what really arrives: a count the rest of a regular file cannot hold is never allocated.
    CaptureResult<Bytes> read(std::uint64_t count);
    /// Like `read`, without moving.
    CaptureResult<Bytes> peek(std::uint64_t count);
    /// What is in the window from the current offset on, without touching the file: `skip` moves through it.
    Bytes buffered() const { return {window_.data() + begin_, end_ - begin_}; }
    void skip(std::size_t count) { begin_ += count; } ///< at most `buffered().size()`

    std::uint64_t offset() const { return windowOffset_ + begin_; }
    /// Moves to an offset. Unseekable files can go back only within the window.
    CaptureResult<std::uint64_t> seek(std::uint64_t offset);
    /// The size of a regular file, 0 when unknown.
    std::uint64_t size() const { return size_; }
    bool isSeekable() const { return seekable_; }

private:
    /// Makes at least `count` bytes available from the current offset, if the file has them.
    CaptureResult<Bytes> fill(std::uint64_t count);

    int descriptor_ = -1;
    bool seekable_ = false;
    std::uint64_t size_ = 0;
    std::uint64_t windowOffset_ = 0; ///< file offset of window_[0]
    std::size_t begin_ = 0;          ///< current place in the window
    std::size_t end_ = 0;            ///< bytes of the window that hold data
    std::vector<std::uint8_t> window_;
};

} // namespace netrondo
