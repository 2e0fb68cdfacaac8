// Blocks are made in memory, their lengths filled in when they are whole. Integers are little-endian, as most readers'
// machines are.
#include "Capture/PcapNgWriter.h"

#include "Capture/PcapNgReader.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace netrondo {
namespace {
enum BlockType : std::uint32_t { interfaceDescription = 1, interfaceStatistics = 5, enhancedPacket = 6 };

constexpr std::uint32_t byteOrderMagic = 0x1A2B3C4D;
constexpr std::size_t longestFrame = 0xffff'0000;
constexpr std::int64_t perSecond = 1'000'000'000;

/// So many units a second; 0 for what is finer than nanoseconds.
std::uint64_t unitsOf(std::uint8_t resolution)
{
    const bool isBinary = resolution & 0x80;
    const unsigned exponent = resolution & 0x7f;
    if (exponent > (isBinary ? 29u : 9u))
        return 0;
    std::uint64_t units = 1;
    for (unsigned i = 0; i < exponent; ++i)
        units *= isBinary ? 2 : 10;
    return units;
}

/// A time that was read from these units to the nanosecond, cut off, comes back as the units it was.
std::uint64_t ticksOf(std::int64_t nanoseconds, std::uint64_t unitsPerSecond)
{
    const auto seconds = static_cast<std::uint64_t>(nanoseconds / perSecond);
    const auto rest = static_cast<std::uint64_t>(nanoseconds % perSecond) * unitsPerSecond;
    const bool isDecimal = perSecond % static_cast<std::int64_t>(unitsPerSecond) == 0;
    const auto ticks = isDecimal ? rest / perSecond : (rest + perSecond - 1) / perSecond;
    return seconds * unitsPerSecond + ticks;
}

/// An interface of which nobody knows more than where its frames come from.
PcapNgNotes::Interface plain(const SourceInterface& interface)
{
    constexpr std::uint8_t micro = 6, nano = 9;
    return {interface.linkNumber, interface.snaplen, interface.isNanosecond ? nano : micro, {}, {}};
}

PcapNgOptions optionsOf(const CaptureCounts& counts)
{
    PcapNgOptions options;
    options.addNumber(PcapNgOptions::statisticsReceived, counts.received);
    options.addNumber(PcapNgOptions::statisticsInterfaceDropped, counts.interfaceDropped);
    options.addNumber(PcapNgOptions::statisticsKernelDropped, counts.dropped);
    return options;
}
} // namespace

CaptureResult<void> PcapNgWriter::begin(const SourceInterface& interface)
{
    requireSection();
    writeNotedInterfaces();
    if (interfaces_.empty())
        writeInterface(plain(interface));
    return file_.endRecord();
}

CaptureResult<void> PcapNgWriter::write(const CaptureFrame& frame, std::int64_t nanoseconds,
                                        const SourceInterface& interface, const PcapNgOptions& options)
{
    if (nanoseconds < 0)
        return std::unexpected(CaptureError::io("a pcapng file has no room for a time before 1970"));
    if (frame.data.size() > longestFrame)
        return std::unexpected(CaptureError::io("a frame of 4 GB does not fit into a pcapng block"));
    requireSection();
    const auto noted = notedIndexOf(frame.interfaceID);
    const auto index = noted ? *noted : indexOf(frame.interfaceID, interface);
    const auto ticks = ticksOf(nanoseconds, interfaces_[index].unitsPerSecond);
    lastTime_ = std::max(lastTime_, nanoseconds);
    beginBlock(enhancedPacket);
    add32(index);
    add32(static_cast<std::uint32_t>(ticks >> 32));
    add32(static_cast<std::uint32_t>(ticks));
    add32(frame.capturedLength);
    add32(frame.originalLength);
    addPadded(frame.data);
    addOptions(options);
    endBlock();
    return endFrame();
}

