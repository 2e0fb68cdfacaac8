#include "Base/Json.h"

#include <gtest/gtest.h>
#include <limits>
#include <rapidjson/document.h>

namespace netrondo::test {
namespace {

template <typename Write> std::string json(Write write)
{
    std::string text;
    {
        TextOutput out(text);
        JsonWriter writer(out);
        write(writer);
    }
    return text;
}

std::string asJson(std::string_view text)
{
    return json([&](JsonWriter& writer) { writer.value(text); });
}

} // namespace

TEST(Json, WritesObjectsAndArraysInTheOrderOfTheCalls)
{
    EXPECT_EQ(json([](JsonWriter& writer) {
                  writer.beginObject();
                  writer.field("yes", true);
                  writer.field("no", false);
                  writer.field("small", -7);
                  writer.field("large", std::numeric_limits<std::uint64_t>::max());
                  writer.field("half", 0.5);
                  writer.field("count", Counter32{3});
                  writer.field("text", "plain");
                  writer.field("absent", std::optional<int>{});
                  writer.field("present", std::optional<int>{1});
                  writer.field(std::string("odd \"key\""), 1);
                  writer.field("names", std::vector<std::string>{"a", "b"});
                  writer.key(std::uint16_t{443});
                  writer.null();
                  writer.endObject();
              }),
              R"({"yes":true,"no":false,"small":-7,"large":18446744073709551615,"half":0.5,"count":3,"text":"plain",)"
              R"("present":1,"odd \"key\"":1,"names":["a","b"],"443":null})");
}

TEST(Json, EscapesWhatJsonAsksForAndNothingElse)
{
    EXPECT_EQ(asJson(""), R"("")");
    EXPECT_EQ(asJson("a\"b\\c/d"), R"("a\"b\\c/d")");
    EXPECT_EQ(asJson("\b\t\n\f\r"), R"("\b\t\n\f\r")");
    EXPECT_EQ(asJson(std::string_view("\0\x1f", 2)), R"("\u0000\u001f")");
    EXPECT_EQ(asJson("Grüße, 日本, 🙂"), "\"Grüße, 日本, 🙂\"");
    EXPECT_EQ(asJson("\x7f"), "\"\x7f\"");
}

TEST(Json, ASpecialCharacterIsFoundAtAnyPlaceInATextOfAnyLength)
{
    for (const char special : {'"', '\\', '\n', '\x01', '\x1f'}) {
        for (std::size_t length = 1; length <= 40; ++length) {
            for (std::size_t at = 0; at < length; ++at) {
                std::string text(length, ' ');
                text[at] = special;
                rapidjson::Document parsed;
                parsed.Parse(asJson(text).c_str());
                ASSERT_FALSE(parsed.HasParseError()) << length << " characters, special at " << at;
                ASSERT_EQ(parsed.GetString(), text);
            }
        }
    }
}

TEST(Json, WhatIsNotUtf8BecomesTheReplacementCharacter)
{
    EXPECT_EQ(asJson("a\xff"
                     "b"),
              "\"a\uFFFDb\"");
    EXPECT_EQ(asJson("\xc3"), "\"\uFFFD\"");
    EXPECT_EQ(asJson("\xc0\xaf"), "\"\uFFFD\uFFFD\"") << "overlong";
    EXPECT_EQ(asJson("\xed\xa0\x80"), "\"\uFFFD\uFFFD\uFFFD\"") << "a surrogate";
    EXPECT_EQ(asJson("\xf4\x90\x80\x80"), "\"\uFFFD\uFFFD\uFFFD\uFFFD\"") << "past the last character";
    EXPECT_EQ(asJson("\xe2\x82\""), "\"\uFFFD\\\"\"") << "the quote after a cut character is a quote";
}

TEST(Json, AnyTwoBytesGiveATextThatParses)
{
    for (int first = 0; first < 256; ++first) {
        for (int second = 0; second < 256; ++second) {
            const std::string text = {'x', static_cast<char>(first), static_cast<char>(second), 'y'};
            rapidjson::Document parsed;
            parsed.Parse<rapidjson::kParseValidateEncodingFlag>(asJson(text).c_str());
            ASSERT_FALSE(parsed.HasParseError()) << first << ' ' << second;
        }
    }
}

TEST(Json, ALongTextIsWrittenWhole)
{
    for (const std::size_t length : {3999u, 4000u, 4001u, 70000u, 600000u}) {
        const std::string text(length, 'x');
        EXPECT_EQ(asJson(text), '"' + text + '"') << length;
    }
}

TEST(Json, NumbersKeepTheirValueAndAreNullWhenNotFinite)
{
    EXPECT_EQ(json([](JsonWriter& writer) { writer.value(0.0); }), "0.0");
    EXPECT_EQ(json([](JsonWriter& writer) { writer.value(1767225600.123456); }), "1767225600.123456");
    EXPECT_EQ(json([](JsonWriter& writer) { writer.value(-std::numeric_limits<double>::max()); }),
              "-1.7976931348623157e308");
    EXPECT_EQ(json([](JsonWriter& writer) { writer.value(std::numeric_limits<double>::quiet_NaN()); }), "null");
    EXPECT_EQ(json([](JsonWriter& writer) { writer.value(-std::numeric_limits<double>::infinity()); }), "null");
    EXPECT_EQ(json([](JsonWriter& writer) { writer.value(std::numeric_limits<std::int64_t>::min()); }),
              "-9223372036854775808");
}

TEST(Json, ALineOfJsonLinesIsAJsonTextOfItsOwn)
{
    EXPECT_EQ(json([](JsonWriter& writer) {
                  for (const int number : {1, 2}) {
                      writer.beginObject();
                      writer.field("n", number);
                      writer.endObject();
                      writer.endLine();
                  }
              }),
              "{\"n\":1}\n{\"n\":2}\n");
}

} // namespace netrondo::test
