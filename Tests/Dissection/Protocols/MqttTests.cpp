// What version 5 changed, which only a connection's first packet tells.
#include "Support/Hex.h"
#include "Support/Segments.h"

#include <gtest/gtest.h>

namespace netrondo::test {
namespace {

class Mqtt : public testing::Test {
protected:
    /// The connection's first packet, of that version.
    std::uint32_t connect(std::uint8_t version)
    {
        auto bytes = hex("10 0f 0004 4d515454 05 02 003c 00 0002 6e31");
        bytes[8] = version;
        if (version < 5) // no properties
            bytes.erase(bytes.begin() + 12), bytes[1] = 0x0e;
        capture.tcp(1883, 40000, 1, bytes);
        return static_cast<std::uint32_t>(1 + bytes.size());
    }

    Capture capture;
};

TEST_F(Mqtt, PropertiesOfVersion5StandBeforeTheMessage)
{
    const auto frame = capture.tcp(1883, 40000, connect(5), hex("30 0a 0003 612f62 02 0101 6869"));
    EXPECT_EQ(capture.info(frame), "Publish [a/b]");
    EXPECT_EQ(capture.values(frame, "mqtt.properties"), "0101");
    EXPECT_EQ(capture.values(frame, "mqtt.payload"), "hi");
    EXPECT_EQ(capture.dumpOutOfTurn(frame), capture.dump(frame));
}

TEST_F(Mqtt, EarlierVersionsHaveNone)
{
    const auto frame = capture.tcp(1883, 40000, connect(4), hex("30 07 0003 612f62 6869"));
    EXPECT_EQ(capture.values(frame, "mqtt.payload"), "hi");
    EXPECT_EQ(capture.values(frame, "mqtt.properties_len"), "");
}

TEST_F(Mqtt, AConnectionWhoseBeginningIsMissingIsTakenAsOfVersion4)
{
    const auto frame = capture.tcp(1883, 40000, 1, hex("30 07 0003 612f62 6869"));
    EXPECT_EQ(capture.values(frame, "mqtt.payload"), "hi");
}

TEST_F(Mqtt, AnswersOfVersion5TellReasons)
{
    connect(5);
    EXPECT_EQ(capture.info(capture.tcp(40000, 1883, 1, hex("20 03 00 87 00"))), "Connect Ack not authorized");
    EXPECT_EQ(capture.info(capture.tcp(40000, 1883, 6, hex("90 05 0001 00 01 87"))),
              "Subscribe Ack granted quality 1, not authorized");
    EXPECT_EQ(capture.info(capture.tcp(40000, 1883, 13, hex("40 03 0001 97"))), "Publish Ack quota exceeded");
    EXPECT_EQ(capture.info(capture.tcp(40000, 1883, 18, hex("e0 02 8b 00"))), "Disconnect server shuts down");
    EXPECT_EQ(capture.info(capture.tcp(40000, 1883, 22, hex("e0 00"))), "Disconnect");
}

TEST_F(Mqtt, EveryTopicOfASubscriptionIsTold)
{
    const auto frame = capture.tcp(1883, 40000, connect(5), hex("82 0c 0001 00 0001 61 00 0002 6223 01"));
    EXPECT_EQ(capture.info(frame), "Subscribe [a, b#]");
}

TEST_F(Mqtt, PropertiesLongerThanThePacketAreMalformed)
{
    const auto frame = capture.tcp(1883, 40000, connect(5), hex("30 06 0001 61 7f 0101 c000"));
    EXPECT_EQ(capture.values(frame, "mqtt.payload"), "");
}

} // namespace
} // namespace netrondo::test
