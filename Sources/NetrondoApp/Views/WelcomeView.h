// What the window shows before a capture is open: how to begin.
#pragma once

#include <QWidget>

class QVBoxLayout;

namespace netrondo {

class WelcomeView : public QWidget {
    Q_OBJECT
public:
    explicit WelcomeView(QWidget* parent = nullptr);

    /// The captures that were open last; those that are gone cannot be chosen.
    void setRecent(const QStringList& paths);
    /// Where the sample lies; empty where there is none.
    void setSample(const QString& path);

signals:
    void openWanted();
    void pathWanted(const QString& path);

private:
    QWidget* recentBox_;
    QVBoxLayout* recent_;
    QWidget* sample_;
    QString samplePath_;
};

} // namespace netrondo
