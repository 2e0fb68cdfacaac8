// Extensible Messaging and Presence Protocol (RFC 6120): tags and text of two streams of XML.
#include "Dissection/Protocols/CommandLines.h"
#include "Dissection/Protocols/Protocols.h"
#include "Dissection/Protocols/TextLines.h"

namespace netrondo::xmpp {
namespace {
constexpr Field tag{"xmpp.tag", "Tag", Wire::text};
constexpr Field name{"xmpp.name", "Name", Wire::text};
constexpr Field attribute{"xmpp.attribute", "Attribute", Wire::text};
constexpr Field to{"xmpp.to", "To", Wire::text};
constexpr Field from{"xmpp.from", "From", Wire::text};
constexpr Field type{"xmpp.type", "Type", Wire::text};
constexpr Field identifier{"xmpp.id", "ID", Wire::text};
constexpr Field space{"xmpp.xmlns", "Namespace", Wire::text};
constexpr Field text{"xmpp.text", "Text", Wire::text};
constexpr Field data{"xmpp.data", "Data", Wire::bytes};

/// A longer one is none, and nobody waits for its end.
constexpr std::size_t longestTag = 16 * 1024;

struct Known {
    std::string_view name;
    const Field& field;
};
constexpr Known knownAttributes[] = {{"to", to}, {"from", from}, {"type", type}, {"id", identifier}, {"xmlns", space}};

const Field& fieldFor(std::string_view key)
{
    for (const auto& known : knownAttributes) {
        if (known.name == key)
            return known.field;
    }
    return attribute;
}

bool isBlank(char c)
{
    return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

/// How long the tag is that the text begins with; 0 when its end is missing. A quoted value may hold the sign that ends
/// it.
std::size_t tagLength(std::string_view rest)
{
    char quote = 0;
    for (std::size_t i = 1; i < rest.size(); ++i) {
        if (quote)
            quote = rest[i] == quote ? '\0' : quote;
        else if (rest[i] == '"' || rest[i] == '\'')
            quote = rest[i];
        else if (rest[i] == '>')
            return i + 1;
    }
    return 0;
}

/// `key='value'` and blanks, one after the other, up to the tag's end.
void addAttributes(Layer& xmpp, std::string_view whole, std::string_view rest, std::uint32_t at)
{
    while (!rest.empty() && !xmpp.tree().full()) {
        if (isBlank(rest.front())) {
            rest.remove_prefix(1);
            continue;
        }
        const auto equals = rest.find('=');
        if (equals == rest.npos || equals + 1 >= rest.size())
            return;
        const char quote = rest[equals + 1];
        const auto end = quote == '"' || quote == '\'' ? rest.find(quote, equals + 2) : rest.npos;
        if (end == rest.npos)
            return;
        const auto& field = fieldFor(rest.substr(0, equals));
        const auto value = &field == &attribute ? rest.substr(0, end + 1) : rest.substr(equals + 2, end - equals - 2);
        commandLines::addWord(xmpp, field, whole, at, value);
        rest.remove_prefix(end + 1);
    }
}

void readTag(Layer& xmpp, std::size_t size)
{
    const auto at = xmpp.offset();
    const auto node = xmpp.tree().size();
    const auto whole = xmpp.readText(tag, size);
    auto inside = whole.substr(1, whole.size() - 2);
    std::size_t end = 0;
    while (end < inside.size() && !isBlank(inside[end]) && !(end && inside[end] == '/'))
        ++end;
    commandLines::addWord(xmpp, name, whole, at, inside.substr(0, end));
    addAttributes(xmpp, whole, inside.substr(end), at);
    xmpp.tree().close(node);
}

void decode(Layer& xmpp)
{
    while (xmpp.more()) {
        const auto rest = asText(xmpp.rest());
        xmpp.beginMessage();
        if (rest.front() != '<') {
            const auto size = std::min(rest.find('<'), rest.size());
            if (!textLines::isText(xmpp.rest()) && !isBlank(rest.front()))
                return static_cast<void>(xmpp.readRest(data));
            xmpp.readText(text, size);
            continue;
        }
        const auto size = tagLength(rest);
        if (!size && rest.size() < longestTag)
            return xmpp.await(tag);
        readTag(xmpp, size ? size : rest.size());
    }
}

/// A tag that says more than how the text is written, and does not only end what an earlier one began.
bool opens(std::string_view word)
{
    return !word.starts_with('?') && !word.starts_with('/');
}

/// The stanza with its kind and addresses, and the first element in it.
void describe(const LayerView& xmpp, TextSink& out)
{
    const auto first = xmpp[name];
    if (!first)
        return out("{}", xmpp.has(text) ? "Text" : "Bytes that are no XML");
    std::size_t met = 0;
    const auto tell = [&](std::string_view before, const Value& value) {
        if (!value)
            return;
        out.put(before);
        out.putForeign(value.text());
    };
    xmpp.each(name, [&](const Value& value) {
        if (!opens(value.text()) || ++met > 2)
            return;
        tell(met == 2 ? ", " : "", value);
        if (met == 2)
            return;
        tell(" ", xmpp[type]);
        tell(" from ", xmpp[from]);
        tell(" to ", xmpp[to]);
    });
    if (!met && first.text().starts_with('/'))
        out("End of "), out.putForeign(first.text().substr(1));
    else if (!met)
        out("XML declaration");
}

Likeness guess(Bytes payload, Transport transport)
{
    if (transport != Transport::tcp)
        return Likeness::none;
    const auto start = asText(payload).substr(0, 400);
    if (!start.starts_with("<stream:stream") && !start.starts_with("<?xml"))
        return Likeness::none;
    return start.find("<stream:stream") != start.npos && start.find("http://etherx.jabber.org/streams") != start.npos
        ? Likeness::certain
        : Likeness::none;
}

constexpr Claim claims[] = {tcpPort(5222), tcpPort(5269)};
} // namespace

constexpr Protocol protocol{{"xmpp", "XMPP", Wire::layer},   {}, claims, decode, describe, guess,
                            opensWith({Transport::tcp}, '<')};
static_assert(wellFormed(protocol));
} // namespace netrondo::xmpp
