// It is asked now and then how far it has come.
#include "Tasks/OrderedFrames.h"

#include <chrono>
#include <thread>
#include <utility>

namespace netrondo {
namespace {
constexpr auto breath = std::chrono::milliseconds(5);
constexpr int maxBreaths = 400; // without the pass moving on: it has come to its end
} // namespace

OrderedFrames::OrderedFrames(const FrameStore::OrderedDecoder& source, IndexedDecoder& decoder)
    : source_(source), decoder_(decoder)
{
    look();
}

void OrderedFrames::awaitFollowed(std::uint32_t frame, const std::stop_token& stop)
{
    for (int breaths = 0; followed_ <= frame && breaths < maxBreaths && !stop.stop_requested(); ++breaths) {
        if (look())
            breaths = 0;
        else
            std::this_thread::sleep_for(breath);
    }
}

/// Whether it has moved on.
bool OrderedFrames::look()
{
    auto [ordered, followed] = source_();
    decoder_.useContextsOf(std::move(ordered));
    return std::exchange(followed_, followed) != followed;
}

} // namespace netrondo
