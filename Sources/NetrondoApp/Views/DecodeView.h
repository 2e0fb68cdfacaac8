// Every frame decoded: the packet list, the protocol tree of one frame, and its bytes.
#pragma once

#include "Models/DecodeTreeModel.h"
#include "Models/FrameListModel.h"
#include "Tasks/FrameFindTask.h"
#include "Views/FilterBar.h"
#include "Views/FrameExportDialog.h"

#include <QMap>
#include <QSet>
#include <QWidget>
#include <memory>

class QAction;
class QLabel;
class QMenu;
class QSplitter;
class QTreeView;

namespace netrondo {

class DecodeBytesView;
class FrameFindBar;
class FrameListView;

/// The two hosts of a frame, as texts: what the packet list shows, and the MAC addresses where the frame has them.
struct FrameEnds {
    QString source;
    QString destination;
    QString linkSource;
    QString linkDestination;
};

/// Has no filter line of its own: whoever shows it connects a FilterBar (`attach`).
class DecodeView : public QWidget {
    Q_OBJECT
public:
    explicit DecodeView(QWidget* parent = nullptr);
    ~DecodeView() override;

    /// Shows a capture; its frames come as they are read.
    void open(const QString& path, FrameStore::Reading reading = FrameStore::Reading::once);
    /// Shows frames that another view shows as well; null for none.
    void setStore(std::shared_ptr<FrameStore> store);
    const std::shared_ptr<FrameStore>& store() const { return store_; }

    /// Connects a filter line in both directions.
    void attach(FilterBar& bar);

    /// Of the frame that is looked into, from 1; 0 for none.
    quint64 frameNumber() const;
    FrameListView* list() const { return list_; }
    FrameListModel* frames() { return &frames_; }
    QTreeView* tree() const { return tree_; }
    DecodeTreeModel* nodes() { return &nodes_; }
    DecodeBytesView* bytes() const { return bytes_; }
    FrameFindBar* findBar() const { return findBar_; }
    /// What a line at the window's edge may say: frames, progress, an error.
    QString status() const { return status_; }

    /// Writes decoded frames into a file, with its progress shown; `remarked` or `failed` say how it ended.
    void exportFrames(const QString& path, FrameExportDialog::Extent extent, FrameWriter::Form form);

    /// The commands, for menus: they are ready to be added, with their shortcuts.
    void fillFileMenu(QMenu& menu) const;
    void fillEditMenu(QMenu& menu);
    void fillGoMenu(QMenu& menu) const;
    void fillViewMenu(QMenu& menu);

    static constexpr int remarkFor = 8000; ///< milliseconds

    /// Rows beyond these are not copied, and it is said.
    void setMostCopied(int rows) { mostCopied_ = rows; }

public slots:
    /// Shows the frames that match; an empty text shows all. A text that does not compile changes nothing.
    void setFilter(const QString& filter);
    void stopSearching();
    /// Shows only what passes between two hosts, within the filter: their addresses as the packet list has them, or MAC
    /// addresses. Two empty texts end it.
    void showConversation(const QString& one, const QString& other);
    /// Shows only what this selects, within the filter, under a title, and goes to a frame of it.
    void showEvidence(const QString& filter, const QString& title, quint64 number);
    void goToFrame(quint64 number);

signals:
    /// Another frame is looked into.
    void frameSelected(quint64 number, const netrondo::FrameEnds& ends);
    /// Something was pointed at that is to become a filter.
    void filterRequested(const QString& filter, netrondo::FilterFrom::Joint joint, netrondo::FilterBar::Use use);
    /// Text was typed into the packet list: the beginning of a filter.
    void filterTyped(const QString& text);
    void filterProgress(quint32 found, quint32 examined, quint32 all, bool isDone);
    void statusChanged(const QString& status);
    /// Said once, of something that was asked for; to be read for `remarkFor`.
    void remarked(const QString& sentence);
    /// Other frames are shown, or none.
    void storeChanged();
    /// The capture cannot be read, or not to its end.
    void failed(const QString& sentence);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    struct Anchor {
        std::uint32_t frame;
        int line; ///< of the view
    };

