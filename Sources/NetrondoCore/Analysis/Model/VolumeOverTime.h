// How much was sent when: packets and bytes in even steps of time, in memory that does not grow with the capture.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace netrondo {

/// Starts with fine steps and doubles their width whenever the span of time outgrows the bins. Frames may come in any
/// order. Steps begin at whole multiples of their width.
class VolumeOverTime {
public:
    static constexpr std::size_t mostBins = 4096;

    struct Bin {
        std::uint64_t packets = 0;
        std::uint64_t bytes = 0;
        friend bool operator==(const Bin&, const Bin&) = default;
    };

    /// A frame, or several at one time. Takes no memory once the bins are there.
    void add(double seconds, std::uint64_t bytes, std::uint64_t packets = 1);

    bool empty() const { return bins_.empty(); }
    std::span<const Bin> bins() const { return bins_; }
    double width() const { return width_; }                                    ///< of a bin, in seconds
    double start() const { return static_cast<double>(firstIndex_) * width_; } ///< of the first bin
    double first() const { return first_; }                                    ///< the earliest time that was added
    double last() const { return last_; }                                      ///< the latest

    /// What lies between two times; a bin that lies there in part counts in proportion.
    Bin between(double from, double to) const;

    friend bool operator==(const VolumeOverTime& a, const VolumeOverTime& b)
    {
        return a.bins_ == b.bins_ && a.width_ == b.width_ && a.firstIndex_ == b.firstIndex_ && a.first_ == b.first_
            && a.last_ == b.last_;
    }

private:
    void coarsen();

    std::vector<Bin> bins_;
    double width_ = 1.0 / 65536;
    std::int64_t firstIndex_ = 0; ///< of the first bin, counted in steps from 1970
    double first_ = 0, last_ = 0;
    std::size_t latest_ = 0;               ///< the bin of the latest frame
    double latestFrom_ = 0, latestTo_ = 0; ///< the times that lie in it
};

} // namespace netrondo
