// A table over rows that stand elsewhere, sorted and filtered by numbers: what the lists of the window have in common.
#pragma once

#include <QAbstractTableModel>
#include <cstdint>
#include <vector>

namespace netrondo {

class RankedModel : public QAbstractTableModel {
    Q_OBJECT
public:
    static constexpr std::uint32_t none = UINT32_MAX;
    using QAbstractTableModel::QAbstractTableModel;

    int rowCount(const QModelIndex& parent = {}) const override;
    void sort(int column, Qt::SortOrder order) override;
    /// Rows whose text holds this, whatever its case; all for the empty text.
    void setFilterText(const QString& text);

    /// What stands in a row, as the index of whoever holds the values, and the way back: −1 when it is not shown.
    std::uint32_t itemAt(int row) const { return order_[static_cast<std::size_t>(row)]; }
    int rowOf(std::uint32_t item) const;
    std::size_t itemCount() const { return count(); }

    /// The shown rows as comma-separated values (RFC 4180), with a line of headings.
    QString csv() const;

protected:
    virtual std::size_t count() const = 0;
    virtual bool less(std::uint32_t a, std::uint32_t b, int column) const = 0;
    /// Called once before the rows are asked, so that work they share is done once.
    virtual void prepareFilter(const QString&) { }
    virtual bool matches(std::uint32_t item, const QString& text) const = 0;
    /// A cell without units and grouping, for other programs.
    virtual QString plainText(std::uint32_t item, int column) const = 0;

    /// The rows are others now.
    void rebuild();
    QString filterText() const { return filterText_; }

private:
    void arrange();
    void order();

    std::vector<std::uint32_t> order_;
    std::vector<int> rows_; ///< by item
    int sortColumn_ = -1;
    Qt::SortOrder sortOrder_ = Qt::DescendingOrder;
    QString filterText_;
};

} // namespace netrondo
