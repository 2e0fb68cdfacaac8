// The catalogue of findings is complete and consistent.
#include "Analysis/Expert/CaptureExpertSummary.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fmt/format.h>
#include <fstream>
#include <gtest/gtest.h>
#include <set>

namespace netrondo::test {

TEST(ExpertCatalog, FindsEveryRowByItsIdAndByItsNumber)
{
    std::set<std::string_view> ids;
    for (const auto& kind : findingKinds()) {
        EXPECT_TRUE(ids.insert(kind.id).second) << kind.id;
        EXPECT_EQ(findingOf(kind.id), kind.finding);
        EXPECT_EQ(&kindOf(kind.finding), &kind);
    }
    EXPECT_EQ(ids.size() + 1, static_cast<std::size_t>(Finding::count));
    EXPECT_EQ(findingOf("no.such"), Finding::none);
    for (const auto* id : {"tcp.retx.endpoint", "tcp.retx.infra", "tcp.spurious", "tcp.acked_unseen", "tcp.zerowin"})
        EXPECT_TRUE(ids.contains(id)) << id << " is what filters look for";
}

namespace {
std::string textsOf(const std::filesystem::path& folder, std::string_view part)
{
    std::string all;
    for (const auto& file : std::filesystem::directory_iterator(folder)) {
        if (file.path().extension() != ".cpp" || file.path().filename().string().find(part) == std::string::npos)
            continue;
        std::ifstream in(file.path());
        all.append(std::istreambuf_iterator<char>(in), {});
    }
    return all;
}

/// Whether a scan records this finding, or chooses it for recording.
bool isPutDown(std::string_view rules, std::string_view name)
{
    const auto wanted = "Finding::" + std::string(name);
    for (auto at = rules.find(wanted); at != rules.npos; at = rules.find(wanted, at + 1)) {
        const char next = rules[at + wanted.size()];
        const auto before = rules.substr(0, rules.find_last_not_of(" \n", at - 1) + 1);
        if (std::isalnum(static_cast<unsigned char>(next)) == 0
            && (before.ends_with("record(") || before.ends_with("report(") || before.ends_with('?')
                || before.ends_with(':') || before.ends_with("},")))
            return true;
    }
    return false;
}
} // namespace

TEST(ExpertCatalog, HasNoRowThatNoRuleFindsOrThatNoTestMeets)
{
    const std::filesystem::path sources = NETRONDO_SOURCE_DIR;
    const auto rules = textsOf(sources / "Sources/NetrondoCore/Analysis/Expert", "Scan");
    const auto tests = textsOf(sources / "Tests/Analysis/Expert", "FindingsTests");
    for (const auto& [name, id] : {
#define NR_FINDING(name, id, ...) std::pair<std::string_view, std::string_view>{#name, id},
#include "Analysis/Expert/ExpertCatalog.def"
#undef NR_FINDING
         }) {
        EXPECT_TRUE(isPutDown(rules, name)) << "no rule finds " << id;
        EXPECT_NE(tests.find(fmt::format("\"{}", id)), std::string::npos) << "no test meets " << id;
    }
}

TEST(ExpertCatalog, SaysFourThingsOfEveryFindingInWholeSentencesWithoutAPlaceholder)
{
    for (const auto& kind : findingKinds()) {
        ExpertFinding finding;
        finding.finding = kind.finding;
        finding.hosts = {*Address::parse("10.0.0.1"), *Address::parse("10.0.0.2")};
        finding.port = 80;
        finding.count = 3;
        finding.firstFrame = 7;
        finding.lastFrame = 9;
        finding.detail = "something";
        finding.measured = 1.25;
        finding.threshold = 1;
        const auto causes = ExpertText::probableCauses(finding), steps = ExpertText::nextSteps(finding);
        EXPECT_FALSE(causes.empty()) << kind.id;
        EXPECT_FALSE(steps.empty()) << kind.id;
        std::vector<std::string> texts{ExpertText::title(finding), ExpertText::whatHappened(finding),
                                       ExpertText::whyItFired(finding), ExpertText::falsifier(finding)};
        texts.insert(texts.end(), causes.begin(), causes.end());
        texts.insert(texts.end(), steps.begin(), steps.end());
        for (const auto& text : texts) {
            EXPECT_FALSE(text.empty()) << kind.id;
            EXPECT_EQ(text.find_first_of("{}|"), std::string::npos) << kind.id << ": " << text;
        }
        EXPECT_TRUE(ExpertText::whatHappened(finding).find(" 7") != std::string::npos
                    || kind.finding == Finding::tcpOptions)
            << kind.id << " names its first frame: " << ExpertText::whatHappened(finding);
    }
}

TEST(ExpertFinding, IsSelectedByAFilterOfItsFrames)
{
    ExpertFinding finding;
    finding.evidence = {1, 2, 5, 6, 7, 8, 20};
    EXPECT_EQ(ExpertText::filter(finding),
              "frame.number == 1 or frame.number == 2 or (frame.number >= 5 and "
              "frame.number <= 8) or frame.number == 20");
}

TEST(ExpertMutes, SilenceAFindingAHostOrAConversationWhicheverWay)
{
    const auto a = *Address::parse("10.0.0.1"), b = *Address::parse("10.0.0.2"), c = *Address::parse("10.0.0.3");
    std::vector<ExpertFinding> findings(3);
    findings[0].finding = Finding::tcpRst;
    findings[0].hosts = {a, b};
    findings[1].finding = Finding::tcpZerowin;
    findings[1].hosts = {b, a};
    findings[2].finding = Finding::tcpZerowin;
    findings[2].hosts = {b, c};
    const auto muted = [&](const ExpertMute& mute) {
        applyMutes(findings, std::span(&mute, 1));
        std::string marks;
        for (const auto& finding : findings)
            marks += finding.muted ? 'x' : '.';
        return marks;
    };
    EXPECT_EQ(muted({Finding::tcpZerowin, {}, {}, "r"}), ".xx");
    EXPECT_EQ(findings[1].muted, "r");
    EXPECT_EQ(muted({Finding::none, a, {}, ""}), "xx.");
    EXPECT_EQ(muted({Finding::none, a, b, ""}), "xx.");
    EXPECT_EQ(muted({Finding::tcpZerowin, c, b, ""}), "..x");
    applyMutes(findings, {});
    EXPECT_TRUE(std::none_of(findings.begin(), findings.end(), [](const auto& f) { return f.muted.has_value(); }));
}

TEST(ExpertDifference, CountsWhatAChangeAddsRemovesAndRegrades)
{
    const auto finding = [](Finding what, Severity severity) {
        ExpertFinding made;
        made.finding = what;
        made.severity = severity;
        return made;
    };
    CaptureExpertSummary before, after;
    before.findings = {finding(Finding::tcpRst, Severity::note), finding(Finding::ipFrag, Severity::note)};
    after.findings = {finding(Finding::tcpRst, Severity::warning), finding(Finding::ethStorm, Severity::error)};
    const auto changes = difference(before, after);
    EXPECT_EQ(changes.added, 1u);
    EXPECT_EQ(changes.removed, 1u);
    EXPECT_EQ(changes.changed, 1u);
}

TEST(CaptureExpertSummary, FindsTheMarksOfAFrame)
{
    CaptureExpertSummary summary;
    EXPECT_TRUE(summary.findingsOf(1).empty());
    summary.annotations = std::make_shared<const std::vector<FrameAnnotation>>(std::vector<FrameAnnotation>{
        {3, {Finding::tcpRetxEndpoint}}, {9, {Finding::tcpZerowin, Finding::tcpAckedUnseen}}});
    EXPECT_EQ(summary.findingsOf(3).size(), 1u);
    EXPECT_TRUE(summary.findingsOf(4).empty());
    ASSERT_EQ(summary.findingsOf(9).size(), 2u);
    EXPECT_EQ(summary.findingsOf(9)[1], Finding::tcpAckedUnseen);
    EXPECT_TRUE(summary.findingsOf(10).empty());
}

} // namespace netrondo::test
