// One pass behind the one that builds the index.
#include "Tasks/FrameFilterTask.h"

#include "Analysis/Expert/TcpHistory.h"
#include "Dissection/Filter/FrameSelector.h"
#include "Tasks/Background.h"
#include "Tasks/EachFrame.h"

#include <chrono>

namespace netrondo {
namespace {
constexpr auto lookEvery = std::chrono::milliseconds(25);
} // namespace

struct FrameFilterTask::Shared {
    FrameMatches matches;
    std::atomic<std::uint32_t> examined = 0;
    std::atomic<bool> isComplete = false;
    std::optional<CaptureError> error; ///< written before `isComplete`

    std::optional<CaptureError> search(const std::stop_token& stop, const FrameIndex& index,
                                       const std::function<bool()>& isWhole, const DisplayFilter& filter,
                                       const FrameSet& ignored);
};

std::optional<CaptureError> FrameFilterTask::Shared::search(const std::stop_token& stop, const FrameIndex& index,
                                                            const std::function<bool()>& isWhole,
                                                            const DisplayFilter& filter, const FrameSet& ignored)
{
    FrameSelector selector(filter, true, historyFor(filter)); // the index counts in nanoseconds
    return eachFrame(stop, index, isWhole, [&](std::uint32_t frame, const CaptureFrame& capture) {
        if (selector.next(capture) && !ignored.have(frame)) { // the streams' history goes on with it
            matches.append(frame);
            matches.publish();
        }
        examined.store(frame + 1, std::memory_order_release);
    });
}

FrameFilterTask::FrameFilterTask(const FrameStore& store, DisplayFilter filter, QObject* parent)
    : QObject(parent), shared_(std::make_shared<Shared>())
{
    connect(&timer_, &QTimer::timeout, this, &FrameFilterTask::look);
    timer_.start(lookEvery);
    worker_ =
        std::jthread([shared = shared_, index = store.index(), isWhole = store.completionTest(),
                      filter = std::move(filter), ignored = store.notes().now().ignored](const std::stop_token& stop) {
            shared->error = shared->search(stop, *index, isWhole, filter, ignored);
            shared->isComplete = true;
        });
}

FrameFilterTask::~FrameFilterTask()
{
    letEnd(std::move(worker_));
}

std::shared_ptr<const FrameMatches> FrameFilterTask::matches() const
{
    return {shared_, &shared_->matches};
}

void FrameFilterTask::stop()
{
    worker_.request_stop();
}

void FrameFilterTask::look()
{
    const bool isComplete = shared_->isComplete;
    const auto examined = shared_->examined.load(std::memory_order_acquire);
    if (examined > examined_) {
        examined_ = examined;
        count_ = shared_->matches.size();
        emit advanced();
    }
    if (!isComplete || isComplete_)
        return;
    isComplete_ = true;
    timer_.stop();
    if (shared_->error)
        emit failed(QString::fromStdString(shared_->error->errorDescription()));
    emit completed();
}

} // namespace netrondo
