// The program's operator new, with a count beside it. The other forms of new end up here.
#include "Support/Allocations.h"

#include <cstdlib>
#include <new>

namespace {
thread_local std::size_t allocations = 0;
}

namespace netrondo::test {
std::size_t allocationCount()
{
    return allocations;
}
} // namespace netrondo::test

void* operator new(std::size_t size)
{
    ++allocations;
    if (void* memory = std::malloc(size ? size : 1))
        return memory;
    throw std::bad_alloc();
}

// A sanitizer's runtime has a form of its own for this one, which would not match the delete below.
void* operator new(std::size_t size, const std::nothrow_t&) noexcept
{
    ++allocations;
    return std::malloc(size ? size : 1);
}

void operator delete(void* memory) noexcept
{
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept
{
    std::free(memory);
}
