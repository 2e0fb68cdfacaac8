// A line above the picture about the capture that is being made: where, how much, what was lost, and what can be done.
#pragma once

#include <QFrame>

class QAction;
class QLabel;

namespace netrondo {

class LiveSession;

class LiveBar : public QFrame {
    Q_OBJECT
public:
    /// Shows the session, which must outlive it; hidden while there is none.
    explicit LiveBar(const LiveSession& session, QWidget* parent = nullptr);

    /// A button for an action, behind the others.
    void addButton(QAction* action);
    QString text() const;

private:
    void refresh();

    const LiveSession& session_;
    QLabel* sign_;
    QLabel* text_;
};

} // namespace netrondo
