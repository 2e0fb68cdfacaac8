// Capturing and receiving in the window: what is asked, how it grows, what goes wrong, what is kept.
#include "../Support/Traffic.h" // the folder beside this file has one of the same name

#include "Base/Units.h"
#include "Capture/CaptureFile.h"
#include "Capture/CaptureWriter.h"
#include "NetrondoApp/Support/Window.h"
#include "Shell/CaptureDialog.h"
#include "Shell/LiveControl.h"
#include "Shell/ReceiveDialog.h"
#include "Support/Captures.h"
#include "Support/Child.h"
#include "Support/Network.h"
#include "Support/Readers.h"
#include "Support/Server.h"
#include "Tasks/TemporaryCapture.h"
#include "Views/FilterBar.h"
#include "Views/FrameListView.h"

#include <QDialogButtonBox>
#include <QLineEdit>
#include <QMenu>
#include <QMessageBox>
#include <QPushButton>
#include <QTreeWidget>
#include <csignal>
#include <gmock/gmock.h>
#include <linux/securebits.h>
#include <sys/prctl.h>
#include <sys/resource.h>

namespace netrondo::test {
namespace {

using testing::HasSubstr;

/// A segment from one made-up host to another.
std::vector<std::uint8_t> frameBetween(std::uint32_t a, std::uint32_t b)
{
    const auto source = "10.1.0." + std::to_string(a), destination = "10.1.0." + std::to_string(b);
    return tcpFrame({.source = source, .destination = destination}, "x");
}

class LiveTest : public WindowTest {
protected:
    void SetUp() override
    {
        qputenv("TMPDIR", QByteArray::fromStdString(temporary_.path().string()));
        WindowTest::SetUp();
        session().setFollowInterval(30);
    }
    void TearDown() override
    {
        window.reset();
        EXPECT_TRUE(eventually([&] { return temporary_.count() == 0; })) << "no capture stays behind";
        qunsetenv("TMPDIR");
    }
    LiveControl& control() const { return part<LiveControl>(); }
    LiveSession& live() const { return control().session(); }
    std::string barText() const { return part<LiveBar>().text().toStdString(); }
    QAction& action(const char* name) const { return part<QAction>(name); }
    int framesListed() const { return part<FrameListView>().model()->rowCount(); }

    void waitForFrames(std::uint64_t count)
    {
        ASSERT_TRUE(eventually([&] { return session().isOpen() && session().facts().frames == count; }))
            << session().facts().frames << " frames, " << barText() << ", " << message().toStdString();
        settle();
    }
    void waitForTheEnd()
    {
        ASSERT_TRUE(eventually([&] { return !live().isRunning() && !session().isReading(); })) << barText();
    }
    void stop()
    {
        action("stopCapture").trigger();
        waitForTheEnd();
    }
    void saveTo(const std::filesystem::path& path, LiveControl::Extent extent = LiveControl::Extent::everything)
    {
        QSignalSpy saved(&control(), &LiveControl::saved);
        control().save(asQt(path.string()), extent);
        ASSERT_TRUE(eventually([&] { return saved.count() == 1; }));
    }
    /// Presses a button of the question about frames that are saved nowhere; false where it is not asked.
    bool answer(QMessageBox::StandardButton button)
    {
        auto* const box = window->findChild<QMessageBox*>(QStringLiteral("unsaved"));
        if (!box)
            return false;
        box->button(button)->click();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        return true;
    }
    void giveUp()
    {
        window->close();
        EXPECT_TRUE(answer(QMessageBox::Discard));
    }

