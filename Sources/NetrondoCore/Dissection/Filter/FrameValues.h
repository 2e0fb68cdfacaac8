// What a decoded frame has under a name of the catalogue.
#pragma once

#include "Dissection/Decode/Render.h"
#include "Dissection/Filter/DisplayFilterCatalog.h"

#include <string_view>

namespace netrondo {

namespace FrameValues {

/// A node belongs to a name when it has it, or has it as the beginning of a longer dotted one.
constexpr bool belongsTo(std::string_view nodeId, std::string_view id)
{
    // Nearly all nodes differ in length or in the last character, which costs less than comparing the texts.
    return nodeId.size() >= id.size() && nodeId[id.size() - 1] == id.back() && nodeId.starts_with(id)
        && (nodeId.size() == id.size() || nodeId[id.size()] == '.');
}

/// Kinds whose text is the node's number in decimal digits and nothing more.
constexpr bool isDecimal(Wire wire)
{
    switch (wire) {
    case Wire::u8:
    case Wire::u16:
    case Wire::u24:
    case Wire::u32:
    case Wire::u48:
    case Wire::u64:
    case Wire::le16:
    case Wire::le32:
    case Wire::le64:
    case Wire::number:
    case Wire::bit:
    case Wire::bits: return true;
    default: return false;
    }
}

/// The values of one node: its own, "true" when it has none, and then the name of its number.
template <typename Visit> bool ofNode(const DecodeTree& tree, const Node& node, TextSink& scratch, Visit& visit)
{
    if (isDecimal(node.field->wire)) {
        if (visit(node.number))
            return true;
    } else {
        scratch.clear();
        const bool hasText = Render::value(tree, node, scratch) && scratch.size();
        if (visit(hasText ? scratch.text() : std::string_view("true")))
            return true;
    }
    if (node.field->names.empty() && node.field->wire != Wire::checksum16)
        return false;
    scratch.clear();
    return Render::name(tree, node, scratch) && visit(scratch.text());
}

template <typename Visit> bool ofTree(std::string_view id, const DecodeTree& tree, TextSink& scratch, Visit& visit)
{
    for (const auto& node : tree.nodes())
        if (belongsTo(node.field->id, id) && ofNode(tree, node, scratch, visit))
            return true;
    return false;
}

/// Whether a TCP header's flags hold the word, for each such header in the frame.
template <typename Visit> bool ofFlags(std::string_view word, const DecodeTree& tree, Visit& visit)
{
    for (const auto& node : tree.nodes()) {
        if (node.field->id != "tcp.flags")
            continue;
        const auto& names = node.field->names;
        const bool isSet = std::ranges::any_of(
            names, [&](const NamedValue& flag) { return flag.name == word && (node.number & flag.value); });
        if (visit(std::string_view(isSet ? "true" : "false")))
            return true;
    }
    return false;
}

template <typename Visit> bool ofAddress(const Address& address, Visit& visit)
{
    char text[Address::maxText];
    return address && visit(std::string_view(text, address.write(text)));
}

} // namespace FrameValues

/// Shows `visit` the frame's values under the field, one after the other, until it returns true; tells whether it did.
/// A value comes as text, never empty, or as the number that its digits read as.
template <typename Visit>
bool anyValue(const DisplayFilterField& field, const DecodedFrame& frame, TextSink& scratch, Visit visit)
{
    using Kind = DisplayFilterExtractor::Kind;
    using namespace FrameValues;
    const auto& payload = field.extractor.payload;
    const auto& summary = frame.summary;
    const auto isTransport = [&] { return transportKey(summary.transport) == payload.front(); };
    switch (field.extractor.kind) {
    case Kind::proto:
        for (const auto& layer : frame.tree.layers())
            if (layer.protocol->field.id == payload.front())
                return visit(std::string_view("true"));
        return false;
    case Kind::tree:
    case Kind::trees:
        for (const auto id : payload)
            if (ofTree(id, frame.tree, scratch, visit))
                return true;
        return false;
    case Kind::summarySrcPort: return isTransport() && visit(std::uint64_t{summary.sourcePort});
    case Kind::summaryDstPort: return isTransport() && visit(std::uint64_t{summary.destinationPort});
    case Kind::summaryEitherPort:
        return isTransport()
            && (visit(std::uint64_t{summary.sourcePort}) || visit(std::uint64_t{summary.destinationPort}));
    case Kind::flagsContains: return ofFlags(payload.front(), frame.tree, visit);
    case Kind::expert:
    case Kind::experts:
        for (const auto& node : frame.tree.nodes())
            if (node.expert != Expert::none && std::ranges::find(payload, expertId(node.expert)) != payload.end())
                return visit(std::string_view("true"));
        return false;
    case Kind::summarySource: return ofAddress(summary.source, visit);
    case Kind::summaryDest: return ofAddress(summary.destination, visit);
    case Kind::summaryEitherHost: return ofAddress(summary.source, visit) || ofAddress(summary.destination, visit);
    case Kind::summaryLength: return visit(std::uint64_t{summary.length});
    case Kind::summaryTime:
        scratch.clear();
        Render::time(summary.nanoseconds, scratch);
        return visit(scratch.text());
    case Kind::summaryNumber: return visit(summary.number);
    }
    return false;
}

} // namespace netrondo
