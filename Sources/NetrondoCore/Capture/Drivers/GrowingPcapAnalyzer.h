// Analyses a classic pcap file that another process is still writing.
#pragma once

#include "Analysis/Expert/ExpertPreferences.h"
#include "Analysis/Model/AnalysisResult.h"
#include "Analysis/PairAggregator.h"
#include "Capture/PcapReader.h"

#include <cstdint>
#include <filesystem>
#include <mutex>
#include <optional>

namespace netrondo {

/// Keeps its place in the file: each `pull` reads only what was appended since the one before. May be called from
/// several threads; the calls queue up. It never rewinds on its own: in a file replaced by a shorter one the old offset
/// still applies.
class GrowingPcapAnalyzer {
public:
    GrowingPcapAnalyzer(AnalysisMode mode, const ExpertPreferences& expert);

    /// Folds in what was appended and gives the result so far. A change of mode or preferences starts over from the
    /// beginning of the file. A record that is still being written is left for the next pull.
    CaptureResult<AnalysisResult> pull(const std::filesystem::path& path, AnalysisMode mode,
                                       const ExpertPreferences& expert);

private:
    std::mutex lock_;
    PairAggregator aggregator_;
    AnalysisMode mode_;
    ExpertPreferences expert_;
    std::uint64_t byteOffset_ = 0;     ///< of the first byte not yet consumed: the start of the next record
    std::optional<PcapHeader> header_; ///< once it has been read
};

} // namespace netrondo
