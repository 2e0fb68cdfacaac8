// The pass reads in batches and shows each of them to the readers at once.
#include "Capture/FrameIndex.h"

#include "Capture/CaptureFile.h"
#include "Capture/PcapNgReader.h"

#include <array>
#include <fmt/format.h>

namespace netrondo {
namespace {
constexpr std::uint64_t nanosecondsPerSecond = 1'000'000'000;
constexpr std::uint64_t maxOffset = (std::uint64_t{1} << 48) - 1;
} // namespace

CaptureResult<std::shared_ptr<FrameIndex>> FrameIndex::open(const std::filesystem::path& path)
{
    NR_TRY(auto reader, CaptureFile::open(path));
    return of(std::move(reader));
}

CaptureResult<std::shared_ptr<FrameIndex>> FrameIndex::of(std::unique_ptr<CaptureReading> reader)
{
    NR_TRY([[maybe_unused]] const auto proof, reader->again()); // better now than when the first frame is shown
    return std::shared_ptr<FrameIndex>(new FrameIndex(std::move(reader)));
}

CaptureResult<void> FrameIndex::extend(const std::stop_token& stop, const Watch& watch)
{
    std::array<CaptureFrame, 256> frames;
    while (!stop.stop_requested()) {
        const std::lock_guard guard(lock_);
        const auto count = reader_->nextBatch(frames);
        const auto position = reader_->position();
        offset_ = position.offset;
        size_ = position.size;
        const bool isCut = !count && count.error() == CaptureError::truncatedFrame()
            && reader_->format() == CaptureFormat::pcap; // half a record header, which stays unread
        if (!count && !isCut)
            return std::unexpected(count.error());
        if (isCut || *count == 0) {
            isCut_ = position.offset < position.size;
            break;
        }
        for (const auto& frame : std::span(frames).first(*count)) {
            const auto offset = reader_->offsetOf(frame);
            const Entry entry{offset & maxOffset, static_cast<std::uint16_t>(frame.linkType),
                              reader_->nanoseconds(frame)};
            if (offset > maxOffset || !entries_.append(entry))
                return std::unexpected(CaptureError::io("the capture has more frames than can be listed"));
            if (watch)
                watch(frame);
        }
        entries_.publish();
    }
    return {};
}

CaptureResult<FrameFetcher> FrameIndex::fetcher() const
{
    const std::lock_guard guard(lock_);
    NR_TRY(auto reader, reader_->again());
    return FrameFetcher(*this, std::move(reader));
}

CaptureResult<CaptureFrame> FrameFetcher::fetch(std::uint32_t frame)
{
    const auto& entry = index_->entries_[frame];
    if (const auto moved = reader_->moveTo(entry.offset); !moved)
        return std::unexpected(moved.error());
    NR_TRY(auto found, reader_->nextFrame());
    if (!found)
        return std::unexpected(
            CaptureError::io(fmt::format("frame {} is no longer in the file, which has become shorter", frame + 1)));
    const auto time = static_cast<std::uint64_t>(entry.nanoseconds);
    found->linkType = static_cast<LinkType>(entry.linkType);
    found->timestampSeconds = time / nanosecondsPerSecond;
    found->timestampFraction = time % nanosecondsPerSecond;
    return *found;
}

std::string FrameFetcher::comment(const CaptureFrame& fetched) const
{
    const auto* const noted = dynamic_cast<const PcapNgReader*>(reader_.get()); // the one format that has any
    return noted ? noted->optionsOf(fetched).lines(PcapNgOptions::comment) : std::string();
}

} // namespace netrondo
