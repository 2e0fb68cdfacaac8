// Session messages over segments, as servers cut them.
#include "Support/Hex.h"
#include "Support/Segments.h"

#include <gtest/gtest.h>

namespace netrondo::test {
namespace {

const auto negotiate = hex("fe534d42 4000 0000 00000000 0000 0100 01000000 00000000 0000000000000000 00000000 00000000"
                           "0000000000000000 00000000000000000000000000000000"
                           "4100 0100 1002 0000 000102030405060708090a0b0c0d0e0f 00000000 00000100 00000100 00000100"
                           "0000000000000000 0000000000000000 8000 0000 00000000");

TEST(Smb, AMessageWhoseHeadComesAloneIsPutTogether)
{
    const auto size = static_cast<std::uint8_t>(negotiate.size());
    Capture capture;
    const auto head = capture.tcp(40000, 445, 1, std::vector<std::uint8_t>{0, 0, 0, size});
    const auto frame = capture.tcp(40000, 445, 5, negotiate);
    EXPECT_EQ(capture.values(head, "smb.cmd"), "");
    EXPECT_EQ(capture.info(frame), "Negotiate response, SMB 2.1");
    EXPECT_EQ(capture.values(frame, "tcp.together"), "4");
    EXPECT_EQ(capture.dumpOutOfTurn(frame), capture.dump(frame));
}

TEST(Smb, ALongReadGoesByUpToTheNextMessage)
{
    auto bytes = hex("0000ffff");
    bytes.insert(bytes.end(), negotiate.begin(), negotiate.end());
    Capture capture;
    capture.tcp(40000, 445, 1, bytes);
    const auto sequence = static_cast<std::uint32_t>(1 + bytes.size());
    const auto rest = 4 + 0xffffu - static_cast<std::uint32_t>(bytes.size());
    const auto middle = capture.tcp(40000, 445, sequence, std::vector<std::uint8_t>(1000));
    EXPECT_EQ(capture.info(middle), "Continuation, 1000 bytes");
    EXPECT_EQ(capture.values(middle, "tcp.together"), "");
    for (std::uint32_t at = 1000; at < rest; at += 1000)
        capture.tcp(40000, 445, sequence + at, std::vector<std::uint8_t>(std::min(1000u, rest - at)));
    bytes[1] = 0, bytes[2] = 0, bytes[3] = static_cast<std::uint8_t>(negotiate.size());
    EXPECT_EQ(capture.info(capture.tcp(40000, 445, sequence + rest, bytes)), "Negotiate response, SMB 2.1");
}

} // namespace
} // namespace netrondo::test
