// Values against values: numbers, boolean words, text without regard to case and accents.
#include "Dissection/Filter/FilterComparison.h"

#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <string>

namespace netrondo::test {
namespace {

struct NumberCase {
    std::string_view name, text;
    std::optional<double> number;
};

class NumberTable : public testing::TestWithParam<NumberCase> { };

struct ComparisonCase {
    std::string_view name, value;
    FilterOp op;
    std::string_view target;
    bool holds;
};

class ComparisonTable : public testing::TestWithParam<ComparisonCase> { };

constexpr auto infinity = std::numeric_limits<double>::infinity();

} // namespace

TEST_P(NumberTable, IsReadAs)
{
    EXPECT_EQ(leadingNumber(GetParam().text), GetParam().number);
}

INSTANTIATE_TEST_SUITE_P(
    Numbers, NumberTable,
    testing::Values(NumberCase{"Integer", "443", 443}, NumberCase{"BlanksAround", " \t443\n", 443},
                    NumberCase{"NoBreakSpaceAround", "\u00a0443\u00a0", 443}, NumberCase{"Negative", "-1", -1},
                    NumberCase{"Plus", "+5", 5}, NumberCase{"Fraction", "1.5", 1.5},
                    NumberCase{"PointFirst", ".5", 0.5}, NumberCase{"PointLast", "5.", 5},
                    NumberCase{"Exponent", "1e3", 1000}, NumberCase{"ExponentWithSign", "25e-1", 2.5},
                    NumberCase{"Hexadecimal", "0x10", 16}, NumberCase{"HexadecimalInCapitals", "0XfF", 255},
                    NumberCase{"LargestHexadecimal", "0xffffffffffffffff", 0x1p64},
                    NumberCase{"HexadecimalOf65BitsIsReadAsADouble", "0x10000000000000000", 0x1p64},
                    NumberCase{"HexadecimalPrefixAloneIsItsZero", "0x", 0},
                    NumberCase{"HexadecimalPrefixBeforeOtherTextIsItsZero", "0xzz", 0},
                    NumberCase{"HexadecimalPrefixBeforeASignIsItsZero", "0x-1", 0},
                    NumberCase{"HexadecimalPrefixBeforeAWordIsItsZero", "0xinf", 0},
                    NumberCase{"NegativeHexadecimal", "-0x10", -16}, NumberCase{"Infinity", "inf", infinity},
                    NumberCase{"BeyondADouble", "1e999", infinity}, NumberCase{"FarBelowZero", "-1e999", -infinity},
                    NumberCase{"TooSmallForADouble", "1e-999", 0}, NumberCase{"UnitBehind", "1500 bytes", 1500},
                    NumberCase{"UnitAttached", "12ms", 12}, NumberCase{"WordBefore", "TTL 64", 64},
                    NumberCase{"NameBehind", "1 (request)", 1}, NumberCase{"FirstOfSeveral", "seq 7 ack 9", 7},
                    NumberCase{"SignWithinText", "offset -8 bytes", -8}, NumberCase{"SecondSignEndsIt", "5-3", 5},
                    NumberCase{"MinusAlone", "-", {}}, NumberCase{"MinusBeforeText", "-x5", {}},
                    NumberCase{"TwoMinuses", "--5", {}}, NumberCase{"PlusMinus", "+-5", -5},
                    NumberCase{"PointAlone", ".", {}}, NumberCase{"PointBeforeText", "a.b5", {}},
                    NumberCase{"Empty", "", {}}, NumberCase{"Blank", "  ", {}}, NumberCase{"Word", "request", {}},
                    NumberCase{"AddressIsNone", "10.0.0.1", {}},
                    NumberCase{"MacAddressBeginsWithItsFirstDigits", "02:00:5e:00:53:0a", 2},
                    NumberCase{"CommaEndsIt", "1,500", 1}, NumberCase{"DigitsOfOtherScriptsAreNone", "٤٤٣", {}}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(Number, OfANumberThatIsNoneIsThat)
{
    EXPECT_TRUE(std::isnan(leadingNumber("nan").value()));
}

TEST(Number, OfAMillionDigitsIsReadInOneGo)
{
    EXPECT_EQ(leadingNumber(std::string(1'000'000, '9')), infinity);
    EXPECT_EQ(leadingNumber("0." + std::string(1'000'000, '0') + "1"), 0.0);
    EXPECT_EQ(leadingNumber("x" + std::string(1'000'000, '0')), 0.0);
}

TEST_P(ComparisonTable, HoldsOrNot)
{
    const auto& row = GetParam();
    EXPECT_EQ(FilterComparison(row.op, row.target).holdsFor(row.value), row.holds);
    if (row.op == FilterOp::eq) {
        EXPECT_EQ(equalish(row.value, row.target), row.holds);
        EXPECT_NE(FilterComparison(FilterOp::ne, row.target).holdsFor(row.value), row.holds);
    }
}

constexpr auto eq = FilterOp::eq, gt = FilterOp::gt, lt = FilterOp::lt, ge = FilterOp::ge, le = FilterOp::le,
               contains = FilterOp::contains;

INSTANTIATE_TEST_SUITE_P(
    Equality, ComparisonTable,
    testing::Values(
        ComparisonCase{"Text", "abc", eq, "abc", true}, ComparisonCase{"OtherCase", "AbC", eq, "aBc", true},
        ComparisonCase{"OtherText", "abc", eq, "abd", false},
        ComparisonCase{"AccentInTheValue", "Müller", eq, "muller", true},
        ComparisonCase{"AccentInTheTarget", "cafe", eq, "CAFÉ", true},
        ComparisonCase{"AccentComposedOrNot", "e\u0301", eq, "\u00e9", true},
        ComparisonCase{"SharpS", "straße", eq, "STRASSE", true}, ComparisonCase{"OtherScript", "ДОМ", eq, "дом", true},
        ComparisonCase{"SameNumber", "0x10", eq, "16", true},
        ComparisonCase{"SameNumberWithUnit", "1500 bytes", eq, "1500", true},
        ComparisonCase{"OtherNumber", "80", eq, "443", false}, ComparisonCase{"FlagYes1", "1", eq, "yes", true},
        ComparisonCase{"FlagYesTrue", "true", eq, "yes", true}, ComparisonCase{"FlagYesTRUE", "TRUE", eq, "yes", true},
        ComparisonCase{"FlagYesYes", "yes", eq, "yes", true}, ComparisonCase{"FlagYesIsNotNo", "no", eq, "yes", false},
        ComparisonCase{"FlagYesIsNotTwo", "2", eq, "yes", false}, ComparisonCase{"FlagNo0", "0", eq, "no", true},
        ComparisonCase{"FlagNoFalse", "False", eq, "0", true}, ComparisonCase{"EmptyIsNotNo", "", eq, "no", false},
        ComparisonCase{"EmptyIsEmpty", "", eq, "", true},
        ComparisonCase{"AddressIsComparedWhole", "10.0.0.1", eq, "10.0.0.2", false},
        ComparisonCase{"TextsThatBeginWithTheSameNumberAreEqual", "02:00:00:00:00:01", eq, "02:ff", true}),
    [](const auto& row) { return std::string(row.param.name); });

INSTANTIATE_TEST_SUITE_P(Order, ComparisonTable,
                         testing::Values(ComparisonCase{"HexadecimalIsComparedAsANumber", "17", gt, "0x10", true},
                                         ComparisonCase{"SixteenIsNotMoreThanHexadecimalTen", "16", gt, "0x10", false},
                                         ComparisonCase{"SixteenIsAtLeastHexadecimalTen", "16", ge, "0x10", true},
                                         ComparisonCase{"NumbersNotTexts", "9", lt, "10", true},
                                         ComparisonCase{"UnitsDoNotMatter", "9 bytes", lt, "10 bytes", true},
                                         ComparisonCase{"TextByTheAlphabet", "north", gt, "m", true},
                                         ComparisonCase{"TextWithoutRegardToCase", "NORTH", gt, "m", true},
                                         ComparisonCase{"CapitalTarget", "alpha", lt, "M", true},
                                         ComparisonCase{"SameTextInOtherCaseIsNotLess", "M", lt, "m", false},
                                         ComparisonCase{"SameTextInOtherCaseIsAtMost", "M", le, "m", true},
                                         ComparisonCase{"SameTextInOtherCaseIsAtLeast", "M", ge, "m", true},
                                         ComparisonCase{"AccentsComeBesideTheirLetter", "émile", lt, "f", true},
                                         ComparisonCase{"AddressesAreTexts", "10.0.0.2", gt, "10.0.0.1", true},
                                         ComparisonCase{"TextAgainstNumberIsText", "abc", gt, "5", true},
                                         ComparisonCase{"NotANumberIsNotMore", "nan", gt, "5", false},
                                         ComparisonCase{"NotANumberIsNotLess", "nan", le, "5", false}),
                         [](const auto& row) { return std::string(row.param.name); });

INSTANTIATE_TEST_SUITE_P(Contains, ComparisonTable,
                         testing::Values(ComparisonCase{"Within", "www.example.com", contains, "example", true},
                                         ComparisonCase{"OtherCase", "WWW.Example.COM", contains, "eXAMPLE.c", true},
                                         ComparisonCase{"Absent", "www.example.com", contains, "sample", false},
                                         ComparisonCase{"LongerThanTheValue", "a", contains, "aa", false},
                                         ComparisonCase{"AccentsCount", "café", contains, "cafe", false},
                                         ComparisonCase{"AccentedInOtherCase", "un CAFÉ noir", contains, "café", true},
                                         ComparisonCase{"NumbersAreTexts", "1024", contains, "02", true},
                                         ComparisonCase{"NothingIsInEverything", "abc", contains, "", true},
                                         ComparisonCase{"NothingIsInNothing", "", contains, "", true},
                                         ComparisonCase{"SomethingIsNotInNothing", "", contains, "a", false}),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(FilterOp, IsNamedByItsKeyword)
{
    EXPECT_EQ(caseName(FilterOp::eq), "eq");
    EXPECT_EQ(caseName(FilterOp::contains), "contains");
}

} // namespace netrondo::test
