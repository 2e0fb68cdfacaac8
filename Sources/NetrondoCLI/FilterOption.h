// `--filter EXPR`, for every subcommand that can leave frames out.
#pragma once

#include "Capture/Drivers/AnalyzeFile.h"
#include "Dissection/Filter/DisplayFilter.h"

#include <CLI/CLI.hpp>
#include <optional>
#include <string>

namespace netrondo::cli {

/// `--filter EXPR`; `text` stays empty without it.
void addFilter(CLI::App& app, std::string& text);

/// The frames of a capture that the filter selects, for an analysis; nothing without a filter.
CaptureFile::FrameChoice choiceOf(const std::optional<DisplayFilter>& filter, bool isNanosecond);

/// Says what is wrong with a filter on standard error; returns the exit status.
int fail(const DisplayFilter::CompileError& error);

} // namespace netrondo::cli
