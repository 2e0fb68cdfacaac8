// Link types by number and by name.
#include "Capture/LinkType.h"

#include <gtest/gtest.h>

namespace netrondo::test {

struct LinkTypeCase {
    std::string_view caseName;
    LinkType type;
    std::uint16_t number;
    std::string_view displayName;
};

class LinkTypeTable : public testing::TestWithParam<LinkTypeCase> { };

TEST_P(LinkTypeTable, HasItsNumberAndNames)
{
    const auto& row = GetParam();
    EXPECT_EQ(static_cast<std::uint16_t>(row.type), row.number);
    EXPECT_EQ(linkTypeExactly(row.number), row.type);
    EXPECT_EQ(linkType(row.number), row.type);
    EXPECT_EQ(displayName(row.type), row.displayName);
    EXPECT_EQ(caseName(row.type), row.caseName);
}

INSTANTIATE_TEST_SUITE_P(All, LinkTypeTable,
                         testing::Values(LinkTypeCase{"null", LinkType::null, 0, "Null / loopback"},
                                         LinkTypeCase{"ethernet", LinkType::ethernet, 1, "Ethernet"},
                                         LinkTypeCase{"raw", LinkType::raw, 12, "Raw IP"},
                                         LinkTypeCase{"ieee80211", LinkType::ieee80211, 105, "IEEE 802.11"},
                                         LinkTypeCase{"linuxSLL", LinkType::linuxSLL, 113, "Linux cooked"},
                                         LinkTypeCase{"linuxSLL2", LinkType::linuxSLL2, 276, "Linux cooked v2"},
                                         LinkTypeCase{"ieee80211Radio", LinkType::ieee80211Radio, 127,
                                                      "IEEE 802.11 + Radiotap"},
                                         LinkTypeCase{"unknown", LinkType::unknown, 65535, "Unknown (DLT 65535)"}),
                         [](const auto& row) { return std::string(row.param.caseName); });

TEST(LinkType, EveryOtherNumberIsUnknownToReadersAndNoneExactly)
{
    int known = 0;
    for (unsigned number = 0; number <= 65535; ++number) {
        const auto exactly = linkTypeExactly(static_cast<std::uint16_t>(number));
        EXPECT_EQ(linkType(static_cast<std::uint16_t>(number)), exactly.value_or(LinkType::unknown));
        known += exactly.has_value();
    }
    EXPECT_EQ(known, 8);
    EXPECT_FALSE(linkTypeExactly(101)); // raw IP is matched by 12 alone
}

} // namespace netrondo::test
