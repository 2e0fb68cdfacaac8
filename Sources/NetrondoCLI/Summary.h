// The readable summary of an analysis: what an engineer wants to read first.
#pragma once

#include "Analysis/Model/AnalysisResult.h"
#include "Page.h"

#include <cstdint>
#include <optional>
#include <string>

namespace netrondo::cli {

/// What the reader knows of the capture beyond the result.
struct CaptureFacts {
    std::string file;
    std::optional<std::uint64_t> fileSize; ///< unknown for a pipe
    std::string format;
    std::string linkTypes;
};

/// Rows a table shows before it says how many more there are.
constexpr std::size_t shownRows = 10;

void printSummary(Page& page, const CaptureFacts& facts, const AnalysisResult& result, QualityStrictness strictness);

/// Frames read, analysed and left out with the reasons, and what else the analysis has to say about the capture.
void printAccounting(Page& page, const CaptureExpertSummary& summary);

/// "192.0.2.7 (www.example.org)"; the address alone when it has no name.
std::string hostText(const std::string& address, const std::optional<std::string>& name);
/// The pair's top protocol; a transport without a named service is followed by its busiest port.
std::string protocolText(const CommPair& pair);
Tone tone(SessionQualityGrade grade);

} // namespace netrondo::cli
