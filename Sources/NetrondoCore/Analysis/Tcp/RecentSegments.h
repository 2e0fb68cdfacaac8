// What the TCP tracker remembers of the last segments of a flow, laid out to be searched quickly.
#pragma once

#include "Base/LargeBlock.h"

#include <cstdint>
#include <optional>
#include <vector>

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

/// The rings of fingerprints of all flows. A ring begins with room for four and doubles up to 64 as it fills, so that a
/// flow of few segments costs little; the blocks that rings have outgrown serve other flows.
class RecentSegments {
public:
    static constexpr std::uint32_t window = 64;

    /// One flow's place in here; belongs to the flow.
    struct Ring {
        std::uint32_t block = 0;   ///< where its words begin, when `capacity` is not 0
        std::uint8_t capacity = 0; ///< 0, 4, 8, 16, 32 or 64
        std::uint8_t head = 0;     ///< where the next one goes
        std::uint8_t count = 0;
    };

    /// Remembers a segment; what lies 64 or more segments back is forgotten.
    void remember(Ring& ring, const SegmentFingerprint& segment);

    /// The newest remembered segment with the sequence number of `segment`, which has not been remembered itself yet.
    std::optional<SegmentFingerprint> newestWithSameSeq(const Ring& ring, const SegmentFingerprint& segment) const;
    /// True when a segment with the same payload, but another sequence number, is remembered.
    bool hasPayloadElsewhere(const Ring& ring, const SegmentFingerprint& segment) const;

    void prefetch(const Ring& ring) const;

private:
    /// All but the low half of the digest, which stands apart: it is what every segment with payload is searched for.
    struct Rest {
        std::uint32_t ordinal;
        std::uint32_t seq;
        std::uint16_t digestHigh;
        std::uint16_t ipId;
        std::uint32_t hasIpId;
    };
    /// A block holds the low halves of all digests, then the rest of all segments.
    struct View {
        std::uint32_t* digestLow;
        Rest* rest;
    };
    static constexpr std::uint32_t bytesPerSegment = sizeof(std::uint32_t) + sizeof(Rest);
    static constexpr std::uint32_t unit = 4; ///< segments in the smallest block
    static constexpr std::uint32_t unitsPerPage = 1 << 15;

    View view(const Ring& ring) const;
    static SegmentFingerprint at(const View& block, std::uint32_t slot);
    static bool isForgotten(std::uint32_t ordinal, std::uint32_t now) { return now - ordinal > window; }
    std::uint32_t allocate(std::uint8_t capacity);
    void grow(Ring& ring);

    std::vector<LargeBlock<std::byte>> pages_;
    std::uint32_t unitsUsed_ = unitsPerPage;   ///< of the last page
    std::vector<std::uint32_t> freeBlocks_[5]; ///< outgrown blocks by size
};

} // namespace netrondo
