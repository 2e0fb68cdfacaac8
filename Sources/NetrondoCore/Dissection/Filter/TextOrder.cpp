// The locale's order, from ICU's collator: a rank for each ASCII character answers most comparisons.
#include "Dissection/Filter/FilterText.h"

#include "Base/Result.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <unicode/coll.h>
#include <unicode/stsearch.h>
#include <unicode/tblcoll.h>
#include <unicode/uniset.h>
#include <unicode/usetiter.h>

namespace netrondo {
namespace {

icu::StringPiece piece(std::string_view text)
{
    return {text.data(), static_cast<std::int32_t>(text.size())};
}

icu::Locale localeFor(const char* name)
{
    // ICU gives the "C" locale an order of its own in which case matters before the alphabet does.
    const icu::Locale locale(name);
    return std::string_view(locale.getVariant()) == "POSIX" ? icu::Locale::getRoot() : locale;
}

/// The locale's collator where case does not count and accents do.
std::unique_ptr<icu::RuleBasedCollator> makeCollator(const icu::Locale& locale)
{
    UErrorCode status = U_ZERO_ERROR;
    std::unique_ptr<icu::Collator> collator(icu::Collator::createInstance(locale, status));
    NR_ASSERT(U_SUCCESS(status));
    collator->setStrength(icu::Collator::SECONDARY);
    auto* rules = dynamic_cast<icu::RuleBasedCollator*>(collator.get());
    NR_ASSERT(rules);
    static_cast<void>(collator.release());
    return std::unique_ptr<icu::RuleBasedCollator>(rules);
}

constexpr std::size_t asciiCount = 128;

std::int32_t asciiPrefix(const icu::UnicodeString& text)
{
    std::int32_t length = 0;
    while (length < text.length() && text.charAt(length) < asciiCount)
        ++length;
    return length;
}

/// True when the locale gives some text of ASCII characters a place of its own (Danish "aa", Slovak "ch").
bool tailorsAscii(const icu::RuleBasedCollator& collator)
{
    UErrorCode status = U_ZERO_ERROR;
    const std::unique_ptr<icu::UnicodeSet> tailored(collator.getTailoredSet(status));
    NR_ASSERT(U_SUCCESS(status));
    for (icu::UnicodeSetIterator item(*tailored); item.next();)
        if (const auto& text = item.getString(); asciiPrefix(text) == text.length())
            return true;
    return false;
}

} // namespace

struct TextOrder::Rules {
    std::unique_ptr<icu::RuleBasedCollator> collator;
    /// The place of each ASCII character; characters of one letter share it, and 0 is for those that do not count.
    std::array<std::uint8_t, asciiCount> rank{};
    bool ranksDecide = false; ///< ASCII texts compare as their ranks do

    explicit Rules(const icu::Locale& locale) : collator(makeCollator(locale))
    {
        ranksDecide = !tailorsAscii(*collator) && rankAscii();
    }

    /// Fills `rank`; false when two characters differ in less than the alphabet (then a later difference in a text
    /// could outweigh an earlier one, and ranks alone cannot decide) or when other than the two cases share a place.
    bool rankAscii()
    {
        std::array<char, asciiCount> sorted;
        for (std::size_t i = 0; i < asciiCount; ++i)
            sorted[i] = static_cast<char>(i);
        const auto order = [this](char a, char b) { return compare({&a, 1}, {&b, 1}); };
        std::ranges::stable_sort(sorted, [&](char a, char b) { return order(a, b) < 0; });
        const std::unique_ptr<icu::RuleBasedCollator> alphabet(collator->clone());
        alphabet->setStrength(icu::Collator::PRIMARY);
        std::uint8_t place = 0;
        for (std::size_t i = 0; i < asciiCount; ++i) {
            if (compare({&sorted[i], 1}, {}) == 0)
                continue;
            const bool differs = i == 0 || order(sorted[i - 1], sorted[i]) != 0;
            if (i > 0 && differs) {
                UErrorCode status = U_ZERO_ERROR;
                if (alphabet->compareUTF8({&sorted[i - 1], 1}, {&sorted[i], 1}, status) == UCOL_EQUAL)
                    return false;
            }
            if (!differs && asciiLower(sorted[i - 1]) != asciiLower(sorted[i]))
                return false;
            place = static_cast<std::uint8_t>(place + (differs ? 1 : 0));
            rank[static_cast<unsigned char>(sorted[i])] = place;
        }
        for (char c = 'a'; c <= 'z'; ++c)
            if (placeOf(c) == 0 || placeOf(c) != placeOf(static_cast<char>(c - 'a' + 'A')))
                return false;
        return true;
    }

