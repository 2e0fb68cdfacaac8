// Records are taken from the window as long as whole ones lie in it; a record that is cut stays unconsumed, so that a
// later call finds it again when the file has grown.
#include "Capture/PcapReader.h"

#include "Base/Prefetch.h"

#include <algorithm>
#include <fmt/format.h>

namespace netrondo {
namespace {
struct Magic {
    std::uint32_t value; ///< as read little-endian
    bool swapEndian, isNanosecond;
};

constexpr Magic magics[] = {
    {0xA1B2C3D4, false, false},
    {0xD4C3B2A1, true, false},
    {0xA1B23C4D, false, true},
    {0x4D3CB2A1, true, true},
};

constexpr std::size_t recordHeaderSize = 16;
constexpr std::size_t readAhead = 1024; // the next record is found by the length of this one: memory cannot guess it
} // namespace

bool PcapReader::isMagic(std::uint32_t value)
{
    return std::ranges::find(magics, value, &Magic::value) != std::end(magics);
}

CaptureResult<PcapHeader> PcapHeader::parse(Bytes bytes)
{
    if (bytes.size() < size)
        return std::unexpected(CaptureError::fileTooSmall());
    const auto value = load::le32(bytes.data());
    const auto* magic = std::ranges::find(magics, value, &Magic::value);
    if (magic == std::end(magics))
        return std::unexpected(CaptureError::invalidHeader(fmt::format("Not a PCAP magic: {:x}", value)));
    // The upper half of the link-type word holds the FCS length and reserved bits, not the link type.
    const auto link = static_cast<std::uint16_t>(load::u32(bytes.data() + 20, magic->swapEndian));
    return PcapHeader{magic->swapEndian, magic->isNanosecond, load::u32(bytes.data() + 16, magic->swapEndian),
                      netrondo::linkType(link), link};
}

CaptureResult<std::unique_ptr<PcapReader>> PcapReader::open(FileHandle handle)
{
    NR_TRY(const auto bytes, handle.read(PcapHeader::size));
    NR_TRY(const auto header, PcapHeader::parse(bytes));
    return std::make_unique<PcapReader>(std::move(handle), header);
}

CaptureResult<std::size_t> PcapReader::nextBatch(std::span<CaptureFrame> frames)
{
    if (const auto count = takeBuffered(frames); count > 0 || frames.empty())
        return count;
    NR_TRY(const auto header, handle_.peek(recordHeaderSize));
    if (header.empty())
        return 0;
    if (header.size() < recordHeaderSize)
        return std::unexpected(CaptureError::truncatedFrame());
    // The length has no upper bound and is not compared with the snaplen: a damaged one looks like a record that is
    // still being written, which is the end of the data.
    const std::uint64_t included = load::u32(header.data() + 8, header_.swapEndian);
    NR_TRY(const auto whole, handle_.require(recordHeaderSize + included));
    return whole ? takeBuffered(frames) : 0;
}

/// The whole records that lie in the window, as many as `frames` holds.
std::size_t PcapReader::takeBuffered(std::span<CaptureFrame> frames)
{
    const auto window = handle_.buffered();
    const bool swap = header_.swapEndian;
    std::size_t at = 0;
    std::size_t count = 0;
    while (count < frames.size() && window.size() - at >= recordHeaderSize) {
        const auto* record = window.data() + at;
        prefetch(record + readAhead);
        const auto included = load::u32(record + 8, swap);
        if (window.size() - at - recordHeaderSize < included)
            break;
        frames[count++] = {0,
                           load::u32(record, swap),
                           load::u32(record + 4, swap),
                           included,
                           load::u32(record + 12, swap),
                           header_.linkType,
                           Bytes(record + recordHeaderSize, included)};
        at += recordHeaderSize + included;
    }
    handle_.skip(at);
    return count;
}

std::uint64_t PcapReader::offsetOf(const CaptureFrame& frame) const
{
    const auto back = handle_.buffered().data() - frame.data.data();
    return handle_.offset() - static_cast<std::uint64_t>(back) - recordHeaderSize;
}

CaptureResult<std::unique_ptr<CaptureReading>> PcapReader::again() const
{
    NR_TRY(auto handle, handle_.again());
    return std::make_unique<PcapReader>(std::move(handle), header_);
}

CaptureResult<void> PcapReader::moveTo(std::uint64_t offset)
{
    NR_TRY([[maybe_unused]] const auto there, handle_.seek(offset));
    return {};
}

} // namespace netrondo
