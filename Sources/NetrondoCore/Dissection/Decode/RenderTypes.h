// Values with a notation of their own: dates, object identifiers, GUIDs, UTF-16.
#pragma once

#include "Dissection/Decode/TextSink.h"

namespace netrondo::RenderTypes {

void utf16(Bytes bytes, TextSink& out);
void oid(Bytes bytes, TextSink& out);
void guid(Bytes bytes, TextSink& out);
/// "2024-05-01 12:34:56 UTC", with nanoseconds unless they are 0.
void seconds(std::uint64_t seconds, std::uint32_t nanoseconds, TextSink& out);
void ntpTime(std::uint64_t value, TextSink& out);
void fileTime(std::uint64_t value, TextSink& out);

} // namespace netrondo::RenderTypes
