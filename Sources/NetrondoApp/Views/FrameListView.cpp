// The scroll bar counts rows; everything else follows from it.
#include "Views/FrameListView.h"

#include "Models/FrameListModel.h"
#include "Models/Severities.h"
#include "Views/FrameListAccessible.h"

#include <QApplication>
#include <QDrag>
#include <QMimeData>
#include <QMouseEvent>
#include <QPainter>
#include <QScrollBar>
#include <algorithm>

namespace netrondo {
namespace {
/// Longer texts do not fit on any screen, and measuring them costs time.
constexpr qsizetype maxCharacters = 400;
} // namespace

FrameListView::FrameListView(QWidget* parent) : QAbstractItemView(parent)
{
    static const bool isInstalled = (QAccessible::installFactory(makeFrameListAccessible), true);
    static_cast<void>(isInstalled);
    for (std::size_t i = 0; i < signs_.size(); ++i)
        signs_[i] = severityIcon(static_cast<Severity>(i));
    header_ = new QHeaderView(Qt::Horizontal, this);
    header_->setSectionsMovable(true);
    header_->setStretchLastSection(true);
    header_->setHighlightSections(false);
    header_->setDefaultAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    header_->setContextMenuPolicy(Qt::CustomContextMenu);
    connect(header_, &QHeaderView::sectionResized, this, [this] { updateGeometries(), viewport()->update(); });
    connect(header_, &QHeaderView::sectionMoved, this, [this] { viewport()->update(); });
    connect(header_, &QHeaderView::sectionCountChanged, this, [this] { updateGeometries(), viewport()->update(); });
    setSelectionMode(ExtendedSelection);
    setSelectionBehavior(SelectRows);
    setEditTriggers(NoEditTriggers);
    setDragEnabled(true);
    setDragDropMode(DragOnly);
    setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOn); // or the columns jump when the first screen is full
    setAccessibleName(tr("Frames"));
    setMinimumHeight(3 * rowHeight());
}

void FrameListView::setFrames(FrameListModel* model)
{
    frames_ = model;
    setModel(model);
    header_->setModel(model);
    const auto width = [this](const char* sample) {
        return fontMetrics().horizontalAdvance(QLatin1String(sample)) + rowHeight();
    };
    header_->resizeSection(FrameListModel::number, width("1000000") + gutter());
    header_->resizeSection(FrameListModel::time, width("10000.000000"));
    header_->resizeSection(FrameListModel::source, width("2001:db8:1234:5678::1234"));
    header_->resizeSection(FrameListModel::destination, width("2001:db8:1234:5678::1234"));
    header_->resizeSection(FrameListModel::protocol, width("PostgreSQL"));
    header_->resizeSection(FrameListModel::length, width("Length"));
    header_->resizeSection(FrameListModel::sourcePort, width("Source port"));
    header_->resizeSection(FrameListModel::destinationPort, width("Destination port"));
    header_->hideSection(FrameListModel::sourcePort);
    header_->hideSection(FrameListModel::destinationPort);
    updateGeometries();
}

int FrameListView::rows() const
{
    return model() ? model()->rowCount() : 0;
}

int FrameListView::rowHeight() const
{
    return fontMetrics().height() + 4;
}

/// In front of the number: the signs of marks and problems.
int FrameListView::gutter() const
{
    return rowHeight();
}

int FrameListView::firstVisibleRow() const
{
    return verticalScrollBar()->value();
}

int FrameListView::rowsPerScreen() const
{
    return std::max(1, viewport()->height() / rowHeight());
}

int FrameListView::lineOf(int row) const
{
    return row - firstVisibleRow();
}

void FrameListView::showRowAtLine(int row, int line)
{
    verticalScrollBar()->setValue(std::max(0, row - line));
}

