// The findings of the captures that come with the sources, held against what is known to be in them.
#include "Analysis/PairAggregator.h"
#include "Capture/CaptureFile.h"
#include "Capture/Drivers/AnalyzeFile.h"
#include "Dissection/Decode/PacketDecoder.h"
#include "Dissection/Filter/DisplayFilter.h"
#include "Support/SampleFrames.h"

#include <algorithm>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <iterator>
#include <map>
#include <set>

namespace netrondo::test {
namespace {

const std::filesystem::path samples = NETRONDO_SOURCE_DIR "/Samples";

CaptureExpertSummary findingsOf(const std::filesystem::path& file)
{
    auto result = CaptureFile::analyze(file, AnalysisMode::l3IP, {});
    EXPECT_TRUE(result) << file;
    return result ? std::move(result->expertSummary) : CaptureExpertSummary{};
}

} // namespace

/// A fault that the recorded day had, and one of the frames that show it.
struct FaultCase {
    std::string_view name, finding;
    std::uint32_t frame;
    Severity least;
};

class BadDay : public testing::TestWithParam<FaultCase> {
protected:
    static void SetUpTestSuite() { summary = new CaptureExpertSummary(findingsOf(samples / "trouble.pcapng")); }
    static void TearDownTestSuite() { delete summary; }
    static CaptureExpertSummary* summary;
};
CaptureExpertSummary* BadDay::summary;

TEST_P(BadDay, EveryFaultIsFound)
{
    const auto& fault = GetParam();
    const auto place = std::find_if(summary->findings.begin(), summary->findings.end(), [&](const auto& finding) {
        return finding.kind().id == fault.finding
            && std::find(finding.evidence.begin(), finding.evidence.end(), fault.frame) != finding.evidence.end();
    });
    ASSERT_NE(place, summary->findings.end()) << fault.finding << " with frame " << fault.frame;
    EXPECT_GE(place->severity, fault.least);
}

INSTANTIATE_TEST_SUITE_P(Key, BadDay,
                         testing::Values(FaultCase{"Loss", "tcp.retx.endpoint", 130, Severity::warning},
                                         FaultCase{"SlowHandshake", "tcp.slowhandshake", 471, Severity::warning},
                                         FaultCase{"SlowPage", "http.slow", 549, Severity::note},
                                         FaultCase{"Duplication", "tcp.retx.infra", 745, Severity::warning},
                                         FaultCase{"Reordering", "tcp.ooo", 810, Severity::warning},
                                         FaultCase{"ClosedWindow", "tcp.zerowin", 1145, Severity::error},
                                         FaultCase{"KilledServer", "tcp.refused", 1366, Severity::warning},
                                         FaultCase{"PulledCable", "tcp.rto", 1512, Severity::error},
                                         FaultCase{"HostUnreachable", "icmp.unreach", 1542, Severity::warning},
                                         FaultCase{"NetworkUnreachable", "icmp.unreach", 1525, Severity::warning},
                                         FaultCase{"NobodyAnswersArp", "arp.noreply", 1516, Severity::warning},
                                         FaultCase{"Forbidden", "icmp.unreach", 1546, Severity::warning},
                                         FaultCase{"RefusedPort", "tcp.refused", 1562, Severity::warning},
                                         FaultCase{"RefusedDatabase", "tcp.refused", 1566, Severity::warning},
                                         FaultCase{"ClosedUdpPort", "icmp.unreach", 1570, Severity::note},
                                         FaultCase{"UnknownName", "dns.rcode", 1593, Severity::note},
                                         FaultCase{"BrokenName", "dns.rcode", 1604, Severity::warning},
                                         FaultCase{"RefusedTransfer", "dns.rcode", 1610, Severity::warning},
                                         FaultCase{"SleepingServer", "dns.noreply", 1626, Severity::warning},
                                         FaultCase{"TwoOwners", "arp.dupip", 1647, Severity::error},
                                         FaultCase{"TwoOwnersIpv6", "nd.dupip", 1680, Severity::error},
                                         FaultCase{"RoutingLoop", "ip.loop", 1709, Severity::error},
                                         FaultCase{"AddressScan", "arp.scan", 1737, Severity::warning},
                                         FaultCase{"PortScan", "scan.port", 1887, Severity::warning},
                                         FaultCase{"NoLease", "dhcp.fail", 2290, Severity::error},
                                         FaultCase{"LeaseDenied", "dhcp.fail", 2341, Severity::error},
                                         FaultCase{"Http404", "http.error", 2358, Severity::note},
                                         FaultCase{"Http500", "http.error", 2372, Severity::warning},
                                         FaultCase{"ExpiredCertificate", "tls.cert", 2435, Severity::error},
                                         FaultCase{"SelfSignedCertificate", "tls.cert", 2452, Severity::note},
                                         FaultCase{"OldVersion", "tls.alert", 2470, Severity::warning},
                                         FaultCase{"FtpLogin", "app.refused", 2501, Severity::warning},
                                         FaultCase{"LdapBind", "app.refused", 2516, Severity::warning},
                                         FaultCase{"Kerberos", "app.refused", 2531, Severity::warning},
                                         FaultCase{"SmbLogon", "app.refused", 2554, Severity::warning},
                                         FaultCase{"SmtpRecipient", "app.refused", 2583, Severity::warning},
                                         FaultCase{"Pop3Login", "app.refused", 2615, Severity::warning},
                                         FaultCase{"MySqlLogin", "app.refused", 2669, Severity::warning},
                                         FaultCase{"Fragments", "ip.frag", 3918, Severity::note},
                                         FaultCase{"TooBig", "icmp.unreach", 3939, Severity::note},
                                         FaultCase{"MasterLost", "fhrp.flap", 3972, Severity::warning},
                                         FaultCase{"MasterBack", "fhrp.flap", 4035, Severity::warning},
                                         FaultCase{"UplinkLost", "stp.change", 4061, Severity::warning}),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(OrdinaryMorning, HasNoWarningButTheSecretsAndTheCertificateThatItsKeyTellsOf)
{
    std::multiset<std::string_view> bad;
    const auto summary = findingsOf(samples / "office.pcapng");
    for (const auto& finding : summary.findings) {
        if (finding.severity >= Severity::warning)
            bad.insert(finding.kind().id);
    }
    // SNMP "public", FTP, HTTP Basic and Telnet; the certificate of old.office.example.
    EXPECT_THAT(
        bad,
        testing::UnorderedElementsAre("app.cleartext", "app.cleartext", "app.cleartext", "app.cleartext", "tls.cert"));
}

TEST(SampleFindings, AreTheSameWhereTheMarksOfFramesAreNotKept)
{
    const auto found = [](FrameMarks marks) {
        auto reader = CaptureFile::open(samples / "trouble.pcapng").value();
        return CaptureFile::analyze(*reader, AnalysisMode::l3IP, {}, {}, {}, marks).value().expertSummary;
    };
    const auto plain = found(FrameMarks::none), marked = found(FrameMarks::kept);
    EXPECT_EQ(plain.findings, marked.findings);
    EXPECT_FALSE(plain.annotations);
    EXPECT_FALSE(marked.annotations->empty());
}

TEST(SampleFindings, OfACaptureThatGrowsAreAtEveryMomentThoseOfItsBeginning)
{
    auto reader = CaptureFile::open(samples / "trouble.pcapng").value();
    std::vector<StoredFrame> frames;
    PairAggregator growing(AnalysisMode::l3IP, {}, FrameMarks::kept);
    for (std::size_t count = 1;; ++count) {
        const auto frame = reader->nextFrame();
        if (!frame || !*frame)
            break;
        frames.emplace_back(**frame);
        growing.ingest(**frame);
        if (count % 700 != 0)
            continue;
        PairAggregator whole(AnalysisMode::l3IP, {}, FrameMarks::kept);
        for (const auto& one : frames)
            whole.ingest(one.view());
        const auto asked = growing.result().expertSummary, again = growing.result().expertSummary,
                   atOnce = std::move(whole).takeResult().expertSummary;
        EXPECT_EQ(asked.findings, again.findings) << "after " << count << " frames";
        EXPECT_EQ(asked.findings, atOnce.findings) << "after " << count << " frames";
        EXPECT_EQ(*asked.annotations, *atOnce.annotations) << "after " << count << " frames";
        EXPECT_EQ(asked.accounting, atOnce.accounting);
    }
}

TEST(SampleFindings, AreSelectedByTheirFiltersExactlyByTheirEvidence)
{
    for (const auto* name : {"trouble.pcapng", "office.pcapng"}) {
        const auto summary = findingsOf(samples / name);
        std::vector<DisplayFilter> filters;
        for (const auto& finding : summary.findings)
            filters.push_back(DisplayFilter::compile(ExpertText::filter(finding)).value());
        std::vector<std::vector<std::uint32_t>> selected(filters.size());
        auto reader = CaptureFile::open(samples / name).value();
        PacketDecoder decoder;
        DecodedFrame decoded;
        for (std::uint32_t number = 1;; ++number) {
            const auto frame = reader->nextFrame();
            if (!frame || !*frame)
                break;
            decoder.decodeNext(**frame, decoded);
            for (std::size_t i = 0; i < filters.size(); ++i) {
                if (filters[i].matches(decoded))
                    selected[i].push_back(number);
            }
        }
        for (std::size_t i = 0; i < filters.size(); ++i) {
            const auto& finding = summary.findings[i];
            EXPECT_EQ(selected[i], finding.evidence) << finding.kind().id;
            EXPECT_LE(finding.evidence.size(), ExpertFinding::maxEvidence);
            EXPECT_GE(finding.evidence.size(), 1u);
        }
    }
}

/// Whether the file is a capture; expects of one that the marks of its frames and the quality records of its pairs
/// count the same.
bool marksAgreeWithCounters(const std::filesystem::path& file)
{
    const auto reader = CaptureFile::open(file);
    if (!reader)
        return false;
    const auto result = CaptureFile::analyze(**reader, AnalysisMode::l3IP, {}, {}, {}, FrameMarks::kept);
    if (!result)
        return false;
    std::map<Finding, std::uint64_t> marks;
    for (const auto& annotation : *result->expertSummary.annotations) {
        for (const auto finding : annotation.findings)
            ++marks[finding];
    }
    TCPSessionQuality sum;
    std::set<std::uint32_t> counted;
    for (std::size_t i = 0; i < result->pairs.size(); ++i) {
        if (!counted.insert(result->pairs.summary(i).conversation).second)
            continue;
        if (const auto quality = result->pairs.tcpQuality(i))
            sum.merge(*quality);
    }
    EXPECT_EQ(marks[Finding::tcpRetxEndpoint], sum.retransmitEndpoint) << file;
    EXPECT_EQ(marks[Finding::tcpRetxInfra], sum.retransmitInfrastructure) << file;
    EXPECT_EQ(marks[Finding::tcpRetxApp], sum.retransmitApplication) << file;
    EXPECT_EQ(marks[Finding::tcpSpurious], sum.spuriousRetransmitCount) << file;
    EXPECT_EQ(marks[Finding::tcpAckedUnseen], sum.ackedUnseenCount) << file;
    EXPECT_EQ(marks[Finding::tcpZerowin], sum.zeroWindowCount) << file;
    const auto& accounting = result->expertSummary.accounting;
    std::uint64_t skipped = 0;
    for (const auto& skip : accounting.skipped)
        skipped += skip.frames;
    EXPECT_EQ(accounting.read, accounting.analysed + skipped) << file;
    EXPECT_EQ(accounting.analysed, result->totalPackets) << file;
    return true;
}

TEST(SampleFindings, MarkAsManyFramesAsTheTrackerCounts)
{
    auto files = filesBelow(samples);
    if (const auto folder = collection())
        std::ranges::move(filesBelow(*folder), std::back_inserter(files));
    EXPECT_GT(std::ranges::count_if(files, marksAgreeWithCounters), 60);
}

} // namespace netrondo::test
