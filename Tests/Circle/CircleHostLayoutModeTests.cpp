#include "Circle/CircleHostLayoutMode.h"

#include <gtest/gtest.h>

namespace netrondo::test {
using enum CircleHostLayoutMode;
using Modes = std::vector<CircleHostLayoutMode>;

TEST(CircleHostLayoutMode, HasTheTextsOfTheSwitch)
{
    EXPECT_EQ(rawValue(hosts), "hosts");
    EXPECT_EQ(shortTitle(hosts), "Hosts");
    EXPECT_EQ(accessibilityLabel(hosts), "Host to host conversations");
    EXPECT_EQ(systemImage(hosts), "person.3");
    EXPECT_EQ(helpText(hosts), "Host↔host conversations on the ring.");
    EXPECT_EQ(rawValue(byProtocol), "byProtocol");
    EXPECT_EQ(shortTitle(byProtocol), "Services");
    EXPECT_EQ(accessibilityLabel(byProtocol), "Host to service links");
    EXPECT_EQ(systemImage(byProtocol), "server.rack");
    EXPECT_EQ(helpText(byProtocol), "Hosts (left) linked to services (right).");
    EXPECT_EQ(rawValue(map), "map");
    EXPECT_EQ(shortTitle(map), "Map");
    EXPECT_EQ(accessibilityLabel(map), "Infrastructure map");
    EXPECT_EQ(systemImage(map), "point.3.connected.trianglepath.dotted");
    EXPECT_EQ(helpText(map), "L2/L3 infrastructure from STP, CDP/LLDP, and routing in the capture.");
}

TEST(CircleHostLayoutMode, IsFoundByItsRawValueAlone)
{
    for (const auto mode : allCircleHostLayoutModes)
        EXPECT_EQ(circleHostLayoutMode(rawValue(mode)), mode);
    for (const auto* text : {"", "Hosts", "services", "map "})
        EXPECT_EQ(circleHostLayoutMode(text), std::nullopt) << text;
}

TEST(CircleHostLayoutMode, TheMapIsThereWhenThereIsOneToShow)
{
    EXPECT_EQ(available(false), (Modes{hosts, byProtocol}));
    EXPECT_EQ(available(true), (Modes{hosts, byProtocol, map}));
}

TEST(CircleHostLayoutMode, TheNextOneGoesRoundAndRound)
{
    EXPECT_EQ(next(hosts, false), byProtocol);
    EXPECT_EQ(next(byProtocol, false), hosts);
    EXPECT_EQ(next(byProtocol, true), map);
    EXPECT_EQ(next(map, true), hosts);
}

TEST(CircleHostLayoutMode, AHiddenMapLeadsBackToTheHosts)
{
    EXPECT_EQ(next(map, false), hosts);
}

} // namespace netrondo::test
