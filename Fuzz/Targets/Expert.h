// Arbitrary captures through the expert scan under arbitrary thresholds.
#pragma once

#include "Analysis/PairAggregator.h"
#include "Base/Json.h"
#include "Capture/PcapReader.h"
#include "Targets/Input.h"

#include <algorithm>
#include <string>

namespace netrondo::fuzz {

/// Sets thresholds of the table to values within their ranges: two bytes each, the row and how far along the range.
inline ExpertPreferences preferencesFrom(Bytes choices)
{
    ExpertPreferences preferences;
    const auto table = expertThresholds();
    for (std::size_t i = 0; i + 1 < choices.size(); i += 2) {
        const auto& row = table[choices[i] % table.size()];
        preferences.*row.value = row.least + (row.most - row.least) * choices[i + 1] / 255;
    }
    return preferences;
}

inline std::string textOf(const CaptureExpertSummary& summary)
{
    std::string text;
    {
        TextOutput out(text);
        JsonWriter json(out);
        write(json, summary);
    }
    return text;
}

/// The first byte says how many bytes of thresholds follow; the rest is a pcap file without its header. Every frame is
/// accounted for, every finding has its evidence in the capture, marks ascend, and asking in between changes nothing.
inline void expert(Bytes input)
{
    if (input.empty())
        return;
    const auto choices = slice(input, 1, input[0] % 32u);
    const auto capture = slice(input, 1 + choices.size());
    const auto preferences = preferencesFrom(choices);
    const PcapHeader header{false, false, 65'535, LinkType::ethernet};
    PcapReader reader(asFile(capture), header);
    PairAggregator aggregator(AnalysisMode::l3IP, preferences);
    PairAggregator asked(AnalysisMode::l3IP, preferences, FrameMarks::kept);
    std::uint64_t frames = 0;
    while (true) {
        const auto frame = reader.nextFrame();
        if (!frame || !*frame)
            break;
        aggregator.ingest(**frame);
        asked.ingest(**frame);
        if (++frames == 7)
            static_cast<void>(asked.result());
    }
    const auto result = asked.result();
    const auto& summary = result.expertSummary;
    std::uint64_t skipped = 0;
    for (const auto& skip : summary.accounting.skipped)
        skipped += skip.frames;
    NR_ASSERT(summary.accounting.read == frames && summary.accounting.analysed + skipped == frames);
    for (const auto& finding : summary.findings) {
        const auto& evidence = finding.evidence;
        NR_ASSERT(!evidence.empty() && evidence.size() <= ExpertFinding::maxEvidence);
        NR_ASSERT(evidence.front() >= 1 && evidence.back() <= frames && std::ranges::is_sorted(evidence));
        NR_ASSERT(finding.firstFrame <= finding.lastFrame && finding.lastFrame <= frames);
        NR_ASSERT(finding.count > 0 && finding.confidence >= 0 && finding.confidence <= 1);
    }
    NR_ASSERT(std::ranges::is_sorted(*summary.annotations, {}, &FrameAnnotation::frame));
    NR_ASSERT(textOf(summary) == textOf(aggregator.result().expertSummary));
}

} // namespace netrondo::fuzz
