// One trouble is told once: what explains what, and what mutes keep apart.
#include "Analysis/Expert/RollUp.h"

#include "Support/FindingLists.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace netrondo::test {
namespace {
using testing::ElementsAre;
using testing::UnorderedElementsAre;

/// "id severity count", with its symptoms in brackets and "muted" behind it.
std::vector<std::string> told(std::vector<ExpertFinding> records, const std::vector<ExpertMute>& mutes = {})
{
    std::vector<std::string> lines;
    for (const auto& finding : diagnose(std::move(records), mutes)) {
        auto line = fmt::format("{} {} {}", finding.kind().id, rawValue(finding.severity), finding.count);
        for (const auto& symptom : finding.symptoms)
            line += fmt::format(" [{} {}]", kindOf(symptom.finding).id, symptom.count);
        lines.push_back(line + (finding.muted ? " muted" : ""));
    }
    return lines;
}

const Address client = *Address::parse("10.0.0.1"), server = *Address::parse("10.0.0.2");

/// The same client is refused by so many servers.
std::vector<ExpertFinding> refusals(int servers)
{
    std::vector<ExpertFinding> made;
    for (int i = 1; i <= servers; ++i)
        made.push_back(finding(fmt::format("tcp.refused warning 10.0.0.1 10.0.1.{} 1 {}", i, i)));
    return made;
}
} // namespace

struct RollUpCase {
    std::string_view name;
    std::vector<std::string_view> records;
    std::vector<std::string> told;
};

std::ostream& operator<<(std::ostream& out, const RollUpCase& one)
{
    return out << one.name;
}

class RollUpTable : public testing::TestWithParam<RollUpCase> { };

TEST_P(RollUpTable, TellsWhatBelongsTogetherOnce)
{
    std::vector<ExpertFinding> records;
    for (const auto line : GetParam().records)
        records.push_back(finding(line));
    EXPECT_THAT(told(std::move(records)), testing::UnorderedElementsAreArray(GetParam().told));
}

INSTANTIATE_TEST_SUITE_P(
    Rules, RollUpTable,
    testing::Values(RollUpCase{"ResetBehindAFailedHandshake",
                               {"tls.cert error 10.0.0.1 10.0.0.2", "tcp.rst note 10.0.0.1 10.0.0.2 2"},
                               {"tls.cert error 1 [tcp.rst 2]"}},
                    RollUpCase{"ResetThatCutsDataIsItsOwnTrouble",
                               {"tls.alert warning 10.0.0.2 10.0.0.1", "tcp.rst warning 10.0.0.1 10.0.0.2 2"},
                               {"tls.alert warning 1", "tcp.rst warning 2"}},
                    RollUpCase{"ResetOfALostConnection",
                               {"tcp.rto error 10.0.0.2 10.0.0.1 5", "tcp.rst note 10.0.0.1 10.0.0.2"},
                               {"tcp.rto error 5 [tcp.rst 1]"}},
                    RollUpCase{"ResetAfterAWait",
                               {"tcp.rto warning 10.0.0.2 10.0.0.1 5", "tcp.rst note 10.0.0.1 10.0.0.2"},
                               {"tcp.rto warning 5", "tcp.rst note 1"}},
                    RollUpCase{"RepetitionsOfOvertakenSegments",
                               {"tcp.ooo warning 10.0.0.2 10.0.0.1 9", "tcp.spurious note 10.0.0.2 10.0.0.1 4"},
                               {"tcp.ooo warning 9 [tcp.spurious 4]"}},
                    RollUpCase{"MoreRepetitionsThanWereOvertaken",
                               {"tcp.ooo warning 10.0.0.2 10.0.0.1 9", "tcp.spurious note 10.0.0.2 10.0.0.1 40"},
                               {"tcp.ooo warning 9", "tcp.spurious note 40"}},
                    RollUpCase{"FewRepetitionsToAClosedWindow",
                               {"tcp.zerowin error 10.0.0.1 10.0.0.2 4", "tcp.retx.endpoint note 10.0.0.2 10.0.0.1 2"},
                               {"tcp.zerowin error 4 [tcp.retx.endpoint 2]"}},
                    RollUpCase{
                        "LossBesideAClosedWindow",
                        {"tcp.zerowin error 10.0.0.1 10.0.0.2 4", "tcp.retx.endpoint warning 10.0.0.2 10.0.0.1 90"},
                        {"tcp.zerowin error 4", "tcp.retx.endpoint warning 90"}},
                    RollUpCase{"FragmentsBothWays",
                               {"ip.frag note 10.0.0.1 10.0.0.2 6", "ip.frag note 10.0.0.2 10.0.0.1 6 2"},
                               {"ip.frag note 12"}},
                    RollUpCase{"FragmentsThatFailOneWay",
                               {"ip.frag note 10.0.0.1 10.0.0.2 6", "ip.frag warning 10.0.0.2 10.0.0.1 6 2"},
                               {"ip.frag note 6", "ip.frag warning 6"}}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(RollUp, WhatIsOfAnotherServiceExplainsNothing)
{
    auto records = findings({"icmp.unreach warning 10.0.0.9 10.0.0.2", "tcp.options note 10.0.0.1 10.0.0.2"});
    records[0].port = 25;
    records[1].port = 80;
    EXPECT_THAT(told(records), ElementsAre("icmp.unreach warning 1", "tcp.options note 1"));
    records[0].port = 0; // about the host
    EXPECT_THAT(told(records), ElementsAre("icmp.unreach warning 1 [tcp.options 1]"));
}

TEST(RollUp, AMutedConversationDoesNotCountForItsHost)
{
    const std::vector<ExpertMute> one{{Finding::none, client, *Address::parse("10.0.1.3"), "known"}};
    EXPECT_THAT(told(refusals(6)), ElementsAre("tcp.refused warning 6"));
    EXPECT_THAT(told(refusals(6), one), UnorderedElementsAre("tcp.refused warning 5", "tcp.refused warning 1 muted"));
    const auto found = diagnose(refusals(6), one);
    EXPECT_EQ(std::ranges::find_if(found, [](const auto& result) { return !result.muted; })->conversations, 5u);
    // Of five none is left that all have in common.
    EXPECT_EQ(told(refusals(5), one).size(), 5u);
    EXPECT_THAT(told(refusals(6), {{Finding::none, client, {}, "a scanner of ours"}}),
                testing::Each("tcp.refused warning 1 muted"));
}

TEST(RollUp, AMutedDiagnosisTakesItsSymptomsAlong)
{
    const auto records =
        findings({"tcp.retx.endpoint warning 10.0.0.2 10.0.0.1 30", "tcp.dupack note 10.0.0.1 10.0.0.2 9"});
    EXPECT_THAT(told(records), ElementsAre("tcp.retx.endpoint warning 30 [tcp.dupack 9]"));
    EXPECT_THAT(told(records, {{Finding::tcpRetxEndpoint, server, client, ""}}),
                ElementsAre("tcp.retx.endpoint warning 30 [tcp.dupack 9] muted"));
}

TEST(RollUp, AMutedSymptomDoesNotSpeakForItsDiagnosis)
{
    const auto records =
        findings({"tcp.retx.endpoint warning 10.0.0.2 10.0.0.1 30", "tcp.dupack note 10.0.0.1 10.0.0.2 9"});
    EXPECT_THAT(told(records, {{Finding::tcpDupack, {}, {}, ""}}),
                ElementsAre("tcp.retx.endpoint warning 30", "tcp.dupack note 9 muted"));
}

} // namespace netrondo::test
