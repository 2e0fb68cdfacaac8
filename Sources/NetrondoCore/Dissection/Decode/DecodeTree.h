// The decode tree of one frame: a flat vector of nodes, parents before their children, that is used again and again.
#pragma once

#include "Base/Bytes.h"
#include "Dissection/Decode/Expert.h"
#include "Dissection/Decode/Field.h"

#include <algorithm>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace netrondo {

struct Protocol;

/// One node. Its text is made by Render from the field, the number and the bytes.
struct Node {
    enum Flag : std::uint8_t {
        derivedBytes = 1, ///< `offset` and `length` lie in the tree's own bytes (decrypted or unpacked), not the frame
        quoted = 2,       ///< part of a packet that an error message quotes
        embedded = 4,     ///< a layer that its carrier still speaks for: its own line only follows the carrier's
    };

    const Field* field;
    std::uint64_t number; ///< the value; of `madeText` its place in the tree's characters: start << 32 | length
    std::uint32_t offset; ///< the bytes it stands for; none when `length` is 0
    std::uint32_t length;
    std::uint32_t end; ///< index of the node behind this one's subtree
    Expert expert;
    std::uint16_t flags; ///< not of a byte: writing one could change anything, as far as the compiler knows
};
static_assert(sizeof(Node) == 32);

/// A protocol found in the frame and where its node is.
struct LayerEntry {
    const Protocol* protocol;
    std::uint32_t node;
    bool quoted;
};

class DecodeTree {
public:
    /// Bounds that keep a hostile frame cheap.
    static constexpr std::uint32_t maxNodes = 20'000;
    static constexpr std::size_t maxLayers = 120;
    static constexpr std::size_t maxOwnBytes = 256 * 1024;

    DecodeTree() : nodes_(std::make_unique_for_overwrite<Node[]>(initialNodes)), capacity_(initialNodes) { }

    /// Starts the next frame. The bytes are the caller's and outlive every use of the tree.
    void clear(Bytes frame)
    {
        frame_ = frame;
        count_ = 0;
        layerCount_ = 0;
        characters_.clear();
        bytes_.clear();
    }

    std::span<const Node> nodes() const { return {nodes_.get(), count_}; }
    const Node& operator[](std::uint32_t index) const { return nodes_[index]; }
    std::uint32_t size() const { return count_; }
    std::span<const LayerEntry> layers() const { return {layers_.data(), layerCount_}; }

    Bytes frameBytes() const { return frame_; }
    /// What was decrypted or unpacked on the way.
    Bytes ownBytes() const { return bytes_; }
    /// The bytes a node stands for.
    Bytes bytesOf(const Node& node) const
    {
        return slice(node.flags & Node::derivedBytes ? Bytes(bytes_) : frame_, node.offset, node.length);
    }
    std::string_view madeText(const Node& node) const
    {
        return std::string_view(characters_).substr(node.number >> 32, node.number & 0xffffffff);
    }
    /// The index of the first node marked with this finding, or `size()`.
    std::uint32_t find(Expert expert) const
    {
        const auto all = nodes();
        return static_cast<std::uint32_t>(
            std::find_if(all.begin(), all.end(), [=](const Node& node) { return node.expert == expert; })
            - all.begin());
    }

    // For the dissectors.
    bool full() const { return count_ >= maxNodes; }
    [[gnu::always_inline]] Node& add(const Field& field, std::uint64_t number, std::size_t offset, std::size_t length,
                                     std::uint8_t flags)
    {
        const auto added = extend(1);
        return added.nodes[0] = leaf(field, number, offset, length, added.first, flags);
    }
    /// Room for some nodes behind the last one, for the caller to fill with leaves from the first on.
    struct Added {
        Node* nodes;
        std::uint32_t first; ///< the index of the first of them
    };
    [[gnu::always_inline]] Added extend(std::uint32_t count)
    {
        if (capacity_ - count_ < count) [[unlikely]]
            grow(count);
        const auto first = count_;
        count_ += count;
        return {&nodes_[first], first};
    }
    /// A node without children that stands at `index`.
    [[gnu::always_inline]] static Node leaf(const Field& field, std::uint64_t number, std::size_t offset,
                                            std::size_t length, std::uint32_t index, std::uint8_t flags)
    {
        return {&field,       number, static_cast<std::uint32_t>(offset), static_cast<std::uint32_t>(length), index + 1,
                Expert::none, flags};
    }
    Node& at(std::uint32_t index) { return nodes_[index]; }
    void close(std::uint32_t index) { nodes_[index].end = count_; }
    bool addLayer(const Protocol& protocol, bool quoted)
    {
        if (layerCount_ == maxLayers)
            return false;
        layers_[layerCount_++] = {&protocol, count_, quoted};
        return true;
    }
    /// Keeps text; the answer is a `madeText` node's number. What exceeds the bound is left out.
    std::uint64_t keep(std::string_view text)
    {
        text = text.substr(0, maxOwnBytes - std::min(maxOwnBytes, characters_.size()));
        const auto start = characters_.size();
        characters_.append(text);
        return std::uint64_t{start} << 32 | text.size();
    }
    /// Room for decrypted or unpacked bytes; empty past the bound. Earlier room never moves.
    std::span<std::uint8_t> makeBytes(std::size_t count)
    {
        if (count > maxOwnBytes - bytes_.size())
            return {};
        bytes_.reserve(maxOwnBytes);
        bytes_.resize(bytes_.size() + count);
        return std::span(bytes_).last(count);
    }

private:
    static constexpr std::uint32_t initialNodes = 256;
    void grow(std::uint32_t count);

    Bytes frame_;
    std::unique_ptr<Node[]> nodes_;
    std::uint32_t count_ = 0;
    std::uint32_t capacity_;
    std::size_t layerCount_ = 0;
    std::array<LayerEntry, maxLayers> layers_;
    std::string characters_;
    std::vector<std::uint8_t> bytes_;
};

} // namespace netrondo
