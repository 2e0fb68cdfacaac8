// Arbitrary frames through the decoder, and all that can be made of a decoded frame.
#pragma once

#include "Base/Json.h"
#include "Base/Result.h"
#include "Dissection/Decode/PacketDecoder.h"
#include "Dissection/Decode/PacketList.h"
#include "Dissection/Decode/Render.h"
#include "Dissection/Decode/StreamFollower.h"

#include <string>

namespace netrondo::fuzz {

/// Parents hold their children, bytes lie where they belong, nothing passes the bounds.
inline void checkTree(const DecodeTree& tree)
{
    NR_ASSERT(tree.size() <= DecodeTree::maxNodes + 256); // a loop ends at the bound, a straight read may pass it
    NR_ASSERT(tree.layers().size() <= DecodeTree::maxLayers);
    std::vector<std::uint32_t> ends{tree.size()};
    for (std::uint32_t i = 0; i < tree.size(); ++i) {
        const auto& node = tree[i];
        while (ends.back() <= i)
            ends.pop_back();
        NR_ASSERT(node.end > i && node.end <= ends.back());
        const auto& bytes = node.flags & Node::derivedBytes ? tree.ownBytes() : tree.frameBytes();
        NR_ASSERT(node.length == 0 || std::size_t{node.offset} + node.length <= bytes.size());
        if (node.end > i + 1)
            ends.push_back(node.end);
    }
}

inline void checkDecoded(const DecodedFrame& decoded)
{
    checkTree(decoded.tree);
    TextSink sink;
    PacketList().write(decoded, sink);
    NR_ASSERT(sink.text().find('\n') == sink.size() - 1);
    for (std::uint32_t i = 0; i < decoded.tree.size(); ++i) {
        sink.clear();
        Render::row(decoded, i, sink);
        Render::eachValue(decoded.tree, decoded.tree[i], sink, [](std::string_view) {});
    }
    sink.clear();
    Render::json(decoded, sink);
    StreamFollower follower;
    follower.add(decoded);
    follower.end();
    for (const auto& piece : follower.take())
        NR_ASSERT(piece.bytes.size() <= decoded.tree.frameBytes().size() + decoded.tree.ownBytes().size());
}

/// The first byte chooses the link and whether the capture cut the frame; the rest is the frame.
inline void decode(Bytes input)
{
    if (input.empty())
        return;
    constexpr LinkType links[] = {LinkType::ethernet,  LinkType::raw,       LinkType::linuxSLL,
                                  LinkType::linuxSLL2, LinkType::ieee80211, LinkType::ieee80211Radio,
                                  LinkType::null,      LinkType::unknown};
    CaptureFrame frame;
    frame.linkType = links[input[0] % std::size(links)];
    frame.data = input.subspan(1);
    frame.timestampSeconds = 1'700'000'000;
    frame.capturedLength = static_cast<std::uint32_t>(frame.data.size());
    frame.originalLength = frame.capturedLength + (input[0] & 0x80 ? 100u : 0u);
    static DecodedFrame decoded;
    PacketDecoder().decodeNext(frame, decoded);
    checkDecoded(decoded);
}

} // namespace netrondo::fuzz
