// The live summary: a line now and then about what has come so far.
#pragma once

#include "Analysis/Model/AnalysisResult.h"
#include "Page.h"

#include <cstdint>

namespace netrondo::cli {

/// One line for each result: how much has come, in all and since the line before, and who is busiest.
class LiveLines {
public:
    LiveLines(TextOutput& out, QualityStrictness strictness);

    void print(const AnalysisResult& result);

private:
    void printBusiest(const CommPair& pair, std::size_t room);

    Page page_;
    QualityGradeThresholds thresholds_;
    std::uint64_t packets_ = 0;
    std::uint64_t bytes_ = 0;
};

} // namespace netrondo::cli
