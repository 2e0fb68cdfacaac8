// Post Office Protocol version 3 (RFC 1939).
#include "Dissection/Protocols/CommandLines.h"
#include "Dissection/Protocols/Protocols.h"
#include "Dissection/Protocols/TextLines.h"

namespace netrondo::pop3 {
namespace {
constexpr Field line{"pop3.line", "Line", Wire::text};
constexpr Field command{"pop3.command", "Command", Wire::text};
constexpr Field argument{"pop3.argument", "Argument", Wire::text};
constexpr Field status{"pop3.status", "Status", Wire::text};
constexpr Field text{"pop3.text", "Reply", Wire::text};
constexpr Field data{"pop3.data", "Message data", Wire::text};

void decode(Layer& pop3)
{
    const auto first = textLines::firstLine(pop3.rest());
    const bool reply = first.starts_with("+OK") || first.starts_with("-ERR") || first.starts_with("+ ");
    const auto [word, rest] = textLines::firstWord(first);
    if (reply || commandLines::isVerb(word, 3, 4)) {
        const auto at = pop3.offset();
        const auto node = pop3.tree().size();
        const auto whole = pop3.readLine(line);
        const auto [verb, more] = textLines::firstWord(whole);
        commandLines::addWord(pop3, reply ? status : command, whole, at, verb);
        commandLines::addWord(pop3, reply ? text : argument, whole, at, more);
        pop3.tree().close(node);
    }
    if (pop3.left())
        pop3.readRest(data);
}

void describe(const LayerView& pop3, TextSink& out)
{
    if (const auto first = pop3[line])
        out("{}: {}", pop3.has(status) ? "S" : "C", first);
    else if (const auto bytes = pop3[data])
        out("Message data, {} bytes", bytes.node()->length);
}

Likeness guess(Bytes payload, Transport transport)
{
    if (transport != Transport::tcp || !asText(payload).starts_with("+OK"))
        return Likeness::none;
    return textLines::firstLine(payload).find("POP3") != std::string_view::npos ? Likeness::certain : Likeness::likely;
}

constexpr Claim claims[] = {tcpPort(110)};
} // namespace

constexpr Protocol protocol{{"pop3", "POP3", Wire::layer},   {}, claims, decode, describe, guess,
                            opensWith({Transport::tcp}, '+')};
static_assert(wellFormed(protocol));
} // namespace netrondo::pop3
