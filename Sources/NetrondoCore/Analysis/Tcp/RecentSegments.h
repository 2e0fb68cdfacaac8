// What the TCP tracker remembers of the last segments of a flow, laid out to be searched quickly.
#pragma once

#include "Base/PagedVector.h"

#include <cstdint>
#include <optional>

namespace netrondo {

/// What is remembered of one earlier segment. Only segments that a later one can be a repetition of are kept, those
/// with payload or SYN; the others merely count, by their ordinal, towards the 64 that the memory reaches back.
struct SegmentFingerprint {
    std::uint32_t ordinal = 0; ///< the flow's how-manieth segment this was, modulo 2^32
    std::uint32_t seq = 0;
    /// Of payloads with the same bytes, so of the same length, the same; 0 without payload. 48 bits of it are kept:
    /// among the 64 segments it is compared with, a false match comes once in some 10^12 segments.
    std::uint64_t payloadDigest = 0;
    std::optional<std::uint16_t> ipId; ///< IPv4 identification
};

/// The fingerprints of all flows, in chains of small chunks from the newest to the oldest: a flow of few segments costs
/// one chunk, and a chunk whose segments are all forgotten is used again for the next ones of its flow.
class RecentSegments {
public:
    static constexpr std::uint32_t window = 64;
    /// A chunk's number that stands for none.
    static constexpr std::uint32_t empty = 0;

    /// A flow's chain; belongs to the flow.
    struct Chain {
        std::uint32_t newest = empty;
        std::uint32_t second = empty; ///< the one behind it, to be fetched ahead along with it
    };

    /// Remembers a segment at the head of a flow's chain.
    void remember(Chain& chain, const SegmentFingerprint& segment);

    /// The newest remembered segment with the sequence number of `segment`, which has not been remembered itself yet.
    std::optional<SegmentFingerprint> newestWithSameSeq(const Chain& chain, const SegmentFingerprint& segment) const;
    /// True when a segment with the same payload, but another sequence number, is remembered.
    bool hasPayloadElsewhere(const Chain& chain, const SegmentFingerprint& segment) const;

    void prefetch(const Chain& chain) const
    {
        if (chain.newest == empty)
            return;
        __builtin_prefetch(&chunks_[chain.newest]);
        __builtin_prefetch(&chunks_[chain.newest].ordinal);
        if (chain.second != empty)
            __builtin_prefetch(&chunks_[chain.second]);
    }

private:
    /// Two cache lines; the first is all that a search without a hit looks at.
    struct alignas(64) Chunk {
        static constexpr std::uint32_t capacity = 7;
        std::uint32_t seq[capacity];
        std::uint32_t older; ///< the next chunk of the chain, or `empty`
        std::uint32_t digestLow[capacity];
        std::uint32_t count; ///< slots in use, filled from the first
        std::uint32_t ordinal[capacity];
        std::uint32_t withIpId; ///< a bit per slot
        std::uint16_t digestHigh[capacity + 1];
        std::uint16_t ipId[capacity + 1];
    };
    static_assert(sizeof(Chunk) == 128);

    static bool isForgotten(std::uint32_t ordinal, std::uint32_t now) { return now - ordinal > window; }
    static SegmentFingerprint at(const Chunk& chunk, std::uint32_t slot);
    std::uint32_t chunkFor(std::uint32_t newest, std::uint32_t now);

    PagedVector<Chunk> chunks_; ///< number 0 is not used
};

} // namespace netrondo
