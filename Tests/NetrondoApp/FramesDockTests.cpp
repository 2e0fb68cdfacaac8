// The packet list in the window: one filter for everything, one selection for everything.
#include "Models/DecodeTreeModel.h"
#include "NetrondoApp/Support/Window.h"
#include "Views/DecodeView.h"
#include "Views/FilterBar.h"
#include "Views/FrameListView.h"
#include "Views/TimelineView.h"

#include <QDockWidget>
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
