// What the capture program says beside the frames, line by line.
#pragma once

#include "Capture/CaptureWriter.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace netrondo {

/// Why a capture failed.
enum class CaptureFault : std::uint8_t { none, permission, interface, interfaceDown, filter, program, other };

/// Takes the program's words as they come, in any pieces:
///
///     listening                     the capture runs
///     counts RECEIVED DROPPED LOST  frames so far
///     error KIND TEXT               why it ends
///
/// Other lines mean nothing, and no line is kept beyond its end.
class CaptureReports {
public:
    void take(std::string_view piece);

    bool isListening() const { return isListening_; }
    const CaptureCounts& counts() const { return counts_; }
    CaptureFault fault() const { return fault_; } ///< the last that was told
    const std::string& detail() const { return detail_; }

    /// A program that writes longer lines is none of ours: they are dropped.
    static constexpr std::size_t longestLine = 4096;

private:
    void takeLine(std::string_view line);

    std::string unread_; ///< the beginning of a line
    bool isTooLong_ = false;
    bool isListening_ = false;
    CaptureCounts counts_;
    CaptureFault fault_ = CaptureFault::none;
    std::string detail_;
};

} // namespace netrondo
