// The words and signs of a display filter.
#pragma once

#include <compare>
#include <cstdint>
#include <string_view>
#include <vector>

namespace netrondo {

struct FilterToken {
    /// The trailing underscores keep the three words of logic apart from C++'s own.
    enum class Kind : std::uint8_t { ident, value, and_, or_, not_, eq, ne, gt, lt, ge, le, contains, lparen, rparen };

    Kind kind;
    std::string_view text; ///< of an `ident` or a `value`: part of the filter's text, without the quotes
    std::size_t end = 0;   ///< where the token ends in the filter's text, a closing quote included
    bool isOpen = false;   ///< a quoted value that runs to the end of the text for want of its closing quote

    /// Tokens are the same by kind and text, wherever they stand.
    friend bool operator==(const FilterToken& a, const FilterToken& b) { return a.kind == b.kind && a.text == b.text; }

    bool isComparison() const { return kind >= Kind::eq && kind <= Kind::contains; }
    bool canBeValue() const { return kind == Kind::value || kind == Kind::ident; }
};

/// Takes a filter's text apart; every text has tokens, if not always sensible ones. The text outlives the tokens.
std::vector<FilterToken> tokenize(std::string_view text);

} // namespace netrondo
