// The decode framework: what happens at the edges of bytes, layers and bounds.
#include "Support/Dissect.h"
#include "Support/Hex.h"

#include "Dissection/Decode/Layer.h"
#include "Dissection/Decode/LayerView.h"

#include <gtest/gtest.h>

namespace netrondo::test {
namespace {

const auto syn = hex("020000000002 020000000001 0800"
                     "4500003c 1c464000 4006 0a74 0a000001 0a000002"
                     "9c400050 11223344 00000000 a002 7210 e0ec 0000"
                     "020405b4 0402 080a 0000000a 00000000 01 030307");

TEST(Decoder, ATcpSegmentBecomesLayersColumnsAndALine)
{
    const auto frame = decoded(syn);
    EXPECT_EQ(layers(frame), "frame:eth:ip:tcp");
    EXPECT_EQ(protocolColumn(frame), "TCP");
    EXPECT_EQ(frame.frame.summary.source.text(), "10.0.0.1");
    EXPECT_EQ(frame.frame.summary.destination.text(), "10.0.0.2");
    EXPECT_EQ(frame.frame.summary.sourcePort, 40000);
    EXPECT_EQ(frame.frame.summary.destinationPort, 80);
    EXPECT_EQ(info(frame), "40000 → 80 [SYN] Seq=287454020 Win=29200 Len=0 MSS=1460 WS=128 SACK_PERM TSval=10 TSecr=0");
}

TEST(Decoder, EveryPrefixOfAFrameKeepsWhatItHolds)
{
    const auto whole = dump(decoded(syn));
    for (std::uint32_t length = 0; length < syn.size(); ++length) {
        const auto frame = decodedCut(Bytes(syn).first(length), static_cast<std::uint32_t>(syn.size()));
        for (const auto& node : frame.frame.tree.nodes())
            EXPECT_LE(node.offset + node.length, length) << length;
        EXPECT_NE(experts(frame).find("decode.cut"), std::string::npos) << length;
    }
}

TEST(Decoder, AFrameThatIsCutSaysWhere)
{
    const auto frame = decodedCut(Bytes(syn).first(40), 74);
    EXPECT_EQ(experts(frame), "decode.cut");
    EXPECT_EQ(values(frame, "decode.cut"), "at byte 38: TCP sequence number");
    EXPECT_EQ(values(frame, "tcp.destination"), "80");
}

TEST(Decoder, AHeaderThatContradictsItselfIsMalformed)
{
    auto bytes = syn;
    bytes[14] = 0x44; // an IPv4 header of 16 bytes
    const auto frame = decoded(bytes);
    EXPECT_EQ(experts(frame), "decode.malformed");
    EXPECT_EQ(values(frame, "decode.malformed"), "at byte 15: IPv4 header length");
}

TEST(Decoder, JsonNamesNumbersInAChild)
{
    const auto text = json(decoded(hex("ffffffffffff 02000000000a 0806")));
    EXPECT_NE(text.find(R"({"id":"eth.type","label":"EtherType","value":"0x0806","offset":12,"length":2,"children":[)"
                        R"({"id":"eth.type.name","label":"Name","value":"ARP","offset":12,"length":2}]})"),
              std::string::npos)
        << text;
}

TEST(Decoder, AFieldIsTheFirstOfItsLayerInWhateverOrderFieldsAreAskedFor)
{
    static constexpr Field layer{"pair", "Pair", Wire::layer}, system{"pair.system", "System", Wire::u8},
        port{"pair.port", "Port", Wire::u8};
    DecodeTree tree;
    tree.add(layer, 0, 0, 4, 0);
    for (const std::uint64_t number : {1u, 2u}) {
        tree.add(system, number, 0, 1, 0);
        tree.add(port, 10 * number, 1, 1, 0);
    }
    tree.close(0);
    const LayerView view(tree, 0);
    EXPECT_EQ(view[port], 10);
    EXPECT_EQ(view[system], 1);
    EXPECT_EQ(view[port], 10);
    EXPECT_EQ(view.count(system), 2u);
}

TEST(Decoder, ATreeGrowsAsItsFrameNeeds)
{
    static constexpr Field whole{"byte", "Byte", Wire::u8}, high{"byte.high", "High", Wire::bits, {}, 0xf0},
        low{"byte.low", "Low", Wire::bits, {}, 0x0f};
    const std::vector<std::uint8_t> bytes(1000, 0x5a);
    DecodeTree tree;
    tree.clear(bytes);
    FrameSummary summary;
    const CaptureFrame frame;
    Decoding decoding(tree, summary, frame, nullptr, nullptr, DecodeDepth::tree);
    const PendingLayer place{nullptr, 0, 1000, 1000, 0, false, false, false, false, 0};
    Layer layer(decoding, place);
    while (layer.more())
        layer.readParts(whole, high, low);
    ASSERT_EQ(tree.size(), 3000u);
    for (std::uint32_t i = 0; i < tree.size(); i += 3) {
        EXPECT_EQ(tree[i].end, i + 3);
        EXPECT_EQ(tree[i].offset, i / 3);
        EXPECT_EQ(tree[i + 1].number, 5u);
        EXPECT_EQ(tree[i + 2].number, 10u);
        EXPECT_EQ(tree[i + 2].end, i + 3);
    }
}

TEST(Decoder, OfFieldsReadTogetherThoseThatAreThereAreKept)
{
    const auto frame = decoded(hex("ffffffffffff 02000000000a 0806 0001 0800 06 04 0001 02000000000a 0a00"));
    EXPECT_EQ(values(frame, "arp.sha"), "02:00:00:00:00:0a");
    EXPECT_EQ(values(frame, "arp.spa"), "");
    EXPECT_EQ(values(frame, "decode.malformed"), "at byte 28: ARP sender IP");
}

struct UnknownLink {
    std::string_view name, bytes, layers;
};

class UnknownLinks : public testing::TestWithParam<UnknownLink> { };

TEST_P(UnknownLinks, AreReadByWhatTheirBytesLookLike)
{
    EXPECT_EQ(layers(decoded(hex(GetParam().bytes), LinkType::unknown)), GetParam().layers);
}

INSTANTIATE_TEST_SUITE_P(
    Bytes, UnknownLinks,
    testing::Values(
        UnknownLink{"Ipv4", "4500001c 00010000 4011 66ce 0a000001 0a000002 9c400009 00080000", "frame:raw:ip:udp"},
        UnknownLink{"Ipv4WithAWrongChecksum", "4500001c 00010000 4011 66cf 0a000001 0a000002 9c400009 00080000",
                    "frame:data"},
        UnknownLink{"Ipv4LongerThanTheFrame", "4500041c 00010000 4011 62ce 0a000001 0a000002 9c400009 00080000",
                    "frame:data"},
        UnknownLink{"Ipv6",
                    "60000000 0008 1140 20010db8000000000000000000000001 20010db8000000000000000000000002"
                    "9c400009 00080000",
                    "frame:raw:ipv6:udp"},
        UnknownLink{"Ipv6OfAnotherLength",
                    "60000000 0009 1140 20010db8000000000000000000000001 20010db8000000000000000000000002"
                    "9c400009 00080000",
                    "frame:data"},
        UnknownLink{"Ppp", "ff03 c021 09240008 e7e18ff6", "frame:ppp:pppcontrol"},
        UnknownLink{"PppOfNobodysProtocol", "ff03 1111 09240008 e7e18ff6", "frame:data"},
        UnknownLink{"CiscoHdlc", "8f00 8035 00000002 00000005 00000002 ffff", "frame:chdlc:padding"},
        UnknownLink{"Nothing", "", "frame"}, UnknownLink{"FewBytes", "4500001c", "frame:data"},
        UnknownLink{"Ipv4WithItsChecksumLeftToTheCard",
                    "4500001c 00010000 4011 0000 0a000001 0a000002 9c400009 00080000", "frame:raw:ip:udp"},
        UnknownLink{"Ipv4WithNeitherChecksumNorLength",
                    "4500001b 00010000 4011 0000 0a000001 0a000002 9c400009 00080000", "frame:data"},
        UnknownLink{"CiscoHdlcWithANeighbor", "8f00 2000 02b4 0000 0001 0006 5230", "frame:chdlc:cdp"},
        UnknownLink{"CiscoHdlcOfNobodysProtocol", "8f00 2fff 02b4 0000 0001 0006 5230", "frame:data"},
        UnknownLink{"Netlink", "0004 0338 0000 0000000000000000 0000 14000000 0300 0200 00000000 00000000 00000000",
                    "frame:sll:netlink"},
        UnknownLink{"NetlinkOfAnotherFamily", "0004 0338 0000 0000000000000000 000f 616464402f64657600",
                    "frame:sll:data"},
        UnknownLink{"NetlinkWithAnAddress", "0004 0338 0006 0200000000010000 0000 14000000 0300 0200 00000000 00000000",
                    "frame:data"},
        UnknownLink{"Others", "00050339 00000000 00000000 00000000 0000049c", "frame:data"}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(Loopback, CarriesSerialLineFramesWhereTheirAddressAndTypeSaySo)
{
    const auto packet = "4500001c 00010000 4011 f6cc c0000201 c0000202 30393039 00080000";
    EXPECT_EQ(layers(decoded(hex("0f00 0800", packet), LinkType::null)), "frame:null:chdlc:ip:udp");
    EXPECT_EQ(layers(decoded(hex("02000000", packet), LinkType::null)), "frame:null:ip:udp");
    EXPECT_EQ(layers(decoded(hex("0f00 0000", packet), LinkType::null)), "frame:null:data");
}

} // namespace
} // namespace netrondo::test
