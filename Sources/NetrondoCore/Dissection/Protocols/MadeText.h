// Text that a dissector puts together, on the stack.
#pragma once

#include <fmt/format.h>
#include <string_view>

namespace netrondo {

class MadeText {
public:
    template <typename... Args> void add(fmt::format_string<Args...> format, Args&&... args)
    {
        fmt::format_to(fmt::appender(buffer_), format, std::forward<Args>(args)...);
    }
    void put(std::string_view text) { buffer_.append(text.data(), text.data() + text.size()); }
    void put(char c) { buffer_.push_back(c); }
    void clear() { buffer_.clear(); }
    std::size_t size() const { return buffer_.size(); }
    operator std::string_view() const { return {buffer_.data(), buffer_.size()}; }

private:
    fmt::basic_memory_buffer<char, 2048> buffer_;
};

} // namespace netrondo
