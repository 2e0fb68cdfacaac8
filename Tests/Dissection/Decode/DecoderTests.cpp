// The decode framework: what happens at the edges of bytes, layers and bounds.
#include "Support/Dissect.h"
#include "Support/Hex.h"

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

} // namespace
} // namespace netrondo::test
