// A table of so many entries at most: hostile captures invent addresses without end.
#pragma once

#include "Base/Prefetch.h"
#include "Base/SlotIndex.h"

#include <cstdint>
#include <fmt/format.h>
#include <string>
#include <string_view>
#include <vector>

namespace netrondo {

/// Entries by key; `Key` compares, and `hashOf(key)` is found beside it. Entries stay where they are numbered.
template <typename Key, typename Value> class BoundedTable {
public:
    struct Entry {
        Key key;
        Value value;
    };

    explicit BoundedTable(std::uint32_t most) : most_(most) { }

    /// The key's value, made when there is none yet; nothing once the table is full. Good until the next call.
    Value* at(const Key& key)
    {
        if (latest_ < entries_.size() && entries_[latest_].key == key)
            return &entries_[latest_].value;
        const auto hash = hashOf(key);
        auto number = lookUp(key, hash);
        if (number == SlotIndex::none) {
            if (entries_.size() == most_) {
                ++refused_;
                return nullptr;
            }
            number = static_cast<std::uint32_t>(entries_.size());
            entries_.push_back({key, {}});
            index_.insert(hash, number);
        }
        latest_ = number;
        return &entries_[number].value;
    }
    const Value* find(const Key& key) const
    {
        const auto number = lookUp(key, hashOf(key));
        return number == SlotIndex::none ? nullptr : &entries_[number].value;
    }
    Value* find(const Key& key)
    {
        const auto number = lookUp(key, hashOf(key));
        return number == SlotIndex::none ? nullptr : &entries_[number].value;
    }

    /// For callers that look several keys up: bring closer where a key is found, then what it finds.
    void prefetchIndex(const Key& key) const { index_.prefetch(hashOf(key)); }
    void prefetchEntry(const Key& key) const
    {
        if (const auto guess = index_.guess(hashOf(key)); guess != SlotIndex::none)
            prefetch(&entries_[guess]);
    }

    const std::vector<Entry>& entries() const { return entries_; }
    /// How often there was no room for a new key.
    std::uint64_t refused() const { return refused_; }
    std::uint32_t most() const { return most_; }

private:
    std::uint32_t lookUp(const Key& key, std::uint64_t hash) const
    {
        return index_.find(hash, [&](std::uint32_t number) { return entries_[number].key == key; });
    }

    std::uint32_t most_;
    std::uint32_t latest_ = 0;
    std::uint64_t refused_ = 0;
    std::vector<Entry> entries_;
    SlotIndex index_;
};

/// Says what a table had no room for.
template <typename Key, typename Value>
void tell(std::vector<std::string>& lines, const BoundedTable<Key, Value>& table, std::string_view what)
{
    if (table.refused())
        lines.push_back(fmt::format("{} sightings beyond the first {} {}", table.refused(), table.most(), what));
}

/// Counts events within a sliding span of time, coarsely: the span begins with the first event and begins anew with the
/// first one behind it.
struct BurstCount {
    double start = -1e300;
    std::uint32_t count = 0;

    std::uint32_t add(double seconds, double span)
    {
        if (seconds - start > span || seconds < start) {
            start = seconds;
            count = 0;
        }
        return ++count;
    }
};

} // namespace netrondo
