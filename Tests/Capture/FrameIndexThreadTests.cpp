// Frames fetched by several threads while the index is still being built.
#include "Capture/FrameIndex.h"
#include "Support/Captures.h"

#include <gtest/gtest.h>
#include <thread>

namespace netrondo::test {

TEST(FrameIndexThreads, FetchWhatIsThereWhileTheRestIsRead)
{
    constexpr std::uint32_t frames = 20'000;
    PcapBytes capture;
    for (std::uint32_t i = 0; i < frames; ++i)
        capture.frame(pattern(60 + i % 50), {.seconds = i});
    const TempFile file(capture);
    const auto index = FrameIndex::open(file).value();
    std::vector<std::jthread> threads;
    for (std::uint32_t offset = 1; offset <= 3; ++offset) {
        threads.emplace_back([&, offset] {
            auto fetcher = index->fetcher().value();
            std::uint32_t seen = 0;
            while (seen < frames) {
                seen = index->count();
                if (seen < offset)
                    continue;
                const auto frame = seen - offset;
                EXPECT_EQ(fetcher.fetch(frame).value().data.size(), 60 + frame % 50);
                EXPECT_EQ(index->nanoseconds(frame), frame * 1'000'000'000ll);
            }
        });
    }
    EXPECT_TRUE(index->extend());
}

} // namespace netrondo::test
