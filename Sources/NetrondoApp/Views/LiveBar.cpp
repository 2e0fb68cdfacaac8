#include "Views/LiveBar.h"

#include "Base/Units.h"
#include "Models/Text.h"
#include "Tasks/LiveSession.h"

#include <QAction>
#include <QHBoxLayout>
#include <QLabel>
#include <QToolButton>

namespace netrondo {
namespace {

/// "1,234 frames · 5 dropped for want of room · 0 lost by the interface"
QString accountOf(const LiveRecording::Status& status)
{
    using units::grouped;
    return LiveBar::tr("%1 · %2 dropped for want of room · %3 lost by the interface")
        .arg(asQt(units::counted(status.frames, "frame", "frames")), asQt(grouped(status.counts.dropped)),
             asQt(grouped(status.counts.interfaceDropped)));
}
} // namespace

LiveBar::LiveBar(const LiveSession& session, QWidget* parent)
    : QFrame(parent), session_(session), sign_(new QLabel(this)), text_(new QLabel(this))
{
    setObjectName(QStringLiteral("LiveBar"));
    setFrameShape(QFrame::StyledPanel);
    setAutoFillBackground(true);
    setBackgroundRole(QPalette::AlternateBase);
    text_->setTextFormat(Qt::PlainText);
    text_->setWordWrap(true);
    text_->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    auto* const row = new QHBoxLayout(this);
    row->setContentsMargins(8, 2, 4, 2);
    row->addWidget(sign_);
    row->addWidget(text_, 1);
    connect(&session, &LiveSession::moved, this, &LiveBar::refresh);
    hide();
}

void LiveBar::addButton(QAction* action)
{
    auto* const button = new QToolButton(this);
    button->setDefaultAction(action);
    button->setToolButtonStyle(Qt::ToolButtonTextOnly);
    layout()->addWidget(button);
}

QString LiveBar::text() const
{
    return isHidden() ? QString() : text_->text();
}

void LiveBar::refresh()
{
    const auto& status = session_.status();
    // A shape beside the words, so that neither colour nor movement is needed to tell.
    sign_->setText(session_.isRunning() ? QStringLiteral("●") : QStringLiteral("■"));
    sign_->setAccessibleName(session_.isRunning() ? tr("Running") : tr("Stopped"));
    QStringList parts{session_.wish().title};
    if (!status.trouble.empty())
        parts << asQt(status.trouble) << tr("connecting again…");
    else if (session_.isRunning() && !session_.hasBegun())
        parts << tr("starting…");
    if (session_.hasBegun())
        parts << (session_.isRecovered() ? asQt(units::counted(status.frames, "frame", "frames")) : accountOf(status));
    if (!session_.isRunning())
        parts << (session_.isUnsaved() ? tr("ended, not saved yet") : tr("ended"));
    text_->setText(parts.join(QStringLiteral(" · ")));
    setAccessibleName(text_->text());
    setVisible(session_.isThere());
}

} // namespace netrondo
