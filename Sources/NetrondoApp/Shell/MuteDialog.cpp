#include "Shell/MuteDialog.h"

#include "Models/Text.h"

#include <QButtonGroup>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QVBoxLayout>

namespace netrondo {
namespace {

QString sentence(const ExpertMute& mute)
{
    const auto host = asQt(mute.host.text()), peer = asQt(mute.peer.text());
    if (mute.finding == Finding::none)
        return mute.peer ? QObject::tr("Everything &between %1 and %2").arg(host, peer)
                         : QObject::tr("Everything about %1").arg(host);
    const auto id = asQt(kindOf(mute.finding).id);
    if (!mute.host)
        return QObject::tr("%1, &everywhere").arg(id);
    return mute.peer ? QObject::tr("&This finding: %1 between %2 and %3").arg(id, host, peer)
                     : QObject::tr("&This finding: %1 about %2").arg(id, host);
}

} // namespace

MuteDialog::MuteDialog(const ExpertFinding& finding, QWidget* parent)
    : QDialog(parent), mutes_(mutesFor(finding)), choices_(new QButtonGroup(this)), reason_(new QLineEdit)
{
    setObjectName(QStringLiteral("MuteDialog"));
    setWindowTitle(tr("Mute a finding"));
    auto* const column = new QVBoxLayout(this);
    auto* const what = new QLabel(asQt(ExpertText::title(finding)));
    what->setTextFormat(Qt::PlainText);
    what->setWordWrap(true);
    auto font = what->font();
    font.setBold(true);
    what->setFont(font);
    column->addWidget(what);
    for (int i = 0; i < static_cast<int>(mutes_.size()); ++i) {
        auto* const choice = new QRadioButton(sentence(mutes_[static_cast<std::size_t>(i)]));
        choice->setChecked(i == 0);
        choices_->addButton(choice, i);
        column->addWidget(choice);
    }
    reason_->setObjectName(QStringLiteral("muteReason"));
    reason_->setPlaceholderText(tr("such as: a test machine; known, and mended next week"));
    auto* const form = new QFormLayout;
    form->addRow(tr("&Reason:"), reason_);
    column->addLayout(form);
    auto* const note =
        new QLabel(tr("What is muted has no badge and is not counted. Edit ▸ Undo brings it back, and the "
                      "settings list all that is muted."));
    note->setWordWrap(true);
    column->addWidget(note);
    auto* const buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
    buttons->button(QDialogButtonBox::Ok)->setText(tr("&Mute"));
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    column->addWidget(buttons);
    reason_->setFocus();
}

ExpertMute MuteDialog::mute() const
{
    auto mute = mutes_[static_cast<std::size_t>(choices_->checkedId())];
    mute.reason = reason_->text().trimmed().toStdString();
    return mute;
}

} // namespace netrondo
