// What a person looks for in a capture: text, bytes, a filter, the other frames of a conversation.
#pragma once

#include "Base/Result.h"
#include "Dissection/Decode/IndexedDecoder.h"
#include "Dissection/Filter/DisplayFilter.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace netrondo {

/// Immutable; any thread may use it with a decoder and a frame of its own.
class FrameSearch {
public:
    /// Frames whose columns or tree rows hold the text; capitals and accents do not count.
    static FrameSearch forText(std::string_view text);
    /// Frames that hold the bytes: pairs of hexadecimal digits, with blanks, colons or dashes between them as one
    /// likes, or the characters between two double quotes. Anything else is an error with a sentence for the user.
    static Result<FrameSearch, std::string> forBytes(std::string_view text);
    static FrameSearch forFilter(DisplayFilter filter) { return FrameSearch(std::move(filter)); }
    /// Frames between the same two ends, either way.
    static FrameSearch forConversation(const FrameSummary& frame) { return FrameSearch(frame); }

    /// Whether it asks for what the streams' history tells of a frame, so that the frame has to be followed first.
    bool readsFindings() const
    {
        const auto* filter = std::get_if<DisplayFilter>(&what_);
        return filter && filter->readsFindings();
    }
    /// Whether the frame is one of them. `scratch` serves decoding, where it is needed.
    CaptureResult<bool> matches(IndexedDecoder& decoder, std::uint32_t frame, DecodedFrame& scratch) const;

private:
    struct Text {
        std::string folded;
    };
    using What = std::variant<Text, std::vector<std::uint8_t>, DisplayFilter, FrameSummary>;

    explicit FrameSearch(What what) : what_(std::move(what)) { }

    What what_;
};

} // namespace netrondo
