// Writing: what is written reads back the same, a file has its name only when it is whole, and a full disk is told.
#include "Capture/CaptureWriter.h"

#include "Support/Captures.h"
#include "Support/Child.h"
#include "Support/Readers.h"

#include <csignal>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

namespace netrondo::test {
namespace {

constexpr SourceInterface ethernet{.linkNumber = 1, .snaplen = 0, .isNanosecond = false};
constexpr SourceInterface ethernetInNanoseconds{.linkNumber = 1, .snaplen = 0, .isNanosecond = true};

CaptureFrame frameOf(Bytes data)
{
    CaptureFrame frame;
    frame.capturedLength = frame.originalLength = static_cast<std::uint32_t>(data.size());
    frame.linkType = LinkType::ethernet;
    frame.data = data;
    return frame;
}

std::unique_ptr<CaptureWriter> writerOf(const std::filesystem::path& path, CaptureWriter::Options options = {})
{
    options.format = CaptureWriter::formatFor(path).value();
    return CaptureWriter::create(path, options).value();
}

/// Reads one file and writes its frames into another.
void copyFrames(const std::filesystem::path& from, const std::filesystem::path& to)
{
    const auto reader = CaptureFile::open(from).value();
    const auto writer = writerOf(to);
    while (const auto frame = reader->nextFrame().value())
        ASSERT_TRUE(writer->write(*frame, *reader));
    ASSERT_TRUE(writer->finish());
}

/// The time of each frame in nanoseconds, as the file means it.
std::vector<std::int64_t> timesIn(const std::filesystem::path& path)
{
    const auto reader = CaptureFile::open(path).value();
    std::vector<std::int64_t> times;
    while (const auto frame = reader->nextFrame().value())
        times.push_back(reader->nanoseconds(*frame));
    return times;
}

constexpr std::int64_t second = 1'000'000'000;

PcapNgBytes twoInterfaces()
{
    return PcapNgBytes()
        .section()
        .interface(1)
        .interface(113, 96)
        .enhanced(0, pattern(61), 5'000'001)
        .enhanced(1, pattern(40, 1), 5'000'002, 90)
        .enhanced(0, pattern(0), 5'000'003);
}
} // namespace

struct CopyCase {
    std::string_view name;
    PcapBytes::Header header;
};

class CopiedPcap : public testing::TestWithParam<CopyCase> { };

TEST_P(CopiedPcap, HoldsTheSameFrames)
{
    const TempFile source(PcapBytes(GetParam().header)
                              .frame(pattern(60), {.seconds = 1'700'000'000, .fraction = 999'999})
                              .frame(pattern(61, 1), {.seconds = 4'294'967'295, .fraction = 7, .originalLength = 1500})
                              .frame({}));
    const TempFolder folder;
    const auto original = readFile(source);
    ASSERT_EQ(original.frames.size(), 3u);
    for (const auto* name : {"copy.pcap", "copy.pcapng"}) {
        copyFrames(source, folder / name);
        EXPECT_EQ(timesIn(folder / name), timesIn(source)) << name;
    }
    EXPECT_EQ(readFile(folder / "copy.pcap"), original);
}

INSTANTIATE_TEST_SUITE_P(
    Headers, CopiedPcap,
    testing::Values(CopyCase{"LittleEndian", {}}, CopyCase{"BigEndian", {.order = ByteOrder::big}},
                    CopyCase{"Nanoseconds", {.nanoseconds = true}},
                    CopyCase{"BigEndianNanoseconds", {.order = ByteOrder::big, .nanoseconds = true}},
                    CopyCase{"CutShort", {.snaplen = 61}}, CopyCase{"RawIp", {.linkType = 12}},
                    CopyCase{"AnUnknownLinkType", {.linkType = 147}}, CopyCase{"RawIpAs101", {.linkType = 101}}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(CaptureWriter, KeepsALinkTypeNumberThatTheAnalysisDoesNotKnow)
{
    for (const std::uint32_t number : {0u, 12u, 101u, 147u, 276u}) {
        const TempFile source(PcapBytes({.linkType = number}).frame(pattern(30)));
        const TempFolder folder;
        for (const auto* name : {"copy.pcap", "copy.pcapng"}) {
            copyFrames(source, folder / name);
            const auto reader = CaptureFile::open(folder / name).value();
            const auto frame = reader->nextFrame().value().value();
            EXPECT_EQ(reader->interfaceOf(frame).linkNumber, number) << name;
        }
    }
}

TEST(CaptureWriter, KeepsTheInterfacesOfAPcapngFileApart)
{
    const TempFile source(twoInterfaces(), "a.pcapng");
    const TempFolder folder;
    copyFrames(source, folder / "copy.pcapng");
    EXPECT_EQ(readFile(folder / "copy.pcapng"), readFile(source));
    const auto copied = CaptureFile::open(folder / "copy.pcapng").value();
    copied->nextFrame();
    const auto second = copied->nextFrame().value().value();
    EXPECT_EQ(copied->interfaceOf(second), (SourceInterface{.linkNumber = 113, .snaplen = 96, .isNanosecond = false}));
}

TEST(CaptureWriter, APcapFileRefusesASecondLinkTypeAndNamesPcapng)
{
    const TempFile source(twoInterfaces(), "a.pcapng");
    const TempFolder folder;
    const auto reader = CaptureFile::open(source).value();
    const auto writer = writerOf(folder / "copy.pcap");
    EXPECT_TRUE(writer->write(reader->nextFrame().value().value(), *reader));
    const auto refused = writer->write(reader->nextFrame().value().value(), *reader);
    ASSERT_FALSE(refused);
    EXPECT_EQ(refused.error().errorDescription(),
              "I/O error: a pcap file holds frames of one link type only, and these are of the types 1 and 113; a name "
              "that ends in .pcapng asks for a file that holds both");
}

TEST(CaptureWriter, ANanosecondInterfaceStaysOneWhateverTheFormat)
{
    const auto options = hex("0900 0100 09000000 00000000"); // if_tsresol: billionths
    const TempFile source(PcapNgBytes().section().interface(1, 0, options).enhanced(0, pattern(60), 5'123'456'789));
    const TempFolder folder;
    for (const auto* name : {"copy.pcap", "copy.pcapng"}) {
        copyFrames(source, folder / name);
        EXPECT_EQ(timesIn(folder / name), std::vector{5 * second + 123'456'789}) << name;
    }
    EXPECT_TRUE(CaptureFile::open(folder / "copy.pcap").value()->isNanosecond());
}

TEST(CaptureWriter, ATimeThatAFormatCannotHoldIsRefused)
{
    const TempFolder folder;
    const auto data = pattern(60);
    const auto pcap = writerOf(folder / "a.pcap");
    const auto late = pcap->write(frameOf(data), 4'294'967'296 * second, ethernet);
    ASSERT_FALSE(late);
    EXPECT_NE(late.error().errorDescription().find("4294967296 seconds away from 1970"), std::string::npos);
    const auto pcapng = writerOf(folder / "a.pcapng");
    EXPECT_TRUE(pcapng->write(frameOf(data), 4'294'967'296 * second, ethernet));
    EXPECT_FALSE(pcapng->write(frameOf(data), -1, ethernet));
    EXPECT_FALSE(pcap->write(frameOf(data), -1, ethernet));
}

TEST(CaptureWriter, AFileHasItsNameOnlyWhenItIsWhole)
{
    const TempFolder folder;
    append(folder / "a.pcap", asBytes("what was there before"));
    {
        const auto writer = writerOf(folder / "a.pcap");
        ASSERT_TRUE(writer->write(frameOf(pattern(60)), 0, ethernet));
        ASSERT_TRUE(writer->flush());
        EXPECT_EQ(std::filesystem::file_size(folder / "a.pcap"), 21u);
        ASSERT_TRUE(writer->finish());
    }
    EXPECT_EQ(readFile(folder / "a.pcap").frames.size(), 1u);
    EXPECT_EQ(folder.count(), 1u);
}

TEST(CaptureWriter, AnUnfinishedFileLeavesWhatWasThereBefore)
{
    const TempFolder folder;
    append(folder / "a.pcap", asBytes("what was there before"));
    ASSERT_TRUE(writerOf(folder / "a.pcap")->write(frameOf(pattern(60)), 0, ethernet));
    EXPECT_EQ(std::filesystem::file_size(folder / "a.pcap"), 21u);
    EXPECT_EQ(folder.count(), 1u);
}

TEST(CaptureWriter, AFileWithItsNameFromTheStartCanBeReadWhileItGrowsAndStaysWhenItIsNotFinished)
{
    const TempFolder folder;
    {
        const auto writer = writerOf(folder / "a.pcap", {.naming = FileNaming::fromTheStart});
        ASSERT_TRUE(writer->begin(ethernet));
        ASSERT_TRUE(writer->flush());
        EXPECT_EQ(readFile(folder / "a.pcap"), Contents{});
        for (int i = 1; i <= 3; ++i) {
            ASSERT_TRUE(writer->write(frameOf(pattern(60)), 0, ethernet));
            EXPECT_EQ(writer->frames(), static_cast<std::uint64_t>(i));
            ASSERT_TRUE(writer->flush());
            EXPECT_EQ(readFile(folder / "a.pcap").frames.size(), static_cast<std::size_t>(i));
            EXPECT_EQ(writer->size(), std::filesystem::file_size(folder / "a.pcap"));
        }
        ASSERT_TRUE(writer->write(frameOf(pattern(60)), 0, ethernet));
    }
    EXPECT_EQ(readFile(folder / "a.pcap").frames.size(), 4u);
}

TEST(CaptureWriter, ALinkStaysALink)
{
    const TempFolder folder;
    append(folder / "real.pcap", {});
    std::filesystem::create_symlink("real.pcap", folder / "link.pcap");
    ASSERT_TRUE(writerOf(folder / "link.pcap")->finish());
    EXPECT_TRUE(std::filesystem::is_symlink(folder / "link.pcap"));
    EXPECT_EQ(std::filesystem::file_size(folder / "real.pcap"), 24u);
}

TEST(CaptureWriter, AFileWithoutFramesIsAFileAllTheSame)
{
    const TempFolder folder;
    for (const auto* name : {"a.pcap", "a.pcapng"}) {
        ASSERT_TRUE(writerOf(folder / name)->finish());
        EXPECT_EQ(readFile(folder / name), Contents{}) << name;
    }
}

TEST(CaptureWriter, AFolderThatIsMissingIsTheSystemsError)
{
    const TempFolder folder;
    const auto writer = CaptureWriter::create(folder / "missing" / "a.pcap", {});
    ASSERT_FALSE(writer);
    EXPECT_EQ(writer.error().errorDescription(), "No such file or directory");
    EXPECT_EQ(CaptureWriter::create(folder.path(), {}).error().errorDescription(), "Is a directory");
}

/// Writes frames until the disk, here a limit on the size of files, has no more room.
std::string writeUntilFull(const std::filesystem::path& path, FileNaming naming, std::size_t limit)
{
    return inChild([&] {
        const rlimit most{limit, limit};
        ::setrlimit(RLIMIT_FSIZE, &most);
        std::signal(SIGXFSZ, SIG_IGN); // the write fails instead, as on a full disk
        const auto data = pattern(1000);
        const auto writer = writerOf(path, {.naming = naming});
        for (int i = 0; i < 1000; ++i)
            if (const auto written = writer->write(frameOf(data), 0, ethernet); !written)
                return written.error().errorDescription() + " / " + writer->finish().error().errorDescription();
        return std::string("everything was written");
    });
}

TEST(CaptureWriter, AFullDiskIsToldAndLeavesNothingOfAFileThatIsNotWhole)
{
    const TempFolder folder;
    for (const auto* name : {"a.pcap", "a.pcapng"})
        EXPECT_EQ(writeUntilFull(folder / name, FileNaming::whenWhole, 400'000), "File too large / File too large");
    EXPECT_EQ(folder.count(), 0u);
}

TEST(CaptureWriter, AFullDiskKeepsTheWholeFramesOfAFileThatGrows)
{
    const TempFolder folder;
    for (const auto* name : {"a.pcap", "a.pcapng"}) {
        EXPECT_EQ(writeUntilFull(folder / name, FileNaming::fromTheStart, 400'000), "File too large / File too large");
        const auto kept = readFile(folder / name);
        EXPECT_EQ(kept.error, "") << name;
        EXPECT_GT(kept.frames.size(), 380u) << name;
        EXPECT_LT(kept.frames.size(), 400u) << name;
        // Nothing behind the last whole frame: another reader would complain about it.
        EXPECT_EQ(CaptureFile::open(folder / name).value()->position().size, std::filesystem::file_size(folder / name));
        const auto reader = CaptureFile::open(folder / name).value();
        readFrames(*reader);
        EXPECT_EQ(reader->position().offset, std::filesystem::file_size(folder / name)) << name;
    }
}

TEST(CaptureWriter, ADeviceWithoutRoomSaysSo)
{
    const auto writer = CaptureWriter::create("/dev/full", {}).value();
    ASSERT_TRUE(writer->write(frameOf(pattern(60)), 0, ethernet));
    EXPECT_EQ(writer->finish().error().errorDescription(), "No space left on device");
}

struct WrittenNameCase {
    std::string_view path;
    std::optional<CaptureFormat> format;
};

TEST(CaptureWriter, TheNameAsksForTheFormat)
{
    for (const auto& [path, format] :
         {WrittenNameCase{"a.pcapng", CaptureFormat::pcapng}, WrittenNameCase{"A.PCAPNG", CaptureFormat::pcapng},
          WrittenNameCase{"a.pcap", CaptureFormat::pcap}, WrittenNameCase{"a.cap", CaptureFormat::pcap},
          WrittenNameCase{"a", CaptureFormat::pcap}, WrittenNameCase{"-", CaptureFormat::pcap},
          WrittenNameCase{"a.pcap.gz", std::nullopt}, WrittenNameCase{"a.caz", std::nullopt}})
        EXPECT_EQ(CaptureWriter::formatFor(path), format) << path;
}

TEST(CaptureWriter, PcapngKeepsCommentsAndCounts)
{
    const TempFolder folder;
    PcapNgNotes notes;
    notes.section.addText(PcapNgOptions::comment, "about the file");
    PcapNgOptions comment;
    comment.addText(PcapNgOptions::comment, "about the frame");
    const auto writer = writerOf(folder / "a.pcapng", {.notes = &notes});
    const auto data = pattern(61);
    ASSERT_TRUE(writer->write(frameOf(data), second, ethernet, comment));
    ASSERT_TRUE(writer->finish(std::array{CaptureCounts{.received = 1, .dropped = 2, .interfaceDropped = 3}}));
    const auto content = textOfFile(folder / "a.pcapng");
    const auto section = std::string(asText(hex("0100 0e00"))) + "about the file" + std::string(2, '\0');
    const auto frame = std::string(asText(hex("0100 0f00"))) + "about the frame" + std::string(1, '\0');
    const auto counts = std::string(
        asText(hex("05000000 40000000 00000000 00000000 40420f00 0400 0800 0100000000000000 0500 0800 0300000000000000"
                   "0700 0800 0200000000000000 00000000 40000000")));
    EXPECT_NE(content.find(section), std::string::npos);
    EXPECT_NE(content.find(frame), std::string::npos);
    EXPECT_TRUE(content.ends_with(counts));
    EXPECT_EQ(readFile(folder / "a.pcapng").frames.at(0).data, data);
}

TEST(CaptureWriter, FramesThatCountInNanosecondsOpenAnInterfaceOfTheirOwn)
{
    const TempFolder folder;
    const auto writer = writerOf(folder / "a.pcapng");
    const auto data = pattern(60);
    ASSERT_TRUE(writer->write(frameOf(data), second + 5'000, ethernet));
    ASSERT_TRUE(writer->write(frameOf(data), 2 * second + 7, ethernetInNanoseconds));
    ASSERT_TRUE(writer->finish());
    EXPECT_EQ(timesIn(folder / "a.pcapng"), (std::vector{second + 5'000, 2 * second + 7}));
    EXPECT_EQ(CaptureFile::open(folder / "a.pcapng").value()->interfaceLinkTypes().size(), 0u)
        << "before the first frame";
}

} // namespace netrondo::test
