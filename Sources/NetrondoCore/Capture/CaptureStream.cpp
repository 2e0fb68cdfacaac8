// The readers take a record that has not come whole for the end of the data and find it again at the next call; what
// is left is to tell that end from the stream's.
#include "Capture/CaptureStream.h"

#include "Capture/CaptureFile.h"
#include "Capture/PcapNgReader.h"
#include "Capture/PcapReader.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>

namespace netrondo {
namespace {
constexpr std::size_t pcapRecordHeader = 16;
/// A packet block with its comments; other blocks, such as names and keys, are rarely longer.
constexpr std::uint64_t longestBlock = 4 * CaptureStream::longestFrame;
} // namespace

CaptureStream::CaptureStream(int descriptor) : descriptor_(descriptor), handle_(descriptor)
{
    ::fcntl(descriptor, F_SETFL, ::fcntl(descriptor, F_GETFL) | O_NONBLOCK);
    handle_->readAsItComes();
}

CaptureResult<std::size_t> CaptureStream::nextBatch(std::span<CaptureFrame> frames)
{
    if (error_)
        return std::unexpected(*error_);
    auto count = take(frames);
    if (!count)
        error_ = count.error();
    else if (*count == 0 && !frames.empty())
        hasEnded_ = endIsReached();
    return count;
}

CaptureResult<std::size_t> CaptureStream::take(std::span<CaptureFrame> frames)
{
    if (!reader_) {
        NR_TRY(const auto isOpen, open());
        if (!isOpen)
            return 0;
    }
    auto count = reader_->nextBatch(frames);
    // To the reader of a pcap file a piece of a record's header is damage; here its rest is on the way.
    if (!count && reader_->format() == CaptureFormat::pcap && count.error() == CaptureError::truncatedFrame())
        return 0;
    return count;
}

/// Makes the reader once the header has come; false before.
CaptureResult<bool> CaptureStream::open()
{
    NR_TRY(const auto start, handle_->peek(PcapHeader::size));
    if (start.size() < 4)
        return false;
    const auto format = CaptureFile::formatOf(start);
    if (format == CaptureFormat::pcap)
        return start.size() == PcapHeader::size ? openAs<PcapReader>(longestFrame + pcapRecordHeader)
                                                : CaptureResult<bool>(false);
    constexpr std::size_t sectionStart = 12;
    if (format == CaptureFormat::pcapng)
        return start.size() >= sectionStart ? openAs<PcapNgReader>(longestBlock) : CaptureResult<bool>(false);
    return std::unexpected(CaptureError::io("What arrives is neither pcap nor pcapng."));
}

template <typename Reader> CaptureResult<bool> CaptureStream::openAs(std::uint64_t longestRecord)
{
    handle_->limitPieces(longestRecord);
    NR_TRY(auto reader, Reader::open(std::move(*handle_)));
    handle_.reset();
    isMidRecord_ = [&read = *reader] { return read.isMidRecord(); };
    reader_ = std::move(reader);
    return true;
}

bool CaptureStream::isCut() const
{
    return hasEnded_ && (reader_ ? isMidRecord_() : !handle_->buffered().empty());
}

/// Whether the sender has closed the stream and all of it has been read. What has come meanwhile, and a failure of the
/// connection, show at the next call.
bool CaptureStream::endIsReached() const
{
    pollfd state{descriptor_, POLLIN, 0};
    int waiting = 0;
    return ::poll(&state, 1, 0) == 1 && !(state.revents & POLLERR) && ::ioctl(descriptor_, FIONREAD, &waiting) == 0
        && waiting == 0;
}

} // namespace netrondo
