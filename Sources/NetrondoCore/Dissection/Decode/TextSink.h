// Where lines of text are put together: a buffer that is used again, and "{}" places filled in order.
#pragma once

#include "Base/Address.h"

#include <algorithm>
#include <array>
#include <concepts>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string_view>

namespace netrondo {

class Value;
class TextSink;

/// Writes a field's value as a person reads it: the name of the number if it has one.
void writeValue(TextSink& out, const Value& value);

/// A text with as many "{}" as there are arguments; anything else does not compile.
template <typename... Args> struct Template {
    std::array<std::string_view, sizeof...(Args) + 1> pieces; ///< before, between and behind the places

    consteval Template(const char* literal)
    {
        const std::string_view text(literal);
        std::size_t places = 0, from = 0;
        for (std::size_t i = 0; i + 1 < text.size(); ++i) {
            if (text[i] != '{' || text[i + 1] != '}')
                continue;
            if (places == sizeof...(Args))
                throw "as many {} as arguments";
            pieces[places++] = text.substr(from, i - from);
            from = i + 2;
        }
        if (places != sizeof...(Args))
            throw "as many {} as arguments";
        pieces[places] = text.substr(from);
    }
};

class TextSink {
public:
    TextSink() : buffer_(std::make_unique_for_overwrite<char[]>(initialCapacity)), capacity_(initialCapacity) { }

    std::string_view text() const { return {buffer_.get(), size_}; }
    std::size_t size() const { return size_; }
    void clear() { size_ = 0; }
    void truncate(std::size_t size) { size_ = size; }

    template <typename... Args> void operator()(Template<std::type_identity_t<Args>...> line, const Args&... args)
    {
        const auto* piece = line.pieces.data();
        (static_cast<void>((put(*piece++), add(args))), ...);
        put(*piece);
    }

    void put(std::string_view text)
    {
        if (text.empty()) // perhaps of no text at all, which memcpy must not see
            return;
        std::memcpy(room(text.size()), text.data(), text.size());
        size_ += text.size();
    }
    /// A literal, whose size the compiler knows.
    template <std::size_t size> void put(const char (&literal)[size])
    {
        std::memcpy(room(size - 1), literal, size - 1);
        size_ += size - 1;
    }
    void put(char c) { *room(1) = c, ++size_; }
    void put(std::uint64_t number);
    void putSigned(std::int64_t number);
    /// At least `digits` hexadecimal digits.
    void putHex(std::uint64_t number, unsigned digits);
    void put(const Address& address) { size_ += address.write(room(Address::maxText)); }
    void pad(std::size_t toSize)
    {
        if (size_ >= toSize)
            return;
        constexpr std::size_t mostGaps = 32; // set as a whole, without a call
        const auto count = toSize - size_;
        auto* const at = room(std::max(count, mostGaps));
        std::memset(at, ' ', mostGaps);
        if (count > mostGaps)
            std::memset(at, ' ', count);
        size_ = toSize;
    }
    /// Foreign text: control characters and broken UTF-8 become "·", so that a frame cannot steer a terminal.
    void putForeign(std::string_view text);

    void add(std::string_view text) { put(text); }
    void add(const char* text) { put(std::string_view(text)); }
    void add(char c) { put(c); }
    void add(const Address& address) { put(address); }
    void add(const Value& value) { writeValue(*this, value); }
    template <std::unsigned_integral T> void add(T number) { put(std::uint64_t{number}); }
    template <std::signed_integral T> void add(T number) { putSigned(number); }

private:
    static constexpr std::size_t initialCapacity = 4096;

    char* room(std::size_t count)
    {
        if (capacity_ - size_ < count) [[unlikely]]
            grow(count);
        return buffer_.get() + size_;
    }
    void grow(std::size_t count);

    std::unique_ptr<char[]> buffer_;
    std::size_t capacity_;
    std::size_t size_ = 0;
};

} // namespace netrondo
