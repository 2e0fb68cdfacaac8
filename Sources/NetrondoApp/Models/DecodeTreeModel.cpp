// One frame at a time, so that tables for going up and sideways are made anew for each.
#include "Models/DecodeTreeModel.h"

#include "Dissection/Decode/Render.h"
#include "Dissection/Filter/FilterFrom.h"

#include <QMimeData>
#include <QStringList>

namespace netrondo {
namespace {
QString toQString(std::string_view text)
{
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}
} // namespace

void DecodeTreeModel::setFrame(std::shared_ptr<const FrameDetail> frame, const QStringList& remarks, Extent extent)
{
    beginResetModel();
    frame_ = std::move(frame);
    remarks_ = remarks;
    const std::uint32_t count = frame_ && extent == Extent::whole ? tree().size() : 0;
    parents_.assign(count, root);
    rows_.assign(count, 0);
    children_.assign(count + 1, {});
    for (qsizetype i = 0; i < remarks_.size(); ++i)
        children_.back().push_back(static_cast<std::uint32_t>(firstRemark + static_cast<quintptr>(i)));
    std::vector<std::uint32_t> open; // the nodes around the one that is looked at
    for (std::uint32_t node = 0; node < count; ++node) {
        while (!open.empty() && tree()[open.back()].end <= node)
            open.pop_back();
        auto& siblings = children_[open.empty() ? count : open.back()];
        parents_[node] = open.empty() ? root : open.back();
        rows_[node] = static_cast<std::uint32_t>(siblings.size());
        siblings.push_back(node);
        open.push_back(node);
    }
    endResetModel();
}

const std::vector<std::uint32_t>& DecodeTreeModel::childrenOf(std::uint32_t node) const
{
    return node == root ? children_.back() : children_[node];
}

QModelIndex DecodeTreeModel::indexOf(std::uint32_t node) const
{
    return node < rows_.size() ? createIndex(static_cast<int>(rows_[node]), 0, quintptr{node}) : QModelIndex();
}

QModelIndex DecodeTreeModel::nodeOfByte(std::uint32_t offset, bool ofDerivedBytes) const
{
    if (!frame_)
        return {};
    const auto nodes = tree().nodes();
    std::uint32_t best = root;
    for (std::uint32_t i = 0; i < nodes.size(); ++i) {
        const auto& node = nodes[i];
        const bool isThere = static_cast<bool>(node.flags & Node::derivedBytes) == ofDerivedBytes
            && offset >= node.offset && offset - node.offset < node.length;
        // Among nodes of the same bytes the later one lies deeper.
        if (isThere && (best == root || node.length <= nodes[best].length))
            best = i;
    }
    return best == root ? QModelIndex() : indexOf(best);
}

QString DecodeTreeModel::filterOf(const QModelIndex& index) const
{
    return frame_ && isNode(index) ? QString::fromStdString(FilterFrom::node(frame_->decoded, nodeAt(index)))
                                   : QString();
}

QStringList DecodeTreeModel::pathOf(const QModelIndex& index) const
{
    QStringList path;
    for (auto at = index; at.isValid(); at = at.parent())
        path.prepend(at.data(idRole).toString());
    return path;
}

QModelIndex DecodeTreeModel::find(const QStringList& path) const
{
    QModelIndex found;
    for (const auto& id : path) {
        const int rows = rowCount(found);
        int row = 0;
        while (row < rows && index(row, 0, found).data(idRole).toString() != id)
            ++row;
        if (row == rows)
            return {};
        found = index(row, 0, found);
    }
    return found;
}

QModelIndex DecodeTreeModel::index(int row, int column, const QModelIndex& parent) const
{
    if (!frame_ || column != 0 || row < 0 || row >= rowCount(parent))
        return {};
    const auto& siblings = childrenOf(parent.isValid() ? nodeAt(parent) : root);
    return createIndex(row, 0, quintptr{siblings[static_cast<std::size_t>(row)]});
}

QModelIndex DecodeTreeModel::parent(const QModelIndex& index) const
{
    if (!isNode(index))
        return {};
    const auto parent = parents_[nodeAt(index)];
    return parent == root ? QModelIndex() : indexOf(parent);
}

int DecodeTreeModel::rowCount(const QModelIndex& parent) const
{
    if (!frame_ || (parent.isValid() && !isNode(parent)))
        return 0;
    return static_cast<int>(childrenOf(parent.isValid() ? nodeAt(parent) : root).size());
}

int DecodeTreeModel::columnCount(const QModelIndex&) const
{
    return 1;
}

/// The first finding in the subtree: a closed node shows what is wrong below it.
Expert DecodeTreeModel::worstIn(std::uint32_t node) const
{
    for (auto i = node; i < tree()[node].end; ++i)
        if (tree()[i].expert != Expert::none)
            return tree()[i].expert;
    return Expert::none;
}

QVariant DecodeTreeModel::data(const QModelIndex& index, int role) const
{
    if (!frame_ || !index.isValid())
        return {};
    if (!isNode(index)) {
        const bool isText = role == Qt::DisplayRole || role == Qt::AccessibleTextRole || role == Qt::ToolTipRole;
        return isText ? remarks_[index.row()] : QVariant(); // they are the first rows
    }
    const auto node = nodeAt(index);
    switch (role) {
    case Qt::DisplayRole: {
        TextSink out;
        Render::row(frame_->decoded, node, out);
        auto row = toQString(out.text());
        if (const auto expert = tree()[node].expert; expert != Expert::none)
            row += QStringLiteral(" — ") + toQString(expertText(expert));
        return row;
    }
    case Qt::AccessibleTextRole: {
        const auto row = data(index, Qt::DisplayRole).toString();
        const bool isBelow = tree()[node].expert == Expert::none && worstIn(node) != Expert::none;
        return isBelow ? tr("%1, has a problem").arg(row) : row;
    }
    case Qt::ToolTipRole: {
        const auto filter = filterOf(index);
        return filter.isEmpty() ? toQString(tree()[node].field->id) : filter;
    }
    case idRole: return toQString(tree()[node].field->id);
    case problemRole: return toQString(expertText(worstIn(node)));
    default: return {};
    }
}

Qt::ItemFlags DecodeTreeModel::flags(const QModelIndex& index) const
{
    return index.isValid() ? Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemIsDragEnabled : Qt::NoItemFlags;
}

QStringList DecodeTreeModel::mimeTypes() const
{
    return {QStringLiteral("text/plain")};
}

QMimeData* DecodeTreeModel::mimeData(const QModelIndexList& indexes) const
{
    const auto filter = indexes.isEmpty() ? QString() : filterOf(indexes.first());
    if (filter.isEmpty())
        return nullptr;
    auto* data = new QMimeData;
    data->setText(filter);
    return data;
}

} // namespace netrondo
