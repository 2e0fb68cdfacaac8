// One open capture: reading and analysing it off the window's thread, again whenever what is wanted of it changes.
#pragma once

#include "Analysis/Expert/CaptureExpertSummary.h"
#include "Analysis/Model/VolumeOverTime.h"
#include "Capture/LinkType.h"
#include "Dissection/Classify/AnalysisMode.h"

#include <QObject>
#include <QString>
#include <QTimer>
#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>

namespace netrondo {

struct CaptureFrame;
class DisplayFilter;
class GrowingCapture;
class TalkTable;

/// A span of capture time in seconds, its end not included.
struct TimeSpan {
    double from = 0, to = 0;
    bool holds(double seconds) const { return seconds >= from && seconds < to; }
    friend bool operator==(const TimeSpan&, const TimeSpan&) = default;
};

/// What is known of the file itself.
struct CaptureFacts {
    QString path;
    QString format; ///< "pcapng, Ethernet"
    std::uint64_t frames = 0;
    std::uint64_t bytes = 0; ///< of the file
    bool isNanosecond = false;
    std::map<LinkType, std::uint64_t> framesByLinkType;
    VolumeOverTime volume;                ///< of the whole file
    std::optional<VolumeOverTime> chosen; ///< of what the filter selects, within the span; none without a filter
};

/// Asked for every frame in order: whether it lies in the span and the filter selects it. Empty when all are wanted.
std::function<bool(const CaptureFrame& frame)>
frameChoice(const std::optional<TimeSpan>& span, const std::shared_ptr<const DisplayFilter>& filter, bool isNanosecond);

class CaptureSession : public QObject {
    Q_OBJECT
public:
    explicit CaptureSession(QObject* parent = nullptr);
    ~CaptureSession() override;

    /// Reads the file and shows it in place of what is open once it has been read; until then, and when that fails or
    /// is cancelled, what is open stays.
    void open(const QString& path);
    /// Shows a capture that is still being written, and what is added to it, until `stopFollowing`.
    void follow(const QString& path);
    /// Then reads the whole file once more.
    void stopFollowing();
    void close();
    /// Gives up the reading that is under way.
    void cancel();

    void setMode(AnalysisMode mode);
    /// Only frames of this span, or that the filter selects, are analysed; neither applies while a file is followed.
    void setSpan(std::optional<TimeSpan> span);
    void setFilter(std::shared_ptr<const DisplayFilter> filter); ///< null for none
    /// The findings are judged by these from now on; their mutes are not looked at.
    void setThresholds(const ExpertPreferences& thresholds);
    /// Finds out what other thresholds would change, by a reading beside: `tried` or `trialFailed` tells. Not while the
    /// capture grows or is read.
    void tryThresholds(const ExpertPreferences& thresholds);
    void stopTrial();
    bool isTrying() const { return trial_ != nullptr; }
    void setFollowInterval(int milliseconds) { followTimer_.setInterval(milliseconds); }

    bool isOpen() const { return talks_ != nullptr; }
    bool isReading() const { return reading_ != nullptr; }
    bool isFollowing() const { return growing_ != nullptr; }
    QString readingPath() const { return wanted_.path; }
    AnalysisMode mode() const { return wanted_.mode; }
    const std::optional<TimeSpan>& span() const { return wanted_.span; }
    const std::shared_ptr<const DisplayFilter>& filter() const { return wanted_.filter; }
    const CaptureFacts& facts() const { return facts_; }
    /// Of the frames that are wanted; null when nothing is open.
    std::shared_ptr<const TalkTable> talks() const { return talks_; }

signals:
    void started(const QString& path);
    void progressed(quint64 frames, double share); ///< of the file, 0 when unknown
    void opened();                                 ///< another capture is there; `changed` follows
    void changed();                                ///< there is a new table
    void closed();
    void failed(const QString& path, const QString& why);
    void cancelled();
    void ended(); ///< a reading is over, however it went
    void followingChanged();
    void tried(const netrondo::ExpertDifference& changes);
    void trialFailed();
    void trialProgressed(double share); ///< of the file, 0 when unknown

private:
    /// What the tables are to show.
    struct Wanted {
        QString path;
        AnalysisMode mode = AnalysisMode::l3IP;
        std::optional<TimeSpan> span;
        std::shared_ptr<const DisplayFilter> filter;
        ExpertPreferences thresholds = {};
    };
    struct Outcome;

    void read(const Wanted& wanted);
    void take(const std::shared_ptr<Outcome>& outcome);
    void pull();
    void endFollowing();
    /// A reading under way, as both threads see it.
    struct Reading {
        std::atomic<bool> stop = false;
        std::atomic<std::uint64_t> frames = 0, offset = 0, size = 0;
    };
    static std::shared_ptr<Outcome> analyze(const Wanted& wanted, const std::shared_ptr<Reading>& reading);
    void startReading();
    void endReading();
    void takeBack();

    Wanted wanted_; ///< what is shown, or being read
    Wanted shown_;
    CaptureFacts facts_;
    std::shared_ptr<const TalkTable> talks_;
    std::shared_ptr<const TalkTable> whole_; ///< without span and filter, kept for the way back
    std::shared_ptr<Reading> reading_;       ///< null when there is none
    QTimer progressTimer_;
    std::shared_ptr<Reading> trial_; ///< null when there is none
    QTimer trialTimer_;
    std::shared_ptr<GrowingCapture> growing_; ///< null when nothing is followed
    bool isPulling_ = false;
    QString followTrouble_;
    QTimer followTimer_;
};

} // namespace netrondo
