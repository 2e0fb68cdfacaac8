// Writing frames of a capture into a file, in the background.
#pragma once

#include "Models/FrameNotes.h"
#include "Tasks/CaptureSession.h"

#include <QString>
#include <cstdint>
#include <memory>
#include <optional>

namespace netrondo {

class DisplayFilter;

struct SaveWish {
    QString source, target;
    std::optional<TimeSpan> span;                ///< only frames of this time
    std::shared_ptr<const DisplayFilter> filter; ///< only frames that this one selects, null for all
    std::shared_ptr<const DisplayFilter> focus;  ///< and this one as well
    FrameNotes::Texts notes;                     ///< to be kept with their frames, where the format has room for them
};

struct Saved {
    std::uint64_t frames = 0;
    QString trouble; ///< a sentence with the file's name; empty when all is well
};

/// Reads the source from its beginning to its present end. The target gets its name when it is whole; else it is left
/// as it was, and the source always is.
Saved saveFrames(const SaveWish& wish);

} // namespace netrondo
