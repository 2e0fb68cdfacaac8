// PCAP over IP against a server of our own: what arrives, and everything a peer can do.
#include "Capture/PcapOverIp.h"

#include "Support/Captures.h"
#include "Support/Live.h"
#include "Support/Server.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <thread>

namespace netrondo::test {
namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;

PcapOverIp::Options to(const Server& server, bool reconnect = false)
{
    return {
        .server = {"127.0.0.1", server.port()}, .reconnect = reconnect, .connectTimeout = 5s, .reconnectPause = 20ms};
}

void connect(PcapOverIp& source, Server& server)
{
    std::jthread accepting([&] { server.accept(); });
    const auto before = source.connections();
    collect(source, [&](const Contents&) { return source.connections() > before; });
}

PcapBytes capture(std::uint32_t linkType = 1)
{
    return PcapBytes({.linkType = linkType}).frame(pattern(60)).frame(pattern(1000, 1)).frame(pattern(61, 2));
}
} // namespace

struct ServerCase {
    std::string_view text;
    std::optional<CaptureServer> server;
};

TEST(CaptureServer, IsReadFromText)
{
    for (const auto& [text, server] :
         {ServerCase{"probe", CaptureServer{"probe", 57012}}, ServerCase{"probe:1", CaptureServer{"probe", 1}},
          ServerCase{"10.0.0.1:65535", CaptureServer{"10.0.0.1", 65535}},
          ServerCase{"fe80::1", CaptureServer{"fe80::1", 57012}}, ServerCase{"[::1]", CaptureServer{"::1", 57012}},
          ServerCase{"[::1]:77", CaptureServer{"::1", 77}}, ServerCase{"", std::nullopt},
          ServerCase{":57012", std::nullopt}, ServerCase{"probe:", std::nullopt}, ServerCase{"probe:0", std::nullopt},
          ServerCase{"probe:65536", std::nullopt}, ServerCase{"probe:1x", std::nullopt},
          ServerCase{"[::1", std::nullopt}, ServerCase{"[::1]77", std::nullopt}, ServerCase{"[]:1", std::nullopt}}) {
        EXPECT_EQ(CaptureServer::parse(text), server) << text;
        if (server) {
            EXPECT_EQ(CaptureServer::parse(server->text()), server) << text;
        }
    }
}

TEST(PcapOverIp, GivesTheFramesUntilThePeerCloses)
{
    Server server;
    PcapOverIp source(to(server));
    connect(source, server);
    server.send(capture());
    server.hangUp();
    EXPECT_EQ(collect(source), readFile(TempFile(capture())));
    EXPECT_TRUE(source.hasEnded());
    EXPECT_EQ(source.counts().received, 3u);
}

TEST(PcapOverIp, ReachesAServerByItsName)
{
    Server server;
    auto options = to(server);
    options.server.host = "localhost";
    PcapOverIp source(options);
    connect(source, server);
    EXPECT_TRUE(source.isConnected());
}

TEST(PcapOverIp, ReachesAServerByIpv6)
{
    std::optional<Server> server;
    try {
        server.emplace(AF_INET6);
    } catch (const std::system_error& error) {
        if (error.code() != std::errc::address_family_not_supported && error.code() != std::errc::address_not_available)
            throw;
        GTEST_SKIP() << "no IPv6 on this machine: " << error.what();
    }
    PcapOverIp source({.server = {"::1", server->port()}});
    connect(source, *server);
    EXPECT_TRUE(source.isConnected());
}

TEST(PcapOverIp, TakesPcapngToo)
{
    Server server;
    PcapOverIp source(to(server));
    connect(source, server);
    server.send(PcapNgBytes().section().interface(1).enhanced(0, pattern(60)));
    EXPECT_EQ(collect(source, framesAtLeast(1)).frames.at(0).data, pattern(60));
    ASSERT_NE(source.reading(), nullptr);
    EXPECT_EQ(source.reading()->format(), CaptureFormat::pcapng);
}

TEST(PcapOverIp, NobodyThereIsAnErrorThatSaysWhatMustListen)
{
    Server server;
    const auto port = std::to_string(server.port());
    PcapOverIp source(to(server));
    server.close();
    EXPECT_EQ(collect(source).error,
              "No connection to 127.0.0.1:" + port
                  + ": Connection refused. Something must listen there, as in: tcpdump -U "
                    "-w - | nc -l "
                  + port);
    EXPECT_TRUE(source.hasEnded());
}

TEST(PcapOverIp, ANameThatIsNoneIsAnError)
{
    PcapOverIp source({.server = {"no such name", 1}, .connectTimeout = 20s});
    EXPECT_THAT(collect(source).error, HasSubstr("No connection to no such name:1: "));
}

TEST(PcapOverIp, APeerThatDoesNotAnswerIsGivenUp)
{
    // An address that is set aside for documentation: nothing answers, or the network says at once that it is nowhere.
    PcapOverIp source({.server = {"192.0.2.1", 57012}, .connectTimeout = 300ms});
    EXPECT_THAT(collect(source).error, HasSubstr("No connection to 192.0.2.1:57012: "));
}

