// A count that stops the program rather than wraps: a wrong total is worse than none.
#pragma once

#include "Base/Result.h"

#include <compare>
#include <concepts>
#include <cstdint>

namespace netrondo {

template <std::unsigned_integral T> class Counter {
public:
    constexpr Counter() = default;
    constexpr Counter(T value) : value_(value) { }

    constexpr operator T() const { return value_; }
    constexpr Counter& operator+=(T more)
    {
        if (__builtin_add_overflow(value_, more, &value_))
            fatal("a counter passed its range", __FILE__, __LINE__);
        return *this;
    }
    constexpr Counter& operator++() { return *this += T{1}; }

private:
    T value_ = 0;
};

using Counter32 = Counter<std::uint32_t>;
using Counter64 = Counter<std::uint64_t>;

} // namespace netrondo
