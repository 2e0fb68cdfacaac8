// JSON as a stream: what is written goes straight to the output, so that a large result needs no tree in memory.
#pragma once

#include "Base/Counter.h"
#include "Base/TextOutput.h"

#include <algorithm>
#include <concepts>
#include <cstdint>
#include <cstring>
#include <optional>
#include <rapidjson/writer.h>
#include <string_view>
#include <vector>

namespace netrondo {

class JsonWriter;

/// A record that says how it is written: `void write(JsonWriter&, const T&)`, beside its type.
template <typename T>
concept JsonRecord = requires(JsonWriter& json, const T& record)
{
    write(json, record);
};

/// Writes one JSON text, compact, to a `TextOutput`. Keys and values come in the order they are called. Text that is
/// not UTF-8 gets U+FFFD for what cannot be read, a number that is not finite becomes null: the result is JSON always.
class JsonWriter {
public:
    explicit JsonWriter(TextOutput& out) : stream_{out}, writer_(stream_) { }

    void beginObject() { writer_.StartObject(); }
    void endObject() { writer_.EndObject(); }
    void beginArray() { writer_.StartArray(); }
    void endArray() { writer_.EndArray(); }
    void key(std::string_view name) { value(name); }
    /// A number as a key: its decimal digits.
    void key(std::unsigned_integral auto number)
    {
        char digits[20];
        key(std::string_view(digits, rapidjson::internal::u64toa(number, digits)));
    }

    void value(std::string_view text)
    {
        writer_.Prefix(rapidjson::kStringType);
        if (text.size() > longestPlain || !isPlain(text))
            return putEscaped(text);
        char* at = stream_.out.reserve(text.size() + 2);
        at[0] = '"';
        std::memcpy(at + 1, text.data(), text.size());
        at[text.size() + 1] = '"';
        stream_.out.commit(text.size() + 2);
    }
    void value(const char* text) { value(std::string_view(text)); }
    void value(bool truth)
    {
        putScalar([&](char* at) { return std::copy_n(truth ? "true" : "false", truth ? 4 : 5, at); });
    }
    void value(double number);
    template <std::unsigned_integral T> void value(T number)
    {
        putScalar([&](char* at) { return rapidjson::internal::u64toa(number, at); });
    }
    template <std::signed_integral T> void value(T number)
    {
        putScalar([&](char* at) { return rapidjson::internal::i64toa(number, at); });
    }
    template <typename T> void value(Counter<T> count) { value(static_cast<T>(count)); }
    template <JsonRecord T> void value(const T& record) { write(*this, record); }
    /// A list is an array.
    template <typename T> void value(const std::vector<T>& list)
    {
        beginArray();
        for (const auto& element : list)
            value(element);
        endArray();
    }
    void null() { writer_.Null(); }

    template <typename T> void field(std::string_view name, const T& content)
    {
        key(name);
        value(content);
    }
    /// An absent value is left out, key and all.
    template <typename T> void field(std::string_view name, const std::optional<T>& content)
    {
        if (content)
            field(name, *content);
    }

    /// Ends a line of JSON Lines; the next value starts a JSON text of its own.
    void endLine()
    {
        stream_.out.put('\n');
        writer_.Reset(stream_);
    }

private:
    struct Stream {
        using Ch = char;
        TextOutput& out;
        void Put(char c) { out.put(c); }
        void Flush() { }
    };
    /// RapidJSON's writer keeps the order of commas and colons. Scalars go to the output in one piece instead of its
    /// character by character, which halves the time of a large result.
    struct Structure : rapidjson::Writer<Stream> {
        using rapidjson::Writer<Stream>::Writer;
        using rapidjson::Writer<Stream>::Prefix;
    };

    static constexpr std::size_t longestPlain = 4000; // what `TextOutput::reserve` has room for

    /// ASCII without quotes, backslashes and control characters: eight characters at a time.
    static bool isPlain(std::string_view text)
    {
        const char* at = text.data();
        std::size_t left = text.size();
        std::uint64_t suspicious = 0;
        for (; left >= 8; at += 8, left -= 8)
            suspicious |= suspiciousBits(at, 8);
        if (left)
            suspicious |= text.size() >= 8 ? suspiciousBits(at + left - 8, 8) : suspiciousBits(at, left);
        return !(suspicious & 0x8080808080808080);
    }
    /// The high bit of every byte that may need escaping; a borrow can make a neighbour look suspicious, never
    /// innocent.
    static std::uint64_t suspiciousBits(const char* at, std::size_t count)
    {
        constexpr std::uint64_t ones = 0x0101010101010101;
        std::uint64_t word = ones * ' ';
        std::memcpy(&word, at, count);
        const auto quote = word ^ ones * '"', backslash = word ^ ones * '\\';
        return word | (word - ones * ' ') | (quote - ones) | (backslash - ones);
    }

    void putEscaped(std::string_view text);
    /// `writeTo` gets room for 32 characters and returns where it ended.
    template <typename Write> void putScalar(Write writeTo)
    {
        writer_.Prefix(rapidjson::kNumberType);
        char* at = stream_.out.reserve(32);
        stream_.out.commit(static_cast<std::size_t>(writeTo(at) - at));
    }

    Stream stream_;
    Structure writer_;
};

} // namespace netrondo
