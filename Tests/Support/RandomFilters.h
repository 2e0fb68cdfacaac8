// Filters that could have been typed: catalogue names, values that the frames at hand have or nearly have.
#pragma once

#include "Dissection/Decode/PacketDecoder.h"
#include "Dissection/Filter/DisplayFilter.h"

#include <random>
#include <string>
#include <vector>

namespace netrondo::test {

class RandomFilters {
public:
    explicit RandomFilters(std::uint32_t seed) : random_(seed) { }

    /// Takes the frame's values into the stock that filters compare with.
    void learn(const DecodedFrame& frame);
    DisplayFilter next();

private:
    std::string expression(int depth);
    std::string term();
    std::string value(std::size_t field);
    std::size_t upTo(std::size_t count) { return random_() % count; }

    std::mt19937 random_;
    std::vector<std::vector<std::string>> values_; ///< by the catalogue's fields
};

} // namespace netrondo::test
