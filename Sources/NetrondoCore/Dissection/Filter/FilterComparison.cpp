// How values compare: what a person means by "the same" comes before what the bytes say.
#include "Dissection/Filter/FilterComparison.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <clocale>
#include <cstdlib>

namespace netrondo {
namespace {

constexpr std::array<std::string_view, 7> opNames = {"eq", "ne", "gt", "lt", "ge", "le", "contains"};

bool isDigit(char c)
{
    return c >= '0' && c <= '9';
}

bool isHexDigit(char c)
{
    return isDigit(c) || (asciiLower(c) >= 'a' && asciiLower(c) <= 'f');
}

bool startsWithHexPrefix(std::string_view text)
{
    return text.size() > 2 && text[0] == '0' && asciiLower(text[1]) == 'x';
}

std::optional<double> hexInteger(std::string_view digits)
{
    std::uint64_t value = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value, 16);
    if (error != std::errc() || end != digits.data() + digits.size())
        return {};
    return static_cast<double>(value);
}

/// Beyond a double's range a number is infinite or zero, as C reads it.
double outOfRange(std::string_view text)
{
    static const auto cLocale = ::newlocale(LC_ALL_MASK, "C", nullptr);
    return ::strtod_l(std::string(text).c_str(), nullptr, cLocale);
}

/// The whole text as a number the way C writes one: a sign, decimals with an exponent, hexadecimal, "inf", "nan".
std::optional<double> wholeNumber(std::string_view text)
{
    auto unsignedText = text;
    const bool isNegative = text.starts_with('-');
    if (isNegative || text.starts_with('+'))
        unsignedText.remove_prefix(1);
    if (unsignedText.empty() || unsignedText[0] == '-')
        return {};
    const bool isHex = startsWithHexPrefix(unsignedText);
    const auto digits = isHex ? unsignedText.substr(2) : unsignedText;
    if (isHex && digits[0] != '.' && !isHexDigit(digits[0])) // from_chars would take "0x-1" and "0xinf"
        return {};
    double value = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value,
                                              isHex ? std::chars_format::hex : std::chars_format::general);
    if (error == std::errc::invalid_argument || end != digits.data() + digits.size())
        return {};
    if (error == std::errc::result_out_of_range)
        value = outOfRange(unsignedText);
    return isNegative ? -value : value;
}

/// The first run of digits and points, with a sign before it: what is left of "TTL 64" or "12ms".
std::optional<double> firstNumberIn(std::string_view text)
{
    const auto begin = std::ranges::find_if(text, [](char c) { return isDigit(c) || c == '.' || c == '-'; });
    auto end = begin == text.end() ? begin : begin + 1;
    end = std::find_if_not(end, text.end(), [](char c) { return isDigit(c) || c == '.'; });
    return wholeNumber({begin, end});
}

/// Up to 15 digits are a double exactly; most values are such, and need no parser.
std::optional<double> shortInteger(std::string_view text)
{
    if (text.empty() || text.size() > 15 || !std::ranges::all_of(text, isDigit))
        return {};
    std::uint64_t value = 0;
    for (const char c : text)
        value = value * 10 + static_cast<std::uint64_t>(c - '0');
    return static_cast<double>(value);
}

bool isOneOf(std::string_view text, const std::array<std::string_view, 3>& words)
{
    return std::ranges::any_of(words, [&](std::string_view word) { return equalIgnoringAsciiCase(text, word); });
}

bool meansYes(std::string_view text)
{
    return isOneOf(text, {"1", "true", "yes"});
}

bool meansNo(std::string_view text)
{
    return isOneOf(text, {"0", "false", "no"});
}

} // namespace

std::string_view caseName(FilterOp op)
{
    return opNames[static_cast<std::size_t>(op)];
}

std::optional<double> leadingNumber(std::string_view text)
{
    if (const auto value = shortInteger(text))
        return value;
    text = trimmed(text);
    if (startsWithHexPrefix(text))
        if (const auto value = hexInteger(text.substr(2)))
            return value;
    if (const auto value = wholeNumber(text))
        return value;
    return firstNumberIn(text);
}

bool equalish(std::string_view a, std::string_view b)
{
    return FilterComparison(FilterOp::eq, b).holdsFor(a);
}

FilterComparison::FilterComparison(FilterOp op, std::string_view target)
    : op_(op)
    , target_(target)
    , folded_(netrondo::folded(target))
    , number_(leadingNumber(target))
    , word_(meansYes(target)      ? Word::yes
                : meansNo(target) ? Word::no
                                  : Word::none)
{ }

bool FilterComparison::equals(std::string_view value) const
{
    if (isAscii(value) ? equalIgnoringAsciiCase(value, folded_) : netrondo::folded(value) == folded_)
        return true;
    // Deliberately loose: texts that only begin with the same number are equal too, so "64" finds "TTL 64".
    if (number_ && leadingNumber(value) == number_)
        return true;
    return (word_ == Word::yes && meansYes(value)) || (word_ == Word::no && meansNo(value));
}

bool FilterComparison::isOrderedAs(int order) const
{
    switch (op_) {
    case FilterOp::gt: return order > 0;
    case FilterOp::lt: return order < 0;
    case FilterOp::ge: return order >= 0;
    default: return order <= 0;
    }
}

/// As numbers, so that "nan" is neither more nor less than anything.
bool FilterComparison::isOrderedAs(double value) const
{
    switch (op_) {
    case FilterOp::gt: return value > *number_;
    case FilterOp::lt: return value < *number_;
    case FilterOp::ge: return value >= *number_;
    default: return value <= *number_;
    }
}

bool FilterComparison::holdsFor(std::string_view value) const
{
    switch (op_) {
    case FilterOp::eq: return equals(value);
    case FilterOp::ne: return !equals(value);
    case FilterOp::contains: return TextOrder::ofUser().contains(value, target_);
    case FilterOp::gt:
    case FilterOp::lt:
    case FilterOp::ge:
    case FilterOp::le: break;
    }
    if (number_)
        if (const auto valueNumber = leadingNumber(value))
            return isOrderedAs(*valueNumber);
    return isOrderedAs(TextOrder::ofUser().compare(value, target_));
}

bool FilterComparison::isOrderedAs(std::uint64_t decimal) const
{
    if (op_ != FilterOp::contains && number_)
        return isOrderedAs(static_cast<double>(decimal));
    char digits[20];
    const auto* end = std::to_chars(digits, digits + sizeof digits, decimal).ptr;
    return holdsFor(std::string_view(digits, end));
}

} // namespace netrondo
