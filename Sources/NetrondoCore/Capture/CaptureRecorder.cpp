// A file after the other; the oldest goes when there is one too many.
#include "Capture/CaptureRecorder.h"

#include <array>
#include <fmt/format.h>

namespace netrondo {

CaptureResult<std::unique_ptr<CaptureRecorder>>
CaptureRecorder::create(const std::filesystem::path& path, std::optional<Ring> ring, const PcapNgNotes* notes)
{
    std::unique_ptr<CaptureRecorder> recorder(new CaptureRecorder(path, ring, notes));
    if (const auto opened = recorder->openNext(); !opened)
        return std::unexpected(opened.error());
    return recorder;
}

std::filesystem::path CaptureRecorder::nameOf(std::uint64_t number) const
{
    auto name = path_;
    name.replace_filename(fmt::format("{}-{:05}{}", path_.stem().string(), number, path_.extension().string()));
    return name;
}

CaptureResult<void> CaptureRecorder::openNext()
{
    file_ = ring_ ? nameOf(++opened_) : path_;
    const auto format = CaptureWriter::formatFor(path_).value_or(CaptureFormat::pcap);
    writer_.reset(); // whatever happens, nothing more goes into the file before
    NR_TRY(writer_,
           CaptureWriter::create(file_, {.format = format, .naming = FileNaming::fromTheStart, .notes = notes_}));
    if (!ring_)
        return {};
    kept_.push_back(file_);
    if (kept_.size() > ring_->files) {
        std::error_code gone; // somebody else may have taken it away
        std::filesystem::remove(kept_.front(), gone);
        kept_.pop_front();
    }
    return {};
}

CaptureResult<void> CaptureRecorder::begin(const SourceInterface& interface)
{
    if (auto begun = writer_->begin(interface); !begun)
        return begun;
    return writer_->flush();
}

CaptureResult<void> CaptureRecorder::write(const CaptureFrame& frame, const CaptureReading& source)
{
    if (ring_ && writer_->frames() > 0 && writer_->size() >= ring_->bytes) {
        if (auto finished = writer_->finish(); !finished)
            return finished;
        if (auto opened = openNext(); !opened)
            return opened;
    }
    ++frames_;
    return writer_->write(frame, source);
}

CaptureResult<void> CaptureRecorder::flush()
{
    return writer_ ? writer_->flush() : CaptureResult<void>();
}

CaptureResult<void> CaptureRecorder::finish(std::span<const CaptureCounts> counts)
{
    if (!writer_)
        return {};
    return writer_->finish(counts);
}

} // namespace netrondo
