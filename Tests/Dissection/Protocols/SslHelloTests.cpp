// Clients of old that began with SSL 2.0 and meant TLS.
#include "Support/Hex.h"
#include "Support/Segments.h"

#include <gtest/gtest.h>

namespace netrondo::test {
namespace {

constexpr std::string_view challenge = "000102030405060708090a0b0c0d0e0f";

TEST(SslHello, IsAClientHelloWithItsVersionAndCiphers)
{
    Capture capture;
    const auto hello = capture.tcp(443, 40000, 1, hex("801f 01 0300 0006 0000 0010 000004 010080", challenge));
    const auto answer = capture.tcp(40000, 443, 1, hex("15 0300 0002 0228"));
    EXPECT_EQ(capture.protocol(hello), "TLS");
    EXPECT_EQ(capture.info(hello), "Client Hello");
    EXPECT_EQ(capture.values(hello, "tls.ver"), "0x0300 (SSL 3.0)");
    EXPECT_EQ(capture.values(hello, "tls.suite"), "0x0004 (TLS_RSA_WITH_RC4_128_MD5)");
    EXPECT_EQ(capture.values(hello, "tls.ssl2.spec"), "0x010080 (SSL2_RC4_128_WITH_MD5)");
    EXPECT_EQ(capture.values(hello, "tls.ssl2.challenge"), challenge);
    EXPECT_EQ(capture.info(answer), "Alert (fatal, handshake_failure)");
}

TEST(SslHello, IsKnownByItsContentOnAnyPort)
{
    Capture capture;
    const auto hello = capture.tcp(40001, 40000, 1, hex("802c 01 0301 0003 0010 0010 00002f", challenge, challenge));
    EXPECT_EQ(capture.protocol(hello), "TLS");
    EXPECT_EQ(capture.values(hello, "tls.ssl2.session_id"), challenge);
}

TEST(SslHello, OverTwoSegmentsIsPutTogether)
{
    Capture capture;
    const auto whole = hex("801f 01 0300 0006 0000 0010 000004 010080", challenge);
    const auto first = capture.tcp(443, 40000, 1, Bytes(whole).first(14));
    const auto second = capture.tcp(443, 40000, 15, Bytes(whole).subspan(14));
    EXPECT_EQ(capture.values(first, "tls.ssl2.challenge"), "");
    EXPECT_EQ(capture.info(second), "Client Hello");
    EXPECT_EQ(capture.values(second, "tls.ssl2.challenge"), challenge);
    EXPECT_EQ(capture.dumpOutOfTurn(second), capture.dump(second));
}

struct OtherBytes {
    std::string_view name, bytes;
};

class NoSslHello : public testing::TestWithParam<OtherBytes> { };

TEST_P(NoSslHello, IsWhatDoesNotAddUp)
{
    Capture capture;
    const auto frame = capture.tcp(40001, 40000, 1, hex(GetParam().bytes, challenge));
    EXPECT_EQ(capture.protocol(frame), "TCP");
}

INSTANTIATE_TEST_SUITE_P(Heads, NoSslHello,
                         testing::Values(OtherBytes{"Length", "8020 01 0300 0006 0000 0010 000004 010080"},
                                         OtherBytes{"Type", "801f 04 0300 0006 0000 0010 000004 010080"},
                                         OtherBytes{"Version", "801f 01 0400 0006 0000 0010 000004 010080"},
                                         OtherBytes{"HalfASpecification", "801d 01 0300 0004 0000 0010 000004 01"},
                                         OtherBytes{"NoSpecification", "8019 01 0300 0000 0000 0010"},
                                         OtherBytes{"ShortChallenge", "8027 01 0300 0006 0010 0008 000004 010080 0001"},
                                         OtherBytes{"OddSession", "8020 01 0300 0006 0001 0010 000004 010080 01"}),
                         [](const auto& row) { return std::string(row.param.name); });

} // namespace
} // namespace netrondo::test
