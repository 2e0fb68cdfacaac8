// A buffered file for reading: whole pieces as views, large reads underneath, and a way back that works on pipes too.
#pragma once

#include "Base/Bytes.h"
#include "Capture/CaptureError.h"
#include "Capture/ReadAhead.h"

#include <cstdint>
#include <filesystem>
#include <limits>
#include <memory>

namespace netrondo {

/// Owns a descriptor and a window of the file's bytes. Reading returns views into the window, good until the next call
/// that may refill it. Movable, not copyable; a handle that was moved from can only be destroyed or
/// assigned to.
class FileHandle {
public:
    /// Opens a file for reading; "-" is standard input. A directory is an error.
    static CaptureResult<FileHandle> open(const std::filesystem::path& path);
    /// Takes over an open descriptor (and closes it). Reading begins where the descriptor stands.
    explicit FileHandle(int descriptor);
    ~FileHandle();
    /// A second handle on the same file, even on one without a name, with a place of its own: it begins at the start.
    /// It reads in small steps, for whoever picks records here and there.
    CaptureResult<FileHandle> again() const;
    FileHandle(FileHandle&& other) noexcept;
    FileHandle& operator=(FileHandle&& other) noexcept;

    /// Up to `count` bytes from the current offset, and moves behind them; fewer only at the end of the file.
    CaptureResult<Bytes> read(std::size_t count);
    /// Like `read`, without moving.
    CaptureResult<Bytes> peek(std::size_t count);
    /// For a descriptor that does not block: from now on the end of what is there is an end of the file, and a later
    /// call goes on. Otherwise reading waits for more.
    void readAsItComes() { comesInPieces_ = true; }
    /// From now on a piece longer than this is an error, where a stream must not wait for bytes that a damaged length
    /// asks for.
    void limitPieces(std::uint64_t longest) { longestPiece_ = longest; }
    /// Makes `buffered` hold at least `count` bytes and tells whether the file has that many. The window grows with
    /// what really arrives: a count the rest of a regular file cannot hold is neither allocated nor read.
    CaptureResult<bool> require(std::uint64_t count);

    /// What is in the window from the current offset on, without touching the file: `skip` moves through it.
    Bytes buffered() const { return {window_.get() + begin_, end_ - begin_}; }
    void skip(std::size_t count) { begin_ += count; } ///< at most `buffered().size()`

    std::uint64_t offset() const { return windowOffset_ + begin_; }
    /// Moves to an offset. Unseekable files can move only within the window.
    CaptureResult<std::uint64_t> seek(std::uint64_t offset);
    /// The size of a regular file at this moment, 0 when unknown.
    std::uint64_t size() const;
    bool isSeekable() const { return seekable_; }

private:
    /// Bytes read in one piece where the next one wanted is probably elsewhere; `ReadAhead::pieceSize` otherwise.
    static constexpr std::size_t shortPiece = 32 * 1024;
    /// Below so many bytes to come a thread costs more than it gains.
    static constexpr std::uint64_t worthReadingAhead = 8 * ReadAhead::pieceSize;

    CaptureResult<bool> fill(std::uint64_t wanted);
    bool takeAhead();
    void readAhead();
    bool grow();

    int descriptor_ = -1;
    bool comesInPieces_ = false;
    std::uint64_t longestPiece_ = std::numeric_limits<std::uint64_t>::max();
    bool seekable_ = false;
    std::size_t pieceSize_ = ReadAhead::pieceSize;
    std::uint64_t windowOffset_ = 0; ///< file offset of window_[0]
    std::size_t first_ = 0;          ///< where data begins in the window
    std::size_t begin_ = 0;          ///< current place in the window
    std::size_t end_ = 0;            ///< where data ends in the window
    std::size_t capacity_ = 0;
    std::unique_ptr<std::uint8_t[]> window_;
    std::unique_ptr<ReadAhead> ahead_; ///< reads from the window's end on, while a large file is read in order
};

} // namespace netrondo
