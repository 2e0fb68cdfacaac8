// How frames become conversations, protocols and totals.
#include "Analysis/PairAggregator.h"
#include "Base/Json.h"
#include "Support/Allocations.h"
#include "Support/Frames.h"
#include "Support/NameMessages.h"

#include <gtest/gtest.h>

namespace netrondo::test {
namespace {

/// An aggregator fed frame by frame.
class Analysis {
public:
    explicit Analysis(AnalysisMode mode = AnalysisMode::l3IP) : aggregator(mode, {}) { }

    Analysis& add(const ByteVector& bytes, double seconds = 0, LinkType link = LinkType::ethernet)
    {
        aggregator.ingest(frameOf(bytes, link, seconds));
        return *this;
    }

    AnalysisResult result() const { return aggregator.result(); }

    CommPair pair(std::string_view id) const
    {
        const auto all = result();
        for (auto pair : all.pairs) {
            if (pair.id() == id)
                return pair;
        }
        throw std::out_of_range(std::string(id));
    }

    PairAggregator aggregator;
};

constexpr std::string_view there = "10.0.0.1->10.0.0.2", back = "10.0.0.2->10.0.0.1";

ByteVector request(const TcpFields& fields, std::string_view payload = {})
{
    return ethernet(ipv4({}, tcp(fields, payload)));
}

ByteVector reply(TcpFields fields, std::string_view payload = {})
{
    return ethernet(ipv4({.source = "10.0.0.2", .destination = "10.0.0.1"}, tcp(fields, payload)),
                    {.source = "02:00:00:00:00:02", .destination = "02:00:00:00:00:01"});
}

PortMap<PortStats> ports(std::initializer_list<std::pair<std::uint16_t, PortStats>> list)
{
    return {list};
}

const auto arpFrame = ethernet({0x0806, hex("0001 0800 06 04 0001 020000000001 0a000001 000000000000 0a000002")});
const auto ipxFrame = ethernet({0x8137, hex("ffff 001e 00 00 00000001 ffffffffffff 0452 00000002 00a0ccd0a1b2 4003")});

} // namespace

TEST(PairList, GivesTheTcpQualityOfAPairWithoutTheRestOfIt)
{
    Analysis analysis;
    analysis.add(request({.seq = 1, .flags = tcpFlag::syn}))
        .add(reply({.sourcePort = 80, .destinationPort = 51000}, "x"));
    analysis.add(ethernet(ipv4({.destination = "10.0.0.53"}, udp())));
    const auto result = analysis.result();
    ASSERT_EQ(result.pairs.size(), 3u);
    for (std::size_t i = 0; i < result.pairs.size(); ++i)
        EXPECT_EQ(result.pairs.tcpQuality(i), result.pairs[i].tcpQuality) << result.pairs[i].id();
    EXPECT_EQ(result.pairs.tcpQuality(0)->tcpPackets, 2u) << "both directions";
    EXPECT_FALSE(result.pairs.tcpQuality(1)) << "no TCP";
}

TEST(PairList, SummarisesWithTheScoreAndWhetherThereIsSomethingToSay)
{
    Analysis analysis;
    analysis.add(request({.seq = 1}, "x")).add(request({.seq = 1}, "x"));            // sent again
    analysis.add(ethernet(ipv4({.destination = "10.0.0.3"}, tcp({.seq = 1}, "x")))); // nothing wrong
    analysis.add(ethernet(ipv4({.destination = "10.0.0.4"}, udp())));
    const auto result = analysis.result();
    ASSERT_EQ(result.pairs.size(), 3u);
    for (std::size_t i = 0; i < result.pairs.size(); ++i) {
        const auto quality = result.pairs.tcpQuality(i);
        const auto summary = result.pairs.summary(i);
        EXPECT_EQ(summary.tcpScore, quality ? quality->score() : std::nullopt) << i;
        EXPECT_EQ(summary.hasTcpComplaints, i == 0) << i;
    }
}

TEST(PairList, SummarisesWithTheTimesProtocolAndNamesOfTheWholeRecord)
{
    Analysis analysis;
    analysis.add(request({.seq = 1}, "x"), 1.5).add(reply({.sourcePort = 80, .destinationPort = 51000}, "y"), 2);
    analysis.add(ethernet(ipv4({.destination = "10.0.0.3"}, udp({.sourcePort = 40000, .destinationPort = 40001}))), 3);
    analysis.add(ethernet(ipv4({.destination = "10.0.0.4"}, tcp({.sourcePort = 443, .destinationPort = 40001}))), 4.25);
    analysis.add(ethernet(ipv4({.source = "10.0.0.53"},
                               udp({.sourcePort = 53, .destinationPort = 51000},
                                   DnsMessage().question("web.example").a("web.example", "10.0.0.4")))));
    const auto result = analysis.result();
    ASSERT_EQ(result.pairs.size(), 5u);
    for (std::size_t i = 0; i < result.pairs.size(); ++i) {
        const auto pair = result.pairs[i];
        const auto summary = result.pairs.summary(i);
        EXPECT_EQ(summary.firstSeen, pair.firstSeenSeconds) << pair.id();
        EXPECT_EQ(summary.lastSeen, pair.lastSeenSeconds) << pair.id();
        EXPECT_EQ(result.pairs.topProtocol(i), pair.topProtocol) << pair.id();
        EXPECT_EQ(result.pairs.hostName(summary.source), pair.resolvedSrc.value_or("")) << pair.id();
        EXPECT_EQ(result.pairs.hostName(summary.destination), pair.resolvedDst.value_or("")) << pair.id();
    }
}

TEST(Aggregator, EmptyCaptureGivesZeroTotalsAndNoStart)
{
    const auto result = Analysis().result();
    EXPECT_TRUE(result.pairs.empty());
    EXPECT_TRUE(result.protocols.empty());
    EXPECT_EQ(result.totalPackets, 0u);
    EXPECT_EQ(result.totalBytes, 0u);
    EXPECT_EQ(result.durationSeconds, 0);
    EXPECT_FALSE(result.captureStartSeconds);
}

TEST(Aggregator, TheTwoDirectionsAreTwoPairs)
{
    Analysis analysis;
    analysis.add(request({}), 10.5)
        .add(reply({.sourcePort = 80, .destinationPort = 51000}, "x"), 11)
        .add(request({}), 12.25);
    const auto pair = analysis.pair(there);
    EXPECT_EQ(pair.packetCount, 2u);
    EXPECT_EQ(pair.byteCount, 108u);
    EXPECT_EQ(pair.firstSeenSeconds, 10.5);
    EXPECT_EQ(pair.lastSeenSeconds, 12.25);
    EXPECT_EQ(pair.srcMAC, "02:00:00:00:00:01");
    EXPECT_EQ(pair.dstMAC, "02:00:00:00:00:02");
    EXPECT_EQ(pair.srcIP, "10.0.0.1");
    EXPECT_EQ(pair.dstIP, "10.0.0.2");
    EXPECT_TRUE(pair.hasTCP);
    EXPECT_FALSE(pair.hasUDP);
    EXPECT_FALSE(pair.isMAC);
    EXPECT_EQ(analysis.pair(back).packetCount, 1u);
    const auto result = analysis.result();
    EXPECT_EQ(result.totalPackets, 3u);
    EXPECT_EQ(result.totalBytes, 108u + 55);
    EXPECT_EQ(result.durationSeconds, 1.75);
    EXPECT_EQ(result.captureStartSeconds, 10.5);
}

TEST(Aggregator, FrameFromAHostToItselfChangesNoCounterButTheExpertScannerHasSeenIt)
{
    Analysis analysis;
    analysis.add(ethernet(ipv4({.destination = "10.0.0.1"}, tcp())));
    const auto result = analysis.result();
    EXPECT_EQ(result.totalPackets, 0u);
    EXPECT_EQ(result.totalBytes, 0u);
    EXPECT_TRUE(result.pairs.empty());
    EXPECT_TRUE(result.protocols.empty());
    EXPECT_FALSE(result.captureStartSeconds);
    EXPECT_EQ(result.expertSummary.accounting.read, 1u);
    ASSERT_EQ(result.expertSummary.findings.size(), 1u);
    EXPECT_EQ(result.expertSummary.findings[0].kind().id, "ip.martian");
}

TEST(Aggregator, ArpAddsNothingInIpModeWhileIpxAndNetBeuiDo)
{
    Analysis analysis;
    analysis.add(arpFrame);
    EXPECT_EQ(analysis.result().totalPackets, 0u);
    analysis.add(ipxFrame);
    EXPECT_EQ(analysis.result().totalPackets, 1u);
    const auto nbf = hex("f0 f0 03 2c00 ffef 08");
    analysis.add(ethernet({static_cast<std::uint16_t>(nbf.size()), nbf}));
    EXPECT_EQ(analysis.result().totalPackets, 2u);
    const auto ipx = analysis.pair("00000002.00a0ccd0a1b2->00000001.ffffffffffff");
    EXPECT_FALSE(ipx.srcIP);
    EXPECT_EQ(ipx.srcMAC, "02:00:00:00:00:01");
    EXPECT_TRUE(analysis.pair("02:00:00:00:00:01->02:00:00:00:00:02").isMAC);
}

TEST(Aggregator, MacModeCountsEveryClassifiedFrame)
{
    Analysis analysis(AnalysisMode::l2MAC);
    analysis.add(arpFrame).add(ipxFrame).add(request({}));
    EXPECT_EQ(analysis.result().totalPackets, 3u);
    const auto pair = analysis.pair("02:00:00:00:00:01->02:00:00:00:00:02");
    EXPECT_EQ(pair.packetCount, 3u);
    EXPECT_TRUE(pair.isMAC);
    EXPECT_FALSE(pair.srcIP); // the first frame, ARP, had none
    EXPECT_EQ(pair.srcMAC, "02:00:00:00:00:01");
}

TEST(Aggregator, ReplyFromPort80IsCountedUnderPort80AndEphemeralSourcesAreNot)
{
    Analysis analysis;
    analysis.add(request({.sourcePort = 51000, .destinationPort = 80}));
    analysis.add(reply({.sourcePort = 80, .destinationPort = 51000}));
    EXPECT_EQ(analysis.pair(there).dstPorts, ports({{80, {1, true, false}}}));
    EXPECT_EQ(analysis.pair(back).dstPorts, ports({{80, {1, true, false}}, {51000, {1, true, false}}}));
}

TEST(Aggregator, UnnamedSourcePortsBelowTheEphemeralOnesAreCounted)
{
    Analysis analysis;
    analysis.add(ethernet(ipv4({}, udp({.sourcePort = 49151, .destinationPort = 49152}))));
    analysis.add(ethernet(ipv4({}, udp({.sourcePort = 49152, .destinationPort = 49151}))));
    EXPECT_EQ(analysis.pair(there).dstPorts, ports({{49151, {2, false, true}}, {49152, {1, false, true}}}));
}

TEST(Aggregator, OnePortOfBothTransportsCarriesBothMarks)
{
    Analysis analysis;
    analysis.add(ethernet(ipv4({}, udp({.destinationPort = 53}, "a"))));
    analysis.add(request({.destinationPort = 53}, "b"));
    const auto pair = analysis.pair(there);
    EXPECT_EQ(pair.dstPorts, ports({{53, {2, true, true}}}));
    EXPECT_EQ(pair.payloadProtocols, std::vector<std::string_view>{"DNS"});
}

TEST(Aggregator, APairOfTcpAndHttpKeepsHttpEvenIfItsLastFrameIsBareTcp)
{
    Analysis analysis;
    analysis.add(request({.sourcePort = 51000, .destinationPort = 50000}));
    // Its ports alone would call the pair SSH: HTTP is what was kept.
    for (const auto port : std::initializer_list<std::uint16_t>{22, 22, 80, 50000})
        analysis.add(request({.sourcePort = 51000, .destinationPort = port}));
    EXPECT_EQ(analysis.pair(there).topProtocol, "HTTP");
}

TEST(Aggregator, NewPairStartsWithItsFirstFramesNameAndCategory)
{
    Analysis analysis;
    analysis.add(request({.sourcePort = 51000, .destinationPort = 50000}));
    analysis.add(ethernet(ipv4({.source = "10.0.0.2", .destination = "10.0.0.1"}, Transport{253, hex("00"), 0})));
    EXPECT_EQ(analysis.pair(there).topProtocol, "TCP");
    EXPECT_EQ(analysis.pair(there).category, ProtocolCategory::tcp);
    EXPECT_EQ(analysis.pair(back).topProtocol, "IP protocol 253");
    EXPECT_EQ(analysis.pair(back).category, ProtocolCategory::unknown);
}

TEST(Aggregator, NewerServiceNameReplacesTheOlder)
{
    Analysis analysis;
    analysis.add(request({.destinationPort = 80})).add(request({.destinationPort = 22}));
    EXPECT_EQ(analysis.pair(there).topProtocol, "SSH");
}

TEST(Aggregator, CategoryOfHigherPriorityWinsAndTheNewerOnATie)
{
    Analysis analysis;
    analysis.add(ethernet(ipv4({}, Transport{1, hex("0800 0000"), 0})));
    EXPECT_EQ(analysis.pair(there).category, ProtocolCategory::icmp);
    analysis.add(ethernet(ipv4({}, udp({.destinationPort = 50001}))));
    EXPECT_EQ(analysis.pair(there).category, ProtocolCategory::udp);
    analysis.add(ethernet(ipv4({}, Transport{1, hex("0800 0000"), 0})));
    EXPECT_EQ(analysis.pair(there).category, ProtocolCategory::udp);
    analysis.add(request({}));
    EXPECT_EQ(analysis.pair(there).category, ProtocolCategory::tcp);
    analysis.add(ethernet(ipv4({}, udp({.destinationPort = 50001}))));
    EXPECT_EQ(analysis.pair(there).category, ProtocolCategory::udp);
}

TEST(Aggregator, PayloadProtocolsAreTcpWithPayloadAndAllUdp)
{
    Analysis analysis;
    analysis.add(request({.destinationPort = 80})).add(request({.destinationPort = 22}, "x"));
    analysis.add(ethernet(ipv4({}, udp({.destinationPort = 123}))));
    EXPECT_EQ(analysis.pair(there).payloadProtocols, (std::vector<std::string_view>{"NTP", "SSH"}));
}

TEST(Aggregator, DatagramCutBeforeItsPortsCountsAsUdpPayload)
{
    auto frame = ethernet(ipv4({}, udp({.destinationPort = 53})));
    frame.resize(14 + 20 + 2);
    Analysis analysis;
    analysis.add(frame);
    const auto pair = analysis.pair(there);
    EXPECT_TRUE(pair.hasUDP);
    EXPECT_TRUE(pair.dstPorts.empty());
    EXPECT_EQ(pair.payloadProtocols, std::vector<std::string_view>{"UDP"});
}

TEST(Aggregator, SegmentCutBehindItsPortsCountsThemButHasNoQuality)
{
    auto frame = request({.destinationPort = 80}, "payload");
    frame.resize(14 + 20 + 8);
    Analysis analysis;
    analysis.add(frame);
    const auto pair = analysis.pair(there);
    EXPECT_TRUE(pair.hasTCP);
    EXPECT_EQ(pair.dstPorts, ports({{80, {1, true, false}}}));
    EXPECT_FALSE(pair.tcpQuality);
}

TEST(Aggregator, ProtocolsAreSortedByCountThenNameAndKeepTheFirstCategory)
{
    Analysis analysis;
    analysis.add(request({.destinationPort = 80})).add(request({.destinationPort = 22}));
    analysis.add(ethernet(ipv4({}, udp({.destinationPort = 53})))).add(request({.destinationPort = 53}));
    const auto result = analysis.result();
    ASSERT_EQ(result.protocols.size(), 3u);
    EXPECT_EQ(result.protocols[0], (ProtocolStats{"DNS", ProtocolCategory::udp, 2}));
    EXPECT_EQ(result.protocols[1].name, "HTTP");
    EXPECT_EQ(result.protocols[2].name, "SSH");
}

TEST(Aggregator, PairsComeInTheByteOrderOfTheirKeys)
{
    Analysis analysis;
    for (const auto* source : {"10.0.0.2", "10.0.0.10", "9.0.0.1", "10.0.0.1"})
        analysis.add(ethernet(ipv4({.source = source, .destination = "10.0.0.3"}, tcp())));
    analysis.add(ethernet(ipv6({}, tcp()))).add(ipxFrame);
    std::vector<std::string> keys;
    for (const auto pair : analysis.result().pairs)
        keys.push_back(pair.id());
    EXPECT_TRUE(std::is_sorted(keys.begin(), keys.end()));
    EXPECT_EQ(keys.size(), 6u);
}

TEST(Aggregator, BothDirectionsCarryTheQualityOfBoth)
{
    Analysis analysis;
    analysis.add(request({.seq = 100, .flags = tcpFlag::syn, .options = "020405b4"}), 1);
    analysis.add(reply({.sourcePort = 80,
                        .destinationPort = 51000,
                        .seq = 500,
                        .ack = 101,
                        .flags = tcpFlag::syn | tcpFlag::ack,
                        .options = "02040578"}),
                 1.03);
    analysis.add(request({.seq = 101, .ack = 501, .window = 2000}, "GET"), 1.04);
    analysis.add(request({.seq = 101, .ack = 501, .window = 2000}, "GET"), 1.05);
    const auto forth = analysis.pair(there).tcpQuality.value();
    const auto reversed = analysis.pair(back).tcpQuality.value();
    for (const auto& quality : {forth, reversed}) {
        EXPECT_EQ(quality.tcpPackets, 4u);
        EXPECT_EQ(quality.synCount, 2u);
        EXPECT_EQ(quality.retransmitInfrastructure, 1u); // the same IP identification
        EXPECT_NEAR(quality.rttMsEstimate.value(), 30, 0.001);
        EXPECT_EQ(quality.handshake.mssClient, 1460);
        EXPECT_EQ(quality.handshake.mssServer, 1400);
    }
    // The record of the pair's own direction comes first, the reverse one is merged into it: its last window wins.
    EXPECT_EQ(forth.windowLast, 1000);
    EXPECT_EQ(reversed.windowLast, 2000);
    EXPECT_EQ(analysis.pair(there).tcpQualityByPort, (PortMap<TCPSessionQuality>{{80, forth}}));
    EXPECT_EQ(analysis.pair(back).tcpQualityByPort, (PortMap<TCPSessionQuality>{{80, reversed}, {51000, reversed}}));
}

TEST(Aggregator, QualityByPortHoldsOnlyPortsOfThePairAndCountsAFlowOfOnePortTwice)
{
    Analysis analysis;
    analysis.add(request({.sourcePort = 80, .destinationPort = 80, .flags = tcpFlag::psh}));
    const auto pair = analysis.pair(there);
    EXPECT_EQ(pair.tcpQuality->tcpPackets, 1u);
    ASSERT_EQ(pair.tcpQualityByPort.size(), 1u);
    EXPECT_EQ(pair.tcpQualityByPort[0].second.tcpPackets, 2u); // under its source and under its destination port
}

TEST(Aggregator, FlowsAreToldApartByTheHostsOfTheMode)
{
    // Two hosts behind one router send the same ports and sequence number: by MAC they are one flow that repeats
    // itself.
    for (const auto& [mode, id, again] :
         {std::tuple(AnalysisMode::l3IP, there, 0u),
          std::tuple(AnalysisMode::l2MAC, std::string_view("02:00:00:00:00:01->02:00:00:00:00:02"), 1u)}) {
        Analysis analysis(mode);
        analysis.add(request({.seq = 100}, "data"));
        analysis.add(ethernet(ipv4({.source = "10.0.0.7", .identification = 99}, tcp({.seq = 100}, "data"))));
        EXPECT_EQ(analysis.pair(id).tcpQuality.value().retransmitEndpoint, again);
        EXPECT_EQ(analysis.pair(id).tcpQuality.value().tcpPackets, 1u + again);
    }
}

TEST(Aggregator, FlowsAreFoldedInTheOrderTheyAppeared)
{
    Analysis analysis;
    analysis.add(request({.sourcePort = 52000, .flags = tcpFlag::psh, .window = 1}));
    analysis.add(request({.sourcePort = 51000, .flags = tcpFlag::psh, .window = 2}));
    analysis.add(request({.sourcePort = 52000, .flags = tcpFlag::psh, .window = 3}));
    EXPECT_EQ(analysis.pair(there).tcpQuality->windowLast, 2);
}

TEST(Aggregator, ResultCanBeAskedAgainAndAgain)
{
    Analysis analysis;
    analysis.add(request({}));
    const auto first = analysis.result();
    analysis.add(request({}));
    EXPECT_EQ(first.totalPackets, 1u);
    EXPECT_EQ(first.pairs[0].packetCount, 1u);
    EXPECT_EQ(analysis.result().pairs[0].packetCount, 2u);
    EXPECT_EQ(std::move(analysis.aggregator).takeResult().pairs[0].packetCount, 2u);
}

TEST(Aggregator, NamesFromTheCaptureAreResolved)
{
    Analysis analysis;
    // www.example A 10.0.0.2
    const auto answer = hex("1234 8180 0001 0001 0000 0000 03777777 076578616d706c65 00 0001 0001"
                            "c00c 0001 0001 0000003c 0004 0a000002");
    analysis.add(request({}));
    analysis.add(ethernet(ipv4({.source = "10.0.0.53", .destination = "10.0.0.1"},
                               udp({.sourcePort = 53, .destinationPort = 51000}, answer))));
    EXPECT_EQ(analysis.pair(there).resolvedDst, "www.example");
    EXPECT_FALSE(analysis.pair(there).resolvedSrc);
}

TEST(Aggregator, FractionIsTakenAsMicrosecondsWhateverItsSize)
{
    const auto bytes = request({});
    auto frame = frameOf(bytes);
    frame.timestampFraction = 500'000'000; // a nanosecond file's half a second
    PairAggregator aggregator(AnalysisMode::l3IP, {});
    aggregator.ingest(frame);
    EXPECT_EQ(aggregator.result().captureStartSeconds, 500);
}

TEST(Aggregator, KnownConversationsCostNoAllocations)
{
    const ByteVector bytes[] = {request({.seq = 1}, "hello"), reply({.sourcePort = 80, .destinationPort = 51000}),
                                ethernet(ipv4({}, udp({.destinationPort = 123}, "x"))), arpFrame,
                                ethernet(ipv6({}, tcp({}, "y")))};
    std::vector<CaptureFrame> frames;
    for (const auto& frame : bytes)
        frames.push_back(frameOf(frame));
    PairAggregator aggregator(AnalysisMode::l3IP, {});
    // Two hundred rounds fill the memory of each flow's last segments, and the lists of frames that prove a finding.
    for (int i = 0; i < 200; ++i)
        aggregator.ingest(frames);
    EXPECT_NO_ALLOCATIONS(for (int i = 0; i < 1000; ++i) aggregator.ingest(frames));
}

TEST(Aggregator, BatchesOfAnySizeGiveTheSameResultAsFrameByFrame)
{
    std::vector<ByteVector> bytes;
    for (std::uint32_t i = 0; i < 500; ++i) {
        const auto port = static_cast<std::uint16_t>(50000 + i % 7);
        const TcpFields fields{.sourcePort = port, .seq = i / 3 * 10, .ack = i};
        bytes.push_back(i % 5 == 0  ? ethernet(ipv4({}, udp({.sourcePort = port}, "x")))
                            : i % 2 ? request(fields, "0123456789")
                                    : reply({.sourcePort = 80, .destinationPort = port, .seq = i, .ack = i / 3 * 10}));
    }
    std::vector<CaptureFrame> frames;
    for (const auto& frame : bytes)
        frames.push_back(frameOf(frame));
    PairAggregator one(AnalysisMode::l3IP, {});
    for (const auto& frame : frames)
        one.ingest(frame);
    for (const std::size_t size : {2u, 31u, 32u, 33u, 500u}) {
        PairAggregator many(AnalysisMode::l3IP, {});
        for (std::size_t at = 0; at < frames.size(); at += size)
            many.ingest(std::span(frames).subspan(at, std::min(size, frames.size() - at)));
        EXPECT_EQ(many.result().pairs.all(), one.result().pairs.all()) << size;
    }
}

} // namespace netrondo::test
