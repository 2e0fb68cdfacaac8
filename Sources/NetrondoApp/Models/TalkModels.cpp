#include "Models/TalkModels.h"

#include "Base/Units.h"
#include "Circle/ProtocolColors.h"
#include "Models/TalkTable.h"
#include "Models/Text.h"

#include <QColor>
#include <QPainter>
#include <QPixmap>
#include <algorithm>
#include <array>
#include <map>

namespace netrondo {
namespace {

using namespace units;

bool holds(std::string_view text, const QString& part)
{
    return asQt(text).contains(part, Qt::CaseInsensitive);
}

QVariant heading(const char* const* titles, const char* const* helps, int section, Qt::Orientation orientation,
                 int role)
{
    if (orientation != Qt::Horizontal)
        return {};
    if (role == Qt::DisplayRole)
        return QString::fromUtf8(titles[section]);
    if (role == Qt::ToolTipRole)
        return QString::fromUtf8(helps[section]);
    return {};
}

QVariant numbersToTheRight(bool isNumber)
{
    return static_cast<int>((isNumber ? Qt::AlignRight : Qt::AlignLeft) | Qt::AlignVCenter);
}

QColor colorOf(std::string_view protocol)
{
    const auto [r, g, b] = ProtocolColors::color(protocol);
    return {r, g, b};
}

} // namespace

QPixmap swatch(const QColor& color)
{
    QPixmap square(12, 12);
    square.fill(Qt::transparent);
    QPainter painter(&square);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(color);
    painter.drawRoundedRect(QRectF(0.5, 0.5, 11, 11), 3, 3);
    return square;
}

QString gradeText(int score, const QualityGradeThresholds& bands)
{
    return score < 0 ? QStringLiteral("–")
                     : QStringLiteral("%1 %2").arg(asQt(displayName(gradeOf(score, bands)))).arg(score);
}

// Conversations

std::size_t ConversationModel::count() const
{
    return table_ ? table_->talks().size() : 0;
}

const TalkRow& ConversationModel::talk(std::uint32_t item) const
{
    return table_->talks()[item];
}

void ConversationModel::setTable(std::shared_ptr<const TalkTable> table)
{
    table_ = std::move(table);
    rebuild();
}

void ConversationModel::setNames(bool showNames)
{
    showNames_ = showNames;
    rebuild();
}

void ConversationModel::setBands(const QualityGradeThresholds& bands)
{
    bands_ = bands;
    emit dataChanged(index(0, 0), index(rowCount() - 1, columns - 1));
}

int ConversationModel::columnCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : columns;
}

QString ConversationModel::host(const TalkRow& talk, int side) const
{
    const auto& host = table_->host(talk, side);
    return asQt(showNames_ && !host.name.empty() ? host.name : host.text);
}

QVariant ConversationModel::data(const QModelIndex& index, int role) const
{
    if (!index.isValid() || index.row() >= rowCount())
        return {};
    const auto& row = talk(itemAt(index.row()));
    const auto column = index.column();
    if (role == Qt::TextAlignmentRole)
        return numbersToTheRight(column >= bytes && column != quality && column != first);
    if (role == Qt::DecorationRole && column == protocol)
        return swatch(colorOf(row.protocol));
    if (role == Qt::DecorationRole && column == quality) {
        const auto [r, g, b] = color(gradeOf(row.score < 0 ? std::nullopt : std::optional(row.score), bands_));
        return swatch(QColor(r, g, b));
    }
    if (role == Qt::ToolTipRole && column <= hostB) {
        const auto& host = table_->host(row, column);
        return host.name.empty() ? asQt(host.text) : QStringLiteral("%1 (%2)").arg(asQt(host.text), asQt(host.name));
    }
    if (role != Qt::DisplayRole)
        return {};
    switch (column) {
    case hostA: return host(row, 0);
    case hostB: return host(row, 1);
    case protocol: return asQt(row.protocol);
    case bytes: return asQt(units::bytes(row.allBytes()));
    case bytesAB: return asQt(units::bytes(row.bytes[0]));
    case bytesBA: return asQt(units::bytes(row.bytes[1]));
    case packets: return asQt(grouped(row.allPackets()));
    case quality: return gradeText(row.score, bands_);
    case first: return asQt(timeSpan(row.first - table_->result()->captureStartSeconds.value_or(row.first)));
    case duration: return asQt(timeSpan(row.last - row.first));
    default: return {};
    }
}

QVariant ConversationModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    static constexpr const char* titles[] = {"Host A", "Host B",  "Protocol", "Bytes", "A → B",
                                             "B → A",  "Packets", "TCP",      "Start", "Duration"};
    static constexpr const char* helps[] = {"The host that spoke first",
                                            "The other host",
                                            "The protocol that names the conversation",
                                            "Bytes in both directions",
                                            "Bytes from A to B",
                                            "Bytes from B to A",
                                            "Packets in both directions",
                                            "How well TCP went: the grade and the score out of 100",
                                            "From the start of the capture to the first packet",
                                            "From the first packet to the last"};
    return section < columns ? heading(titles, helps, section, orientation, role) : QVariant();
}

