// Rows of the packet list.
#include "Dissection/Decode/PacketList.h"

#include "Dissection/Decode/Render.h"

#include <algorithm>
#include <charconv>

namespace netrondo {

void PacketList::align(Column column, std::size_t start, TextSink& out)
{
    auto& width = widths_[column];
    width = std::max(width, out.size() - start);
    out.pad(start + width + 1);
}

void PacketList::alignRight(Column column, std::size_t start, TextSink& out)
{
    auto& width = widths_[column];
    const auto size = out.size() - start;
    width = std::max(width, size);
    out.insertBlanks(start, width - size);
    out.put(' ');
}

void PacketList::putRight(Column column, std::uint64_t value, TextSink& out)
{
    char digits[20];
    const auto size = static_cast<std::size_t>(std::to_chars(digits, digits + sizeof digits, value).ptr - digits);
    auto& width = widths_[column];
    width = std::max(width, size);
    out.pad(out.size() + width - size);
    out.put(std::string_view(digits, size));
    out.put(' ');
}

void PacketList::write(const DecodedFrame& frame, TextSink& out)
{
    const auto& summary = frame.summary;
    putRight(number, summary.number, out);
    auto start = out.size();
    Render::time(summary.nanoseconds, out);
    alignRight(time, start, out);
    start = out.size();
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
