// The index part of a hash table: it finds the numbers of elements that may have a key; the elements live elsewhere.
#pragma once

#include "Base/LargeBlock.h"
#include "Base/Prefetch.h"

#include <algorithm>
#include <cstdint>
#include <utility>

namespace netrondo {

/// Open addressing with linear probing over pairs of (hash, element number). A caller that looks up many keys at once
/// calls `prefetch` for all of them first: on tables larger than the cache a lookup is one miss, and misses overlap.
class SlotIndex {
public:
    static constexpr std::uint32_t none = ~0u;

    SlotIndex() = default;
    SlotIndex(SlotIndex&&) = default;
    SlotIndex& operator=(SlotIndex&&) = default;
    SlotIndex(const SlotIndex& other)
        : slots_(makeLargeBlock<Slot>(other.mask_ + 1)), mask_(other.mask_), count_(other.count_)
    {
        std::copy_n(other.slots_.get(), mask_ + 1, slots_.get());
    }
    SlotIndex& operator=(const SlotIndex& other) { return *this = SlotIndex(other); }

    void prefetch(std::uint64_t hash) const { netrondo::prefetch(&slots_[home(hash)]); }

    /// The number of the element with this hash for which `matches(number)` holds, or `none`.
    template <typename Matches> std::uint32_t find(std::uint64_t hash, Matches&& matches) const
    {
        const auto tag = static_cast<std::uint32_t>(hash);
        for (auto at = home(hash); slots_[at].entry; at = (at + 1) & mask_) {
            if (slots_[at].tag == tag && matches(slots_[at].entry - 1))
                return slots_[at].entry - 1;
        }
        return none;
    }

    /// The first number that was entered under this hash's 32-bit tag, unchecked: a guess worth prefetching. Or `none`.
    std::uint32_t guess(std::uint64_t hash) const
    {
        const auto tag = static_cast<std::uint32_t>(hash);
        for (auto at = home(hash); slots_[at].entry; at = (at + 1) & mask_) {
            if (slots_[at].tag == tag)
                return slots_[at].entry - 1;
        }
        return none;
    }

    /// Enters an element that is not there yet.
    void insert(std::uint64_t hash, std::uint32_t number)
    {
        if (2 * (count_ + 1) > mask_ + 1)
            grow();
        place(static_cast<std::uint32_t>(hash), number + 1);
        ++count_;
    }

private:
    struct Slot {
        std::uint32_t tag = 0;
        std::uint32_t entry = 0; ///< element number + 1; 0 is an empty slot
    };

    std::size_t home(std::uint64_t hash) const { return static_cast<std::uint32_t>(hash) & mask_; }

    void place(std::uint32_t tag, std::uint32_t entry)
    {
        auto at = tag & mask_;
        while (slots_[at].entry)
            at = (at + 1) & mask_;
        slots_[at] = {tag, entry};
    }

    void grow()
    {
        const auto oldSize = mask_ + 1;
        const auto old = std::exchange(slots_, makeLargeBlock<Slot>(2 * oldSize));
        mask_ = 2 * oldSize - 1;
        for (std::size_t at = 0; at < oldSize; ++at) {
            if (old[at].entry)
                place(old[at].tag, old[at].entry);
        }
    }

    LargeBlock<Slot> slots_ = makeLargeBlock<Slot>(1024);
    std::size_t mask_ = 1023;
    std::size_t count_ = 0;
};

} // namespace netrondo
