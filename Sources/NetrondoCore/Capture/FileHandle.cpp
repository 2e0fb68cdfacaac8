// Reading through a window: one large read(2), then views into it. A mapping would save the copy, but a file that
// shrinks under a mapping kills the process.
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
    handle.readAhead_ = shortReadAhead;
    return handle;
}

FileHandle::FileHandle(FileHandle&& other) noexcept
    : descriptor_(std::exchange(other.descriptor_, -1))
    , comesInPieces_(other.comesInPieces_)
    , longestPiece_(other.longestPiece_)
    , seekable_(other.seekable_)
    , readAhead_(other.readAhead_)
    , windowOffset_(other.windowOffset_)
    , begin_(std::exchange(other.begin_, 0))
    , end_(std::exchange(other.end_, 0))
    , capacity_(std::exchange(other.capacity_, 0))
    , window_(std::move(other.window_))
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
    if (begin_ > 0) {
        std::memmove(window_.get(), window_.get() + begin_, end_ - begin_);
        windowOffset_ += begin_;
        end_ -= std::exchange(begin_, 0);
    }
    while (end_ < wanted) {
        if (end_ == capacity_ && !grow())
            return std::unexpected(CaptureError::io("a record of the capture does not fit in memory"));
        const auto got = ::read(descriptor_, window_.get() + end_, std::min(capacity_ - end_, readAhead_));
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
    return true;
}

/// Doubles the window; it is full of bytes that did arrive, so that no length in a file decides about memory alone.
bool FileHandle::grow()
{
    const auto capacity = std::max(readAhead_, 2 * capacity_);
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
    if (offset >= windowOffset_ && offset - windowOffset_ <= end_) {
        begin_ = static_cast<std::size_t>(offset - windowOffset_);
        return offset;
    }
    if (::lseek(descriptor_, static_cast<off_t>(offset), SEEK_SET) < 0)
        return std::unexpected(CaptureError::system(errno));
    windowOffset_ = offset;
    begin_ = end_ = 0;
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
