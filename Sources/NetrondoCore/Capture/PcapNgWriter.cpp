// Blocks are made in memory, their lengths filled in when they are whole. Integers are little-endian, as most readers'
// machines are.
#include "Capture/PcapNgWriter.h"

#include "Capture/PcapNgReader.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace netrondo {
namespace {
enum BlockType : std::uint32_t { interfaceDescription = 1, interfaceStatistics = 5, enhancedPacket = 6 };

namespace option {
constexpr std::uint16_t end = 0, comment = 1;
constexpr std::uint16_t sectionApplication = 4;
constexpr std::uint16_t timeResolution = 9;
constexpr std::uint16_t received = 4, interfaceDropped = 5, kernelDropped = 7;
} // namespace option

constexpr std::uint32_t byteOrderMagic = 0x1A2B3C4D;
constexpr std::size_t longestOption = 65'535, longestFrame = 0xffff'0000;

std::array<std::uint8_t, 8> le64(std::uint64_t value)
{
    std::array<std::uint8_t, 8> bytes;
    for (std::size_t i = 0; i < bytes.size(); ++i)
        bytes[i] = static_cast<std::uint8_t>(value >> 8 * i);
    return bytes;
}

/// How many nanoseconds the times of an interface count.
std::uint64_t unitOf(const SourceInterface& interface)
{
    return interface.isNanosecond ? 1 : 1000;
}
} // namespace

PcapNgWriter::PcapNgWriter(OutputFile file, std::string comment) : CaptureWriter(std::move(file))
{
    writeSection(comment);
}

CaptureResult<void> PcapNgWriter::begin(const SourceInterface& interface)
{
    if (interfaces_.empty())
        writeInterface(interface);
    return file_.endRecord();
}

CaptureResult<void> PcapNgWriter::write(const CaptureFrame& frame, std::int64_t nanoseconds,
                                        const SourceInterface& interface, std::string_view comment)
{
    if (nanoseconds < 0)
        return std::unexpected(CaptureError::io("a pcapng file has no room for a time before 1970"));
    if (frame.data.size() > longestFrame)
        return std::unexpected(CaptureError::io("a frame of 4 GB does not fit into a pcapng block"));
    const auto time = static_cast<std::uint64_t>(nanoseconds), ticks = time / unitOf(interface);
    const auto index = indexOf(frame.interfaceID, interface);
    lastTime_ = std::max(lastTime_, time);
    beginBlock(enhancedPacket);
    add32(index);
    add32(static_cast<std::uint32_t>(ticks >> 32));
    add32(static_cast<std::uint32_t>(ticks));
    add32(frame.capturedLength);
    add32(frame.originalLength);
    addPadded(frame.data);
    if (!comment.empty()) {
        addText(option::comment, comment);
        addOption(option::end, {});
    }
    endBlock();
    return endFrame();
}

CaptureResult<void> PcapNgWriter::finish(std::span<const CaptureCounts> counts)
{
    const auto known = std::min(counts.size(), interfaces_.size());
    for (std::uint32_t interface = 0; interface < known; ++interface)
        writeStatistics(interface, counts[interface]);
    if (auto ended = file_.endRecord(); !ended)
        return ended;
    return file_.finish();
}

/// The file's interface for one of the source's, written when it is met. A source that joins several captures may say
/// different things of the same number.
std::uint32_t PcapNgWriter::indexOf(std::int64_t interfaceID, const SourceInterface& interface)
{
    const auto known = indexes_.find(interfaceID);
    if (known != indexes_.end() && interfaces_[known->second] == interface)
        return known->second;
    const bool isTheOneBegunWith = indexes_.empty() && interfaces_.size() == 1 && interfaces_.front() == interface;
    if (!isTheOneBegunWith)
        writeInterface(interface);
    const auto index = static_cast<std::uint32_t>(interfaces_.size() - 1);
    indexes_[interfaceID] = index;
    return index;
}

void PcapNgWriter::writeSection(std::string_view comment)
{
    constexpr std::uint32_t version1 = 1, unknownLength = 0xffff'ffff;
    beginBlock(PcapNgReader::sectionHeader);
    add32(byteOrderMagic);
    add16(version1);
    add16(0);
    add32(unknownLength);
    add32(unknownLength);
    if (!comment.empty())
        addText(option::comment, comment);
    addText(option::sectionApplication, "Netrondo");
    addOption(option::end, {});
    endBlock();
}

void PcapNgWriter::writeInterface(const SourceInterface& interface)
{
    constexpr std::uint8_t micro = 6, nano = 9;
    const std::uint8_t resolution = interface.isNanosecond ? nano : micro;
    beginBlock(interfaceDescription);
    add16(interface.linkNumber);
    add16(0);
    add32(interface.snaplen);
    addOption(option::timeResolution, {&resolution, 1});
    addOption(option::end, {});
    endBlock();
    interfaces_.push_back(interface);
}

void PcapNgWriter::writeStatistics(std::uint32_t interface, const CaptureCounts& counts)
{
    const auto ticks = lastTime_ / unitOf(interfaces_[interface]);
    beginBlock(interfaceStatistics);
    add32(interface);
    add32(static_cast<std::uint32_t>(ticks >> 32));
    add32(static_cast<std::uint32_t>(ticks));
    addOption(option::received, le64(counts.received));
    addOption(option::interfaceDropped, le64(counts.interfaceDropped));
    addOption(option::kernelDropped, le64(counts.dropped));
    addOption(option::end, {});
    endBlock();
}

void PcapNgWriter::beginBlock(std::uint32_t type)
{
    block_.clear();
    add32(type);
    add32(0); // the length, once it is known
}

void PcapNgWriter::add16(std::uint32_t value)
{
    block_.push_back(static_cast<std::uint8_t>(value));
    block_.push_back(static_cast<std::uint8_t>(value >> 8));
}

void PcapNgWriter::add32(std::uint32_t value)
{
    add16(value & 0xffff);
    add16(value >> 16);
}

void PcapNgWriter::addPadded(Bytes bytes)
{
    block_.insert(block_.end(), bytes.begin(), bytes.end());
    block_.resize((block_.size() + 3) / 4 * 4);
}

void PcapNgWriter::addOption(std::uint16_t code, Bytes value)
{
    add16(code);
    add16(static_cast<std::uint32_t>(value.size()));
    addPadded(value);
}

/// Text longer than an option can be is cut.
void PcapNgWriter::addText(std::uint16_t code, std::string_view text)
{
    addOption(code, asBytes(text.substr(0, longestOption)));
}

/// Fills in the length and hands the block over; the caller ends the record.
void PcapNgWriter::endBlock()
{
    const auto length = static_cast<std::uint32_t>(block_.size() + 4);
    add32(length);
    std::memcpy(block_.data() + 4, block_.data() + block_.size() - 4, 4);
    file_.append(block_);
}

} // namespace netrondo
