// The window of the application: one capture and everything that is seen of it.
#pragma once

#include "Models/Selection.h"
#include "Models/ViewOptions.h"
#include "Shell/RecentFiles.h"

#include <QBasicTimer>
#include <QMainWindow>
#include <QPointer>
#include <QSettings>
#include <deque>
#include <functional>
#include <memory>

class QAction;
class QActionGroup;
class QComboBox;
class QLabel;
class QLineEdit;
class QProgressBar;
class QStackedWidget;
class QTableView;
class QToolButton;

namespace netrondo {

class CaptureSession;
class CircleView;
class ConversationModel;
class DecodeView;
class DecodeWindow;
class DetailsView;
class ExpertDialog;
class ExpertSettings;
class FilterBar;
class FindingsView;
class HostModel;
class LiveControl;
class MessageBar;
class ProtocolModel;
class RankedModel;
struct ShownPairs;
struct PictureRequest;
class TimelineView;
class WelcomeView;

class MainWindow : public QMainWindow {
    Q_OBJECT
public:
    explicit MainWindow(QWidget* parent = nullptr);
    ~MainWindow() override;

    /// Shows this capture in place of the one that is open, once it has been read.
    void open(const QString& path);
    /// Shows a capture that is still being written, and what is added to it.
    void follow(const QString& path);
    /// Writes the picture as PNG, SVG or PDF, by the file's name.
    void exportPicture(const QString& path);
    void copyPicture();
    /// Writes a list as comma-separated values.
    void exportTable(const RankedModel& model, const QString& path);
    void copyTable(const RankedModel& model);
    void tidy();
    /// Asks about a capture that was not saved when the program was ended, if there is one.
    void offerAbandoned();

    const ViewOptions& options() const { return options_; }
    void setOptions(const ViewOptions& options);
    Selection& selection() { return selection_; }
    /// True while it is found out in the background what the picture is to show, or panels wait to be filled.
    bool isGathering() const;
    /// True while a long list is put in order in the background.
    bool isArranging() const;

signals:
    /// A picture or table was written, or could not be; the message bar says which.
    void exported();

protected:
    void closeEvent(QCloseEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dropEvent(QDropEvent* event) override;
    void changeEvent(QEvent* event) override;
    void timerEvent(QTimerEvent* event) override;

private:
    void buildCentre();
    void buildDocks();
    void buildFrames();
    void buildFindings();
    void buildActions();
    void buildToolBar();
    void buildStatusBar();
    void connectSession();
    QTableView* buildList(RankedModel& model, const QString& title, const QString& name, int sortColumn);
    void restore();

    void chooseFile();
    void chooseFileToFollow();
    void choosePicture();
    void chooseTable(const RankedModel& model, const QString& name);
    void fillRecentMenu();
    void showFindings();
    void showFrames();
    void openFrameWindow();
    void connectFrames(DecodeView& view);
    void takeFindings();
    void muteCurrent();
    void openExpertSettings();

    void showCapture(bool isThere);
    void takeTable();
    void fillNextPanel();
    void finishOpening();
    void takeOptions();
    void takeSelection();
    void listFramesOfSelection();
    void listFramesOf(const Selected& talk);
    void markInLists();
    /// Finds out, in the background, which conversations to show, and shows them.
    void refreshPicture();
    PictureRequest request() const;
    void sayWhatIsShown();
    void sayWhatIsOdd();
    void showMenu(const Selected& what, const QPoint& globalPosition);
    void applyTheme();
    bool isDark() const;
    QString pictureSubtitle() const;

    QSettings settings_;
    RecentFiles recent_;
    ViewOptions options_;
    Selection selection_;
    CaptureSession* session_;
    LiveControl* live_ = nullptr;
    ExpertSettings* expert_;
    ConversationModel* conversations_;
    HostModel* hosts_;
    ProtocolModel* protocols_;
    std::unique_ptr<ShownPairs> shown_;
    quint64 pictureNumber_ = 0;                  ///< of the latest wish for a picture
    quint64 gathered_ = 0;                       ///< of the latest that is being shown
    std::deque<std::function<void()>> fillings_; ///< of panels, one in each turn of the events
    QBasicTimer fillTimer_;
    bool isJustOpened_ = false; ///< and its frames are not listed yet: it is read again for that
    QByteArray panels_;         ///< how they lie while the welcome hides them; empty while they are shown
    Selected shownFocus_;       ///< that this wish is narrowed to
    Selected shownTalk_;        ///< the conversation whose frames are listed; none: all

    QStackedWidget* pages_ = nullptr;
    WelcomeView* welcome_ = nullptr;
    MessageBar* message_ = nullptr;
    CircleView* circle_ = nullptr;
    TimelineView* timeline_ = nullptr;
    QToolButton* play_ = nullptr;
    std::function<void()> showPlaying_; ///< what the button does next
    DetailsView* details_ = nullptr;
    FilterBar* filterBar_ = nullptr;
    DecodeView* decode_ = nullptr;
    QPointer<DecodeWindow> frameWindow_; ///< null while it is closed
    FindingsView* findings_ = nullptr;
    ExpertDialog* expertDialog_ = nullptr; ///< made when it is first wanted
    quint64 frameOfFinding_ = 0;           ///< looked at because of a finding, which stays what is selected
    QTableView* conversationList_ = nullptr;
    QTableView* hostList_ = nullptr;
    QTableView* protocolList_ = nullptr;
    QProgressBar* progress_ = nullptr;
    QToolButton* cancel_ = nullptr;
    QLabel* shownText_ = nullptr;
    QLabel* hoverText_ = nullptr;

    QMenu* recentMenu_ = nullptr;
    QMenu* viewMenu_ = nullptr;
    QActionGroup* layouts_ = nullptr;
    QActionGroup* themes_ = nullptr;
    QComboBox* mode_ = nullptr;
    QComboBox* volume_ = nullptr;
    QComboBox* color_ = nullptr;
    QComboBox* limit_ = nullptr;
    QAction* thickness_ = nullptr;
    QAction* names_ = nullptr;
    QAction* tidy_ = nullptr;
    QAction* back_ = nullptr;
    QAction* forward_ = nullptr;
    QAction* stopFollowing_ = nullptr;
    QAction* undo_ = nullptr;
    QAction* redo_ = nullptr;
    QList<QAction*> needCapture_; ///< greyed while nothing is open
};

} // namespace netrondo