TEST(PcapOverIp, AStreamCutInARecordKeepsAllBeforeIt)
{
    Server server;
    PcapOverIp source(to(server));
    connect(source, server);
    server.send(capture().cut(10));
    server.hangUp();
    const auto contents = collect(source);
    EXPECT_EQ(contents.frames.size(), 2u);
    EXPECT_THAT(contents.error,
                HasSubstr("closed the connection in the middle of a frame; those before it are kept. "
                          "Connecting again may help."));
}

TEST(PcapOverIp, AResetIsAnErrorAndKeepsAllBeforeIt)
{
    Server server;
    PcapOverIp source(to(server));
    connect(source, server);
    server.send(capture());
    auto contents = collect(source, framesAtLeast(3));
    server.reset();
    EXPECT_THAT(collect(source).error, HasSubstr("failed: Connection reset by peer"));
    EXPECT_EQ(contents.frames.size(), 3u);
}

TEST(PcapOverIp, GarbageIsAnError)
{
    Server server;
    PcapOverIp source(to(server));
    connect(source, server);
    server.send(asBytes("HTTP/1.1 400 Bad Request\r\n\r\n"));
    EXPECT_THAT(collect(source).error, HasSubstr("What arrives is neither pcap nor pcapng."));
}

TEST(PcapOverIp, GarbageBehindGoodFramesKeepsThem)
{
    Server server;
    PcapOverIp source(to(server));
    connect(source, server);
    server.send(capture());
    server.send(std::vector<std::uint8_t>(100, 0xff));
    const auto contents = collect(source);
    EXPECT_EQ(contents.frames.size(), 3u);
    EXPECT_THAT(contents.error, HasSubstr("the stream is damaged or out of step"));
}

TEST(PcapOverIp, APeerThatStallsIsWaitedForAndCanBeStopped)
{
    Server server;
    PcapOverIp source(to(server));
    connect(source, server);
    server.send(Bytes(capture()).first(24 + 16 + 10));
    std::array<CaptureFrame, 1> frames;
    for (int i = 0; i < 5; ++i)
        EXPECT_EQ(source.nextBatch(frames, 5ms).value(), 0u);
    EXPECT_FALSE(source.hasEnded());
    const std::jthread stopping([&] {
        std::this_thread::sleep_for(20ms);
        source.stop();
    });
    const auto before = std::chrono::steady_clock::now();
    while (!source.hasEnded())
        EXPECT_EQ(source.nextBatch(frames, 60s).value(), 0u);
    EXPECT_LT(std::chrono::steady_clock::now() - before, 30s) << "the wait was cut short";
}

TEST(PcapOverIp, CanBeStoppedWhileItConnects)
{
    PcapOverIp source({.server = {"192.0.2.1", 57012}, .connectTimeout = 60s});
    std::array<CaptureFrame, 1> frames;
    const std::jthread stopping([&] {
        std::this_thread::sleep_for(20ms);
        source.stop();
    });
    while (!source.hasEnded())
        static_cast<void>(source.nextBatch(frames, 60s));
    SUCCEED();
}

TEST(PcapOverIp, HoldsTheSenderBackWhileNobodyAsksForFrames)
{
    Server server;
    PcapOverIp source(to(server));
    connect(source, server);
    server.send(PcapBytes());
    const auto record = PcapBytes().frame(pattern(1000)).bytes();
    const auto frame = Bytes(record).subspan(24);
    // What the two sockets hold between them is some megabytes; a reader that took everything would take this.
    std::size_t taken = 0;
    constexpr std::size_t enough = 200 << 20;
    for (int refused = 0; refused < 50 && taken < enough;) {
        std::size_t sent = server.sendWhatIsTaken(frame);
        if (sent > 0 && sent < frame.size())
            break; // full
        taken += sent;
        refused = sent == 0 ? refused + 1 : 0;
        if (sent == 0)
            std::this_thread::sleep_for(1ms);
    }
    EXPECT_LT(taken, enough);
    EXPECT_GT(collect(source, framesAtLeast(100)).frames.size(), 99u) << "and then goes on";
}

TEST(PcapOverIp, ConnectsAgainAfterEveryEndAndTakesWhatComesThenForANewCapture)
{
    Server server;
    PcapOverIp source(to(server, true));
    connect(source, server);
    server.send(capture());
    server.hangUp();
    collect(source, framesAtLeast(3));
    connect(source, server);
    server.send(PcapBytes({.order = ByteOrder::big, .nanoseconds = true, .linkType = 113}).frame(pattern(70)));
    const auto contents = collect(source, framesAtLeast(1));
    server.reset();
    EXPECT_EQ(contents.frames.at(0).linkType, LinkType::linuxSLL);
    EXPECT_EQ(contents.frames.at(0).data, pattern(70));
    connect(source, server);
    EXPECT_EQ(source.connections(), 3u);
    EXPECT_NE(source.lastFailure(), "");
    EXPECT_FALSE(source.hasEnded());
}

TEST(PcapOverIp, KeepsTryingWhereNobodyIsYet)
{
    Server server;
    PcapOverIp source(to(server, true));
    server.close();
    std::array<CaptureFrame, 1> frames;
    while (source.lastFailure().empty())
        EXPECT_EQ(source.nextBatch(frames, 20ms).value(), 0u);
    EXPECT_FALSE(source.hasEnded());
    EXPECT_THAT(source.lastFailure(), HasSubstr("Connection refused"));
}

} // namespace netrondo::test
