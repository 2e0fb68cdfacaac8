// Rows of the first level carry the number 0, findings in a group that of the group and one.
#include "Models/FindingsModel.h"

#include "Base/Units.h"
#include "Models/CaptureFindings.h"
#include "Models/Severities.h"
#include "Models/Text.h"

#include <QApplication>
#include <QFont>
#include <QPalette>
#include <algorithm>
#include <cmath>

namespace netrondo {

FindingsModel::FindingsModel(QObject* parent) : QAbstractItemModel(parent)
{
    for (std::size_t i = 0; i < signs_.size(); ++i)
        signs_[i] = severityIcon(static_cast<Severity>(i));
}

FindingsModel::~FindingsModel() = default;

bool FindingsModel::isGrouped() const
{
    return findings_ && findings_->wish().groups != FindingWish::Groups::none;
}

std::size_t FindingsModel::groups() const
{
    return findings_ ? findings_->table().groups.size() : 0;
}

const FindingGroup& FindingsModel::group(std::size_t index) const
{
    return findings_->table().groups[index];
}

bool FindingsModel::hasSameRows(const CaptureFindings& other) const
{
    if (!findings_ || findings_->wish().groups != other.wish().groups)
        return false;
    const auto same = [&](const FindingGroup& a, const FindingGroup& b) {
        return a.title == b.title && std::ranges::equal(a.findings, b.findings, [&](auto one, auto another) {
                   return (*findings_)[one].isAbout(other[another]);
               });
    };
    return std::ranges::equal(findings_->table().groups, other.table().groups, same);
}

void FindingsModel::setFindings(std::shared_ptr<const CaptureFindings> findings)
{
    if (findings && hasSameRows(*findings)) {
        findings_ = std::move(findings);
        const auto tell = [this](const QModelIndex& parent) {
            if (const int rows = rowCount(parent))
                emit dataChanged(index(0, 0, parent), index(rows - 1, columns - 1, parent));
        };
        tell({});
        for (int row = 0; isGrouped() && row < rowCount(); ++row)
            tell(index(row, 0));
        return;
    }
    beginResetModel();
    findings_ = std::move(findings);
    endResetModel();
}

std::optional<std::uint32_t> FindingsModel::findingAt(const QModelIndex& index) const
{
    if (!index.isValid() || (isGrouped() && index.internalId() == 0))
        return {};
    const auto& rows = group(isGrouped() ? index.internalId() - 1 : 0).findings;
    return rows[static_cast<std::size_t>(index.row())];
}

std::optional<std::size_t> FindingsModel::groupAt(const QModelIndex& index) const
{
    if (!index.isValid() || !isGrouped() || index.internalId() != 0)
        return {};
    return static_cast<std::size_t>(index.row());
}

QModelIndex FindingsModel::indexOf(const ExpertFinding& wanted) const
{
    for (std::size_t i = 0; i < groups(); ++i) {
        const auto& rows = group(i).findings;
        const auto at = std::ranges::find_if(rows, [&](auto row) { return (*findings_)[row].isAbout(wanted); });
        if (at != rows.end())
            return createIndex(static_cast<int>(at - rows.begin()), 0, isGrouped() ? i + 1 : 0);
    }
    return {};
}

QModelIndex FindingsModel::index(int row, int column, const QModelIndex& parent) const
{
    if (row < 0 || row >= rowCount(parent) || column < 0 || column >= columns)
        return {};
    return createIndex(row, column, parent.isValid() ? static_cast<quintptr>(parent.row()) + 1 : 0);
}

QModelIndex FindingsModel::parent(const QModelIndex& index) const
{
    return index.isValid() && index.internalId() > 0
        ? createIndex(static_cast<int>(index.internalId() - 1), 0, quintptr{0})
        : QModelIndex();
}

int FindingsModel::rowCount(const QModelIndex& parent) const
{
    if (groups() == 0 || parent.column() > 0)
        return 0;
    if (!parent.isValid())
        return static_cast<int>(isGrouped() ? groups() : group(0).findings.size());
    const auto inside = groupAt(parent);
    return inside ? static_cast<int>(group(*inside).findings.size()) : 0;
}

int FindingsModel::columnCount(const QModelIndex&) const
{
    return columns;
}

QString FindingsModel::text(std::uint32_t index, int column) const
{
    const auto& finding = (*findings_)[index];
    switch (column) {
    case severity: return severityWord(finding.severity);
    case title: return asQt(ExpertText::title(finding));
    case hosts: return findings_->hostsText(finding);
    case count: return asQt(units::grouped(finding.count));
    case first: return asQt(units::timeSpan(finding.firstSeconds));
    case last: return asQt(units::timeSpan(finding.lastSeconds));
    case layer: return asQt(rawValue(finding.kind().layer));
    case confidence: return QStringLiteral("%1 %").arg(std::lround(100 * finding.confidence));
    default: return {};
    }
}

QVariant FindingsModel::groupData(const FindingGroup& group, int column, int role) const
{
    if (column != severity)
        return {};
    const auto many = asQt(units::counted(group.findings.size(), "finding", "findings"));
    switch (role) {
    case Qt::DisplayRole:
        return QStringLiteral("%1 (%2)").arg(asQt(group.title), asQt(units::grouped(group.findings.size())));
    case Qt::DecorationRole: return signs_[static_cast<std::size_t>(group.worst)];
    case Qt::AccessibleTextRole:
        return tr("%1, %2, the worst is: %3").arg(asQt(group.title), many, severityWord(group.worst));
    case Qt::FontRole: {
        QFont font;
        font.setBold(true);
        return font;
    }
    default: return {};
    }
}

QVariant FindingsModel::data(const QModelIndex& index, int role) const
{
    if (!index.isValid())
        return {};
    if (const auto inside = groupAt(index))
        return groupData(group(*inside), index.column(), role);
    const auto row = *findingAt(index);
    const auto& finding = (*findings_)[row];
    const int column = index.column();
    switch (role) {
    case Qt::DisplayRole: return finding.muted && column == severity ? tr("Muted") : text(row, column);
    case Qt::DecorationRole:
        return column == severity ? QVariant(signs_[static_cast<std::size_t>(finding.severity)]) : QVariant();
    case Qt::TextAlignmentRole:
        return static_cast<int>((column == count || column == first || column == last || column == confidence
                                     ? Qt::AlignRight
                                     : Qt::AlignLeft)
                                | Qt::AlignVCenter);
    case Qt::ForegroundRole:
        return finding.muted ? QVariant(QApplication::palette().color(QPalette::PlaceholderText)) : QVariant();
    case Qt::AccessibleTextRole:
        if (column == severity)
            return finding.muted ? tr("%1, muted").arg(text(row, column)) : text(row, column);
        return text(row, column);
    case Qt::ToolTipRole: {
        if (finding.muted)
            return tr("%1\nMuted: %2")
                .arg(asQt(ExpertText::title(finding)),
                     finding.muted->empty() ? tr("no reason was given") : asQt(*finding.muted));
        return column == hosts ? text(row, hosts) : asQt(ExpertText::whatHappened(finding));
    }
    default: return {};
    }
}

QVariant FindingsModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    static constexpr const char* titles[columns] = {
        QT_TR_NOOP("Severity"), QT_TR_NOOP("Finding"), QT_TR_NOOP("Hosts"), QT_TR_NOOP("Count"),
        QT_TR_NOOP("First"),    QT_TR_NOOP("Last"),    QT_TR_NOOP("Layer"), QT_TR_NOOP("Confidence")};
    static constexpr const char* helps[columns] = {QT_TR_NOOP("How bad it is; a click sorts by what hurts most"),
                                                   QT_TR_NOOP("What is wrong"),
                                                   QT_TR_NOOP("Whom it is about"),
                                                   QT_TR_NOOP("How often it was seen"),
                                                   QT_TR_NOOP("When it was first seen, since the first frame"),
                                                   QT_TR_NOOP("When it was last seen, since the first frame"),
                                                   QT_TR_NOOP("The layer of the network it lies in"),
                                                   QT_TR_NOOP("How sure the finding is")};
    if (orientation != Qt::Horizontal || section < 0 || section >= columns)
        return {};
    if (role == Qt::DisplayRole)
        return tr(titles[section]);
    if (role == Qt::ToolTipRole)
        return tr(helps[section]);
    return {};
}

} // namespace netrondo
