// Rows of the packet list.
#include "Dissection/Decode/PacketList.h"

#include "Dissection/Decode/Render.h"

#include <algorithm>
#include <rapidjson/internal/itoa.h>

namespace netrondo {

void PacketList::align(Column column, std::size_t start, TextSink& out)
{
    auto& width = widths_[column];
    width = std::max(width, out.size() - start);
    out.pad(start + width + 1);
}

void PacketList::putRight(Column column, std::string_view cell, TextSink& out)
{
    auto& width = widths_[column];
    width = std::max(width, cell.size());
    out.pad(out.size() + width - cell.size());
    out.put(cell);
    out.put(' ');
}

void PacketList::putRight(Column column, std::uint64_t value, TextSink& out)
{
    char digits[20];
    const auto* const end = rapidjson::internal::u64toa(value, digits);
    putRight(column, std::string_view(digits, end), out);
}

void PacketList::write(const DecodedFrame& frame, TextSink& out)
{
    const auto& summary = frame.summary;
    putRight(number, summary.number, out);
    char seconds[Render::maxTime];
    putRight(time, std::string_view(seconds, Render::time(summary.nanoseconds, seconds)), out);
    auto start = out.size();
    out.put(summary.source);
    align(source, start, out);
    start = out.size();
    out.put(summary.destination);
    align(destination, start, out);
    start = out.size();
    out.put(Render::protocol(summary));
    align(protocol, start, out);
    putRight(length, summary.length, out);
    start = out.size();
    Render::info(frame, out);
    if (out.size() == start) // nothing to say: no blank at the line's end
        out.truncate(start - 1);
    out.put('\n');
}

} // namespace netrondo
