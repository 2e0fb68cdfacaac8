// Internet Message Access Protocol (RFC 9051).
#include "Dissection/Protocols/CommandLines.h"
#include "Dissection/Protocols/MailMessage.h"
#include "Dissection/Protocols/Protocols.h"
#include "Dissection/Protocols/Remembered.h"
#include "Dissection/Protocols/TextLines.h"

#include <algorithm>
#include <charconv>
#include <optional>
#include <utility>

namespace netrondo::imap {
namespace {
constexpr Field line{"imap.line", "Line", Wire::text};
constexpr Field tag{"imap.tag", "Tag", Wire::text};
constexpr Field command{"imap.command", "Command", Wire::text};
constexpr Field response{"imap.response", "Response", Wire::text};
constexpr Field status{"imap.status", "Status", Wire::text};
constexpr Field argument{"imap.argument", "Argument", Wire::text};
constexpr Field data{"imap.data", "Message data", Wire::text};

/// Of the two ways of a connection.
struct Dialogue {
    std::uint32_t literal[2] = {}; ///< so many bytes come next, after the other side has agreed or not
    std::uint32_t isOpen[2] = {};  ///< 1: a line goes on behind a literal

    friend bool operator==(const Dialogue&, const Dialogue&) = default;
};

/// How many bytes follow the line as they are (RFC 9051, 4.3): "{12}" at its end, or "{12+}" (RFC 7888).
std::optional<std::uint32_t> literalBehind(std::string_view text)
{
    const auto brace = text.rfind('{');
    if (brace == text.npos || !text.ends_with('}'))
        return {};
    auto digits = text.substr(brace + 1, text.size() - brace - 2);
    if (digits.ends_with('+'))
        digits.remove_suffix(1);
    std::uint32_t size = 0;
    const auto* const end = digits.data() + digits.size();
    const auto read = std::from_chars(digits.data(), end, size);
    return !digits.empty() && read.ec == std::errc() && read.ptr == end ? std::optional(size) : std::nullopt;
}

void readLiteral(Layer& imap, std::uint32_t size)
{
    if (size > imap.leftOnWire())
        imap.goesOn(size - imap.leftOnWire());
    if (const auto here = std::min<std::size_t>(size, imap.left()))
        mail::read(imap, data, here, true);
}

bool isStatus(std::string_view word)
{
    for (const std::string_view known : {"OK", "NO", "BAD", "PREAUTH", "BYE"}) {
        if (textLines::equalsIgnoringCase(word, known))
            return true;
    }
    return false;
}

void addWords(Layer& imap, std::string_view whole, std::uint32_t at)
{
    const auto [first, rest] = textLines::firstWord(whole);
    const auto [verb, more] = textLines::firstWord(rest);
    if (verb.empty() || first.find_first_of("(){%\"\\") != first.npos) // no tag
        return;
    const bool isPlain = first == "+"; // asks to go on, in words
    const bool isResponse = isPlain || first == "*" || isStatus(verb);
    commandLines::addWord(imap, tag, whole, at, first);
    if (!isPlain)
        commandLines::addWord(imap, isStatus(verb) ? status : isResponse ? response : command, whole, at, verb);
    commandLines::addWord(imap, argument, whole, at, isPlain ? rest : more);
}

/// Whether the line ends what a client asked for.
bool isResult(std::string_view whole)
{
    const auto [first, rest] = textLines::firstWord(whole);
    return first != "*" && isStatus(textLines::firstWord(rest).first);
}

void decode(Layer& imap)
{
    Remembered<Dialogue> dialogue(imap);
    const auto way = imap.way(Transport::tcp);
    if (const auto awaited = std::exchange(dialogue->literal[way], 0)) {
        readLiteral(imap, awaited);
        dialogue.commit();
    }
    while (imap.more()) {
        const bool isOpen = dialogue->isOpen[way];
        if (!textLines::isText(imap.rest()) && !(isOpen && asText(imap.rest()).starts_with("\r\n"))) {
            imap.readRest(data);
            return;
        }
        if (commandLines::awaitsEnd(imap, line))
            return;
        const auto at = imap.offset();
        const auto node = imap.tree().size();
        const auto whole = imap.readLine(line);
        if (!isOpen)
            addWords(imap, whole, at);
        imap.tree().close(node);
        if (!isOpen && isResult(whole))
            dialogue->literal[way ^ 1] = dialogue->isOpen[way ^ 1] = 0; // what was announced is refused
        const auto size = literalBehind(whole);
        dialogue->isOpen[way] = size.has_value();
        if (size && imap.leftOnWire())
            readLiteral(imap, *size);
        else
            dialogue->literal[way] = size.value_or(0);
        dialogue.commit();
    }
}

/// The line that tells most: the result of what was asked, else the first one that is no rest behind a literal.
Value tellingLine(const LayerView& imap)
{
    const auto nodes = imap.nodes();
    const Node* told = nullptr;
    bool isTagged = false;
    for (std::size_t i = 0; i < nodes.size(); ++i) {
        if (nodes[i].field != &line)
            continue;
        const bool hasTag = i + 1 < nodes.size() && nodes[i + 1].field == &tag;
        if (hasTag && isResult(Value(imap.tree(), &nodes[i]).text()))
            return {imap.tree(), &nodes[i]};
        if (!told || (hasTag && !isTagged))
            told = &nodes[i];
        isTagged = isTagged || hasTag;
    }
    return {imap.tree(), told};
}

void describe(const LayerView& imap, TextSink& out)
{
    const auto told = tellingLine(imap);
    std::uint64_t size = 0;
    imap.each(data, [&](const Value& part) { size += part.node()->length; });
    if (told) {
        const auto mark = imap[tag];
        const bool isResponse = imap.has(status) || imap.has(response) || (mark && mark.text() == "+");
        out("{}{}", isResponse ? "Response: " : imap.has(command) ? "Request: " : "", told);
        commandLines::describeMore(imap.count(line), out);
    } else if (size) {
        out("Message data, {} bytes", size);
    } else {
        commandLines::describePart(imap, out);
    }
    mail::describe(imap, out);
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
