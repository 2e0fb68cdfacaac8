// Elements for some numbers out of many.
#pragma once

#include "Base/PagedVector.h"
#include "Base/Prefetch.h"

#include <cstdint>

namespace netrondo {

/// Elements by 32-bit number where most numbers have none: such a number takes four bytes. Elements never move, and lie
/// in the order in which they were made.
template <typename T> class SparseVector {
public:
    /// One more than the highest number that has an element.
    std::uint32_t size() const { return places_.size(); }
    /// Where the number's element lies, from 1; it is made when there is none yet. Whoever keeps the place by the
    /// number spares itself the search.
    std::uint32_t placeOf(std::uint32_t number)
    {
        while (places_.size() <= number)
            places_.append();
        auto& place = places_[number];
        if (!place)
            place = elements_.append() + 1;
        return place;
    }
    T& at(std::uint32_t place) { return elements_[place - 1]; }
    /// The same for reading: the default element where there is none. The number is below `size()`.
    const T& operator[](std::uint32_t number) const
    {
        static const T none{};
        const auto place = places_[number];
        return place ? elements_[place - 1] : none;
    }

    void prefetch(std::uint32_t place) const { netrondo::prefetch(&elements_[place - 1]); }

private:
    PagedVector<std::uint32_t> places_; ///< by number; 0 where there is no element
    PagedVector<T> elements_;
};

} // namespace netrondo
