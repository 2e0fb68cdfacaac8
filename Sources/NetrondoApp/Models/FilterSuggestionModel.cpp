// The completer's answers as rows.
#include "Models/FilterSuggestionModel.h"

namespace netrondo {
namespace {
constexpr int maxSuggestions = 40;

QString toQString(std::string_view text)
{
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}
} // namespace

void FilterSuggestionModel::setText(const QString& textBeforeCursor)
{
    beginResetModel();
    text_ = textBeforeCursor.toStdString();
    suggestions_ = DisplayFilterCompleter::suggestions(text_, maxSuggestions);
    endResetModel();
}

QString FilterSuggestionModel::applied(int row) const
{
    return QString::fromStdString(DisplayFilterCompleter::applying(suggestions_[static_cast<std::size_t>(row)], text_));
}

int FilterSuggestionModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : static_cast<int>(suggestions_.size());
}

QVariant FilterSuggestionModel::data(const QModelIndex& index, int role) const
{
    if (!index.isValid() || index.row() >= rowCount())
        return {};
    const auto& suggestion = suggestions_[static_cast<std::size_t>(index.row())];
    const auto title = toQString(suggestion.title), subtitle = toQString(suggestion.subtitle);
    switch (role) {
    case Qt::DisplayRole: return QStringLiteral("%1  —  %2").arg(title, subtitle);
    case Qt::EditRole: return title;
    case Qt::AccessibleTextRole: return QStringLiteral("%1, %2").arg(title, subtitle);
    case Qt::ToolTipRole: return subtitle;
    default: return {};
    }
}

} // namespace netrondo
