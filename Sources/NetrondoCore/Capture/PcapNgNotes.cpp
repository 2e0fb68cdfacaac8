// Options are kept as bytes. The few that are numbers are turned where the file's byte order is the other one.
#include "Capture/PcapNgNotes.h"

#include <algorithm>
#include <array>

namespace netrondo {
namespace {
using Block = PcapNgOptions::Block;

constexpr std::size_t headerSize = 4, longestValue = 65'535;

/// An option that holds numbers of so many bytes each.
struct Numbers {
    Block block;
    std::uint16_t code;
    std::size_t width;
};
constexpr Numbers numbers[] = {
    {Block::interface, 8, 8},  // speed
    {Block::interface, 14, 8}, // offset of its times
    {Block::interface, 16, 8}, // speed of sending
    {Block::interface, 17, 8}, // speed of receiving
    {Block::packet, 2, 4},     // flags
    {Block::packet, 4, 8},     // frames lost before this one
    {Block::packet, 5, 8},     // number of the packet
    {Block::packet, 6, 4},     // queue
    {Block::statistics, 2, 4}, // start, in two words
    {Block::statistics, 3, 4}, // end, in two words
    {Block::statistics, 4, 8}, // received
    {Block::statistics, 5, 8}, // dropped by the interface
    {Block::statistics, 6, 8}, // taken by the filter
    {Block::statistics, 7, 8}, // dropped by the system
    {Block::statistics, 8, 8}, // delivered
};

/// A maker's own options begin with the number of the maker.
constexpr std::array<std::uint16_t, 4> custom = {2988, 2989, 19372, 19373};

std::size_t padded(std::size_t size)
{
    return (size + 3) / 4 * 4;
}
} // namespace

PcapNgOptions::PcapNgOptions(Bytes options, bool swap, Block block)
{
    while (options.size() >= headerSize) {
        const auto code = load::u16(options.data(), swap);
        const std::size_t length = load::u16(options.data() + 2, swap);
        const auto value = slice(options, headerSize, length);
        if (code == end || value.size() < length)
            return;
        add(code, value);
        options = slice(options, headerSize + padded(length));
        if (!swap)
            continue;
        const auto* const known =
            std::ranges::find_if(numbers, [&](const Numbers& row) { return row.block == block && row.code == code; });
        const auto turned = std::span(bytes_).last(padded(length));
        if (known != std::end(numbers) && length % known->width == 0)
            for (std::size_t at = 0; at < length; at += known->width)
                std::ranges::reverse(turned.subspan(at, known->width));
        else if (std::ranges::count(custom, code) > 0 && length >= 4)
            std::ranges::reverse(turned.first(4));
    }
}

void PcapNgOptions::add(std::uint16_t code, Bytes value)
{
    value = value.first(std::min(value.size(), longestValue));
    const auto length = static_cast<std::uint16_t>(value.size());
    for (const auto word : {code, length}) {
        bytes_.push_back(static_cast<std::uint8_t>(word));
        bytes_.push_back(static_cast<std::uint8_t>(word >> 8));
    }
    bytes_.insert(bytes_.end(), value.begin(), value.end());
    bytes_.resize(padded(bytes_.size()));
}

void PcapNgOptions::addText(std::uint16_t code, std::string_view text)
{
    add(code, asBytes(text));
}

void PcapNgOptions::addNumber(std::uint16_t code, std::uint64_t number)
{
    std::array<std::uint8_t, 8> bytes;
    for (std::size_t i = 0; i < bytes.size(); ++i)
        bytes[i] = static_cast<std::uint8_t>(number >> 8 * i);
    add(code, bytes);
}

void PcapNgOptions::remove(std::uint16_t code)
{
    for (std::size_t at = 0; at + headerSize <= bytes_.size();) {
        const auto size = headerSize + padded(load::le16(bytes_.data() + at + 2));
        const auto option = bytes_.begin() + static_cast<std::ptrdiff_t>(at);
        if (load::le16(bytes_.data() + at) == code)
            bytes_.erase(option, option + static_cast<std::ptrdiff_t>(size));
        else
            at += size;
    }
}

std::string PcapNgOptions::lines(std::uint16_t code) const
{
    std::string lines;
    for (std::size_t at = 0; at + headerSize <= bytes_.size();) {
        const std::size_t length = load::le16(bytes_.data() + at + 2);
        if (load::le16(bytes_.data() + at) == code) {
            if (!lines.empty())
                lines += '\n';
            lines += asText(Bytes(bytes_).subspan(at + headerSize, length));
        }
        at += headerSize + padded(length);
    }
    return lines;
}

std::optional<Bytes> PcapNgOptions::find(std::uint16_t code) const
{
    for (std::size_t at = 0; at + headerSize <= bytes_.size();) {
        const std::size_t length = load::le16(bytes_.data() + at + 2);
        if (load::le16(bytes_.data() + at) == code)
            return Bytes(bytes_).subspan(at + headerSize, length);
        at += headerSize + padded(length);
    }
    return std::nullopt;
}

} // namespace netrondo
