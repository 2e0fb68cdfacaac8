// The front door for captures that come from a file: sniff the first bytes, unpack gzip, open the matching reader.
#pragma once

#include "Capture/CaptureReading.h"

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>

namespace netrondo::CaptureFile {

/// Told how far the inflating of a compressed file has come, in bytes of that file; false ends it.
using Inflating = std::function<bool(CaptureReading::Position)>;

/// Opens a capture of any supported format. The path "-" is standard input. Pipes and other unseekable files are read
/// as they come; gzip is inflated to a temporary file without a name first. Files of no format that is known here go to
/// the optional capture-file library, where it is installed. What `inflating` has ended fails with the system's error
/// for what was cancelled.
CaptureResult<std::unique_ptr<CaptureReading>> open(const std::filesystem::path& path, const Inflating& inflating = {});

/// The format that the first four bytes of a file announce, if it is one that is known; gzip is none.
std::optional<CaptureFormat> formatOf(Bytes start);

} // namespace netrondo::CaptureFile
