// Growth of the tree's node vector: rare, and kept out of the way of the reads.
#include "Dissection/Decode/DecodeTree.h"

namespace netrondo {

void DecodeTree::grow(std::uint32_t count)
{
    const auto capacity = std::max(capacity_ * 2, count_ + count);
    auto larger = std::make_unique_for_overwrite<Node[]>(capacity);
    std::copy_n(nodes_.get(), count_, larger.get());
    nodes_ = std::move(larger);
    capacity_ = capacity;
}

} // namespace netrondo
