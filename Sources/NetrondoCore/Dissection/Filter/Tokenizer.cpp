// Scans a filter character by character, as a reader sees characters: an accent belongs to the sign it stands on.
#include "Dissection/Filter/Tokenizer.h"

#include "Dissection/Filter/FilterText.h"

#include <array>
#include <optional>

namespace netrondo {
namespace {

using Kind = FilterToken::Kind;

struct Keyword {
    std::string_view word;
    Kind kind;
};

constexpr Keyword keywords[] = {
    {"and", Kind::and_}, {"or", Kind::or_}, {"not", Kind::not_}, {"eq", Kind::eq}, {"ne", Kind::ne},
    {"gt", Kind::gt},    {"lt", Kind::lt},  {"ge", Kind::ge},    {"le", Kind::le}, {"contains", Kind::contains}};

constexpr std::string_view wordEnds = "()&|!<>=\"'";

class Scanner {
public:
    explicit Scanner(std::string_view text) : text_(text), characters_(text) { }

    std::vector<FilterToken> tokens()
    {
        std::vector<FilterToken> found;
        while (at_ < characters_.size()) {
            if (characters_.isBlank(at_))
                ++at_;
            else
                found.push_back(next());
        }
        return found;
    }

private:
    FilterToken next()
    {
        const auto character = characters_[at_];
        const char sign = character.size() == 1 ? character[0] : '\0';
        switch (sign) {
        case '(': ++at_; return token(Kind::lparen);
        case ')': ++at_; return token(Kind::rparen);
        case '&': return signWith('&', Kind::and_, Kind::and_);
        case '|': return signWith('|', Kind::or_, Kind::or_);
        case '!': return signWith('=', Kind::not_, Kind::ne);
        case '=': return signWith('=', Kind::eq, Kind::eq);
        case '>': return signWith('=', Kind::gt, Kind::ge);
        case '<': return signWith('=', Kind::lt, Kind::le);
        case '"':
        case '\'': return quoted(sign);
        default: return word();
        }
    }

    FilterToken token(Kind kind, std::string_view text = {}) const { return {kind, text, characters_.offset(at_)}; }

    /// One of the signs that may be followed by a second one.
    FilterToken signWith(char second, Kind alone, Kind together)
    {
        ++at_;
        if (!characters_.is(at_, second))
            return token(alone);
        ++at_;
        return token(together);
    }

    /// Up to the same quote again; there are no escapes, and the other quote is a character like any.
    FilterToken quoted(char quote)
    {
        const auto begin = ++at_;
        while (at_ < characters_.size() && !characters_.is(at_, quote))
            ++at_;
        const auto value = between(begin, at_);
        const bool isOpen = at_ == characters_.size();
        if (!isOpen)
            ++at_;
        auto result = token(Kind::value, value);
        result.isOpen = isOpen;
        return result;
    }

    FilterToken word()
    {
        const auto begin = at_;
        const bool isName = characters_.isLetter(at_) || characters_.is(at_, '_');
        while (at_ < characters_.size() && !endsWord(at_))
            ++at_;
        const auto text = between(begin, at_);
        for (const auto& keyword : keywords)
            if (equalIgnoringAsciiCase(text, keyword.word))
                return token(keyword.kind);
        return token(isName ? Kind::ident : Kind::value, text);
    }

    bool endsWord(std::size_t index) const
    {
        const auto character = characters_[index];
        return (character.size() == 1 && wordEnds.find(character[0]) != wordEnds.npos) || characters_.isBlank(index);
    }

    std::string_view between(std::size_t begin, std::size_t end) const
    {
        const auto offset = characters_.offset(begin);
        return text_.substr(offset, characters_.offset(end) - offset);
    }

    std::string_view text_;
    Characters characters_;
    std::size_t at_ = 0;
};

} // namespace

std::vector<FilterToken> tokenize(std::string_view text)
{
    return Scanner(text).tokens();
}

} // namespace netrondo
