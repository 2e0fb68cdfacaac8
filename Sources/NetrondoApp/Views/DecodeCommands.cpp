// The decode view's commands: going, finding, marking, copying, and the menus they stand in. The shortcuts are those
// that users of packet analysers have in their fingers.
#include "Base/Json.h"
#include "Dissection/Decode/FrameText.h"
#include "Dissection/Decode/Render.h"
#include "Views/ColorRulesDialog.h"
#include "Views/DecodeBytesView.h"
#include "Views/DecodeView.h"
#include "Views/FrameFindBar.h"
#include "Views/FrameListView.h"

#include <QAction>
#include <QActionGroup>
#include <QClipboard>
#include <QGuiApplication>
#include <QHeaderView>
#include <QInputDialog>
#include <QKeyEvent>
#include <QMenu>
#include <QTreeView>
#include <algorithm>

namespace netrondo {
namespace {
constexpr int maxCopiedRows = 100'000;

QString toQString(std::string_view text)
{
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

template <typename Write> QString written(Write write)
{
    TextSink out;
    write(out);
    return toQString(out.text());
}
} // namespace

QAction* DecodeView::command(const QString& name, const QString& text, const QList<QKeySequence>& keys,
                             const std::function<void()>& act)
{
    auto* action = new QAction(text, this);
    action->setObjectName(name);
    action->setShortcuts(keys);
    action->setShortcutContext(Qt::WidgetWithChildrenShortcut); // several views may stand in one window
    connect(action, &QAction::triggered, this, act);
    addAction(action);
    commands_.insert(name, action);
    return action;
}

void DecodeView::makeActions()
{
    using Direction = FrameFindTask::Direction;
    const auto key = [](auto... parts) { return QKeySequence((... | parts)); };
    const auto named = [](const char* name) { return QString::fromLatin1(name); };
    const auto rows = [this] { return frames_.rowCount(); };

    command(named("copy"), tr("&Copy"), {QKeySequence::Copy}, [this] { copyRows(); });
    command(named("copyJson"), tr("Copy Frame as &JSON"), {}, [this] { copyJson(); });
    command(named("find"), tr("&Find…"), {QKeySequence::Find}, [this] { findBar_->begin(); });
    command(named("findNext"), tr("Find &Next"), {key(Qt::CTRL, Qt::Key_N), key(Qt::Key_F3)},
            [this] { findNext(Direction::forwards); });
    command(named("findPrevious"), tr("Find &Previous"), {key(Qt::CTRL, Qt::Key_B), key(Qt::SHIFT, Qt::Key_F3)},
            [this] { findNext(Direction::backwards); });
    command(named("mark"), tr("&Mark"), {key(Qt::CTRL, Qt::Key_M)}, [this] { markChosen(); });
    command(named("markAll"), tr("Mark All &Shown"), {key(Qt::CTRL, Qt::SHIFT, Qt::Key_M)},
            [this] { frames_.markAllShown(); });
    command(named("unmarkAll"), tr("&Unmark All"), {key(Qt::CTRL, Qt::ALT, Qt::Key_M)},
            [this] { frames_.clearMarks(); });

    command(named("goTo"), tr("&Go to Frame…"), {key(Qt::CTRL, Qt::Key_G)}, [this] { askForFrame(); });
    command(named("first"), tr("&First Frame"), {key(Qt::CTRL, Qt::Key_Home)}, [this, rows] {
        if (rows() > 0)
            list_->choose(0);
    });
    command(named("last"), tr("&Last Frame"), {key(Qt::CTRL, Qt::Key_End)}, [this, rows] {
        if (rows() > 0)
            list_->choose(rows() - 1);
    });
    command(named("next"), tr("&Next Frame"), {key(Qt::CTRL, Qt::Key_Down), key(Qt::Key_F8)}, [this] { step(1); });
    command(named("previous"), tr("&Previous Frame"), {key(Qt::CTRL, Qt::Key_Up), key(Qt::Key_F7)},
            [this] { step(-1); });
    command(named("nextInConversation"), tr("Next Frame of the &Conversation"), {key(Qt::CTRL, Qt::Key_Period)},
            [this] { findConversation(Direction::forwards); });
    command(named("previousInConversation"), tr("Previous Frame of the Con&versation"), {key(Qt::CTRL, Qt::Key_Comma)},
            [this] { findConversation(Direction::backwards); });
    command(named("nextMark"), tr("Next &Mark"), {key(Qt::CTRL, Qt::SHIFT, Qt::Key_N)}, [this] { goToMark(1); });
    command(named("previousMark"), tr("Previous Mar&k"), {key(Qt::CTRL, Qt::SHIFT, Qt::Key_B)},
            [this] { goToMark(-1); });
    command(named("back"), tr("&Back"), {key(Qt::ALT, Qt::Key_Left)}, [this] { travel(-1); });
    command(named("forward"), tr("F&orward"), {key(Qt::ALT, Qt::Key_Right)}, [this] { travel(1); });

    command(named("zoomIn"), tr("Larger &Text"), {QKeySequence::ZoomIn}, [this] { zoom(1); });
    command(named("zoomOut"), tr("S&maller Text"), {QKeySequence::ZoomOut}, [this] { zoom(-1); });
    command(named("zoomNormal"), tr("&Normal Text"), {key(Qt::CTRL, Qt::Key_Equal)}, [this] { zoom(-fontSteps_); });
    auto* names = command(named("names"), tr("Host N&ames from the Capture"), {}, {});
    names->setCheckable(true);
    connect(names, &QAction::toggled, this, [this](bool isOn) { frames_.setShowsNames(isOn); });
    command(named("colorRules"), tr("Colour &Rules…"), {}, [this] { editColorRules(); });
    auto* times = new QActionGroup(this);
    const std::pair<const char*, QString> formats[] = {{"sinceFirst", tr("Seconds since the &First Frame")},
                                                       {"sincePrevious", tr("Seconds since the &Previous Frame Shown")},
                                                       {"timeOfDay", tr("&Time of Day")},
                                                       {"dateAndTime", tr("&Date and Time of Day")}};
    for (int format = 0; format < 4; ++format) {
        auto* action = command(named(formats[format].first), formats[format].second, {}, [this, format] {
            frames_.setTimeFormat(static_cast<FrameListModel::TimeFormat>(format));
        });
        action->setCheckable(true);
        times->addAction(action);
    }
}

/// An empty name stands for a line between the commands.
void DecodeView::fill(QMenu& menu, std::initializer_list<const char*> names) const
{
    for (const auto* name : names) {
        if (*name)
            menu.addAction(commands_[QString::fromLatin1(name)]);
        else
            menu.addSeparator();
    }
}

void DecodeView::fillEditMenu(QMenu& menu) const
{
    fill(menu, {"copy", "copyJson", "", "find", "findNext", "findPrevious", "", "mark", "markAll", "unmarkAll"});
}

void DecodeView::fillGoMenu(QMenu& menu) const
{
    fill(menu,
         {"goTo", "first", "last", "", "next", "previous", "", "nextInConversation", "previousInConversation", "",
          "nextMark", "previousMark", "", "back", "forward"});
}

void DecodeView::fillViewMenu(QMenu& menu)
{
    auto* times = menu.addMenu(tr("&Time"));
    fill(*times, {"sinceFirst", "sincePrevious", "timeOfDay", "dateAndTime"});
    connect(times, &QMenu::aboutToShow, this, [this] {
        const char* const shown[] = {"sinceFirst", "sincePrevious", "timeOfDay", "dateAndTime"};
        commands_[QString::fromLatin1(shown[static_cast<int>(frames_.timeFormat())])]->setChecked(true);
    });
    auto* columns = menu.addMenu(tr("&Columns"));
    connect(columns, &QMenu::aboutToShow, this, [this, columns] { fillColumnsMenu(*columns); });
    commands_[QStringLiteral("names")]->setChecked(frames_.showsNames());
    fill(menu, {"names", "colorRules", "", "zoomIn", "zoomOut", "zoomNormal"});
}

void DecodeView::editColorRules()
{
    auto* dialog = new ColorRulesDialog(frames_.colorRules(), this);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    connect(dialog, &QDialog::accepted, this, [this, dialog] {
        const FrameColorRules rules(dialog->rules());
        rules.save();
        frames_.setColorRules(rules);
    });
    dialog->open();
}

void DecodeView::step(int by)
{
    const auto current = list_->currentIndex();
    const int row = current.isValid() ? current.row() + by : 0;
    if (row >= 0 && row < frames_.rowCount())
        list_->choose(row);
}

/// Through the frames that were looked into; those that a filter hides are passed over.
void DecodeView::travel(int steps)
{
    for (auto place = visit_ + steps; place >= 0 && place < visited_.size(); place += steps) {
        if (const auto row = frames_.rowOf(visited_[place])) {
            visit_ = place;
            list_->choose(*row);
            return;
        }
    }
}

void DecodeView::goToMark(int by)
{
    const auto current = list_->currentIndex();
    if (const auto row = frames_.nextMarked(current.isValid() ? current.row() : -1, by))
        list_->choose(*row);
}

void DecodeView::askForFrame()
{
    bool isGiven = false;
    const int most = static_cast<int>(std::min<std::uint32_t>(store_ ? store_->count() : 0, 0x7fffffff));
    const int number =
        QInputDialog::getInt(this, tr("Go to frame"), tr("Number:"),
                             static_cast<int>(std::max<quint64>(1, frameNumber())), 1, std::max(1, most), 1, &isGiven);
    if (isGiven)
        goToFrame(static_cast<quint64>(number));
}

void DecodeView::markChosen()
{
    const auto rows = list_->chosenRows();
    const bool areAll = std::ranges::all_of(rows, [this](int row) { return frames_.isMarked(frames_.frameAt(row)); });
    frames_.setMarked(rows, !areAll);
}

void DecodeView::zoom(int steps)
{
    fontSteps_ = std::clamp(fontSteps_ + steps, -5, 20);
    const std::initializer_list<QWidget*> panes = {list_, list_->header(), tree_, bytes_};
    for (auto* pane : panes) {
        if (!pane->property("ownPointSize").isValid())
            pane->setProperty("ownPointSize", pane->font().pointSizeF());
        auto font = pane->font();
        font.setPointSizeF(std::max(4.0, pane->property("ownPointSize").toDouble() + fontSteps_));
        pane->setFont(font);
    }
}

void DecodeView::find(const FrameSearch& search, FrameFindTask::Direction direction, bool isAmongShown)
{
    if (!store_ || !store_->index())
        return;
    const auto current = list_->currentIndex();
    FrameFindTask::Among among{store_->index(), store_->orderedDecoderSource(), nullptr, store_->count()};
    std::int64_t from = shown_ ? std::int64_t{*shown_} : -1;
    if (isAmongShown) {
        among.matches = frames_.matches();
        among.rows = static_cast<std::uint32_t>(frames_.rowCount());
        from = current.isValid() ? current.row() : -1;
    }
    findTask_ = std::make_unique<FrameFindTask>(std::move(among), search, from, direction);
    findBar_->say(tr("Looking…"));
    connect(findTask_.get(), &FrameFindTask::found, this, [this](quint32 row, bool wrapped) {
        list_->choose(static_cast<int>(row));
        if (const int line = list_->lineOf(static_cast<int>(row)); line <= 0 || line >= list_->rowsPerScreen() - 1)
            list_->scrollTo(list_->currentIndex(), QAbstractItemView::PositionAtCenter);
        findBar_->say(wrapped ? tr("Went on at the other end") : QString());
    });
    connect(findTask_.get(), &FrameFindTask::notFound, this, [this] { findBar_->say(tr("No frame fits")); });
    connect(findTask_.get(), &FrameFindTask::failed, this,
            [this](const QString& sentence) { findBar_->say(sentence); });
}

void DecodeView::findNext(FrameFindTask::Direction direction)
{
    const auto search = findBar_->search();
    if (search)
        return find(*search, direction, true);
    if (!findBar_->isVisible())
        findBar_->begin();
    findBar_->say(search.error());
}

void DecodeView::findConversation(FrameFindTask::Direction direction)
{
    if (nodes_.frame())
        find(FrameSearch::forConversation(nodes_.frame()->decoded.summary), direction, true);
}

void DecodeView::addFilterMenus(QMenu& menu, const QString& filter)
{
    using Joint = FilterFrom::Joint;
    const std::pair<QString, Joint> joints[] = {
        {tr("&Selected"), Joint::replace},          {tr("&Not Selected"), Joint::replaceByNot},
        {tr("… &and Selected"), Joint::and_},       {tr("… &or Selected"), Joint::or_},
        {tr("… and not S&elected"), Joint::andNot}, {tr("… or not Se&lected"), Joint::orNot},
    };
    const std::pair<QString, FilterBar::Use> uses[] = {{tr("&Apply as Filter"), FilterBar::Use::apply},
                                                       {tr("&Prepare as Filter"), FilterBar::Use::prepare}};
    for (const auto& [title, use] : uses) {
        auto* sub = menu.addMenu(title);
        sub->setEnabled(!filter.isEmpty());
        auto shown = filter;
        sub->addSection(shown.replace(QLatin1Char('&'), QStringLiteral("&&")));
        for (const auto& [label, joint] : joints)
            connect(sub->addAction(label), &QAction::triggered, this,
                    [this, filter, how = joint, what = use] { emit filterRequested(filter, how, what); });
    }
}

void DecodeView::showListMenu(const QPoint& point)
{
    const auto cell = list_->indexAt(point);
    if (!cell.isValid())
        return;
    QMenu menu(this);
    addFilterMenus(menu, frames_.filterOf(cell.row(), static_cast<FrameListModel::Column>(cell.column())));
    if (const auto* row = frames_.row(cell.row()); row && row->isReadable) {
        const auto filter = QString::fromStdString(FilterFrom::conversation(row->summary));
        connect(menu.addAction(tr("Filter This &Conversation")), &QAction::triggered, this,
                [this, filter] { emit filterRequested(filter, FilterFrom::Joint::replace, FilterBar::Use::apply); });
    }
    menu.addSeparator();
    fill(menu, {"mark", "nextInConversation", "previousInConversation"});
    menu.addSeparator();
    connect(menu.addAction(tr("Copy C&ell")), &QAction::triggered, this,
            [this, text = cell.data().toString()] { copy(text); });
    fill(menu, {"copy", "copyJson"});
    menu.exec(list_->viewport()->mapToGlobal(point));
}

void DecodeView::showTreeMenu(const QPoint& point)
{
    const auto node = tree_->indexAt(point);
    if (!node.isValid())
        return;
    QMenu menu(this);
    const auto filter = nodes_.filterOf(node);
    addFilterMenus(menu, filter);
    menu.addSeparator();
    const auto& decoded = nodes_.frame()->decoded;
    const auto number = DecodeTreeModel::nodeAt(node);
    connect(menu.addAction(tr("Copy &Row")), &QAction::triggered, this,
            [this, text = node.data().toString()] { copy(text); });
    connect(menu.addAction(tr("Copy Row and Those &below")), &QAction::triggered, this, [this, &decoded, number] {
        copy(written([&](TextSink& out) { FrameText::subtree(decoded, number, out); }));
    });
    connect(menu.addAction(tr("Copy &Value")), &QAction::triggered, this, [this, &decoded, number] {
        copy(written([&](TextSink& out) { Render::value(decoded.tree, decoded.tree[number], out); }));
    });
    auto* copyFilter = menu.addAction(tr("Copy as &Filter"));
    copyFilter->setEnabled(!filter.isEmpty());
    connect(copyFilter, &QAction::triggered, this, [this, filter] { copy(filter); });
    menu.addAction(commands_[QStringLiteral("copyJson")]);
    menu.addSeparator();
    connect(menu.addAction(tr("&Open All")), &QAction::triggered, tree_, &QTreeView::expandAll);
    connect(menu.addAction(tr("&Close All")), &QAction::triggered, tree_, &QTreeView::collapseAll);
    menu.exec(tree_->viewport()->mapToGlobal(point));
}

/// What is lit, or everything when nothing is.
Bytes DecodeView::chosenBytes() const
{
    if (!nodes_.frame())
        return {};
    const auto& detail = *nodes_.frame();
    const auto all = bytes_->property("derived").toBool() ? detail.decoded.tree.ownBytes() : detail.capture.data;
    const auto lit = bytes_->lit();
    return lit.length > 0 ? slice(all, lit.offset, lit.length) : all;
}

void DecodeView::showBytesMenu(const QPoint& point)
{
    if (!nodes_.frame())
        return;
    QMenu menu(this);
    const auto number = nodes_.frame()->decoded.summary.number;
    const std::pair<QString, std::function<void(Bytes, TextSink&)>> forms[] = {
        {tr("Copy as &Hexadecimal Digits"), FrameText::hex},
        {tr("Copy as Hex &Dump"), FrameText::hexDump},
        {tr("Copy as &C Array"),
         [number](Bytes bytes, TextSink& out) { FrameText::cArray(bytes, "frame_" + std::to_string(number), out); }},
        {tr("Copy as &Text"),
         [](Bytes bytes, TextSink& out) {
             for (const auto byte : bytes)
                 out.put(FrameText::character(byte));
         }},
    };
    for (const auto& [label, write] : forms)
        connect(menu.addAction(label), &QAction::triggered, this,
                [this, form = write] { copy(written([&](TextSink& out) { form(chosenBytes(), out); })); });
    if (const auto node = tree_->currentIndex(); node.isValid()) {
        menu.addSeparator();
        addFilterMenus(menu, nodes_.filterOf(node));
    }
    menu.exec(bytes_->viewport()->mapToGlobal(point));
}

void DecodeView::fillColumnsMenu(QMenu& menu)
{
    menu.clear();
    auto* header = list_->header();
    for (int visual = 0; visual < header->count(); ++visual) {
        const int column = header->logicalIndex(visual);
        auto* action = menu.addAction(frames_.headerData(column, Qt::Horizontal, Qt::DisplayRole).toString());
        action->setCheckable(true);
        action->setChecked(!header->isSectionHidden(column));
        action->setEnabled(column != FrameListModel::info); // it takes the room that the others leave
        connect(action, &QAction::toggled, this, [this, column](bool isShown) {
            list_->header()->setSectionHidden(column, !isShown);
            list_->viewport()->update();
        });
    }
}

void DecodeView::showHeaderMenu(const QPoint& point)
{
    QMenu menu(this);
    fillColumnsMenu(menu);
    menu.addSeparator();
    fillViewMenu(*menu.addMenu(tr("&View")));
    menu.exec(list_->header()->mapToGlobal(point));
}

void DecodeView::copy(const QString& text) const
{
    QGuiApplication::clipboard()->setText(text);
}

/// The chosen rows, cells apart by tabs, for a spreadsheet as well as for a mail. In the tree the chosen row.
void DecodeView::copyRows() const
{
    if (tree_->hasFocus())
        return copy(tree_->currentIndex().data().toString());
    if (bytes_->hasFocus())
        return copy(written([&](TextSink& out) { FrameText::hex(chosenBytes(), out); }));
    const auto* header = list_->header();
    QString text;
    auto rows = list_->chosenRows();
    rows.resize(std::min<qsizetype>(rows.size(), maxCopiedRows));
    for (const int row : rows) {
        QStringList cells;
        for (int visual = 0; visual < header->count(); ++visual) {
            const int column = header->logicalIndex(visual);
            if (!header->isSectionHidden(column))
                cells.append(frames_.text(row, static_cast<FrameListModel::Column>(column)));
        }
        text += cells.join(QLatin1Char('\t')) + QLatin1Char('\n');
    }
    copy(text);
}

void DecodeView::copyJson() const
{
    if (!nodes_.frame())
        return;
    TextSink text;
    Render::json(nodes_.frame()->decoded, text);
    copy(QString::fromUtf8(text.text().data(), static_cast<qsizetype>(text.size())));
}

/// The tree's keys beyond those that Qt's tree has: Shift+Right opens what lies below, Ctrl+Right and Ctrl+Left all,
/// Backspace goes up, Enter opens or closes.
bool DecodeView::eventFilter(QObject* watched, QEvent* event)
{
    if (watched != tree_ || event->type() != QEvent::KeyPress)
        return QWidget::eventFilter(watched, event);
    const auto* pressed = static_cast<const QKeyEvent*>(event);
    const auto node = tree_->currentIndex();
    const auto isWith = [&](Qt::KeyboardModifier modifier) { return pressed->modifiers().testFlag(modifier); };
    switch (pressed->key()) {
    case Qt::Key_Right:
        if (isWith(Qt::ControlModifier))
            tree_->expandAll();
        else if (isWith(Qt::ShiftModifier))
            tree_->expandRecursively(node);
        else
            return false;
        return true;
    case Qt::Key_Left:
        if (!isWith(Qt::ControlModifier))
            return false;
        tree_->collapseAll();
        return true;
    case Qt::Key_Backspace:
        if (node.parent().isValid())
            tree_->setCurrentIndex(node.parent());
        return true;
    case Qt::Key_Return:
    case Qt::Key_Enter: tree_->setExpanded(node, !tree_->isExpanded(node)); return true;
    default: return false;
    }
}

} // namespace netrondo
