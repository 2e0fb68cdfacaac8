// Captures that arrive in pieces.
#include "Capture/CaptureStream.h"

#include "Support/Captures.h"
#include "Support/Gzip.h"
#include "Support/Readers.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

namespace netrondo::test {
namespace {

/// A stream and the other end of its pipe.
class Sender {
public:
    Sender()
    {
        int ends[2];
        if (::pipe2(ends, O_CLOEXEC) < 0)
            throw std::runtime_error("no pipe");
        stream_.emplace(ends[0]);
        write_ = ends[1];
    }
    ~Sender() { close(); }

    void send(Bytes bytes) const
    {
        ASSERT_EQ(::write(write_, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
    }
    void close()
    {
        if (write_ >= 0)
            ::close(write_);
        write_ = -1;
    }
    CaptureStream& stream() { return *stream_; }
    /// Everything that is there now.
    void collect(Contents& contents)
    {
        std::array<CaptureFrame, 3> frames;
        for (;;) {
            const auto count = stream_->nextBatch(frames);
            if (!count)
                contents.error = count.error().errorDescription();
            if (!count || *count == 0)
                return;
            for (std::size_t i = 0; i < *count; ++i)
                contents.frames.emplace_back(frames[i]);
        }
    }

private:
    std::optional<CaptureStream> stream_;
    int write_ = -1;
};

Contents received(Bytes bytes, std::size_t piece)
{
    Sender sender;
    Contents contents;
    for (std::size_t at = 0; at < bytes.size() && contents.error.empty(); at += piece) {
        sender.send(slice(bytes, at, piece));
        sender.collect(contents);
        EXPECT_FALSE(sender.stream().hasEnded());
    }
    sender.close();
    if (contents.error.empty())
        sender.collect(contents);
    return contents;
}

std::vector<std::uint8_t> pcap(const PcapBytes::Header& header = {})
{
    return PcapBytes(header).frame(pattern(60), {.seconds = 7}).frame({}).frame(pattern(1000, 1)).bytes();
}

std::vector<std::uint8_t> pcapng(ByteOrder order)
{
    return PcapNgBytes(order).section().interface(1).enhanced(0, pattern(60)).simple(pattern(64)).bytes();
}
} // namespace

struct StreamCase {
    std::string_view name;
    std::vector<std::uint8_t> bytes;
};

class StreamedCapture : public testing::TestWithParam<StreamCase> { };

TEST_P(StreamedCapture, GivesTheFramesOfTheFileHoweverItArrives)
{
    const auto& bytes = GetParam().bytes;
    const auto expected = readFile(TempFile(bytes));
    ASSERT_EQ(expected.error, "");
    for (const std::size_t piece : {1u, 2u, 15u, 24u, 100u, 100'000u})
        EXPECT_EQ(received(bytes, piece), expected) << "in pieces of " << piece;
}

INSTANTIATE_TEST_SUITE_P(
    Formats, StreamedCapture,
    testing::Values(StreamCase{"Pcap", pcap()}, StreamCase{"BigEndian", pcap({.order = ByteOrder::big})},
                    StreamCase{"BigEndianNanoseconds", pcap({.order = ByteOrder::big, .nanoseconds = true})},
                    StreamCase{"Pcapng", pcapng(ByteOrder::little)},
                    StreamCase{"BigEndianPcapng", pcapng(ByteOrder::big)}, StreamCase{"NoFrames", PcapBytes().bytes()}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(CaptureStream, AFrameIsThereAsSoonAsItsLastByteIs)
{
    const auto bytes = PcapBytes().frame(pattern(60)).bytes();
    Sender sender;
    Contents contents;
    sender.send(Bytes(bytes).first(bytes.size() - 1));
    sender.collect(contents);
    EXPECT_EQ(contents, Contents{});
    EXPECT_NE(sender.stream().reading(), nullptr) << "the header is there";
    sender.send(Bytes(bytes).last(1));
    sender.collect(contents);
    EXPECT_EQ(contents.frames.size(), 1u);
}

TEST(CaptureStream, AStreamThatIsCutKeepsAllBeforeAndSaysSo)
{
    const auto bytes = pcap();
    const std::array<std::size_t, 4> starts = {24, 24 + 76, 24 + 76 + 16, bytes.size()};
    for (std::size_t size = 0; size <= bytes.size(); ++size) {
        Sender sender;
        Contents contents;
        sender.send(Bytes(bytes).first(size));
        sender.close();
        sender.collect(contents);
        EXPECT_EQ(contents.error, "") << size;
        EXPECT_TRUE(sender.stream().hasEnded()) << size;
        EXPECT_EQ(sender.stream().isCut(), size > 0 && !std::ranges::count(starts, size)) << size;
        const auto whole = static_cast<std::size_t>(std::ranges::count_if(starts, [&](auto s) { return s <= size; }));
        EXPECT_EQ(contents.frames.size(), whole == 0 ? 0 : whole - 1) << size;
    }
}

TEST(CaptureStream, WhatIsNoCaptureIsAnErrorAtOnceAndStaysOne)
{
    constexpr auto error = "I/O error: What arrives is neither pcap nor pcapng.";
    for (const auto& bytes : {std::vector<std::uint8_t>(hex("47455420")), gzipped(pcap()), hex("58435000")}) {
        Sender sender;
        Contents contents;
        sender.send(bytes);
        sender.collect(contents);
        EXPECT_EQ(contents.error, error);
        sender.collect(contents);
        EXPECT_EQ(contents.error, error);
        EXPECT_FALSE(sender.stream().hasEnded());
    }
}

TEST(CaptureStream, ALengthThatNoFrameHasMeansThatTheStreamIsOutOfStep)
{
    const auto frame = pattern(60);
    auto capture = PcapBytes().frame(frame);
    capture.record(0, 0, CaptureStream::longestFrame + 1, 60, frame);
    const auto contents = received(capture, 1000);
    EXPECT_EQ(contents.frames.size(), 1u);
    EXPECT_EQ(contents.error,
              "I/O error: a record of 262161 bytes cannot be one: the stream is damaged or out of step");
}

TEST(CaptureStream, ADamagedBlockIsAnError)
{
    auto capture = PcapNgBytes().section().interface(1).enhanced(0, pattern(60));
    capture.block(6, pattern(8)).enhanced(0, pattern(60));
    const auto contents = received(capture, 1000);
    EXPECT_EQ(contents.frames.size(), 1u);
    EXPECT_EQ(contents.error, "Truncated frame in capture.");
}

} // namespace netrondo::test
