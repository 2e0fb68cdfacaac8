// The decode view's commands: going, finding, marking, copying, and the menus they stand in. The shortcuts are those
// that users of packet analysers have in their fingers.
#include "Base/Json.h"
#include "Dissection/Decode/FrameText.h"
#include "Dissection/Decode/Render.h"
#include "Tasks/Background.h"
#include "Views/ColorRulesDialog.h"
#include "Views/DecodeBytesView.h"
#include "Views/DecodeView.h"
#include "Views/FollowDialog.h"
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

    command(named("copy"), tr("&Copy"), {QKeySequence::Copy}, [this] { copyChosen(); });
    command(named("copyTree"), tr("&Text of the whole tree"), {}, [this] { copyTree(); });
    command(named("copyJson"), tr("&JSON of the frame"), {}, [this] { copyJson(); });
    command(named("copyFilter"), tr("&Filter for what is chosen"), {}, [this] { copyFilter(); });
    command(named("copyHex"), tr("&Hexadecimal digits"), {}, [this] { copyBytes(FrameText::hex); });
    command(named("copyDump"), tr("Hex &dump"), {}, [this] { copyBytes(FrameText::hexDump); });
    command(named("copyC"), tr("C arra&y"), {}, [this] {
        const auto name = "frame_" + std::to_string(frameNumber());
        copyBytes([&](Bytes bytes, TextSink& out) { FrameText::cArray(bytes, name, out); });
    });
    command(named("copyCharacters"), tr("Printable ch&aracters"), {}, [this] {
        copyBytes([](Bytes bytes, TextSink& out) {
            for (const auto byte : bytes)
                out.put(FrameText::character(byte));
        });
    });
    command(named("find"), tr("&Find…"), {QKeySequence::Find}, [this] { findBar_->begin(); });
    command(named("findNext"), tr("Find &next"), {key(Qt::CTRL, Qt::Key_N), key(Qt::Key_F3)},
            [this] { findNext(Direction::forwards); });
    command(named("findPrevious"), tr("Find &previous"), {key(Qt::CTRL, Qt::Key_B), key(Qt::SHIFT, Qt::Key_F3)},
            [this] { findNext(Direction::backwards); });

    makeNoteActions();
    command(named("export"), tr("E&xport what is decoded…"), {key(Qt::CTRL, Qt::Key_H)}, [this] { askForExport(); });
    command(named("goTo"), tr("&Go to frame…"), {key(Qt::CTRL, Qt::Key_G)}, [this] { askForFrame(); });
    command(named("first"), tr("&First frame"), {key(Qt::CTRL, Qt::Key_Home)}, [this, rows] {
        if (rows() > 0)
            list_->choose(0);
    });
    command(named("last"), tr("&Last frame"), {key(Qt::CTRL, Qt::Key_End)}, [this, rows] {
        if (rows() > 0)
            list_->choose(rows() - 1);
    });
    command(named("next"), tr("&Next frame"), {key(Qt::CTRL, Qt::Key_Down), key(Qt::Key_F8)}, [this] { step(1); });
    command(named("previous"), tr("&Previous frame"), {key(Qt::CTRL, Qt::Key_Up), key(Qt::Key_F7)},
            [this] { step(-1); });
    command(named("nextInConversation"), tr("Next frame of the &conversation"), {key(Qt::CTRL, Qt::Key_Period)},
            [this] { findConversation(Direction::forwards); });
    command(named("previousInConversation"), tr("Previous frame of the con&versation"), {key(Qt::CTRL, Qt::Key_Comma)},
            [this] { findConversation(Direction::backwards); });
    command(named("follow"), tr("&What the conversation said…"),
            {key(Qt::CTRL, Qt::ALT, Qt::SHIFT, Qt::Key_T), key(Qt::CTRL, Qt::ALT, Qt::SHIFT, Qt::Key_U)},
            [this] { followConversation(); });
    command(named("back"), tr("&Back"), {key(Qt::ALT, Qt::Key_Left)}, [this] { travel(-1); });
    command(named("forward"), tr("F&orward"), {key(Qt::ALT, Qt::Key_Right)}, [this] { travel(1); });

    command(named("zoomIn"), tr("&Larger text"), {QKeySequence::ZoomIn}, [this] { zoom(1); });
    command(named("zoomOut"), tr("S&maller text"), {QKeySequence::ZoomOut}, [this] { zoom(-1); });
    command(named("zoomNormal"), tr("&Normal text"), {key(Qt::CTRL, Qt::Key_Equal)}, [this] { zoom(-fontSteps_); });
    auto* names = command(named("names"), tr("Host n&ames from the capture"), {}, {});
    names->setCheckable(true);
    connect(names, &QAction::toggled, this, [this](bool isOn) { frames_.setShowsNames(isOn); });
    command(named("colorRules"), tr("Colour &rules…"), {}, [this] { editColorRules(); });
    auto* times = new QActionGroup(this);
    const std::pair<const char*, QString> formats[] = {{"sinceFirst", tr("Seconds since the &First frame")},
                                                       {"sincePrevious", tr("Seconds since the &previous frame shown")},
                                                       {"timeOfDay", tr("&Time of day")},
                                                       {"dateAndTime", tr("&Date and time of day")}};
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