    std::uint8_t placeOf(char ascii) const { return rank[static_cast<std::uint8_t>(ascii)]; }

    int compare(std::string_view a, std::string_view b) const
    {
        UErrorCode status = U_ZERO_ERROR;
        const auto order = collator->compareUTF8(piece(a), piece(b), status);
        NR_ASSERT(U_SUCCESS(status));
        return order;
    }

    int compareRanks(std::string_view a, std::string_view b) const
    {
        std::size_t i = 0, j = 0;
        for (;; ++i, ++j) {
            while (i < a.size() && placeOf(a[i]) == 0)
                ++i;
            while (j < b.size() && placeOf(b[j]) == 0)
                ++j;
            if (i == a.size() || j == b.size())
                return (i < a.size()) - (j < b.size());
            if (const int difference = placeOf(a[i]) - placeOf(b[j]))
                return difference;
        }
    }

    /// True when each character of the text is ASCII and counts.
    bool isPlain(std::string_view text) const
    {
        return std::ranges::all_of(text, [this](char c) { return !(c & '\x80') && placeOf(c) != 0; });
    }
};

TextOrder::TextOrder(const char* locale) : rules_(std::make_unique<const Rules>(localeFor(locale))) { }

TextOrder::~TextOrder() = default;

const TextOrder& TextOrder::ofUser()
{
    static const TextOrder order(icu::Locale::getDefault().getName());
    return order;
}

int TextOrder::compare(std::string_view a, std::string_view b) const
{
    return rules_->ranksDecide && isAscii(a) && isAscii(b) ? rules_->compareRanks(a, b) : rules_->compare(a, b);
}

bool TextOrder::contains(std::string_view text, std::string_view part) const
{
    if (!rules_->ranksDecide || !rules_->isPlain(part) || !rules_->isPlain(text))
        return containsByCollator(text, part);
    if (part.size() > text.size())
        return false;
    // Both in lower case, then the C library's search, which stays linear whatever the two texts are.
    char room[1024];
    std::string longRoom;
    char* lower = room;
    if (text.size() + part.size() > sizeof room) {
        longRoom.resize(text.size() + part.size());
        lower = longRoom.data();
    }
    auto* lowerPart = std::ranges::transform(text, lower, asciiLower).out;
    std::ranges::transform(part, lowerPart, asciiLower);
    return memmem(lower, text.size(), lowerPart, part.size()) != nullptr;
}

int TextOrder::compareByCollator(std::string_view a, std::string_view b) const
{
    return rules_->compare(a, b);
}

bool TextOrder::containsByCollator(std::string_view text, std::string_view part) const
{
    // A part that does not count for anything, an empty one above all, is in every text; ICU's search refuses the
    // empty one.
    if (rules_->compare(part, {}) == 0)
        return true;
    const auto wideText = icu::UnicodeString::fromUTF8(piece(text)),
               widePart = icu::UnicodeString::fromUTF8(piece(part));
    if (wideText.isEmpty())
        return false;
    UErrorCode status = U_ZERO_ERROR;
    icu::StringSearch search(widePart, wideText, rules_->collator.get(), nullptr, status);
    NR_ASSERT(U_SUCCESS(status));
    const auto found = search.first(status);
    NR_ASSERT(U_SUCCESS(status));
    return found != USEARCH_DONE;
}

} // namespace netrondo
