// What all readers share: names of the formats, and one frame as a batch of one.
#include "Capture/CaptureReading.h"

namespace netrondo {

std::string_view rawValue(CaptureFormat format)
{
    switch (format) {
    case CaptureFormat::pcap: return "pcap";
    case CaptureFormat::pcapng: return "pcapng";
    case CaptureFormat::sniffer: return "sniffer";
    case CaptureFormat::wiretap: return "wiretap";
    }
    fatal("a capture format without a name", __FILE__, __LINE__);
}

SourceInterface CaptureReading::interfaceOf(const CaptureFrame& frame) const
{
    return {static_cast<std::uint16_t>(frame.linkType), 0, isNanosecond()};
}

CaptureResult<std::optional<CaptureFrame>> CaptureReading::nextFrame()
{
    CaptureFrame frame;
    NR_TRY(const auto count, nextBatch({&frame, 1}));
    return count == 0 ? std::optional<CaptureFrame>() : frame;
}

std::int64_t CaptureReading::nanoseconds(const CaptureFrame& frame) const
{
    const std::uint64_t unit = isNanosecond() ? 1 : 1000;
    return static_cast<std::int64_t>(frame.timestampSeconds * 1'000'000'000 + frame.timestampFraction * unit);
}

CaptureResult<std::unique_ptr<CaptureReading>> CaptureReading::again() const
{
    return std::unexpected(CaptureError::io("frames of this capture cannot be read a second time"));
}

CaptureResult<void> CaptureReading::moveTo(std::uint64_t)
{
    return std::unexpected(CaptureError::io("frames of this capture cannot be read a second time"));
}

} // namespace netrondo
