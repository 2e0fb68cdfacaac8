// The classic pcap format (draft-ietf-opsawg-pcap): a 24-byte header, then records of a 16-byte header and a frame.
#pragma once

#include "Capture/CaptureReading.h"
#include "Capture/FileHandle.h"

namespace netrondo {

/// What the file header tells. Whoever continues in the middle of a file brings it along.
struct PcapHeader {
    bool swapEndian = false;   ///< the writer's machine was big-endian
    bool isNanosecond = false; ///< the fractions of the timestamps are nanoseconds
    std::uint32_t snaplen = 0; ///< as the file stores it; not enforced
    LinkType linkType = LinkType::unknown;
    std::uint16_t linkNumber = static_cast<std::uint16_t>(LinkType::unknown); ///< as the file stores it

    static constexpr std::size_t size = 24;
    /// Reads the first `size` bytes of a file.
    static CaptureResult<PcapHeader> parse(Bytes bytes);

    friend bool operator==(const PcapHeader&, const PcapHeader&) = default;
};

class PcapReader final : public CaptureReading {
public:
    /// Reads the file header.
    static CaptureResult<std::unique_ptr<PcapReader>> open(FileHandle handle);
    /// Continues with the record at the handle's offset.
    PcapReader(FileHandle handle, const PcapHeader& header) : handle_(std::move(handle)), header_(header) { }

    /// Whether a file that begins with this word, read little-endian, is a pcap file of one of the four kinds.
    static bool isMagic(std::uint32_t value);

    CaptureFormat format() const override { return CaptureFormat::pcap; }
    std::span<const LinkType> interfaceLinkTypes() const override { return {&header_.linkType, 1}; }
    bool isNanosecond() const override { return header_.isNanosecond; }
    SourceInterface interfaceOf(const CaptureFrame&) const override
    {
        return {header_.linkNumber, header_.snaplen, header_.isNanosecond};
    }
    std::uint32_t snaplen() const { return header_.snaplen; }
    const PcapHeader& header() const { return header_; }

    CaptureResult<std::size_t> nextBatch(std::span<CaptureFrame> frames) override;
    Position position() const override { return {handle_.offset(), handle_.size()}; }
    /// Whether what is left of the data is the beginning of a record.
    bool isMidRecord() const { return !handle_.buffered().empty(); }
    std::uint64_t offsetOf(const CaptureFrame& frame) const override;
    CaptureResult<std::unique_ptr<CaptureReading>> again() const override;
    CaptureResult<void> moveTo(std::uint64_t offset) override;
    /// Of the first byte not yet consumed: the start of the next record, be it whole, cut or missing.
    std::uint64_t offset() const { return handle_.offset(); }

private:
    std::size_t takeBuffered(std::span<CaptureFrame> frames);

    FileHandle handle_;
    PcapHeader header_;
};

} // namespace netrondo
