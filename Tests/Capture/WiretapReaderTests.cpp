// The optional capture-file library: further formats with it, the usual refusal without.
#include "Capture/WiretapReader.h"

#include "Support/Captures.h"
#include "Support/Command.h"
#include "Support/Gzip.h"
#include "Support/Readers.h"
#include "Support/SampleFrames.h"

#include <gtest/gtest.h>

namespace netrondo::test {
namespace {

/// What takes the module; it is skipped in a tree without it.
class WithTheLibrary : public testing::Test {
protected:
    void SetUp() override
    {
        if (!NETRONDO_HAS_WIRETAP_MODULE)
            GTEST_SKIP() << "the module for the capture-file library is not built (Tools/prepare formats installs what "
                            "it takes)";
        ASSERT_TRUE(WiretapReader::isAvailable());
    }
};

/// A snoop file (RFC 1761) of Ethernet frames.
std::vector<std::uint8_t> snoop(const std::vector<std::vector<std::uint8_t>>& frames)
{
    OrderedBytes out(ByteOrder::big);
    out.bytes(asBytes(std::string_view("snoop\0\0\0", 8)));
    out.u32(2);
    out.u32(4);
    std::uint64_t seconds = 1'000'000'000;
    for (const auto& frame : frames) {
        const auto padded = (frame.size() + 3) / 4 * 4;
        for (const auto word : {std::uint64_t{frame.size() + 10}, std::uint64_t{frame.size()},
                                std::uint64_t{24 + padded}, std::uint64_t{0}, seconds++, std::uint64_t{250'000}})
            out.u32(word);
        out.bytes(frame);
        out.padTo4();
    }
    return out.all();
}

constexpr auto unsupported = "Unsupported capture format. Netrondo opens PCAP, PCAPNG, gzip-compressed captures, and "
                             "Sniffer Pro .cap/.caz.";

TEST_F(WithTheLibrary, ReadsAFormatThatWeDoNot)
{
    const TempFile file(snoop({pattern(60), pattern(61, 1)}), "a.snoop");
    const auto reader = CaptureFile::open(file);
    ASSERT_TRUE(reader) << reader.error().errorDescription();
    EXPECT_EQ((*reader)->format(), CaptureFormat::wiretap);
    ASSERT_EQ((*reader)->interfaceLinkTypes().size(), 1u);
    EXPECT_EQ((*reader)->interfaceLinkTypes()[0], LinkType::ethernet);
    const auto contents = readFrames(**reader);
    EXPECT_EQ(contents.error, "");
    ASSERT_EQ(contents.frames.size(), 2u);
    EXPECT_EQ(contents.frames[0].data, pattern(60));
    EXPECT_EQ(contents.frames[1].data, pattern(61, 1));
    EXPECT_EQ(contents.frames[1].originalLength, 71u);
    EXPECT_EQ(contents.frames[1].seconds, 1'000'000'001u);
    EXPECT_EQ(contents.frames[1].fraction, 250'000u);
    EXPECT_EQ(contents.frames[1].linkType, LinkType::ethernet);
}

TEST_F(WithTheLibrary, GivesTheSameOneByOneAndInBatchesAndCompressed)
{
    const auto bytes = snoop({pattern(60), {}, pattern(61, 1)});
    const auto expected = readFile(TempFile(bytes));
    EXPECT_EQ(expected.frames.size(), 3u);
    EXPECT_EQ(readBatches(**CaptureFile::open(TempFile(bytes))), expected);
    EXPECT_EQ(readFile(TempFile(gzipped(bytes))), expected);
}

TEST_F(WithTheLibrary, WhatItTakesCanBeConverted)
{
    const TempFile file(snoop({pattern(60)}), "a.snoop");
    const TempFolder folder;
    const auto run = netrondo({"convert", file.path().string(), (folder / "a.pcapng").string()});
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_EQ(readFile(folder / "a.pcapng").frames.at(0).data, pattern(60));
}

TEST_F(WithTheLibrary, ADamagedFileIsAnErrorBehindTheFramesBeforeIt)
{
    auto bytes = snoop({pattern(60), pattern(60)});
    bytes.resize(bytes.size() - 10);
    const auto contents = readFile(TempFile(bytes));
    EXPECT_EQ(contents.frames.size(), 1u);
    EXPECT_NE(contents.error, "");
}

TEST(WiretapReader, PicturesAndTextsAreNoCapturesWhoeverIsAsked)
{
    for (const auto text : {"%PDF-1.7 and more", "#!/bin/sh\necho\n", "{\"a\": 1}\n", "GIF89a and more and more",
                            "\x89PNG\r\n\x1a\n and more and more", "just some words, on and on\n"})
        EXPECT_EQ(readFile(TempFile(asBytes(text))).error, unsupported) << text;
}

TEST(WiretapReader, WithoutTheLibraryTheFormatIsUnsupported)
{
    const TempFile file(snoop({pattern(60)}), "a.snoop");
    const auto run = netrondo({"frames", file.path().string()}, {.environment = {"NETRONDO_WIRETAP=/nowhere"}});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.output, "");
    EXPECT_EQ(run.errors, "netrondo: " + file.path().string() + ": " + unsupported + "\n");
}

TEST(WiretapReader, AModuleThatIsNoneIsLeftAlone)
{
    const TempFile file(snoop({pattern(60)}), "a.snoop");
    const TempFile module(asBytes("no module"), "netrondo-wiretap.so");
    const auto run =
        netrondo({"frames", file.path().string()}, {.environment = {"NETRONDO_WIRETAP=" + module.path().string()}});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.errors, "netrondo: " + file.path().string() + ": " + unsupported + "\n");
}

struct CollectionRow {
    std::string_view file;
    std::size_t frames;
    LinkType linkType;
};

TEST_F(WithTheLibrary, FilesOfTheCollectionOpen)
{
    const auto folder = collection();
    if (!folder)
        GTEST_SKIP() << noCollection;
    for (const auto& [file, frames, linkType] :
         {CollectionRow{"appletalk/genbroad.snoop", 250, LinkType::ethernet},
          CollectionRow{"format-other/100_packets.erf", 100, LinkType::ethernet},
          CollectionRow{"format-other/5_packets.erf.gz", 5, LinkType::ethernet},
          CollectionRow{"format-other/Mixed1.cap", 117, LinkType::ethernet},
          CollectionRow{"format-other/Ethernet_Pause_Frame.cap", 2, LinkType::ethernet},
          CollectionRow{"netxray/telnet-netxray1.cap", 92, LinkType::ethernet},
          CollectionRow{"netxray/telnet.enc", 92, LinkType::ethernet}}) {
        const auto contents = readFile(*folder / file);
        EXPECT_EQ(contents.error, "") << file;
        ASSERT_EQ(contents.frames.size(), frames) << file;
        EXPECT_EQ(contents.frames[0].linkType, linkType) << file;
    }
}

} // namespace
} // namespace netrondo::test
