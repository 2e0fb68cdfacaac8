// Text as the filter language compares it: UTF-8 in, Unicode's rules through ICU, and a short way for ASCII.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace netrondo {

bool isAscii(std::string_view text);
constexpr char asciiLower(char c)
{
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c;
}
bool equalIgnoringAsciiCase(std::string_view a, std::string_view b);

/// The text in lower case by Unicode's rules, of no locale.
std::string lowerCased(std::string_view text);
/// The text without leading and trailing white space (Unicode's property: no-break spaces and line ends too).
std::string_view trimmed(std::string_view text);
/// The text with every stretch that is not UTF-8 replaced by U+FFFD.
std::string validUtf8(std::string_view text);
/// What is left of a text when case and accents do not count (of no locale): two texts are the same to the filter
/// language when these are.
std::string folded(std::string_view text);

/// The user-perceived characters (grapheme clusters) of a text that outlives this object.
class Characters {
public:
    explicit Characters(std::string_view text);

    std::size_t size() const { return starts_.empty() ? text_.size() : starts_.size() - 1; }
    /// Where character `index` begins; `size()` gives the text's end.
    std::size_t offset(std::size_t index) const { return starts_.empty() ? index : starts_[index]; }
    std::string_view operator[](std::size_t index) const
    {
        return text_.substr(offset(index), offset(index + 1) - offset(index));
    }
    bool is(std::size_t index, char c) const
    {
        return index < size() && offset(index + 1) - offset(index) == 1 && text_[offset(index)] == c;
    }
    /// The three classes go by a character's first code point.
    bool isBlank(std::size_t index) const;
    bool isLetter(std::size_t index) const;
    bool isDigit(std::size_t index) const;

private:
    std::string_view text_;
    std::vector<std::size_t> starts_; ///< empty for ASCII text, where each byte is a character
};

/// Order and containment of texts without regard to case, by the rules of one locale. Immutable; any thread may use it.
class TextOrder {
public:
    /// The order of the locale this process runs under, built on first use.
    static const TextOrder& ofUser();
    /// `locale` is an ICU locale name; the "C" and "POSIX" locales order as no locale in particular ("").
    explicit TextOrder(const char* locale);
    ~TextOrder();
    TextOrder(const TextOrder&) = delete;
    TextOrder& operator=(const TextOrder&) = delete;

    /// Less than, equal to or greater than 0, as `a` comes before, with or after `b`.
    int compare(std::string_view a, std::string_view b) const;
    /// True where `part` occurs in `text`; the empty text occurs in every text.
    bool contains(std::string_view text, std::string_view part) const;

    /// The same two answers from ICU alone: what the short ways for ASCII are held to.
    int compareByCollator(std::string_view a, std::string_view b) const;
    bool containsByCollator(std::string_view text, std::string_view part) const;

private:
    struct Rules;
    std::unique_ptr<const Rules> rules_;
};

} // namespace netrondo
