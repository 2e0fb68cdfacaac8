// What is copied out of a frame.
#include "Dissection/Decode/FrameText.h"

#include "Support/Dissect.h"
#include "Support/Hex.h"

#include <algorithm>
#include <gtest/gtest.h>

namespace netrondo::test {
namespace {
template <typename Write> std::string written(Write write)
{
    TextSink out;
    write(out);
    return std::string(out.text());
}
} // namespace

TEST(FrameText, ASubtreeIsItsRowsIndentedByDepth)
{
    const auto arp = decoded(hex("ffffffffffff 02000000000a 0806 0001 0800 06 04 0001 02000000000a 0a000001 "
                                 "000000000000 0a000002"));
    const auto& tree = arp.frame.tree;
    std::uint32_t node = 0;
    while (tree[node].field->id != "arp")
        ++node;
    EXPECT_EQ(written([&](TextSink& out) { FrameText::subtree(arp.frame, node, out); }),
              "ARP, Who has 10.0.0.2? Tell 10.0.0.1\n"
              "    ARP hardware type: Ethernet (1)\n"
              "    ARP protocol type: IPv4 (0x0800)\n"
              "    ARP MAC length: 6\n"
              "    ARP address length: 4\n"
              "    ARP opcode: request (1)\n"
              "    ARP sender MAC: 02:00:00:00:00:0a\n"
              "    ARP sender IP: 10.0.0.1\n"
              "    ARP target MAC: 00:00:00:00:00:00\n"
              "    ARP target IP: 10.0.0.2\n");
    const auto all = written([&](TextSink& out) { FrameText::tree(arp.frame, out); });
    EXPECT_EQ(std::ranges::count(all, '\n'), tree.size());
}

TEST(FrameText, BytesAreADumpDigitsOrACArray)
{
    const auto bytes = hex("00 01 41 42 7e 7f ff 20 0a 30 31 32 33 34 35 36 37");
    EXPECT_EQ(written([&](TextSink& out) { FrameText::hex(bytes, out); }), "000141427e7fff200a3031323334353637");
    EXPECT_EQ(written([&](TextSink& out) { FrameText::hexDump(bytes, out); }),
              "0000  00 01 41 42 7e 7f ff 20  0a 30 31 32 33 34 35 36  ..AB~.. .0123456\n"
              "0010  37                                                7\n");
    EXPECT_EQ(written([&](TextSink& out) { FrameText::cArray(bytes, "frame_1", out); }),
              "static const unsigned char frame_1[17] = {\n"
              "    0x00, 0x01, 0x41, 0x42, 0x7e, 0x7f, 0xff, 0x20, 0x0a, 0x30, 0x31, 0x32,\n"
              "    0x33, 0x34, 0x35, 0x36, 0x37,\n"
              "};\n");
}

} // namespace netrondo::test
