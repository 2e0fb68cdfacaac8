// The tree in words: values, names, rows for the window, the packet list's columns, JSON.
#pragma once

#include "Dissection/Decode/LayerView.h"
#include "Dissection/Decode/PacketDecoder.h"

namespace netrondo {

namespace Render {

/// The value of a node as text, as filters compare it and JSON gives it: numbers bare, addresses and text as they are.
/// False when the node has none.
bool value(const DecodeTree& tree, const Node& node, TextSink& out);

/// What the number is called ("request" for 1, "SYN, ACK" for a set of bits). False when it has no name.
bool name(const DecodeTree& tree, const Node& node, TextSink& out);

/// Every text a filter may compare a node with, the value first, then the name: `visit(std::string_view)`.
template <typename F> void eachValue(const DecodeTree& tree, const Node& node, TextSink& scratch, F visit)
{
    scratch.clear();
    bool any = value(tree, node, scratch);
    if (any)
        visit(scratch.text());
    scratch.clear();
    if (name(tree, node, scratch)) {
        visit(scratch.text());
        any = true;
    }
    if (!any)
        visit(std::string_view());
}

/// The node in one line of the tree pane: "ARP opcode: request (1)".
void row(const DecodedFrame& frame, std::uint32_t node, TextSink& out);

/// The time column: seconds with six places, nine where the frame's time needs them.
void time(std::int64_t nanoseconds, TextSink& out);
constexpr std::size_t maxTime = 24;
/// The same to `out`, which has room for `maxTime` characters; returns how many it took.
std::size_t time(std::int64_t nanoseconds, char* out);
/// The protocol column.
std::string_view protocol(const FrameSummary& summary);
/// The info column: what the innermost layer says, else the one below it.
void info(const DecodedFrame& frame, TextSink& out);

/// The whole tree as JSON: an array of nodes. A name stands as a child of its number, with the id "{id}.name".
void json(const DecodedFrame& frame, TextSink& out);

} // namespace Render

} // namespace netrondo
