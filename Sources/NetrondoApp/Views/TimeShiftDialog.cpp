// Two ways to say the same: the span itself, or the time that one frame really had.
#include "Views/TimeShiftDialog.h"

#include "Models/FrameTimes.h"

#include <QBoxLayout>
#include <QDialogButtonBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>

namespace netrondo {

TimeShiftDialog::TimeShiftDialog(quint64 frame, std::int64_t frameTime, std::int64_t shift, QWidget* parent)
    : QDialog(parent), frameTime_(frameTime), shift_(shift)
{
    setWindowTitle(tr("Shift the times of day"));
    auto* what = new QLabel(tr("For a capture whose clock was wrong. The file stays as it is."));
    what->setWordWrap(true);
    const auto line = [this](const QString& text, const QString& name) {
        auto* made = new QLineEdit(text);
        made->setAccessibleName(name);
        made->setMinimumWidth(fontMetrics().averageCharWidth() * 40);
        connect(made, &QLineEdit::textChanged, this, &TimeShiftDialog::check);
        return made;
    };
    bySpan_ = new QRadioButton(tr("&Add to all times, in seconds or as hours:minutes:seconds"));
    span_ = line(FrameTimes::spanText(shift), tr("What is added to all times"));
    byMoment_ = new QRadioButton(tr("&Frame %1 was captured at").arg(frame));
    moment_ = line(FrameTimes::clock(FrameTimes::shifted(frameTime, shift), QStringLiteral("yyyy-MM-dd HH:mm:ss")),
                   tr("When frame %1 was captured").arg(frame));
    bySpan_->setChecked(true);
    connect(bySpan_, &QRadioButton::toggled, this, [this] {
        check();
        (bySpan_->isChecked() ? span_ : moment_)->setFocus();
    });
    message_ = new QLabel;
    message_->setTextFormat(Qt::PlainText);
    message_->setWordWrap(true);
    buttons_ = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel | QDialogButtonBox::Reset);
    connect(buttons_, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons_, &QDialogButtonBox::rejected, this, &QDialog::reject);
    auto* reset = buttons_->button(QDialogButtonBox::Reset);
    reset->setText(tr("As in the &File"));
    connect(reset, &QPushButton::clicked, this, [this] {
        bySpan_->setChecked(true);
        span_->setText(QStringLiteral("0"));
    });
    auto* column = new QVBoxLayout(this);
    const std::initializer_list<QWidget*> rows = {what, bySpan_, span_, byMoment_, moment_, message_, buttons_};
    for (auto* row : rows)
        column->addWidget(row);
    check();
    span_->setFocus();
    span_->selectAll();
}

void TimeShiftDialog::check()
{
    const bool isSpan = bySpan_->isChecked();
    span_->setEnabled(isSpan);
    moment_->setEnabled(!isSpan);
    auto wanted = isSpan ? FrameTimes::parseSpan(span_->text()) : FrameTimes::parseMoment(moment_->text());
    if (wanted && !isSpan) {
        std::int64_t span = 0;
        wanted = __builtin_sub_overflow(*wanted, frameTime_, &span) ? std::nullopt : std::optional(span);
    }
    buttons_->button(QDialogButtonBox::Ok)->setEnabled(wanted.has_value());
    if (wanted)
        shift_ = *wanted;
    const auto span = FrameTimes::spanText(std::abs(shift_));
    message_->setText(!wanted && isSpan ? tr("Write a span such as 0.25, -1:00:00 or 2:30.")
                          : !wanted     ? tr("Write a time such as 2026-01-31 23:59:59.5.")
                          : shift_ == 0 ? tr("Times of day are shown as the file has them.")
                          : shift_ < 0  ? tr("Times of day are shown %1 s earlier.").arg(span)
                                        : tr("Times of day are shown %1 s later.").arg(span));
}

} // namespace netrondo
