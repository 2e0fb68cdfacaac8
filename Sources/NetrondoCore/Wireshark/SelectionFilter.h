// What is picked in the circle as a display filter.
#pragma once

#include "Wireshark/CaptureFilterBuilder.h"

#include <string>

namespace netrondo {

/// A display filter for the frames of these hosts and conversations; empty, which shows every frame, for none.
/// Conversations are meant either way.
std::string displayFilterFor(const TrafficSelection& selection);

} // namespace netrondo
