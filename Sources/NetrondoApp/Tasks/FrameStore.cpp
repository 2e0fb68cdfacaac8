// One thread reads and notes where frames are, a second one behind it decodes them in their order and keeps what later
// frames need of earlier ones. They share nothing with the window but one record under a lock, which the window looks
// at by a timer: a store that is dropped while a large file is still being inflated waits for nobody.
#include "Tasks/FrameStore.h"

#include "Analysis/Expert/TcpHistory.h"
#include "Analysis/HostNameStore.h"
#include "Dissection/Classify/FrameClassifier.h"
#include "Tasks/Background.h"
#include "Tasks/EachFrame.h"

#include <QDir>
#include <chrono>
#include <condition_variable>
#include <mutex>

namespace netrondo {
namespace {
constexpr auto lookEvery = std::chrono::milliseconds(25);
constexpr auto growthEvery = std::chrono::milliseconds(250);
constexpr auto breath = std::chrono::milliseconds(5);
} // namespace

struct FrameStore::Shared {
    mutable std::mutex lock;
    std::shared_ptr<FrameIndex> index;
    std::shared_ptr<PacketDecoder> decoder;
    std::atomic<std::uint32_t> followed = 0;
    HostNameStore names;
    std::optional<CaptureError> error;
    std::atomic<bool> isComplete = false;

    void read(const std::stop_token& stop, const std::filesystem::path& path, Reading reading);
    void follow(const std::stop_token& stop);
    std::shared_ptr<const FrameIndex> awaitIndex(const std::stop_token& stop);
    void learnNames(const CaptureFrame& frame);
};

void FrameStore::Shared::learnNames(const CaptureFrame& frame)
{
    FrameFacts facts;
    if (!classify(frame, AnalysisMode::l3IP, facts) || !HostNameStore::mayHoldNames(facts))
        return;
    const std::lock_guard guard(lock);
    names.harvest(facts);
}

void FrameStore::Shared::read(const std::stop_token& stop, const std::filesystem::path& path, Reading reading)
{
    auto opened = FrameIndex::open(path);
    auto failure = opened ? std::optional<CaptureError>() : opened.error();
    if (opened) {
        const std::lock_guard guard(lock);
        index = *opened;
    }
    while (opened && !failure && !stop.stop_requested()) {
        const auto read = (*opened)->extend(stop, [this](const CaptureFrame& frame) { learnNames(frame); });
        if (!read)
            failure = read.error();
        if (reading == Reading::once)
            break;
        std::mutex quiet;
        std::unique_lock waiting(quiet);
        std::condition_variable_any().wait_for(waiting, stop, growthEvery, [] { return false; });
    }
    const std::lock_guard guard(lock);
    error = failure;
    isComplete = true;
}

/// The index, once the file is open; null for a file that cannot be.
std::shared_ptr<const FrameIndex> FrameStore::Shared::awaitIndex(const std::stop_token& stop)
{
    while (!stop.stop_requested()) {
        const bool isOver = isComplete; // asked first: what there is to come is there below
        {
            const std::lock_guard guard(lock);
            if (index || isOver)
                return index;
        }
        std::this_thread::sleep_for(breath);
    }
    return {};
}

void FrameStore::Shared::follow(const std::stop_token& stop)
{
    const auto present = awaitIndex(stop);
    if (!present)
        return;
    const auto ordered = std::make_shared<PacketDecoder>(true, PacketDecoder::Keep::contexts);
    const auto history = followHistory(); // as long as the pass: it takes more room than what is kept of it
    DecodedFrame scratch;
    const auto take = [&](std::uint32_t frame, const CaptureFrame& capture) {
        ordered->decodeNext(capture, scratch);
        ordered->mark(scratch, history(capture));
        if (frame == 0) {
            const std::lock_guard guard(lock);
            decoder = ordered;
        }
        followed.store(frame + 1, std::memory_order_release);
    };
    // Where a frame is gone, the order has gone with it: nobody is told of it here.
    eachFrame(
        stop, *present, [this] { return isComplete.load(); }, take);
}

FrameStore::FrameStore(const QString& path, Reading reading, QObject* parent)
    : QObject(parent), path_(path), shared_(std::make_shared<Shared>())
{
    connect(&timer_, &QTimer::timeout, this, &FrameStore::look);
    timer_.start(lookEvery);
    reader_ = std::jthread([shared = shared_, file = path.toStdString(), reading](const std::stop_token& stop) {
        shared->read(stop, file, reading);
    });
    follower_ = std::jthread([shared = shared_](const std::stop_token& stop) { shared->follow(stop); });
}

FrameStore::~FrameStore()
{
    letEnd(std::move(reader_));
    letEnd(std::move(follower_));
}

void FrameStore::stop()
{
    reader_.request_stop();
}

void FrameStore::look()
{
    const bool isComplete = shared_->isComplete; // asked first: what was read before it is seen below
    if (!index_) {
        {
            const std::lock_guard guard(shared_->lock);
            index_ = shared_->index;
        }
        if (index_)
            emit opened();
    }
    if (index_ && index_->count() > count_) {
        count_ = index_->count();
        emit grew();
    }
    if (const auto now = followed(); now > followed_) {
        followed_ = now;
        emit followedMore();
    }
    if (isComplete_ && followed_ == count_)
        timer_.stop();
    if (!isComplete || isComplete_)
        return;
    isComplete_ = true;
    if (const auto& failure = shared_->error) {
        error_ = QStringLiteral("%1: %2").arg(QDir::toNativeSeparators(path_),
                                              QString::fromStdString(failure->errorDescription()));
        emit failed();
    }
    emit completed();
}

FrameStore::OrderedDecoder FrameStore::orderedDecoderSource() const
{
    return [shared = shared_] {
        const auto followed = shared->followed.load(std::memory_order_acquire);
        const std::lock_guard guard(shared->lock);
        return std::pair(std::shared_ptr<const PacketDecoder>(shared->decoder), followed);
    };
}

std::uint32_t FrameStore::followed() const
{
    return shared_->followed.load(std::memory_order_acquire);
}

bool FrameStore::isComplete() const
{
    return isComplete_;
}

std::function<bool()> FrameStore::completionTest() const
{
    return [shared = shared_] { return shared->isComplete.load(); };
}

double FrameStore::progress() const
{
    if (isComplete_)
        return 1;
    const auto position = index_ ? index_->position() : CaptureReading::Position();
    return position.size > 0 ? static_cast<double>(position.offset) / static_cast<double>(position.size) : 0;
}

FrameStore::HostNames FrameStore::hostNames() const
{
    return [shared = shared_](const Address& address) {
        const std::lock_guard guard(shared->lock);
        const auto name = shared->names.name(address);
        return QString::fromUtf8(name.data(), static_cast<qsizetype>(name.size()));
    };
}

} // namespace netrondo
