#include "Tasks/TemporaryCapture.h"

#include "Capture/CaptureFile.h"

#include <QDir>
#include <algorithm>
#include <cstdlib>
#include <fcntl.h>
#include <functional>
#include <string_view>
#include <sys/file.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <vector>

namespace netrondo {
namespace {

constexpr std::string_view beginning = "netrondo-unsaved-", ending = ".pcapng";
constexpr std::string_view varying = "XXXXXX"; ///< as mkostemps wants it

std::filesystem::path folder()
{
    return QDir::tempPath().toStdString();
}

bool isNameOfOne(std::string_view name)
{
    return name.size() == beginning.size() + varying.size() + ending.size() && name.starts_with(beginning)
        && name.ends_with(ending);
}

/// As `TemporaryCapture` makes them: what a user keeps under such a name would not be locked to everybody else.
bool isOurs(const struct stat& status)
{
    return S_ISREG(status.st_mode) && status.st_uid == ::getuid() && (status.st_mode & (S_IRWXG | S_IRWXO)) == 0;
}

/// The file is still there under its name. Whoever tidies up may have removed it just before it was locked.
bool isLinked(int descriptor)
{
    struct stat status = {};
    return ::fstat(descriptor, &status) == 0 && status.st_nlink > 0;
}

bool holdsFrame(const std::filesystem::path& path)
{
    const auto reader = CaptureFile::open(path);
    if (!reader)
        return false;
    const auto frame = (*reader)->nextFrame();
    return frame && *frame;
}

} // namespace

TemporaryCapture::TemporaryCapture()
{
    do {
        if (lock_ >= 0)
            ::close(lock_);
        auto name = (folder() / beginning).string().append(varying).append(ending);
        lock_ = ::mkostemps(name.data(), static_cast<int>(ending.size()), O_CLOEXEC);
        path_ = lock_ >= 0 ? name : std::string();
    } while (lock_ >= 0 && ::flock(lock_, LOCK_EX) == 0 && !isLinked(lock_));
}

TemporaryCapture::~TemporaryCapture()
{
    std::error_code gone;
    if (!path_.empty())
        std::filesystem::remove(path_, gone);
    if (lock_ >= 0)
        ::close(lock_);
}

std::optional<TemporaryCapture> TemporaryCapture::adopt(const std::filesystem::path& path)
{
    const int lock = ::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    struct stat status = {};
    if (lock >= 0 && ::fstat(lock, &status) == 0 && isOurs(status) && ::flock(lock, LOCK_EX | LOCK_NB) == 0
        && isLinked(lock))
        return TemporaryCapture(lock, path);
    if (lock >= 0)
        ::close(lock);
    return std::nullopt;
}

std::optional<TemporaryCapture::Abandoned> TemporaryCapture::findAbandoned()
{
    std::vector<Abandoned> found;
    std::error_code none;
    for (std::filesystem::directory_iterator entries(folder(), none), end; !none && entries != end;
         entries.increment(none)) {
        struct stat status = {};
        if (isNameOfOne(entries->path().filename().string()) && ::lstat(entries->path().c_str(), &status) == 0)
            found.push_back({entries->path(), static_cast<std::uint64_t>(status.st_size), status.st_mtim.tv_sec});
    }
    std::ranges::sort(found, std::greater(), &Abandoned::changed);
    for (const auto& one : found) {
        auto file = adopt(one.path);
        if (!file)
            continue; // it is being written, or somebody else's
        if (holdsFrame(one.path)) {
            file->release();
            return one;
        }
    }
    return std::nullopt;
}

} // namespace netrondo
