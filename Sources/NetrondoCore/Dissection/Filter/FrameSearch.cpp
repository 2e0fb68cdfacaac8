// Bytes are looked for in the frame as it is; everything else takes decoding.
#include "Dissection/Filter/FrameSearch.h"

#include "Dissection/Decode/Render.h"
#include "Dissection/Filter/FilterText.h"

#include <algorithm>
#include <functional>

namespace netrondo {
namespace {

int hexDigit(char c)
{
    const char lower = asciiLower(c);
    if (lower >= '0' && lower <= '9')
        return lower - '0';
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

/// `part` is folded already.
bool holds(std::string_view text, std::string_view part)
{
    if (!isAscii(text))
        return folded(text).find(part) != std::string::npos;
    const auto same = [](char a, char b) { return asciiLower(a) == b; };
    return std::search(text.begin(), text.end(), part.begin(), part.end(), same) != text.end();
}

bool holdsText(const DecodedFrame& frame, std::string_view part, TextSink& line)
{
    line.clear();
    Render::info(frame, line);
    if (holds(line.text(), part) || holds(Render::protocol(frame.summary), part))
        return true;
    for (std::uint32_t node = 0; node < frame.tree.size(); ++node) {
        line.clear();
        Render::row(frame, node, line);
        if (holds(line.text(), part))
            return true;
    }
    return false;
}

bool isSameConversation(const FrameSummary& a, const FrameSummary& b)
{
    if (a.transport != b.transport)
        return false;
    const bool there = a.source == b.source && a.destination == b.destination && a.sourcePort == b.sourcePort
        && a.destinationPort == b.destinationPort;
    return there
        || (a.source == b.destination && a.destination == b.source && a.sourcePort == b.destinationPort
            && a.destinationPort == b.sourcePort);
}

} // namespace

FrameSearch FrameSearch::forText(std::string_view text)
{
    return FrameSearch(Text{folded(text)});
}

Result<FrameSearch, std::string> FrameSearch::forBytes(std::string_view text)
{
    text = trimmed(text);
    if (text.size() > 2 && text.starts_with('"') && text.ends_with('"')) {
        const auto inner = asBytes(text.substr(1, text.size() - 2));
        return FrameSearch(std::vector(inner.begin(), inner.end()));
    }
    std::vector<std::uint8_t> bytes;
    for (std::size_t i = 0; i < text.size();) {
        if (text[i] == ' ' || text[i] == ':' || text[i] == '-') {
            ++i;
            continue;
        }
        const int high = hexDigit(text[i]), low = i + 1 < text.size() ? hexDigit(text[i + 1]) : -1;
        if (high < 0 || low < 0)
            return std::unexpected("Write bytes as pairs of hexadecimal digits (0d 0a), or characters in quotes");
        bytes.push_back(static_cast<std::uint8_t>(high << 4 | low));
        i += 2;
    }
    if (bytes.empty())
        return std::unexpected("No bytes to look for");
    return FrameSearch(std::move(bytes));
}

CaptureResult<bool> FrameSearch::matches(IndexedDecoder& decoder, std::uint32_t frame, DecodedFrame& scratch) const
{
    NR_TRY(const auto capture, decoder.fetch(frame));
    if (const auto* bytes = std::get_if<std::vector<std::uint8_t>>(&what_))
        return !std::ranges::search(capture.data, *bytes).empty();
    decoder.decode(capture, frame, scratch);
    if (const auto* filter = std::get_if<DisplayFilter>(&what_))
        return filter->matches(scratch);
    if (const auto* summary = std::get_if<FrameSummary>(&what_))
        return isSameConversation(*summary, scratch.summary);
    thread_local TextSink line;
    return holdsText(scratch, std::get<Text>(what_).folded, line);
}

} // namespace netrondo
