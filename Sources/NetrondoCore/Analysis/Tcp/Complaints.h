// What is wrong with a TCP conversation, in words.
#pragma once

#include "Analysis/Tcp/TCPSessionQuality.h"

#include <string>
#include <vector>

namespace netrondo {

struct Complaint {
    double points = 0;  ///< taken off the score; 0 for what is worth knowing all the same
    std::string brief;  ///< "2 resets"
    std::string detail; ///< the same with what it means
};

/// What cost most first; then, in a fixed order, what cost nothing.
std::vector<Complaint> complaints(const TCPSessionQuality& quality);
/// Whether there are any.
bool hasComplaints(const TCPSessionQuality& quality);

/// "2 resets −40, 2.1 % sent again −5.3": what spoiled the score, empty when nothing did.
std::string briefly(const std::vector<Complaint>& complaints);

/// "−40", "−2.5", with the typographic minus sign.
std::string pointsOff(double points);

} // namespace netrondo
