// Looking for frames: text, bytes, filters, conversations.
#include "Dissection/Filter/FrameSearch.h"

#include "Support/Captures.h"
#include "Support/Traffic.h"

#include <gtest/gtest.h>

namespace netrondo::test {
namespace {

std::vector<std::uint8_t> capture()
{
    return PcapBytes({.nanoseconds = true})
        .frame(tcpFrame({}, "GET /Über HTTP/1.1\r\nHost: www.example.org\r\n\r\n"),
               {.seconds = 1'700'000'000, .fraction = 5})
        .frame(tcpFrame(Ends().back(), "HTTP/1.1 200 OK\r\n\r\n"), {.seconds = 1'700'000'001})
        .frame(udpFrame({}, "\x0d\x0a\x0d\x0a"), {.seconds = 1'700'000'002})
        .frame(tcpFrame({.sourcePort = 51001}, "x"), {.seconds = 1'700'000'003})
        .bytes();
}

/// The numbers of the frames that are found.
std::vector<int> found(const FrameSearch& search)
{
    const TempFile file(capture());
    const auto index = FrameIndex::open(file).value();
    EXPECT_TRUE(index->extend());
    auto decoder = IndexedDecoder::open(index).value();
    DecodedFrame scratch;
    std::vector<int> numbers;
    for (std::uint32_t frame = 0; frame < index->count(); ++frame)
        if (search.matches(decoder, frame, scratch).value())
            numbers.push_back(static_cast<int>(frame) + 1);
    return numbers;
}

using Numbers = std::vector<int>;

} // namespace

TEST(FrameSearch, FindsTextInColumnsAndRowsWithoutRegardToCapitalsAndAccents)
{
    EXPECT_EQ(found(FrameSearch::forText("get /")), Numbers{1});
    EXPECT_EQ(found(FrameSearch::forText("EXAMPLE.org")), Numbers{1});
    EXPECT_EQ(found(FrameSearch::forText("source port: 80")), Numbers{2});
    EXPECT_EQ(found(FrameSearch::forText("über")), Numbers{1});
    EXPECT_EQ(found(FrameSearch::forText("/UBER")), Numbers{1});
    EXPECT_EQ(found(FrameSearch::forText("no such text")), Numbers{});
}

TEST(FrameSearch, FindsBytesWrittenAsDigitsOrAsCharacters)
{
    for (const auto* text : {"0d0a0d0a", "0D 0a 0d 0A", "0d:0a:0d:0a", "0d-0a-0d-0a"})
        EXPECT_EQ(found(FrameSearch::forBytes(text).value()), (Numbers{1, 2, 3})) << text;
    EXPECT_EQ(found(FrameSearch::forBytes("\"200 OK\"").value()), Numbers{2});
}

TEST(FrameSearch, SaysHowBytesAreWritten)
{
    for (const auto* text : {"0", "0d 0", "xy", "0d,0a", "\"", "\"\""})
        EXPECT_EQ(FrameSearch::forBytes(text).error(),
                  "Write bytes as pairs of hexadecimal digits (0d 0a), or characters in quotes")
            << text;
    EXPECT_EQ(FrameSearch::forBytes(" ").error(), "No bytes to look for");
}

TEST(FrameSearch, FindsWhatAFilterSelectsWithNumbersAndTimesOfTheWholeCapture)
{
    const auto by = [](std::string_view text) { return FrameSearch::forFilter(DisplayFilter::compile(text).value()); };
    EXPECT_EQ(found(by("tcp.port == 80")), (Numbers{1, 2, 4}));
    EXPECT_EQ(found(by("http.host contains example")), Numbers{1});
    EXPECT_EQ(found(by("frame.number >= 3")), (Numbers{3, 4}));
    EXPECT_EQ(found(by("frame.time_relative == 0.999999995")), Numbers{2});
}

TEST(FrameSearch, FindsBothDirectionsOfAConversation)
{
    const TempFile file(capture());
    const auto index = FrameIndex::open(file).value();
    EXPECT_TRUE(index->extend());
    auto decoder = IndexedDecoder::open(index).value();
    DecodedFrame decoded;
    decoder.decode(decoder.fetch(1).value(), 1, decoded);
    EXPECT_EQ(found(FrameSearch::forConversation(decoded.summary)), (Numbers{1, 2}));
}

} // namespace netrondo::test
