#include "Capture/ReadAhead.h"

#include <cerrno>
#include <unistd.h>
#include <utility>

namespace netrondo {
namespace {
/// Pieces that wait to be taken: enough to bridge a thread's waking up.
constexpr int buffers = 3;

/// As much of a piece as there is.
std::size_t readPiece(int descriptor, std::uint64_t offset, std::uint8_t* to)
{
    std::size_t size = 0;
    while (size < ReadAhead::pieceSize) {
        const auto got = ::pread(descriptor, to + size, ReadAhead::pieceSize - size, static_cast<off_t>(offset + size));
        if (got < 0 && errno == EINTR)
            continue;
        if (got <= 0)
            break;
        size += static_cast<std::size_t>(got);
    }
    return size;
}
} // namespace

ReadAhead::ReadAhead(int descriptor, std::uint64_t offset)
{
    for (int i = 0; i < buffers; ++i)
        free_.push_back(std::make_unique_for_overwrite<std::uint8_t[]>(bufferSize));
    reader_ = std::jthread([=, this](const std::stop_token& stop) { run(stop, descriptor, offset); });
}

ReadAhead::~ReadAhead() = default;

ReadAhead::Piece ReadAhead::take()
{
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return !read_.empty(); });
    if (read_.front().size == 0) // stays, for whoever asks again
        return {};
    auto piece = std::move(read_.front());
    read_.pop_front();
    return piece;
}

void ReadAhead::reuse(Buffer buffer)
{
    {
        const std::scoped_lock lock(mutex_);
        free_.push_back(std::move(buffer));
    }
    changed_.notify_all();
}

void ReadAhead::run(const std::stop_token& stop, int descriptor, std::uint64_t offset)
{
    for (bool more = true; more;) {
        std::unique_lock lock(mutex_);
        if (!changed_.wait(lock, stop, [this] { return !free_.empty(); }))
            return;
        Piece piece{std::move(free_.front())};
        free_.pop_front();
        lock.unlock();

        piece.size = readPiece(descriptor, offset, piece.buffer.get() + headroom);
        offset += piece.size;
        more = piece.size > 0;

        lock.lock();
        read_.push_back(std::move(piece));
        lock.unlock();
        changed_.notify_all();
    }
}

} // namespace netrondo
