// Blocks are taken from the window as long as whole ones lie in it. Three simplifications are deliberate: later
// sections keep the byte order and the interfaces of the first, the times of the frames take every resolution for
// microseconds (`nanoseconds` knows better), and a block that the end of the file cuts is the end of the data.
#include "Capture/PcapNgReader.h"

#include <algorithm>

#include "Base/Address.h"

#include <fmt/format.h>

namespace netrondo {
namespace {
enum BlockType : std::uint32_t {
    interfaceDescription = 1,
    simplePacket = 3,
    interfaceStatistics = 5,
    enhancedPacket = 6
};

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
    case interfaceStatistics: takeStatistics(body); return false;
    default: return false; // section headers, names, obsolete packets, custom blocks
    }
}

CaptureResult<bool> PcapNgReader::takeInterface(Bytes body)
{
    if (body.size() < 8)
        return invalid("Short IDB");
    linkNumbers_.push_back(load::u16(body.data(), swapEndian_));
    interfaceLinkTypes_.push_back(linkType(linkNumbers_.back()));
    snaplens_.push_back(u32(body, 4));
    clocks_.push_back(clockIn(body.subspan(8)));
    return false;
}

void PcapNgReader::takeStatistics(Bytes body)
{
    enum Option : std::uint16_t { end = 0, byInterface = 5, bySystem = 7 };
    constexpr std::size_t fixed = 12;
    if (body.size() < fixed)
        return;
    const auto interface = u32(body, 0);
    if (interface >= interfaceLinkTypes_.size())
        return;
    std::uint64_t dropped = 0;
    for (auto options = body.subspan(fixed); options.size() >= 4;) {
        const auto code = load::u16(options.data(), swapEndian_);
        const std::size_t length = load::u16(options.data() + 2, swapEndian_);
        const auto value = slice(options, 4, length);
        if (code == end || value.size() < length)
            break;
        if ((code == byInterface || code == bySystem) && length == 8) {
            const std::uint64_t first = u32(value, 0), second = u32(value, 4);
            const auto count = swapEndian_ ? first << 32 | second : second << 32 | first;
            dropped = count > ~dropped ? ~std::uint64_t{0} : dropped + count;
        }
        options = slice(options, 4 + (length + 3) / 4 * 4);
    }
    dropped_.resize(std::max<std::size_t>(dropped_.size(), interface + 1u));
    dropped_[interface] = dropped; // the counters run on
}

std::uint64_t PcapNgReader::droppedFrames() const
{
    std::uint64_t sum = 0;
    for (const auto count : dropped_)
        sum = count > ~sum ? ~std::uint64_t{0} : sum + count;
    return sum;
}

/// What the options if_tsresol and if_tsoffset say; options that make no sense say nothing.
PcapNgReader::Clock PcapNgReader::clockIn(Bytes options) const
{
    enum Option : std::uint16_t { end = 0, resolution = 9, offset = 14 };
    Clock clock;
    while (options.size() >= 4) {
        const auto code = load::u16(options.data(), swapEndian_);
        const std::size_t length = load::u16(options.data() + 2, swapEndian_);
        const auto value = slice(options, 4, length);
        if (code == end || value.size() < length)
            break;
        if (code == resolution && length == 1) {
            const unsigned exponent = value[0] & 0x7f;
            const bool isBinary = value[0] & 0x80;
            if (exponent < (isBinary ? 64u : 20u)) { // finer clocks do not fit in the 64 bits of a time
                clock.unitsPerSecond = 1;
                for (unsigned i = 0; i < exponent; ++i)
                    clock.unitsPerSecond *= isBinary ? 2 : 10;
            }
        }
        if (code == offset && length == 8) {
            const std::uint64_t first = u32(value, 0), second = u32(value, 4);
            clock.offsetSeconds = static_cast<std::int64_t>(swapEndian_ ? first << 32 | second : second << 32 | first);
        }
        options = slice(options, 4 + (length + 3) / 4 * 4);
    }
    return clock;
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
    const auto interface = static_cast<std::uint64_t>(frame.interfaceID);
    const auto clock = interface < clocks_.size() ? clocks_[interface] : Clock();
    const auto ticks = frame.timestampSeconds * 1'000'000 + frame.timestampFraction; // as the block has them
    const auto seconds = ticks / clock.unitsPerSecond + static_cast<std::uint64_t>(clock.offsetSeconds);
    const auto rest = static_cast<Uint128>(ticks % clock.unitsPerSecond) * 1'000'000'000 / clock.unitsPerSecond;
    return static_cast<std::int64_t>(seconds * 1'000'000'000 + static_cast<std::uint64_t>(rest));
}

SourceInterface PcapNgReader::interfaceOf(const CaptureFrame& frame) const
{
    constexpr std::uint64_t microsecond = 1'000'000;
    const auto index = static_cast<std::uint64_t>(frame.interfaceID);
    if (index < linkNumbers_.size())
        return {linkNumbers_[index], snaplens_[index], clocks_[index].unitsPerSecond > microsecond};
    return {linkNumbers_.empty() ? static_cast<std::uint16_t>(frame.linkType) : linkNumbers_.front(), 0, false};
}

std::uint64_t PcapNgReader::offsetOf(const CaptureFrame& frame) const
{
    const auto back = static_cast<std::uint64_t>(handle_.buffered().data() - frame.data.data());
    // The word two before the bytes is the captured length in an enhanced block, the block's own length in a simple
    // one, which has nothing else in front of the wire length.
    const bool isSimple = load::u32(frame.data.data() - 8, swapEndian_) != frame.capturedLength;
    return handle_.offset() - back - (isSimple ? 12 : 28);
}

CaptureResult<std::unique_ptr<CaptureReading>> PcapNgReader::again() const
{
    NR_TRY(auto handle, handle_.again());
    std::unique_ptr<PcapNgReader> reader(new PcapNgReader(std::move(handle), swapEndian_));
    reader->interfaceLinkTypes_ = interfaceLinkTypes_;
    reader->snaplens_ = snaplens_;
    reader->linkNumbers_ = linkNumbers_;
    reader->clocks_ = clocks_;
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
