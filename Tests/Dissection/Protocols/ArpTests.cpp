// ARP: who asks and who answers.
#include "Support/Dissect.h"
#include "Support/Hex.h"

#include <gtest/gtest.h>

namespace netrondo::test {
namespace {

auto arp(std::string_view opcode)
{
    return hex("ffffffffffff 02000000000a 0806 0001 0800 06 04", opcode, "02000000000a 0a000001 000000000000 0a000002");
}

struct ArpCase {
    std::string_view name, opcode, info;
};

class ArpTable : public testing::TestWithParam<ArpCase> { };

TEST_P(ArpTable, IsDescribedByItsOpcode)
{
    const auto frame = decoded(arp(GetParam().opcode));
    EXPECT_EQ(info(frame), GetParam().info);
    EXPECT_EQ(layers(frame), "frame:eth:arp");
}

INSTANTIATE_TEST_SUITE_P(Opcodes, ArpTable,
                         testing::Values(ArpCase{"Request", "0001", "Who has 10.0.0.2? Tell 10.0.0.1"},
                                         ArpCase{"Reply", "0002", "10.0.0.1 is at 02:00:00:00:00:0a"},
                                         ArpCase{"InverseRequest", "0008",
                                                 "ARP inverse request from 10.0.0.1 to 10.0.0.2"}),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(Arp, TreeHoldsEveryField)
{
    EXPECT_EQ(dump(decoded(arp("0001")), true),
              "frame\n"
              "  frame.number = 1\n"
              "  frame.time_relative = 0.000000\n"
              "  frame.len = 42\n"
              "  frame.cap_len = 42\n"
              "  frame.interface_id = 0\n"
              "eth [0+14]\n"
              "  eth.dst = ff:ff:ff:ff:ff:ff [0+6]\n"
              "  eth.src = 02:00:00:00:00:0a [6+6]\n"
              "  eth.type = 0x0806 (ARP) [12+2]\n"
              "arp [14+28]\n"
              "  arp.hw = 1 (Ethernet) [14+2]\n"
              "  arp.proto = 0x0800 (IPv4) [16+2]\n"
              "  arp.hlen = 6 [18+1]\n"
              "  arp.plen = 4 [19+1]\n"
              "  arp.op = 1 (request) [20+2]\n"
              "  arp.sha = 02:00:00:00:00:0a [22+6]\n"
              "  arp.spa = 10.0.0.1 [28+4]\n"
              "  arp.tha = 00:00:00:00:00:00 [32+6]\n"
              "  arp.tpa = 10.0.0.2 [38+4]\n");
}

TEST(Arp, AnAddressOnesOwnSenderAsksForIsAnAnnouncement)
{
    const auto frame = hex("ffffffffffff 02000000000a 0806 0001 0800 06 04 0001"
                           "02000000000a 0a000001 000000000000 0a000001");
    EXPECT_EQ(info(decoded(frame)), "10.0.0.1 announces itself at 02:00:00:00:00:0a");
}

TEST(Arp, AddressesOfOddSizesEndTheTreeAtTheOpcode)
{
    const auto frame = decoded(hex("ffffffffffff 02000000000a 0806 0001 0800 08 04 0001 0000"));
    EXPECT_EQ(values(frame, "arp.sha"), "");
    EXPECT_EQ(info(frame), "ARP request");
}

} // namespace
} // namespace netrondo::test
