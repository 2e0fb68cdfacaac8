// Asking for memory before it is needed.
#pragma once

namespace netrondo {

/// Begins to bring the cache line at `address` closer. Any address will do: a wrong one costs time only.
inline void prefetch(const void* address)
{
    __builtin_prefetch(address);
    // A prefetch alone does not count as an effect: g++ drops calls of functions that do nothing else.
    asm volatile("");
}

} // namespace netrondo
