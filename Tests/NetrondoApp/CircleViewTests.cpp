// Pointing, selecting, focusing, zooming and walking in the picture; options; what a screen reader is told.
#include "NetrondoApp/Support/Traffic.h"
#include "NetrondoApp/Support/Window.h"

#include <QAccessible>
#include <cmath>
#include <set>

namespace netrondo::test {
namespace {

class CircleViewTest : public WindowTest {
protected:
    void SetUp() override
    {
        WindowTest::SetUp();
        open(sample());
    }
    QPoint middleOf(const Picture::Chord& chord) const
    {
        const auto& nodes = picture().nodes();
        return ((picture().positionOf(nodes[chord.from]) + picture().positionOf(nodes[chord.to])) / 2).toPoint();
    }
    /// A host whose disc is hit in its middle.
    const CircleNode& someHost(std::size_t index = 10) const { return picture().nodes()[index]; }
    const Picture::Chord& heaviest() const
    {
        return *std::ranges::max_element(picture().chords, {}, &Picture::Chord::volume);
    }
};

TEST_F(CircleViewTest, PointingAtAHostHighlightsItAndTellsOfIt)
{
    const auto address = someHost().address;
    QTest::mouseMove(&circle(), placeOf(someHost()));
    EXPECT_TRUE(eventually([&] { return circle().hovered() == Selected::host(address); }));
    EXPECT_TRUE(circle().describe(circle().hovered()).contains(QStringLiteral("conversation")));
    QTest::mouseMove(&circle(), {2, 2});
    EXPECT_TRUE(eventually([&] { return !circle().hovered(); }));
}

TEST_F(CircleViewTest, PointingAtAChordTellsBothDirections)
{
    const auto chord = heaviest();
    const auto text = circle().describe(chord.what);
    EXPECT_EQ(text.count(QStringLiteral("→")), static_cast<qsizetype>(chord.pairs.size())) << text.toStdString();
    EXPECT_TRUE(picture().chordAt(middleOf(chord), chord.what).has_value());
}

TEST_F(CircleViewTest, AClickSelectsASecondClickFocusesEscapeGoesBack)
{
    const auto what = Selected::host(someHost().address);
    const auto all = picture().chords.size();
    QTest::mouseClick(&circle(), Qt::LeftButton, {}, placeOf(someHost()));
    EXPECT_EQ(selection().selected(), what);
    EXPECT_FALSE(selection().focused());
    settle();
    QTest::mouseClick(&circle(), Qt::LeftButton, {}, placeOf(someHost()));
    EXPECT_EQ(selection().focused(), what);
    settle();
    EXPECT_LT(picture().chords.size(), all);
    for (const auto& chord : picture().chords)
        EXPECT_TRUE(chord.what.a == what.a || chord.what.b == what.a);
    QTest::keyClick(&circle(), Qt::Key_Escape);
    EXPECT_FALSE(selection().focused());
    EXPECT_EQ(selection().selected(), what);
    QTest::keyClick(&circle(), Qt::Key_Escape);
    EXPECT_FALSE(selection().selected());
    settle();
    EXPECT_EQ(picture().chords.size(), all);
}

TEST_F(CircleViewTest, AHostKeepsItsPlaceWhateverIsShown)
{
    const auto host = someHost();
    const auto place = placeOf(host);
    selection().focus(Selected::host(host.address));
    settle();
    const auto node = picture().findNode(Selected::host(host.address));
    ASSERT_TRUE(node);
    const auto& now = picture().nodes()[*node];
    const auto angle = [](const QPointF& at, const Picture& in) {
        return std::atan2(at.y() - in.request.size.height() / 2, at.x() - in.request.size.width() / 2);
    };
    EXPECT_NEAR(angle(picture().positionOf(now), picture()), angle(place, picture()), 0.02);
}

TEST_F(CircleViewTest, TheWheelZoomsAroundThePointerAndDraggingMoves)
{
    const QPointF pointer = placeOf(someHost());
    circle().zoomBy(2, pointer);
    settle();
    EXPECT_DOUBLE_EQ(circle().zoom(), 2);
    EXPECT_EQ(picture().request.zoom, 2);
    const auto shift = picture().request.shift;
    QTest::mousePress(&circle(), Qt::LeftButton, {}, {300, 300});
    QTest::mouseMove(&circle(), {350, 320});
    QTest::mouseRelease(&circle(), Qt::LeftButton, {}, {350, 320});
    settle();
    EXPECT_EQ(picture().request.shift - shift, QPointF(50, 20));
    EXPECT_FALSE(selection().selected()) << "a drag is no click";
    circle().resetZoom();
    settle();
    EXPECT_EQ(picture().request.shift, QPointF());
}

TEST_F(CircleViewTest, ArrowKeysWalkAllHostsOnceAround)
{
    circle().setFocus();
    std::set<std::string> met;
    for (std::size_t i = 0; i < picture().nodes().size(); ++i) {
        QTest::keyClick(&circle(), Qt::Key_Right);
        met.insert(selection().selected().a);
    }
    EXPECT_EQ(met.size(), picture().nodes().size());
    const auto last = selection().selected();
    QTest::keyClick(&circle(), Qt::Key_Left);
    QTest::keyClick(&circle(), Qt::Key_Right);
    EXPECT_EQ(selection().selected(), last);
}

TEST_F(CircleViewTest, ArrowKeysWalkTheChordsOfAHostAndEnterFocuses)
{
    selection().select(Selected::host(someHost().address));
    QTest::keyClick(&circle(), Qt::Key_Down);
    const auto chord = selection().selected();
    EXPECT_EQ(chord.kind, Selected::Kind::conversation);
    EXPECT_TRUE(chord.a == someHost().address || chord.b == someHost().address);
    QTest::keyClick(&circle(), Qt::Key_Return);
    EXPECT_EQ(selection().focused(), chord);
    settle();
    EXPECT_EQ(picture().chords.size(), 1u);
}

TEST_F(CircleViewTest, AltAndArrowsGoThroughWhatWasSelected)
{
    const auto first = Selected::host(someHost(1).address), second = Selected::host(someHost(2).address);
    selection().select(first);
    selection().select(second);
    selection().back();
    EXPECT_EQ(selection().selected(), first);
    selection().forward();
    EXPECT_EQ(selection().selected(), second);
    EXPECT_FALSE(selection().canGoForward());
}

TEST_F(CircleViewTest, OnlyTheLargestConversationsAreDrawnAndTheRestIsCounted)
{
    const auto all = session().talks()->talks().size();
    setOptions([](ViewOptions& options) { options.limit = 10; });
    EXPECT_EQ(picture().chords.size(), 10u);
    EXPECT_TRUE(shownText().contains(QStringLiteral("+%1 more").arg(all - 10))) << shownText().toStdString();
    const auto least = std::ranges::min(picture().chords, {}, &Picture::Chord::volume).volume;
    setOptions([](ViewOptions& options) { options.limit = 0; });
    EXPECT_EQ(picture().chords.size(), all);
    EXPECT_LE(std::ranges::count_if(picture().chords, [&](const auto& chord) { return chord.volume > least; }), 10);
}

TEST_F(CircleViewTest, MacModeShowsMacAddresses)
{
    setOptions([](ViewOptions& options) { options.mode = AnalysisMode::l2MAC; });
    ASSERT_FALSE(picture().nodes().empty());
    for (const auto& node : picture().nodes())
        EXPECT_EQ(std::ranges::count(node.address, ':'), 5) << node.address;
}

TEST_F(CircleViewTest, NamesAndAddressesColoursAndVolumesFollowTheOptions)
{
    const auto label = [&] {
        return picture().nodes()[*picture().findNode(Selected::host("10.20.1.101"))].displayLabel;
    };
    EXPECT_EQ(label(), "anna");
    setOptions([](ViewOptions& options) {
        options.showHostNames = false;
        options.useBytes = false;
        options.showLineThickness = false;
        options.colorMode = EdgeColorMode::quality;
    });
    EXPECT_EQ(label(), "10.20.1.101");
    EXPECT_FALSE(picture().ring.useBytes);
    for (const auto& chord : picture().chords)
        EXPECT_EQ(chord.width, 2);
    std::set<std::tuple<int, int, int>> colours;
    for (const auto& chord : picture().chords)
        colours.insert({chord.color.r, chord.color.g, chord.color.b});
    EXPECT_LE(colours.size(), 5u) << "one for each grade";
}

TEST_F(CircleViewTest, TidyingMovesTheHostsAndKeepsThem)
{
    setOptions([](ViewOptions& options) { options.useBytes = false; });
    const auto before = circle().angles();
    window->tidy();
    ASSERT_TRUE(eventually([&] { return circle().angles() != before; }));
    settle();
    const auto expected =
        CircleLayout::rearrangeAngles(std::span(picture().ring.pairs.begin(), picture().ring.pairs.end()), false);
    for (const auto& [address, angle] : expected)
        EXPECT_NEAR(circle().angles().at(address), angle, 1e-9) << address;
}

TEST_F(CircleViewTest, TheServicesViewHasItsOwnHitsAndSelection)
{
    setOptions([](ViewOptions& options) { options.layout = CircleHostLayoutMode::byProtocol; });
    EXPECT_FALSE(picture().isRing());
    const auto service = std::ranges::find(picture().nodes(), CircleNode::Role::service, &CircleNode::role);
    ASSERT_NE(service, picture().nodes().end());
    QTest::mouseClick(&circle(), Qt::LeftButton, {}, placeOf(*service));
    EXPECT_EQ(selection().selected().kind, Selected::Kind::service);
    EXPECT_TRUE(eventually([&] { return part<DetailsView>().toPlainText().startsWith(asQt(service->displayLabel)); }));
}

TEST_F(CircleViewTest, AMomentLightsWhatGoesOnThen)
{
    const auto start = session().facts().volume.first();
    circle().setMoment(start);
    const auto lit = circle().grab().toImage();
    circle().setMoment(std::nullopt);
    EXPECT_NE(lit, circle().grab().toImage());
}

TEST_F(CircleViewTest, AMomentLightsTheLinksOfServicesToo)
{
    setOptions([](ViewOptions& options) { options.layout = CircleHostLayoutMode::byProtocol; });
    const auto moment = picture().chords.front().first;
    circle().setMoment(moment);
    const auto lit = circle().grab().toImage();
    circle().setMoment(session().facts().volume.last() + 100); // nothing goes on any more
    EXPECT_NE(lit, circle().grab().toImage());
}

TEST_F(CircleViewTest, AHubWithThousandsOfConversationsIsLitInTheBackground)
{
    PcapBytes capture;
    for (std::uint32_t i = 2; i < 2002; ++i)
        capture.frame(frameBetween(1, i));
    open(TempFile(capture));
    setOptions([](ViewOptions& options) { options.limit = 0; });
    const auto before = circle().grab().toImage();
    selection().select(Selected::host("10.0.0.1"));
    EXPECT_TRUE(circle().isBusy());
    settle();
    EXPECT_NE(before, circle().grab().toImage());
    selection().select(Selected::host("10.0.0.2")); // one conversation, at once
    EXPECT_FALSE(circle().isBusy());
}

TEST_F(CircleViewTest, NamesOfWhatIsLitStayWithinTheView)
{
    setOptions([](ViewOptions& options) {
        options.layout = CircleHostLayoutMode::byProtocol;
        options.limit = 0;
    });
    // Hosts stand at the left edge: a name of one that has no label must not run out of the view.
    const auto ground = circle().grab().toImage().pixelColor(0, 0);
    for (const auto& node : picture().nodes()) {
        if (node.role == CircleNode::Role::service)
            continue;
        selection().select(Selected::host(node.address));
        const auto image = circle().grab().toImage();
        for (int y = 2; y < image.height() - 2; ++y)
            ASSERT_EQ(image.pixelColor(3, y), ground) << node.address << " at row " << y;
    }
}

TEST_F(CircleViewTest, AScreenReaderFindsEveryHostAndConversation)
{
    auto* const all = QAccessible::queryAccessibleInterface(&circle());
    ASSERT_TRUE(all);
    ASSERT_EQ(all->childCount(), static_cast<int>(picture().nodes().size() + picture().chords.size()));
    for (int i = 0; i < all->childCount(); ++i) {
        auto* const part = all->child(i);
        ASSERT_TRUE(part && part->isValid());
        EXPECT_FALSE(part->text(QAccessible::Name).isEmpty());
        EXPECT_FALSE(part->text(QAccessible::Description).isEmpty());
        EXPECT_FALSE(part->rect().isEmpty());
        EXPECT_EQ(all->indexOfChild(part), i);
    }
    auto* const part = all->child(3);
    part->actionInterface()->doAction(QAccessibleActionInterface::pressAction());
    EXPECT_TRUE(part->state().selected);
}

} // namespace
} // namespace netrondo::test
