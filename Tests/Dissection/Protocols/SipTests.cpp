// Messages of SIP and RTSP in a stream, where only their length tells where they end.
#include "Support/Hex.h"
#include "Support/Segments.h"

#include <gtest/gtest.h>

namespace netrondo::test {
namespace {

constexpr std::string_view ringing = "SIP/2.0 180 Ringing\r\nCSeq: 1 INVITE\r\nContent-Length: 0\r\n\r\n";
constexpr std::string_view answer = "SIP/2.0 200 OK\r\nCSeq: 1 INVITE\r\nContent-Type: application/sdp\r\n"
                                    "Content-Length: 25\r\n\r\n";
constexpr std::string_view offer = "v=0\r\nm=audio 4000 RTP 0\r\n";

std::string text(std::initializer_list<std::string_view> parts)
{
    std::string all;
    for (const auto part : parts)
        all += part;
    return all;
}

TEST(Sip, AnAnswerNamesWhatItAnswers)
{
    Capture capture;
    EXPECT_EQ(capture.info(capture.udp(5060, 40000, asBytes(ringing))), "SIP/2.0 180 Ringing (INVITE)");
}

TEST(Sip, TwoMessagesOfASegmentAreTwo)
{
    Capture capture;
    const auto frame = capture.tcp(40000, 5060, 1, asBytes(text({ringing, ringing})));
    EXPECT_EQ(capture.info(frame), "SIP/2.0 180 Ringing (INVITE) (and 1 more messages)");
    EXPECT_EQ(capture.values(frame, "sip.body"), "");
}

TEST(Sip, ABodyInTheNextSegmentIsPutToItsHeaders)
{
    Capture capture;
    capture.tcp(40000, 5060, 1, asBytes(text({answer, offer.substr(0, 10)})));
    const auto sequence = static_cast<std::uint32_t>(1 + answer.size() + 10);
    const auto frame = capture.tcp(40000, 5060, sequence, asBytes(text({offer.substr(10), ringing})));
    EXPECT_EQ(capture.values(frame, "sdp.media"), "m=audio 4000 RTP 0");
    EXPECT_EQ(capture.values(frame, "sip.start"), "SIP/2.0 200 OK; SIP/2.0 180 Ringing");
}

TEST(Sip, ABodyOfADatagramReachesToItsEndWhereNothingIsSaid)
{
    Capture capture;
    const auto frame = capture.udp(5060, 40000, asBytes("MESSAGE sip:a@b SIP/2.0\r\nCSeq: 1 MESSAGE\r\n\r\nhello"));
    EXPECT_EQ(capture.values(frame, "sip.body"), "hello");
}

TEST(Sip, ABodyLongerThanItsDatagramEndsWithIt)
{
    Capture capture;
    const auto frame = capture.udp(5060, 40000, asBytes("MESSAGE sip:a@b SIP/2.0\r\nContent-Length: 50\r\n\r\nhello"));
    EXPECT_EQ(capture.values(frame, "sip.body"), "hello");
}

TEST(Rtsp, MediaBetweenTheMessagesAreTakenOut)
{
    Capture capture;
    auto bytes = hex("24 00 0004 80600001");
    const auto reply = asBytes("RTSP/1.0 200 OK\r\nCSeq: 2\r\n\r\n");
    bytes.insert(bytes.end(), reply.begin(), reply.end());
    const auto frame = capture.tcp(40000, 554, 1, bytes);
    EXPECT_EQ(capture.values(frame, "sip.interleaved_data"), "80600001");
    EXPECT_EQ(capture.info(frame), "RTSP/1.0 200 OK");
    const auto media = capture.tcp(40000, 554, static_cast<std::uint32_t>(1 + bytes.size()), hex("24 01 0002 80c8"));
    EXPECT_EQ(capture.info(media), "Interleaved data, channel 1, 2 bytes");
}

} // namespace
} // namespace netrondo::test
