// A buffered writer for results on standard output or in a file: it formats in place and remembers a failed write.
#pragma once

#include <cstddef>
#include <fmt/format.h>
#include <memory>
#include <string>
#include <string_view>

namespace netrondo {

/// Collects text and hands it on in large pieces, to a file descriptor or to a string that the caller owns.
/// After a failed write everything further is dropped; `error` tells the errno (EPIPE for a reader that went away).
class TextOutput {
public:
    /// Writes to an open descriptor, which stays the caller's.
    explicit TextOutput(int descriptor);
    /// Appends to `text`, which outlives this object.
    explicit TextOutput(std::string& text);
    ~TextOutput();
    TextOutput(const TextOutput&) = delete;
    TextOutput& operator=(const TextOutput&) = delete;

    void put(char c)
    {
        if (used_ == capacity)
            flush();
        buffer_[used_++] = c;
    }
    void put(std::string_view text);
    template <typename... Args> void print(fmt::format_string<Args...> format, Args&&... args)
    {
        scratch_.clear();
        fmt::format_to(fmt::appender(scratch_), format, std::forward<Args>(args)...);
        put({scratch_.data(), scratch_.size()});
    }
    /// Room for `count` characters (at most 4096) to be written in place; `commit` says how many were.
    char* reserve(std::size_t count)
    {
        if (capacity - used_ < count)
            flush();
        return buffer_.get() + used_;
    }
    void commit(std::size_t count) { used_ += count; }

    /// Hands on what is buffered.
    void flush();
    /// 0, or the errno of the first write that failed.
    int error() const { return error_; }

private:
    static constexpr std::size_t capacity = 256 * 1024;

    int descriptor_ = -1;
    std::string* text_ = nullptr;
    std::unique_ptr<char[]> buffer_;
    std::size_t used_ = 0;
    int error_ = 0;
    fmt::memory_buffer scratch_;
};

} // namespace netrondo
