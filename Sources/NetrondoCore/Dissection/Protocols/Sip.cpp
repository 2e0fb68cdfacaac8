// Session Initiation Protocol (RFC 3261), the SDP in it (RFC 8866), and RTSP (RFC 7826), which looks like it.
#include "Dissection/Protocols/HeaderLines.h"
#include "Dissection/Protocols/Protocols.h"
#include "Dissection/Protocols/TextLines.h"

#include <algorithm>

namespace netrondo {
namespace {

constexpr Field start{"sip.start", "Start line", Wire::text};
constexpr Field header{"sip.header", "Header", Wire::text};
constexpr Field from{"sip.from", "From", Wire::text};
constexpr Field to{"sip.to", "To", Wire::text};
constexpr Field callId{"sip.call_id", "Call-ID", Wire::text};
constexpr Field sequence{"sip.cseq", "CSeq", Wire::text};
constexpr Field contact{"sip.contact", "Contact", Wire::text};
constexpr Field via{"sip.via", "Via", Wire::text};
constexpr Field userAgent{"sip.user_agent", "User-Agent", Wire::text};
constexpr Field contentType{"sip.content_type", "Content-Type", Wire::text};
constexpr Field contentLength{"sip.content_length", "Content-Length", Wire::text};
constexpr Field body{"sip.body", "Body", Wire::text};
constexpr Field keepAlive{"sip.keep_alive", "Keep-alive", Wire::bytes};

constexpr headerLines::Known known[] = {{"From", "f", from},
                                        {"To", "t", to},
                                        {"Call-ID", "i", callId},
                                        {"CSeq", "", sequence},
                                        {"Contact", "m", contact},
                                        {"Via", "v", via},
                                        {"User-Agent", "", userAgent},
                                        {"Content-Type", "c", contentType},
                                        {"Content-Length", "l", contentLength}};

void decodeMessage(Layer& sip)
{
    if (!textLines::isText(sip.rest())) {
        sip.readRest(keepAlive);
        return;
    }
    sip.beginMessage();
    sip.readLine(start);
    const auto nodes = sip.tree().size();
    if (!headerLines::read(sip, header, known))
        return sip.isStream() ? sip.await(header) : static_cast<void>(0);
    if (!sip.left())
        return;
    const auto all = sip.tree().nodes().subspan(nodes);
    const auto type = std::ranges::find(all, &contentType, &Node::field);
    const bool isSdp =
        type != all.end() && textLines::startsIgnoringCase(asText(sip.tree().bytesOf(*type)), "application/sdp");
    if (isSdp)
        sip.embed(sdp::protocol);
    else
        sip.readText(body, sip.left());
}

void describeMessage(const LayerView& sip, TextSink& out)
{
    if (const auto line = sip[start])
        out("{}", line);
    else if (sip.has(keepAlive))
        out("Keep-alive");
}

Likeness guessOf(Bytes payload, std::string_view name)
{
    constexpr std::size_t longestMethod = 20;
    const auto text = asText(payload);
    if (text.starts_with(name))
        return Likeness::certain;
    // Lines can be long; most of what is none of these has no word at its start.
    if (text.size() < 12 || text[0] < 'A' || text[0] > 'Z' || text.substr(0, longestMethod).find(' ') == text.npos)
        return Likeness::none;
    const auto line = textLines::firstLine(payload);
    return line.size() > name.size() && line.ends_with(name) ? Likeness::certain : Likeness::none;
}

constexpr auto opening = Opening{.firstBytes = {}}.orBytes('A', 'Z');

} // namespace

namespace sip {
namespace {
Likeness guess(Bytes payload, Transport)
{
    return guessOf(payload, "SIP/2.0");
}

constexpr Claim claims[] = {udpPort(5060), tcpPort(5060)};
} // namespace

constexpr Protocol protocol{{"sip", "SIP", Wire::layer}, {}, claims, decodeMessage, describeMessage, guess, opening};
static_assert(wellFormed(protocol));
} // namespace sip

namespace rtsp {
namespace {
Likeness guess(Bytes payload, Transport)
{
    return guessOf(payload, "RTSP/1.0");
}

constexpr Claim claims[] = {tcpPort(554), tcpPort(8554)};
} // namespace

constexpr Protocol protocol{{"rtsp", "RTSP", Wire::layer}, {}, claims, decodeMessage, describeMessage, guess, opening};
static_assert(wellFormed(protocol));
} // namespace rtsp

namespace sdp {
namespace {
constexpr Field line{"sdp.line", "Line", Wire::text};
constexpr Field media{"sdp.media", "Media", Wire::text};
constexpr Field connection{"sdp.connection", "Connection", Wire::text};
constexpr Field session{"sdp.session", "Session", Wire::text};

void decode(Layer& sdp)
{
    while (sdp.more()) {
        const auto text = asText(sdp.rest());
        const auto& field = text.starts_with("m=") ? media
            : text.starts_with("c=")               ? connection
            : text.starts_with("s=")               ? session
                                                   : line;
        sdp.readLine(field);
    }
}

void describe(const LayerView& sdp, TextSink& out)
{
    bool first = true;
    sdp.each(media, [&](const Value& entry) {
        out("{}{}", first ? "SDP " : ", ", entry);
        first = false;
    });
}
} // namespace

constexpr Protocol protocol{{"sdp", "SDP", Wire::layer}, {}, {}, decode, describe};
static_assert(wellFormed(protocol));
} // namespace sdp

} // namespace netrondo
