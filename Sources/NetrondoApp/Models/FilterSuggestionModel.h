// What could be meant by the name that is being typed in the filter bar.
#pragma once

#include "Dissection/Filter/DisplayFilterCompleter.h"

#include <QAbstractListModel>
#include <vector>

namespace netrondo {

class FilterSuggestionModel : public QAbstractListModel {
    Q_OBJECT
public:
    using QAbstractListModel::QAbstractListModel;

    /// Offers what completes the text in front of the cursor.
    void setText(const QString& textBeforeCursor);
    /// That text with its last name completed by the row's suggestion.
    QString applied(int row) const;

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;

private:
    std::string text_;
    std::vector<DisplayFilterSuggestion> suggestions_;
};

} // namespace netrondo
