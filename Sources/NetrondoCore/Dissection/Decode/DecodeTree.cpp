// Growth of the tree's node vector: rare, and kept out of the way of the reads.
#include "Dissection/Decode/DecodeTree.h"

namespace netrondo {

void DecodeTree::grow()
{
    auto larger = std::make_unique_for_overwrite<Node[]>(std::size_t{capacity_} * 2);
    std::copy_n(nodes_.get(), count_, larger.get());
    nodes_ = std::move(larger);
    capacity_ *= 2;
}

} // namespace netrondo
