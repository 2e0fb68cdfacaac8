// One value of a frame against the value in a filter: numbers, yes and no, text.
#pragma once

#include "Dissection/Filter/FilterText.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace netrondo {

/// The comparison operators, in the language's order.
enum class FilterOp : std::uint8_t { eq, ne, gt, lt, ge, le, contains };

/// "eq", "ne" and so on: the operators' keywords.
std::string_view caseName(FilterOp op);

/// The number a text begins with or stands for: "0x10" is 16, "1500 bytes" 1500, "TTL 64" 64. Nothing without one.
/// Points and signs are those of a C program whatever the locale.
std::optional<double> leadingNumber(std::string_view text);

/// The same text but for case and accents, or the same number, or the same of yes and no.
bool equalish(std::string_view a, std::string_view b);

/// An operator and its right side, made ready once and asked for every value.
class FilterComparison {
public:
    FilterComparison(FilterOp op, std::string_view target);

    FilterOp op() const { return op_; }
    bool holdsFor(std::string_view value) const;
    /// The same for a value that reads as this decimal number, without making its text where the answer needs none.
    bool holdsFor(std::uint64_t decimal) const
    {
        if (op_ != FilterOp::eq && op_ != FilterOp::ne)
            return isOrderedAs(decimal);
        // A text that folds to the same digits is the same number too, so the digits need not be looked at.
        const bool isEqual = (number_ && static_cast<double>(decimal) == *number_)
            || (word_ == Word::yes && decimal == 1) || (word_ == Word::no && decimal == 0);
        return isEqual == (op_ == FilterOp::eq);
    }

private:
    bool isOrderedAs(std::uint64_t decimal) const;
    bool equals(std::string_view value) const;
    bool isOrderedAs(int order) const;
    bool isOrderedAs(double value) const;

    FilterOp op_;
    std::string target_;
    std::string folded_; ///< the target as `folded` leaves it
    std::optional<double> number_;
    enum class Word : std::uint8_t { none, yes, no } word_; ///< what the target says as a boolean word
};

} // namespace netrondo
