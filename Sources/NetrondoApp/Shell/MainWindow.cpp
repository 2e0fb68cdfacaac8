#include "Shell/MainWindow.h"

#include <QFileInfo>

namespace netrondo {

MainWindow::MainWindow(QWidget* parent) : QMainWindow(parent)
{
    setObjectName(QStringLiteral("MainWindow"));
    resize(1200, 800);
}

void MainWindow::open(const QString& path)
{
    setWindowTitle(QFileInfo(path).fileName());
}

} // namespace netrondo
