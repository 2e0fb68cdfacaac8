// How a subcommand ends: what went wrong in a sentence, and whether standard output took what was written.
#pragma once

#include "Base/TextOutput.h"
#include "Capture/CaptureError.h"

#include <string_view>

namespace netrondo::cli {

/// Says "netrondo: FILE: " and the error's own description on standard error; returns the exit status.
int fail(std::string_view file, const CaptureError& error);

/// Hands on what `out` still holds; returns the exit status. A reader that went away is no failure: it has had what it
/// wanted, and the command ends quietly as other filters do.
int finish(TextOutput& out);

} // namespace netrondo::cli
