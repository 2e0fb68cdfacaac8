#include "Shell/MainWindow.h"

#include "Base/Units.h"
#include "Dissection/Filter/DisplayFilter.h"
#include "Models/ExpertSettings.h"
#include "Models/TalkModels.h"
#include "Models/TalkTable.h"
#include "Models/Text.h"
#include "Shell/LiveControl.h"
#include "Tasks/Background.h"
#include "Tasks/CaptureSession.h"
#include "Tasks/ShownPairs.h"
#include "Views/CircleView.h"
#include "Views/DecodeView.h"
#include "Views/DecodeWindow.h"
#include "Views/DetailsView.h"
#include "Views/FilterBar.h"
#include "Views/FindingsView.h"
#include "Views/MessageBar.h"
#include "Views/Picture.h"
#include "Views/TimelineView.h"
#include "Views/WelcomeView.h"

#include <QAction>
#include <QActionGroup>
#include <QApplication>
#include <QClipboard>
#include <QCloseEvent>
#include <QComboBox>
#include <QCoreApplication>
#include <QDir>
#include <QDockWidget>
#include <QDragEnterEvent>
#include <QFileInfo>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QMimeData>
#include <QPainter>
#include <QPalette>
#include <QProgressBar>
#include <QShortcut>
#include <QStackedWidget>
#include <QStatusBar>
#include <QStyle>
#include <QStyleFactory>
#include <QTableView>
#include <QToolBar>
#include <QToolButton>
#include <QVBoxLayout>
#include <algorithm>

/// What a library has in it is taken in by name; the macro wants to stand outside of namespaces.
static void takeResources()
{
    Q_INIT_RESOURCE(netrondo);
}

