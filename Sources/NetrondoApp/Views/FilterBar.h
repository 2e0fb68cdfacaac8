// The line in which display filters are typed: completed, checked, explained, remembered.
#pragma once

#include "Dissection/Filter/DisplayFilter.h"
#include "Dissection/Filter/FilterFrom.h"
#include "Models/FilterSuggestionModel.h"

#include <QWidget>

class QAction;
class QCompleter;
class QLabel;
class QLineEdit;
class QProgressBar;
class QToolButton;

namespace netrondo {

class FilterBar : public QWidget {
    Q_OBJECT
public:
    enum class State {
        empty,
        unfinished, ///< a name is being typed that can still become one
        valid,      ///< it compiles, and is not applied
        invalid,
        applied,
    };
    /// What becomes of a filter that was pointed at somewhere.
    enum class Use {
        apply,
        prepare, ///< it is only written into the line
    };

    explicit FilterBar(QWidget* parent = nullptr);

    QString text() const;
    State state() const { return state_; }
    /// The error's sentence, or what there is to say of the filter; the line below shows it.
    QString message() const;
    QLineEdit* line() const { return line_; }

    QStringList history() const { return history_; }
    /// Named filters, as name and text.
    QList<std::pair<QString, QString>> favourites() const { return favourites_; }
    void addFavourite(const QString& name, const QString& filter);
    void removeFavourite(const QString& name);

public slots:
    /// Writes the text as if it had been typed.
    void setText(const QString& text);
    /// Joins a filter to what is there.
    void take(const QString& filter, netrondo::FilterFrom::Joint joint, netrondo::FilterBar::Use use);
    /// Applies what is typed, if it compiles.
    void apply();
    /// Shows every frame again.
    void clear();
    /// Shows how far a search has come: frames that match, examined so far, and all.
    void showProgress(quint32 found, quint32 examined, quint32 all, bool isDone);
    /// Begins a filter with text that was typed elsewhere.
    void beginWith(const QString& text);
    void showHelp();

signals:
    /// This filter is to be applied; it compiles. An empty one shows every frame.
    void applied(const QString& filter);
    /// The search that runs is to end with what it has found.
    void cancelled();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dropEvent(QDropEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    void check();
    void showState();
    void suggest();
    void accept(int row);
    void remember(const QString& filter);
    void saveFavourites() const;
    void fillMenu();
    bool isUnfinished(const DisplayFilter::CompileError& error) const;
    void say(const QString& sentence, bool isError);
    QString helpAtCursor() const;
    bool handlePopupKey(int key);
    bool handleLineKey(int key);

    QLineEdit* line_;
    QAction* sign_;
    QToolButton* menuButton_;
    QToolButton* applyButton_;
    QToolButton* clearButton_;
    QToolButton* cancelButton_;
    QProgressBar* progress_;
    QLabel* message_;
    QCompleter* completer_;
    FilterSuggestionModel suggestions_;
    State state_ = State::empty;
    bool isTyping_ = false; ///< the text came from the keyboard and nobody has pressed Enter
    QString applied_;
    QStringList history_;
    qsizetype historyPlace_ = -1;
    QList<std::pair<QString, QString>> favourites_;
};

} // namespace netrondo
