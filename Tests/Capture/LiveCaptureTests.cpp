// Live capture over a virtual cable: what comes in, and everything that can happen to it.
#include "Capture/JoinedCapture.h"

#include "Support/Captures.h"
#include "Support/Child.h"
#include "Support/Live.h"
#include "Support/Network.h"

#include <csignal>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <linux/securebits.h>
#include <sys/prctl.h>

namespace netrondo::test {
namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;

/// A frame of the EtherType that is set aside for experiments, so that nothing else on the cable looks like it.
std::vector<std::uint8_t> frameOf(std::size_t size, std::uint8_t seed = 0)
{
    auto bytes = pattern(size, seed);
    std::ranges::copy(hex("ffffffffffff 02000000000a 88b5"), bytes.begin());
    return bytes;
}

constexpr auto ours = "ether proto 0x88b5";

std::unique_ptr<LiveCapture> listening(LiveCapture::Options options)
{
    auto capture = LiveCapture::start(std::move(options)).value();
    std::array<CaptureFrame, 1> none;
    while (!capture->isListening() && !capture->hasEnded())
        static_cast<void>(capture->nextBatch(none, 10ms));
    return capture;
}

/// The error of a capture that cannot begin.
std::string errorOf(const LiveCapture::Options& options)
{
    const auto capture = LiveCapture::start(options);
    return capture ? collect(**capture).error : capture.error().errorDescription();
}

class LiveCaptureOnCable : public CableTest { };

TEST_F(LiveCaptureOnCable, GivesTheFramesThatArriveOnAnInterface)
{
    const auto capture = listening({.interface = Cable::far, .filter = ours});
    ASSERT_TRUE(capture->isListening());
    const auto before = std::time(nullptr);
    for (std::uint8_t i = 0; i < 5; ++i)
        cable().send(frameOf(60U + i, i));
    const auto contents = collect(*capture, framesAtLeast(5));
    ASSERT_EQ(contents.frames.size(), 5u);
    for (std::uint8_t i = 0; i < 5; ++i) {
        EXPECT_EQ(contents.frames[i].data, frameOf(60U + i, i));
        EXPECT_EQ(contents.frames[i].originalLength, 60u + i);
        EXPECT_EQ(contents.frames[i].linkType, LinkType::ethernet);
        EXPECT_NEAR(static_cast<double>(contents.frames[i].seconds), static_cast<double>(before), 10);
    }
}

TEST_F(LiveCaptureOnCable, StopsWhenItIsAskedToAndCountsWhatCame)
{
    const auto capture = listening({.interface = Cable::far, .filter = ours});
    cable().send(frameOf(60), 100);
    auto contents = collect(*capture, framesAtLeast(50));
    capture->stop();
    const auto rest = collect(*capture);
    EXPECT_EQ(rest.error, "");
    EXPECT_EQ(contents.frames.size() + rest.frames.size(), 100u) << "what was on its way still came";
    EXPECT_EQ(capture->counts(), (CaptureCounts{.received = 100}));
    EXPECT_EQ(capture->fault(), LiveCapture::Fault::none);
    EXPECT_EQ(capture->programId(), -1);
}

TEST_F(LiveCaptureOnCable, TakesOnlyWhatTheCaptureFilterSelects)
{
    const auto capture = listening({.interface = Cable::far, .filter = std::string(ours) + " and greater 100"});
    cable().send(frameOf(60));
    cable().send(frameOf(200));
    EXPECT_EQ(collect(*capture, framesAtLeast(1)).frames.at(0).data, frameOf(200));
}

TEST_F(LiveCaptureOnCable, KeepsAsMuchOfAFrameAsTheSnapshotLengthSays)
{
    const auto capture = listening({.interface = Cable::far, .filter = ours, .snaplen = 20});
    cable().send(frameOf(60));
    const auto frame = collect(*capture, framesAtLeast(1)).frames.at(0);
    const auto whole = frameOf(60);
    EXPECT_EQ(frame.data, std::vector(whole.begin(), whole.begin() + 20));
    EXPECT_EQ(frame.originalLength, 60u);
}

TEST(LiveCapture, AnInterfaceThatIsNotThereIsNamed)
{
    EXPECT_EQ(errorOf({.interface = "nrnone"}),
              "There is no interface nrnone; netrondo interfaces lists those there are.");
}

TEST_F(LiveCaptureOnCable, AnInterfaceThatIsDownSaysHowToBringItUp)
{
    cable().takeDown();
    EXPECT_EQ(errorOf({.interface = Cable::far}),
              "The interface nrfar is down; this brings it up: sudo ip link set nrfar up");
}

TEST_F(LiveCaptureOnCable, AnInterfaceThatGoesDownEndsItAndKeepsWhatCameBefore)
{
    const auto capture = listening({.interface = Cable::far, .filter = ours});
    cable().send(frameOf(60), 3);
    auto contents = collect(*capture, framesAtLeast(3));
    cable().takeDown();
    EXPECT_EQ(collect(*capture),
              (Contents{{}, "The interface nrfar went down; this brings it up: sudo ip link set nrfar up"}));
    EXPECT_EQ(contents.frames.size(), 3u);
    EXPECT_EQ(capture->fault(), LiveCapture::Fault::interfaceDown);
    EXPECT_EQ(capture->counts().received, 3u);
}

TEST_F(LiveCaptureOnCable, AnInterfaceThatVanishesEndsItAndKeepsWhatCameBefore)
{
    const auto capture = listening({.interface = Cable::far, .filter = ours});
    cable().send(frameOf(60), 3);
    auto contents = collect(*capture, framesAtLeast(3));
    cable().remove();
    EXPECT_EQ(collect(*capture),
              (Contents{{}, "The interface nrfar has vanished; netrondo interfaces lists those there are."}));
    EXPECT_EQ(contents.frames.size(), 3u);
    EXPECT_EQ(capture->fault(), LiveCapture::Fault::interface);
}

TEST_F(LiveCaptureOnCable, ACaptureProgramThatIsKilledIsToldAndKeepsWhatCameBefore)
{
    const auto capture = listening({.interface = Cable::far, .filter = ours});
    cable().send(frameOf(60), 3);
    auto contents = collect(*capture, framesAtLeast(3));
    ::kill(capture->programId(), SIGKILL);
    EXPECT_EQ(collect(*capture).error,
              "The capture on nrfar failed: the capture program was ended by signal 9; a new capture starts it again");
    EXPECT_EQ(contents.frames.size(), 3u);
    EXPECT_EQ(capture->fault(), LiveCapture::Fault::program);
}

TEST(LiveCapture, ACaptureProgramThatIsMissingIsNamed)
{
    EXPECT_EQ(errorOf({.interface = "lo", .program = "/nowhere/netrondo-capture"}),
              "The capture program /nowhere/netrondo-capture does not start: No such file or directory.");
}

TEST(LiveCapture, AProgramThatIsAnotherIsNotTakenForOne)
{
    EXPECT_EQ(errorOf({.interface = "lo", .program = "/bin/false"}),
              "The capture on lo failed: the capture program ended with status 1");
    EXPECT_EQ(errorOf({.interface = "lo", .program = "/bin/echo"}),
              "The capture on lo failed: I/O error: What arrives is neither pcap nor pcapng.");
}

TEST(LiveCapture, WithoutThePrivilegeItSaysWhatGivesIt)
{
    const auto text = inChild([] {
        ::prctl(PR_SET_SECUREBITS, SECBIT_NOROOT); // whoever is not root has nothing to lose
        return errorOf({.interface = "lo"});
    });
    const auto program = LiveCapture::programPath().string();
    EXPECT_EQ(text,
              "No permission to capture on lo. The capture program gets it, once, by: sudo setcap cap_net_raw+ep '"
                  + program + "'");
}

TEST_F(LiveCaptureOnCable, AFilterThatIsNoneIsLibpcapsError)
{
    EXPECT_THAT(errorOf({.interface = Cable::far, .filter = "tcp prt 80"}),
                HasSubstr("The capture filter is none: can't parse filter expression: syntax error"));
}

TEST(LiveCapture, ChecksAFilterWithoutCapturing)
{
    EXPECT_TRUE(LiveCapture::checkFilter("tcp port 80"));
    EXPECT_TRUE(LiveCapture::checkFilter(""));
    const auto error = LiveCapture::checkFilter("tcp prt 80");
    ASSERT_FALSE(error);
    EXPECT_THAT(error.error().errorDescription(), HasSubstr("syntax error"));
    EXPECT_FALSE(LiveCapture::checkFilter("ether host 02:00:00:00:00:01", 12)) << "raw IP has no such addresses";
}

TEST_F(LiveCaptureOnCable, ASourceThatNobodyReadsEndsWithItsObject)
{
    pid_t program = -1;
    {
        const auto capture = listening({.interface = Cable::far, .filter = ours});
        program = capture->programId();
        cable().send(frameOf(1500), 2000); // more than the pipe holds
    }
    EXPECT_EQ(::kill(program, 0), -1) << "no program stays behind";
}

class JoinedCaptureOnCable : public CableTest {
protected:
    static std::unique_ptr<JoinedCapture> listening(const std::vector<LiveCapture::Options>& interfaces)
    {
        auto capture = JoinedCapture::start(interfaces).value();
        std::array<CaptureFrame, 1> none;
        while (!capture->reading() && !capture->hasEnded())
            static_cast<void>(capture->nextBatch(none, 10ms));
        return capture;
    }
};

TEST_F(JoinedCaptureOnCable, GivesTheFramesOfAllInterfacesUnderTheirNumbersWithTheirNames)
{
    const auto capture = listening({{.interface = Cable::near, .filter = ours}, {.interface = Cable::far}});
    ASSERT_NE(capture->reading(), nullptr);
    for (std::uint8_t i = 0; i < 5; ++i)
        cable().send(frameOf(60U + i, i)); // each leaves one end and arrives at the other
    const auto contents = collect(*capture, framesAtLeast(10));
    std::map<std::int64_t, std::vector<std::vector<std::uint8_t>>> frames;
    for (const auto& frame : contents.frames)
        frames[frame.interfaceID].push_back(frame.data);
    ASSERT_EQ(frames.size(), 2u);
    EXPECT_EQ(frames[0].size(), 5u);
    EXPECT_EQ(frames[0], frames[1]);
    EXPECT_EQ(capture->reading()->interfaceLinkTypes().size(), 2u);
    ASSERT_EQ(capture->notes()->interfaces.size(), 2u);
    const auto& options = capture->notes()->interfaces[0].options;
    EXPECT_EQ(asText(options.find(PcapNgOptions::interfaceName).value()), "nrnear");
    EXPECT_EQ(asText(options.find(PcapNgOptions::interfaceFilter).value()), std::string(1, '\0') + ours);
    EXPECT_FALSE(capture->notes()->interfaces[1].options.find(PcapNgOptions::interfaceFilter));
    capture->stop();
    EXPECT_EQ(collect(*capture).error, "");
    EXPECT_EQ(capture->countsOfInterfaces().size(), 2u);
}

TEST_F(JoinedCaptureOnCable, WhatEndsOneEndsAllAndKeepsWhatCameBefore)
{
    const auto capture = listening({{.interface = "lo", .filter = ours}, {.interface = Cable::far, .filter = ours}});
    cable().send(frameOf(60), 3);
    const auto contents = collect(*capture, framesAtLeast(3));
    cable().takeDown();
    EXPECT_THAT(collect(*capture).error, testing::HasSubstr("The interface nrfar went down"));
    EXPECT_EQ(contents.frames.size(), 3u);
    EXPECT_EQ(capture->fault(), LiveCapture::Fault::interfaceDown);
    EXPECT_TRUE(capture->hasEnded());
}

TEST_F(JoinedCaptureOnCable, OneThatCannotBeginIsAnErrorOfAll)
{
    const auto capture = JoinedCapture::start({{.interface = Cable::far}, {.interface = "nrnone"}}).value();
    EXPECT_EQ(collect(*capture).error, "There is no interface nrnone; netrondo interfaces lists those there are.");
    EXPECT_EQ(capture->reading(), nullptr);
}

} // namespace
} // namespace netrondo::test
