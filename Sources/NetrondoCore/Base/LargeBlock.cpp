// Small blocks come from the C library, large ones from the system, aligned so that huge pages fit.
#include "Base/LargeBlock.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>
#include <sys/mman.h>

namespace netrondo {
namespace {

constexpr std::size_t hugePage = std::size_t{2} << 20;
constexpr std::size_t linePair = 128; // processors fetch the neighbour of a cache line along with it

std::size_t roundedUp(std::size_t bytes)
{
    return (bytes + hugePage - 1) / hugePage * hugePage;
}

} // namespace

void LargeBlockFree::operator()(void* block) const
{
    if (bytes < hugePage)
        std::free(block);
    else
        ::munmap(block, roundedUp(bytes));
}

void* allocateLargeBlock(std::size_t bytes)
{
    if (bytes < hugePage) {
        void* block = std::aligned_alloc(linePair, (bytes + linePair - 1) / linePair * linePair);
        if (!block)
            throw std::bad_alloc();
        std::memset(block, 0, bytes);
        return block;
    }
    // A page more than needed, and what lies around the aligned middle given back.
    const auto size = roundedUp(bytes);
    void* mapped = ::mmap(nullptr, size + hugePage, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (mapped == MAP_FAILED)
        throw std::bad_alloc();
    auto* start = static_cast<char*>(mapped);
    const auto before = (hugePage - reinterpret_cast<std::uintptr_t>(start) % hugePage) % hugePage;
    if (before)
        ::munmap(start, before);
    ::munmap(start + before + size, hugePage - before);
    ::madvise(start + before, size, MADV_HUGEPAGE); // a wish: without huge pages everything works, slower
    return start + before;
}

} // namespace netrondo
