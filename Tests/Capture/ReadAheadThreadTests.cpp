// A large file is read ahead by a thread; whoever reads it must not notice but by the clock.
#include "Capture/FileHandle.h"

#include "Support/Captures.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <random>
#include <unistd.h>

namespace netrondo::test {
namespace {
/// Twelve megabytes, of which every eight bytes tell their own place; made when a test asks for them first.
const std::vector<std::uint8_t>& content()
{
    static const auto bytes = [] {
        std::vector<std::uint8_t> stamped(12'000'000);
        for (std::uint64_t at = 0; at < stamped.size(); at += sizeof at)
            std::memcpy(stamped.data() + at, &at, sizeof at);
        return stamped;
    }();
    return bytes;
}
constexpr auto piece = ReadAhead::pieceSize;

bool isAt(Bytes bytes, std::size_t offset)
{
    return std::ranges::equal(bytes, Bytes(content()).subspan(offset, bytes.size()));
}

/// How many this process has.
auto threads()
{
    return std::distance(std::filesystem::directory_iterator("/proc/self/task"), {});
}

/// Reads to the end in pieces of this size, and tells how far that is.
std::size_t readOn(FileHandle& handle, std::size_t count)
{
    auto at = handle.offset();
    for (auto bytes = *handle.read(count); !bytes.empty(); bytes = *handle.read(count)) {
        EXPECT_TRUE(isAt(bytes, at)) << at;
        at += bytes.size();
    }
    return at;
}
} // namespace

TEST(ReadAhead, GivesTheFilePieceByPieceAndThenNothing)
{
    const TempFile file(content());
    const int descriptor = ::open(file.path().c_str(), O_RDONLY | O_CLOEXEC);
    {
        ReadAhead ahead(descriptor, 1000);
        std::size_t at = 1000;
        for (auto read = ahead.take(); read.size > 0; read = ahead.take()) {
            EXPECT_EQ(read.size, std::min(piece, content().size() - at));
            EXPECT_TRUE(isAt({read.buffer.get() + ReadAhead::headroom, read.size}, at));
            at += read.size;
            ahead.reuse(std::move(read.buffer));
        }
        EXPECT_EQ(at, content().size());
        EXPECT_EQ(ahead.take().size, 0u) << "and again nothing";
        EXPECT_EQ(::lseek(descriptor, 0, SEEK_CUR), 0) << "the descriptor keeps its place";
    }
    ::close(descriptor);
}

TEST(ReadAhead, EndsWhileNobodyTakesAnything)
{
    const TempFile file(content());
    const int descriptor = ::open(file.path().c_str(), O_RDONLY | O_CLOEXEC);
    for (int i = 0; i < 50; ++i)
        ReadAhead(descriptor, 0);
    ReadAhead(descriptor, 0).take();
    ::close(descriptor);
}

TEST(ReadAhead, AFailedReadIsAnEnd)
{
    EXPECT_EQ(ReadAhead(-1, 0).take().size, 0u);
}

TEST(FileHandleReadingAhead, BeginsWithTheSecondWindowOfALargeFileWhereThereIsAProcessorForIt)
{
    const TempFile large(content());
    const TempFile small(Bytes(content()).first(2 * piece));
    const auto before = threads();
    auto handle = *FileHandle::open(large);
    (void)handle.read(100);
    EXPECT_EQ(threads(), before);
    (void)handle.read(piece);
    const auto reading = threads();
    EXPECT_EQ(reading > before, std::thread::hardware_concurrency() > 1); // a sanitizer may add one of its own
    auto other = *FileHandle::open(small);
    (void)other.read(piece + 100);
    EXPECT_EQ(threads(), reading) << "a small file is not worth a thread";
}

TEST(FileHandleReadingAhead, ReadsPiecesOfAnySizeInOrder)
{
    const TempFile file(content());
    for (const std::size_t count : {999ul, 65'536ul, piece, piece + 1, 2 * piece + 7, 5'000'000ul}) {
        auto handle = *FileHandle::open(file);
        EXPECT_EQ(readOn(handle, count), content().size()) << count;
    }
}

TEST(FileHandleReadingAhead, AnyMixOfReadingPeekingAndSeekingSeesTheFile)
{
    const TempFile file(content());
    std::mt19937 random(7);
    auto handle = *FileHandle::open(file);
    for (int i = 0; i < 3000; ++i) {
        // Mostly small steps onward, so that reading ahead begins again and again.
        if (i % 100 == 0) {
            ASSERT_TRUE(handle.seek(random() % (i % 300 == 0 ? 100'000 : content().size())));
        } else if (i % 37 == 0) {
            ASSERT_TRUE(handle.seek(handle.offset() - std::min<std::size_t>(handle.offset(), random() % 700'000)));
        }
        const auto at = handle.offset();
        const auto count = random() % (i % 50 == 0 ? 1'500'000 : 150'000);
        const auto bytes = i % 3 == 0 ? *handle.peek(count) : *handle.read(count);
        ASSERT_EQ(bytes.size(), std::min<std::size_t>(count, content().size() - at));
        ASSERT_TRUE(isAt(bytes, at)) << at;
        ASSERT_EQ(handle.offset(), at + (i % 3 == 0 ? 0 : bytes.size()));
        ASSERT_TRUE(isAt(handle.buffered(), handle.offset()));
    }
}

TEST(FileHandleReadingAhead, AMovedHandleReadsOn)
{
    const TempFile file(content());
    auto first = *FileHandle::open(file);
    EXPECT_TRUE(isAt(*first.read(piece + 1000), 0));
    EXPECT_TRUE(isAt(*first.read(piece), piece + 1000));
    auto second = std::move(first);
    EXPECT_EQ(readOn(second, 1000), content().size());
}

TEST(FileHandleReadingAhead, AFileThatShrinksIsReadToWhereItEndsNow)
{
    const TempFile file(content());
    auto handle = *FileHandle::open(file);
    EXPECT_TRUE(isAt(*handle.read(2 * piece), 0));
    std::filesystem::resize_file(file, 9'000'000);
    const auto end = readOn(handle, 999);
    EXPECT_GE(end, 9'000'000u) << "a piece may have been read before";
    EXPECT_TRUE(handle.read(1)->empty());
}

TEST(FileHandleReadingAhead, AFileThatGrowsIsReadOn)
{
    const TempFile file(Bytes(content()).first(10'000'000));
    auto handle = *FileHandle::open(file);
    EXPECT_EQ(readOn(handle, 999), 10'000'000u);
    append(file, Bytes(content()).subspan(10'000'000));
    EXPECT_EQ(readOn(handle, 999), content().size());
}

} // namespace netrondo::test