    /// A recording as a program leaves it behind that is killed in the middle of a record; returns how many frames it
    /// holds.
    std::size_t leaveBehind(const char* name)
    {
        const auto path = temporary_ / name;
        std::filesystem::copy_file(sample().toStdString(), path);
        std::filesystem::resize_file(path, std::filesystem::file_size(path) - 5);
        std::filesystem::permissions(path, std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
        return readFile(path).frames.size();
    }
    /// Presses a button of the question about a capture that was left behind; false where it is not asked.
    bool answerAboutAbandoned(QMessageBox::StandardButton button)
    {
        const auto box = [this] { return window->findChild<QMessageBox*>(QStringLiteral("abandoned")); };
        if (!eventually([&] { return box() != nullptr; }))
            return false;
        box()->button(button)->click();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        return true;
    }
    std::size_t temporaryFiles() const { return temporary_.count(); }

private:
    TempFolder temporary_;
};

class ReceiveInWindow : public LiveTest {
protected:
    void connect(bool reconnect = false)
    {
        control().receive({.server = {"127.0.0.1", server.port()},
                           .reconnect = reconnect,
                           .connectTimeout = std::chrono::seconds(20),
                           .reconnectPause = std::chrono::milliseconds(50)});
        server.accept();
    }
    std::string name() const { return "127.0.0.1:" + std::to_string(server.port()); }
    /// Frames from host to host, one after the other.
    void send(std::uint32_t from, std::uint32_t to)
    {
        PcapBytes capture;
        for (auto host = from; host < to; ++host)
            capture.frame(frameBetween(host, host + 1), {.seconds = 1000 + host});
        const auto bytes = capture.bytes();
        ASSERT_TRUE(server.send(Bytes(bytes).subspan(isFirst_ ? 0 : 24)));
        isFirst_ = false;
    }
    Server server;

private:
    bool isFirst_ = true;
};

TEST_F(ReceiveInWindow, EverythingGrowsWithTheFramesAndHostsKeepTheirPlaces)
{
    connect();
    send(1, 3);
    waitForFrames(2);
    EXPECT_EQ(window->windowTitle(), asQt("Capture from " + name() + " — Netrondo"));
    EXPECT_EQ(part<QStackedWidget>("pages").currentIndex(), 1);
    const auto before = circle().angles();
    EXPECT_EQ(before.size(), 3u);
    send(3, 9);
    waitForFrames(8);
    EXPECT_EQ(picture().nodes().size(), 9u);
    for (const auto& [address, angle] : before)
        EXPECT_EQ(circle().angles().at(address), angle) << address;
    EXPECT_EQ(part<QTableView>("conversationsList").model()->rowCount(), 8);
    EXPECT_EQ(session().facts().volume.between(0, 1e12).packets, 8u) << "the timeline";
    EXPECT_TRUE(eventually([&] { return framesListed() == 8; })) << "the frames";
    EXPECT_TRUE(eventually([&] { return barText().find("8 frames · 0 dropped") != std::string::npos; })) << barText();
    server.hangUp();
    waitForTheEnd();
    EXPECT_EQ(message(), QString());
    EXPECT_EQ(session().talks()->hosts().size(), 9u);
    EXPECT_FALSE(session().isFollowing());
    EXPECT_THAT(barText(), HasSubstr("ended, not saved yet"));
    giveUp();
}

TEST_F(ReceiveInWindow, AResetIsToldAndWhatCameIsKept)
{
    connect();
    send(1, 5);
    waitForFrames(4);
    server.reset();
    waitForTheEnd();
    EXPECT_THAT(message().toStdString(), HasSubstr("The stream from " + name() + " failed: Connection reset by peer"));
    EXPECT_THAT(message().toStdString(), HasSubstr("What was captured before is kept: 4 frames."));
    EXPECT_EQ(session().facts().frames, 4u);
    giveUp();
}

TEST_F(ReceiveInWindow, GarbageIsToldAndWhatCameIsKept)
{
    connect();
    send(1, 5);
    server.send(std::vector<std::uint8_t>(100, 0xff));
    waitForTheEnd();
    EXPECT_THAT(message().toStdString(), HasSubstr("the stream is damaged or out of step"));
    EXPECT_EQ(session().facts().frames, 4u);
    giveUp();
}

TEST_F(ReceiveInWindow, WhatIsNoCaptureIsToldAndWhatWasOpenStays)
{
    open(sample());
    connect();
    server.send(asBytes("HTTP/1.1 400 Bad Request\r\n\r\n"));
    waitForTheEnd();
    EXPECT_THAT(message().toStdString(), HasSubstr("What arrives is neither pcap nor pcapng."));
    EXPECT_TRUE(window->windowTitle().startsWith(QStringLiteral("office.pcapng")));
    EXPECT_FALSE(control().wouldLoseFrames());
}

TEST_F(ReceiveInWindow, APeerThatStallsIsWaitedForAndCanBeStopped)
{
    connect();
    send(1, 3);
    server.send(std::vector<std::uint8_t>(8)); // half the header of a record
    waitForFrames(2);
    EXPECT_TRUE(live().isRunning());
    stop();
    EXPECT_EQ(message(), QString());
    EXPECT_EQ(session().facts().frames, 2u);
    giveUp();
}

TEST_F(ReceiveInWindow, NobodyThereIsToldWithWhatMustListen)
{
    const auto wanted = PcapOverIp::Options{.server = {"127.0.0.1", server.port()}};
    server.close();
    control().receive(wanted);
    waitForTheEnd();
    EXPECT_THAT(message().toStdString(), HasSubstr("Connection refused. Something must listen there, as in: tcpdump"));
    EXPECT_EQ(part<QStackedWidget>("pages").currentIndex(), 0);
}

TEST_F(ReceiveInWindow, ConnectsAgainAndSaysMeanwhileWhatBroke)
{
    connect(true);
    send(1, 3);
    waitForFrames(2);
    server.hangUp();
    EXPECT_TRUE(eventually([&] { return barText().find("closed the connection.") != std::string::npos; })) << barText();
    server.accept();
    server.send(PcapBytes({.linkType = 113}).frame(pattern(70)));
    waitForFrames(3);
    EXPECT_TRUE(live().isRunning());
    giveUp();
}

TEST_F(ReceiveInWindow, AFullDiskIsToldAndWhatCameIsKept)
{
    rlimit before{};
    ::getrlimit(RLIMIT_FSIZE, &before);
    const auto handler = std::signal(SIGXFSZ, SIG_IGN);
    const rlimit small{4000, before.rlim_max};
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &small), 0);
    connect();
    send(1, 200);
    waitForTheEnd();
    ::setrlimit(RLIMIT_FSIZE, &before);
    std::signal(SIGXFSZ, handler);
    EXPECT_THAT(message().toStdString(), HasSubstr(": File too large"));
    EXPECT_THAT(message().toStdString(), HasSubstr("What was captured before is kept"));
    EXPECT_GT(session().facts().frames, 10u);
    EXPECT_LT(session().facts().frames, 199u);
    giveUp();
}

TEST_F(ReceiveInWindow, FramesThatAreSavedNowhereAreAskedAbout)
{
    connect();
    send(1, 5);
    waitForFrames(4);
    EXPECT_FALSE(window->close());
    EXPECT_TRUE(answer(QMessageBox::Cancel));
    EXPECT_TRUE(live().isRunning()) << "nothing has happened";
    window->open(sample());
    EXPECT_TRUE(answer(QMessageBox::Discard));
    ASSERT_TRUE(eventually([&] { return window->windowTitle().startsWith(QStringLiteral("office.pcapng")); }));
    EXPECT_FALSE(live().isThere());
    EXPECT_EQ(barText(), "");
    EXPECT_TRUE(window->close()) << "and are not asked about twice";
}

TEST_F(ReceiveInWindow, FramesThatAreSavedAreNotAskedAbout)
{
    const TempFolder folder;
    connect();
    send(1, 5);
    waitForFrames(4);
    server.hangUp();
    waitForTheEnd();
    for (const auto* name : {"a.pcap", "a.pcapng"}) {
        saveTo(folder / name);
        EXPECT_EQ(message(), asQt("4 frames in " + (folder / name).string() + "."));
        EXPECT_EQ(readFile(folder / name).frames.size(), 4u) << name;
    }
    EXPECT_THAT(barText(), testing::EndsWith("ended"));
    EXPECT_TRUE(window->close());
}

TEST_F(ReceiveInWindow, CanBeSavedWhileItRunsAndIsUnsavedAgainWithTheNextFrame)
{
    const TempFolder folder;
    connect();
    send(1, 5);
    waitForFrames(4);
    saveTo(folder / "a.pcapng");
    EXPECT_EQ(readFile(folder / "a.pcapng").frames.size(), 4u);
    EXPECT_TRUE(live().isRunning());
    send(5, 6);
    waitForFrames(5);
    server.hangUp();
    waitForTheEnd();
    EXPECT_TRUE(control().wouldLoseFrames());
    giveUp();
}

TEST_F(ReceiveInWindow, ARestartBeginsWithNothing)
{
    connect();
    send(1, 5);
    waitForFrames(4);
    action("restartCapture").trigger();
    EXPECT_TRUE(answer(QMessageBox::Discard));
    server.accept();
    const auto one = PcapBytes().frame(frameBetween(7, 8));
    server.send(one);
    waitForFrames(1);
    EXPECT_EQ(session().talks()->hosts().size(), 2u);
    EXPECT_TRUE(live().isRunning());
    giveUp();
}

TEST_F(LiveTest, ARecordingThatAKilledProgramLeftBehindCanBeSaved)
{
    const auto frames = leaveBehind("netrondo-unsaved-abcdef.pcapng");
    ASSERT_GT(frames, 100u);
    window->offerAbandoned();
    ASSERT_TRUE(answerAboutAbandoned(QMessageBox::Open));
    waitForFrames(frames);
    EXPECT_EQ(window->windowTitle(), QStringLiteral("Recovered capture — Netrondo"));
    EXPECT_EQ(barText(), "Recovered capture · " + units::grouped(frames) + " frames · ended, not saved yet");
    EXPECT_FALSE(action("restartCapture").isEnabled());
    EXPECT_FALSE(window->close()) << "it is saved nowhere";
    EXPECT_TRUE(answer(QMessageBox::Cancel));
    EXPECT_FALSE(TemporaryCapture::findAbandoned()) << "it is this window's now";
    const TempFolder folder;
    saveTo(folder / "a.pcapng");
    EXPECT_EQ(readFile(folder / "a.pcapng").frames.size(), frames);
    EXPECT_TRUE(window->close());
}

TEST_F(LiveTest, RecordingsLeftBehindStayUntilTheyAreGivenUpOneByOne)
{
    leaveBehind("netrondo-unsaved-abcdef.pcapng");
    leaveBehind("netrondo-unsaved-ghijkl.pcapng");
    window->offerAbandoned();
    ASSERT_TRUE(answerAboutAbandoned(QMessageBox::Cancel));
    EXPECT_EQ(temporaryFiles(), 2u);
    window->offerAbandoned();
    ASSERT_TRUE(answerAboutAbandoned(QMessageBox::Discard));
    EXPECT_EQ(temporaryFiles(), 1u);
    ASSERT_TRUE(answerAboutAbandoned(QMessageBox::Discard)) << "the next one";
    EXPECT_EQ(temporaryFiles(), 0u);
}

TEST_F(LiveTest, OnlyRecordingsOfEndedProgramsAreTakenForLeftBehind)
{
    EXPECT_FALSE(TemporaryCapture::findAbandoned());
    {
        const TemporaryCapture written;
        EXPECT_FALSE(TemporaryCapture::findAbandoned()) << "it is locked";
        EXPECT_FALSE(TemporaryCapture::adopt(written.path()));
    }
    leaveBehind("netrondo-unsaved-ghijkl.pcapng.bak");
    EXPECT_FALSE(TemporaryCapture::findAbandoned()) << "another name";
    TemporaryCapture().release();
    EXPECT_EQ(temporaryFiles(), 2u);
    EXPECT_FALSE(TemporaryCapture::findAbandoned()) << "it holds no frame";
    EXPECT_EQ(temporaryFiles(), 1u);
    leaveBehind("netrondo-unsaved-abcdef.pcapng");
    auto found = TemporaryCapture::findAbandoned();
    ASSERT_TRUE(found);
    EXPECT_TRUE(found->path.string().ends_with("netrondo-unsaved-abcdef.pcapng"));
    std::filesystem::permissions(found->path, std::filesystem::perms::all);
    EXPECT_FALSE(TemporaryCapture::findAbandoned()) << "somebody keeps it for others to read";
    std::filesystem::remove(found->path);
    std::filesystem::remove(found->path.replace_filename("netrondo-unsaved-ghijkl.pcapng.bak"));
}

TEST_F(LiveTest, ARecordingThatNoFileCanBeMadeForIsTold)
{
    qputenv("TMPDIR", "/proc");
    control().receive({.server = {"127.0.0.1", 1}});
    waitForTheEnd();
    EXPECT_EQ(message(),
              QStringLiteral("There is no room for a capture in the temporary directory /proc (TMPDIR "
                             "can name another)."));
}

TEST_F(LiveTest, WhatAFilterAndASelectionLeaveCanBeSaved)
{
    open(sample());
    const TempFolder folder;
    saveTo(folder / "all.pcapng", LiveControl::Extent::shown);
    EXPECT_EQ(readFile(folder / "all.pcapng").frames.size(), readFile(sample().toStdString()).frames.size());
    part<FilterBar>().setText(QStringLiteral("udp.port == 53"));
    part<FilterBar>().apply();
    ASSERT_TRUE(eventually([&] { return session().filter() && !session().isReading(); }));
    settle();
    saveTo(folder / "dns.pcapng", LiveControl::Extent::shown);
    const auto dns = readFile(folder / "dns.pcapng").frames.size();
    EXPECT_EQ(dns, session().talks()->result()->totalPackets);
    const auto& talk = session().talks()->talks().front();
    selection().focus(
        Selected::conversation(session().talks()->host(talk, 0).text, session().talks()->host(talk, 1).text));
    saveTo(folder / "one.pcapng", LiveControl::Extent::shown);
    EXPECT_EQ(readFile(folder / "one.pcapng").frames.size(), talk.allPackets());
    EXPECT_LT(talk.allPackets(), dns);
    saveTo(folder / "again.pcapng");
    EXPECT_EQ(readFile(folder / "again.pcapng").frames.size(), readFile(sample().toStdString()).frames.size());
}

TEST_F(LiveTest, WhatCannotBeSavedIsTold)
{
    open(sample());
    saveTo("/nowhere/a.pcapng");
    EXPECT_EQ(message(), QStringLiteral("/nowhere/a.pcapng: No such file or directory. The frames were not saved."));
    saveTo("a.pcap.gz");
    EXPECT_THAT(message().toStdString(), HasSubstr("a.pcap.gz: compressed captures are not written"));
}

TEST_F(LiveTest, ACaptureFilterIsCheckedAsItIsTyped)
{
    control().askWhatToCapture();
    auto& dialog = part<CaptureDialog>();
    auto& line = *dialog.findChild<QLineEdit*>(QStringLiteral("captureFilter"));
    ASSERT_TRUE(eventually([&] { return dialog.verdict() == QStringLiteral("✓ Every frame is captured."); }));
    QTest::keyClicks(&line, QStringLiteral("tcp prt 80"));
    ASSERT_TRUE(eventually([&] { return dialog.verdict().startsWith(QStringLiteral("✗ ")); }));
    EXPECT_THAT(dialog.verdict().toStdString(), HasSubstr("syntax error"));
    EXPECT_FALSE(dialog.isReady());
    line.clear();
    QTest::keyClicks(&line, QStringLiteral("tcp port 80"));
    ASSERT_TRUE(eventually([&] { return dialog.verdict() == QStringLiteral("✓ libpcap takes this filter."); }));
    dialog.reject();
}

TEST_F(LiveTest, AServerIsCheckedAsItIsTypedAndRememberedTheNextTime)
{
    control().askWhereToReceive();
    auto& dialog = part<ReceiveDialog>();
    auto& line = *dialog.findChild<QLineEdit*>(QStringLiteral("server"));
    EXPECT_FALSE(dialog.wanted());
    QTest::keyClicks(&line, QStringLiteral("probe:x"));
    EXPECT_FALSE(dialog.wanted());
    EXPECT_TRUE(dialog.findChild<QLabel*>(QStringLiteral("serverVerdict"))->text().startsWith(QStringLiteral("✗")));
    line.setText(QStringLiteral("[::1]:1"));
    ASSERT_TRUE(dialog.wanted());
    EXPECT_EQ(dialog.wanted()->server, (CaptureServer{"::1", 1}));
    QTest::keyClick(&line, Qt::Key_Return);
    waitForTheEnd(); // nobody listens there
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    control().askWhereToReceive();
    EXPECT_EQ(part<ReceiveDialog>().wanted()->server, (CaptureServer{"::1", 1}));
    part<ReceiveDialog>().reject();
}

TEST_F(LiveTest, AHostOfTheCircleBecomesACaptureFilter)
{
    open(sample());
    QMenu menu;
    control().addTo(menu, Selected::conversation("10.0.0.1", "10.0.0.2"));
    ASSERT_EQ(menu.actions().size(), 2);
    menu.actions().front()->trigger();
    auto& dialog = part<CaptureDialog>();
    EXPECT_EQ(dialog.findChild<QLineEdit*>(QStringLiteral("captureFilter"))->text(),
              QStringLiteral("host 10.0.0.1 and host 10.0.0.2"));
    EXPECT_TRUE(eventually([&] { return dialog.verdict() == QStringLiteral("✓ libpcap takes this filter."); }));
    dialog.reject();
}

TEST_F(LiveTest, WithoutThePermissionTheWindowSaysWhatGivesIt)
{
    const bool isRoot = ::geteuid() == 0;
    if (isRoot) {
        ASSERT_EQ(::prctl(PR_SET_SECUREBITS, SECBIT_NOROOT), 0); // whoever is not root has nothing to lose
    }
    control().askWhatToCapture();
    auto& dialog = part<CaptureDialog>();
    auto* const permission = dialog.findChild<QWidget*>(QStringLiteral("permission"));
    EXPECT_TRUE(eventually([&] { return permission->isVisible(); }));
    EXPECT_EQ(dialog.findChild<QLineEdit*>(QStringLiteral("permissionCommand"))->text(),
              asQt(LiveCapture::permissionCommand()));
    dialog.reject();
    control().capture({{.interface = "lo"}});
    waitForTheEnd();
    if (isRoot)
        ::prctl(PR_SET_SECUREBITS, 0);
    EXPECT_EQ(message(),
              asQt("No permission to capture on lo. The capture program gets it, once, by: "
                   + LiveCapture::permissionCommand()));
}

class CaptureInWindow : public LiveTest {
protected:
    void SetUp() override
    {
        if (const auto reason = whyNoNetwork(); !reason.empty())
            GTEST_SKIP() << reason;
        cable_.emplace();
        LiveTest::SetUp();
    }
    void TearDown() override
    {
        if (cable_)
            LiveTest::TearDown();
    }
    void capture(const std::vector<std::string>& interfaces = {Cable::far})
    {
        std::vector<LiveCapture::Options> options;
        for (const auto& interface : interfaces)
            options.push_back({.interface = interface, .filter = "tcp port 80"});
        control().capture(options);
        ASSERT_TRUE(eventually([&] { return session().isFollowing(); })) << message().toStdString();
    }
    void send(int count = 1) const { cable_->send(web_, count); }
    const Cable& cable() const { return *cable_; }

private:
    const std::vector<std::uint8_t> web_ = tcpFrame({}, "data");
    std::optional<Cable> cable_;
};

TEST_F(CaptureInWindow, InterfacesAreListedWithStateAndAddressesAndOneIsCaptured)
{
    control().askWhatToCapture();
    auto& dialog = part<CaptureDialog>();
    auto& list = *dialog.findChild<QTreeWidget*>(QStringLiteral("interfaces"));
    ASSERT_TRUE(eventually([&] { return list.topLevelItemCount() >= 3; }));
    for (int i = 0; i < list.topLevelItemCount(); ++i) {
        auto* const item = list.topLevelItem(i);
        const bool isFar = item->text(0) == QString::fromLatin1(Cable::far);
        EXPECT_TRUE(item->text(0) != QStringLiteral("lo") || item->text(2).contains(QStringLiteral("127.0.0.1")));
        EXPECT_TRUE(!isFar || item->text(1) == QStringLiteral("up"));
        item->setCheckState(0, isFar ? Qt::Checked : Qt::Unchecked);
    }
    dialog.setFilter(QStringLiteral("tcp port 80"));
    ASSERT_TRUE(eventually([&] { return dialog.isReady(); }));
    QTest::keyClick(dialog.findChild<QLineEdit*>(QStringLiteral("captureFilter")), Qt::Key_Return);
    ASSERT_TRUE(eventually([&] { return session().isFollowing(); })) << message().toStdString();
    EXPECT_EQ(live().wish().title, QStringLiteral("Capture on nrfar (tcp port 80)"));
    send(5);
    waitForFrames(5);
    EXPECT_EQ(session().talks()->talks().size(), 1u);
    stop();
    EXPECT_EQ(session().facts().frames, 5u);
    EXPECT_THAT(barText(), HasSubstr("5 frames · 0 dropped for want of room · 0 lost by the interface"));
    giveUp();
}

TEST_F(CaptureInWindow, SeveralInterfacesAreOneCaptureWithABlockEach)
{
    capture({Cable::near, Cable::far});
    send(3);
    waitForFrames(6); // each leaves one end and arrives at the other
    stop();
    const TempFolder folder;
    saveTo(folder / "a.pcapng");
    const auto reader = CaptureFile::open(folder / "a.pcapng").value();
    std::map<std::int64_t, int> frames;
    for (const auto& frame : readFrames(*reader).frames)
        ++frames[frame.interfaceID];
    EXPECT_EQ(frames, (std::map<std::int64_t, int>{{0, 3}, {1, 3}}));
    EXPECT_EQ(reader->interfaceLinkTypes().size(), 2u);
}

TEST_F(CaptureInWindow, AnInterfaceThatGoesDownIsToldAndWhatCameIsKept)
{
    capture();
    send(3);
    waitForFrames(3);
    cable().takeDown();
    waitForTheEnd();
    EXPECT_EQ(message(),
              QStringLiteral("The interface nrfar went down; this brings it up: sudo ip link set nrfar up. What was "
                             "captured before is kept: 3 frames."));
    EXPECT_EQ(session().facts().frames, 3u);
    giveUp();
}

TEST_F(CaptureInWindow, AnInterfaceThatVanishesIsToldAndWhatCameIsKept)
{
    capture();
    send(3);
    waitForFrames(3);
    cable().remove();
    waitForTheEnd();
    EXPECT_EQ(message(),
              QStringLiteral("The interface nrfar has vanished; netrondo interfaces lists those there are. What was "
                             "captured before is kept: 3 frames."));
    EXPECT_EQ(session().facts().frames, 3u);
    giveUp();
}

TEST_F(CaptureInWindow, ACaptureProgramThatIsKilledIsToldAndWhatCameIsKept)
{
    capture();
    send(3);
    waitForFrames(3);
    const auto program = childOf(::getpid());
    ASSERT_GT(program, 0);
    ::kill(program, SIGKILL);
    waitForTheEnd();
    EXPECT_THAT(message().toStdString(),
                HasSubstr("the capture program was ended by signal 9; a new capture starts it again. What"));
    EXPECT_EQ(session().facts().frames, 3u);
    giveUp();
}

} // namespace
} // namespace netrondo::test
