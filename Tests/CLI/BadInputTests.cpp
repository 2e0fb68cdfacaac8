// What a capture that cannot be read gets: its sentence on standard error, exit status 1, and no partial result.
#include "Support/Captures.h"
#include "Support/Command.h"
#include "Support/Gzip.h"

#include <array>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

namespace netrondo::test {
namespace {

constexpr std::array subcommands = {"analyze", "frames", "classify"};
constexpr auto tooSmall = "File is too small to be a capture.";
constexpr auto unsupported = "Unsupported capture format. Netrondo opens PCAP, PCAPNG, gzip-compressed captures, and "
                             "Sniffer Pro .cap/.caz.";

/// Every subcommand that reads a capture says this sentence about it.
void expectRefusal(const std::filesystem::path& path, const std::string& sentence,
                   const Surroundings& surroundings = {})
{
    for (const auto* subcommand : subcommands) {
        const auto run = netrondo({subcommand, path.string()}, surroundings);
        EXPECT_EQ(run.status, 1) << subcommand;
        EXPECT_EQ(run.errors, "netrondo: " + path.string() + ": " + sentence + "\n") << subcommand;
        EXPECT_EQ(run.output, "") << subcommand;
    }
}

PcapBytes someFrames(std::size_t count)
{
    PcapBytes capture;
    for (std::size_t i = 0; i < count; ++i)
        capture.frame(pattern(60, static_cast<std::uint8_t>(i)), {.seconds = i});
    return capture;
}

TEST(BadInput, AMissingFileIsNamed)
{
    const TempFolder folder;
    expectRefusal(folder / "missing.pcap", "No such file or directory");
}

TEST(BadInput, ADirectoryIsNoCapture)
{
    const TempFolder folder;
    expectRefusal(folder.path(), "Is a directory");
}

TEST(BadInput, AFileThatMayNotBeReadIsNamed)
{
    const TempFile file(someFrames(1));
    ::chmod(file.path().c_str(), 0);
    expectRefusal(file, "Permission denied", {.withoutPrivileges = true});
}

TEST(BadInput, AnEmptyFileIsTooSmall)
{
    expectRefusal(TempFile(Bytes{}), tooSmall);
}

TEST(BadInput, AFileOfOneByteIsTooSmall)
{
    expectRefusal(TempFile(hex("d4")), tooSmall);
}

TEST(BadInput, AFileOfThreeBytesIsTooSmall)
{
    expectRefusal(TempFile(hex("d4c3b2")), tooSmall);
}

TEST(BadInput, AFileOf23BytesIsTooSmall)
{
    expectRefusal(TempFile(PcapBytes().cut(1)), tooSmall);
}

TEST(BadInput, AFileOfAnotherFormatIsUnsupported)
{
    expectRefusal(TempFile(asBytes("%PDF-1.7 and more")), unsupported);
}

TEST(BadInput, GzipOfNothingIsEmpty)
{
    expectRefusal(TempFile(gzipped({})), "I/O error: gzip stream was empty.");
}

TEST(BadInput, GzipCutBeforeItsFirstByteIsEmpty)
{
    const auto whole = gzipped(someFrames(3).bytes());
    expectRefusal(TempFile(Bytes(whole).first(10)), "I/O error: gzip stream was empty.");
}

TEST(BadInput, CorruptGzipIsNamedWithItsCode)
{
    auto broken = gzipped(someFrames(3).bytes());
    broken[10] = 0xff; // a block of the type that is reserved
    expectRefusal(TempFile(broken), "I/O error: gzip inflate failed (-3).");
}

TEST(BadInput, GzipWithAnotherCaptureBehindItReadsTheFirst)
{
    auto two = gzipped(someFrames(3).bytes());
    const auto second = gzipped(someFrames(5).bytes());
    two.insert(two.end(), second.begin(), second.end());
    const auto run = netrondo({"frames", TempFile(two).path().string()});
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_EQ(std::count(run.output.begin(), run.output.end(), '\n'), 3);
}

TEST(BadInput, ATemporaryFolderThatIsMissingIsNamed)
{
    const TempFile file(gzipped(someFrames(3).bytes()));
    const auto run = netrondo({"analyze", file.path().string()}, {.environment = {"TMPDIR=/nowhere/at/all"}});
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.errors, testing::StartsWith("netrondo: " + file.path().string() + ": I/O error: "));
    EXPECT_THAT(run.errors, testing::HasSubstr("/nowhere/at/all"));
    EXPECT_EQ(run.output, "");
}

TEST(BadInput, ATemporaryFolderThatMayNotBeWrittenIsNamed)
{
    const TempFolder folder;
    ::chmod(folder.path().c_str(), 0500);
    const TempFile file(gzipped(someFrames(3).bytes()));
    const auto run = netrondo({"analyze", file.path().string()},
                              {.environment = {"TMPDIR=" + folder.path().string()}, .withoutPrivileges = true});
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.errors, testing::StartsWith("netrondo: " + file.path().string() + ": I/O error: "));
    EXPECT_THAT(run.errors, testing::HasSubstr(folder.path().string()));
}

