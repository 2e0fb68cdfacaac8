// How well one direction of TCP went, as counters, and the score and grade computed from them.
#pragma once

#include "Base/Counter.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace netrondo {

class JsonWriter;

/// What the two sides offered in their handshakes.
struct TCPHandshakeOptions {
    std::optional<std::uint16_t> mssClient; ///< bytes
    std::optional<std::uint16_t> mssServer;
    std::optional<std::uint8_t> wscaleClient; ///< shift count
    std::optional<std::uint8_t> wscaleServer;
    bool sackPermitted = false; ///< offered by either side
    bool sackClient = false;
    bool sackServer = false;
    bool timestamps = false; ///< offered by either side
    bool timestampsClient = false;
    bool timestampsServer = false;
    std::vector<std::string> extraClient; ///< names of other options, sorted, each once
    std::vector<std::string> extraServer;

    /// Keeps its own value where both have one; booleans are OR-ed, names united.
    void merge(const TCPHandshakeOptions& other);

    friend bool operator==(const TCPHandshakeOptions&, const TCPHandshakeOptions&) = default;
};

enum class SessionQualityGrade : std::uint8_t { excellent, good, fair, poor, unknown };

/// Where Excellent, Good and Fair begin; tested from the top.
struct QualityGradeThresholds {
    int excellentMin = 80;
    int goodMin = 60;
    int fairMin = 40;
    friend bool operator==(const QualityGradeThresholds&, const QualityGradeThresholds&) = default;
};

enum class QualityStrictness : std::uint8_t { lenient, balanced, strict };

QualityGradeThresholds thresholds(QualityStrictness strictness);
std::string_view id(QualityStrictness strictness);          ///< "lenient"
std::string_view displayName(QualityStrictness strictness); ///< "Lenient"
std::string_view subtitle(QualityStrictness strictness);
std::string_view explanation(QualityStrictness strictness); ///< for the settings screen
std::string_view strictnessExplanation();                   ///< what a preset changes and what it does not
std::optional<QualityStrictness> strictnessById(std::string_view id);

SessionQualityGrade gradeOf(std::optional<int> score, const QualityGradeThresholds& bands);
std::string_view rawValue(SessionQualityGrade grade);    ///< "excellent"
std::string_view displayName(SessionQualityGrade grade); ///< "Excellent", "n/a"
struct GradeColor {
    std::uint8_t r, g, b;
    friend bool operator==(const GradeColor&, const GradeColor&) = default;
};
GradeColor color(SessionQualityGrade grade);

struct TCPSessionQuality {
    Counter64 tcpPackets;
    Counter32 synCount, finCount, rstCount, ackCount, pshCount, urgCount, eceCount, cwrCount;
    Counter32 retransmitGuess; ///< what the score counts: the endpoint class only
    Counter32 retransmitEndpoint, retransmitInfrastructure, retransmitApplication;
    Counter32 spuriousRetransmitCount;
    Counter32 ackedUnseenCount;
    Counter32 sackPacketCount, sackDSackCount, sackUnseenCount, sackInvalidCount, sackLeftoverCount;
    Counter32 zeroWindowCount;
    std::uint16_t windowMin = 65535; ///< raw header values, never scaled
    std::uint16_t windowMax = 0;
    std::uint16_t windowLast = 0;
    bool hasWindowSample = false;
    std::optional<double> rttMsEstimate; ///< handshake round trip, smallest sample, milliseconds
    TCPHandshakeOptions handshake;

    /// Adds another record to this one: counters add up, windows widen, the smaller round trip stays.
    void merge(const TCPSessionQuality& other);

    /// What was taken off a full score, and why.
    struct Deductions {
        double reset = 0;
        double retransmission = 0;
        double zeroWindow = 0;
        double handshake = 0;
    };
    Deductions deductions() const;
    /// 0 to 100; nothing when no segment was seen.
    std::optional<int> score() const;
    SessionQualityGrade grade(const QualityGradeThresholds& bands = {}) const;

    friend bool operator==(const TCPSessionQuality&, const TCPSessionQuality&) = default;
};

/// Writes the record as an object, keys in the order of the fields; absent values are left out.
void write(JsonWriter& json, const TCPSessionQuality& quality);
void write(JsonWriter& json, const TCPHandshakeOptions& handshake);
void write(JsonWriter& json, const QualityGradeThresholds& bands);

} // namespace netrondo
