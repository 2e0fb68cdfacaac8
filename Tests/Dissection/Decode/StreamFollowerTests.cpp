// What a conversation said, whatever the network did to it on the way.
#include "Dissection/Decode/StreamFollower.h"

#include "Dissection/Wire/TcpHeader.h"
#include "Support/Dissect.h"
#include "Support/Traffic.h"

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <random>

namespace netrondo::test {
namespace {

struct Segment {
    bool isAnswer;
    std::uint32_t sequence;
    std::string_view bytes;
    std::uint8_t flags = tcpFlag::ack;
};

/// "> request" and "< reply", with the bytes that are missing before them in parentheses.
std::string said(const std::vector<StreamFollower::Piece>& pieces)
{
    std::string text;
    for (const auto& piece : pieces) {
        text += piece.isAnswer ? "<" : ">";
        if (piece.missing)
            text += fmt::format("({})", piece.missing);
        text += asText(piece.bytes);
    }
    return text;
}

std::string followed(const std::vector<Segment>& segments)
{
    StreamFollower follower;
    for (const auto& [isAnswer, sequence, bytes, flags] : segments)
        follower.add(decoded(tcpFrame(isAnswer ? Ends().back() : Ends(), sequence, bytes, flags)));
    follower.end();
    return said(follower.take());
}

struct FollowCase {
    std::string_view name;
    std::vector<Segment> segments;
    std::string_view said;
};

class StreamFollowing : public testing::TestWithParam<FollowCase> { };

TEST_P(StreamFollowing, GivesWhatWasSaidInItsOrder)
{
    EXPECT_EQ(followed(GetParam().segments), GetParam().said);
}

INSTANTIATE_TEST_SUITE_P(
    Connections, StreamFollowing,
    testing::Values(
        FollowCase{"BothWays", {{false, 100, "ask"}, {true, 500, "answer"}, {false, 103, "!"}}, ">ask<answer>!"},
        FollowCase{"TheOpeningTakesANumber",
                   {{false, 99, "", tcpFlag::syn}, {true, 499, "", tcpFlag::syn | tcpFlag::ack}, {false, 100, "ask"}},
                   ">ask"},
        FollowCase{"SentAgain", {{false, 100, "ask"}, {false, 100, "ask"}, {false, 103, "!"}}, ">ask>!"},
        FollowCase{"SentAgainWithMore", {{false, 100, "ask"}, {false, 101, "sk more"}}, ">ask> more"},
        FollowCase{"OutOfOrder", {{false, 100, "a"}, {false, 102, "c"}, {false, 101, "b"}}, ">a>b>c"},
        FollowCase{"Lost", {{false, 100, "a"}, {false, 105, "f"}, {true, 1, "x"}}, ">a<x>(4)f"},
        FollowCase{"RoundTheEndOfTheNumbers", {{false, 0xfffffffe, "ab"}, {false, 1, "d"}, {false, 0, "c"}}, ">ab>c>d"},
        FollowCase{"KeepAlive", {{false, 100, "ask"}, {false, 102, "k"}, {false, 103, "!"}}, ">ask>!"},
        FollowCase{"ThePortsAreUsedAgain",
                   {{false, 100, "one"}, {false, 9000, "", tcpFlag::syn}, {false, 9001, "two"}},
                   ">one>two"}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(StreamFollower, DatagramsFollowAsTheyCome)
{
    StreamFollower follower;
    const Ends ends{.destinationPort = 4000};
    follower.add(decoded(udpFrame(ends, "ping")));
    follower.add(decoded(udpFrame(ends.back(), "pong")));
    EXPECT_EQ(said(follower.take()), ">ping<pong");
    EXPECT_TRUE(follower.take().empty()) << "it has been taken";
}

TEST(StreamFollower, GivesTheSameInWhateverOrderSegmentsCome)
{
    std::mt19937 random(3);
    for (int round = 0; round < 50; ++round) {
        std::string whole;
        for (int i = 0; i < 400; ++i)
            whole += static_cast<char>('a' + random() % 26);
        std::vector<Segment> segments;
        for (std::size_t at = 0; at < whole.size();) {
            const auto size = std::min<std::size_t>(1 + random() % 30, whole.size() - at);
            segments.push_back(
                {false, 0xffffff00u + static_cast<std::uint32_t>(at), std::string_view(whole).substr(at, size)});
            at += size > 5 && random() % 4 == 0 ? size - 5 : size; // some is sent again, in other segments
        }
        std::shuffle(segments.begin() + 1, segments.end(), random);
        auto text = followed(segments);
        std::erase(text, '>');
        EXPECT_EQ(text, whole) << round;
    }
}

TEST(StreamFollower, DoesNotWaitForEverForWhatIsLost)
{
    std::vector<Segment> segments = {{false, 100, "a"}};
    const std::string block(1000, 'x');
    for (std::uint32_t i = 0; i < 300; ++i)
        segments.push_back({false, 200 + i * 1000, block});
    StreamFollower follower;
    for (const auto& segment : segments)
        follower.add(decoded(tcpFrame({}, segment.sequence, segment.bytes)));
    EXPECT_GT(follower.take().size(), 200u);
}

TEST(StreamFollower, NoPrefixOfAFrameIsReadBeyondItsEnd)
{
    const auto whole = tcpFrame({}, "ask for it");
    for (std::size_t size = 0; size <= whole.size(); ++size) {
        StreamFollower follower;
        follower.add(decodedCut(Bytes(whole).first(size), static_cast<std::uint32_t>(whole.size())));
        follower.end();
        EXPECT_TRUE(std::string_view(">ask for it").starts_with(said(follower.take()))) << size;
    }
}

} // namespace
} // namespace netrondo::test
