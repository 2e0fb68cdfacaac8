// `netrondo circle`: the layout as JSON, and pictures where the application is built.
#include "Support/Command.h"
#include "Support/Files.h"
#include "Support/Frames.h"

#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <rapidjson/document.h>
#include <sstream>

namespace netrondo::test {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

constexpr auto sample = NETRONDO_SOURCE_DIR "/Samples/web.pcap";

rapidjson::Document layout(std::vector<std::string> options)
{
    options.insert(options.begin(), {"circle", sample, "--json"});
    const auto run = netrondo(options);
    EXPECT_EQ(run.status, 0) << run.errors;
    rapidjson::Document document;
    document.Parse(run.output.c_str());
    EXPECT_FALSE(document.HasParseError()) << run.output;
    return document;
}

std::vector<std::string> keys(const rapidjson::Value& object)
{
    std::vector<std::string> found;
    for (const auto& member : object.GetObject())
        found.emplace_back(member.name.GetString());
    return found;
}

std::string contents(const std::filesystem::path& path)
{
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

} // namespace

TEST(Circle, JsonHasTheFieldsOfTheLayoutInTheirOrder)
{
    const auto document = layout({});
    EXPECT_EQ(keys(document),
              (std::vector<std::string>{"center", "radius", "nodeRadius", "nodes", "pairs", "maxVolume", "useBytes",
                                        "showLineThickness"}));
    EXPECT_EQ(document["center"]["x"].GetDouble(), 400);
    EXPECT_EQ(document["radius"].GetDouble(), 400) << "the inset is 0 unless given";
    ASSERT_GT(document["nodes"].Size(), 0u);
    EXPECT_EQ(keys(document["nodes"][0]),
              (std::vector<std::string>{"address", "displayLabel", "position", "protocolColor", "role"}));
    EXPECT_STREQ(document["nodes"][0]["role"].GetString(), "host");
    EXPECT_NEAR(document["nodes"][0]["position"]["y"].GetDouble(), 0, 1e-9) << "the first host is at the top";
}

TEST(Circle, JsonFollowsItsOptions)
{
    const auto document = layout({"--size", "1600x1000", "--inset", "120", "--bytes", "--thickness"});
    EXPECT_EQ(document["center"]["x"].GetDouble(), 800);
    EXPECT_EQ(document["radius"].GetDouble(), 380);
    EXPECT_TRUE(document["useBytes"].GetBool());
    EXPECT_TRUE(document["showLineThickness"].GetBool());
    const auto one = layout({"--limit", "1"});
    EXPECT_GE(one["pairs"].Size(), 1u);
    EXPECT_LE(one["pairs"].Size(), 2u) << "both directions of one conversation";
    EXPECT_EQ(layout({"--limit", "0"})["nodes"].Size(), 0u);
    EXPECT_EQ(layout({"--optimize"})["nodes"].Size(), document["nodes"].Size());
}

TEST(Circle, AFilterLeavesFramesOut)
{
    EXPECT_EQ(layout({"--filter", "icmp"})["nodes"].Size(), 2u);
    const auto wrong = netrondo({"circle", sample, "--json", "--filter", "tcp.port =="});
    EXPECT_EQ(wrong.status, 2);
    EXPECT_NE(wrong.errors, "");
    EXPECT_EQ(wrong.output, "");
}

TEST(Circle, SaysWhatIsWrongWithItsCommandLine)
{
    const std::vector<std::vector<std::string>> wrong{
        {"--size", "800"},  {"--size", "0x0"}, {"--size", "99999x1"}, {"--size", "800x600x"},  {"--limit", "many"},
        {"--inset", "nan"}, {"--mode", "l4"},  {"--view", "map"},     {"--svg", "-", "--json"}};
    for (auto options : wrong) {
        const auto what = options[1];
        options.insert(options.begin(), {"circle", sample});
        if (options.size() < 5)
            options.emplace_back("--json");
        const auto run = netrondo(options);
        EXPECT_EQ(run.status, 2) << what;
        EXPECT_EQ(run.output, "") << what;
        EXPECT_THAT(run.errors, StartsWith("netrondo: ")) << what;
    }
    EXPECT_EQ(netrondo({"circle", sample}).status, 2) << "nothing to make of it";
}

TEST(Circle, SaysWhichFileCannotBeRead)
{
    const auto run = netrondo({"circle", "/nowhere/at.pcap", "--json"});
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.errors, StartsWith("netrondo: /nowhere/at.pcap: "));
}

TEST(Circle, DrawsTheSamePictureEveryTimeWithoutADisplay)
{
    if (!NETRONDO_HAS_APPLICATION)
        GTEST_SKIP() << "this tree was configured without Qt: the application is not built";
    const TempFolder folder;
    const auto first = folder / "first.svg", second = folder / "second.svg", png = folder / "picture.png",
               pdf = folder / "picture.pdf";
    const Surroundings nowhere{.environment = {"DISPLAY=", "WAYLAND_DISPLAY="}};
    const auto run = netrondo({"circle", sample, "--svg", first, "--png", png, "--pdf", pdf}, nowhere);
    ASSERT_EQ(run.status, 0) << run.errors;
    EXPECT_EQ(run.errors, "");
    ASSERT_EQ(netrondo({"circle", sample, "--svg", second}, nowhere).status, 0);
    EXPECT_EQ(contents(first), contents(second));
    EXPECT_THAT(contents(first), HasSubstr("web.pcap")) << "text is text";
    EXPECT_THAT(contents(png), StartsWith("\x89PNG"));
    EXPECT_THAT(contents(pdf), StartsWith("%PDF-"));
    const auto piped = netrondo({"circle", sample, "--svg", "-"}, nowhere);
    EXPECT_EQ(piped.output, contents(first));
}

TEST(Circle, SaysWhichPictureCannotBeWrittenAndWhichCaptureNotRead)
{
    if (!NETRONDO_HAS_APPLICATION)
        GTEST_SKIP() << "this tree was configured without Qt: the application is not built";
    const auto full = netrondo({"circle", sample, "--png", "/dev/full"});
    EXPECT_EQ(full.status, 1);
    EXPECT_THAT(full.errors, StartsWith("netrondo: /dev/full: "));
    const auto forbidden = netrondo({"circle", sample, "--png", "/nowhere/picture.png"});
    EXPECT_EQ(forbidden.status, 1);
    EXPECT_THAT(forbidden.errors, StartsWith("netrondo: /nowhere/picture.png: "));
    const auto missing = netrondo({"circle", "/nowhere/at.pcap", "--png", "/dev/null"});
    EXPECT_EQ(missing.status, 1);
    EXPECT_THAT(missing.errors, StartsWith("netrondo: /nowhere/at.pcap: "));
}

TEST(Circle, WithoutTheApplicationItSaysWhatIsMissing)
{
    // A command that lies alone, with nothing on its path.
    const TempFolder folder;
    const auto alone = folder / "netrondo";
    std::filesystem::copy_file(NETRONDO_COMMAND, alone);
    const auto out = folder / "errors";
    const auto line = "PATH=/nowhere " + alone.string() + " circle " + sample + " --png /dev/null 2> " + out.string();
    EXPECT_EQ(std::system(line.c_str()) >> 8, 1);
    EXPECT_THAT(contents(out), HasSubstr("netrondo-app is not installed"));
}

} // namespace netrondo::test
