// Opening: the format by the first bytes, gzip underneath, pipes, and everything that is not a capture.
#include "Capture/CaptureFile.h"

#include "Support/Captures.h"
#include "Support/Child.h"
#include "Support/Gzip.h"
#include "Support/Readers.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <random>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <thread>

namespace netrondo::test {
namespace {
constexpr auto tooSmall = "File is too small to be a capture.";
constexpr auto unsupported = "Unsupported capture format. Netrondo opens PCAP, PCAPNG, gzip-compressed captures, and "
                             "Sniffer Pro .cap/.caz.";

std::vector<std::uint8_t> pcap()
{
    return PcapBytes().frame(pattern(60)).frame(pattern(70, 1)).bytes();
}

std::vector<std::uint8_t> pcapng()
{
    return PcapNgBytes().section().interface(1).enhanced(0, pattern(60)).enhanced(0, pattern(70, 1)).bytes();
}

std::string errorOf(const std::filesystem::path& path)
{
    const auto reader = CaptureFile::open(path);
    return reader ? "opened" : reader.error().errorDescription();
}

std::string errorOf(Bytes bytes)
{
    return errorOf(TempFile(bytes).path());
}

/// The format a file is opened as, or the error.
std::string formatOf(Bytes bytes)
{
    const TempFile file(bytes);
    const auto reader = CaptureFile::open(file);
    return reader ? std::string(rawValue((*reader)->format())) : reader.error().errorDescription();
}

/// What happens to the error text when a file is opened by somebody without root's rights.
std::string errorForNobody(const std::filesystem::path& path)
{
    return inChild([&] { return becomeNobody() ? errorOf(path) : "cannot become nobody"; });
}
} // namespace

struct FormatCase {
    std::string_view name, firstBytes;
    std::optional<CaptureFormat> format;
};

class FormatByFirstBytes : public testing::TestWithParam<FormatCase> { };

TEST_P(FormatByFirstBytes, IsFound)
{
    EXPECT_EQ(CaptureFile::formatOf(hex(GetParam().firstBytes)), GetParam().format);
}

INSTANTIATE_TEST_SUITE_P(
    All, FormatByFirstBytes,
    testing::Values(FormatCase{"Sniffer", "58435000", CaptureFormat::sniffer},
                    FormatCase{"SnifferWithMoreBehind", "584350003030312e", CaptureFormat::sniffer},
                    FormatCase{"PcapNg", "0a0d0d0a", CaptureFormat::pcapng},
                    FormatCase{"PcapLittleEndian", "d4c3b2a1", CaptureFormat::pcap},
                    FormatCase{"PcapBigEndian", "a1b2c3d4", CaptureFormat::pcap},
                    FormatCase{"PcapNanosecondsLittleEndian", "4d3cb2a1", CaptureFormat::pcap},
                    FormatCase{"PcapNanosecondsBigEndian", "a1b23c4d", CaptureFormat::pcap},
                    FormatCase{"OldNetXRay", "564c0000", std::nullopt},
                    FormatCase{"ModifiedPcap", "34cdb2a1", std::nullopt}, FormatCase{"Gzip", "1f8b0800", std::nullopt},
                    FormatCase{"AlmostSniffer", "58435001", std::nullopt},
                    FormatCase{"ThreeBytes", "d4c3b2", std::nullopt}, FormatCase{"Nothing", "", std::nullopt}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(CaptureFile, AFileStartingWithXcpAndAZeroIsTakenAsASnifferCaptureEvenIfItWouldMatchAnotherRule)
{
    constexpr auto noSniffer = "Invalid capture header: This version of Sniffer captures is not known";
    auto bytes = pcap();
    std::ranges::copy(hex("58435000"), bytes.begin());
    EXPECT_EQ(formatOf(bytes), noSniffer);
    bytes = pcapng();
    std::ranges::copy(hex("58435000"), bytes.begin());
    EXPECT_EQ(formatOf(bytes), noSniffer);
    EXPECT_EQ(formatOf(gzipped(bytes)), noSniffer);
}

TEST(CaptureFile, OpensWhatTheFirstBytesSayWhateverTheNameSays)
{
    EXPECT_EQ(readFile(TempFile(pcap(), "a.pcapng")).frames.size(), 2);
    EXPECT_EQ(readFile(TempFile(pcapng(), "a.pcap")).frames.size(), 2);
    EXPECT_EQ(readFile(TempFile(gzipped(pcap()), "a.pcap")).frames.size(), 2);
    EXPECT_EQ(readFile(TempFile(pcap(), "a.gz")).frames.size(), 2);
}

TEST(CaptureFile, AGzipFileHoldingAPcapngFileOpensAsPcapng)
{
    EXPECT_EQ(formatOf(gzipped(pcapng())), "pcapng");
    EXPECT_EQ(readFile(TempFile(gzipped(pcapng()))), readFile(TempFile(pcapng())));
}

TEST(CaptureFile, AGzipFileHoldingNothingFailsWithGzipStreamWasEmpty)
{
    const auto reader = CaptureFile::open(TempFile(gzipped({})));
    ASSERT_FALSE(reader);
    EXPECT_EQ(reader.error(), CaptureError::io("gzip stream was empty."));
    EXPECT_EQ(reader.error().errorDescription(), "I/O error: gzip stream was empty.");
}

TEST(CaptureFile, AThreeByteFileIsTooSmallAndAOneByteFileToo)
{
    EXPECT_EQ(errorOf(hex("d4c3b2")), tooSmall);
    EXPECT_EQ(errorOf(hex("d4")), tooSmall);
    EXPECT_EQ(errorOf(hex("1f")), tooSmall);
}

TEST(CaptureFile, FilesOfAFewBytesAreTooSmall)
{
    for (const std::size_t size : {0u, 1u, 2u, 3u})
        EXPECT_EQ(errorOf(pattern(size)), tooSmall) << size;
    EXPECT_EQ(errorOf(Bytes(pcap()).first(23)), tooSmall);
    EXPECT_EQ(errorOf(Bytes(pcapng()).first(11)), tooSmall);
    for (const std::size_t size : {1u, 2u, 3u})
        EXPECT_EQ(errorOf(gzipped(pattern(size))), tooSmall) << size << " bytes compressed";
    EXPECT_EQ(errorOf(gzipped(Bytes(pcap()).first(23))), tooSmall);
}

TEST(CaptureFile, FilesOfAnotherKindAreUnsupported)
{
    EXPECT_EQ(errorOf(asBytes("#!/bin/sh\n")), unsupported);
    EXPECT_EQ(errorOf(pattern(23)), unsupported);
    EXPECT_EQ(errorOf(gzipped(asBytes("some text\n"))), unsupported);
    EXPECT_EQ(errorOf(gzipped(gzipped(pcap()))), unsupported) << "gzip is taken off once";
}

TEST(CaptureFile, MissingFilesAndFoldersAreTheSystemsErrors)
{
    const TempFolder folder;
    EXPECT_EQ(errorOf(folder / "none.pcap"), "No such file or directory");
    EXPECT_EQ(errorOf(folder.path()), "Is a directory");
    EXPECT_EQ(errorOf(TempFile(pcap()).path() / "inside.pcap"), "Not a directory");
}

TEST(CaptureFile, AFileWithoutPermissionIsTheSystemsError)
{
    const TempFolder folder;
    std::filesystem::permissions(folder.path(), std::filesystem::perms(0755));
    append(folder / "locked.pcap", pcap());
    EXPECT_EQ(::chmod((folder / "locked.pcap").c_str(), 0), 0);
    EXPECT_EQ(errorForNobody(folder / "locked.pcap"), "Permission denied");
    EXPECT_EQ(::chmod((folder / "locked.pcap").c_str(), 0444), 0);
    EXPECT_EQ(errorForNobody(folder / "locked.pcap"), "opened");
}

TEST(CaptureFile, GzipThatIsCutYieldsTheFramesBeforeTheCut)
{
    PcapBytes bytes;
    for (std::size_t i = 0; i < 500; ++i)
        bytes.frame(pattern(i, static_cast<std::uint8_t>(i)), {i, i});
    const auto packed = gzipped(bytes);
    const auto whole = readFile(TempFile(bytes)).frames;
    const auto cut = readFile(TempFile(Bytes(packed).first(packed.size() / 2))).frames;
    ASSERT_GT(cut.size(), 10);
    ASSERT_LT(cut.size(), whole.size());
    EXPECT_TRUE(std::ranges::equal(cut, std::span(whole).first(cut.size())));
}

TEST(CaptureFile, InflatingTellsHowFarItHasCome)
{
    std::vector<std::uint8_t> noise(1'000'000); // which does not shrink
    std::minstd_rand random(1);
    std::ranges::generate(noise, [&] { return static_cast<std::uint8_t>(random() >> 8); });
    PcapBytes bytes;
    for (std::size_t at = 0; at < noise.size(); at += 1000)
        bytes.frame(Bytes(noise).subspan(at, 1000));
    const auto packed = gzipped(bytes);
    std::vector<std::uint64_t> offsets;
    const auto reader = CaptureFile::open(TempFile(packed), [&](CaptureReading::Position position) {
        EXPECT_EQ(position.size, packed.size());
        offsets.push_back(position.offset);
        return true;
    });
    ASSERT_TRUE(reader);
    ASSERT_GT(offsets.size(), 10);
    EXPECT_TRUE(std::ranges::is_sorted(offsets));
    EXPECT_LT(offsets.front(), packed.size() / 2);
    EXPECT_EQ(offsets.back(), packed.size());
}

TEST(CaptureFile, InflatingEndsWhenItIsCancelled)
{
    int asked = 0;
    const auto reader = CaptureFile::open(TempFile(gzipped(std::vector<std::uint8_t>(10'000'000))),
                                          [&](CaptureReading::Position) { return ++asked < 3; });
    ASSERT_FALSE(reader);
    EXPECT_EQ(reader.error(), CaptureError::system(ECANCELED));
    EXPECT_EQ(asked, 3);
}

TEST(CaptureFile, GzipThatIsCorruptYieldsNothing)
{
    auto packed = gzipped(pcap());
    packed[packed.size() - 8] ^= 1;
    EXPECT_EQ(readFile(TempFile(packed)), (Contents{{}, "I/O error: gzip inflate failed (-3)."}));
}

TEST(CaptureFile, ASecondGzipMemberIsIgnored)
{
    auto packed = gzipped(pcap());
    const auto more = gzipped(PcapBytes().frame(pattern(90)).bytes());
    packed.insert(packed.end(), more.begin(), more.end());
    EXPECT_EQ(readFile(TempFile(packed)), readFile(TempFile(pcap())));
}

TEST(CaptureFile, GzipLeavesNothingInTheTemporaryDirectory)
{
    auto corrupt = gzipped(pcap());
    corrupt[corrupt.size() - 8] ^= 1;
    for (const auto& [packed, outcome] :
         {std::pair(gzipped(pcap()), "opened"), std::pair(corrupt, "I/O error: gzip inflate failed (-3)."),
          std::pair(gzipped({}), "I/O error: gzip stream was empty."), std::pair(gzipped(pattern(30)), unsupported)}) {
        const TempFile file(packed);
        const TempFolder temporary;
        const auto text = inChild([&]() -> std::string {
            ::setenv("TMPDIR", temporary.path().c_str(), 1);
            const auto reader = CaptureFile::open(file);
            if (temporary.count() != 0)
                return "a file while the reader is open";
            if (!reader)
                return reader.error().errorDescription();
            return readFrames(**reader).frames.size() == 2 ? "opened" : "lost frames";
        });
        EXPECT_EQ(text, outcome);
        EXPECT_EQ(temporary.count(), 0);
    }
}

TEST(CaptureFile, AProgramKilledWhileItInflatesLeavesNothingInTheTemporaryDirectory)
{
    const TempFolder folder, temporary;
    const auto fifo = folder / "endless.gz";
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
    const auto child = ::fork();
    if (child == 0) {
        ::setenv("TMPDIR", temporary.path().c_str(), 1);
        ::_exit(CaptureFile::open(fifo) ? 0 : 1);
    }
    const int writer = ::open(fifo.c_str(), O_WRONLY | O_CLOEXEC);
    const auto packed = gzipped(pattern(5'000'000));
    ASSERT_GT(::write(writer, packed.data(), packed.size() - 100), 0);
    for (int unread = 1; unread > 0;) { // until it waits for the rest
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
        ASSERT_EQ(::ioctl(writer, FIONREAD, &unread), 0);
    }
    ::kill(child, SIGKILL);
    int status = 0;
    ::waitpid(child, &status, 0);
    ::close(writer);
    EXPECT_TRUE(WIFSIGNALED(status)) << "it was still inflating";
    EXPECT_EQ(temporary.count(), 0);
}

TEST(CaptureFile, ATemporaryDirectoryThatIsFullIsAnErrorThatNamesIt)
{
    const TempFile file(gzipped(PcapBytes().frame(pattern(3'000'000))));
    const TempFolder temporary;
    const auto text = inChild([&] {
        ::setenv("TMPDIR", temporary.path().c_str(), 1);
        ::signal(SIGXFSZ, SIG_IGN); // as on a full disk, writing fails
        const rlimit limit{1'000'000, 1'000'000};
        return ::setrlimit(RLIMIT_FSIZE, &limit) == 0 ? errorOf(file.path()) : "no limit";
    });
    EXPECT_EQ(text,
              "I/O error: cannot inflate into the temporary directory " + temporary.path().string()
                  + " (TMPDIR can name another): File too large");
    EXPECT_EQ(temporary.count(), 0);
}

TEST(CaptureFile, ATemporaryDirectoryThatIsNotWritableIsAnErrorThatNamesIt)
{
    const TempFolder temporary, folder;
    append(folder / "a.gz", gzipped(pcap()));
    std::filesystem::permissions(folder.path(), std::filesystem::perms(0755));
    std::filesystem::permissions(temporary.path(), std::filesystem::perms(0555));
    const auto text = inChild([&] {
        ::setenv("TMPDIR", temporary.path().c_str(), 1);
        return becomeNobody() ? errorOf(folder / "a.gz") : "cannot become nobody";
    });
    EXPECT_EQ(text,
              "I/O error: cannot inflate into the temporary directory " + temporary.path().string()
                  + " (TMPDIR can name another): Permission denied");
}

TEST(CaptureFile, ATemporaryDirectoryThatIsMissingIsAnErrorThatNamesIt)
{
    const TempFile file(gzipped(pcap()));
    const auto text = inChild([&] {
        ::setenv("TMPDIR", "/nonexistent", 1);
        return errorOf(file.path());
    });
    EXPECT_EQ(text,
              "I/O error: cannot inflate into the temporary directory /nonexistent (TMPDIR can name another): No such "
              "file or directory");
}

TEST(CaptureFile, WithoutTmpdirGzipIsInflatedInTmp)
{
    const TempFile file(gzipped(pcap()));
    for (const auto* value : {static_cast<const char*>(nullptr), ""})
        EXPECT_EQ(inChild([&] {
                      value ? ::setenv("TMPDIR", value, 1) : ::unsetenv("TMPDIR");
                      return errorOf(file.path());
                  }),
                  "opened");
}

TEST(CaptureFile, AFileThatShrinksWhileItIsReadEndsEarly)
{
    PcapBytes classic;
    auto blocks = PcapNgBytes().section();
    for (std::size_t i = 0; i < 3000; ++i) {
        classic.frame(pattern(984));
        blocks.enhanced(0, pattern(968));
    }
    for (const Bytes bytes : {Bytes(classic), Bytes(blocks)}) {
        const TempFile file(bytes);
        const auto reader = CaptureFile::open(file);
        ASSERT_TRUE((*reader)->nextFrame());
        std::filesystem::resize_file(file, 1'000'024 + 100); // in the body of a record or block
        const auto rest = readBatches(**reader);
        EXPECT_EQ(rest.frames.size(), 999);
        EXPECT_EQ(rest.error, "");
    }
}

TEST(CaptureFile, ProgressIsTheOffsetInTheInflatedFile)
{
    const auto bytes = pcap();
    const auto reader = CaptureFile::open(TempFile(gzipped(bytes)));
    ASSERT_TRUE(reader);
    EXPECT_EQ((*reader)->position().offset, 24);
    EXPECT_EQ((*reader)->position().size, bytes.size());
    ASSERT_TRUE((*reader)->nextFrame());
    EXPECT_EQ((*reader)->position().offset, 24 + 16 + 60);
}

struct UnseekableCase {
    std::string_view name;
    std::vector<std::uint8_t> bytes;
    std::size_t frames;
    std::string_view error;
};

class Unseekable : public testing::TestWithParam<UnseekableCase> {
protected:
    /// Writes the bytes into `path`, some at a time, so that they do not arrive together.
    static void feed(const std::filesystem::path& path, Bytes bytes)
    {
        const int descriptor = ::open(path.c_str(), O_WRONLY | O_CLOEXEC);
        for (std::size_t at = 0; at < bytes.size();) {
            const auto piece = slice(bytes, at, at < 40 ? 3 : 5000);
            if (::write(descriptor, piece.data(), piece.size()) != static_cast<ssize_t>(piece.size()))
                break;
            at += piece.size();
        }
        ::close(descriptor);
    }
    static Contents expected() { return {{}, std::string(GetParam().error)}; }
};

TEST_P(Unseekable, AFifoIsReadLikeAFile)
{
    const TempFolder folder;
    const auto fifo = folder / "fifo";
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
    std::signal(SIGPIPE, SIG_IGN); // a reader that fails early closes its end
    const std::jthread writer([&] { feed(fifo, GetParam().bytes); });
    const auto contents = readFile(fifo);
    EXPECT_EQ(contents.frames.size(), GetParam().frames);
    EXPECT_EQ(contents.error, GetParam().error);
    EXPECT_EQ(contents, readFile(TempFile(GetParam().bytes)));
}

TEST_P(Unseekable, StandardInputIsReadLikeAFile)
{
    const TempFolder folder;
    const auto fifo = folder / "fifo";
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
    std::signal(SIGPIPE, SIG_IGN);
    const std::jthread writer([&] { feed(fifo, GetParam().bytes); });
    const auto text = inChild([&]() -> std::string {
        const int descriptor = ::open(fifo.c_str(), O_RDONLY);
        if (::dup2(descriptor, STDIN_FILENO) < 0)
            return "no standard input";
        ::close(descriptor);
        const auto contents = readFile("-");
        return std::to_string(contents.frames.size()) + " " + contents.error;
    });
    EXPECT_EQ(text, std::to_string(GetParam().frames) + " " + std::string(GetParam().error));
}

std::vector<std::uint8_t> manyFrames()
{
    PcapBytes bytes;
    for (std::size_t i = 0; i < 2000; ++i)
        bytes.frame(pattern(i % 1500, static_cast<std::uint8_t>(i)), {i, i});
    return bytes.bytes();
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, Unseekable,
    testing::Values(
        UnseekableCase{"Pcap", pcap(), 2, ""}, UnseekableCase{"PcapNg", pcapng(), 2, ""},
        UnseekableCase{"GzipOfPcap", gzipped(pcap()), 2, ""}, UnseekableCase{"GzipOfPcapNg", gzipped(pcapng()), 2, ""},
        UnseekableCase{"ManyWindows", manyFrames(), 2000, ""},
        UnseekableCase{"GzipOfManyWindows", gzipped(manyFrames()), 2000, ""},
        UnseekableCase{"CutInABody", PcapBytes().frame(pattern(60)).frame(pattern(60)).cut(1).bytes(), 1, ""},
        UnseekableCase{"CutInAHeader", PcapBytes().frame(pattern(60)).frame({}).cut(1).bytes(), 1,
                       "Truncated frame in capture."},
        UnseekableCase{"ALengthTheRestCannotHold",
                       PcapBytes().frame(pattern(60)).record(0, 0, 0xffffffff, 60, pattern(60)).bytes(), 1, ""},
        UnseekableCase{"ABlockLengthTheRestCannotHold",
                       PcapNgBytes().section().enhanced(0, {}).block(6, {}, 0xfffffff0, 0).bytes(), 1, ""},
        UnseekableCase{"LargeRecord", PcapBytes().frame(pattern(3'000'000)).frame({}).bytes(), 2, ""},
        UnseekableCase{"Nothing", {}, 0, tooSmall}, UnseekableCase{"OneByte", hex("d4"), 0, tooSmall},
        UnseekableCase{"ThreeBytes", hex("d4c3b2"), 0, tooSmall},
        UnseekableCase{"Text", hex("23212f62696e"), 0, unsupported}),
    [](const auto& row) { return std::string(row.param.name); });

} // namespace netrondo::test
