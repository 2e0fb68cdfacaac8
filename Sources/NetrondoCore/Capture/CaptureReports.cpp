// A line is looked at when its end has come.
#include "Capture/CaptureReports.h"

#include <algorithm>
#include <charconv>

namespace netrondo {
namespace {

struct FaultName {
    std::string_view word;
    CaptureFault fault;
};
constexpr FaultName faultNames[] = {
    {"permission", CaptureFault::permission},
    {"interface", CaptureFault::interface},
    {"down", CaptureFault::interfaceDown},
    {"filter", CaptureFault::filter},
};

/// The word before the next blank, taken from the front of `text`.
std::string_view takeWord(std::string_view& text)
{
    const auto end = std::min(text.find(' '), text.size());
    const auto word = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    return word;
}

std::uint64_t takeNumber(std::string_view& text)
{
    const auto word = takeWord(text);
    std::uint64_t value = 0;
    std::from_chars(word.data(), word.data() + word.size(), value);
    return value;
}
} // namespace

void CaptureReports::take(std::string_view piece)
{
    while (!piece.empty()) {
        const auto end = piece.find('\n');
        const auto part = piece.substr(0, end);
        if (unread_.size() + part.size() > longestLine)
            isTooLong_ = true;
        if (!isTooLong_)
            unread_.append(part);
        if (end == piece.npos)
            return;
        if (!isTooLong_)
            takeLine(unread_);
        unread_.clear();
        isTooLong_ = false;
        piece.remove_prefix(end + 1);
    }
}

void CaptureReports::takeLine(std::string_view line)
{
    const auto word = takeWord(line);
    if (word == "listening") {
        isListening_ = true;
    } else if (word == "counts") {
        counts_.received = takeNumber(line);
        counts_.dropped = takeNumber(line);
        counts_.interfaceDropped = takeNumber(line);
    } else if (word == "error") {
        const auto kind = takeWord(line);
        const auto* known = std::ranges::find(faultNames, kind, &FaultName::word);
        fault_ = known == std::end(faultNames) ? CaptureFault::other : known->fault;
        detail_ = line;
    }
}

} // namespace netrondo
