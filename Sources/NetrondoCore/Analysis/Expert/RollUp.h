// From symptoms to diagnoses: one trouble is told once.
#pragma once

#include "Analysis/Expert/CaptureExpertSummary.h"

#include <vector>

namespace netrondo {

/// Findings that another one explains become its symptoms and leave the list.
void rollUp(std::vector<ExpertFinding>& findings);

} // namespace netrondo
