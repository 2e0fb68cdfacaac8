// The menus, the tool bar, and what the window writes.
#include "Base/Units.h"
#include "Circle/ScenePage.h"
#include "Drawing/PictureFile.h"
#include "Drawing/ScenePainter.h"
#include "Models/CaptureFindings.h"
#include "Models/ExpertSettings.h"
#include "Models/TalkModels.h"
#include "Models/TalkTable.h"
#include "Models/Text.h"
#include "Shell/LiveControl.h"
#include "Shell/MainWindow.h"
#include "Tasks/Background.h"
#include "Tasks/CaptureSession.h"
#include "Tasks/ShownPairs.h"
#include "Views/CircleView.h"
#include "Views/DecodeView.h"
#include "Views/FindingsView.h"
#include "Views/MessageBar.h"
#include "Views/Picture.h"
#include "Views/TimelineView.h"
#include "Views/WelcomeView.h"

#include <QAction>
#include <QActionGroup>
#include <QApplication>
#include <QClipboard>
#include <QComboBox>
#include <QDockWidget>
#include <QFileDialog>
#include <QFileInfo>
#include <QMenu>
#include <QMenuBar>
#include <QMessageBox>
#include <QPointer>
#include <QToolBar>

namespace netrondo {
namespace {

QString captureFilter()
{
    return QObject::tr("Captures (*.pcap *.pcapng *.cap *.caz *.dmp *.pcap.gz *.pcapng.gz *.gz);;All files (*)");
}

} // namespace

void MainWindow::buildActions()
{
    auto* const file = menuBar()->addMenu(tr("&File"));
    file->addAction(tr("&Open…"), QKeySequence::Open, this, &MainWindow::chooseFile);
    recentMenu_ = file->addMenu(tr("Open &again"));
    file->addAction(tr("&Follow a growing file…"), this, &MainWindow::chooseFileToFollow);
    stopFollowing_ = file->addAction(tr("S&top following"), session_, &CaptureSession::stopFollowing);
    stopFollowing_->setEnabled(false);
    file->addSeparator();
    file->addActions(live_->saveActions());
    needCapture_ << live_->saveActions();
    needCapture_ << file->addAction(tr("&Export the picture…"), QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_E), this,
                                    &MainWindow::choosePicture);
    auto* const tables = file->addMenu(tr("Export a &list"));
    const auto table = [&](const QString& text, RankedModel* model, const QString& name) {
        needCapture_ << tables->addAction(text, this, [this, model, name] { chooseTable(*model, name); });
    };
    table(tr("&Conversations as CSV…"), conversations_, QStringLiteral("conversations"));
    table(tr("&Hosts as CSV…"), hosts_, QStringLiteral("hosts"));
    table(tr("&Protocols as CSV…"), protocols_, QStringLiteral("protocols"));
    file->addSeparator();
    needCapture_ << file->addAction(tr("&Close"), QKeySequence::Close, this,
                                    [this] { live_->whenNothingIsLost([this] { session_->close(); }); });
    file->addAction(tr("&Quit"), QKeySequence(Qt::CTRL | Qt::Key_Q), this, &QWidget::close);

