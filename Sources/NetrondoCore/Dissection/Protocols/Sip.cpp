// Session Initiation Protocol (RFC 3261), the SDP in it (RFC 8866), and RTSP (RFC 7826), which looks like it.
#include "Dissection/Protocols/HeaderLines.h"
#include "Dissection/Protocols/Protocols.h"
#include "Dissection/Protocols/TextLines.h"

#include <algorithm>
#include <charconv>

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
constexpr Field interleaved{"sip.interleaved", "Interleaved data", Wire::group};
constexpr Field marker{"sip.interleaved_mark", "Mark", Wire::hex8};
constexpr Field channel{"sip.channel", "Channel", Wire::u8};
constexpr Field interleavedLength{"sip.interleaved_len", "Length", Wire::u16};
constexpr Field interleavedData{"sip.interleaved_data", "Data", Wire::bytes};

constexpr headerLines::Known known[] = {{"From", "f", from},
                                        {"To", "t", to},
                                        {"Call-ID", "i", callId},
                                        {"CSeq", "", sequence},
                                        {"Contact", "m", contact},
                                        {"Via", "v", via},
                                        {"User-Agent", "", userAgent},
                                        {"Content-Type", "c", contentType},
                                        {"Content-Length", "l", contentLength}};

std::string_view valueOf(const Layer& sip, std::span<const Node> message, const Field& field)
{
    const auto found = std::ranges::find(message, &field, &Node::field);
    return found == message.end() ? std::string_view() : asText(sip.bytesOf(*found));
}

/// How long the body is. In a datagram it may reach to the end without saying so, in a stream it does not (RFC 3261,
/// 18.3).
std::size_t bodyLength(const Layer& sip, std::string_view told)
{
    std::size_t length = 0;
    const auto end = std::from_chars(told.data(), told.data() + told.size(), length);
    if (end.ec != std::errc())
        return sip.isStream() ? 0 : sip.left();
    return sip.isStream() ? length : std::min(length, sip.left());
}

void readMessage(Layer& sip)
{
    sip.beginMessage();
    const auto first = sip.tree().size();
    sip.readLine(start);
    if (!headerLines::read(sip, header, known))
        return sip.isStream() ? sip.await(header) : static_cast<void>(0);
    const auto message = sip.tree().nodes().subspan(first);
    const bool isSdp = textLines::startsIgnoringCase(valueOf(sip, message, contentType), "application/sdp");
    const auto size = bodyLength(sip, valueOf(sip, message, contentLength));
    if (!size)
        return;
    sip.expect(size);
    const Layer::Window content(sip, size);
    if (isSdp && sip.more())
        sip.embed(sdp::protocol);
    else if (sip.more())
        sip.readText(body, sip.left());
}

/// Media in the same stream (RFC 7826, 14).
void readInterleaved(Layer& rtsp)
{
    rtsp.beginMessage();
    const Layer::Group group(rtsp, interleaved);
    rtsp.read(marker, channel);
    const auto size = rtsp.read(interleavedLength);
    const Layer::Window content(rtsp, size);
    if (rtsp.more())
        rtsp.readRest(interleavedData);
}

void decodeMessage(Layer& sip)
{
    while (sip.more()) {
        if (sip.isStream() && sip.peek8() == '$') {
            readInterleaved(sip);
        } else if (!textLines::isText(sip.rest())) {
            sip.readRest(keepAlive);
            return;
        } else {
            readMessage(sip);
        }
        if (!sip.isStream())
            return;
    }
}

void describeMessage(const LayerView& sip, TextSink& out)
{
    if (const auto line = sip[start]) {
        out("{}", line);
        const auto [number, method] = textLines::firstWord(sip[sequence].text());
        if (!method.empty() && line.text().starts_with("SIP/")) { // what it answers
            out(" (");
            out.putForeign(method);
            out(")");
        }
    } else if (const auto media = sip[channel]) {
        out("Interleaved data, channel {}, {} bytes", media, sip[interleavedLength]);
    } else if (sip.has(keepAlive)) {
        out("Keep-alive");
    }
    if (const auto messages = sip.count(start); messages > 1)
        out(" (and {} more messages)", messages - 1);
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
