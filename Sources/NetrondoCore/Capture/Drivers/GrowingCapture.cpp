// The readers take up a file that has grown where they stopped.
#include "Capture/Drivers/GrowingCapture.h"

#include "Capture/CaptureFile.h"

#include <array>
#include <cerrno>
#include <unistd.h>
#include <utility>

namespace netrondo {

GrowingCapture::GrowingCapture(std::filesystem::path path) : path_(std::move(path)) { }

CaptureResult<void> GrowingCapture::open()
{
    watched_.reset();
    NR_TRY(reader_, CaptureFile::open(path_));
    watched_.emplace(*reader_, never_);
    aggregator_.emplace(mode_, expert_, FrameMarks::kept);
    if (reader_->isNanosecond())
        aggregator_->setNanosecond();
    return {};
}

CaptureResult<AnalysisResult> GrowingCapture::pull(AnalysisMode mode, const ExpertPreferences& expert)
{
    const bool isOther = mode != std::exchange(mode_, mode) || expert != expert_;
    expert_ = expert;
    if (::access(path_.c_str(), F_OK) != 0) {
        const int error = errno;
        watched_.reset();
        reader_.reset();
        return std::unexpected(CaptureError::system(error));
    }
    if (!reader_ || isOther)
        if (const auto opened = open(); !opened)
            return std::unexpected(opened.error());
    std::array<CaptureFrame, 256> frames;
    while (true) {
        const auto got = watched_->nextBatch(frames);
        // Half the header of a record is the end for now; in pcapng the same error means damage.
        const bool isCut =
            !got && got.error() == CaptureError::truncatedFrame() && reader_->format() == CaptureFormat::pcap;
        if (!got && !isCut)
            return std::unexpected(got.error());
        if (!got || *got == 0)
            break;
        aggregator_->ingest(std::span(frames).first(*got));
    }
    return aggregator_->result();
}

} // namespace netrondo
