// Inflating in steps of 64 KiB, so that no capture has to fit in memory. The only file that knows zlib.
#include "Capture/GzipCodec.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>
#define ZLIB_CONST // inflate only reads its input
#include <zlib.h>

namespace netrondo::GzipCodec {
namespace {
constexpr std::size_t step = 65'536;
constexpr int gzipWrapperOnly = 31; // with the largest window, 32 KiB

auto failed(std::string payload)
{
    return std::unexpected(CaptureError::io(std::move(payload)));
}

/// A zlib inflate stream that ends with its scope.
class Inflater {
public:
    Inflater() : started_(inflateInit2(&stream_, gzipWrapperOnly)) { }
    ~Inflater()
    {
        if (started_ == Z_OK)
            inflateEnd(&stream_);
    }
    Inflater(const Inflater&) = delete;
    Inflater& operator=(const Inflater&) = delete;

    int started() const { return started_; } ///< zlib's return code

    void feed(Bytes input)
    {
        stream_.next_in = input.data();
        stream_.avail_in = static_cast<uInt>(input.size());
    }
    /// Bytes of the input that it has not taken.
    std::size_t unused() const { return stream_.avail_in; }
    /// Inflates into `output`; gives zlib's return code and how many bytes came out.
    std::pair<int, std::size_t> inflateInto(std::span<std::uint8_t> output)
    {
        stream_.next_out = output.data();
        stream_.avail_out = static_cast<uInt>(output.size());
        const int code = inflate(&stream_, Z_NO_FLUSH);
        return {code, output.size() - stream_.avail_out};
    }

private:
    z_stream stream_ = {};
    int started_;
};

/// Inflates the first member of `from` and hands the pieces to `sink`, which tells how many bytes it takes next: up to
/// `step`, 0 for no more.
///
/// Input that ends before the stream does is no error when something came out: a capture whose copying was cut is worth
/// what it holds. Of what is behind the first member it only tells whether it is another one.
template <typename Sink> CaptureResult<bool> inflateMember(FileHandle& from, std::size_t room, Sink&& sink)
{
    Inflater inflater;
    if (inflater.started() != Z_OK)
        return failed(fmt::format("Failed to start gzip inflate ({}).", inflater.started()));
    std::array<std::uint8_t, step> output;
    bool produced = false;
    int code = Z_OK;
    while (code != Z_STREAM_END && room > 0) {
        NR_TRY(const auto input, from.read(step));
        if (input.empty())
            break;
        inflater.feed(input);
        bool full = true;
        while (full && code != Z_STREAM_END && room > 0) {
            std::size_t size = 0;
            std::tie(code, size) = inflater.inflateInto(std::span(output).first(room));
            if (code != Z_OK && code != Z_BUF_ERROR && code != Z_STREAM_END)
                return failed(fmt::format("gzip inflate failed ({}).", code));
            produced |= size > 0;
            full = size == room;
            NR_TRY(room, sink(Bytes(output).first(size)));
        }
    }
    if (!produced)
        return failed("gzip stream was empty.");
    if (code != Z_STREAM_END)
        return false;
    const auto start = from.offset() - inflater.unused();
    NR_TRY([[maybe_unused]] const auto there, from.seek(start));
    NR_TRY(const auto next, from.peek(2));
    return is(next);
}
} // namespace

bool is(Bytes prefix)
{
    return prefix.size() >= 2 && prefix[0] == 0x1f && prefix[1] == 0x8b;
}

CaptureError cannotInflateInto(std::string_view place, int errorNumber)
{
    return CaptureError::io(
        fmt::format("cannot inflate into {}: {}", place, CaptureError::system(errorNumber).payload));
}

CaptureResult<bool> decompress(FileHandle& from, int to, std::string_view place, const std::function<bool()>& goesOn)
{
    return inflateMember(from, step, [&](Bytes piece) -> CaptureResult<std::size_t> {
        if (goesOn && !goesOn())
            return std::unexpected(CaptureError::system(ECANCELED));
        while (!piece.empty()) {
            const auto written = ::write(to, piece.data(), piece.size());
            if (written < 0 && errno != EINTR)
                return std::unexpected(cannotInflateInto(place, errno));
            piece = piece.subspan(static_cast<std::size_t>(std::max<ssize_t>(written, 0)));
        }
        return step;
    });
}

CaptureResult<void> decompress(const std::filesystem::path& from, const std::filesystem::path& to)
{
    NR_TRY(auto input, FileHandle::open(from));
    const auto place = to.string();
    const int output = ::open(to.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (output < 0)
        return std::unexpected(cannotInflateInto(place, errno));
    CaptureResult<void> result;
    if (const auto inflated = decompress(input, output, place); !inflated)
        result = std::unexpected(inflated.error());
    if (::close(output) < 0 && result)
        result = std::unexpected(cannotInflateInto(place, errno));
    if (!result)
        ::unlink(to.c_str()); // half a file helps nobody
    return result;
}

CaptureResult<std::vector<std::uint8_t>> inflatePrefix(const std::filesystem::path& from, std::int64_t maxBytes)
{
    std::vector<std::uint8_t> prefix;
    if (maxBytes < 1)
        return prefix;
    const auto missing = [&] { return static_cast<std::uint64_t>(maxBytes) - prefix.size(); };
    const auto room = [&] { return static_cast<std::size_t>(std::min<std::uint64_t>(missing(), step)); };
    NR_TRY(auto input, FileHandle::open(from));
    const auto collect = [&](Bytes piece) -> CaptureResult<std::size_t> {
        prefix.insert(prefix.end(), piece.begin(), piece.end());
        return room();
    };
    if (const auto done = inflateMember(input, room(), collect); !done)
        return std::unexpected(done.error());
    return prefix;
}

} // namespace netrondo::GzipCodec
