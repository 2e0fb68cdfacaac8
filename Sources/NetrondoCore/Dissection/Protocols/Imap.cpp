// Internet Message Access Protocol (RFC 9051).
#include "Dissection/Protocols/CommandLines.h"
#include "Dissection/Protocols/Protocols.h"
#include "Dissection/Protocols/TextLines.h"

namespace netrondo::imap {
namespace {
constexpr Field line{"imap.line", "Line", Wire::text};
constexpr Field tag{"imap.tag", "Tag", Wire::text};
constexpr Field command{"imap.command", "Command or status", Wire::text};
constexpr Field argument{"imap.argument", "Argument", Wire::text};
constexpr Field data{"imap.data", "Message data", Wire::text};

void decode(Layer& imap)
{
    while (imap.more()) {
        if (!textLines::isText(imap.rest())) {
            imap.readRest(data);
            return;
        }
        const auto at = imap.offset();
        const auto node = imap.tree().size();
        const auto whole = imap.readLine(line);
        const auto [first, rest] = textLines::firstWord(whole);
        const auto [verb, more] = textLines::firstWord(rest);
        commandLines::addWord(imap, tag, whole, at, first);
        commandLines::addWord(imap, command, whole, at, verb);
        commandLines::addWord(imap, argument, whole, at, more);
        imap.tree().close(node);
    }
}

void describe(const LayerView& imap, TextSink& out)
{
    if (const auto first = imap[line]) {
        out("{}", first);
        if (const auto lines = imap.count(line); lines > 1)
            out(" (and {} more lines)", lines - 1);
    } else if (const auto bytes = imap[data]) {
        out("Message data, {} bytes", bytes.node()->length);
    }
}

Likeness guess(Bytes payload, Transport transport)
{
    if (transport != Transport::tcp || !asText(payload).starts_with("* OK"))
        return Likeness::none;
    return textLines::firstLine(payload).find("IMAP") != std::string_view::npos ? Likeness::certain : Likeness::none;
}

constexpr Claim claims[] = {tcpPort(143), tcpPort(220)};
} // namespace

constexpr Protocol protocol{{"imap", "IMAP", Wire::layer},   {}, claims, decode, describe, guess,
                            opensWith({Transport::tcp}, '*')};
static_assert(wellFormed(protocol));
} // namespace netrondo::imap
