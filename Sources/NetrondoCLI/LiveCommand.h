// What `capture` and `receive` share: a live source worked off into a file, or into the live summary.
#pragma once

#include "Capture/CaptureRecorder.h"
#include "Capture/LiveRecording.h"
#include "Capture/LiveSource.h"

#include <CLI/CLI.hpp>
#include <memory>
#include <optional>
#include <string>

namespace netrondo::cli {

struct LiveWishes {
    std::string name; ///< of the source, for messages
    std::string file; ///< empty: the live summary instead
    std::optional<CaptureRecorder::Ring> ring = std::nullopt;
    LiveRecording::Limits limits = {};
};

/// `-w FILE`.
void addOutput(CLI::App& app, std::string& file);

/// Works the source off until it ends, a limit is reached, something fails or the user interrupts, which is a good end;
/// then says on standard error how much came and how much was lost. Returns the exit status.
int runLive(const std::shared_ptr<LiveSource>& source, const LiveWishes& wishes);

} // namespace netrondo::cli
