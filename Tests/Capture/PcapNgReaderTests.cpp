// pcapng: interfaces, packets, and what a damaged block is answered with.
#include "Capture/PcapNgReader.h"

#include "Support/Captures.h"
#include "Support/Readers.h"

#include <gtest/gtest.h>

namespace netrondo::test {
namespace {
PcapNgBytes section(ByteOrder order = ByteOrder::little)
{
    return std::move(PcapNgBytes(order).section());
}

Contents contents(Bytes bytes)
{
    return readFile(TempFile(bytes));
}

std::string openError(Bytes bytes)
{
    const TempFile file(bytes);
    const auto reader = PcapNgReader::open(*FileHandle::open(file));
    return reader ? "" : reader.error().errorDescription();
}

constexpr auto tooSmall = "File is too small to be a capture.";
constexpr auto truncated = "Truncated frame in capture.";
} // namespace

TEST(PcapNgReader, AFileOfOneSectionHeaderBlockOnlyYieldsNoFrames)
{
    const TempFile file(section());
    const auto reader = CaptureFile::open(file);
    ASSERT_TRUE(reader);
    EXPECT_EQ(rawValue((*reader)->format()), "pcapng");
    EXPECT_EQ(readFrames(**reader), Contents());
    EXPECT_TRUE((*reader)->interfaceLinkTypes().empty());
    EXPECT_FALSE((*reader)->isNanosecond());
}

TEST(PcapNgReader, AnEnhancedPacketBeforeAnyInterfaceIsEthernet)
{
    const auto read = contents(section().enhanced(0, pattern(60)).enhanced(7, pattern(60)));
    ASSERT_EQ(read.frames.size(), 2);
    EXPECT_EQ(read.frames[0].linkType, LinkType::ethernet);
    EXPECT_EQ(read.frames[1].linkType, LinkType::ethernet);
}

TEST(PcapNgReader, APacketOfInterface5WhenOnly0ExistsTakesTheLinkTypeOfInterface0)
{
    const auto read = contents(section().interface(113).enhanced(5, pattern(60)));
    ASSERT_EQ(read.frames.size(), 1);
    EXPECT_EQ(read.frames[0].linkType, LinkType::linuxSLL);
    EXPECT_EQ(read.frames[0].interfaceID, 5);
}

TEST(PcapNgReader, AnInterfaceIdOfAllOnesIsALargeNumber)
{
    const auto read = contents(section().interface(113).enhanced(0xffffffff, pattern(60)));
    ASSERT_EQ(read.frames.size(), 1);
    EXPECT_EQ(read.frames[0].interfaceID, 4'294'967'295);
}

TEST(PcapNgReader, ANanosecondFileIsSplitAsMicrosecondsAllTheSame)
{
    const auto resolution = hex("0900 0100 09000000 0000 0000"); // if_tsresol = 9, end of options
    const auto read =
        contents(section().interface(1, 0, resolution).enhanced(0, pattern(60), 1'700'000'000'123'456'789));
    ASSERT_EQ(read.frames.size(), 1);
    EXPECT_EQ(read.frames[0].seconds, 1'700'000'000'123);
    EXPECT_EQ(read.frames[0].fraction, 456'789);
}

TEST(PcapNgReader, TheLargestTimestampDoesNotWrap)
{
    const auto read = contents(section().enhanced(0, pattern(60), ~std::uint64_t{0}));
    ASSERT_EQ(read.frames.size(), 1);
    EXPECT_EQ(read.frames[0].seconds, 18'446'744'073'709);
    EXPECT_EQ(read.frames[0].fraction, 551'615);
}

TEST(PcapNgReader, ASimplePacketOf61BytesYieldsAFrameOf64)
{
    auto padded = pattern(61);
    const auto read = contents(section().interface(12).interface(1).simple(padded));
    padded.resize(64);
    ASSERT_EQ(read.frames.size(), 1);
    const CaptureFrame expected{0, 0, 0, 64, 61, LinkType::raw, padded};
    EXPECT_EQ(read.frames[0], KeptFrame(expected));
}

TEST(PcapNgReader, ASimplePacketBeforeAnyInterfaceIsEthernet)
{
    const auto read = contents(section().simple(pattern(60)));
    ASSERT_EQ(read.frames.size(), 1);
    EXPECT_EQ(read.frames[0].linkType, LinkType::ethernet);
}

TEST(PcapNgReader, ThePaddingOfAnEnhancedPacketIsDropped)
{
    const auto read = contents(section().interface(1).enhanced(0, pattern(61), 5, 1514));
    ASSERT_EQ(read.frames.size(), 1);
    const auto data = pattern(61);
    const CaptureFrame expected{0, 0, 5, 61, 1514, LinkType::ethernet, data};
    EXPECT_EQ(read.frames[0], KeptFrame(expected));
}

TEST(PcapNgReader, OptionsBehindAPacketAreNotPartOfIt)
{
    const auto body = hex("00000000 00000000 0a000000 04000000 05000000 01020304 0100 0200 41420000 00000000");
    const auto read = contents(section().block(6, body));
    ASSERT_EQ(read.frames.size(), 1);
    EXPECT_EQ(read.frames[0].data, hex("01020304"));
    EXPECT_EQ(read.frames[0].originalLength, 5);
}

TEST(PcapNgReader, ABigEndianFileReadsEveryFieldSwapped)
{
    const auto bytes = section(ByteOrder::big)
                           .interface(276, 96)
                           .interface(105, 0x01020304)
                           .enhanced(1, pattern(61), 0x0001'0203'0405'0607, 1514)
                           .simple(pattern(5));
    EXPECT_TRUE(std::ranges::equal(Bytes(bytes).subspan(8, 4), hex("1a2b3c4d")));
    const TempFile file(bytes);
    const auto reader = PcapNgReader::open(*FileHandle::open(file));
    ASSERT_TRUE(reader);
    const auto read = readFrames(**reader);
    ASSERT_EQ(read.frames.size(), 2);
    const auto data = pattern(61);
    constexpr std::uint64_t time = 0x0001'0203'0405'0607;
    const CaptureFrame expected{1, time / 1'000'000, time % 1'000'000, 61, 1514, LinkType::ieee80211, data};
    EXPECT_EQ(read.frames[0], KeptFrame(expected));
    EXPECT_EQ(read.frames[1].originalLength, 5);
    EXPECT_EQ(read.frames[1].linkType, LinkType::linuxSLL2);
    EXPECT_EQ(std::vector((*reader)->snaplens().begin(), (*reader)->snaplens().end()),
              (std::vector<std::uint32_t>{96, 0x01020304}));
    EXPECT_EQ((*reader)->interfaceLinkTypes().size(), 2);
}

TEST(PcapNgReader, UnknownLinkTypesOfInterfacesAreUnknown)
{
    const auto read = contents(section().interface(101).enhanced(0, pattern(60)));
    ASSERT_EQ(read.frames.size(), 1);
    EXPECT_EQ(read.frames[0].linkType, LinkType::unknown);
}

TEST(PcapNgReader, BlocksOfAllOtherTypesAreSkipped)
{
    auto bytes = section().interface(1);
    for (const std::uint32_t type : {0u, 2u, 4u, 5u, 7u, 9u, 10u, 0xbadu, 0x40000badu, 0x80000001u, 0xffffffffu})
        bytes.block(type, pattern(type % 7 * 4));
    const auto read = contents(bytes.enhanced(0, pattern(60)));
    EXPECT_EQ(read.frames.size(), 1);
    EXPECT_EQ(read.error, "");
}

TEST(PcapNgReader, AFileOfManyWindowsOfSkippedBlocksStillFindsItsFrame)
{
    auto bytes = section().interface(1);
    for (int i = 0; i < 2000; ++i)
        bytes.block(5, pattern(1000));
    const auto read = contents(bytes.block(0xbad, pattern(1'500'000)).enhanced(0, pattern(60)));
    EXPECT_EQ(read.frames.size(), 1);
    EXPECT_EQ(read.error, "");
}

TEST(PcapNgReader, ALaterSectionKeepsTheInterfacesOfTheFirst)
{
    const auto read = contents(section()
                                   .interface(113)
                                   .enhanced(0, pattern(60))
                                   .section()
                                   .interface(1)
                                   .enhanced(0, pattern(60))
                                   .enhanced(1, pattern(60)));
    ASSERT_EQ(read.frames.size(), 3);
    EXPECT_EQ(read.frames[1].linkType, LinkType::linuxSLL);
    EXPECT_EQ(read.frames[2].linkType, LinkType::ethernet);
}

TEST(PcapNgReader, ALaterSectionIsReadInTheByteOrderOfTheFirst)
{
    auto bytes = section().interface(113).enhanced(0, pattern(60)).bytes();
    const auto other = section(ByteOrder::big).interface(1).enhanced(0, pattern(60)).bytes();
    bytes.insert(bytes.end(), other.begin(), other.end());
    const auto read = contents(bytes);
    EXPECT_EQ(read.frames.size(), 1);
    EXPECT_EQ(read.error, ""); // its length 28, read the other way round, is more than the file holds
}

TEST(PcapNgReader, AFileShorterThan12BytesIsTooSmall)
{
    const auto whole = section().bytes();
    for (std::size_t length = 0; length < 12; ++length)
        EXPECT_EQ(openError(Bytes(whole).first(length)), tooSmall) << length << " bytes";
}

TEST(PcapNgReader, MustStartWithASectionHeader)
{
    EXPECT_EQ(openError(PcapNgBytes().interface(1)), "Invalid capture header: PCAPNG must start with SHB");
}

TEST(PcapNgReader, NamesABadByteOrderMagicInHexadecimalAsReadLittleEndian)
{
    const auto bytes = hex("0a0d0d0a 1c000000 0d0c0b00 01000000 ffffffff ffffffff 1c000000");
    EXPECT_EQ(openError(bytes), "Invalid capture header: Bad PCAPNG byte-order magic: b0c0d");
}

TEST(PcapNgReader, FewerThan8BytesBehindTheLastBlockEndTheData)
{
    for (std::size_t extra = 0; extra < 8; ++extra) {
        auto bytes = section().enhanced(0, pattern(60)).bytes();
        bytes.resize(bytes.size() + extra, 0xff);
        const auto read = contents(bytes);
        EXPECT_EQ(read.frames.size(), 1) << extra;
        EXPECT_EQ(read.error, "") << extra;
    }
}

TEST(PcapNgReader, ABlockCutAnywhereEndsTheData)
{
    const auto whole = section().enhanced(0, pattern(60)).enhanced(0, pattern(61)).bytes();
    for (std::size_t missing = 1; missing < 12 + 20 + 64; ++missing) {
        const auto read = contents(Bytes(whole).first(whole.size() - missing));
        EXPECT_EQ(read.frames.size(), 1) << missing;
        EXPECT_EQ(read.error, "") << missing;
    }
}

struct DamagedCase {
    std::string_view name;
    PcapNgBytes block; ///< what stands between a good packet and another
    std::string_view error;
};

class DamagedBlock : public testing::TestWithParam<DamagedCase> { };

TEST_P(DamagedBlock, IsAnErrorAfterTheFramesBeforeIt)
{
    auto bytes = section().interface(1).enhanced(0, pattern(60)).enhanced(0, pattern(60)).bytes();
    const Bytes damaged = GetParam().block;
    bytes.insert(bytes.end(), damaged.begin(), damaged.end());
    const auto rest = PcapNgBytes().enhanced(0, pattern(60)).bytes();
    bytes.insert(bytes.end(), rest.begin(), rest.end());

    const TempFile file(bytes);
    const auto one = CaptureFile::open(file), many = CaptureFile::open(file);
    const auto read = readFrames(**one);
    EXPECT_EQ(read.frames.size(), 2);
    EXPECT_EQ(read.error, GetParam().error);
    EXPECT_EQ(readBatches(**many), read);
    EXPECT_EQ(readBatches(**many), (Contents{{}, std::string(GetParam().error)})) << "the error stays";
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, DamagedBlock,
    testing::Values(
        DamagedCase{"Length0", PcapNgBytes().block(6, {}, 0, 12), "Invalid capture header: Block length 0"},
        DamagedCase{"Length11", PcapNgBytes().block(6, {}, 11, 11), "Invalid capture header: Block length 11"},
        DamagedCase{"TrailingLengthOfAValidPacket",
                    PcapNgBytes().block(6, hex("00000000 00000000 00000000 04000000 04000000 01020304"), 36, 40),
                    "Invalid capture header: Block trailing length mismatch"},
        DamagedCase{"TrailingLengthOfASkippedBlock", PcapNgBytes().block(5, pattern(8), 20, 16),
                    "Invalid capture header: Block trailing length mismatch"},
        DamagedCase{"ShortInterface", PcapNgBytes().block(1, pattern(7)), "Invalid capture header: Short IDB"},
        DamagedCase{"EmptyInterface", PcapNgBytes().block(1, {}), "Invalid capture header: Short IDB"},
        DamagedCase{"EnhancedPacketOf19Bytes", PcapNgBytes().block(6, pattern(19)), truncated},
        DamagedCase{"EnhancedPacketLongerThanItsBlock",
                    PcapNgBytes().block(6, hex("00000000 00000000 00000000 05000000 05000000 01020304")), truncated},
        DamagedCase{"EnhancedPacketWhoseLengthWraps",
                    PcapNgBytes().block(6, hex("00000000 00000000 00000000 ffffffff 05000000 01020304")), truncated},
        DamagedCase{"EmptySimplePacket", PcapNgBytes().block(3, {}), truncated},
        DamagedCase{"SimplePacketOf3Bytes", PcapNgBytes().block(3, pattern(3)), truncated}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(PcapNgReader, PacketsOfNoBytesAreFrames)
{
    const auto read = contents(section().enhanced(0, {}).simple({}));
    ASSERT_EQ(read.frames.size(), 2);
    EXPECT_EQ(read.frames[0].capturedLength, 0);
    EXPECT_EQ(read.frames[1].capturedLength, 0);
}

TEST(PcapNgReader, FramesOfAllSizesComeTheSameOneByOneAndInBatches)
{
    auto bytes = section().interface(1);
    for (std::size_t i = 0; i < 3000; ++i) { // some 2 MB: several windows, with blocks across their ends
        bytes.enhanced(0, pattern(i * 7919 % 1500, static_cast<std::uint8_t>(i)), i);
        if (i % 100 == 0)
            bytes.block(5, pattern(16)).interface(static_cast<std::uint16_t>(i / 100));
    }
    const TempFile file(bytes);
    const auto one = CaptureFile::open(file), many = CaptureFile::open(file);
    const auto read = readFrames(**one);
    EXPECT_EQ(read.frames.size(), 3000);
    EXPECT_EQ(read, readBatches(**many));
    EXPECT_EQ((*many)->interfaceLinkTypes().size(), 31);
    EXPECT_EQ((*many)->position().offset, bytes.bytes().size());
    EXPECT_EQ((*many)->position().size, bytes.bytes().size());
}

} // namespace netrondo::test
