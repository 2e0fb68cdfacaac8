// Lines into nodes: code and text, or verb and argument.
#include "Dissection/Protocols/CommandLines.h"

#include "Dissection/Decode/StopFields.h"
#include "Dissection/Protocols/TextLines.h"

#include <tuple>

namespace netrondo::commandLines {

void addWord(Layer& layer, const Field& field, std::string_view line, std::uint32_t at, std::string_view word)
{
    if (!word.empty())
        layer.add(field, 0, at + static_cast<std::uint32_t>(word.data() - line.data()), word.size());
}

bool awaitsEnd(Layer& layer, const Field& line)
{
    constexpr std::size_t longestLine = 2048; // four times what SMTP allows
    layer.beginMessage();
    const bool isWhole = asText(layer.rest()).find('\n') != std::string_view::npos;
    if (isWhole || !layer.isStream() || layer.isCut() || layer.left() >= longestLine)
        return false;
    layer.await(line);
    return true;
}

Line readLine(Layer& layer, const Fields& fields, bool isCommand(std::string_view))
{
    if (textLines::isText(layer.rest()) && awaitsEnd(layer, fields.line))
        return {Line::Kind::part, 0, {}, {}};
    const auto next = textLines::firstLine(layer.rest());
    const bool reply = textLines::isReply(next);
    if (!reply && !isCommand(textLines::firstWord(next).first))
        return {Line::Kind::other, 0, {}, {}};
    Line found{reply ? Line::Kind::reply : Line::Kind::command, 0, {}, {}};
    const auto at = layer.offset();
    const auto node = layer.tree().size();
    const auto line = layer.readLine(fields.line);
    if (reply) {
        for (const char c : line.substr(0, 3))
            found.code = found.code * 10 + static_cast<std::uint64_t>(c - '0');
        layer.add(fields.code, found.code, at, 3);
        addWord(layer, fields.text, line, at, line.substr(std::min<std::size_t>(4, line.size())));
    } else {
        std::tie(found.verb, found.argument) = textLines::firstWord(line);
        addWord(layer, fields.command, line, at, found.verb);
        addWord(layer, fields.argument, line, at, found.argument);
    }
    layer.tree().close(node);
    return found;
}

void read(Layer& layer, const Fields& fields, bool isCommand(std::string_view))
{
    while (layer.more()) {
        if (readLine(layer, fields, isCommand).kind == Line::Kind::other) {
            layer.readRest(fields.data);
            return;
        }
    }
}

void describe(const LayerView& view, TextSink& out, const Fields& fields)
{
    if (const auto line = view[fields.line]) {
        out("{}: {}", view.has(fields.code) ? "Response" : "Request", line);
        return describeMore(view.count(fields.line), out);
    }
    if (const auto data = view[fields.data])
        return out("Data, {} bytes", data.node()->length);
    describePart(view, out);
}

void describePart(const LayerView& view, TextSink& out)
{
    if (view.has(stop::continues))
        out("Part of a line");
}

void describeMore(std::size_t lines, TextSink& out)
{
    if (lines > 1)
        out(" (and {} more lines)", lines - 1);
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
