// Small questions about lines of text, in ASCII as the protocols ask them.
#include "Dissection/Protocols/TextLines.h"

#include <algorithm>

namespace netrondo::textLines {
namespace {

char lower(char c)
{
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c;
}

} // namespace

std::pair<std::string_view, std::string_view> firstWord(std::string_view line)
{
    const auto blank = std::min(line.find(' '), line.size());
    return {line.substr(0, blank), trimmed(line.substr(blank))};
}

std::string_view firstLine(Bytes payload)
{
    auto line = asText(payload);
    line = line.substr(0, line.find('\n'));
    if (line.ends_with('\r'))
        line.remove_suffix(1);
    return line;
}

bool isText(Bytes payload)
{
    const auto isPlain = [](std::uint8_t c) { return c == '\t' || (c >= ' ' && c != 0x7f); };
    if (payload.empty() || !isPlain(payload.front())) // most of what is no text says so with its first byte
        return false;
    return std::ranges::all_of(asBytes(firstLine(payload)), isPlain);
}

bool isReply(std::string_view line)
{
    const auto digit = [&](std::size_t i) { return line[i] >= '0' && line[i] <= '9'; };
    return line.size() >= 3 && line[0] >= '1' && line[0] <= '6' && digit(1) && digit(2)
        && (line.size() == 3 || line[3] == ' ' || line[3] == '-');
}

bool equalsIgnoringCase(std::string_view a, std::string_view b)
{
    return std::ranges::equal(a, b, [](char x, char y) { return lower(x) == lower(y); });
}

bool startsIgnoringCase(std::string_view text, std::string_view start)
{
    return text.size() >= start.size() && equalsIgnoringCase(text.substr(0, start.size()), start);
}

std::string_view trimmed(std::string_view text)
{
    while (!text.empty() && (text.front() == ' ' || text.front() == '\t'))
        text.remove_prefix(1);
    while (!text.empty() && (text.back() == ' ' || text.back() == '\t'))
        text.remove_suffix(1);
    return text;
}

} // namespace netrondo::textLines
