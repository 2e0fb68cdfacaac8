// Capturing and receiving in the window: the menu, the dialogs, the line above the picture, and what becomes of the
// frames.
#pragma once

#include "Capture/LiveCapture.h"
#include "Capture/PcapOverIp.h"
#include "Models/FrameNotes.h"
#include "Models/Selection.h"
#include "Tasks/LiveSession.h"
#include "Tasks/TemporaryCapture.h"
#include "Views/LiveBar.h"

#include <QObject>
#include <QPointer>
#include <functional>
#include <vector>

class QAction;
class QMenu;
class QMenuBar;
class QSettings;

namespace netrondo {

class CaptureSession;
class MessageBar;
class CaptureDialog;
class ReceiveDialog;

/// The recording goes into a file, which the capture session follows like any other that grows.
class LiveControl : public QObject {
    Q_OBJECT
public:
    /// All of them must outlive it.
    struct Surroundings {
        QWidget& window;
        CaptureSession& session;
        Selection& selection;
        MessageBar& messages;
        QSettings& settings;
        std::function<FrameNotes::Texts()> notes; ///< to the frames of the open capture
    };
    /// Which frames of the open capture are meant.
    enum class Extent {
        everything,
        shown, ///< what filter, span and focus leave
    };

    explicit LiveControl(const Surroundings& surroundings);

    LiveBar* bar() const { return bar_; } ///< for the window to place
    LiveSession& session() { return live_; }
    void buildMenu(QMenuBar& bar);
    /// The actions that write frames, for the menu of files.
    QList<QAction*> saveActions() const { return {save_, saveShown_}; }
    /// What can be done with a host or conversation of the circle.
    void addTo(QMenu& menu, const Selected& what);

    void capture(const std::vector<LiveCapture::Options>& interfaces);
    void receive(const PcapOverIp::Options& options);
    void askWhatToCapture(const QString& filter = {});
    void askWhereToReceive();
    /// Writes frames into a file, in the background; `then` follows when that went well.
    void save(const QString& target, Extent extent, const std::function<void()>& then = {});

    /// The name of what the session shows, where that is a recording; empty for files.
    QString titleOf(const QString& path) const;
    /// Calls `then` once nothing would be lost: at once, or when the user has saved the recording or given it up.
    void whenNothingIsLost(const std::function<void()>& then);
    bool wouldLoseFrames() const;
    /// Looks, in the background, for a capture that a program left behind when it was ended, and asks what to do with
    /// it.
    void offerAbandoned();

signals:
    void saved(); ///< frames were written, or could not be; the message bar says which

private:
    void start(const LiveSession::Wish& wish);
    void chooseTarget(Extent extent, const std::function<void()>& then = {});
    void saveRecordingThen(const std::function<void()>& then);
    void takeEnd();
    void askAbout(const TemporaryCapture::Abandoned& abandoned);
    void refresh();
    QAction* action(const QString& text, const QKeySequence& keys, const char* name, const std::function<void()>& does);

    Surroundings around_;
    LiveSession live_;
    LiveBar* bar_;
    bool isGivenUp_ = false; ///< the user has said that the recording may be lost
    std::function<void()> afterEnd_;
    QString recovering_; ///< the path of an abandoned capture that is being opened
    QPointer<CaptureDialog> captureDialog_;
    QPointer<ReceiveDialog> receiveDialog_;
    QAction* capture_;
    QAction* receive_;
    QAction* stop_;
    QAction* restart_;
    QAction* saveRecording_;
    QAction* save_;
    QAction* saveShown_;
};

} // namespace netrondo
