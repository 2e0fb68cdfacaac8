// The three panes and what connects them. Commands are in DecodeCommands.cpp.
#include "Views/DecodeView.h"

#include "Dissection/Decode/Render.h"
#include "Views/DecodeBytesView.h"
#include "Views/FrameFindBar.h"
#include "Views/FrameListView.h"

#include <QBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QScrollBar>
#include <QSettings>
#include <QSplitter>
#include <QStyledItemDelegate>
#include <QToolButton>
#include <QTreeView>
#include <algorithm>

namespace netrondo {
namespace {
constexpr qsizetype maxVisited = 200;

/// Rows of the tree: layers stand out, problems carry a sign.
class NodeDelegate final : public QStyledItemDelegate {
public:
    using QStyledItemDelegate::QStyledItemDelegate;

    void initStyleOption(QStyleOptionViewItem* option, const QModelIndex& index) const override
    {
        QStyledItemDelegate::initStyleOption(option, index);
        if (!index.parent().isValid())
            option->font.setBold(true);
        if (!index.data(DecodeTreeModel::problemRole).toString().isEmpty())
            option->text.prepend(QStringLiteral("⚠ "));
    }
};

QString valueOf(const FrameDetail& detail, std::string_view id)
{
    TextSink out;
    for (const auto& node : detail.decoded.tree.nodes()) {
        if (node.field->id == id) {
            Render::value(detail.decoded.tree, node, out);
            break;
        }
    }
    return QString::fromStdString(std::string(out.text()));
}
} // namespace

DecodeView::DecodeView(QWidget* parent) : QWidget(parent)
{
    setObjectName(QStringLiteral("DecodeView"));
    makePanes();
    makeActions();
    connectModels();
    const QSettings settings;
    panes_->restoreState(settings.value(QStringLiteral("decode/panes")).toByteArray());
    lower_->restoreState(settings.value(QStringLiteral("decode/lower")).toByteArray());
    const auto fields = settings.value(QStringLiteral("decode/fields")).toStringList();
    for (const auto& field : fields) // the columns they have are among those whose state follows
        addColumn({field.section(QLatin1Char(' '), 0, 0), field.section(QLatin1Char(' '), 1)});
    list_->header()->restoreState(settings.value(QStringLiteral("decode/columns")).toByteArray());
    frames_.setTimeFormat(static_cast<FrameListModel::TimeFormat>(
        std::clamp(settings.value(QStringLiteral("decode/time")).toInt(), 0, 3)));
    frames_.setShowsNames(settings.value(QStringLiteral("decode/names")).toBool());
    updateStatus();
}

DecodeView::~DecodeView()
{
    QSettings settings;
    settings.setValue(QStringLiteral("decode/panes"), panes_->saveState());
    settings.setValue(QStringLiteral("decode/lower"), lower_->saveState());
    settings.setValue(QStringLiteral("decode/columns"), list_->header()->saveState());
    settings.setValue(QStringLiteral("decode/time"), static_cast<int>(frames_.timeFormat()));
    settings.setValue(QStringLiteral("decode/names"), frames_.showsNames());
    frames_.setStore(nullptr);
}

void DecodeView::makePanes()
{
    list_ = new FrameListView;
    list_->setFrames(&frames_);
    list_->setContextMenuPolicy(Qt::CustomContextMenu);

    tree_ = new QTreeView;
    tree_->setModel(&nodes_);
    tree_->setItemDelegate(new NodeDelegate(tree_));
    tree_->setHeaderHidden(true);
    tree_->setUniformRowHeights(true);
    tree_->setAccessibleName(tr("Protocol tree of the frame"));
    tree_->setContextMenuPolicy(Qt::CustomContextMenu);
    tree_->setDragEnabled(true);
    tree_->setHorizontalScrollMode(QAbstractItemView::ScrollPerPixel);
    tree_->header()->setSectionResizeMode(QHeaderView::ResizeToContents);
    tree_->header()->setStretchLastSection(false);
    tree_->header()->setResizeContentsPrecision(0); // what is in view: a frame may have thousands of rows
    tree_->installEventFilter(this);

    bytes_ = new DecodeBytesView;
    bytes_->setObjectName(QStringLiteral("bytes"));
    bytes_->setContextMenuPolicy(Qt::CustomContextMenu);
    bytesTitle_ = new QLabel;
    bytesTitle_->setMargin(3);
    auto* bytesPane = new QWidget;
    auto* bytesColumn = new QVBoxLayout(bytesPane);
    bytesColumn->setContentsMargins(0, 0, 0, 0);
    bytesColumn->setSpacing(0);
    bytesColumn->addWidget(bytesTitle_);
    bytesColumn->addWidget(bytes_, 1);

    conversationStrip_ = new QWidget;
    conversationLabel_ = new QLabel;
    conversationLabel_->setTextFormat(Qt::PlainText);
    auto* showAll = new QToolButton;
    showAll->setText(tr("Show all"));
    showAll->setAccessibleName(tr("Show the frames of all hosts"));
    connect(showAll, &QToolButton::clicked, this, [this] { showConversation({}, {}); });
    auto* strip = new QHBoxLayout(conversationStrip_);
    strip->setContentsMargins(6, 2, 6, 2);
    strip->addWidget(conversationLabel_, 1);
    strip->addWidget(showAll);
    conversationStrip_->hide();

    findBar_ = new FrameFindBar;
    findBar_->hide();

    lower_ = new QSplitter(Qt::Horizontal);
    lower_->addWidget(tree_);
    lower_->addWidget(bytesPane);
    lower_->setStretchFactor(0, 3);
    lower_->setStretchFactor(1, 2);
    panes_ = new QSplitter(Qt::Vertical);
    panes_->addWidget(list_);
    panes_->addWidget(lower_);
    panes_->setStretchFactor(0, 3);
    panes_->setStretchFactor(1, 2);
    panes_->setChildrenCollapsible(false);

    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(0);
    column->addWidget(conversationStrip_);
    column->addWidget(findBar_);
    column->addWidget(panes_, 1);
    setFocusProxy(list_);
}

void DecodeView::connectModels()
{
    connect(list_->selectionModel(), &QItemSelectionModel::currentChanged, this, &DecodeView::showCurrentFrame);
    connect(list_, &FrameListView::typed, this, &DecodeView::filterTyped);
    connect(list_, &QWidget::customContextMenuRequested, this, &DecodeView::showListMenu);
    connect(list_->header(), &QWidget::customContextMenuRequested, this, &DecodeView::showHeaderMenu);
    connect(&frames_, &QAbstractItemModel::rowsInserted, this, &DecodeView::rowsCame);
    connect(&frames_, &FrameListModel::marksChanged, this, &DecodeView::takeNotes);
    connect(&frames_, &FrameListModel::detailReady, this, &DecodeView::showDetail);
    connect(&frames_, &FrameListModel::detailFailed, this, [this](quint32 frame, const QString& sentence) {
        if (frame != shown_)
            return;
        nodes_.setFrame(nullptr);
        bytes_->setBytes({}, nullptr);
        bytesTitle_->setText(sentence);
    });
    connect(tree_->selectionModel(), &QItemSelectionModel::currentChanged, this, &DecodeView::showNode);
    connect(tree_, &QWidget::customContextMenuRequested, this, &DecodeView::showTreeMenu);
    const auto note = [this](const QModelIndex& node, bool isOpen) {
        if (isFilling_)
            return;
        const auto id = node.data(DecodeTreeModel::idRole).toString();
        isOpen ? static_cast<void>(openNodes_.insert(id)) : static_cast<void>(openNodes_.remove(id));
    };
    connect(tree_, &QTreeView::expanded, this, [note](const QModelIndex& node) { note(node, true); });
    connect(tree_, &QTreeView::collapsed, this, [note](const QModelIndex& node) { note(node, false); });
    connect(bytes_, &DecodeBytesView::byteChosen, this, &DecodeView::showByte);
    connect(bytes_, &QWidget::customContextMenuRequested, this, &DecodeView::showBytesMenu);
    connect(findBar_, &FrameFindBar::wanted, this, &DecodeView::findNext);
    connect(findBar_, &FrameFindBar::closed, this, [this] {
        findTask_.reset();
        findBar_->hide();
        list_->setFocus();
    });
}

void DecodeView::open(const QString& path, FrameStore::Reading reading)
{
    setStore(std::make_shared<FrameStore>(path, reading));
}

void DecodeView::setStore(std::shared_ptr<FrameStore> store)
{
    if (store_)
        store_->disconnect(this);
    findTask_.reset();
    frames_.setStore(store.get());
    filterTask_.reset();
    store_ = std::move(store);
    nodes_.setFrame(nullptr);
    bytes_->setBytes({}, nullptr);
    bytesTitle_->clear();
    shown_.reset();
    anchor_.reset();
    wantedNumber_.reset();
    visited_.clear();
    visit_ = -1;
    if (store_) {
        connect(store_.get(), &FrameStore::opened, this, &DecodeView::applyFilters);
        connect(store_.get(), &FrameStore::grew, this, &DecodeView::updateStatus);
        connect(store_.get(), &FrameStore::completed, this, &DecodeView::updateStatus);
        connect(store_.get(), &FrameStore::followedMore, this, [this] { // messages may be put together only now
            const auto* detail = nodes_.frame();
            if (shown_ && detail && detail->followed <= *shown_ && store_->followed() > *shown_)
                frames_.requestDetail(*shown_);
        });
        connect(store_.get(), &FrameStore::failed, this, [this] { emit failed(store_->error()); });
        if (store_->index())
            applyFilters();
    }
    updateStatus();
    emit storeChanged();
}

void DecodeView::attach(FilterBar& bar)
{
    connect(&bar, &FilterBar::applied, this, &DecodeView::setFilter);
    connect(&bar, &FilterBar::cancelled, this, &DecodeView::stopSearching);
    connect(this, &DecodeView::filterRequested, &bar, &FilterBar::take);
    connect(this, &DecodeView::filterTyped, &bar, &FilterBar::beginWith);
    connect(this, &DecodeView::filterProgress, &bar, &FilterBar::showProgress);
}

void DecodeView::setFilter(const QString& filter)
{
    if (!DisplayFilter::compileOptional(filter.toStdString()))
        return;
    filter_ = filter.trimmed();
    applyFilters();
}

void DecodeView::showConversation(const QString& one, const QString& other)
{
    conversation_ =
        one.isEmpty() ? QString() : QString::fromStdString(FilterFrom::hosts(one.toStdString(), other.toStdString()));
    conversationLabel_->setText(tr("Frames between %1 and %2").arg(one, other));
    conversationStrip_->setVisible(!conversation_.isEmpty());
    applyFilters();
}

void DecodeView::showEvidence(const QString& filter, const QString& title, quint64 number)
{
    if (filter != conversation_) {
        conversation_ = filter;
        conversationLabel_->setText(tr("Evidence: %1").arg(title));
        conversationStrip_->show();
        applyFilters();
    }
    anchor_.reset();
    const auto frame = static_cast<std::uint32_t>(number - 1);
    if (frames_.rowOf(frame) || !filterTask_ || filterTask_->isComplete())
        goToFrame(number);
    else
        wantedNumber_ = number; // the search has not come so far
}

/// Both restrictions as one search. The frame that was looked at comes back to its line of the view.
void DecodeView::applyFilters()
{
    if (!store_ || !store_->index())
        return;
    if (!anchor_) { // else the one before has not been found again yet
        const auto current = list_->currentIndex();
        const int row = current.isValid() ? current.row() : list_->firstVisibleRow();
        if (row < frames_.rowCount())
            anchor_ = Anchor{frames_.frameAt(row), std::clamp(list_->lineOf(row), 0, list_->rowsPerScreen() - 1)};
    }
    const auto text = conversation_.isEmpty()
        ? filter_.toStdString()
        : FilterFrom::joined(filter_.toStdString(), conversation_.toStdString(), FilterFrom::Joint::and_);
    findTask_.reset();
    ignored_ = frames_.notes().ignored;
    auto filter = DisplayFilter::compileOptional(text);
    if (!filter || !*filter) {
        frames_.setFilter(nullptr);
        filterTask_.reset();
        reportProgress();
        keepInView();
        return;
    }
    auto task = std::make_unique<FrameFilterTask>(*store_, **std::move(filter));
    frames_.setFilter(task.get());
    filterTask_ = std::move(task);
    connect(filterTask_.get(), &FrameFilterTask::advanced, this, [this] {
        reportProgress();
        keepInView();
    });
    connect(filterTask_.get(), &FrameFilterTask::completed, this, [this] {
        reportProgress();
        keepInView();
    });
    connect(filterTask_.get(), &FrameFilterTask::failed, this, &DecodeView::failed);
    reportProgress();
}

void DecodeView::stopSearching()
{
    if (filterTask_)
        filterTask_->stop();
    findTask_.reset();
}

void DecodeView::keepInView()
{
    if (!anchor_ || frames_.rowCount() == 0)
        return;
    if (filterTask_ && filterTask_->examined() <= anchor_->frame && !filterTask_->isComplete())
        return;
    const auto [frame, line] = *std::exchange(anchor_, std::nullopt);
    const int row = std::max(0, frames_.rowAtOrBefore(frame));
    list_->choose(row);
    list_->showRowAtLine(row, line);
}

void DecodeView::rowsCame()
{
    if (wantedNumber_ && frames_.rowOf(static_cast<std::uint32_t>(*wantedNumber_ - 1)))
        goToFrame(*wantedNumber_);
    else if (!list_->currentIndex().isValid() && !anchor_)
        list_->choose(0);
    updateStatus();
}

void DecodeView::reportProgress()
{
    const auto all = store_ ? store_->count() : 0;
    if (filterTask_)
        emit filterProgress(filterTask_->count(), filterTask_->examined(), all, filterTask_->isComplete());
    else
        emit filterProgress(all, all, all, true);
    updateStatus();
}

void DecodeView::updateStatus()
{
    QString status;
    if (!store_) {
        status = tr("No capture is open");
    } else {
        const auto all = locale().toString(store_->count());
        status = filterTask_ ? tr("%1 of %2 frames").arg(locale().toString(filterTask_->count()), all)
                             : tr("%1 frames").arg(all);
        if (!store_->index() && !store_->isComplete())
            status = tr("Opening %1").arg(store_->path());
        else if (!store_->isComplete() && store_->progress() < 1)
            status += tr(", %1 % read").arg(static_cast<int>(store_->progress() * 100));
        else if (!store_->isComplete())
            status += tr(", waiting for more");
        else if (store_->index() && store_->index()->isCut())
            status += tr(", and the file ends in the middle of one");
        if (!store_->error().isEmpty())
            status += QStringLiteral(" — ") + store_->error();
    }
    list_->setProperty("emptyText",
                       !store_           ? tr("Open a capture to see its frames")
                           : filterTask_ ? (filterTask_->isComplete() ? tr("No frame matches the filter") : QString())
                           : !store_->error().isEmpty() ? store_->error()
                           : store_->isComplete()       ? tr("The capture holds no frames")
                                                        : tr("Opening…"));
    if (frames_.rowCount() == 0)
        list_->viewport()->update();
    if (status == status_)
        return;
    status_ = status;
    emit statusChanged(status_);
}

quint64 DecodeView::frameNumber() const
{
    return shown_ ? quint64{*shown_} + 1 : 0;
}

void DecodeView::goToFrame(quint64 number)
{
    wantedNumber_.reset();
    if (number == 0 || number > std::numeric_limits<std::uint32_t>::max())
        return;
    const auto frame = static_cast<std::uint32_t>(number - 1);
    if (const auto row = frames_.rowOf(frame)) {
        anchor_.reset();
        list_->choose(*row);
        if (const int line = list_->lineOf(*row); line <= 0 || line >= list_->rowsPerScreen() - 1)
            list_->scrollTo(list_->currentIndex(), QAbstractItemView::PositionAtCenter);
    } else if (store_ && !store_->isComplete()) {
        wantedNumber_ = number;
    } else {
        const bool isThere = store_ && number <= store_->count();
        emit remarked(isThere ? tr("Frame %1 is not among those shown").arg(number)
                              : tr("There is no frame %1").arg(number));
    }
}

void DecodeView::showCurrentFrame(const QModelIndex& current)
{
    if (!current.isValid())
        return;      // the list is being filled anew: what was looked at stays
    anchor_.reset(); // somebody looks elsewhere by now
    const auto frame = frames_.frameAt(current.row());
    if (shown_ == frame)
        return;
    shown_ = frame;
    frames_.requestDetail(frame);
    if (visit_ < 0 || visited_[visit_] != frame) {
        visited_.resize(visit_ + 1);
        visited_.append(frame);
        if (visited_.size() > maxVisited)
            visited_.removeFirst();
        visit_ = visited_.size() - 1;
    }
}

void DecodeView::showDetail(quint32 frame, const std::shared_ptr<const FrameDetail>& detail)
{
    if (frame != shown_)
        return;
    fillTree(detail);
    emit frameSelected(quint64{frame} + 1,
                       {QString::fromStdString(detail->decoded.summary.source.text()),
                        QString::fromStdString(detail->decoded.summary.destination.text()), valueOf(*detail, "eth.src"),
                        valueOf(*detail, "eth.dst")});
}

void DecodeView::fillTree(const std::shared_ptr<const FrameDetail>& detail)
{
    using Extent = DecodeTreeModel::Extent;
    isFilling_ = true;
    const int scrolled = tree_->verticalScrollBar()->value();
    nodes_.setFrame(detail, remarksOn(*detail),
                    frames_.notes().ignored.have(*shown_) ? Extent::remarks : Extent::whole);
    bytes_->setProperty("derived", false);
    bytes_->setBytes(detail->capture.data, detail);
    if (openNodes_.isEmpty() && nodes_.rowCount() > 0) // the first look: what the frame is about
        tree_->expand(nodes_.index(nodes_.rowCount() - 1, 0));
    openNodes({}, 0);
    tree_->verticalScrollBar()->setValue(scrolled);
    const auto same = nodes_.find(nodePath_);
    isFilling_ = false;
    if (same.isValid())
        tree_->setCurrentIndex(same);
    else
        showNode({});
}

/// Nodes that stood open in the frame before stand open in this one.
void DecodeView::openNodes(const QModelIndex& parent, int depth)
{
    constexpr int maxDepth = 16;
    for (int row = 0; row < nodes_.rowCount(parent) && depth < maxDepth; ++row) {
        const auto node = nodes_.index(row, 0, parent);
        if (nodes_.rowCount(node) > 0 && openNodes_.contains(node.data(DecodeTreeModel::idRole).toString())) {
            tree_->expand(node);
            openNodes(node, depth + 1);
        }
    }
}

void DecodeView::showNode(const QModelIndex& index)
{
    if (isFilling_ || !nodes_.frame())
        return;
    const auto& detail = *nodes_.frame();
    const auto& tree = detail.decoded.tree;
    const bool isDerived =
        DecodeTreeModel::isNode(index) && tree[DecodeTreeModel::nodeAt(index)].flags & Node::derivedBytes;
    const auto source = isDerived ? tree.ownBytes() : detail.capture.data;
    if (bytes_->property("derived").toBool() != isDerived) {
        bytes_->setProperty("derived", isDerived);
        bytes_->setBytes(source, nodes_.sharedFrame());
    }
    bytesTitle_->setText(isDerived ? tr("Decrypted or unpacked: %1 bytes").arg(source.size())
                                   : tr("Frame %1: %2 bytes").arg(detail.decoded.summary.number).arg(source.size()));
    if (!DecodeTreeModel::isNode(index))
        return bytes_->light({}, {});
    nodePath_ = nodes_.pathOf(index);
    auto top = index;
    while (top.parent().isValid())
        top = top.parent();
    const auto rangeOf = [&](const QModelIndex& at) {
        const auto& node = tree[DecodeTreeModel::nodeAt(at)];
        const bool isHere = static_cast<bool>(node.flags & Node::derivedBytes) == isDerived;
        return isHere ? DecodeBytesView::Range{node.offset, node.length} : DecodeBytesView::Range();
    };
    bytes_->light(rangeOf(index), rangeOf(top));
}

void DecodeView::showByte(quint32 offset)
{
    const auto node = nodes_.nodeOfByte(offset, bytes_->property("derived").toBool());
    if (!node.isValid())
        return;
    tree_->setCurrentIndex(node);
    tree_->scrollTo(node);
    bytes_->setCurrentByte(offset);
}

} // namespace netrondo
