// A set of MAC addresses that answers quickly for those it holds.
#pragma once

#include "Base/Address.h"
#include "Base/LargeBlock.h"
#include "Base/Prefetch.h"

#include <cstddef>
#include <cstdint>
#include <utility>

namespace netrondo {

/// Addresses lie bare in buckets of four, which fill from the front. A bucket is compared as a whole: nearly all
/// addresses that are asked for are there, in the first bucket, and no branch depends on where. Only ever grows;
/// whoever adds bounds it.
class SeenMacs {
public:
    bool contains(std::uint64_t mac) const
    {
        const auto wanted = entry(mac);
        for (auto at = home(mac);; at = (at + bucket) & mask_) {
            const auto* slots = &slots_[at];
            if (static_cast<int>(slots[0] == wanted) | static_cast<int>(slots[1] == wanted)
                | static_cast<int>(slots[2] == wanted) | static_cast<int>(slots[3] == wanted)) [[likely]]
                return true;
            if (!slots[bucket - 1])
                return false;
        }
    }
    /// Adds an address that is not there yet.
    void add(std::uint64_t mac)
    {
        if (2 * (count_ + 1) > mask_ + 1)
            grow();
        place(entry(mac));
        ++count_;
    }
    void prefetch(std::uint64_t mac) const { netrondo::prefetch(&slots_[home(mac)]); }

private:
    static constexpr std::size_t bucket = 4;

    /// So that no address is 0, which is an empty slot.
    static std::uint64_t entry(std::uint64_t mac) { return mac + 1; }
    std::size_t home(std::uint64_t mac) const { return hashWords(mac, 0x6d61630000000000) & mask_ & ~(bucket - 1); }

    void place(std::uint64_t entry)
    {
        auto at = home(entry - 1);
        while (slots_[at])
            at = (at + 1) & mask_;
        slots_[at] = entry;
    }
    void grow()
    {
        const auto oldSize = mask_ + 1;
        const auto old = std::exchange(slots_, makeLargeBlock<std::uint64_t>(2 * oldSize));
        mask_ = 2 * oldSize - 1;
        for (std::size_t at = 0; at < oldSize; ++at) {
            if (old[at])
                place(old[at]);
        }
    }

    LargeBlock<std::uint64_t> slots_ = makeLargeBlock<std::uint64_t>(1024);
    std::size_t mask_ = 1023;
    std::size_t count_ = 0;
};

} // namespace netrondo
