#include "Dissection/Wire/TcpOptions.h"

#include "Support/Hex.h"
#include "Support/JsonText.h"

#include <gtest/gtest.h>
#include <set>

namespace netrondo::test {
namespace {

TCPOptions parsed(std::string_view text)
{
    return parseTcpOptions(hex(text));
}

} // namespace

TEST(TcpOptions, AUsualHandshakesOptionsAreRead)
{
    const auto options = parsed("020405b4 0402 080a 00010002 00030004 01 030307");
    EXPECT_EQ(options.mss, 1460);
    EXPECT_EQ(options.windowScale, 7);
    EXPECT_TRUE(options.sackPermitted);
    EXPECT_EQ(options.timestamps, (TcpTimestamps{0x10002, 0x30004}));
    EXPECT_TRUE(options.sackBlocks().empty());
    EXPECT_TRUE(options.extraNames().empty());
    EXPECT_FALSE(options.empty());
}

TEST(TcpOptions, SackBlocksAreReadInTheirOrder)
{
    const auto options = parsed("0101 0512 00000001 00000002 fffffff0 00000010");
    ASSERT_EQ(options.sackBlocks().size(), 2u);
    EXPECT_EQ(options.sackBlocks()[0], (SackBlock{1, 2}));
    EXPECT_EQ(options.sackBlocks()[1], (SackBlock{0xfffffff0, 0x10}));
}

TEST(TcpOptions, NoMoreThanFourSackBlocksAreKept)
{
    const auto block = std::string("00000001 00000002 ");
    EXPECT_EQ(parsed("0522" + block + block + block + block).blockCount, 4);
    EXPECT_EQ(parsed("0512" + block + block + "051a" + block + block + block).blockCount, 4);
}

TEST(TcpOptions, ABlocklessOrOddlySizedSackOptionGivesNoBlocks)
{
    EXPECT_TRUE(parsed("0502").empty());
    EXPECT_TRUE(parsed("0509 00000001000000").empty());
}

TEST(TcpOptions, OtherOptionsAreListedByNameSortedEachOnce)
{
    const auto options = parsed("2202 1312 00112233445566778899aabbccddeeff 6303aa 2204abcd 1e03 00");
    EXPECT_EQ(options.extraNames(),
              (std::vector<std::string>{"Fast Open", "MD5 Signature", "Multipath TCP", "Option 99"}));
    EXPECT_FALSE(options.empty());
}

TEST(TcpOptions, TheEndOfTheListEndsItAndPaddingIsSkipped)
{
    EXPECT_EQ(parsed("01010101 020405b4").mss, 1460);
    EXPECT_TRUE(parsed("00 020405b4").empty());
    EXPECT_TRUE(parsed("").empty());
    EXPECT_TRUE(parsed("01010100").empty());
}

TEST(TcpOptions, AnOptionWhoseLengthDoesNotFitItsKindIsSkipped)
{
    const auto options = parsed("0203ff 0304ffff 0403ff 0804ffff 020405b4");
    EXPECT_EQ(options.mss, 1460);
    EXPECT_EQ(options.windowScale, std::nullopt);
    EXPECT_FALSE(options.sackPermitted);
    EXPECT_EQ(options.timestamps, std::nullopt);
}

TEST(TcpOptions, ALengthBelowTwoOrPastTheEndEndsTheListAndWhatCameBeforeStays)
{
    for (const auto* rest : {"03", "0300", "0301", "030407", "08ff 00000000", "63", "2200"}) {
        TCPOptions expected;
        expected.mss = 1460;
        EXPECT_EQ(parseTcpOptions(hex("020405b4", rest)), expected) << rest;
    }
}

TEST(TcpOptions, TheLastOfAnOptionThatIsRepeatedCounts)
{
    EXPECT_EQ(parsed("020405b4 02040218").mss, 536);
}

TEST(TcpOptions, AWindowScaleIsKeptAsSent)
{
    EXPECT_EQ(parsed("03030e").windowScale, 14);
    EXPECT_EQ(parsed("0303ff").windowScale, 255);
}

TEST(TcpOptions, EveryPrefixOfAnOptionsAreaIsReadWithinItsBounds)
{
    const auto area = hex("020405b4 0402 080a 00010002 00030004 01 030307 051200000001000000020000000300000004");
    for (std::size_t length = 0; length <= area.size(); ++length) {
        const std::vector<std::uint8_t> copy(area.begin(), area.begin() + static_cast<std::ptrdiff_t>(length));
        const auto options = parseTcpOptions(copy);
        EXPECT_EQ(options.mss.has_value(), length >= 4);
        EXPECT_EQ(options.sackPermitted, length >= 6);
        EXPECT_EQ(options.timestamps.has_value(), length >= 16);
        EXPECT_EQ(options.windowScale.has_value(), length >= 20);
        EXPECT_EQ(options.sackBlocks().size(), length == area.size() ? 2u : 0u);
    }
}

TEST(TcpOptions, EveryKindHasANameOfItsOwn)
{
    std::set<std::string> names;
    for (int kind = 0; kind < 256; ++kind)
        names.insert(tcpOptionName(static_cast<std::uint8_t>(kind)));
    EXPECT_EQ(names.size(), 256u);
    EXPECT_EQ(tcpOptionName(34), "Fast Open");
    EXPECT_EQ(tcpOptionName(29), "TCP-AO");
    EXPECT_EQ(tcpOptionName(99), "Option 99");
}

TEST(TcpOptions, JsonHasTheFieldsAndLeavesOutWhatIsAbsent)
{
    EXPECT_EQ(jsonText(TCPOptions{}), R"({"sackPermitted":false,"sackBlocks":[],"extraNames":[]})");
    EXPECT_EQ(jsonText(parsed("020405b4 0402 080a 00000002 00000004 030307 2202 050a 00000001 00000002")),
              R"({"mss":1460,"windowScale":7,"sackPermitted":true,"sackBlocks":[{"left":1,"right":2}],)"
              R"("timestamps":{"value":2,"echo":4},"extraNames":["Fast Open"]})");
}

} // namespace netrondo::test
