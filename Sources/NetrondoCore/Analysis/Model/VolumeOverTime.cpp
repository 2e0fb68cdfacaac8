// Packets and bytes in even steps of time.
#include "Analysis/Model/VolumeOverTime.h"

#include <algorithm>
#include <cmath>

namespace netrondo {
namespace {

/// A damaged time may be anything; beyond this no step of the finest width has a number.
constexpr double endOfTime = 1e13;

std::int64_t halved(std::int64_t index)
{
    return index >> 1; // towards the past, for times before 1970 as well
}

} // namespace

void VolumeOverTime::coarsen()
{
    const auto newFirst = halved(firstIndex_);
    const auto newLast = halved(firstIndex_ + static_cast<std::int64_t>(bins_.size()) - 1);
    std::vector<Bin> merged(static_cast<std::size_t>(newLast - newFirst + 1));
    for (std::size_t i = 0; i < bins_.size(); ++i) {
        auto& bin = merged[static_cast<std::size_t>(halved(firstIndex_ + static_cast<std::int64_t>(i)) - newFirst)];
        bin.packets += bins_[i].packets;
        bin.bytes += bins_[i].bytes;
    }
    merged.reserve(mostBins);
    bins_ = std::move(merged);
    firstIndex_ = newFirst;
    width_ *= 2;
}

void VolumeOverTime::add(double seconds, std::uint64_t bytes, std::uint64_t packets)
{
    if (seconds >= latestFrom_ && seconds < latestTo_) { // most frames come hard upon another
        first_ = std::min(first_, seconds);
        last_ = std::max(last_, seconds);
        bins_[latest_].packets += packets;
        bins_[latest_].bytes += bytes;
        return;
    }
    seconds = std::isfinite(seconds) ? std::clamp(seconds, -endOfTime, endOfTime) : 0;
    const auto indexOf = [&] { return static_cast<std::int64_t>(std::floor(seconds / width_)); };
    auto index = indexOf();
    if (bins_.empty()) {
        bins_.reserve(mostBins);
        bins_.emplace_back();
        firstIndex_ = index;
        first_ = last_ = seconds;
    }
    first_ = std::min(first_, seconds);
    last_ = std::max(last_, seconds);
    constexpr auto most = static_cast<std::int64_t>(mostBins);
    for (const auto size = [&] { return static_cast<std::int64_t>(bins_.size()); };
         index >= firstIndex_ + most || index < firstIndex_ + size() - most; index = indexOf())
        coarsen();
    if (index < firstIndex_) {
        bins_.insert(bins_.begin(), static_cast<std::size_t>(firstIndex_ - index), Bin());
        firstIndex_ = index;
    }
    const auto at = static_cast<std::size_t>(index - firstIndex_);
    if (at >= bins_.size())
        bins_.resize(at + 1);
    bins_[at].packets += packets;
    bins_[at].bytes += bytes;
    latest_ = at;
    latestFrom_ = static_cast<double>(index) * width_; // exact: the width is a power of two
    latestTo_ = std::min(static_cast<double>(index + 1) * width_, endOfTime);
}

VolumeOverTime::Bin VolumeOverTime::between(double from, double to) const
{
    double packets = 0, bytes = 0;
    const double left = (from - start()) / width_, right = (to - start()) / width_;
    const auto size = static_cast<double>(bins_.size());
    for (auto i = std::floor(std::clamp(left, 0.0, size)); i < std::min(right, size); ++i) {
        const double share = std::min(right, i + 1) - std::max(left, i);
        const auto& bin = bins_[static_cast<std::size_t>(i)];
        packets += share * static_cast<double>(bin.packets);
        bytes += share * static_cast<double>(bin.bytes);
    }
    return {static_cast<std::uint64_t>(std::llround(packets)), static_cast<std::uint64_t>(std::llround(bytes))};
}

} // namespace netrondo