void FrameListView::choose(int row)
{
    // Not by setCurrentIndex, for which a Ctrl key that a command was given with would leave the choice as it is.
    selectionModel()->setCurrentIndex(model()->index(row, std::max(0, currentIndex().column())),
                                      QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
}

QList<FrameListView::Range> FrameListView::chosenRanges() const
{
    QList<Range> ranges;
    for (const auto& range : selectionModel()->selection())
        ranges.emplace_back(range.top(), range.bottom());
    std::ranges::sort(ranges);
    return ranges;
}

QList<int> FrameListView::chosenRows(int most) const
{
    QList<int> rows;
    for (const auto& [first, last] : chosenRanges())
        for (int row = first; row <= last && rows.size() < most; ++row)
            rows.append(row);
    return rows;
}

int FrameListView::chosenCount() const
{
    int count = 0;
    for (const auto& [first, last] : chosenRanges())
        count += last - first + 1;
    return count;
}

QRect FrameListView::visualRect(const QModelIndex& index) const
{
    if (!index.isValid() || header_->isSectionHidden(index.column()))
        return {};
    const auto top = static_cast<qint64>(lineOf(index.row())) * rowHeight();
    if (std::abs(top) > (1 << 24)) // far outside, where a widget's coordinates mean nothing
        return {};
    return {header_->sectionViewportPosition(index.column()), static_cast<int>(top),
            header_->sectionSize(index.column()), rowHeight()};
}

void FrameListView::scrollTo(const QModelIndex& index, ScrollHint hint)
{
    if (!index.isValid())
        return;
    const int line = lineOf(index.row()), last = rowsPerScreen() - 1;
    switch (hint) {
    case PositionAtTop: return showRowAtLine(index.row(), 0);
    case PositionAtBottom: return showRowAtLine(index.row(), last);
    case PositionAtCenter: return showRowAtLine(index.row(), last / 2);
    case EnsureVisible:
        if (line < 0)
            showRowAtLine(index.row(), 0);
        else if (line > last)
            showRowAtLine(index.row(), last);
    }
}

QModelIndex FrameListView::indexAt(const QPoint& point) const
{
    const int row = firstVisibleRow() + point.y() / rowHeight();
    const int column = header_->logicalIndexAt(point.x());
    return point.y() >= 0 && row < rows() && column >= 0 ? model()->index(row, column) : QModelIndex();
}

void FrameListView::keyboardSearch(const QString& text)
{
    emit typed(text);
}

void FrameListView::reset()
{
    QAbstractItemView::reset();
    updateGeometries();
}

QModelIndex FrameListView::moveCursor(CursorAction action, Qt::KeyboardModifiers)
{
    if (rows() == 0)
        return {};
    const auto current = currentIndex();
    const int column = std::max(0, current.column()), last = rows() - 1;
    if (!current.isValid())
        return model()->index(firstVisibleRow(), column);
    int row = current.row();
    auto* sideways = horizontalScrollBar();
    switch (action) {
    case MoveUp:
    case MovePrevious: --row; break;
    case MoveDown:
    case MoveNext: ++row; break;
    case MovePageUp: row -= rowsPerScreen(); break;
    case MovePageDown: row += std::min(rowsPerScreen(), last - row); break;
    case MoveHome: row = 0; break;
    case MoveEnd: row = last; break;
    case MoveLeft: sideways->setValue(sideways->value() - sideways->singleStep()); break;
    case MoveRight: sideways->setValue(sideways->value() + sideways->singleStep()); break;
    }
    return model()->index(std::clamp(row, 0, last), column);
}

int FrameListView::horizontalOffset() const
{
    return header_->offset();
}

int FrameListView::verticalOffset() const
{
    return 0; // rows know their place by number alone
}

bool FrameListView::isIndexHidden(const QModelIndex& index) const
{
    return header_->isSectionHidden(index.column());
}

void FrameListView::setSelection(const QRect& rect, QItemSelectionModel::SelectionFlags command)
{
    const int height = rowHeight(), first = firstVisibleRow();
    const auto rowAt = [&](int y) { return std::clamp(first + (y < 0 ? y / height - 1 : y / height), 0, rows() - 1); };
    if (rows() == 0)
        return;
    const int top = rowAt(rect.top()), bottom = rowAt(rect.bottom());
    const auto area = rect.normalized();
    if (area.top() / height + first >= rows() && top == bottom && area.top() >= 0) { // below the last row
        selectionModel()->select(QItemSelection(), command);
        return;
    }
    const QItemSelection chosen(model()->index(std::min(top, bottom), 0),
                                model()->index(std::max(top, bottom), model()->columnCount() - 1));
    selectionModel()->select(chosen, command);
}

QRegion FrameListView::visualRegionForSelection(const QItemSelection& selection) const
{
    QRegion region;
    for (const auto& range : selection) {
        const int top = std::max(range.top(), firstVisibleRow());
        const int bottom = std::min(range.bottom(), firstVisibleRow() + rowsPerScreen());
        if (top <= bottom)
            region += QRect(0, lineOf(top) * rowHeight(), viewport()->width(), (bottom - top + 1) * rowHeight());
    }
    return region;
}

void FrameListView::mousePressEvent(QMouseEvent* event)
{
    pressedAt_ = event->position().toPoint();
    QAbstractItemView::mousePressEvent(event);
}

/// The cell under the pointer is dragged, as the filter it stands for, whatever rows are chosen.
void FrameListView::startDrag(Qt::DropActions actions)
{
    const auto cell = indexAt(pressedAt_);
    auto* filter = cell.isValid() ? model()->mimeData({cell}) : nullptr;
    if (!filter)
        return;
    auto* drag = new QDrag(this);
    drag->setMimeData(filter);
    drag->exec(actions, Qt::CopyAction);
}

void FrameListView::paintEvent(QPaintEvent* event)
{
    QPainter painter(viewport());
    const int height = rowHeight();
    const int first = firstVisibleRow() + event->rect().top() / height;
    const int last = std::min(rows() - 1, firstVisibleRow() + event->rect().bottom() / height);
    for (int row = first; row <= last; ++row)
        paintRow(painter, row, QRect(0, lineOf(row) * height, viewport()->width(), height));
    if (rows() == 0 && !property("emptyText").toString().isEmpty()) {
        painter.setPen(palette().color(QPalette::PlaceholderText));
        painter.drawText(viewport()->rect(), Qt::AlignCenter | Qt::TextWordWrap, property("emptyText").toString());
    }
}

void FrameListView::paintRow(QPainter& painter, int row, const QRect& area) const
{
    const bool isChosen = selectionModel()->isRowSelected(row, {});
    const bool isCurrent = currentIndex().row() == row;
    const auto group = hasFocus() || !isChosen ? QPalette::Active : QPalette::Inactive;
    const auto& colors = palette();
    const auto* rule = frames_->ruleAt(row);
    if (isChosen)
        painter.fillRect(area, colors.brush(group, QPalette::Highlight));
    else if (rule)
        painter.fillRect(area, FrameColorRules::ground(rule->color, colors.color(QPalette::Base)));
    if (rule) // the hue itself, thin, so that it shows on a chosen row as well
        painter.fillRect(QRect(area.left(), area.top(), 3, area.height()), rule->color);
    const bool isFaint = frames_->isIgnored(row) && !isChosen;
    painter.setPen(colors.color(group,
                                isChosen      ? QPalette::HighlightedText
                                    : isFaint ? QPalette::PlaceholderText
                                              : QPalette::Text));
    const int margin = fontMetrics().averageCharWidth() / 2 + 1;
    for (int visual = 0; visual < header_->count(); ++visual) {
        const int column = header_->logicalIndex(visual);
        const int left = header_->sectionViewportPosition(column), width = header_->sectionSize(column);
        if (header_->isSectionHidden(column) || left + width < 0 || left > area.right())
            continue;
        QRect cell(left + margin, area.top(), width - 2 * margin, area.height());
        if (column == FrameListModel::number)
            cell.setLeft(cell.left() + gutter());
        const auto index = model()->index(row, column);
        auto text = frames_->text(row, column).left(maxCharacters);
        if (fontMetrics().horizontalAdvance(text) > cell.width())
            text = fontMetrics().elidedText(text, Qt::ElideRight, cell.width());
        const auto alignment = model()->data(index, Qt::TextAlignmentRole).toInt();
        painter.drawText(cell, alignment | Qt::TextSingleLine, text);
    }
    paintSigns(painter, row, area);
    if (isCurrent && hasFocus()) {
        painter.setBrush(Qt::NoBrush);
        painter.drawRect(area.adjusted(0, 0, -1, -1));
    }
}

/// A diamond for a mark, and the sign of the worst that is found: shapes, for colour alone says nothing to everyone.
void FrameListView::paintSigns(QPainter& painter, int row, const QRect& area) const
{
    const auto severity = frames_->severityAt(row);
    const bool isMarked = frames_->isMarked(frames_->frameAt(row));
    if (!isMarked && !severity)
        return;
    const int column = FrameListModel::number;
    if (header_->isSectionHidden(column))
        return;
    const double size = area.height() * 0.62;
    const QRectF box(header_->sectionViewportPosition(column) + 6, area.center().y() - size / 2 + 0.5, size, size);
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    if (severity) {
        const int side = static_cast<int>(area.height() * 0.9);
        signs_[static_cast<std::size_t>(*severity)].paint(
            &painter,
            QRect(static_cast<int>(box.center().x()) - side / 2, area.center().y() - side / 2 + 1, side, side));
    }
    if (isMarked) {
        const auto place = severity ? box.translated(size, 0) : box;
        painter.setPen(Qt::NoPen);
        const bool isChosen = selectionModel()->isRowSelected(row, {});
        painter.setBrush(palette().color(isChosen ? QPalette::HighlightedText : QPalette::Text));
        const QPointF corners[] = {{place.center().x(), place.top()},
                                   {place.right(), place.center().y()},
                                   {place.center().x(), place.bottom()},
                                   {place.left(), place.center().y()}};
        painter.drawPolygon(corners, 4);
    }
    painter.restore();
}

void FrameListView::resizeEvent(QResizeEvent* event)
{
    QAbstractItemView::resizeEvent(event);
    updateGeometries();
}

void FrameListView::scrollContentsBy(int dx, int)
{
    if (dx != 0)
        header_->setOffset(horizontalScrollBar()->value());
    viewport()->update();
}

void FrameListView::updateGeometries()
{
    const int height = header_->sizeHint().height();
    setViewportMargins(0, height, 0, 0);
    const auto area = viewport()->geometry();
    header_->setGeometry(area.left(), area.top() - height, area.width(), height);
    const int screen = rowsPerScreen();
    verticalScrollBar()->setPageStep(screen);
    verticalScrollBar()->setSingleStep(1);
    verticalScrollBar()->setRange(0, std::max(0, rows() - screen));
    horizontalScrollBar()->setPageStep(area.width());
    horizontalScrollBar()->setSingleStep(5 * fontMetrics().averageCharWidth());
    // The last column takes what is left, and so asks for no scrolling of its own.
    int fixed = 0;
    for (int visual = 0; visual < header_->count(); ++visual) {
        const int column = header_->logicalIndex(visual);
        if (!header_->isSectionHidden(column) && column != FrameListModel::info)
            fixed += header_->sectionSize(column);
    }
    const int wanted = fixed + 40 * fontMetrics().averageCharWidth();
    horizontalScrollBar()->setRange(0, std::max(0, wanted - area.width()));
    QAbstractItemView::updateGeometries();
}

void FrameListView::changeEvent(QEvent* event)
{
    if (event->type() == QEvent::FontChange || event->type() == QEvent::StyleChange)
        updateGeometries();
    QAbstractItemView::changeEvent(event);
}

void FrameListView::dataChanged(const QModelIndex& topLeft, const QModelIndex& bottomRight, const QList<int>&)
{
    if (bottomRight.row() >= firstVisibleRow() && topLeft.row() <= firstVisibleRow() + rowsPerScreen())
        viewport()->update();
}

void FrameListView::rowsInserted(const QModelIndex& parent, int start, int end)
{
    QAbstractItemView::rowsInserted(parent, start, end);
    updateGeometries();
    if (start <= firstVisibleRow() + rowsPerScreen())
        viewport()->update();
}

void FrameListView::currentChanged(const QModelIndex& current, const QModelIndex& previous)
{
    QAbstractItemView::currentChanged(current, previous);
    viewport()->update();
}

void FrameListView::selectionChanged(const QItemSelection& selected, const QItemSelection& deselected)
{
    QAbstractItemView::selectionChanged(selected, deselected);
    viewport()->update();
}

} // namespace netrondo
