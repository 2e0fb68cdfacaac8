// The timeline: the brush narrows the whole window, play runs through the capture.
#include "NetrondoApp/Support/Window.h"

#include <map>

namespace netrondo::test {
namespace {

class TimelineTest : public WindowTest {
protected:
    void SetUp() override
    {
        WindowTest::SetUp();
        open(sample());
    }
    void drag(int from, int to)
    {
        QTest::mousePress(&timeline(), Qt::LeftButton, {}, {from, 20});
        QTest::mouseMove(&timeline(), {(from + to) / 2, 20});
        QTest::mouseMove(&timeline(), {to, 20});
        QTest::mouseRelease(&timeline(), Qt::LeftButton, {}, {to, 20});
        settle();
    }
    std::uint64_t packets() const { return session().talks()->result()->totalPackets; }
};

TEST_F(TimelineTest, TheBrushNarrowsTheWholeWindowToItsSpan)
{
    const auto all = packets();
    drag(200, 400);
    ASSERT_TRUE(timeline().span());
    ASSERT_TRUE(session().span());
    EXPECT_LT(packets(), all);
    EXPECT_GT(packets(), 0u);
    const auto& result = *session().talks()->result();
    EXPECT_GE(*result.captureStartSeconds, timeline().span()->first);
    EXPECT_LE(*result.captureStartSeconds + result.durationSeconds, timeline().span()->second);
    EXPECT_EQ(part<QTableView>("conversationsList").model()->rowCount(),
              static_cast<int>(session().talks()->talks().size()));
    EXPECT_EQ(session().facts().volume.between(0, 1e12).packets, session().facts().frames)
        << "the timeline itself stays whole";
    QTest::keyClick(&timeline(), Qt::Key_Escape);
    settle();
    EXPECT_EQ(packets(), all);
}

TEST_F(TimelineTest, TwoHalvesAddUpToTheWhole)
{
    const auto all = packets();
    const double first = session().facts().volume.first(), last = session().facts().volume.last();
    const double middle = (first + last) / 2;
    session().setSpan(TimeSpan{first, middle});
    settle();
    const auto half = packets();
    session().setSpan(TimeSpan{middle, last + 1});
    settle();
    EXPECT_EQ(half + packets(), all);
}

TEST_F(TimelineTest, HostsKeepTheirNamesInASpanThatDoesNotTellThem)
{
    std::map<std::string, std::string> names;
    for (const auto& host : session().talks()->hosts())
        names[host.text] = host.name;
    drag(500, 560);
    ASSERT_TRUE(session().span());
    EXPECT_GT(session().talks()->hosts().size(), 0u);
    for (const auto& host : session().talks()->hosts())
        EXPECT_EQ(host.name, names[host.text]) << host.text;
}

TEST_F(TimelineTest, ArrowKeysMoveTheBrushAndShiftMovesItsEnd)
{
    QTest::keyClick(&timeline(), Qt::Key_Right);
    settle();
    ASSERT_TRUE(timeline().span());
    const auto before = *timeline().span();
    QTest::keyClick(&timeline(), Qt::Key_Right);
    settle();
    const auto moved = *timeline().span();
    EXPECT_GT(moved.first, before.first);
    EXPECT_NEAR(moved.second - moved.first, before.second - before.first, 1e-6);
    QTest::keyClick(&timeline(), Qt::Key_Right, Qt::ShiftModifier);
    settle();
    EXPECT_EQ(timeline().span()->first, moved.first);
    EXPECT_GT(timeline().span()->second, moved.second);
}

TEST_F(TimelineTest, TheBrushIsMovedByItsMiddleAndTakenAwayByAClickBesideIt)
{
    drag(200, 400);
    const auto before = *timeline().span();
    drag(300, 350);
    EXPECT_NEAR(timeline().span()->second - timeline().span()->first, before.second - before.first, 1e-6);
    EXPECT_GT(timeline().span()->first, before.first);
    QTest::mouseClick(&timeline(), Qt::LeftButton, {}, {30, 20});
    settle();
    EXPECT_FALSE(timeline().span());
    EXPECT_FALSE(session().span());
}

TEST_F(TimelineTest, HostsKeepTheirPlacesWhenTheBrushMoves)
{
    const auto before = circle().angles();
    drag(100, 250);
    drag(300, 500);
    for (const auto& [address, angle] : before)
        EXPECT_EQ(circle().angles().at(address), angle);
}

TEST_F(TimelineTest, PlayRunsFromTheStartAndPauseHolds)
{
    QSignalSpy moments(&timeline(), &TimelineView::momentChanged);
    QTest::keyClick(&timeline(), Qt::Key_Space);
    EXPECT_TRUE(timeline().isPlaying());
    ASSERT_TRUE(eventually([&] { return moments.count() > 3; }));
    QTest::keyClick(&timeline(), Qt::Key_Space);
    EXPECT_FALSE(timeline().isPlaying());
    ASSERT_TRUE(timeline().moment());
    EXPECT_GT(*timeline().moment(), session().facts().volume.first());
    QTest::keyClick(&timeline(), Qt::Key_Escape);
    EXPECT_FALSE(timeline().moment());
}

} // namespace
} // namespace netrondo::test
