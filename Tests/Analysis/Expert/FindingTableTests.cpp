// Findings narrowed, ordered and grouped.
#include "Analysis/Expert/FindingTable.h"

#include "Support/FindingLists.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

namespace netrondo::test {
namespace {

Address at(std::string_view text)
{
    return Address::parse(text).value();
}

std::string words(const Address& host)
{
    return host == at("10.0.0.9") ? "Printer (10.0.0.9)" : host.text();
}

/// What hurts most first, as a summary has them.
std::vector<ExpertFinding> some()
{
    auto made = findings({"tcp.zerowin error 10.0.0.1 10.0.0.9 3 40", "arp.dupip error 10.0.0.7 - 2 5",
                          "tcp.rst warning 10.0.0.9 10.0.0.1 8 30", "cap.time note - - 1 90",
                          "dns.slow note 10.0.0.2 10.0.0.53 1 7", "cap.offload info 10.0.0.2 - 50 1"});
    made[1].confidence = 0.5;
    return made;
}

/// The groups of a table: "title: id id | title: id".
std::string dump(const std::vector<ExpertFinding>& list, const FindingWish& wish)
{
    const auto table = arrange(list, wish, words);
    std::string text;
    std::size_t count = 0;
    for (const auto& group : table.groups) {
        text += text.empty() ? "" : " | ";
        text += group.title.empty() ? "" : group.title + ":";
        for (const auto row : group.findings)
            text += (text.empty() || text.back() == ' ' ? "" : " ") + std::string(list[row].kind().id);
        count += group.findings.size();
    }
    EXPECT_EQ(table.shown, count);
    return text;
}

struct WishCase {
    std::string_view name;
    FindingWish wish;
    std::string_view shown;
};

class WishTable : public testing::TestWithParam<WishCase> { };

TEST_P(WishTable, ShowsWhatIsWanted)
{
    EXPECT_EQ(dump(some(), GetParam().wish), GetParam().shown);
}

using Order = FindingWish::Order;
using Groups = FindingWish::Groups;

INSTANTIATE_TEST_SUITE_P(
    Wishes, WishTable,
    testing::Values(
        WishCase{"Everything", {}, "tcp.zerowin arp.dupip tcp.rst cap.time dns.slow cap.offload"},
        WishCase{"Severity", {.least = Severity::warning}, "tcp.zerowin arp.dupip tcp.rst"},
        WishCase{"Layer", {.layer = ExpertLayer::transport}, "tcp.zerowin tcp.rst"},
        WishCase{"Host", {.host = at("10.0.0.2")}, "dns.slow cap.offload"},
        WishCase{"ConversationWhicheverWay", {.host = at("10.0.0.9"), .peer = at("10.0.0.1")}, "tcp.zerowin tcp.rst"},
        WishCase{"TextOfTheId", {.text = "tcp.r"}, "tcp.rst"},
        WishCase{"TextOfTheTitleWhateverItsCase", {.text = "TIME jumps"}, "cap.time"},
        WishCase{"TextOfAHostsName", {.text = "printer"}, "tcp.zerowin tcp.rst"},
        WishCase{"EveryWordCounts", {.text = " printer  rst "}, "tcp.rst"},
        WishCase{"TextOfNone", {.text = "printer dns"}, ""},
        WishCase{
            "OrderByHosts", {.order = Order::hosts}, "cap.time tcp.zerowin cap.offload dns.slow arp.dupip tcp.rst"},
        WishCase{
            "OrderByCount", {.order = Order::count}, "cap.offload tcp.rst tcp.zerowin arp.dupip cap.time dns.slow"},
        WishCase{"OrderByFirstFrame",
                 {.order = Order::first},
                 "cap.offload arp.dupip dns.slow tcp.rst tcp.zerowin cap.time"},
        WishCase{"OrderByConfidence", {.least = Severity::error, .order = Order::confidence}, "tcp.zerowin arp.dupip"},
        WishCase{"OrderReversed",
                 {.order = Order::last, .isReversed = true},
                 "cap.time tcp.zerowin tcp.rst dns.slow arp.dupip cap.offload"},
        WishCase{"GroupsBySeverity",
                 {.groups = Groups::severity},
                 "Errors: tcp.zerowin arp.dupip | Warnings: tcp.rst | Notes: cap.time dns.slow | Info: cap.offload"},
        WishCase{"GroupsByLayer",
                 {.groups = Groups::layer},
                 "The capture itself: cap.time cap.offload | Network layer (L3): arp.dupip | Transport layer (L4): "
                 "tcp.zerowin tcp.rst | Applications (L7): dns.slow"},
        WishCase{"GroupsByHostTheWorstFirst",
                 {.groups = Groups::host},
                 "10.0.0.1: tcp.zerowin | 10.0.0.7: arp.dupip | Printer (10.0.0.9): tcp.rst | The network and the "
                 "capture: cap.time | 10.0.0.2: dns.slow cap.offload"},
        WishCase{"OrderWithinGroups",
                 {.least = Severity::warning, .order = Order::first, .groups = Groups::layer},
                 "Network layer (L3): arp.dupip | Transport layer (L4): tcp.rst tcp.zerowin"}),
    [](const auto& row) { return std::string(row.param.name); });

} // namespace

TEST(FindingTable, IsOrderedByTitlesAsTheyRead)
{
    const auto list = some();
    const auto table = arrange(list, {.order = FindingWish::Order::title}, words);
    const auto& rows = table.groups.at(0).findings;
    ASSERT_EQ(rows.size(), list.size());
    for (std::size_t i = 1; i < rows.size(); ++i)
        EXPECT_LT(ExpertText::title(list[rows[i - 1]]), ExpertText::title(list[rows[i]]));
}

TEST(FindingTable, LeavesMutedFindingsOutUnlessTheyAreWanted)
{
    auto list = some();
    applyMutes(list, std::vector<ExpertMute>{{Finding::none, at("10.0.0.9"), {}, "an old printer"}});
    EXPECT_EQ(dump(list, {}), "arp.dupip cap.time dns.slow cap.offload");
    EXPECT_EQ(dump(list, {.withMuted = true}), "tcp.zerowin arp.dupip tcp.rst cap.time dns.slow cap.offload");
    const auto table = arrange(list, {}, words);
    EXPECT_EQ(table.muted, 2u);
    EXPECT_EQ(table.counts, (std::array<std::size_t, 4>{1, 2, 0, 1}));
}

TEST(FindingMarks, AreTheWorstThatIsSaidOfAHostOrConversationAndNotMuted)
{
    const auto marks = marksOf(some());
    ASSERT_TRUE(marks.find(at("10.0.0.1"), at("10.0.0.9")));
    EXPECT_EQ(marks.find(at("10.0.0.9"), at("10.0.0.1")), marks.find(at("10.0.0.1"), at("10.0.0.9")));
    EXPECT_EQ(marks.find(at("10.0.0.9"), at("10.0.0.1"))->severity, Severity::error);
    EXPECT_EQ(marks.find(at("10.0.0.9"), at("10.0.0.1"))->findings, (std::vector<std::uint32_t>{0, 2}));
    EXPECT_EQ(marks.find(at("10.0.0.7"))->severity, Severity::error);
    EXPECT_EQ(marks.find(at("10.0.0.2"))->severity, Severity::info);
    EXPECT_FALSE(marks.find(at("10.0.0.1")));
    EXPECT_EQ(marks.marks.size(), 4u);
    const std::vector<ExpertMute> mutes{{Finding::tcpZerowin, {}, {}, ""}, {Finding::arpDupip, {}, {}, ""}};
    auto list = some();
    applyMutes(list, mutes);
    const auto left = marksOf(list);
    EXPECT_EQ(left.find(at("10.0.0.1"), at("10.0.0.9"))->severity, Severity::warning);
    EXPECT_FALSE(left.find(at("10.0.0.7")));
}

TEST(FindingMarks, KnowAHostThatStandsSecondOrTwice)
{
    const auto marks = marksOf(findings({"tcp.rst note - 10.0.0.4", "tcp.rst error 10.0.0.5 10.0.0.5"}));
    EXPECT_TRUE(marks.find(at("10.0.0.4")));
    EXPECT_TRUE(marks.find(at("10.0.0.5")));
}

TEST(MutedMarks, AreOfMutedFindingsAndTheirSymptomsBetweenTheirHosts)
{
    auto list = findings({"tcp.retx.endpoint warning 10.0.0.1 10.0.0.9", "tcp.rst note 10.0.0.2 10.0.0.9",
                          "arp.dupip error 10.0.0.7", "cap.time note"});
    list[0].symptoms = {{Finding::tcpDupack, 3}};
    const std::vector<ExpertMute> mutes = {{Finding::tcpRetxEndpoint, at("10.0.0.1"), at("10.0.0.9"), ""},
                                           {Finding::none, at("10.0.0.7"), {}, ""},
                                           {Finding::capTime, {}, {}, ""}};
    EXPECT_FALSE(MutedMarks(list, {}).have(Finding::tcpDupack, at("10.0.0.1"), at("10.0.0.9")));
    applyMutes(list, mutes);
    const MutedMarks muted(list, mutes);
    EXPECT_TRUE(muted.have(Finding::tcpRetxEndpoint, at("10.0.0.1"), at("10.0.0.9")));
    EXPECT_TRUE(muted.have(Finding::tcpDupack, at("10.0.0.9"), at("10.0.0.1"))) << "whichever way";
    EXPECT_FALSE(muted.have(Finding::tcpDupack, at("10.0.0.2"), at("10.0.0.9")));
    EXPECT_FALSE(muted.have(Finding::tcpRst, at("10.0.0.2"), at("10.0.0.9")));
    EXPECT_TRUE(muted.have(Finding::arpDupip, at("10.0.0.3"), at("10.0.0.7"))) << "of one host, with anybody";
    EXPECT_TRUE(muted.have(Finding::capTime, at("10.0.0.3"), at("10.0.0.4"))) << "of the capture, everywhere";
}

TEST(MutedMarks, AreAlsoOfWhatBecameNoFinding)
{
    const MutedMarks muted({}, {{Finding::none, at("10.0.0.1"), at("10.0.0.9"), ""}});
    EXPECT_TRUE(muted.have(Finding::tcpOoo, at("10.0.0.9"), at("10.0.0.1")));
    EXPECT_FALSE(muted.have(Finding::tcpOoo, at("10.0.0.2"), at("10.0.0.9")));
}

} // namespace netrondo::test
