// The decode tree as JSON.
#include "Dissection/Decode/Render.h"

#include "Base/Json.h"

#include <array>
#include <boost/unordered/unordered_flat_map.hpp>
#include <string>

namespace netrondo::Render {
namespace {

constexpr std::size_t maxDepth = 64;

/// A string as JSON writes it, quotes and all.
std::string_view quoted(std::string_view text)
{
    struct Writing {
        std::string text;
        TextOutput out{text};
        JsonWriter json{out};
    };
    thread_local Writing writing;
    writing.out.flush();
    writing.text.clear();
    writing.json.value(text);
    writing.json.endLine();
    writing.out.flush();
    return std::string_view(writing.text).substr(0, writing.text.size() - 1);
}

/// How the objects of a field's nodes begin, up to the value: made once, for it is most of what is written.
struct Openings {
    std::string node; ///< {"id":…,"label":…
    std::string name; ///< the same of the child that names the number
};

const Openings& openingsOf(const Field& field)
{
    thread_local boost::unordered_flat_map<const Field*, Openings> known;
    const auto found = known.find(&field);
    if (found != known.end())
        return found->second;
    auto& made = known[&field];
    const auto opening = [](std::string_view id, std::string_view label) {
        std::string text = "{\"id\":";
        text += quoted(id);
        text += ",\"label\":";
        return text += quoted(label);
    };
    made.node = opening(field.id, field.summary);
    made.name = opening(std::string(field.id) + ".name", "Name");
    return made;
}

/// Writes `,"value":"…"` around what `write` puts; nothing where it says that there is none.
template <typename Write> bool putValue(TextSink& out, Write write)
{
    const auto before = out.size();
    out.put(",\"value\":\"");
    const auto start = out.size();
    if (!write()) {
        out.truncate(before);
        return false;
    }
    if (const auto text = out.text().substr(start); isPlainJson(text)) {
        out.put('"');
    } else {
        const auto escaped = quoted(text);
        out.truncate(start - 1);
        out.put(escaped);
    }
    return true;
}

void range(const Node& node, TextSink& out)
{
    // Decrypted and unpacked bytes have no place in the frame.
    if (node.length == 0 || node.flags & Node::derivedBytes)
        return;
    out.put(",\"offset\":");
    out.put(std::uint64_t{node.offset});
    out.put(",\"length\":");
    out.put(std::uint64_t{node.length});
}

/// Opens the object and writes all but the children proper; tells whether the children's array is open already, for
/// the number's name and the finding the node is marked with.
bool open(const DecodedFrame& frame, const Node& node, TextSink& out)
{
    const auto& openings = openingsOf(*node.field);
    out.put(openings.node);
    putValue(out, [&] { return value(frame.tree, node, out); });
    range(node, out);
    const auto before = out.size();
    out.put(",\"children\":[");
    const auto opened = out.size();
    out.put(openings.name);
    if (putValue(out, [&] { return name(frame.tree, node, out); })) {
        range(node, out);
        out.put('}');
    } else {
        out.truncate(opened);
    }
    if (node.expert != Expert::none) {
        out.put(out.size() == opened ? "{\"id\":\"expert\",\"label\":" : ",{\"id\":\"expert\",\"label\":");
        out.put(quoted(expertText(node.expert)));
        out.put(",\"value\":");
        out.put(quoted(expertId(node.expert)));
        out.put('}');
    }
    if (out.size() == opened)
        out.truncate(before);
    return out.size() != before;
}

} // namespace

void json(const DecodedFrame& frame, TextSink& out)
{
    struct Open {
        std::uint32_t end;
        bool hasArray;
    };
    std::array<Open, maxDepth> stack;
    std::size_t depth = 0;
    const auto closeUpTo = [&](std::uint32_t index) {
        while (depth && stack[depth - 1].end <= index)
            out.put(stack[--depth].hasArray ? std::string_view("]}") : std::string_view("}"));
    };
    out.put('[');
    const auto nodes = frame.tree.nodes();
    bool isFirst = true; // of its array
    for (std::uint32_t i = 0; i < nodes.size(); ++i) {
        closeUpTo(i);
        if (!isFirst)
            out.put(',');
        isFirst = false;
        bool hasArray = open(frame, nodes[i], out);
        if (nodes[i].end > i + 1 && !hasArray && depth < maxDepth) {
            out.put(",\"children\":[");
            hasArray = isFirst = true;
        }
        if (depth < maxDepth) {
            stack[depth++] = {nodes[i].end, hasArray};
        } else { // deeper than any dissector nests: the subtree stays out
            out.put(hasArray ? std::string_view("]}") : std::string_view("}"));
            i = nodes[i].end - 1;
        }
    }
    closeUpTo(static_cast<std::uint32_t>(nodes.size()));
    out.put(']');
}

} // namespace netrondo::Render
