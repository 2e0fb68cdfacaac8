// A glance first, the decoder where that is not enough.
#include "Dissection/Filter/FrameSelector.h"

#include "Dissection/Filter/FilterProgram.h"
#include "Dissection/Filter/FrameGlance.h"

#include <utility>

namespace netrondo {

FrameSelector::FrameSelector(std::optional<DisplayFilter> filter, bool isNanosecond, FrameHistory history,
                             DecodeDepth depth)
    : filter_(std::move(filter)), decoder_(isNanosecond), history_(std::move(history)), depth_(depth)
{ }

void FrameSelector::decode(const CaptureFrame& frame, DecodedFrame& decoded, DecodeDepth depth,
                           const std::optional<OrdinaryHeaders>& headers)
{
    decoder_.decodeCounted(frame, decoded, depth, &headers);
    decoder_.mark(decoded, marks_);
}

void FrameSelector::skip(const CaptureFrame& frame)
{
    decoder_.skip(frame);
    if (history_)
        marks_ = history_(frame);
}

bool FrameSelector::next(const CaptureFrame& frame, DecodedFrame& decoded)
{
    skip(frame);
    const auto headers = OrdinaryHeaders::find(frame);
    const auto seen = filter_ ? matchesAtAGlance(*filter_, frame, headers, &decoder_.session()) : true;
    if (seen == false)
        return false;
    decode(frame, decoded, seen ? depth_ : DecodeDepth::tree, headers); // the filter may ask for anything
    return seen || filter_->matches(decoded);
}

bool FrameSelector::next(const CaptureFrame& frame)
{
    skip(frame);
    const auto headers = OrdinaryHeaders::find(frame);
    const auto seen = filter_ ? matchesAtAGlance(*filter_, frame, headers, &decoder_.session()) : true;
    if (seen)
        return *seen;
    decode(frame, scratch_, DecodeDepth::tree, headers);
    return filter_->matches(scratch_);
}

std::optional<bool> matchesAtAGlance(const DisplayFilter& filter, const CaptureFrame& frame,
                                     const std::optional<OrdinaryHeaders>& headers, const DecodeSession* session)
{
    FrameGlance glance(frame, headers, session);
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
