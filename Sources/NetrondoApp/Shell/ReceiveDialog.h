// Asks where to receive a capture from.
#pragma once

#include "Capture/PcapOverIp.h"

#include <QDialog>
#include <optional>

class QCheckBox;
class QDialogButtonBox;
class QLabel;
class QLineEdit;
class QSettings;
class QSpinBox;

namespace netrondo {

class ReceiveDialog : public QDialog {
    Q_OBJECT
public:
    /// Begins with what was wanted the last time, and writes it down when it is accepted.
    explicit ReceiveDialog(QSettings& settings, QWidget* parent = nullptr);

    /// Nothing while no server is named.
    std::optional<PcapOverIp::Options> wanted() const;

    void accept() override;

private:
    void refresh();

    QSettings& settings_;
    QLineEdit* server_;
    QLabel* verdict_;
    QSpinBox* timeout_;
    QCheckBox* reconnect_;
    QDialogButtonBox* buttons_;
};

} // namespace netrondo
