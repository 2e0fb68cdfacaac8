// What is offered while a filter is being typed.
#include "Dissection/Filter/DisplayFilterCompleter.h"

#include <chrono>
#include <gtest/gtest.h>
#include <string>

namespace netrondo::test {
namespace {

std::string offered(std::string_view typed, int limit = 1000)
{
    std::string names;
    for (const auto& suggestion : DisplayFilterCompleter::suggestions(typed, limit))
        (names += names.empty() ? "" : " ") += suggestion.insertText;
    return names;
}

struct CompletionCase {
    std::string_view name, typed, offered;
};

class CompletionTable : public testing::TestWithParam<CompletionCase> { };

struct PositionCase {
    std::string_view name, typed;
    bool isValue;
};

class PositionTable : public testing::TestWithParam<PositionCase> { };

} // namespace

TEST_P(CompletionTable, Offers)
{
    EXPECT_EQ(offered(GetParam().typed), GetParam().offered);
}

INSTANTIATE_TEST_SUITE_P(
    Typed, CompletionTable,
    testing::Values(
        CompletionCase{
            "FlagsFirstThenTheSixByLengthAndAlphabet", "tcp.f",
            "tcp.flags tcp.flags.ack tcp.flags.fin tcp.flags.syn tcp.flags.urg tcp.flags.push tcp.flags.reset"},
        CompletionCase{"AnyCase", "TCP.FLAGS.R", "tcp.flags.reset"}, CompletionCase{"NothingForAnEmptyText", "", ""},
        CompletionCase{"NothingAfterABlank", "tcp ", ""}, CompletionCase{"NothingForAnUnknownBeginning", "zzz", ""},
        CompletionCase{"NothingInValuePosition", "tcp.port == tc", ""},
        CompletionCase{"NothingRightBehindTheOperator", "tcp.port ==", ""},
        CompletionCase{"TheSecondTerm", "tcp.port == 80 and ssh", "ssh ssh.banner"},
        CompletionCase{"BehindASign", "!ssh.", "ssh.banner"},
        CompletionCase{"BehindAParenthesis", "(ssh.", "ssh.banner"},
        CompletionCase{"AnAliasLeadsToItsField", "pgs", "postgres"},
        CompletionCase{"NamesComeBeforeAliases", "ss", "ssh ssh.banner tls tls.hs tls.sni tls.ver tls.alert.desc"},
        CompletionCase{"TheWholeNameIsStillOffered", "host", "host"},
        CompletionCase{"LongerNamesBehindShorterOnes", "ip.",
                       "ip.dst ip.len ip.src ip.ttl ip.ver ip.addr ip.proto ip.dst_host ip.src_host host"}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(DisplayFilterCompleter, OffersNoMoreThanTheLimit)
{
    EXPECT_EQ(offered("tcp.f", 2), "tcp.flags tcp.flags.ack");
    EXPECT_EQ(offered("tcp.f", 0), "");
    EXPECT_EQ(offered("tcp.f", -1), "");
}

TEST(DisplayFilterCompleter, FillsSuggestionsFromTheField)
{
    const auto suggestions = DisplayFilterCompleter::suggestions("ssh.b", 1);
    ASSERT_EQ(suggestions.size(), 1u);
    EXPECT_EQ(suggestions[0], (DisplayFilterSuggestion{"ssh.banner", "ssh.banner", "SSH banner"}));
}

TEST_P(PositionTable, IsAValuesOrNot)
{
    EXPECT_EQ(DisplayFilterCompleter::isInValuePosition(GetParam().typed), GetParam().isValue);
}

INSTANTIATE_TEST_SUITE_P(Carets, PositionTable,
                         testing::Values(PositionCase{"BehindTheOperator", "tcp.port ==", true},
                                         PositionCase{"BehindItsBlank", "tcp.port == ", true},
                                         PositionCase{"WithinTheValue", "tcp.port == 44", true},
                                         PositionCase{"BehindTheValuesBlank", "tcp.port == 44 ", false},
                                         PositionCase{"BehindAWordOperator", "http.host contains ", true},
                                         PositionCase{"WithinAnIdentifierAsValue", "eth.type == ar", true},
                                         PositionCase{"WithinQuotes", "http.ua == \"a b", true},
                                         PositionCase{"WithinQuotesBehindABlank", "http.ua == \"a ", true},
                                         PositionCase{"EmptyText", "", false},
                                         PositionCase{"WithinAName", "tcp.po", false},
                                         PositionCase{"WithinTheSecondName", "tcp.port == 80 and ud", false},
                                         PositionCase{"BehindAnd", "tcp and ", false},
                                         PositionCase{"BehindNot", "!", false},
                                         PositionCase{"BehindNotEqual", "tcp.port !=", true}),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(DisplayFilterCompleter, ReplacesTheNameBeingTyped)
{
    const DisplayFilterSuggestion port{"tcp.port", "tcp.port", ""};
    EXPECT_EQ(DisplayFilterCompleter::applying(port, "tcp.p"), "tcp.port");
    EXPECT_EQ(DisplayFilterCompleter::applying(port, "arp or !TCP.P"), "arp or !tcp.port");
    EXPECT_EQ(DisplayFilterCompleter::applying(port, "arp or "), "arp or tcp.port");
    EXPECT_EQ(DisplayFilterCompleter::applying(port, ""), "tcp.port");
    EXPECT_EQ(DisplayFilterCompleter::applying(port, "'é' te\u0301"), "'é' tcp.port");
}

} // namespace netrondo::test
