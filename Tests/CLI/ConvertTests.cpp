// `netrondo convert`: the same frames in another file.
#include "Support/Captures.h"
#include "Support/Command.h"
#include "Support/Frames.h"
#include "Support/Readers.h"

#include <csignal>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace netrondo::test {
namespace {

const auto web = ethernet(ipv4({}, tcp({.destinationPort = 80}, "data")));
const auto name = ethernet(ipv4({}, udp({.destinationPort = 53}, "data")));

PcapBytes someFrames()
{
    return PcapBytes().frame(web, {.seconds = 1}).frame(name, {.seconds = 2}).frame(web, {.seconds = 3});
}

std::string refusal(const Ended& run)
{
    EXPECT_EQ(run.output, "");
    return std::to_string(run.status) + " " + run.errors;
}

TEST(ConvertCommand, WritesTheFormatThatTheNameAsksFor)
{
    const TempFile in(someFrames());
    const TempFolder folder;
    for (const auto* out : {"out.pcap", "out.pcapng"}) {
        const auto run = netrondo({"convert", in.path().string(), (folder / out).string()});
        EXPECT_EQ(run.status, 0) << run.errors;
        EXPECT_EQ(run.output + run.errors, "");
        EXPECT_EQ(readFile(folder / out), readFile(in)) << out;
        const auto format = CaptureFile::open(folder / out).value()->format();
        EXPECT_EQ(rawValue(format), std::string_view(out).substr(4));
    }
}

TEST(ConvertCommand, CopiesTheFramesThatAFilterSelects)
{
    const TempFile in(someFrames());
    const TempFolder folder;
    const auto run = netrondo({"convert", in.path().string(), (folder / "out.pcap").string(), "--filter", "tcp"});
    EXPECT_EQ(run.status, 0) << run.errors;
    const auto out = readFile(folder / "out.pcap");
    ASSERT_EQ(out.frames.size(), 2u);
    EXPECT_EQ(out.frames[1].seconds, 3u);
}

TEST(ConvertCommand, ReadsAndWritesPipes)
{
    const auto bytes = someFrames().bytes();
    const auto run = netrondo({"convert", "-", "-"}, {}, bytes);
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_EQ(run.output, asText(bytes));
}

TEST(ConvertCommand, MayWriteOverItsSource)
{
    const TempFile in(someFrames());
    const auto run = netrondo({"convert", in.path().string(), in.path().string(), "--filter", "dns"});
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_EQ(readFile(in).frames.size(), 1u);
}

TEST(ConvertCommand, AnEmptyCaptureKeepsItsLinkType)
{
    const TempFile in(PcapBytes({.linkType = 113}));
    const TempFolder folder;
    EXPECT_EQ(netrondo({"convert", in.path().string(), (folder / "out.pcap").string()}).status, 0);
    EXPECT_EQ(CaptureFile::open(folder / "out.pcap").value()->interfaceLinkTypes()[0], LinkType::linuxSLL);
}

TEST(ConvertCommand, ADamagedSourceLeavesNothing)
{
    const TempFile in(someFrames().cut(web.size() + 8));
    const TempFolder folder;
    const auto run = netrondo({"convert", in.path().string(), (folder / "out.pcap").string()});
    EXPECT_EQ(refusal(run), "1 netrondo: " + in.path().string() + ": Truncated frame in capture.\n");
    EXPECT_EQ(folder.count(), 0u);
}

TEST(ConvertCommand, AnInterruptionLeavesNothing)
{
    const TempFolder folder;
    Process process({"convert", "-", (folder / "out.pcap").string()});
    process.write(someFrames());
    while (folder.count() == 0) { } // it has begun to write
    process.signal(SIGINT);
    process.write(someFrames().bytes()); // a wait for input does not end by the first signal
    EXPECT_EQ(process.end().status, -SIGINT);
    EXPECT_EQ(folder.count(), 0u);
}

TEST(ConvertCommand, AFullDiskIsToldAndKeepsTheSource)
{
    PcapBytes many;
    for (int i = 0; i < 1000; ++i)
        many.frame(pattern(1000));
    const TempFile in(many);
    const TempFolder folder;
    const auto out = (folder / "out.pcap").string();
    const auto run = netrondo({"convert", in.path().string(), out}, {.fileSizeLimit = 300'000});
    EXPECT_EQ(refusal(run), "1 netrondo: " + out + ": File too large\n");
    EXPECT_EQ(folder.count(), 0u);
    EXPECT_EQ(readFile(in).frames.size(), 1000u);
    EXPECT_EQ(refusal(netrondo({"convert", in.path().string(), "/dev/full"})),
              "1 netrondo: /dev/full: No space left on device\n");
}

TEST(ConvertCommand, AReaderThatGoesAwayEndsItQuietly)
{
    PcapBytes many;
    for (int i = 0; i < 3000; ++i)
        many.frame(pattern(1000));
    Process process({"convert", "-", "-"});
    process.closeOutput();
    process.write(many);
    const auto run = process.end();
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.errors, "");
}

TEST(ConvertCommand, RefusesWhatItCannotWriteBeforeItReads)
{
    EXPECT_THAT(refusal(netrondo({"convert", "missing", "out.pcap.gz"})),
                testing::HasSubstr("compressed captures are not written"));
    EXPECT_EQ(netrondo({"convert", "missing"}).status, 2);
    EXPECT_EQ(netrondo({"convert", "missing", "out.pcap", "--filter", "nonsense =="}).status, 2);
    EXPECT_EQ(refusal(netrondo({"convert", "missing", "out.pcap"})),
              "1 netrondo: missing: No such file or directory\n");
}

} // namespace
} // namespace netrondo::test
