// Settings of the findings: every threshold, with what a change would change, and what is muted.
#pragma once

#include "Analysis/Expert/ExpertPreferences.h"

#include <QDialog>
#include <QTimer>
#include <vector>

class QDialogButtonBox;
class QDoubleSpinBox;
class QLabel;
class QLineEdit;
class QProgressBar;
class QPushButton;
class QTableWidget;
class QTabWidget;
class QToolButton;

namespace netrondo {

class CaptureSession;
class ExpertSettings;

class ExpertDialog : public QDialog {
    Q_OBJECT
public:
    /// Both outlive the dialog.
    ExpertDialog(ExpertSettings& settings, CaptureSession& session, QWidget* parent = nullptr);

    /// The thresholds as they stand in the fields.
    ExpertPreferences thresholds() const;
    void setThresholds(const ExpertPreferences& thresholds);
    void showMutes();
    /// What is said about the change.
    QString verdict() const;

private:
    QWidget* buildThresholds();
    QWidget* buildMutes();
    void narrow(const QString& text);
    void changed();
    void startTrial();
    void say(const QString& text, bool isRunning);
    void apply();
    void fillMutes();

    ExpertSettings& settings_;
    CaptureSession& session_;
    QTimer pause_; ///< until somebody who types has stopped
    QTabWidget* tabs_;
    QTableWidget* table_ = nullptr;
    std::vector<QDoubleSpinBox*> fields_; ///< in the order of the thresholds
    std::vector<QToolButton*> resets_;
    QLabel* verdict_ = nullptr;
    QProgressBar* progress_ = nullptr;
    QPushButton* stop_ = nullptr;
    QDialogButtonBox* buttons_ = nullptr;
    QTableWidget* mutes_ = nullptr;
    QPushButton* unmute_ = nullptr;
    QPushButton* undo_ = nullptr;
    QPushButton* redo_ = nullptr;
};

} // namespace netrondo
