// The findings of the captures that come with the sources, held against what is known to be in them.
#include "Analysis/PairAggregator.h"
#include "Capture/CaptureFile.h"
#include "Capture/Drivers/AnalyzeFile.h"
#include "Dissection/Decode/PacketDecoder.h"
#include "Dissection/Filter/DisplayFilter.h"
#include "Support/SampleFrames.h"

#include <algorithm>
#include <fmt/format.h>
#include <fmt/ranges.h>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <map>
#include <regex>
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

/// The answer key of a sample: what happens, and the frames that show it, of long lists the first and the last. It
/// stands in the samples' README, where it is checked with tshark.
std::map<std::string, std::set<std::uint32_t>> answerKey(std::string_view sample)
{
    static const std::regex row(R"(^\| ([^|]+) \| `[^`]+` \| ([^|]+) \((\d+)\) \|$)");
    static const std::regex sentence(R"(^(Segments overtaken [^(]+) \(.*\): (.*) \((\d+)\)\.$)");
    static const std::regex range(R"((\d+)(?:–(\d+))?)");
    std::map<std::string, std::set<std::uint32_t>> key;
    std::ifstream readme(samples / "README.md");
    bool isInside = false;
    for (std::string line; std::getline(readme, line);) {
        if (line.starts_with("## "))
            isInside = line == fmt::format("## `{}`", sample);
        std::smatch parts;
        if (!isInside || (!std::regex_match(line, parts, row) && !std::regex_match(line, parts, sentence)))
            continue;
        auto& frames = key[parts[1]];
        const std::string list = parts[2];
        for (std::sregex_iterator at(list.begin(), list.end(), range), end; at != end; ++at) {
            const auto first = static_cast<std::uint32_t>(std::stoul((*at)[1]));
            const auto last = (*at)[2].matched ? static_cast<std::uint32_t>(std::stoul((*at)[2])) : first;
            for (auto frame = first; frame <= last; ++frame)
                frames.insert(frame);
        }
    }
    return key;
}

std::string dump(const ExpertFinding& finding)
{
    return fmt::format("{} {} at {}: {}", rawValue(finding.severity), finding.kind().id,
                       fmt::join(finding.evidence, " "), ExpertText::whatHappened(finding));
}

} // namespace

/// A fault as the answer key tells it, and the finding that tells of it.
struct FaultCase {
    std::string_view row, finding;
    Severity severity;
    /// Where the key shows the last frame of a message and the finding the first one, or its cause.
    std::uint32_t frame = 0;
    std::size_t findings = 1; ///< one for each of so many conversations

    friend std::ostream& operator<<(std::ostream& out, const FaultCase& fault) { return out << fault.row; }
};

/// A capture and the faults that its key lists.
struct SampleKey {
    std::string_view name;
    Severity least; ///< what is less bad is not looked at
    std::vector<FaultCase> faults;
    std::vector<std::string_view> others; ///< rows that are no fault, or belong to one in another row

    friend std::ostream& operator<<(std::ostream& out, const SampleKey& key) { return out << key.name; }
};

class SampleKeys : public testing::TestWithParam<SampleKey> { };

TEST_P(SampleKeys, AreFoundEachUnderOneNameAndNothingElse)
{
    const auto& sample = GetParam();
    const auto key = answerKey(sample.name);
    auto findings = findingsOf(samples / sample.name).findings;
    std::erase_if(findings, [&](const auto& finding) { return finding.severity < sample.least; });
    std::set<std::string_view> rows(sample.others.begin(), sample.others.end());
    std::set<const ExpertFinding*> expected;
    for (const auto& fault : sample.faults) {
        rows.insert(fault.row);
        const auto row = key.find(std::string(fault.row));
        ASSERT_NE(row, key.end()) << fault.row;
        const auto frames = fault.frame ? std::set{fault.frame} : row->second;
        std::size_t count = 0;
        for (const auto& finding : findings) {
            if (std::ranges::none_of(finding.evidence, [&](auto frame) { return frames.contains(frame); }))
                continue;
            EXPECT_EQ(finding.kind().id, fault.finding) << fault.row << " is also told as " << dump(finding);
            EXPECT_EQ(finding.severity, fault.severity) << fault.row;
            expected.insert(&finding);
            ++count;
        }
        EXPECT_EQ(count, fault.findings) << fault.row;
    }
    for (const auto& finding : findings)
        EXPECT_TRUE(expected.contains(&finding)) << "not in the key: " << dump(finding);
    if (sample.least <= Severity::note) { // else most of the key is about what is well
        for (const auto& [row, frames] : key)
            EXPECT_TRUE(rows.contains(row)) << row;
    }
}

