// The packet list in the window: one filter for everything, one selection for everything.
#include "Models/DecodeTreeModel.h"
#include "NetrondoApp/Support/Window.h"
#include "Shell/LiveControl.h"
#include "Views/CircleView.h"
#include "Views/DecodeView.h"
#include "Views/DecodeWindow.h"
#include "Views/FilterBar.h"
#include "Views/FrameListView.h"
#include "Views/TimelineView.h"

#include <QAbstractScrollArea>
#include <QAction>
#include <QApplication>
#include <QDockWidget>
#include <QHash>
#include <QLineEdit>
#include <QMenu>
#include <QPointer>
#include <QTreeView>
#include <algorithm>
#include <numeric>

namespace netrondo::test {
namespace {

class FramesDockTest : public WindowTest {
protected:
    void SetUp() override
    {
        WindowTest::SetUp();
        open(sample());
    }
};

TEST_F(FramesDockTest, AFilterNarrowsThePictureAndTheLists)
{
    const auto all = session().talks()->talks().size();
    part<FilterBar>().setText(QStringLiteral("dns"));
    part<FilterBar>().apply();
    ASSERT_TRUE(eventually([&] { return session().filter() && !session().isReading(); }));
    settle();
    EXPECT_LT(session().talks()->talks().size(), all);
    EXPECT_GT(session().talks()->talks().size(), 0u);
    EXPECT_EQ(picture().chords.size(), session().talks()->talks().size());
    const auto& facts = session().facts();
    ASSERT_TRUE(facts.chosen);
    const auto packetsOf = [](const VolumeOverTime& volume) {
        return std::accumulate(volume.bins().begin(), volume.bins().end(), std::uint64_t{0},
                               [](std::uint64_t sum, const VolumeOverTime::Bin& bin) { return sum + bin.packets; });
    };
    EXPECT_EQ(packetsOf(*facts.chosen), session().talks()->result()->totalPackets);
    EXPECT_LT(packetsOf(*facts.chosen), packetsOf(facts.volume));
    const auto narrowed = part<TimelineView>().grab().toImage();
    part<FilterBar>().clear();
    ASSERT_TRUE(eventually([&] { return !session().filter() && !session().isReading(); }));
    EXPECT_EQ(session().talks()->talks().size(), all);
    EXPECT_FALSE(session().facts().chosen);
    settle();
    EXPECT_NE(part<TimelineView>().grab().toImage(), narrowed);
}

TEST_F(FramesDockTest, AFrameThatIsChosenSelectsItsConversation)
{
    const auto& talk = session().talks()->talks().front();
    const auto a = session().talks()->host(talk, 0).text, b = session().talks()->host(talk, 1).text;
    emit part<DecodeView>().frameSelected(1, {asQt(a), asQt(b), {}, {}});
    EXPECT_FALSE(selection().selected()) << "nobody chose that frame: the list begins with it";
    part<QDockWidget>("framesDock").show();
    part<FrameListView>().setFocus();
    ASSERT_TRUE(eventually([&] { return part<FrameListView>().hasFocus(); }));
    emit part<DecodeView>().frameSelected(1, {asQt(a), asQt(b), {}, {}});
    EXPECT_EQ(selection().selected(), Selected::conversation(a, b));
    emit part<DecodeView>().frameSelected(2, {QStringLiteral("nobody"), asQt(b), {}, {}});
    EXPECT_EQ(selection().selected(), Selected::conversation(a, b)) << "a frame of no conversation changes nothing";
}

TEST_F(FramesDockTest, AConversationThatIsChosenInTheCircleIsListedAlone)
{
    part<QDockWidget>("framesDock").show();
    auto& frames = *part<DecodeView>().frames();
    ASSERT_TRUE(eventually([&] { return part<DecodeView>().store() && part<DecodeView>().store()->isComplete(); }));
    const int all = frames.rowCount();
    const auto& talk = session().talks()->talks().front();
    const auto a = session().talks()->host(talk, 0).text, b = session().talks()->host(talk, 1).text;
    part<CircleView>().setFocus();
    ASSERT_TRUE(eventually([&] { return part<CircleView>().hasFocus(); }));
    selection().select(Selected::conversation(a, b));
    ASSERT_TRUE(eventually([&] { return frames.rowCount() > 0 && frames.rowCount() < all; }));
    part<FrameListView>().setFocus();
    ASSERT_TRUE(eventually([&] { return part<FrameListView>().hasFocus(); }));
    selection().select(Selected::host(a));
    QApplication::processEvents();
    EXPECT_LT(frames.rowCount(), all) << "what is chosen elsewhere leaves the list as it is";
    part<CircleView>().setFocus();
    ASSERT_TRUE(eventually([&] { return part<CircleView>().hasFocus(); }));
    selection().select({});
    EXPECT_TRUE(eventually([&] { return frames.rowCount() == all; }));
    selection().select(Selected::conversation(a, b));
    ASSERT_TRUE(eventually([&] { return frames.rowCount() > 0 && frames.rowCount() < all; }));
    part<FrameListView>().setFocus();
    open(QStringLiteral(NETRONDO_SOURCE_DIR "/Samples/web.pcap"));
    EXPECT_TRUE(eventually([&] {
        return part<DecodeView>().store() && part<DecodeView>().store()->isComplete()
            && frames.rowCount() == static_cast<int>(part<DecodeView>().store()->count());
    })) << "another capture is listed whole";
}

TEST_F(FramesDockTest, HaveAWindowOfTheirOwnThatFollowsTheCapture)
{
    ASSERT_TRUE(eventually([&] { return part<DecodeView>().store() && part<DecodeView>().store()->isComplete(); }));
    window->findChild<QAction*>(QStringLiteral("framesWindow"))->trigger();
    QPointer<DecodeWindow> own = window->findChild<DecodeWindow*>();
    ASSERT_TRUE(own);
    EXPECT_TRUE(own->isWindow() && own->isVisible());
    ASSERT_TRUE(eventually([&] { return own->view()->nodes()->frame() != nullptr; }));
    EXPECT_EQ(own->view()->store(), part<DecodeView>().store()) << "the file is read once";
    own->filterBar()->setText(QStringLiteral("dns"));
    own->filterBar()->apply();
    const int all = part<DecodeView>().frames()->rowCount();
    ASSERT_TRUE(eventually([&] { return own->view()->frames()->rowCount() < all; }));
    EXPECT_EQ(part<DecodeView>().frames()->rowCount(), all) << "its filter is its own";
    open(QStringLiteral(NETRONDO_SOURCE_DIR "/Samples/web.pcap"));
    EXPECT_TRUE(eventually([&] { return own->windowTitle() == QLatin1String("Frames of web.pcap"); }));
    own->close();
    EXPECT_TRUE(eventually([&] { return own.isNull(); }));
}

TEST_F(FramesDockTest, WhatIsNotedOfAFrameIsSeenInBothWindows)
{
    ASSERT_TRUE(eventually([&] { return part<DecodeView>().store() && part<DecodeView>().store()->isComplete(); }));
    window->findChild<QAction*>(QStringLiteral("framesWindow"))->trigger();
    auto& own = *window->findChild<DecodeWindow*>()->view()->frames();
    auto& docked = *part<DecodeView>().frames();
    docked.set(FrameListModel::Kind::marked, {{2, 3}}, true);
    own.store()->notes().setNote(4, QStringLiteral("odd"));
    EXPECT_TRUE(own.isMarked(3));
    EXPECT_EQ(docked.notes().notes.value(4), QStringLiteral("odd"));
    own.store()->notes().history().undo();
    own.store()->notes().history().undo();
    EXPECT_FALSE(docked.isMarked(3));
}

TEST_F(FramesDockTest, NotesAreSavedWithTheirFramesAsFarAsTheFormatHasRoom)
{
    ASSERT_TRUE(eventually([&] { return part<DecodeView>().store() && part<DecodeView>().store()->isComplete(); }));
    const TempFolder folder;
    part<DecodeView>().store()->notes().setNote(4, QStringLiteral("odd"));
    const auto save = [&](std::string_view name) {
        auto& control = part<LiveControl>();
        QSignalSpy saved(&control, &LiveControl::saved);
        control.save(asQt((folder / name).string()), LiveControl::Extent::everything);
        ASSERT_TRUE(eventually([&] { return saved.count() == 1; }));
    };
    save("noted.pcapng");
    EXPECT_FALSE(message().contains(QStringLiteral("Without the notes")));
    open(asQt((folder / "noted.pcapng").string()));
    auto& frames = *part<DecodeView>().frames();
    ASSERT_TRUE(eventually([&] { return frames.rowCount() > 4 && frames.row(4); }));
    EXPECT_TRUE(frames.text(4, FrameListModel::info).startsWith(QStringLiteral("Note: odd — ")));
    part<DecodeView>().goToFrame(5);
    EXPECT_TRUE(eventually([&] {
        return part<DecodeView>().nodes()->index(0, 0).data().toString() == QLatin1String("Comment in the file: odd");
    }));
    part<DecodeView>().store()->notes().setNote(4, QStringLiteral("very odd"));
    save("noted.pcap");
    EXPECT_TRUE(message().contains(QStringLiteral("Without the notes"))) << message().toStdString();
}

/// Whether the action's keys reach it while this widget has the focus.
bool isReached(const QAction& action, const QWidget& focus)
{
    if (action.shortcutContext() != Qt::WidgetWithChildrenShortcut)
        return true;
    return std::ranges::any_of(action.associatedObjects(), [&](const QObject* object) {
        const auto* const widget = qobject_cast<const QWidget*>(object);
        return widget && (widget == &focus || widget->isAncestorOf(&focus));
    });
}

TEST_F(FramesDockTest, NoKeyMeansTwoThingsInAnyPane)
{
    const QWidget* const panes[] = {part<DecodeView>().list(),
                                    part<DecodeView>().tree(),
                                    window->findChild<QAbstractScrollArea*>(QStringLiteral("bytes")),
                                    part<FilterBar>().line(),
                                    &circle(),
                                    &timeline()};
    for (const auto* const pane : panes) {
        ASSERT_TRUE(pane);
        QHash<QString, QString> meanings;
        for (const auto* const action : window->findChildren<QAction*>()) {
            for (const auto& keys : action->shortcuts()) {
                if (!isReached(*action, *pane))
                    continue;
                const auto name = keys.toString();
                EXPECT_FALSE(meanings.contains(name)) << name.toStdString() << ": " << meanings[name].toStdString()
                                                      << ", " << action->text().toStdString();
                meanings[name] = action->text();
            }
        }
        EXPECT_GT(meanings.size(), 10);
    }
}

TEST_F(FramesDockTest, TheFramesMenuHoldsTheCommandsAndBringsThePanel)
{
    auto* menu = window->findChild<QMenu*>(QStringLiteral("framesMenu"));
    ASSERT_TRUE(menu);
    EXPECT_TRUE(part<QDockWidget>("framesDock").isHidden());
    window->findChild<QAction*>(QStringLiteral("find"))->trigger();
    emit menu->triggered(window->findChild<QAction*>(QStringLiteral("find")));
    EXPECT_FALSE(part<QDockWidget>("framesDock").isHidden());
}

TEST_F(FramesDockTest, OpeningSelectsNothing)
{
    open(QStringLiteral(NETRONDO_SOURCE_DIR "/Samples/web.pcap"));
    ASSERT_TRUE(eventually([&] { return part<DecodeView>().nodes()->frame() != nullptr; })) << "a frame is decoded";
    EXPECT_FALSE(selection().selected());
}

TEST_F(FramesDockTest, ANewCaptureComesWithoutTheFilterOfTheOldOne)
{
    part<FilterBar>().setText(QStringLiteral("dns"));
    part<FilterBar>().apply();
    ASSERT_TRUE(eventually([&] { return session().filter() && !session().isReading(); }));
    open(QStringLiteral(NETRONDO_SOURCE_DIR "/Samples/web.pcap"));
    EXPECT_FALSE(session().filter());
    EXPECT_EQ(session().facts().frames, session().talks()->result()->totalPackets);
    EXPECT_EQ(part<FilterBar>().text(), QString());
}

} // namespace
} // namespace netrondo::test
