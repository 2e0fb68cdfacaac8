// Every option by the control that a user has for it, and what becomes of the picture.
#include "Circle/CircleScene.h"
#include "Circle/Geometry.h"
#include "NetrondoApp/Support/Window.h"

#include <QActionGroup>
#include <QMenu>
#include <QTimer>
#include <QToolBar>
#include <QToolButton>

namespace netrondo::test {
namespace {

class OptionsTest : public WindowTest {
protected:
    void SetUp() override
    {
        WindowTest::SetUp();
        open(sample());
    }
    /// Chooses an entry of a box in the tool bar, as a user does.
    void choose(const char* box, const QString& entry)
    {
        auto& choice = part<QComboBox>(box);
        const int index = choice.findText(entry);
        ASSERT_GE(index, 0) << entry.toStdString();
        choice.setCurrentIndex(index);
        settle();
    }
    /// Clicks a button of the tool bar.
    void click(const QString& text)
    {
        for (auto* const button : part<QToolBar>("optionsBar").findChildren<QToolButton*>())
            if (button->text() == text) {
                QTest::mouseClick(button, Qt::LeftButton);
                return settle();
            }
        FAIL() << "no button says " << text.toStdString();
    }
    const Picture::Chord& heaviest() const
    {
        return *std::ranges::max_element(picture().chords, {}, &Picture::Chord::volume);
    }
    QColor ground() const { return picture().image.pixelColor(1, 1); }
};

TEST_F(OptionsTest, TheViewSwitchHasTheTextsOfItsModes)
{
    for (const auto mode : available(false)) {
        click(asQt(shortTitle(mode)));
        EXPECT_EQ(window->options().layout, mode);
        EXPECT_EQ(picture().request.mode, mode);
    }
    for (const auto* const button : part<QToolBar>("optionsBar").findChildren<QToolButton*>())
        if (button->text() == QStringLiteral("Services")) {
            EXPECT_EQ(button->accessibleName(), QStringLiteral("Host to service links"));
            EXPECT_TRUE(button->toolTip().startsWith(QStringLiteral("Hosts (left) linked to services (right).")));
        }
}

TEST_F(OptionsTest, HostsAreIpOrMacAddresses)
{
    choose("mode", QStringLiteral("MAC hosts"));
    for (const auto& node : picture().nodes())
        EXPECT_EQ(std::ranges::count(node.address, ':'), 5) << node.address;
    choose("mode", QStringLiteral("IP hosts"));
    EXPECT_TRUE(picture().findNode(Selected::host("10.20.1.101")));
}

TEST_F(OptionsTest, VolumeCountsBytesOrPackets)
{
    const auto& pairs = heaviest().pairs;
    std::uint64_t packets = 0;
    for (const auto* const pair : pairs)
        packets = std::max(packets, pair->packetCount);
    const auto what = heaviest().what;
    choose("volume", QStringLiteral("Packets"));
    EXPECT_EQ(picture().chords[*picture().findChord(what)].volume, packets);
}

TEST_F(OptionsTest, ColourTellsProtocolOrQuality)
{
    const auto chord = [&] {
        return *std::ranges::find_if(picture().chords,
                                     [](const auto& c) { return c.pairs.size() == 1 && !c.pairs[0]->tcpQuality; });
    };
    const auto protocol = ProtocolColors::color(chord().pairs.front()->topProtocol);
    EXPECT_EQ(chord().color, protocol);
    choose("color", QStringLiteral("Colour: TCP quality"));
    const auto [r, g, b] = color(SessionQualityGrade::unknown);
    EXPECT_EQ(chord().color, (ProtocolColors::RGB{r, g, b})) << "it has no TCP";
}

TEST_F(OptionsTest, SoManyConversationsAreDrawn)
{
    choose("limit", QStringLiteral("Top 10"));
    EXPECT_EQ(picture().chords.size(), 10u);
    choose("limit", QStringLiteral("All conversations"));
    EXPECT_EQ(picture().chords.size(), session().talks()->talks().size());
}

TEST_F(OptionsTest, LinesAreAsWideAsTheirVolumeOrAllAlike)
{
    EXPECT_EQ(heaviest().width, 10);
    click(QStringLiteral("Thickness"));
    EXPECT_EQ(heaviest().width, 2);
    click(QStringLiteral("Thickness"));
    EXPECT_EQ(heaviest().width, 10);
}

TEST_F(OptionsTest, HostsShowTheirNamesOrAddresses)
{
    const auto label = [&] {
        return picture().nodes()[*picture().findNode(Selected::host("10.20.1.101"))].displayLabel;
    };
    EXPECT_EQ(label(), "anna");
    click(QStringLiteral("Names"));
    EXPECT_EQ(label(), "10.20.1.101");
}

TEST_F(OptionsTest, TidySeatsTheHostsAnew)
{
    choose("volume", QStringLiteral("Packets")); // others are heavy now than those that were seated by
    const auto before = circle().angles();
    click(QStringLiteral("Tidy"));
    EXPECT_TRUE(eventually([&] { return circle().angles() != before; }));
    settle();
}

TEST_F(OptionsTest, ThePictureIsLightOrDarkAsIsWished)
{
    for (const auto& [entry, theme] : {std::pair{"D&ark", SceneTheme::dark}, {"&Light", SceneTheme::light}}) {
        const auto actions = window->findChildren<QAction*>();
        const auto action = std::ranges::find(actions, QLatin1String(entry), &QAction::text);
        ASSERT_NE(action, actions.end());
        (*action)->trigger();
        settle();
        const auto [r, g, b] = palette(theme).ground;
        EXPECT_EQ(ground(), QColor(r, g, b)) << entry;
    }
}

TEST_F(OptionsTest, AScreenOfTwicePixelsGetsAPictureOfTwicePixels)
{
    auto request = picture().request;
    request.pixelRatio = 2;
    const Picture fine(request);
    EXPECT_EQ(fine.image.size(), picture().image.size() * 2);
    EXPECT_EQ(fine.image.deviceIndependentSize(), picture().image.deviceIndependentSize());
    const auto& node = fine.nodes().front();
    EXPECT_EQ(fine.nodeAt(fine.positionOf(node)), 0u) << "points stay points";
}

TEST_F(OptionsTest, ThePointerStaysWithItsChordWhereAnotherOneIsHardlyNearer)
{
    // On a chord, a point and a half from another one of the same host: whichever was pointed at before stays.
    std::size_t kept = 0;
    const auto at = [&](std::uint32_t node) { return picture().positionOf(picture().nodes()[node]); };
    for (std::uint32_t node = 0; node < picture().nodes().size(); ++node) {
        const auto& chords = picture().chordsOf[node];
        for (std::size_t i = 1; i < chords.size(); ++i) {
            const auto &pointed = picture().chords[chords[i - 1]], &other = picture().chords[chords[i]];
            const auto from = at(node), to = at(other.from == node ? other.to : other.from);
            const auto end = at(pointed.from == node ? pointed.to : pointed.from);
            for (double share = 0.01; share < 1; share += 0.005) {
                const auto place = from + (to - from) * share;
                const auto away = distanceToSegment({place.x(), place.y()}, {from.x(), from.y()}, {end.x(), end.y()});
                if (away < 1.2 || away > 1.8 || picture().chordAt(place, {}) == chords[i - 1])
                    continue;
                EXPECT_EQ(picture().chordAt(place, pointed.what), chords[i - 1]);
                ++kept;
                break;
            }
        }
    }
    EXPECT_GT(kept, 10u);
}

TEST_F(WindowTest, TheWelcomeOpensTheSample)
{
    QTest::mouseClick(&part<QAbstractButton>("sampleButton"), Qt::LeftButton);
    ASSERT_TRUE(eventually([&] { return session().isOpen(); }));
    settle();
    EXPECT_TRUE(window->windowTitle().startsWith(QStringLiteral("office.pcapng")));
}

} // namespace
} // namespace netrondo::test
