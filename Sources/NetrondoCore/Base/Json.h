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
#include <string>
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

/// ASCII without quotes, backslashes and control characters: text that JSON takes as it is. Eight characters at a time.
constexpr bool isPlainJson(std::string_view text)
{
    constexpr std::uint64_t ones = 0x0101010101010101;
    std::uint64_t suspicious = 0; // the high bit of every character that may need escaping
    for (std::size_t at = 0; at < text.size(); at += 8) {
        const auto count = std::min<std::size_t>(text.size() - at, 8);
        std::uint64_t word = ones * ' ';
        if
            consteval
            {
                for (std::size_t i = 0; i < count; ++i)
                    word = word << 8 | static_cast<std::uint8_t>(text[at + i]);
            }
        else {
            std::memcpy(&word, text.data() + at, count);
        }
        // A borrow can make the next character look suspicious, never innocent.
        suspicious |= word | (word - ones * ' ') | ((word ^ ones * '"') - ones) | ((word ^ ones * '\\') - ones);
    }
    return !(suspicious & ones * 0x80);
}

/// The name of a member. That of a literal is looked at once, by the compiler.
class JsonKey {
public:
    template <std::size_t size>
    consteval JsonKey(const char (&literal)[size]) : JsonKey(std::string_view(literal, size - 1))
    { }
    constexpr JsonKey(std::string_view text) : text_(text), isPlain_(isPlainJson(text)) { }
    JsonKey(const std::string& text) : JsonKey(std::string_view(text)) { }

    std::string_view text() const { return text_; }
    bool isPlain() const { return isPlain_; }

private:
    std::string_view text_;
    bool isPlain_;
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
    void key(JsonKey name) { putText(name.text(), name.isPlain()); }
    /// A number as a key: its decimal digits.
    void key(std::unsigned_integral auto number)
    {
        char digits[20];
        key(std::string_view(digits, rapidjson::internal::u64toa(number, digits)));
    }

    void value(std::string_view text) { putText(text, isPlainJson(text)); }
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

    template <typename T> void field(JsonKey name, const T& content)
    {
        key(name);
        value(content);
    }
    /// An absent value is left out, key and all.
    template <typename T> void field(JsonKey name, const std::optional<T>& content)
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

    void putText(std::string_view text, bool isPlain)
    {
        writer_.Prefix(rapidjson::kStringType);
        if (!isPlain || text.size() > longestPlain)
            return putEscaped(text);
        char* at = stream_.out.reserve(text.size() + 2);
        at[0] = '"';
        std::memcpy(at + 1, text.data(), text.size());
        at[text.size() + 1] = '"';
        stream_.out.commit(text.size() + 2);
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
