// `--filter EXPR`, for every subcommand that can leave frames out.
#pragma once

#include "Capture/Drivers/FilterChoice.h"
#include "Dissection/Filter/DisplayFilter.h"

#include <CLI/CLI.hpp>
#include <optional>
#include <string>

namespace netrondo::cli {

/// `--filter EXPR`; `text` stays empty without it.
void addFilter(CLI::App& app, std::string& text);

using CaptureFile::choiceOf;

/// Says what is wrong with a filter on standard error; returns the exit status.
int fail(const DisplayFilter::CompileError& error);

} // namespace netrondo::cli
