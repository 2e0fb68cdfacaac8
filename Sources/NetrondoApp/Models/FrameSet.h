// Some frames of a capture: a bit for each, so that ten million can be chosen and searched within one picture.
#pragma once

#include <QList>
#include <cstdint>
#include <optional>

namespace netrondo {

/// A value; a copy costs nothing until one of the two is changed.
class FrameSet {
public:
    bool have(std::uint32_t frame) const
    {
        return frame / 64 < words_.size() && (words_[frame / 64] >> frame % 64 & 1) != 0;
    }
    /// Takes all from the first to the last in, both included, or out.
    void set(std::uint32_t first, std::uint32_t last, bool isIn);
    void clear() { words_.clear(); }
    /// Whether all of the others are in it as well.
    bool holds(const FrameSet& others) const;
    /// False also when frames were in it once and have been taken out one by one.
    bool empty() const { return words_.isEmpty(); }

    /// The first of them that is not before this frame.
    std::optional<std::uint32_t> next(std::int64_t frame) const;
    /// The last of them that is not behind this frame.
    std::optional<std::uint32_t> previous(std::int64_t frame) const;

    friend bool operator==(const FrameSet&, const FrameSet&) = default;

private:
    QList<quint64> words_; ///< as far as one is in
};

} // namespace netrondo
