#include "Base/Shorten.h"

#include <gtest/gtest.h>

namespace netrondo::test {

struct ShortenCase {
    std::string_view name, text;
    std::size_t maxChars;
    std::string_view shortened;
};

class ShortenTable : public testing::TestWithParam<ShortenCase> { };

TEST_P(ShortenTable, KeepsBothEnds)
{
    EXPECT_EQ(shortenMiddle(GetParam().text, GetParam().maxChars), GetParam().shortened);
}

INSTANTIATE_TEST_SUITE_P(
    Texts, ShortenTable,
    testing::Values(
        ShortenCase{"WhatFitsStays", "192.168.100.200", 15, "192.168.100.200"},
        ShortenCase{"AnAddressKeepsItsLastPart", "2001:db8:aaaa:bbbb:cccc:dddd:eeee:1", 18, "2001:db8…dd:eeee:1"},
        ShortenCase{"OneCharacterIsTheEllipsis", "host", 1, "…"},
        ShortenCase{"NothingHasRoomForNothing", "host", 0, ""}, ShortenCase{"TwoKeepTheEnd", "host", 2, "…t"},
        ShortenCase{"TheEmptyTextIsEmpty", "", 5, ""},
        ShortenCase{"UmlautsCountOne", "münchen-köln", 12, "münchen-köln"},
        ShortenCase{"UmlautsAreCutWhole", "ääääääää", 4, "ä…ää"},
        ShortenCase{"ACombiningAccentStaysWithItsLetter", "e\u0301e\u0301e\u0301e\u0301e\u0301", 3, "e\u0301…e\u0301"},
        ShortenCase{"AJoinedEmojiStaysWhole", "👩‍🔧👩‍🔧👩‍🔧👩‍🔧", 3,
                    "👩‍🔧…👩‍🔧"},
        ShortenCase{"BytesThatAreNoTextCountOneEach", "\xff\xfe\xfd\xfc\xfb", 3, "\xff…\xfb"}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(Shorten, NeverExceedsTheLimitInPlainText)
{
    const std::string text = "a-host-with-a-long-name.office.example";
    for (std::size_t limit = 1; limit < text.size(); ++limit) {
        const auto shortened = shortenMiddle(text, limit);
        EXPECT_EQ(shortened.size(), limit + 2) << "the ellipsis is three bytes and one character";
    }
}

} // namespace netrondo::test
