// Findings in words and as JSON, mutes, and what a change would change.
#include "Analysis/Expert/CaptureExpertSummary.h"

#include "Base/Json.h"

#include <algorithm>
#include <cmath>
#include <fmt/format.h>
#include <tuple>

namespace netrondo {
namespace {

std::string number(double value)
{
    if (value == std::floor(value) && std::abs(value) < 1e15)
        return fmt::format("{:.0f}", value);
    return std::abs(value) >= 100 ? fmt::format("{:.0f}", value)
        : std::abs(value) >= 1    ? fmt::format("{:.1f}", value)
                                  : fmt::format("{:.3g}", value);
}

std::string hostText(const ExpertFinding& finding, std::size_t which)
{
    if (const auto& host = finding.hosts[which])
        return host.text();
    return finding.conversations > 1 ? fmt::format("a group of {} hosts", finding.conversations)
                                     : std::string("an unknown host");
}

std::string placeholder(std::string_view name, const ExpertFinding& finding)
{
    // A number with its word in the singular and the plural: {n:time:times}.
    if (const auto colon = name.find(':'); colon != name.npos) {
        const auto words = name.substr(colon + 1);
        const auto middle = words.find(':');
        const auto digits = placeholder(name.substr(0, colon), finding);
        return digits + ' ' + std::string(digits == "1" ? words.substr(0, middle) : words.substr(middle + 1));
    }
    if (name == "a")
        return hostText(finding, 0);
    if (name == "b")
        return hostText(finding, 1);
    if (name == "port")
        return finding.port ? fmt::format(" (port {})", finding.port) : std::string();
    if (name == "n")
        return fmt::format("{}", finding.count);
    if (name == "first")
        return fmt::format("{}", finding.firstFrame);
    if (name == "last")
        return fmt::format("{}", finding.lastFrame);
    if (name == "time")
        return fmt::format("{:.3f} s", finding.firstSeconds);
    if (name == "m")
        return number(finding.measured);
    if (name == "t")
        return number(finding.threshold);
    NR_ASSERT(name == "detail");
    return finding.detail;
}

std::string filled(std::string_view text, const ExpertFinding& finding)
{
    std::string out;
    while (true) {
        const auto open = text.find('{');
        out += text.substr(0, open);
        if (open == text.npos)
            break;
        const auto close = text.find('}', open);
        out += placeholder(text.substr(open + 1, close - open - 1), finding);
        text.remove_prefix(close + 1);
    }
    while (!out.empty() && out.back() == ' ') // a detail that nobody gave
        out.pop_back();
    return out;
}

std::vector<std::string> list(std::string_view text, const ExpertFinding& finding)
{
    std::vector<std::string> parts;
    while (!text.empty()) {
        const auto end = std::min(text.find('|'), text.size());
        parts.push_back(filled(text.substr(0, end), finding));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return parts;
}

bool isMutedBy(const ExpertFinding& finding, const ExpertMute& mute)
{
    const auto& [a, b] = finding.hosts;
    if (mute.finding != Finding::none && mute.finding != finding.finding)
        return false;
    if (!mute.host)
        return true;
    if (!mute.peer)
        return mute.host == a || mute.host == b;
    return (mute.host == a && mute.peer == b) || (mute.host == b && mute.peer == a);
}

} // namespace

std::string_view ExpertFinding::scope() const
{
    return hosts[0] && hosts[1] ? "conversation" : hosts[0] || hosts[1] ? "host" : "network";
}

void ExpertFinding::addSymptom(const Symptom& symptom)
{
    const auto known = std::ranges::find(symptoms, symptom.finding, &Symptom::finding);
    if (known == symptoms.end())
        symptoms.push_back(symptom);
    else
        known->count += symptom.count;
}

void ExpertFinding::absorb(ExpertFinding& other)
{
    count += other.count;
    severity = std::max(severity, other.severity);
    confidence = std::max(confidence, other.confidence);
    if (other.measured > measured) {
        measured = other.measured;
        threshold = other.threshold;
    }
    if (other.firstFrame < firstFrame) {
        firstFrame = other.firstFrame;
        firstSeconds = other.firstSeconds;
    }
    if (other.lastFrame > lastFrame) {
        lastFrame = other.lastFrame;
        lastSeconds = other.lastSeconds;
    }
    evidence.insert(evidence.end(), other.evidence.begin(), other.evidence.end());
    std::ranges::sort(evidence);
    evidence.erase(std::ranges::unique(evidence).begin(), evidence.end());
    evidence.resize(std::min(evidence.size(), maxEvidence));
    for (const auto& symptom : other.symptoms)
        addSymptom(symptom);
    other.count = 0;
}

std::string ExpertText::title(const ExpertFinding& finding)
{
    return filled(finding.kind().title, finding);
}

std::string ExpertText::whatHappened(const ExpertFinding& finding)
{
    return filled(finding.kind().happened, finding);
}

std::string ExpertText::whyItFired(const ExpertFinding& finding)
{
    auto text = filled(finding.kind().why, finding);
    return finding.caveat.empty() ? text : text + ' ' + finding.caveat;
}

std::vector<std::string> ExpertText::probableCauses(const ExpertFinding& finding)
{
    return list(finding.kind().causes, finding);
}

std::vector<std::string> ExpertText::nextSteps(const ExpertFinding& finding)
{
    return list(finding.kind().steps, finding);
}

std::string ExpertText::falsifier(const ExpertFinding& finding)
{
    return filled(finding.kind().falsifier, finding);
}

std::string ExpertText::filter(const ExpertFinding& finding)
{
    std::string text;
    const auto& frames = finding.evidence;
    for (std::size_t i = 0; i < frames.size();) {
        auto end = i + 1; // frames in a row become a range
        while (end < frames.size() && frames[end] == frames[end - 1] + 1)
            ++end;
        text += text.empty() ? "" : " or ";
        if (end - i < 3) {
            text += fmt::format("frame.number == {}", frames[i]);
            ++i;
        } else {
            text += fmt::format("(frame.number >= {} and frame.number <= {})", frames[i], frames[end - 1]);
            i = end;
        }
    }
    return text;
}

std::span<const Finding> CaptureExpertSummary::findingsOf(std::uint64_t frame) const
{
    if (!annotations)
        return {};
    const auto place = std::lower_bound(annotations->begin(), annotations->end(), frame,
                                        [](const auto& annotation, auto wanted) { return annotation.frame < wanted; });
    if (place == annotations->end() || place->frame != frame)
        return {};
    const auto& marks = place->findings;
    return {marks.begin(), std::find(marks.begin(), marks.end(), Finding::none)};
}

std::size_t CaptureExpertSummary::count(Severity severity) const
{
    return static_cast<std::size_t>(std::count_if(findings.begin(), findings.end(), [&](const auto& finding) {
        return !finding.muted && finding.severity == severity;
    }));
}

const ExpertMute* muteOf(const ExpertFinding& finding, std::span<const ExpertMute> mutes)
{
    const auto mute = std::find_if(mutes.begin(), mutes.end(), [&](const auto& m) { return isMutedBy(finding, m); });
    return mute == mutes.end() ? nullptr : &*mute;
}

void applyMutes(std::span<ExpertFinding> findings, std::span<const ExpertMute> mutes)
{
    for (auto& finding : findings) {
        const auto* const mute = muteOf(finding, mutes);
        finding.muted = mute ? std::optional(mute->reason) : std::nullopt;
    }
}

ExpertDifference difference(const CaptureExpertSummary& before, const CaptureExpertSummary& after)
{
    // Tens of thousands on either side are possible: both in one order, walked side by side.
    using Key = std::tuple<Finding, std::array<Address, 2>, std::uint16_t>;
    using Keyed = std::pair<Key, Severity>;
    const auto inOrder = [](const CaptureExpertSummary& summary) {
        std::vector<Keyed> keyed;
        keyed.reserve(summary.findings.size());
        for (const auto& finding : summary.findings)
            keyed.push_back({{finding.finding, finding.hosts, finding.port}, finding.severity});
        std::sort(keyed.begin(), keyed.end());
        return keyed;
    };
    const auto old = inOrder(before), now = inOrder(after);
    ExpertDifference result;
    auto a = old.begin(), b = now.begin();
    while (a != old.end() || b != now.end()) {
        if (b == now.end() || (a != old.end() && a->first < b->first)) {
            ++result.removed;
            ++a;
        } else if (a == old.end() || b->first < a->first) {
            ++result.added;
            ++b;
        } else {
            result.changed += a->second != b->second ? 1u : 0u;
            ++a, ++b;
        }
    }
    return result;
}

void write(JsonWriter& json, const ExpertFinding& finding)
{
    const auto& kind = finding.kind();
    json.beginObject();
    json.field("id", kind.id);
    json.field("severity", rawValue(finding.severity));
    json.field("layer", rawValue(kind.layer));
    json.field("title", ExpertText::title(finding));
    json.field("count", finding.count);
    json.field("firstFrame", finding.firstFrame);
    json.field("lastFrame", finding.lastFrame);
    json.field("firstSeconds", finding.firstSeconds);
    json.field("lastSeconds", finding.lastSeconds);
    json.key("endpoints");
    json.beginArray();
    for (const auto& host : finding.hosts) {
        if (host)
            json.value(host.text());
    }
    json.endArray();
    if (finding.port)
        json.field("port", finding.port);
    json.field("scope", finding.scope());
    json.field("conversations", finding.conversations);
    json.field("whatHappened", ExpertText::whatHappened(finding));
    json.field("whyItFired", ExpertText::whyItFired(finding));
    json.field("measured", finding.measured);
    json.field("threshold", finding.threshold);
    json.field("probableCauses", ExpertText::probableCauses(finding));
    json.field("nextSteps", ExpertText::nextSteps(finding));
    json.field("falsifiedBy", ExpertText::falsifier(finding));
    json.field("confidence", finding.confidence);
    json.field("evidence", finding.evidence);
    json.field("filter", ExpertText::filter(finding));
    json.key("symptoms");
    json.beginArray();
    for (const auto& symptom : finding.symptoms) {
        json.beginObject();
        json.field("id", kindOf(symptom.finding).id);
        json.field("count", symptom.count);
        json.endObject();
    }
    json.endArray();
    json.field("muted", finding.muted);
    json.endObject();
}

void write(JsonWriter& json, const CaptureExpertSummary& summary)
{
    json.beginObject();
    json.field("findings", summary.findings);
    json.field("framesRead", summary.accounting.read);
    json.field("framesAnalysed", summary.accounting.analysed);
    json.key("framesSkipped");
    json.beginArray();
    for (const auto& skip : summary.accounting.skipped) {
        json.beginObject();
        json.field("reason", skip.reason);
        json.field("frames", skip.frames);
        json.endObject();
    }
    json.endArray();
    json.field("remarks", summary.remarks);
    json.field("cutOff", summary.cutOff);
    json.endObject();
}

} // namespace netrondo
