// Post Office Protocol version 3 (RFC 1939).
#include "Dissection/Protocols/CommandLines.h"
#include "Dissection/Protocols/MailMessage.h"
#include "Dissection/Protocols/Protocols.h"
#include "Dissection/Protocols/Remembered.h"
#include "Dissection/Protocols/TextLines.h"

#include <algorithm>
#include <array>
#include <initializer_list>
#include <utility>

namespace netrondo::pop3 {
namespace {
constexpr Field line{"pop3.line", "Line", Wire::text};
constexpr Field command{"pop3.command", "Command", Wire::text};
constexpr Field argument{"pop3.argument", "Argument", Wire::text};
constexpr Field login{"pop3.login", "Login", Wire::text};
constexpr Field status{"pop3.status", "Status", Wire::text};
constexpr Field text{"pop3.text", "Reply", Wire::text};
constexpr Field data{"pop3.data", "Message data", Wire::text};
constexpr Field messageEnd{"pop3.message_end", "End of the message", Wire::none};

constexpr std::uint16_t serverPort = 110;

/// What follows the status line of an answer.
enum class Answer : std::uint8_t { statusOnly, list, message };

/// What was asked and is not answered yet, as commands may come in one go (RFC 2449, 6.6); and what of the answer is
/// still to come.
struct Dialogue {
    std::array<Answer, 8> asked{};
    std::uint8_t count = 0;
    Answer coming = Answer::statusOnly;
    mail::Progress message;
    bool isLogin = false;    ///< the server asked for more of a login: the client's next line is no command
    std::uint8_t server = 0; ///< its way and 1; 0 where nobody knows

    friend bool operator==(const Dialogue&, const Dialogue&) = default;

    void ask(Answer answer)
    {
        if (count < asked.size())
            asked[count++] = answer;
    }
    Answer answered()
    {
        if (count == 0)
            return Answer::statusOnly;
        std::ranges::rotate(asked, asked.begin() + 1);
        --count;
        return std::exchange(asked.back(), Answer::statusOnly);
    }
};

bool isAny(std::string_view verb, std::initializer_list<std::string_view> known)
{
    return std::ranges::any_of(known, [&](auto name) { return textLines::equalsIgnoringCase(verb, name); });
}

Answer answerTo(std::string_view verb, std::string_view rest)
{
    if (isAny(verb, {"RETR", "TOP"}))
        return Answer::message;
    const bool asksForAll = rest.empty() && isAny(verb, {"LIST", "UIDL", "AUTH"});
    return asksForAll || isAny(verb, {"CAPA"}) ? Answer::list : Answer::statusOnly;
}

void readMail(Layer& pop3, Dialogue& dialogue)
{
    if (mail::readUntilDot(pop3, data, messageEnd, dialogue.message))
        dialogue.coming = Answer::statusOnly;
}

bool isReply(std::string_view next)
{
    return next.starts_with("+OK") || next.starts_with("-ERR") || next.starts_with("+ ");
}

bool isFromServer(Layer& pop3, const Dialogue& dialogue, std::string_view next)
{
    const auto& summary = pop3.summary();
    if (summary.sourcePort == serverPort || summary.destinationPort == serverPort)
        return summary.sourcePort == serverPort;
    return dialogue.server ? dialogue.server == pop3.way(Transport::tcp) + 1 : isReply(next);
}

void readReply(Layer& pop3, std::string_view whole, std::uint32_t at, Dialogue& dialogue)
{
    const auto [word, rest] = textLines::firstWord(whole);
    commandLines::addWord(pop3, status, whole, at, word);
    commandLines::addWord(pop3, text, whole, at, rest);
    dialogue.server = static_cast<std::uint8_t>(pop3.way(Transport::tcp) + 1);
    dialogue.isLogin = word == "+";
    if (dialogue.isLogin)
        return;
    const auto answer = dialogue.answered();
    dialogue.coming = word == "+OK" ? answer : Answer::statusOnly;
    dialogue.message = {};
}

void readCommand(Layer& pop3, std::string_view whole, std::uint32_t at, Dialogue& dialogue)
{
    const auto [verb, rest] = textLines::firstWord(whole);
    if (std::exchange(dialogue.isLogin, false) || !commandLines::isVerb(verb, 3, 4))
        return commandLines::addWord(pop3, login, whole, at, whole);
    commandLines::addWord(pop3, command, whole, at, verb);
    commandLines::addWord(pop3, argument, whole, at, rest);
    dialogue.ask(answerTo(verb, rest));
}

void readLine(Layer& pop3, bool fromServer, Dialogue& dialogue)
{
    if (commandLines::awaitsEnd(pop3, line))
        return;
    const auto at = pop3.offset();
    const auto node = pop3.tree().size();
    const auto whole = pop3.readLine(line);
    if (dialogue.coming == Answer::list && fromServer)
        dialogue.coming = whole == "." ? Answer::statusOnly : Answer::list;
    else if (fromServer)
        readReply(pop3, whole, at, dialogue);
    else
        readCommand(pop3, whole, at, dialogue);
    pop3.tree().close(node);
}

void decode(Layer& pop3)
{
    Remembered<Dialogue> dialogue(pop3);
    while (pop3.more()) {
        const auto next = textLines::firstLine(pop3.rest());
        const bool fromServer = isFromServer(pop3, *dialogue, next);
        // A reply within a message: the message's end was missed, if something else has been asked for meanwhile.
        const bool isInMessage = dialogue->coming == Answer::message && !(isReply(next) && dialogue->count > 0);
        const bool isLine = !fromServer || isReply(next) || dialogue->coming == Answer::list;
        if (fromServer && isInMessage) {
            readMail(pop3, *dialogue);
        } else if (isLine && textLines::isText(pop3.rest())) {
            readLine(pop3, fromServer, *dialogue);
        } else {
            pop3.readRest(data);
            return;
        }
        if (!pop3.stopped())
            dialogue.commit();
    }
}

void describe(const LayerView& pop3, TextSink& out)
{
    const auto first = pop3[line];
    std::uint64_t size = 0;
    pop3.each(data, [&](const Value& part) { size += part.node()->length; });
    if (first) {
        out("{}: {}", !pop3.has(command) && !pop3.has(login) ? "Response" : "Request", first);
        commandLines::describeMore(pop3.count(line), out);
    } else if (!size) {
        return commandLines::describePart(pop3, out);
    }
    if (!size)
        return;
    out("{}essage data, {} bytes", first ? ", m" : "M", size);
    mail::describe(pop3, out);
    if (pop3.has(messageEnd))
        out(", end of the message");
}

Likeness guess(Bytes payload, Transport transport)
{
    if (transport != Transport::tcp || !asText(payload).starts_with("+OK"))
        return Likeness::none;
    return textLines::firstLine(payload).find("POP3") != std::string_view::npos ? Likeness::certain : Likeness::likely;
}

constexpr Claim claims[] = {tcpPort(serverPort)};
} // namespace

constexpr Protocol protocol{{"pop3", "POP3", Wire::layer},   {}, claims, decode, describe, guess,
                            opensWith({Transport::tcp}, '+')};
static_assert(wellFormed(protocol));
} // namespace netrondo::pop3
