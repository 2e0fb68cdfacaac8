#include "Models/RankedModel.h"

#include <algorithm>

namespace netrondo {

int RankedModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : static_cast<int>(order_.size());
}

int RankedModel::rowOf(std::uint32_t item) const
{
    return item < rows_.size() ? rows_[item] : -1;
}

void RankedModel::order()
{
    const auto before = [&](std::uint32_t a, std::uint32_t b) { return less(a, b, sortColumn_); };
    if (sortColumn_ >= 0 && sortOrder_ == Qt::AscendingOrder)
        std::ranges::stable_sort(order_, before);
    else if (sortColumn_ >= 0)
        std::ranges::stable_sort(order_, [&](std::uint32_t a, std::uint32_t b) { return before(b, a); });
    rows_.assign(count(), -1);
    for (std::size_t row = 0; row < order_.size(); ++row)
        rows_[order_[row]] = static_cast<int>(row);
}

void RankedModel::arrange()
{
    order_.clear();
    if (!filterText_.isEmpty())
        prepareFilter(filterText_);
    for (std::uint32_t item = 0; item < count(); ++item)
        if (filterText_.isEmpty() || matches(item, filterText_))
            order_.push_back(item);
    order();
}

void RankedModel::rebuild()
{
    beginResetModel();
    arrange();
    endResetModel();
}

void RankedModel::sort(int column, Qt::SortOrder order)
{
    sortColumn_ = column;
    sortOrder_ = order;
    emit layoutAboutToBeChanged({}, QAbstractItemModel::VerticalSortHint);
    const auto indexes = persistentIndexList();
    std::vector<std::uint32_t> items;
    for (const auto& index : indexes)
        items.push_back(itemAt(index.row()));
    this->order();
    QModelIndexList moved;
    for (qsizetype i = 0; i < indexes.size(); ++i)
        moved.push_back(index(rowOf(items[static_cast<std::size_t>(i)]), indexes[i].column()));
    changePersistentIndexList(indexes, moved);
    emit layoutChanged({}, QAbstractItemModel::VerticalSortHint);
}

void RankedModel::setFilterText(const QString& text)
{
    if (text == filterText_)
        return;
    filterText_ = text;
    rebuild();
}

QString RankedModel::csv() const
{
    const auto quoted = [](const QString& text) {
        if (!text.contains(QLatin1Char(',')) && !text.contains(QLatin1Char('"')) && !text.contains(QLatin1Char('\n')))
            return text;
        auto doubled = text;
        return QStringLiteral("\"%1\"").arg(doubled.replace(QLatin1Char('"'), QStringLiteral("\"\"")));
    };
    QString out;
    const auto line = [&](const auto& cell) {
        for (int column = 0; column < columnCount(); ++column)
            out += (column ? QStringLiteral(",") : QString()) + quoted(cell(column));
        out += QStringLiteral("\r\n");
    };
    line([&](int column) { return headerData(column, Qt::Horizontal, Qt::DisplayRole).toString(); });
    for (const auto item : order_)
        line([&](int column) { return plainText(item, column); });
    return out;
}

} // namespace netrondo
