// Arbitrary text through the filter compiler and its company, and arbitrary filters put to arbitrary frames.
#pragma once

#include "Base/Bytes.h"
#include "Base/Json.h"
#include "Dissection/Decode/PacketDecoder.h"
#include "Dissection/Filter/DisplayFilter.h"
#include "Dissection/Filter/DisplayFilterCompleter.h"
#include "Dissection/Filter/FrameSelector.h"

#include <algorithm>
#include <limits>
#include <string>

namespace netrondo::fuzz {

/// What compiles prints to the same filter again; completion leaves the text before the typed name alone.
inline void filter(Bytes input)
{
    const auto text = asText(input);
    const auto compiled = DisplayFilter::compile(text);
    if (compiled) {
        const auto again = DisplayFilter::compile(compiled->text());
        NR_ASSERT(again && *again == *compiled);
        std::string json;
        TextOutput out(json);
        JsonWriter writer(out);
        write(writer, *compiled);
    } else {
        NR_ASSERT(!compiled.error().description().empty());
    }
    const auto suggestions = DisplayFilterCompleter::suggestions(text, std::numeric_limits<int>::max());
    NR_ASSERT(suggestions.empty() || !DisplayFilterCompleter::isInValuePosition(text));
    for (const auto& suggestion : suggestions)
        NR_ASSERT(DisplayFilterCompleter::applying(suggestion, text).ends_with(suggestion.insertText));
}

/// The filter's text up to the first line end, then a frame. Whether decoded or seen at a glance, the answer is one.
inline void filterEvaluate(Bytes input)
{
    const auto end = std::ranges::find(input, '\n');
    if (end == input.end())
        return;
    const auto compiled = DisplayFilter::compile(asText({input.begin(), end}));
    if (!compiled)
        return;
    CaptureFrame frame;
    frame.linkType = LinkType::ethernet;
    frame.data = {end + 1, input.end()};
    frame.capturedLength = frame.originalLength = static_cast<std::uint32_t>(frame.data.size());
    PacketDecoder decoder;
    DecodedFrame decoded;
    decoder.decodeNext(frame, decoded);
    const bool matches = compiled->matches(decoded);
    const auto seen = matchesAtAGlance(*compiled, frame);
    NR_ASSERT(!seen || *seen == matches);
    const auto opposite = DisplayFilter::compile("not (" + compiled->text() + ")");
    NR_ASSERT(!opposite || opposite->matches(decoded) != matches); // none only at the bound of nesting
}

} // namespace netrondo::fuzz
