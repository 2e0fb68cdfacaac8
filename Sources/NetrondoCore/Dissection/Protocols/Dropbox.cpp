// How Dropbox clients find each other in a network: each broadcasts a JSON object about itself.
#include "Dissection/Protocols/Protocols.h"

namespace netrondo::dropbox {
namespace {
constexpr Field member{"dropbox.member", "Member", Wire::group};
constexpr Field key{"dropbox.key", "Key", Wire::text};
constexpr Field value{"dropbox.value", "Value", Wire::text};
constexpr Field data{"dropbox.data", "Data", Wire::bytes};

constexpr std::string_view blanks = " \t\r\n";

bool looksRight(Bytes bytes)
{
    const auto text = asText(bytes);
    return text.size() >= 2 && text.front() == '{' && text.find('"') <= 2;
}

/// Where the text of a value ends: at the comma or bracket that belongs to the object itself.
std::size_t endOfValue(std::string_view text)
{
    std::size_t depth = 0;
    bool isQuoted = false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (isQuoted && c == '\\')
            ++i;
        else if (c == '"')
            isQuoted = !isQuoted;
        else if (isQuoted)
            continue;
        else if (c == '[' || c == '{')
            ++depth;
        else if (depth == 0 && (c == ',' || c == '}'))
            return i;
        else if (c == ']' || c == '}')
            depth -= depth > 0;
    }
    return text.size();
}

void skipBlanks(Layer& layer)
{
    layer.skip(std::min(asText(layer.rest()).find_first_not_of(blanks), layer.left()));
}

void decode(Layer& layer)
{
    if (!looksRight(layer.rest()))
        return static_cast<void>(layer.readRest(data));
    layer.skip(1);
    for (skipBlanks(layer); layer.more() && layer.peek8() == '"'; skipBlanks(layer)) {
        const Layer::Group group(layer, member);
        layer.skip(1);
        layer.readText(key, std::min(asText(layer.rest()).find('"'), layer.left()));
        layer.skip(std::min(asText(layer.rest()).find(':'), layer.left()));
        if (!layer.more())
            break;
        layer.skip(1);
        skipBlanks(layer);
        const auto text = asText(layer.rest());
        const auto end = endOfValue(text);
        layer.readText(value, text.substr(0, end).find_last_not_of(blanks) + 1);
        skipBlanks(layer);
        if (layer.more())
            layer.skip(1); // the comma, or the end of the object
        skipBlanks(layer);
    }
    if (layer.more())
        layer.readRest(data);
}

void describe(const LayerView& view, TextSink& out)
{
    if (!view.has(member))
        return;
    out("Dropbox LAN discovery");
    Value name(view.tree(), nullptr);
    for (const auto& node : view.nodes()) {
        const Value entry(view.tree(), &node);
        if (node.field == &key)
            name = entry;
        else if (node.field == &value && (name.text() == "host_int" || name.text() == "displayname") && node.length > 2)
            out(", {} {}", name, entry);
    }
}

constexpr Claim claims[] = {udpPort(17500)};
} // namespace

constexpr Protocol protocol{{"dropbox", "DB-LSP-DISC", Wire::layer}, {}, claims, decode, describe};
static_assert(wellFormed(protocol));
} // namespace netrondo::dropbox
