// gzip: whole, cut, corrupt, empty, and with more behind it.
#include "Capture/GzipCodec.h"

#include "Support/Captures.h"
#include "Support/Gzip.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

namespace netrondo::test {
namespace {
std::vector<std::uint8_t> contentOf(const std::filesystem::path& path)
{
    std::ifstream in(path, std::ios::binary);
    const std::string text((std::istreambuf_iterator<char>(in)), {});
    return {text.begin(), text.end()};
}

/// What `packed` inflates to, or the error.
std::pair<std::vector<std::uint8_t>, std::string> decompressed(Bytes packed)
{
    const TempFolder folder;
    const TempFile from(packed);
    const auto to = folder / "out";
    const auto result = GzipCodec::decompress(from, to);
    EXPECT_EQ(folder.count(), result ? 1 : 0) << "a failure leaves nothing behind";
    if (!result)
        return {{}, result.error().errorDescription()};
    return {contentOf(to), ""};
}

std::string errorOf(Bytes packed)
{
    return decompressed(packed).second;
}

constexpr auto emptyStream = "I/O error: gzip stream was empty.";
constexpr auto dataError = "I/O error: gzip inflate failed (-3).";
} // namespace

TEST(GzipCodec, IsRecognisedByItsFirstTwoBytes)
{
    EXPECT_TRUE(GzipCodec::is(hex("1f8b")));
    EXPECT_TRUE(GzipCodec::is(hex("1f8b0800")));
    for (const auto bytes : {"", "1f", "8b1f", "1f8c", "d4c3b2a1"})
        EXPECT_FALSE(GzipCodec::is(hex(bytes))) << bytes;
}

TEST(GzipCodec, InflatesWhatWasCompressed)
{
    // Around the 64 KiB step, and so compressible that one step of input gives many of output.
    for (const std::size_t size : {1u, 65'535u, 65'536u, 65'537u, 131'072u, 1'000'000u}) {
        const auto content = pattern(size);
        EXPECT_EQ(decompressed(gzipped(content)).first, content) << size;
        const std::vector<std::uint8_t> zeros(size * 10);
        EXPECT_EQ(decompressed(gzipped(zeros)).first, zeros) << size;
    }
}

TEST(GzipCodec, InflatesBytesThatDoNotCompress)
{
    std::vector<std::uint8_t> content(700'000);
    std::uint64_t state = 1;
    for (auto& byte : content)
        byte = static_cast<std::uint8_t>((state = state * 6364136223846793005u + 1442695040888963407u) >> 56);
    EXPECT_EQ(decompressed(gzipped(content)).first, content);
}

TEST(GzipCodec, AStreamThatHoldsNothingIsEmpty)
{
    EXPECT_EQ(errorOf(gzipped({})), emptyStream);
}

TEST(GzipCodec, AStreamCutBeforeItsFirstByteIsEmpty)
{
    const auto packed = gzipped(pattern(100));
    for (std::size_t length = 0; length <= 10; ++length)
        EXPECT_EQ(errorOf(Bytes(packed).first(length)), emptyStream) << length;
}

TEST(GzipCodec, ACutStreamYieldsWhatItHoldsUpToTheCut)
{
    const auto content = pattern(300'000);
    const auto packed = gzipped(content);
    for (const std::size_t missing : {1u, 8u, 100u}) {
        const auto [output, error] = decompressed(Bytes(packed).first(packed.size() - missing));
        EXPECT_EQ(error, "") << missing;
        ASSERT_FALSE(output.empty()) << missing;
        ASSERT_LE(output.size(), content.size());
        EXPECT_TRUE(std::ranges::equal(output, Bytes(content).first(output.size()))) << missing;
        EXPECT_EQ(output.size() == content.size(), missing <= 8) << "the checksum and length are the last 8 bytes";
    }
}

TEST(GzipCodec, CorruptStreamsFailWithTheCodeOfZlib)
{
    auto checksum = gzipped(pattern(1000));
    checksum[checksum.size() - 8] ^= 1;
    EXPECT_EQ(errorOf(checksum), dataError);

    auto length = gzipped(pattern(1000));
    length.back() ^= 1;
    EXPECT_EQ(errorOf(length), dataError);

    auto method = gzipped(pattern(1000));
    method[2] = 7;
    EXPECT_EQ(errorOf(method), dataError);

    auto block = gzipped(pattern(1000));
    block[10] |= 6; // block type 3 does not exist
    EXPECT_EQ(errorOf(block), dataError);
}

TEST(GzipCodec, ASecondMemberIsIgnored)
{
    const auto first = pattern(100), second = pattern(200, 9);
    auto packed = gzipped(first);
    const auto more = gzipped(second);
    packed.insert(packed.end(), more.begin(), more.end());
    EXPECT_EQ(decompressed(packed).first, first);
}

TEST(GzipCodec, AnEmptyFirstMemberIsEmptyWhateverFollows)
{
    auto packed = gzipped({});
    const auto more = gzipped(pattern(200));
    packed.insert(packed.end(), more.begin(), more.end());
    EXPECT_EQ(errorOf(packed), emptyStream);
}

TEST(GzipCodec, BytesBehindTheStreamAreIgnored)
{
    const auto content = pattern(100);
    auto packed = gzipped(content);
    packed.resize(packed.size() + 200'000, 0x55);
    EXPECT_EQ(decompressed(packed).first, content);
}

TEST(GzipCodec, DoesNotOverwriteAFile)
{
    const TempFile from(gzipped(pattern(100))), to(pattern(5));
    const auto result = GzipCodec::decompress(from, to);
    ASSERT_FALSE(result);
    EXPECT_EQ(result.error().errorDescription(),
              "I/O error: cannot inflate into " + to.path().string() + ": File exists");
    EXPECT_EQ(contentOf(to), pattern(5));
}

TEST(GzipCodec, AMissingInputIsTheSystemsError)
{
    const TempFolder folder;
    const auto result = GzipCodec::decompress(folder / "none", folder / "out");
    ASSERT_FALSE(result);
    EXPECT_EQ(result.error().errorDescription(), "No such file or directory");
    EXPECT_EQ(folder.count(), 0);
}

TEST(GzipCodec, AFullDeviceIsAnErrorThatNamesThePlace)
{
    const TempFile from(gzipped(pattern(100)));
    auto input = *FileHandle::open(from);
    const int full = ::open("/dev/full", O_WRONLY | O_CLOEXEC);
    ASSERT_GE(full, 0);
    const auto result = GzipCodec::decompress(input, full, "the full device");
    ::close(full);
    ASSERT_FALSE(result);
    EXPECT_EQ(result.error().errorDescription(),
              "I/O error: cannot inflate into the full device: No space left on device");
}

TEST(GzipCodec, InflatesOnlyTheBeginningWhenAsked)
{
    const auto content = pattern(200'000);
    const TempFile file(gzipped(content));
    for (const std::int64_t wanted : {1, 24, 65'536, 65'537, 199'999, 200'000, 200'001, 1'000'000'000}) {
        const auto prefix = GzipCodec::inflatePrefix(file, wanted);
        ASSERT_TRUE(prefix) << wanted;
        const auto expected = Bytes(content).first(std::min<std::size_t>(static_cast<std::size_t>(wanted), 200'000));
        EXPECT_TRUE(std::ranges::equal(*prefix, expected)) << wanted;
    }
    for (const std::int64_t wanted : {std::int64_t{0}, std::int64_t{-1}, std::numeric_limits<std::int64_t>::min()})
        EXPECT_EQ(GzipCodec::inflatePrefix(file, wanted), std::vector<std::uint8_t>()) << wanted;
}

TEST(GzipCodec, ThePrefixOfADamagedStreamFailsWithTheSameMessages)
{
    EXPECT_EQ(GzipCodec::inflatePrefix(TempFile(gzipped({})), 10).error().errorDescription(), emptyStream);
    EXPECT_EQ(GzipCodec::inflatePrefix(TempFile(hex("1f8b0700")), 10).error().errorDescription(), dataError);
}

} // namespace netrondo::test
