// The chains of remembered segments: appending, searching, using old chunks again.
#include "Analysis/Tcp/RecentSegments.h"

namespace netrondo {
namespace {

// Plain enough for the compiler to compare several words at a time.
template <std::size_t N> bool anyEqual(const std::uint32_t (&words)[N], std::uint32_t value)
{
    std::uint32_t found = 0;
    for (const auto word : words)
        found |= word == value ? 1u : 0u;
    return found;
}

constexpr std::uint64_t keptDigest = (std::uint64_t{1} << 48) - 1;

} // namespace

SegmentFingerprint RecentSegments::at(const Chunk& chunk, std::uint32_t slot)
{
    SegmentFingerprint segment{chunk.ordinal[slot], chunk.seq[slot],
                               std::uint64_t{chunk.digestHigh[slot]} << 32 | chunk.digestLow[slot], std::nullopt};
    if (chunk.withIpId >> slot & 1)
        segment.ipId = chunk.ipId[slot];
    return segment;
}

/// An empty chunk for the head of a chain whose head is full: its oldest one where that is forgotten, else a new one.
std::uint32_t RecentSegments::chunkFor(std::uint32_t newest, std::uint32_t now)
{
    if (newest != empty) {
        auto* link = &chunks_[newest].older;
        while (*link != empty && chunks_[*link].older != empty)
            link = &chunks_[*link].older;
        const auto oldest = *link;
        if (oldest != empty && isForgotten(chunks_[oldest].ordinal[Chunk::capacity - 1], now)) {
            *link = empty;
            chunks_[oldest] = {};
            return oldest;
        }
    }
    if (chunks_.size() == 0)
        chunks_.append();
    return chunks_.append();
}

void RecentSegments::remember(Chain& chain, const SegmentFingerprint& segment)
{
    if (chain.newest == empty || chunks_[chain.newest].count == Chunk::capacity) {
        const auto added = chunkFor(chain.newest, segment.ordinal);
        chunks_[added].older = chain.newest;
        chain = {added, chain.newest};
    }
    auto& chunk = chunks_[chain.newest];
    const auto slot = chunk.count++;
    chunk.seq[slot] = segment.seq;
    chunk.digestLow[slot] = static_cast<std::uint32_t>(segment.payloadDigest);
    chunk.digestHigh[slot] = static_cast<std::uint16_t>(segment.payloadDigest >> 32);
    chunk.ordinal[slot] = segment.ordinal;
    chunk.ipId[slot] = segment.ipId.value_or(0);
    chunk.withIpId |= (segment.ipId ? 1u : 0u) << slot;
}

std::optional<SegmentFingerprint> RecentSegments::newestWithSameSeq(const Chain& chain,
                                                                    const SegmentFingerprint& segment) const
{
    for (auto number = chain.newest; number != empty; number = chunks_[number].older) {
        const auto& chunk = chunks_[number];
        if (!anyEqual(chunk.seq, segment.seq))
            continue;
        for (auto slot = chunk.count; slot-- > 0;) {
            if (chunk.seq[slot] != segment.seq)
                continue;
            if (isForgotten(chunk.ordinal[slot], segment.ordinal))
                return {};
            return at(chunk, slot);
        }
    }
    return {};
}

bool RecentSegments::hasPayloadElsewhere(const Chain& chain, const SegmentFingerprint& segment) const
{
    const auto digest = segment.payloadDigest & keptDigest;
    for (auto number = chain.newest; number != empty; number = chunks_[number].older) {
        const auto& chunk = chunks_[number];
        if (!anyEqual(chunk.digestLow, static_cast<std::uint32_t>(digest)))
            continue;
        for (auto slot = chunk.count; slot-- > 0;) {
            const auto earlier = at(chunk, slot);
            if (isForgotten(earlier.ordinal, segment.ordinal))
                return false;
            if (earlier.payloadDigest == digest && earlier.seq != segment.seq)
                return true;
        }
    }
    return false;
}

} // namespace netrondo
