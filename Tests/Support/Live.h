// Reading a live source until there is enough of it.
#pragma once

#include "Capture/LiveSource.h"
#include "Support/Readers.h"

#include <chrono>
#include <functional>
#include <stdexcept>

namespace netrondo::test {

/// What a source gives until the condition holds or it has ended.
inline Contents collect(LiveSource& source, const std::function<bool(const Contents&)>& isEnough = {})
{
    using namespace std::chrono_literals;
    Contents contents;
    const auto deadline = std::chrono::steady_clock::now() + 60s;
    std::array<CaptureFrame, 4> frames;
    while (!source.hasEnded() && !(isEnough && isEnough(contents))) {
        if (std::chrono::steady_clock::now() > deadline)
            throw std::runtime_error("the source takes too long");
        const auto count = source.nextBatch(frames, 20ms);
        if (!count) {
            contents.error = count.error().errorDescription();
            break;
        }
        for (std::size_t i = 0; i < *count; ++i)
            contents.frames.emplace_back(frames[i]);
    }
    return contents;
}

inline auto framesAtLeast(std::size_t count)
{
    return [count](const Contents& contents) { return contents.frames.size() >= count; };
}

} // namespace netrondo::test
