// What compiles to which tree, and what is refused with which sentence.
#include "Dissection/Filter/DisplayFilter.h"

#include "Dissection/Filter/Parser.h"
#include "Support/FilterTree.h"

#include <gtest/gtest.h>
#include <random>
#include <string>

namespace netrondo::test {
namespace {

struct TreeCase {
    std::string_view name, filter, tree;
};

class FilterTreeTable : public testing::TestWithParam<TreeCase> { };

std::string repeated(std::string_view piece, std::size_t count)
{
    std::string text;
    for (std::size_t i = 0; i < count; ++i)
        text += piece;
    return text;
}

std::string json(std::string_view filter)
{
    std::string text;
    TextOutput out(text);
    JsonWriter writer(out);
    write(writer, DisplayFilter::compile(filter).value());
    out.flush();
    return text;
}

} // namespace

TEST_P(FilterTreeTable, CompilesTo)
{
    EXPECT_EQ(treeOf(GetParam().filter), GetParam().tree);
}

INSTANTIATE_TEST_SUITE_P(
    Grammar, FilterTreeTable,
    testing::Values(
        TreeCase{"NameAlone", "tcp", "tcp"},
        TreeCase{"Comparison", "tcp.port == 443 and not arp", "and(tcp.port eq \"443\", not(arp))"},
        TreeCase{"TermsSideBySideAreJoinedByAnd", "tcp udp", "and(tcp, udp)"},
        TreeCase{"NotBesideATermIsJoinedByAnd", "tcp !arp", "and(tcp, not(arp))"},
        TreeCase{"ParenthesesBesideATermAreJoinedByAnd", "tcp (arp or udp)", "and(tcp, or(arp, udp))"},
        TreeCase{"AndBindsTighterThanOr", "tcp or udp and dns", "or(tcp, and(udp, dns))"},
        TreeCase{"NotBindsTighterThanAnd", "not tcp and udp", "and(not(tcp), udp)"},
        TreeCase{"NotOfAComparison", "not tcp.port == 80", "not(tcp.port eq \"80\")"},
        TreeCase{"ParenthesesComeFirst", "(tcp or udp) and dns", "and(or(tcp, udp), dns)"},
        TreeCase{"NotOfParentheses", "!(tcp or udp)", "not(or(tcp, udp))"},
        TreeCase{"NotNot", "!!tcp", "not(not(tcp))"},
        TreeCase{"AndGroupsFromTheLeft", "tcp and udp and arp", "and(and(tcp, udp), arp)"},
        TreeCase{"OrGroupsFromTheLeft", "tcp or udp or arp", "or(or(tcp, udp), arp)"},
        TreeCase{"SideBySideAndWrittenAndMix", "tcp udp and arp dns", "and(and(and(tcp, udp), arp), dns)"},
        TreeCase{"IdentifierIsAcceptedAsAValue", "eth.type == arp", "eth.type eq \"arp\""},
        TreeCase{"TermAfterAComparison", "tcp.port == 80 udp", "and(tcp.port eq \"80\", udp)"},
        TreeCase{"KeywordsAndNamesInAnyCase", "TCP.PORT EQ 443", "TCP.PORT eq \"443\""},
        TreeCase{"OneEqualsSignWillDo", "tcp.port = 443", "tcp.port eq \"443\""},
        TreeCase{
            "AllOperators",
            "ip.ttl eq 1 | ip.ttl ne 1 | ip.ttl gt 1 | ip.ttl lt 1 | ip.ttl ge 1 | ip.ttl le 1 | ip.ttl contains 1",
            "or(or(or(or(or(or(ip.ttl eq \"1\", ip.ttl ne \"1\"), ip.ttl gt \"1\"), ip.ttl lt \"1\"), ip.ttl ge "
            "\"1\"), ip.ttl le \"1\"), ip.ttl contains \"1\")"},
        TreeCase{"DoubleQuotedValueKeepsItsBlanks", "http.ua == \"a  b \"", "http.ua eq \"a  b \""},
        TreeCase{"SingleQuotedValueKeepsItsBlanks", "http.ua == 'a  b '", "http.ua eq \"a  b \""},
        TreeCase{"ApostropheInDoubleQuotesIsACharacter", "http.ua == \"it's\"", "http.ua eq \"it's\""},
        TreeCase{"UnterminatedQuoteRunsToTheEnd", "http.ua == 'a b", "http.ua eq \"a b\""},
        TreeCase{"EmptyValueIsAValue", "http.ua == ''", "http.ua eq \"\""},
        TreeCase{"AliasIsKeptAsTyped", "Ssl", "Ssl"},
        TreeCase{"BlanksAndLineEndsAroundAreTrimmed", " \n\t tcp \r\n", "tcp"}),
    [](const auto& row) { return std::string(row.param.name); });

INSTANTIATE_TEST_SUITE_P(
    Refused, FilterTreeTable,
    testing::Values(TreeCase{"Empty", "", "error: Empty filter"},
                    TreeCase{"BlanksOnly", " \t\n\u00a0", "error: Empty filter"},
                    TreeCase{"MissingParenthesis", "(tcp", "error: Missing “)”"},
                    TreeCase{"ValueWhereAParenthesisIsMissing", "(tcp 5)", "error: Missing “)”"},
                    TreeCase{"StrayParenthesis", "tcp)", "error: Unexpected extra tokens"},
                    TreeCase{"BareValueAfterAWholeExpression", "tcp 5", "error: Unexpected extra tokens"},
                    TreeCase{"SecondValue", "tcp.port == 80 443", "error: Unexpected extra tokens"},
                    TreeCase{"SecondComparison", "tcp.port == 80 == 443", "error: Unexpected extra tokens"},
                    TreeCase{"ComparisonWithoutAField", "== 5", "error: Expected a field or protocol"},
                    TreeCase{"ValueAlone", "443", "error: Expected a field or protocol"},
                    TreeCase{"QuotedNameIsNoField", "'tcp'", "error: Expected a field or protocol"},
                    TreeCase{"AndWithoutARightSide", "tcp and", "error: Expected a field or protocol"},
                    TreeCase{"AndWithoutALeftSide", "and tcp", "error: Expected a field or protocol"},
                    TreeCase{"OrWithoutARightSide", "tcp or", "error: Expected a field or protocol"},
                    TreeCase{"NotAlone", "not", "error: Expected a field or protocol"},
                    TreeCase{"EmptyParentheses", "()", "error: Expected a field or protocol"},
                    TreeCase{"ParenthesisAlone", "(", "error: Expected a field or protocol"},
                    TreeCase{"NoValue", "tcp.port ==", "error: Expected a value after tcp.port"},
                    TreeCase{"NoValueNamesTheFieldAsTyped", "TCP.Port ==", "error: Expected a value after TCP.Port"},
                    TreeCase{"OperatorInsteadOfAValue", "tcp.port == ==", "error: Expected a value after tcp.port"},
                    TreeCase{"KeywordInsteadOfAValue", "tcp.port == and udp", "error: Expected a value after tcp.port"},
                    TreeCase{"ParenthesisInsteadOfAValue", "tcp.port == (5)", "error: Expected a value after tcp.port"},
                    TreeCase{"UnknownName", "foo.bar",
                             "error: Unknown field “foo.bar” — not in Netrondo’s display-filter catalog"},
                    TreeCase{"UnknownNameAsTyped", "Foo.Bar == 1",
                             "error: Unknown field “Foo.Bar” — not in Netrondo’s display-filter catalog"},
                    TreeCase{"FirstUnknownNameFromTheLeft", "tcp and (b.b or a.a)",
                             "error: Unknown field “b.b” — not in Netrondo’s display-filter catalog"},
                    TreeCase{"GrammarIsCheckedBeforeNames", "foo.bar ==", "error: Expected a value after foo.bar"},
                    TreeCase{"MatchesIsAName", "http.host matches x",
                             "error: Unknown field “matches” — not in Netrondo’s display-filter catalog"}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(DisplayFilter, ErrorsCarryTheirKindAndPayload)
{
    using Error = DisplayFilter::CompileError;
    EXPECT_EQ(DisplayFilter::compile("foo.bar").error(), Error::unknownField("foo.bar"));
    EXPECT_EQ(DisplayFilter::compile("tcp)").error(), Error::syntax("Unexpected extra tokens"));
}

TEST(DisplayFilter, OptionalCompileOfABlankTextIsNoFilter)
{
    for (const auto* text : {"", "  \n"}) {
        const auto filter = DisplayFilter::compileOptional(text);
        ASSERT_TRUE(filter);
        EXPECT_FALSE(*filter);
    }
}

TEST(DisplayFilter, OptionalCompileOfATextIsItsCompile)
{
    const auto filter = DisplayFilter::compileOptional("  tcp udp ");
    ASSERT_TRUE(filter && *filter);
    EXPECT_EQ(**filter, DisplayFilter::compile("tcp and udp").value());
    EXPECT_EQ(DisplayFilter::compileOptional("(tcp").error().description(), "Missing “)”");
}

TEST(DisplayFilter, IsWrittenAsJson)
{
    EXPECT_EQ(json("tcp.port == 443 and not (arp or udp)"),
              R"({"and":[{"compare":{"field":"tcp.port","op":"eq","value":"443"}},)"
              R"({"not":{"or":[{"present":"arp"},{"present":"udp"}]}}]})");
    EXPECT_EQ(json("http.ua contains 'a\"b'"), R"({"compare":{"field":"http.ua","op":"contains","value":"a\"b"}})");
}

TEST(DisplayFilter, BytesThatAreNoUtf8StillGiveValidJson)
{
    EXPECT_EQ(json("http.ua == '\xff'"), "{\"compare\":{\"field\":\"http.ua\",\"op\":\"eq\",\"value\":\"\ufffd\"}}");
}

TEST(DisplayFilter, AMebibyteOfParenthesesIsRefusedWithASentence)
{
    const std::size_t mebibyte = 1024 * 1024;
    for (const auto& text : {repeated("(", mebibyte), repeated("(", mebibyte / 2) + "tcp" + repeated(")", mebibyte / 2),
                             repeated("!", mebibyte) + "tcp", repeated("not ", mebibyte / 4) + "tcp"})
        EXPECT_EQ(treeOf(text), "error: Invalid display filter");
    EXPECT_EQ(treeOf(repeated(")", mebibyte)), "error: Expected a field or protocol");
}

TEST(DisplayFilter, NestsToItsBoundAndNoFurther)
{
    const auto nested = [](std::size_t depth) { return repeated("(", depth) + "tcp" + repeated(")", depth); };
    EXPECT_EQ(treeOf(nested(maxFilterNesting)), "tcp");
    EXPECT_EQ(treeOf(nested(maxFilterNesting + 1)), "error: Invalid display filter");
    EXPECT_TRUE(DisplayFilter::compile(repeated("!", maxFilterNesting) + "tcp"));
    EXPECT_EQ(treeOf(repeated("!", maxFilterNesting + 1) + "tcp"), "error: Invalid display filter");
    // Side by side is not within one another.
    EXPECT_TRUE(DisplayFilter::compile(repeated("(tcp)", 3 * maxFilterNesting)));
}

TEST(DisplayFilter, AChainOfManyTermsCompilesPrintsAndGoesAwayWithoutAStack)
{
    for (const auto* link : {"tcp ", "tcp or ", "!udp and "}) {
        const auto filter = DisplayFilter::compile(repeated(link, 60'000) + "arp");
        ASSERT_TRUE(filter);
        EXPECT_GE(filter->nodes().size(), 120'001u);
        std::string text;
        TextOutput out(text);
        JsonWriter writer(out);
        write(writer, *filter);
        out.flush();
        EXPECT_TRUE(text.ends_with("{\"present\":\"arp\"}]}"));
        EXPECT_EQ(DisplayFilter::compile(filter->text()), *filter);
    }
}

TEST(DisplayFilter, PrintedAndCompiledAgainIsTheSameFilter)
{
    std::mt19937 random(20240607);
    static constexpr std::string_view pieces[] = {"tcp",
                                                  "udp",
                                                  "ip.addr == 10.0.0.1",
                                                  "http.ua contains \"it's\"",
                                                  "http.host == 'a\"b'",
                                                  "and",
                                                  "or",
                                                  "not",
                                                  "(",
                                                  ")",
                                                  "!",
                                                  "dns.q = x",
                                                  "Ssl",
                                                  "frame.len >= 0x10"};
    int compiled = 0;
    for (int round = 0; round < 20'000; ++round) {
        std::string text;
        for (auto count = random() % 12 + 1; count > 0; --count)
            (text += pieces[random() % std::size(pieces)]) += ' ';
        if (const auto filter = DisplayFilter::compile(text)) {
            ++compiled;
            ASSERT_EQ(DisplayFilter::compile(filter->text()), *filter) << text << " | " << filter->text();
        }
    }
    EXPECT_GT(compiled, 1000);
}

TEST(DisplayFilter, ACopyIsTheSameFilterAndOutlivesTheFirst)
{
    const auto another = DisplayFilter::compile("tcp.port == 443").value();
    auto filter = DisplayFilter::compile("tcp.port == 443");
    const auto copy = *filter;
    filter = DisplayFilter::compile("");
    EXPECT_EQ(copy, another);
    EXPECT_EQ(copy.text(), "tcp.port == \"443\"");
}

} // namespace netrondo::test
