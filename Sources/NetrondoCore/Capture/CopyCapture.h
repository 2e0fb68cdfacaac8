// Copies the frames of a capture, all of them or those that are wanted, into a file.
#pragma once

#include "Capture/CaptureReading.h"

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>

namespace netrondo {

struct CopyFailure {
    enum class Side { source, copy }; ///< what it was that failed
    Side side;
    CaptureError error;
};

/// Asked for every frame in order whether it is wanted; none is as if all were.
using CopyChoice = std::function<bool(const CaptureFrame& frame)>;

/// A remark to be kept with a frame, counted from 0; an empty one is none. Only pcapng has room for it.
using CopyRemarks = std::function<std::string(std::uint64_t frame)>;

/// Writes the file, in the format that its name asks for, and gives the number of frames in it; nothing when `goesOn`,
/// which is asked now and then, put an end to it. The file gets its name when it is whole; else what bore the name
/// before is untouched.
Result<std::optional<std::uint64_t>, CopyFailure> copyCapture(CaptureReading& source, const std::filesystem::path& copy,
                                                              const CopyChoice& isWanted = {},
                                                              const std::function<bool()>& goesOn = {},
                                                              const CopyRemarks& remarks = {});

} // namespace netrondo
