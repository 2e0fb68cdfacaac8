// Records are collected with their ends: a disk that fills in the middle of one keeps all before it.
#include "Capture/OutputFile.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <fmt/format.h>
#include <random>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace netrondo {
namespace {
namespace fs = std::filesystem;

std::unexpected<CaptureError> failure(int error)
{
    return std::unexpected(CaptureError::system(error));
}

/// Where the path leads, so that a link stays a link; the path itself where it leads nowhere.
fs::path resolved(const fs::path& path)
{
    std::error_code none;
    const auto real = fs::canonical(path, none);
    return none ? path : real;
}

/// Something that is there and is neither file nor folder cannot be replaced: it is written to.
bool isDeviceOrPipe(const fs::path& path)
{
    struct stat status = {};
    return ::stat(path.c_str(), &status) == 0 && !S_ISREG(status.st_mode) && !S_ISDIR(status.st_mode);
}

constexpr int creation = O_WRONLY | O_CREAT | O_CLOEXEC;
constexpr mode_t everybody = 0666; // less what the user's umask takes away

/// A new file beside `path`, and its name.
std::pair<int, fs::path> temporaryFor(const fs::path& path)
{
    std::random_device random;
    for (int attempt = 0; attempt < 100; ++attempt) {
        auto name = path;
        name.replace_filename(fmt::format(".{}.{:08x}", path.filename().string(), random()));
        const int descriptor = ::open(name.c_str(), creation | O_EXCL, everybody);
        if (descriptor >= 0 || errno != EEXIST)
            return {descriptor, name};
    }
    return {-1, {}};
}
} // namespace

CaptureResult<OutputFile> OutputFile::create(const fs::path& path, FileNaming naming)
{
    const bool isStandardOutput = path == "-";
    const auto place = isStandardOutput ? path : resolved(path);
    std::error_code none;
    if (!isStandardOutput && fs::is_directory(place, none))
        return failure(EISDIR);
    int descriptor = -1;
    fs::path temporary;
    if (isStandardOutput)
        descriptor = ::fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    else if (naming == FileNaming::fromTheStart || isDeviceOrPipe(place))
        descriptor = ::open(place.c_str(), creation | O_TRUNC, everybody);
    else
        std::tie(descriptor, temporary) = temporaryFor(place);
    if (descriptor < 0)
        return failure(errno);
    OutputFile file(descriptor);
    struct stat status = {};
    file.isRegular_ = !isStandardOutput && ::fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode);
    file.path_ = place;
    file.temporary_ = std::move(temporary);
    return file;
}

OutputFile::OutputFile(OutputFile&& other) noexcept
    : descriptor_(std::exchange(other.descriptor_, -1))
    , isRegular_(other.isRegular_)
    , path_(std::move(other.path_))
    , temporary_(std::exchange(other.temporary_, {}))
    , buffer_(std::move(other.buffer_))
    , recordEnds_(std::move(other.recordEnds_))
    , written_(other.written_)
    , error_(other.error_)
{ }

OutputFile::~OutputFile()
{
    if (descriptor_ >= 0 && temporary_.empty() && error_ == 0)
        static_cast<void>(flush()); // who does not finish a file asks for no more than what can be had
    abandon();
}

void OutputFile::abandon()
{
    if (descriptor_ >= 0)
        ::close(descriptor_);
    descriptor_ = -1;
    if (!temporary_.empty())
        ::unlink(temporary_.c_str());
    temporary_.clear();
}

CaptureResult<void> OutputFile::endRecord()
{
    recordEnds_.push_back(buffer_.size());
    return buffer_.size() >= writeAtOnce ? flush() : CaptureResult<void>();
}

CaptureResult<void> OutputFile::flush()
{
    if (error_ == 0 && !recordEnds_.empty()) {
        const auto whole = recordEnds_.back();
        const auto done = write(whole);
        if (done < whole)
            keepWholeRecords(done);
        written_ += done == whole ? whole : 0;
        buffer_.erase(buffer_.begin(), buffer_.begin() + static_cast<std::ptrdiff_t>(whole));
        recordEnds_.clear();
    }
    return error_ == 0 ? CaptureResult<void>() : failure(error_);
}

/// Writes the first bytes of the buffer; returns how many it could.
std::size_t OutputFile::write(std::size_t count)
{
    std::size_t done = 0;
    while (done < count) {
        const auto got = ::write(descriptor_, buffer_.data() + done, count - done);
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0) {
            error_ = errno;
            break;
        }
        done += static_cast<std::size_t>(got);
    }
    return done;
}

/// Cuts the file behind the last record that went into it whole.
void OutputFile::keepWholeRecords(std::size_t written)
{
    const auto behind = std::ranges::upper_bound(recordEnds_, written);
    written_ += behind == recordEnds_.begin() ? 0 : *std::prev(behind);
    // Where it cannot be cut, readers take the piece of a record at its end for one that is still being written.
    if (isRegular_)
        static_cast<void>(::ftruncate(descriptor_, static_cast<off_t>(written_)) == 0);
}

CaptureResult<void> OutputFile::finish()
{
    if (const auto flushed = flush(); !flushed) {
        abandon();
        return flushed;
    }
    // Some file systems tell only now that they had no room.
    if (::close(std::exchange(descriptor_, -1)) != 0)
        error_ = errno;
    if (error_ == 0 && !temporary_.empty() && ::rename(temporary_.c_str(), path_.c_str()) != 0)
        error_ = errno;
    if (error_ == 0)
        temporary_.clear();
    abandon();
    return error_ == 0 ? CaptureResult<void>() : failure(error_);
}

} // namespace netrondo