    void makePanes();
    void makeActions();
    void makeNoteActions();
    QAction* command(const QString& name, const QString& text, const QList<QKeySequence>& keys,
                     const std::function<void()>& act);
    void fill(QMenu& menu, std::initializer_list<const char*> names) const;
    void connectModels();

    void showCurrentFrame(const QModelIndex& current);
    void showDetail(quint32 frame, const std::shared_ptr<const FrameDetail>& detail);
    void fillTree(const std::shared_ptr<const FrameDetail>& detail);
    QStringList remarksOn(const FrameDetail& detail) const;
    void takeNotes();
    void showNode(const QModelIndex& node);
    void showByte(quint32 offset);
    void openNodes(const QModelIndex& parent, int depth);

    void applyFilters();
    void keepInView();
    void rowsCame();
    void updateStatus();
    void reportProgress();

    void find(const FrameSearch& search, FrameFindTask::Direction direction, bool isAmongShown);
    void findNext(FrameFindTask::Direction direction);
    void findConversation(FrameFindTask::Direction direction);
    void followConversation();
    void step(int rows);
    void travel(int steps);
    void goTo(FrameListModel::Kind kind, int step);
    void askForFrame();
    void toggleChosen(FrameListModel::Kind kind);
    void toggleReference();
    void askForNote();
    void askForShift();
    void askForExport();
    void applyAsColumn();
    void zoom(int steps);
    void editColorRules();

    void showListMenu(const QPoint& point);
    void showTreeMenu(const QPoint& point);
    void showBytesMenu(const QPoint& point);
    void showHeaderMenu(const QPoint& point);
    void addFilterMenus(QMenu& menu, const QString& filter);
    void fillCopyMenu(QMenu& menu);
    void fillColumnsMenu(QMenu& menu);

    void copy(const QString& text);
    void copyChosen();
    void copyRows();
    void copyBytes(const std::function<void(Bytes, TextSink&)>& write);
    void copyTree();
    void copyFilter();
    void copyJson();
    Bytes chosenBytes() const;

    void addColumn(const FrameListModel::Field& field);
    void removeColumn(int column);
    void saveFields() const;

    std::shared_ptr<FrameStore> store_;
    FrameListModel frames_;
    DecodeTreeModel nodes_;
    std::unique_ptr<FrameFilterTask> filterTask_;
    std::unique_ptr<FrameFindTask> findTask_;
    QString filter_;
    QString conversation_;
    FrameSet ignored_;             ///< as far as the filter has been told
    std::optional<Anchor> anchor_; ///< to be shown again as soon as it is known whether it matches

    QSplitter* panes_;
    QSplitter* lower_;
    QWidget* conversationStrip_;
    QLabel* conversationLabel_;
    FrameFindBar* findBar_;
    FrameListView* list_;
    QTreeView* tree_;
    QLabel* bytesTitle_;
    DecodeBytesView* bytes_;

    QMap<QString, QAction*> commands_;
    QString status_;
    std::optional<quint64> wantedNumber_; ///< a frame to go to as soon as it has been read
    std::optional<std::uint32_t> shown_;  ///< the frame in the tree
    QStringList nodePath_;                ///< what is chosen in the tree, to be chosen in the next frame too
    QSet<QString> openNodes_;             ///< ids of the nodes that stand open
    bool isFilling_ = false;              ///< the tree is being filled: nobody chose anything
    QList<std::uint32_t> visited_;        ///< frames looked into, for going back
    qsizetype visit_ = -1;
    int fontSteps_ = 0;
    int mostCopied_ = 100'000; ///< some 15 MB of text
    quint64 copies_ = 0;       ///< rows that are written while something else is copied come too late
};

} // namespace netrondo
