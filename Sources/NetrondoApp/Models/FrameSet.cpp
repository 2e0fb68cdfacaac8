// Whole words wherever it can be.
#include "Models/FrameSet.h"

#include <algorithm>
#include <bit>

namespace netrondo {

void FrameSet::set(std::uint32_t first, std::uint32_t last, bool isIn)
{
    if (first > last)
        return;
    if (isIn && last / 64 >= words_.size())
        words_.resize(last / 64 + 1);
    const auto size = words_.size();
    auto* const words = words_.data(); // asked for once: each time it is looked whether they are shared
    for (qsizetype word = first / 64; word <= last / 64 && word < size; ++word) {
        auto bits = ~quint64{0};
        if (word == first / 64)
            bits &= ~quint64{0} << first % 64;
        if (word == last / 64)
            bits &= ~quint64{0} >> (63 - last % 64);
        words[word] = isIn ? words[word] | bits : words[word] & ~bits;
    }
}

bool FrameSet::holds(const FrameSet& others) const
{
    for (qsizetype word = 0; word < others.words_.size(); ++word)
        if (others.words_[word] & ~(word < words_.size() ? words_[word] : 0))
            return false;
    return true;
}

std::optional<std::uint32_t> FrameSet::next(std::int64_t frame) const
{
    frame = std::max<std::int64_t>(frame, 0);
    for (auto word = static_cast<qsizetype>(frame / 64); word < words_.size(); ++word, frame = 0) {
        const auto left = words_[word] & ~quint64{0} << frame % 64;
        if (left)
            return static_cast<std::uint32_t>(word * 64 + std::countr_zero(left));
    }
    return {};
}

std::optional<std::uint32_t> FrameSet::previous(std::int64_t frame) const
{
    frame = std::min(frame, static_cast<std::int64_t>(words_.size()) * 64 - 1);
    for (; frame >= 0; frame = frame / 64 * 64 - 1) {
        const auto left = words_[static_cast<qsizetype>(frame / 64)] & ~quint64{0} >> (63 - frame % 64);
        if (left)
            return static_cast<std::uint32_t>(frame / 64 * 64 + 63 - std::countl_zero(left));
    }
    return {};
}

} // namespace netrondo
