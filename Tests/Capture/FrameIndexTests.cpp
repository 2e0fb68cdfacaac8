// Any frame of a capture at once: by its number, in any order, while the file grows.
#include "Capture/FrameIndex.h"

#include "Capture/CaptureFile.h"
#include "Capture/CopyCapture.h"
#include "Support/Captures.h"
#include "Support/Gzip.h"
#include "Support/Readers.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

namespace netrondo::test {
namespace {
std::shared_ptr<FrameIndex> indexOf(const std::filesystem::path& path)
{
    auto index = FrameIndex::open(path);
    EXPECT_TRUE(index) << index.error().errorDescription();
    EXPECT_TRUE((*index)->extend());
    return *index;
}

/// A frame as a sequential reader gives it, but for the unit of its time.
KeptFrame fetched(FrameFetcher& fetcher, std::uint32_t frame)
{
    auto found = fetcher.fetch(frame);
    EXPECT_TRUE(found) << found.error().errorDescription();
    return KeptFrame(*found);
}

std::vector<std::uint8_t> manyFrames(std::uint32_t count)
{
    PcapBytes capture;
    for (std::uint32_t i = 0; i < count; ++i)
        capture.frame(pattern(1 + i * 37 % 1500, static_cast<std::uint8_t>(i)), {.seconds = i, .fraction = i % 7});
    return capture.bytes();
}

std::vector<std::uint8_t> clockOptions(std::uint8_t resolution, std::uint64_t offsetSeconds = 0)
{
    OrderedBytes options(ByteOrder::little);
    options.u16(9);
    options.u16(1);
    options.u32(resolution);
    options.u16(14);
    options.u16(8);
    options.u32(offsetSeconds & 0xffffffff);
    options.u32(offsetSeconds >> 32);
    options.u32(0);
    return options.all();
}
} // namespace

TEST(FrameIndex, GivesEveryFrameInAnyOrderAsASequentialReaderDoes)
{
    const TempFile file(manyFrames(3000)); // larger than any window
    const auto index = indexOf(file);
    const auto expected = readFile(file).frames;
    ASSERT_EQ(index->count(), expected.size());
    auto fetcher = *index->fetcher();
    for (std::uint32_t i = 0; i < index->count(); ++i) {
        const auto frame = i * 1237 % index->count();
        const auto found = fetched(fetcher, frame);
        EXPECT_EQ(found.data, expected[frame].data);
        EXPECT_EQ(found.originalLength, expected[frame].originalLength);
        EXPECT_EQ(found.linkType, expected[frame].linkType);
        EXPECT_EQ(index->nanoseconds(frame), frame * 1'000'000'000ll + frame % 7 * 1000);
    }
}

TEST(FrameIndex, ReadsPcapngBlocksOfBothKindsBetweenOthers)
{
    const TempFile file(PcapNgBytes()
                            .section()
                            .interface(1)
                            .enhanced(0, pattern(60))
                            .block(5, pattern(12))
                            .simple(pattern(61))
                            .interface(113)
                            .enhanced(1, pattern(0))
                            .enhanced(1, pattern(33), 5, 90)
                            .bytes());
    const auto index = indexOf(file);
    const auto expected = readFile(file).frames;
    ASSERT_EQ(index->count(), 4u);
    auto fetcher = *index->fetcher();
    for (const std::uint32_t frame : {3u, 0u, 1u, 2u}) {
        const auto found = fetched(fetcher, frame);
        EXPECT_EQ(found.data, expected[frame].data);
        EXPECT_EQ(found.originalLength, expected[frame].originalLength);
        EXPECT_EQ(found.interfaceID, expected[frame].interfaceID);
        EXPECT_EQ(found.linkType, expected[frame].linkType);
    }
}

TEST(FrameIndex, TellsWhatTheFileRemarksOnAFrame)
{
    const TempFolder folder;
    const TempFile file(manyFrames(3));
    const auto remarkOn = [](std::uint64_t wanted, std::string text) {
        return [wanted, text](std::uint64_t frame) { return frame == wanted ? text : std::string(); };
    };
    const auto copied = [&](const std::filesystem::path& from, std::string_view to, const CopyRemarks& remarks) {
        const auto reader = CaptureFile::open(from).value();
        EXPECT_TRUE(copyCapture(
            *reader, folder / to, [](const CaptureFrame& frame) { return frame.timestampSeconds > 0; }, {}, remarks));
        return folder / to;
    };
    const auto first = copied(file, "first.pcapng", remarkOn(1, "odd")); // the first frame is not copied
    const auto index = indexOf(copied(first, "second.pcapng", remarkOn(0, "very odd")));
    auto fetcher = *index->fetcher();
    ASSERT_EQ(index->count(), 2u);
    EXPECT_EQ(fetcher.comment(*fetcher.fetch(0)), "odd\nvery odd");
    EXPECT_EQ(fetcher.comment(*fetcher.fetch(1)), "");
    const auto plain = indexOf(copied(first, "third.pcap", remarkOn(0, "lost")));
    auto none = *plain->fetcher();
    EXPECT_EQ(none.comment(*none.fetch(0)), "") << "there is no room for it in pcap";
}

struct ClockCase {
    std::string_view name;
    std::vector<std::uint8_t> options;
    std::uint64_t ticks;
    std::int64_t nanoseconds;
};

class FrameIndexClock : public testing::TestWithParam<ClockCase> { };

TEST_P(FrameIndexClock, TakesTimesInTheUnitOfTheirInterface)
{
    const auto& row = GetParam();
    const TempFile file(
        PcapNgBytes().section().interface(1, 65'535, row.options).enhanced(0, pattern(60), row.ticks).bytes());
    const auto index = indexOf(file);
    ASSERT_EQ(index->count(), 1u);
    EXPECT_EQ(index->nanoseconds(0), row.nanoseconds);
    const auto frame = fetched(*std::make_unique<FrameFetcher>(*index->fetcher()), 0);
    EXPECT_EQ(static_cast<std::int64_t>(frame.seconds * 1'000'000'000 + frame.fraction), row.nanoseconds);
}

INSTANTIATE_TEST_SUITE_P(
    Resolutions, FrameIndexClock,
    testing::Values(ClockCase{"NoneIsMicroseconds", {}, 1'500'000, 1'500'000'000},
                    ClockCase{"Nanoseconds", clockOptions(9), 1'700'000'000'123'456'789, 1'700'000'000'123'456'789},
                    ClockCase{"Milliseconds", clockOptions(3), 2500, 2'500'000'000},
                    ClockCase{"Seconds", clockOptions(0), 7, 7'000'000'000},
                    ClockCase{"Picoseconds", clockOptions(12), 1'000'000'000'500, 1'000'000'000},
                    ClockCase{"PowersOfTwo", clockOptions(0x80 | 10), 1536, 1'500'000'000},
                    ClockCase{"LargestPowerOfTwo", clockOptions(0x80 | 63), std::uint64_t{3} << 62, 1'500'000'000},
                    ClockCase{"TooFineIsTakenForMicroseconds", clockOptions(0x80 | 64), 1'500'000, 1'500'000'000},
                    ClockCase{"AnOffsetInSeconds", clockOptions(6, 100), 1'000'000, 101'000'000'000},
                    ClockCase{"ANegativeOffset", clockOptions(6, 0 - std::uint64_t{2}), 5'000'000, 3'000'000'000},
                    ClockCase{"OptionsThatAreCut", {9, 0, 1}, 1'000'000, 1'000'000'000},
                    ClockCase{"AnOptionLongerThanTheBlock", {9, 0, 99, 0, 9, 0, 0, 0}, 1'000'000, 1'000'000'000}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(FrameIndex, TakesAGrowingFileUpAgainWhereItEnded)
{
    const auto whole = manyFrames(50);
    const TempFile file(Bytes(whole).first(24));
    auto index = *FrameIndex::open(file);
    std::uint32_t before = 0;
    for (std::size_t at = 24; at < whole.size();) { // in pieces that cut records in their header and in their body
        const auto piece = std::min<std::size_t>(1013, whole.size() - at);
        append(file, Bytes(whole).subspan(at, piece));
        at += piece;
        ASSERT_TRUE(index->extend());
        EXPECT_GE(index->count(), before);
        before = index->count();
    }
    EXPECT_EQ(before, 50u);
    EXPECT_FALSE(index->isCut());
    auto fetcher = *index->fetcher();
    EXPECT_EQ(fetched(fetcher, 49).data, readFile(file).frames[49].data);
}

TEST(FrameIndex, SaysThatAFileEndsWithinARecord)
{
    for (const std::size_t missing : {1u, 700u, 1490u}) {
        auto bytes = PcapBytes().frame(pattern(100)).frame(pattern(1480)).cut(missing);
        const TempFile file(bytes);
        const auto index = indexOf(file);
        EXPECT_EQ(index->count(), 1u);
        EXPECT_TRUE(index->isCut()) << missing;
    }
}

TEST(FrameIndex, KeepsTheFramesBeforeADamagedBlock)
{
    const TempFile file(PcapNgBytes().section().interface(1).enhanced(0, pattern(60)).block(1, pattern(4)).bytes());
    auto index = *FrameIndex::open(file);
    const auto done = index->extend();
    ASSERT_FALSE(done);
    EXPECT_EQ(done.error().errorDescription(), "Invalid capture header: Short IDB");
    EXPECT_EQ(index->count(), 1u);
    EXPECT_EQ(fetched(*std::make_unique<FrameFetcher>(*index->fetcher()), 0).data.size(), 60u);
}

TEST(FrameIndex, ReadsCompressedCapturesThroughTheirInflatedCopy)
{
    const auto bytes = manyFrames(400);
    const TempFile file(gzipped(bytes)), plain(bytes);
    const auto index = indexOf(file);
    ASSERT_EQ(index->count(), 400u);
    auto fetcher = *index->fetcher();
    EXPECT_EQ(fetched(fetcher, 399).data, readFile(plain).frames[399].data);
    EXPECT_EQ(index->position().offset, bytes.size());
    EXPECT_EQ(index->position().size, bytes.size());
}

TEST(FrameIndex, SaysWhichFrameIsGoneFromAFileThatShrank)
{
    const TempFile file(manyFrames(10));
    const auto index = indexOf(file);
    auto fetcher = *index->fetcher();
    std::filesystem::resize_file(file, 500);
    const auto found = fetcher.fetch(9);
    ASSERT_FALSE(found);
    EXPECT_EQ(found.error().errorDescription(),
              "I/O error: frame 10 is no longer in the file, which has become shorter");
}

TEST(FrameIndex, RefusesAPipeWhichCannotBeReadTwice)
{
    const TempFolder folder;
    int ends[2];
    ASSERT_EQ(::pipe(ends), 0);
    const auto bytes = manyFrames(2);
    ASSERT_EQ(::write(ends[1], bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
    ::close(ends[1]);
    const auto index = FrameIndex::open(fmt::format("/proc/self/fd/{}", ends[0]));
    ::close(ends[0]);
    ASSERT_FALSE(index);
    EXPECT_EQ(index.error().errorDescription(), "Illegal seek");
}

TEST(FrameIndex, StopsWhenItIsToldTo)
{
    const TempFile file(manyFrames(3000));
    auto index = *FrameIndex::open(file);
    std::stop_source source;
    source.request_stop();
    EXPECT_TRUE(index->extend(source.get_token()));
    EXPECT_EQ(index->count(), 0u);
    EXPECT_TRUE(index->extend()); // and goes on later
    EXPECT_EQ(index->count(), 3000u);
}

} // namespace netrondo::test
