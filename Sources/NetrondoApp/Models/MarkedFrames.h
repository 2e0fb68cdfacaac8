// Which frames are marked: a bit for each, so that ten million can be marked and searched within one picture.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

namespace netrondo {

class MarkedFrames {
public:
    bool have(std::uint32_t frame) const
    {
        return frame / 64 < words_.size() && (words_[frame / 64] >> frame % 64 & 1) != 0;
    }
    /// Marks all from the first to the last, both included, or takes their marks away.
    void set(std::uint32_t first, std::uint32_t last, bool marked);
    void clear() { words_.clear(); }

    /// The first marked frame that is not before this one.
    std::optional<std::uint32_t> next(std::int64_t frame) const;
    /// The last marked frame that is not behind this one.
    std::optional<std::uint32_t> previous(std::int64_t frame) const;

private:
    std::vector<std::uint64_t> words_; ///< as far as one is marked
};

} // namespace netrondo
