// Where the scans put down what they find: one record per finding and subject, and the marks of frames.
#pragma once

#include "Analysis/Expert/CaptureExpertSummary.h"
#include "Base/SlotIndex.h"

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

namespace netrondo {

/// When something was seen.
struct Sighting {
    std::uint32_t frame = 0; ///< from 1
    double seconds = 0;      ///< since the first frame
};

/// Whom a record is about; none of it for the capture as a whole.
struct Subject {
    Address a, b;
    std::uint16_t port = 0;
    friend bool operator==(const Subject&, const Subject&) = default;
};
inline std::uint64_t hashOf(const Subject& subject)
{
    return hashWords(hashOf(subject.a) + subject.port, hashOf(subject.b));
}

/// Memory is bounded: so many records of each finding, a hundred frames each, and 8 bytes for a frame that has a mark,
/// where the marks are kept. What goes beyond is counted and said.
class FindingLog {
public:
    static constexpr std::uint32_t maxRecordsPerFinding = 1000;

    explicit FindingLog(FrameMarks marks) : marks_(marks) { }
    FindingLog(const FindingLog& other);
    FindingLog& operator=(const FindingLog&) = delete;
    FindingLog(FindingLog&&) = default;
    FindingLog& operator=(FindingLog&&) = default;

    /// Marks a frame. Where marks are not kept it takes the place of the one before.
    void annotate(std::uint32_t frame, Finding finding);
    /// Counts a sighting under its record and marks the frame. The record is good until the next call; of the findings
    /// of which there are too many already it is a scratch one.
    ExpertFinding& report(Finding finding, const Subject& subject, const Sighting& sighting);
    /// The same without a mark: the frame has it already, or is one of many.
    ExpertFinding& record(Finding finding, const Subject& subject, const Sighting& sighting);

    ExpertFinding* find(Finding finding, const Subject& subject);
    /// Takes a record back: what it was counted for turned out to be harmless. The list keeps its order.
    static void withdraw(ExpertFinding& record) { record.count = 0; }
    /// Takes one sighting back, and the record with its last one.
    void takeBack(Finding finding, const Subject& subject, std::uint32_t frame);
    bool has(Finding finding) const { return counts_[static_cast<std::size_t>(finding)] > 0; }
    /// Records in the order in which they were made; those with the count 0 were withdrawn.
    std::vector<ExpertFinding>& records() { return records_; }

    /// Marks in order of frames, those of one frame together; frees them.
    std::vector<FrameAnnotation> takeAnnotations();
    /// What was left out, in words.
    std::vector<std::string> cutOff() const;

    /// Findings of the frame marked last: of `frame`, when it has any.
    std::array<Finding, 4> latest(std::uint32_t frame) const;

private:
    std::uint32_t lookUp(Finding finding, const Subject& subject) const;
    static std::uint64_t hash(Finding finding, const Subject& subject);

    std::vector<ExpertFinding> records_;
    std::optional<SlotIndex> index_; ///< made with the first record
    std::array<std::uint32_t, static_cast<std::size_t>(Finding::count)> counts_{};
    std::array<std::uint64_t, static_cast<std::size_t>(Finding::count)> dropped_{};
    FrameMarks marks_;
    std::vector<FrameAnnotation> annotations_;
    ExpertFinding scratch_;
};

} // namespace netrondo
