// Reading through a window: one large read, then views into it. A mapping would save the copy, but a file that shrinks
// under a mapping kills the process; so a large file is copied by a second processor where there is one.
#include "Capture/FileHandle.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <fmt/format.h>
#include <new>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace netrondo {

CaptureResult<FileHandle> FileHandle::open(const std::filesystem::path& path)
{
    // Standard input is duplicated, so that closing the handle leaves descriptor 0 to the program.
    const int descriptor = path == "-" ? ::fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1)
                                       : ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0)
        return std::unexpected(CaptureError::system(errno));
    FileHandle handle(descriptor);
    struct stat status = {};
    if (::fstat(descriptor, &status) == 0 && S_ISDIR(status.st_mode))
        return std::unexpected(CaptureError::system(EISDIR));
    return handle;
}

FileHandle::FileHandle(int descriptor) : descriptor_(descriptor)
{
    const auto start = ::lseek(descriptor, 0, SEEK_CUR);
    seekable_ = start >= 0;
    windowOffset_ = seekable_ ? static_cast<std::uint64_t>(start) : 0;
    if (seekable_)
        ::posix_fadvise(descriptor, 0, 0, POSIX_FADV_SEQUENTIAL); // a hint: reading works without it
}

FileHandle::~FileHandle()
{
    ahead_.reset(); // it reads from the descriptor
    if (descriptor_ >= 0)
        ::close(descriptor_);
}

CaptureResult<FileHandle> FileHandle::again() const
{
    if (!seekable_)
        return std::unexpected(CaptureError::system(ESPIPE));
    // A duplicated descriptor would share its place with this one.
    const int descriptor = ::open(fmt::format("/proc/self/fd/{}", descriptor_).c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0)
        return std::unexpected(CaptureError::system(errno));
    FileHandle handle(descriptor);
    ::posix_fadvise(descriptor, 0, 0, POSIX_FADV_NORMAL);
    handle.pieceSize_ = shortPiece;
    return handle;
}

FileHandle::FileHandle(FileHandle&& other) noexcept
    : descriptor_(std::exchange(other.descriptor_, -1))
    , comesInPieces_(other.comesInPieces_)
    , longestPiece_(other.longestPiece_)
    , seekable_(other.seekable_)
    , pieceSize_(other.pieceSize_)
    , windowOffset_(other.windowOffset_)
    , first_(std::exchange(other.first_, 0))
    , begin_(std::exchange(other.begin_, 0))
    , end_(std::exchange(other.end_, 0))
    , capacity_(std::exchange(other.capacity_, 0))
    , window_(std::move(other.window_))
    , ahead_(std::move(other.ahead_))
{ }

FileHandle& FileHandle::operator=(FileHandle&& other) noexcept
{
    if (this != &other) {
        this->~FileHandle();
        new (this) FileHandle(std::move(other));
    }
    return *this;
}

CaptureResult<Bytes> FileHandle::read(std::size_t count)
{
    NR_TRY(const auto bytes, peek(count));
    skip(bytes.size());
    return bytes;
}

CaptureResult<Bytes> FileHandle::peek(std::size_t count)
{
    NR_TRY(const auto whole, fill(count));
    return whole ? buffered().first(count) : buffered();
}

CaptureResult<bool> FileHandle::require(std::uint64_t count)
{
    if (end_ - begin_ >= count)
        return true;
    if (const auto all = size(); all > 0 && (offset() > all || all - offset() < count))
        return false;
    return fill(count);
}

