// Reading a file ahead of the one who looks at it, on a thread of its own.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <thread>

namespace netrondo {

/// While one piece of a file is looked at, the system copies the next ones: on a large capture the copying takes as
/// long as a plain look at every frame does. One thread takes the pieces; the reading one belongs to this object.
class ReadAhead {
public:
    /// Bytes read in one piece: large enough that the calls and the handing over do not count, small enough to stay in
    /// the cache.
    static constexpr std::size_t pieceSize = 512 * 1024;
    /// Room before each piece, so that what is left of the one before can be put there.
    static constexpr std::size_t headroom = pieceSize;
    static constexpr std::size_t bufferSize = headroom + pieceSize;

    /// `bufferSize` bytes at least.
    using Buffer = std::unique_ptr<std::uint8_t[]>;
    struct Piece {
        Buffer buffer;
        std::size_t size = 0; ///< bytes read, which begin at `headroom`
    };

    /// Reads a seekable file from an offset on. The descriptor belongs to the caller, stays open as long as this object
    /// lives, and keeps its place.
    ReadAhead(int descriptor, std::uint64_t offset);
    /// Waits for a read under way.
    ~ReadAhead();
    ReadAhead(const ReadAhead&) = delete;
    ReadAhead& operator=(const ReadAhead&) = delete;

    /// Waits for the piece behind the one taken last. It is empty, then and from then on, where the file ended or a
    /// read failed: what there is to say of it a read by the caller says.
    Piece take();
    /// Gives a buffer back to be read into again.
    void reuse(Buffer buffer);

private:
    void run(const std::stop_token& stop, int descriptor, std::uint64_t offset);

    std::mutex mutex_;
    std::condition_variable_any changed_;
    std::deque<Buffer> free_;
    std::deque<Piece> read_;
    std::jthread reader_; ///< last, so that it ends before what it uses
};

} // namespace netrondo
