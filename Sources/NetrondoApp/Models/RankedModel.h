// A table over rows that stand elsewhere, sorted and filtered by numbers: what the lists of the window have in common.
// Long lists are put in order in the background; until that is done the list shows what it showed.
#pragma once

#include <QAbstractTableModel>
#include <QStringList>
#include <cstdint>
#include <memory>
#include <vector>

namespace netrondo {

/// What a list shows, all of it and in no order. Never changes: other threads sort and choose by it.
class RankedRows {
public:
    virtual ~RankedRows() = default;
    virtual std::size_t count() const = 0;
    virtual bool less(std::uint32_t a, std::uint32_t b, int column) const = 0;
    /// By item: whether its text holds another, whatever the case.
    virtual std::vector<bool> holding(const QString& text) const = 0;
    /// A cell without units and grouping, for other programs.
    virtual QString plainText(std::uint32_t item, int column) const = 0;
};

/// Rows in an order, some left out.
struct RankedOrder {
    std::shared_ptr<const RankedRows> rows;
    QString filterText;
    int sortColumn = -1;
    Qt::SortOrder sortOrder = Qt::DescendingOrder;
    std::vector<std::uint32_t> items; ///< by row
    std::vector<int> rowOf;           ///< by item: −1 when it is not shown

    /// As comma-separated values (RFC 4180), with a line of headings.
    QString csv(const QStringList& headings) const;
};

class RankedModel : public QAbstractTableModel {
    Q_OBJECT
public:
    static constexpr std::uint32_t none = UINT32_MAX;
    explicit RankedModel(QObject* parent = nullptr);

    int rowCount(const QModelIndex& parent = {}) const override;
    void sort(int column, Qt::SortOrder order) override;
    /// Rows whose text holds this, whatever its case; all for the empty text.
    void setFilterText(const QString& text);

    /// What stands in a row, as the index of whoever holds the values, and the way back: −1 when it is not shown.
    std::uint32_t itemAt(int row) const { return shown_->items[static_cast<std::size_t>(row)]; }
    int rowOf(std::uint32_t item) const;
    /// True while what is wished for is not yet shown.
    bool isArranging() const { return arranged_ != wished_; }

    /// What is shown, to be written on any thread.
    const std::shared_ptr<const RankedOrder>& shown() const { return shown_; }
    QStringList headings() const;

    /// Lists up to this length are put in order at once.
    static constexpr std::size_t fewRows = 4096;

signals:
    /// What was wished for last is shown.
    void arranged();

protected:
    /// The rows are others now; null for none.
    void setRows(std::shared_ptr<const RankedRows> rows);
    const std::shared_ptr<const RankedRows>& rows() const { return shown_->rows; }

private:
    void arrange();
    void show(std::shared_ptr<const RankedOrder> order);

    std::shared_ptr<const RankedOrder> shown_;
    std::shared_ptr<const RankedRows> rows_; ///< as wished for, as are the next three
    QString filterText_;
    int sortColumn_ = -1;
    Qt::SortOrder sortOrder_ = Qt::DescendingOrder;
    quint64 wished_ = 0, arranged_ = 0;
};

} // namespace netrondo
