#include "Views/FindingsView.h"

#include "Base/Units.h"
#include "Models/CaptureFindings.h"
#include "Models/ExpertSettings.h"
#include "Models/Severities.h"
#include "Models/Text.h"
#include "Tasks/Background.h"
#include "Views/FindingText.h"

#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QComboBox>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QScrollBar>
#include <QSplitter>
#include <QStackedWidget>
#include <QTextBrowser>
#include <QToolButton>
#include <QTreeView>
#include <QUrl>
#include <QVBoxLayout>
#include <algorithm>

namespace netrondo {

FindingsView::FindingsView(const ExpertSettings& settings, Selection& selection, QWidget* parent)
    : QWidget(parent), settings_(settings), selection_(selection)
{
    setObjectName(QStringLiteral("FindingsView"));
    build();
    connect(&settings_, &ExpertSettings::mutesChanged, this, &FindingsView::arrange);
    connect(&selection_, &Selection::changed, this, &FindingsView::followSelection);
    showDetails();
    showEmptiness();
}

FindingsView::~FindingsView() = default;

void FindingsView::build()
{
    list_ = new QTreeView;
    list_->setObjectName(QStringLiteral("findingsList"));
    list_->setAccessibleName(tr("Findings"));
    list_->setAccessibleDescription(tr("What is wrong, what hurts most first. Enter shows the frames that prove it, F3 "
                                       "goes from one to the next, M mutes."));
    list_->setModel(&model_);
    list_->setUniformRowHeights(true);
    list_->setRootIsDecorated(false);
    list_->setAllColumnsShowFocus(true);
    list_->setAlternatingRowColors(true);
    list_->setContextMenuPolicy(Qt::CustomContextMenu);
    list_->setVerticalScrollMode(QAbstractItemView::ScrollPerItem);
    list_->installEventFilter(this);
    auto* const header = list_->header();
    header->setSectionsClickable(true);
    header->setSortIndicatorShown(true);
    header->setSortIndicator(FindingsModel::severity, Qt::DescendingOrder);
    header->setStretchLastSection(false);
    header->setSectionResizeMode(FindingsModel::title, QHeaderView::Stretch);
    header->setMinimumSectionSize(fontMetrics().averageCharWidth() * 5);
    const auto width = [this](const char* sample) {
        return fontMetrics().horizontalAdvance(QLatin1String(sample)) + fontMetrics().height();
    };
    header->resizeSection(FindingsModel::severity, width("Warning") + fontMetrics().height() + 4);
    header->resizeSection(FindingsModel::hosts, width("10.20.1.101"));
    header->resizeSection(FindingsModel::count, fontMetrics().horizontalAdvance(QStringLiteral("Count  ")));
    for (const auto column :
         {FindingsModel::first, FindingsModel::last, FindingsModel::layer, FindingsModel::confidence}) {
        header->resizeSection(column, width("Confidence"));
        header->hideSection(column); // the heading's menu brings them
    }
    header->setContextMenuPolicy(Qt::CustomContextMenu);
    connect(header, &QHeaderView::sectionClicked, this, &FindingsView::sortBy);
    connect(header, &QWidget::customContextMenuRequested, this, [this, header](const QPoint& point) {
        QMenu menu;
        for (int column = FindingsModel::hosts; column < FindingsModel::columns; ++column) {
            auto* const action = menu.addAction(model_.headerData(column, Qt::Horizontal, Qt::DisplayRole).toString());
            action->setCheckable(true);
            action->setChecked(!header->isSectionHidden(column));
            connect(action, &QAction::toggled, header,
                    [header, column](bool wanted) { header->setSectionHidden(column, !wanted); });
        }
        menu.exec(header->mapToGlobal(point));
    });
    connect(list_->selectionModel(), &QItemSelectionModel::currentChanged, this, &FindingsView::currentChanged);
    connect(list_, &QAbstractItemView::activated, this, &FindingsView::showEvidence);
    connect(list_, &QWidget::customContextMenuRequested, this, &FindingsView::showMenu);
    const auto note = [this](const QModelIndex& index, bool isClosed) {
        const auto group = model_.groupAt(index);
        if (!group || isTaking_)
            return;
        const auto title = asQt(findings()->table().groups[*group].title);
        isClosed ? static_cast<void>(closed_.insert(title)) : static_cast<void>(closed_.erase(title));
    };
    connect(list_, &QTreeView::collapsed, this, [note](const QModelIndex& index) { note(index, true); });
    connect(list_, &QTreeView::expanded, this, [note](const QModelIndex& index) { note(index, false); });

    empty_ = new QLabel;
    empty_->setObjectName(QStringLiteral("findingsEmpty"));
    empty_->setWordWrap(true);
    empty_->setAlignment(Qt::AlignCenter);
    empty_->setMargin(16);
    empty_->setTextFormat(Qt::PlainText);
    empty_->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    pages_ = new QStackedWidget;
    pages_->addWidget(list_);
    pages_->addWidget(empty_);

    auto* const parts = new QSplitter(Qt::Vertical);
    parts->setChildrenCollapsible(false);
    parts->addWidget(pages_);
    parts->addWidget(buildDetails());
    parts->setStretchFactor(0, 3);
    parts->setStretchFactor(1, 2);
    parts->setSizes({300, 240});

    account_ = new QLabel;
    account_->setObjectName(QStringLiteral("findingsAccount"));
    account_->setWordWrap(true);
    account_->setMargin(4);
    account_->setTextFormat(Qt::PlainText);
    account_->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    account_->setAccessibleName(tr("Account of the frames"));

    auto* const column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(2);
    column->addWidget(buildWishes());
    column->addWidget(parts, 1);
    column->addWidget(account_);
    setFocusProxy(list_);

    const auto key = [this](const QKeySequence& keys, auto act) {
        auto* const action = new QAction(this);
        action->setShortcut(keys);
        action->setShortcutContext(Qt::WidgetWithChildrenShortcut);
        connect(action, &QAction::triggered, this, act);
        addAction(action);
    };
    key(Qt::Key_F3, [this] { stepEvidence(1); });
    key(Qt::SHIFT | Qt::Key_F3, [this] { stepEvidence(-1); });
}

QWidget* FindingsView::buildWishes()
{
    filter_ = new QLineEdit;
    filter_->setObjectName(QStringLiteral("findingsFilter"));
    filter_->setPlaceholderText(tr("Type to narrow the list: words, hosts, ids"));
    filter_->setAccessibleName(tr("Narrow the findings"));
    filter_->setClearButtonEnabled(true);
    connect(filter_, &QLineEdit::textChanged, this, &FindingsView::arrange);

    const auto box = [this](const char* name, const QString& title) {
        auto* const choice = new QComboBox;
        choice->setObjectName(QLatin1String(name));
        choice->setToolTip(title);
        choice->setAccessibleName(title);
        choice->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
        choice->setMinimumContentsLength(6);
        choice->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
        connect(choice, &QComboBox::currentIndexChanged, this, &FindingsView::arrange);
        return choice;
    };
    severity_ = box("findingsSeverity", tr("How bad a finding has to be"));
    const QSignalBlocker quietSeverity(severity_);
    severity_->addItem(tr("All severities"), int(Severity::info));
    severity_->addItem(severityIcon(Severity::note), tr("Notes and worse"), int(Severity::note));
    severity_->addItem(severityIcon(Severity::warning), tr("Warnings and errors"), int(Severity::warning));
    severity_->addItem(severityIcon(Severity::error), tr("Errors alone"), int(Severity::error));
    layer_ = box("findingsLayer", tr("In which layer of the network"));
    const QSignalBlocker quietLayer(layer_);
    layer_->addItem(tr("All layers"), -1);
    for (const auto layer : {ExpertLayer::capture, ExpertLayer::physical, ExpertLayer::link, ExpertLayer::network,
                             ExpertLayer::transport, ExpertLayer::application})
        layer_->addItem(asQt(inWords(layer)), int(layer));
    groups_ = box("findingsGroups", tr("How the findings are grouped"));
    const QSignalBlocker quietGroups(groups_);
    groups_->addItem(tr("No groups"), int(FindingWish::Groups::none));
    groups_->addItem(tr("By severity"), int(FindingWish::Groups::severity));
    groups_->addItem(tr("By layer"), int(FindingWish::Groups::layer));
    groups_->addItem(tr("By host"), int(FindingWish::Groups::host));

    const auto toggle = [](const char* name, const QString& text, const QString& help) {
        auto* const button = new QToolButton;
        button->setObjectName(QLatin1String(name));
        button->setText(text);
        button->setToolTip(help);
        button->setCheckable(true);
        return button;
    };
    selectedOnly_ = toggle("findingsSelectedOnly", tr("Selected"),
                           tr("Only what concerns the host or conversation that is selected"));
    withMuted_ = toggle("findingsWithMuted", tr("Muted"), tr("Show what is muted as well"));
    connect(selectedOnly_, &QAbstractButton::toggled, this,
            [this](bool wanted) { narrowTo(wanted ? selection_.selected() : Selected()); });
    connect(withMuted_, &QAbstractButton::toggled, this, &FindingsView::arrange);
    auto* const settings = new QToolButton;
    settings->setObjectName(QStringLiteral("findingsSettings"));
    settings->setText(tr("Settings…"));
    settings->setToolTip(tr("Thresholds of the findings, and what is muted"));
    connect(settings, &QAbstractButton::clicked, this, &FindingsView::settingsWanted);

    auto* const wishes = new QWidget;
    auto* const column = new QVBoxLayout(wishes);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(2);
    auto* const upper = new QHBoxLayout;
    upper->setSpacing(2);
    upper->addWidget(filter_, 1);
    upper->addWidget(selectedOnly_);
    upper->addWidget(withMuted_);
    upper->addWidget(settings);
    auto* const lower = new QHBoxLayout;
    lower->setSpacing(2);
    lower->addWidget(severity_);
    lower->addWidget(layer_);
    lower->addWidget(groups_);
    column->addLayout(upper);
    column->addLayout(lower);
    return wishes;
}

QWidget* FindingsView::buildDetails()
{
    details_ = new QTextBrowser;
    details_->setObjectName(QStringLiteral("findingDetails"));
    details_->setAccessibleName(tr("The finding in full"));
    details_->setOpenLinks(false);
    details_->setTabChangesFocus(true);
    connect(details_, &QTextBrowser::anchorClicked, this, [this](const QUrl& url) {
        if (url.scheme() == QLatin1String("frame"))
            return emit frameWanted(url.path().toULongLong());
        selection_.select(FindingText::selected(url));
    });

    const auto button = [](const char* name, const QString& text, const QString& help) {
        auto* const made = new QToolButton;
        made->setObjectName(QLatin1String(name));
        made->setText(text);
        made->setToolTip(help);
        return made;
    };
    showEvidence_ = button("findingShowEvidence", tr("Show evidence"),
                           tr("The frames that prove it, and only those, in the packet list (Enter)"));
    connect(showEvidence_, &QAbstractButton::clicked, this, &FindingsView::showEvidence);
    previous_ = button("findingPreviousEvidence", QStringLiteral("◀"), tr("The frame of evidence before (Shift+F3)"));
    previous_->setAccessibleName(tr("Previous evidence"));
    connect(previous_, &QAbstractButton::clicked, this, [this] { stepEvidence(-1); });
    next_ = button("findingNextEvidence", QStringLiteral("▶"), tr("The next frame of evidence (F3)"));
    next_->setAccessibleName(tr("Next evidence"));
    connect(next_, &QAbstractButton::clicked, this, [this] { stepEvidence(1); });
    evidenceText_ = new QLabel;
    evidenceText_->setObjectName(QStringLiteral("findingEvidence"));
    mute_ = button("findingMute", tr("Mute…"), tr("Do not show this, or what is said of its hosts, again (M)"));
    connect(mute_, &QAbstractButton::clicked, this, &FindingsView::muteWanted);

    auto* const box = new QWidget;
    auto* const column = new QVBoxLayout(box);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(2);
    auto* const row = new QHBoxLayout;
    row->setSpacing(2);
    row->addWidget(showEvidence_);
    row->addWidget(previous_);
    row->addWidget(next_);
    row->addWidget(evidenceText_, 1);
    row->addWidget(mute_);
    column->addLayout(row);
    column->addWidget(details_, 1);
    return box;
}

FindingWish FindingsView::wish() const
{
    FindingWish wish;
    wish.least = static_cast<Severity>(severity_->currentData().toInt());
    if (const int layer = layer_->currentData().toInt(); layer >= 0)
        wish.layer = static_cast<ExpertLayer>(layer);
    if (narrowed_.kind == Selected::Kind::host || narrowed_.kind == Selected::Kind::conversation) {
        wish.host = Address::parse(narrowed_.a).value_or(Address());
        wish.peer = Address::parse(narrowed_.b).value_or(Address());
    }
    wish.text = filter_->text().toStdString();
    wish.withMuted = withMuted_->isChecked();
    wish.groups = static_cast<FindingWish::Groups>(groups_->currentData().toInt());
    switch (sortColumn_) {
    case FindingsModel::title: wish.order = FindingWish::Order::title; break;
    case FindingsModel::hosts: wish.order = FindingWish::Order::hosts; break;
    case FindingsModel::count: wish.order = FindingWish::Order::count; break;
    case FindingsModel::first: wish.order = FindingWish::Order::first; break;
    case FindingsModel::last: wish.order = FindingWish::Order::last; break;
    case FindingsModel::layer: wish.order = FindingWish::Order::layer; break;
    case FindingsModel::confidence: wish.order = FindingWish::Order::confidence; break;
    default: break;
    }
    wish.isReversed = isReversed_;
    return wish;
}

void FindingsView::show(std::shared_ptr<const TalkTable> talks)
{
    talks_ = std::move(talks);
    arrange();
}

void FindingsView::forget()
{
    closed_.clear();
    list_->setCurrentIndex({});
    model_.setFindings(nullptr);
    const QSignalBlocker quiet(selectedOnly_);
    selectedOnly_->setChecked(false);
    narrowed_ = {};
    filter_->clear();
}

void FindingsView::arrange()
{
    const auto number = ++arrangement_;
    if (!talks_) {
        arranged_ = number;
        take(nullptr);
        return;
    }
    inBackground(
        this,
        [talks = talks_, mutes = settings_.mutes().mutes(), wish = wish()] {
            return std::shared_ptr<const CaptureFindings>(std::make_shared<CaptureFindings>(talks, mutes, wish));
        },
        [this, number](const std::shared_ptr<const CaptureFindings>& findings) {
            if (number != arrangement_)
                return; // something else has been wished for since
            arranged_ = number;
            take(findings);
        });
}

void FindingsView::take(const std::shared_ptr<const CaptureFindings>& findings)
{
    // What is chosen stays chosen and what is on top stays on top, wherever it stands now.
    const auto before = model_.findings();
    const auto known = [&](const QModelIndex& index) -> std::optional<ExpertFinding> {
        const auto row = model_.findingAt(index);
        return row ? std::optional((*before)[*row]) : std::nullopt;
    };
    const auto chosen = known(list_->currentIndex());
    const auto top = known(list_->indexAt({0, 0}));
    const bool wasAtTop = list_->verticalScrollBar()->value() == 0;
    isTaking_ = true;
    const auto evidence = evidence_;
    model_.setFindings(findings);
    list_->setRootIsDecorated(model_.isGrouped());
    openGroups();
    bool isKept = false;
    if (chosen && findings)
        if (const auto index = model_.indexOf(*chosen); index.isValid()) {
            isKept = true;
            const QSignalBlocker quiet(list_->selectionModel());
            list_->selectionModel()->setCurrentIndex(index,
                                                     QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
        }
    if (wasAtTop) {
        list_->scrollToTop();
    } else if (top && findings) {
        if (const auto index = model_.indexOf(*top); index.isValid())
            list_->scrollTo(index, QAbstractItemView::PositionAtTop);
    }
    isTaking_ = false;
    evidence_ = isKept ? evidence : 0;
    list_->viewport()->update();
    showDetails();
    showEmptiness();
    showAccount();
    const bool areOther =
        !before || !findings || before->result() != findings->result() || before->mutes() != findings->mutes();
    if (areOther)
        emit findingsChanged();
}

void FindingsView::openGroups()
{
    if (!model_.isGrouped())
        return;
    for (int row = 0; row < model_.rowCount(); ++row) {
        const auto index = model_.index(row, 0);
        list_->setFirstColumnSpanned(row, {}, true);
        list_->setExpanded(index,
                           !closed_.contains(asQt(findings()->table().groups[static_cast<std::size_t>(row)].title)));
    }
}

void FindingsView::sortBy(int column)
{
    isReversed_ = column == sortColumn_ ? !isReversed_ : false;
    sortColumn_ = column;
    list_->header()->setSortIndicator(column, isReversed_ ? Qt::AscendingOrder : Qt::DescendingOrder);
    arrange();
}

void FindingsView::followSelection()
{
    if (selectedOnly_->isChecked() && !isChoosing_ && selection_.selected() && selection_.selected() != narrowed_)
        narrowTo(selection_.selected());
}

void FindingsView::narrowTo(const Selected& what)
{
    narrowed_ = what;
    const QSignalBlocker quiet(selectedOnly_);
    selectedOnly_->setChecked(static_cast<bool>(what));
    arrange();
}

const ExpertFinding* FindingsView::current() const
{
    const auto row = model_.findingAt(list_->currentIndex());
    return row ? &(*findings())[*row] : nullptr;
}

void FindingsView::choose(const Selected& what)
{
    if (!findings())
        return;
    for (const auto row : findings()->about(what))
        if (const auto index = model_.indexOf((*findings())[row]); index.isValid()) {
            list_->setCurrentIndex(index);
            return;
        }
}

void FindingsView::currentChanged()
{
    if (isTaking_)
        return;
    evidence_ = 0;
    showDetails();
    const auto* const finding = current();
    if (!finding)
        return;
    if (const auto what = findings()->subjectOf(*finding)) {
        isChoosing_ = true;
        selection_.select(what);
        isChoosing_ = false;
    }
    if (!finding->evidence.empty())
        emit frameWanted(finding->evidence.front());
}

void FindingsView::showEvidence()
{
    const auto* const finding = current();
    if (!finding || finding->evidence.empty())
        return;
    emit evidenceWanted(asQt(ExpertText::filter(*finding)), asQt(ExpertText::title(*finding)),
                        finding->evidence[std::min(evidence_, finding->evidence.size() - 1)]);
}

void FindingsView::stepEvidence(int step)
{
    const auto* const finding = current();
    if (!finding || finding->evidence.empty())
        return;
    const auto count = finding->evidence.size();
    evidence_ = (evidence_ + (step > 0 ? 1 : count - 1)) % count;
    showDetails();
    emit evidenceWanted(asQt(ExpertText::filter(*finding)), asQt(ExpertText::title(*finding)),
                        finding->evidence[evidence_]);
}

void FindingsView::showDetails()
{
    const auto* const finding = current();
    const bool hasEvidence = finding && !finding->evidence.empty();
    for (auto* const button : {showEvidence_, previous_, next_})
        button->setEnabled(hasEvidence);
    mute_->setEnabled(finding != nullptr);
    if (!finding) {
        evidenceText_->clear();
        details_->setHtml(findings() ? FindingText::overview(*findings()) : QString());
        return;
    }
    evidenceText_->setText(hasEvidence ? tr("%1 of %2: frame %3")
                                             .arg(evidence_ + 1)
                                             .arg(finding->evidence.size())
                                             .arg(finding->evidence[evidence_])
                                       : tr("no frame"));
    const int scrolled = details_->verticalScrollBar()->value();
    const auto html = FindingText::full(*findings(), *model_.findingAt(list_->currentIndex()));
    if (details_->property("html") != html) {
        details_->setProperty("html", html);
        details_->setHtml(html);
        details_->verticalScrollBar()->setValue(isTaking_ ? scrolled : 0);
    }
}

void FindingsView::showEmptiness()
{
    const bool isEmpty = model_.rowCount() == 0;
    pages_->setCurrentIndex(isEmpty ? 1 : 0);
    setFocusProxy(isEmpty ? static_cast<QWidget*>(filter_) : list_);
    if (!isEmpty)
        return;
    empty_->setText(!findings() ? tr("Open a capture to read what is wrong in it.")
                                : FindingText::nothing(*findings()));
}

void FindingsView::showAccount()
{
    account_->setVisible(findings() != nullptr);
    withMuted_->setText(tr("Muted"));
    if (!findings())
        return;
    const auto& table = findings()->table();
    if (table.muted > 0)
        withMuted_->setText(tr("Muted: %1").arg(asQt(units::grouped(table.muted))));
    constexpr qsizetype most = 4; // of hundreds, in a capture that was made to be hostile
    auto lines = FindingText::caveats(findings()->summary());
    account_->setToolTip(lines.join(QLatin1Char('\n')));
    if (const auto more = lines.size() - most; more > 0) {
        lines.resize(most);
        lines << tr("and %1 more, with no finding chosen").arg(more);
    }
    lines.prepend(FindingText::account(findings()->summary()));
    account_->setText(lines.join(QLatin1Char('\n')));
}

void FindingsView::showMenu(const QPoint& point)
{
    const auto* const finding = current();
    if (!finding || !model_.findingAt(list_->indexAt(point)))
        return;
    QMenu menu;
    menu.addAction(tr("Show evidence"), this, &FindingsView::showEvidence);
    menu.addAction(tr("Next evidence"), this, [this] { stepEvidence(1); });
    if (const auto what = findings()->subjectOf(*finding)) {
        menu.addAction(tr("See it alone"), this, [this, what] { selection_.focus(what); });
        menu.addAction(tr("Only findings about this"), this, [this, what] { narrowTo(what); });
    }
    menu.addSeparator();
    menu.addAction(tr("Copy as text"), this, [this] { QApplication::clipboard()->setText(details_->toPlainText()); });
    menu.addAction(tr("Copy its filter"), this,
                   [finding] { QApplication::clipboard()->setText(asQt(ExpertText::filter(*finding))); });
    menu.addSeparator();
    menu.addAction(tr("Mute…"), this, &FindingsView::muteWanted);
    menu.exec(list_->viewport()->mapToGlobal(point));
}

bool FindingsView::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == list_ && event->type() == QEvent::KeyPress) {
        const auto* const press = static_cast<QKeyEvent*>(event);
        if (press->key() == Qt::Key_M && press->modifiers() == Qt::NoModifier) {
            if (current())
                emit muteWanted();
            return true;
        }
        if (press->matches(QKeySequence::Copy)) {
            QApplication::clipboard()->setText(details_->toPlainText());
            return true;
        }
        if (press->key() == Qt::Key_Menu && current()) {
            showMenu(list_->visualRect(list_->currentIndex()).center());
            return true;
        }
    }
    return QWidget::eventFilter(watched, event);
}

void FindingsView::changeEvent(QEvent* event)
{
    if (event->type() == QEvent::PaletteChange && details_)
        showDetails(); // its colours are written into the text
    QWidget::changeEvent(event);
}

} // namespace netrondo
