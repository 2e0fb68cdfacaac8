// The busiest conversation gets what the numbers leave of the line.
#include "LiveLines.h"

#include "Base/Units.h"
#include "Ranking.h"
#include "Summary.h"
#include "Terminal.h"
#include "TextWidth.h"

#include <algorithm>
#include <fmt/format.h>
#include <unistd.h>

namespace netrondo::cli {

using namespace units;

LiveLines::LiveLines(TextOutput& out, QualityStrictness strictness)
    : page_(out, screenWidth(STDOUT_FILENO), wantsColour(STDOUT_FILENO)), thresholds_(thresholds(strictness))
{ }

void LiveLines::print(const AnalysisResult& result)
{
    auto conversations = talks(result.pairs);
    const auto line = fmt::format("{:>9} {:<8}{:>9} {:<9}{:>5} conv.", grouped(result.totalPackets),
                                  "+" + grouped(result.totalPackets - packets_), bytes(result.totalBytes),
                                  "+" + bytes(result.totalBytes - bytes_), grouped(conversations.size()));
    packets_ = result.totalPackets;
    bytes_ = result.totalBytes;
    page_.put(line);
    if (!conversations.empty()) {
        busiestFirst(conversations, 1);
        printBusiest(result.pairs[conversations.front().pair],
                     page_.width() - std::min(page_.width(), textWidth(line) + 2));
    }
    page_.endLine();
}

void LiveLines::printBusiest(const CommPair& pair, std::size_t room)
{
    auto text = fmt::format("{} ↔ {} {}", hostText(pair.srcAddr, pair.resolvedSrc),
                            hostText(pair.dstAddr, pair.resolvedDst), protocolText(pair));
    const auto score = pair.tcpQuality ? pair.tcpQuality->score() : std::nullopt;
    const auto grade = gradeOf(score, thresholds_);
    const auto verdict = score && grade != SessionQualityGrade::excellent
        ? fmt::format(" {} {}", displayName(grade), *score)
        : std::string();
    page_.pad(2);
    page_.put(fitted(text, room - std::min(room, textWidth(verdict))));
    page_.put(verdict, tone(grade));
}

} // namespace netrondo::cli