    auto* const edit = menuBar()->addMenu(tr("&Edit"));
    undo_ = edit->addAction(tr("&Undo"), QKeySequence::Undo, expert_, &ExpertSettings::undo);
    redo_ = edit->addAction(tr("&Redo"), QKeySequence::Redo, expert_, &ExpertSettings::redo);
    edit->addSeparator();
    needCapture_ << edit->addAction(tr("Copy the &picture"), QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_C), this,
                                    &MainWindow::copyPicture);
    needCapture_ << edit->addAction(tr("Copy the &conversations as CSV"), this, [this] { copyTable(*conversations_); });
    needCapture_ << edit->addAction(tr("Copy the &hosts as CSV"), this, [this] { copyTable(*hosts_); });
    needCapture_ << edit->addAction(tr("Copy the pro&tocols as CSV"), this, [this] { copyTable(*protocols_); });
    edit->addSeparator();
    back_ = edit->addAction(tr("&Back"), QKeySequence(Qt::ALT | Qt::Key_Left), &selection_, &Selection::back);
    forward_ = edit->addAction(tr("&Forward"), QKeySequence(Qt::ALT | Qt::Key_Right), &selection_, &Selection::forward);
    needCapture_ << edit->addAction(tr("Show &everything"), QKeySequence(Qt::CTRL | Qt::Key_Backspace), this, [this] {
        selection_.focus({});
        protocols_->setHidden({});
        timeline_->setSpan(std::nullopt);
        session_->setSpan(std::nullopt);
        circle_->resetZoom();
    });

    edit->addSeparator();
    edit->addAction(tr("&Settings of the findings…"), QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_P), this,
                    &MainWindow::openExpertSettings);

    viewMenu_ = menuBar()->addMenu(tr("&View"));
    layouts_ = new QActionGroup(this);
    int number = 1;
    for (const auto mode : available(false)) {
        auto* const action = viewMenu_->addAction(asQt(shortTitle(mode)));
        action->setObjectName(QStringLiteral("layout.") + asQt(rawValue(mode)));
        action->setShortcut(QKeySequence(Qt::CTRL | static_cast<Qt::Key>(Qt::Key_0 + number++)));
        action->setData(static_cast<int>(mode));
        action->setCheckable(true);
        action->setToolTip(
            QStringLiteral("%1 (%2)").arg(asQt(helpText(mode)), action->shortcut().toString(QKeySequence::NativeText)));
        action->setWhatsThis(asQt(accessibilityLabel(mode)));
        layouts_->addAction(action);
    }
    connect(layouts_, &QActionGroup::triggered, this, [this](const QAction* action) {
        auto options = options_;
        options.layout = static_cast<CircleHostLayoutMode>(action->data().toInt());
        setOptions(options);
    });
    viewMenu_->addSeparator();
    // The packet list has the same keys for its own letters and its own way back.
    const auto outsideOfFrames = [this](QAction* action) {
        action->setShortcutContext(Qt::WidgetWithChildrenShortcut);
        centralWidget()->addAction(action);
        for (auto* const dock : findChildren<QDockWidget*>())
            if (dock->widget() != decode_)
                dock->addAction(action);
    };
    for (auto* const action : {undo_, redo_})
        outsideOfFrames(action);
    outsideOfFrames(back_);
    outsideOfFrames(forward_);
    const auto zoom = [&](const QString& text, const QKeySequence& keys, const auto& does) {
        auto* const action = viewMenu_->addAction(text, keys, this, does);
        outsideOfFrames(action);
        needCapture_ << action;
    };
    const auto middle = [this] { return QPointF(circle_->width() / 2.0, circle_->height() / 2.0); };
    zoom(tr("Zoom &in"), QKeySequence::ZoomIn, [this, middle] { circle_->zoomBy(1.25, middle()); });
    zoom(tr("Zoom &out"), QKeySequence::ZoomOut, [this, middle] { circle_->zoomBy(0.8, middle()); });
    zoom(tr("&Normal size"), QKeySequence(Qt::CTRL | Qt::Key_0), [this] { circle_->resetZoom(); });
    viewMenu_->addSeparator();
    thickness_ = viewMenu_->addAction(tr("Line &thickness by volume"));
    names_ = viewMenu_->addAction(tr("Host n&ames"), QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_H), this, [] {});
    names_->setToolTip(tr("Names of hosts, as the capture tells them, or addresses"));
    thickness_->setToolTip(tr("The more a conversation carried, the wider its line"));
    for (auto* const action : {thickness_, names_}) {
        action->setCheckable(true);
        connect(action, &QAction::triggered, this, [this] {
            auto options = options_;
            options.showLineThickness = thickness_->isChecked();
            options.showHostNames = names_->isChecked();
            setOptions(options);
        });
    }
    tidy_ = viewMenu_->addAction(tr("Tid&y the ring"), QKeySequence(Qt::CTRL | Qt::Key_L), this, &MainWindow::tidy);
    tidy_->setToolTip(tr("Seat the hosts anew, so that heavy conversations cross the middle"));
    needCapture_ << tidy_;
    auto* const theme = viewMenu_->addMenu(tr("&Colours"));
    themes_ = new QActionGroup(this);
    for (const auto& [choice, text] : {std::pair{ThemeChoice::desktop, tr("As the &desktop")},
                                       {ThemeChoice::light, tr("&Light")},
                                       {ThemeChoice::dark, tr("D&ark")}}) {
        auto* const action = theme->addAction(text);
        action->setCheckable(true);
        action->setData(static_cast<int>(choice));
        themes_->addAction(action);
    }
    connect(themes_, &QActionGroup::triggered, this, [this](const QAction* action) {
        auto options = options_;
        options.theme = static_cast<ThemeChoice>(action->data().toInt());
        setOptions(options);
    });
    auto* const strictness = viewMenu_->addMenu(tr("&Grades"));
    auto* const strictnesses = new QActionGroup(this);
    for (const auto choice : {QualityStrictness::lenient, QualityStrictness::balanced, QualityStrictness::strict}) {
        auto* const action = strictness->addAction(asQt(displayName(choice)));
        action->setCheckable(true);
        action->setToolTip(asQt(subtitle(choice)));
        action->setData(static_cast<int>(choice));
        strictnesses->addAction(action);
    }
    strictness->setToolTipsVisible(true);
    connect(strictness, &QMenu::aboutToShow, this, [this, strictnesses] {
        for (auto* const action : strictnesses->actions())
            action->setChecked(action->data().toInt() == static_cast<int>(options_.strictness));
    });
    connect(strictnesses, &QActionGroup::triggered, this, [this](const QAction* action) {
        auto options = options_;
        options.strictness = static_cast<QualityStrictness>(action->data().toInt());
        setOptions(options);
    });
    viewMenu_->addSeparator();
    auto* const panels = viewMenu_->addMenu(tr("&Panels"));
    connect(panels, &QMenu::aboutToShow, this, [this, panels] {
        panels->clear();
        for (auto* const dock : findChildren<QDockWidget*>())
            panels->addAction(dock->toggleViewAction());
    });
    auto* const frames = findChild<QDockWidget*>(QStringLiteral("framesDock"))->toggleViewAction();
    frames->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_4));
    viewMenu_->addAction(frames);
    viewMenu_->addAction(tr("Fin&dings"), QKeySequence(Qt::CTRL | Qt::Key_5), this, &MainWindow::showFindings);
    auto* const fullScreen = viewMenu_->addAction(tr("F&ull screen"), QKeySequence(Qt::Key_F11), this, [] {});
    fullScreen->setCheckable(true);
    connect(fullScreen, &QAction::triggered, this, [this](bool wanted) { wanted ? showFullScreen() : showNormal(); });

    auto* const ofFrames = menuBar()->addMenu(tr("F&rames"));
    ofFrames->setObjectName(QStringLiteral("framesMenu"));
    decode_->fillFileMenu(*ofFrames);
    ofFrames->addSeparator();
    decode_->fillEditMenu(*ofFrames);
    ofFrames->addSeparator();
    decode_->fillGoMenu(*ofFrames->addMenu(tr("&Go")));
    decode_->fillViewMenu(*ofFrames->addMenu(tr("&View")));
    connect(ofFrames, &QMenu::triggered, this, &MainWindow::showFrames);
    auto* const ownWindow =
        viewMenu_->addAction(tr("Frames in a &window of their own"), QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_4),
                             this, &MainWindow::openFrameWindow);
    ownWindow->setObjectName(QStringLiteral("framesWindow"));
    needCapture_ << ownWindow << ofFrames->menuAction();

    live_->buildMenu(*menuBar());

    auto* const help = menuBar()->addMenu(tr("&Help"));
    help->addAction(tr("&Keys and pointer"), QKeySequence(Qt::SHIFT | Qt::Key_F1), this, [this] {
        QMessageBox::information(
            this, tr("Keys and pointer"),
            tr("<p><b>Circle</b><br>Point: highlight and describe. Click: select. Click again: see it alone. Escape: "
               "back.<br>Wheel: zoom. Drag: move. 0: normal size.<br>← →: walk the hosts. ↑ ↓, F7 F8: walk the "
               "conversations, those of the selected host first. Enter: see the selection alone.</p>"
               "<p><b>Timeline</b><br>Drag over a span to see it alone; drag its edges or its middle. ← →: move it; "
               "with "
               "Shift: its end. Space: play. Escape: everything again.</p>"
               "<p><b>Lists</b><br>Type above a list to narrow it. Click a heading to sort. Enter: see the row alone. "
               "Protocols: untick to hide, click to see alone, click again to see all.</p>"
               "<p><b>Findings</b><br>Choose one: its frame, host or conversation is shown. Enter: the frames that "
               "prove "
               "it, alone. F3, Shift+F3: from one to the next. M: mute; Ctrl+Z takes it back.</p>"
               "<p><b>Frames</b><br>Ctrl+F: find, Ctrl+N, Ctrl+B: next, previous. Ctrl+G: go to. F8, F7: next, "
               "previous; Ctrl+. "
               "Ctrl+,: of the conversation. Ctrl+M: mark, Ctrl+D: ignore, Ctrl+T: time reference, Ctrl+Alt+C: note; "
               "Ctrl+Z "
               "takes it back. Ctrl+Shift+I: the tree’s row as a column. All of them stand in the menu Frames.</p>"
               "<p><b>Window</b><br>Alt+← and Alt+→ go through what was selected.</p>"));
    });
    help->addAction(tr("&About Netrondo"), this, [this] {
        QMessageBox::about(this, tr("About Netrondo"),
                           tr("<h3>Netrondo %1</h3><p>Shows who talks to whom in a network capture, how much, in what "
                              "protocol and how well.</p><p>Works offline: no lookup, no report, ever.</p>")
                               .arg(QStringLiteral(NETRONDO_VERSION)));
    });
}

