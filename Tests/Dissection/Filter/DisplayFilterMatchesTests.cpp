// Which frames a filter selects.
#include "Dissection/Filter/DisplayFilter.h"

#include "Dissection/Filter/FrameSelector.h"
#include "Support/Dissect.h"
#include "Support/Hex.h"
#include "Support/PlainFilter.h"
#include "Support/RandomFilters.h"
#include "Support/SampleFrames.h"

#include <gtest/gtest.h>
#include <random>
#include <string>
#include <vector>

namespace netrondo::test {
namespace {

bool matches(std::string_view filter, const Decoded& decoded)
{
    return DisplayFilter::compile(filter).value().matches(decoded.frame);
}

constexpr std::string_view ethernet = "020000000002 020000000001 ", arpTypes = "0806 0001 0800 06 04 ";

/// A segment of a bare header from port 51000 to port 80.
auto segment(std::string_view source = "0a000001", std::string_view window = "03e8")
{
    return hex(ethernet, "0800 45000028 00010000 4006 0000", source, "0a000002", "c738 0050 00000001 00000001 5010",
               window, "0000 0000");
}

void flipOneBit(std::vector<std::uint8_t>& bytes, std::mt19937& random)
{
    auto& byte = bytes[random() % std::min<std::size_t>(bytes.size(), 60)];
    byte = static_cast<std::uint8_t>(byte ^ 1u << random() % 8);
}

struct MatchCase {
    std::string_view name, filter;
    bool matches;
};

class TcpMatches : public testing::TestWithParam<MatchCase> { };
class UdpMatches : public testing::TestWithParam<MatchCase> { };
class ArpMatches : public testing::TestWithParam<MatchCase> { };

std::string nameOf(const testing::TestParamInfo<MatchCase>& row)
{
    return std::string(row.param.name);
}

} // namespace

TEST_P(TcpMatches, AsTheCaseSays)
{
    // A SYN from 10.0.0.1:51000 to 10.0.0.2:443.
    const auto frame = decoded(hex(ethernet, "0800 4500002c 00010000 4006 0000 0a000001 0a000002",
                                   "c738 01bb 00000007 00000000 6002 faf0 0000 0000 020405b4"));
    EXPECT_EQ(matches(GetParam().filter, frame), GetParam().matches);
    EXPECT_EQ(plainMatches(DisplayFilter::compile(GetParam().filter).value(), frame.frame), GetParam().matches);
}

INSTANTIATE_TEST_SUITE_P(
    Protocols, TcpMatches,
    testing::Values(MatchCase{"Tcp", "tcp", true}, MatchCase{"Frame", "frame", true}, MatchCase{"Eth", "eth", true},
                    MatchCase{"EthByItsAlias", "Ethernet", true}, MatchCase{"Ip", "ip", true},
                    MatchCase{"NotIpv6", "ipv6", false}, MatchCase{"NotIpx", "ipx", false},
                    MatchCase{"NotUdp", "udp", false}, MatchCase{"NotArp", "not arp", true},
                    MatchCase{"ProtocolIsTrue", "tcp == yes", true},
                    MatchCase{"MissingProtocolIsNotEqual", "udp != yes", true},
                    MatchCase{"AndBothSides", "tcp and udp", false}, MatchCase{"OrEitherSide", "udp or tcp", true},
                    MatchCase{"SideBySide", "tcp ip", true}, MatchCase{"NotOfOr", "!(udp or arp)", true},
                    MatchCase{"Mixed", "udp or (tcp and not (arp or icmp))", true}),
    nameOf);

INSTANTIATE_TEST_SUITE_P(
    Fields, TcpMatches,
    testing::Values(
        MatchCase{"EitherPortSource", "tcp.port == 51000", true},
        MatchCase{"EitherPortDestination", "tcp.port == 443", true},
        MatchCase{"EitherPortNeither", "tcp.port == 80", false},
        MatchCase{"EitherPortIsEqualAndNotEqualAtOnce", "tcp.port == 443 and tcp.port != 443", true},
        MatchCase{"NotOfEqualIsTheOtherQuestion", "not tcp.port == 443", false},
        MatchCase{"SourcePort", "tcp.srcport == 51000", true}, MatchCase{"DestinationPort", "tcp.dstport >= 443", true},
        MatchCase{"PortContainsDigits", "tcp.port contains 44", true},
        MatchCase{"UdpPortOfATcpFrameIsAbsent", "udp.port == 443", false},
        MatchCase{"AbsentIsNotEqual", "udp.port != 443", true}, MatchCase{"AbsentIsNotLess", "udp.port < 443", false},
        MatchCase{"AbsentContainsNothing", "udp.port contains ''", false},
        MatchCase{"AbsentIsNotPresent", "udp.port", false}, MatchCase{"PresentField", "tcp.seq", true},
        MatchCase{"SynFlag", "tcp.flags.syn == 1", true}, MatchCase{"SynFlagInWords", "tcp.flags.syn == TRUE", true},
        MatchCase{"AckFlagIsNotSet", "tcp.flags.ack == 0", true},
        MatchCase{"AckFlagIsNotSetInWords", "tcp.flags.ack == no", true},
        MatchCase{"ResetByItsAlias", "tcp.flags.rst == 1", false}, MatchCase{"FlagsByName", "tcp.flags == SYN", true},
        MatchCase{"FlagsByNumber", "tcp.flags == 0x02", true},
        MatchCase{"FlagsAsAnotherNumber", "tcp.flags == 2", true}, MatchCase{"Window", "tcp.window > 64000", true},
        MatchCase{"WindowByItsAlias", "tcp.window_size == 64240", true}, MatchCase{"Mss", "tcp.opt.mss == 1460", true},
        MatchCase{"SequenceNumber", "tcp.seq == 7", true}, MatchCase{"IpSource", "ip.src == 10.0.0.1", true},
        MatchCase{"IpAddressEither", "ip.addr == 10.0.0.2", true},
        MatchCase{"IpAddressNeither", "ip.addr == 10.0.0.3", false},
        MatchCase{"IpAddressBeginning", "ip.addr contains 10.0.", true}, MatchCase{"Ttl", "ip.ttl == 64", true},
        MatchCase{"IpProtocolByNumber", "ip.proto == 6", true},
        MatchCase{"EthSource", "eth.src == 02:00:00:00:00:01", true},
        MatchCase{"EtherTypeAsHexadecimal", "eth.type == 0x800", true}, MatchCase{"Length", "frame.len == 58", true},
        MatchCase{"Number", "frame.number == 1", true}, MatchCase{"Time", "frame.time_relative == 0", true},
        MatchCase{"ListSource", "ip.src_host == 10.0.0.1", true},
        MatchCase{"ListDestination", "ip.dst_host == 10.0.0.2", true},
        MatchCase{"ListEither", "host == 10.0.0.2", true}, MatchCase{"ListOrder", "host > m", false},
        MatchCase{"NoFinding", "tcp.analysis.zero_window", false}),
    nameOf);

TEST_P(UdpMatches, AsTheCaseSays)
{
    // From 2001:db8::1 port 40000 to 2001:db8::2 port 40001.
    const auto frame = decoded(hex(ethernet, "86dd 60000000 000d 11 40",
                                   "20010db8000000000000000000000001 20010db8000000000000000000000002",
                                   "9c40 9c41 000d 0001 68656c6c6f"));
    EXPECT_EQ(matches(GetParam().filter, frame), GetParam().matches);
    EXPECT_EQ(plainMatches(DisplayFilter::compile(GetParam().filter).value(), frame.frame), GetParam().matches);
}

INSTANTIATE_TEST_SUITE_P(Fields, UdpMatches,
                         testing::Values(MatchCase{"UdpPort", "udp.port == 40001", true},
                                         MatchCase{"TcpPortIsAbsent", "tcp.port == 40001", false},
                                         MatchCase{"FlagsAreAbsentNotFalse", "tcp.flags.syn == 0", false},
                                         MatchCase{"Ipv6Source", "ipv6.src == 2001:db8::1", true},
                                         MatchCase{"Ipv6Either", "ipv6.addr contains db8::2", true},
                                         MatchCase{"HopLimit", "ipv6.hlim == 64", true},
                                         MatchCase{"NextHeader", "ipv6.nxt == 17", true},
                                         MatchCase{"NotIp", "ip", false},
                                         MatchCase{"ListShowsIpv6", "host == 2001:db8::2", true},
                                         MatchCase{"UdpLength", "udp.length == 13", true}),
                         nameOf);

TEST_P(ArpMatches, AsTheCaseSays)
{
    const auto frame =
        decoded(hex("ffffffffffff 02000000000a", arpTypes, "0001 02000000000a 0a000001 000000000000 0a000002"));
    EXPECT_EQ(matches(GetParam().filter, frame), GetParam().matches);
    EXPECT_EQ(plainMatches(DisplayFilter::compile(GetParam().filter).value(), frame.frame), GetParam().matches);
}

INSTANTIATE_TEST_SUITE_P(Fields, ArpMatches,
                         testing::Values(MatchCase{"TypeByItsName", "eth.type == arp", true},
                                         MatchCase{"OpcodeByNumber", "arp.op == 1", true},
                                         MatchCase{"OpcodeByName", "arp.op == Request", true},
                                         MatchCase{"OtherOpcode", "arp.op == reply", false},
                                         MatchCase{"SenderIp", "arp.spa == 10.0.0.1", true},
                                         MatchCase{"TargetIp", "arp.tpa == 10.0.0.2", true},
                                         MatchCase{"SenderMac", "arp.sha == 02:00:00:00:00:0A", true},
                                         MatchCase{"NoPort", "tcp.port or udp.port", false},
                                         MatchCase{"IpIsAbsent", "ip.addr != 10.0.0.1", true}),
                         nameOf);

TEST(DisplayFilterMatches, ZeroWindowReadsThisProgramsFinding)
{
    const auto closed = decoded(segment("0a000001", "0000"));
    EXPECT_TRUE(matches("tcp.analysis.zero_window", closed));
    EXPECT_TRUE(matches("tcp.analysis.zero_window == true", closed));
    EXPECT_FALSE(matches("tcp.analysis.duplicate_ack", closed));
}

TEST(DisplayFilterMatches, AChainOfManyTermsIsEvaluatedWithoutAStack)
{
    std::string all, any;
    for (int i = 0; i < 50'000; ++i) {
        all += "tcp and ";
        any += "udp or ";
    }
    const auto frame = decoded(segment());
    EXPECT_TRUE(matches(all + "ip", frame));
    EXPECT_FALSE(matches(all + "arp", frame));
    EXPECT_TRUE(matches(any + "ip", frame));
    EXPECT_FALSE(matches(any + "arp", frame));
    EXPECT_FALSE(matches("not (" + all + "ip)", frame));
}

TEST(DisplayFilterMatches, OnAnyFrameTheFastWayIsThePlainOne)
{
    RandomFilters filters(5);
    int held = 0, total = 0;
    for (const auto& capture : sampleCaptures(15)) {
        PacketDecoder decoder;
        DecodedFrame decoded;
        for (const auto& frame : capture.frames) {
            decoder.decodeNext(viewOf(frame), decoded);
            filters.learn(decoded);
            for (int round = 0; round < 6; ++round, ++total) {
                const auto filter = filters.next();
                const bool fast = filter.matches(decoded);
                held += fast;
                ASSERT_EQ(fast, plainMatches(filter, decoded))
                    << capture.name << " frame " << decoded.summary.number << ": " << filter.text();
            }
        }
    }
    EXPECT_GT(total, 200);
    EXPECT_GT(held, total / 10);
    EXPECT_LT(held, total * 9 / 10);
}

TEST(FrameGlance, SaysOfAnyFrameWhatDecodingWouldSayOrNothing)
{
    RandomFilters filters(6);
    std::mt19937 random(8);
    int seen = 0, total = 0;
    for (auto& capture : sampleCaptures(5)) {
        PacketDecoder decoder;
        DecodedFrame decoded;
        for (auto& kept : capture.frames) {
            for (int round = 0; round < 12; ++round, ++total) {
                if (round >= 6 && !kept.data.empty()) // an odd frame: headers that contradict themselves
                    flipOneBit(kept.data, random);
                const auto frame = viewOf(kept);
                decoder.decode(frame, 1, decoded);
                if (round == 0)
                    filters.learn(decoded);
                const auto filter = filters.next();
                const auto glance = matchesAtAGlance(filter, frame);
                seen += glance.has_value();
                ASSERT_EQ(glance.value_or(filter.matches(decoded)), filter.matches(decoded))
                    << capture.name << ": " << filter.text() << "\n"
                    << dump(Decoded(kept.data, kept.linkType, kept.originalLength));
            }
        }
    }
    EXPECT_GT(seen, total / 10);
}

TEST(FrameGlance, NeverDeniesWhatIsThere)
{
    std::vector<DisplayFilter> filters;
    for (const auto& field : DisplayFilterCatalog::fields())
        filters.push_back(DisplayFilter::compile(field.name).value());
    int denied = 0;
    for (const auto& capture : sampleCaptures(60)) {
        PacketDecoder decoder;
        DecodedFrame decoded;
        for (const auto& kept : capture.frames) {
            const auto frame = viewOf(kept);
            decoder.skip(frame);
            std::vector<std::optional<bool>> glances; // before the frame is decoded, as a selector looks
            for (const auto& filter : filters)
                glances.push_back(matchesAtAGlance(filter, frame, &decoder.session()));
            decoder.decodeCounted(frame, decoded);
            for (std::size_t i = 0; i < filters.size(); ++i) {
                denied += glances[i] == false;
                ASSERT_EQ(glances[i].value_or(filters[i].matches(decoded)), filters[i].matches(decoded))
                    << capture.name << " frame " << decoded.summary.number << ": " << filters[i].text();
            }
        }
    }
    EXPECT_GT(denied, 1000);
}

TEST(FrameSelector, SelectsWhatDecodingEveryFrameSelects)
{
    // Frames that a filter passes over at a glance leave nothing for later ones: that must not show.
    for (const auto* text : {"http.host", "tls.sni", "dns.q contains e", "smb.cmd", "http", "tls.hs", "kerberos",
                             "ssh.banner or snmp.community", "not http2", "quic and tls"}) {
        const auto filter = DisplayFilter::compile(text).value();
        for (const auto& capture : sampleCaptures(200)) {
            FrameSelector selector(filter, false);
            PacketDecoder decoder;
            DecodedFrame decoded;
            for (const auto& kept : capture.frames) {
                decoder.decodeNext(viewOf(kept), decoded);
                ASSERT_EQ(selector.next(viewOf(kept)), filter.matches(decoded))
                    << text << ": " << capture.name << " frame " << decoded.summary.number << " " << info(decoded);
            }
        }
    }
}

TEST(FrameGlance, IsEnoughForPortsAddressesAndFlagsOfAnOrdinaryFrame)
{
    const auto bytes = segment();
    CaptureFrame frame;
    frame.linkType = LinkType::ethernet;
    frame.data = bytes;
    frame.capturedLength = frame.originalLength = static_cast<std::uint32_t>(bytes.size());
    for (const auto* filter :
         {"tcp.port == 80", "ip.addr == 10.0.0.2 and not arp", "host contains 10.0", "tcp.flags.ack == 1",
          "eth.src == 02:00:00:00:00:01", "not udp.port == 53", "frame.len < 60", "dns or tcp", "not http.host"})
        EXPECT_EQ(matchesAtAGlance(DisplayFilter::compile(filter).value(), frame), true) << filter;
    EXPECT_EQ(matchesAtAGlance(DisplayFilter::compile("tcp.port == 443").value(), frame), false);
    EXPECT_EQ(matchesAtAGlance(DisplayFilter::compile("ip.ttl == 64").value(), frame), std::nullopt);
}

TEST(FrameSelector, PicksAndNumbersTheFramesOfACapture)
{
    FrameSelector selector(DisplayFilter::compile("tcp.window == 0 or frame.number == 3").value(), false);
    DecodedFrame decoded;
    std::string picked;
    for (const auto* window : {"1000", "0000", "1000", "1000", "0000"}) {
        const auto bytes = segment("0a000001", window);
        CaptureFrame frame;
        frame.linkType = LinkType::ethernet;
        frame.data = bytes;
        frame.capturedLength = frame.originalLength = static_cast<std::uint32_t>(bytes.size());
        if (selector.next(frame, decoded))
            picked += std::to_string(decoded.summary.number) + " ";
    }
    EXPECT_EQ(picked, "2 3 5 ");
}

TEST(FilterComparisonOfNumbers, IsTheComparisonOfTheirTexts)
{
    std::mt19937_64 random(77);
    static constexpr std::string_view targets[] = {"0",
                                                   "1",
                                                   "yes",
                                                   "no",
                                                   "true",
                                                   "false",
                                                   "443",
                                                   "0x1bb",
                                                   "443 bytes",
                                                   "-1",
                                                   "4.43e2",
                                                   "",
                                                   "inf",
                                                   "nan",
                                                   "abc",
                                                   "44",
                                                   "18446744073709551615",
                                                   "1e19",
                                                   "9007199254740993",
                                                   "é",
                                                   "１",
                                                   "10.0.0.1"};
    for (int round = 0; round < 60; ++round) {
        const auto value = random() >> (random() % 64);
        for (const auto target : targets)
            for (const auto number : {value, std::uint64_t{0}, std::uint64_t{1}, std::uint64_t{443}})
                for (int op = 0; op <= static_cast<int>(FilterOp::contains); ++op)
                    ASSERT_EQ(FilterComparison(static_cast<FilterOp>(op), target).holdsFor(number),
                              plainHolds(std::to_string(number), static_cast<FilterOp>(op), target))
                        << number << " " << caseName(static_cast<FilterOp>(op)) << " " << target;
    }
}

} // namespace netrondo::test
