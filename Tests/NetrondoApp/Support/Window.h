// A window with nothing remembered, driven as a user drives it, and its parts by name.
#pragma once

#include "Models/TalkModels.h"
#include "Models/TalkTable.h"
#include "Models/Text.h"
#include "Shell/MainWindow.h"
#include "Support/Files.h"
#include "Tasks/CaptureSession.h"
#include "Views/CircleView.h"
#include "Views/DetailsView.h"
#include "Views/MessageBar.h"
#include "Views/Picture.h"
#include "Views/TimelineView.h"

#include <QAbstractButton>
#include <QAction>
#include <QApplication>
#include <QComboBox>
#include <QLabel>
#include <QSettings>
#include <QSignalSpy>
#include <QStackedWidget>
#include <QTableView>
#include <QTest>
#include <functional>
#include <gtest/gtest.h>

namespace netrondo::test {

inline QString sample()
{
    return QStringLiteral(NETRONDO_SOURCE_DIR "/Samples/office.pcapng");
}

/// True as soon as the condition holds; false when it does not for a long time.
template <typename Condition> bool eventually(const Condition& condition)
{
    return QTest::qWaitFor(condition, 60'000);
}

class WindowTest : public testing::Test {
protected:
    void SetUp() override
    {
        QSettings(QSettings::IniFormat, QSettings::UserScope, QStringLiteral("netrondo"), QStringLiteral("netrondo"))
            .clear();
        reopen();
    }
    /// The window anew, with what it remembers.
    void reopen()
    {
        if (window) {
            window->close();
            window.reset();
        }
        window = std::make_unique<MainWindow>();
        window->show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(window.get()));
    }
    template <typename T> T& part(const char* name = nullptr) const
    {
        auto* const found = name ? window->findChild<T*>(QLatin1String(name)) : window->findChild<T*>();
        if (!found)
            throw std::runtime_error(std::string("no such part: ") + (name ? name : typeid(T).name()));
        return *found;
    }
    CaptureSession& session() const { return part<CaptureSession>(); }
    CircleView& circle() const { return part<CircleView>(); }
    TimelineView& timeline() const { return part<TimelineView>(); }
    QString message() const { return part<MessageBar>().text(); }
    QString shownText() const { return part<QLabel>("shownText").text(); }
    Selection& selection() const { return window->selection(); }
    const Picture& picture() const { return *circle().picture(); }
    QPoint placeOf(const CircleNode& node) const { return picture().positionOf(node).toPoint(); }

    /// What the window shows is of now: nothing is read, gathered, sorted or drawn any more.
    void settle()
    {
        ASSERT_TRUE(eventually([&] {
            return !session().isReading() && !window->isGathering() && !window->isArranging() && !circle().isBusy()
                && circle().picture() && !part<DetailsView>().isGathering();
        }));
    }
    /// Does what writes a picture or a list, and waits until it is written or is not.
    void exportWith(const std::function<void()>& act)
    {
        QSignalSpy exported(window.get(), &MainWindow::exported);
        act();
        ASSERT_TRUE(eventually([&] { return exported.count() == 1; }));
    }
    void open(const QString& path)
    {
        window->open(path);
        ASSERT_TRUE(eventually([&] { return !session().isReading(); }));
        if (session().isOpen())
            settle();
    }
    void open(const TempFile& file) { open(QString::fromStdString(file.path().string())); }
    void setOptions(const std::function<void(ViewOptions&)>& change)
    {
        auto options = window->options();
        change(options);
        window->setOptions(options);
        ASSERT_TRUE(eventually([&] { return !session().isReading(); }));
        settle();
    }

    std::unique_ptr<MainWindow> window;
};

} // namespace netrondo::test