TEST(BadInput, ATemporaryFolderThatIsFullIsNamed)
{
    const TempFolder folder;
    const TempFile file(gzipped(someFrames(3000).bytes()));
    const auto run = netrondo({"analyze", file.path().string()},
                              {.environment = {"TMPDIR=" + folder.path().string()}, .fileSizeLimit = 100'000});
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.errors, testing::StartsWith("netrondo: " + file.path().string() + ": I/O error: "));
    EXPECT_THAT(run.errors, testing::HasSubstr(folder.path().string()));
    EXPECT_EQ(run.output, "");
    EXPECT_EQ(folder.count(), 0u) << "nothing is left behind";
}

TEST(BadInput, ARecordHeaderCutShortPrintsNoPartOfAnAnalysis)
{
    const TempFile file(someFrames(3).cut(60 + 8));
    for (const auto& arguments : {std::vector<std::string>{"analyze"}, {"analyze", "--json"}}) {
        auto all = arguments;
        all.push_back(file.path().string());
        const auto run = netrondo(all);
        EXPECT_EQ(run.status, 1);
        EXPECT_EQ(run.output, "");
        EXPECT_EQ(run.errors, "netrondo: " + file.path().string() + ": Truncated frame in capture.\n");
    }
}

TEST(BadInput, TheFramesBeforeAnErrorArePrintedThenItFails)
{
    const TempFile file(someFrames(3).cut(60 + 8));
    for (const auto* subcommand : {"frames", "classify"}) {
        const auto run = netrondo({subcommand, file.path().string()});
        EXPECT_EQ(run.status, 1);
        EXPECT_EQ(std::count(run.output.begin(), run.output.end(), '\n'), 2);
        EXPECT_EQ(run.errors, "netrondo: " + file.path().string() + ": Truncated frame in capture.\n");
    }
}

TEST(BadInput, ARecordBodyCutShortIsTheEndOfTheData)
{
    const TempFile file(someFrames(3).cut(8));
    const auto run = netrondo({"frames", file.path().string()});
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_EQ(std::count(run.output.begin(), run.output.end(), '\n'), 2);
}

TEST(BadInput, AFileThatShrinksWhileItIsReadEndsInGoodOrder)
{
    const TempFile file(someFrames(100'000)); // 7.6 MB, and nobody reads the output: the command waits in its middle
    Process process({"frames", file.path().string()});
    process.waitFor("\n");
    std::filesystem::resize_file(file.path(), 1000);
    const auto run = process.end();
    EXPECT_THAT(run.status, testing::AnyOf(0, 1));
    EXPECT_LT(std::count(run.output.begin(), run.output.end(), '\n'), 100'000);
    EXPECT_EQ(run.errors.empty(), run.status == 0) << run.errors;
}

TEST(BadInput, AMessageCannotCommandTheTerminal)
{
    const auto run = netrondo({"analyze", "/nowhere/\033[2Jx"});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.errors, "netrondo: /nowhere/\uFFFD[2Jx: No such file or directory\n");
}

TEST(BadInput, StandardOutputThatTakesNothingIsAFailure)
{
    const TempFile file(someFrames(3));
    for (const auto* subcommand : {"analyze", "frames", "classify"}) {
        const auto run = netrondo({subcommand, file.path().string()}, {.output = "/dev/full"});
        EXPECT_EQ(run.status, 1);
        EXPECT_EQ(run.errors, "netrondo: standard output: No space left on device\n");
    }
}

TEST(BadInput, AReaderThatWasNeverThereEndsTheCommandQuietly)
{
    const TempFile file(someFrames(3));
    for (const auto* subcommand : {"analyze", "frames", "classify"}) {
        Process process({subcommand, file.path().string()});
        process.closeOutput();
        const auto run = process.end();
        EXPECT_EQ(run.status, 0);
        EXPECT_EQ(run.errors, "");
    }
}

TEST(BadInput, AReaderThatGoesAwayEndsTheCommandQuietly)
{
    const TempFile file(someFrames(100'000));
    for (const auto* subcommand : {"frames", "classify"}) {
        Process process({subcommand, file.path().string()});
        process.waitFor("\n");
        process.closeOutput();
        const auto run = process.end();
        EXPECT_EQ(run.status, 0);
        EXPECT_EQ(run.errors, "");
    }
}

} // namespace
} // namespace netrondo::test
