// A list that one thread writes while others read it: what was appended neither moves nor changes.
#pragma once

#include "Base/LargeBlock.h"

#include <array>
#include <atomic>
#include <bit>
#include <cstdint>
#include <type_traits>

namespace netrondo {

/// Elements by a 32-bit number. Each page holds twice what the one before does, so that a short list is small, and
/// no element ever moves under a reader.
template <typename T> class AppendLog {
    static_assert(std::is_trivially_copyable_v<T> && std::is_trivially_destructible_v<T>);

public:
    static constexpr std::uint32_t maxSize = 0xffff'0000;

    /// How many elements are there. Any thread may read those below the number it was told.
    std::uint32_t size() const { return size_.load(std::memory_order_acquire); }
    const T& operator[](std::uint32_t index) const
    {
        const auto page = pageOf(index);
        return pages_[page][place(index, page)];
    }

    /// Adds an element, which readers see with the next `publish`; false when the list is as long as it can be. Only
    /// one thread appends.
    bool append(const T& value)
    {
        if (written_ == maxSize)
            return false;
        const auto page = pageOf(written_);
        if (!pages_[page])
            pages_[page] = makeLargeBlock<T>(std::size_t{firstPage} << page);
        pages_[page][place(written_, page)] = value;
        ++written_;
        return true;
    }
    void publish() { size_.store(written_, std::memory_order_release); }

private:
    static constexpr std::uint32_t firstPageBits = 10;
    static constexpr std::uint64_t firstPage = 1u << firstPageBits;

    /// Page p begins with the element number 1024 * (2^p - 1).
    static std::uint32_t pageOf(std::uint32_t index)
    {
        return static_cast<std::uint32_t>(std::bit_width(index + firstPage)) - firstPageBits - 1;
    }
    static std::size_t place(std::uint32_t index, std::uint32_t page)
    {
        return index + firstPage - (firstPage << page);
    }

    std::array<LargeBlock<T>, 33 - firstPageBits> pages_;
    std::uint32_t written_ = 0;
    std::atomic<std::uint32_t> size_ = 0;
};

} // namespace netrondo
