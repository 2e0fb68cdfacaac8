// From the analysis's findings to those of the decoder.
#include "Analysis/Expert/TcpHistory.h"

#include "Analysis/PairAggregator.h"

#include <memory>

namespace netrondo {

HistoryMarks::HistoryMarks(std::span<const Finding> findings)
{
    for (const auto finding : findings) {
        switch (finding) {
        case Finding::tcpRetxEndpoint: marks[count++] = Expert::tcpRetransmission; break;
        case Finding::tcpRetxInfra: marks[count++] = Expert::tcpDuplicate; break;
        case Finding::tcpSpurious: marks[count++] = Expert::tcpSpurious; break;
        case Finding::tcpAckedUnseen: marks[count++] = Expert::tcpAckedUnseen; break;
        case Finding::tcpZerowin: marks[count++] = Expert::tcpZeroWindow; break;
        default: break;
        }
        if (count == marks.size())
            return;
    }
}

FrameHistory followHistory()
{
    struct State {
        PairAggregator aggregator{AnalysisMode::l3IP, {}};
        HistoryMarks latest{{}};
    };
    return [state = std::make_shared<State>()](const CaptureFrame& frame) {
        state->aggregator.ingest(frame);
        const auto findings = state->aggregator.latestFindings();
        state->latest = HistoryMarks(findings);
        return state->latest.all();
    };
}

FrameHistory historyFor(const DisplayFilter& filter)
{
    return filter.readsFindings() ? followHistory() : FrameHistory{};
}

} // namespace netrondo