void MainWindow::buildToolBar()
{
    auto* const bar = addToolBar(tr("Options"));
    bar->setObjectName(QStringLiteral("optionsBar"));
    bar->setToolButtonStyle(Qt::ToolButtonTextOnly);
    bar->setMovable(false);
    for (auto* const action : layouts_->actions()) {
        bar->addAction(action);
        bar->widgetForAction(action)->setAccessibleName(action->whatsThis());
    }
    bar->addSeparator();
    const auto box = [&](const char* name, const QString& title, const auto& entries, const auto& take) {
        auto* const choice = new QComboBox;
        choice->setObjectName(QLatin1String(name));
        choice->setToolTip(title);
        choice->setAccessibleName(title);
        for (const auto& [text, value] : entries)
            choice->addItem(text, value);
        connect(choice, &QComboBox::currentIndexChanged, this, [this, choice, take] {
            auto options = options_;
            take(options, choice->currentData().toInt());
            setOptions(options);
        });
        bar->addWidget(choice);
        return choice;
    };
    using Entries = std::vector<std::pair<QString, int>>;
    mode_ = box("mode", tr("What a host is"),
                Entries{{tr("IP hosts"), int(AnalysisMode::l3IP)}, {tr("MAC hosts"), int(AnalysisMode::l2MAC)}},
                [](ViewOptions& options, int value) { options.mode = static_cast<AnalysisMode>(value); });
    volume_ = box("volume", tr("What volume counts"), Entries{{tr("Bytes"), 1}, {tr("Packets"), 0}},
                  [](ViewOptions& options, int value) { options.useBytes = value != 0; });
    color_ = box("color", tr("What colour means"),
                 Entries{{tr("Colour: protocol"), int(EdgeColorMode::protocol)},
                         {tr("Colour: TCP quality"), int(EdgeColorMode::quality)}},
                 [](ViewOptions& options, int value) { options.colorMode = static_cast<EdgeColorMode>(value); });
    Entries limits;
    for (const int limit : {10, 25, 50, 100, 250, 500, 1000, 2500, 5000})
        limits.emplace_back(tr("Top %1").arg(limit), limit);
    limits.emplace_back(tr("All conversations"), 0);
    limit_ = box("limit", tr("How many conversations are drawn, the largest first"), limits,
                 [](ViewOptions& options, int value) { options.limit = value; });
    bar->addSeparator();
    thickness_->setIconText(tr("Thickness"));
    names_->setIconText(tr("Names"));
    tidy_->setIconText(tr("Tidy"));
    for (auto* const action : {thickness_, names_, tidy_})
        bar->addAction(action);
}

