// The summary as JSON.
#include "Analysis/Expert/CaptureExpertSummary.h"

#include "Base/Json.h"

namespace netrondo {

void write(JsonWriter& json, const CaptureExpertSummary&)
{
    json.beginObject();
    json.key("findings");
    json.beginArray();
    json.endArray();
    json.endObject();
}

} // namespace netrondo