namespace netrondo {
namespace {

/// The sample that comes with the program: as installed, or in the tree it was built from.
QString samplePath()
{
    const QDir programs(QCoreApplication::applicationDirPath());
    if (const auto installed = programs.filePath(QStringLiteral("../share/netrondo/samples/office.pcapng"));
        QFileInfo::exists(installed))
        return QDir::cleanPath(installed);
    auto folder = programs;
    for (int i = 0; i < 5 && folder.cdUp(); ++i)
        if (auto sample = folder.filePath(QStringLiteral("Samples/office.pcapng")); QFileInfo::exists(sample))
            return sample;
    return {};
}

/// A triangle, or two bars, in a colour that the theme's own icons may not have.
QIcon playIcon(bool isPlaying, const QColor& color)
{
    QPixmap pixmap(48, 48);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(color);
    if (isPlaying) {
        painter.drawRect(12, 8, 9, 32);
        painter.drawRect(27, 8, 9, 32);
    } else {
        painter.drawPolygon(QPolygon({{12, 6}, {40, 24}, {12, 42}}));
    }
    return {pixmap};
}

QPalette darkPalette()
{
    QPalette dark(QColor(0x3b, 0x41, 0x4b), QColor(0x1e, 0x21, 0x27)); // a button that is down has to show
    dark.setColor(QPalette::Base, QColor(0x14, 0x17, 0x1c));
    dark.setColor(QPalette::AlternateBase, QColor(0x23, 0x27, 0x2e));
    for (const auto role : {QPalette::Text, QPalette::WindowText, QPalette::ButtonText, QPalette::ToolTipText})
        dark.setColor(role, QColor(0xe6, 0xe9, 0xee));
    dark.setColor(QPalette::ToolTipBase, QColor(0x23, 0x27, 0x2e));
    dark.setColor(QPalette::PlaceholderText, QColor(0x9a, 0xa4, 0xaf));
    dark.setColor(QPalette::Highlight, QColor(0x3d, 0x8b, 0xd9));
    dark.setColor(QPalette::HighlightedText, Qt::white);
    dark.setColor(QPalette::Link, QColor(0x6f, 0xb3, 0xf2));
    for (const auto role : {QPalette::Text, QPalette::WindowText, QPalette::ButtonText})
        dark.setColor(QPalette::Disabled, role, QColor(0x7a, 0x82, 0x8c));
    return dark;
}

} // namespace

MainWindow::MainWindow(QWidget* parent)
    : QMainWindow(parent)
    , settings_(QSettings::IniFormat, QSettings::UserScope, QStringLiteral("netrondo"), QStringLiteral("netrondo"))
    , session_(new CaptureSession(this))
    , expert_(new ExpertSettings(ExpertSettings::defaultPath(), this))
    , conversations_(new ConversationModel(this))
    , hosts_(new HostModel(this))
    , protocols_(new ProtocolModel(this))
    , shown_(std::make_unique<ShownPairs>())
{
    takeResources();
    setObjectName(QStringLiteral("MainWindow"));
    setWindowTitle(QStringLiteral("Netrondo"));
    setWindowIcon(QIcon(QStringLiteral(":/netrondo/icon.svg")));
    setAcceptDrops(true);
    setDockOptions(AnimatedDocks | AllowNestedDocks | AllowTabbedDocks);
    buildCentre();
    buildDocks();
    buildFrames();
    buildFindings();
    buildActions();
    buildToolBar();
    buildStatusBar();
    connectSession();
    connect(&selection_, &Selection::changed, this, &MainWindow::takeSelection);
    resize(1360, 880);
    restore();
    takeFindings();
}

MainWindow::~MainWindow()
{
    // The views go before the selection that they look at.
    delete takeCentralWidget();
}

void MainWindow::buildCentre()
{
    welcome_ = new WelcomeView;
    connect(welcome_, &WelcomeView::openWanted, this, &MainWindow::chooseFile);
    connect(welcome_, &WelcomeView::pathWanted, this, &MainWindow::open);

    circle_ = new CircleView(selection_);
    connect(circle_, &CircleView::menuWanted, this, &MainWindow::showMenu);
    connect(circle_, &CircleView::pictureChanged, this, [this] {
        if (!fillings_.empty())
            fillTimer_.start(0, this);
    });
    connect(circle_, &CircleView::hoveredChanged, this, [this] {
        const auto text = circle_->describe(circle_->hovered()).replace(QLatin1Char('\n'), QStringLiteral("  ·  "));
        hoverText_->setText(hoverText_->fontMetrics().elidedText(text, Qt::ElideRight, hoverText_->width()));
    });

    timeline_ = new TimelineView;
    timeline_->setFixedHeight(84);
    play_ = new QToolButton;
    play_->setAutoRaise(true);
    showPlaying_ = [this] {
        play_->setIcon(playIcon(timeline_->isPlaying(), palette().color(QPalette::ButtonText)));
        play_->setToolTip(timeline_->isPlaying() ? tr("Pause (Space in the timeline)")
                                                 : tr("Play the conversations in the order they happened (Space in the "
                                                      "timeline)"));
        play_->setAccessibleName(timeline_->isPlaying() ? tr("Pause") : tr("Play"));
    };
    showPlaying_();
    connect(timeline_, &TimelineView::playingChanged, this, showPlaying_);
    connect(play_, &QAbstractButton::clicked, this,
            [this] { timeline_->isPlaying() ? timeline_->pause() : timeline_->play(); });
    connect(timeline_, &TimelineView::momentChanged, this, [this] { circle_->setMoment(timeline_->moment()); });
    connect(timeline_, &TimelineView::spanChanged, this, [this] {
        const auto& span = timeline_->span();
        // The last frame lies on the end of the whole span.
        const double last = session_->facts().volume.last();
        session_->setSpan(span ? std::optional(TimeSpan{span->first, span->second >= last ? last + 1 : span->second})
                               : std::nullopt);
    });
    auto* const strip = new QWidget;
    strip->setBackgroundRole(QPalette::Base); // as the timeline itself
    strip->setAutoFillBackground(true);
    auto* const bottom = new QHBoxLayout(strip);
    bottom->setContentsMargins(4, 0, 0, 0);
    bottom->addWidget(play_);
    bottom->addWidget(timeline_, 1);

    auto* const page = new QWidget;
    auto* const column = new QVBoxLayout(page);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(0);
    column->addWidget(circle_, 1);
    column->addWidget(strip);

    pages_ = new QStackedWidget;
    pages_->setObjectName(QStringLiteral("pages"));
    pages_->addWidget(welcome_);
    pages_->addWidget(page);
    message_ = new MessageBar;
    const auto notes = [this] {
        const auto& store = decode_->store();
        const bool isOpen = store && store->path() == session_->facts().path;
        return isOpen ? store->notes().now().notes : FrameNotes::Texts();
    };
    live_ = new LiveControl({*this, *session_, selection_, *message_, settings_, notes});
    auto* const centre = new QWidget;
    auto* const layout = new QVBoxLayout(centre);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    filterBar_ = new FilterBar;
    filterBar_->setVisible(false); // with the capture
    layout->addWidget(filterBar_);
    layout->addWidget(live_->bar());
    layout->addWidget(message_);
    layout->addWidget(pages_, 1);
    setCentralWidget(centre);
}

QTableView* MainWindow::buildList(RankedModel& model, const QString& title, const QString& name, int sortColumn)
{
    auto* const table = new QTableView;
    table->setObjectName(name + QStringLiteral("List"));
    table->setAccessibleName(title);
    table->setModel(&model);
    table->setSortingEnabled(true);
    table->sortByColumn(sortColumn, Qt::DescendingOrder);
    table->setSelectionBehavior(QAbstractItemView::SelectRows);
    table->setSelectionMode(QAbstractItemView::SingleSelection);
    table->setShowGrid(false);
    table->setAlternatingRowColors(true);
    table->setTabKeyNavigation(false);
    table->setWordWrap(false);
    table->setTextElideMode(Qt::ElideMiddle); // the ends of an address or a name tell most
    table->verticalHeader()->hide();
    table->verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    table->verticalHeader()->setDefaultSectionSize(table->fontMetrics().height() + 6);
    table->horizontalHeader()->setHighlightSections(false);
    table->setContextMenuPolicy(Qt::CustomContextMenu);

    auto* const filter = new QLineEdit;
    filter->setObjectName(name + QStringLiteral("Filter"));
    filter->setPlaceholderText(tr("Type to narrow the list"));
    filter->setAccessibleName(tr("Narrow the list: %1").arg(title));
    filter->setClearButtonEnabled(true);
    connect(filter, &QLineEdit::textChanged, &model, &RankedModel::setFilterText);

    auto* const box = new QWidget;
    auto* const layout = new QVBoxLayout(box);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(2);
    layout->addWidget(filter);
    layout->addWidget(table);
    auto* const dock = new QDockWidget(title, this);
    dock->setObjectName(name + QStringLiteral("Dock"));
    dock->setWidget(box);
    addDockWidget(Qt::RightDockWidgetArea, dock);
    connect(table, &QWidget::customContextMenuRequested, this, [this, table, &model, name](const QPoint& position) {
        QMenu menu;
        menu.addAction(tr("Copy as CSV"), this, [&] { copyTable(model); });
        menu.addAction(tr("Save as CSV…"), this, [&] { chooseTable(model, name); });
        menu.exec(table->viewport()->mapToGlobal(position));
    });
    return table;
}

void MainWindow::buildDocks()
{
    conversationList_ =
        buildList(*conversations_, tr("Conversations"), QStringLiteral("conversations"), ConversationModel::bytes);
    hostList_ = buildList(*hosts_, tr("Hosts"), QStringLiteral("hosts"), HostModel::bytes);
    protocolList_ = buildList(*protocols_, tr("Protocols"), QStringLiteral("protocols"), ProtocolModel::volume);
    auto* const detailsDock = new QDockWidget(tr("Details"), this);
    detailsDock->setObjectName(QStringLiteral("detailsDock"));
    details_ = new DetailsView;
    detailsDock->setWidget(details_);
    addDockWidget(Qt::RightDockWidgetArea, detailsDock);

    const auto dock = [this](const char* name) { return findChild<QDockWidget*>(QLatin1String(name)); };
    tabifyDockWidget(dock("conversationsDock"), dock("hostsDock"));
    tabifyDockWidget(dock("hostsDock"), dock("protocolsDock"));
    dock("conversationsDock")->raise();
    resizeDocks({dock("conversationsDock"), detailsDock}, {430, 430}, Qt::Horizontal);

    for (const auto& [table, column, width] : {std::tuple{conversationList_, int{ConversationModel::hostA}, 118},
                                               {conversationList_, ConversationModel::hostB, 118},
                                               {conversationList_, ConversationModel::protocol, 95},
                                               {conversationList_, ConversationModel::bytes, 75},
                                               {conversationList_, ConversationModel::bytesAB, 75},
                                               {conversationList_, ConversationModel::bytesBA, 75},
                                               {conversationList_, ConversationModel::packets, 70},
                                               {hostList_, HostModel::address, 130},
                                               {hostList_, HostModel::name, 130},
                                               {hostList_, HostModel::bytes, 75},
                                               {hostList_, HostModel::sent, 75},
                                               {hostList_, HostModel::received, 75},
                                               {hostList_, HostModel::packets, 70},
                                               {protocolList_, ProtocolModel::name, 150},
                                               {protocolList_, ProtocolModel::volume, 80},
                                               {protocolList_, ProtocolModel::share, 65}})
        table->setColumnWidth(column, width);

    connect(conversationList_->selectionModel(), &QItemSelectionModel::currentRowChanged, this,
            [this](const QModelIndex& index) {
                if (!index.isValid())
                    return;
                const auto& talks = *conversations_->table();
                const auto& talk = talks.talks()[conversations_->itemAt(index.row())];
                selection_.select(Selected::conversation(talks.host(talk, 0).text, talks.host(talk, 1).text));
            });
    connect(hostList_->selectionModel(), &QItemSelectionModel::currentRowChanged, this,
            [this](const QModelIndex& index) {
                if (index.isValid())
                    selection_.select(Selected::host(hosts_->table()->hosts()[hosts_->itemAt(index.row())].text));
            });
    for (auto* const table : {conversationList_, hostList_})
        connect(table, &QTableView::activated, this, [this] { selection_.focus(selection_.selected()); });
    // A click on the name shows a protocol alone, one on its box hides it, which the model has done by then.
    const auto hidden = std::make_shared<std::set<std::string, std::less<>>>();
    connect(protocolList_, &QTableView::pressed, this, [this, hidden] { *hidden = protocols_->hidden(); });
    connect(protocolList_, &QTableView::clicked, this, [this, hidden](const QModelIndex& index) {
        if (*hidden == protocols_->hidden())
            protocols_->showOnly(protocols_->itemAt(index.row()));
    });
    for (const auto key : {Qt::Key_Return, Qt::Key_Enter})
        connect(new QShortcut(key, protocolList_, nullptr, nullptr, Qt::WidgetShortcut), &QShortcut::activated, this,
                [this] {
                    if (const auto index = protocolList_->currentIndex(); index.isValid())
                        protocols_->showOnly(protocols_->itemAt(index.row()));
                });
    for (auto* const model : {static_cast<RankedModel*>(conversations_), static_cast<RankedModel*>(hosts_)})
        connect(model, &RankedModel::arranged, this, &MainWindow::markInLists);
    connect(protocols_, &ProtocolModel::hiddenChanged, this, &MainWindow::refreshPicture);
    connect(details_, &DetailsView::selectionWanted, this, [this](const Selected& what) { selection_.select(what); });
}

void MainWindow::buildFrames()
{
    decode_ = new DecodeView;
    decode_->attach(*filterBar_);
    auto* const dock = new QDockWidget(tr("Frames"), this);
    dock->setObjectName(QStringLiteral("framesDock"));
    dock->setWidget(decode_);
    addDockWidget(Qt::BottomDockWidgetArea, dock);
    setCorner(Qt::BottomRightCorner, Qt::RightDockWidgetArea);
    dock->hide(); // the picture comes first; Ctrl+4 brings the frames

    connect(filterBar_, &FilterBar::applied, this, [this](const QString& text) {
        if (text.trimmed().isEmpty())
            return session_->setFilter(nullptr);
        if (auto filter = DisplayFilter::compile(text.toStdString()))
            session_->setFilter(std::make_shared<const DisplayFilter>(std::move(*filter)));
    });
    connect(decode_, &DecodeView::failed, this,
            [this](const QString& sentence) { message_->say(MessageBar::Kind::error, sentence); });
    connect(decode_, &DecodeView::remarked, this,
            [this](const QString& sentence) { statusBar()->showMessage(sentence, DecodeView::remarkFor); });
    connectFrames(*decode_);
}

/// A frame that is chosen selects its conversation everywhere.
void MainWindow::connectFrames(DecodeView& view)
{
    connect(&view, &DecodeView::frameSelected, this, [this, &view](quint64 number, const FrameEnds& ends) {
        if (number == std::exchange(frameOfFinding_, 0))
            return;
        if (!view.isAncestorOf(QApplication::focusWidget()))
            return; // the list came to this frame by itself: nobody chose it
        const bool isIp = options_.mode == AnalysisMode::l3IP;
        const auto a = (isIp ? ends.source : ends.linkSource).toStdString();
        const auto b = (isIp ? ends.destination : ends.linkDestination).toStdString();
        if (session_->talks() && session_->talks()->findTalk(a, b) != TalkRow::none)
            selection_.select(Selected::conversation(a, b));
    });
}

void MainWindow::showFrames()
{
    findChild<QDockWidget*>(QStringLiteral("framesDock"))->show();
}

/// The frames once more, with a filter of their own, for a second screen.
void MainWindow::openFrameWindow()
{
    if (!frameWindow_) {
        frameWindow_ = new DecodeWindow(this);
        frameWindow_->setAttribute(Qt::WA_DeleteOnClose);
        auto* const view = frameWindow_->view();
        connectFrames(*view);
        connect(decode_, &DecodeView::storeChanged, frameWindow_, [this] { frameWindow_->setStore(decode_->store()); });
        frameWindow_->setStore(decode_->store());
        view->frames()->setFindings(findings_->findings());
        view->showConversation(asQt(shownTalk_.a), asQt(shownTalk_.b));
    }
    frameWindow_->show();
    frameWindow_->raise();
    frameWindow_->activateWindow();
}

void MainWindow::buildStatusBar()
{
    hoverText_ = new QLabel;
    hoverText_->setTextFormat(Qt::PlainText);
    hoverText_->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    statusBar()->addWidget(hoverText_, 1);
    progress_ = new QProgressBar;
    progress_->setObjectName(QStringLiteral("progress"));
    progress_->setMaximumWidth(220);
    progress_->setAccessibleName(tr("Reading the capture"));
    progress_->hide();
    statusBar()->addPermanentWidget(progress_);
    cancel_ = new QToolButton;
    cancel_->setObjectName(QStringLiteral("cancel"));
    cancel_->setText(tr("Cancel"));
    cancel_->setToolTip(tr("Stop reading; what was open stays"));
    cancel_->hide();
    connect(cancel_, &QAbstractButton::clicked, session_, &CaptureSession::cancel);
    statusBar()->addPermanentWidget(cancel_);
    shownText_ = new QLabel;
    shownText_->setObjectName(QStringLiteral("shownText"));
    shownText_->setTextFormat(Qt::PlainText);
    shownText_->setTextInteractionFlags(Qt::TextSelectableByMouse);
    statusBar()->addPermanentWidget(shownText_);
}

void MainWindow::connectSession()
{
    connect(session_, &CaptureSession::started, this, [this] { message_->hide(); });
    connect(session_, &CaptureSession::progressed, this, [this](quint64 frames, double share) {
        progress_->setRange(0, share > 0 ? 1000 : 0);
        progress_->setValue(static_cast<int>(share * 1000));
        progress_->setFormat(tr("%1 frames").arg(asQt(units::grouped(frames))));
        // What is read in a blink needs no bar.
        progress_->show();
        cancel_->show();
    });
    connect(session_, &CaptureSession::ended, this, [this] {
        progress_->hide();
        cancel_->hide();
        // A reading that failed or was cancelled leaves the span as it was.
        const auto& span = session_->span();
        if (!span)
            timeline_->setSpan(std::nullopt);
        else
            timeline_->setSpan(std::pair(span->from, std::min(span->to, session_->facts().volume.last())));
    });
    connect(session_, &CaptureSession::failed, this, [this](const QString& path, const QString& why) {
        message_->say(MessageBar::Kind::error, QStringLiteral("%1: %2").arg(path, why));
    });
    connect(session_, &CaptureSession::opened, this, [this] {
        const auto path = session_->facts().path;
        const auto title = live_->titleOf(path);
        setWindowTitle(QStringLiteral("%1 — Netrondo").arg(title.isEmpty() ? QFileInfo(path).fileName() : title));
        setWindowFilePath(title.isEmpty() ? path : QString());
        circle_->forgetPlaces();
        findings_->forget();
        selection_.clear();
        listFramesOf({});
        protocols_->setHidden({});
        timeline_->pause();
        timeline_->setMoment(std::nullopt);
        timeline_->setSpan(std::nullopt);
        filterBar_->clear();
        filterBar_->show();
        isJustOpened_ = true;
        showCapture(true);
        circle_->setFocus();
    });
    connect(session_, &CaptureSession::changed, this, &MainWindow::takeTable);
    connect(session_, &CaptureSession::closed, this, [this] {
        setWindowTitle(QStringLiteral("Netrondo"));
        setWindowFilePath({});
        message_->hide();
        selection_.clear();
        takeTable();
        filterBar_->hide();
        decode_->setStore(nullptr);
        showCapture(false);
    });
    connect(session_, &CaptureSession::followingChanged, this, [this] {
        if (!session_->isFollowing() && session_->isOpen())
            decode_->open(session_->facts().path);
        stopFollowing_->setEnabled(session_->isFollowing());
        timeline_->setBrushable(!session_->isFollowing());
    });
}

void MainWindow::showCapture(bool isThere)
{
    pages_->setCurrentIndex(isThere ? 1 : 0);
    // The welcome has the window to itself; with a capture the panels are as they were left.
    if (isThere && !panels_.isEmpty()) {
        restoreState(std::exchange(panels_, {}));
    } else if (!isThere && panels_.isEmpty()) {
        panels_ = saveState();
        for (auto* const dock : findChildren<QDockWidget*>())
            dock->hide();
        findChild<QToolBar*>(QStringLiteral("optionsBar"))->hide();
    }
}

void MainWindow::takeTable()
{
    const auto talks = session_->talks();
    for (auto* const action : needCapture_)
        action->setEnabled(talks != nullptr);
    sayWhatIsOdd();
    refreshPicture();
    if (!talks)
        shownText_->clear();
    // Together the panels would take longer than a frame: each is filled in a turn of its own, the first seen first.
    fillings_ = {[this] { timeline_->setVolume(session_->facts().volume, session_->facts().chosen); },
                 [this] { conversations_->setTable(session_->talks()); },
                 [this] { takeSelection(); },
                 [this] { hosts_->setTable(session_->talks()); },
                 [this] { protocols_->setTable(session_->talks()); },
                 [this] { findings_->show(session_->talks()); },
                 [this] { finishOpening(); }};
    // And the picture before them: on a machine with few processors it would wait for them.
    constexpr int patience = 250; // milliseconds; a picture that is long in coming does not hold them up
    if (talks)
        return fillTimer_.start(patience, this);
    while (!fillings_.empty()) // nothing is filled at once
        fillNextPanel();
}

void MainWindow::fillNextPanel()
{
    const auto fill = std::move(fillings_.front());
    fillings_.pop_front();
    if (fillings_.empty())
        fillTimer_.stop();
    else
        fillTimer_.start(0, this);
    fill();
}

void MainWindow::finishOpening()
{
    if (isJustOpened_ && (isArranging() || findings_->isBusy())) {
        // Reading would take the processors from the panels that are still to come.
        fillings_.push_back([this] { finishOpening(); });
        return fillTimer_.start(50, this);
    }
    if (!std::exchange(isJustOpened_, false) || !session_->talks())
        return;
    const auto& path = session_->facts().path;
    if (live_->titleOf(path).isEmpty()) {
        recent_.add(path);
        fillRecentMenu();
        const auto save = [recent = recent_, file = settings_.fileName()] { // disks can be slow
            QSettings settings(file, QSettings::IniFormat);
            recent.save(settings);
            settings.sync();
            return settings.status();
        };
        inBackground(this, save, [](QSettings::Status) {});
    }
    decode_->open(path, session_->isFollowing() ? FrameStore::Reading::growing : FrameStore::Reading::once);
}

void MainWindow::timerEvent(QTimerEvent* event)
{
    if (event->timerId() != fillTimer_.timerId())
        return QMainWindow::timerEvent(event);
    fillNextPanel();
}

void MainWindow::takeSelection()
{
    const auto& talks = session_->talks();
    details_->show(talks, selection_.selected(), thresholds(options_.strictness));
    back_->setEnabled(selection_.canGoBack());
    forward_->setEnabled(selection_.canGoForward());
    if (!talks)
        return;
    markInLists();
    listFramesOfSelection();
    if (selection_.focused() != shownFocus_)
        refreshPicture();
}

/// What is looked at alone, or chosen in the circle or in the list of conversations, is listed alone among the frames.
/// A choice made elsewhere, be it of a frame, leaves the list as it is: it would vanish under the hand.
void MainWindow::listFramesOfSelection()
{
    const auto onlyTalk = [](const Selected& what) {
        return what.kind == Selected::Kind::conversation ? what : Selected();
    };
    auto wanted = onlyTalk(selection_.focused());
    if (!wanted && (circle_->hasFocus() || conversationList_->hasFocus()))
        wanted = onlyTalk(selection_.selected());
    else if (!wanted && selection_.focused() == shownFocus_)
        return;
    listFramesOf(wanted);
}

void MainWindow::listFramesOf(const Selected& talk)
{
    if (talk == shownTalk_)
        return;
    shownTalk_ = talk;
    decode_->showConversation(asQt(talk.a), asQt(talk.b));
    if (frameWindow_)
        frameWindow_->view()->showConversation(asQt(talk.a), asQt(talk.b));
}

void MainWindow::markInLists()
{
    // The lists follow without selecting in their turn.
    const auto follow = [](QTableView* list, RankedModel* model, std::uint32_t item) {
        const QSignalBlocker quiet(list->selectionModel());
        const int row = item == RankedModel::none ? -1 : model->rowOf(item);
        if (row < 0) {
            list->clearSelection();
        } else if (list->currentIndex().row() != row || !list->selectionModel()->hasSelection()) {
            list->selectionModel()->setCurrentIndex(model->index(row, 0),
                                                    QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
            list->scrollTo(model->index(row, 0));
        }
        list->viewport()->update();
    };
    const auto& selected = selection_.selected();
    if (const auto* const talks = conversations_->table())
        follow(conversationList_, conversations_,
               selected.kind == Selected::Kind::conversation ? talks->findTalk(selected.a, selected.b)
                                                             : RankedModel::none);
    if (const auto* const talks = hosts_->table())
        follow(hostList_, hosts_,
               selected.kind == Selected::Kind::host ? talks->findHost(selected.a) : RankedModel::none);
}

PictureRequest MainWindow::request() const
{
    PictureRequest request;
    request.pairs = shown_->pairs;
    request.mode = options_.layout;
    request.style = {isDark() ? SceneTheme::dark : SceneTheme::light, options_.colorMode,
                     thresholds(options_.strictness)};
    request.useBytes = options_.useBytes;
    request.showLineThickness = options_.showLineThickness;
    request.showHostNames = options_.showHostNames;
    request.findings = findings_->findings();
    return request;
}

void MainWindow::refreshPicture()
{
    const auto talks = session_->talks();
    if (!talks) {
        *shown_ = {};
        gathered_ = ++pictureNumber_; // what is still being gathered is of no use any more
        return;
    }
    shownFocus_ = selection_.focused();
    const ShownPairsWish wish{talks,          protocols_->hidden(), selection_.focused(),
                              options_.limit, options_.useBytes,    circle_->angles().empty()};
    inBackground(
        this, [wish] { return std::make_shared<ShownPairs>(shownPairs(wish)); },
        [this, number = ++pictureNumber_](const std::shared_ptr<ShownPairs>& shown) {
            if (number != pictureNumber_)
                return; // something else has been wished for since
            gathered_ = number;
            *shown_ = *shown;
            circle_->seat(shown->angles);
            circle_->show(request());
            sayWhatIsShown();
        });
}

void MainWindow::sayWhatIsShown()
{
    const auto& talks = *session_->talks();
    const auto& facts = session_->facts();
    using units::counted;
    using units::grouped;
    QStringList parts;
    const auto analysed = talks.result()->totalPackets;
    parts << (analysed == facts.frames
                  ? asQt(counted(analysed, "frame", "frames"))
                  : tr("%1 of %2").arg(asQt(grouped(analysed)), asQt(counted(facts.frames, "frame", "frames"))));
    parts << asQt(counted(talks.hosts().size(), "host", "hosts"));
    auto drawn = asQt(counted(shown_->shown, "conversation", "conversations"));
    if (shown_->leftOut > 0)
        drawn += tr(" +%1 more").arg(asQt(grouped(shown_->leftOut)));
    if (shown_->hidden > 0)
        drawn += tr(", %1 hidden").arg(asQt(grouped(shown_->hidden)));
    if (shown_->unfocused > 0)
        drawn += tr(", %1 out of focus").arg(asQt(grouped(shown_->unfocused)));
    parts << drawn;
    if (session_->isFollowing())
        parts << tr("following");
    shownText_->setText(parts.join(QStringLiteral(" · ")));
    play_->setEnabled(talks.result()->durationSeconds > 0);

    const bool isNarrowed = session_->span() || session_->filter();
    circle_->setEmptyText(
        facts.frames == 0 ? session_->isFollowing() ? tr("No frame has come yet.") : tr("This capture holds no frames.")
            : analysed > 0 ? tr("Everything is hidden: tick a protocol in the list of protocols, or press Escape.")
            : isNarrowed   ? tr("No frame is left by the filter and the span of time.")
            : options_.mode == AnalysisMode::l3IP
            ? tr("None of the %1 went between two IP hosts. By MAC address there may be more to see.")
                  .arg(asQt(counted(facts.frames, "frame", "frames")))
            : tr("None of the %1 went between two MAC addresses.").arg(asQt(counted(facts.frames, "frame", "frames"))));
}

void MainWindow::sayWhatIsOdd()
{
    const auto& facts = session_->facts();
    if (!session_->talks() || session_->isFollowing())
        return;
    if (facts.isNanosecond || session_->talks()->result()->captureStartSeconds.value_or(0) > units::endOfCalendar)
        return message_->say(MessageBar::Kind::note,
                             tr("The timestamps in this file are in nanoseconds and are read as microseconds: start, "
                                "duration and rate are off."));
    QStringList unread;
    for (const auto& [type, frames] : facts.framesByLinkType)
        if (type == LinkType::unknown || type == LinkType::ieee80211 || type == LinkType::ieee80211Radio)
            unread << tr("%1 of link type %2")
                          .arg(asQt(units::counted(frames, "frame", "frames")), asQt(displayName(type)));
    if (!unread.isEmpty())
        message_->say(MessageBar::Kind::note, tr("Not analysed: %1.").arg(unread.join(QStringLiteral(", "))));
}

void MainWindow::open(const QString& path)
{
    live_->whenNothingIsLost([this, path] { session_->open(QFileInfo(path).absoluteFilePath()); });
}

void MainWindow::follow(const QString& path)
{
    live_->whenNothingIsLost([this, path] { session_->follow(QFileInfo(path).absoluteFilePath()); });
}

void MainWindow::offerAbandoned()
{
    live_->offerAbandoned();
}

void MainWindow::setOptions(const ViewOptions& options)
{
    options_ = options;
    options_.save(settings_);
    takeOptions();
}

void MainWindow::takeOptions()
{
    for (auto* const action : layouts_->actions())
        action->setChecked(action->data().toInt() == static_cast<int>(options_.layout));
    for (auto* const action : themes_->actions())
        action->setChecked(action->data().toInt() == static_cast<int>(options_.theme));
    const auto choose = [](QComboBox* box, int value) {
        const QSignalBlocker quiet(box);
        if (const int index = box->findData(value); index >= 0)
            box->setCurrentIndex(index);
    };
    choose(mode_, static_cast<int>(options_.mode));
    choose(volume_, options_.useBytes);
    choose(color_, static_cast<int>(options_.colorMode));
    color_->setEnabled(options_.layout == CircleHostLayoutMode::hosts); // links have the colour of their service
    if (limit_->findData(options_.limit) < 0)
        limit_->addItem(tr("Top %1").arg(options_.limit), options_.limit);
    choose(limit_, options_.limit);
    thickness_->setChecked(options_.showLineThickness);
    names_->setChecked(options_.showHostNames);
    tidy_->setEnabled(session_->talks() && options_.layout == CircleHostLayoutMode::hosts);
    conversations_->setNames(options_.showHostNames);
    conversations_->setBands(thresholds(options_.strictness));
    protocols_->setUseBytes(options_.useBytes);
    timeline_->setUseBytes(options_.useBytes);
    applyTheme();
    session_->setMode(options_.mode);
    takeSelection();
    refreshPicture();
}

void MainWindow::tidy()
{
    if (!session_->talks())
        return;
    // The time grows with more than the square of their number, and nobody reads such a ring.
    constexpr std::size_t mostHosts = 3000;
    if (const auto hosts = circle_->picture() ? circle_->picture()->nodes().size() : 0; hosts > mostHosts)
        return message_->say(MessageBar::Kind::note,
                             tr("%1 are too many to be tidied: draw fewer conversations first.")
                                 .arg(asQt(units::counted(hosts, "host", "hosts"))));
    const auto work = [pairs = shown_->pairs, useBytes = options_.useBytes] {
        return std::make_shared<AngleByAddress>(
            CircleLayout::rearrangeAngles(std::span(pairs.begin(), pairs.end()), useBytes));
    };
    inBackground(this, work, [this](const std::shared_ptr<AngleByAddress>& angles) { circle_->moveTo(*angles); });
}

bool MainWindow::isArranging() const
{
    return conversations_->isArranging() || hosts_->isArranging();
}

bool MainWindow::isDark() const
{
    return palette().color(QPalette::Base).lightness() < 128;
}

void MainWindow::applyTheme()
{
    static const QPalette desktop = QApplication::palette();
    QApplication::setPalette(options_.theme == ThemeChoice::desktop    ? desktop
                                 : options_.theme == ThemeChoice::dark ? darkPalette()
                                                                       : QPalette(QColor(0xef, 0xf0, 0xf2)));
}

void MainWindow::changeEvent(QEvent* event)
{
    if (event->type() == QEvent::PaletteChange && circle_) {
        showPlaying_();
        refreshPicture();
    }
    QMainWindow::changeEvent(event);
}

void MainWindow::dragEnterEvent(QDragEnterEvent* event)
{
    for (const auto& url : event->mimeData()->urls())
        if (url.isLocalFile())
            return event->acceptProposedAction();
}

void MainWindow::dropEvent(QDropEvent* event)
{
    for (const auto& url : event->mimeData()->urls())
        if (url.isLocalFile()) {
            event->acceptProposedAction();
            return open(url.toLocalFile());
        }
}

void MainWindow::restore()
{
    recent_.load(settings_);
    options_.load(settings_);
    fillRecentMenu();
    welcome_->setSample(samplePath());
    restoreGeometry(settings_.value(QStringLiteral("window/geometry")).toByteArray());
    restoreState(settings_.value(QStringLiteral("window/state")).toByteArray());
    takeOptions();
    showCapture(false);
    for (auto* const action : needCapture_)
        action->setEnabled(false);
}

void MainWindow::closeEvent(QCloseEvent* event)
{
    if (live_->wouldLoseFrames()) {
        event->ignore();
        return live_->whenNothingIsLost([this] { close(); });
    }
    settings_.setValue(QStringLiteral("window/geometry"), saveGeometry());
    settings_.setValue(QStringLiteral("window/state"), panels_.isEmpty() ? saveState() : panels_);
    options_.save(settings_);
    recent_.save(settings_);
    settings_.sync();
    QMainWindow::closeEvent(event);
}

} // namespace netrondo
