// Bencoding: a strict look at foreign bytes, without memory and no deeper than is allowed.
#include "Dissection/Protocols/Bencode.h"

namespace netrondo::bencode {
namespace {

bool isDigit(std::uint8_t byte)
{
    return byte >= '0' && byte <= '9';
}

std::size_t dictionarySize(Bytes bytes, unsigned depth)
{
    std::size_t at = 1;
    std::string_view last;
    for (bool isFirst = true; at < bytes.size() && bytes[at] != 'e'; isFirst = false) {
        const auto head = stringHead(bytes.subspan(at));
        if (!head || head->length > bytes.size() - at - head->size)
            return 0;
        const auto key = asText(bytes.subspan(at + head->size, head->length));
        if (!isFirst && key <= last)
            return 0;
        last = key;
        at += head->size + head->length;
        const auto value = valueSize(slice(bytes, at), depth + 1);
        if (!value)
            return 0;
        at += value;
    }
    return at < bytes.size() ? at + 1 : 0;
}

} // namespace

std::optional<Head> stringHead(Bytes bytes)
{
    constexpr std::size_t mostDigits = 5;
    std::size_t length = 0, at = 0;
    while (at < bytes.size() && at < mostDigits && isDigit(bytes[at]))
        length = length * 10 + (bytes[at++] - std::size_t{'0'});
    if (at == 0 || at == bytes.size() || bytes[at] != ':' || (at > 1 && bytes[0] == '0'))
        return {};
    return Head{at + 1, length};
}

std::string_view number(Bytes bytes)
{
    constexpr std::size_t mostDigits = 20;
    if (bytes.empty() || bytes[0] != 'i')
        return {};
    std::size_t at = 1;
    if (at < bytes.size() && bytes[at] == '-')
        ++at;
    const auto first = at;
    while (at < bytes.size() && at - first < mostDigits && isDigit(bytes[at]))
        ++at;
    if (at == first || at == bytes.size() || bytes[at] != 'e')
        return {};
    return asText(bytes.subspan(1, at - 1));
}

std::size_t valueSize(Bytes bytes, unsigned depth)
{
    if (bytes.empty() || depth > maxDepth)
        return 0;
    if (bytes[0] == 'i') {
        const auto digits = number(bytes);
        return digits.empty() ? 0 : digits.size() + 2;
    }
    if (bytes[0] == 'd')
        return dictionarySize(bytes, depth);
    if (bytes[0] == 'l') {
        std::size_t at = 1;
        while (at < bytes.size() && bytes[at] != 'e') {
            const auto value = valueSize(bytes.subspan(at), depth + 1);
            if (!value)
                return 0;
            at += value;
        }
        return at < bytes.size() ? at + 1 : 0;
    }
    const auto head = stringHead(bytes);
    return head && head->length <= bytes.size() - head->size ? head->size + head->length : 0;
}

Bytes find(Bytes dictionary, std::string_view key)
{
    for (std::size_t at = 1; at < dictionary.size() && dictionary[at] != 'e';) {
        const auto head = stringHead(dictionary.subspan(at));
        if (!head || head->length > dictionary.size() - at - head->size)
            return {};
        const auto name = asText(dictionary.subspan(at + head->size, head->length));
        at += head->size + head->length;
        const auto value = valueSize(slice(dictionary, at), 1);
        if (name == key || !value)
            return slice(dictionary, at, value);
        at += value;
    }
    return {};
}

} // namespace netrondo::bencode
