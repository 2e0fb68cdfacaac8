// A screen over the network: how the two sides agree, and what is said when part of that was not seen.
#include "Support/Hex.h"
#include "Support/Segments.h"

#include <gtest/gtest.h>

#include <string>

namespace netrondo::test {
namespace {

constexpr std::string_view pixelFormat = "20 18 00 01 00ff 00ff 00ff 10 08 00 000000";
constexpr std::string_view challenge = "000102030405060708090a0b0c0d0e0f";

class Vnc : public testing::Test {
protected:
    std::size_t server(Bytes payload) { return say(1, port_, 5900, payload); }
    std::size_t client(Bytes payload) { return say(0, 5900, port_, payload); }
    void lose(std::uint32_t fromServer) { next_[1] += fromServer; }
    /// Another connection.
    void begin()
    {
        ++port_;
        next_[0] = next_[1] = 1;
    }

    /// Up to and with the server's init, of 16 by 8 pixels, of 4 bytes each; without authentication.
    void agree()
    {
        server(asBytes("RFB 003.008\n"));
        client(asBytes("RFB 003.008\n"));
        server(hex("01 01"));
        client(hex("01"));
        server(hex("00000000"));
        client(hex("01"));
        server(hex("0010 0008", pixelFormat, "00000002 6162"));
    }
    std::string infoInTurn(std::size_t frame)
    {
        EXPECT_EQ(capture.dumpOutOfTurn(frame), capture.dump(frame)) << frame;
        return capture.info(frame);
    }

    Capture capture;

private:
    std::size_t say(std::size_t way, std::uint16_t to, std::uint16_t from, Bytes payload)
    {
        const auto frame = capture.tcp(to, from, next_[way], payload);
        next_[way] += static_cast<std::uint32_t>(payload.size());
        return frame;
    }

