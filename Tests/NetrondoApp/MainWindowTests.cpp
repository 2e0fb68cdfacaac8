// The main window.
#include "Shell/MainWindow.h"

#include <QSignalSpy>
#include <QTest>
#include <gtest/gtest.h>

namespace netrondo::test {
namespace {

TEST(MainWindow, ComesUpWithTheNameOfTheCapture)
{
    MainWindow window;
    window.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&window));
    window.open(QStringLiteral("/nowhere/office.pcapng"));
    EXPECT_EQ(window.windowTitle(), QStringLiteral("office.pcapng"));
}

} // namespace
} // namespace netrondo::test
