// netrondo expert: sentences, JSON, filters on severity and layer, exit statuses.
#include "Support/Command.h"
#include "Support/Files.h"
#include "Support/JsonText.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace netrondo::test {
namespace {
using testing::HasSubstr;
using testing::Not;
const std::string trouble = NETRONDO_SOURCE_DIR "/Samples/trouble.pcapng";
const std::string calm = NETRONDO_SOURCE_DIR "/Samples/protocols/ntp.be.pcap";
} // namespace

TEST(ExpertCommand, SaysWhatHappenedWhyAndWhatToDo)
{
    const auto run = netrondo({"expert", trouble});
    EXPECT_EQ(run.status, 0) << run.errors;
    for (const auto* part : {"4,095 = 3,682 analysed + 413 left out", "A routing loop", "  What", "  Why", "  Causes",
                             "  Next", "  Unless", "  Filter", "ip.loop, L3"})
        EXPECT_THAT(run.output, HasSubstr(part));
}

TEST(ExpertCommand, SaysWhenThereIsNothingToSay)
{
    const auto run = netrondo({"expert", calm});
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.output, HasSubstr("Nothing is wrong in this capture"));
}

TEST(ExpertCommand, GivesTheSummaryAsOneJsonText)
{
    const auto run = netrondo({"expert", trouble, "--json"});
    EXPECT_THAT(run.output, testing::StartsWith("{\"findings\":[{\"id\":\""));
    for (const auto* key : {"\"framesRead\":4095", "\"framesAnalysed\":3682", "\"framesSkipped\":[{\"reason\":",
                            "\"remarks\":[", "\"cutOff\":[]", "\"whatHappened\":", "\"evidence\":[", "\"confidence\":"})
        EXPECT_THAT(run.output, HasSubstr(key));
}

TEST(ExpertCommand, ShowsOnlyWhatIsAskedFor)
{
    const auto severe = netrondo({"expert", trouble, "--json", "--min-severity", "error"}).output;
    EXPECT_THAT(severe, HasSubstr("\"ip.loop\""));
    EXPECT_THAT(severe, Not(HasSubstr("\"severity\":\"warning\"")));
    const auto layer = netrondo({"expert", trouble, "--json", "--layer", "L7"}).output;
    EXPECT_THAT(layer, HasSubstr("\"dns.rcode\""));
    EXPECT_THAT(layer, Not(HasSubstr("\"layer\":\"L4\"")));
}

TEST(ExpertCommand, EndsWithThreeWhenSomethingIsAsBadAsAsked)
{
    EXPECT_EQ(netrondo({"expert", trouble, "--fail-on", "error"}).status, 3);
    EXPECT_EQ(netrondo({"expert", trouble, "--fail-on", "error", "--layer", "L1"}).status, 3) << "shown or not";
    EXPECT_EQ(netrondo({"expert", calm, "--fail-on", "info"}).status, 0);
    EXPECT_EQ(netrondo({"expert", calm, "--fail-on", "bad"}).status, 2);
    EXPECT_EQ(netrondo({"expert", "/no/such/file", "--fail-on", "error"}).status, 1);
}

TEST(ExpertCommand, HeedsPreferencesOrSaysWhatIsWrongWithThem)
{
    const TempFile muted(asBytes(R"({"mutes":[{"finding":"ip.loop","reason":"we know"}]})"));
    const auto run = netrondo({"expert", trouble, "--preferences", muted.path().string()});
    EXPECT_THAT(run.output, HasSubstr("we know"));
    const TempFile bad(asBytes(R"({"lowTtl":900})"));
    const auto refused = netrondo({"expert", trouble, "--preferences", bad.path().string()});
    EXPECT_EQ(refused.status, 2);
    EXPECT_EQ(refused.output, "");
    EXPECT_THAT(refused.errors, HasSubstr("“lowTtl” is 900, but must lie between 1 and 64"));
}

} // namespace netrondo::test
