// The window as a whole: opening, errors, cancelling, what is remembered.
#include "Capture/CaptureFile.h"
#include "NetrondoApp/Support/Traffic.h"
#include "NetrondoApp/Support/Window.h"

#include <QDockWidget>
#include <QKeySequence>
#include <QMenu>
#include <QMimeData>
#include <filesystem>
#include <fstream>
#include <map>

namespace netrondo::test {
namespace {

class MainWindowTest : public WindowTest { };

TEST_F(MainWindowTest, StartsWithAWelcome)
{
    EXPECT_EQ(window->windowTitle(), QStringLiteral("Netrondo"));
    EXPECT_EQ(part<QStackedWidget>("pages").currentIndex(), 0);
    EXPECT_FALSE(part<QAction>("layout.hosts").text().isEmpty());
}

TEST_F(MainWindowTest, NoTwoEntriesOfAMenuAnswerToTheSameLetter)
{
    std::size_t menus = 0;
    for (const auto* const menu : window->findChildren<QMenu*>()) {
        std::map<QString, QString> entries; // by letter
        for (const auto* const action : menu->actions())
            if (const auto letter = QKeySequence::mnemonic(action->text()).toString(); !letter.isEmpty()) {
                const auto [first, isAlone] = entries.emplace(letter, action->text());
                EXPECT_TRUE(isAlone) << menu->title().toStdString() << ": " << first->second.toStdString() << ", "
                                     << action->text().toStdString();
            }
        menus += !entries.empty();
    }
    EXPECT_GE(menus, 5u) << "File, Edit, View, Capture, Help";
}

TEST_F(MainWindowTest, ShowsACaptureWithItsNameHostsAndConversations)
{
    open(sample());
    EXPECT_TRUE(window->windowTitle().startsWith(QStringLiteral("office.pcapng")));
    EXPECT_EQ(part<QStackedWidget>("pages").currentIndex(), 1);
    const auto& talks = *session().talks();
    EXPECT_GT(talks.hosts().size(), 50u);
    EXPECT_EQ(picture().nodes().size(), talks.hosts().size());
    EXPECT_EQ(picture().chords.size(), talks.talks().size());
    EXPECT_EQ(part<QTableView>("conversationsList").model()->rowCount(), static_cast<int>(talks.talks().size()));
    EXPECT_EQ(part<QTableView>("hostsList").model()->rowCount(), static_cast<int>(talks.hosts().size()));
}

TEST_F(MainWindowTest, EveryFrameIsAccountedFor)
{
    open(sample());
    const auto& facts = session().facts();
    EXPECT_GT(facts.frames, session().talks()->result()->totalPackets);
    EXPECT_EQ(facts.volume.between(0, 1e12).packets, facts.frames);
    EXPECT_TRUE(shownText().contains(QStringLiteral(" of "))) << shownText().toStdString();
}

TEST_F(MainWindowTest, AFileThatCannotBeReadIsToldWithItsNameAndWhatWasOpenStays)
{
    open(sample());
    const auto before = session().talks();
    open(QStringLiteral("/nowhere/gone.pcap"));
    EXPECT_TRUE(message().startsWith(QStringLiteral("/nowhere/gone.pcap: "))) << message().toStdString();
    EXPECT_TRUE(message().contains(QStringLiteral("No such file")));
    EXPECT_EQ(session().talks(), before);
    EXPECT_TRUE(window->windowTitle().startsWith(QStringLiteral("office.pcapng")));
}

TEST_F(MainWindowTest, AFileThatIsNoCaptureIsToldInTheReadersOwnWords)
{
    const TempFile file(Bytes(hex("00112233 44556677 8899aabb ccddeeff 00112233 44556677")), "odd.pcap");
    open(file);
    EXPECT_FALSE(session().isOpen());
    const auto path = file.path().string();
    EXPECT_EQ(message(), asQt(path + ": " + CaptureFile::open(path).error().errorDescription()));
    EXPECT_EQ(part<QStackedWidget>("pages").currentIndex(), 0);
}

TEST_F(MainWindowTest, ReadingCanBeCancelledAndWhatWasOpenStays)
{
    open(sample());
    PcapBytes capture;
    const auto frame = frameBetween(1, 2);
    for (int i = 0; i < 200'000; ++i)
        capture.frame(frame);
    const TempFile file(capture, "long.pcap");
    const auto before = session().talks();
    QSignalSpy cancelled(&session(), &CaptureSession::cancelled);
    window->open(QString::fromStdString(file.path().string()));
    EXPECT_TRUE(session().isReading());
    session().cancel();
    EXPECT_EQ(cancelled.count(), 1);
    EXPECT_FALSE(session().isReading());
    QTest::qWait(300); // the thread ends, and what it found is of no interest
    EXPECT_EQ(session().talks(), before);
    EXPECT_EQ(message(), QString());
}

TEST_F(MainWindowTest, TheLatestOfTwoWishesIsShown)
{
    const TempFile file(PcapBytes().frame(frameBetween(1, 2)), "small.pcap");
    window->open(sample());
    open(file);
    EXPECT_TRUE(window->windowTitle().startsWith(QStringLiteral("small.pcap")));
    EXPECT_EQ(session().talks()->talks().size(), 1u);
}

TEST_F(MainWindowTest, AFileThatIsDroppedIsOpened)
{
    QMimeData data;
    data.setUrls({QUrl::fromLocalFile(sample())});
    QDragEnterEvent enters({10, 10}, Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(window.get(), &enters);
    EXPECT_TRUE(enters.isAccepted());
    QDropEvent drops({10, 10}, Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(window.get(), &drops);
    EXPECT_TRUE(eventually([&] { return session().isOpen(); }));
}

TEST_F(MainWindowTest, ClosingTheCaptureGoesBackToTheWelcome)
{
    open(sample());
    session().close();
    EXPECT_EQ(part<QStackedWidget>("pages").currentIndex(), 0);
    EXPECT_EQ(part<QTableView>("conversationsList").model()->rowCount(), 0);
    EXPECT_EQ(window->windowTitle(), QStringLiteral("Netrondo"));
}

TEST_F(MainWindowTest, ClosingWhileThePictureIsGatheredLeavesNothingToShow)
{
    open(sample());
    window->tidy();
    auto options = window->options();
    options.limit = 10;
    window->setOptions(options);
    session().close();
    ASSERT_TRUE(eventually([&] { return !window->isGathering(); }));
    QTest::qWait(100); // for what was on its way
    EXPECT_EQ(part<QStackedWidget>("pages").currentIndex(), 0);
    EXPECT_EQ(shownText(), QString());
    EXPECT_EQ(part<QTableView>("hostsList").model()->rowCount(), 0);
}

TEST_F(MainWindowTest, TheWelcomeHasTheWindowToItselfAndPanelsStayAsTheyWereLeft)
{
    const auto& conversations = part<QDockWidget>("conversationsDock");
    EXPECT_FALSE(conversations.isVisible());
    open(sample());
    EXPECT_TRUE(conversations.isVisible());
    part<QDockWidget>("detailsDock").hide();
    session().close();
    EXPECT_FALSE(conversations.isVisible());
    open(sample());
    EXPECT_TRUE(conversations.isVisible());
    EXPECT_FALSE(part<QDockWidget>("detailsDock").isVisible());
    session().close();
    reopen(); // from the welcome: what is remembered is how they were with a capture
    open(sample());
    EXPECT_TRUE(part<QDockWidget>("conversationsDock").isVisible());
    EXPECT_FALSE(part<QDockWidget>("detailsDock").isVisible());
}

TEST_F(MainWindowTest, OptionsAndRecentFilesAreThereTheNextTime)
{
    open(sample());
    setOptions([](ViewOptions& options) {
        options.useBytes = false;
        options.limit = 25;
        options.layout = CircleHostLayoutMode::byProtocol;
        options.theme = ThemeChoice::dark;
        options.colorMode = EdgeColorMode::quality;
        options.strictness = QualityStrictness::strict;
        options.showHostNames = false;
    });
    const auto before = window->options();
    reopen();
    EXPECT_EQ(window->options(), before);
    EXPECT_TRUE(part<QAction>("layout.byProtocol").isChecked());
    EXPECT_EQ(part<QComboBox>("limit").currentData().toInt(), 25);
    const auto buttons = part<QWidget>("WelcomeView").findChildren<QAbstractButton*>();
    EXPECT_TRUE(
        std::ranges::any_of(buttons, [](const auto* b) { return b->text() == QStringLiteral("office.pcapng"); }));
}

TEST_F(MainWindowTest, SettingsThatMakeNoSenseAreLeftAlone)
{
    {
        QSettings settings(QSettings::IniFormat, QSettings::UserScope, QStringLiteral("netrondo"),
                           QStringLiteral("netrondo"));
        settings.setValue(QStringLiteral("view/limit"), -5);
        settings.setValue(QStringLiteral("view/mode"), QStringLiteral("l9"));
        settings.setValue(QStringLiteral("view/layout"), QStringLiteral("map"));
        settings.setValue(QStringLiteral("window/state"), QByteArray("nonsense"));
    }
    window.reset();
    reopen();
    EXPECT_EQ(window->options(), ViewOptions());
}

} // namespace
} // namespace netrondo::test