void MainWindow::fillRecentMenu()
{
    welcome_->setRecent(recent_.paths());
    recentMenu_->clear();
    for (const auto& path : recent_.paths()) {
        auto* const action = recentMenu_->addAction(path, this, [this, path] { open(path); });
        action->setEnabled(QFileInfo::exists(path));
    }
    recentMenu_->addSeparator();
    auto* const forget = recentMenu_->addAction(tr("&Clear this list"), this, [this] {
        recent_.clear();
        recent_.save(settings_);
        fillRecentMenu();
    });
    forget->setEnabled(!recent_.paths().isEmpty());
}

void MainWindow::chooseFile()
{
    const auto path = QFileDialog::getOpenFileName(this, tr("Open a capture"),
                                                   QFileInfo(recent_.paths().value(0)).path(), captureFilter());
    if (!path.isEmpty())
        open(path);
}

void MainWindow::chooseFileToFollow()
{
    const auto path = QFileDialog::getOpenFileName(this, tr("Follow a pcap file that is still being written"),
                                                   QFileInfo(recent_.paths().value(0)).path(), captureFilter());
    if (!path.isEmpty())
        follow(path);
}

void MainWindow::choosePicture()
{
    const auto name = QFileInfo(session_->facts().path).completeBaseName() + QStringLiteral(".svg");
    const auto path =
        QFileDialog::getSaveFileName(this, tr("Export the picture"), name, tr("SVG (*.svg);;PNG (*.png);;PDF (*.pdf)"));
    if (!path.isEmpty())
        exportPicture(path);
}

