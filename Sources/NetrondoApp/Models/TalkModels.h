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
    /// Whose rows are shown, which may still be those before the latest; null for none.
    const TalkTable* table() const;

    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

private:
    std::shared_ptr<const TalkTable> table_; ///< the latest
    bool showNames_ = true;
    QualityGradeThresholds bands_;
};

class HostModel : public RankedModel {
    Q_OBJECT
public:
    enum Column { address, name, bytes, sent, received, packets, peers, columns };

    using RankedModel::RankedModel;
    void setTable(const std::shared_ptr<const TalkTable>& table);
    const TalkTable* table() const;

    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;
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
    std::string_view nameOf(std::uint32_t item) const;

    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    bool setData(const QModelIndex& index, const QVariant& value, int role) override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

signals:
    void hiddenChanged();

private:
    std::shared_ptr<const TalkTable> table_; ///< the latest
    bool useBytes_ = true;
    std::set<std::string, std::less<>> hidden_;
};

/// A small square of a colour, as it stands beside a name.
QPixmap swatch(const QColor& color);
/// A grade as tables show it: "Good 60"; the letter and the number say it without the colour.
QString gradeText(int score, const QualityGradeThresholds& bands);

} // namespace netrondo
