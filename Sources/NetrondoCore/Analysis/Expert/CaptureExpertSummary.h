// What the expert findings of a capture add up to.
#pragma once

namespace netrondo {

class JsonWriter;

/// The finished findings of a capture. There are no rules yet, so there is nothing to report: the list is empty.
struct CaptureExpertSummary {
    friend bool operator==(const CaptureExpertSummary&, const CaptureExpertSummary&) = default;
};

/// `{"findings":[]}`.
void write(JsonWriter& json, const CaptureExpertSummary& summary);

} // namespace netrondo
