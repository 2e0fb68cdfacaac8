// JSON as a stream: what is written goes straight to the output, so that a large result needs no tree in memory.
#pragma once

#include "Base/TextOutput.h"

#define RAPIDJSON_SSE2
#include <concepts>
#include <cstdint>
#include <optional>
#include <rapidjson/writer.h>
#include <string_view>

namespace netrondo {

/// Writes one JSON text, compact, to a `TextOutput`. Keys and values come in the order they are called.
class JsonWriter {
public:
    explicit JsonWriter(TextOutput& out) : stream_{out}, writer_(stream_) { }

    void beginObject() { writer_.StartObject(); }
    void endObject() { writer_.EndObject(); }
    void beginArray() { writer_.StartArray(); }
    void endArray() { writer_.EndArray(); }
    void key(std::string_view name) { writer_.Key(name.data(), static_cast<rapidjson::SizeType>(name.size())); }

    void value(std::string_view text) { writer_.String(text.data(), static_cast<rapidjson::SizeType>(text.size())); }
    void value(const char* text) { value(std::string_view(text)); }
    void value(bool truth) { writer_.Bool(truth); }
    void value(double number) { writer_.Double(number); }
    template <std::unsigned_integral T> void value(T number) { writer_.Uint64(number); }
    template <std::signed_integral T> void value(T number) { writer_.Int64(number); }
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

    Stream stream_;
    rapidjson::Writer<Stream> writer_;
};

} // namespace netrondo
