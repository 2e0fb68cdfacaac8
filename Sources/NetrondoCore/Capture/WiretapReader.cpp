// Passes frames on from the bridge.
#include "Capture/WiretapReader.h"

#include "CWiretapBridge/CWiretapBridge.h"

#include <algorithm>

namespace netrondo {

bool WiretapReader::isAvailable()
{
    return nr_wtap_available() != 0;
}

CaptureResult<std::unique_ptr<WiretapReader>> WiretapReader::open(const std::filesystem::path& path)
{
    std::error_code none;
    // Standard input and pipes have been read from already, and the library opens files itself.
    if (!isAvailable() || !std::filesystem::is_regular_file(path, none))
        return std::unexpected(CaptureError::unsupportedFormat());
    int isUnknown = 0;
    char error[NR_WTAP_ERROR_SIZE];
    auto* const file = nr_wtap_open(path.c_str(), &isUnknown, error);
    if (!file)
        return std::unexpected(isUnknown ? CaptureError::unsupportedFormat() : CaptureError::invalidHeader(error));
    const auto size = std::filesystem::file_size(path, none);
    return std::unique_ptr<WiretapReader>(new WiretapReader(file, none ? 0 : size));
}

WiretapReader::WiretapReader(nr_wtap* file, std::uint64_t size)
    : file_(file), size_(size), linkType_(netrondo::linkType(nr_wtap_link(file)))
{ }

WiretapReader::~WiretapReader()
{
    nr_wtap_close(file_);
}

CaptureResult<std::size_t> WiretapReader::nextBatch(std::span<CaptureFrame> frames)
{
    if (frames.empty())
        return 0;
    nr_wtap_frame next;
    char error[NR_WTAP_ERROR_SIZE];
    const int got = nr_wtap_next(file_, &next, error);
    if (got < 0)
        return std::unexpected(CaptureError::io(error));
    if (got == 0)
        return 0;
    linkNumber_ = next.link;
    nanoseconds_ = next.nanoseconds % 1000;
    auto& frame = frames.front();
    frame = {};
    frame.timestampSeconds = static_cast<std::uint64_t>(std::max<std::int64_t>(next.seconds, 0));
    frame.timestampFraction = next.nanoseconds / 1000;
    frame.capturedLength = next.captured;
    frame.originalLength = next.original;
    frame.linkType = netrondo::linkType(next.link);
    frame.data = {next.data, next.captured};
    return 1;
}

std::int64_t WiretapReader::nanoseconds(const CaptureFrame& frame) const
{
    return CaptureReading::nanoseconds(frame) + nanoseconds_;
}

SourceInterface WiretapReader::interfaceOf(const CaptureFrame&) const
{
    return {linkNumber_, 0, true};
}

CaptureReading::Position WiretapReader::position() const
{
    return {std::min(nr_wtap_offset(file_), size_), size_};
}

} // namespace netrondo
