// The frames that a display filter selects, as an analysis asks for them.
#pragma once

#include "Capture/Drivers/AnalyzeFile.h"
#include "Dissection/Filter/DisplayFilter.h"

#include <optional>

namespace netrondo::CaptureFile {

/// The frames of a capture that the filter selects, and of those only the ones that `among` takes, where it is given:
/// the others are numbered and nothing more. Takes all without either. Belongs to one pass over the capture.
/// `isNanosecond`: the file says that its fractions are nanoseconds.
FrameChoice choiceOf(const std::optional<DisplayFilter>& filter, bool isNanosecond, FrameChoice among = {});

} // namespace netrondo::CaptureFile
