// What the TCP tracker remembers of the last segments of a flow, laid out to be searched quickly.
#pragma once

#include "Base/LargeBlock.h"

#include <cstdint>
#include <vector>

namespace netrondo {

/// What is remembered of one earlier segment. Only segments that a later one can be a repetition of are kept, those
/// with payload or SYN; the others merely count, by their ordinal, towards the 64 that the memory reaches back.
struct SegmentFingerprint {
    std::uint32_t ordinal = 0; ///< the flow's how-manieth segment this was, modulo 2^32
    std::uint32_t seq = 0;
    std::uint64_t payloadDigest =
        0;                  ///< of payloads with the same bytes, so of the same length, the same; 0 without payload
    std::int32_t ipId = -1; ///< IPv4 identification, -1 for none
};

/// The rings of fingerprints of all flows. A ring begins with room for four and doubles up to 64 as it fills, so that a
/// flow of few segments costs little.
class RecentSegments {
public:
    static constexpr std::uint32_t window = 64;

    /// One flow's place in here; belongs to the flow.
    struct Ring {
        std::uint32_t block = 0;   ///< in units of the pool, when `capacity` is not 0
        std::uint8_t capacity = 0; ///< 0, 4, 8, 16, 32 or 64
        std::uint8_t head = 0;     ///< where the next one goes
        std::uint8_t count = 0;
    };

    /// Appends the segment with this ordinal; what lies 64 or more segments back is forgotten.
    void remember(Ring& ring, const SegmentFingerprint& segment);

    /// The newest remembered segment with this sequence number, seen from the segment with ordinal `now`.
    const SegmentFingerprint* newestAt(const Ring& ring, std::uint32_t seq, std::uint32_t now,
                                       SegmentFingerprint& storage) const;
    /// True when one with this payload, but another sequence number, is remembered.
    bool hasPayloadElsewhere(const Ring& ring, const SegmentFingerprint& segment) const;

    void prefetch(const Ring& ring) const;

private:
    // A block is an array of arrays: first all sequence numbers, then the low halves of all digests (what the two
    // searches run over, several at a time), then the rest.
    struct View {
        std::uint32_t* seq;
        std::uint32_t* digestLow;
        std::uint32_t* digestHigh;
        std::uint32_t* ordinal;
        std::int32_t* ipId;
    };
    static constexpr std::uint32_t wordsPerSegment = 5;
    static constexpr std::uint32_t wordsPerUnit = 4 * wordsPerSegment; ///< the smallest block
    static constexpr std::uint32_t unitsPerPage = 1 << 15;             ///< 2.5 MiB

    View view(const Ring& ring) const;
    SegmentFingerprint at(const View& block, std::uint32_t slot) const;
    bool isForgotten(std::uint32_t ordinal, std::uint32_t now) const { return now - ordinal > window; }
    std::uint32_t allocate(std::uint8_t capacity);
    void grow(Ring& ring);

    std::vector<LargeBlock<std::uint32_t>> pages_;
    std::uint32_t unitsUsed_ = unitsPerPage;   ///< of the last page
    std::vector<std::uint32_t> freeBlocks_[5]; ///< outgrown blocks by size, to be used again
};

} // namespace netrondo
