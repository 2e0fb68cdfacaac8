// The shape of the subcommands that print one line of JSON for each frame of a capture.
#pragma once

#include "Base/Json.h"
#include "Capture/CaptureFrame.h"

#include <functional>
#include <string>

namespace netrondo::cli {

/// Opens the capture and lets `writeLine` write each frame; the lines before an error are printed, then it fails.
int printFrameLines(const std::string& file, const std::function<void(JsonWriter&, const CaptureFrame&)>& writeLine);

} // namespace netrondo::cli
