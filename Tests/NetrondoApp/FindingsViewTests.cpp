// The findings' dock: what it lists, how it is narrowed, where a finding leads, mutes, badges and marks.
#include "../Support/Traffic.h" // not the folder's own, whose wire numbers the decode view cannot stand
#include "Base/Units.h"
#include "Circle/FindingBadges.h"
#include "Models/CaptureFindings.h"
#include "Models/ExpertSettings.h"
#include "Models/Severities.h"
#include "NetrondoApp/Support/Window.h"
#include "Shell/MuteDialog.h"
#include "Support/Captures.h"
#include "Views/DecodeView.h"
#include "Views/FindingsView.h"
#include "Views/FrameListView.h"

#include <QAbstractItemModelTester>
#include <QAccessible>
#include <QComboBox>
#include <QDockWidget>
#include <QFile>
#include <QHeaderView>
#include <QLineEdit>
#include <QScrollBar>
#include <QTextBrowser>
#include <QToolButton>
#include <QTreeView>
#include <filesystem>
#include <fmt/format.h>
#include <fstream>

namespace netrondo::test {
namespace {

QString trouble()
{
    return QStringLiteral(NETRONDO_SOURCE_DIR "/Samples/trouble.pcapng");
}

class FindingsViewTest : public WindowTest {
protected:
    void SetUp() override
    {
        QFile::remove(ExpertSettings::defaultPath());
        WindowTest::SetUp();
    }
    void TearDown() override { QFile::remove(ExpertSettings::defaultPath()); }

