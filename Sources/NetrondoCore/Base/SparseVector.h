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
    /// The number's element, made when there is none yet.
    T& at(std::uint32_t number)
    {
        while (places_.size() <= number)
            places_.append();
        auto& place = places_[number];
        if (!place)
            place = elements_.append() + 1;
        return elements_[place - 1];
    }
    /// The same for reading: the default element where there is none. The number is below `size()`.
    const T& operator[](std::uint32_t number) const
    {
        static const T none{};
        const auto place = places_[number];
        return place ? elements_[place - 1] : none;
    }

    /// For callers that look many numbers up: bring closer where an element is found, then the element.
    void prefetchPlace(std::uint32_t number) const
    {
        if (number < places_.size())
            netrondo::prefetch(&places_[number]);
    }
    void prefetchElement(std::uint32_t number) const
    {
        if (number < places_.size() && places_[number])
            netrondo::prefetch(&elements_[places_[number] - 1]);
    }

private:
    PagedVector<std::uint32_t> places_; ///< number of the element + 1, or 0
    PagedVector<T> elements_;
};

} // namespace netrondo