    std::uint16_t port_ = 40000;
    std::uint32_t next_[2] = {1, 1};
};

TEST_F(Vnc, TheSidesAgreeOnVersion38WithAChallenge)
{
    EXPECT_EQ(infoInTurn(server(asBytes("RFB 003.008\n"))), "Protocol version RFB 003.008");
    EXPECT_EQ(infoInTurn(client(asBytes("RFB 003.008\n"))), "Protocol version RFB 003.008");
    EXPECT_EQ(infoInTurn(server(hex("03 02 01 13"))), "Security types: VNC authentication, none, VeNCrypt");
    EXPECT_EQ(infoInTurn(client(hex("02"))), "Security type chosen: VNC authentication");
    EXPECT_EQ(infoInTurn(server(hex(challenge))), "Authentication challenge");
    EXPECT_EQ(infoInTurn(client(hex(challenge))), "Authentication response");
    EXPECT_EQ(infoInTurn(server(hex("00000000"))), "Security result: OK");
    EXPECT_EQ(infoInTurn(client(hex("00"))), "Client init, exclusive");
    EXPECT_EQ(infoInTurn(server(hex("0400 0300", pixelFormat, "00000004 6f616b21"))),
              "Server init, 1024 × 768, 32 bits per pixel, “oak!”");
    EXPECT_EQ(infoInTurn(client(hex("00 000000", pixelFormat))), "Set pixel format, 32 bits per pixel, depth 24");
}

TEST_F(Vnc, Version33HasNoChoice)
{
    server(asBytes("RFB 003.008\n"));
    client(asBytes("RFB 003.003\n"));
    EXPECT_EQ(infoInTurn(server(hex("00000002", challenge))),
              "Security type: VNC authentication, Authentication challenge");
    EXPECT_EQ(infoInTurn(client(hex(challenge))), "Authentication response");
    EXPECT_EQ(infoInTurn(server(hex("00000002"))), "Security result: failed, too many attempts");
}

TEST_F(Vnc, Version33WithoutAuthenticationHasNoResult)
{
    server(asBytes("RFB 003.003\n"));
    client(asBytes("RFB 003.003\n"));
    EXPECT_EQ(infoInTurn(server(hex("00000001"))), "Security type: none");
    EXPECT_EQ(infoInTurn(client(hex("01"))), "Client init, shared");
}

TEST_F(Vnc, Version37WithoutAuthenticationHasNoResult)
{
    server(asBytes("RFB 003.007\n"));
    client(asBytes("RFB 003.007\n"));
    server(hex("01 01"));
    EXPECT_EQ(infoInTurn(client(hex("01 01"))), "Security type chosen: none");
    EXPECT_EQ(infoInTurn(server(hex("0010 0008", pixelFormat, "00000000"))),
              "Server init, 16 × 8, 32 bits per pixel, “”");
}

TEST_F(Vnc, ARefusalSaysWhy)
{
    server(asBytes("RFB 003.008\n"));
    client(asBytes("RFB 003.008\n"));
    EXPECT_EQ(infoInTurn(server(hex("00 00000004 62757379"))), "Security types: busy");
    EXPECT_EQ(infoInTurn(client(hex("01"))), "Data, 1 bytes");
}

TEST_F(Vnc, AFailedResultSaysWhySinceVersion38)
{
    server(asBytes("RFB 003.008\n"));
    client(asBytes("RFB 003.008\n"));
    server(hex("01 02"));
    client(hex("02"));
    server(hex(challenge));
    client(hex(challenge));
    EXPECT_EQ(infoInTurn(server(hex("00000001 00000005 77726f6e67"))), "Security result: failed: wrong");
}

TEST_F(Vnc, ASecurityTypeWithADialogueOfItsOwnIsNotReadFurther)
{
    server(asBytes("RFB 003.008\n"));
    client(asBytes("RFB 003.008\n"));
    server(hex("01 13"));
    EXPECT_EQ(infoInTurn(client(hex("13"))), "Security type chosen: VeNCrypt");
    EXPECT_EQ(infoInTurn(server(hex("00 02"))), "Data, 2 bytes");
}

TEST_F(Vnc, TheClientsMessagesTellWhatIsDone)
{
    agree();
    EXPECT_EQ(infoInTurn(client(hex("02 00 0003 00000010 ffffff11 00000001"))),
              "Set encodings: ZRLE, cursor, copy rectangle");
    EXPECT_EQ(infoInTurn(client(hex("03 01 0001 0002 0003 0004"))),
              "Framebuffer update request, incremental, 3 × 4 at 1, 2");
    EXPECT_EQ(infoInTurn(client(hex("04 01 0000 00000061 04 00 0000 0000ff0d"))),
              "Key event, a pressed (and 1 more messages)");
    EXPECT_EQ(infoInTurn(client(hex("04 00 0000 0000ff0d"))), "Key event, Return released");
    EXPECT_EQ(infoInTurn(client(hex("05 01 0003 0004"))), "Pointer event at 3, 4, buttons 0x01");
    EXPECT_EQ(infoInTurn(client(hex("06 000000 00000003 746561"))), "Client cut text “tea”");
}

TEST_F(Vnc, AMessageOverTwoSegmentsIsPutTogether)
{
    agree();
    client(hex("02 00 0002 00000010 00"));
    EXPECT_EQ(infoInTurn(client(hex("000001"))), "Set encodings: ZRLE, copy rectangle");
}

TEST_F(Vnc, TheServersMessagesTellWhatTheScreenShows)
{
    agree();
    EXPECT_EQ(infoInTurn(server(hex("02"))), "Bell");
    EXPECT_EQ(infoInTurn(server(hex("03 000000 00000003 746561"))), "Server cut text “tea”");
    EXPECT_EQ(infoInTurn(server(hex("01 00 0005 0001 000100020003"))), "Set colour map entries, 1 from 5");
    // A copied rectangle, and one pixel as it is.
    const auto update = server(hex("00 00 0002  0001 0002 0003 0004 00000001 0005 0006"
                                   "0000 0000 0001 0001 00000000 aabbccdd"));
    EXPECT_EQ(infoInTurn(update), "Framebuffer update, 2 rectangles, copy rectangle");
    EXPECT_EQ(capture.values(update, "vnc.source_x"), "5");
    EXPECT_EQ(capture.values(update, "vnc.data"), "aabbccdd");
    EXPECT_EQ(infoInTurn(server(hex("02"))), "Bell");
}

struct RectangleCase {
    std::string_view name, bytes; ///< an encoding and what follows it, of 16 by 8 pixels
};

class Rectangles : public Vnc, public testing::WithParamInterface<RectangleCase> { };

TEST_P(Rectangles, EndWhereTheirLengthsSay)
{
    agree();
    const auto bytes =
        hex("00 00 0002  0000 0000 0010 0008", GetParam().bytes, "0000 0000 0010 0008 00000001 0001 0002  02");
    const auto frame = server(bytes);
    EXPECT_EQ(capture.values(frame, "vnc.source_y"), "2");
    EXPECT_EQ(capture.values(frame, "vnc.server"), "0 (Framebuffer update); 2 (Bell)");
    EXPECT_EQ(infoInTurn(server(hex("02"))), "Bell");
}

TEST_P(Rectangles, MayBeCutAnywhereIntoTwoSegments)
{
    const auto bytes =
        hex("00 00 0002  0000 0000 0010 0008", GetParam().bytes, "0000 0000 0010 0008 00000001 0001 0002  02");
    for (std::size_t cut = 1; cut < bytes.size(); ++cut) {
        begin();
        agree();
        infoInTurn(server(Bytes(bytes).first(cut)));
        infoInTurn(server(Bytes(bytes).subspan(cut)));
        EXPECT_EQ(infoInTurn(server(hex("02"))), "Bell") << cut;
    }
}

INSTANTIATE_TEST_SUITE_P(
    Encodings, Rectangles,
    testing::Values(RectangleCase{"Rre", "00000002 00000001 00000000 00000000 0001 0001 0002 0002"},
                    RectangleCase{"CoRre", "00000004 00000001 00000000 00000000 01 01 02 02"},
                    RectangleCase{"Zlib", "00000006 00000002 789c"}, RectangleCase{"Zrle", "00000010 00000003 789c01"},
                    RectangleCase{"TightFill", "00000007 80 aabbcc"},
                    RectangleCase{"TightJpeg", "00000007 90 03 ffd8ff"},
                    RectangleCase{"TightCopy", "00000007 00 02 789c"},
                    RectangleCase{"TightPalette", "00000007 40 01 01 aabbcc ddeeff 02 789c"},
                    RectangleCase{"DesktopSize", "ffffff21"}, RectangleCase{"PointerPosition", "ffffff18"},
                    RectangleCase{"DesktopName", "fffffecd 00000003 6f616b"},
                    RectangleCase{"ExtendedDesktopSize", "fffffecc 01 000000 00000001 0000 0000 0010 0008 00000000"}),
    [](const auto& row) { return std::string(row.param.name); });

TEST_F(Vnc, PixelsOverSegmentsAreContinuations)
{
    agree();
    std::string row = "00 00 0001  0000 0000 0010 0001 00000000";
    EXPECT_EQ(infoInTurn(server(hex(row, "0001"))), "Framebuffer update, 1 rectangles, raw");
    EXPECT_EQ(infoInTurn(server(hex(std::string(100, '0')))), "Continuation, 50 bytes");
    EXPECT_EQ(infoInTurn(server(hex(std::string(24, '0'), "02"))), "Continuation, 12 bytes, Bell");
}

TEST_F(Vnc, BehindARectangleOfUnknownLengthTheNextUpdateIsFoundAgain)
{
    agree();
    const auto frame = server(hex("00 00 0001  0000 0000 0010 0008 00000005 01020304"));
    EXPECT_EQ(infoInTurn(frame), "Framebuffer update, 1 rectangles, Hextile");
    EXPECT_NE(capture.dump(frame).find("vnc.unknown_length"), std::string::npos);
    EXPECT_EQ(infoInTurn(server(hex("02"))), "Data, 1 bytes");
    EXPECT_EQ(infoInTurn(server(hex("00 00 0001  0000 0000 0010 0008 00000001 0001 0002"))),
              "Framebuffer update, 1 rectangles, copy rectangle");
    EXPECT_EQ(infoInTurn(server(hex("02"))), "Bell");
}

TEST_F(Vnc, ARectangleOutsideTheScreenIsNone)
{
    agree();
    EXPECT_EQ(infoInTurn(server(hex("00 00 0001  0001 0000 0010 0008 00000001 0001 0002"))),
              "Framebuffer update, 1 rectangles");
    EXPECT_EQ(infoInTurn(server(hex("02"))), "Data, 1 bytes");
}

TEST_F(Vnc, AfterALossNothingIsReadIntoTheMiddleOfPixels)
{
    agree();
    lose(100);
    EXPECT_EQ(infoInTurn(server(hex("7f010203"))), "Data, 4 bytes");
    EXPECT_EQ(infoInTurn(server(hex("02"))), "Data, 1 bytes");
}

TEST_F(Vnc, WhereNoHandshakeWasSeenOnlyWhatIsCertainIsTold)
{
    EXPECT_EQ(infoInTurn(client(hex("05 00 0003 0004 05 01 0003 0004"))),
              "Pointer event at 3, 4 (and 1 more messages)");
    EXPECT_EQ(infoInTurn(client(hex("01"))), "Data, 1 bytes");
    EXPECT_EQ(infoInTurn(server(hex("00000002"))), "Data, 4 bytes");
    EXPECT_EQ(infoInTurn(server(hex("02"))), "Data, 1 bytes");
    EXPECT_EQ(infoInTurn(client(hex("05 00 0003 0004 05 01 0003"))), "Data, 10 bytes");
    EXPECT_EQ(infoInTurn(server(hex("00 00 0001  0000 0000 0010 0008 00000000 01020304"))),
              "Framebuffer update, 1 rectangles, raw");
}

TEST_F(Vnc, ASegmentSentAgainChangesNothing)
{
    server(asBytes("RFB 003.008\n"));
    client(asBytes("RFB 003.008\n"));
    capture.tcp(5900, 40000, 1, asBytes("RFB 003.008\n"));
    EXPECT_EQ(infoInTurn(server(hex("01 01"))), "Security types: none");
}

TEST_F(Vnc, HostileLengthsCostNothing)
{
    agree();
    EXPECT_EQ(infoInTurn(server(hex("03 000000 80000000 746561"))), "Server cut text “tea”");
    EXPECT_EQ(infoInTurn(server(hex("0202"))), "Continuation, 2 bytes");
    EXPECT_EQ(infoInTurn(client(hex("02 00 ffff 00000010"))), "Set encodings: ZRLE");
}

TEST_F(Vnc, AServerThatCallsItsClientIsTheOneThatSpeaksFirst)
{
    capture.tcp(5500, 40000, 1, asBytes("RFB 003.003\n"));
    capture.tcp(40000, 5500, 1, asBytes("RFB 003.003\n"));
    EXPECT_EQ(capture.info(capture.tcp(5500, 40000, 13, hex("00000001"))), "Security type: none");
    EXPECT_EQ(capture.info(capture.tcp(40000, 5500, 13, hex("01"))), "Client init, shared");
}

} // namespace
} // namespace netrondo::test
