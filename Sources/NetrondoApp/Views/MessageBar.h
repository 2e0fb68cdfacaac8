// A line above the picture that says what happened, until it is closed.
#pragma once

#include <QFrame>
#include <QString>

class QLabel;

namespace netrondo {

class MessageBar : public QFrame {
    Q_OBJECT
public:
    enum class Kind { note, warning, error };

    explicit MessageBar(QWidget* parent = nullptr);
    void say(Kind kind, const QString& text);
    QString text() const;

private:
    QLabel* icon_;
    QLabel* text_;
};

} // namespace netrondo
