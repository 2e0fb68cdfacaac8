// Frames that are ignored have said nothing.
#include "Tasks/FollowTask.h"

#include "Dissection/Filter/FrameSearch.h"
#include "Models/Text.h"
#include "Tasks/Background.h"

#include <chrono>
#include <mutex>

namespace netrondo {
namespace {
constexpr auto lookEvery = std::chrono::milliseconds(50);
} // namespace

struct FollowTask::Shared {
    std::mutex lock;
    std::vector<StreamFollower::Piece> pieces;
    std::atomic<std::uint32_t> examined = 0;
    std::atomic<bool> isComplete = false;
    std::optional<CaptureError> error; ///< written before `isComplete`

    struct Source {
        std::shared_ptr<const FrameIndex> index;
        FrameStore::OrderedDecoder ordered;
        FrameSet ignored;
        std::uint32_t count;
    };

    CaptureResult<void> gather(const std::stop_token& stop, const Source& source, const FrameSearch& search);
    void put(StreamFollower& follower);
};

void FollowTask::Shared::put(StreamFollower& follower)
{
    auto fresh = follower.take();
    const std::lock_guard guard(lock);
    std::ranges::move(fresh, std::back_inserter(pieces));
}

CaptureResult<void> FollowTask::Shared::gather(const std::stop_token& stop, const Source& source,
                                               const FrameSearch& search)
{
    NR_TRY(auto decoder, IndexedDecoder::open(source.index));
    decoder.useContextsOf(source.ordered().first);
    StreamFollower follower;
    DecodedFrame decoded;
    for (std::uint32_t frame = 0; frame < source.count && !stop.stop_requested(); ++frame) {
        examined.store(frame + 1, std::memory_order_relaxed);
        if (source.ignored.have(frame))
            continue;
        NR_TRY(const bool isOfIt, search.matches(decoder, frame, decoded));
        if (!isOfIt)
            continue;
        follower.add(decoded);
        put(follower);
    }
    follower.end();
    put(follower);
    return {};
}

FollowTask::FollowTask(const FrameStore& store, const FrameSummary& ofFrame, QObject* parent)
    : QObject(parent), shared_(std::make_shared<Shared>())
{
    connect(&timer_, &QTimer::timeout, this, &FollowTask::look);
    timer_.start(lookEvery);
    Shared::Source source{store.index(), store.orderedDecoderSource(), store.notes().now().ignored, store.count()};
    worker_ = std::jthread([shared = shared_, source = std::move(source),
                            search = FrameSearch::forConversation(ofFrame)](const std::stop_token& stop) {
        if (const auto gathered = shared->gather(stop, source, search); !gathered)
            shared->error = gathered.error();
        shared->isComplete = true;
    });
}

FollowTask::~FollowTask()
{
    letEnd(std::move(worker_));
}

std::vector<StreamFollower::Piece> FollowTask::take()
{
    const std::lock_guard guard(shared_->lock);
    return std::exchange(shared_->pieces, {});
}

void FollowTask::look()
{
    isComplete_ = shared_->isComplete; // asked first: what was gathered before it is there to be taken
    emit advanced(shared_->examined);
    if (!isComplete_)
        return;
    timer_.stop();
    if (shared_->error)
        emit failed(asQt(shared_->error->errorDescription()));
    emit completed();
}

} // namespace netrondo
