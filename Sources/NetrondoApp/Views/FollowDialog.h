// What the two ends of a conversation said to each other, as one text.
#pragma once

#include "Tasks/FollowTask.h"

#include <QDialog>
#include <QTimer>

class QComboBox;
class QLabel;
class QPlainTextEdit;

namespace netrondo {

class FollowDialog : public QDialog {
    Q_OBJECT
public:
    enum class Form { text, hexDump };

    /// Of the conversation that the frame belongs to.
    FollowDialog(const FrameStore& store, const FrameSummary& frame, QWidget* parent = nullptr);

    QString text() const;
    void setForm(Form form);

private:
    void takePieces();
    void showSome();
    void showAnew();
    void append(const StreamFollower::Piece& piece);
    void say();

    FollowTask task_;
    QString path_;
    std::vector<StreamFollower::Piece> pieces_;
    std::size_t shown_ = 0;
    std::size_t bytes_[2] = {};
    bool isFull_ = false; ///< there is more than is shown
    std::optional<bool> speaker_;
    QString trouble_;
    quint32 examined_ = 0, frames_ = 0;
    QComboBox* form_;
    QPlainTextEdit* text_;
    QLabel* status_;
    QTimer filling_;
};

} // namespace netrondo
