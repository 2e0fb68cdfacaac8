// Everything that is known of what is selected, in words.
#pragma once

#include "Analysis/Tcp/TCPSessionQuality.h"
#include "Models/Selection.h"

#include <QTextBrowser>
#include <memory>

namespace netrondo {

class TalkTable;

class DetailsView : public QTextBrowser {
    Q_OBJECT
public:
    explicit DetailsView(QWidget* parent = nullptr);

    /// With nothing selected it tells of the capture as a whole.
    void show(const std::shared_ptr<const TalkTable>& table, const Selected& what, const QualityGradeThresholds& bands);

signals:
    void selectionWanted(const Selected& what);

private:
    void follow(const QUrl& link);

    quint64 wish_ = 0; ///< the latest call of `show`
};

} // namespace netrondo
