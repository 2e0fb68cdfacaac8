// The set of stations that have sent.
#include "Analysis/Expert/SeenMacs.h"

#include <gtest/gtest.h>

namespace netrondo::test {

TEST(SeenMacs, HoldWhatWasAddedAndNothingElseHoweverManyTheyAre)
{
    SeenMacs macs;
    EXPECT_FALSE(macs.contains(0)) << "no address is taken for an empty place";
    constexpr std::uint64_t first = 0x020000000000, count = 50'000;
    for (std::uint64_t i = 0; i < count; ++i)
        macs.add(first + 2 * i);
    std::uint64_t held = 0, invented = 0;
    for (std::uint64_t i = 0; i < count; ++i) {
        held += macs.contains(first + 2 * i);
        invented += macs.contains(first + 2 * i + 1);
    }
    EXPECT_EQ(held, count);
    EXPECT_EQ(invented, 0u);
    macs.add(0);
    macs.add(0xffffffffffff);
    EXPECT_TRUE(macs.contains(0));
    EXPECT_TRUE(macs.contains(0xffffffffffff));
}

} // namespace netrondo::test
