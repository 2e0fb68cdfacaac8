// Whole words wherever it can be.
#include "Models/MarkedFrames.h"

#include <algorithm>
#include <bit>

namespace netrondo {

void MarkedFrames::set(std::uint32_t first, std::uint32_t last, bool marked)
{
    if (first > last)
        return;
    if (marked && last / 64 >= words_.size())
        words_.resize(last / 64 + 1);
    for (std::size_t word = first / 64; word <= last / 64 && word < words_.size(); ++word) {
        auto bits = ~std::uint64_t{0};
        if (word == first / 64)
            bits &= ~std::uint64_t{0} << first % 64;
        if (word == last / 64)
            bits &= ~std::uint64_t{0} >> (63 - last % 64);
        words_[word] = marked ? words_[word] | bits : words_[word] & ~bits;
    }
}

std::optional<std::uint32_t> MarkedFrames::next(std::int64_t frame) const
{
    frame = std::max<std::int64_t>(frame, 0);
    for (auto word = static_cast<std::size_t>(frame / 64); word < words_.size(); ++word, frame = 0) {
        const auto left = words_[word] & ~std::uint64_t{0} << frame % 64;
        if (left)
            return static_cast<std::uint32_t>(word * 64) + static_cast<std::uint32_t>(std::countr_zero(left));
    }
    return {};
}

std::optional<std::uint32_t> MarkedFrames::previous(std::int64_t frame) const
{
    frame = std::min(frame, static_cast<std::int64_t>(words_.size()) * 64 - 1);
    for (; frame >= 0; frame = frame / 64 * 64 - 1) {
        const auto left = words_[static_cast<std::size_t>(frame / 64)] & ~std::uint64_t{0} >> (63 - frame % 64);
        if (left)
            return static_cast<std::uint32_t>(frame / 64 * 64 + 63 - std::countl_zero(left));
    }
    return {};
}

} // namespace netrondo
