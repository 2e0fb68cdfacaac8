// The short ways for ASCII are held to ICU's answers; white space and characters are Unicode's.
#include "Dissection/Filter/FilterText.h"

#include <gtest/gtest.h>
#include <random>
#include <string>

namespace netrondo::test {
namespace {

int signOf(int order)
{
    return (order > 0) - (order < 0);
}

/// Short texts of few characters, so that the same and nearly the same come up often.
class RandomTexts {
public:
    std::string ascii()
    {
        return make([this] { return static_cast<char>(random_() % 128); });
    }
    std::string words()
    {
        static constexpr std::string_view letters = "aAbBcChHzZ09.-_ /:@";
        return make([this] { return letters[random_() % letters.size()]; });
    }
    std::string next() { return random_() % 2 ? ascii() : words(); }

private:
    template <typename Character> std::string make(Character character)
    {
        std::string text(random_() % 9, ' ');
        for (auto& c : text)
            c = character();
        return text;
    }

    std::mt19937 random_{1606};
};

} // namespace

class LocaleOrder : public testing::TestWithParam<const char*> { };

TEST_P(LocaleOrder, OfAsciiIsTheCollators)
{
    const TextOrder order(GetParam());
    RandomTexts texts;
    for (int round = 0; round < 50'000; ++round) {
        const auto a = texts.next(), b = texts.next();
        ASSERT_EQ(signOf(order.compare(a, b)), signOf(order.compareByCollator(a, b))) << a << " | " << b;
    }
}

TEST_P(LocaleOrder, FindsAsciiWhereTheCollatorsSearchDoes)
{
    const TextOrder order(GetParam());
    RandomTexts texts;
    int found = 0;
    for (int round = 0; round < 10'000; ++round) {
        const auto text = texts.next() + texts.next();
        auto part = texts.next();
        if (round % 2)
            part = text.substr(text.size() / 3, part.size() % 4);
        found += order.contains(text, part);
        ASSERT_EQ(order.contains(text, part), order.containsByCollator(text, part)) << text << " | " << part;
    }
    EXPECT_GT(found, 1000);
}

INSTANTIATE_TEST_SUITE_P(Locales, LocaleOrder,
                         testing::Values("", "en_US", "en_US_POSIX", "de_DE", "da_DK", "tr_TR", "sk_SK"),
                         [](const auto& row) { return *row.param ? std::string(row.param) : std::string("root"); });

TEST(TextOrder, IgnoresCaseUnderTheCLocaleToo)
{
    const TextOrder order("en_US_POSIX");
    EXPECT_EQ(order.compare("Host", "hOST"), 0);
    EXPECT_LT(order.compare("a", "B"), 0);
    EXPECT_TRUE(order.contains("Example", "XAMP"));
}

TEST(TextOrder, FollowsTheLocale)
{
    EXPECT_LT(TextOrder("en_US").compare("aa", "b"), 0);
    EXPECT_GT(TextOrder("da_DK").compare("aa", "z"), 0); // Danish "aa" is the last letter of the alphabet
    EXPECT_LT(TextOrder("de_DE").compare("ä", "b"), 0);
    EXPECT_GT(TextOrder("sv_SE").compare("ä", "z"), 0);
}

TEST(TextOrder, CountsAccentsButNotHowTheyAreEncoded)
{
    const TextOrder order("");
    EXPECT_NE(order.compare("e", "é"), 0);
    EXPECT_EQ(order.compare("\u00e9", "e\u0301"), 0);
    EXPECT_TRUE(order.contains("un caf\u00e9 noir", "CAFE\u0301"));
    EXPECT_FALSE(order.contains("un café noir", "cafe"));
}

TEST(FilterText, FoldingOfAsciiIsUnicodesFolding)
{
    RandomTexts texts;
    for (int round = 0; round < 10'000; ++round) {
        // Behind an accent nobody counts, the same text takes the long way.
        const auto text = texts.next();
        ASSERT_EQ(folded(text + "\u0301"), folded(text)) << text;
    }
}

TEST(FilterText, FoldsCaseAndAccentsAway)
{
    EXPECT_EQ(folded("ÀÉÎõü"), "aeiou");
    EXPECT_EQ(folded("Straße"), "strasse");
    EXPECT_EQ(folded("ΟΔΟΣ"), folded("οδος"));
    EXPECT_EQ(folded("Дом"), "дом");
}

TEST(FilterText, TrimsUnicodesWhiteSpace)
{
    EXPECT_EQ(trimmed(" \t\r\n\u00a0\u2003a b\u2028 "), "a b");
    EXPECT_EQ(trimmed("\u00a0 "), "");
    EXPECT_EQ(trimmed(""), "");
    EXPECT_EQ(trimmed("\xff"), "\xff");
}

TEST(FilterText, ReplacesBytesThatAreNoUtf8)
{
    EXPECT_EQ(validUtf8("a\xff\u00e9"), "a\ufffd\u00e9");
    EXPECT_EQ(validUtf8("a\xe9"), "a\ufffd");
}

TEST(FilterText, CharactersAreWhatAReaderCountsAsOne)
{
    const Characters accented("e\u0301a"), family("👨\u200d👩\u200d👧x"), ascii("ab");
    EXPECT_EQ(accented.size(), 2u);
    EXPECT_EQ(accented[0], "e\u0301");
    EXPECT_TRUE(accented.isLetter(0));
    EXPECT_TRUE(accented.is(1, 'a'));
    EXPECT_EQ(family.size(), 2u);
    EXPECT_EQ(ascii.size(), 2u);
    EXPECT_EQ(Characters("").size(), 0u);
}

TEST(FilterText, LowerCaseIsUnicodes)
{
    EXPECT_EQ(lowerCased("TCP.Port"), "tcp.port");
    EXPECT_EQ(lowerCased("ÉÀ"), "éà");
}

} // namespace netrondo::test