CaptureResult<void> PcapNgWriter::finish(std::span<const CaptureCounts> counts)
{
    requireSection();
    const auto known = std::min(counts.size(), interfaces_.size());
    for (std::uint32_t interface = 0; interface < known; ++interface)
        writeStatistics(interface, lastTime_, optionsOf(counts[interface]));
    if (notes_ && counts.empty()) {
        writeNotedInterfaces(); // also those that gave no frame
        for (std::size_t i = 0; i < notes_->interfaces.size(); ++i)
            if (const auto& statistics = notes_->interfaces[i].statistics)
                writeStatistics(noted_[i], statistics->nanoseconds, statistics->options);
    }
    if (auto ended = file_.endRecord(); !ended)
        return ended;
    return file_.finish();
}

/// The file's interface for one that the notes know; those before it are written first, so that they keep their
/// numbers.
std::optional<std::uint32_t> PcapNgWriter::notedIndexOf(std::int64_t interfaceID)
{
    const auto index = static_cast<std::uint64_t>(interfaceID);
    if (!notes_ || index >= notes_->interfaces.size())
        return std::nullopt;
    if (index >= noted_.size())
        writeNotedInterfaces();
    return noted_[index];
}

void PcapNgWriter::writeNotedInterfaces()
{
    while (notes_ && noted_.size() < notes_->interfaces.size())
        noted_.push_back(writeInterface(notes_->interfaces[noted_.size()]));
}

/// The file's interface for one of the source's, written when it is met. A source that joins several captures may say
/// different things of the same number.
std::uint32_t PcapNgWriter::indexOf(std::int64_t interfaceID, const SourceInterface& interface)
{
    const auto known = indexes_.find(interfaceID);
    if (known != indexes_.end() && interfaces_[known->second].source == interface)
        return known->second;
    const bool isTheOneBegunWith =
        indexes_.empty() && interfaces_.size() == 1 && interfaces_.front().source == interface;
    const auto index = isTheOneBegunWith ? 0 : writeInterface(plain(interface));
    indexes_[interfaceID] = index;
    return index;
}

void PcapNgWriter::requireSection()
{
    if (std::exchange(hasSection_, true))
        return;
    constexpr std::uint32_t version1 = 1, unknownLength = 0xffff'ffff;
    auto options = notes_ ? notes_->section : PcapNgOptions();
    options.remove(PcapNgOptions::sectionApplication);
    options.addText(PcapNgOptions::sectionApplication, "Netrondo");
    beginBlock(PcapNgReader::sectionHeader);
    add32(byteOrderMagic);
    add16(version1);
    add16(0);
    add32(unknownLength);
    add32(unknownLength);
    addOptions(options);
    endBlock();
}

std::uint32_t PcapNgWriter::writeInterface(const PcapNgNotes::Interface& interface)
{
    constexpr std::uint8_t nano = 9;
    Written written{
        {interface.linkNumber, interface.snaplen, false}, interface.timeResolution, unitsOf(interface.timeResolution)};
    if (written.unitsPerSecond == 0) { // times are known to the nanosecond
        written.timeResolution = nano;
        written.unitsPerSecond = perSecond;
    }
    constexpr std::uint64_t microsecond = 1'000'000;
    written.source.isNanosecond = written.unitsPerSecond > microsecond;
    auto options = interface.options;
    options.add(PcapNgOptions::interfaceTimeResolution, {&written.timeResolution, 1});
    beginBlock(interfaceDescription);
    add16(interface.linkNumber);
    add16(0);
    add32(interface.snaplen);
    addOptions(options);
    endBlock();
    interfaces_.push_back(written);
    return static_cast<std::uint32_t>(interfaces_.size() - 1);
}

void PcapNgWriter::writeStatistics(std::uint32_t interface, std::int64_t nanoseconds, const PcapNgOptions& options)
{
    const auto ticks = ticksOf(std::max<std::int64_t>(nanoseconds, 0), interfaces_[interface].unitsPerSecond);
    beginBlock(interfaceStatistics);
    add32(interface);
    add32(static_cast<std::uint32_t>(ticks >> 32));
    add32(static_cast<std::uint32_t>(ticks));
    addOptions(options);
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

void PcapNgWriter::addOptions(const PcapNgOptions& options)
{
    if (options.empty())
        return;
    addPadded(options.bytes());
    add32(PcapNgOptions::end);
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
