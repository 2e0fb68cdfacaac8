#include "Tasks/CaptureSession.h"

#include "Capture/CaptureFile.h"
#include "Capture/Drivers/FilterChoice.h"
#include "Capture/Drivers/GrowingCapture.h"
#include "Capture/Drivers/WatchedReading.h"
#include "Models/TalkTable.h"
#include "Models/Text.h"
#include "Tasks/Background.h"

#include <algorithm>
#include <filesystem>

namespace netrondo {

struct CaptureSession::Outcome {
    Wanted wanted;
    std::shared_ptr<Reading> reading; ///< that this comes from
    std::optional<CaptureError> error;
    std::shared_ptr<const TalkTable> talks;
    CaptureFacts facts;
};

namespace {

QString formatInWords(const CaptureReading& reader)
{
    auto text = asQt(rawValue(reader.format()));
    std::vector<LinkType> named;
    for (const auto type : reader.interfaceLinkTypes())
        if (std::ranges::find(named, type) == named.end()) {
            named.push_back(type);
            text += QStringLiteral(", ") + asQt(displayName(type));
        }
    return text;
}

std::uint64_t sizeOf(const QString& path)
{
    std::error_code unknown;
    const auto size = std::filesystem::file_size(path.toStdString(), unknown);
    return unknown ? 0 : size;
}

CaptureFacts factsOf(const WatchedReading& watched, const QString& path)
{
    return {path,
            formatInWords(watched),
            watched.frames(),
            sizeOf(path),
            watched.isNanosecond(),
            watched.framesByLinkType(),
            watched.volume(),
            {}};
}

} // namespace

std::function<bool(const CaptureFrame& frame)>
frameChoice(const std::optional<TimeSpan>& span, const std::shared_ptr<const DisplayFilter>& filter, bool isNanosecond)
{
    CaptureFile::FrameChoice within;
    if (span)
        within = [span = *span](const CaptureFrame& frame) { return span.holds(frame.seconds()); };
    return CaptureFile::choiceOf(filter ? std::optional(*filter) : std::nullopt, isNanosecond, std::move(within));
}

CaptureSession::CaptureSession(QObject* parent) : QObject(parent)
{
    progressTimer_.setInterval(50);
    connect(&progressTimer_, &QTimer::timeout, this, [this] {
        const double size = static_cast<double>(reading_->size);
        emit progressed(reading_->frames, size > 0 ? static_cast<double>(reading_->offset) / size : 0);
    });
    trialTimer_.setInterval(50);
    connect(&trialTimer_, &QTimer::timeout, this, [this] {
        const double size = static_cast<double>(trial_->size);
        emit trialProgressed(size > 0 ? static_cast<double>(trial_->offset) / size : 0);
    });
    followTimer_.setInterval(1000);
    connect(&followTimer_, &QTimer::timeout, this, &CaptureSession::pull);
}

CaptureSession::~CaptureSession()
{
    stopTrial();
    endReading();
}

void CaptureSession::startReading()
{
    reading_ = std::make_shared<Reading>();
    progressTimer_.start();
}

void CaptureSession::endReading()
{
    progressTimer_.stop();
    if (reading_)
        std::exchange(reading_, nullptr)->stop = true;
}

void CaptureSession::takeBack()
{
    const auto thresholds = wanted_.thresholds; // those are the user's settings whatever becomes of a reading
    wanted_ = shown_;
    wanted_.thresholds = thresholds;
}

void CaptureSession::tryThresholds(const ExpertPreferences& thresholds)
{
    stopTrial();
    if (!talks_ || isFollowing() || isReading())
        return;
    trial_ = std::make_shared<Reading>();
    trialTimer_.start();
    auto wanted = shown_;
    wanted.thresholds = thresholds;
    const auto work = [wanted, reading = trial_, before = talks_->result()] {
        std::optional<ExpertDifference> changes;
        if (const auto outcome = analyze(wanted, reading); !outcome->error)
            changes = difference(before->expertSummary, outcome->talks->result()->expertSummary);
        return changes;
    };
    inBackground(this, work, [this, trial = trial_](const std::optional<ExpertDifference>& changes) {
        if (trial != trial_)
            return; // given up, or followed by another one
        stopTrial();
        if (changes)
            emit tried(*changes);
        else
            emit trialFailed();
    });
}

void CaptureSession::stopTrial()
{
    trialTimer_.stop();
    if (trial_)
        std::exchange(trial_, nullptr)->stop = true;
}

void CaptureSession::open(const QString& path)
{
    endFollowing();
    Wanted wanted;
    wanted.path = path;
    wanted.mode = wanted_.mode;
    wanted.thresholds = wanted_.thresholds;
    emit started(path);
    read(wanted);
}

void CaptureSession::close()
{
    cancel();
    endFollowing();
    Wanted nothing;
    nothing.mode = wanted_.mode;
    nothing.thresholds = wanted_.thresholds;
    shown_ = Wanted{};
    wanted_ = nothing;
    talks_ = whole_ = nullptr;
    facts_ = {};
    emit closed();
}

void CaptureSession::cancel()
{
    if (!reading_)
        return;
    endReading();
    takeBack();
    emit cancelled();
    emit ended();
}

void CaptureSession::setMode(AnalysisMode mode)
{
    if (mode == wanted_.mode)
        return;
    auto wanted = wanted_;
    wanted.mode = mode;
    if (isFollowing() || wanted.path.isEmpty()) {
        wanted_.mode = shown_.mode = mode;
        pull();
        return;
    }
    whole_ = nullptr;
    read(wanted);
}

void CaptureSession::setThresholds(const ExpertPreferences& thresholds)
{
    if (thresholds == wanted_.thresholds)
        return;
    auto wanted = wanted_;
    wanted.thresholds = thresholds;
    if (isFollowing() || wanted.path.isEmpty()) {
        wanted_.thresholds = thresholds;
        pull();
        return;
    }
    whole_ = nullptr;
    read(wanted);
}

void CaptureSession::setSpan(std::optional<TimeSpan> span)
{
    if (span == wanted_.span || isFollowing())
        return;
    auto wanted = wanted_;
    wanted.span = span;
    read(wanted);
}

void CaptureSession::setFilter(std::shared_ptr<const DisplayFilter> filter)
{
    if ((!filter && !wanted_.filter) || isFollowing())
        return;
    auto wanted = wanted_;
    wanted.filter = std::move(filter);
    read(wanted);
}

void CaptureSession::read(const Wanted& wanted)
{
    endReading();
    wanted_ = wanted;
    if (wanted.path.isEmpty())
        return;
    if (whole_ && !wanted.span && !wanted.filter && wanted.path == shown_.path) {
        shown_ = wanted;
        talks_ = whole_;
        facts_.chosen.reset();
        emit changed();
        emit ended();
        return;
    }
    startReading();
    inBackground(
        this, [wanted, reading = reading_] { return analyze(wanted, reading); },
        [this](const std::shared_ptr<Outcome>& outcome) { take(outcome); });
}

std::shared_ptr<CaptureSession::Outcome> CaptureSession::analyze(const Wanted& wanted,
                                                                 const std::shared_ptr<Reading>& reading)
{
    auto outcome = std::make_shared<Outcome>();
    outcome->wanted = wanted;
    outcome->reading = reading;
    const auto inflating = [&](CaptureReading::Position position) {
        reading->offset = position.offset;
        reading->size = position.size;
        return !reading->stop;
    };
    const auto reader = CaptureFile::open(wanted.path.toStdString(), inflating);
    if (!reader) {
        outcome->error = reader.error();
        return outcome;
    }
    WatchedReading watched(**reader, reading->stop);
    const auto progress = [&](std::uint64_t frames) {
        const auto [offset, size] = watched.position();
        reading->frames = frames;
        reading->offset = offset;
        reading->size = size;
    };
    std::optional<VolumeOverTime> chosen;
    auto choice = frameChoice(wanted.span, wanted.filter, watched.isNanosecond());
    if (wanted.filter) {
        chosen.emplace();
        choice = [&chosen, choose = std::move(choice)](const CaptureFrame& frame) {
            const bool isChosen = choose(frame);
            if (isChosen)
                chosen->add(frame.seconds(), frame.originalLength);
            return isChosen;
        };
    }
    auto result = CaptureFile::analyze(watched, wanted.mode, wanted.thresholds, progress, choice, FrameMarks::kept);
    if (!result) {
        outcome->error = result.error();
        return outcome;
    }
    outcome->talks = std::make_shared<TalkTable>(std::make_shared<const AnalysisResult>(std::move(*result)));
    outcome->facts = factsOf(watched, wanted.path);
    outcome->facts.chosen = std::move(chosen);
    return outcome;
}

void CaptureSession::take(const std::shared_ptr<Outcome>& outcome)
{
    if (outcome->reading != reading_)
        return; // something else has been asked for since
    endReading();
    if (outcome->error) {
        takeBack();
        emit failed(outcome->wanted.path, asQt(outcome->error->errorDescription()));
        emit ended();
        return;
    }
    const bool isOther = !talks_ || shown_.path != outcome->wanted.path;
    shown_ = outcome->wanted;
    talks_ = outcome->talks;
    facts_ = std::move(outcome->facts);
    if (!shown_.span && !shown_.filter)
        whole_ = talks_;
    else if (isOther)
        whole_ = nullptr;
    if (isOther)
        emit opened();
    emit changed();
    emit ended();
}

void CaptureSession::follow(const QString& path)
{
    cancel();
    endFollowing();
    wanted_ = {path, wanted_.mode, {}, {}, wanted_.thresholds};
    shown_ = wanted_;
    whole_ = nullptr;
    talks_ = nullptr;
    facts_ = {};
    facts_.path = path;
    growing_ = std::make_shared<GrowingCapture>(path.toStdString());
    emit started(path);
    emit followingChanged();
    followTimer_.start();
    pull();
}

void CaptureSession::endFollowing()
{
    if (!growing_)
        return;
    growing_ = nullptr;
    followTimer_.stop();
    followTrouble_.clear();
    emit followingChanged();
}

void CaptureSession::stopFollowing()
{
    if (!growing_)
        return;
    endFollowing();
    // A file that is gone by now leaves what was seen of it.
    if (sizeOf(shown_.path) > 0)
        read(shown_);
}

void CaptureSession::pull()
{
    if (!growing_ || isPulling_)
        return;
    isPulling_ = true;
    struct Pulled {
        std::optional<CaptureError> error;
        std::shared_ptr<const TalkTable> talks;
        CaptureFacts facts;
    };
    const auto work = [growing = growing_, path = wanted_.path, mode = wanted_.mode, thresholds = wanted_.thresholds] {
        Pulled pulled;
        auto result = growing->pull(mode, thresholds);
        if (result) {
            pulled.talks = std::make_shared<TalkTable>(std::make_shared<const AnalysisResult>(std::move(*result)));
            pulled.facts = factsOf(*growing->reading(), path);
        } else {
            pulled.error = result.error();
        }
        return pulled;
    };
    inBackground(this, work, [this, growing = growing_, thresholds = wanted_.thresholds](const Pulled& pulled) {
        isPulling_ = false;
        if (growing != growing_)
            return;
        if (pulled.error) {
            // Said once: the file may come back, and what was seen of it stays.
            const auto why = asQt(pulled.error->errorDescription());
            if (why != std::exchange(followTrouble_, why))
                emit failed(wanted_.path, why);
            return;
        }
        followTrouble_.clear();
        const bool isFirst = !talks_;
        const bool isJudgedAnew = std::exchange(shown_.thresholds, thresholds) != thresholds;
        if (!isFirst && talks_->result()->mode == pulled.talks->result()->mode && pulled.facts.frames == facts_.frames
            && !isJudgedAnew)
            return;
        facts_ = pulled.facts;
        talks_ = pulled.talks;
        if (isFirst)
            emit opened();
        emit changed();
    });
}

} // namespace netrondo
