// The words and signs of a filter, sign by sign.
#include "Dissection/Filter/Tokenizer.h"

#include <gtest/gtest.h>
#include <string>

namespace netrondo::test {
namespace {

using Kind = FilterToken::Kind;

/// The tokens in words: "ident:tcp eq value:5".
std::string tokens(std::string_view text)
{
    static constexpr std::string_view names[] = {"ident", "value", "and", "or", "not",      "eq", "ne",
                                                 "gt",    "lt",    "ge",  "le", "contains", "(",  ")"};
    std::string line;
    for (const auto& token : tokenize(text)) {
        line += line.empty() ? "" : " ";
        line += names[static_cast<std::size_t>(token.kind)];
        if (token.canBeValue())
            (line += ':') += token.text;
    }
    return line;
}

struct TokenCase {
    std::string_view name, text, tokens;
};

class TokenTable : public testing::TestWithParam<TokenCase> { };

} // namespace

TEST_P(TokenTable, IsTokenizedSo)
{
    EXPECT_EQ(tokens(GetParam().text), GetParam().tokens);
}

INSTANTIATE_TEST_SUITE_P(
    Signs, TokenTable,
    testing::Values(
        TokenCase{"Parentheses", "()", "( )"}, TokenCase{"OneAmpersandIsAnd", "&", "and"},
        TokenCase{"TwoAmpersandsAreOneAnd", "&&", "and"}, TokenCase{"ThreeAmpersandsAreTwoAnds", "&&&", "and and"},
        TokenCase{"AmpersandsApartAreTwoAnds", "& &", "and and"}, TokenCase{"OneBarIsOr", "|", "or"},
        TokenCase{"TwoBarsAreOneOr", "||", "or"}, TokenCase{"ExclamationIsNot", "!", "not"},
        TokenCase{"ExclamationEqualsIsNe", "!=", "ne"}, TokenCase{"ExclamationBlankEqualsIsNotEq", "! =", "not eq"},
        TokenCase{"OneEqualsIsEq", "=", "eq"}, TokenCase{"TwoEqualsAreOneEq", "==", "eq"},
        TokenCase{"ThreeEqualsAreTwoEqs", "===", "eq eq"}, TokenCase{"Greater", ">", "gt"},
        TokenCase{"GreaterOrEqual", ">=", "ge"}, TokenCase{"Less", "<", "lt"}, TokenCase{"LessOrEqual", "<=", "le"},
        TokenCase{"EqualsGreaterIsTwoSigns", "=>", "eq gt"}, TokenCase{"NotEqualsEqualsIsNeEq", "!==", "ne eq"}),
    [](const auto& row) { return std::string(row.param.name); });

INSTANTIATE_TEST_SUITE_P(
    Words, TokenTable,
    testing::Values(
        TokenCase{"DottedName", "ip.addr", "ident:ip.addr"},
        TokenCase{"NamesMayStartWithAnUnderscore", "_x", "ident:_x"},
        TokenCase{"AddressIsAValue", "10.0.0.1", "value:10.0.0.1"}, TokenCase{"NumberIsAValue", "443", "value:443"},
        TokenCase{"NegativeIsAValue", "-1", "value:-1"}, TokenCase{"HexadecimalIsAValue", "0x1F", "value:0x1F"},
        TokenCase{"KeywordsInAnyCase", "And OR nOt EQ ne GT lt Ge le CONTAINS",
                  "and or not eq ne gt lt ge le contains"},
        TokenCase{"NamesKeepTheirCase", "TCP.Port", "ident:TCP.Port"},
        TokenCase{"MatchesIsNoOperator", "http.host matches x", "ident:http.host ident:matches ident:x"},
        TokenCase{"TildeBelongsToTheWord", "host~x", "ident:host~x"}, TokenCase{"TildeAloneIsAValue", "~", "value:~"},
        TokenCase{"SignsEndAWordWithoutBlanks", "tcp.port==443&&!arp", "ident:tcp.port eq value:443 and not ident:arp"},
        TokenCase{"QuotesEndAWord", "host\"x\"", "ident:host value:x"},
        TokenCase{"KeywordWithinAWordIsNone", "android", "ident:android"},
        TokenCase{"Ipv6AddressStartingWithALetterIsAnIdentifier", "fe80::1", "ident:fe80::1"}),
    [](const auto& row) { return std::string(row.param.name); });

INSTANTIATE_TEST_SUITE_P(
    Quotes, TokenTable,
    testing::Values(TokenCase{"DoubleQuotesKeepBlanks", "\" a b \"", "value: a b "},
                    TokenCase{"SingleQuotesKeepBlanks", "' a b '", "value: a b "},
                    TokenCase{"ApostropheInDoubleQuotesIsACharacter", "\"it's\"", "value:it's"},
                    TokenCase{"DoubleQuoteInSingleQuotesIsACharacter", "'a\"b'", "value:a\"b"},
                    TokenCase{"NoEscapes", "\"a\\\"b", "value:a\\ ident:b"}, TokenCase{"Empty", "\"\"", "value:"},
                    TokenCase{"UnterminatedRunsToTheEnd", "host == \"a b ", "ident:host eq value:a b "},
                    TokenCase{"LoneQuoteIsAnEmptyValue", "'", "value:"},
                    TokenCase{"QuotedKeywordIsAValue", "'and'", "value:and"}),
    [](const auto& row) { return std::string(row.param.name); });

INSTANTIATE_TEST_SUITE_P(
    Unicode, TokenTable,
    testing::Values(TokenCase{"NoBreakSpaceIsBlank", "tcp\u00a0udp", "ident:tcp ident:udp"},
                    TokenCase{"LineEndsAreBlank", "tcp\r\nudp\n", "ident:tcp ident:udp"},
                    TokenCase{"AccentedLetterStartsAName", "éa", "ident:éa"},
                    TokenCase{"LetterWithACombiningAccentStartsAName", "e\u0301a", "ident:e\u0301a"},
                    TokenCase{"SignWithACombiningStrokeIsNoSign", "a =\u0338 b", "ident:a value:=\u0338 ident:b"},
                    TokenCase{"QuoteWithAnAccentClosesNothing", "\"a\"\u0301b\"", "value:a\"\u0301b"},
                    TokenCase{"DigitsOfOtherScriptsStartAValue", "٤٤٣", "value:٤٤٣"},
                    TokenCase{"TypographicQuotesBelongToTheWord", "“x”", "value:“x”"}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(Tokenizer, TokensCompareByKindAndText)
{
    EXPECT_EQ(tokenize("a b"), tokenize("  a\tb "));
    EXPECT_NE(tokenize("a"), tokenize("'a'"));
    EXPECT_NE(tokenize("a"), tokenize("b"));
}

TEST(Tokenizer, TellsWhereATokenEndsAndWhetherItsQuoteIsOpen)
{
    const auto closed = tokenize("a == 'b'"), open = tokenize("a == 'b");
    EXPECT_EQ(closed.back().end, 8u);
    EXPECT_FALSE(closed.back().isOpen);
    EXPECT_EQ(open.back().end, 7u);
    EXPECT_TRUE(open.back().isOpen);
}

} // namespace netrondo::test
