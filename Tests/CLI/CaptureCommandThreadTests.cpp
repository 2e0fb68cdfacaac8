// `netrondo capture` and `netrondo interfaces`.
#include "Support/Captures.h"
#include "Support/Child.h"
#include "Support/Command.h"
#include "Support/Frames.h"
#include "Support/Network.h"
#include "Support/Readers.h"
#include "Support/WaitFor.h"

#include <csignal>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <rapidjson/document.h>
#include <sys/stat.h>
#include <thread>

namespace netrondo::test {
namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;

const auto web = ethernet(ipv4({}, tcp({.destinationPort = 80}, "data")));

/// Frames sent over the cable as long as it lives.
class Traffic {
public:
    explicit Traffic(const Cable& cable, std::chrono::microseconds pause = 1ms)
        : thread_([&cable, pause](const std::stop_token& stop) {
            while (!stop.stop_requested())
                cable.send(web, 1, pause);
        })
    { }

private:
    std::jthread thread_;
};

std::vector<std::string> capture(std::vector<std::string> more)
{
    std::vector<std::string> words = {"capture", "-i", Cable::far, "-f", "tcp port 80"};
    words.insert(words.end(), more.begin(), more.end());
    return words;
}

class CaptureCommandOnCable : public CableTest {
protected:
    /// Sends thirty frames to a command that writes into this file, and waits until they are there.
    void recordThirty(const std::filesystem::path& file)
    {
        waitFor([&] { return sizeOf(file) > 0; }); // it listens
        cable().send(web, 30);
        waitFor([&] { return readFile(file).frames.size() == 30; });
    }
};
class InterfacesCommandOnCable : public CableTest { };

TEST_F(CaptureCommandOnCable, WritesSoManyFrames)
{
    const Traffic traffic(cable());
    const TempFolder folder;
    for (const auto* name : {"a.pcap", "a.pcapng"}) {
        const auto run = netrondo(capture({"-w", (folder / name).string(), "--count", "20"}));
        EXPECT_EQ(run.status, 0) << run.errors;
        EXPECT_EQ(run.output, "");
        EXPECT_THAT(run.errors, testing::StartsWith("20 frames"));
        const auto contents = readFile(folder / name);
        EXPECT_EQ(contents.frames.size(), 20u) << name;
        EXPECT_EQ(contents.frames.at(7).data, web);
    }
}

TEST_F(CaptureCommandOnCable, TakesSeveralInterfacesAtOnceEachWithItsName)
{
    const Traffic traffic(cable());
    const TempFolder folder;
    const auto run = netrondo(capture({"-i", Cable::near, "-w", (folder / "a.pcapng").string(), "--count", "500"}));
    EXPECT_EQ(run.status, 0) << run.errors;
    std::map<std::int64_t, int> frames;
    for (const auto& frame : readFile(folder / "a.pcapng").frames)
        ++frames[frame.interfaceID];
    EXPECT_EQ(frames.size(), 2u);
    EXPECT_EQ(frames[0] + frames[1], 500); // the kernel hands over what it collected of one interface at a time
    const auto bytes = textOfFile(folder / "a.pcapng");
    for (const auto* name : {Cable::near, Cable::far})
        EXPECT_NE(bytes.find(name), bytes.npos) << name;
}

TEST_F(CaptureCommandOnCable, EndsAfterSoManySeconds)
{
    const TempFolder folder;
    const auto before = std::chrono::steady_clock::now();
    const auto run = netrondo(capture({"-w", (folder / "a.pcap").string(), "--duration", "0.5"}));
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_GE(std::chrono::steady_clock::now() - before, 500ms);
    EXPECT_EQ(readFile(folder / "a.pcap"), Contents{}) << "a capture of silence is one all the same";
}

TEST_F(CaptureCommandOnCable, AnInterruptionIsAGoodEnd)
{
    const Traffic traffic(cable());
    const TempFolder folder;
    Process process(capture({"-w", (folder / "a.pcap").string()}));
    waitFor([&] { return sizeOf(folder / "a.pcap") > 1000; }); // it can be read while it grows
    process.signal(SIGINT);
    const auto run = process.end();
    EXPECT_EQ(run.status, 0) << run.errors;
    const auto contents = readFile(folder / "a.pcap");
    EXPECT_EQ(contents.error, "");
    EXPECT_THAT(run.errors, HasSubstr(std::to_string(contents.frames.size()) + " frames"));
}

TEST_F(CaptureCommandOnCable, WithoutAFileItPrintsTheLiveSummary)
{
    const Traffic traffic(cable());
    Process process(capture({}));
    EXPECT_THAT(process.waitFor("\n"), HasSubstr("10.0.0.1 ↔ 10.0.0.2"));
    process.signal(SIGTERM);
    EXPECT_EQ(process.end().status, 0);
}

TEST_F(CaptureCommandOnCable, StandardOutputTakesAPcapStream)
{
    const Traffic traffic(cable());
    const auto run = netrondo(capture({"-w", "-", "--count", "3"}));
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_EQ(readFile(TempFile(asBytes(run.output))).frames.size(), 3u);
}

TEST_F(CaptureCommandOnCable, ARingKeepsTheLastFiles)
{
    const Traffic traffic(cable(), 100us);
    const TempFolder folder;
    const auto run = netrondo(capture({"-w", (folder / "a.pcap").string(), "--ring", "1k,3", "--count", "100"}));
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_EQ(folder.count(), 3u);
    std::size_t frames = 0;
    for (const auto& entry : std::filesystem::directory_iterator(folder.path())) {
        EXPECT_THAT(entry.path().filename().string(), testing::MatchesRegex("a-000[0-9][0-9].pcap"));
        frames += readFile(entry.path()).frames.size();
        EXPECT_LT(entry.file_size(), 1000 + web.size() + 16);
    }
    EXPECT_GT(frames, 10u);
    EXPECT_LT(frames, 100u);
    EXPECT_FALSE(std::filesystem::exists(folder / "a-00001.pcap"));
}

TEST_F(CaptureCommandOnCable, ARingFileThatCannotBeCreatedIsNamedAndTheOthersAreKept)
{
    const Traffic traffic(cable());
    const TempFolder folder;
    std::filesystem::create_directory(folder / "a-00003.pcap"); // in the way
    const auto run = netrondo(capture({"-w", (folder / "a.pcap").string(), "--ring", "1k,5"}));
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.errors, HasSubstr("netrondo: " + (folder / "a-00003.pcap").string() + ": Is a directory\n"));
    for (const auto* name : {"a-00001.pcap", "a-00002.pcap"}) {
        EXPECT_EQ(readFile(folder / name).error, "");
        EXPECT_GT(readFile(folder / name).frames.size(), 3u) << name;
    }
}

