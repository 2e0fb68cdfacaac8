// `netrondo receive`: PCAP over IP on the command line, from servers of our own and from the tools people use.
#include "Support/Captures.h"
#include "Support/Command.h"
#include "Support/Frames.h"
#include "Support/Programs.h"
#include "Support/Readers.h"
#include "Support/Server.h"
#include "Support/WaitFor.h"

#include <csignal>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <thread>

namespace netrondo::test {
namespace {

using testing::HasSubstr;

const auto web = ethernet(ipv4({}, tcp({.destinationPort = 80}, "data")));

std::string addressOf(const Server& server)
{
    return "127.0.0.1:" + std::to_string(server.port());
}

TEST(ReceiveCommand, WritesWhatArrivesUntilThePeerCloses)
{
    const TempFolder folder;
    for (const auto* name : {"a.pcap", "a.pcapng"}) {
        Server server;
        Process process({"receive", addressOf(server), "-w", (folder / name).string()});
        server.accept();
        server.send(PcapBytes().frame(web).frame(web, {.seconds = 5}));
        server.hangUp();
        const auto run = process.end();
        EXPECT_EQ(run.status, 0) << run.errors;
        EXPECT_EQ(run.errors, "2 frames\n");
        const auto contents = readFile(folder / name);
        ASSERT_EQ(contents.frames.size(), 2u) << name;
        EXPECT_EQ(contents.frames[1].seconds, 5u);
    }
}

TEST(ReceiveCommand, WithoutAFileItPrintsTheLiveSummary)
{
    Server server;
    Process process({"receive", addressOf(server)});
    server.accept();
    server.send(PcapBytes().frame(web));
    EXPECT_THAT(process.waitFor("\n"), HasSubstr("10.0.0.1 ↔ 10.0.0.2"));
    process.signal(SIGINT);
    EXPECT_EQ(process.end().status, 0);
}

TEST(ReceiveCommand, AResetIsAFailureThatKeepsWhatWasReceived)
{
    const TempFolder folder;
    Server server;
    Process process({"receive", addressOf(server), "-w", (folder / "a.pcap").string()});
    server.accept();
    server.send(PcapBytes().frame(web));
    waitFor([&] { return sizeOf(folder / "a.pcap") >= 24 + 16 + web.size(); });
    server.reset();
    const auto run = process.end();
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.errors,
                HasSubstr("netrondo: " + addressOf(server) + ": The stream from " + addressOf(server)
                          + " failed: Connection reset by peer. Connecting again may help.\n"));
    EXPECT_EQ(readFile(folder / "a.pcap").frames.size(), 1u);
}

TEST(ReceiveCommand, GarbageIsAFailureThatKeepsWhatWasReceived)
{
    const TempFolder folder;
    Server server;
    Process process({"receive", addressOf(server), "-w", (folder / "a.pcap").string()});
    server.accept();
    server.send(PcapBytes().frame(web).frame(web));
    server.send(std::vector<std::uint8_t>(100, 0xff));
    const auto run = process.end();
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.errors, HasSubstr("the stream is damaged or out of step. Connecting again may help.\n"));
    EXPECT_THAT(run.errors, HasSubstr("2 frames\n"));
    EXPECT_EQ(readFile(folder / "a.pcap").frames.size(), 2u);
}

TEST(ReceiveCommand, APeerThatStallsIsWaitedForAndCanBeInterrupted)
{
    const TempFolder folder;
    Server server;
    Process process({"receive", addressOf(server), "-w", (folder / "a.pcap").string()});
    server.accept();
    server.send(PcapBytes().frame(web));
    server.send(std::vector<std::uint8_t>(8)); // half the header of a record
    waitFor([&] { return sizeOf(folder / "a.pcap") >= 24 + 16 + web.size(); });
    process.signal(SIGINT);
    const auto run = process.end();
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_EQ(run.errors, "1 frame\n");
    EXPECT_EQ(readFile(folder / "a.pcap").frames.size(), 1u);
}

TEST(ReceiveCommand, AFullDiskIsToldAndKeepsWhatWasReceived)
{
    const TempFolder folder;
    Server server;
    const auto path = (folder / "a.pcapng").string();
    Process process({"receive", addressOf(server), "-w", path}, {.fileSizeLimit = 4000});
    server.accept();
    PcapBytes capture;
    for (int i = 0; i < 100; ++i)
        capture.frame(web);
    server.send(capture);
    const auto run = process.end();
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.errors, HasSubstr("netrondo: " + path + ": File too large\n"));
    EXPECT_GT(readFile(path).frames.size(), 20u);
}

TEST(ReceiveCommand, ConnectsAgainWhenItIsAskedTo)
{
    const TempFolder folder;
    Server server;
    Process process({"receive", addressOf(server), "-w", (folder / "a.pcap").string(), "--reconnect"});
    for (int i = 0; i < 2; ++i) { // the second after the pause of five seconds
        server.accept();
        server.send(PcapBytes().frame(web));
        server.hangUp();
    }
    waitFor([&] { return sizeOf(folder / "a.pcap") >= 24 + 2 * (16 + web.size()); });
    process.signal(SIGINT);
    EXPECT_EQ(process.end().status, 0);
    EXPECT_EQ(readFile(folder / "a.pcap").frames.size(), 2u);
}

TEST(ReceiveCommand, NobodyThereIsAFailureAndTouchesNoFile)
{
    const TempFile old(PcapBytes().frame(web));
    Server server;
    const auto address = addressOf(server);
    server.close();
    const auto run = netrondo({"receive", address, "-w", old.path().string()});
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.errors, testing::StartsWith("netrondo: " + address + ": No connection to " + address));
    EXPECT_EQ(readFile(old).frames.size(), 1u);
}

TEST(ReceiveCommand, AnAddressThatIsNoneEndsWith2)
{
    for (const auto* address : {"", ":1", "a:b", "a:99999", "[::1"})
        EXPECT_EQ(netrondo({"receive", address}).status, 2) << address;
}

TEST(ReceiveCommand, TakesWhatTcpdumpAndNetcatServe)
{
    if (!isInstalled("tcpdump") || !isInstalled("nc"))
        GTEST_SKIP() << "tcpdump or nc is not installed (Tools/prepare interop installs them)";
    std::string port;
    {
        Server free;
        port = std::to_string(free.port());
    }
    const auto sample = NETRONDO_SOURCE_DIR "/Samples/web.pcap";
    const std::jthread serving([&] {
        const auto served = std::system(
            (std::string("tcpdump -U -r ") + sample + " -w - 2> /dev/null | nc -l -N 127.0.0.1 " + port).c_str());
        EXPECT_EQ(served, 0);
    });
    const TempFolder folder;
    Ended run;
    for (int attempt = 0; attempt < 100; ++attempt) {
        run = netrondo({"receive", "127.0.0.1:" + port, "-w", (folder / "a.pcap").string()});
        if (run.status == 0)
            break;
        std::this_thread::sleep_for(std::chrono::milliseconds(50)); // it does not listen yet
    }
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_EQ(readFile(folder / "a.pcap"), readFile(sample));
}

} // namespace
} // namespace netrondo::test
