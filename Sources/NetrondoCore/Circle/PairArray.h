// The conversations a picture is made of, shared rather than copied when the view is laid out anew.
#pragma once

#include "Analysis/Model/CommPair.h"

#include <memory>
#include <vector>

namespace netrondo {

/// An array of pairs that never changes; copies share it.
class PairArray {
public:
    PairArray() : PairArray(std::vector<CommPair>()) { }
    PairArray(std::vector<CommPair> pairs) : pairs_(std::make_shared<const std::vector<CommPair>>(std::move(pairs))) { }

    std::size_t size() const { return pairs_->size(); }
    bool empty() const { return pairs_->empty(); }
    const CommPair& operator[](std::size_t index) const { return (*pairs_)[index]; }
    auto begin() const { return pairs_->begin(); }
    auto end() const { return pairs_->end(); }

    friend bool operator==(const PairArray& a, const PairArray& b)
    {
        return a.pairs_ == b.pairs_ || *a.pairs_ == *b.pairs_;
    }

private:
    std::shared_ptr<const std::vector<CommPair>> pairs_;
};

} // namespace netrondo
