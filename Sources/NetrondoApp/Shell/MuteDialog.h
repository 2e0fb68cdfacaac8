// Asks what is to be muted, and why.
#pragma once

#include "Analysis/Expert/MuteBook.h"

#include <QDialog>
#include <vector>

class QButtonGroup;
class QLineEdit;

namespace netrondo {

class MuteDialog : public QDialog {
    Q_OBJECT
public:
    explicit MuteDialog(const ExpertFinding& finding, QWidget* parent = nullptr);
    /// What was chosen, with its reason.
    ExpertMute mute() const;

private:
    std::vector<ExpertMute> mutes_;
    QButtonGroup* choices_;
    QLineEdit* reason_;
};

} // namespace netrondo
