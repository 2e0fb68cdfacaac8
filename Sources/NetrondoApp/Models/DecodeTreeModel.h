// The protocol tree of one frame for Qt's views: a model index is a node's index.
#pragma once

#include "Tasks/FrameRowLoader.h"

#include <QAbstractItemModel>
#include <QStringList>
#include <memory>
#include <vector>

namespace netrondo {

class DecodeTreeModel : public QAbstractItemModel {
    Q_OBJECT
public:
    enum Role {
        idRole = Qt::UserRole, ///< the field's name as filters and JSON have it
        problemRole,           ///< the finding's sentence, of the node or of one below it; empty for none
    };

    using QAbstractItemModel::QAbstractItemModel;

    /// What is shown of a frame.
    enum class Extent {
        remarks, ///< what is said about it alone
        whole,
    };
    /// Null for no frame. Remarks stand above the frame's own rows; they are no nodes.
    void setFrame(std::shared_ptr<const FrameDetail> frame, const QStringList& remarks = {},
                  Extent extent = Extent::whole);
    const QStringList& remarks() const { return remarks_; }
    static bool isNode(const QModelIndex& index) { return index.isValid() && index.internalId() < firstRemark; }
    const FrameDetail* frame() const { return frame_.get(); }
    const std::shared_ptr<const FrameDetail>& sharedFrame() const { return frame_; }

    QModelIndex indexOf(std::uint32_t node) const;
    static std::uint32_t nodeAt(const QModelIndex& index) { return static_cast<std::uint32_t>(index.internalId()); }
    /// The innermost node that stands for the byte of the frame, or of the bytes that decoding made.
    QModelIndex nodeOfByte(std::uint32_t offset, bool ofDerivedBytes) const;
    /// The filter that a node stands for; empty when it stands for none.
    QString filterOf(const QModelIndex& index) const;
    /// A node that says the same in another frame: the same names along the way. Invalid when there is none.
    QModelIndex find(const QStringList& path) const;
    /// The names from the frame's outermost layer down to the node.
    QStringList pathOf(const QModelIndex& index) const;

    QModelIndex index(int row, int column, const QModelIndex& parent = {}) const override;
    QModelIndex parent(const QModelIndex& index) const override;
    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;
    QMimeData* mimeData(const QModelIndexList& indexes) const override;
    QStringList mimeTypes() const override;

private:
    static constexpr std::uint32_t root = 0xffffffff;
    static constexpr quintptr firstRemark = 0xff000000; ///< a frame has by far not so many nodes

    const DecodeTree& tree() const { return frame_->decoded.tree; }
    const std::vector<std::uint32_t>& childrenOf(std::uint32_t node) const;
    Expert worstIn(std::uint32_t node) const;

    std::shared_ptr<const FrameDetail> frame_;
    QStringList remarks_;
    // Nodes know where their subtree ends; going up and sideways takes these.
    std::vector<std::uint32_t> parents_;
    std::vector<std::uint32_t> rows_;
    std::vector<std::vector<std::uint32_t>> children_; ///< of each node, and of the root at the end
};

} // namespace netrondo
