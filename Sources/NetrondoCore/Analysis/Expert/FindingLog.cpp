// Records by subject, marks by frame.
#include "Analysis/Expert/FindingLog.h"

#include <algorithm>
#include <fmt/format.h>

namespace netrondo {

FindingLog::FindingLog(const FindingLog& other)
    : records_(other.records_)
    , counts_(other.counts_)
    , dropped_(other.dropped_)
    , marks_(other.marks_)
    , annotations_(other.annotations_)
{
    if (records_.empty())
        return;
    index_.emplace();
    for (std::uint32_t i = 0; i < records_.size(); ++i)
        index_->insert(hash(records_[i].finding, {records_[i].hosts[0], records_[i].hosts[1], records_[i].port}), i);
}

std::uint64_t FindingLog::hash(Finding finding, const Subject& subject)
{
    return hashWords(hashOf(subject.a) + subject.port, hashOf(subject.b) + static_cast<std::uint64_t>(finding));
}

std::uint32_t FindingLog::lookUp(Finding finding, const Subject& subject) const
{
    if (!index_)
        return SlotIndex::none;
    return index_->find(hash(finding, subject), [&](std::uint32_t number) {
        const auto& record = records_[number];
        return record.finding == finding && record.hosts[0] == subject.a && record.hosts[1] == subject.b
            && record.port == subject.port;
    });
}

ExpertFinding* FindingLog::find(Finding finding, const Subject& subject)
{
    const auto number = lookUp(finding, subject);
    return number == SlotIndex::none ? nullptr : &records_[number];
}

void FindingLog::annotate(std::uint32_t frame, Finding finding)
{
    // Most marks are of the newest frame; the others are sorted in when somebody reads them.
    constexpr std::size_t room = 8192; // growing is for captures in much trouble
    if (annotations_.empty())
        annotations_.reserve(marks_ == FrameMarks::kept ? room : 1);
    else if (marks_ == FrameMarks::none && annotations_.back().frame != frame)
        annotations_.clear(); // while a capture is read, only the newest frame's marks are asked for
    if (annotations_.empty() || annotations_.back().frame != frame)
        annotations_.push_back({frame, {finding}});
    else
        for (auto& slot : annotations_.back().findings) {
            if (slot == finding)
                return;
            if (slot == Finding::none) {
                slot = finding;
                return;
            }
        }
}

ExpertFinding& FindingLog::record(Finding finding, const Subject& subject, const Sighting& sighting)
{
    auto number = lookUp(finding, subject);
    if (number == SlotIndex::none) {
        auto& count = counts_[static_cast<std::size_t>(finding)];
        if (count == maxRecordsPerFinding) {
            ++dropped_[static_cast<std::size_t>(finding)];
            scratch_ = {};
            return scratch_;
        }
        ++count;
        if (!index_)
            index_.emplace();
        number = static_cast<std::uint32_t>(records_.size());
        auto& made = records_.emplace_back();
        made.finding = finding;
        made.severity = kindOf(finding).severity;
        made.confidence = usualConfidence(finding);
        made.hosts = {subject.a, subject.b};
        made.port = subject.port;
        made.firstFrame = sighting.frame;
        made.firstSeconds = sighting.seconds;
        index_->insert(hash(finding, subject), number);
    }
    auto& record = records_[number];
    ++record.count;
    if (sighting.frame < record.firstFrame) {
        record.firstFrame = sighting.frame;
        record.firstSeconds = sighting.seconds;
    }
    if (sighting.frame >= record.lastFrame) {
        record.lastFrame = sighting.frame;
        record.lastSeconds = sighting.seconds;
    }
    if (record.evidence.size() < ExpertFinding::maxEvidence
        && (record.evidence.empty() || record.evidence.back() != sighting.frame))
        record.evidence.push_back(sighting.frame);
    return record;
}

void FindingLog::takeBack(Finding finding, const Subject& subject, std::uint32_t frame)
{
    auto* record = find(finding, subject);
    if (!record || record->count == 0)
        return;
    auto& evidence = record->evidence;
    std::erase(evidence, frame);
    if (--record->count == 0 || evidence.empty()) { // the next sighting begins anew
        record->count = 0;
        record->firstFrame = ~std::uint64_t{0};
        record->lastFrame = 0;
        record->detail.clear();
        evidence.clear();
        return;
    }
    if (record->firstFrame == frame)
        record->firstFrame = evidence.front();
    if (record->lastFrame == frame)
        record->lastFrame = evidence.back();
}

ExpertFinding& FindingLog::report(Finding finding, const Subject& subject, const Sighting& sighting)
{
    annotate(sighting.frame, finding);
    return record(finding, subject, sighting);
}

std::array<Finding, 4> FindingLog::latest(std::uint32_t frame) const
{
    if (annotations_.empty() || annotations_.back().frame != frame)
        return {};
    return annotations_.back().findings;
}

std::vector<FrameAnnotation> FindingLog::takeAnnotations()
{
    auto marks = std::move(annotations_);
    annotations_ = {};
    const auto byFrame = [](const auto& a, const auto& b) { return a.frame < b.frame; };
    if (!std::is_sorted(marks.begin(), marks.end(), byFrame))
        std::stable_sort(marks.begin(), marks.end(), byFrame);
    std::size_t kept = 0;
    for (const auto& mark : marks) {
        if (kept == 0 || marks[kept - 1].frame != mark.frame) {
            marks[kept++] = mark;
            continue;
        }
        auto& into = marks[kept - 1].findings;
        for (const auto finding : mark.findings) {
            if (finding == Finding::none || std::find(into.begin(), into.end(), finding) != into.end())
                continue;
            if (const auto room = std::find(into.begin(), into.end(), Finding::none); room != into.end())
                *room = finding;
        }
    }
    marks.resize(kept);
    return marks;
}

std::vector<std::string> FindingLog::cutOff() const
{
    std::vector<std::string> lines;
    for (std::size_t i = 1; i < dropped_.size(); ++i) {
        if (dropped_[i])
            lines.push_back(fmt::format("{}: {} sightings beyond the first {} subjects",
                                        kindOf(static_cast<Finding>(i)).id, dropped_[i], maxRecordsPerFinding));
    }
    return lines;
}

} // namespace netrondo