/// Reads until at least `wanted` bytes are in the window or the file ends, and tells which.
CaptureResult<bool> FileHandle::fill(std::uint64_t wanted)
{
    if (end_ - begin_ >= wanted)
        return true;
    if (wanted > longestPiece_)
        return std::unexpected(CaptureError::io(
            fmt::format("a record of {} bytes cannot be one: the stream is damaged or out of step", wanted)));
    while (takeAhead())
        if (end_ - begin_ >= wanted)
            return true;
    if (begin_ > 0) {
        std::memmove(window_.get(), window_.get() + begin_, end_ - begin_);
        windowOffset_ += begin_;
        end_ -= std::exchange(begin_, 0);
        first_ = 0;
    }
    while (end_ < wanted) {
        if (end_ == capacity_ && !grow())
            return std::unexpected(CaptureError::io("a record of the capture does not fit in memory"));
        const auto room = std::min(capacity_ - end_, pieceSize_);
        const auto got = seekable_
            ? ::pread(descriptor_, window_.get() + end_, room, static_cast<off_t>(windowOffset_ + end_))
            : ::read(descriptor_, window_.get() + end_, room);
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0 && errno == EAGAIN) {
            if (comesInPieces_)
                return false;
            // Standard input does not block where another program that shares it has made it so.
            pollfd more{descriptor_, POLLIN, 0};
            ::poll(&more, 1, -1);
            continue;
        }
        if (got < 0)
            return std::unexpected(CaptureError::system(errno));
        if (got == 0)
            return false;
        end_ += static_cast<std::size_t>(got);
    }
    readAhead();
    return true;
}

/// Has the rest of a large file read ahead, once a window of it was read.
void FileHandle::readAhead()
{
    const bool isWorthIt = seekable_ && !ahead_ && pieceSize_ == ReadAhead::pieceSize && windowOffset_ > 0
        && size() > windowOffset_ + end_ + worthReadingAhead && std::thread::hardware_concurrency() > 1;
    if (!isWorthIt)
        return;
    try {
        ahead_ = std::make_unique<ReadAhead>(descriptor_, windowOffset_ + end_);
    } catch (const std::exception&) {
        // No thread, or no memory for it, to be had: the file is read without.
    }
}

/// Puts the next piece that was read ahead behind what is left of the window. False where there is none, or where the
/// two do not fit into one buffer.
bool FileHandle::takeAhead()
{
    if (!ahead_)
        return false;
    const auto left = end_ - begin_;
    auto piece = left <= ReadAhead::headroom ? ahead_->take() : ReadAhead::Piece();
    if (piece.size == 0) {
        ahead_.reset();
        return false;
    }
    auto* const behindRest = piece.buffer.get() + ReadAhead::headroom;
    std::memcpy(behindRest - left, window_.get() + begin_, left);
    windowOffset_ += end_ - ReadAhead::headroom; // may be before the file: what is before `first_` is not looked at
    first_ = begin_ = ReadAhead::headroom - left;
    end_ = ReadAhead::headroom + piece.size;
    capacity_ = ReadAhead::bufferSize;
    ahead_->reuse(std::exchange(window_, std::move(piece.buffer)));
    return true;
}

/// Doubles the window; it is full of bytes that did arrive, so that no length in a file decides about memory alone.
bool FileHandle::grow()
{
    const auto capacity = std::max(2 * pieceSize_, 2 * capacity_);
    static_assert(2 * ReadAhead::pieceSize >= ReadAhead::bufferSize,
                  "a window is handed to the thread that reads ahead");
    std::unique_ptr<std::uint8_t[]> window(new (std::nothrow) std::uint8_t[capacity]);
    if (!window)
        return false;
    if (end_ > 0)
        std::memcpy(window.get(), window_.get(), end_);
    window_ = std::move(window);
    capacity_ = capacity;
    return true;
}

CaptureResult<std::uint64_t> FileHandle::seek(std::uint64_t offset)
{
    if (offset - windowOffset_ >= first_ && offset - windowOffset_ <= end_) {
        begin_ = static_cast<std::size_t>(offset - windowOffset_);
        return offset;
    }
    if (::lseek(descriptor_, static_cast<off_t>(offset), SEEK_SET) < 0)
        return std::unexpected(CaptureError::system(errno));
    ahead_.reset();
    windowOffset_ = offset;
    first_ = begin_ = end_ = 0;
    return offset;
}

std::uint64_t FileHandle::size() const
{
    struct stat status = {};
    if (!seekable_ || ::fstat(descriptor_, &status) < 0 || !S_ISREG(status.st_mode))
        return 0;
    return static_cast<std::uint64_t>(status.st_size);
}

} // namespace netrondo
