// Where the expert findings look at frames; the rules themselves are still to come.
#pragma once

#include "Analysis/Expert/CaptureExpertSummary.h"
#include "Analysis/Expert/ExpertPreferences.h"
#include "Analysis/Tcp/TCPSessionQuality.h"
#include "Capture/CaptureFrame.h"

namespace netrondo {

class ConversationTable;

/// One per analysis. Its list of rules is empty, so every scan does nothing and the summary is empty; the calls stand
/// where the analysis makes them.
class CaptureExpertScanner {
public:
    explicit CaptureExpertScanner(const ExpertPreferences&) { }

    /// Link layer, ARP, network layer and above; also for frames that the analysis then leaves out.
    void scanFrame(const CaptureFrame&) { }
    /// What only whole conversations show.
    void scanTransport(const ConversationTable&, const QualityGradeThresholds&) { }
    void emitArpFindings() { }
    CaptureExpertSummary summary() const { return {}; }
};

} // namespace netrondo
