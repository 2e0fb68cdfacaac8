// Lines are collected as text and handed on in large pieces.
#include "Tasks/FrameExportTask.h"

#include "Capture/OutputFile.h"
#include "Models/Text.h"
#include "Tasks/Background.h"
#include "Tasks/OrderedFrames.h"

#include <chrono>

namespace netrondo {
namespace {
constexpr auto lookEvery = std::chrono::milliseconds(50);

QString sentenceOf(const QString& path, const CaptureError& error)
{
    return QStringLiteral("%1: %2").arg(path, asQt(error.errorDescription()));
}
} // namespace

struct FrameExportTask::Shared {
    std::atomic<std::uint32_t> frame = 0;
    std::atomic<bool> isComplete = false;
    Result<std::uint64_t, QString> result; ///< frames, or what went wrong; written before `isComplete`

    struct Source {
        QString path;
        std::shared_ptr<const FrameIndex> index;
        FrameStore::OrderedDecoder ordered;
        FrameSet ignored;
    };

    Result<std::uint64_t, QString> write(const std::stop_token& stop, const Source& source, const Wish& wish);
};

Result<std::uint64_t, QString> FrameExportTask::Shared::write(const std::stop_token& stop, const Source& source,
                                                              const Wish& wish)
{
    const auto bySource = [&](const CaptureError& error) { return std::unexpected(sentenceOf(source.path, error)); };
    const auto byTarget = [&](const CaptureError& error) { return std::unexpected(sentenceOf(wish.path, error)); };
    auto decoder = IndexedDecoder::open(source.index);
    if (!decoder)
        return bySource(decoder.error());
    auto file = OutputFile::create(wish.path.toStdString(), FileNaming::whenWhole);
    if (!file)
        return byTarget(file.error());
    OrderedFrames ordered(source.ordered, *decoder);
    std::string text;
    TextOutput out(text);
    FrameWriter writer(out, wish.form);
    DecodedFrame decoded;
    std::uint64_t written = 0;
    while (const auto next = wish.next()) {
        if (stop.stop_requested())
            return written; // the file never gets its name
        frame.store(*next, std::memory_order_relaxed);
        if (source.ignored.have(*next))
            continue;
        ordered.awaitFollowed(*next, stop);
        const auto capture = decoder->fetch(*next);
        if (!capture)
            return bySource(capture.error());
        decoder->decode(*capture, *next, decoded);
        writer.write(decoded);
        ++written;
        if (text.empty())
            continue; // it comes in large pieces
        file->append(asBytes(text));
        text.clear();
        if (const auto taken = file->endRecord(); !taken)
            return byTarget(taken.error());
    }
    out.flush();
    file->append(asBytes(text));
    const auto taken = file->endRecord();
    const auto finished = taken ? file->finish() : taken;
    if (!finished)
        return byTarget(finished.error());
    return written;
}

FrameExportTask::FrameExportTask(const FrameStore& store, Wish wish, QObject* parent)
    : QObject(parent), shared_(std::make_shared<Shared>())
{
    connect(&timer_, &QTimer::timeout, this, &FrameExportTask::look);
    timer_.start(lookEvery);
    Shared::Source source{store.path(), store.index(), store.orderedDecoderSource(), store.notes().now().ignored};
    worker_ = std::jthread(
        [shared = shared_, source = std::move(source), wish = std::move(wish)](const std::stop_token& stop) {
            shared->result = shared->write(stop, source, wish);
            shared->isComplete = true;
        });
}

FrameExportTask::~FrameExportTask()
{
    letEnd(std::move(worker_));
}

void FrameExportTask::look()
{
    const bool isComplete = shared_->isComplete;
    emit advanced(shared_->frame);
    if (!isComplete)
        return;
    timer_.stop();
    if (const auto& result = shared_->result)
        emit completed(*result);
    else
        emit failed(result.error());
}

} // namespace netrondo
