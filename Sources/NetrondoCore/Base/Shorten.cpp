// Text made to fit a small place.
#include "Base/Shorten.h"

#include <algorithm>
#include <memory>
#include <unicode/ubrk.h>
#include <unicode/utext.h>
#include <vector>

namespace netrondo {
namespace {

struct CloseBreaks {
    void operator()(UBreakIterator* breaks) const { ubrk_close(breaks); }
};
struct CloseText {
    void operator()(UText* text) const { utext_close(text); }
};

/// The offsets at which characters begin, and the end.
std::vector<std::size_t> boundaries(std::string_view text)
{
    // Opening an iterator costs more than all the labels of a ring, so each thread keeps one.
    thread_local const std::unique_ptr<UBreakIterator, CloseBreaks> breaks = [] {
        UErrorCode status = U_ZERO_ERROR;
        UBreakIterator* opened = ubrk_open(UBRK_CHARACTER, "", nullptr, 0, &status);
        return std::unique_ptr<UBreakIterator, CloseBreaks>(U_SUCCESS(status) ? opened : nullptr);
    }();

    std::vector<std::size_t> found;
    UErrorCode status = U_ZERO_ERROR;
    const std::unique_ptr<UText, CloseText> view(
        utext_openUTF8(nullptr, text.data(), static_cast<int64_t>(text.size()), &status));
    if (breaks && U_SUCCESS(status))
        ubrk_setUText(breaks.get(), view.get(), &status);
    if (!breaks || U_FAILURE(status)) {
        // Without Unicode's tables at least no character's bytes are parted.
        for (std::size_t i = 0; i < text.size(); ++i)
            if ((static_cast<unsigned char>(text[i]) & 0xc0) != 0x80)
                found.push_back(i);
        found.push_back(text.size());
        return found;
    }
    for (auto at = ubrk_first(breaks.get()); at != UBRK_DONE; at = ubrk_next(breaks.get()))
        found.push_back(static_cast<std::size_t>(at));
    return found;
}

} // namespace

std::string shortenMiddle(std::string_view text, std::size_t maxChars)
{
    if (text.size() <= maxChars)
        return std::string(text); // no character is less than a byte
    if (maxChars == 0)
        return {};
    const auto head = (maxChars - 1) / 2, tail = maxChars - 1 - head;

    std::size_t headEnd = head, tailBegin = text.size() - tail;
    const bool plain = std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c < 0x7f; });
    if (!plain) {
        const auto starts = boundaries(text);
        const auto count = starts.size() - 1;
        if (count <= maxChars)
            return std::string(text);
        headEnd = starts[head];
        tailBegin = starts[count - tail];
    }
    return std::string(text.substr(0, headEnd)).append("…").append(text.substr(tailBegin));
}

} // namespace netrondo
