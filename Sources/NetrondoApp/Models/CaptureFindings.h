// The findings of a capture as the window shows them: with the user's mutes, narrowed and ordered as wished.
#pragma once

#include "Analysis/Expert/FindingTable.h"
#include "Models/Selection.h"
#include "Models/TalkTable.h"

#include <QStringList>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace netrondo {

/// Immutable once made; making it is work for the background.
class CaptureFindings {
public:
    CaptureFindings(std::shared_ptr<const TalkTable> talks, std::vector<ExpertMute> mutes, FindingWish wish);
    CaptureFindings(const CaptureFindings&) = delete; // the list may be a view of its own findings
    CaptureFindings& operator=(const CaptureFindings&) = delete;

    const TalkTable& talks() const { return *talks_; }
    std::shared_ptr<const AnalysisResult> result() const { return talks_->result(); }
    /// The account of the frames, and what was cut off; its findings are those without mutes.
    const CaptureExpertSummary& summary() const { return talks_->result()->expertSummary; }
    /// With the mutes; what hurts most first.
    std::span<const ExpertFinding> list() const { return list_; }
    const ExpertFinding& operator[](std::uint32_t index) const { return list_[index]; }
    const FindingTable& table() const { return table_; }
    const FindingMarks& marks() const { return marks_; }
    const MutedMarks& mutedMarks() const { return mutedMarks_; }
    const std::vector<ExpertMute>& mutes() const { return mutes_; }
    const FindingWish& wish() const { return wish_; }

    /// "web (10.20.1.11)".
    std::string hostWords(const Address& host) const;
    /// "web → 10.20.1.12", "10.20.1.11", or nothing.
    QString hostsText(const ExpertFinding& finding) const;
    /// What the finding is about, as far as the capture's conversations and hosts have it.
    Selected subjectOf(const ExpertFinding& finding) const;
    /// The findings about a conversation, or about a host and its conversations, that are not muted; what hurts most
    /// first.
    std::vector<std::uint32_t> about(const Selected& what) const;
    /// A line for each of the worst findings about this, and one for how many more there are.
    QStringList linesAbout(const Selected& what) const;

private:
    std::shared_ptr<const TalkTable> talks_;
    std::vector<ExpertMute> mutes_;
    FindingWish wish_;
    std::vector<ExpertFinding> diagnosed_; ///< where there are mutes
    std::span<const ExpertFinding> list_;
    FindingTable table_;
    FindingMarks marks_;
    MutedMarks mutedMarks_;
};

} // namespace netrondo
