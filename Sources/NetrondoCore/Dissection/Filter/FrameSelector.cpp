// A glance first, the decoder where that is not enough.
#include "Dissection/Filter/FrameSelector.h"

#include "Dissection/Filter/FilterProgram.h"
#include "Dissection/Filter/FrameGlance.h"

#include <utility>

namespace netrondo {

FrameSelector::FrameSelector(DisplayFilter filter, bool isNanosecond)
    : filter_(std::move(filter)), decoder_(isNanosecond)
{ }

bool FrameSelector::next(const CaptureFrame& frame, DecodedFrame& decoded)
{
    decoder_.skip(frame);
    ++count_;
    const auto seen = matchesAtAGlance(filter_, frame);
    if (seen == false)
        return false;
    decoder_.decode(frame, count_, decoded);
    return seen ? *seen : filter_.matches(decoded);
}

bool FrameSelector::next(const CaptureFrame& frame)
{
    decoder_.skip(frame);
    ++count_;
    if (const auto seen = matchesAtAGlance(filter_, frame))
        return *seen;
    decoder_.decode(frame, count_, scratch_);
    return filter_.matches(scratch_);
}

std::optional<bool> matchesAtAGlance(const DisplayFilter& filter, const CaptureFrame& frame)
{
    FrameGlance glance(frame);
    return filter.program().run([&](const FilterTest& test) -> std::optional<bool> {
        if (!test.comparison)
            return glance.anyValue(test.glance, [](auto) { return true; });
        bool hasValue = false;
        const auto found = glance.anyValue(test.glance, [&](auto value) {
            hasValue = true;
            return test.comparison->holdsFor(value);
        });
        if (!found)
            return {};
        return *found || (!hasValue && test.comparison->op() == FilterOp::ne);
    });
}

} // namespace netrondo
