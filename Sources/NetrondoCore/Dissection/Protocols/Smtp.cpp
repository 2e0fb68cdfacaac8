// Simple Mail Transfer Protocol (RFC 5321), with logins (RFC 4954) and messages in chunks (RFC 3030).
#include "Dissection/Protocols/CommandLines.h"
#include "Dissection/Protocols/MadeText.h"
#include "Dissection/Protocols/MailMessage.h"
#include "Dissection/Protocols/Protocols.h"
#include "Dissection/Protocols/Remembered.h"
#include "Dissection/Protocols/TextLines.h"

#include <algorithm>
#include <charconv>

namespace netrondo::smtp {
namespace {
constexpr Field line{"smtp.line", "Line", Wire::text};
constexpr Field command{"smtp.command", "Command", Wire::text};
constexpr Field argument{"smtp.argument", "Argument", Wire::text};
constexpr Field code{"smtp.code", "Reply code", Wire::number};
constexpr Field text{"smtp.text", "Reply", Wire::text};
constexpr Field login{"smtp.login", "Login", Wire::text};
constexpr Field user{"smtp.user", "User", Wire::madeText};
constexpr Field password{"smtp.password", "Password", Wire::madeText};
constexpr Field message{"smtp.message", "Message data", Wire::text};
constexpr Field messageEnd{"smtp.message_end", "End of the message", Wire::none};
constexpr Field data{"smtp.data", "Data", Wire::text};
constexpr commandLines::Fields fields{line, command, argument, code, text, data};

enum class Phase : std::uint8_t { commands, content, credentials };
enum class Mechanism : std::uint8_t { none, twoLines, plain, other };

/// Of the dialogue. What the client sends next is told by what the server said last.
struct Dialogue {
    Phase phase = Phase::commands;
    Mechanism mechanism = Mechanism::none;
    std::uint8_t step = 0; ///< lines of the login so far
    std::uint8_t clientWay = 0;
    mail::Progress message;

