// The user's settings for the expert findings: thresholds, and what is muted.
#pragma once

#include "Analysis/Expert/ExpertCatalog.h"
#include "Base/Address.h"
#include "Base/Result.h"

#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace netrondo {

class JsonWriter;

/// What the user does not want to hear of again. An empty field stands for all.
struct ExpertMute {
    Finding finding = Finding::none; ///< `none`: every finding
    Address host;                    ///< one of its endpoints
    Address peer;                    ///< and the other one: a conversation
    std::string reason;
    friend bool operator==(const ExpertMute&, const ExpertMute&) = default;
};

struct ExpertPreferences {
#define NR_THRESHOLD(key, normal, ...) double key = normal;
#include "Analysis/Expert/ExpertThresholds.def"
#undef NR_THRESHOLD
    std::vector<ExpertMute> mutes;

    friend bool operator==(const ExpertPreferences&, const ExpertPreferences&) = default;
};

/// A row of the table of thresholds, for settings and checks.
struct ExpertThreshold {
    std::string_view key;
    double ExpertPreferences::*value;
    double normal, least, most;
    Finding finding;
    std::string_view unit, meaning;
};

std::span<const ExpertThreshold> expertThresholds();

/// Why preferences were not taken over; nothing of them was.
struct ExpertPreferencesError {
    enum class Kind { unreadable, notJson, unknownKey, wrongType, outOfRange };
    Kind kind;
    std::string key; ///< where in the text: "stormPerSecond", "mutes[2].host"; the path of a file that is `unreadable`
    std::string detail;         ///< what stood there, or what reading said
    double least = 0, most = 0; ///< of `outOfRange`

    /// The sentence for the user.
    std::string description() const;
};

/// Thresholds as numbers under their keys, mutes under `mutes`; keys left out keep their normal value.
Result<ExpertPreferences, ExpertPreferencesError> parseExpertPreferences(std::string_view json);
/// The same from a file of at most a megabyte.
Result<ExpertPreferences, ExpertPreferencesError> loadExpertPreferences(const std::string& path);
/// The file that `loadExpertPreferences` reads.
std::string textOf(const ExpertPreferences& preferences);
/// Every threshold, and the mutes.
void write(JsonWriter& json, const ExpertPreferences& preferences);

} // namespace netrondo
