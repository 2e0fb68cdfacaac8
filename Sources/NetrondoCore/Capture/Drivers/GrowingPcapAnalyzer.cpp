// One pull: from where the last one stopped to the last whole record.
#include "Capture/Drivers/GrowingPcapAnalyzer.h"

#include <array>

namespace netrondo {

GrowingPcapAnalyzer::GrowingPcapAnalyzer(AnalysisMode mode, const ExpertPreferences& expert)
    : aggregator_(mode, expert), mode_(mode), expert_(expert)
{ }

CaptureResult<AnalysisResult> GrowingPcapAnalyzer::pull(const std::filesystem::path& path, AnalysisMode mode,
                                                        const ExpertPreferences& expert)
{
    const std::scoped_lock locked(lock_);
    if (mode != mode_ || expert != expert_) {
        mode_ = mode;
        expert_ = expert;
        aggregator_ = PairAggregator(mode, expert);
        byteOffset_ = 0;
        header_.reset();
    }
    NR_TRY(auto handle, FileHandle::open(path));
    if (header_) {
        if (auto moved = handle.seek(byteOffset_); !moved)
            return std::unexpected(std::move(moved).error());
    } else {
        NR_TRY(const auto bytes, handle.read(PcapHeader::size));
        NR_TRY(header_, PcapHeader::parse(bytes));
    }
    PcapReader reader(std::move(handle), *header_);
    std::array<CaptureFrame, 64> frames;
    while (true) {
        const auto got = reader.nextBatch(frames);
        // A record header that is still being written is the end for now.
        if (!got && got.error().kind != CaptureError::Kind::truncatedFrame)
            return std::unexpected(got.error());
        if (!got || *got == 0)
            break;
        aggregator_.ingest(std::span(frames).first(*got));
    }
    byteOffset_ = reader.offset();
    return aggregator_.result();
}

} // namespace netrondo
