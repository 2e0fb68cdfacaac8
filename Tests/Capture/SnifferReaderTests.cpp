// NetXRay and Windows Sniffer captures: versions, clocks, wrapped buffers, and what lies behind the end.
#include "Capture/SnifferReader.h"

#include "Support/Gzip.h"
#include "Support/Readers.h"
#include "Support/SampleFrames.h"
#include "Support/SnifferBytes.h"

#include <fcntl.h>
#include <gtest/gtest.h>

namespace netrondo::test {
namespace {

using Header = SnifferBytes::Header;

/// The first frame's time as microseconds since 1970.
std::uint64_t timeOf(const Header& header, std::uint64_t ticks)
{
    const auto contents = readFile(TempFile(SnifferBytes(header).frame(ticks, pattern(60)), "a.cap"));
    EXPECT_EQ(contents.error, "");
    const auto& frame = contents.frames.at(0);
    return frame.seconds * 1'000'000 + frame.fraction;
}

constexpr std::uint64_t start = 1'000'000'000'000'000; ///< of the captures below, in microseconds
} // namespace

struct ClockRow {
    std::string_view name;
    Header header;
    std::uint64_t ticks;
    std::uint64_t microseconds; ///< after the start
};

class SnifferClock : public testing::TestWithParam<ClockRow> { };

TEST_P(SnifferClock, TurnsTicksIntoTime)
{
    EXPECT_EQ(timeOf(GetParam().header, GetParam().ticks), start + GetParam().microseconds);
}

INSTANTIATE_TEST_SUITE_P(
    Versions, SnifferClock,
    testing::Values(
        ClockRow{"Version1CountsMilliseconds", {.version = "001.000"}, 1'500, 1'500'000},
        ClockRow{"Version11CountsMicroseconds", {.version = "001.100"}, 1'500, 1'500},
        ClockRow{"Version20", {.version = "002.000"}, 1'500, 1'500},
        ClockRow{"Unit1", {.timeUnit = 1}, 1'193'000, 1'000'000},
        ClockRow{"Unit2AsTheHeaderTells", {.timeUnit = 2, .realTicks = 3'579'545}, 3'579'545 * 10ULL, 10'000'000},
        ClockRow{"ToTheNearestMicrosecond", {.timeUnit = 2, .realTicks = 3'579'545}, 2, 1},
        ClockRow{"ARateOfZeroIsNoDivision", {.timeUnit = 2, .realTicks = 0}, 3, 3'000'000},
        ClockRow{"GigabitPod", {.captureType = 2}, 1'500'000, 1'500},
        ClockRow{"GigabitPodUnit2", {.captureType = 2, .timeUnit = 2}, 31'250'000, 1'000'000},
        ClockRow{"OtherPod", {.captureType = 3, .timeUnit = 2}, 1'250'000, 1'000'000},
        ClockRow{"Pod5", {.captureType = 5}, 7, 7},
        ClockRow{"Pod6", {.captureType = 6, .timeUnit = 2}, 20'000'000, 1'000'000},
        ClockRow{"AnUnknownUnitCountsMicroseconds", {.captureType = 5, .timeUnit = 9}, 7, 7},
        ClockRow{"TokenRing", {.network = 1, .timeUnit = 2}, 1'193'182, 1'000'000},
        ClockRow{"TicksBeyond32Bits", {.startTicks = 1ULL << 40}, (1ULL << 40) + 77, 77},
        ClockRow{"PodsOfLaterVersionsStartAtZero", {.version = "002.002", .startTicks = 5, .captureType = 3}, 9, 9},
        ClockRow{"PodsOfEarlierVersionsDoNot", {.version = "002.001", .startTicks = 5, .captureType = 3}, 9, 4}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(SnifferReader, ATimeBeforeTheStartIsBeforeItAndNeverBefore1970)
{
    EXPECT_EQ(timeOf({.startTicks = 10}, 3), start - 7);
    EXPECT_EQ(timeOf({.startSeconds = 0, .startTicks = 10}, 3), 0u);
}

struct NetworkRow {
    std::string_view name;
    Header header;
    std::uint16_t linkNumber;
};

class SnifferNetwork : public testing::TestWithParam<NetworkRow> { };

TEST_P(SnifferNetwork, HasItsLinkType)
{
    const TempFile file(SnifferBytes(GetParam().header).frame(0, pattern(60)), "a.cap");
    const auto reader = CaptureFile::open(file).value();
    const auto frame = reader->nextFrame().value().value();
    EXPECT_EQ(frame.linkType, linkType(GetParam().linkNumber));
    EXPECT_EQ(reader->interfaceLinkTypes()[0], frame.linkType);
    EXPECT_EQ(reader->interfaceOf(frame).linkNumber, GetParam().linkNumber);
}

INSTANTIATE_TEST_SUITE_P(
    Networks, SnifferNetwork,
    testing::Values(NetworkRow{"Ethernet", {}, 1},
                    NetworkRow{"EthernetCodedAsItIs", {.network = 1, .networkCoding = 2}, 1},
                    NetworkRow{"TokenRing", {.network = 1}, 6}, NetworkRow{"Fddi", {.network = 2}, 10},
                    NetworkRow{"WanLooksLikeEthernetInVersion1", {.version = "001.100", .network = 3}, 1},
                    NetworkRow{"Ppp", {.network = 3, .captureType = 3}, 9},
                    NetworkRow{"FrameRelay", {.network = 3, .captureType = 4}, 107},
                    NetworkRow{"CiscoHdlc", {.network = 3, .captureType = 19}, 104},
                    NetworkRow{"Sdlc", {.network = 3, .captureType = 7}, 65535},
                    NetworkRow{"Wireless", {.network = 9}, 105}, NetworkRow{"LocalTalk", {.network = 4}, 65535}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(SnifferReader, FramesComeWithBothTheirLengths)
{
    for (const auto* version : {"001.000", "001.100", "002.000", "002.003"}) {
        const TempFile file(
            SnifferBytes({.version = version}).frame(1, pattern(60)).frame(2, pattern(61, 1), 1500).frame(3, {}),
            "a.cap");
        const auto reader = CaptureFile::open(file).value();
        EXPECT_EQ(reader->format(), CaptureFormat::sniffer);
        const auto contents = readFrames(*reader);
        EXPECT_EQ(contents.error, "");
        ASSERT_EQ(contents.frames.size(), 3u) << version;
        EXPECT_EQ(contents.frames[0].data, pattern(60));
        EXPECT_EQ(contents.frames[1].data, pattern(61, 1));
        EXPECT_EQ(contents.frames[1].originalLength, 1500u);
        EXPECT_EQ(contents.frames[2].capturedLength, 0u);
    }
}

TEST(SnifferReader, FourBytesThatARecordCallsJunkAreNotPartOfTheFrame)
{
    const TempFile file(SnifferBytes().frame(0, pattern(60), 64, true), "a.cap");
    const auto frame = readFile(file).frames.at(0);
    EXPECT_EQ(frame.data, pattern(60));
    EXPECT_EQ(frame.originalLength, 60u);
}

TEST(SnifferReader, FourBytesThatAreARealChecksumStay)
{
    const TempFile file(SnifferBytes({.realTicks = 1'193'000}).frame(0, pattern(60), 64, true), "a.cap");
    EXPECT_EQ(readFile(file).frames.at(0).capturedLength, 64u);
}

TEST(SnifferReader, AFrameShorterThanItsTrailerIsEmpty)
{
    auto bytes = SnifferBytes().frame(0, {}, 2, true).bytes();
    bytes[128 + 10] = 3; // captured
    const auto contents = readFile(TempFile(bytes, "a.cap"));
    ASSERT_EQ(contents.frames.size(), 1u);
    EXPECT_EQ(contents.frames[0].capturedLength, 0u);
    EXPECT_EQ(contents.frames[0].originalLength, 0u);
}

TEST(SnifferReader, WhatLiesBehindTheEndIsNoRecord)
{
    const TempFile file(SnifferBytes().frame(0, pattern(60)).leftovers(pattern(300)), "a.cap");
    EXPECT_EQ(readFile(file).frames.size(), 1u);
}

/// Three records, of which the last was written first: the buffer had wrapped, with a piece of an old record between.
SnifferBytes wrapped()
{
    SnifferBytes bytes;
    bytes.frame(2, pattern(60, 2)).frame(3, pattern(61, 3));
    const auto newestEnd = bytes.size();
    bytes.leftovers(pattern(33));
    const auto oldest = bytes.size();
    return bytes.frame(1, pattern(62, 1)).wrapped(oldest, newestEnd);
}

TEST(SnifferReader, AWrappedBufferIsReadFromItsOldestRecord)
{
    for (const auto& bytes : {wrapped(), wrapped().leftovers(pattern(20))}) {
        const TempFile file(bytes, "a.cap");
        const auto contents = readFile(file);
        ASSERT_EQ(contents.frames.size(), 3u);
        for (std::size_t i = 0; i < 3; ++i)
            EXPECT_EQ(contents.frames[i].fraction, i + 1);
        EXPECT_EQ(readBatches(**CaptureFile::open(file)), contents);
    }
}

std::string errorFromPipe(Bytes bytes)
{
    int ends[2];
    EXPECT_EQ(::pipe2(ends, O_CLOEXEC), 0);
    EXPECT_EQ(::write(ends[1], bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
    ::close(ends[1]);
    const auto reader = SnifferReader::open(FileHandle(ends[0]));
    return reader ? std::to_string(readFrames(**reader).frames.size()) + " frames" : reader.error().errorDescription();
}

TEST(SnifferReader, AWrappedBufferCannotComeFromAPipeAndSaysWhatHelps)
{
    EXPECT_EQ(errorFromPipe(SnifferBytes().frame(0, pattern(60))), "1 frames");
    EXPECT_EQ(
        errorFromPipe(wrapped()),
        "I/O error: this Sniffer capture lies in two parts, the older behind the newer, and cannot be read from a "
        "pipe; save it in a file first");
}

TEST(SnifferReader, ACazIsACompressedCapOrACapUnderAnotherName)
{
    const auto bytes = wrapped().bytes();
    EXPECT_EQ(readFile(TempFile(gzipped(bytes), "a.caz")), readFile(TempFile(bytes, "a.cap")));
    EXPECT_EQ(readFile(TempFile(bytes, "a.caz")).frames.size(), 3u);
}

TEST(SnifferReader, AFileThatLostItsTailEndsWithItsLastWholeFrame)
{
    const auto whole = SnifferBytes().frame(1, pattern(60)).frame(2, pattern(60)).bytes();
    for (std::size_t cut = 1; cut <= 100; ++cut) {
        const auto contents = readFile(TempFile(Bytes(whole).first(whole.size() - cut), "a.cap"));
        EXPECT_EQ(contents.error, "") << cut;
        EXPECT_EQ(contents.frames.size(), 1u) << cut;
    }
}

TEST(SnifferReader, ARecordThatReachesBehindTheEndIsNotRead)
{
    auto bytes = SnifferBytes().frame(1, pattern(60)).frame(2, pattern(60)).leftovers(pattern(500)).bytes();
    bytes[128 + 100 + 10] = 61; // captured
    EXPECT_EQ(readFile(TempFile(bytes, "a.cap")).frames.size(), 1u);
}

TEST(SnifferReader, EqualOffsetsAreNoFramesWhateverTheCountSays)
{
    const TempFile file(SnifferBytes().frame(1, pattern(60)).wrapped(128, 128), "a.cap");
    EXPECT_EQ(readFile(file), Contents{});
    EXPECT_EQ(readFile(TempFile(SnifferBytes().wrapped(0, 0), "a.cap")), Contents{});
}

TEST(SnifferReader, OddHeadersAreRefused)
{
    EXPECT_EQ(readFile(TempFile(SnifferBytes().cut(1), "a.cap")).error, "File is too small to be a capture.");
    EXPECT_EQ(readFile(TempFile(SnifferBytes({.version = "003.000"}), "a.cap")).error,
              "Invalid capture header: This version of Sniffer captures is not known");
    EXPECT_EQ(readFile(TempFile(SnifferBytes().wrapped(12, 500), "a.cap")).error,
              "Invalid capture header: Sniffer records inside the file header");
}

TEST(SnifferReader, OffsetsBeyondTheFileAreItsEnd)
{
    EXPECT_EQ(readFile(TempFile(SnifferBytes().frame(1, pattern(60)).wrapped(0xffff'0000, 0xffff'ffff), "a.cap")),
              Contents{});
    EXPECT_EQ(readFile(TempFile(SnifferBytes().frame(1, pattern(60)).wrapped(0xffff'0000, 228), "a.cap")).frames.size(),
              1u)
        << "the newer part is there";
}

TEST(SnifferReader, AnyFrameIsFoundAgainByItsPlaceInBothPartsOfAWrappedCapture)
{
    const TempFile file(wrapped(), "a.cap");
    const auto reader = CaptureFile::open(file).value();
    std::vector<std::uint64_t> places;
    while (const auto frame = reader->nextFrame().value())
        places.push_back(reader->offsetOf(*frame));
    const auto expected = readFile(file);
    ASSERT_EQ(places.size(), expected.frames.size());
    const auto second = reader->again().value();
    for (const std::size_t i : {2u, 0u, 1u}) {
        ASSERT_TRUE(second->moveTo(places[i]));
        EXPECT_EQ(KeptFrame(second->nextFrame().value().value()), expected.frames[i]);
    }
}

struct CollectionRow {
    std::string_view file, source; ///< the second holds the same frames in another format
    std::uint64_t slack;           ///< microseconds that the times may differ
};

TEST(SnifferReader, FilesOfTheCollectionHoldTheFramesOfTheirSources)
{
    const auto folder = collection();
    if (!folder)
        GTEST_SKIP() << noCollection;
    const auto& corpus = *folder;
    for (const auto& [file, source, slack] :
         {CollectionRow{"netxray/telnet-v001.000.cap", "telnet/telnet-cooked.pcap", 1000},
          CollectionRow{"netxray/telnet-v001.100.cap", "telnet/telnet-cooked.pcap", 0},
          CollectionRow{"netxray/telnet-v002.002-ring.cap", "telnet/telnet-cooked.pcap", 1},
          CollectionRow{"netxray/smb-v002.001.caz", "netxray/smb-v002.001.cap", 0}}) {
        const auto read = readFile(corpus / file), expected = readFile(corpus / source);
        ASSERT_EQ(read.frames.size(), expected.frames.size()) << file;
        for (std::size_t i = 0; i < read.frames.size(); ++i) {
            EXPECT_EQ(read.frames[i].data, expected.frames[i].data) << file << ", frame " << i + 1;
            EXPECT_EQ(read.frames[i].originalLength, expected.frames[i].originalLength);
            const auto time = [](const KeptFrame& frame) { return frame.seconds * 1'000'000 + frame.fraction; };
            const auto a = time(read.frames[i]), b = time(expected.frames[i]);
            EXPECT_LE(std::max(a, b) - std::min(a, b), slack) << file << ", frame " << i + 1;
        }
    }
    EXPECT_EQ(readFile(corpus / "netxray/igmp-v002.001-trailer.cap").frames.size(), 147u);
    EXPECT_EQ(readFile(corpus / "netxray/smb-v002.001.cap").frames.size(), 125u);
}

} // namespace netrondo::test
