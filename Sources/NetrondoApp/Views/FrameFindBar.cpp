// A line above the packet list; it stays until it is closed.
#include "Views/FrameFindBar.h"

#include <QBoxLayout>
#include <QComboBox>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QToolButton>

namespace netrondo {

FrameFindBar::FrameFindBar(QWidget* parent) : QWidget(parent)
{
    kind_ = new QComboBox;
    kind_->addItems({tr("Text"), tr("Bytes"), tr("Filter")});
    kind_->setAccessibleName(tr("What to look for"));
    line_ = new QLineEdit;
    line_->setAccessibleName(tr("Find frames"));
    line_->setClearButtonEnabled(true);
    message_ = new QLabel;
    message_->setTextFormat(Qt::PlainText);
    const auto button = [this](const QString& text, const QString& help, auto act) {
        auto* made = new QToolButton;
        made->setText(text);
        made->setToolTip(help);
        made->setAccessibleName(help);
        made->setAutoRaise(true);
        made->setFocusPolicy(Qt::TabFocus);
        connect(made, &QToolButton::clicked, this, act);
        return made;
    };
    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(6, 2, 6, 2);
    row->addWidget(new QLabel(tr("Find")));
    row->addWidget(kind_);
    row->addWidget(line_, 1);
    row->addWidget(button(tr("Previous"), tr("Previous frame that fits"),
                          [this] { emit wanted(FrameFindTask::Direction::backwards); }));
    row->addWidget(
        button(tr("Next"), tr("Next frame that fits"), [this] { emit wanted(FrameFindTask::Direction::forwards); }));
    row->addWidget(message_);
    row->addWidget(button(tr("Close"), tr("Close"), [this] { emit closed(); }));
    const auto hint = [this] {
        const QStringList hints = {tr("Text in any column or row of the tree"), tr("0d 0a 0d 0a, or \"characters\""),
                                   tr("tcp.flags.reset == 1")};
        line_->setPlaceholderText(hints[kind_->currentIndex()]);
        say({});
    };
    connect(kind_, &QComboBox::currentIndexChanged, this, hint);
    connect(line_, &QLineEdit::textChanged, this, [this] { say({}); });
    connect(line_, &QLineEdit::returnPressed, this, [this] { emit wanted(FrameFindTask::Direction::forwards); });
    hint();
    setFocusProxy(line_);
}

void FrameFindBar::setKind(Kind kind)
{
    kind_->setCurrentIndex(static_cast<int>(kind));
}

void FrameFindBar::setText(const QString& text)
{
    line_->setText(text);
}

QString FrameFindBar::message() const
{
    return message_->text();
}

Result<FrameSearch, QString> FrameFindBar::search() const
{
    const auto text = line_->text().toStdString();
    if (text.empty())
        return std::unexpected(tr("Nothing to look for"));
    switch (static_cast<Kind>(kind_->currentIndex())) {
    case Kind::text: return FrameSearch::forText(text);
    case Kind::bytes: {
        auto search = FrameSearch::forBytes(text);
        return search ? Result<FrameSearch, QString>(*std::move(search))
                      : std::unexpected(QString::fromStdString(search.error()));
    }
    case Kind::filter: break;
    }
    auto filter = DisplayFilter::compile(text);
    return filter ? Result<FrameSearch, QString>(FrameSearch::forFilter(*std::move(filter)))
                  : std::unexpected(QString::fromStdString(filter.error().description()));
}

void FrameFindBar::begin()
{
    show();
    line_->setFocus(Qt::ShortcutFocusReason);
    line_->selectAll();
}

void FrameFindBar::say(const QString& sentence)
{
    message_->setText(sentence);
    line_->setAccessibleDescription(sentence);
}

void FrameFindBar::keyPressEvent(QKeyEvent* event)
{
    if (event->key() == Qt::Key_Escape)
        emit closed();
    else
        QWidget::keyPressEvent(event);
}

} // namespace netrondo
