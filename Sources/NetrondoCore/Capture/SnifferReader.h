// NetXRay 2 and Windows Sniffer captures (.cap, .caz): a 128-byte header, then records without padding. No description
// of the format was ever published; what is known comes from people who compared many files.
#pragma once

#include "Capture/CaptureReading.h"
#include "Capture/FileHandle.h"

#include <array>

namespace netrondo {

/// What the file header tells.
struct SnifferHeader {
    static constexpr std::size_t size = 128;

    unsigned major = 0; ///< of the version: 1 or 2
    LinkType linkType = LinkType::unknown;
    std::uint16_t linkNumber = static_cast<std::uint16_t>(LinkType::unknown); ///< where there is a registered one
    std::uint32_t startSeconds = 0; ///< since 1970, when the clock of the records stood at `startTicks`
    std::uint64_t startTicks = 0;
    std::uint64_t ticksPerSecond = 0;
    std::uint32_t begin = 0;     ///< offset of the oldest record
    std::uint32_t end = 0;       ///< offset behind the newest; before `begin` when the capture buffer had wrapped
    bool mayHaveTrailer = false; ///< records that say so end with 4 bytes that are not the frame's

    /// Reads the first `size` bytes of a file.
    static CaptureResult<SnifferHeader> parse(Bytes bytes);

    bool isWrapped() const { return begin > end; }
};

/// Times come out as microseconds since 1970, to the nearest one.
class SnifferReader final : public CaptureReading {
public:
    /// "XCP" and a zero.
    static constexpr std::array<std::uint8_t, 4> magic = {0x58, 0x43, 0x50, 0x00};

    /// Reads the file header and moves to the oldest record. A capture whose buffer had wrapped cannot come from a
    /// pipe, as its oldest records lie behind its newest.
    static CaptureResult<std::unique_ptr<SnifferReader>> open(FileHandle handle);

    CaptureFormat format() const override { return CaptureFormat::sniffer; }
    std::span<const LinkType> interfaceLinkTypes() const override { return {&header_.linkType, 1}; }
    SourceInterface interfaceOf(const CaptureFrame&) const override { return {header_.linkNumber, 0, false}; }
    const SnifferHeader& header() const { return header_; }

    /// A record that the end of the capture cuts is the end of the data: the last ones of a file are known to get lost.
    CaptureResult<std::size_t> nextBatch(std::span<CaptureFrame> frames) override;
    Position position() const override { return {handle_.offset(), handle_.size()}; }
    std::uint64_t offsetOf(const CaptureFrame& frame) const override;
    CaptureResult<std::unique_ptr<CaptureReading>> again() const override;
    CaptureResult<void> moveTo(std::uint64_t offset) override;

private:
    SnifferReader(FileHandle handle, const SnifferHeader& header)
        : handle_(std::move(handle)), header_(header), inOlderPart_(header.isWrapped())
    { }

    std::size_t recordHeaderSize() const { return header_.major == 1 ? 28 : 40; }
    std::uint64_t bytesLeft() const;
    std::size_t takeBuffered(std::span<CaptureFrame> frames);
    CaptureResult<bool> requireRecord();
    CaptureFrame frameOf(Bytes record) const;

    FileHandle handle_;
    SnifferHeader header_;
    bool inOlderPart_; ///< of a wrapped capture: it ends with the file
};

} // namespace netrondo
