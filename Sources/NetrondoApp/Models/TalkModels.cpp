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

namespace {

class ConversationRows : public RankedRows {
public:
    using Column = ConversationModel::Column;

    ConversationRows(std::shared_ptr<const TalkTable> talks, bool showNames)
        : table(std::move(talks)), showNames_(showNames)
    { }

    const TalkRow& talk(std::uint32_t item) const { return table->talks()[item]; }
    QString host(const TalkRow& talk, int side) const
    {
        const auto& host = table->host(talk, side);
        return asQt(showNames_ && !host.name.empty() ? host.name : host.text);
    }
    double sinceStart(const TalkRow& talk) const
    {
        return talk.first - table->result()->captureStartSeconds.value_or(talk.first);
    }

    std::size_t count() const override { return table->talks().size(); }
    bool less(std::uint32_t itemA, std::uint32_t itemB, int column) const override
    {
        const auto &a = talk(itemA), &b = talk(itemB);
        switch (column) {
        case Column::hostA: return table->host(a, 0).address < table->host(b, 0).address;
        case Column::hostB: return table->host(a, 1).address < table->host(b, 1).address;
        case Column::protocol: return a.protocol < b.protocol;
        case Column::bytes: return a.allBytes() < b.allBytes();
        case Column::bytesAB: return a.bytes[0] < b.bytes[0];
        case Column::bytesBA: return a.bytes[1] < b.bytes[1];
        case Column::packets: return a.allPackets() < b.allPackets();
        case Column::quality: return a.score < b.score;
        case Column::first: return a.first < b.first;
        case Column::duration: return a.last - a.first < b.last - b.first;
        default: return false;
        }
    }
    std::vector<bool> holding(const QString& text) const override
    {
        std::vector<bool> hosts, found; // each host is asked once, however many talk to it
        for (const auto& host : table->hosts())
            hosts.push_back(holds(host.text, text) || holds(host.name, text));
        for (const auto& row : table->talks())
            found.push_back(hosts[row.hosts[0]] || hosts[row.hosts[1]] || holds(row.protocol, text));
        return found;
    }
    QString plainText(std::uint32_t item, int column) const override
    {
        const auto& row = talk(item);
        switch (column) {
        case Column::hostA: return host(row, 0);
        case Column::hostB: return host(row, 1);
        case Column::protocol: return asQt(row.protocol);
        case Column::bytes: return QString::number(row.allBytes());
        case Column::bytesAB: return QString::number(row.bytes[0]);
        case Column::bytesBA: return QString::number(row.bytes[1]);
        case Column::packets: return QString::number(row.allPackets());
        case Column::quality: return row.score < 0 ? QString() : QString::number(row.score);
        case Column::first: return QString::number(sinceStart(row), 'f', 6);
        case Column::duration: return QString::number(row.last - row.first, 'f', 6);
        default: return {};
        }
    }

    const std::shared_ptr<const TalkTable> table;

private:
    bool showNames_;
};

/// The rows that a model shows, as the kind that it gave itself.
template <typename Rows> const Rows* as(const std::shared_ptr<const RankedRows>& rows)
{
    return static_cast<const Rows*>(rows.get());
}

template <typename Rows, typename... Parameters>
std::shared_ptr<const RankedRows> rowsOf(const std::shared_ptr<const TalkTable>& table, Parameters... parameters)
{
    return table ? std::make_shared<const Rows>(table, parameters...) : nullptr;
}

} // namespace

void ConversationModel::setTable(std::shared_ptr<const TalkTable> table)
{
    table_ = std::move(table);
    setRows(rowsOf<ConversationRows>(table_, showNames_));
}

void ConversationModel::setNames(bool showNames)
{
    showNames_ = showNames;
    setRows(rowsOf<ConversationRows>(table_, showNames_));
}

void ConversationModel::setBands(const QualityGradeThresholds& bands)
{
    bands_ = bands;
    if (rowCount() > 0)
        emit dataChanged(index(0, 0), index(rowCount() - 1, columns - 1));
}

const TalkTable* ConversationModel::table() const
{
    return rows() ? as<ConversationRows>(rows())->table.get() : nullptr;
}

int ConversationModel::columnCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : columns;
}

