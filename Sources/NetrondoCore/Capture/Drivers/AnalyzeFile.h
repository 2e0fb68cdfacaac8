// The one-shot analysis: a capture file in, an analysis result out.
#pragma once

#include "Analysis/Expert/ExpertPreferences.h"
#include "Analysis/Model/AnalysisResult.h"
#include "Capture/CaptureReading.h"

#include <cstdint>
#include <filesystem>
#include <functional>

namespace netrondo::CaptureFile {

/// Called with the number of frames read so far: every 10,000 frames, and once more at the end.
using Progress = std::function<void(std::uint64_t frames)>;

/// Asked for every frame in order; the frames it declines are left out of the analysis, though they count as read.
using FrameChoice = std::function<bool(const CaptureFrame& frame)>;

/// Reads the whole file and analyses it. Any error abandons the analysis; there is no partial result. Runs on the
/// caller's thread; `progress` is called on it too.
CaptureResult<AnalysisResult> analyze(const std::filesystem::path& path, AnalysisMode mode,
                                      const ExpertPreferences& expertPreferences, const Progress& progress = {});

/// The same for a reader that is open already.
CaptureResult<AnalysisResult> analyze(CaptureReading& reader, AnalysisMode mode,
                                      const ExpertPreferences& expertPreferences, const Progress& progress = {},
                                      const FrameChoice& choice = {}, FrameMarks marks = FrameMarks::none);

} // namespace netrondo::CaptureFile
