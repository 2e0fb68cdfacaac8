// Blocks are taken from the window as long as whole ones lie in it. Three simplifications are deliberate: later
// sections keep the byte order and the interfaces of the first, the times of the frames take every resolution for
// microseconds (`nanoseconds` knows better), and a block that the end of the file cuts is the end of the data.
#include "Capture/PcapNgReader.h"

#include "Base/Address.h"

#include <algorithm>
#include <fmt/format.h>
#include <utility>

namespace netrondo {
namespace {
enum BlockType : std::uint32_t {
    interfaceDescription = 1,
    simplePacket = 3,
    interfaceStatistics = 5,
    enhancedPacket = 6
};

/// Options that are longer altogether, and those of interfaces beyond this number, are not kept: no program writes
/// them.
constexpr std::size_t longestNotes = 16 * 1024, mostNoted = 1024;

constexpr std::size_t blockHeaderSize = 8; ///< type and total length
constexpr std::size_t smallestBlock = 12;  ///< the header, no body, and the length repeated
constexpr std::uint32_t byteOrderMagic = 0x1A2B3C4D;

auto invalid(std::string payload)
{
    return std::unexpected(CaptureError::invalidHeader(std::move(payload)));
}
} // namespace

CaptureResult<std::unique_ptr<PcapNgReader>> PcapNgReader::open(FileHandle handle)
{
    NR_TRY(const auto start, handle.peek(12));
    if (start.size() < 12)
        return std::unexpected(CaptureError::fileTooSmall());
    if (load::le32(start.data()) != sectionHeader)
        return invalid("PCAPNG must start with SHB");
    const auto order = load::le32(start.data() + 8);
    if (order != byteOrderMagic && order != __builtin_bswap32(byteOrderMagic))
        return invalid(fmt::format("Bad PCAPNG byte-order magic: {:x}", order));
    return std::unique_ptr<PcapNgReader>(new PcapNgReader(std::move(handle), order != byteOrderMagic));
}

CaptureResult<std::size_t> PcapNgReader::nextBatch(std::span<CaptureFrame> frames)
{
    std::size_t count = 0;
    while (count < frames.size()) {
        const auto block = bufferedBlock();
        if (!block.empty()) {
            const auto isFrame = take(block, frames[count]);
            if (!isFrame && count > 0)
                break; // the next call meets the block again and reports it
            if (!isFrame)
                return std::unexpected(isFrame.error());
            handle_.skip(block.size());
            count += *isFrame;
            continue;
        }
        if (count > 0)
            break; // the frames so far lie in the window, which must not move under them
        NR_TRY(const auto more, requireBlock());
        if (!more)
            break;
    }
    return count;
}

/// The next block if it lies whole in the window, else nothing.
Bytes PcapNgReader::bufferedBlock() const
{
    const auto window = handle_.buffered();
    if (window.size() < smallestBlock)
        return {};
    const auto length = u32(window, 4);
    return length < smallestBlock || length > window.size() ? Bytes() : window.first(length);
}

/// Brings the next block into the window whole; false at the end of the data.
CaptureResult<bool> PcapNgReader::requireBlock()
{
    NR_TRY(const auto header, handle_.peek(blockHeaderSize));
    if (header.size() < blockHeaderSize)
        return false;
    const auto length = u32(header, 4);
    if (length < smallestBlock)
        return invalid(fmt::format("Block length {}", length));
    return handle_.require(length);
}

/// Reads one block and tells whether it gave a frame.
CaptureResult<bool> PcapNgReader::take(Bytes block, CaptureFrame& frame)
{
    if (u32(block, block.size() - 4) != block.size())
        return invalid("Block trailing length mismatch");
    const auto body = block.subspan(blockHeaderSize, block.size() - smallestBlock);
    switch (u32(block, 0)) {
    case enhancedPacket: return takeEnhancedPacket(body, frame);
    case simplePacket: return takeSimplePacket(body, frame);
    case interfaceDescription: return takeInterface(body);
    case PcapNgReader::sectionHeader: takeSection(body); return false;
    case interfaceStatistics: takeStatistics(body); return false;
    default: return false; // names, obsolete packets, custom blocks
    }
}

void PcapNgReader::takeSection(Bytes body)
{
    constexpr std::size_t fixed = 16;
    if (std::exchange(hasSection_, true) || body.size() < fixed || body.size() > longestNotes)
        return;
    notes_.section = PcapNgOptions(body.subspan(fixed), swapEndian_, PcapNgOptions::Block::section);
}

CaptureResult<bool> PcapNgReader::takeInterface(Bytes body)
{
    constexpr std::size_t fixed = 8;
    if (body.size() < fixed)
        return invalid("Short IDB");
    PcapNgNotes::Interface interface {
        load::u16(body.data(), swapEndian_), u32(body, 4), 6, {}, { }
    };
    interface.options = PcapNgOptions(body.subspan(fixed, std::min(body.size() - fixed, longestNotes)), swapEndian_,
                                      PcapNgOptions::Block::interface);
    clocks_.push_back(clockIn(interface.options));
    if (const auto resolution = interface.options.find(PcapNgOptions::interfaceTimeResolution);
        resolution && resolution->size() == 1)
        interface.timeResolution = resolution->front();
    if (notes_.interfaces.size() >= mostNoted)
        interface.options = {};
    interface.options.remove(PcapNgOptions::interfaceTimeResolution);
    interface.options.remove(PcapNgOptions::interfaceTimeOffset);
    interfaceLinkTypes_.push_back(linkType(interface.linkNumber));
    snaplens_.push_back(interface.snaplen);
    notes_.interfaces.push_back(std::move(interface));
    return false;
}

std::uint64_t PcapNgReader::droppedFrames() const
{
    std::uint64_t sum = 0;
    for (const auto& interface : notes_.interfaces)
        for (const auto code : {PcapNgOptions::statisticsInterfaceDropped, PcapNgOptions::statisticsKernelDropped}) {
            const auto value = interface.statistics ? interface.statistics->options.find(code) : std::nullopt;
            const auto count = value && value->size() == 8 ? load::le64(value->data()) : 0;
            sum = count > ~sum ? ~std::uint64_t{0} : sum + count;
        }
    return sum;
}

/// What the options if_tsresol and if_tsoffset say; options that make no sense say nothing.
PcapNgReader::Clock PcapNgReader::clockIn(const PcapNgOptions& options)
{
    Clock clock;
    if (const auto value = options.find(PcapNgOptions::interfaceTimeResolution); value && value->size() == 1) {
        const unsigned exponent = value->front() & 0x7f;
        const bool isBinary = value->front() & 0x80;
        if (exponent < (isBinary ? 64u : 20u)) { // finer clocks do not fit in the 64 bits of a time
            clock.unitsPerSecond = 1;
            for (unsigned i = 0; i < exponent; ++i)
                clock.unitsPerSecond *= isBinary ? 2 : 10;
        }
    }
    if (const auto value = options.find(PcapNgOptions::interfaceTimeOffset); value && value->size() == 8)
        clock.offsetSeconds = static_cast<std::int64_t>(load::le64(value->data()));
    return clock;
}

/// The last ones of an interface count: they tell what happened since its beginning.
void PcapNgReader::takeStatistics(Bytes body)
{
    constexpr std::size_t fixed = 12;
    if (body.size() < fixed || body.size() > longestNotes
        || u32(body, 0) >= std::min(notes_.interfaces.size(), mostNoted))
        return;
    const auto interface = u32(body, 0);
    const auto ticks = std::uint64_t{u32(body, 4)} << 32 | u32(body, 8);
    notes_.interfaces[interface].statistics = {
        nanoseconds(interface, ticks),
        PcapNgOptions(body.subspan(fixed), swapEndian_, PcapNgOptions::Block::statistics)};
}

CaptureResult<bool> PcapNgReader::takeEnhancedPacket(Bytes body, CaptureFrame& frame) const
{
    constexpr std::size_t fixed = 20;
    if (body.size() < fixed)
        return std::unexpected(CaptureError::truncatedFrame());
    const auto captured = u32(body, 12);
    if (body.size() - fixed < captured)
        return std::unexpected(CaptureError::truncatedFrame());
    // Always microseconds, whatever if_tsresol says: a nanosecond file gets seconds 1000 times too large.
    const auto time = std::uint64_t{u32(body, 4)} << 32 | u32(body, 8);
    const auto interface = u32(body, 0);
    frame = {interface,
             time / 1'000'000,
             time % 1'000'000,
             captured,
             u32(body, 16),
             linkTypeOf(interface),
             body.subspan(fixed, captured)};
    return true;
}

CaptureResult<bool> PcapNgReader::takeSimplePacket(Bytes body, CaptureFrame& frame) const
{
    if (body.size() < 4)
        return std::unexpected(CaptureError::truncatedFrame());
    // The block does not say how many bytes were captured, so that its padding stays part of the frame: deliberate.
    const auto data = body.subspan(4);
    frame = {0, 0, 0, static_cast<std::uint32_t>(data.size()), u32(body, 0), linkTypeOf(0), data};
    return true;
}

std::int64_t PcapNgReader::nanoseconds(const CaptureFrame& frame) const
{
    return nanoseconds(static_cast<std::uint64_t>(frame.interfaceID),
                       frame.timestampSeconds * 1'000'000 + frame.timestampFraction); // as the block has them
}

std::int64_t PcapNgReader::nanoseconds(std::uint64_t interface, std::uint64_t ticks) const
{
    const auto clock = interface < clocks_.size() ? clocks_[interface] : Clock();
    const auto seconds = ticks / clock.unitsPerSecond + static_cast<std::uint64_t>(clock.offsetSeconds);
    const auto rest = static_cast<Uint128>(ticks % clock.unitsPerSecond) * 1'000'000'000 / clock.unitsPerSecond;
    return static_cast<std::int64_t>(seconds * 1'000'000'000 + static_cast<std::uint64_t>(rest));
}

SourceInterface PcapNgReader::interfaceOf(const CaptureFrame& frame) const
{
    constexpr std::uint64_t microsecond = 1'000'000;
    const auto index = static_cast<std::uint64_t>(frame.interfaceID);
    const auto& known = notes_.interfaces;
    if (index < known.size())
        return {known[index].linkNumber, known[index].snaplen, clocks_[index].unitsPerSecond > microsecond};
    return {known.empty() ? static_cast<std::uint16_t>(frame.linkType) : known.front().linkNumber, 0, false};
}

std::uint64_t PcapNgReader::offsetOf(const CaptureFrame& frame) const
{
    const auto back = static_cast<std::uint64_t>(handle_.buffered().data() - frame.data.data());
    return handle_.offset() - back - (isSimple(frame) ? 12 : 28);
}

/// The word two before the bytes is the captured length in an enhanced block, the block's own length in a simple one,
/// which has nothing else in front of the wire length.
bool PcapNgReader::isSimple(const CaptureFrame& frame) const
{
    return load::u32(frame.data.data() - 8, swapEndian_) != frame.capturedLength;
}

PcapNgOptions PcapNgReader::optionsOf(const CaptureFrame& frame) const
{
    if (isSimple(frame))
        return {}; // a block without options
    const auto* const block = frame.data.data() - 28;
    const auto length = load::u32(block + 4, swapEndian_);
    const std::size_t padded = (frame.data.size() + 3) / 4 * 4, before = 28 + padded, behind = 4;
    if (length <= before + behind || length - before - behind > longestNotes)
        return {};
    return {Bytes(block + before, length - before - behind), swapEndian_, PcapNgOptions::Block::packet};
}

CaptureResult<std::unique_ptr<CaptureReading>> PcapNgReader::again() const
{
    NR_TRY(auto handle, handle_.again());
    std::unique_ptr<PcapNgReader> reader(new PcapNgReader(std::move(handle), swapEndian_));
    reader->interfaceLinkTypes_ = interfaceLinkTypes_;
    reader->snaplens_ = snaplens_;
    reader->clocks_ = clocks_;
    reader->notes_ = notes_;
    reader->hasSection_ = hasSection_;
    return reader;
}

CaptureResult<void> PcapNgReader::moveTo(std::uint64_t offset)
{
    NR_TRY([[maybe_unused]] const auto there, handle_.seek(offset));
    return {};
}

/// A packet of an interface that was never described takes the first one's link type, or Ethernet when there is none.
LinkType PcapNgReader::linkTypeOf(std::uint32_t interfaceID) const
{
    if (interfaceID < interfaceLinkTypes_.size())
        return interfaceLinkTypes_[interfaceID];
    return interfaceLinkTypes_.empty() ? LinkType::ethernet : interfaceLinkTypes_.front();
}

} // namespace netrondo
