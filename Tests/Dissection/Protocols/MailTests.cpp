// Dialogues about mail: what a line means by what was said before, and messages over several segments.
#include "Support/Segments.h"

#include <gtest/gtest.h>

#include <string>

namespace netrondo::test {
namespace {

/// Both ways of a connection to a port, with running sequence numbers.
class Dialogue : public testing::Test {
protected:
    std::size_t client(std::string_view text) { return say(true, text); }
    std::size_t server(std::string_view text) { return say(false, text); }
    /// Bytes that got lost.
    void loseClients(std::uint32_t count) { next_[0] += count; }
    void loseServers(std::uint32_t count) { next_[1] += count; }
    std::size_t again(std::size_t back, std::string_view text)
    {
        return capture.tcp(port, 40000, next_[0] - static_cast<std::uint32_t>(back), asBytes(text));
    }

    std::uint16_t port = 25;
    Capture capture;

private:
    std::size_t say(bool isClient, std::string_view text)
    {
        auto& next = next_[isClient ? 0 : 1];
        const auto frame =
            isClient ? capture.tcp(port, 40000, next, asBytes(text)) : capture.tcp(40000, port, next, asBytes(text));
        next += static_cast<std::uint32_t>(text.size());
        return frame;
    }

    std::uint32_t next_[2] = {1, 1};
};

class Smtp : public Dialogue { };

TEST_F(Smtp, WhatFollowsTheGoAheadIsTheMessageUpToTheDot)
{
    client("DATA\r\n");
    server("354 go ahead\r\n");
    const auto first =
        client("Received: by a\r\n\tQUIT\r\nFrom: anna@a.example\r\nTo: ben@b.example\r\nSubject: tea\r\n\r\n"
               "QUIT\r\n250 ");
    const auto second = client("at four.\r\n.");
    const auto last = client("\r\nQUIT\r\n");
    EXPECT_EQ(capture.info(first), "Message data, 90 bytes, from anna@a.example, to ben@b.example, subject tea");
    EXPECT_EQ(capture.info(second), "Message data, 11 bytes");
    EXPECT_EQ(capture.info(last), "Request: QUIT, message data, 2 bytes, end of the message");
    EXPECT_EQ(capture.values(last, "smtp.command"), "QUIT");
    for (const auto frame : {first, second, last})
        EXPECT_EQ(capture.dumpOutOfTurn(frame), capture.dump(frame));
}

TEST_F(Smtp, AMessageMayBeADotAlone)
{
    client("DATA\r\n");
    server("354 go ahead\r\n");
    EXPECT_EQ(capture.info(client(".\r\n")), "Message data, 3 bytes, end of the message");
    EXPECT_EQ(capture.info(client("QUIT\r\n")), "Request: QUIT");
}

TEST_F(Smtp, TheServersAnswerEndsAMessageWhoseDotIsLost)
{
    client("DATA\r\n");
    server("354 go ahead\r\n");
    client("one\r\n");
    loseClients(3);
    server("250 taken\r\n");
    EXPECT_EQ(capture.info(client("QUIT\r\n")), "Request: QUIT");
}

TEST_F(Smtp, WhereTheDialogueWasNotSeenBytesAreData)
{
    EXPECT_EQ(capture.info(client("From: anna@a.example\r\nSubject: tea\r\n")), "Data, 36 bytes");
    client("DATA\r\n");
    server("550 no\r\n");
    EXPECT_EQ(capture.info(client("Subject: tea\r\n")), "Data, 14 bytes");
}

TEST_F(Smtp, ASegmentSentAgainChangesNothing)
{
    client("DATA\r\n");
    server("354 go ahead\r\n");
    const auto end = client("tea\r\n.\r\n");
    again(8, "tea\r\n.\r\n");
    EXPECT_EQ(capture.info(end), "Message data, 8 bytes, end of the message");
    EXPECT_EQ(capture.info(client("QUIT\r\n")), "Request: QUIT");
}

TEST_F(Smtp, ALoginByTwoLinesIsReadFromItsBase64)
{
    client("AUTH LOGIN\r\n");
    server("334 VXNlcm5hbWU6\r\n");
    const auto name = client("YW5uYQ==\r\n");
    server("334 UGFzc3dvcmQ6\r\n");
    const auto secret = client("bGVtb25z\r\n");
    const auto answer = server("235 welcome\r\n");
    EXPECT_EQ(capture.info(name), "Request: YW5uYQ==, user anna");
    EXPECT_EQ(capture.info(secret), "Request: bGVtb25z, password lemons");
    EXPECT_EQ(capture.info(answer), "Response: 235 welcome");
    EXPECT_EQ(capture.values(secret, "smtp.password"), "lemons");
    EXPECT_EQ(capture.dumpOutOfTurn(name), capture.dump(name));
    EXPECT_EQ(capture.dumpOutOfTurn(secret), capture.dump(secret));
}

TEST_F(Smtp, ALoginInOneLineHasBoth)
{
    const auto atOnce = client("AUTH PLAIN AGFubmEAbGVtb25z\r\n");
    EXPECT_EQ(capture.info(atOnce), "Request: AUTH PLAIN AGFubmEAbGVtb25z, user anna, password lemons");
    server("535 no\r\n");
    client("auth plain\r\n");
    server("334 \r\n");
    const auto later = client("AGFubmEAbGVtb25z\r\n");
    EXPECT_EQ(capture.info(later), "Request: AGFubmEAbGVtb25z, user anna, password lemons");
}

TEST_F(Smtp, ALoginThatIsNoBase64IsNotReadFurther)
{
    for (const std::string_view odd : {"*\r\n", "an!na\r\n", "AGFubmE=\r\n", "Y\r\n"}) {
        client("AUTH PLAIN\r\n");
        server("334 \r\n");
        const auto frame = client(odd);
        EXPECT_EQ(capture.info(frame), "Request: " + std::string(odd.substr(0, odd.size() - 2)));
        EXPECT_EQ(capture.values(frame, "smtp.user"), "");
    }
}

TEST_F(Smtp, ALoginOfAnotherKindKeepsItsSecret)
{
    client("AUTH CRAM-MD5\r\n");
    server("334 PDE+\r\n");
    const auto frame = client("YW5uYSAxMjM=\r\n");
    EXPECT_EQ(capture.info(frame), "Request: YW5uYSAxMjM=");
}

TEST_F(Smtp, AChunkIsAsLongAsItWasSaidToBe)
{
    const auto first = client("BDAT 14\r\nSubject: tea\r\n");
    const auto second = client("BDAT 12 LAST\r\nQUIT\r\n");
    const auto third = client("RSET\r\nQUIT\r\n");
    EXPECT_EQ(capture.info(first), "Request: BDAT 14, message data, 14 bytes, subject tea");
    EXPECT_EQ(capture.info(second), "Request: BDAT 12 LAST, message data, 6 bytes");
    EXPECT_EQ(capture.info(third), "Continuation, 6 bytes, Request: QUIT");
}

TEST_F(Smtp, ALineOverTwoSegmentsIsPutTogether)
{
    const auto start = client("MAIL FROM:<an");
    const auto end = client("na@a.example>\r\n");
    EXPECT_EQ(capture.info(start), "Part of a line");
    EXPECT_EQ(capture.info(end), "Request: MAIL FROM:<anna@a.example>");
    EXPECT_EQ(capture.dumpOutOfTurn(end), capture.dump(end));
}

TEST_F(Smtp, AnEndlessLineIsNotWaitedFor)
{
    const auto frame = client("MAIL FROM:<" + std::string(3000, 'a'));
    EXPECT_EQ(capture.protocol(frame), "SMTP");
    EXPECT_TRUE(capture.info(frame).starts_with("Request: MAIL FROM:<aaa"));
}

TEST_F(Dialogue, LinesOfFtpOverTwoSegmentsArePutTogether)
{
    port = 21;
    const auto start = server("220 wel");
    const auto end = server("come\r\n");
    EXPECT_EQ(capture.info(start), "Part of a line");
    EXPECT_EQ(capture.info(end), "Response: 220 welcome");
}

class Imap : public Dialogue {
protected:
    Imap() { port = 143; }
};

TEST_F(Imap, AMessageOverSegmentsIsNoLines)
{
    const auto request = client("a1 FETCH 7 BODY[]\r\n");
    const auto first = server("* 7 FETCH (BODY[] {52}\r\nFrom: anna@a.example\r\nSubject: tea\r\n\r\n");
    const auto second = server("a2 OK not so");
    const auto last = server("\r\n FLAGS ())\r\na1 OK done\r\n");
    EXPECT_EQ(capture.info(request), "Request: a1 FETCH 7 BODY[]");
    EXPECT_EQ(capture.info(first), "Response: * 7 FETCH (BODY[] {52}, from anna@a.example, subject tea");
    EXPECT_EQ(capture.info(second), "Continuation, 12 bytes");
    EXPECT_EQ(capture.info(last), "Continuation, 2 bytes, Response: a1 OK done (and 1 more lines)");
    EXPECT_EQ(capture.values(last, "imap.status"), "OK");
    EXPECT_EQ(capture.values(last, "imap.tag"), "a1");
    EXPECT_EQ(capture.dumpOutOfTurn(last), capture.dump(last));
}

TEST_F(Imap, ALiteralMayBeginWithTheNextSegment)
{
    const auto announced = client("a1 APPEND in {14}\r\n");
    const auto agreed = server("+ go on\r\n");
    const auto content = client("Subject: tea\r\n\r\n");
    EXPECT_EQ(capture.info(announced), "Request: a1 APPEND in {14}");
    EXPECT_EQ(capture.info(agreed), "Response: + go on");
    EXPECT_EQ(capture.values(content, "mail.subject"), "tea");
    EXPECT_EQ(capture.dumpOutOfTurn(content), capture.dump(content));
    EXPECT_EQ(capture.info(client("a2 NOOP\r\n")), "Request: a2 NOOP");
}

TEST_F(Imap, ALiteralThatIsRefusedDoesNotCome)
{
    client("a1 APPEND in {14}\r\n");
    server("a1 NO full\r\n");
    EXPECT_EQ(capture.info(client("a2 NOOP\r\n")), "Request: a2 NOOP");
}

TEST_F(Imap, TheResultTellsMoreThanTheFirstLine)
{
    const auto frame = server("* 3 EXISTS\r\n* OK [UNSEEN 2] one\r\na1 NO not open\r\n");
    EXPECT_EQ(capture.info(frame), "Response: a1 NO not open (and 2 more lines)");
    EXPECT_EQ(capture.info(server("* 3 EXISTS\r\n* 1 RECENT\r\n")), "Response: * 3 EXISTS (and 1 more lines)");
}

TEST_F(Imap, ASizeThatIsNoneIsNoLiteral)
{
    for (const std::string_view odd : {"{}", "{x}", "{1", "{99999999999}", "1}", "{+}", "{-1}"}) {
        client("a1 LOGIN " + std::string(odd) + "\r\n");
        EXPECT_EQ(capture.info(client("a2 NOOP\r\n")), "Request: a2 NOOP") << odd;
    }
}

TEST_F(Imap, AnEmptyLiteralIsOne)
{
    const auto frame = client("a1 LOGIN anna {0+}\r\n\r\na2 NOOP\r\n");
    EXPECT_EQ(capture.values(frame, "imap.command"), "LOGIN; NOOP");
}

class Pop3 : public Dialogue {
protected:
    Pop3() { port = 110; }
};

TEST_F(Pop3, AMessageGoesOnUntilItsDot)
{
    server("+OK ready\r\n");
    const auto request = client("RETR 1\r\n");
    const auto first = server("+OK 70 octets\r\nFrom: anna@a.example\r\nSubject: tea\r\n\r\n+OK");
    const auto middle = server("STAT\r\n.");
    const auto last = server("\r\n");
    const auto next = client("QUIT\r\n");
    EXPECT_EQ(capture.info(request), "Request: RETR 1");
    EXPECT_EQ(capture.info(first), "Response: +OK 70 octets, message data, 41 bytes, from anna@a.example, subject tea");
    EXPECT_EQ(capture.info(middle), "Message data, 7 bytes");
    EXPECT_EQ(capture.info(last), "Message data, 2 bytes, end of the message");
    EXPECT_EQ(capture.info(next), "Request: QUIT");
    for (const auto frame : {first, middle, last})
        EXPECT_EQ(capture.dumpOutOfTurn(frame), capture.dump(frame));
}

TEST_F(Pop3, CommandsInOneGoAreAnsweredInTheirOrder)
{
    client("STAT\r\nLIST\r\nRETR 1\r\nDELE 1\r\n");
    const auto lines = server("+OK 1 9\r\n+OK\r\n1 9\r\n.\r\n");
    const auto rest = server("+OK\r\nSubject: tea\r\n\r\n.\r\n+OK gone\r\n");
    EXPECT_EQ(capture.info(lines), "Response: +OK 1 9 (and 3 more lines)");
    EXPECT_EQ(capture.info(rest),
              "Response: +OK (and 1 more lines), message data, 19 bytes, subject tea, end of the message");
}

TEST_F(Pop3, AnErrorHasNoMessage)
{
    client("RETR 9\r\n");
    EXPECT_EQ(capture.info(server("-ERR none\r\n")), "Response: -ERR none");
    client("STAT\r\n");
    EXPECT_EQ(capture.info(server("+OK 0 0\r\n")), "Response: +OK 0 0");
}

TEST_F(Pop3, TheServerSendsNoCommands)
{
    EXPECT_EQ(capture.info(server("STAT is a word\r\n")), "Message data, 16 bytes");
}

TEST_F(Pop3, AMessageWhoseEndIsLostEndsWithTheNextAnswer)
{
    client("RETR 1\r\n");
    server("+OK\r\nSubject: tea\r\n");
    loseServers(7);
    client("STAT\r\n");
    EXPECT_EQ(capture.info(server("+OK 1 9\r\n")), "Response: +OK 1 9");
}

TEST_F(Pop3, TheAnswerToALoginIsNoCommand)
{
    client("AUTH PLAIN\r\n");
    server("+ \r\n");
    const auto answer = client("RETR\r\n");
    EXPECT_EQ(capture.info(answer), "Request: RETR");
    EXPECT_EQ(capture.values(answer, "pop3.command"), "");
    EXPECT_EQ(capture.info(server("+OK welcome\r\n")), "Response: +OK welcome");
}

TEST_F(Pop3, ThePortMayBeAnyOnceTheGreetingIsSeen)
{
    port = 5001;
    server("+OK POP3 ready\r\n");
    EXPECT_EQ(capture.info(client("RETR 1\r\n")), "Request: RETR 1");
    server("+OK\r\n");
    EXPECT_EQ(capture.info(server("STAT is a word\r\n")), "Message data, 16 bytes");
}

} // namespace
} // namespace netrondo::test
