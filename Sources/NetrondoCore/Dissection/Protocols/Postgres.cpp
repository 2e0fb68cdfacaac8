// PostgreSQL frontend/backend protocol, version 3.
#include "Dissection/Protocols/Protocols.h"

namespace netrondo::postgres {
namespace {
// Some letters mean one thing from the client and another from the server.
constexpr NamedValue fromClient[] = {{'B', "Bind"},          {'C', "Close"},     {'D', "Describe"},  {'E', "Execute"},
                                     {'F', "Function call"}, {'H', "Flush"},     {'P', "Parse"},     {'Q', "Query"},
                                     {'S', "Sync"},          {'X', "Terminate"}, {'c', "Copy done"}, {'d', "Copy data"},
                                     {'f', "Copy fail"},     {'p', "Password"}};
constexpr NamedValue fromServer[] = {{'1', "Parse complete"},
                                     {'2', "Bind complete"},
                                     {'3', "Close complete"},
                                     {'A', "Notification"},
                                     {'C', "Command complete"},
                                     {'D', "Data row"},
                                     {'E', "Error"},
                                     {'G', "Copy in"},
                                     {'H', "Copy out"},
                                     {'I', "Empty query"},
                                     {'K', "Backend key data"},
                                     {'N', "Notice"},
                                     {'R', "Authentication"},
                                     {'S', "Parameter status"},
                                     {'T', "Row description"},
                                     {'V', "Function result"},
                                     {'Z', "Ready for query"},
                                     {'n', "No data"},
                                     {'s', "Portal suspended"},
                                     {'t', "Parameter description"},
                                     {'c', "Copy done"},
                                     {'d', "Copy data"}};
constexpr NamedValue startups[] = {
    {196608, "Startup"}, {80877102, "Cancel request"}, {80877103, "TLS request"}, {80877104, "GSS request"}};

constexpr Field message{"postgres.message", "Message", Wire::group};
constexpr Field clientType{"postgres.type", "Type", Wire::u8, fromClient};
constexpr Field serverType{"postgres.type", "Type", Wire::u8, fromServer};
constexpr Field length{"postgres.length", "Length", Wire::u32};
constexpr Field startup{"postgres.startup", "Request", Wire::u32, startups};
constexpr Field parameter{"postgres.parameter", "Parameter", Wire::text};
constexpr Field value{"postgres.value", "Value", Wire::text};
constexpr Field query{"postgres.query", "Query", Wire::text};
constexpr Field text{"postgres.text", "Text", Wire::text};
constexpr Field answer{"postgres.tls_answer", "Answer to the TLS request", Wire::text};
constexpr Field data{"postgres.data", "Data", Wire::bytes};

void readParameters(Layer& postgres)
{
    while (postgres.more() && postgres.peek8()) {
        postgres.readZeroText(parameter);
        if (postgres.more())
            postgres.readZeroText(value);
    }
}

void readFields(Layer& postgres) // of an error or a notice: a letter and a text, again and again
{
    while (postgres.more() && postgres.peek8()) {
        postgres.skip(1);
        postgres.readZeroText(text);
    }
}

void readStartup(Layer& postgres)
{
    const Layer::Group group(postgres, message);
    const auto size = postgres.read(length);
    const Layer::Window content(postgres, size >= 4 ? size - 4 : 0);
    if (postgres.read(startup) == 196608)
        readParameters(postgres);
    if (postgres.more())
        postgres.readRest(data);
}

void readMessage(Layer& postgres, bool isServer)
{
    const Layer::Group group(postgres, message);
    const auto kind = postgres.read(isServer ? serverType : clientType), size = postgres.read(length);
    if (size < 4)
        return postgres.reject(length);
    const Layer::Window content(postgres, size - 4);
    if (!isServer && kind == 'Q') {
        postgres.readZeroText(query);
    } else if (!isServer && kind == 'P') {
        postgres.readZeroText(parameter);
        postgres.readZeroText(query);
    } else if (isServer && kind == 'C') {
        postgres.readZeroText(text);
    } else if (isServer && kind == 'S') {
        postgres.readZeroText(parameter);
        postgres.readZeroText(value);
    } else if (isServer && (kind == 'E' || kind == 'N')) {
        readFields(postgres);
    }
    if (postgres.more())
        postgres.readRest(data);
}

using NameList = std::span<const NamedValue>;

void decode(Layer& postgres)
{
    const bool isServer = postgres.summary().sourcePort < postgres.summary().destinationPort;
    if (isServer && postgres.left() == 1) {
        postgres.readText(answer, 1);
        return;
    }
    if (!isServer && postgres.peek8() == 0)
        readStartup(postgres);
    while (postgres.more()) {
        if (nameIn(isServer ? NameList(fromServer) : NameList(fromClient), postgres.peek8()).empty()
            || postgres.peek8(1) > 1) {
            postgres.readRest(data);
            return;
        }
        readMessage(postgres, isServer);
    }
}

void describe(const LayerView& postgres, TextSink& out)
{
    if (const auto start = postgres[startup])
        out("{}", start);
    std::size_t count = 0;
    const auto list = [&](const Value& kind) {
        if (++count <= 6)
            out("{}{}", count > 1 ? ", " : "", kind);
    };
    postgres.each(clientType, list);
    postgres.each(serverType, list);
    if (count > 6)
        out(" and {} more", count - 6);
    if (const auto what = postgres[query])
        out(": {}", what);
    if (const auto how = postgres[answer])
        out("{}", how.text() == "S" ? "TLS accepted" : "TLS refused");
}

Likeness guess(Bytes payload, Transport transport)
{
    return transport == Transport::tcp && payload.size() >= 8 && load::be32(&payload[0]) == payload.size()
            && !nameIn(startups, load::be32(&payload[4])).empty()
        ? Likeness::certain
        : Likeness::none;
}

constexpr Claim claims[] = {tcpPort(5432)};
} // namespace

constexpr Protocol protocol{{"postgres", "PostgreSQL", Wire::layer}, {}, claims, decode, describe, guess,
                            opensWith({Transport::tcp}, 0)};
static_assert(wellFormed(protocol));
} // namespace netrondo::postgres
