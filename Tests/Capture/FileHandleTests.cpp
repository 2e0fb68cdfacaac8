// The window over a file: views, refills, the way back, and files that are not what they were.
#include "Capture/FileHandle.h"

#include "Support/Captures.h"
#include "Support/Child.h"

#include <cstdio>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <malloc.h>
#include <thread>
#include <unistd.h>

namespace netrondo::test {
namespace {
const auto content = pattern(2'000'000); // several windows

/// A pipe whose other end is fed from a thread, in pieces of the size given.
class FedPipe {
public:
    explicit FedPipe(Bytes bytes, std::size_t piece)
    {
        EXPECT_EQ(::pipe2(ends_, O_CLOEXEC), 0);
        writer_ = std::jthread([=, this] {
            for (auto rest = bytes; !rest.empty();) {
                const auto written = ::write(ends_[1], rest.data(), std::min(piece, rest.size()));
                if (written <= 0)
                    break;
                rest = rest.subspan(static_cast<std::size_t>(written));
            }
            ::close(ends_[1]);
        });
    }
    FileHandle handle() { return FileHandle(ends_[0]); }

private:
    int ends_[2] = {-1, -1};
    std::jthread writer_;
};

bool isAt(Bytes bytes, std::size_t offset)
{
    return std::ranges::equal(bytes, Bytes(content).subspan(offset, bytes.size()));
}

/// The most memory this process ever had mapped, in bytes.
std::uint64_t peakMemory()
{
    std::ifstream status("/proc/self/status");
    std::string word;
    std::uint64_t kilobytes = 0;
    while (status >> word)
        if (word == "VmPeak:")
            status >> kilobytes;
    return kilobytes * 1024;
}
} // namespace

TEST(FileHandle, ReadsPiecesOfAnySizeInOrder)
{
    const TempFile file(content);
    for (const std::size_t piece : {1u, 7u, 65'536u, 524'288u, 700'001u, 2'000'000u, 3'000'000u}) {
        auto handle = *FileHandle::open(file);
        EXPECT_EQ(handle.size(), content.size());
        EXPECT_TRUE(handle.isSeekable());
        const auto end = piece == 1 ? 600'000 : content.size(); // single bytes: enough to cross a window's end
        std::size_t at = 0;
        while (at < end) {
            const auto bytes = *handle.read(piece);
            ASSERT_EQ(bytes.size(), std::min(piece, content.size() - at));
            ASSERT_TRUE(isAt(bytes, at)) << at;
            at += bytes.size();
            ASSERT_EQ(handle.offset(), at);
        }
        EXPECT_EQ(handle.read(piece)->empty(), end == content.size());
    }
}

TEST(FileHandle, PeekingDoesNotMove)
{
    const TempFile file(content);
    auto handle = *FileHandle::open(file);
    EXPECT_TRUE(isAt(*handle.peek(16), 0));
    EXPECT_TRUE(isAt(*handle.peek(1'000'000), 0));
    EXPECT_EQ(handle.offset(), 0);
    EXPECT_EQ(handle.peek(3'000'000)->size(), content.size());
    EXPECT_TRUE(isAt(*handle.read(16), 0));
    EXPECT_TRUE(isAt(*handle.peek(16), 16));
}

TEST(FileHandle, SeeksWithinTheWindowAndBeyond)
{
    const TempFile file(content);
    auto handle = *FileHandle::open(file);
    for (const std::size_t offset : {0u, 100u, 1'999'999u, 5u, 524'288u, 600'000u, 2'000'000u, 0u}) {
        EXPECT_EQ(*handle.seek(offset), offset);
        EXPECT_EQ(handle.offset(), offset);
        const auto bytes = *handle.read(1000);
        EXPECT_EQ(bytes.size(), std::min<std::size_t>(1000, content.size() - offset));
        EXPECT_TRUE(isAt(bytes, offset));
    }
    EXPECT_TRUE(handle.seek(3'000'000)) << "behind the end is nothing, but a place";
    EXPECT_TRUE(handle.read(10)->empty());
    EXPECT_FALSE(*handle.require(1));
    EXPECT_EQ(handle.seek(~std::uint64_t{0}).error().errorDescription(), "Invalid argument");
}

TEST(FileHandle, APipeIsReadAsItComes)
{
    for (const std::size_t piece : {1u, 4096u, 100'000u}) {
        const auto all = Bytes(content).first(piece == 1 ? 5'000 : content.size());
        FedPipe pipe(all, piece);
        auto handle = pipe.handle();
        EXPECT_FALSE(handle.isSeekable());
        EXPECT_EQ(handle.size(), 0);
        EXPECT_TRUE(isAt(*handle.peek(1000), 0));
        EXPECT_TRUE(isAt(*handle.read(4000), 0));
        EXPECT_TRUE(handle.seek(10)) << "still in the window";
        EXPECT_TRUE(isAt(*handle.read(100), 10));
        EXPECT_EQ(handle.seek(50'000'000).error().errorDescription(), "Illegal seek");
        EXPECT_FALSE(*handle.require(all.size()));
        EXPECT_TRUE(*handle.require(all.size() - 110));
        EXPECT_TRUE(isAt(handle.buffered(), 110));
        EXPECT_EQ(handle.buffered().size(), all.size() - 110);
    }
}

TEST(FileHandle, ACountThatTheRestOfAFileCannotHoldIsNeitherReadNorAllocated)
{
    const TempFile file(content);
    const auto grown = inChild([&] {
        auto handle = *FileHandle::open(file);
        (void)handle.read(1000);
        const auto before = handle.buffered().size();
        const auto peak = peakMemory();
        for (const std::uint64_t count : {std::uint64_t{2'000'000}, std::uint64_t{1} << 32, ~std::uint64_t{0}})
            if (*handle.require(count) || handle.buffered().size() != before)
                return std::string("required ") + std::to_string(count);
        return std::string(peakMemory() - peak < 1'000'000 ? "no" : "yes");
    });
    EXPECT_EQ(grown, "no");
}

TEST(FileHandle, TheWindowOverAPipeGrowsWithWhatArrivesAndNotWithWhatIsAskedFor)
{
    const auto grown = inChild([] {
        ::mallopt(M_ARENA_MAX, 1); // the address space that a thread's own arena reserves is none of the window's
        FedPipe pipe(content, 65'536);
        auto handle = pipe.handle();
        (void)handle.peek(1);
        const auto peak = peakMemory();
        if (*handle.require(std::uint64_t{1} << 32) || handle.buffered().size() != content.size())
            return std::string("required");
        return std::string(peakMemory() - peak < 20'000'000 ? "no" : "yes");
    });
    EXPECT_EQ(grown, "no");
}

TEST(FileHandle, AFileThatShrinksIsReadToWhereItEndsNow)
{
    for (const std::size_t left : {0u, 100u, 524'288u, 900'000u}) {
        const TempFile file(content);
        auto handle = *FileHandle::open(file);
        EXPECT_TRUE(isAt(*handle.read(1000), 0));
        std::filesystem::resize_file(file, left);
        std::size_t at = 1000;
        for (auto bytes = *handle.read(999); !bytes.empty(); bytes = *handle.read(999)) {
            ASSERT_TRUE(isAt(bytes, at));
            at += bytes.size();
        }
        EXPECT_EQ(at, std::max<std::size_t>(left, 524'288)) << "what the window held is read to its end";
    }
}

TEST(FileHandle, AFileThatGrowsIsReadOn)
{
    const TempFile file(Bytes(content).first(100));
    auto handle = *FileHandle::open(file);
    EXPECT_EQ(handle.read(200)->size(), 100);
    EXPECT_FALSE(*handle.require(50));
    append(file, Bytes(content).subspan(100, 100));
    EXPECT_EQ(handle.size(), 200);
    EXPECT_TRUE(*handle.require(50));
    EXPECT_TRUE(isAt(*handle.read(200), 100));
}

TEST(FileHandle, ADirectoryIsAnError)
{
    const TempFolder folder;
    EXPECT_EQ(FileHandle::open(folder.path()).error().errorDescription(), "Is a directory");
}

TEST(FileHandle, AMovedHandleReadsOnAndClosesOnce)
{
    const TempFile file(content);
    auto first = *FileHandle::open(file);
    (void)first.read(1000);
    auto second = std::move(first);
    EXPECT_TRUE(isAt(*second.read(1000), 1000));
    first = std::move(second);
    EXPECT_TRUE(isAt(*first.read(1000), 2000));
}

TEST(FileHandle, StandardInputIsReadFromWhereItStands)
{
    const TempFile file(content);
    const auto text = inChild([&]() -> std::string {
        const int descriptor = ::open(file.path().c_str(), O_RDONLY);
        if (::lseek(descriptor, 700'000, SEEK_SET) < 0 || ::dup2(descriptor, STDIN_FILENO) < 0)
            return "no standard input";
        {
            auto handle = *FileHandle::open("-");
            if (handle.offset() != 700'000 || !isAt(*handle.read(600'000), 700'000) || handle.size() != content.size())
                return "read elsewhere";
        }
        return ::fcntl(STDIN_FILENO, F_GETFD) >= 0 ? "good" : "closed standard input";
    });
    EXPECT_EQ(text, "good");
}

} // namespace netrondo::test
