// What a dissector reads back of its own nodes when it says them in a line.
#pragma once

#include "Dissection/Decode/DecodeTree.h"
#include "Dissection/Decode/TextSink.h"

#include <concepts>

namespace netrondo {

/// One node as a value: compares as its number, prints as a person reads it. A missing one is 0 and prints nothing.
class Value {
public:
    Value(const DecodeTree& tree, const Node* node) : tree_(&tree), node_(node) { }

    explicit operator bool() const { return node_; }
    std::uint64_t number() const { return node_ ? node_->number : 0; }
    template <std::integral T> friend bool operator==(const Value& value, T number)
    {
        return value.node_ && value.node_->number == static_cast<std::uint64_t>(number);
    }
    /// The characters of a text field; the bytes of any other.
    std::string_view text() const
    {
        if (!node_)
            return {};
        return node_->field->wire == Wire::madeText ? tree_->madeText(*node_) : asText(tree_->bytesOf(*node_));
    }
    const Node* node() const { return node_; }
    const DecodeTree& tree() const { return *tree_; }

private:
    const DecodeTree* tree_;
    const Node* node_;
};

class LayerView {
public:
    LayerView(const DecodeTree& tree, std::uint32_t layer) : tree_(tree), first_(layer + 1), end_(tree[layer].end) { }

    /// The first node of this field, whatever was asked before: of the arguments of a call, nobody knows which is asked
    /// first.
    Value operator[](const Field& field) const
    {
        for (auto i = first_; i < end_; ++i) {
            if (tree_[i].field == &field)
                return {tree_, &tree_[i]};
        }
        return {tree_, nullptr};
    }
    bool has(const Field& field) const { return static_cast<bool>((*this)[field]); }
    /// All nodes of this field, in order.
    template <typename F> void each(const Field& field, F visit) const
    {
        for (auto i = first_; i < end_; ++i) {
            if (tree_[i].field == &field)
                visit(Value(tree_, &tree_[i]));
        }
    }
    std::size_t count(const Field& field) const
    {
        std::size_t count = 0;
        each(field, [&](const Value&) { ++count; });
        return count;
    }
    const DecodeTree& tree() const { return tree_; }
    /// Those of the layer's header; all of the layer's where it hands nothing on.
    Bytes bytes() const { return tree_.bytesOf(tree_[first_ - 1]); }
    std::span<const Node> nodes() const { return tree_.nodes().subspan(first_, end_ - first_); }

private:
    const DecodeTree& tree_;
    std::uint32_t first_, end_;
};

} // namespace netrondo
