// Puts together what belongs together: symptoms to their diagnosis, one trouble of many to one of what they share.
#pragma once

#include "Analysis/Expert/CaptureExpertSummary.h"

#include <span>
#include <vector>

namespace netrondo {

/// The findings that the records of the scans amount to, what hurts most first. What is muted is put together apart: it
/// counts for no diagnosis that is not muted. Work for the background: there may be tens of thousands of records.
std::vector<ExpertFinding> diagnose(std::vector<ExpertFinding> records, std::span<const ExpertMute> mutes);

} // namespace netrondo
