// Asks what to capture: on which interfaces, with which filter, how.
#pragma once

#include "Capture/LiveCapture.h"
#include "Capture/NetworkInterface.h"

#include <QDialog>
#include <QTimer>
#include <vector>

class QCheckBox;
class QDialogButtonBox;
class QLabel;
class QLineEdit;
class QSettings;
class QSpinBox;
class QTreeWidget;

namespace netrondo {

class CaptureDialog : public QDialog {
    Q_OBJECT
public:
    /// Begins with what was wanted the last time, and writes it down when it is accepted.
    explicit CaptureDialog(QSettings& settings, QWidget* parent = nullptr);

    void setFilter(const QString& filter);
    /// One for each interface that is ticked.
    std::vector<LiveCapture::Options> wanted() const;
    /// What libpcap says of the filter; empty while it is being asked.
    QString verdict() const;
    bool isReady() const; ///< an interface is ticked, and the filter is one

    void accept() override;

private:
    void listInterfaces();
    void show(const std::vector<NetworkInterface>& interfaces);
    void askForPermission();
    void checkFilter();
    void showVerdict(const QString& error);
    void refresh();

    QSettings& settings_;
    QTreeWidget* interfaces_;
    QLabel* trouble_; ///< why there are no interfaces
    QLineEdit* filter_;
    QLabel* verdict_;
    QSpinBox* snaplen_;
    QSpinBox* buffer_;
    QCheckBox* promiscuous_;
    QWidget* permission_; ///< what to do where the privilege is missing
    QDialogButtonBox* buttons_;
    QTimer pause_; ///< between the last key and the question
    quint64 question_ = 0;
    bool isFilterGood_ = false;
};

} // namespace netrondo
