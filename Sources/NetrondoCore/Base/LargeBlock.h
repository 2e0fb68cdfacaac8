// Zeroed memory for tables that outgrow the cache: large blocks ask for huge pages, which spares most TLB misses.
#pragma once

#include <cstddef>
#include <memory>

namespace netrondo {

struct LargeBlockFree {
    std::size_t bytes = 0;
    void operator()(void* block) const;
};

/// Owns the block it points to.
template <typename T> using LargeBlock = std::unique_ptr<T[], LargeBlockFree>;

/// `bytes` zeroed bytes, aligned to a pair of cache lines. From 2 MiB on they come from the system untouched: what is
/// never used costs no memory. Throws std::bad_alloc, as `new` does.
void* allocateLargeBlock(std::size_t bytes);

template <typename T> LargeBlock<T> makeLargeBlock(std::size_t count)
{
    const auto bytes = count * sizeof(T);
    return LargeBlock<T>(static_cast<T*>(allocateLargeBlock(bytes)), LargeBlockFree{bytes});
}

} // namespace netrondo
