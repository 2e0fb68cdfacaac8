// Numbers as people read them: grouped digits, bytes, rates, spans and points in time.
#pragma once

#include <cstdint>
#include <string>

namespace netrondo::units {

std::string grouped(std::uint64_t number);      ///< "1,234,567"
std::string bytes(std::uint64_t count);         ///< "12.1 MB": decimal units, as links are rated
std::string rate(double perSecond);             ///< "1,204", "22.6"
std::string bitRate(double bitsPerSecond);      ///< "3.2 Mbit/s"
std::string percent(double part, double whole); ///< "2.1 %", "<0.1 %"
std::string timeSpan(double seconds);           ///< "4.206 s", "12 min 04 s", "2 d 03 h"
/// The end of the year 9999; a capture may claim any time, but no calendar helps with what lies beyond.
constexpr double endOfCalendar = 253402300799.0;
std::string pointInTime(double secondsSinceEpoch); ///< "2026-11-21 09:56:02.123 UTC", in the local time zone
std::string counted(std::uint64_t count, const char* one, const char* many); ///< "1 frame", "2,100 frames"

} // namespace netrondo::units
