// The window of the application: one capture and everything that is seen of it.
#pragma once

#include <QMainWindow>

namespace netrondo {

class MainWindow : public QMainWindow {
    Q_OBJECT
public:
    explicit MainWindow(QWidget* parent = nullptr);

    /// Shows this capture in place of the one that is open.
    void open(const QString& path);
};

} // namespace netrondo
