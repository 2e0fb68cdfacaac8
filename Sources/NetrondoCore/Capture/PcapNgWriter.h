// Writes pcapng (draft-ietf-opsawg-pcapng): one section, an interface block before the first frame of each interface,
// enhanced packet blocks, and what was counted at the end.
#pragma once

#include "Capture/CaptureWriter.h"

#include <unordered_map>
#include <vector>

namespace netrondo {

class PcapNgWriter final : public CaptureWriter {
public:
    PcapNgWriter(OutputFile file, std::string comment);

    CaptureResult<void> begin(const SourceInterface& interface) override;
    CaptureResult<void> write(const CaptureFrame& frame, std::int64_t nanoseconds, const SourceInterface& interface,
                              std::string_view comment) override;
    CaptureResult<void> finish(std::span<const CaptureCounts> counts) override;

private:
    std::uint32_t indexOf(std::int64_t interfaceID, const SourceInterface& interface);
    void writeSection(std::string_view comment);
    void writeInterface(const SourceInterface& interface);
    void writeStatistics(std::uint32_t interface, const CaptureCounts& counts);

    void beginBlock(std::uint32_t type);
    void add16(std::uint32_t value);
    void add32(std::uint32_t value);
    void addPadded(Bytes bytes);
    void addOption(std::uint16_t code, Bytes value);
    void addText(std::uint16_t code, std::string_view text);
    void endBlock();

    std::vector<std::uint8_t> block_; ///< the one being made; its memory is used again
    std::vector<SourceInterface> interfaces_;
    std::unordered_map<std::int64_t, std::uint32_t> indexes_; ///< of a source's interface among those of the file
    std::uint64_t lastTime_ = 0;                              ///< of any frame, in nanoseconds since 1970
};

} // namespace netrondo
