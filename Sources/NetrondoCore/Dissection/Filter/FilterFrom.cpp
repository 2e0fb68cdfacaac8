// A node's text is offered only when it selects the frame it was made from: the compiler and the evaluation have the
// last word, not the rules here.
#include "Dissection/Filter/FilterFrom.h"

#include "Dissection/Decode/Render.h"
#include "Dissection/Filter/DisplayFilter.h"
#include "Dissection/Filter/DisplayFilterCatalog.h"
#include "Dissection/Filter/FrameValues.h"

#include <algorithm>
#include <fmt/format.h>

namespace netrondo::FilterFrom {
namespace {

/// Longer values are of no use in a line that is to be read.
constexpr std::size_t maxValue = 256;

/// Nodes whose values filters know under a name of another shape.
struct OtherName {
    std::string_view node, filter;
};
constexpr OtherName otherNames[] = {
    {"tcp.source", "tcp.srcport"},      {"tcp.destination", "tcp.dstport"},  {"udp.source", "udp.srcport"},
    {"udp.destination", "udp.dstport"}, {"tcp.flag.syn", "tcp.flags.syn"},   {"tcp.flag.ack", "tcp.flags.ack"},
    {"tcp.flag.fin", "tcp.flags.fin"},  {"tcp.flag.rst", "tcp.flags.reset"}, {"tcp.flag.psh", "tcp.flags.push"},
    {"tcp.flag.urg", "tcp.flags.urg"},
};

/// The name under which filters find a node: its own, or the longest beginning of it that the catalogue has.
std::string_view nameOf(std::string_view id)
{
    if (const auto* other = std::ranges::find(otherNames, id, &OtherName::node); other != std::end(otherNames))
        return other->filter;
    while (!id.empty()) {
        const auto* field = DisplayFilterCatalog::field(id);
        const bool reads = field && field->name == id
            && std::ranges::any_of(field->extractor.payload,
                                   [&](std::string_view payload) { return FrameValues::belongsTo(id, payload); });
        if (reads)
            return id;
        const auto dot = id.rfind('.');
        id = id.substr(0, dot == std::string_view::npos ? 0 : dot);
    }
    return {};
}

/// The value as the language reads it back; empty when no quotes can hold it.
std::string quoted(std::string_view value)
{
    const auto tokens = tokenize(value);
    if (tokens.size() == 1 && tokens.front().canBeValue() && tokens.front().text == value)
        return std::string(value);
    for (const char quote : {'"', '\''})
        if (value.find(quote) == std::string_view::npos)
            return fmt::format("{0}{1}{0}", quote, value);
    return {};
}

std::string compared(std::string_view name, std::string_view value)
{
    const auto text = value.size() <= maxValue ? quoted(value) : std::string();
    return value.empty() || text.empty() ? std::string(name) : fmt::format("{} == {}", name, text);
}

std::string ifItSelects(const DecodedFrame& frame, std::string text)
{
    const auto filter = DisplayFilter::compile(text);
    return filter && filter->matches(frame) ? std::move(text) : std::string();
}

/// Whether a text joined by "and", or put behind "not", needs parentheses.
bool isLoose(std::string_view text, bool behindNot)
{
    using Kind = DisplayFilter::Node::Kind;
    const auto filter = DisplayFilter::compile(text);
    if (!filter)
        return true;
    const auto kind = filter->root().kind;
    return kind == Kind::or_ || (behindNot && kind == Kind::and_);
}

std::string tight(std::string_view text, bool behindNot)
{
    return isLoose(text, behindNot) ? fmt::format("({})", text) : std::string(text);
}

} // namespace

std::string node(const DecodedFrame& frame, std::uint32_t index)
{
    const auto& node = frame.tree[index];
    const auto name = nameOf(node.field->id);
    if (name.empty())
        return {};
    if (node.field->wire == Wire::layer)
        return ifItSelects(frame, std::string(name));
    TextSink text;
    Render::value(frame.tree, node, text);
    return ifItSelects(frame, compared(name, text.text()));
}

std::string cell(const FrameSummary& summary, Cell cell)
{
    const auto transport = transportKey(summary.transport);
    const bool hasPorts = summary.transport == Transport::tcp || summary.transport == Transport::udp;
    TextSink text;
    std::string name;
    switch (cell) {
    case Cell::number: name = "frame.number", text.put(summary.number); break;
    case Cell::time: name = "frame.time_relative", Render::time(summary.nanoseconds, text); break;
    case Cell::source: name = "ip.src_host", text.put(summary.source); break;
    case Cell::destination: name = "ip.dst_host", text.put(summary.destination); break;
    case Cell::length: name = "frame.len", text.put(std::uint64_t{summary.length}); break;
    case Cell::sourcePort:
    case Cell::destinationPort: {
        const bool isSource = cell == Cell::sourcePort;
        if (hasPorts)
            name = fmt::format("{}.{}", transport, isSource ? "srcport" : "dstport");
        text.put(std::uint64_t{isSource ? summary.sourcePort : summary.destinationPort});
        break;
    }
    case Cell::protocol:
        if (summary.protocol && DisplayFilterCatalog::isKnown(summary.protocol->field.id))
            name = summary.protocol->field.id;
        break;
    }
    return name.empty() || (text.text().empty() && cell != Cell::protocol) ? std::string()
                                                                           : compared(name, text.text());
}

std::string conversation(const FrameSummary& summary)
{
    auto text = hosts(summary.source.text(), summary.destination.text());
    if (summary.transport == Transport::tcp || summary.transport == Transport::udp) {
        const auto key = transportKey(summary.transport);
        text += fmt::format(" and {}.port == {}", key, summary.sourcePort);
        if (summary.sourcePort != summary.destinationPort)
            text += fmt::format(" and {}.port == {}", key, summary.destinationPort);
    }
    return text;
}

std::string hosts(std::string_view one, std::string_view other)
{
    const auto term = [](std::string_view address) {
        const auto parsed = Address::parse(address);
        return compared(parsed && parsed->kind == Address::Kind::mac ? "eth.addr" : "host", address);
    };
    return one == other ? term(one) : fmt::format("{} and {}", term(one), term(other));
}

std::string joined(std::string_view present, std::string_view added, Joint joint)
{
    const auto filter = DisplayFilter::compileOptional(present);
    const bool isEmpty = filter && !*filter;
    const bool negates = joint == Joint::replaceByNot || joint == Joint::andNot || joint == Joint::orNot;
    auto term = negates ? fmt::format("not {}", tight(added, true)) : std::string(added);
    if (isEmpty || joint == Joint::replace || joint == Joint::replaceByNot)
        return term;
    if (joint == Joint::or_ || joint == Joint::orNot)
        return fmt::format("{} or {}", present, term);
    return fmt::format("{} and {}", tight(present, false), tight(term, false));
}

} // namespace netrondo::FilterFrom