void DecodeView::fillFileMenu(QMenu& menu) const
{
    fill(menu, {"export"});
}

void DecodeView::fillEditMenu(QMenu& menu)
{
    fill(menu, {"undo", "redo", "", "copy"});
    fillCopyMenu(menu);
    fill(menu,
         {"", "find", "findNext", "findPrevious", "", "mark", "markAll", "unmarkAll", "", "ignore", "ignoreAll",
          "unignoreAll", "", "reference", "clearReferences", "shiftTimes", "", "note"});
}

/// Of what the pane with the focus has chosen; in the packet list that is the frame.
void DecodeView::fillCopyMenu(QMenu& menu)
{
    fill(*menu.addMenu(tr("Copy &as")),
         {"copyTree", "copyJson", "copyFilter", "", "copyHex", "copyDump", "copyC", "copyCharacters"});
}

void DecodeView::fillGoMenu(QMenu& menu) const
{
    fill(menu,
         {"goTo", "first", "last", "", "next", "previous", "", "nextInConversation", "previousInConversation", "follow",
          "", "nextMark", "previousMark", "nextReference", "previousReference", "", "back", "forward"});
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
    columns->setObjectName(QStringLiteral("columns"));
    connect(columns, &QMenu::aboutToShow, this, [this, columns] { fillColumnsMenu(*columns); });
    commands_[QStringLiteral("names")]->setChecked(frames_.showsNames());
    fill(menu, {"applyAsColumn", "names", "colorRules", "", "zoomIn", "zoomOut", "zoomNormal"});
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

void DecodeView::askForFrame()
{
    const int most = static_cast<int>(std::min<std::uint32_t>(store_ ? store_->count() : 0, 0x7fffffff));
    auto* dialog = new QInputDialog(this);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setWindowTitle(tr("Go to frame"));
    dialog->setLabelText(tr("Number, up to %1:").arg(locale().toString(most)));
    dialog->setInputMode(QInputDialog::IntInput);
    dialog->setIntRange(1, std::max(1, most));
    dialog->setIntValue(static_cast<int>(std::max<quint64>(1, frameNumber())));
    dialog->setMinimumWidth(fontMetrics().averageCharWidth() * 45); // or the title is cut
    connect(dialog, &QInputDialog::intValueSelected, this,
            [this](int number) { goToFrame(static_cast<quint64>(number)); });
    dialog->open();
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
    FrameFindTask::Among among{store_->index(), store_->orderedDecoderSource(), nullptr, store_->count(),
                               frames_.notes().ignored};
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

void DecodeView::followConversation()
{
    if (!nodes_.frame() || nodes_.frame()->decoded.summary.transport == Transport::none)
        return emit remarked(tr("The frame belongs to no conversation between ports"));
    auto* dialog = new FollowDialog(*store_, nodes_.frame()->decoded.summary, this);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->show(); // beside the frames it tells of
}

void DecodeView::addFilterMenus(QMenu& menu, const QString& filter)
{
    using Joint = FilterFrom::Joint;
    const std::pair<QString, Joint> joints[] = {
        {tr("&Selected"), Joint::replace},          {tr("&Not selected"), Joint::replaceByNot},
        {tr("… &and selected"), Joint::and_},       {tr("… &or selected"), Joint::or_},
        {tr("… and not s&elected"), Joint::andNot}, {tr("… or not se&lected"), Joint::orNot},
    };
    const std::pair<QString, FilterBar::Use> uses[] = {{tr("&Apply as filter"), FilterBar::Use::apply},
                                                       {tr("&Prepare as filter"), FilterBar::Use::prepare}};
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
    addFilterMenus(menu, frames_.filterOf(cell.row(), cell.column()));
    if (const auto* row = frames_.row(cell.row()); row && row->isReadable) {
        const auto filter = QString::fromStdString(FilterFrom::conversation(row->summary));
        connect(menu.addAction(tr("Filter this &conversation")), &QAction::triggered, this,
                [this, filter] { emit filterRequested(filter, FilterFrom::Joint::replace, FilterBar::Use::apply); });
    }
    menu.addSeparator();
    fill(menu, {"mark", "ignore", "reference", "note", "", "nextInConversation", "previousInConversation"});
    menu.addSeparator();
    connect(menu.addAction(tr("Copy c&ell")), &QAction::triggered, this,
            [this, text = cell.data().toString()] { copy(text); });
    fill(menu, {"copy"});
    fillCopyMenu(menu);
    menu.exec(list_->viewport()->mapToGlobal(point));
}

void DecodeView::showTreeMenu(const QPoint& point)
{
    const auto node = tree_->indexAt(point);
    if (!DecodeTreeModel::isNode(node))
        return;
    QMenu menu(this);
    const auto filter = nodes_.filterOf(node);
    addFilterMenus(menu, filter);
    fill(menu, {"applyAsColumn"});
    menu.addSeparator();
    const auto& decoded = nodes_.frame()->decoded;
    const auto number = DecodeTreeModel::nodeAt(node);
    connect(menu.addAction(tr("Copy &row")), &QAction::triggered, this,
            [this, text = node.data().toString()] { copy(text); });
    connect(menu.addAction(tr("Copy row and those &below")), &QAction::triggered, this, [this, &decoded, number] {
        copy(written([&](TextSink& out) { FrameText::subtree(decoded, number, out); }));
    });
    connect(menu.addAction(tr("Copy &value")), &QAction::triggered, this, [this, &decoded, number] {
        copy(written([&](TextSink& out) { Render::value(decoded.tree, decoded.tree[number], out); }));
    });
    fillCopyMenu(menu);
    menu.addSeparator();
    connect(menu.addAction(tr("&Open all")), &QAction::triggered, tree_, &QTreeView::expandAll);
    connect(menu.addAction(tr("&Close all")), &QAction::triggered, tree_, &QTreeView::collapseAll);
    menu.exec(tree_->viewport()->mapToGlobal(point));
}

/// What is lit, or everything when nothing is. From the packet list it is the frame.
Bytes DecodeView::chosenBytes() const
{
    if (!nodes_.frame())
        return {};
    const auto& detail = *nodes_.frame();
    if (list_->hasFocus())
        return detail.capture.data;
    const auto all = bytes_->property("derived").toBool() ? detail.decoded.tree.ownBytes() : detail.capture.data;
    const auto lit = bytes_->lit();
    return lit.length > 0 ? slice(all, lit.offset, lit.length) : all;
}

void DecodeView::showBytesMenu(const QPoint& point)
{
    if (!nodes_.frame())
        return;
    QMenu menu(this);
    fill(menu, {"copy", "copyHex", "copyDump", "copyC", "copyCharacters"});
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
            if (column >= FrameListModel::columns) // comes by the tree, and goes as a whole
                return removeColumn(column);
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

void DecodeView::copy(const QString& text)
{
    ++copies_;
    QGuiApplication::clipboard()->setText(text);
}

/// What the pane with the focus has chosen.
void DecodeView::copyChosen()
{
    if (tree_->hasFocus())
        copy(tree_->currentIndex().data().toString());
    else if (bytes_->hasFocus())
        copyBytes(FrameText::hex);
    else
        copyRows();
}

/// The chosen rows, cells apart by tabs, for a spreadsheet as well as for a mail. Most of them have never been in view:
/// they are decoded off the window's thread.
void DecodeView::copyRows()
{
    struct Line {
        std::uint32_t frame;
        std::uint32_t above;
    };
    if (!store_ || !store_->index())
        return;
    std::vector<Line> lines;
    for (const int row : list_->chosenRows(mostCopied_))
        lines.push_back({frames_.frameAt(row), frames_.frameAt(std::max(0, row - 1))});
    if (lines.empty())
        return;
    std::vector<int> columns;
    const auto* header = list_->header();
    for (int visual = 0; visual < header->count(); ++visual)
        if (const int column = header->logicalIndex(visual); !header->isSectionHidden(column))
            columns.push_back(column);
    const auto work = [lines, columns, fields = frames_.fieldIds(), cells = frames_.cells(),
                       ordered = store_->orderedDecoderSource()] {
        QString text;
        auto decoder = IndexedDecoder::open(cells.index);
        if (!decoder)
            return text;
        decoder->useContextsOf(ordered().first);
        DecodedFrame decoded;
        TextSink scratch;
        for (const auto& [frame, above] : lines) {
            const auto row = readRow(*decoder, frame, fields, decoded, scratch);
            for (const int column : columns) {
                text += cells.text(row, column, above);
                text += QLatin1Char(column == columns.back() ? '\n' : '\t');
            }
        }
        return text;
    };
    const auto copied = static_cast<int>(lines.size()), chosen = list_->chosenCount();
    inBackground(this, work, [this, number = ++copies_, copied, chosen](const QString& text) {
        if (number != copies_)
            return;
        if (text.isEmpty())
            return emit remarked(tr("The capture can no longer be read: nothing was copied"));
        copy(text);
        const auto count = [this](int rows) { return locale().toString(rows); };
        emit remarked(copied < chosen   ? tr("The first %1 of %2 frames copied").arg(count(copied), count(chosen))
                          : copied == 1 ? tr("1 frame copied")
                                        : tr("%1 frames copied").arg(count(copied)));
    });
}

void DecodeView::copyBytes(const std::function<void(Bytes, TextSink&)>& write)
{
    if (nodes_.frame())
        copy(written([&](TextSink& out) { write(chosenBytes(), out); }));
}

void DecodeView::copyTree()
{
    if (nodes_.frame())
        copy(written([this](TextSink& out) { FrameText::tree(nodes_.frame()->decoded, out); }));
}

void DecodeView::copyFilter()
{
    const auto cell = list_->currentIndex();
    const auto filter = list_->hasFocus() && cell.isValid() ? frames_.filterOf(cell.row(), cell.column())
                                                            : nodes_.filterOf(tree_->currentIndex());
    if (filter.isEmpty())
        return emit remarked(tr("What is chosen is nothing a filter could ask for"));
    copy(filter);
}

void DecodeView::copyJson()
{
    if (nodes_.frame())
        copy(written([this](TextSink& out) { Render::json(nodes_.frame()->decoded, out); }));
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
