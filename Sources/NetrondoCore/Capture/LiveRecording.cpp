// Frames come in batches; between two batches there is time for everything else.
#include "Capture/LiveRecording.h"

#include <algorithm>
#include <array>

namespace netrondo {
namespace {
using Clock = std::chrono::steady_clock;

constexpr std::size_t batchSize = 256;
} // namespace

LiveRecording::LiveRecording(std::shared_ptr<LiveSource> source, std::string name, std::optional<Output> output,
                             const Limits& limits, Receiver receiver)
    : source_(std::move(source))
    , name_(std::move(name))
    , output_(std::move(output))
    , limits_(limits)
    , receiver_(std::move(receiver))
{ }

void LiveRecording::stop()
{
    source_->stop();
}

LiveRecording::Status LiveRecording::status() const
{
    const std::scoped_lock locked(lock_);
    return status_;
}

void LiveRecording::publish()
{
    Status now{frames_, source_->counts(), source_->reading() != nullptr, source_->trouble()};
    const std::scoped_lock locked(lock_);
    status_ = std::move(now);
}

Result<void, LiveRecording::Failure> LiveRecording::run(std::chrono::milliseconds interval,
                                                        const std::function<bool()>& tick)
{
    auto result = runToTheEnd(interval, tick);
    publish();
    if (!recorder_)
        return result;
    if (const auto finished = recorder_->finish(source_->countsOfInterfaces()); !finished && result)
        return failureOfFile(finished.error());
    return result;
}

Result<void, LiveRecording::Failure> LiveRecording::runToTheEnd(std::chrono::milliseconds interval,
                                                                const std::function<bool()>& tick)
{
    std::array<CaptureFrame, batchSize> frames;
    const auto start = Clock::now();
    const auto isTimeUp = [&] { return limits_.time.count() > 0 && Clock::now() - start >= limits_.time; };
    auto nextTick = start + interval;
    bool isStopping = false;
    while (!source_->hasEnded()) {
        auto patience = std::chrono::ceil<std::chrono::milliseconds>(std::max(nextTick - Clock::now(), {}));
        if (limits_.time.count() > 0 && !isStopping)
            patience = std::min(
                patience,
                std::chrono::ceil<std::chrono::milliseconds>(std::max(limits_.time - (Clock::now() - start), {})));
        const auto room =
            limits_.frames > 0 ? std::min<std::uint64_t>(limits_.frames - frames_, frames.size()) : frames.size();
        const auto count = source_->nextBatch(std::span(frames).first(room), patience);
        if (!count)
            return std::unexpected(Failure{name_, count.error()});
        if (auto taken = take(std::span(frames).first(*count)); !taken)
            return taken;
        if (limits_.frames > 0 && frames_ >= limits_.frames)
            return {};
        if (!isStopping && isTimeUp()) {
            source_->stop();
            isStopping = true;
        }
        if (Clock::now() < nextTick)
            continue;
        nextTick = Clock::now() + interval;
        publish();
        if (recorder_)
            if (const auto flushed = recorder_->flush(); !flushed)
                return failureOfFile(flushed.error());
        if (tick && !tick() && !isStopping) {
            source_->stop();
            isStopping = true;
        }
    }
    return {};
}

std::unexpected<LiveRecording::Failure> LiveRecording::failureOfFile(const CaptureError& error) const
{
    return std::unexpected(Failure{(recorder_ ? recorder_->file() : output_->file).string(), error});
}

/// Creates the file, with its header in it, so that others can begin to read it.
Result<void, LiveRecording::Failure> LiveRecording::begin(const CaptureReading& reading)
{
    auto created = CaptureRecorder::create(output_->file, output_->ring, source_->notes());
    if (!created)
        return failureOfFile(created.error());
    recorder_ = *std::move(created);
    CaptureFrame none;
    none.linkType = LinkType::ethernet;
    if (const auto begun = recorder_->begin(reading.interfaceOf(none)); !begun)
        return failureOfFile(begun.error());
    return {};
}

Result<void, LiveRecording::Failure> LiveRecording::take(std::span<const CaptureFrame> frames)
{
    const auto* reading = source_->reading();
    if (!reading)
        return {};
    if (output_ && !recorder_)
        if (auto begun = begin(*reading); !begun)
            return begun;
    if (recorder_)
        for (const auto& frame : frames)
            if (const auto written = recorder_->write(frame, *reading); !written)
                return failureOfFile(written.error());
    if (receiver_ && !frames.empty())
        receiver_(*reading, frames);
    frames_ += frames.size();
    return {};
}

} // namespace netrondo
