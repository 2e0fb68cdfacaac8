// Runs the tests of the window: GoogleTest's runner with an application that draws into memory and leaves the settings
// of whoever runs it alone.
#include "Support/Files.h"

#include <QApplication>
#include <gtest/gtest.h>

int main(int argc, char** argv)
{
    const netrondo::test::TempFolder home;
    for (const auto* place :
         {"XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_STATE_HOME", "XDG_CACHE_HOME", "XDG_RUNTIME_DIR"})
        qputenv(place, QByteArray::fromStdString(home.path().string()));
    qputenv("QT_QPA_PLATFORM", "offscreen");
    qunsetenv("QT_SCALE_FACTOR");
    const QApplication application(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("netrondo"));
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
