// The user's settings for the expert findings.
#pragma once

namespace netrondo {

/// Thresholds of the expert rules. There are no rules yet, so there is nothing to set.
struct ExpertPreferences {
    friend bool operator==(const ExpertPreferences&, const ExpertPreferences&) = default;
};

} // namespace netrondo
