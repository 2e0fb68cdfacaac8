// Times of day as the packet list shows them, and as people write them to shift them.
#pragma once

#include <QString>
#include <cstdint>
#include <optional>

namespace netrondo::FrameTimes {

/// Nanoseconds since 1970 as local time in a format of QDateTime, with six decimals, nine where the time needs them.
QString clock(std::int64_t nanoseconds, const QString& format);
/// Wraps around for times that no clock shows.
std::int64_t shifted(std::int64_t nanoseconds, std::int64_t shift);

/// A span as "[−][[hours:]minutes:]seconds[.decimals]", in nanoseconds; nothing for any other text.
std::optional<std::int64_t> parseSpan(QString text);
/// The same the other way round, with no more decimals than it takes.
QString spanText(std::int64_t nanoseconds);
/// Local time as "2026-01-31 23:59:59[.decimals]", in nanoseconds since 1970; nothing for any other text.
std::optional<std::int64_t> parseMoment(const QString& text);

} // namespace netrondo::FrameTimes
