// Bytes that arrive in pieces, in any order and perhaps twice.
#pragma once

#include "Base/Bytes.h"

#include <algorithm>
#include <cstdint>
#include <vector>

namespace netrondo {

class PieceBuffer {
public:
    /// Takes bytes that belong at `offset`; the caller bounds both. Of bytes that came before, the later ones hold.
    void add(std::size_t offset, Bytes bytes)
    {
        const auto end = offset + bytes.size();
        if (bytes_.size() < end)
            bytes_.resize(end);
        std::ranges::copy(bytes, bytes_.begin() + static_cast<std::ptrdiff_t>(offset));
        Range merged{offset, end};
        std::erase_if(ranges_, [&](const Range& range) {
            if (range.from > merged.to || range.to < merged.from)
                return false;
            merged.from = std::min(merged.from, range.from);
            merged.to = std::max(merged.to, range.to);
            return true;
        });
        ranges_.insert(std::ranges::lower_bound(ranges_, merged.from, {}, &Range::from), merged);
    }
    /// What is there from the first byte on without a gap.
    Bytes beginning() const
    {
        return ranges_.empty() || ranges_[0].from ? Bytes() : Bytes(bytes_).first(ranges_[0].to);
    }
    /// Behind the last byte that has come.
    std::size_t end() const { return bytes_.size(); }

private:
    struct Range {
        std::size_t from, to;
    };
    std::vector<std::uint8_t> bytes_;
    std::vector<Range> ranges_; ///< what has come, in order and apart
};

} // namespace netrondo
