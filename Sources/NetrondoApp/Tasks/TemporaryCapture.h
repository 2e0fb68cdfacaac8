// The file that a capture goes into until its user saves it.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <utility>

namespace netrondo {

/// A file in the temporary directory that nobody else may read, and that goes with the object. While the object lives
/// the file is locked: one without a lock belongs to a program that was ended before it could remove it.
class TemporaryCapture {
public:
    /// A new one, empty; its path is empty when there is no room for it.
    TemporaryCapture();
    ~TemporaryCapture();
    TemporaryCapture(TemporaryCapture&& other) noexcept
        : lock_(std::exchange(other.lock_, -1)), path_(std::exchange(other.path_, {}))
    { }
    TemporaryCapture& operator=(TemporaryCapture&&) = delete;

    const std::filesystem::path& path() const { return path_; }
    /// Leaves the file as it is, abandoned.
    void release() { path_.clear(); }

    /// One that was left behind.
    struct Abandoned {
        std::filesystem::path path;
        std::uint64_t bytes = 0;
        std::int64_t changed = 0; ///< seconds since 1970
    };
    /// The newest of this user's abandoned captures that holds a frame; those before it that hold none are removed.
    static std::optional<Abandoned> findAbandoned();
    /// Takes an abandoned one over; nothing when somebody else has, or it is gone.
    static std::optional<TemporaryCapture> adopt(const std::filesystem::path& path);

private:
    TemporaryCapture(int lock, std::filesystem::path path) : lock_(lock), path_(std::move(path)) { }

    int lock_ = -1; ///< a descriptor of the file
    std::filesystem::path path_;
};

} // namespace netrondo
