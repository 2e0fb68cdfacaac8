// Thresholds and mutes: saved, read back, and refused with the key and the range where they cannot be meant.
#include "Analysis/Expert/ExpertPreferences.h"
#include "Base/Json.h"
#include "Support/Files.h"

#include <gtest/gtest.h>
#include <set>

namespace netrondo::test {
namespace {

std::string saved(const ExpertPreferences& preferences)
{
    std::string text;
    {
        TextOutput out(text);
        JsonWriter json(out);
        write(json, preferences);
        out.flush();
    }
    return text;
}

} // namespace

TEST(ExpertPreferences, AreWhatWasSaved)
{
    ExpertPreferences preferences;
    preferences.stormPerSecond = 750;
    preferences.mutes.push_back({Finding::tcpRst, *Address::parse("10.0.0.1"), *Address::parse("2001:db8::2"),
                                 "the old printer “speaks” like that"});
    preferences.mutes.push_back({Finding::none, *Address::parse("02:00:00:00:00:01"), {}, ""});
    const auto read = parseExpertPreferences(saved(preferences));
    ASSERT_TRUE(read) << read.error().description();
    EXPECT_EQ(*read, preferences);
    EXPECT_NE(*read, ExpertPreferences{});
}

TEST(ExpertPreferences, KeysLeftOutKeepTheirNormalValue)
{
    EXPECT_EQ(parseExpertPreferences("{}").value(), ExpertPreferences{});
    EXPECT_EQ(parseExpertPreferences(R"({"scannedPorts":7})").value().scannedPorts, 7);
}

TEST(ExpertThresholds, HaveNormalValuesWithinTheirRangeAndKeysOfTheirOwn)
{
    std::set<std::string_view> keys;
    for (const auto& threshold : expertThresholds()) {
        EXPECT_TRUE(keys.insert(threshold.key).second) << threshold.key;
        EXPECT_LE(threshold.least, threshold.normal) << threshold.key;
        EXPECT_GE(threshold.most, threshold.normal) << threshold.key;
        EXPECT_EQ(ExpertPreferences{}.*threshold.value, threshold.normal) << threshold.key;
        EXPECT_FALSE(threshold.meaning.empty());
    }
}

struct RefusedCase {
    std::string_view name, json, message;
};

class RefusedPreferences : public testing::TestWithParam<RefusedCase> { };

TEST_P(RefusedPreferences, NameTheKeyAndWhatWasWanted)
{
    const auto read = parseExpertPreferences(GetParam().json);
    ASSERT_FALSE(read);
    EXPECT_EQ(read.error().description(), GetParam().message);
}

INSTANTIATE_TEST_SUITE_P(
    Texts, RefusedPreferences,
    testing::Values(
        RefusedCase{"NoJson", "stormPerSecond = 3", "The expert preferences are not JSON: Invalid value. At byte 0."},
        RefusedCase{"Cut", R"({"stormPerSecond":3)",
                    "The expert preferences are not JSON: Missing a comma or '}' after an object member. At byte 19."},
        RefusedCase{"List", "[]", "The expert preferences are not JSON: an object is wanted, not a list."},
        RefusedCase{"UnknownKey", R"({"stormsPerSecond":3})", "The expert preferences have no key “stormsPerSecond”."},
        RefusedCase{"Text", R"({"stormPerSecond":"3"})",
                    "The expert preference “stormPerSecond” cannot be used: a number is wanted, not a text."},
        RefusedCase{"TooSmall", R"({"stormPerSecond":0})",
                    "The expert preference “stormPerSecond” is 0, but must lie between 1 and 10000000."},
        RefusedCase{"TooLarge", R"({"lowTtl":65})",
                    "The expert preference “lowTtl” is 65, but must lie between 1 and 64."},
        RefusedCase{"MutesOfAnotherKind", R"({"mutes":{}})",
                    "The expert preference “mutes” cannot be used: a list is wanted, not an object."},
        RefusedCase{"MuteOfNothing", R"({"mutes":[{"reason":"x"}]})",
                    "The expert preference “mutes[0]” cannot be used: a finding or a host is wanted."},
        RefusedCase{"MuteOfAnUnknownFinding", R"({"mutes":[{"host":"10.0.0.1"},{"finding":"tcp.slow"}]})",
                    "The expert preference “mutes[1].finding” cannot be used: the id of a finding is wanted."},
        RefusedCase{"MuteOfNoAddress", R"({"mutes":[{"host":"printer"}]})",
                    "The expert preference “mutes[0].host” cannot be used: “printer” is no IP or MAC address."},
        RefusedCase{"MuteWithAnotherKey", R"({"mutes":[{"hosts":"10.0.0.1"}]})",
                    "The expert preferences have no key “mutes[0].hosts”."}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(ExpertPreferences, DeepNestingIsRefusedWithoutAStack)
{
    EXPECT_FALSE(parseExpertPreferences(std::string(500'000, '[')));
}

TEST(ExpertPreferences, OfAFileThatIsNotThereSayWhichAndWhy)
{
    const auto read = loadExpertPreferences("/no/such/file.json");
    ASSERT_FALSE(read);
    EXPECT_EQ(read.error().description(),
              "The expert preferences /no/such/file.json cannot be read: No such file or directory.");
}

} // namespace netrondo::test
