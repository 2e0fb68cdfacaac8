// The pcapng format (draft-ietf-opsawg-pcapng): blocks, of which interfaces and packets matter to the analysis.
#pragma once

#include "Capture/CaptureReading.h"
#include "Capture/FileHandle.h"
#include "Capture/PcapNgNotes.h"

#include <vector>

namespace netrondo {

class PcapNgReader final : public CaptureReading {
public:
    /// Type of the block every file begins with; it reads the same in both byte orders.
    static constexpr std::uint32_t sectionHeader = 0x0A0D0D0A;

    /// Checks the start of the file; the section header is read again as an ordinary block.
    static CaptureResult<std::unique_ptr<PcapNgReader>> open(FileHandle handle);

    CaptureFormat format() const override { return CaptureFormat::pcapng; }
    std::span<const LinkType> interfaceLinkTypes() const override { return interfaceLinkTypes_; }
    /// The snapshot length of each interface, indexed like the link types.
    std::span<const std::uint32_t> snaplens() const { return snaplens_; }

    /// The newest count of each interface, summed up.
    std::uint64_t droppedFrames() const override;
    SourceInterface interfaceOf(const CaptureFrame& frame) const override;

    /// A damaged block is an error again on every further call.
    CaptureResult<std::size_t> nextBatch(std::span<CaptureFrame> frames) override;
    Position position() const override { return {handle_.offset(), handle_.size()}; }
    /// Whether what is left of the data is the beginning of a record.
    bool isMidRecord() const { return !handle_.buffered().empty(); }
    std::int64_t nanoseconds(const CaptureFrame& frame) const override;
    std::uint64_t offsetOf(const CaptureFrame& frame) const override;
    CaptureResult<std::unique_ptr<CaptureReading>> again() const override;
    CaptureResult<void> moveTo(std::uint64_t offset) override;

    /// What the file has said beside its frames so far.
    const PcapNgNotes& notes() const { return notes_; }
    /// What it says of a frame of the last batch.
    PcapNgOptions optionsOf(const CaptureFrame& frame) const;

private:
    /// How an interface counts time; the frames' own seconds and fractions take every count for microseconds.
    struct Clock {
        std::uint64_t unitsPerSecond = 1'000'000;
        std::int64_t offsetSeconds = 0;
    };
    static Clock clockIn(const PcapNgOptions& options);
    void takeSection(Bytes body);
    void takeStatistics(Bytes body);
    std::int64_t nanoseconds(std::uint64_t interface, std::uint64_t ticks) const;
    bool isSimple(const CaptureFrame& frame) const;

    PcapNgReader(FileHandle handle, bool swapEndian) : handle_(std::move(handle)), swapEndian_(swapEndian) { }

    std::uint32_t u32(Bytes bytes, std::size_t at) const { return load::u32(bytes.data() + at, swapEndian_); }
    Bytes bufferedBlock() const;
    CaptureResult<bool> requireBlock();
    CaptureResult<bool> take(Bytes block, CaptureFrame& frame);
    CaptureResult<bool> takeInterface(Bytes body);
    CaptureResult<bool> takeEnhancedPacket(Bytes body, CaptureFrame& frame) const;
    CaptureResult<bool> takeSimplePacket(Bytes body, CaptureFrame& frame) const;
    LinkType linkTypeOf(std::uint32_t interfaceID) const;

    FileHandle handle_;
    bool swapEndian_;
    std::vector<LinkType> interfaceLinkTypes_;
    std::vector<std::uint32_t> snaplens_;
    std::vector<Clock> clocks_;
    PcapNgNotes notes_;
    bool hasSection_ = false;
};

} // namespace netrondo
