// The window looks at the recording by a timer: a busy network wakes it no oftener than a quiet one.
#include "Tasks/LiveSession.h"

#include "Base/Units.h"
#include "Models/Text.h"
#include "Tasks/Background.h"
#include "Tasks/TemporaryCapture.h"

#include <QDir>
#include <atomic>
#include <chrono>
#include <thread>

namespace netrondo {
namespace {
using namespace std::chrono_literals;

constexpr auto lookEvery = 100ms;
constexpr auto flushEvery = 200ms;
} // namespace

struct LiveSession::Run {
    Run() = default;
    explicit Run(TemporaryCapture recovered) : file(std::move(recovered)) { }

    TemporaryCapture file;
    std::unique_ptr<LiveRecording> recording;
    Result<void, LiveRecording::Failure> result; ///< once it is over
    std::atomic<bool> isOver = false;
    std::jthread thread;

    /// The thread keeps the run alive, for the case that nobody waits for it.
    static void begin(const std::shared_ptr<Run>& run)
    {
        run->thread = std::jthread([run] {
            run->result = run->recording->run(flushEvery);
            run->isOver = true;
        });
    }
};

LiveSession::LiveSession(QObject* parent) : QObject(parent)
{
    timer_.setInterval(lookEvery);
    connect(&timer_, &QTimer::timeout, this, &LiveSession::look);
}

LiveSession::~LiveSession()
{
    const QSignalBlocker quiet(this); // whoever listened is going, too
    drop();
}

QString LiveSession::path() const
{
    return run_ ? asQt(run_->file.path().string()) : QString();
}

void LiveSession::start(const Wish& wish)
{
    replace(wish, std::make_shared<Run>());
    if (run_->file.path().empty()) {
        trouble_ = tr("There is no room for a capture in the temporary directory %1 (TMPDIR can name another).")
                       .arg(QDir::tempPath());
        return finish();
    }
    auto source = wish_.start();
    if (!source) {
        trouble_ = asQt(source.error().errorDescription());
        return finish();
    }
    run_->recording =
        std::make_unique<LiveRecording>(*std::move(source), wish_.name.toStdString(),
                                        LiveRecording::Output{run_->file.path()}, LiveRecording::Limits{});
    Run::begin(run_);
    timer_.start();
    emit moved();
}

bool LiveSession::recover(const QString& path, std::uint64_t frames)
{
    auto file = TemporaryCapture::adopt(path.toStdString());
    if (!file)
        return false;
    replace({tr("Recovered capture"), tr("recovered"), {}}, std::make_shared<Run>(std::move(*file)));
    status_.frames = frames;
    hasBegun_ = isOver_ = true;
    emit moved();
    return true;
}

void LiveSession::replace(const Wish& wish, std::shared_ptr<Run> run)
{
    end();
    if (run_)
        previous_ = std::move(run_);
    wish_ = wish;
    run_ = std::move(run);
}

void LiveSession::stop()
{
    if (isRunning())
        run_->recording->stop();
}

bool LiveSession::owns(const QString& path) const
{
    const auto file = std::filesystem::path(path.toStdString());
    return (run_ && run_->file.path() == file) || (previous_ && previous_->file.path() == file);
}

void LiveSession::setSaved(std::uint64_t frames)
{
    saved_ = frames;
    emit moved();
}

void LiveSession::drop()
{
    end();
    previous_.reset();
    run_.reset();
    emit moved();
}

/// Ends what runs, and forgets what was known of it.
void LiveSession::end()
{
    if (run_ && run_->thread.joinable()) {
        run_->recording->stop();
        letEnd(std::move(run_->thread)); // within moments, unless it is looking up a name
    }
    timer_.stop();
    status_ = {};
    trouble_.clear();
    saved_ = 0;
    hasBegun_ = isOver_ = false;
}

void LiveSession::look()
{
    const bool isOver = run_->isOver; // asked first: the status that follows is the last one then
    status_ = run_->recording->status();
    if (!hasBegun_ && (status_.isConnected || status_.frames > 0)) {
        hasBegun_ = true;
        emit began();
    }
    if (!isOver)
        return emit moved();
    run_->thread.join();
    if (!run_->result) {
        const auto& [where, error] = run_->result.error();
        trouble_ = asQt(error.errorDescription());
        if (where != wish_.name.toStdString()) // a file's; the source's own sentences name it
            trouble_ = QStringLiteral("%1: %2").arg(asQt(where), trouble_);
        if (status_.frames > 0)
            trouble_ += (trouble_.endsWith(QLatin1Char('.')) ? QString() : QStringLiteral("."))
                + tr(" What was captured before is kept: %1.")
                      .arg(asQt(units::counted(status_.frames, "frame", "frames")));
    }
    finish();
}

void LiveSession::finish()
{
    timer_.stop();
    isOver_ = true;
    emit moved();
    emit ended();
}

} // namespace netrondo