QVariant ConversationModel::data(const QModelIndex& index, int role) const
{
    if (!index.isValid() || index.row() >= rowCount())
        return {};
    const auto& all = *as<ConversationRows>(rows());
    const auto& row = all.talk(itemAt(index.row()));
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
        const auto& host = all.table->host(row, column);
        return host.name.empty() ? asQt(host.text) : QStringLiteral("%1 (%2)").arg(asQt(host.text), asQt(host.name));
    }
    if (role != Qt::DisplayRole)
        return {};
    switch (column) {
    case hostA: return all.host(row, 0);
    case hostB: return all.host(row, 1);
    case protocol: return asQt(row.protocol);
    case bytes: return asQt(units::bytes(row.allBytes()));
    case bytesAB: return asQt(units::bytes(row.bytes[0]));
    case bytesBA: return asQt(units::bytes(row.bytes[1]));
    case packets: return asQt(grouped(row.allPackets()));
    case quality: return gradeText(row.score, bands_);
    case first: return asQt(timeSpan(all.sinceStart(row)));
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

// Hosts

namespace {

class HostRows : public RankedRows {
public:
    using Column = HostModel::Column;

    explicit HostRows(std::shared_ptr<const TalkTable> talks) : table(std::move(talks)) { }
    const HostRow& host(std::uint32_t item) const { return table->hosts()[item]; }

    std::size_t count() const override { return table->hosts().size(); }
    bool less(std::uint32_t itemA, std::uint32_t itemB, int column) const override
    {
        const auto &a = host(itemA), &b = host(itemB);
        switch (column) {
        case Column::address: return a.address < b.address;
        case Column::name: return a.name < b.name;
        case Column::bytes: return a.bytes() < b.bytes();
        case Column::sent: return a.sentBytes < b.sentBytes;
        case Column::received: return a.receivedBytes < b.receivedBytes;
        case Column::packets: return a.packets < b.packets;
        case Column::peers: return a.peers < b.peers;
        default: return false;
        }
    }
    std::vector<bool> holding(const QString& text) const override
    {
        std::vector<bool> found;
        for (const auto& row : table->hosts())
            found.push_back(holds(row.text, text) || holds(row.name, text));
        return found;
    }
    QString plainText(std::uint32_t item, int column) const override
    {
        const auto& row = host(item);
        switch (column) {
        case Column::address: return asQt(row.text);
        case Column::name: return asQt(row.name);
        case Column::bytes: return QString::number(row.bytes());
        case Column::sent: return QString::number(row.sentBytes);
        case Column::received: return QString::number(row.receivedBytes);
        case Column::packets: return QString::number(row.packets);
        case Column::peers: return QString::number(row.peers);
        default: return {};
        }
    }

    const std::shared_ptr<const TalkTable> table;
};

} // namespace

void HostModel::setTable(const std::shared_ptr<const TalkTable>& table)
{
    setRows(rowsOf<HostRows>(table));
}

const TalkTable* HostModel::table() const
{
    return rows() ? as<HostRows>(rows())->table.get() : nullptr;
}

int HostModel::columnCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : columns;
}

QVariant HostModel::data(const QModelIndex& index, int role) const
{
    if (!index.isValid() || index.row() >= rowCount())
        return {};
    const auto& host = as<HostRows>(rows())->host(itemAt(index.row()));
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

// Protocols

namespace {

class ProtocolRows : public RankedRows {
public:
    using Column = ProtocolModel::Column;

    ProtocolRows(std::shared_ptr<const TalkTable> talks, bool useBytes) : table(std::move(talks)), useBytes_(useBytes)
    {
        for (const auto& row : table->protocols())
            total += volumeOf(row);
    }
    const ProtocolRow& protocol(std::uint32_t item) const { return table->protocols()[item]; }
    std::uint64_t volumeOf(const ProtocolRow& row) const { return useBytes_ ? row.bytes : row.packets; }

    std::size_t count() const override { return table->protocols().size(); }
    bool less(std::uint32_t itemA, std::uint32_t itemB, int column) const override
    {
        const auto &a = protocol(itemA), &b = protocol(itemB);
        switch (column) {
        case Column::name: return a.name < b.name;
        case Column::conversations: return a.talks < b.talks;
        default: return volumeOf(a) < volumeOf(b);
        }
    }
    std::vector<bool> holding(const QString& text) const override
    {
        std::vector<bool> found;
        for (const auto& row : table->protocols())
            found.push_back(holds(row.name, text));
        return found;
    }
    QString plainText(std::uint32_t item, int column) const override
    {
        const auto& row = protocol(item);
        switch (column) {
        case Column::name: return asQt(row.name);
        case Column::conversations: return QString::number(row.talks);
        case Column::volume: return QString::number(volumeOf(row));
        case Column::share:
            return QString::number(total ? static_cast<double>(volumeOf(row)) / static_cast<double>(total) : 0, 'f', 6);
        default: return {};
        }
    }

    const std::shared_ptr<const TalkTable> table;
    std::uint64_t total = 0;

private:
    bool useBytes_;
};

} // namespace

void ProtocolModel::setTable(std::shared_ptr<const TalkTable> table)
{
    table_ = std::move(table);
    setUseBytes(useBytes_);
}

void ProtocolModel::setUseBytes(bool useBytes)
{
    useBytes_ = useBytes;
    setRows(rowsOf<ProtocolRows>(table_, useBytes_));
}

std::string_view ProtocolModel::nameOf(std::uint32_t item) const
{
    return as<ProtocolRows>(rows())->protocol(item).name;
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
    for (const auto& row : as<ProtocolRows>(rows())->table->protocols())
        if (row.name != nameOf(item))
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
    const auto& all = *as<ProtocolRows>(rows());
    const auto& row = all.protocol(itemAt(index.row()));
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
    case share: return asQt(percent(static_cast<double>(all.volumeOf(row)), static_cast<double>(all.total)));
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

} // namespace netrondo
