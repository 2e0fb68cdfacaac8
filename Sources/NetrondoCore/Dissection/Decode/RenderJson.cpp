// The decode tree as JSON.
#include "Dissection/Decode/Render.h"

#include <array>

namespace netrondo::Render {
namespace {

constexpr std::size_t maxDepth = 64;

void range(const Node& node, JsonWriter& out)
{
    // Decrypted and unpacked bytes have no place in the frame.
    if (node.length == 0 || node.flags & Node::derivedBytes)
        return;
    out.field("offset", node.offset);
    out.field("length", node.length);
}

/// A leaf beside the node's own children.
void leaf(std::string_view id, std::string_view label, std::string_view text, const Node* place, JsonWriter& out)
{
    out.beginObject();
    out.field("id", id);
    out.field("label", label);
    out.field("value", text);
    if (place)
        range(*place, out);
    out.endObject();
}

/// Opens the object and writes all but the children proper; tells whether the children's array is open already, for
/// the number's name and the finding the node is marked with.
bool open(const DecodedFrame& frame, const Node& node, JsonWriter& out, TextSink& scratch)
{
    out.beginObject();
    out.field("id", node.field->id);
    out.field("label", node.field->summary);
    scratch.clear();
    if (value(frame.tree, node, scratch))
        out.field("value", scratch.text());
    range(node, out);
    scratch.clear();
    const bool named = name(frame.tree, node, scratch);
    if (!named && node.expert == Expert::none)
        return false;
    out.key("children");
    out.beginArray();
    if (named) {
        const auto length = scratch.size();
        scratch.put(node.field->id);
        scratch.put(".name");
        leaf(scratch.text().substr(length), "Name", scratch.text().substr(0, length), &node, out);
    }
    if (node.expert != Expert::none)
        leaf("expert", expertText(node.expert), expertId(node.expert), nullptr, out);
    return true;
}

} // namespace

void json(const DecodedFrame& frame, JsonWriter& out, TextSink& scratch)
{
    struct Open {
        std::uint32_t end;
        bool hasArray;
    };
    std::array<Open, maxDepth> stack;
    std::size_t depth = 0;
    const auto closeUpTo = [&](std::uint32_t index) {
        while (depth && stack[depth - 1].end <= index) {
            if (stack[--depth].hasArray)
                out.endArray();
            out.endObject();
        }
    };
    out.beginArray();
    const auto nodes = frame.tree.nodes();
    for (std::uint32_t i = 0; i < nodes.size(); ++i) {
        closeUpTo(i);
        bool hasArray = open(frame, nodes[i], out, scratch);
        if (nodes[i].end > i + 1 && !hasArray && depth < maxDepth) {
            out.key("children");
            out.beginArray();
            hasArray = true;
        }
        if (depth < maxDepth) {
            stack[depth++] = {nodes[i].end, hasArray};
        } else { // deeper than any dissector nests: the subtree stays out
            if (hasArray)
                out.endArray();
            out.endObject();
            i = nodes[i].end - 1;
        }
    }
    closeUpTo(static_cast<std::uint32_t>(nodes.size()));
    out.endArray();
}

} // namespace netrondo::Render
