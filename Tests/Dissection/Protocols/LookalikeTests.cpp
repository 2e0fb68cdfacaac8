// Messages on ports of nobody: what makes them known, and what keeps others from being taken for them.
#include "Support/Hex.h"
#include "Support/Segments.h"

#include <gtest/gtest.h>

namespace netrondo::test {
namespace {

struct Datagram {
    std::string_view name, bytes, protocol;
};

class Lookalike : public testing::TestWithParam<Datagram> { };

TEST_P(Lookalike, IsTakenForWhatItIs)
{
    Capture capture;
    EXPECT_EQ(capture.protocol(capture.udp(49153, 40000, hex(GetParam().bytes))), GetParam().protocol);
}

#define NR_CALL(start, size)                                                                                           \
    start "00 10000000 00000000000000000000000000000000 f8917b5a00ffd011a9b200c04fb6e6fc"                              \
          "000102030405060708090a0b0c0d0e0f 00000000 01000000 00000000 0000 ffff ffff " size " 0000 00 00"

INSTANTIATE_TEST_SUITE_P(
    Messages, Lookalike,
    testing::Values(Datagram{"TftpError", "0005 0001 46696c65206e6f7420666f756e64 00", "TFTP"},
                    Datagram{"TftpErrorWithAnotherCode", "0005 0009 46696c65206e6f7420666f756e64 00", "UDP"},
                    Datagram{"TftpErrorWithoutAnEnd", "0005 0001 46696c65206e6f7420666f756e64", "UDP"},
                    Datagram{"TftpErrorWithMoreBehindIt", "0005 0001 46696c65 00 6e6f7420666f756e64 00", "UDP"},
                    Datagram{"TftpErrorThatIsNoText", "0005 0001 46018002 00", "UDP"},
                    Datagram{"TftpErrorThatSaysNothing", "0005 0001 00 00 00 00", "UDP"},
                    Datagram{"Call", NR_CALL("04 00 28", "0000"), "DCE/RPC"},
                    Datagram{"CallOfAnotherVersion", NR_CALL("03 00 28", "0000"), "UDP"},
                    Datagram{"CallOfAnUnknownKind", NR_CALL("04 0b 28", "0000"), "UDP"},
                    Datagram{"CallWithUnknownFlags", NR_CALL("04 00 81", "0000"), "UDP"},
                    Datagram{"CallWhoseBodyIsMissing", NR_CALL("04 00 28", "0100"), "UDP"},
                    Datagram{"Printer", "424a4e50 01 01 0000 0000 0000 00000000", "BJNP"},
                    Datagram{"PrinterCutShort", "424a4e50 01 01 0000 0000 0000 000000", "UDP"}),
    [](const auto& row) { return std::string(row.param.name); });

#undef NR_CALL

} // namespace
} // namespace netrondo::test