bool ConversationModel::less(std::uint32_t itemA, std::uint32_t itemB, int column) const
{
    const auto &a = talk(itemA), &b = talk(itemB);
    switch (column) {
    case hostA: return table_->host(a, 0).address < table_->host(b, 0).address;
    case hostB: return table_->host(a, 1).address < table_->host(b, 1).address;
    case protocol: return a.protocol < b.protocol;
    case bytes: return a.allBytes() < b.allBytes();
    case bytesAB: return a.bytes[0] < b.bytes[0];
    case bytesBA: return a.bytes[1] < b.bytes[1];
    case packets: return a.allPackets() < b.allPackets();
    case quality: return a.score < b.score;
    case first: return a.first < b.first;
    case duration: return a.last - a.first < b.last - b.first;
    default: return false;
    }
}

void ConversationModel::prepareFilter(const QString& text)
{
    hostMatches_.clear();
    for (const auto& host : table_->hosts())
        hostMatches_.push_back(holds(host.text, text) || holds(host.name, text));
}

bool ConversationModel::matches(std::uint32_t item, const QString& text) const
{
    const auto& row = talk(item);
    return hostMatches_[row.hosts[0]] || hostMatches_[row.hosts[1]] || holds(row.protocol, text);
}

QString ConversationModel::plainText(std::uint32_t item, int column) const
{
    const auto& row = talk(item);
    switch (column) {
    case hostA: return host(row, 0);
    case hostB: return host(row, 1);
    case protocol: return asQt(row.protocol);
    case bytes: return QString::number(row.allBytes());
    case bytesAB: return QString::number(row.bytes[0]);
    case bytesBA: return QString::number(row.bytes[1]);
    case packets: return QString::number(row.allPackets());
    case quality: return row.score < 0 ? QString() : QString::number(row.score);
    case first: return QString::number(row.first - table_->result()->captureStartSeconds.value_or(row.first), 'f', 6);
    case duration: return QString::number(row.last - row.first, 'f', 6);
    default: return {};
    }
}

// Hosts

std::size_t HostModel::count() const
{
    return table_ ? table_->hosts().size() : 0;
}

void HostModel::setTable(std::shared_ptr<const TalkTable> table)
{
    table_ = std::move(table);
    rebuild();
}

int HostModel::columnCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : columns;
}

QVariant HostModel::data(const QModelIndex& index, int role) const
{
    if (!index.isValid() || index.row() >= rowCount())
        return {};
    const auto& host = table_->hosts()[itemAt(index.row())];
    if (role == Qt::TextAlignmentRole)
        return numbersToTheRight(index.column() >= bytes);
    if (role != Qt::DisplayRole)
        return {};
    switch (index.column()) {
    case address: return asQt(host.text);
    case name: return asQt(host.name);
    case bytes: return asQt(units::bytes(host.bytes()));
    case sent: return asQt(units::bytes(host.sentBytes));
    case received: return asQt(units::bytes(host.receivedBytes));
    case packets: return asQt(grouped(host.packets));
    case peers: return asQt(grouped(host.peers));
    default: return {};
    }
}

QVariant HostModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    static constexpr const char* titles[] = {"Host", "Name", "Bytes", "Sent", "Received", "Packets", "Peers"};
    static constexpr const char* helps[] = {"The host’s address",
                                            "The host’s name as the capture tells it",
                                            "Bytes sent and received",
                                            "Bytes sent",
                                            "Bytes received",
                                            "Packets sent and received",
                                            "How many hosts it talked to"};
    return section < columns ? heading(titles, helps, section, orientation, role) : QVariant();
}

bool HostModel::less(std::uint32_t itemA, std::uint32_t itemB, int column) const
{
    const auto &a = table_->hosts()[itemA], &b = table_->hosts()[itemB];
    switch (column) {
    case address: return a.address < b.address;
    case name: return a.name < b.name;
    case bytes: return a.bytes() < b.bytes();
    case sent: return a.sentBytes < b.sentBytes;
    case received: return a.receivedBytes < b.receivedBytes;
    case packets: return a.packets < b.packets;
    case peers: return a.peers < b.peers;
    default: return false;
    }
}

bool HostModel::matches(std::uint32_t item, const QString& text) const
{
    const auto& host = table_->hosts()[item];
    return holds(host.text, text) || holds(host.name, text);
}