    FindingsView& view() const { return part<FindingsView>(); }
    QTreeView& list() const { return part<QTreeView>("findingsList"); }
    const CaptureFindings& findings() const { return *view().findings(); }
    std::span<const ExpertFinding> all() const { return findings().list(); }
    void calm()
    {
        ASSERT_TRUE(eventually([&] { return !view().isBusy(); }));
    }
    void chooseItem(const char* box, int value)
    {
        auto& choice = part<QComboBox>(box);
        choice.setCurrentIndex(choice.findData(value));
        calm();
    }
    void type(const QString& text)
    {
        part<QLineEdit>("findingsFilter").setText(text);
        calm();
    }
    /// The index of the first row with such a finding; not valid when there is none.
    QModelIndex rowOf(std::string_view id) const
    {
        for (const auto& finding : all())
            if (finding.kind().id == id)
                return view().model()->indexOf(finding);
        return {};
    }
    void choose(std::string_view id)
    {
        const auto index = rowOf(id);
        ASSERT_TRUE(index.isValid()) << id;
        list().setCurrentIndex(index);
    }
    QString details() const { return part<QTextBrowser>("findingDetails").toPlainText(); }
    QString empty() const { return part<QLabel>("findingsEmpty").text(); }
    /// Frame numbers that the packet list shows.
    std::vector<std::uint32_t> framesShown() const
    {
        auto& frames = *part<DecodeView>().frames();
        std::vector<std::uint32_t> numbers;
        for (int row = 0; row < frames.rowCount(); ++row)
            numbers.push_back(frames.frameAt(row) + 1);
        return numbers;
    }
    void mute(const ExpertMute& mute)
    {
        part<ExpertSettings>().mute(mute);
        settle();
    }
};

TEST_F(FindingsViewTest, ListsEveryFindingWhatHurtsMostFirst)
{
    open(trouble());
    const QAbstractItemModelTester tester(view().model(), QAbstractItemModelTester::FailureReportingMode::Fatal);
    ASSERT_GT(all().size(), 5u);
    ASSERT_EQ(view().model()->rowCount(), static_cast<int>(all().size()));
    for (int row = 0; row < view().model()->rowCount(); ++row) {
        const auto& finding = all()[*view().model()->findingAt(view().model()->index(row, 0))];
        EXPECT_EQ(&finding, &all()[static_cast<std::size_t>(row)]);
        const auto cell = [&](int column) { return view().model()->index(row, column); };
        EXPECT_EQ(cell(FindingsModel::title).data().toString(), asQt(ExpertText::title(finding)));
        EXPECT_FALSE(cell(FindingsModel::severity).data().toString().isEmpty());
        EXPECT_FALSE(cell(FindingsModel::severity).data(Qt::DecorationRole).value<QIcon>().isNull());
    }
    EXPECT_EQ(view().model()->index(0, FindingsModel::severity).data().toString(), QStringLiteral("Error"));
    EXPECT_EQ(part<QDockWidget>("findingsDock").windowTitle(), QStringLiteral("Findings (%1)").arg(all().size()));
}

TEST_F(FindingsViewTest, TellsTheFourTextsOfTheChosenFinding)
{
    open(trouble());
    EXPECT_TRUE(details().contains(QStringLiteral("Choose a finding"))) << details().toStdString();
    for (int row = 0; row < view().model()->rowCount(); ++row) {
        list().setCurrentIndex(view().model()->index(row, 0));
        const auto text = details().simplified();
        const auto& finding = all()[static_cast<std::size_t>(row)];
        const auto holds = [&](const std::string& part) {
            EXPECT_TRUE(text.contains(asQt(part).simplified())) << part << " in " << text.toStdString();
        };
        holds(ExpertText::title(finding));
        holds(ExpertText::whatHappened(finding));
        holds(ExpertText::whyItFired(finding));
        for (const auto& cause : ExpertText::probableCauses(finding))
            holds(cause);
        for (const auto& next : ExpertText::nextSteps(finding))
            holds(next);
        holds(ExpertText::falsifier(finding));
        for (const auto& host : finding.hosts)
            holds(host.text());
    }
}

TEST_F(FindingsViewTest, IsNarrowedBySeverityLayerHostAndText)
{
    open(trouble());
    const auto rows = [&] { return view().model()->rowCount(); };
    const auto wanted = [&](auto matches) { return static_cast<int>(std::ranges::count_if(all(), matches)); };
    chooseItem("findingsSeverity", int(Severity::error));
    EXPECT_EQ(rows(), wanted([](const auto& finding) { return finding.severity == Severity::error; }));
    chooseItem("findingsSeverity", int(Severity::info));
    chooseItem("findingsLayer", int(ExpertLayer::transport));
    EXPECT_EQ(rows(), wanted([](const auto& finding) { return finding.kind().layer == ExpertLayer::transport; }));
    EXPECT_GT(rows(), 0);
    chooseItem("findingsLayer", -1);
    const auto host = all().front().hosts[0];
    selection().select(Selected::host(host.text()));
    part<QToolButton>("findingsSelectedOnly").click();
    calm();
    EXPECT_EQ(rows(),
              wanted([&](const auto& finding) { return finding.hosts[0] == host || finding.hosts[1] == host; }));
    EXPECT_LT(rows(), static_cast<int>(all().size()));
    part<QToolButton>("findingsSelectedOnly").click();
    type(asQt(all().front().kind().id));
    EXPECT_EQ(rows(), wanted([&](const auto& finding) { return finding.finding == all().front().finding; }));
    type(QStringLiteral("nothing is called like this"));
    EXPECT_EQ(rows(), 0);
    EXPECT_TRUE(empty().startsWith(QStringLiteral("None of the"))) << empty().toStdString();
}

TEST_F(FindingsViewTest, IsGroupedAndSorted)
{
    open(trouble());
    auto& model = *view().model();
    const QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::Fatal);
    chooseItem("findingsGroups", int(FindingWish::Groups::severity));
    ASSERT_GT(model.rowCount(), 1);
    EXPECT_TRUE(model.index(0, 0).data().toString().startsWith(QStringLiteral("Errors (")));
    int inGroups = 0;
    for (int row = 0; row < model.rowCount(); ++row) {
        EXPECT_TRUE(list().isExpanded(model.index(row, 0)));
        inGroups += model.rowCount(model.index(row, 0));
    }
    EXPECT_EQ(inGroups, static_cast<int>(all().size()));
    list().collapse(model.index(0, 0));
    type(QStringLiteral("1"));
    EXPECT_FALSE(list().isExpanded(model.index(0, 0))) << "what was closed stays closed";
    type({});
    chooseItem("findingsGroups", int(FindingWish::Groups::none));
    emit list().header()->sectionClicked(FindingsModel::first);
    calm();
    std::uint64_t before = 0;
    for (int row = 0; row < model.rowCount(); ++row) {
        const auto first = all()[*model.findingAt(model.index(row, 0))].firstFrame;
        EXPECT_GE(first, before);
        before = first;
    }
}

TEST_F(FindingsViewTest, SaysWhatWasLookedAtWhereNothingIsWrong)
{
    const TempFile file(PcapBytes().frame(udpFrame({.destination = "10.0.0.7", .destinationPort = 9}, "x")),
                        "calm.pcap");
    open(file);
    ASSERT_EQ(all().size(), 0u);
    EXPECT_EQ(view().model()->rowCount(), 0);
    EXPECT_TRUE(empty().startsWith(QStringLiteral("Nothing is wrong in this capture, as far as it shows.")))
        << empty().toStdString();
    EXPECT_TRUE(empty().contains(QStringLiteral("1 frame between 2 hosts"))) << empty().toStdString();
    EXPECT_EQ(part<QDockWidget>("findingsDock").windowTitle(), QStringLiteral("Findings"));
    EXPECT_TRUE(picture().badges.empty());
}

TEST_F(FindingsViewTest, AccountsForEveryFrame)
{
    open(trouble());
    const auto& accounting = findings().summary().accounting;
    const auto text = part<QLabel>("findingsAccount").text();
    EXPECT_TRUE(text.startsWith(asQt(units::counted(accounting.read, "frame", "frames")))) << text.toStdString();
    EXPECT_TRUE(text.contains(asQt(units::grouped(accounting.analysed)) + QStringLiteral(" analysed")));
    ASSERT_FALSE(accounting.skipped.empty());
    auto sum = accounting.analysed;
    for (const auto& skip : accounting.skipped) {
        EXPECT_TRUE(text.contains(asQt(units::grouped(skip.frames)) + QLatin1Char(' ') + asQt(skip.reason)));
        sum += skip.frames;
    }
    EXPECT_EQ(sum, accounting.read);
}

TEST_F(FindingsViewTest, ChoosingAFindingSelectsItsConversationOrHost)
{
    open(trouble());
    for (int row = 0; row < view().model()->rowCount(); ++row) {
        const auto& finding = all()[static_cast<std::size_t>(row)];
        const auto what = findings().subjectOf(finding);
        if (!what)
            continue;
        selection().select({});
        list().setCurrentIndex({});
        list().setCurrentIndex(view().model()->index(row, 0));
        EXPECT_EQ(selection().selected(), what) << ExpertText::title(finding);
    }
}

TEST_F(FindingsViewTest, EnterShowsTheEvidenceAloneAndF3GoesThroughIt)
{
    open(trouble());
    const auto finding = std::ranges::find_if(all(), [](const auto& f) { return f.evidence.size() > 2; });
    ASSERT_NE(finding, all().end());
    choose(finding->kind().id);
    const auto chosen = *view().current();
    EXPECT_FALSE(part<QDockWidget>("framesDock").isVisible());
    QTest::keyClick(&list(), Qt::Key_Return);
    EXPECT_TRUE(part<QDockWidget>("framesDock").isVisible());
    EXPECT_TRUE(eventually([&] { return framesShown() == chosen.evidence; }));
    auto& decode = part<DecodeView>();
    EXPECT_TRUE(eventually([&] { return decode.frameNumber() == chosen.evidence[0]; }));
    const auto selected = selection().selected();
    part<QToolButton>("findingNextEvidence").click();
    EXPECT_TRUE(eventually([&] { return decode.frameNumber() == chosen.evidence[1]; }));
    EXPECT_TRUE(part<QLabel>("findingEvidence").text().startsWith(QStringLiteral("2 of")));
    part<QToolButton>("findingPreviousEvidence").click();
    part<QToolButton>("findingPreviousEvidence").click();
    EXPECT_TRUE(eventually([&] { return decode.frameNumber() == chosen.evidence.back(); }));
    EXPECT_EQ(selection().selected(), selected) << "a frame of evidence does not select something else";
    EXPECT_TRUE(view().current()->isAbout(chosen));
}

TEST_F(FindingsViewTest, BadgesStandInThePictureAndTellTheirFinding)
{
    open(trouble());
    ASSERT_FALSE(picture().badges.empty());
    for (const auto& badge : picture().badges) {
        const QPointF at = QPointF(badge.center.x, badge.center.y) + picture().request.origin();
        const auto what = picture().badgeAt(at);
        ASSERT_TRUE(what);
        QTest::mouseMove(&circle(), at.toPoint());
        EXPECT_TRUE(eventually([&] { return circle().hovered() == what; }));
        EXPECT_FALSE(findings().linesAbout(what).isEmpty()) << circle().nameOf(what).toStdString();
    }
    const auto conversation = std::ranges::find_if(picture().badges, [](const auto& b) { return b.from != b.to; });
    ASSERT_NE(conversation, picture().badges.end());
    const auto& nodes = picture().nodes();
    const auto what = Selected::conversation(nodes[conversation->from].address, nodes[conversation->to].address);
    const auto lines = findings().linesAbout(what);
    ASSERT_FALSE(lines.isEmpty());
    EXPECT_TRUE(circle().describe(what).contains(lines.front()));
    EXPECT_FALSE(picture().scene.polygons.empty());
}

TEST_F(FindingsViewTest, AClickOnABadgeLeadsToTheFinding)
{
    open(trouble());
    const auto& badge = picture().badges.front();
    const auto at = QPointF(badge.center.x, badge.center.y) + picture().request.origin();
    const auto what = picture().badgeAt(at);
    QTest::mouseClick(&circle(), Qt::LeftButton, {}, at.toPoint());
    ASSERT_TRUE(eventually([&] { return list().isVisible() && view().current(); }));
    EXPECT_EQ(view().current(), &findings()[findings().about(what).front()]);
    EXPECT_EQ(selection().selected(), findings().subjectOf(*view().current()));
}

TEST_F(FindingsViewTest, WhatIsMutedHasNoBadgeAndIsNotCountedUntilThatIsTakenBack)
{
    open(trouble());
    const auto before = all().size();
    const auto badges = picture().badges.size();
    const auto conversation = std::ranges::find_if(picture().badges, [](const auto& b) { return b.from != b.to; });
    ASSERT_NE(conversation, picture().badges.end());
    const auto host = Address::parse(picture().nodes()[conversation->from].address).value();
    mute({Finding::none, host, {}, "a test machine"});
    EXPECT_LT(view().model()->rowCount(), static_cast<int>(before));
    EXPECT_LT(picture().badges.size(), badges);
    for (const auto& badge : picture().badges) {
        EXPECT_NE(picture().nodes()[badge.from].address, host.text());
        EXPECT_NE(picture().nodes()[badge.to].address, host.text());
    }
    part<QToolButton>("findingsWithMuted").click();
    calm();
    EXPECT_EQ(view().model()->rowCount(), static_cast<int>(before));
    int muted = 0;
    for (int row = 0; row < view().model()->rowCount(); ++row)
        muted += view().model()->index(row, 0).data().toString() == QStringLiteral("Muted");
    EXPECT_EQ(muted, static_cast<int>(findings().table().muted));
    EXPECT_GT(muted, 0);
    part<QToolButton>("findingsWithMuted").click();
    part<ExpertSettings>().undo();
    settle();
    EXPECT_EQ(view().model()->rowCount(), static_cast<int>(before));
    EXPECT_EQ(picture().badges.size(), badges);
}

TEST_F(FindingsViewTest, TheKeyMAsksForAReasonAndMutesAreThereTheNextTime)
{
    open(trouble());
    list().setCurrentIndex(view().model()->index(0, 0));
    const auto finding = *view().current();
    QTest::keyClick(&list(), Qt::Key_M);
    auto& dialog = part<MuteDialog>();
    part<QLineEdit>("muteReason").setText(QStringLiteral("known"));
    dialog.accept();
    settle();
    EXPECT_TRUE(message().startsWith(QStringLiteral("Muted: "))) << message().toStdString();
    const auto mutes = part<ExpertSettings>().mutes().mutes();
    ASSERT_EQ(mutes.size(), 1u);
    EXPECT_EQ(mutes[0].reason, "known");
    EXPECT_EQ(mutes[0].finding, finding.finding);
    EXPECT_FALSE(view().model()->indexOf(finding).isValid());
    EXPECT_EQ(loadExpertPreferences(ExpertSettings::defaultPath().toStdString()).value().mutes, mutes);
    reopen();
    EXPECT_EQ(part<ExpertSettings>().mutes().mutes(), mutes);
}

TEST_F(FindingsViewTest, APreferencesFileThatCannotBeUsedIsToldAndPutAside)
{
    const auto path = ExpertSettings::defaultPath();
    std::filesystem::create_directories(std::filesystem::path(path.toStdString()).parent_path());
    std::ofstream(path.toStdString()) << R"({"scannedPorts":1})";
    reopen();
    EXPECT_TRUE(message().startsWith(path)) << message().toStdString();
    EXPECT_TRUE(message().contains(QStringLiteral("“scannedPorts” is 1, but must lie between 2 and 65535")));
    part<ExpertSettings>().mute({Finding::tcpRst, {}, {}, "known"});
    EXPECT_TRUE(QFile::exists(path + QStringLiteral(".unreadable")));
    EXPECT_TRUE(loadExpertPreferences(path.toStdString()));
    QFile::remove(path + QStringLiteral(".unreadable"));
}

TEST_F(FindingsViewTest, TheChosenFindingAndWhatIsInSightStayWhenTheListChanges)
{
    open(trouble());
    window->resize(1300, 700);
    part<QDockWidget>("findingsDock").raise();
    auto& scroll = *list().verticalScrollBar();
    ASSERT_TRUE(eventually([&] { return scroll.maximum() > 2; }));
    const int row = view().model()->rowCount() - 2;
    list().setCurrentIndex(view().model()->index(row, 0));
    scroll.setValue(3);
    const auto chosen = *view().current();
    const auto top = all()[*view().model()->findingAt(list().indexAt({0, 0}))];
    mute({all()[0].finding, all()[0].hosts[0], all()[0].hosts[1], "known"});
    ASSERT_TRUE(view().current());
    EXPECT_TRUE(view().current()->isAbout(chosen));
    EXPECT_TRUE(all()[*view().model()->findingAt(list().indexAt({0, 0}))].isAbout(top));
    part<ExpertSettings>().undo();
    settle();
    EXPECT_TRUE(view().current()->isAbout(chosen));
    EXPECT_TRUE(all()[*view().model()->findingAt(list().indexAt({0, 0}))].isAbout(top));
}

TEST_F(FindingsViewTest, FramesAreMarkedWithTheWorstOfTheirFindings)
{
    open(trouble());
    part<QDockWidget>("framesDock").show();
    auto& frames = *part<DecodeView>().frames();
    const auto& summary = findings().summary();
    ASSERT_TRUE(eventually([&] { return frames.rowCount() == static_cast<int>(summary.accounting.read); }));
    ASSERT_FALSE(summary.annotations->empty());
    for (const auto& annotation : *summary.annotations)
        ASSERT_TRUE(frames.severityAt(static_cast<int>(annotation.frame) - 1)) << annotation.frame;
    for (const auto& one : all())
        for (const auto frame : one.evidence)
            EXPECT_GE(*frames.severityAt(static_cast<int>(frame) - 1), one.severity) << frame;
    const auto finding = std::ranges::find_if(all(), [](const auto& f) { return !f.evidence.empty(); });
    const auto cell = frames.index(static_cast<int>(finding->evidence[0]) - 1, FrameListModel::info);
    EXPECT_TRUE(cell.data(FrameListModel::problemRole).toString().contains(severityWord(finding->severity)))
        << cell.data(FrameListModel::problemRole).toString().toStdString();
    EXPECT_TRUE(cell.data(Qt::AccessibleTextRole).toString().contains(QStringLiteral("problem")));
}

TEST_F(FindingsViewTest, WhatIsMutedCountsForNoFindingOfTheNetwork)
{
    PcapBytes forged;
    for (int i = 1; i <= 21; ++i)
        forged.frame(udpFrame({.source = fmt::format("127.0.0.{}", i), .destinationPort = 9}, "x"));
    const TempFile file(forged, "forged.pcap");
    open(file);
    const auto hosts = [&] {
        const auto martian = std::ranges::find_if(
            all(), [](const auto& one) { return one.finding == Finding::ipMartian && !one.muted; });
        return martian == all().end() ? 0u : martian->conversations;
    };
    ASSERT_EQ(hosts(), 21u);
    mute({Finding::none, *Address::parse("127.0.0.3"), {}, "a test machine"});
    EXPECT_EQ(hosts(), 20u);
    EXPECT_EQ(findings().table().muted, 1u);
    part<ExpertSettings>().undo();
    settle();
    EXPECT_EQ(hosts(), 21u);
    EXPECT_EQ(findings().table().muted, 0u);
}

TEST_F(FindingsViewTest, WhatTheAnalysisCouldNotTakeIsSaidInALineEach)
{
    open(QStringLiteral(NETRONDO_SOURCE_DIR "/Samples/office.pcapng"));
    const auto lines = part<QLabel>("findingsAccount").text().split(QLatin1Char('\n'));
    const auto& remarks = findings().summary().remarks;
    ASSERT_FALSE(remarks.empty());
    ASSERT_EQ(lines.size(), static_cast<qsizetype>(1 + remarks.size()));
    EXPECT_EQ(lines[1], asQt(remarks[0]));
}

TEST_F(FindingsViewTest, EveryControlHasANameForThoseWhoCannotSeeIt)
{
    open(trouble());
    for (auto* const widget : view().findChildren<QWidget*>()) {
        if (widget->focusPolicy() == Qt::NoFocus || !widget->isVisibleTo(&view())
            || widget->objectName().startsWith(QStringLiteral("qt_")))
            continue;
        auto* const face = QAccessible::queryAccessibleInterface(widget);
        ASSERT_TRUE(face);
        EXPECT_FALSE(face->text(QAccessible::Name).isEmpty())
            << widget->metaObject()->className() << ' ' << widget->objectName().toStdString();
    }
}

TEST_F(FindingsViewTest, FollowAFileThatGrows)
{
    // Frames from group addresses, which no station can have: a finding for each of them.
    const auto frames = [](int from, int to, bool withHeader) {
        PcapBytes capture;
        for (int n = from; n < to; ++n) {
            auto frame = udpFrame({}, "x");
            constexpr std::size_t source = 6;
            frame[source] = 0x03;
            frame[source + 5] = static_cast<std::uint8_t>(n);
            capture.frame(frame, {.seconds = static_cast<std::uint64_t>(1'700'000'000 + n)});
        }
        std::vector<std::uint8_t> bytes(capture.bytes().begin(), capture.bytes().end());
        if (!withHeader)
            bytes.erase(bytes.begin(), bytes.begin() + 24);
        return bytes;
    };
    const TempFile file(Bytes(frames(0, 40, true)), "growing.pcap");
    window->resize(1300, 700);
    part<QDockWidget>("findingsDock").raise();
    session().setFollowInterval(20);
    window->follow(QString::fromStdString(file.path().string()));
    ASSERT_TRUE(eventually([&] { return session().isOpen(); }));
    type(QStringLiteral("eth.srcgroup"));
    ASSERT_TRUE(eventually([&] { return view().model()->rowCount() == 40 && !view().isBusy(); }))
        << view().model()->rowCount();
    list().setCurrentIndex(view().model()->index(20, 0));
    auto& scroll = *list().verticalScrollBar();
    ASSERT_TRUE(eventually([&] { return scroll.maximum() > 10; }));
    scroll.setValue(10);
    const auto chosen = *view().current();
    const auto top = all()[*view().model()->findingAt(list().indexAt({0, 0}))];
    append(file, frames(40, 60, false));
    ASSERT_TRUE(eventually([&] { return view().model()->rowCount() == 60 && !view().isBusy(); }));
    ASSERT_TRUE(view().current());
    EXPECT_TRUE(view().current()->isAbout(chosen));
    EXPECT_TRUE(all()[*view().model()->findingAt(list().indexAt({0, 0}))].isAbout(top));
    EXPECT_TRUE(list().selectionModel()->isSelected(list().currentIndex()));
}

} // namespace
} // namespace netrondo::test
