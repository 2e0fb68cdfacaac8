// The list of findings as Qt's tree view sees it: findings, or groups of them.
#pragma once

#include <QAbstractItemModel>
#include <QIcon>
#include <array>
#include <cstdint>
#include <memory>
#include <optional>

namespace netrondo {

class CaptureFindings;
struct ExpertFinding;
struct FindingGroup;

class FindingsModel : public QAbstractItemModel {
    Q_OBJECT
public:
    enum Column { severity, title, hosts, count, first, last, layer, confidence, columns };

    explicit FindingsModel(QObject* parent = nullptr);
    ~FindingsModel() override;

    /// Null for none. Where the same findings stand in the same rows as before nothing moves.
    void setFindings(std::shared_ptr<const CaptureFindings> findings);
    const std::shared_ptr<const CaptureFindings>& findings() const { return findings_; }
    bool isGrouped() const;

    /// The finding of a row; nothing for a group.
    std::optional<std::uint32_t> findingAt(const QModelIndex& index) const;
    /// The group of a row; nothing for a finding.
    std::optional<std::size_t> groupAt(const QModelIndex& index) const;
    /// The row of the finding that is about the same; not valid when it is not shown.
    QModelIndex indexOf(const ExpertFinding& wanted) const;

    QModelIndex index(int row, int column, const QModelIndex& parent = {}) const override;
    QModelIndex parent(const QModelIndex& index) const override;
    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

private:
    const FindingGroup& group(std::size_t index) const;
    std::size_t groups() const;
    bool hasSameRows(const CaptureFindings& other) const;
    QVariant groupData(const FindingGroup& group, int column, int role) const;
    QString text(std::uint32_t finding, int column) const;

    std::shared_ptr<const CaptureFindings> findings_;
    std::array<QIcon, 4> signs_;
};

} // namespace netrondo
