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
    /// True while what was asked for last is gathered in the background and the view shows what it showed.
    bool isGathering() const { return shown_ != wish_; }

signals:
    void selectionWanted(const Selected& what);

private:
    void follow(const QUrl& link);

    quint64 wish_ = 0;  ///< the latest call of `show`
    quint64 shown_ = 0; ///< the one that is answered
};

} // namespace netrondo
