// The packet list as lines of text with aligned columns.
#pragma once

#include "Dissection/Decode/PacketDecoder.h"
#include "Dissection/Decode/TextSink.h"

#include <array>
#include <cstddef>
#include <string_view>

namespace netrondo {

/// Writes one row a frame: number, time, source, destination, protocol, length, info. A column that had to grow for one
/// row stays that wide, so that rows keep lining up while they are written as they come.
class PacketList {
public:
    /// Appends the row and a line end to `out`.
    void write(const DecodedFrame& frame, TextSink& out);

private:
    enum Column { number, time, source, destination, protocol, length, count };

    /// Ends a cell that began at `start`.
    void align(Column column, std::size_t start, TextSink& out);
    void putRight(Column column, std::string_view cell, TextSink& out);
    void putRight(Column column, std::uint64_t value, TextSink& out);

    std::array<std::size_t, count> widths_{5, 11, 15, 15, 7, 5};
};

} // namespace netrondo
