// Lines into nodes: code and text, or verb and argument.
#include "Dissection/Protocols/CommandLines.h"

#include "Dissection/Protocols/TextLines.h"

namespace netrondo::commandLines {

void addWord(Layer& layer, const Field& field, std::string_view line, std::uint32_t at, std::string_view word)
{
    if (!word.empty())
        layer.add(field, 0, at + static_cast<std::uint32_t>(word.data() - line.data()), word.size());
}

void read(Layer& layer, const Fields& fields, bool isCommand(std::string_view))
{
    while (layer.more()) {
        const auto next = textLines::firstLine(layer.rest());
        const bool reply = textLines::isReply(next);
        if (!reply && !isCommand(textLines::firstWord(next).first)) {
            layer.readRest(fields.data);
            return;
        }
        const auto at = layer.offset();
        const auto node = layer.tree().size();
        const auto line = layer.readLine(fields.line);
        if (reply) {
            std::uint64_t number = 0;
            for (const char c : line.substr(0, 3))
                number = number * 10 + static_cast<std::uint64_t>(c - '0');
            layer.add(fields.code, number, at, 3);
            addWord(layer, fields.text, line, at, line.substr(std::min<std::size_t>(4, line.size())));
        } else {
            const auto [verb, rest] = textLines::firstWord(line);
            addWord(layer, fields.command, line, at, verb);
            addWord(layer, fields.argument, line, at, rest);
        }
        layer.tree().close(node);
    }
}

void describe(const LayerView& view, TextSink& out, const Fields& fields)
{
    if (const auto line = view[fields.line]) {
        out("{}: {}", view.has(fields.code) ? "Response" : "Request", line);
        if (const auto lines = view.count(fields.line); lines > 1)
            out(" (and {} more lines)", lines - 1);
        return;
    }
    if (const auto data = view[fields.data])
        out("Data, {} bytes", data.node()->length);
}

bool isVerb(std::string_view word, std::size_t low, std::size_t high)
{
    if (word.size() < low || word.size() > high)
        return false;
    for (const char c : word) {
        if (!((c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z')))
            return false;
    }
    return true;
}

} // namespace netrondo::commandLines
