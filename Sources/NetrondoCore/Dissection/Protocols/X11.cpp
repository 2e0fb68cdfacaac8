// The X Window System protocol, version 11 (X Consortium standard, release 6.8 and later).
#include "Dissection/Protocols/Protocols.h"
#include "Dissection/Protocols/X11Messages.h"

#include <algorithm>

namespace netrondo::x11 {
namespace {
constexpr Field guessedOrder{"x11.guessed_order", "Byte order, by the looks of the numbers", Wire::number, orders};

/// What the setup said.
struct Connection : ProtocolMemory {
    std::uint8_t order = 0; ///< 'l', 'B', or 0 where the setup was not seen
    std::uint8_t clientWay = 0;
    WaitingRequests waiting;
};

bool isServerPort(std::uint16_t port)
{
    return port >= 6000 && port <= 6063;
}

/// A length that is too large by its bytes' order is far too large; sizes and resources are small numbers.
bool looksLittle(Bytes bytes, bool fromServer)
{
    if (!fromServer)
        return bytes.size() < 4 || load::le16(bytes.data() + 2) <= load::be16(bytes.data() + 2);
    if (isAnswer(bytes))
        return load::le16(bytes.data() + 2) == 11;
    if (bytes.size() >= 8 && bytes[0] == 1 && load::le32(bytes.data() + 4) != load::be32(bytes.data() + 4))
        return load::le32(bytes.data() + 4) < load::be32(bytes.data() + 4);
    if (bytes.size() >= 8 && bytes[0] == 0) // an error's value
        return load::le32(bytes.data() + 4) <= load::be32(bytes.data() + 4);
    int littles = 0;
    for (std::size_t at = 8; at + 4 <= std::min<std::size_t>(bytes.size(), 20); at += 4)
        littles += load::le32(bytes.data() + at) <= load::be32(bytes.data() + at) ? 1 : -1;
    return littles >= 0;
}

void decode(Layer& x11)
{
    const auto bytes = x11.rest();
    const bool opens = isSetup(bytes);
    WaitingRequests* waiting = nullptr;
    std::uint8_t known[2] = {0, isServerPort(x11.summary().sourcePort)}; // the order of bytes, and who speaks
    if (const auto kept = x11.kept(); kept && kept->size() == sizeof known) {
        std::copy(kept->begin(), kept->end(), known);
    } else if (auto* const connection = x11.memory<Connection>(Transport::tcp, Layer::Ways::both)) {
        if (opens) {
            connection->order = bytes[0];
            connection->clientWay = x11.way(Transport::tcp);
            connection->waiting.begin();
            x11.learn(Transport::tcp, protocol);
        }
        waiting = &connection->waiting;
        if (connection->order) {
            known[0] = connection->order;
            known[1] = x11.way(Transport::tcp) != connection->clientWay;
        }
    }
    x11.keep(known);
    if (opens)
        return readSetup(x11);
    const bool fromServer = known[1];
    const bool isLittle = known[0] ? known[0] == 'l' : looksLittle(bytes, fromServer);
    if (!known[0] && x11.more())
        x11.add(guessedOrder, isLittle ? 'l' : 'B');
    const Numbers numbers(x11, isLittle);
    if (!fromServer)
        return readRequests(x11, numbers, waiting);
    if (isAnswer(bytes))
        readAnswer(x11, numbers);
    readServer(x11, numbers, waiting);
}

/// The messages of one kind, as many as a line has room for.
void list(const LayerView& x11, const Field& kind, std::string_view one, std::string_view many, TextSink& out)
{
    const auto count = x11.count(kind);
    out("{} ", count == 1 ? one : many);
    std::size_t told = 0;
    x11.each(kind, [&](const Value& entry) {
        if (++told > 6)
            return;
        const auto number = entry.number();
        out("{}", told > 1 ? ", " : "");
        if ((&kind == &request || &kind == &replyTo) && number > 127)
            out("extension {}", number);
        else
            out("{}", entry);
    });
    if (count > 6)
        out(" and {} more", count - 6);
}

void listReplies(const LayerView& x11, TextSink& out)
{
    if (x11.count(replyTo) == x11.count(reply))
        list(x11, replyTo, "Reply to", "Replies to", out);
    else
        list(x11, reply, "Reply to request number", "Replies to request numbers", out);
}

void describe(const LayerView& x11, TextSink& out)
{
    if (x11.has(setup))
        return out("Connection setup, version {}.{}, {}{}{}", x11[major], x11[minor], x11[order],
                   x11.has(auth) ? ", " : "", x11[auth]);
    std::string_view between;
    const auto next = [&] {
        out("{}", between);
        between = "; ";
    };
    if (x11.has(answer)) {
        next();
        out("Connection {}", x11[state]);
        if (const auto who = x11[vendor])
            out(", {}", who);
        if (const auto why = x11[reason])
            out(": {}", why);
    }
    if (x11.has(request))
        next(), list(x11, request, "Request", "Requests", out);
    if (x11.has(error)) {
        next(), list(x11, error, "Error", "Errors", out);
        out(", {}", x11[opcode]);
    }
    if (x11.has(reply))
        next(), listReplies(x11, out);
    if (x11.has(event))
        next(), list(x11, event, "Event", "Events", out);
    if (const auto what = x11[name])
        out(" “{}”", what);
    if (const auto bytes = x11[data]; bytes && between.empty())
        out("Continuation, {} bytes", bytes.node()->length);
}

Likeness guess(Bytes payload, Transport transport)
{
    return transport == Transport::tcp && isSetup(payload) ? Likeness::certain : Likeness::none;
}

constexpr Claim claims[] = {tcpPorts(6000, 6063)};
} // namespace

constexpr Protocol protocol{
    {"x11", "X11", Wire::layer}, {}, claims, decode, describe, guess, opensWith({Transport::tcp}, 'l').orByte('B')};
static_assert(wellFormed(protocol));
} // namespace netrondo::x11
