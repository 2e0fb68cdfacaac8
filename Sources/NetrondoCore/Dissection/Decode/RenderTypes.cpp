// Dates, object identifiers, GUIDs and UTF-16 as people write them.
#include "Dissection/Decode/RenderTypes.h"

#include <chrono>

namespace netrondo::RenderTypes {
namespace {

void twoDigits(unsigned number, TextSink& out)
{
    out.put(static_cast<char>('0' + number / 10 % 10));
    out.put(static_cast<char>('0' + number % 10));
}

void utf8(std::uint32_t point, TextSink& out)
{
    char bytes[4];
    std::size_t size = 0;
    const auto tail = [&](unsigned shift) { bytes[size++] = static_cast<char>(0x80 | (point >> shift & 0x3f)); };
    if (point < 0x80) {
        bytes[size++] = static_cast<char>(point);
    } else if (point < 0x800) {
        bytes[size++] = static_cast<char>(0xc0 | point >> 6);
        tail(0);
    } else if (point < 0x10000) {
        bytes[size++] = static_cast<char>(0xe0 | point >> 12);
        tail(6), tail(0);
    } else {
        bytes[size++] = static_cast<char>(0xf0 | point >> 18);
        tail(12), tail(6), tail(0);
    }
    out.putForeign({bytes, size});
}

} // namespace

void utf16(Bytes bytes, TextSink& out)
{
    for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
        std::uint32_t unit = load::le16(&bytes[i]);
        if (unit == 0)
            return; // strings are often padded with zeros
        if (unit >= 0xd800 && unit < 0xdc00 && i + 3 < bytes.size()) {
            const std::uint32_t low = load::le16(&bytes[i + 2]);
            if (low >= 0xdc00 && low < 0xe000) {
                unit = 0x10000 + ((unit - 0xd800) << 10) + (low - 0xdc00);
                i += 2;
            }
        }
        utf8(unit, out);
    }
}

void oid(Bytes bytes, TextSink& out)
{
    std::uint64_t arc = 0;
    bool first = true;
    for (const auto byte : bytes) {
        if (arc >> 57)
            return out.put("…"); // longer than any arc in use
        arc = arc << 7 | (byte & 0x7f);
        if (byte & 0x80)
            continue;
        if (first) {
            const std::uint64_t root = arc < 40 ? 0 : arc < 80 ? 1 : 2;
            out("{}.{}", root, arc - root * 40);
            first = false;
        } else {
            out(".{}", arc);
        }
        arc = 0;
    }
}

void guid(Bytes bytes, TextSink& out)
{
    if (bytes.size() < 16)
        return;
    out.putHex(load::le32(&bytes[0]), 8);
    out.put('-');
    out.putHex(load::le16(&bytes[4]), 4);
    out.put('-');
    out.putHex(load::le16(&bytes[6]), 4);
    out.put('-');
    out.putHex(load::be16(&bytes[8]), 4);
    out.put('-');
    out.putHex(load::be48(&bytes[10]), 12);
}

void seconds(std::uint64_t seconds, std::uint32_t nanoseconds, TextSink& out)
{
    using namespace std::chrono;
    // Beyond the year 9999 the calendar's types would overflow, and the number says more.
    if (seconds > 253'402'300'799)
        return out("{} s", seconds);
    const auto day = floor<days>(sys_seconds(std::chrono::seconds(seconds)));
    const year_month_day date(day);
    const auto ofDay = static_cast<unsigned>(seconds % 86'400);
    const auto year = static_cast<unsigned>(static_cast<int>(date.year()));
    twoDigits(year / 100, out), twoDigits(year, out);
    out.put('-'), twoDigits(static_cast<unsigned>(date.month()), out);
    out.put('-'), twoDigits(static_cast<unsigned>(date.day()), out);
    out.put(' '), twoDigits(ofDay / 3600, out);
    out.put(':'), twoDigits(ofDay / 60 % 60, out);
    out.put(':'), twoDigits(ofDay % 60, out);
    if (nanoseconds) {
        char digits[10] = {'.'};
        for (int i = 9; i > 0; --i, nanoseconds /= 10)
            digits[i] = static_cast<char>('0' + nanoseconds % 10);
        out.put(std::string_view(digits, 10));
    }
    out.put(" UTC");
}

void ntpTime(std::uint64_t value, TextSink& out)
{
    if (value == 0)
        return out.put("not set");
    // Times before 1968 on this scale belong to the era that begins in 2036 (RFC 4330).
    const std::uint64_t era = value >> 63 ? 0 : std::uint64_t{1} << 32;
    const auto fraction = static_cast<std::uint32_t>(((value & 0xffffffff) * 1'000'000'000) >> 32);
    seconds((value >> 32) + era - 2'208'988'800, fraction, out);
}

void fileTime(std::uint64_t value, TextSink& out)
{
    constexpr std::uint64_t to1970 = 116'444'736'000'000'000;
    if (value == 0)
        return out.put("not set");
    if (value < to1970 || value >> 63)
        return out.put(value == 0x7fffffffffffffff ? "never" : "before 1970");
    seconds((value - to1970) / 10'000'000, static_cast<std::uint32_t>((value - to1970) % 10'000'000 * 100), out);
}

} // namespace netrondo::RenderTypes
