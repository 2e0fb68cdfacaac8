// Units and digits for people. Machines read JSON, where numbers stay numbers.
#include "Base/Units.h"

#include <array>
#include <cmath>
#include <ctime>
#include <fmt/format.h>
#include <string_view>

namespace netrondo::units {
namespace {
/// Three significant digits with one of the units, each a thousand times the one before.
std::string scaled(double value, std::initializer_list<std::string_view> units)
{
    const auto* unit = units.begin();
    // 999.95 would be written "1000.0" of its unit.
    for (; value >= 999.95 && unit + 1 != units.end(); ++unit)
        value /= 1000;
    if (unit == units.begin())
        return fmt::format("{:.0f} {}", value, *unit);
    return fmt::format("{:.{}f} {}", value, value < 9.995 ? 2 : 1, *unit);
}
} // namespace

std::string grouped(std::uint64_t number)
{
    auto text = std::to_string(number);
    for (auto place = static_cast<std::ptrdiff_t>(text.size()) - 3; place > 0; place -= 3)
        text.insert(static_cast<std::size_t>(place), ",");
    return text;
}

std::string bytes(std::uint64_t count)
{
    return scaled(static_cast<double>(count), {"B", "kB", "MB", "GB", "TB", "PB", "EB"});
}

std::string rate(double perSecond)
{
    // Absurd spans make absurd rates; they are not to overflow a number.
    return perSecond < 100 || perSecond > 1e15 ? fmt::format("{:.3g}", perSecond)
                                               : grouped(static_cast<std::uint64_t>(std::llround(perSecond)));
}

std::string bitRate(double bitsPerSecond)
{
    return scaled(bitsPerSecond, {"bit/s", "kbit/s", "Mbit/s", "Gbit/s", "Tbit/s"});
}

std::string percent(double part, double whole)
{
    if (whole <= 0)
        return "0 %";
    const auto share = part / whole * 100;
    if (share > 0 && share < 0.05)
        return "<0.1 %";
    return fmt::format("{:.1f} %", share);
}

std::string timeSpan(double seconds)
{
    if (seconds < 0)
        return "−" + timeSpan(-seconds);
    if (seconds < 1)
        return fmt::format("{:.3g} ms", seconds * 1000);
    if (seconds < 60)
        return fmt::format("{:.3f} s", seconds);
    if (seconds >= 1e15) // a damaged time: a number of seconds says as much
        return fmt::format("{:.3g} s", seconds);
    const auto whole = static_cast<std::uint64_t>(std::llround(seconds));
    if (whole < 3600)
        return fmt::format("{} min {:02} s", whole / 60, whole % 60);
    if (whole < 86400)
        return fmt::format("{} h {:02} min", whole / 3600, whole / 60 % 60);
    return fmt::format("{} d {:02} h", grouped(whole / 86400), whole / 3600 % 24);
}

std::string pointInTime(double secondsSinceEpoch)
{
    if (!(secondsSinceEpoch <= endOfCalendar))
        return fmt::format("{:.0f} s after 1970", secondsSinceEpoch);
    auto milliseconds = std::llround(secondsSinceEpoch * 1000);
    const auto whole = static_cast<std::time_t>(milliseconds / 1000);
    std::tm local{};
    localtime_r(&whole, &local);
    std::array<char, 64> date{}, zone{};
    std::strftime(date.data(), date.size(), "%Y-%m-%d %H:%M:%S", &local);
    std::strftime(zone.data(), zone.size(), "%Z", &local);
    return fmt::format("{}.{:03} {}", date.data(), milliseconds % 1000, zone.data());
}

std::string counted(std::uint64_t count, const char* one, const char* many)
{
    return fmt::format("{} {}", grouped(count), count == 1 ? one : many);
}

} // namespace netrondo::units
