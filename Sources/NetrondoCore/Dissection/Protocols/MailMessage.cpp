// The end of a mail, and its best-known headers.
#include "Dissection/Protocols/MailMessage.h"

#include "Dissection/Protocols/TextLines.h"

#include <utility>

namespace netrondo::mail {
namespace {

constexpr Field from{"mail.from", "From", Wire::text};
constexpr Field to{"mail.to", "To", Wire::text};
constexpr Field subject{"mail.subject", "Subject", Wire::text};
constexpr std::pair<std::string_view, const Field*> headers[] = {{"From", &from}, {"To", &to}, {"Subject", &subject}};

/// A header's first line; what is folded into further ones stays out.
void addHeader(Layer& layer, std::string_view line, std::uint32_t at, std::size_t colon)
{
    for (const auto& [name, field] : headers) {
        if (!textLines::equalsIgnoringCase(line.substr(0, colon), name))
            continue;
        const auto value = textLines::trimmed(line.substr(colon + 1));
        if (!value.empty())
            layer.add(*field, 0, at + static_cast<std::size_t>(value.data() - line.data()), value.size());
    }
}

void addHeaders(Layer& layer, std::string_view text, std::uint32_t at)
{
    for (auto feed = text.find('\n'); feed != text.npos; feed = text.find('\n')) {
        const auto line = textLines::firstLine(asBytes(text));
        const bool isFolded = line.starts_with(' ') || line.starts_with('\t');
        const auto colon = line.find(':');
        if (line.empty() || (!isFolded && colon == line.npos))
            return;
        if (!isFolded)
            addHeader(layer, line, at, colon);
        text.remove_prefix(feed + 1);
        at += static_cast<std::uint32_t>(feed + 1);
    }
}

/// How many bytes of the message these hold, and how much of its end is met with them.
struct Extent {
    std::size_t size;
    std::uint8_t matched;
};

constexpr std::string_view messageEnd = "\r\n.\r\n";

Extent untilDot(Bytes bytes, std::uint8_t matched)
{
    const auto text = asText(bytes);
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (matched == 0 && (i = text.find('\r', i)) == text.npos)
            break;
        matched = static_cast<std::uint8_t>(text[i] == messageEnd[matched] ? matched + 1 : text[i] == '\r');
        if (matched == messageEnd.size())
            return {i + 1, matched};
    }
    return {text.size(), matched};
}

} // namespace

void read(Layer& layer, const Field& data, std::size_t size, bool isBeginning)
{
    const auto at = layer.offset();
    const auto node = layer.tree().size();
    const auto text = layer.readText(data, size);
    if (!isBeginning || layer.stopped())
        return;
    addHeaders(layer, text, at);
    layer.tree().close(node);
}

bool readUntilDot(Layer& layer, const Field& data, const Field& end, Progress& progress)
{
    layer.beginMessage();
    const auto extent = untilDot(layer.rest(), progress.matched);
    read(layer, data, extent.size, !progress.isBegun);
    progress = {extent.matched, true};
    if (extent.matched < messageEnd.size())
        return false;
    layer.add(end, 0, layer.offset(), 0);
    progress = {};
    return true;
}

void describe(const LayerView& view, TextSink& out)
{
    if (const auto who = view[from])
        out(", from {}", who);
    if (const auto whom = view[to])
        out(", to {}", whom);
    if (const auto what = view[subject])
        out(", subject {}", what);
}

} // namespace netrondo::mail
