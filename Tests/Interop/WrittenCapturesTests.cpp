// What the writers write, other programs read with the same frames.
#include "Capture/CaptureWriter.h"
#include "Support/Captures.h"
#include "Support/Command.h"
#include "Support/Files.h"
#include "Support/Programs.h"

#include <array>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace netrondo::test {
namespace {

/// Time, lengths, link layer and bytes of every frame, as another program sees them.
std::string framesSeenByTshark(const std::filesystem::path& path)
{
    return printed("tshark -n -r '" + path.string()
                   + "' -o frame.generate_md5_hash:TRUE -T fields -e frame.time_epoch -e frame.len -e frame.cap_len "
                     "-e frame.encap_type -e frame.md5_hash");
}

bool areInstalled()
{
    return isInstalled("tshark") && isInstalled("capinfos");
}
constexpr auto areMissing = "tshark or capinfos is not installed (Tools/prepare interop installs them)";

class WrittenCapture : public testing::TestWithParam<const char*> { };

TEST_P(WrittenCapture, IsReadByOthersWithTheSameFrames)
{
    if (!areInstalled())
        GTEST_SKIP() << areMissing;
    const auto source = std::filesystem::path(NETRONDO_SOURCE_DIR "/Samples") / GetParam();
    const auto expected = framesSeenByTshark(source);
    const TempFolder folder;
    for (const auto* name : {"copy.pcap", "copy.pcapng"}) {
        const auto run = netrondo({"convert", source.string(), (folder / name).string()});
        ASSERT_EQ(run.status, 0) << run.errors;
        EXPECT_EQ(framesSeenByTshark(folder / name), expected) << name;
        EXPECT_EQ(printed("capinfos -Tmrc '" + (folder / name).string() + "' | cut -d, -f2"),
                  printed("capinfos -Tmrc '" + source.string() + "' | cut -d, -f2"))
            << name;
    }
}

INSTANTIATE_TEST_SUITE_P(Samples, WrittenCapture,
                         testing::Values("protocols/any-cooked.pcap", "protocols/arp.pcap",
                                         "protocols/cut-short.snap96.pcap", "protocols/http.ns.pcap",
                                         "protocols/ntp.be.pcap", "protocols/sip-rtp.pcapng.gz",
                                         "protocols/stp-lldp-cdp.pcapng"),
                         [](const auto& row) {
                             std::string name = row.param;
                             std::erase_if(name, [](unsigned char c) { return !std::isalnum(c); });
                             return name;
                         });

/// A file with all that the writer knows to say beside frames.
void writeNotes(const std::filesystem::path& path)
{
    PcapNgNotes notes;
    notes.section.addText(PcapNgOptions::comment, "about the file");
    notes.interfaces = {{1, 96, 9, {}, {}}, {113, 262'144, 6, {}, {}}};
    notes.interfaces[0].options.addText(PcapNgOptions::interfaceName, "eth0");
    notes.interfaces[0].options.addText(PcapNgOptions::interfaceFilter, std::string(1, '\0') + "tcp port 80");
    notes.interfaces[1].options.addText(PcapNgOptions::interfaceName, "any");
    PcapNgOptions comment;
    comment.addText(PcapNgOptions::comment, "about the frame");
    const auto writer = CaptureWriter::create(path, {.format = CaptureFormat::pcapng, .notes = &notes}).value();
    const auto data = pattern(60);
    CaptureFrame frame;
    frame.data = data;
    frame.capturedLength = 60;
    frame.originalLength = 99;
    constexpr std::int64_t second = 1'000'000'000;
    ASSERT_TRUE(writer->write(frame, 1000 * second + 123'456'789, {1, 96, true}, comment));
    frame.interfaceID = 1;
    ASSERT_TRUE(writer->write(frame, 1001 * second + 123'456'789, {113, 262'144, false}));
    ASSERT_TRUE(writer->finish(std::array{CaptureCounts{.received = 11, .dropped = 22, .interfaceDropped = 33},
                                          CaptureCounts{.received = 44}}));
}

TEST(WrittenPcapng, IsReadByOthersWithItsCommentsNamesTimesAndCounts)
{
    if (!areInstalled())
        GTEST_SKIP() << areMissing;
    const TempFolder folder;
    const auto path = folder / "a.pcapng";
    writeNotes(path);
    const auto frames = printed("tshark -n -r '" + path.string()
                                + "' -T fields -E separator=, -e frame.interface_id -e frame.interface_name "
                                  "-e frame.time_epoch -e frame.cap_len -e frame.len -e frame.comment");
    // Behind a line about whoever runs it as root.
    EXPECT_THAT(frames,
                testing::EndsWith("0,eth0,1000.123456789,60,99,about the frame\n1,any,1001.123456000,60,99,\n"));
    const auto facts = printed("capinfos '" + path.string() + "'");
    for (const auto* fact :
         {"Capture comment:     about the file", "Capture application: Netrondo", "Number of interfaces in file: 2",
          "Name = eth0", "Capture length = 96", "Time precision = nanoseconds (9)", "Filter string = tcp port 80",
          "Name = any", "Encapsulation = Linux cooked-mode capture", "Time precision = microseconds (6)",
          "Number of stat entries = 1"})
        EXPECT_THAT(facts, testing::HasSubstr(fact));
    const auto blocks = printed("tshark -X 'read_format:MIME Files Format' -r '" + path.string() + "' -V");
    for (const auto* count : {"Number of Received Packets = 11", "Number of Packets Dropped by OS = 22",
                              "Number of Dropped Packets = 33", "Number of Received Packets = 44"})
        EXPECT_THAT(blocks, testing::HasSubstr(count));
}

} // namespace
} // namespace netrondo::test