QString HostModel::plainText(std::uint32_t item, int column) const
{
    const auto& host = table_->hosts()[item];
    switch (column) {
    case address: return asQt(host.text);
    case name: return asQt(host.name);
    case bytes: return QString::number(host.bytes());
    case sent: return QString::number(host.sentBytes);
    case received: return QString::number(host.receivedBytes);
    case packets: return QString::number(host.packets);
    case peers: return QString::number(host.peers);
    default: return {};
    }
}

// Protocols

void ProtocolModel::setTable(std::shared_ptr<const TalkTable> table)
{
    std::map<std::string_view, Row> rows;
    if (table)
        for (const auto& talk : table->talks()) {
            auto& row = rows[talk.protocol];
            row.name = talk.protocol;
            ++row.talks;
            row.bytes += talk.allBytes();
            row.packets += talk.allPackets();
        }
    rows_.clear();
    for (const auto& row : rows)
        rows_.push_back(row.second);
    setUseBytes(useBytes_);
}

void ProtocolModel::setUseBytes(bool useBytes)
{
    useBytes_ = useBytes;
    total_ = 0;
    for (const auto& row : rows_)
        total_ += volumeOf(row);
    rebuild();
}

void ProtocolModel::setHidden(std::set<std::string, std::less<>> hidden)
{
    if (hidden == hidden_)
        return;
    hidden_ = std::move(hidden);
    if (rowCount() > 0)
        emit dataChanged(index(0, 0), index(rowCount() - 1, columns - 1));
    emit hiddenChanged();
}

void ProtocolModel::showOnly(std::uint32_t item)
{
    std::set<std::string, std::less<>> others;
    for (const auto& row : rows_)
        if (row.name != rows_[item].name)
            others.emplace(row.name);
    setHidden(others == hidden_ ? std::set<std::string, std::less<>>() : others);
}

int ProtocolModel::columnCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : columns;
}

QVariant ProtocolModel::data(const QModelIndex& index, int role) const
{
    if (!index.isValid() || index.row() >= rowCount())
        return {};
    const auto& row = rows_[itemAt(index.row())];
    if (role == Qt::TextAlignmentRole)
        return numbersToTheRight(index.column() >= conversations);
    if (role == Qt::DecorationRole && index.column() == name)
        return swatch(colorOf(row.name));
    if (role == Qt::CheckStateRole && index.column() == name)
        return static_cast<int>(hidden_.contains(row.name) ? Qt::Unchecked : Qt::Checked);
    if (role != Qt::DisplayRole)
        return {};
    switch (index.column()) {
    case name: return asQt(row.name);
    case conversations: return asQt(grouped(row.talks));
    case volume: return asQt(useBytes_ ? units::bytes(row.bytes) : grouped(row.packets));
    case share: return asQt(percent(static_cast<double>(volumeOf(row)), static_cast<double>(total_)));
    default: return {};
    }
}

bool ProtocolModel::setData(const QModelIndex& index, const QVariant& value, int role)
{
    if (!index.isValid() || role != Qt::CheckStateRole || index.column() != name)
        return false;
    auto hidden = hidden_;
    const std::string protocol(nameOf(itemAt(index.row())));
    if (value.toInt() == Qt::Checked)
        hidden.erase(protocol);
    else
        hidden.insert(protocol);
    setHidden(std::move(hidden));
    return true;
}

Qt::ItemFlags ProtocolModel::flags(const QModelIndex& index) const
{
    const auto flags = RankedModel::flags(index);
    return index.column() == name ? flags | Qt::ItemIsUserCheckable : flags;
}

QVariant ProtocolModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    static constexpr const char* titles[] = {"Protocol", "Conversations", "Volume", "Share"};
    static constexpr const char* helps[] = {"Untick a protocol to hide its conversations; double-click to see it alone",
                                            "Conversations that the protocol names", "What they carried",
                                            "Of all that was carried"};
    return section < columns ? heading(titles, helps, section, orientation, role) : QVariant();
}

bool ProtocolModel::less(std::uint32_t itemA, std::uint32_t itemB, int column) const
{
    const auto &a = rows_[itemA], &b = rows_[itemB];
    switch (column) {
    case name: return a.name < b.name;
    case conversations: return a.talks < b.talks;
    default: return volumeOf(a) < volumeOf(b);
    }
}

bool ProtocolModel::matches(std::uint32_t item, const QString& text) const
{
    return holds(rows_[item].name, text);
}

QString ProtocolModel::plainText(std::uint32_t item, int column) const
{
    const auto& row = rows_[item];
    switch (column) {
    case name: return asQt(row.name);
    case conversations: return QString::number(row.talks);
    case volume: return QString::number(volumeOf(row));
    case share:
        return QString::number(total_ ? static_cast<double>(volumeOf(row)) / static_cast<double>(total_) : 0, 'f', 6);
    default: return {};
    }
}

} // namespace netrondo
