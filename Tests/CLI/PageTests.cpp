// Text on a screen: widths in columns, cuts with an ellipsis, tables that fit.
#include "NetrondoCLI/Page.h"
#include "NetrondoCLI/TextWidth.h"

#include <gtest/gtest.h>

namespace netrondo::test {
namespace {

using namespace cli;

struct WidthCase {
    std::string_view name, text;
    std::size_t width;
};

class Width : public testing::TestWithParam<WidthCase> { };

TEST_P(Width, CountsColumnsOfTheScreen)
{
    EXPECT_EQ(textWidth(GetParam().text), GetParam().width);
}

INSTANTIATE_TEST_SUITE_P(Texts, Width,
                         testing::Values(WidthCase{"Empty", "", 0}, WidthCase{"Ascii", "host", 4},
                                         WidthCase{"Umlaut", "zürich", 6}, WidthCase{"Arrow", "a ↔ b", 5},
                                         WidthCase{"Japanese", "事務所", 6}, WidthCase{"CombiningMark", "e\u0301", 1},
                                         WidthCase{"NotUtf8", "a\xff", 2}, WidthCase{"CutUtf8", "a\xe4\xba", 2}),
                         [](const auto& row) { return std::string(row.param.name); });

struct FitCase {
    std::string_view name, text;
    std::size_t width;
    std::string_view fitted;
};

class Fit : public testing::TestWithParam<FitCase> { };

TEST_P(Fit, CutsWithAnEllipsisOnlyWhereItMust)
{
    EXPECT_EQ(fitted(GetParam().text, GetParam().width), GetParam().fitted);
    EXPECT_LE(textWidth(fitted(GetParam().text, GetParam().width)), GetParam().width);
}

INSTANTIATE_TEST_SUITE_P(Texts, Fit,
                         testing::Values(FitCase{"Fits", "laptop", 6, "laptop"}, FitCase{"Cut", "laptop", 5, "lapt…"},
                                         FitCase{"One", "laptop", 1, "…"}, FitCase{"None", "laptop", 0, ""},
                                         FitCase{"WideCharactersAreNotHalved", "事務所", 4, "事…"},
                                         FitCase{"Umlaut", "zürich", 3, "zü…"}),
                         [](const auto& row) { return std::string(row.param.name); });

struct PrintableCase {
    std::string_view name, text, shown;
};

class Printable : public testing::TestWithParam<PrintableCase> { };

TEST_P(Printable, HasNothingThatCommandsATerminal)
{
    EXPECT_EQ(printable(GetParam().text), GetParam().shown);
}

INSTANTIATE_TEST_SUITE_P(Texts, Printable,
                         testing::Values(PrintableCase{"Plain", "nas-01.zürich", "nas-01.zürich"},
                                         PrintableCase{"Escape", "a\033[2Jb", "a\uFFFD[2Jb"},
                                         PrintableCase{"LineEnd", "a\nb", "a\uFFFDb"},
                                         PrintableCase{"C1Control", "a\u009bb", "a\uFFFDb"},
                                         PrintableCase{"RightToLeftOverride", "a\u202eb", "a\uFFFDb"},
                                         PrintableCase{"NotUtf8", "a\xff", "a\uFFFD"}),
                         [](const auto& row) { return std::string(row.param.name); });

std::string printed(const Table& table, std::size_t width)
{
    std::string text;
    {
        TextOutput out(text);
        Page page(out, width, false);
        table.print(page);
    }
    return text;
}

Table hostsTable()
{
    Table table({{"Host", Column::Kind::flexible}, {"Bytes", Column::Kind::number}, {"Note"}});
    table.add({{"laptop.example.org"}, {"12 kB"}, {"busy"}});
    table.add({{"nas"}, {"1.4 MB"}, {""}});
    table.add({{"printer"}, {"a text that goes on to the end of the line", Tone::plain, true}});
    return table;
}

TEST(Table, AlignsTextLeftAndNumbersRight)
{
    EXPECT_EQ(printed(hostsTable(), 70),
              "Host                 Bytes  Note\n"
              "laptop.example.org   12 kB  busy\n"
              "nas                 1.4 MB\n"
              "printer             a text that goes on to the end of the line\n");
}

TEST(Table, CutsItsFlexibleColumnOnANarrowPage)
{
    EXPECT_EQ(printed(hostsTable(), 28),
              "Host             Bytes  Note\n"
              "laptop.exampl…   12 kB  busy\n"
              "nas             1.4 MB\n"
              "printer         a text that…\n");
}

TEST(Table, KnowsHowNarrowItCanBe)
{
    EXPECT_EQ(hostsTable().leastWidth(), 12u + 2 + 6 + 2 + 4);
}

TEST(Page, BreaksParagraphsBetweenWords)
{
    std::string text;
    {
        TextOutput out(text);
        Page page(out, 20, false);
        page.put("Note  ");
        page.paragraph("one two three four five six", 6);
    }
    EXPECT_EQ(text, "Note  one two three\n      four five six\n");
}

TEST(Page, PaintsOnlyWhereColourIsWanted)
{
    for (const bool colour : {false, true}) {
        std::string text;
        {
            TextOutput out(text);
            Page page(out, 20, colour);
            page.put("Poor", Tone::poor);
            page.put("plain");
        }
        EXPECT_EQ(text, colour ? "\033[31mPoor\033[0mplain" : "Poorplain");
    }
}

} // namespace
} // namespace netrondo::test
