// Header lines into nodes.
#include "Dissection/Protocols/HeaderLines.h"

#include "Dissection/Protocols/TextLines.h"

namespace netrondo::headerLines {
namespace {

void addKnown(Layer& layer, std::string_view line, std::uint32_t at, std::span<const Known> known)
{
    const auto colon = line.find(':');
    if (colon == line.npos)
        return;
    const auto name = textLines::trimmed(line.substr(0, colon));
    const auto value = textLines::trimmed(line.substr(colon + 1));
    for (const auto& entry : known) {
        if (!textLines::equalsIgnoringCase(name, entry.name)
            && (entry.shortName.empty() || !textLines::equalsIgnoringCase(name, entry.shortName)))
            continue;
        const auto start = at + static_cast<std::uint32_t>(value.data() - line.data());
        layer.add(entry.field, 0, start, value.size());
        return;
    }
}

} // namespace

bool read(Layer& layer, const Field& header, std::span<const Known> known)
{
    while (layer.more()) {
        const auto all = asText(layer.rest());
        if (all.starts_with("\r\n") || all.starts_with('\n')) {
            layer.skip(all.front() == '\r' ? 2 : 1);
            return true;
        }
        const auto at = layer.offset();
        const auto node = layer.tree().size();
        const auto line = layer.readLine(header);
        addKnown(layer, line, at, known);
        layer.tree().close(node);
    }
    return false;
}

} // namespace netrondo::headerLines
