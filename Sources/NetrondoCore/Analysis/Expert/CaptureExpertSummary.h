// What the expert findings of a capture add up to.
#pragma once

#include "Analysis/Expert/ExpertCatalog.h"
#include "Analysis/Expert/ExpertPreferences.h"
#include "Base/Address.h"

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace netrondo {

class JsonWriter;

/// Something that is wrong, about one host, one conversation or the network, with what proves it.
struct ExpertFinding {
    static constexpr std::size_t maxEvidence = 100;

    Finding finding = Finding::none;
    Severity severity = Severity::info;
    std::array<Address, 2> hosts; ///< the placeholders {a} and {b}; none where it is about the capture
    std::uint16_t port = 0;       ///< of the service, 0 for none
    std::uint64_t count = 0;
    std::uint64_t firstFrame = 0, lastFrame = 0; ///< from 1
    double firstSeconds = 0, lastSeconds = 0;    ///< since the first frame
    std::vector<std::uint32_t> evidence;         ///< ascending frame numbers, the first `maxEvidence`
    double measured = 0, threshold = 0;          ///< in the unit that the text names
    double confidence = 1;                       ///< 0 to 1
    std::string detail;
    std::string caveat; ///< why it may be wrong in this capture
    /// How many conversations, or hosts, it stands for: one trouble of many is told as that of the host or of the
    /// network. Its hosts are then those that all of them have in common.
    std::uint32_t conversations = 1;
    /// Symptoms of the same trouble, which would otherwise be findings of their own.
    struct Symptom {
        Finding finding;
        std::uint64_t count;
        friend bool operator==(const Symptom&, const Symptom&) = default;
    };
    std::vector<Symptom> symptoms;
    std::optional<std::string> muted; ///< the reason given

    /// "conversation", "host" or "network": whose trouble it is.
    std::string_view scope() const;
    const FindingKind& kind() const { return kindOf(finding); }
    void addSymptom(const Symptom& symptom);
    /// Adds what another finding of the same kind saw, which then counts no more.
    void absorb(ExpertFinding& other);
    /// A finding of another analysis with the same identity is the same one.
    bool isAbout(const ExpertFinding& other) const
    {
        return finding == other.finding && hosts == other.hosts && port == other.port;
    }
    friend bool operator==(const ExpertFinding&, const ExpertFinding&) = default;
};

/// The findings of one frame, at most four: 8 bytes a frame that has any.
struct FrameAnnotation {
    std::uint32_t frame = 0; ///< from 1
    std::array<Finding, 4> findings{};
    friend bool operator==(const FrameAnnotation&, const FrameAnnotation&) = default;
};
static_assert(sizeof(FrameAnnotation) == 8);

/// Whether an analysis remembers the findings of every frame. Without them its memory does not grow with the frames of
/// a capture in trouble, and findings have their evidence all the same.
enum class FrameMarks : std::uint8_t { none, kept };

/// Every frame that was read was analysed or skipped for one reason.
struct FrameAccounting {
    struct Skip {
        std::string reason; ///< "EtherType 0x88cc", "link type 105"
        std::uint64_t frames = 0;
        friend bool operator==(const Skip&, const Skip&) = default;
    };
    std::uint64_t read = 0;
    std::uint64_t analysed = 0;
    std::vector<Skip> skipped; ///< most frames first

    friend bool operator==(const FrameAccounting&, const FrameAccounting&) = default;
};

struct CaptureExpertSummary {
    std::vector<ExpertFinding> findings; ///< what hurts most first
    /// What the scans reported, of which `diagnose` makes the findings: anew where other mutes hold. Not part of the
    /// JSON; none unless the marks of frames were to be kept.
    std::shared_ptr<const std::vector<ExpertFinding>> records;
    FrameAccounting accounting;
    std::vector<std::string> remarks; ///< plain lines on what the analysis could not take as it is
    std::vector<std::string> cutOff;  ///< what was left out to keep memory bounded
    /// Ascending by frame; not part of the JSON. None unless the marks of frames were to be kept.
    std::shared_ptr<const std::vector<FrameAnnotation>> annotations;

    /// The findings of a frame, most important first; empty for a frame without any.
    std::span<const Finding> findingsOf(std::uint64_t frame) const;
    /// How many findings that are not muted have this severity.
    std::size_t count(Severity severity) const;
};

/// How a finding reads, with its hosts, frames and numbers filled in.
namespace ExpertText {
std::string title(const ExpertFinding& finding);
std::string whatHappened(const ExpertFinding& finding);
std::string whyItFired(const ExpertFinding& finding);
std::vector<std::string> probableCauses(const ExpertFinding& finding);
std::vector<std::string> nextSteps(const ExpertFinding& finding);
std::string falsifier(const ExpertFinding& finding);
/// A display filter that selects exactly the evidence.
std::string filter(const ExpertFinding& finding);
} // namespace ExpertText

/// The first of the mutes that is about the finding; null for none.
const ExpertMute* muteOf(const ExpertFinding& finding, std::span<const ExpertMute> mutes);
/// Marks the findings that a mute is about; takes the marks of others away.
void applyMutes(std::span<ExpertFinding> findings, std::span<const ExpertMute> mutes);

/// What changed preferences would do to the findings of a capture.
struct ExpertDifference {
    std::size_t added = 0, removed = 0, changed = 0; ///< `changed`: another severity
};
ExpertDifference difference(const CaptureExpertSummary& before, const CaptureExpertSummary& after);

void write(JsonWriter& json, const ExpertFinding& finding);
void write(JsonWriter& json, const CaptureExpertSummary& summary);

} // namespace netrondo
