// Classic pcap: byte orders, resolutions, and where a cut file ends.
#include "Capture/PcapReader.h"

#include "Support/Captures.h"
#include "Support/Readers.h"

#include <gtest/gtest.h>

namespace netrondo::test {
namespace {
std::unique_ptr<PcapReader> opened(const std::filesystem::path& path)
{
    auto handle = FileHandle::open(path);
    EXPECT_TRUE(handle);
    auto reader = PcapReader::open(*std::move(handle));
    EXPECT_TRUE(reader);
    return *std::move(reader);
}

std::string openError(Bytes bytes)
{
    const TempFile file(bytes);
    const auto reader = PcapReader::open(*FileHandle::open(file));
    return reader ? "" : reader.error().errorDescription();
}
} // namespace

TEST(PcapReader, AFileOfExactly24BytesOpensAndYieldsNoFrames)
{
    const TempFile file{PcapBytes()};
    EXPECT_EQ(std::filesystem::file_size(file), 24);
    const auto reader = CaptureFile::open(file);
    ASSERT_TRUE(reader);
    EXPECT_EQ(rawValue((*reader)->format()), "pcap");
    EXPECT_EQ(readFrames(**reader), Contents());
}

struct MagicCase {
    std::string_view name, firstBytes;
    ByteOrder order;
    bool swapEndian, isNanosecond;
};

class PcapMagic : public testing::TestWithParam<MagicCase> { };

TEST_P(PcapMagic, TellsByteOrderAndResolution)
{
    const auto& row = GetParam();
    const auto frame = pattern(70);
    const auto bytes = PcapBytes({.order = row.order, .nanoseconds = row.isNanosecond, .snaplen = 96, .linkType = 113})
                           .frame(frame, {0xfedcba98, 999'999'999, 1514});
    const TempFile file(bytes);
    EXPECT_TRUE(std::ranges::equal(Bytes(bytes).first(4), hex(row.firstBytes)));

    const auto reader = opened(file);
    EXPECT_EQ(reader->header(), (PcapHeader{row.swapEndian, row.isNanosecond, 96, LinkType::linuxSLL, 113}));
    EXPECT_EQ(reader->isNanosecond(), row.isNanosecond);
    EXPECT_EQ(reader->snaplen(), 96);
    ASSERT_EQ(reader->interfaceLinkTypes().size(), 1);
    EXPECT_EQ(reader->interfaceLinkTypes()[0], LinkType::linuxSLL);

    const auto contents = readFrames(*reader);
    ASSERT_EQ(contents.frames.size(), 1);
    const CaptureFrame expected{0, 0xfedcba98, 999'999'999, 70, 1514, LinkType::linuxSLL, frame};
    EXPECT_EQ(contents.frames[0], KeptFrame(expected));
    EXPECT_EQ(contents.error, "");
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, PcapMagic,
    testing::Values(MagicCase{"LittleEndianMicroseconds", "d4c3b2a1", ByteOrder::little, false, false},
                    MagicCase{"BigEndianMicroseconds", "a1b2c3d4", ByteOrder::big, true, false},
                    MagicCase{"LittleEndianNanoseconds", "4d3cb2a1", ByteOrder::little, false, true},
                    MagicCase{"BigEndianNanoseconds", "a1b23c4d", ByteOrder::big, true, true}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(PcapReader, LinkType101YieldsFramesOfUnknownLinkTypeWhoseNameShows65535)
{
    const TempFile file(PcapBytes({.linkType = 101}).frame(pattern(20)));
    const auto contents = readFile(file);
    ASSERT_EQ(contents.frames.size(), 1);
    EXPECT_EQ(contents.frames[0].linkType, LinkType::unknown);
    EXPECT_EQ(displayName(contents.frames[0].linkType), "Unknown (DLT 65535)");
}

TEST(PcapReader, OnlyTheLow16BitsOfTheLinkTypeWordAreTheLinkType)
{
    for (const auto order : {ByteOrder::little, ByteOrder::big}) {
        const TempFile file(PcapBytes({.order = order, .linkType = 0x14000001}));
        EXPECT_EQ(opened(file)->header().linkType, LinkType::ethernet);
    }
}

TEST(PcapReader, AFileShorterThanItsHeaderIsTooSmall)
{
    const auto whole = PcapBytes().bytes();
    for (std::size_t length = 0; length < 24; ++length)
        EXPECT_EQ(openError(Bytes(whole).first(length)), "File is too small to be a capture.") << length << " bytes";
}

TEST(PcapReader, AnotherMagicIsNamedInHexadecimalAsReadLittleEndian)
{
    auto bytes = PcapBytes().bytes();
    std::ranges::copy(hex("0d0c0b00"), bytes.begin());
    EXPECT_EQ(openError(bytes), "Invalid capture header: Not a PCAP magic: b0c0d");
}

TEST(PcapReader, ALastRecordCutInItsBodyEndsTheDataWithoutError)
{
    for (std::size_t missing = 1; missing <= 60; ++missing) {
        const TempFile file(PcapBytes().frame(pattern(60)).frame(pattern(60)).cut(missing));
        const auto reader = opened(file);
        const auto contents = readFrames(*reader);
        EXPECT_EQ(contents.frames.size(), 1) << missing;
        EXPECT_EQ(contents.error, "") << missing;
        EXPECT_EQ(reader->offset(), 24 + 76) << "the start of the cut record";
    }
}

TEST(PcapReader, ALastRecordCutInItsHeaderIsATruncatedFrame)
{
    for (std::size_t present = 1; present < 16; ++present) {
        const TempFile file(PcapBytes().frame(pattern(60)).frame({}).cut(16 - present));
        const auto reader = opened(file);
        const auto contents = readFrames(*reader);
        EXPECT_EQ(contents.frames.size(), 1) << present;
        EXPECT_EQ(contents.error, "Truncated frame in capture.") << present;
        EXPECT_EQ(reader->offset(), 24 + 76) << "the start of the cut record";
    }
}

TEST(PcapReader, ACutRecordIsReadOnceItsRestHasBeenWritten)
{
    const auto whole = PcapBytes().frame(pattern(60)).frame(pattern(80, 1)).bytes();
    for (const std::size_t present : {105u, 116u, 150u, 195u}) { // in the header, behind it, in the body
        const TempFile file(Bytes(whole).first(present));
        const auto reader = opened(file);
        EXPECT_EQ(readBatches(*reader).frames.size(), 1) << present;
        append(file, Bytes(whole).subspan(present));
        const auto rest = readBatches(*reader);
        ASSERT_EQ(rest.frames.size(), 1) << present;
        EXPECT_EQ(rest.frames[0].data, pattern(80, 1));
        EXPECT_EQ(reader->offset(), whole.size());
    }
}

TEST(PcapReader, ContinuesInTheMiddleOfAFileWithTheHeaderItIsGiven)
{
    const TempFile file(PcapBytes({.order = ByteOrder::big}).frame(pattern(60)).frame(pattern(80, 1)));
    auto handle = *FileHandle::open(file);
    ASSERT_TRUE(handle.seek(24 + 76));
    PcapReader reader(std::move(handle), {true, false, 65535, LinkType::raw});
    const auto contents = readFrames(reader);
    ASSERT_EQ(contents.frames.size(), 1);
    EXPECT_EQ(contents.frames[0].data, pattern(80, 1));
    EXPECT_EQ(contents.frames[0].linkType, LinkType::raw);
}

TEST(PcapReader, ALengthThatTheFileCannotHoldEndsTheData)
{
    for (const std::uint32_t included : {61u, 0x7fffffffu, 0xffffffffu}) {
        const TempFile file(PcapBytes().frame(pattern(60)).record(1, 2, included, 60, pattern(60)));
        const auto contents = readFile(file);
        EXPECT_EQ(contents.frames.size(), 1) << included;
        EXPECT_EQ(contents.error, "") << included;
    }
}

TEST(PcapReader, ARecordLongerThanTheSnaplenIsReadWhole)
{
    const auto data = pattern(3'000'000);
    const TempFile file(PcapBytes({.snaplen = 64}).frame(pattern(10)).frame(data).frame(pattern(10)));
    const auto contents = readFile(file);
    ASSERT_EQ(contents.frames.size(), 3);
    EXPECT_EQ(contents.frames[1].data, data);
}

TEST(PcapReader, EmptyFramesAreFrames)
{
    const TempFile file(PcapBytes().frame({}).frame({}, {1, 2, 60}));
    const auto contents = readFile(file);
    ASSERT_EQ(contents.frames.size(), 2);
    EXPECT_EQ(contents.frames[1].originalLength, 60);
    EXPECT_TRUE(contents.frames[1].data.empty());
}

TEST(PcapReader, FramesOfAllSizesComeTheSameOneByOneAndInBatches)
{
    PcapBytes bytes;
    for (std::size_t i = 0; i < 3000; ++i) // some 2 MB: several windows, with records across their ends
        bytes.frame(pattern(i * 7919 % 1500, static_cast<std::uint8_t>(i)), {i, i});
    const TempFile file(bytes);
    const auto one = opened(file), many = opened(file);
    const auto contents = readFrames(*one);
    EXPECT_EQ(contents.frames.size(), 3000);
    EXPECT_EQ(contents.frames[2999].data, pattern(2999 * 7919 % 1500, static_cast<std::uint8_t>(2999)));
    EXPECT_EQ(contents, readBatches(*many));
    EXPECT_EQ(one->position().offset, bytes.bytes().size());
    EXPECT_EQ(one->position().size, bytes.bytes().size());
}

} // namespace netrondo::test
