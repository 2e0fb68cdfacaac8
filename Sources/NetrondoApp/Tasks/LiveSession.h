// A capture that happens now: frames of an interface, or from another machine, written into a file of their own while
// the window follows that file.
#pragma once

#include "Capture/LiveRecording.h"

#include <QObject>
#include <QString>
#include <QTimer>
#include <functional>
#include <memory>

namespace netrondo {

/// Lives in the window's thread; the recording runs on one of its own. The file is temporary: it goes with the session,
/// or when the next recording begins.
class LiveSession : public QObject {
    Q_OBJECT
public:
    /// What is to be recorded.
    struct Wish {
        QString title;                                                     ///< "Capture on eth0"
        QString name;                                                      ///< of the source: "eth0", "probe:57012"
        std::function<CaptureResult<std::shared_ptr<LiveSource>>()> start; ///< empty when it was recovered
    };

    explicit LiveSession(QObject* parent = nullptr);
    ~LiveSession() override;

    /// Begins a recording in place of the one before. The file of that is kept until `forgetPrevious`, for whoever
    /// still looks at it.
    void start(const Wish& wish);
    /// The same from its beginning.
    void restart() { start(Wish(wish_)); }
    /// Takes over a capture with so many frames that a program left behind when it was ended, as a recording that is
    /// over. False when somebody else has taken it, or it is gone.
    bool recover(const QString& path, std::uint64_t frames);
    void stop();
    /// Ends the recording and removes its file.
    void drop();
    void forgetPrevious() { previous_.reset(); }

    bool isThere() const { return run_ != nullptr; } ///< there is a recording, running or over
    bool isRunning() const { return run_ && !isOver_; }
    bool isRecovered() const { return run_ && !wish_.start; } ///< what there is was left behind by another program
    bool hasBegun() const { return hasBegun_; }               ///< there is a file
    const Wish& wish() const { return wish_; }
    QString path() const; ///< of the file
    /// The file is that of this recording, or of the one before.
    bool owns(const QString& path) const;
    const LiveRecording::Status& status() const { return status_; }
    /// Why it ended, as a sentence; empty when it was stopped or came to its end.
    const QString& trouble() const { return trouble_; }

    /// Some frames are nowhere but in the temporary file.
    bool isUnsaved() const { return status_.frames > saved_; }
    /// The first so many frames are kept elsewhere.
    void setSaved(std::uint64_t frames);

signals:
    void began(); ///< the file is there, to be followed
    void moved(); ///< the status is another
    void ended(); ///< nothing more comes; `trouble` says why

private:
    struct Run;

    void replace(const Wish& wish, std::shared_ptr<Run> run);
    void end();
    void look();
    void finish();

    Wish wish_;
    std::shared_ptr<Run> run_;
    std::shared_ptr<Run> previous_;
    LiveRecording::Status status_;
    QString trouble_;
    std::uint64_t saved_ = 0;
    bool hasBegun_ = false;
    bool isOver_ = false;
    QTimer timer_;
};

} // namespace netrondo
