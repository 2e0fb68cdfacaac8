// `netrondo decode`: the packet list and the trees.
#include "Support/Captures.h"
#include "Support/Command.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace netrondo::test {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

const auto request =
    hex("ffffffffffff 02000000000a 0806 0001 0800 06 04 0001 02000000000a 0a000001 000000000000 0a000002");
const auto reply =
    hex("02000000000a 02000000000b 0806 0001 0800 06 04 0002 02000000000b 0a000002 02000000000a 0a000001");

const auto capture =
    PcapBytes().frame(request, {.seconds = 100, .fraction = 5}).frame(reply, {.seconds = 101, .fraction = 7}).bytes();

TEST(DecodeCommand, PrintsOneAlignedRowForEachFrame)
{
    const TempFile file(capture);
    const auto run = netrondo({"decode", file.path().string()});
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_EQ(run.output,
              "    1    0.000000 02:00:00:00:00:0a ff:ff:ff:ff:ff:ff ARP        42 Who has 10.0.0.2? Tell 10.0.0.1\n"
              "    2    1.000002 02:00:00:00:00:0b 02:00:00:00:00:0a ARP        42 10.0.0.2 is at 02:00:00:00:00:0b\n");
}

TEST(DecodeCommand, KeepsNumbersAndTimesWhenItStartsLater)
{
    const TempFile file(capture);
    EXPECT_THAT(netrondo({"decode", file.path().string(), "--from", "2"}).output, StartsWith("    2    1.000002 "));
    EXPECT_THAT(netrondo({"decode", file.path().string(), "--count", "1"}).output, StartsWith("    1    0.000000 "));
    EXPECT_EQ(netrondo({"decode", file.path().string(), "--count", "0"}).output, "");
    EXPECT_EQ(netrondo({"decode", file.path().string(), "--from", "3"}).output, "");
}

TEST(DecodeCommand, FollowsTheFramesBeforeTheFirstThatItShows)
{
    const std::string nfs =
        NETRONDO_SOURCE_DIR "/Samples/protocols/nfs3.pcap"; // replies say what their calls asked for
    for (const auto* form : {"--count=1000000", "--json"}) {
        const auto whole = netrondo({"decode", nfs, form}).output;
        for (const auto* first : {"6", "24", "60"}) {
            const auto part = netrondo({"decode", nfs, form, "--from", first}).output;
            EXPECT_FALSE(part.empty());
            EXPECT_THAT(whole, EndsWith(part)) << form << " from " << first;
        }
    }
}

TEST(DecodeCommand, PrintsTheFieldsOfEveryFrameInOrderAsJson)
{
    const TempFile file(capture);
    const auto run = netrondo({"decode", file.path().string(), "--json", "--from", "2"});
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_THAT(
        run.output,
        StartsWith(R"({"number":2,"time":1.000002,"source":"02:00:00:00:00:0b",)"
                   R"("destination":"02:00:00:00:00:0a","protocol":"ARP","length":42,)"
                   R"("info":"10.0.0.2 is at 02:00:00:00:00:0b","tree":[{"id":"frame","label":"Capture frame",)"));
    EXPECT_THAT(run.output,
                HasSubstr(R"({"id":"arp.spa","label":"ARP sender IP","value":"10.0.0.2","offset":28,"length":4})"));
}

TEST(DecodeCommand, RefusesAFrameNumberOfZero)
{
    const TempFile file(capture);
    EXPECT_EQ(netrondo({"decode", file.path().string(), "--from", "0"}).status, 2);
}

TEST(DecodeCommand, PrintsTheFramesBeforeTheDamage)
{
    auto damaged = capture;
    damaged.resize(damaged.size() - 5);
    const TempFile file(damaged);
    const auto run = netrondo({"decode", file.path().string()});
    EXPECT_THAT(run.output, StartsWith("    1 "));
    EXPECT_EQ(netrondo({"decode", "/no/such/file"}).status, 1);
}

} // namespace
} // namespace netrondo::test
