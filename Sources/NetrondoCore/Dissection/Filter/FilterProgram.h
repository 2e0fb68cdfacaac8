// A filter's tree made ready for evaluation: its tests in a row, each saying where to go on.
#pragma once

#include "Dissection/Decode/PacketDecoder.h"
#include "Dissection/Filter/DisplayFilter.h"
#include "Dissection/Filter/DisplayFilterCatalog.h"
#include "Dissection/Filter/FilterComparison.h"
#include "Dissection/Filter/FrameGlance.h"

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace netrondo {

/// One `present` or `compare` of the filter.
struct FilterTest {
    const DisplayFilterField* field;
    GlanceField glance;
    std::optional<FilterComparison> comparison; ///< none: whether the field is present
    std::uint32_t ifTrue = 0;                   ///< the test that comes next, or `FilterProgram::accept` or `reject`
    std::uint32_t ifFalse = 0;
};

/// "and", "or" and "not" are nothing but the order in which the tests follow one another, so that a long filter needs
/// neither a stack nor a look at tests that no longer matter.
class FilterProgram {
public:
    static constexpr std::uint32_t accept = 0xffffffff;
    static constexpr std::uint32_t reject = 0xfffffffe;

    FilterProgram() = default;
    /// The nodes' names are known ones.
    explicit FilterProgram(std::span<const DisplayFilter::Node> nodes);

    bool matches(const DecodedFrame& frame) const;

    /// Goes from test to test: `answer(test)` says what each one gives, or nothing where that is not known; then it is
    /// not known what the filter gives either.
    template <typename Answer> std::optional<bool> run(Answer answer) const
    {
        std::uint32_t next = 0;
        while (next < tests_.size()) {
            const auto& test = tests_[next];
            const std::optional<bool> holds = answer(test);
            if (!holds)
                return {};
            next = *holds ? test.ifTrue : test.ifFalse;
        }
        return next == accept;
    }

    std::span<const FilterTest> tests() const { return tests_; }

private:
    std::vector<FilterTest> tests_;
};

} // namespace netrondo
