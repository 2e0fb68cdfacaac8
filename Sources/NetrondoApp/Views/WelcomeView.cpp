#include "Views/WelcomeView.h"

#include <QCommandLinkButton>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QIcon>
#include <QLabel>
#include <QVBoxLayout>

namespace netrondo {

WelcomeView::WelcomeView(QWidget* parent) : QWidget(parent), recentBox_(new QWidget), recent_(new QVBoxLayout)
{
    setObjectName(QStringLiteral("WelcomeView"));
    auto* const column = new QWidget(this);
    column->setMaximumWidth(560);
    auto* const picture = new QLabel;
    picture->setPixmap(QIcon(QStringLiteral(":/netrondo/icon.svg")).pixmap(96));
    auto* const title = new QLabel(QStringLiteral("Netrondo"));
    auto font = title->font();
    font.setPointSizeF(font.pointSizeF() * 2.2);
    font.setBold(true);
    title->setFont(font);
    auto* const text = new QLabel(tr("Open a network capture and see who talks to whom, how much, in what protocol and "
                                     "how well. Nothing leaves this machine."));
    text->setWordWrap(true);

    auto* const open =
        new QCommandLinkButton(tr("Open a capture…"), tr("pcap or pcapng, compressed or not; or drop it here"));
    open->setObjectName(QStringLiteral("openButton"));
    connect(open, &QAbstractButton::clicked, this, &WelcomeView::openWanted);
    auto* const sample = new QCommandLinkButton(tr("Look at the sample"), tr("Two minutes of a small office"));
    sample->setObjectName(QStringLiteral("sampleButton"));
    connect(sample, &QAbstractButton::clicked, this, [this] { emit pathWanted(samplePath_); });
    sample_ = sample;
    sample_->hide();

    auto* const heading = new QLabel(tr("Open again"));
    auto bold = heading->font();
    bold.setBold(true);
    heading->setFont(bold);
    auto* const recentLayout = new QVBoxLayout(recentBox_);
    recentLayout->setContentsMargins(0, 12, 0, 0);
    recentLayout->addWidget(heading);
    recentLayout->addLayout(recent_);
    recentBox_->hide();

    auto* const layout = new QVBoxLayout(column);
    for (auto* const widget :
         {static_cast<QWidget*>(picture), static_cast<QWidget*>(title), static_cast<QWidget*>(text)})
        layout->addWidget(widget);
    layout->addSpacing(12);
    layout->addWidget(open);
    layout->addWidget(sample_);
    layout->addWidget(recentBox_);
    auto* const around = new QHBoxLayout(this);
    around->addStretch(1);
    around->addWidget(column, 3, Qt::AlignVCenter);
    around->addStretch(1);
}

void WelcomeView::setRecent(const QStringList& paths)
{
    while (auto* const item = recent_->takeAt(0)) {
        delete item->widget();
        delete item;
    }
    for (const auto& path : paths) {
        const QFileInfo file(path);
        auto* const button = new QCommandLinkButton(file.fileName(), file.path());
        button->setEnabled(file.exists());
        button->setToolTip(file.exists() ? path : tr("%1 is not there any more").arg(path));
        connect(button, &QAbstractButton::clicked, this, [this, path] { emit pathWanted(path); });
        recent_->addWidget(button);
        if (recent_->count() == 4)
            break;
    }
    recentBox_->setVisible(!paths.isEmpty());
}

void WelcomeView::setSample(const QString& path)
{
    samplePath_ = path;
    sample_->setVisible(!path.isEmpty());
}

} // namespace netrondo
