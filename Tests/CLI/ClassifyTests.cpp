// `netrondo classify`: one line of JSON for each frame, its facts in order or null.
#include "Support/Captures.h"
#include "Support/Command.h"
#include "Support/Frames.h"

#include <gtest/gtest.h>

namespace netrondo::test {
namespace {

const auto syn = ethernet(
    ipv4({.identification = 7}, tcp({.seq = 100, .ack = 0, .flags = tcpFlag::syn, .options = "020405b4 0402 03030e"})));
const auto reply = ethernet(ipv4({.source = "10.0.0.2", .destination = "10.0.0.1", .identification = 8},
                                 tcp({.sourcePort = 80, .destinationPort = 51000, .seq = 5, .ack = 101}, "a")));
const auto arp = hex("ffffffffffff 02000000000a 0806 0001 0800 06 04 0001 02000000000a 0a000001 000000000000 0a000002");

TEST(ClassifyCommand, PrintsTheFieldsInOrderAndLeavesOutWhatIsAbsent)
{
    const TempFile file(PcapBytes().frame(syn).frame(reply));
    const auto run = netrondo({"classify", file.path().string()});
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_EQ(
        run.output,
        R"({"src":"10.0.0.1","dst":"10.0.0.2","srcIP":"10.0.0.1","dstIP":"10.0.0.2","srcMAC":"02:00:00:00:00:01",)"
        R"("dstMAC":"02:00:00:00:00:02","dstPort":80,"srcPort":51000,"isTCP":true,"isUDP":false,"isMACPair":false,)"
        R"("category":"tcp","protocolName":"HTTP","byteCount":66,"tcpFlags":2,"tcpWindow":1000,"tcpSeq":100,)"
        R"("tcpAck":0,"tcpOptions":{"mss":1460,"windowScale":14,"sackPermitted":true,"sackBlocks":[],)"
        R"("extraNames":[]},"ipv4Id":7,"tcpPayloadLength":0})"
        "\n"
        R"({"src":"10.0.0.2","dst":"10.0.0.1","srcIP":"10.0.0.2","dstIP":"10.0.0.1","srcMAC":"02:00:00:00:00:01",)"
        R"("dstMAC":"02:00:00:00:00:02","dstPort":51000,"srcPort":80,"isTCP":true,"isUDP":false,"isMACPair":false,)"
        R"("category":"tcp","protocolName":"HTTP","byteCount":55,"tcpFlags":16,"tcpWindow":1000,"tcpSeq":5,)"
        R"("tcpAck":101,"ipv4Id":8,"tcpPayloadLength":1,"tcpPayloadHash":12638187200555641996})"
        "\n");
}

TEST(ClassifyCommand, AFrameThatCannotBePlacedIsNull)
{
    const TempFile file(PcapBytes({.linkType = 105}).frame(syn));
    const auto run = netrondo({"classify", file.path().string()});
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_EQ(run.output, "null\n");
}

TEST(ClassifyCommand, EveryFrameHasItsLineInBothModes)
{
    const TempFile file(PcapBytes().frame(syn).frame(arp).frame(hex("00")).frame(reply));
    for (const auto* mode : {"l3IP", "l2MAC"}) {
        const auto run = netrondo({"classify", file.path().string(), "--mode", mode});
        EXPECT_EQ(run.status, 0) << run.errors;
        EXPECT_EQ(std::count(run.output.begin(), run.output.end(), '\n'), 4) << run.output;
    }
}

TEST(ClassifyCommand, InMacModeTheHostsAreMacAddresses)
{
    const TempFile file(PcapBytes().frame(syn));
    const auto run = netrondo({"classify", "--mode", "l2MAC", file.path().string()});
    EXPECT_TRUE(run.output.starts_with(R"({"src":"02:00:00:00:00:01","dst":"02:00:00:00:00:02","srcIP":"10.0.0.1",)"))
        << run.output;
}

} // namespace
} // namespace netrondo::test
