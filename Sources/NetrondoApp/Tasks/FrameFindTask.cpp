// Row after row until one fits.
#include "Tasks/FrameFindTask.h"

#include "Tasks/Background.h"
#include "Tasks/OrderedFrames.h"

#include <chrono>

namespace netrondo {
namespace {
constexpr auto lookEvery = std::chrono::milliseconds(10);
} // namespace

struct FrameFindTask::Shared {
    std::atomic<bool> isComplete = false;
    CaptureResult<std::optional<std::uint32_t>> result; ///< written before `isComplete`
    bool wrapped = false;

    CaptureResult<std::optional<std::uint32_t>> find(const std::stop_token& stop, const Among& among,
                                                     const FrameSearch& search, std::int64_t from, Direction direction);
};

CaptureResult<std::optional<std::uint32_t>> FrameFindTask::Shared::find(const std::stop_token& stop, const Among& among,
                                                                        const FrameSearch& search, std::int64_t from,
                                                                        Direction direction)
{
    NR_TRY(auto decoder, IndexedDecoder::open(among.index));
    OrderedFrames ordered(among.ordered, decoder);
    DecodedFrame scratch;
    const std::int64_t rows = among.rows, step = direction == Direction::forwards ? 1 : -1;
    const bool hasStart = from >= 0;
    if (!hasStart) // no row is chosen: the first one looked at is the end that the direction leaves
        from = step > 0 ? rows - 1 : 0;
    for (std::int64_t i = 1; i <= rows && !stop.stop_requested(); ++i) {
        const auto row = static_cast<std::uint32_t>(((from + step * i) % rows + rows) % rows);
        const auto frame = among.matches ? (*among.matches)[row] : row;
        if (among.ignored.have(frame))
            continue;
        if (search.readsFindings())
            ordered.awaitFollowed(frame, stop);
        NR_TRY(const bool fits, search.matches(decoder, frame, scratch));
        if (fits) {
            wrapped = hasStart && (step > 0 ? row <= from : row >= from);
            return row;
        }
    }
    return std::optional<std::uint32_t>();
}

FrameFindTask::FrameFindTask(Among among, FrameSearch search, std::int64_t fromRow, Direction direction,
                             QObject* parent)
    : QObject(parent), shared_(std::make_shared<Shared>())
{
    connect(&timer_, &QTimer::timeout, this, &FrameFindTask::look);
    timer_.start(lookEvery);
    worker_ = std::jthread([shared = shared_, among = std::move(among), search = std::move(search), fromRow,
                            direction](const std::stop_token& stop) {
        shared->result = shared->find(stop, among, search, fromRow, direction);
        shared->isComplete = true;
    });
}

FrameFindTask::~FrameFindTask()
{
    letEnd(std::move(worker_));
}

void FrameFindTask::look()
{
    if (!shared_->isComplete)
        return;
    timer_.stop();
    const auto& row = shared_->result;
    if (!row)
        emit failed(QString::fromStdString(row.error().errorDescription()));
    else if (*row)
        emit found(**row, shared_->wrapped);
    else
        emit notFound();
}

} // namespace netrondo
