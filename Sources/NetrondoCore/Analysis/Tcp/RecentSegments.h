// What the TCP tracker remembers of the last segments of a flow, laid out to be searched quickly.
#pragma once

#include "Base/LargeBlock.h"
#include "Base/Prefetch.h"

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

namespace netrondo {

/// What is remembered of one earlier segment. Only segments that a later one can be a repetition of are kept, those
/// with payload or SYN; the others merely count towards the 64 that the memory reaches back.
struct SegmentFingerprint {
    std::uint32_t ordinal = 0; ///< the flow's how-manieth segment this is, modulo 2^32
    std::uint32_t seq = 0;
    /// Of payloads with the same bytes, so of the same length, the same; 0 without payload. 40 bits of it are kept:
    /// among the 64 segments it is compared with, a false match comes once in some 10^10 segments.
    std::uint64_t payloadDigest = 0;
    std::optional<std::uint16_t> ipId; ///< IPv4 identification
};

/// The rings of fingerprints of all flows. A ring begins with one cache line, room for five, and grows to 64 as it
/// fills, so that a flow of few segments costs little; the blocks that rings have outgrown serve other flows.
class RecentSegments {
public:
    static constexpr std::uint32_t window = 64;

    /// One flow's place in here; belongs to the flow.
    struct Ring {
        std::uint32_t block = 0;    ///< where it begins, in cache lines, when it has room
        std::uint16_t step : 3 = 0; ///< which of `capacities` it has
        std::uint16_t head : 6 = 0; ///< where the next one goes
        std::uint16_t count : 7 = 0;
        std::uint8_t age = 0; ///< segments of the flow since the newest remembered one, counted to `window` + 1
        /// How many segments from now on may repeat a remembered sequence number although theirs lies ahead of all that
        /// was sent: 0 when the last 64 came in order, each ahead of the one before. The tracker's own.
        std::uint8_t disorder = 0;
    };

    /// Told of every segment of the flow before it is searched for or remembered.
    static void passSegment(Ring& ring) { ring.age = static_cast<std::uint8_t>(ring.age + (ring.age <= window)); }

    /// Remembers a segment; what lies 64 or more segments back is forgotten.
    void remember(Ring& ring, const SegmentFingerprint& segment);

    /// The newest remembered segment with the sequence number of `segment`, which has not been remembered itself yet.
    std::optional<SegmentFingerprint> newestWithSameSeq(const Ring& ring, const SegmentFingerprint& segment) const;
    /// True when a segment with the same payload, but another sequence number, is remembered.
    bool hasPayloadElsewhere(const Ring& ring, const SegmentFingerprint& segment) const;

    void prefetch(const Ring& ring) const
    {
        if (!ring.step)
            return;
        const auto* block = line(ring.block);
        const auto capacity = capacities[ring.step];
        for (std::uint32_t at = 0; at < capacity * sizeof(std::uint32_t); at += lineSize)
            netrondo::prefetch(block + at);
        netrondo::prefetch(block + capacity * sizeof(std::uint32_t) + ring.head * sizeof(Rest));
    }

private:
    /// All but the low part of the digest, which stands apart: it is what every segment with payload is searched for.
    struct Rest {
        std::uint32_t seq;
        std::uint16_t ipId;
        std::uint8_t digestHigh;
        std::uint8_t stamp; ///< the low 7 bits of the ordinal, above them whether there is an `ipId`
    };
    /// A block holds the low parts of all digests, then the rest of all segments.
    struct View {
        std::uint32_t* digestLow;
        Rest* rest;
    };
    static constexpr std::uint32_t lineSize = 64;
    static constexpr std::uint32_t bytesPerSegment = sizeof(std::uint32_t) + sizeof(Rest);
    static constexpr std::array<std::uint8_t, 6> capacities = {0, 5, 10, 20, 40, 64};
    static constexpr std::array<std::uint32_t, 6> lines = {0, 1, 2, 4, 8, 12};
    static constexpr std::uint32_t linesPerPage = (2 << 20) / lineSize;

    std::byte* line(std::uint32_t number) const
    {
        return pages_[number / linesPerPage].get() + std::size_t{number % linesPerPage} * lineSize;
    }
    View view(const Ring& ring) const
    {
        auto* bytes = line(ring.block);
        return {reinterpret_cast<std::uint32_t*>(bytes),
                reinterpret_cast<Rest*>(bytes + capacities[ring.step] * sizeof(std::uint32_t))};
    }
    /// Where the one stands that was remembered `back` ago, 1 being the newest.
    static std::uint32_t slotOf(const Ring& ring, std::uint32_t back)
    {
        return ring.head >= back ? ring.head - back : ring.head + capacities[ring.step] - back;
    }
    std::uint32_t allocate(std::uint32_t step);
    void grow(Ring& ring);
    void dropForgotten(Ring& ring, std::uint32_t now) const;

    std::vector<LargeBlock<std::byte>> pages_;
    std::uint32_t linesUsed_ = linesPerPage;                               ///< of the last page
    std::array<std::vector<std::uint32_t>, capacities.size()> freeBlocks_; ///< outgrown blocks by step
};

} // namespace netrondo
