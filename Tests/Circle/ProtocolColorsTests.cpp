#include "Circle/ProtocolColors.h"

#include "Dissection/Classify/ProtocolName.h"
#include "Support/ColorVision.h"

#include <gtest/gtest.h>
#include <map>
#include <string>

namespace netrondo::test {
namespace {

using ProtocolColors::RGB;

/// Side by side, colours with a difference of 2 can just be told apart; 10 is told at a glance.
constexpr double atAGlance = 10;
constexpr double contrastOfLines = 3; // WCAG 2.2, 1.4.11

} // namespace

TEST(ProtocolColors, TheDifferenceOfColoursIsTheStandardsOwn)
{
    // White and black differ by their lightness alone, and the standard's formula then gives 100.
    EXPECT_NEAR(difference({255, 255, 255}, {0, 0, 0}, Vision::normal), 100, 0.01);
    EXPECT_EQ(difference({12, 200, 99}, {12, 200, 99}, Vision::deuteranopia), 0);
    EXPECT_NEAR(contrast({255, 255, 255}, {0, 0, 0}), 21, 0.01);
    // Red and the green of its lightness are far apart, but not for everybody.
    EXPECT_GT(difference({200, 60, 40}, {110, 125, 40}, Vision::normal), 40);
    EXPECT_LT(difference({200, 60, 40}, {110, 125, 40}, Vision::deuteranopia), 15);
}

TEST(ProtocolColors, TheTwelveCommonOnesAreToldApartWithAnyVision)
{
    const auto common = ProtocolColors::common();
    ASSERT_EQ(common.size(), 12u);
    for (const auto vision : visions)
        for (const auto a : common)
            for (const auto b : common)
                if (a < b) {
                    EXPECT_GT(difference(ProtocolColors::color(a), ProtocolColors::color(b), vision), atAGlance)
                        << a << " and " << b << " with vision " << static_cast<int>(vision);
                }
}

TEST(ProtocolColors, EveryProtocolStandsOutFromBothGrounds)
{
    for (std::size_t i = 0; i < protocolNameCount; ++i) {
        const auto name = text(static_cast<ProtocolName>(i));
        const auto color = ProtocolColors::color(name);
        EXPECT_GE(contrast(color, ProtocolColors::lightGround), contrastOfLines) << name;
        EXPECT_GE(contrast(color, ProtocolColors::darkGround), contrastOfLines) << name;
    }
}

TEST(ProtocolColors, EveryProtocolHasAColourOfItsOwn)
{
    std::map<std::tuple<int, int, int>, std::string> owners;
    for (std::size_t i = 0; i < static_cast<std::size_t>(ProtocolName::firstIpProtocol); ++i) {
        const auto name = text(static_cast<ProtocolName>(i));
        const auto [r, g, b] = ProtocolColors::color(name);
        const auto [at, isNew] = owners.emplace(std::tuple(r, g, b), name);
        EXPECT_TRUE(isNew) << name << " looks like " << at->second;
    }
}

TEST(ProtocolColors, ANameOfNobodysHasAColourThatStaysTheSame)
{
    EXPECT_EQ(ProtocolColors::color("Unknown"), ProtocolColors::color("Unknown"));
    EXPECT_EQ(ProtocolColors::color("My protocol"), (RGB{0x3b, 0x8d, 0x2a}));
    EXPECT_NE(ProtocolColors::color("My protocol"), ProtocolColors::color("my protocol"));
    for (int i = 0; i < 500; ++i) {
        const auto color = ProtocolColors::color("protocol " + std::to_string(i));
        EXPECT_GE(contrast(color, ProtocolColors::lightGround), contrastOfLines) << i;
        EXPECT_GE(contrast(color, ProtocolColors::darkGround), contrastOfLines) << i;
    }
}

} // namespace netrondo::test
