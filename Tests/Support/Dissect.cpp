// The decoder behind the tests' short calls.
#include "Support/Dissect.h"

#include "Dissection/Decode/Protocol.h"
#include "Dissection/Decode/Render.h"

namespace netrondo::test {
namespace {

std::string valueAndName(const DecodeTree& tree, const Node& node)
{
    TextSink out;
    Render::value(tree, node, out);
    TextSink name;
    if (Render::name(tree, node, name)) {
        if (out.size())
            out.put(' ');
        out.put('(');
        out.put(name.text());
        out.put(')');
    }
    return std::string(out.text());
}

} // namespace

Decoded::Decoded(Bytes frameBytes, LinkType link, std::uint32_t originalLength, std::uint64_t seconds)
    : bytes(frameBytes.begin(), frameBytes.end())
{
    capture.data = bytes;
    capture.timestampSeconds = seconds;
    capture.capturedLength = static_cast<std::uint32_t>(bytes.size());
    capture.originalLength = originalLength;
    capture.linkType = link;
    PacketDecoder decoder;
    decoder.decodeNext(capture, frame);
}

Decoded decoded(Bytes frame, LinkType link)
{
    return Decoded(frame, link, static_cast<std::uint32_t>(frame.size()));
}

Decoded decodedCut(Bytes frame, std::uint32_t originalLength, LinkType link)
{
    return Decoded(frame, link, originalLength);
}

std::string info(const DecodedFrame& decoded)
{
    TextSink out;
    Render::info(decoded, out);
    return std::string(out.text());
}

std::string protocolColumn(const DecodedFrame& decoded)
{
    return std::string(Render::protocol(decoded.summary));
}

std::string layers(const DecodedFrame& decoded)
{
    std::string text;
    for (const auto& layer : decoded.tree.layers()) {
        if (!text.empty())
            text += ':';
        text += layer.protocol->field.id;
    }
    return text;
}

std::string dump(const DecodedFrame& decoded, bool withBytes)
{
    const auto& tree = decoded.tree;
    std::string text;
    std::vector<std::uint32_t> ends;
    for (std::uint32_t i = 0; i < tree.size(); ++i) {
        const auto& node = tree[i];
        while (!ends.empty() && ends.back() <= i)
            ends.pop_back();
        text.append(2 * ends.size(), ' ');
        text += node.field->id;
        if (const auto value = valueAndName(tree, node); !value.empty())
            text += " = " + value;
        if (withBytes && node.length)
            text += " [" + std::to_string(node.offset) + "+" + std::to_string(node.length) + "]";
        if (node.expert != Expert::none)
            text += " !" + std::string(expertId(node.expert));
        text += '\n';
        ends.push_back(node.end);
    }
    return text;
}

std::string values(const DecodedFrame& decoded, std::string_view id)
{
    std::string text;
    for (const auto& node : decoded.tree.nodes()) {
        if (node.field->id != id)
            continue;
        if (!text.empty())
            text += "; ";
        text += valueAndName(decoded.tree, node);
    }
    return text;
}

std::string experts(const DecodedFrame& decoded)
{
    std::string text;
    for (const auto& node : decoded.tree.nodes()) {
        if (node.expert == Expert::none)
            continue;
        if (!text.empty())
            text += ' ';
        text += expertId(node.expert);
    }
    return text;
}

std::string json(const DecodedFrame& decoded)
{
    TextSink text;
    Render::json(decoded, text);
    return std::string(text.text());
}

} // namespace netrondo::test
