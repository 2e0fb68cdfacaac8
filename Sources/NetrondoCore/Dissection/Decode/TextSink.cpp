// Numbers and foreign text into a sink.
#include "Dissection/Decode/TextSink.h"

#include <rapidjson/internal/itoa.h>

namespace netrondo {
namespace {

/// The length of the well-formed UTF-8 sequence at the start of `text`, or 0 (Unicode's table of well-formed bytes).
std::size_t utf8Length(std::string_view text)
{
    const auto byte = [&](std::size_t i) { return i < text.size() ? static_cast<unsigned char>(text[i]) : 0u; };
    const auto follows = [&](std::size_t i, unsigned low = 0x80, unsigned high = 0xbf) {
        return byte(i) >= low && byte(i) <= high;
    };
    const auto first = byte(0);
    if (first >= 0xc2 && first <= 0xdf)
        return follows(1) ? 2 : 0;
    if (first >= 0xe0 && first <= 0xef)
        return follows(1, first == 0xe0 ? 0xa0 : 0x80, first == 0xed ? 0x9f : 0xbf) && follows(2) ? 3 : 0;
    if (first >= 0xf0 && first <= 0xf4)
        return follows(1, first == 0xf0 ? 0x90 : 0x80, first == 0xf4 ? 0x8f : 0xbf) && follows(2) && follows(3) ? 4 : 0;
    return 0;
}

/// U+0080 to U+009F are control characters that some terminals obey.
bool isC1(std::string_view sequence)
{
    return sequence.size() == 2 && static_cast<unsigned char>(sequence[0]) == 0xc2
        && static_cast<unsigned char>(sequence[1]) < 0xa0;
}

} // namespace

void TextSink::put(std::uint64_t number)
{
    auto* const start = room(20);
    size_ += static_cast<std::size_t>(rapidjson::internal::u64toa(number, start) - start);
}

void TextSink::putSigned(std::int64_t number)
{
    auto* const start = room(20);
    size_ += static_cast<std::size_t>(rapidjson::internal::i64toa(number, start) - start);
}

void TextSink::putHex(std::uint64_t number, unsigned digits)
{
    while (digits < 16 && number >> (4 * digits))
        ++digits;
    auto* out = room(digits);
    size_ += digits;
    while (digits--)
        *out++ = "0123456789abcdef"[number >> (4 * digits) & 0xf];
}

void TextSink::putForeign(std::string_view text)
{
    while (!text.empty()) {
        std::size_t plain = 0;
        while (plain < text.size() && text[plain] >= ' ' && text[plain] != 0x7f)
            ++plain;
        put(text.substr(0, plain));
        text.remove_prefix(plain);
        if (text.empty())
            return;
        const auto length = utf8Length(text);
        if (length && !isC1(text.substr(0, length)))
            put(text.substr(0, length));
        else
            put("·");
        text.remove_prefix(length ? length : 1);
    }
}

void TextSink::grow(std::size_t count)
{
    auto larger = std::make_unique_for_overwrite<char[]>(capacity_ * 2 + count);
    std::memcpy(larger.get(), buffer_.get(), size_);
    buffer_ = std::move(larger);
    capacity_ = capacity_ * 2 + count;
}

} // namespace netrondo
