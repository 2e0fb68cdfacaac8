// The findings' dock and what connects it to the picture, the frames and the settings.
#include "Analysis/Expert/MuteBook.h"
#include "Models/CaptureFindings.h"
#include "Models/ExpertSettings.h"
#include "Models/Text.h"
#include "Shell/ExpertDialog.h"
#include "Shell/MainWindow.h"
#include "Shell/MuteDialog.h"
#include "Tasks/CaptureSession.h"
#include "Views/CircleView.h"
#include "Views/DecodeView.h"
#include "Views/DecodeWindow.h"
#include "Views/FindingsView.h"
#include "Views/MessageBar.h"
#include "Views/Picture.h"

#include <QAction>
#include <QDockWidget>

namespace netrondo {

void MainWindow::buildFindings()
{
    findings_ = new FindingsView(*expert_, selection_);
    auto* const dock = new QDockWidget(tr("Findings"), this);
    dock->setObjectName(QStringLiteral("findingsDock"));
    dock->setWidget(findings_);
    addDockWidget(Qt::RightDockWidgetArea, dock);
    tabifyDockWidget(findChild<QDockWidget*>(QStringLiteral("protocolsDock")), dock);
    findChild<QDockWidget*>(QStringLiteral("conversationsDock"))->raise();

    connect(findings_, &FindingsView::findingsChanged, this, &MainWindow::takeFindings);
    const auto goTo = [this](quint64 number) {
        if (number != decode_->frameNumber())
            frameOfFinding_ = number;
    };
    connect(findings_, &FindingsView::frameWanted, this, [this, goTo](quint64 number) {
        if (!decode_->isVisible())
            return;
        goTo(number);
        decode_->goToFrame(number);
    });
    connect(findings_, &FindingsView::evidenceWanted, this,
            [this, goTo](const QString& filter, const QString& title, quint64 first) {
                showFrames();
                goTo(first);
                decode_->showEvidence(filter, title, first);
            });
    connect(circle_, &CircleView::findingsWanted, this, [this](const Selected& what) {
        showFindings();
        findings_->choose(what);
    });
    connect(findings_, &FindingsView::muteWanted, this, &MainWindow::muteCurrent);
    connect(findings_, &FindingsView::settingsWanted, this, &MainWindow::openExpertSettings);
    connect(expert_, &ExpertSettings::thresholdsChanged, this,
            [this] { session_->setThresholds(expert_->thresholds()); });
    connect(expert_, &ExpertSettings::failed, this,
            [this](const QString& sentence) { message_->say(MessageBar::Kind::error, sentence); });
    session_->setThresholds(expert_->thresholds());
    if (!expert_->trouble().isEmpty())
        message_->say(MessageBar::Kind::error, expert_->trouble());
}

bool MainWindow::isGathering() const
{
    return gathered_ != pictureNumber_ || !fillings_.empty() || findings_->isBusy();
}

void MainWindow::showFindings()
{
    auto* const dock = findChild<QDockWidget*>(QStringLiteral("findingsDock"));
    dock->show();
    dock->raise();
    findings_->setFocus();
}

void MainWindow::takeFindings()
{
    const auto& findings = findings_->findings();
    undo_->setEnabled(expert_->mutes().canUndo());
    redo_->setEnabled(expert_->mutes().canRedo());
    auto* const dock = findChild<QDockWidget*>(QStringLiteral("findingsDock"));
    const auto count = findings ? findings->list().size() - findings->table().muted : 0;
    dock->setWindowTitle(count ? tr("Findings (%1)").arg(count) : tr("Findings"));
    decode_->frames()->setFindings(findings);
    if (frameWindow_)
        frameWindow_->view()->frames()->setFindings(findings);
    if (session_->talks())
        circle_->show(request());
}

void MainWindow::muteCurrent()
{
    const auto* const finding = findings_->current();
    if (!finding)
        return;
    auto* const dialog = new MuteDialog(*finding, this);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    connect(dialog, &QDialog::accepted, this, [this, dialog] {
        const auto mute = dialog->mute();
        expert_->mute(mute);
        message_->say(MessageBar::Kind::note,
                      tr("Muted: %1. Edit ▸ Undo (Ctrl+Z) brings it back.").arg(asQt(netrondo::subjectOf(mute))));
    });
    dialog->open();
}

void MainWindow::openExpertSettings()
{
    if (!expertDialog_)
        expertDialog_ = new ExpertDialog(*expert_, *session_, this);
    expertDialog_->setThresholds(expert_->thresholds());
    expertDialog_->show();
    expertDialog_->raise();
    expertDialog_->activateWindow();
}

} // namespace netrondo
