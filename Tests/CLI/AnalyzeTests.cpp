// `netrondo analyze`: the summary for people, and the result as JSON.
#include "Support/Captures.h"
#include "Support/Command.h"
#include "Support/Frames.h"
#include "Support/Golden.h"
#include "Support/Gzip.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <rapidjson/document.h>
#include <rapidjson/pointer.h>
#include <sys/stat.h>

namespace netrondo::test {
namespace {

using testing::HasSubstr;
using testing::Not;

constexpr auto sample = NETRONDO_SOURCE_DIR "/Samples/web.pcap";

/// A client that is refused, one that waits long for its handshake, and a name query, over both IP versions.
PcapBytes troubles()
{
    PcapBytes capture;
    std::uint64_t time = 0;
    const auto at = [&time] {
        return FrameStamp{.seconds = 1'700'000'000 + time / 1000, .fraction = time % 1000 * 1000};
    };
    const auto segment = [&](bool fromClient, const TcpFields& fields, std::string_view payload = {}) {
        Ipv6Fields ip;
        if (!fromClient)
            std::swap(ip.source, ip.destination);
        capture.frame(ethernet(ipv6(ip, tcp(fields, payload))), at());
    };
    capture.frame(ethernet(ipv4({}, tcp({.destinationPort = 445, .seq = 1, .ack = 0, .flags = tcpFlag::syn}))), at());
    time += 1;
    capture.frame(ethernet(ipv4({.source = "10.0.0.2", .destination = "10.0.0.1"},
                                tcp({.sourcePort = 445,
                                     .destinationPort = 51000,
                                     .seq = 0,
                                     .ack = 2,
                                     .flags = tcpFlag::rst | tcpFlag::ack,
                                     .window = 0}))),
                  at());
    segment(true, {.destinationPort = 443, .seq = 10, .ack = 0, .flags = tcpFlag::syn});
    time += 250;
    segment(false,
            {.sourcePort = 443, .destinationPort = 51000, .seq = 50, .ack = 11, .flags = tcpFlag::syn | tcpFlag::ack});
    segment(true, {.destinationPort = 443, .seq = 11, .ack = 51});
    for (int copy = 0; copy < 2; ++copy) {
        time += 300;
        segment(true, {.destinationPort = 443, .seq = 11, .ack = 51, .flags = tcpFlag::ack | tcpFlag::psh},
                "hello, hello");
    }
    segment(false, {.sourcePort = 443, .destinationPort = 51000, .seq = 51, .ack = 23, .window = 0});
    capture.frame(ethernet(ipv4({.destination = "10.0.0.53"}, udp({}, "query"))), at());
    capture.frame(
        hex("ffffffffffff 02000000000a 0806 0001 0800 06 04 0001 02000000000a 0a000001 000000000000 0a000002"), at());
    return capture;
}

class SummaryWidth : public testing::TestWithParam<int> { };

TEST_P(SummaryWidth, OfTheSampleIsGolden)
{
    const auto run = netrondo({"analyze", NETRONDO_SOURCE_DIR "/Samples/office.pcapng"},
                              {.environment = {"COLUMNS=" + std::to_string(GetParam())}});
    EXPECT_EQ(run.status, 0) << run.errors;
    auto text = run.output;
    const auto path = text.find(NETRONDO_SOURCE_DIR);
    ASSERT_NE(path, text.npos);
    text.replace(path, std::string_view(NETRONDO_SOURCE_DIR "/").size(), "");
    expectGolden("CLI/sample-" + std::to_string(GetParam()) + ".txt", text);
}

TEST_P(SummaryWidth, OfATroubledCaptureIsGolden)
{
    const auto run = netrondo({"analyze", "-"}, {.environment = {"COLUMNS=" + std::to_string(GetParam())}}, troubles());
    EXPECT_EQ(run.status, 0) << run.errors;
    expectGolden("CLI/troubles-" + std::to_string(GetParam()) + ".txt", run.output);
}

INSTANTIATE_TEST_SUITE_P(Golden, SummaryWidth, testing::Values(80, 120, 200), testing::PrintToStringParamName());

TEST(AnalyzeCommand, JsonOfATroubledCaptureIsGolden)
{
    const auto run = netrondo({"analyze", "-", "--json"}, {}, troubles());
    EXPECT_EQ(run.status, 0) << run.errors;
    expectGolden("CLI/troubles.json", run.output);
}

TEST(AnalyzeCommand, WithoutATerminalTheTextIsEightyColumnsWide)
{
    const auto narrow = netrondo({"analyze", sample}, {.environment = {"COLUMNS=80"}});
    EXPECT_EQ(netrondo({"analyze", sample}).output, narrow.output);
}

TEST(AnalyzeCommand, NoLineIsWiderThanThePage)
{
    for (const int width : {40, 60, 80, 120}) {
        const auto run = netrondo({"analyze", "-"}, {.environment = {"COLUMNS=" + std::to_string(width)}}, troubles());
        std::size_t columns = 0;
        for (const auto c : run.output) {
            const bool isContinuation = (static_cast<unsigned char>(c) & 0xc0) == 0x80;
            columns = c == '\n' ? 0 : columns + !isContinuation; // what it prints is one column a character
            ASSERT_LE(columns, static_cast<std::size_t>(width)) << run.output;
        }
    }
}

TEST(AnalyzeCommand, StrictnessMovesTheGradesAndNotTheScore)
{
    const auto lenient = netrondo({"analyze", sample, "--strictness", "lenient"}).output;
    const auto balanced = netrondo({"analyze", sample}).output;
    const auto strict = netrondo({"analyze", sample, "--strictness", "strict"}).output;
    EXPECT_THAT(lenient, HasSubstr("Good 60"));
    EXPECT_THAT(balanced, HasSubstr("Good 60"));
    EXPECT_THAT(strict, HasSubstr("Fair 60"));
    EXPECT_EQ(netrondo({"analyze", sample, "--strictness", "balanced"}).output, balanced);
}

TEST(AnalyzeCommand, FramesThatAreLeftOutAreCounted)
{
    EXPECT_THAT(netrondo({"analyze", "-"}, {}, troubles()).output,
                HasSubstr("10 = 9 analysed + 1 left out: 1 not IP: EtherType 0x0806 (ARP)"));
    EXPECT_THAT(netrondo({"analyze", sample}).output, HasSubstr("+ 0 left out\n"));
}

TEST(AnalyzeCommand, AFileOfNanosecondsIsSaidToBeOne)
{
    const auto frame = ethernet(ipv4({}, tcp()));
    const PcapBytes nano = PcapBytes({.nanoseconds = true}).frame(frame), micro = PcapBytes().frame(frame);
    EXPECT_THAT(netrondo({"analyze", "-"}, {}, nano).output, HasSubstr("nanoseconds"));
    EXPECT_THAT(netrondo({"analyze", "-"}, {}, micro).output, Not(HasSubstr("nanoseconds")));
}

TEST(AnalyzeCommand, TimesBeyondTheCalendarAreTakenForNanoseconds)
{
    const auto frame = ethernet(ipv4({}, tcp()));
    const auto run = netrondo({"analyze", "-"}, {},
                              PcapNgBytes().section().interface(1).enhanced(0, frame, 1'795'258'523'927'000'000));
    EXPECT_THAT(run.output, HasSubstr("1795258523927 s after 1970"));
    EXPECT_THAT(run.output, HasSubstr("nanoseconds"));
}

TEST(AnalyzeCommand, TheWorstServiceOfATroubledConversationIsNamed)
{
    // A clean name query over TCP and a refused web connection between the same hosts.
    const auto there = [](std::uint16_t port, std::uint8_t flags) {
        return ethernet(ipv4({}, tcp({.destinationPort = port, .seq = port, .flags = flags})));
    };
    const auto back = ethernet(ipv4({.source = "10.0.0.2", .destination = "10.0.0.1"},
                                    tcp({.sourcePort = 80, .destinationPort = 51000, .flags = tcpFlag::rst})));
    const PcapBytes capture = PcapBytes().frame(there(80, tcpFlag::syn)).frame(back).frame(there(53, tcpFlag::syn));
    EXPECT_THAT(netrondo({"analyze", "-"}, {}, capture).output, HasSubstr("10.0.0.1 ↔ 10.0.0.2  HTTP\n"));
}

TEST(AnalyzeCommand, ACaptureWithoutFramesHasNoTables)
{
    const auto run = netrondo({"analyze", TempFile(PcapBytes()).path().string()});
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_THAT(run.output, HasSubstr("0 conversations of 0 hosts"));
    EXPECT_THAT(run.output, Not(HasSubstr("Busiest")));
}

TEST(AnalyzeCommand, ANameFromTheCaptureCannotCommandTheTerminal)
{
    const TempFile file(PcapBytes().bytes(), "\033[31mred.pcap");
    EXPECT_THAT(netrondo({"analyze", file.path().string()}).output, HasSubstr("\uFFFD[31mred.pcap"));
}

TEST(AnalyzeCommand, ReadsCompressedCapturesFromAFileAndFromAPipe)
{
    const auto packed = gzipped(troubles().bytes());
    const auto plain = netrondo({"analyze", "-", "--json"}, {}, troubles()).output;
    EXPECT_EQ(netrondo({"analyze", "-", "--json"}, {}, packed).output, plain);
    EXPECT_EQ(netrondo({"analyze", TempFile(packed).path().string(), "--json"}).output, plain);
}

TEST(AnalyzeCommand, ReadsAFifo)
{
    const TempFolder folder;
    const auto fifo = folder / "live";
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
    Process process({"analyze", fifo.string()});
    append(fifo, troubles().bytes());
    const auto run = process.end();
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_THAT(run.output, HasSubstr("3 conversations of 5 hosts"));
}

/// The result of a capture as a document.
rapidjson::Document resultOf(Bytes capture, const std::vector<std::string>& options = {})
{
    std::vector<std::string> arguments = {"analyze", "-", "--json"};
    arguments.insert(arguments.end(), options.begin(), options.end());
    const auto run = netrondo(arguments, {}, capture);
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_EQ(std::count(run.output.begin(), run.output.end(), '\n'), 1) << "one line";
    rapidjson::Document document;
    document.Parse(run.output.c_str());
    EXPECT_FALSE(document.HasParseError()) << run.output;
    return document;
}

std::vector<std::string> keysOf(const rapidjson::Value& object)
{
    std::vector<std::string> keys;
    for (const auto& member : object.GetObject())
        keys.emplace_back(member.name.GetString());
    return keys;
}

TEST(AnalyzeJson, HasTheFieldsOfTheResultInOrder)
{
    EXPECT_THAT(keysOf(resultOf(troubles())),
                testing::ElementsAre("pairs", "protocols", "totalPackets", "totalBytes", "mode", "durationSeconds",
                                     "captureStartSeconds", "expertSummary"));
}

TEST(AnalyzeJson, OfAnEmptyCaptureHasNoStart)
{
    const auto result = resultOf(PcapBytes());
    EXPECT_THAT(keysOf(result), Not(testing::Contains("captureStartSeconds")));
    EXPECT_EQ(result["totalPackets"].GetUint64(), 0u);
    EXPECT_EQ(result["pairs"].Size(), 0u);
}

TEST(AnalyzeJson, HasThePairsInTheOrderOfTheirKeys)
{
    const auto result = resultOf(troubles());
    std::vector<std::string> keys;
    for (const auto& pair : result["pairs"].GetArray())
        keys.push_back(std::string(pair["srcAddr"].GetString()) + "->" + pair["dstAddr"].GetString());
    EXPECT_THAT(keys,
                testing::ElementsAre("10.0.0.1->10.0.0.2", "10.0.0.1->10.0.0.53", "10.0.0.2->10.0.0.1",
                                     "2001:db8::1->2001:db8::2", "2001:db8::2->2001:db8::1"));
}

TEST(AnalyzeJson, KeysPortsInAscendingOrder)
{
    const auto result = resultOf(troubles());
    EXPECT_THAT(keysOf(result["pairs"][0]["dstPorts"]), testing::ElementsAre("445"));
    const auto* count = rapidjson::Pointer("/pairs/0/dstPorts/445/count").Get(result);
    ASSERT_TRUE(count);
    EXPECT_EQ(count->GetUint64(), 1u);
}

TEST(AnalyzeJson, NamesTheModeByItsRawValue)
{
    EXPECT_STREQ(resultOf(troubles())["mode"].GetString(), "l3IP");
    EXPECT_STREQ(resultOf(troubles(), {"--mode", "l2MAC"})["mode"].GetString(), "l2MAC");
}

TEST(AnalyzeJson, DoesNotDependOnTheStrictness)
{
    EXPECT_EQ(resultOf(troubles()), resultOf(troubles(), {"--strictness", "strict"}));
}

} // namespace
} // namespace netrondo::test
