// Protocols that are found by what they say, between ports of nobody; and bytes that nobody says.
#include "Support/Dissect.h"
#include "Support/Hex.h"
#include "Support/ProtocolFrames.h"
#include "Support/Segments.h"

#include "Dissection/Decode/Dissector.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <map>
#include <random>

namespace netrondo::test {
namespace {

struct Spoken {
    std::string_view protocol; ///< its id
    Transport transport;
};

constexpr auto tcp = Transport::tcp, udp = Transport::udp;

class ForeignPorts : public testing::TestWithParam<Spoken> { };

/// The bytes of the layer and of all that it carries, up to the padding; empty without that layer over that transport.
Bytes payloadOf(const Decoded& frame, const Spoken& wanted)
{
    if (frame.frame.summary.transport != wanted.transport)
        return {};
    std::size_t from = 0, to = frame.bytes.size();
    for (const auto& node : frame.frame.tree.nodes()) {
        if (node.field->wire != Wire::layer || (node.flags & Node::derivedBytes))
            continue;
        if (node.field->id == wanted.protocol && !from)
            from = node.offset;
        if (node.field->id == "padding")
            to = node.offset;
    }
    return from ? slice(frame.bytes, from, to - from) : Bytes();
}

TEST_P(ForeignPorts, AreNoneToItsContent)
{
    const auto& row = GetParam();
    int met = 0, found = 0;
    for (const auto& sample : protocolFrames()) {
        if (sample.file != row.protocol)
            continue;
        const auto frame = decoded(sample.bytes, sample.link);
        const auto payload = payloadOf(frame, row);
        if (payload.empty())
            continue;
        ++met;
        Capture capture;
        const auto moved =
            row.transport == udp ? capture.udp(40'002, 40'000, payload) : capture.tcp(40'002, 40'000, 1, payload);
        found += capture.dump(moved).find("\n" + std::string(row.protocol) + " [") != std::string::npos;
    }
    EXPECT_GT(met, 0);
    EXPECT_GT(found, 0) << "of " << met;
}

INSTANTIATE_TEST_SUITE_P(
    Protocols, ForeignPorts,
    testing::Values(Spoken{"bfd", udp}, Spoken{"bgp", tcp}, Spoken{"bittorrent", tcp}, Spoken{"dcerpc", tcp},
                    Spoken{"dht", udp}, Spoken{"dhcp", udp}, Spoken{"dhcpv6", udp}, Spoken{"dnp3", tcp},
                    Spoken{"dns", udp}, Spoken{"dtls", udp}, Spoken{"fasttrack", udp}, Spoken{"geneve", udp},
                    Spoken{"gquic", udp}, Spoken{"gtp", udp}, Spoken{"l2tp", udp}, Spoken{"vxlan", udp},
                    Spoken{"http", tcp}, Spoken{"http2", tcp}, Spoken{"iec104", tcp}, Spoken{"ike", udp},
                    Spoken{"kerberos", tcp}, Spoken{"kerberos", udp}, Spoken{"ldap", tcp}, Spoken{"lsd", udp},
                    Spoken{"modbus", tcp}, Spoken{"mqtt", tcp}, Spoken{"nbns", udp}, Spoken{"ntp", udp},
                    Spoken{"openvpn", tcp}, Spoken{"openvpn", udp}, Spoken{"quic", udp}, Spoken{"radius", udp},
                    Spoken{"rdp", tcp}, Spoken{"rip", udp}, Spoken{"ripng", udp}, Spoken{"rpc", udp},
                    Spoken{"rtcp", udp}, Spoken{"rtp", udp}, Spoken{"sip", udp}, Spoken{"smtp", tcp},
                    Spoken{"snmp", udp}, Spoken{"socks", tcp}, Spoken{"ssdp", udp}, Spoken{"ssh", tcp},
                    Spoken{"stun", udp}, Spoken{"syslog", udp}, Spoken{"tacacs", tcp}, Spoken{"telnet", tcp},
                    Spoken{"tftp", udp}, Spoken{"tls", tcp}, Spoken{"wireguard", udp}, Spoken{"x11", tcp}),
    [](const auto& row) { return std::string(row.param.protocol) + (row.param.transport == tcp ? "Tcp" : "Udp"); });

struct Opened {
    std::string_view name, protocol, payload; ///< the column of the list; in hexadecimal
};

class ForeignServers : public testing::TestWithParam<Opened> { };

TEST_P(ForeignServers, AreKnownByHowAConversationBegins)
{
    const auto& row = GetParam();
    Capture capture;
    EXPECT_EQ(capture.protocol(capture.tcp(40'002, 40'000, 1, hex(row.payload))), row.protocol);
}

INSTANTIATE_TEST_SUITE_P(
    Protocols, ForeignServers,
    testing::Values(Opened{"Dns", "DNS", "001d 1234 0100 0001 0000 0000 0000 03 777777 07 6578616d706c65 00 0001 0001"},
                    Opened{"Ftp", "FTP", "3232302d50726f46545044 0d0a 32323020 0d0a"},
                    Opened{"Imap", "IMAP", "2a204f4b205b4341504142494c49545920494d415034726576315d 0d0a"},
                    Opened{"IrcClient", "IRC", "4e49434b20616e6e61 0d0a 5553455220616e6e6120302a203a616e6e61 0d0a"},
                    Opened{"IrcServer", "IRC", "3a6972632e6578616d706c65204e4f544943452041555448203a2a2a2a 0d0a"},
                    Opened{"Mysql", "MySQL", "4a 000000 0a 352e372e333300 08000000 0102030405060708 00 fff7 21 0200"},
                    Opened{"MysqlOfTwoDigits", "MySQL",
                           "4a 000000 0a 31312e342e3200 08000000 0102030405060708 00 fff7 21 0200"},
                    Opened{"Pop3", "POP3", "2b4f4b20504f5033 0d0a"},
                    Opened{"Postgres", "PostgreSQL", "00000011 00030000 7573657200 706700 00"},
                    Opened{"PostgresOverTls", "PostgreSQL", "00000008 04d2162f"},
                    Opened{"Redis", "Redis", "2a310d0a24340d0a50494e470d0a"},
                    Opened{"Rpc", "RPC",
                           "80000028 00000001 00000000 00000002 000186a3 00000003 00000000 00000000 00000000 "
                           "00000000 00000000"},
                    Opened{"Smb", "SMB",
                           "00000023 ff534d42 72 00000000 18 01c8 0000 0000000000000000 0000 0000 0100 0000 0100 00 "
                           "0000"},
                    Opened{"SmtpClient", "SMTP", "48454c4f206d61696c2e6578616d706c65 0d0a"},
                    Opened{"SmtpInLines", "SMTP", "3232302d6d61696c2e6578616d706c652045534d5450 0d0a 32323020 0d0a"},
                    Opened{"Vnc", "VNC", "524642203030332e303038 0a"}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(Recognition, OfBytesThatAreEncryptedIsNone)
{
    std::mt19937 random(7);
    std::vector<std::uint8_t> payload;
    std::map<std::string_view, int> claimed;
    constexpr int rounds = 20'000;
    for (int i = 0; i < rounds; ++i) {
        payload.resize(16 + random() % 1'400);
        std::ranges::generate(payload, [&] { return static_cast<std::uint8_t>(random()); });
        for (const auto transport : {tcp, udp}) {
            if (const auto* found = Dissector::application(payload, transport, 40'002, 40'000, nullptr))
                ++claimed[found->field.id];
        }
    }
    // Media of types that two ends agree on have no more than a byte and two bits that are fixed.
    EXPECT_LT(claimed["rtp"], rounds / 500);
    claimed.erase("rtp");
    for (const auto& [protocol, count] : claimed)
        ADD_FAILURE() << protocol << ": " << count;
}

TEST(Recognition, OfZerosAndOfTextIsNone)
{
    for (const std::size_t size : {12u, 24u, 48u, 64u, 512u, 1'400u}) {
        const std::vector<std::uint8_t> zeros(size), blanks(size, ' '), letters(size, 'a'), ones(size, 0xff);
        for (const auto& bytes : {zeros, blanks, letters, ones}) {
            for (const auto transport : {tcp, udp}) {
                const auto* found = Dissector::application(bytes, transport, 40'002, 40'000, nullptr);
                EXPECT_FALSE(found) << size << " of " << int{bytes[0]} << ": " << found->field.id;
            }
        }
    }
}

struct NearMiss {
    std::string_view name, payload; ///< of a datagram
};

class NearMisses : public testing::TestWithParam<NearMiss> { };

TEST_P(NearMisses, AreNothing)
{
    Capture capture;
    EXPECT_EQ(capture.protocol(capture.udp(40'002, 40'000, hex(GetParam().payload))), "UDP");
}

INSTANTIATE_TEST_SUITE_P(
    Datagrams, NearMisses,
    testing::Values(
        NearMiss{"NtpOfStratum17",
                 "23 11 06 ec 00000000 00000000 00000000 0000000000000000 0000000000000000 0000000000000000"
                 "0000000000000000"},
        NearMiss{"RadiusShorterThanItSays", "01 01 0016 00112233445566778899aabbccddeeff 01"},
        NearMiss{"RadiusWithAnAttributeOfOneByte", "01 01 0017 00112233445566778899aabbccddeeff 010161"},
        NearMiss{"Dhcpv6WithoutAClient", "01 aabbcc 0008 0002 0000"},
        NearMiss{"BfdWithoutADetectionMultiplier", "20 40 00 18 00000001 00000000 000f4240 000f4240 00000000"},
        NearMiss{"RipOfMetric17", "02 02 0000 0002 0000 0a000000 ff000000 00000000 00000011"},
        NearMiss{"RipngWithBitsBehindItsPrefix", "02 01 0000 20010db8000000000000000000000001 0000 20 01"},
        NearMiss{"IkeLongerThanItSays", "1122334455667788 0000000000000000 00 20 22 08 00000000 0000001c 00"},
        NearMiss{"GtpWithoutAnInnerPacket", "30 ff 0008 00000001 0011223344556677"},
        NearMiss{"L2tpWhoseFirstAttributeIsNoType", "c802 0014 0001 0000 0000 0000 8008 0000 0002 0001"},
        NearMiss{"VxlanWithoutAFrame", "08000000 00000100 020000000002 020000000001 1234 45000000"},
        NearMiss{"TftpErrorWithoutAnEnd", "0005 0001 46696c65206e6f7420666f756e64"},
        NearMiss{"TftpErrorOfNobodysCode", "0005 0009 46696c65206e6f7420666f756e6400"},
        NearMiss{"DhtWithKeysOutOfOrder", "64 313a79 313a71 313a74 323a6161 313a71 343a70696e67 65"},
        NearMiss{"TunnelWithATimeBeforeItsProtocol",
                 "38 c65c45b9f4c32691 e0e1e2e3e4e5e6e7e8e9eaebecedeeeff0f1f2f3"
                 "00000001 00000007 00 00000000"}),
    [](const auto& row) { return std::string(row.param.name); });

} // namespace
} // namespace netrondo::test
