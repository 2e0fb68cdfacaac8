#include "Dissection/Classify/ProtocolName.h"

#include <gtest/gtest.h>

namespace netrondo::test {

TEST(ProtocolName, EveryNameIsFoundAgainByItsText)
{
    for (std::size_t i = 0; i < protocolNameCount; ++i) {
        const auto name = static_cast<ProtocolName>(i);
        EXPECT_FALSE(text(name).empty()) << i;
        EXPECT_EQ(protocolName(text(name)), name) << text(name);
    }
}

TEST(ProtocolName, UnknownProtocolNumbersAreNamedByTheirNumber)
{
    EXPECT_EQ(text(ipProtocolName(0)), "IP protocol 0");
    EXPECT_EQ(text(ipProtocolName(99)), "IP protocol 99");
    EXPECT_EQ(text(ipProtocolName(255)), "IP protocol 255");
    EXPECT_EQ(text(ipv6ProtocolName(0)), "IPv6 protocol 0");
    EXPECT_EQ(text(ipv6ProtocolName(255)), "IPv6 protocol 255");
}

TEST(ProtocolName, ATextThatIsNoNameIsNotFound)
{
    for (const auto* text :
         {"", "http", "HTTP ", "IP protocol ", "IP protocol 256", "IP protocol 07", "IPv6 protocol x"})
        EXPECT_EQ(protocolName(text), std::nullopt) << text;
}

} // namespace netrondo::test