void MainWindow::chooseTable(const RankedModel& model, const QString& name)
{
    const auto path = QFileDialog::getSaveFileName(this, tr("Export the list"), name + QStringLiteral(".csv"),
                                                   tr("Comma-separated values (*.csv)"));
    if (!path.isEmpty())
        exportTable(model, path);
}

QString MainWindow::pictureSubtitle() const
{
    const auto& talks = *session_->talks();
    auto text = QStringLiteral("%1 · %2").arg(asQt(units::counted(talks.hosts().size(), "host", "hosts")),
                                              asQt(units::counted(shown_->shown, "conversation", "conversations")));
    if (const auto missing = shown_->leftOut + shown_->hidden + shown_->unfocused)
        text += tr(" of %1").arg(asQt(units::grouped(shown_->shown + missing)));
    text += QStringLiteral(" · %1 · %2")
                .arg(asQt(units::bytes(talks.result()->totalBytes)),
                     asQt(units::timeSpan(talks.result()->durationSeconds)));
    if (const auto& span = session_->span())
        text += tr(" · from %1 on").arg(asQt(units::timeSpan(span->from - session_->facts().volume.first())));
    if (session_->filter())
        text += tr(" · filtered");
    return text;
}

void MainWindow::exportPicture(const QString& path)
{
    const auto suffix = QFileInfo(path).suffix().toLower();
    if (suffix != QLatin1String("svg") && suffix != QLatin1String("png") && suffix != QLatin1String("pdf")) {
        message_->say(MessageBar::Kind::error,
                      tr("%1: the name ends in none of .svg, .png and .pdf, which say what to write.").arg(path));
        emit exported();
        return;
    }
    const auto format = suffix == QLatin1String("svg") ? PictureFormat::svg
        : suffix == QLatin1String("png")               ? PictureFormat::png
                                                       : PictureFormat::pdf;
    auto wanted = request();
    wanted.angles = std::make_shared<const AngleByAddress>(circle_->angles());
    ScenePage page{{1600, 1200},
                   wanted.style.theme,
                   QFileInfo(session_->facts().path).fileName().toStdString(),
                   pictureSubtitle().toStdString(),
                   {}};
    if (options_.colorMode == EdgeColorMode::quality && options_.layout == CircleHostLayoutMode::hosts) {
        for (const auto grade : {SessionQualityGrade::excellent, SessionQualityGrade::good, SessionQualityGrade::fair,
                                 SessionQualityGrade::poor, SessionQualityGrade::unknown}) {
            const auto [r, g, b] = color(grade);
            page.legend.push_back({std::string(displayName(grade)), {r, g, b}});
        }
    } else {
        for (int row = 0; row < protocols_->rowCount(); ++row) {
            const auto name = protocols_->nameOf(protocols_->itemAt(row));
            if (!protocols_->hidden().contains(name))
                page.legend.push_back({std::string(name), ProtocolColors::color(name)});
        }
    }
    const auto work = [wanted, page, format, path]() mutable {
        const auto size = page.pictureSize();
        wanted.size = QSizeF(size.width, size.height);
        const auto scene = page.compose(Picture(std::move(wanted)).scene, sceneTextWidth);
        const auto bytes = encode(scene, format, page.title);
        if (!bytes)
            return asQt(bytes.error().description);
        const auto saved = save(*bytes, path.toStdString());
        return saved ? QString() : asQt(saved.error().description);
    };
    inBackground(this, work, [this, path](const QString& trouble) {
        if (trouble.isEmpty())
            message_->say(MessageBar::Kind::note, tr("The picture is in %1.").arg(path));
        else
            message_->say(MessageBar::Kind::error, tr("%1: %2. The picture was not written.").arg(path, trouble));
        emit exported();
    });
}

