// The rings of remembered segments: appending, searching, growing.
#include "Analysis/Tcp/RecentSegments.h"

#include <bit>
#include <cstring>

namespace netrondo {

RecentSegments::View RecentSegments::view(const Ring& ring) const
{
    auto* words = pages_[ring.block / unitsPerPage].get() + std::size_t{ring.block % unitsPerPage} * wordsPerUnit;
    const std::size_t n = ring.capacity;
    return {words, words + n, words + 2 * n, words + 3 * n, reinterpret_cast<std::int32_t*>(words + 4 * n)};
}

SegmentFingerprint RecentSegments::at(const View& block, std::uint32_t slot) const
{
    return {block.ordinal[slot], block.seq[slot], std::uint64_t{block.digestHigh[slot]} << 32 | block.digestLow[slot],
            block.ipId[slot]};
}

std::uint32_t RecentSegments::allocate(std::uint8_t capacity)
{
    auto& free = freeBlocks_[std::countr_zero(capacity) - 2];
    if (!free.empty()) {
        const auto block = free.back();
        free.pop_back();
        return block;
    }
    const std::uint32_t units = capacity / 4u;
    if (unitsUsed_ + units > unitsPerPage) {
        pages_.push_back(makeLargeBlock<std::uint32_t>(std::size_t{unitsPerPage} * wordsPerUnit));
        unitsUsed_ = 0;
    }
    const auto block = static_cast<std::uint32_t>(pages_.size() - 1) * unitsPerPage + unitsUsed_;
    unitsUsed_ += units;
    return block;
}

void RecentSegments::grow(Ring& ring)
{
    const auto old = ring;
    ring.capacity = static_cast<std::uint8_t>(old.capacity ? old.capacity * 2 : 4);
    ring.block = allocate(ring.capacity);
    ring.head = ring.count;
    if (!old.capacity)
        return;
    // A ring grows when it is full: its oldest entry stands at its head.
    const auto from = view(old), to = view(ring);
    for (std::uint32_t i = 0; i < old.count; ++i) {
        const auto slot = (old.head + i) % old.capacity;
        to.seq[i] = from.seq[slot];
        to.digestLow[i] = from.digestLow[slot];
        to.digestHigh[i] = from.digestHigh[slot];
        to.ordinal[i] = from.ordinal[slot];
        to.ipId[i] = from.ipId[slot];
    }
    freeBlocks_[std::countr_zero(old.capacity) - 2].push_back(old.block);
}

void RecentSegments::remember(Ring& ring, const SegmentFingerprint& segment)
{
    if (ring.count == ring.capacity) {
        // Room is found by forgetting what lies too far back, and only then by growing.
        const bool oldestIsForgotten =
            ring.capacity && segment.ordinal - view(ring).ordinal[ring.head % ring.capacity] >= window;
        if (oldestIsForgotten)
            --ring.count;
        else
            grow(ring);
    }
    const auto block = view(ring);
    const auto slot = ring.head;
    block.seq[slot] = segment.seq;
    block.digestLow[slot] = static_cast<std::uint32_t>(segment.payloadDigest);
    block.digestHigh[slot] = static_cast<std::uint32_t>(segment.payloadDigest >> 32);
    block.ordinal[slot] = segment.ordinal;
    block.ipId[slot] = segment.ipId;
    ring.head = static_cast<std::uint8_t>((slot + 1) % ring.capacity);
    ++ring.count;
}

namespace {

// Plain enough for the compiler to compare a register full of words at a time.
bool anyEqual(const std::uint32_t* words, std::uint32_t count, std::uint32_t value)
{
    std::uint32_t found = 0;
    for (std::uint32_t i = 0; i < count; ++i)
        found |= words[i] == value ? 1u : 0u;
    return found;
}

} // namespace

const SegmentFingerprint* RecentSegments::newestAt(const Ring& ring, std::uint32_t seq, std::uint32_t now,
                                                   SegmentFingerprint& storage) const
{
    if (!ring.count)
        return nullptr;
    const auto block = view(ring);
    if (!anyEqual(block.seq, ring.capacity, seq))
        return nullptr;
    for (std::uint32_t back = 1; back <= ring.count; ++back) {
        const auto slot = (ring.head + ring.capacity - back) % ring.capacity;
        if (isForgotten(block.ordinal[slot], now))
            break;
        if (block.seq[slot] == seq) {
            storage = at(block, slot);
            return &storage;
        }
    }
    return nullptr;
}

bool RecentSegments::hasPayloadElsewhere(const Ring& ring, const SegmentFingerprint& segment) const
{
    if (!ring.count)
        return false;
    const auto block = view(ring);
    if (!anyEqual(block.digestLow, ring.capacity, static_cast<std::uint32_t>(segment.payloadDigest)))
        return false;
    for (std::uint32_t back = 1; back <= ring.count; ++back) {
        const auto slot = (ring.head + ring.capacity - back) % ring.capacity;
        if (isForgotten(block.ordinal[slot], segment.ordinal))
            break;
        const auto earlier = at(block, slot);
        if (earlier.payloadDigest == segment.payloadDigest && earlier.seq != segment.seq)
            return true;
    }
    return false;
}

void RecentSegments::prefetch(const Ring& ring) const
{
    if (!ring.capacity)
        return;
    const auto block = view(ring);
    // Sequence numbers and digests, which are searched, and the row that is written next.
    for (std::uint32_t word = 0; word < 2u * ring.capacity; word += 16)
        __builtin_prefetch(block.seq + word);
    __builtin_prefetch(block.ordinal + ring.head);
}

} // namespace netrondo
