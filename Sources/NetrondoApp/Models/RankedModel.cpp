#include "Models/RankedModel.h"

#include "Tasks/Background.h"

#include <algorithm>

namespace netrondo {
namespace {

/// Fills in what the wish leaves open.
std::shared_ptr<const RankedOrder> arranged(RankedOrder wish)
{
    const auto count = wish.rows ? static_cast<std::uint32_t>(wish.rows->count()) : 0;
    const auto chosen =
        count > 0 && !wish.filterText.isEmpty() ? wish.rows->holding(wish.filterText) : std::vector<bool>(count, true);
    for (std::uint32_t item = 0; item < count; ++item)
        if (chosen[item])
            wish.items.push_back(item);
    const auto before = [&](std::uint32_t a, std::uint32_t b) { return wish.rows->less(a, b, wish.sortColumn); };
    if (wish.sortColumn >= 0 && wish.sortOrder == Qt::AscendingOrder)
        std::ranges::stable_sort(wish.items, before);
    else if (wish.sortColumn >= 0)
        std::ranges::stable_sort(wish.items, [&](std::uint32_t a, std::uint32_t b) { return before(b, a); });
    wish.rowOf.assign(count, -1);
    for (std::size_t row = 0; row < wish.items.size(); ++row)
        wish.rowOf[wish.items[row]] = static_cast<int>(row);
    return std::make_shared<const RankedOrder>(std::move(wish));
}

QString quoted(const QString& text)
{
    if (!text.contains(QLatin1Char(',')) && !text.contains(QLatin1Char('"')) && !text.contains(QLatin1Char('\n')))
        return text;
    auto doubled = text;
    return QStringLiteral("\"%1\"").arg(doubled.replace(QLatin1Char('"'), QStringLiteral("\"\"")));
}

} // namespace

QString RankedOrder::csv(const QStringList& headings) const
{
    QString out;
    const auto line = [&](const auto& cell) {
        for (int column = 0; column < headings.size(); ++column)
            out += (column ? QStringLiteral(",") : QString()) + quoted(cell(column));
        out += QStringLiteral("\r\n");
    };
    line([&](int column) { return headings[column]; });
    for (const auto item : items)
        line([&](int column) { return rows->plainText(item, column); });
    return out;
}

RankedModel::RankedModel(QObject* parent) : QAbstractTableModel(parent), shown_(std::make_shared<RankedOrder>()) { }

int RankedModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : static_cast<int>(shown_->items.size());
}

int RankedModel::rowOf(std::uint32_t item) const
{
    return item < shown_->rowOf.size() ? shown_->rowOf[item] : -1;
}

QStringList RankedModel::headings() const
{
    QStringList texts;
    for (int column = 0; column < columnCount(); ++column)
        texts << headerData(column, Qt::Horizontal, Qt::DisplayRole).toString();
    return texts;
}

void RankedModel::setRows(std::shared_ptr<const RankedRows> rows)
{
    rows_ = std::move(rows);
    arrange();
}

void RankedModel::sort(int column, Qt::SortOrder order)
{
    sortColumn_ = column;
    sortOrder_ = order;
    arrange();
}

void RankedModel::setFilterText(const QString& text)
{
    if (text == filterText_)
        return;
    filterText_ = text;
    arrange();
}

void RankedModel::arrange()
{
    RankedOrder wish{rows_, filterText_, sortColumn_, sortOrder_, {}, {}};
    const auto number = ++wished_;
    const auto take = [this, number](const std::shared_ptr<const RankedOrder>& order) {
        if (number != wished_)
            return; // something else has been wished for since
        show(order);
        arranged_ = number;
        emit arranged();
    };
    if (!rows_ || rows_->count() <= fewRows)
        take(netrondo::arranged(std::move(wish)));
    else
        inBackground(
            this, [wish = std::move(wish)] { return netrondo::arranged(wish); }, take);
}

void RankedModel::show(std::shared_ptr<const RankedOrder> order)
{
    if (order->rows != shown_->rows || order->filterText != shown_->filterText) {
        beginResetModel();
        shown_ = std::move(order);
        endResetModel();
        return;
    }
    // The same rows in another order: who holds on to one goes with it.
    emit layoutAboutToBeChanged({}, QAbstractItemModel::VerticalSortHint);
    const auto before = persistentIndexList();
    QModelIndexList after;
    for (const auto& place : before)
        after.push_back(createIndex(order->rowOf[itemAt(place.row())], place.column()));
    shown_ = std::move(order);
    changePersistentIndexList(before, after);
    emit layoutChanged({}, QAbstractItemModel::VerticalSortHint);
}

} // namespace netrondo
