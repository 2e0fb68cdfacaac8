// `netrondo filter`: messages, exit statuses and JSON, as scripts see them.
#include "Dissection/Filter/DisplayFilterCatalog.h"
#include "Support/Captures.h"
#include "Support/Command.h"
#include "Support/Files.h"
#include "Support/Hex.h"

#include <algorithm>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace netrondo::test {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

struct MessageCase {
    std::string_view name, filter, message;
};

class FilterMessage : public testing::TestWithParam<MessageCase> { };

TEST_P(FilterMessage, IsAllThatIsOnStandardErrorAndTheStatusIsTwo)
{
    for (const auto* part : {"check", "tree"}) {
        const auto run = netrondo({"filter", part, std::string(GetParam().filter)});
        EXPECT_EQ(run.status, 2);
        EXPECT_EQ(run.output, "");
        EXPECT_EQ(run.errors, std::string(GetParam().message) + "\n");
    }
}

INSTANTIATE_TEST_SUITE_P(
    Messages, FilterMessage,
    testing::Values(MessageCase{"Empty", "", "Empty filter"}, MessageCase{"Blank", "  ", "Empty filter"},
                    MessageCase{"MissingParenthesis", "(tcp", "Missing “)”"},
                    MessageCase{"ExtraTokens", "tcp)", "Unexpected extra tokens"},
                    MessageCase{"NoField", "== 5", "Expected a field or protocol"},
                    MessageCase{"ValueThatLooksLikeAnOption", "-1", "Expected a field or protocol"},
                    MessageCase{"NoValue", "tcp.port ==", "Expected a value after tcp.port"},
                    MessageCase{"UnknownField", "foo.bar",
                                "Unknown field “foo.bar” — not in Netrondo’s display-filter catalog"},
                    MessageCase{"WordOfTheCommandLine", "fields",
                                "Unknown field “fields” — not in Netrondo’s display-filter catalog"}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(FilterCommand, NestingBeyondTheBoundIsInvalid)
{
    const auto run = netrondo({"filter", "check", std::string(100'000, '(')});
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.errors, "Invalid display filter\n");
}

TEST(FilterCommand, CheckOfAGoodFilterSaysNothing)
{
    const auto run = netrondo({"filter", "check", "TCP.PORT EQ 443"});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.output + run.errors, "");
}

TEST(FilterCommand, TwoHyphensEndTheOptions)
{
    EXPECT_EQ(netrondo({"filter", "check", "--", "tcp"}).status, 0);
    EXPECT_EQ(netrondo({"filter", "tree", "--", "tcp"}).output, "{\"present\":\"tcp\"}\n");
    for (const auto* text : {"-1", "--"})
        EXPECT_EQ(netrondo({"filter", "check", "--", text}).errors, "Expected a field or protocol\n");
    EXPECT_THAT(netrondo({"filter", "check", "--"}).errors, HasSubstr("EXPR"));
    EXPECT_EQ(netrondo({"filter", "check", "--", "tcp", "udp"}).status, 2);
}

TEST(FilterCommand, TreeIsALineOfJson)
{
    const auto run = netrondo({"filter", "tree", "tcp !arp or ip.addr = 10.0.0.1"});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.output,
              R"({"or":[{"and":[{"present":"tcp"},{"not":{"present":"arp"}}]},)"
              R"({"compare":{"field":"ip.addr","op":"eq","value":"10.0.0.1"}}]})"
              "\n");
}

TEST(FilterCommand, CompleteGivesSuggestions)
{
    const auto run = netrondo({"filter", "complete", "tcp.f", "--limit", "2"});
    EXPECT_EQ(run.output,
              R"([{"insertText":"tcp.flags","title":"tcp.flags","subtitle":"TCP flags"},)"
              R"({"insertText":"tcp.flags.ack","title":"tcp.flags.ack","subtitle":"ACK flag"}])"
              "\n");
    for (const auto* text : {"", "tcp.port == ", "-"})
        EXPECT_EQ(netrondo({"filter", "complete", text}).output, "[]\n") << text;
    EXPECT_THAT(netrondo({"filter", "complete", "-ssh.b"}).output, HasSubstr("ssh.banner"));
}

TEST(FilterCommand, FieldsAreTheCatalogueInItsOrder)
{
    const auto run = netrondo({"filter", "fields"});
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(
        run.output,
        StartsWith(R"([{"name":"frame","aliases":[],"summary":"Capture frame","extractor":{"proto":"frame"}},)"));
    std::size_t at = 0;
    for (const auto& field : DisplayFilterCatalog::fields()) {
        const auto found = run.output.find("{\"name\":\"" + std::string(field.name) + "\",", at);
        ASSERT_NE(found, std::string::npos) << field.name;
        at = found + 1;
    }
}

TEST(FilterCommand, WrongCommandLinesEndWithTwo)
{
    using Arguments = std::vector<std::string>;
    for (const auto& arguments :
         {Arguments{"filter"}, Arguments{"filter", "check"}, Arguments{"filter", "check", "tcp", "udp"},
          Arguments{"filter", "complete", "tcp", "--limit", "many"}, Arguments{"filter", "guess", "tcp"},
          Arguments{"filter", "fields", "tcp"}}) {
        const auto run = netrondo(arguments);
        EXPECT_EQ(run.status, 2) << arguments.back();
        EXPECT_THAT(run.errors, StartsWith("netrondo: "));
        EXPECT_EQ(run.output, "");
    }
}

TEST(FilterOption, NarrowsAnAnalysisToTheFramesItSelects)
{
    const auto frame = [](std::string_view destinationPort) {
        return hex("020000000002 020000000001 0800 45000028 00010000 4006 0000 0a000001 0a000002 c738", destinationPort,
                   "00000001 00000001 5010 03e8 0000 0000");
    };
    const TempFile file(PcapBytes().frame(frame("0050")).frame(frame("01bb")).frame(frame("0050")));
    const auto path = file.path().string();
    const auto all = netrondo({"analyze", path, "--json"});
    EXPECT_THAT(all.output, HasSubstr("\"totalPackets\":3"));
    EXPECT_EQ(netrondo({"analyze", path, "--json", "--filter", ""}).output, all.output);
    EXPECT_THAT(netrondo({"analyze", path, "--json", "--filter", "tcp.port == 80"}).output,
                HasSubstr("\"totalPackets\":2"));
    EXPECT_THAT(netrondo({"analyze", path, "--json", "--filter", "ip.ttl > 64 or tcp.port == https"}).output,
                HasSubstr("\"totalPackets\":0"));
}

TEST(FilterOption, NarrowsThePacketListAndKeepsTheFramesNumbers)
{
    const auto list = [](const std::vector<std::string>& more) {
        std::vector<std::string> arguments = {"decode", NETRONDO_SOURCE_DIR "/Samples/web.pcap", "--json"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        const auto run = netrondo(arguments);
        EXPECT_EQ(run.status, 0) << run.errors;
        return run.output;
    };
    const auto all = list({}), icmp = list({"--filter", "icmp"}), others = list({"--filter", "not icmp"});
    const auto lines = [](const std::string& text) { return std::ranges::count(text, '\n'); };
    EXPECT_GT(lines(icmp), 0);
    EXPECT_EQ(lines(icmp) + lines(others), lines(all));
    for (std::size_t at = 0; at < icmp.size(); at = icmp.find('\n', at) + 1)
        EXPECT_THAT(all, HasSubstr(icmp.substr(at, icmp.find('\n', at) + 1 - at)));
    EXPECT_EQ(list({"--filter", "icmp", "--count", "1"}), icmp.substr(0, icmp.find('\n') + 1));
    EXPECT_EQ(list({"--filter", "tcp.port == 1"}), "");
}

TEST(FilterOption, ThatDoesNotCompileEndsWithTwoAndItsMessage)
{
    for (const auto* command : {"analyze", "decode"}) {
        const auto run = netrondo({command, "no-such-file.pcap", "--filter", "foo.bar"});
        EXPECT_EQ(run.status, 2);
        EXPECT_EQ(run.output, "");
        EXPECT_EQ(run.errors, "Unknown field “foo.bar” — not in Netrondo’s display-filter catalog\n");
    }
}

} // namespace
} // namespace netrondo::test
