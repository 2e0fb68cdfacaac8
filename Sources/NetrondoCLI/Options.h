// Options that several subcommands have, declared once so that they read and behave the same everywhere.
#pragma once

#include "Analysis/Tcp/TCPSessionQuality.h"
#include "Dissection/Classify/AnalysisMode.h"

#include <CLI/CLI.hpp>
#include <string>

namespace netrondo::cli {

/// `FILE`, required; "-" is standard input.
void addFile(CLI::App& app, std::string& file);
/// `--mode l3IP|l2MAC`.
void addMode(CLI::App& app, AnalysisMode& mode);
/// `--strictness lenient|balanced|strict`.
void addStrictness(CLI::App& app, QualityStrictness& strictness);
/// `--json`.
void addJson(CLI::App& app, bool& json, const char* what);

} // namespace netrondo::cli
