// Frames in their order: messages over several segments, datagrams over several fragments, tables that grow.
#include "Support/Hex.h"
#include "Support/Segments.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

namespace netrondo::test {
namespace {

const auto dnsQuery = hex("0020 1234 0100 0001 0000 0000 0000 07 6578616d706c65 06 6f66666963 65 00 0001 0001");
constexpr std::string_view request = "GET /list HTTP/1.1\r\nHost: shop.example\r\nUser-Agent: probe\r\n\r\n";

TEST(DecodeSession, AMessageOverTwoSegmentsIsDecodedInTheSecond)
{
    Capture capture;
    capture.tcp(53, 40000, 100, Bytes(dnsQuery).first(20));
    const auto frame = capture.tcp(53, 40000, 120, Bytes(dnsQuery).subspan(20));
    EXPECT_EQ(capture.info(frame), "Query 0x1234 A example.office");
    EXPECT_EQ(capture.values(frame, "dns.q"), "example.office");
    EXPECT_EQ(capture.values(frame, "tcp.together"), "20");
}

TEST(DecodeSession, AMessageIsAwaitedOverAsManySegmentsAsItTakes)
{
    Capture capture;
    for (std::size_t at = 0; at + 1 < dnsQuery.size(); ++at)
        capture.tcp(53, 40000, static_cast<std::uint32_t>(at), Bytes(dnsQuery).subspan(at, 1));
    const auto last = dnsQuery.size() - 1;
    const auto frame = capture.tcp(53, 40000, static_cast<std::uint32_t>(last), Bytes(dnsQuery).subspan(last));
    EXPECT_EQ(capture.values(frame, "dns.q"), "example.office");
}

struct SecondSegment {
    std::string_view name;
    std::uint32_t first;    ///< sequence number of the query's first 20 bytes, from port 40000 to 53
    std::uint16_t to, from; ///< ports of the second segment
    std::uint32_t second;   ///< its sequence number
    std::size_t start;      ///< where in the query it begins
    std::string_view question, together;
};

class SecondSegments : public testing::TestWithParam<SecondSegment> { };

TEST_P(SecondSegments, GoOnWithTheMessageOrNot)
{
    const auto& row = GetParam();
    Capture capture;
    capture.tcp(53, 40000, row.first, Bytes(dnsQuery).first(20));
    const auto frame = capture.tcp(row.to, row.from, row.second, Bytes(dnsQuery).subspan(row.start));
    EXPECT_EQ(capture.values(frame, "dns.q"), row.question);
    EXPECT_EQ(capture.values(frame, "tcp.together"), row.together);
}

INSTANTIATE_TEST_SUITE_P(Segments, SecondSegments,
                         testing::Values(SecondSegment{"Follows", 100, 53, 40000, 120, 20, "example.office", "20"},
                                         SecondSegment{"FollowsBeyondTheLastSequenceNumber", 0xfffffff0, 53, 40000, 4,
                                                       20, "example.office", "20"},
                                         SecondSegment{"LeavesAGap", 100, 53, 40000, 125, 25, "", ""},
                                         SecondSegment{"GoesTheOtherWay", 100, 40000, 53, 120, 20, "", ""}),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(DecodeSession, ASegmentThatComesBeforeTheOneItFollowsIsPutBehindIt)
{
    Capture capture;
    const Bytes query(dnsQuery);
    capture.tcp(53, 40000, 100, query.first(10));
    const auto last = capture.tcp(53, 40000, 125, query.subspan(25));
    const auto third = capture.tcp(53, 40000, 118, query.subspan(18, 7));
    const auto second = capture.tcp(53, 40000, 110, query.subspan(10, 8));
    EXPECT_EQ(capture.values(last, "dns.q") + capture.values(third, "dns.q"), "");
    EXPECT_EQ(capture.info(last), "Continuation, 9 bytes");
    EXPECT_EQ(capture.info(second), "Query 0x1234 A example.office");
    EXPECT_EQ(capture.values(second, "tcp.together"), "26");
    EXPECT_EQ(capture.dumpOutOfTurn(second), capture.dump(second));
    const auto next = capture.tcp(53, 40000, 100 + static_cast<std::uint32_t>(query.size()), query);
    EXPECT_EQ(capture.values(next, "dns.q"), "example.office") << "the stream goes on behind the last one";
}

TEST(DecodeSession, ASegmentThatIsLostForGoodDoesNotHoldTheOthersUpForLong)
{
    Capture capture;
    const Bytes query(dnsQuery);
    capture.tcp(53, 40000, 100, query.first(10));
    auto sequence = 120u;
    for (std::size_t i = 0; i <= DecodeSession::maxEarly; ++i, sequence += static_cast<std::uint32_t>(query.size()))
        capture.tcp(53, 40000, sequence, query);
    const auto after = capture.tcp(53, 40000, sequence, query);
    EXPECT_EQ(capture.values(after, "dns.q"), "example.office");
}

/// The query cut in three, its pieces sent in some order behind what makes their numbers known.
struct EarlyPieces {
    std::string_view name;
    bool isAfterSyn;         ///< else after a whole query
    std::string_view order;  ///< of the pieces
    std::string_view toldAt; ///< the piece that comes last, and completes the query
};

class EarlySegments : public testing::TestWithParam<EarlyPieces> { };

TEST_P(EarlySegments, ArePutBehindTheLateOneThatTheyFollow)
{
    const auto& row = GetParam();
    const Bytes query(dnsQuery);
    Capture capture;
    auto begin = 100u;
    if (row.isAfterSyn) {
        capture.tcp(53, 40000, begin++, {}, 0x02);
        capture.tcp(40000, 53, 7000, {}, 0x12);
    } else {
        capture.tcp(53, 40000, begin, query);
        begin += static_cast<std::uint32_t>(query.size());
    }
    const Bytes pieces[] = {query.first(10), query.subspan(10, 8), query.subspan(18)};
    const std::uint32_t offsets[] = {0, 10, 18};
    for (const char piece : row.order) {
        const auto number = static_cast<std::size_t>(piece - '1');
        const auto frame = capture.tcp(53, 40000, begin + offsets[number], pieces[number]);
        EXPECT_EQ(capture.values(frame, "dns.q") == "example.office", piece == row.toldAt[0]) << piece;
        EXPECT_EQ(capture.dumpOutOfTurn(frame), capture.dump(frame)) << piece;
    }
    const auto next = capture.tcp(53, 40000, begin + static_cast<std::uint32_t>(query.size()), query.first(20));
    const auto end = capture.tcp(53, 40000, begin + static_cast<std::uint32_t>(query.size()) + 20, query.subspan(20));
    EXPECT_EQ(capture.values(next, "dns.q"), "");
    EXPECT_EQ(capture.values(end, "dns.q"), "example.office") << "the stream goes on behind them";
}

INSTANTIATE_TEST_SUITE_P(Orders, EarlySegments,
                         testing::Values(EarlyPieces{"FirstLast", true, "231", "1"},
                                         EarlyPieces{"Backwards", true, "321", "1"},
                                         EarlyPieces{"LastFirst", true, "312", "2"},
                                         EarlyPieces{"SecondFirst", true, "213", "3"},
                                         EarlyPieces{"FirstLastAfterAMessage", false, "231", "1"},
                                         EarlyPieces{"BackwardsAfterAMessage", false, "321", "1"},
                                         EarlyPieces{"SecondFirstAfterAMessage", false, "213", "3"},
                                         EarlyPieces{"OneOfThemTwice", true, "2331", "1"}),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(DecodeSession, WholeMessagesInTheWrongOrderAreToldOnceEach)
{
    const auto size = static_cast<std::uint32_t>(dnsQuery.size());
    Capture capture;
    capture.tcp(53, 40000, 99, {}, 0x02);
    const auto second = capture.tcp(53, 40000, 100 + size, dnsQuery);
    const auto first = capture.tcp(53, 40000, 100, dnsQuery);
    const auto third = capture.tcp(53, 40000, 100 + 2 * size, dnsQuery);
    for (const auto frame : {first, second, third}) {
        EXPECT_EQ(capture.values(frame, "dns.q"), "example.office");
        EXPECT_EQ(capture.values(frame, "tcp.together"), "");
        EXPECT_EQ(capture.dumpOutOfTurn(frame), capture.dump(frame));
    }
}

TEST(DecodeSession, ABodyThatCameBeforeItsHeadersGoesBy)
{
    const std::string head = "HTTP/1.1 200 OK\r\nContent-Length: 3000\r\n\r\n", body(1000, 'x');
    const auto at = static_cast<std::uint32_t>(1 + head.size());
    Capture capture;
    capture.tcp(40000, 80, 0, {}, 0x12);
    capture.tcp(40000, 80, at, asBytes(body));
    const auto first = capture.tcp(40000, 80, 1, asBytes(head));
    EXPECT_EQ(capture.values(first, "http.status"), "200");
    capture.tcp(40000, 80, at + 1000, asBytes(body));
    const auto last = capture.tcp(40000, 80, at + 2000, asBytes(body + "HTTP/1.1 404 Not Found\r\n\r\n"));
    EXPECT_EQ(capture.info(last), "Continuation, 1000 bytes, HTTP/1.1 404 Not Found");
}

TEST(DecodeSession, WhatFollowsALostSegmentIsFollowedAtOnce)
{
    const Bytes query(dnsQuery);
    Capture capture;
    capture.tcp(53, 40000, 99, {}, 0x02);
    auto sequence = 1000u; // what lies before never comes
    for (std::size_t i = 0; i < 2 * DecodeSession::maxEarly; ++i) {
        capture.tcp(53, 40000, sequence, query.first(20));
        const auto frame = capture.tcp(53, 40000, sequence + 20, query.subspan(20));
        EXPECT_EQ(capture.values(frame, "dns.q"), "example.office") << i;
        sequence += static_cast<std::uint32_t>(query.size());
    }
    // By now nobody waits for it any more.
    const auto late = capture.tcp(53, 40000, 100, query.first(20));
    EXPECT_EQ(capture.values(late, "tcp.together"), "");
}

TEST(DecodeSession, NumbersFarBackAreThoseOfAnotherConnection)
{
    const Bytes query(dnsQuery);
    Capture capture;
    capture.tcp(53, 40000, 0x40000000, query);
    capture.tcp(53, 40000, 100, query.first(20));
    const auto frame = capture.tcp(53, 40000, 120, query.subspan(20));
    EXPECT_EQ(capture.values(frame, "dns.q"), "example.office");
}

TEST(DecodeSession, ConnectionsThatWaitForNothingAreForgottenInTime)
{
    DecodeSession session;
    const auto place = [](std::uint32_t host) {
        return ConnectionPlace::of(Transport::tcp, Address::ipv4(host), 40000, Address::ipv4(0x0a000001), 80);
    };
    session.begin(place(0x0a010000), 1, false);
    EXPECT_FALSE(session.isFollowing(place(0x0a010000), 1));
    EXPECT_TRUE(session.isFollowing(place(0x0a010000), 2)) << "it leaves a gap";
    for (std::uint32_t i = 1; i <= DecodeSession::maxIdle; ++i)
        session.begin(place(0x0a010000 + i), 1, false);
    EXPECT_FALSE(session.isFollowing(place(0x0a010000), 2));
    EXPECT_TRUE(session.isFollowing(place(0x0a010000 + DecodeSession::maxIdle), 2));
}

TEST(DecodeSession, HeadersOverTwoSegmentsAreReadTogether)
{
    Capture capture;
    capture.tcp(80, 40000, 1, asBytes(request.substr(0, 25)));
    const auto frame = capture.tcp(80, 40000, 26, asBytes(request.substr(25)));
    EXPECT_EQ(capture.values(frame, "http.host"), "shop.example");
    EXPECT_EQ(capture.values(frame, "http.ua"), "probe");
}

TEST(DecodeSession, ARepeatedSegmentLeavesTheMessageAlone)
{
    Capture capture;
    capture.tcp(53, 40000, 100, Bytes(dnsQuery).first(20));
    capture.tcp(53, 40000, 100, Bytes(dnsQuery).first(20));
    const auto frame = capture.tcp(53, 40000, 120, Bytes(dnsQuery).subspan(20));
    EXPECT_EQ(capture.values(frame, "dns.q"), "example.office");
}

TEST(DecodeSession, ANewConnectionOfTheSamePortsBeginsAfresh)
{
    Capture capture;
    capture.tcp(53, 40000, 100, Bytes(dnsQuery).first(20));
    capture.tcp(53, 40000, 119, {}, 0x02);
    const auto frame = capture.tcp(53, 40000, 120, Bytes(dnsQuery).subspan(20));
    EXPECT_EQ(capture.values(frame, "tcp.together"), "");
}

TEST(DecodeSession, ALongBodyGoesByUpToTheNextMessage)
{
    Capture capture;
    const std::string head = "HTTP/1.1 200 OK\r\nContent-Length: 3000\r\n\r\n";
    capture.tcp(40000, 80, 1, asBytes(head));
    const std::string body(2000, 'x'), end = std::string(1000, 'y') + "HTTP/1.1 404 Not Found\r\n\r\n";
    const auto at = static_cast<std::uint32_t>(1 + head.size());
    const auto middle = capture.tcp(40000, 80, at, asBytes(body));
    const auto last = capture.tcp(40000, 80, at + 2000, asBytes(end));
    EXPECT_EQ(capture.info(middle), "Continuation, 2000 bytes");
    EXPECT_EQ(capture.info(last), "Continuation, 1000 bytes, HTTP/1.1 404 Not Found");
    EXPECT_EQ(capture.values(last, "http.status"), "404");
}

TEST(DecodeSession, ALostSegmentWithinABodyDoesNoHarm)
{
    Capture capture;
    const std::string head = "HTTP/1.1 200 OK\r\nContent-Length: 3000\r\n\r\n";
    capture.tcp(40000, 80, 1, asBytes(head));
    const std::string end = std::string(1000, 'y') + "HTTP/1.1 404 Not Found\r\n\r\n";
    const auto last = capture.tcp(40000, 80, static_cast<std::uint32_t>(1 + head.size()) + 2000, asBytes(end));
    EXPECT_EQ(capture.values(last, "http.status"), "404");
}

TEST(DecodeSession, AnAnswerWithoutItsAnnouncedBodyIsFollowedByTheNext)
{
    Capture capture;
    const std::string head = "HTTP/1.1 200 OK\r\nContent-Length: 3000\r\n\r\n"; // to a HEAD request
    capture.tcp(40000, 80, 1, asBytes(head));
    const auto next = capture.tcp(40000, 80, static_cast<std::uint32_t>(1 + head.size()), asBytes(head));
    EXPECT_EQ(capture.values(next, "http.status"), "200");
}

TEST(DecodeSession, AProtocolOnceKnownByContentStaysWithTheConnection)
{
    Capture capture;
    const auto hello = hex("16 0303 0004 0e000000"); // Server Hello Done on a port that says nothing
    const auto first = capture.tcp(40000, 40001, 1, hello);
    const auto later = capture.tcp(40000, 40001, 10, hex("99887766 55443322"));
    EXPECT_EQ(capture.protocol(first), "TLS");
    EXPECT_EQ(capture.protocol(later), "TLS");
}

TEST(DecodeSession, AMarkerOfBgpIsOneOnlyBeforeAMessage)
{
    const std::string marker(32, 'f');
    for (const auto& [behind, protocol] : {std::pair{"0013 04", "BGP"},
                                           {"0012 04", "TCP"},
                                           {"0013 00", "TCP"},
                                           {"0013 06", "TCP"},
                                           {"ffff ff", "TCP"}}) {
        Capture capture;
        EXPECT_EQ(capture.protocol(capture.tcp(40000, 40001, 1, hex(marker + behind))), protocol) << behind;
    }
}

TEST(DecodeSession, ALineOfAChatIsAwaitedToItsEnd)
{
    Capture capture;
    const auto part = capture.tcp(40000, 6667, 1, asBytes(":anna PRIV"));
    const auto whole = capture.tcp(40000, 6667, 11, asBytes("MSG #net :hello\r\n"));
    EXPECT_EQ(capture.info(part), "Part of a line");
    EXPECT_EQ(capture.info(whole), ":anna PRIVMSG #net :hello");
    EXPECT_EQ(capture.info(capture.tcp(40000, 6667, 28, hex("0001 0203"))), "Data, 4 bytes");
}

TEST(DecodeSession, ATransferByTftpThatIsRefusedIsKnownByItsError)
{
    Capture capture;
    const auto refused = capture.udp(49153, 58496, hex("0005 0001 46696c65204e6f7420466f756e64 00"));
    EXPECT_EQ(capture.protocol(refused), "TFTP");
}

TEST(DecodeSession, ATransferByTftpIsKnownByItsBeginning)
{
    const std::vector<std::uint8_t> rest(512);
    auto agreement = hex("0006"), block = hex("0003 0001");
    for (const char c : std::string_view("blksize\0001432\0", 13))
        agreement.push_back(static_cast<std::uint8_t>(c));
    block.insert(block.end(), rest.begin(), rest.end());
    for (const auto& beginning : {agreement, block}) {
        Capture capture;
        const auto acknowledged = hex("0004 0001");
        EXPECT_EQ(capture.protocol(capture.udp(40000, 1024, acknowledged)), "UDP") << "four bytes tell nothing";
        EXPECT_EQ(capture.protocol(capture.udp(1024, 40000, beginning)), "TFTP");
        const auto answer = capture.udp(40000, 1024, acknowledged);
        EXPECT_EQ(capture.info(answer), "Acknowledgment, block 1");
    }
    block.pop_back();
    Capture capture;
    EXPECT_EQ(capture.protocol(capture.udp(1024, 40000, block)), "UDP") << "a first block is a full one";
}

struct Greeting {
    std::string_view name, greeting, answer, info, protocol;
};

class Greetings : public testing::TestWithParam<Greeting> { };

TEST_P(Greetings, TellWhatAConnectionBetweenPortsOfNobodySpeaks)
{
    const auto& row = GetParam();
    Capture capture;
    capture.tcp(40000, 40001, 1, asBytes(row.greeting));
    const auto answer = capture.tcp(40001, 40000, 1, asBytes(row.answer));
    EXPECT_EQ(capture.protocol(answer), row.protocol);
    EXPECT_EQ(capture.info(answer), row.info);
}

INSTANTIATE_TEST_SUITE_P(
    Protocols, Greetings,
    testing::Values(Greeting{"Ftp", "220 FTP server ready\r\n", "USER anna\r\n", "Request: USER anna", "FTP"},
                    Greeting{"Smtp", "220 mail.example ESMTP\r\n", "RSET\r\n", "Request: RSET", "SMTP"},
                    Greeting{"Imap", "* OK IMAP4rev1 ready\r\n", "a1 LIST \"\" *\r\n", "Request: a1 LIST \"\" *",
                             "IMAP"},
                    Greeting{"Pop3", "+OK POP3 ready\r\n", "USER anna\r\n", "Request: USER anna", "POP3"},
                    Greeting{"Telnet", "\xff\xfd\x18\xff\xfd\x20", "\xff\xfb\x18", "WILL terminal type", "Telnet"},
                    Greeting{"OfNobody", "220 ready\r\n", "USER anna\r\n",
                             "40000 → 40001 [PSH, ACK] Seq=1 Ack=0 Win=29200 Len=11", "TCP"}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(DecodeSession, AHandshakeMessageOverSeveralRecordsIsPutTogether)
{
    Capture capture;
    // A key exchange of 8 bytes, four of them in each record.
    const auto frame = capture.tcp(443, 40000, 1, hex("16 0303 0008 0c000008 01020304  16 0303 0004 05060708"));
    EXPECT_EQ(capture.values(frame, "tls.hs"), "12 (Server Key Exchange)");
    EXPECT_EQ(capture.values(frame, "tls.handshake_body"), "0102030405060708");
    const auto first = capture.tcp(443, 40001, 1, hex("16 0303 0008 0c000008 01020304"));
    const auto second = capture.tcp(443, 40001, 14, hex("16 0303 0004 05060708"));
    EXPECT_EQ(capture.values(first, "tls.hs"), "");
    EXPECT_EQ(capture.values(second, "tls.handshake_body"), "0102030405060708");
}

TEST(DecodeSession, AHandshakeMessageOverSeveralDatagramsIsPutTogether)
{
    constexpr std::string_view record = "16 feff 0000 0000000000";
    Capture capture;
    // Bytes 3 to 6 of a hello verify request before bytes 0 to 2.
    const auto tail = capture.udp(40000, 4433, hex(record, "01 0010 03 000007 0000 000003 000004 aabbccdd"));
    EXPECT_EQ(capture.values(tail, "tls.cookie_len"), "");
    const auto whole = capture.udp(40000, 4433, hex(record, "02 000f 03 000007 0000 000000 000003 feff04"));
    EXPECT_EQ(capture.values(whole, "tls.cookie_len"), "4");
    EXPECT_EQ(capture.info(whole), "Hello Verify Request");
    EXPECT_EQ(capture.dumpOutOfTurn(whole), capture.dump(whole));
    // The other way has pieces of its own.
    const auto other = capture.udp(4433, 40000, hex(record, "01 0010 03 000007 0000 000003 000004 aabbccdd"));
    EXPECT_EQ(capture.values(other, "tls.hs"), "3 (Hello Verify Request)");
}

TEST(DecodeSession, FragmentsInAnyOrderBecomeOneDatagram)
{
    const auto udp = hex("0035 9c40 0028 0000 1234 0100 0001 0000 0000 0000 07 6578616d706c65 06 6f66666963 65 00 0001"
                         "0001");
    for (const bool reversed : {false, true}) {
        Capture capture;
        capture.fragment(7, reversed ? 16 : 0, !reversed, reversed ? Bytes(udp).subspan(16) : Bytes(udp).first(16));
        const auto frame =
            capture.fragment(7, reversed ? 0 : 16, reversed, reversed ? Bytes(udp).first(16) : Bytes(udp).subspan(16));
        EXPECT_EQ(capture.values(frame, "dns.q"), "example.office");
        EXPECT_EQ(capture.values(frame, "ip.together"), "40");
    }
}

TEST(DecodeSession, FragmentsOfDifferentDatagramsStayApart)
{
    const auto udp = hex("0035 9c40 0028 0000 1234 0100 0001 0000 0000 0000 07 6578616d706c65 06 6f66666963 65 00 0001"
                         "0001");
    Capture capture;
    capture.fragment(7, 0, true, Bytes(udp).first(16));
    const auto frame = capture.fragment(8, 16, false, Bytes(udp).subspan(16));
    EXPECT_EQ(capture.values(frame, "ip.together"), "");
}

TEST(DecodeSession, HeadersOfHttp2KnowTheOnesBefore)
{
    Capture capture;
    // SETTINGS, then HEADERS with a literal "x-a: b" that goes into the table (RFC 7541, 6.2.1).
    capture.tcp(40001, 80, 1, hex("000000 04 00 00000000  000008 01 04 00000001 40 03 782d61 01 62 82"));
    // A header block that is the table's newest entry and nothing else.
    const auto frame = capture.tcp(40001, 80, 27, hex("000001 01 04 00000003 be"));
    EXPECT_EQ(capture.values(frame, "http2.header"), "x-a: b");
    EXPECT_EQ(capture.dumpOutOfTurn(frame), capture.dump(frame));
}

TEST(DecodeSession, ATableWhoseBeginningIsMissingIsNotUsed)
{
    Capture capture;
    capture.tcp(40001, 80, 1, hex("000008 01 04 00000001 40 03 782d61 01 62 82"));
    const auto frame = capture.tcp(40001, 80, 18, hex("000001 01 04 00000003 be"));
    EXPECT_EQ(capture.values(frame, "http2.header"), "");
}

TEST(DecodeSession, AReplySaysWhatItsCallAskedFor)
{
    Capture capture;
    capture.udp(2049, 40000,
                hex("11223344 00000000 00000002 000186a3 00000003 00000001 00000000 00000000 00000000 00000000"
                    "00000004 01020304"));
    const auto frame = capture.udp(40000, 2049, hex("11223344 00000001 00000000 00000000 00000000 00000000 00000046"));
    EXPECT_EQ(capture.info(frame), "NFS v3 GETATTR Reply xid=0x11223344, STALE");
    EXPECT_EQ(capture.dumpOutOfTurn(frame), capture.dump(frame));
    const auto stranger =
        capture.udp(40000, 2049, hex("11223345 00000001 00000000 00000000 00000000 00000000 00000046"));
    EXPECT_EQ(capture.values(stranger, "rpc.program"), "");
}

TEST(DecodeSession, ACallNamesTheInterfaceThatItsContextWasBoundTo)
{
    Capture capture;
    capture.tcp(40002, 40000, 1,
                hex("05 00 0b 03 10000000 4800 0000 01000000 b810 b810 00000000 01 000000 0000 01 00"
                    "c84f324b 7016 d301 1278 5a47bf6ee188 03000000 045d888a eb1c c911 9fe8 08002b104860 02000000"));
    const auto frame = capture.tcp(40002, 40000, 73, hex("05 00 00 03 10000000 1800 0000 02000000 00000000 0000 0f00"));
    EXPECT_EQ(capture.info(frame), "Request SRVSVC operation 15, call 2");
    EXPECT_EQ(capture.dumpOutOfTurn(frame), capture.dump(frame));
}

TEST(DecodeSession, FragmentsOfAnEapMethodsTlsArePutTogether)
{
    Capture capture;
    // A key exchange of 17 bytes, eight of them in the first fragment; the other side asks for more in between.
    const auto first =
        capture.add(hex("020000000002 020000000001 888e 02 00 0012 01 01 0012 0d c0 00000011  16 0303 000c 0c0000"));
    capture.add(hex("020000000001 020000000002 888e 02 00 0006 02 01 0006 0d 00"));
    const auto second =
        capture.add(hex("020000000002 020000000001 888e 02 00 000f 01 02 000f 0d 00  08 0102030405060708"));
    const auto repeated =
        capture.add(hex("020000000002 020000000001 888e 02 00 000f 01 02 000f 0d 00  08 0102030405060708"));
    EXPECT_EQ(capture.values(first, "tls.handshake_body"), "");
    EXPECT_EQ(capture.values(second, "tls.hs"), "12 (Server Key Exchange)");
    EXPECT_EQ(capture.values(second, "tls.handshake_body"), "0102030405060708");
    EXPECT_EQ(capture.info(second), "Request, TLS, Server Key Exchange");
    EXPECT_EQ(capture.values(repeated, "tls.hs"), "");
    EXPECT_EQ(capture.dumpOutOfTurn(second), capture.dump(second));
}

TEST(DecodeSession, AMessageThatNeverEndsIsGivenUp)
{
    Capture capture;
    std::uint32_t at = 1;
    const std::string line = "X-Header: " + std::string(1400, 'a') + "\r\n";
    capture.tcp(80, 40000, at, asBytes(std::string_view("GET / HTTP/1.1\r\n")));
    at += 16;
    for (int i = 0; i < 200; ++i) {
        capture.tcp(80, 40000, at, asBytes(line));
        at += static_cast<std::uint32_t>(line.size());
    }
    const auto frame = capture.tcp(80, 40000, at, asBytes(request));
    EXPECT_EQ(capture.values(frame, "http.host"), "shop.example");
}

TEST(DecodeSession, AFrameOutOfTurnIsDecodedAsItWasInOrder)
{
    Capture capture;
    capture.tcp(53, 40000, 100, Bytes(dnsQuery).first(20));
    capture.tcp(80, 40000, 1, asBytes(request.substr(0, 25)));
    capture.tcp(53, 40000, 120, Bytes(dnsQuery).subspan(20));
    capture.tcp(80, 40000, 26, asBytes(request.substr(25)));
    for (const std::size_t frame : {3u, 1u, 2u, 0u})
        EXPECT_EQ(capture.dumpOutOfTurn(frame), capture.dump(frame)) << frame;
}

TEST(DecodeSession, X11KeepsTheByteOrderOfItsSetupOnAnyPort)
{
    Capture capture;
    capture.tcp(7000, 40000, 1, hex("4200 000b 0000 0000 0000 0000"));
    const auto answer = capture.tcp(40000, 7000, 1,
                                    hex("0100 000b 0000 0009", "00b8a58f 00200000 001fffff 00000100 0003 ffff 0001",
                                        "00000000 08ff 00000000 41626300"));
    const auto asked = capture.tcp(7000, 40000, 13, hex("0e00 0002 00012345"));
    const auto error =
        capture.tcp(40000, 7000, 45, hex("0009 0001 01000000 0000 0e", "000000000000000000000000000000000000000000"));
    EXPECT_EQ(capture.info(answer), "Connection accepted, Abc");
    EXPECT_EQ(capture.values(answer, "x11.id_base"), "0x200000");
    EXPECT_EQ(capture.info(asked), "Request GetGeometry");
    EXPECT_EQ(capture.info(error), "Error bad drawable, GetGeometry");
    EXPECT_EQ(capture.values(error, "x11.bad_value"), "0x1000000");
    EXPECT_EQ(capture.values(error, "x11.guessed_order"), "");
    EXPECT_EQ(capture.dumpOutOfTurn(error), capture.dump(error));
}

TEST(DecodeSession, X11TakesTheMiddleOfAnImageForNoRequest)
{
    Capture capture;
    const auto zeros = capture.tcp(6000, 40000, 1, std::vector<std::uint8_t>(64));
    EXPECT_EQ(capture.info(zeros), "Continuation, 64 bytes");
    const auto noRequest = capture.tcp(6001, 40000, 1, hex("0b0b0b2e 2e2e2e2e 00000000"));
    EXPECT_EQ(capture.info(noRequest), "Continuation, 12 bytes");
}

TEST(DecodeSession, PeersThatShookHandsAreFollowedOnAnyPort)
{
    Capture capture;
    const auto shaken = hex("13 426974546f7272656e742070726f746f636f6c 0000000000100005", std::string(40, 'a').c_str(),
                            std::string(40, 'b').c_str());
    const auto first = capture.tcp(47309, 1044, 1, shaken);
    const auto asked = capture.tcp(47309, 1044, 69, hex("0000000d 06 00000048 00004000 00004000 0000"));
    const auto rest = capture.tcp(47309, 1044, 88, hex("0005 04 00000007"));
    const auto middle = capture.tcp(1044, 47309, 1, std::vector<std::uint8_t>(64));
    EXPECT_EQ(capture.info(first), "Handshake");
    EXPECT_EQ(capture.values(asked, "bittorrent.begin"), "16384");
    EXPECT_EQ(capture.info(rest), "Have 7");
    EXPECT_EQ(capture.info(middle), "Continuation, 64 bytes");
    EXPECT_EQ(capture.dumpOutOfTurn(rest), capture.dump(rest));
}

TEST(DecodeSession, PacketsOfATunnelCarryTlsThatIsPutTogetherAndFoundOnAnyPort)
{
    const std::string client = "c65c45b9f4c32691", server = "b75de901887d93c9";
    const auto guard = [](int number) {
        return std::string(40, 'e') + "0000000" + std::to_string(number) + "65000000";
    };
    Capture capture;
    const auto reset = capture.udp(5555, 40000, hex("38", client, guard(1), "00 00000000"));
    const auto answer = capture.udp(40000, 5555, hex("40", server, guard(1), "01 00000000", client, "00000000"));
    const auto start = capture.udp(5555, 40000, hex("20", client, guard(2), "00 00000001 1503030002"));
    const auto end = capture.udp(5555, 40000, hex("20", client, guard(3), "00 00000002 0228"));
    const auto again = capture.udp(5555, 40000, hex("20", client, guard(4), "00 00000002 0228"));
    const auto afterGap = capture.udp(5555, 40000, hex("20", client, guard(5), "00 00000004 030300020228"));
    const auto data = capture.udp(40000, 5555, hex("48 000007 00000001 8899aabbccddeeff"));
    EXPECT_EQ(capture.info(reset), "P_CONTROL_HARD_RESET_CLIENT_V2, message 0");
    EXPECT_EQ(capture.info(answer), "P_CONTROL_HARD_RESET_SERVER_V2, message 0, acknowledges 0");
    EXPECT_EQ(capture.info(start), "P_CONTROL_V1, message 1");
    EXPECT_EQ(capture.info(end), "Alert (fatal, handshake_failure)");
    EXPECT_EQ(capture.info(again), "P_CONTROL_V1, message 2");
    EXPECT_EQ(capture.info(afterGap), "P_CONTROL_V1, message 4");
    EXPECT_EQ(capture.info(data), "P_DATA_V2, peer 7, 12 bytes");
    for (const auto frame : {reset, answer, start, end, again, afterGap, data})
        EXPECT_EQ(capture.dumpOutOfTurn(frame), capture.dump(frame)) << frame;
}

TEST(DecodeSession, APacketOfATunnelOverTcpIsTakenOnceItIsWhole)
{
    Capture capture;
    const auto packet = hex("0019 20 c65c45b9f4c32691 00 00000001 16030300 06 0e000000 0000");
    const auto first = capture.tcp(1194, 40000, 1, Bytes(packet).first(20));
    const auto second = capture.tcp(1194, 40000, 21, Bytes(packet).subspan(20));
    EXPECT_EQ(capture.values(first, "openvpn.message_id"), "");
    EXPECT_EQ(capture.values(second, "openvpn.message_id"), "1");
    EXPECT_EQ(capture.protocol(second), "TLS");
    EXPECT_EQ(capture.dumpOutOfTurn(second), capture.dump(second));
}

TEST(DecodeSession, PacketsBetweenTwoThatSpeakGooglesQuicAreKnownByItsFirstOne)
{
    Capture capture;
    const std::string hash(24, '1'), id = "1122334455667788";
    const auto hello = hex("09", id, "51303339 01", hash, "8001 43484c4f 0100 0000 534e4900 05000000 612e746c64");
    const auto unknown = capture.udp(40000, 443, hex("00 02", hash, "99887766554433"));
    const auto first = capture.udp(443, 40000, hello);
    const auto sealed = capture.udp(40000, 443, hex("00 02", hash, "99887766554433"));
    const auto nonce = capture.udp(40000, 443, hex("04", hash, hash, "1122334455667788 03", hash));
    const auto both = capture.udp(40000, 443, hex("1c", id, hash, hash, "1122334455667788 0102", hash));
    EXPECT_EQ(capture.protocol(unknown), "UDP");
    EXPECT_EQ(capture.info(first), "CHLO, SNI=a.tld, packet 1, Q039, CID=1122334455667788");
    EXPECT_EQ(capture.info(sealed), "Protected payload, packet 2");
    EXPECT_EQ(capture.info(nonce), "Protected payload, packet 3");
    EXPECT_EQ(capture.info(both), "Protected payload, packet 258, CID=1122334455667788");
    for (const auto frame : {unknown, first, sealed, nonce, both})
        EXPECT_EQ(capture.dumpOutOfTurn(frame), capture.dump(frame)) << frame;
}

TEST(DecodeSession, AnOrdinaryNodeAnswersThePingOfItsNetwork)
{
    Capture capture;
    const auto answer = hex("29 000000a9 02 01 0000 375375a6403ecebdb08f0000");
    const auto unasked = capture.udp(1214, 2133, answer);
    capture.udp(2133, 1214, hex("27 00000029 80 4b615a614100"));
    const auto asked = capture.udp(1214, 2133, answer);
    EXPECT_EQ(capture.protocol(unasked), "UDP");
    EXPECT_EQ(capture.info(asked), "Pong of an ordinary node");
}

/// A client of X11 with its setup behind it: little-endian requests to the server and its answers.
class XClient {
public:
    XClient() { request("6c00 0b00 0000 0000 0000 0000"); }

    std::size_t request(std::string_view bytes) { return send(6010, 40000, sent_, hex(bytes)); }
    std::size_t answer(std::string_view bytes) { return send(40000, 6010, answered_, hex(bytes)); }
    std::size_t reply(std::string_view number) { return answer(fmt::format("0100{}00 00000000 {:048}", number, 0)); }
    void lose(std::uint32_t bytes) { sent_ += bytes; }
    Capture capture;

private:
    std::size_t send(std::uint16_t to, std::uint16_t from, std::uint32_t& sequence,
                     const std::vector<std::uint8_t>& bytes)
    {
        const auto frame = capture.tcp(to, from, sequence, bytes);
        sequence += static_cast<std::uint32_t>(bytes.size());
        return frame;
    }

    std::uint32_t sent_ = 1, answered_ = 1;
};

constexpr std::string_view internAtom = "1000 0300 0200 0000 574d0000", mapWindow = "0800 0200 01000000",
                           getInputFocus = "2b00 0100", queryExtension = "6200 0300 0300 0000 41424300",
                           extensionRequest = "8503 0200 00000000", listFontsWithInfo = "3200 0300 ff00 0100 2a000000";

TEST(DecodeSession, RepliesOfX11NameTheirRequests)
{
    XClient client;
    client.request(std::string(internAtom) + std::string(mapWindow) + std::string(getInputFocus));
    client.request(std::string(extensionRequest) + std::string(listFontsWithInfo));
    client.request(queryExtension);
    const auto atom = client.reply("01"), focus = client.reply("03"), font = client.reply("05");
    const auto otherFont = client.reply("05"), extension = client.reply("06");
    EXPECT_EQ(client.capture.info(atom), "Reply to InternAtom");
    EXPECT_EQ(client.capture.info(focus), "Reply to GetInputFocus");
    EXPECT_EQ(client.capture.info(font), "Reply to ListFontsWithInfo");
    EXPECT_EQ(client.capture.info(otherFont), "Reply to ListFontsWithInfo");
    EXPECT_EQ(client.capture.info(extension), "Reply to QueryExtension");
    for (const auto frame : {atom, focus, font, otherFont, extension})
        EXPECT_EQ(client.capture.dumpOutOfTurn(frame), client.capture.dump(frame)) << frame;
}

TEST(DecodeSession, ARequestOfX11InTwoSegmentsCountsOnce)
{
    XClient client;
    client.request(std::string(internAtom).substr(0, 14));
    client.request(std::string(internAtom).substr(14) + std::string(getInputFocus));
    const auto replies = client.answer(fmt::format("01000100 00000000 {:048} 01000200 00000000 {:048}", 0, 0));
    EXPECT_EQ(client.capture.info(replies), "Replies to InternAtom, GetInputFocus");
}

TEST(DecodeSession, AnErrorOfX11AnswersItsRequest)
{
    XClient client;
    client.request(std::string(internAtom) + std::string(getInputFocus));
    client.answer(fmt::format("00050100 00000000 0000 10 {:042}", 0));
    EXPECT_EQ(client.capture.info(client.reply("02")), "Reply to GetInputFocus");
}

TEST(DecodeSession, WhereRequestsOfX11WereMissedRepliesSayTheirNumber)
{
    XClient client;
    client.request(internAtom);
    client.lose(8); // a window is mapped
    client.request(std::string(getInputFocus) + std::string(queryExtension));
    const auto first = client.reply("01"), next = client.reply("03"), later = client.reply("04");
    EXPECT_EQ(client.capture.info(first), "Reply to InternAtom");
    EXPECT_EQ(client.capture.info(next), "Reply to request number 3");
    EXPECT_EQ(client.capture.info(later), "Reply to request number 4");
}

TEST(DecodeSession, DataOfWireGuardAreKnownByTheHandshakeBeforeThem)
{
    Capture capture;
    const auto data = hex("04000000 01020304 0000000000000000 00112233445566778899aabbccddeeff");
    std::vector<std::uint8_t> initiation(148);
    initiation[0] = 1;
    const auto unknown = capture.udp(5000, 40000, data);
    capture.udp(5000, 40000, initiation);
    const auto known = capture.udp(40000, 5000, data);
    EXPECT_EQ(capture.protocol(unknown), "UDP");
    EXPECT_EQ(capture.info(known), "Transport data, receiver 0x04030201, counter 0");
}

TEST(DecodeSession, NumbersOfADhtThatAreNoneOfItsOwnStandAsTheyAreWritten)
{
    const std::string_view text =
        "d1:ad2:id20:aaaaaaaaaaaaaaaaaaaa4:porti99999999999999999999e4:seedi-1ee1:q4:ping1:t2:xx"
        "1:y1:qe";
    Capture capture;
    const auto frame = capture.udp(6000, 40000, asBytes(text));
    EXPECT_EQ(capture.values(frame, "dht.port"), "");
    EXPECT_EQ(capture.values(frame, "dht.number"), "99999999999999999999; -1");
}

} // namespace
} // namespace netrondo::test
