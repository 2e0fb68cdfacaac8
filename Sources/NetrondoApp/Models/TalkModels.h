// The lists of conversations, hosts and protocols.
#pragma once

#include "Analysis/Tcp/TCPSessionQuality.h"
#include "Models/RankedModel.h"

#include <memory>
#include <set>
#include <string>

namespace netrondo {

class TalkTable;
struct TalkRow;

class ConversationModel : public RankedModel {
    Q_OBJECT
public:
    enum Column { hostA, hostB, protocol, bytes, bytesAB, bytesBA, packets, quality, first, duration, columns };

    using RankedModel::RankedModel;
    void setTable(std::shared_ptr<const TalkTable> table);
    void setNames(bool showNames);
    void setBands(const QualityGradeThresholds& bands);

    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

protected:
    std::size_t count() const override;
    bool less(std::uint32_t a, std::uint32_t b, int column) const override;
    void prepareFilter(const QString& text) override;
    bool matches(std::uint32_t item, const QString& text) const override;
    QString plainText(std::uint32_t item, int column) const override;

private:
    const TalkRow& talk(std::uint32_t item) const;
    QString host(const TalkRow& talk, int side) const;

    std::shared_ptr<const TalkTable> table_;
    std::vector<bool> hostMatches_;
    bool showNames_ = true;
    QualityGradeThresholds bands_;
};

class HostModel : public RankedModel {
    Q_OBJECT
public:
    enum Column { address, name, bytes, sent, received, packets, peers, columns };

    using RankedModel::RankedModel;
    void setTable(std::shared_ptr<const TalkTable> table);

    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

protected:
    std::size_t count() const override;
    bool less(std::uint32_t a, std::uint32_t b, int column) const override;
    bool matches(std::uint32_t item, const QString& text) const override;
    QString plainText(std::uint32_t item, int column) const override;

private:
    std::shared_ptr<const TalkTable> table_;
};

/// The legend: the protocols that name the conversations, each with its colour; unticked ones are not drawn.
class ProtocolModel : public RankedModel {
    Q_OBJECT
public:
    enum Column { name, conversations, volume, share, columns };

    using RankedModel::RankedModel;
    void setTable(std::shared_ptr<const TalkTable> table);
    void setUseBytes(bool useBytes);

    const std::set<std::string, std::less<>>& hidden() const { return hidden_; }
    void setHidden(std::set<std::string, std::less<>> hidden);
    /// Hides all others; all again when the others are hidden already.
    void showOnly(std::uint32_t item);
    std::string_view nameOf(std::uint32_t item) const { return rows_[item].name; }

    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    bool setData(const QModelIndex& index, const QVariant& value, int role) override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

signals:
    void hiddenChanged();

protected:
    std::size_t count() const override { return rows_.size(); }
    bool less(std::uint32_t a, std::uint32_t b, int column) const override;
    bool matches(std::uint32_t item, const QString& text) const override;
    QString plainText(std::uint32_t item, int column) const override;

private:
    struct Row {
        std::string_view name;
        std::uint64_t talks = 0, bytes = 0, packets = 0;
    };
    std::uint64_t volumeOf(const Row& row) const { return useBytes_ ? row.bytes : row.packets; }

    std::vector<Row> rows_;
    std::uint64_t total_ = 0;
    bool useBytes_ = true;
    std::set<std::string, std::less<>> hidden_;
};

/// A small square of a colour, as it stands beside a name.
QPixmap swatch(const QColor& color);
/// A grade as tables show it: "Good 60"; the letter and the number say it without the colour.
QString gradeText(int score, const QualityGradeThresholds& bands);

} // namespace netrondo
