// `netrondo follow`: a line for each pull of a file that grows.
#include "Support/Captures.h"
#include "Support/Command.h"
#include "Support/Frames.h"

#include <csignal>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <rapidjson/document.h>
#include <sstream>
#include <sys/stat.h>

namespace netrondo::test {
namespace {

using testing::HasSubstr;

const auto frame = ethernet(ipv4({}, tcp({}, "data")));
const std::string quick = "0.01";

std::vector<std::uint64_t> packetTotals(const std::string& output)
{
    std::vector<std::uint64_t> totals;
    std::istringstream lines(output);
    for (std::string line; std::getline(lines, line);) {
        rapidjson::Document document;
        document.Parse(line.c_str());
        EXPECT_FALSE(document.HasParseError()) << line;
        totals.push_back(document["totalPackets"].GetUint64());
    }
    return totals;
}

TEST(FollowCommand, PrintsALineForEveryPull)
{
    const TempFile file(PcapBytes().frame(frame).frame(frame));
    const auto run = netrondo({"follow", file.path().string(), "--pulls", "3", "--interval", quick});
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_EQ(std::count(run.output.begin(), run.output.end(), '\n'), 3) << run.output;
    EXPECT_THAT(run.output, HasSubstr("10.0.0.1 ↔ 10.0.0.2"));
}

TEST(FollowCommand, PrintsTheResultOfEveryPullAsJson)
{
    const TempFile file(PcapBytes().frame(frame).frame(frame));
    const auto run = netrondo({"follow", file.path().string(), "--json", "--pulls", "2", "--interval", quick});
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_THAT(packetTotals(run.output), testing::ElementsAre(2, 2));
}

TEST(FollowCommand, WritesALineOutAtOnceAndSeesWhatWasAppended)
{
    const PcapBytes all = PcapBytes().frame(frame).frame(frame).frame(frame);
    const auto bytes = Bytes(all);
    const auto record = frame.size() + 16;
    const TempFile file(bytes.first(24 + record + 10)); // the second record has only begun
    Process process({"follow", file.path().string(), "--json", "--interval", quick});
    process.waitFor("\"totalPackets\":1,");
    append(file, bytes.subspan(24 + record + 10));
    process.waitFor("\"totalPackets\":3,");
    process.signal(SIGINT);
    const auto run = process.end();
    EXPECT_EQ(run.status, -SIGINT);
    EXPECT_EQ(run.errors, "");
}

TEST(FollowCommand, WaitsForTheHeaderOfAFileThatHasJustBeenMade)
{
    const PcapBytes all = PcapBytes().frame(frame);
    const auto bytes = Bytes(all);
    const TempFile file(bytes.first(10));
    Process process({"follow", file.path().string(), "--json", "--pulls", "2000", "--interval", quick});
    append(file, bytes.subspan(10));
    process.waitFor("\"totalPackets\":1,");
    process.signal(SIGTERM);
    EXPECT_EQ(process.end().status, -SIGTERM);
}

TEST(FollowCommand, AHeaderThatNeverComesIsAFailure)
{
    const TempFile file(PcapBytes().cut(1));
    const auto run = netrondo({"follow", file.path().string(), "--pulls", "3", "--interval", quick});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.output, "");
    EXPECT_EQ(run.errors, "netrondo: " + file.path().string() + ": File is too small to be a capture.\n");
}

TEST(FollowCommand, AHeaderOfAnotherFormatIsAFailureAtOnce)
{
    const TempFile file(PcapNgBytes().section().interface(1));
    const auto run = netrondo({"follow", file.path().string()});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.output, "");
    EXPECT_EQ(run.errors,
              "netrondo: " + file.path().string() + ": Invalid capture header: Not a PCAP magic: a0d0d0a\n");
}

TEST(FollowCommand, AMissingFileIsAFailureAtOnce)
{
    const TempFolder folder;
    const auto run = netrondo({"follow", (folder / "missing").string()});
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.errors, HasSubstr("No such file or directory"));
}

TEST(FollowCommand, AFifoIsRefusedAsAPipeIs)
{
    const TempFolder folder;
    const auto fifo = folder / "live";
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
    const auto run = netrondo({"follow", fifo.string(), "--pulls", "2"});
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.output, "");
    EXPECT_THAT(run.errors, HasSubstr("a pipe cannot be followed: netrondo analyze " + fifo.string()));
}

TEST(FollowCommand, AReaderThatGoesAwayEndsItQuietly)
{
    const TempFile file(PcapBytes().frame(frame));
    Process process({"follow", file.path().string(), "--json", "--interval", quick});
    process.waitFor("\n");
    process.closeOutput();
    const auto run = process.end();
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.errors, "");
}

} // namespace
} // namespace netrondo::test
