// Frames that were seen before: captured twice, on both sides of a router, or going round in a loop.
#pragma once

#include "Analysis/Expert/FrameSight.h"

#include <array>
#include <cstdint>

namespace netrondo {

class CopyScan {
public:
    explicit CopyScan(const ExpertPreferences& preferences) : preferences_(preferences) { }

    enum class Copy : std::uint8_t {
        none,
        same,  ///< the same bytes at the same place: a duplicate
        along, ///< the same packet elsewhere on its way: another capture point, or behind a router
    };
    Copy scan(const FrameSight& sight, FindingLog& log);
    /// `duplicatedShare`: of how many of a hundred connections a packet passed twice.
    void finish(FindingLog& log, double duplicatedShare) const;
    /// Packets that were seen again behind a router, or at another capture point.
    std::uint64_t along() const { return along_; }

private:
    struct Seen {
        std::uint64_t sourceMac = 0;
        double first = 0, last = 0; ///< seconds
        std::uint32_t frame = 0;
        std::uint32_t place = 0; ///< interface
        std::uint8_t ttl = 0;
        std::uint8_t passages = 0; ///< with a falling time to live
        std::uint8_t copies = 0;
    };
    static std::uint64_t fingerprintOf(const FrameSight& sight);
    Copy scanRepetition(const FrameSight& sight, Seen& seen, FindingLog& log);

    const ExpertPreferences& preferences_;
    // Nearly all frames are new: they only look at the fingerprint, and write the rest.
    std::array<std::uint64_t, 512> fingerprints_{};
    std::array<Seen, 512> seen_{};
    std::uint64_t frames_ = 0, along_ = 0;
};

} // namespace netrondo