void MainWindow::copyPicture()
{
    if (const auto& picture = circle_->picture())
        QApplication::clipboard()->setImage(picture->image);
}

void MainWindow::exportTable(const RankedModel& model, const QString& path)
{
    const auto work = [shown = model.shown(), headings = model.headings(), path] {
        const auto saved = save(shown->csv(headings).toUtf8(), path.toStdString());
        return saved ? QString() : asQt(saved.error().description);
    };
    inBackground(this, work, [this, path](const QString& trouble) {
        if (trouble.isEmpty())
            message_->say(MessageBar::Kind::note, tr("The list is in %1.").arg(path));
        else
            message_->say(MessageBar::Kind::error, tr("%1: %2. The list was not written.").arg(path, trouble));
        emit exported();
    });
}

void MainWindow::copyTable(const RankedModel& model)
{
    inBackground(
        this, [shown = model.shown(), headings = model.headings()] { return shown->csv(headings); },
        [](const QString& text) { QApplication::clipboard()->setText(text); });
}

void MainWindow::showMenu(const Selected& what, const QPoint& globalPosition)
{
    QMenu menu;
    if (what) {
        menu.addAction(tr("See it alone"), this, [&] { selection_.focus(what); });
        if (what.kind == Selected::Kind::conversation)
            menu.addAction(tr("Show its frames"), this, [&] {
                selection_.focus(what);
                showFrames();
            });
        if (findings_->findings() && !findings_->findings()->about(what).empty())
            menu.addAction(tr("Show its findings"), this, [&] { emit circle_->findingsWanted(what); });
        menu.addAction(tr("Copy its name"), this, [&] { QApplication::clipboard()->setText(circle_->nameOf(what)); });
        if (what.kind == Selected::Kind::host)
            menu.addAction(tr("Copy its address"), this, [&] { QApplication::clipboard()->setText(asQt(what.a)); });
        live_->addTo(menu, what);
        menu.addSeparator();
    }
    if (selection_.focused())
        menu.addAction(tr("Show everything again"), this, [&] { selection_.focus({}); });
    menu.addAction(tidy_);
    menu.addAction(tr("Normal size"), circle_, &CircleView::resetZoom);
    menu.addAction(tr("Copy the picture"), this, &MainWindow::copyPicture);
    menu.exec(globalPosition);
}

} // namespace netrondo
