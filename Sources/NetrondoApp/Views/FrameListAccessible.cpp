// Qt's own table interface serves Qt's own tables; this one speaks for any view with a model of one level.
#include "Views/FrameListAccessible.h"

#include "Views/FrameListView.h"

#include <QAccessibleWidget>
#include <QHash>
#include <algorithm>

namespace netrondo {
namespace {

class Cell final : public QAccessibleInterface, public QAccessibleTableCellInterface {
public:
    Cell(FrameListView* view, int row, int column) : view_(view), row_(row), column_(column) { }

    bool isValid() const override
    {
        return view_ && view_->model() && row_ < view_->model()->rowCount() && column_ < view_->model()->columnCount();
    }
    QObject* object() const override { return nullptr; }
    QWindow* window() const override { return view_ ? view_->window()->windowHandle() : nullptr; }
    QAccessibleInterface* childAt(int, int) const override { return nullptr; }
    QAccessibleInterface* parent() const override { return QAccessible::queryAccessibleInterface(view_); }
    QAccessibleInterface* child(int) const override { return nullptr; }
    int childCount() const override { return 0; }
    int indexOfChild(const QAccessibleInterface*) const override { return -1; }
    QString text(QAccessible::Text kind) const override
    {
        return kind == QAccessible::Name || kind == QAccessible::Value ? index().data(Qt::AccessibleTextRole).toString()
                                                                       : QString();
    }
    void setText(QAccessible::Text, const QString&) override { }
    QRect rect() const override
    {
        const auto place = view_->visualRect(index());
        return place.isNull() ? place : QRect(view_->viewport()->mapToGlobal(place.topLeft()), place.size());
    }
    QAccessible::Role role() const override { return QAccessible::Cell; }
    QAccessible::State state() const override
    {
        QAccessible::State state;
        state.selectable = state.focusable = true;
        state.selected = isSelected();
        state.focused = view_->hasFocus() && view_->currentIndex() == index();
        state.invisible = !view_->viewport()->rect().intersects(view_->visualRect(index()));
        return state;
    }
    void* interface_cast(QAccessible::InterfaceType type) override
    {
        return type == QAccessible::TableCellInterface ? static_cast<QAccessibleTableCellInterface*>(this) : nullptr;
    }

    int columnExtent() const override { return 1; }
    int rowExtent() const override { return 1; }
    QList<QAccessibleInterface*> columnHeaderCells() const override { return {}; }
    QList<QAccessibleInterface*> rowHeaderCells() const override { return {}; }
    int columnIndex() const override { return column_; }
    int rowIndex() const override { return row_; }
    bool isSelected() const override { return view_->selectionModel()->isSelected(index()); }
    QAccessibleInterface* table() const override { return parent(); }

private:
    QModelIndex index() const { return view_->model()->index(row_, column_); }

    QPointer<FrameListView> view_;
    int row_, column_;
};

class Table final : public QAccessibleWidget, public QAccessibleTableInterface {
public:
    explicit Table(FrameListView* view) : QAccessibleWidget(view, QAccessible::Table), view_(view) { }
    ~Table() override { forget(); }
    Table(const Table&) = delete;
    Table& operator=(const Table&) = delete;

    void* interface_cast(QAccessible::InterfaceType type) override
    {
        return type == QAccessible::TableInterface ? static_cast<QAccessibleTableInterface*>(this)
                                                   : QAccessibleWidget::interface_cast(type);
    }
    int childCount() const override { return columnCount() * rowCount(); }
    QAccessibleInterface* child(int index) const override
    {
        return index < 0 || columnCount() == 0 ? nullptr : cellAt(index / columnCount(), index % columnCount());
    }
    int indexOfChild(const QAccessibleInterface* child) const override
    {
        const auto* cell = dynamic_cast<const Cell*>(child);
        return cell ? cell->rowIndex() * columnCount() + cell->columnIndex() : -1;
    }
    QAccessibleInterface* childAt(int x, int y) const override
    {
        const auto index = view_->indexAt(view_->viewport()->mapFromGlobal(QPoint(x, y)));
        return index.isValid() ? cellAt(index.row(), index.column()) : nullptr;
    }
    QAccessibleInterface* focusChild() const override
    {
        const auto index = view_->currentIndex();
        return index.isValid() ? cellAt(index.row(), index.column()) : nullptr;
    }

    QAccessibleInterface* caption() const override { return nullptr; }
    QAccessibleInterface* summary() const override { return nullptr; }
    QAccessibleInterface* cellAt(int row, int column) const override
    {
        if (row < 0 || row >= rowCount() || column < 0 || column >= columnCount())
            return nullptr;
        const auto key = std::pair(row, column);
        if (const auto known = cells_.constFind(key); known != cells_.constEnd())
            return QAccessible::accessibleInterface(*known);
        if (cells_.size() >= maxCells)
            forget();
        auto* cell = new Cell(view_, row, column); // QAccessible owns it from here on
        cells_.insert(key, QAccessible::registerAccessibleInterface(cell));
        return cell;
    }
    int selectedCellCount() const override { return selectedRowCount() * columnCount(); }
    QList<QAccessibleInterface*> selectedCells() const override
    {
        QList<QAccessibleInterface*> cells;
        for (const int row : selectedRows())
            for (int column = 0; column < columnCount(); ++column)
                cells.append(cellAt(row, column));
        return cells;
    }
    QString columnDescription(int column) const override
    {
        return view_->model()->headerData(column, Qt::Horizontal, Qt::DisplayRole).toString();
    }
    QString rowDescription(int) const override { return {}; }
    int selectedColumnCount() const override { return 0; }
    int selectedRowCount() const override { return view_->chosenCount(); }
    int columnCount() const override { return view_->model() ? view_->model()->columnCount() : 0; }
    int rowCount() const override
    {
        // The number of cells is an int.
        return view_->model() ? std::min(view_->model()->rowCount(), std::numeric_limits<int>::max() / 16) : 0;
    }
    QList<int> selectedColumns() const override { return {}; }
    QList<int> selectedRows() const override
    {
        return view_->chosenRows(1000); // more than anyone listens to
    }
    bool isColumnSelected(int) const override { return false; }
    bool isRowSelected(int row) const override { return view_->selectionModel()->isRowSelected(row, {}); }
    bool selectRow(int row) override
    {
        if (row < 0 || row >= rowCount())
            return false;
        view_->choose(row);
        return true;
    }
    bool selectColumn(int) override { return false; }
    bool unselectRow(int row) override
    {
        const auto index = view_->model()->index(row, 0);
        view_->selectionModel()->select(index, QItemSelectionModel::Deselect | QItemSelectionModel::Rows);
        return true;
    }
    bool unselectColumn(int) override { return false; }
    void modelChange(QAccessibleTableModelChangeEvent* event) override
    {
        if (event->modelChangeType() == QAccessibleTableModelChangeEvent::ModelReset)
            forget();
    }

private:
    static constexpr qsizetype maxCells = 4096;

    void forget() const
    {
        for (const auto id : std::as_const(cells_))
            QAccessible::deleteAccessibleInterface(id);
        cells_.clear();
    }

    FrameListView* view_;
    mutable QHash<std::pair<int, int>, QAccessible::Id> cells_;
};

} // namespace

QAccessibleInterface* makeFrameListAccessible(const QString& className, QObject* object)
{
    auto* view = qobject_cast<FrameListView*>(object);
    return view && className == QLatin1String("netrondo::FrameListView") ? new Table(view) : nullptr;
}

} // namespace netrondo
