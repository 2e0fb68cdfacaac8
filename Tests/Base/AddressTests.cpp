// Addresses as text: dotted decimal, RFC 5952, lower-case pairs.
#include "Base/Address.h"

#include <gtest/gtest.h>
#include <unordered_set>

namespace netrondo::test {

struct AddressCase {
    std::string_view name, input, text;
};

class AddressText : public testing::TestWithParam<AddressCase> { };

TEST_P(AddressText, IsCanonical)
{
    const auto address = Address::parse(GetParam().input);
    ASSERT_TRUE(address);
    EXPECT_EQ(address->text(), GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, AddressText,
    testing::Values(AddressCase{"Ipv4", "10.0.200.1", "10.0.200.1"}, AddressCase{"Ipv4Zero", "0.0.0.0", "0.0.0.0"},
                    AddressCase{"Mac", "02:00:5E:00:53:0a", "02:00:5e:00:53:0a"},
                    AddressCase{"LowerCase", "2001:DB8::A", "2001:db8::a"},
                    AddressCase{"LeadingZeros", "2001:0db8:0000:0001:0000:0000:0000:0001", "2001:db8:0:1::1"},
                    AddressCase{"OneZeroGroupIsKept", "2001:db8:0:1:1:1:1:1", "2001:db8:0:1:1:1:1:1"},
                    AddressCase{"FirstOfEqualRuns", "2001:db8:0:0:1:0:0:1", "2001:db8::1:0:0:1"},
                    AddressCase{"LongestRun", "2001:0:0:1:0:0:0:1", "2001:0:0:1::1"},
                    AddressCase{"Unspecified", "::", "::"}, AddressCase{"Loopback", "::1", "::1"},
                    AddressCase{"TrailingRun", "fe80:0:0:0:0:0:0:0", "fe80::"},
                    AddressCase{"Mapped", "::ffff:c000:0201", "::ffff:192.0.2.1"},
                    AddressCase{"Longest", "1111:2222:3333:4444:5555:6666:7777:8888",
                                "1111:2222:3333:4444:5555:6666:7777:8888"}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(Address, OfAnIpxHostIsNetworkAndNode)
{
    EXPECT_EQ(Address::ipx(0xe8022, 0x00a0ccd0a1b2).text(), "000e8022.00a0ccd0a1b2");
}

TEST(Address, OfADecnetNodeIsAreaAndNode)
{
    EXPECT_EQ(Address::decnet(0x0401).text(), "1.1");
    EXPECT_EQ(Address::decnet(0xffff).text(), "63.1023");
}

TEST(Address, OfAnotherKindIsAnotherAddress)
{
    EXPECT_NE(Address::ipv4(1), Address::mac(1));
    EXPECT_NE(hashOf(Address::ipv4(1)), hashOf(Address::mac(1)));
}

TEST(Address, TextThatIsNoAddressIsNotParsed)
{
    for (const auto text : {"", "10.0.0", "10.0.0.256", "host.example", "02:00:5e:00:53", "02:00:5e:00:53:0g", ":::1"})
        EXPECT_FALSE(Address::parse(text)) << text;
}

TEST(AddressHash, AddressesChosenAgainstAMultiplicationDoNotShareTheirHash)
{
    // One factor of a product that is zero makes any other factor worthless. These were such factors once.
    std::unordered_set<std::uint64_t> hashes;
    for (std::uint64_t i = 0; i < 1000; ++i) {
        hashes.insert(hashOf(Address{0x9e3779b97f4a7c15 - 3, i, Address::Kind::ipv6}));
        hashes.insert(hashOf(Address{i, 0xd1342543de82ef95, Address::Kind::ipv6}));
    }
    EXPECT_GT(hashes.size(), 1990u);
}

} // namespace netrondo::test
