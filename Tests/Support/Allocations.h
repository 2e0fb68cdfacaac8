// Counting what the code under test takes from the heap.
#pragma once

#include <cstddef>

namespace netrondo::test {

/// How often this thread has called `operator new`.
std::size_t allocationCount();

} // namespace netrondo::test

/// The statement takes nothing from the heap.
#define EXPECT_NO_ALLOCATIONS(...)                                                                                     \
    do {                                                                                                               \
        const auto allocationsBefore = ::netrondo::test::allocationCount();                                            \
        __VA_ARGS__;                                                                                                   \
        EXPECT_EQ(::netrondo::test::allocationCount() - allocationsBefore, 0u) << "allocations in: " #__VA_ARGS__;     \
    } while (false)
