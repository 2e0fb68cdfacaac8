// Captures of further formats, by the optional capture-file library: snoop, ERF, Network Monitor and many more.
#pragma once

#include "Capture/CaptureReading.h"

#include <filesystem>
#include <memory>
#include <vector>

struct nr_wtap;

namespace netrondo {

/// Times come out as microseconds since 1970, whatever the file's resolution.
class WiretapReader final : public CaptureReading {
public:
    /// Whether the library is there; without it nothing of this can be used.
    static bool isAvailable();
    /// `unsupportedFormat` for a file of no format that the library knows, and for what is no file.
    static CaptureResult<std::unique_ptr<WiretapReader>> open(const std::filesystem::path& path);
    ~WiretapReader() override;

    CaptureFormat format() const override { return CaptureFormat::wiretap; }
    std::span<const LinkType> interfaceLinkTypes() const override { return {&linkType_, 1}; }
    std::int64_t nanoseconds(const CaptureFrame& frame) const override;
    SourceInterface interfaceOf(const CaptureFrame& frame) const override;

    /// One frame at a time: the library keeps the bytes of one only.
    CaptureResult<std::size_t> nextBatch(std::span<CaptureFrame> frames) override;
    Position position() const override;

private:
    WiretapReader(nr_wtap* file, std::uint64_t size);

    nr_wtap* file_;
    std::uint64_t size_;
    LinkType linkType_;
    std::uint16_t linkNumber_ = 0;  ///< of the last frame
    std::uint32_t nanoseconds_ = 0; ///< below the microsecond, of the last frame
};

} // namespace netrondo
