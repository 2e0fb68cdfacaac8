#include "Views/MessageBar.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QStyle>
#include <QToolButton>

namespace netrondo {

MessageBar::MessageBar(QWidget* parent) : QFrame(parent), icon_(new QLabel(this)), text_(new QLabel(this))
{
    setObjectName(QStringLiteral("MessageBar"));
    setFrameShape(QFrame::StyledPanel);
    setAutoFillBackground(true);
    setBackgroundRole(QPalette::AlternateBase);
    text_->setWordWrap(true);
    text_->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    auto* const close = new QToolButton(this);
    close->setIcon(style()->standardIcon(QStyle::SP_TitleBarCloseButton));
    close->setAutoRaise(true);
    close->setToolTip(tr("Close this message"));
    close->setAccessibleName(close->toolTip());
    connect(close, &QToolButton::clicked, this, &QWidget::hide);
    auto* const row = new QHBoxLayout(this);
    row->setContentsMargins(8, 4, 4, 4);
    row->addWidget(icon_);
    row->addWidget(text_, 1);
    row->addWidget(close);
    hide();
}

void MessageBar::say(Kind kind, const QString& text)
{
    const auto sign = kind == Kind::error ? QStyle::SP_MessageBoxCritical
        : kind == Kind::warning           ? QStyle::SP_MessageBoxWarning
                                          : QStyle::SP_MessageBoxInformation;
    const int size = style()->pixelMetric(QStyle::PM_SmallIconSize, nullptr, this);
    icon_->setPixmap(style()->standardIcon(sign).pixmap(size));
    icon_->setAccessibleName(kind == Kind::error ? tr("Error") : kind == Kind::warning ? tr("Warning") : tr("Note"));
    text_->setTextFormat(Qt::PlainText);
    text_->setText(text);
    setAccessibleName(text);
    show();
}

QString MessageBar::text() const
{
    return isHidden() ? QString() : text_->text();
}

} // namespace netrondo
