// Writes pcapng (draft-ietf-opsawg-pcapng): one section, an interface block before the first frame of each interface,
// enhanced packet blocks, and what was counted at the end.
#pragma once

#include "Capture/CaptureWriter.h"

#include <optional>
#include <unordered_map>
#include <vector>

namespace netrondo {

class PcapNgWriter final : public CaptureWriter {
public:
    PcapNgWriter(OutputFile file, const PcapNgNotes* notes) : CaptureWriter(std::move(file)), notes_(notes) { }

    CaptureResult<void> begin(const SourceInterface& interface) override;
    CaptureResult<void> write(const CaptureFrame& frame, std::int64_t nanoseconds, const SourceInterface& interface,
                              const PcapNgOptions& options) override;
    CaptureResult<void> finish(std::span<const CaptureCounts> counts) override;

private:
    std::uint32_t indexOf(std::int64_t interfaceID, const SourceInterface& interface);
    std::optional<std::uint32_t> notedIndexOf(std::int64_t interfaceID);
    void requireSection();
    void writeNotedInterfaces();
    std::uint32_t writeInterface(const PcapNgNotes::Interface& interface);
    void writeStatistics(std::uint32_t interface, std::int64_t nanoseconds, const PcapNgOptions& options);

    void beginBlock(std::uint32_t type);
    void add16(std::uint32_t value);
    void add32(std::uint32_t value);
    void addPadded(Bytes bytes);
    void addOptions(const PcapNgOptions& options);
    void endBlock();

    /// An interface of the file.
    struct Written {
        SourceInterface source;
        std::uint8_t timeResolution;
        std::uint64_t unitsPerSecond; ///< of its times
    };

    const PcapNgNotes* notes_; ///< null: there are none
    bool hasSection_ = false;
    std::vector<std::uint8_t> block_; ///< the one being made; its memory is used again
    std::vector<Written> interfaces_;
    std::vector<std::uint32_t> noted_; ///< the indexes of the notes' interfaces, as far as they are written
    std::unordered_map<std::int64_t, std::uint32_t> indexes_; ///< of other interfaces of the source
    std::int64_t lastTime_ = 0;                               ///< of any frame, in nanoseconds since 1970
};

} // namespace netrondo
