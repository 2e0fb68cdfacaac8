// What follows when HTTP has been switched to another protocol.
#include "Support/Hex.h"
#include "Support/Segments.h"

#include <gtest/gtest.h>

namespace netrondo::test {
namespace {

constexpr std::string_view answer =
    "HTTP/1.1 101 Switching Protocols\r\nConnection: Upgrade\r\nUpgrade: websocket\r\n\r\n";

class WebSocket : public testing::Test {
protected:
    WebSocket() { capture.tcp(40000, 80, 1, asBytes(answer)); }

    Capture capture;
    const std::uint32_t behind = 1 + answer.size();
};

TEST_F(WebSocket, FollowsBothWaysOfTheConnection)
{
    const auto asked = capture.tcp(80, 40000, 1, hex("8185 11223344 79475f287e"));
    const auto told = capture.tcp(40000, 80, behind, hex("8103 796573"));
    EXPECT_EQ(capture.info(asked), "Text “hello”");
    EXPECT_EQ(capture.info(told), "Text “yes”");
    EXPECT_EQ(capture.dumpOutOfTurn(asked), capture.dump(asked));
}

TEST_F(WebSocket, AFrameOverTwoSegmentsIsPutTogether)
{
    const auto first = capture.tcp(80, 40000, 1, hex("8185 1122"));
    const auto second = capture.tcp(80, 40000, 5, hex("3344 79475f287e"));
    EXPECT_EQ(capture.protocol(first), "WebSocket");
    EXPECT_EQ(capture.info(second), "Text “hello”");
    EXPECT_EQ(capture.values(second, "tcp.together"), "4");
}

TEST_F(WebSocket, PackedTextIsNoText)
{
    const auto frame = capture.tcp(40000, 80, behind, hex("c104 f2482d01"));
    EXPECT_EQ(capture.info(frame), "Text, 4 bytes");
    EXPECT_EQ(capture.values(frame, "websocket.compressed"), "1");
}

TEST_F(WebSocket, AControlFrameIsNoLongOne)
{
    const auto frame = capture.tcp(40000, 80, behind, hex("897e 0001 61"));
    EXPECT_EQ(capture.info(frame), "Data, 5 bytes");
}

TEST_F(WebSocket, ACloseFrameMayBeEmpty)
{
    const auto frame = capture.tcp(40000, 80, behind, hex("8800"));
    EXPECT_EQ(capture.info(frame), "Close");
}

TEST(HttpSwitch, ToAnotherProtocolIsNone)
{
    Capture capture;
    capture.tcp(40000, 80, 1, asBytes("HTTP/1.1 101 Switching Protocols\r\nUpgrade: raw\r\n\r\n"));
    const auto frame = capture.tcp(80, 40000, 1, hex("8103 796573"));
    EXPECT_EQ(capture.protocol(frame), "HTTP");
}

TEST(HttpSwitch, IsAskedForByNobodyYet)
{
    Capture capture;
    capture.tcp(80, 40000, 1, asBytes("GET / HTTP/1.1\r\nUpgrade: websocket\r\n\r\n"));
    const auto frame = capture.tcp(40000, 80, 1, asBytes("HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n"));
    EXPECT_EQ(capture.info(frame), "HTTP/1.1 200 OK");
}

} // namespace
} // namespace netrondo::test
