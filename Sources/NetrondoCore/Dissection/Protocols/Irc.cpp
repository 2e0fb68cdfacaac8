// Internet Relay Chat (RFC 2812).
#include "Dissection/Protocols/CommandLines.h"
#include "Dissection/Protocols/Protocols.h"
#include "Dissection/Protocols/TextLines.h"

#include <algorithm>
#include <tuple>

namespace netrondo::irc {
namespace {
constexpr Field line{"irc.line", "Line", Wire::text};
constexpr Field prefix{"irc.prefix", "From", Wire::text};
constexpr Field command{"irc.command", "Command", Wire::text};
constexpr Field parameter{"irc.parameter", "Parameter", Wire::text};
constexpr Field text{"irc.text", "Text", Wire::text};
constexpr Field data{"irc.data", "Data", Wire::bytes};

/// With message tags; a longer one is no line of a chat, and nobody waits for its end.
constexpr std::size_t longestLine = 8704;

void decode(Layer& irc)
{
    while (irc.more()) {
        // Chats are in any character set, so the line's end alone tells a text from other bytes.
        if (irc.peek8() < ' ' && irc.peek8() != '\r' && irc.peek8() != '\n') {
            irc.readRest(data);
            return;
        }
        irc.beginMessage();
        if (irc.left() < longestLine && std::ranges::find(irc.rest(), '\n') == irc.rest().end())
            return irc.await(line);
        const auto at = irc.offset();
        const auto node = irc.tree().size();
        const auto whole = irc.readLine(line);
        auto [word, rest] = textLines::firstWord(whole);
        if (word.starts_with(':')) {
            commandLines::addWord(irc, prefix, whole, at, word.substr(1));
            std::tie(word, rest) = textLines::firstWord(rest);
        }
        commandLines::addWord(irc, command, whole, at, word);
        while (!rest.empty() && !rest.starts_with(':')) {
            std::tie(word, rest) = textLines::firstWord(rest);
            commandLines::addWord(irc, parameter, whole, at, word);
        }
        if (!rest.empty())
            commandLines::addWord(irc, text, whole, at, rest.substr(1));
        irc.tree().close(node);
    }
}

void describe(const LayerView& irc, TextSink& out)
{
    if (const auto first = irc[line])
        out("{}", first);
    else if (const auto bytes = irc[data])
        out("Data, {} bytes", bytes.node()->length);
    else
        out("Part of a line");
    if (const auto lines = irc.count(line); lines > 1)
        out(" (and {} more lines)", lines - 1);
}

/// What opens a chat: a client's name and then who it is, or a server's notice or welcome.
Likeness guess(Bytes payload, Transport transport)
{
    if (transport != Transport::tcp)
        return Likeness::none;
    const auto head = asText(payload);
    if (head.starts_with("NICK "))
        return head.find("\nUSER ") != head.npos ? Likeness::certain : Likeness::none;
    if (head.starts_with("CAP LS"))
        return Likeness::certain;
    const auto [server, behind] = textLines::firstWord(textLines::firstLine(payload));
    if (server.size() < 2 || server.front() != ':')
        return Likeness::none;
    const auto [word, more] = textLines::firstWord(behind);
    const bool isWelcome =
        word == "001" || (word == "NOTICE" && (more.starts_with("AUTH :") || more.starts_with("* :")));
    return isWelcome ? Likeness::certain : Likeness::none;
}

constexpr Claim claims[] = {tcpPort(194), tcpPorts(6660, 6669)};
} // namespace

constexpr Protocol protocol{{"irc", "IRC", Wire::layer},
                            {},
                            claims,
                            decode,
                            describe,
                            guess,
                            opensWith({Transport::tcp}, ':').orByte('N').orByte('C')};
static_assert(wellFormed(protocol));
} // namespace netrondo::irc
