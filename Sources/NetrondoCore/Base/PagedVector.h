// A vector that grows page by page: elements never move, and growing never needs twice the memory.
#pragma once

#include "Base/LargeBlock.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <cstring>
#include <new>
#include <type_traits>
#include <utility>

namespace netrondo {

/// Elements by a 32-bit number. References stay good as long as the container lives. Each page holds twice what the one
/// before does, so that a small table is small and a large one lies in few pieces.
template <typename T> class PagedVector {
    static_assert(std::is_trivially_copyable_v<T> && std::is_trivially_destructible_v<T>);

public:
    PagedVector() = default;
    PagedVector(PagedVector&& other) noexcept
        : pages_(std::move(other.pages_)), size_(std::exchange(other.size_, 0)) { }
    PagedVector& operator=(PagedVector&& other) noexcept
    {
        pages_ = std::move(other.pages_);
        size_ = std::exchange(other.size_, 0);
        return *this;
    }
    PagedVector(const PagedVector& other) : size_(other.size_)
    {
        for (std::uint32_t page = 0, done = 0; done < size_; done += capacity(page), ++page) {
            pages_[page] = makePage(page);
            std::memcpy(static_cast<void*>(pages_[page].get()), other.pages_[page].get(),
                        sizeof(T) * std::min(capacity(page), size_ - done));
        }
    }
    PagedVector& operator=(const PagedVector& other) { return *this = PagedVector(other); }

    std::uint32_t size() const { return size_; }
    T& operator[](std::uint32_t index)
    {
        const auto page = pageOf(index);
        return pages_[page][index + firstPage - capacity(page)];
    }
    const T& operator[](std::uint32_t index) const
    {
        const auto page = pageOf(index);
        return pages_[page][index + firstPage - capacity(page)];
    }

    /// Adds an element with its default value and returns its number.
    std::uint32_t append()
    {
        const auto page = pageOf(size_);
        if (!pages_[page])
            pages_[page] = makePage(page);
        new (&(*this)[size_]) T();
        return size_++;
    }

private:
    static constexpr std::uint32_t firstPage = 64;
    static constexpr std::uint32_t firstPageBits = 6;

    static constexpr std::uint32_t capacity(std::uint32_t page) { return firstPage << page; }
    /// Page p begins with the element number 64 * (2^p - 1).
    static std::uint32_t pageOf(std::uint32_t index)
    {
        return static_cast<std::uint32_t>(std::bit_width(index + firstPage)) - firstPageBits - 1;
    }
    static LargeBlock<T> makePage(std::uint32_t page) { return makeLargeBlock<T>(capacity(page)); }

    std::array<LargeBlock<T>, 32 - firstPageBits> pages_;
    std::uint32_t size_ = 0;
};

} // namespace netrondo