TEST_F(CaptureCommandOnCable, AFullDiskIsToldAndKeepsWhatWasCaptured)
{
    const Traffic traffic(cable(), 100us);
    const TempFolder folder;
    const auto path = (folder / "a.pcap").string();
    const auto run = netrondo(capture({"-w", path}), {.fileSizeLimit = 20'000});
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.errors, HasSubstr("netrondo: " + path + ": File too large\n"));
    const auto contents = readFile(path);
    EXPECT_EQ(contents.error, "");
    EXPECT_GT(contents.frames.size(), 200u);
}

TEST_F(CaptureCommandOnCable, AnInterfaceThatGoesDownIsToldAndKeepsWhatWasCaptured)
{
    const TempFolder folder;
    Process process(capture({"-w", (folder / "a.pcap").string()}));
    recordThirty(folder / "a.pcap");
    cable().takeDown();
    const auto run = process.end();
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.errors,
                HasSubstr("netrondo: nrfar: The interface nrfar went down; this brings it up: sudo ip link set nrfar "
                          "up\n"));
    EXPECT_EQ(readFile(folder / "a.pcap").frames.size(), 30u);
}

TEST_F(CaptureCommandOnCable, AnInterfaceThatVanishesIsToldAndKeepsWhatWasCaptured)
{
    const TempFolder folder;
    Process process(capture({"-w", (folder / "a.pcap").string()}));
    recordThirty(folder / "a.pcap");
    cable().remove();
    const auto run = process.end();
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.errors, HasSubstr("netrondo: nrfar: The interface nrfar has vanished; netrondo interfaces lists"));
    EXPECT_EQ(readFile(folder / "a.pcap").frames.size(), 30u);
}