INSTANTIATE_TEST_SUITE_P(
    Samples, SampleKeys,
    testing::Values(
        SampleKey{
            "trouble.pcapng",
            Severity::note,
            {
                {"loss: segments sent again to Anna", "tcp.retx.endpoint", Severity::warning},
                {"delay: handshakes that take over 200 ms", "tcp.slowhandshake", Severity::warning, 0, 2},
                {"delay: a page that takes over half a second", "http.slow", Severity::note, 549},
                {"Segments overtaken on the way from the terminal server to Bruno", "tcp.ooo", Severity::note},
                {"Segments overtaken on the way from the terminal server to the web server", "tcp.ooo", Severity::note},
                {"duplication: data that David's PC already had", "tcp.retx.infra", Severity::warning},
                {"Segments overtaken on the way to Carla", "tcp.ooo", Severity::warning},
                {"zero window: Carla's PC closes its window", "tcp.zerowin", Severity::error},
                {"killed server: Anna's next connection is refused", "tcp.refused", Severity::warning},
                {"pulled cable: the server repeats, ever slower", "tcp.rto", Severity::error},
                {"nobody there: host unreachable (10.20.2.99)", "icmp.unreach", Severity::warning},
                {"nobody there: network unreachable (10.99.0.1)", "icmp.unreach", Severity::warning},
                {"nobody there: ARP for 10.20.1.77 stays without answer", "arp.noreply", Severity::warning},
                {"nobody there: forbidden by the router (SMTP to 198.51.100.10)", "icmp.unreach", Severity::warning},
                {"nobody there: port 8888 of web refuses", "tcp.refused", Severity::warning},
                {"nobody there: port 27017 of db refuses", "tcp.refused", Severity::warning},
                {"nobody there: UDP port 53 of web is closed", "icmp.unreach", Severity::note},
                {"wrong names: wiki.ofice.example does not exist", "dns.rcode", Severity::warning},
                {"wrong names: intranet.office.example does not exist", "dns.rcode", Severity::warning},
                {"wrong names: broken.example cannot be served", "dns.rcode", Severity::warning},
                {"wrong names: a zone transfer is refused", "dns.rcode", Severity::warning},
                {"wrong names: the server sleeps, the question is repeated", "dns.noreply", Severity::warning},
                {"one address twice: the visitor claims 10.20.1.13", "arp.dupip", Severity::error},
                {"one address twice: the owner claims it too", "arp.dupip", Severity::error},
                {"one address twice: IPv6, asked before use", "nd.dupip", Severity::error},
                {"one address twice: IPv6, the owner objects", "nd.dupip", Severity::error},
                {"routing loop: the first ping goes round 19 times", "ip.loop", Severity::error},
                {"address scan: the visitor asks for every address", "arp.scan", Severity::warning},
                {"port scan: 200 ports of web", "scan.port", Severity::warning},
                {"no lease: the visitor asks and nobody answers", "dhcp.fail", Severity::error},
                {"no lease: an address of another network is denied", "dhcp.fail", Severity::error},
                {"application: HTTP 404", "http.error", Severity::warning},
                {"application: HTTP 500", "http.error", Severity::warning},
                {"application: HTTP 503", "http.error", Severity::warning},
                {"application: HTTP 502, the program behind is gone", "http.error", Severity::warning},
                {"application: HTTP 401, no password was sent", "http.error", Severity::warning},
                {"application: web has TLS on its IPv4 address only, IPv6 is refused first", "tcp.refused",
                 Severity::note},
                {"application: TLS alert, certificate expired", "tls.cert", Severity::error, 2435},
                {"application: TLS alert, unknown authority (self-signed)", "tls.cert", Severity::error, 2452},
                {"application: TLS alert, version 1.1 is not spoken", "tls.alert", Severity::warning},
                {"application: passwords in clear, FTP", "app.cleartext", Severity::warning, 0, 2},
                {"application: FTP login refused", "app.refused", Severity::warning},
                {"application: LDAP invalid credentials", "app.refused", Severity::warning},
                {"application: Kerberos error", "app.refused", Severity::warning},
                {"application: SMB logon failure", "app.refused", Severity::warning},
                {"application: SMTP recipient refused", "app.refused", Severity::warning},
                {"application: passwords in clear, POP3 (Base64)", "app.cleartext", Severity::warning},
                {"application: POP3 login refused", "app.refused", Severity::warning},
                {"application: passwords in clear, IMAP (Base64)", "app.cleartext", Severity::warning},
                {"application: IMAP login refused", "app.refused", Severity::warning},
                {"application: MySQL access denied", "app.refused", Severity::warning},
                {"too big: fragments", "ip.frag", Severity::note},
                {"too big: the router says so and names its MTU", "icmp.unreach", Severity::note},
                {"too big: the public web server takes no uploads (HTTP 405)", "http.error", Severity::note},
                {"master lost: router 2 takes over 10.20.1.1", "fhrp.flap", Severity::warning},
                {"master lost: router 1 has come back", "fhrp.flap", Severity::warning},
                {"uplink lost: sw2 reports a topology change", "stp.change", Severity::warning},
                {"topology changes, told by the root: since the pulled cable, and again since the lost uplink",
                 "stp.change", Severity::warning},
            },
            {
                "an ordinary ping: 3 sent",
                "loss: Anna asks again (duplicate ACKs)",
                "loss: Anna says what she has (SACK)",
                "reordering: Carla's PC asks for what it misses (duplicate ACKs)",
                "zero window: the server probes",
                "zero window: the window opens again",
                "killed server: its connections end",
                "wrong names: answers later than half a second",
                "routing loop: its time to live runs out",
                "port scan: refused",
                "large transfer: a megabyte to David",
                "master lost: the last that router 1 says",
                "uplink lost: of 14 pings in 14 seconds, those that got through",
                "uplink lost: and their answers",
            }},
        SampleKey{"office.pcapng",
                  Severity::warning,
                  {
                      {"HTTP: Anna's password in clear (Basic)", "app.cleartext", Severity::warning},
                      {"Telnet: David's session, password included", "app.cleartext", Severity::warning},
                      {"FTP: David logs in", "app.cleartext", Severity::warning},
                      {"IMAP: Anna's password in clear (Base64)", "app.cleartext", Severity::warning},
                      {"POP3: Carla's password in clear (Base64)", "app.cleartext", Severity::warning},
                      {"SNMP: community public", "app.cleartext", Severity::warning},
                      {"TLS: its certificate, which has expired, in clear (TLS 1.2)", "tls.cert", Severity::error},
                  },
                  {}}),
    [](const auto& row) { return std::string(row.param.name.substr(0, row.param.name.find('.'))); });
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
