// Asks by how much the clock that captured was wrong.
#pragma once

#include <QDialog>
#include <cstdint>
#include <optional>

class QDialogButtonBox;
class QLabel;
class QLineEdit;
class QRadioButton;

namespace netrondo {

class TimeShiftDialog : public QDialog {
    Q_OBJECT
public:
    /// The frame's time is that of the file; both in nanoseconds.
    TimeShiftDialog(quint64 frame, std::int64_t frameTime, std::int64_t shift, QWidget* parent = nullptr);

    /// What is to be added to all times of day, in nanoseconds.
    std::int64_t shift() const { return shift_; }

private:
    void check();

    std::int64_t frameTime_;
    std::int64_t shift_;
    QRadioButton *bySpan_, *byMoment_;
    QLineEdit *span_, *moment_;
    QLabel* message_;
    QDialogButtonBox* buttons_;
};

} // namespace netrondo