TEST_F(CaptureCommandOnCable, ACaptureProgramThatIsKilledIsToldAndKeepsWhatWasCaptured)
{
    const TempFolder folder;
    Process process(capture({"-w", (folder / "a.pcapng").string()}));
    recordThirty(folder / "a.pcapng");
    const auto program = childOf(process.id());
    ASSERT_GT(program, 0);
    ::kill(program, SIGKILL);
    const auto run = process.end();
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.errors, HasSubstr("the capture program was ended by signal 9; a new capture starts it again\n"));
    EXPECT_THAT(run.errors, HasSubstr("30 frames\n"));
    EXPECT_EQ(readFile(folder / "a.pcapng").frames.size(), 30u);
}

TEST_F(CaptureCommandOnCable, WhatWasCapturedIsKeptWhenItIsKilledItself)
{
    const TempFolder folder;
    Process process(capture({"-w", (folder / "a.pcap").string()}));
    recordThirty(folder / "a.pcap");
    const auto program = childOf(process.id());
    process.signal(SIGKILL);
    process.end();
    EXPECT_EQ(readFile(folder / "a.pcap").frames.size(), 30u);
    waitFor([&] { return !isRunning(program); }); // the capture program does not outlive it
}

TEST(CaptureCommand, WithoutThePrivilegeItSaysWhatGivesIt)
{
    const TempFolder folder;
    const auto run = netrondo({"capture", "-i", "lo", "-w", (folder / "a.pcap").string()}, {.withoutPrivileges = true});
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.errors, HasSubstr("netrondo: lo: No permission to capture on lo. "));
    EXPECT_THAT(run.errors, HasSubstr("sudo setcap cap_net_raw+ep"));
}

TEST(CaptureCommand, AWrongCommandLineEndsWith2)
{
    EXPECT_EQ(netrondo({"capture"}).status, 2);
    EXPECT_EQ(netrondo({"capture", "-i", "lo", "--ring", "1M,3"}).status, 2) << "a ring needs a file";
    for (const auto* ring : {"", "1M", "1M,", ",3", "1M,0", "0,3", "1T,3", "1M,3x", "99999999999999G,3", "-1,3"}) {
        const auto run = netrondo({"capture", "-i", "lo", "-w", "a.pcap", "--ring", ring});
        EXPECT_EQ(run.status, 2) << ring;
    }
    EXPECT_EQ(netrondo({"capture", "-i", "lo", "-w", "a.pcap.gz"}).status, 2);
    EXPECT_EQ(netrondo({"capture", "-i", "lo", "--snaplen", "0"}).status, 2);
}

TEST_F(CaptureCommandOnCable, AFilterThatIsNoneEndsWith2)
{
    const auto run = netrondo({"capture", "-i", Cable::far, "-f", "tcp prt 80"});
    EXPECT_EQ(run.status, 2);
    EXPECT_THAT(run.errors, HasSubstr("The capture filter is none"));
}

TEST(CaptureCommand, AnInterfaceThatIsNotThereIsNamed)
{
    const auto run = netrondo({"capture", "-i", "nrnone"});
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.errors, HasSubstr("There is no interface nrnone"));
}

TEST_F(InterfacesCommandOnCable, ListsNamesStatesAndAddresses)
{
    const auto run = netrondo({"interfaces"});
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_THAT(run.output, testing::ContainsRegex("lo +up, loopback +127.0.0.1"));
    EXPECT_THAT(run.output, testing::ContainsRegex("nrfar +up"));
}

TEST_F(InterfacesCommandOnCable, ListsThemAsJson)
{
    cable().takeDown();
    const auto run = netrondo({"interfaces", "--json"});
    EXPECT_EQ(run.status, 0) << run.errors;
    rapidjson::Document document;
    ASSERT_FALSE(document.Parse(run.output.c_str()).HasParseError()) << run.output;
    std::map<std::string, bool> isUp;
    for (const auto& entry : document.GetArray())
        isUp[entry["name"].GetString()] = entry["isUp"].GetBool();
    EXPECT_TRUE(isUp.at("lo"));
    EXPECT_FALSE(isUp.at("nrfar"));
    EXPECT_TRUE(isUp.contains("any"));
}

} // namespace
} // namespace netrondo::test
