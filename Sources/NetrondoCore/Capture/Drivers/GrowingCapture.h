// Analyses a capture of any format while it grows, and keeps account of what has come.
#pragma once

#include "Analysis/Expert/ExpertPreferences.h"
#include "Analysis/Model/AnalysisResult.h"
#include "Analysis/PairAggregator.h"
#include "Capture/Drivers/WatchedReading.h"

#include <atomic>
#include <filesystem>
#include <memory>
#include <optional>

namespace netrondo {

/// Keeps the file open and its place in it, so that a pull costs what has come since the one before. One thread at a
/// time may use it. `GrowingPcapAnalyzer` opens the file anew for every pull, and knows classic pcap only.
class GrowingCapture {
public:
    /// Nothing is opened before the first pull.
    explicit GrowingCapture(std::filesystem::path path);

    /// Folds in what was appended and gives the result so far. A change of mode or preferences reads the file from its
    /// beginning. A record that is still being written is left for the next pull. A file that is gone is an error at
    /// every pull; one that comes back is another file.
    CaptureResult<AnalysisResult> pull(AnalysisMode mode, const ExpertPreferences& expert);

    /// What has been read, for its format, its times and its link types; null before the first pull that could open the
    /// file.
    const WatchedReading* reading() const { return watched_ ? &*watched_ : nullptr; }

private:
    CaptureResult<void> open();

    std::filesystem::path path_;
    std::unique_ptr<CaptureReading> reader_;
    const std::atomic<bool> never_ = false;
    std::optional<WatchedReading> watched_;
    std::optional<PairAggregator> aggregator_;
    AnalysisMode mode_ = AnalysisMode::l3IP;
    ExpertPreferences expert_;
};

} // namespace netrondo
