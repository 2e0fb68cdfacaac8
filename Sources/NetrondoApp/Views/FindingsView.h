// What is wrong in the capture: the findings as a list, one of them in full, and an account of every frame.
#pragma once

#include "Models/FindingsModel.h"
#include "Models/Selection.h"

#include <QWidget>
#include <memory>
#include <optional>
#include <set>

class QComboBox;
class QLabel;
class QLineEdit;
class QStackedWidget;
class QTextBrowser;
class QToolButton;
class QTreeView;

namespace netrondo {

class CaptureFindings;
class ExpertSettings;
class TalkTable;
struct ExpertFinding;
struct FindingWish;

class FindingsView : public QWidget {
    Q_OBJECT
public:
    FindingsView(const ExpertSettings& settings, Selection& selection, QWidget* parent = nullptr);
    ~FindingsView() override;

    /// Shows the findings of a capture, sorted and narrowed in the background; null for none. What is chosen, closed
    /// and in sight stays so.
    void show(std::shared_ptr<const TalkTable> talks);
    /// Another capture comes: nothing of the list's state is to stay.
    void forget();
    /// What is shown, with the marks for badges; null before the first.
    const std::shared_ptr<const CaptureFindings>& findings() const { return model_.findings(); }
    bool isBusy() const { return arranged_ != arrangement_; }

    /// Narrows the list to what is said about this; to nothing in particular without it.
    void narrowTo(const Selected& what);
    /// The finding that is chosen; null for none.
    const ExpertFinding* current() const;
    /// Chooses the first finding about this, if there is one.
    void choose(const Selected& what);
    /// Goes to the evidence frame after or before the one that was last gone to.
    void stepEvidence(int step);
    void showEvidence();

    QTreeView* list() const { return list_; }
    FindingsModel* model() { return &model_; }

signals:
    /// There are other findings, or other mutes.
    void findingsChanged();
    /// These frames are the evidence: the filter that selects them, what they prove, and the one to look at first.
    void evidenceWanted(const QString& filter, const QString& title, quint64 first);
    /// This frame is to be looked at, where frames are seen at all.
    void frameWanted(quint64 number);
    void muteWanted();
    void settingsWanted();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    void build();
    QWidget* buildWishes();
    QWidget* buildDetails();
    FindingWish wish() const;
    void arrange();
    void take(const std::shared_ptr<const CaptureFindings>& findings);
    void currentChanged();
    void showDetails();
    void showEmptiness();
    void showAccount();
    void sortBy(int column);
    void showMenu(const QPoint& point);
    void openGroups();
    void followSelection();

    const ExpertSettings& settings_;
    Selection& selection_;
    FindingsModel model_;
    std::shared_ptr<const TalkTable> talks_;
    quint64 arrangement_ = 0; ///< of the latest wish
    quint64 arranged_ = 0;    ///< that is shown
    Selected narrowed_;
    int sortColumn_ = FindingsModel::severity;
    bool isReversed_ = false;
    std::set<QString> closed_; ///< titles of groups
    std::size_t evidence_ = 0; ///< of the current finding, the one looked at
    bool isTaking_ = false;    ///< the list is being filled: nobody chose anything
    bool isChoosing_ = false;  ///< the selection changes because of the list

    QLineEdit* filter_ = nullptr;
    QComboBox* severity_ = nullptr;
    QComboBox* layer_ = nullptr;
    QComboBox* groups_ = nullptr;
    QToolButton* selectedOnly_ = nullptr;
    QToolButton* withMuted_ = nullptr;
    QStackedWidget* pages_ = nullptr;
    QTreeView* list_ = nullptr;
    QLabel* empty_ = nullptr;
    QTextBrowser* details_ = nullptr;
    QToolButton* showEvidence_ = nullptr;
    QToolButton* previous_ = nullptr;
    QToolButton* next_ = nullptr;
    QLabel* evidenceText_ = nullptr;
    QToolButton* mute_ = nullptr;
    QLabel* account_ = nullptr;
};

} // namespace netrondo
