// What the writers write, other programs read with the same frames.
#include "Support/Command.h"
#include "Support/Files.h"
#include "Support/Programs.h"

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

class WrittenCapture : public testing::TestWithParam<const char*> { };

TEST_P(WrittenCapture, IsReadByOthersWithTheSameFrames)
{
    if (!isInstalled("tshark") || !isInstalled("capinfos"))
        GTEST_SKIP() << "tshark or capinfos is not installed (Tools/prepare interop installs them)";
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

} // namespace
} // namespace netrondo::test