    friend bool operator==(const Dialogue&, const Dialogue&) = default;
};

bool isCommand(std::string_view word)
{
    for (const std::string_view known : {"HELO", "EHLO", "LHLO", "MAIL", "RCPT", "DATA", "RSET", "NOOP", "QUIT", "VRFY",
                                         "EXPN", "HELP", "AUTH", "STARTTLS", "BDAT", "ETRN"}) {
        if (textLines::equalsIgnoringCase(word, known))
            return true;
    }
    return false;
}

/// False where it is no Base64 (RFC 4648, 4).
bool unpack(std::string_view packed, MadeText& out)
{
    constexpr std::string_view digits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    packed = packed.substr(0, packed.find_last_not_of('=') + 1);
    std::uint32_t bits = 0;
    unsigned count = 0;
    for (const char c : packed) {
        const auto digit = digits.find(c);
        if (digit == digits.npos)
            return false;
        bits = bits << 6 | static_cast<std::uint32_t>(digit);
        count += 6;
        if (count >= 8)
            out.put(static_cast<char>(bits >> (count -= 8) & 0xff));
    }
    return count < 6;
}

/// LOGIN asks for the user, then for the password; PLAIN has both in one answer, behind zero bytes (RFC 4616).
void addLogin(Layer& smtp, std::string_view packed, std::size_t at, Dialogue& dialogue)
{
    MadeText plain;
    if (packed == "*" || !unpack(packed, plain)) // an asterisk gives up
        return;
    const std::string_view whole = plain;
    if (dialogue.mechanism == Mechanism::twoLines) {
        smtp.addText(dialogue.step == 0 ? user : password, whole, at, packed.size());
        ++dialogue.step;
    } else if (dialogue.mechanism == Mechanism::plain) {
        const auto first = whole.find('\0');
        const auto second = first == whole.npos ? first : whole.find('\0', first + 1);
        if (second == whole.npos)
            return;
        smtp.addText(user, whole.substr(first + 1, second - first - 1), at, packed.size());
        smtp.addText(password, whole.substr(second + 1), at, packed.size());
    }
}

void readLogin(Layer& smtp, Dialogue& dialogue)
{
    if (commandLines::awaitsEnd(smtp, line))
        return;
    const auto at = smtp.offset();
    const auto node = smtp.tree().size();
    const auto packed = smtp.readLine(login);
    addLogin(smtp, packed, at, dialogue);
    smtp.tree().close(node);
    dialogue.phase = Phase::commands;
}

void readMessage(Layer& smtp, Dialogue& dialogue)
{
    if (mail::readUntilDot(smtp, message, messageEnd, dialogue.message))
        dialogue.phase = Phase::commands;
}

/// A chunk's size is told, so its end needs no dot.
void readChunk(Layer& smtp, std::string_view size, Dialogue& dialogue)
{
    const auto [digits, last] = textLines::firstWord(size);
    std::uint64_t count = 0;
    std::from_chars(digits.data(), digits.data() + digits.size(), count);
    if (count > smtp.leftOnWire())
        smtp.goesOn(count - smtp.leftOnWire());
    const auto here = std::min<std::uint64_t>(count, smtp.left());
    if (here)
        mail::read(smtp, message, here, !dialogue.message.isBegun);
    dialogue.message.isBegun = !textLines::equalsIgnoringCase(last, "LAST");
}

void follow(Layer& smtp, const commandLines::Line& read, Dialogue& dialogue)
{
    const auto way = smtp.way(Transport::tcp);
    if (read.kind == commandLines::Line::Kind::reply) {
        dialogue.clientWay = way ^ 1;
        const bool asks = read.code == 334 && dialogue.mechanism != Mechanism::none;
        dialogue.phase = read.code == 354 ? Phase::content : asks ? Phase::credentials : Phase::commands;
        if (!asks)
            dialogue.mechanism = Mechanism::none;
        if (read.code == 354)
            dialogue.message = {};
        return;
    }
    dialogue.clientWay = way;
    if (textLines::equalsIgnoringCase(read.verb, "AUTH")) {
        const auto [name, first] = textLines::firstWord(read.argument);
        dialogue.mechanism = textLines::equalsIgnoringCase(name, "LOGIN") ? Mechanism::twoLines
            : textLines::equalsIgnoringCase(name, "PLAIN")                ? Mechanism::plain
                                                                          : Mechanism::other;
        dialogue.step = 0;
        if (!first.empty() && first != "=") {
            const auto at = static_cast<std::size_t>(asBytes(first).data() - smtp.whole().data());
            addLogin(smtp, first, smtp.begin() + at, dialogue);
        }
    } else if (textLines::equalsIgnoringCase(read.verb, "BDAT")) {
        readChunk(smtp, read.argument, dialogue);
    } else if (textLines::equalsIgnoringCase(read.verb, "MAIL") || textLines::equalsIgnoringCase(read.verb, "RSET")) {
        dialogue.message = {};
    }
}

void decode(Layer& smtp)
{
    Remembered<Dialogue> dialogue(smtp);
    while (smtp.more()) {
        const bool fromClient = smtp.way(Transport::tcp) == dialogue->clientWay;
        if (fromClient && dialogue->phase == Phase::content) {
            readMessage(smtp, *dialogue);
        } else if (fromClient && dialogue->phase == Phase::credentials) {
            readLogin(smtp, *dialogue);
        } else {
            const auto read = commandLines::readLine(smtp, fields, isCommand);
            if (read.kind == commandLines::Line::Kind::other) {
                smtp.readRest(data);
                return;
            }
            if (!smtp.stopped())
                follow(smtp, read, *dialogue);
        }
        if (!smtp.stopped())
            dialogue.commit();
    }
}

void describe(const LayerView& smtp, TextSink& out)
{
    const auto answer = smtp[login];
    const bool isMessage = smtp.has(message);
    if (answer && !smtp.has(line))
        out("Request: {}", answer);
    else if (smtp.has(line) || !isMessage)
        commandLines::describe(smtp, out, fields);
    const auto name = smtp[user], secret = smtp[password];
    if (name)
        out(", user {}", name);
    if (secret)
        out(", password {}", secret);
    if (!isMessage)
        return;
    std::uint64_t size = 0;
    smtp.each(message, [&](const Value& part) { size += part.node()->length; });
    out("{}essage data, {} bytes", smtp.has(line) ? ", m" : "M", size);
    mail::describe(smtp, out);
    if (smtp.has(messageEnd))
        out(", end of the message");
}

Likeness guess(Bytes payload, Transport transport)
{
    const auto head = asText(payload);
    const bool isServer = head.starts_with("220 ") || head.starts_with("220-");
    if (transport != Transport::tcp || (!isServer && !head.starts_with("EHLO ") && !head.starts_with("HELO ")))
        return Likeness::none;
    const bool greets = !isServer || textLines::firstLine(payload).find("SMTP") != head.npos;
    return greets ? Likeness::certain : Likeness::none;
}

constexpr Claim claims[] = {tcpPort(25), tcpPort(587), tcpPort(2525)};
} // namespace

constexpr Protocol protocol{{"smtp", "SMTP", Wire::layer},
                            {},
                            claims,
                            decode,
                            describe,
                            guess,
                            opensWith({Transport::tcp}, '2').orByte('E').orByte('H')};
static_assert(wellFormed(protocol));
} // namespace netrondo::smtp
