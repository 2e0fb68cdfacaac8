// The rings of remembered segments: appending, searching, growing.
#include "Analysis/Tcp/RecentSegments.h"

#include <algorithm>

namespace netrondo {
namespace {

constexpr std::uint8_t stampMask = 0x7f;
constexpr std::uint8_t hasIpId = 0x80;

// Plain enough for the compiler to compare a register full of words at a time.
bool anyEqual(const std::uint32_t* words, std::uint32_t count, std::uint32_t value)
{
    std::uint32_t found = 0;
    for (std::uint32_t i = 0; i < count; ++i)
        found |= words[i] == value ? 1u : 0u;
    return found;
}

std::uint8_t digestHigh(const SegmentFingerprint& segment)
{
    return static_cast<std::uint8_t>(segment.payloadDigest >> 32);
}

/// How many segments back the one with this stamp lies: never more than 127 in a ring that is searched, because what
/// lies 64 back is dropped when the next one comes, and a ring whose newest lies further back than that is passed over.
std::uint32_t distance(std::uint8_t stamp, std::uint32_t now)
{
    return (now - stamp) & stampMask;
}

} // namespace

std::uint32_t RecentSegments::allocate(std::uint32_t step)
{
    if (auto& free = freeBlocks_[step]; !free.empty()) {
        const auto block = free.back();
        free.pop_back();
        return block;
    }
    if (linesUsed_ + lines[step] > linesPerPage) {
        pages_.push_back(makeLargeBlock<std::byte>(std::size_t{linesPerPage} * lineSize));
        linesUsed_ = 0;
    }
    const auto block = static_cast<std::uint32_t>(pages_.size() - 1) * linesPerPage + linesUsed_;
    linesUsed_ += lines[step];
    return block;
}

void RecentSegments::grow(Ring& ring)
{
    const auto old = ring;
    ring.step = (old.step + 1u) & 7;
    ring.block = allocate(ring.step);
    ring.head = old.count & 63;
    if (!old.step)
        return;
    const auto from = view(old), to = view(ring);
    for (std::uint32_t i = 0; i < old.count; ++i) { // a ring grows when it is full: its oldest entry stands at its head
        const auto slot = (old.head + i) % capacities[old.step];
        to.digestLow[i] = from.digestLow[slot];
        to.rest[i] = from.rest[slot];
    }
    freeBlocks_[old.step].push_back(old.block);
}

void RecentSegments::dropForgotten(Ring& ring, std::uint32_t now) const
{
    if (ring.age >= window)
        ring.count = 0;
    while (ring.count > 0 && distance(view(ring).rest[slotOf(ring, ring.count)].stamp, now) >= window)
        ring.count = (ring.count - 1u) & 127;
}

void RecentSegments::remember(Ring& ring, const SegmentFingerprint& segment)
{
    dropForgotten(ring, segment.ordinal);
    if (ring.count == capacities[ring.step])
        grow(ring);
    const auto block = view(ring);
    const std::uint32_t slot = ring.head;
    block.digestLow[slot] = static_cast<std::uint32_t>(segment.payloadDigest);
    block.rest[slot] = {segment.seq, segment.ipId.value_or(0), digestHigh(segment),
                        static_cast<std::uint8_t>((segment.ordinal & stampMask) | (segment.ipId ? hasIpId : 0u))};
    ring.head = slot + 1 == capacities[ring.step] ? 0 : (slot + 1) & 63;
    ring.count = (ring.count + 1u) & 127;
    ring.age = 0;
}

std::optional<SegmentFingerprint> RecentSegments::newestWithSameSeq(const Ring& ring,
                                                                    const SegmentFingerprint& segment) const
{
    if (!ring.count || ring.age > window)
        return {};
    const auto block = view(ring);
    for (std::uint32_t back = 1; back <= ring.count; ++back) {
        const auto slot = slotOf(ring, back);
        const auto& rest = block.rest[slot];
        const auto ago = distance(rest.stamp, segment.ordinal);
        if (ago > window)
            break;
        if (rest.seq == segment.seq)
            return SegmentFingerprint{segment.ordinal - ago, rest.seq,
                                      std::uint64_t{rest.digestHigh} << 32 | block.digestLow[slot],
                                      rest.stamp & hasIpId ? std::optional(rest.ipId) : std::nullopt};
    }
    return {};
}

bool RecentSegments::hasPayloadElsewhere(const Ring& ring, const SegmentFingerprint& segment) const
{
    if (!ring.count || ring.age > window)
        return false;
    const auto block = view(ring);
    const auto digestLow = static_cast<std::uint32_t>(segment.payloadDigest);
    if (!anyEqual(block.digestLow, capacities[ring.step], digestLow))
        return false;
    for (std::uint32_t back = 1; back <= ring.count; ++back) {
        const auto slot = slotOf(ring, back);
        const auto& rest = block.rest[slot];
        if (distance(rest.stamp, segment.ordinal) > window)
            break;
        if (block.digestLow[slot] == digestLow && rest.digestHigh == digestHigh(segment) && rest.seq != segment.seq)
            return true;
    }
    return false;
}

} // namespace netrondo
