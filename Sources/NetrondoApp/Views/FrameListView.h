// The packet list's widget: millions of rows of one height, of which it knows only those it paints.
#pragma once

#include <QAbstractItemView>
#include <QHeaderView>
#include <QIcon>
#include <array>

namespace netrondo {

class FrameListModel;

/// Qt's own tables keep a record for every row; this one computes a row's place from its number.
class FrameListView : public QAbstractItemView {
    Q_OBJECT
public:
    explicit FrameListView(QWidget* parent = nullptr);

    void setFrames(FrameListModel* model);
    /// Columns are moved, sized and hidden through it.
    QHeaderView* header() const { return header_; }

    int firstVisibleRow() const;
    /// How many rows fit in whole.
    int rowsPerScreen() const;
    int rowHeight() const;
    /// Brings the row to this line of the view, counted from 0, as far as the list's ends allow.
    void showRowAtLine(int row, int line);
    /// The line of the view that shows the row; may lie outside of it.
    int lineOf(int row) const;
    /// Makes the row the current one and the only one chosen.
    void choose(int row);
    /// From one row to another, both included; in their order.
    using Range = std::pair<int, int>;
    QList<Range> chosenRanges() const;
    /// Not more than so many of them, the first ones.
    QList<int> chosenRows(int most) const;
    int chosenCount() const;

    QRect visualRect(const QModelIndex& index) const override;
    void scrollTo(const QModelIndex& index, ScrollHint hint = EnsureVisible) override;
    QModelIndex indexAt(const QPoint& point) const override;
    void keyboardSearch(const QString& text) override;
    void reset() override;

signals:
    /// Text was typed that is no command of the list.
    void typed(const QString& text);

protected:
    QModelIndex moveCursor(CursorAction action, Qt::KeyboardModifiers modifiers) override;
    int horizontalOffset() const override;
    int verticalOffset() const override;
    bool isIndexHidden(const QModelIndex& index) const override;
    void setSelection(const QRect& rect, QItemSelectionModel::SelectionFlags command) override;
    QRegion visualRegionForSelection(const QItemSelection& selection) const override;
    void startDrag(Qt::DropActions actions) override;

    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void scrollContentsBy(int dx, int dy) override;
    void updateGeometries() override;
    void changeEvent(QEvent* event) override;

protected slots:
    void dataChanged(const QModelIndex& topLeft, const QModelIndex& bottomRight, const QList<int>& roles = {}) override;
    void rowsInserted(const QModelIndex& parent, int start, int end) override;
    void currentChanged(const QModelIndex& current, const QModelIndex& previous) override;
    void selectionChanged(const QItemSelection& selected, const QItemSelection& deselected) override;

private:
    int rows() const;
    int gutter() const;
    void paintRow(QPainter& painter, int row, const QRect& area) const;
    void paintSigns(QPainter& painter, int row, const QRect& area) const;

    FrameListModel* frames_ = nullptr;
    QHeaderView* header_;
    std::array<QIcon, 4> signs_; ///< by severity
    QPoint pressedAt_;
};

} // namespace netrondo
