// The rings of remembered segments: appending, searching, growing.
#include "Analysis/Tcp/RecentSegments.h"

#include <bit>

namespace netrondo {
namespace {

// Plain enough for the compiler to compare a register full of words at a time; a capacity is a multiple of four.
bool anyEqual(const std::uint32_t* words, std::uint32_t count, std::uint32_t value)
{
    std::uint32_t found = 0;
    for (std::uint32_t i = 0; i < count; i += 4) {
        for (std::uint32_t j = 0; j < 4; ++j)
            found |= words[i + j] == value ? 1u : 0u;
    }
    return found;
}

constexpr std::uint64_t keptDigest = (std::uint64_t{1} << 48) - 1;

} // namespace

RecentSegments::View RecentSegments::view(const Ring& ring) const
{
    auto* bytes =
        pages_[ring.block / unitsPerPage].get() + std::size_t{ring.block % unitsPerPage} * unit * bytesPerSegment;
    return {reinterpret_cast<std::uint32_t*>(bytes),
            reinterpret_cast<Rest*>(bytes + ring.capacity * sizeof(std::uint32_t))};
}

SegmentFingerprint RecentSegments::at(const View& block, std::uint32_t slot)
{
    const auto& rest = block.rest[slot];
    SegmentFingerprint segment{rest.ordinal, rest.seq, std::uint64_t{rest.digestHigh} << 32 | block.digestLow[slot],
                               std::nullopt};
    if (rest.hasIpId)
        segment.ipId = rest.ipId;
    return segment;
}

std::uint32_t RecentSegments::allocate(std::uint8_t capacity)
{
    auto& free = freeBlocks_[std::countr_zero(capacity / unit)];
    if (!free.empty()) {
        const auto block = free.back();
        free.pop_back();
        return block;
    }
    const auto units = capacity / unit;
    if (unitsUsed_ + units > unitsPerPage) {
        pages_.push_back(makeLargeBlock<std::byte>(std::size_t{unitsPerPage} * unit * bytesPerSegment));
        unitsUsed_ = 0;
    }
    const auto block = static_cast<std::uint32_t>(pages_.size() - 1) * unitsPerPage + unitsUsed_;
    unitsUsed_ += units;
    return block;
}

void RecentSegments::grow(Ring& ring)
{
    const auto old = ring;
    ring.capacity = static_cast<std::uint8_t>(old.capacity ? old.capacity * 2 : unit);
    ring.block = allocate(ring.capacity);
    ring.head = old.count;
    if (!old.capacity)
        return;
    // A ring grows when it is full: its oldest entry stands at its head.
    const auto from = view(old), to = view(ring);
    for (std::uint32_t i = 0; i < old.count; ++i) {
        const auto slot = (old.head + i) % old.capacity;
        to.digestLow[i] = from.digestLow[slot];
        to.rest[i] = from.rest[slot];
    }
    freeBlocks_[std::countr_zero(old.capacity / unit)].push_back(old.block);
}

void RecentSegments::remember(Ring& ring, const SegmentFingerprint& segment)
{
    if (ring.count == ring.capacity) {
        // Room is found by forgetting what lies too far back, and only then by growing. Of 64 in a row the first one
        // always does once the next one comes.
        const bool oldestIsForgotten = ring.capacity && segment.ordinal - view(ring).rest[ring.head].ordinal >= window;
        if (oldestIsForgotten)
            --ring.count;
        else
            grow(ring);
    }
    const auto block = view(ring);
    const auto slot = ring.head;
    block.digestLow[slot] = static_cast<std::uint32_t>(segment.payloadDigest);
    block.rest[slot] = {segment.ordinal, segment.seq, static_cast<std::uint16_t>(segment.payloadDigest >> 32),
                        segment.ipId.value_or(0), segment.ipId.has_value()};
    ring.head = static_cast<std::uint8_t>((slot + 1) % ring.capacity);
    ++ring.count;
}

std::optional<SegmentFingerprint> RecentSegments::newestWithSameSeq(const Ring& ring,
                                                                    const SegmentFingerprint& segment) const
{
    if (!ring.count)
        return {};
    const auto block = view(ring);
    for (std::uint32_t back = 1; back <= ring.count; ++back) {
        const auto slot = (ring.head + ring.capacity - back) % ring.capacity;
        if (isForgotten(block.rest[slot].ordinal, segment.ordinal))
            break;
        if (block.rest[slot].seq == segment.seq)
            return at(block, slot);
    }
    return {};
}

bool RecentSegments::hasPayloadElsewhere(const Ring& ring, const SegmentFingerprint& segment) const
{
    if (!ring.count)
        return false;
    const auto block = view(ring);
    const auto digest = segment.payloadDigest & keptDigest;
    if (!anyEqual(block.digestLow, ring.capacity, static_cast<std::uint32_t>(digest)))
        return false;
    for (std::uint32_t back = 1; back <= ring.count; ++back) {
        const auto slot = (ring.head + ring.capacity - back) % ring.capacity;
        const auto earlier = at(block, slot);
        if (isForgotten(earlier.ordinal, segment.ordinal))
            break;
        if (earlier.payloadDigest == digest && earlier.seq != segment.seq)
            return true;
    }
    return false;
}

void RecentSegments::prefetch(const Ring& ring) const
{
    if (!ring.capacity)
        return;
    const auto block = view(ring);
    for (std::uint32_t slot = 0; slot < ring.capacity; slot += 16) // a cache line of words each
        __builtin_prefetch(block.digestLow + slot);
    __builtin_prefetch(block.rest + ring.head);
}

} // namespace netrondo
