// The command line itself: what it accepts, what it refuses, and the exit status of each.
#include "Support/Command.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace netrondo::test {
namespace {

using testing::HasSubstr;
using testing::StartsWith;
using Arguments = std::vector<std::string>;

struct UsageCase {
    std::string_view name;
    Arguments arguments;
    std::string_view message;
};

class WrongCommandLine : public testing::TestWithParam<UsageCase> { };

TEST_P(WrongCommandLine, EndsWithTwoAndSaysWhatIsWrong)
{
    const auto run = netrondo(GetParam().arguments);
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.output, "");
    EXPECT_THAT(run.errors, StartsWith("netrondo: "));
    EXPECT_THAT(run.errors, HasSubstr(std::string(GetParam().message)));
    EXPECT_THAT(run.errors, HasSubstr("--help"));
}

INSTANTIATE_TEST_SUITE_P(
    Cases, WrongCommandLine,
    testing::Values(UsageCase{"UnknownSubcommand", {"analyse"}, "“analyse” is neither a subcommand nor a file"},
                    UsageCase{"UnknownSubcommandWithAFile", {"analyse", "x.pcap"}, "x.pcap"},
                    UsageCase{"UnknownOption", {"--fast"}, "--fast"},
                    UsageCase{"UnknownOptionOfASubcommand", {"analyze", "x.pcap", "--fast"}, "--fast"},
                    UsageCase{"OptionOfAnotherSubcommand", {"frames", "x.pcap", "--json"}, "--json"},
                    UsageCase{"NoFileToAnalyze", {"analyze"}, "FILE is required"},
                    UsageCase{"NoFileToPrint", {"frames"}, "FILE is required"},
                    UsageCase{"NoFileToClassify", {"classify"}, "FILE is required"},
                    UsageCase{"NoFileToFollow", {"follow"}, "FILE is required"},
                    UsageCase{"TwoFiles", {"analyze", "a.pcap", "b.pcap"}, "b.pcap"},
                    UsageCase{"UnknownMode", {"analyze", "x.pcap", "--mode", "l4"}, "l4"},
                    UsageCase{"ModeInAnotherCase", {"analyze", "x.pcap", "--mode", "L2MAC"}, "L2MAC"},
                    UsageCase{"ModeWithoutItsWord", {"analyze", "x.pcap", "--mode"}, "--mode"},
                    UsageCase{"UnknownStrictness", {"analyze", "x.pcap", "--strictness", "harsh"}, "harsh"},
                    UsageCase{"IntervalThatIsNoNumber", {"follow", "x.pcap", "--interval", "soon"}, "soon"},
                    UsageCase{"NegativeInterval", {"follow", "x.pcap", "--interval", "-1"}, "--interval"},
                    UsageCase{"NoPulls", {"follow", "x.pcap", "--pulls", "0"}, "--pulls"},
                    UsageCase{"PullsThatAreNoNumber", {"follow", "x.pcap", "--pulls", "many"}, "many"},
                    UsageCase{"FollowingAPipe", {"follow", "-"}, "a pipe cannot be followed"}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(CommandLine, HelpNamesEverySubcommand)
{
    const auto run = netrondo({"--help"});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.errors, "");
#define NR_SUBCOMMAND(name, summary) EXPECT_THAT(run.output, HasSubstr("\n  " #name));
#include "NetrondoCLI/Subcommands.def"
#undef NR_SUBCOMMAND
}

TEST(CommandLine, EverySubcommandHasHelpOfItsOwn){
#define NR_SUBCOMMAND(name, summary)                                                                                   \
    {                                                                                                                  \
        const auto run = netrondo({#name, "--help"});                                                                  \
        EXPECT_EQ(run.status, 0);                                                                                      \
        EXPECT_EQ(run.errors, "");                                                                                     \
        EXPECT_THAT(run.output, HasSubstr(summary));                                                                   \
        EXPECT_THAT(run.output, HasSubstr("Usage: netrondo " #name));                                                  \
    }
#include "NetrondoCLI/Subcommands.def"
#undef NR_SUBCOMMAND
}

TEST(CommandLine, VersionIsOneLine)
{
    const auto run = netrondo({"--version"});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.output, "netrondo " NETRONDO_VERSION "\n");
}

TEST(CommandLine, WithoutADisplayTheWindowIsRefusedAndAnalyzeNamed)
{
    const auto run = netrondo({});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.output, "");
    EXPECT_EQ(run.errors,
              "netrondo: there is no display to open a window on; the analysis as text needs none: netrondo analyze "
              "FILE\n");
}

TEST(CommandLine, ADisplayThatDoesNotAnswerIsToldAndAnalyzeNamed)
{
    const auto run = netrondo({NETRONDO_SOURCE_DIR "/LICENSE"},
                              {.environment = {"DISPLAY=:987", "WAYLAND_DISPLAY=", "QT_QPA_PLATFORM=xcb"}});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.output, "");
    EXPECT_THAT(run.errors, HasSubstr("netrondo analyze"));
}

} // namespace
} // namespace netrondo::test
