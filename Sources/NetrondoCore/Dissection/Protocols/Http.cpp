// Hypertext Transfer Protocol 1.x (RFC 9112), and SSDP, which is HTTP in datagrams.
#include "Dissection/Protocols/HeaderLines.h"
#include "Dissection/Protocols/Protocols.h"
#include "Dissection/Protocols/TextLines.h"

#include <algorithm>
#include <charconv>
#include <optional>

namespace netrondo {
namespace {

constexpr Field start{"http.start", "HTTP start line", Wire::text};
constexpr Field method{"http.method", "HTTP method", Wire::text};
constexpr Field target{"http.target", "HTTP target", Wire::text};
constexpr Field version{"http.version", "HTTP version", Wire::text};
constexpr Field status{"http.status", "HTTP status", Wire::number};
constexpr Field reason{"http.reason", "HTTP reason", Wire::text};
constexpr Field header{"http.header", "Header", Wire::text};
constexpr Field host{"http.host", "HTTP Host", Wire::text};
constexpr Field userAgent{"http.ua", "HTTP User-Agent", Wire::text};
constexpr Field contentType{"http.ct", "HTTP Content-Type", Wire::text};
constexpr Field contentLength{"http.cl", "HTTP Content-Length", Wire::text};
constexpr Field server{"http.server", "HTTP Server", Wire::text};
constexpr Field location{"http.location", "HTTP Location", Wire::text};
constexpr Field referer{"http.referer", "HTTP Referer", Wire::text};
constexpr Field cookie{"http.cookie", "HTTP Cookie", Wire::text};
constexpr Field upgrade{"http.upgrade", "HTTP Upgrade", Wire::text};
constexpr Field encoding{"http.transfer_encoding", "HTTP Transfer-Encoding", Wire::text};
constexpr Field authorization{"http.authorization", "HTTP Authorization", Wire::text};
constexpr Field body{"http.body", "Body", Wire::bytes};
constexpr Field continuation{"http.continuation", "Continuation of a message", Wire::bytes};

constexpr headerLines::Known knownHeaders[] = {{"Host", "", host},
                                               {"User-Agent", "", userAgent},
                                               {"Content-Type", "", contentType},
                                               {"Content-Length", "", contentLength},
                                               {"Server", "", server},
                                               {"Location", "", location},
                                               {"Referer", "", referer},
                                               {"Cookie", "", cookie},
                                               {"Set-Cookie", "", cookie},
                                               {"Upgrade", "", upgrade},
                                               {"Transfer-Encoding", "", encoding},
                                               {"Authorization", "", authorization}};

constexpr std::string_view methods[] = {"GET ",       "POST ",     "HEAD ",        "PUT ",          "DELETE ",
                                        "OPTIONS ",   "CONNECT ",  "PATCH ",       "TRACE ",        "PROPFIND ",
                                        "PROPPATCH ", "MKCOL ",    "COPY ",        "MOVE ",         "LOCK ",
                                        "UNLOCK ",    "REPORT ",   "SEARCH ",      "SUBSCRIBE ",    "UNSUBSCRIBE ",
                                        "NOTIFY ",    "M-SEARCH ", "RPC_IN_DATA ", "RPC_OUT_DATA ", "BITS_POST "};

bool isResponse(std::string_view text)
{
    return text.starts_with("HTTP/1.");
}

bool isRequest(std::string_view text)
{
    // Most payloads are settled by their first letter.
    if (text.empty() || text.front() < 'B' || text.front() > 'U')
        return false;
    return std::ranges::any_of(methods, [&](std::string_view name) { return text.starts_with(name); });
}

/// A request line of another text protocol (SIP, RTSP) ends in its own name.
bool isForeign(Bytes payload)
{
    const auto line = textLines::firstLine(payload);
    return line.ends_with(" SIP/2.0") || line.ends_with(" RTSP/1.0");
}

void readStartLine(Layer& http)
{
    const auto at = http.offset();
    const auto node = http.tree().size();
    const auto line = http.readLine(start);
    const auto add = [&](const Field& field, std::string_view part) {
        http.add(field, 0, at + static_cast<std::uint32_t>(part.data() - line.data()), part.size());
    };
    const auto [first, rest] = textLines::firstWord(line);
    if (isResponse(line)) {
        const auto [code, phrase] = textLines::firstWord(rest);
        add(version, first);
        std::uint64_t number = 0;
        for (const char c : code.substr(0, 3))
            number = c >= '0' && c <= '9' ? number * 10 + static_cast<std::uint64_t>(c - '0') : number;
        http.add(status, number, at + static_cast<std::uint32_t>(code.data() - line.data()), code.size());
        if (!phrase.empty())
            add(reason, phrase);
    } else {
        const auto space = rest.rfind(' ');
        add(method, first);
        add(target, rest.substr(0, space));
        if (space != rest.npos)
            add(version, rest.substr(space + 1));
    }
    http.tree().close(node);
}

/// How long the body is, or nothing when only the end of the connection or the chunks tell (RFC 9112, 6.3).
std::optional<std::uint64_t> bodyLength(const Layer& http, std::span<const Node> message)
{
    const auto find = [&](const Field& field) { return std::ranges::find(message, &field, &Node::field); };
    if (find(encoding) != message.end())
        return {};
    const auto code = find(status);
    const bool isAnswer = code != message.end();
    if (isAnswer && (code->number < 200 || code->number == 204 || code->number == 304))
        return 0;
    const auto told = find(contentLength);
    if (told == message.end())
        return isAnswer ? std::nullopt : std::optional<std::uint64_t>(0);
    std::uint64_t length = 0;
    const auto text = asText(http.bytesOf(*told));
    const auto end = std::from_chars(text.data(), text.data() + text.size(), length);
    return end.ec == std::errc() ? std::optional(length) : std::nullopt;
}

/// Both ways of the connection speak another protocol from here on (RFC 6455, 4.2.2).
bool isSwitchToWebSocket(const Layer& http, std::span<const Node> message)
{
    const auto code = std::ranges::find(message, &status, &Node::field);
    const auto what = std::ranges::find(message, &upgrade, &Node::field);
    return http.isStream() && code != message.end() && code->number == 101 && what != message.end()
        && textLines::equalsIgnoringCase(asText(http.bytesOf(*what)), "websocket");
}

void readBody(Layer& http, std::optional<std::uint64_t> size)
{
    if (size && *size > http.leftOnWire())
        http.goesOn(*size - http.leftOnWire());
    const auto here = size ? std::min<std::uint64_t>(*size, http.left()) : http.left();
    if (here)
        http.readBytes(body, here);
}

void decodeHttp(Layer& http)
{
    while (http.more()) {
        const auto text = asText(http.rest());
        if (!isResponse(text) && !isRequest(text)) {
            http.readRest(continuation);
            return;
        }
        http.beginMessage();
        const auto first = http.tree().size();
        readStartLine(http);
        if (!headerLines::read(http, header, knownHeaders))
            return http.isStream() ? http.await(header) : static_cast<void>(0);
        const auto message = http.tree().nodes().subspan(first);
        if (isSwitchToWebSocket(http, message)) {
            http.learn(Transport::tcp, websocket::protocol);
            if (http.more())
                http.handOver(websocket::protocol);
            return;
        }
        readBody(http, bodyLength(http, message));
    }
}

void describeHttp(const LayerView& http, TextSink& out)
{
    if (const auto line = http[start])
        out.putForeign(line.text());
    if (const auto type = http[contentType]; type && http.has(status)) {
        out(" (");
        out.putForeign(type.text());
        out(")");
    }
    if (const auto name = http[host]; name && http.has(method)) {
        out(" (");
        out.putForeign(name.text());
        out(")");
    }
    if (const auto rest = http[continuation])
        out("Continuation, {} bytes", rest.node()->length);
}

Likeness guess(Bytes payload, Transport transport)
{
    if (transport != Transport::tcp && transport != Transport::udp && transport != Transport::sctp)
        return Likeness::none;
    const auto text = asText(payload);
    if (isResponse(text))
        return Likeness::certain;
    return isRequest(text) && !isForeign(payload) ? Likeness::certain : Likeness::none;
}

} // namespace

namespace http {
namespace {
constexpr const Field* catalogue[] = {&host, &userAgent, &contentType, &contentLength, &start};
constexpr Claim claims[] = {tcpPort(80), tcpPort(3128), tcpPort(8000), tcpPort(8080), tcpPort(8081), tcpPort(8888)};

Likeness guessTcp(Bytes payload, Transport transport)
{
    return transport == Transport::udp ? Likeness::none : guess(payload, transport);
}
} // namespace

constexpr Protocol protocol{{"http", "HTTP", Wire::layer},
                            catalogue,
                            claims,
                            decodeHttp,
                            describeHttp,
                            guessTcp,
                            opensWith({Transport::tcp, Transport::sctp}, 'B', 'U')};
static_assert(wellFormed(protocol));
} // namespace http

namespace ssdp {
namespace {
constexpr Claim claims[] = {udpPort(1900)};

Likeness guessUdp(Bytes payload, Transport transport)
{
    return transport == Transport::udp ? guess(payload, transport) : Likeness::none;
}
} // namespace

constexpr Protocol protocol{{"ssdp", "SSDP", Wire::layer},        {}, claims, decodeHttp, describeHttp, guessUdp,
                            opensWith({Transport::udp}, 'B', 'U')};
static_assert(wellFormed(protocol));
} // namespace ssdp

} // namespace netrondo
