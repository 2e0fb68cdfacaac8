// What only a terminal gets: colour, its own width, a progress bar; and what an interrupt does.
#include "Support/Captures.h"
#include "Support/Command.h"
#include "Support/Frames.h"

#include <csignal>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

namespace netrondo::test {
namespace {

using testing::HasSubstr;
using testing::Not;

constexpr auto sample = NETRONDO_SOURCE_DIR "/Samples/web.pcap";
constexpr auto escape = "\033[";

Ended onTerminal(const std::vector<std::string>& arguments, Surroundings surroundings = {})
{
    surroundings.onTerminal = true;
    return Process(arguments, surroundings).end();
}

TEST(Terminal, GetsColour)
{
    EXPECT_THAT(onTerminal({"analyze", sample}).output, HasSubstr(escape));
}

TEST(Terminal, GetsNoColourWhenTheUserWantsNone)
{
    EXPECT_THAT(onTerminal({"analyze", sample}, {.environment = {"NO_COLOR=1"}}).output, Not(HasSubstr(escape)));
}

TEST(Terminal, AnEmptyNoColorIsNoWish)
{
    EXPECT_THAT(onTerminal({"analyze", sample}, {.environment = {"NO_COLOR="}}).output, HasSubstr(escape));
}

TEST(Terminal, ADumbOneGetsNoColour)
{
    EXPECT_THAT(onTerminal({"analyze", sample}, {.environment = {"TERM=dumb"}}).output, Not(HasSubstr(escape)));
}

TEST(Terminal, APipeGetsNoColour)
{
    EXPECT_THAT(netrondo({"analyze", sample}).output, Not(HasSubstr(escape)));
}

TEST(Terminal, DecidesTheWidth)
{
    auto shown = onTerminal({"analyze", sample}, {.environment = {"NO_COLOR=1"}, .terminalWidth = 120}).output;
    std::erase(shown, '\r'); // the terminal's own line ends
    EXPECT_EQ(shown, netrondo({"analyze", sample}, {.environment = {"COLUMNS=120"}}).output);
}

TEST(Terminal, ShowsProgressOfALongReadAndTakesItAway)
{
    // A FIFO makes the read as long as the test wants.
    const TempFolder folder;
    const auto fifo = folder / "live";
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
    Process process({"analyze", fifo.string()}, {.environment = {"NO_COLOR=1"}, .onTerminal = true});
    const auto frame = ethernet(ipv4({}, tcp()));
    PcapBytes frames;
    for (int i = 0; i < 10'000; ++i)
        frames.frame(frame);
    const auto bytes = Bytes(frames);
    {
        std::ofstream out(fifo, std::ios::binary);
        const auto write = [&](Bytes some) {
            out.write(asText(some).data(), static_cast<std::streamsize>(some.size())).flush();
        };
        write(bytes);
        for (int seconds = 0; seconds < 4; ++seconds) {
            ::usleep(200'000);
            write(bytes.subspan(24));
        }
    }
    const auto run = process.end();
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.output, HasSubstr("0,000 frames"));
    EXPECT_THAT(run.output, HasSubstr("\r\033[KFile ")) << "the bar is gone before the result";
}

TEST(Terminal, WithoutOneThereIsNoProgress)
{
    EXPECT_EQ(netrondo({"analyze", sample}).errors, "");
}

TEST(Interrupt, StopsAtOnce)
{
    const TempFolder folder;
    const auto fifo = folder / "live";
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
    for (const bool terminal : {false, true}) {
        Process process({"analyze", fifo.string()}, {.onTerminal = terminal});
        std::ofstream out(fifo, std::ios::binary); // opens when the command has opened its end; then it waits for data
        process.signal(SIGINT);
        EXPECT_EQ(process.end().status, -SIGINT);
    }
}

} // namespace
} // namespace netrondo::test
