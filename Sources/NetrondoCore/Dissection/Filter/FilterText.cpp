// Folding, characters and white space through ICU.
#include "Dissection/Filter/FilterText.h"

#include "Base/Bytes.h"
#include "Base/Result.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <unicode/brkiter.h>
#include <unicode/normalizer2.h>
#include <unicode/stringpiece.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>
#include <unicode/utext.h>
#include <unicode/utf8.h>

namespace netrondo {
namespace {

icu::UnicodeString wide(std::string_view text)
{
    return icu::UnicodeString::fromUTF8(icu::StringPiece(text.data(), static_cast<std::int32_t>(text.size())));
}

std::string narrow(const icu::UnicodeString& text)
{
    std::string utf8;
    text.toUTF8String(utf8);
    return utf8;
}

// ICU's macros for UTF-8 convert as C does.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wconversion"
#pragma GCC diagnostic ignored "-Wold-style-cast"
#pragma GCC diagnostic ignored "-Wsign-conversion"
/// The code point at `at`, which moves behind it; U+FFFD where the bytes are none.
UChar32 codePointAt(Bytes text, std::int32_t& at)
{
    UChar32 c = 0;
    U8_NEXT_OR_FFFD(text.data(), at, static_cast<std::int32_t>(text.size()), c);
    return c;
}

/// The code point before `at`, which moves in front of it.
UChar32 codePointBefore(Bytes text, std::int32_t& at)
{
    UChar32 c = 0;
    U8_PREV_OR_FFFD(text.data(), 0, at, c);
    return c;
}
#pragma GCC diagnostic pop

UChar32 firstCodePoint(std::string_view text)
{
    std::int32_t at = 0;
    return codePointAt(asBytes(text), at);
}

bool isBlankCodePoint(UChar32 c)
{
    return u_isUWhiteSpace(c);
}

/// Canonical decomposition; the data is part of ICU itself, so that its absence is a broken installation.
icu::UnicodeString decomposed(const icu::UnicodeString& text)
{
    UErrorCode status = U_ZERO_ERROR;
    const auto* nfd = icu::Normalizer2::getNFDInstance(status);
    NR_ASSERT(U_SUCCESS(status));
    auto result = nfd->normalize(text, status);
    NR_ASSERT(U_SUCCESS(status));
    return result;
}

} // namespace

bool isAscii(std::string_view text)
{
    // Eight bytes at a time: this stands in front of every comparison.
    std::size_t at = 0;
    for (; at + 8 <= text.size(); at += 8) {
        std::uint64_t word;
        std::memcpy(&word, text.data() + at, sizeof word);
        if (word & 0x8080808080808080ull)
            return false;
    }
    for (; at < text.size(); ++at)
        if (text[at] & '\x80')
            return false;
    return true;
}

bool equalIgnoringAsciiCase(std::string_view a, std::string_view b)
{
    return std::ranges::equal(a, b, {}, asciiLower, asciiLower);
}

std::string lowerCased(std::string_view text)
{
    if (!isAscii(text))
        return narrow(wide(text).toLower(icu::Locale::getRoot()));
    std::string lower(text);
    std::ranges::transform(lower, lower.begin(), asciiLower);
    return lower;
}

std::string_view trimmed(std::string_view text)
{
    const auto bytes = asBytes(text);
    std::int32_t begin = 0, end = static_cast<std::int32_t>(text.size());
    for (auto next = begin; next < end && isBlankCodePoint(codePointAt(bytes, next));)
        begin = next;
    for (auto previous = end; previous > begin && isBlankCodePoint(codePointBefore(bytes, previous));)
        end = previous;
    return text.substr(static_cast<std::size_t>(begin), static_cast<std::size_t>(end - begin));
}

std::string validUtf8(std::string_view text)
{
    return isAscii(text) ? std::string(text) : narrow(wide(text));
}

std::string folded(std::string_view text)
{
    if (isAscii(text))
        return lowerCased(text);
    // Unicode's canonical caseless matching (decompose, fold, decompose), then without the accents, which canonical
    // decomposition has set free as non-spacing marks.
    const auto decomposition = decomposed(decomposed(wide(text)).foldCase());
    icu::UnicodeString bare;
    for (std::int32_t at = 0; at < decomposition.length(); at = decomposition.moveIndex32(at, 1)) {
        const auto c = decomposition.char32At(at);
        if (u_charType(c) != U_NON_SPACING_MARK)
            bare.append(c);
    }
    return narrow(bare);
}

Characters::Characters(std::string_view text) : text_(text)
{
    if (isAscii(text)) // a line end of two bytes is blank whether it is taken as one character or as two
        return;
    UErrorCode status = U_ZERO_ERROR;
    const std::unique_ptr<icu::BreakIterator> breaks(
        icu::BreakIterator::createCharacterInstance(icu::Locale::getRoot(), status));
    UText view = UTEXT_INITIALIZER;
    utext_openUTF8(&view, text.data(), static_cast<std::int64_t>(text.size()), &status);
    NR_ASSERT(U_SUCCESS(status));
    breaks->setText(&view, status);
    NR_ASSERT(U_SUCCESS(status));
    for (auto at = breaks->first(); at != icu::BreakIterator::DONE; at = breaks->next())
        starts_.push_back(static_cast<std::size_t>(at));
    utext_close(&view);
}

bool Characters::isBlank(std::size_t index) const
{
    return isBlankCodePoint(firstCodePoint((*this)[index]));
}

bool Characters::isLetter(std::size_t index) const
{
    return u_isalpha(firstCodePoint((*this)[index]));
}

bool Characters::isDigit(std::size_t index) const
{
    return u_isdigit(firstCodePoint((*this)[index]));
}

} // namespace netrondo
