// The three panes, used as a person uses them.
#include "Views/DecodeWindow.h"

#include "NetrondoApp/Support/Waiting.h"
#include "Support/Command.h"
#include "Views/ColorRulesDialog.h"
#include "Views/DecodeBytesView.h"
#include "Views/DecodeView.h"
#include "Views/FollowDialog.h"
#include "Views/FrameFindBar.h"
#include "Views/FrameListView.h"
#include "Views/TimeShiftDialog.h"

#include <QAbstractItemModelTester>
#include <QAccessible>
#include <QClipboard>
#include <QDialogButtonBox>
#include <QGuiApplication>
#include <QHeaderView>
#include <QInputDialog>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QProgressDialog>
#include <QPushButton>
#include <QRadioButton>
#include <QScrollBar>
#include <QSettings>
#include <QSignalSpy>
#include <QTableWidget>
#include <QTreeView>
#include <gtest/gtest.h>
#include <sstream>

namespace netrondo::test {
namespace {

class DecodeWindowTest : public testing::Test {
protected:
    void show(const std::vector<std::uint8_t>& capture, int frames)
    {
        file_ = std::make_unique<TempFile>(capture);
        window.resize(1000, 700);
        window.open(QString::fromStdString(file_->path().string()));
        window.show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(&window));
        window.activateWindow();
        ASSERT_TRUE(eventually([&] { return view().frames()->rowCount() == frames && view().store()->isComplete(); }));
        ASSERT_TRUE(isShown(1));
    }
    void showConversation(int frames) { show(conversationCapture(frames), frames); }

    DecodeView& view() { return *window.view(); }
    FrameListView& list() { return *view().list(); }
    QTreeView& tree() { return *view().tree(); }
    DecodeTreeModel& nodes() { return *view().nodes(); }
    FilterBar& bar() { return *window.filterBar(); }
    int row() { return list().currentIndex().row(); }

    /// Whether the frame comes to be the one in the tree.
    bool isShown(quint64 number)
    {
        return eventually([&] { return nodes().frame() && nodes().frame()->decoded.summary.number == number; });
    }
    /// Types into the filter line and applies it; waits for the number of rows.
    bool filtered(const QString& text, int rows)
    {
        bar().setText(text);
        bar().apply();
        return eventually([&] { return view().frames()->rowCount() == rows; });
    }
    QModelIndex node(std::string_view id)
    {
        const auto& decoded = nodes().frame()->decoded.tree;
        for (std::uint32_t i = 0; i < decoded.size(); ++i)
            if (decoded[i].field->id == id)
                return nodes().indexOf(i);
        return {};
    }
    void press(Qt::Key key, Qt::KeyboardModifiers modifiers = Qt::NoModifier)
    {
        auto* focused = window.focusWidget();
        QTest::keyClick(focused ? focused : &window, key, modifiers);
    }
    const TempFile& file() const { return *file_; }

private:
    std::unique_ptr<TempFile> file_;

protected:
    DecodeWindow window;
};

} // namespace

TEST_F(DecodeWindowTest, LooksIntoTheFirstFrameAtOnce)
{
    showConversation(30);
    EXPECT_EQ(row(), 0);
    EXPECT_EQ(view().frameNumber(), 1u);
    EXPECT_EQ(view().status(), QStringLiteral("30 frames"));
    EXPECT_TRUE(window.windowTitle().endsWith(QStringLiteral("capture.pcap")));
}

TEST_F(DecodeWindowTest, KeysMoveThroughTheFramesFromAnyPane)
{
    showConversation(30);
    list().setFocus();
    press(Qt::Key_Down);
    EXPECT_EQ(row(), 1);
    press(Qt::Key_F8);
    EXPECT_EQ(row(), 2);
    tree().setFocus();
    press(Qt::Key_Down, Qt::ControlModifier);
    EXPECT_EQ(row(), 3);
    view().bytes()->setFocus();
    press(Qt::Key_F7);
    EXPECT_EQ(row(), 2);
    press(Qt::Key_End, Qt::ControlModifier);
    EXPECT_EQ(row(), 29);
    EXPECT_TRUE(isShown(30));
    press(Qt::Key_Home, Qt::ControlModifier);
    EXPECT_EQ(row(), 0);
    press(Qt::Key_Left, Qt::AltModifier); // back through what was looked at
    EXPECT_EQ(row(), 29);
    press(Qt::Key_Right, Qt::AltModifier);
    EXPECT_EQ(row(), 0);
}

TEST_F(DecodeWindowTest, ANodeLightsItsBytesAndAByteFindsItsNode)
{
    showConversation(30);
    view().goToFrame(3);
    ASSERT_TRUE(isShown(3));
    tree().setCurrentIndex(node("ip.src"));
    EXPECT_EQ(view().bytes()->lit().offset, 26u);
    EXPECT_EQ(view().bytes()->lit().length, 4u);
    auto& bytes = *view().bytes();
    QTest::mouseClick(bytes.viewport(), Qt::LeftButton, {}, bytes.digitsRect(22).center().toPoint());
    EXPECT_EQ(tree().currentIndex().data(DecodeTreeModel::idRole).toString(), QStringLiteral("ip.ttl"));
    EXPECT_EQ(bytes.currentByte(), 22u);
    bytes.setFocus();
    press(Qt::Key_Right);
    EXPECT_EQ(tree().currentIndex().data(DecodeTreeModel::idRole).toString(), QStringLiteral("ip.proto"));
}

TEST_F(DecodeWindowTest, TheChosenNodeStaysChosenInTheNextFrame)
{
    showConversation(30);
    view().goToFrame(3);
    ASSERT_TRUE(isShown(3));
    tree().setCurrentIndex(node("ip.ttl"));
    EXPECT_TRUE(tree().isExpanded(node("ip")));
    view().goToFrame(4);
    ASSERT_TRUE(isShown(4));
    EXPECT_EQ(tree().currentIndex(), node("ip.ttl"));
    EXPECT_TRUE(tree().isExpanded(node("ip")));
}

TEST_F(DecodeWindowTest, AFilterKeepsTheFrameInViewOnItsLine)
{
    showConversation(2000);
    view().goToFrame(1001); // DNS
    const int line = list().lineOf(row());
    ASSERT_TRUE(filtered(QStringLiteral("udp"), 400));
    ASSERT_TRUE(eventually([&] { return row() == 200; }));
    EXPECT_EQ(list().lineOf(row()), line);
    EXPECT_EQ(view().frameNumber(), 1001u);
    ASSERT_TRUE(filtered(QString(), 2000));
    EXPECT_EQ(row(), 1000);
    EXPECT_EQ(list().lineOf(row()), line);
}

TEST_F(DecodeWindowTest, AFrameThatDoesNotMatchGivesWayToTheOneBefore)
{
    showConversation(2000);
    view().goToFrame(1003);
    ASSERT_TRUE(filtered(QStringLiteral("udp"), 400));
    ASSERT_TRUE(eventually([&] { return row() == 200; }));
    EXPECT_TRUE(isShown(1001));
}

TEST_F(DecodeWindowTest, SaysHowManyFramesMatch)
{
    showConversation(50);
    ASSERT_TRUE(filtered(QStringLiteral("udp"), 10));
    EXPECT_TRUE(eventually([&] { return bar().message() == QStringLiteral("10 of 50 frames match"); }))
        << qPrintable(bar().message());
    EXPECT_EQ(view().status(), QStringLiteral("10 of 50 frames"));
    ASSERT_TRUE(filtered(QStringLiteral("arp"), 0));
    EXPECT_TRUE(eventually([&] { return bar().message() == QStringLiteral("0 of 50 frames match"); }));
}

TEST_F(DecodeWindowTest, AConversationIsShownWithinTheFilter)
{
    showConversation(50);
    view().showConversation(QStringLiteral("10.0.0.1"), QStringLiteral("10.0.0.53"));
    EXPECT_TRUE(eventually([&] { return view().frames()->rowCount() == 10; }));
    ASSERT_TRUE(filtered(QStringLiteral("tcp"), 0));
    view().showConversation({}, {});
    EXPECT_TRUE(eventually([&] { return view().frames()->rowCount() == 40; }));
}

TEST_F(DecodeWindowTest, TellsWhichHostsTheFrameIsBetween)
{
    showConversation(10);
    std::optional<FrameEnds> ends;
    quint64 number = 0;
    QObject::connect(&view(), &DecodeView::frameSelected, [&](quint64 which, const FrameEnds& between) {
        number = which;
        ends = between;
    });
    view().goToFrame(4);
    ASSERT_TRUE(eventually([&] { return ends.has_value(); }));
    EXPECT_EQ(number, 4u);
    EXPECT_EQ(ends->source, QStringLiteral("10.0.0.2"));
    EXPECT_EQ(ends->destination, QStringLiteral("10.0.0.1"));
    EXPECT_EQ(ends->linkSource, QStringLiteral("02:00:00:00:00:01"));
    EXPECT_EQ(ends->linkDestination, QStringLiteral("02:00:00:00:00:02"));
}

TEST_F(DecodeWindowTest, FindsTextForwardsAndBackwards)
{
    showConversation(60);
    press(Qt::Key_F, Qt::ControlModifier);
    auto& find = *view().findBar();
    EXPECT_TRUE(find.isVisible());
    find.setText(QStringLiteral("get /3"));
    press(Qt::Key_Return);
    EXPECT_TRUE(eventually([&] { return row() == 32; })); // GET /32; 30 is DNS
    press(Qt::Key_F3);
    EXPECT_TRUE(eventually([&] { return row() == 34; }));
    press(Qt::Key_B, Qt::ControlModifier);
    EXPECT_TRUE(eventually([&] { return row() == 32; }));
    find.setText(QStringLiteral("nothing like this"));
    press(Qt::Key_Return);
    EXPECT_TRUE(eventually([&] { return find.message() == QStringLiteral("No frame fits"); }));
    find.setKind(FrameFindBar::Kind::bytes);
    find.setText(QStringLiteral("xyz"));
    press(Qt::Key_Return);
    EXPECT_EQ(find.message(),
              QStringLiteral("Write bytes as pairs of hexadecimal digits (0d 0a), or characters in quotes"));
    find.setKind(FrameFindBar::Kind::filter);
    find.setText(QStringLiteral("frame.number == 50"));
    press(Qt::Key_Return);
    EXPECT_TRUE(eventually([&] { return row() == 49; }));
    press(Qt::Key_Escape);
    EXPECT_FALSE(find.isVisible());
}

TEST_F(DecodeWindowTest, GoesToTheOtherFramesOfTheConversation)
{
    showConversation(20);
    list().setFocus();
    ASSERT_TRUE(isShown(1)); // DNS: frames 1, 6, 11, 16
    press(Qt::Key_Period, Qt::ControlModifier);
    EXPECT_TRUE(eventually([&] { return row() == 5; }));
    ASSERT_TRUE(isShown(6));
    press(Qt::Key_Comma, Qt::ControlModifier);
    EXPECT_TRUE(eventually([&] { return row() == 0; }));
}

TEST_F(DecodeWindowTest, MarksAndGoesToMarks)
{
    showConversation(20);
    list().setFocus();
    view().goToFrame(8);
    press(Qt::Key_M, Qt::ControlModifier);
    EXPECT_TRUE(view().frames()->isMarked(7));
    view().goToFrame(1);
    press(Qt::Key_N, Qt::ControlModifier | Qt::ShiftModifier);
    EXPECT_EQ(row(), 7);
    press(Qt::Key_M, Qt::ControlModifier);
    EXPECT_FALSE(view().frames()->isMarked(7));
}

constexpr auto shift = Qt::ControlModifier | Qt::ShiftModifier, alt = Qt::ControlModifier | Qt::AltModifier;

TEST_F(DecodeWindowTest, ShowsWhatTheConversationSaid)
{
    PcapBytes capture;
    capture.frame(tcpFrame({}, 10, "GET / HTTP/1.1\r\n\r\n"));
    capture.frame(tcpFrame({.source = "10.0.0.9"}, 10, "somebody else"));
    capture.frame(tcpFrame(Ends().back(), 500, "HTTP/1.1 200 OK\n"));
    capture.frame(tcpFrame(Ends().back(), 526, "\x01rest"));
    show(capture.bytes(), 4);
    list().setFocus();
    press(Qt::Key_T, shift | Qt::AltModifier);
    auto* dialog = view().findChild<FollowDialog*>();
    ASSERT_TRUE(dialog);
    EXPECT_TRUE(eventually([&] { return dialog->text().endsWith(QStringLiteral("rest")); }));
    EXPECT_EQ(dialog->text(),
              QStringLiteral("▶ frame 1, there\nGET / HTTP/1.1\n\n\n◀ frame 3, back\nHTTP/1.1 200 OK\n"
                             "\n◀ frame 4, back\n[10 bytes are missing in the capture]\n.rest"));
    dialog->setForm(FollowDialog::Form::hexDump);
    EXPECT_TRUE(eventually([&] { return dialog->text().contains(QStringLiteral("0000  01 72 65 73 74")); }));
}

TEST_F(DecodeWindowTest, GoesToTheFrameWhoseNumberIsGiven)
{
    showConversation(30);
    list().setFocus();
    press(Qt::Key_G, Qt::ControlModifier);
    auto* dialog = view().findChild<QInputDialog*>();
    ASSERT_TRUE(dialog);
    EXPECT_EQ(dialog->intMaximum(), 30);
    dialog->setIntValue(17);
    dialog->accept();
    EXPECT_EQ(row(), 16);
}

TEST_F(DecodeWindowTest, IgnoredFramesCountForNothing)
{
    showConversation(30);
    list().setFocus();
    view().goToFrame(11); // DNS, as 1, 6, 16, 21 and 26
    ASSERT_TRUE(isShown(11));
    press(Qt::Key_D, Qt::ControlModifier);
    EXPECT_TRUE(view().frames()->isIgnored(10));
    EXPECT_EQ(nodes().rowCount(), 1) << "the tree says so and nothing else";
    EXPECT_TRUE(nodes().index(0, 0).data().toString().startsWith(QStringLiteral("Ignored")));
    EXPECT_EQ(nodes().filterOf(nodes().index(0, 0)), QString());
    view().goToFrame(6);
    ASSERT_TRUE(isShown(6));
    press(Qt::Key_Period, Qt::ControlModifier);
    EXPECT_TRUE(eventually([&] { return row() == 15; })) << "find passes it over";
    ASSERT_TRUE(filtered(QStringLiteral("udp"), 5));
    list().setFocus();
    press(Qt::Key_Z, Qt::ControlModifier);
    EXPECT_TRUE(eventually([&] { return view().frames()->rowCount() == 6; })) << "it is found again";
    ASSERT_TRUE(filtered(QString(), 30));
    press(Qt::Key_D, shift);
    EXPECT_TRUE(view().frames()->are(FrameListModel::Kind::ignored, {{0, 29}}));
    press(Qt::Key_D, alt);
    EXPECT_TRUE(view().frames()->notes().ignored.empty());
}

TEST_F(DecodeWindowTest, AFrameIgnoredUnderAFilterStaysOnItsLine)
{
    showConversation(30);
    ASSERT_TRUE(filtered(QStringLiteral("udp"), 6));
    list().setFocus();
    list().choose(2);
    press(Qt::Key_D, Qt::ControlModifier);
    EXPECT_TRUE(view().frames()->isIgnored(2));
    EXPECT_EQ(view().frames()->rowCount(), 6);
    press(Qt::Key_D, Qt::ControlModifier);
    EXPECT_TRUE(eventually([&] { return view().frames()->rowCount() == 6 && !view().frames()->isIgnored(2); }));
}

TEST_F(DecodeWindowTest, TimesCountFromReferences)
{
    showConversation(20);
    list().setFocus();
    view().frames()->setTimeFormat(FrameListModel::TimeFormat::timeOfDay);
    view().goToFrame(8);
    ASSERT_TRUE(isShown(8));
    press(Qt::Key_T, Qt::ControlModifier);
    EXPECT_EQ(view().frames()->timeFormat(), FrameListModel::TimeFormat::sinceFirst)
        << "or nothing would be seen of it";
    EXPECT_EQ(view().frames()->text(7, FrameListModel::time), QStringLiteral("Reference"));
    EXPECT_EQ(view().frames()->text(9, FrameListModel::time), QStringLiteral("2.000000"));
    EXPECT_TRUE(nodes().index(0, 0).data().toString().startsWith(QStringLiteral("Time reference")));
    view().goToFrame(1);
    press(Qt::Key_N, alt);
    EXPECT_EQ(row(), 7);
    view().goToFrame(12);
    press(Qt::Key_B, alt);
    EXPECT_EQ(row(), 7);
    press(Qt::Key_T, alt);
    EXPECT_EQ(view().frames()->text(7, FrameListModel::time), QStringLiteral("7.000000"));
    press(Qt::Key_Z, Qt::ControlModifier);
    EXPECT_EQ(view().frames()->text(7, FrameListModel::time), QStringLiteral("Reference"));
    press(Qt::Key_Z, shift);
    EXPECT_EQ(view().frames()->text(7, FrameListModel::time), QStringLiteral("7.000000"));
}

TEST_F(DecodeWindowTest, TimesAreShiftedByASpanOrByTheTimeOfAFrame)
{
    qputenv("TZ", "UTC");
    showConversation(20);
    list().setFocus();
    const auto ask = [&](auto fill) {
        view().findChild<QAction*>(QStringLiteral("shiftTimes"))->trigger();
        auto* dialog = view().findChild<TimeShiftDialog*>();
        ASSERT_TRUE(dialog);
        fill(*dialog);
        QTest::qWait(0); // gone
    };
    const auto lines = [](TimeShiftDialog& dialog) { return dialog.findChildren<QLineEdit*>(); };
    const auto ok = [](TimeShiftDialog& dialog) {
        return dialog.findChild<QDialogButtonBox*>()->button(QDialogButtonBox::Ok);
    };
    ask([&](TimeShiftDialog& dialog) {
        lines(dialog)[0]->setText(QStringLiteral("soon"));
        EXPECT_FALSE(ok(dialog)->isEnabled());
        lines(dialog)[0]->setText(QStringLiteral("-1:00:00"));
        ok(dialog)->click();
    });
    EXPECT_EQ(view().frames()->text(5, FrameListModel::time), QStringLiteral("21:13:25.250000"));
    ask([&](TimeShiftDialog& dialog) {
        dialog.findChildren<QRadioButton*>()[1]->setChecked(true);
        EXPECT_EQ(lines(dialog)[1]->text(), QStringLiteral("2023-11-14 21:13:20.250000"));
        lines(dialog)[1]->setText(QStringLiteral("2023-11-14 22:13:21"));
        ok(dialog)->click();
    });
    EXPECT_EQ(view().frames()->text(5, FrameListModel::time), QStringLiteral("22:13:26.000000"));
    ask([&](TimeShiftDialog& dialog) {
        dialog.findChild<QDialogButtonBox*>()->button(QDialogButtonBox::Reset)->click();
        ok(dialog)->click();
    });
    EXPECT_EQ(view().frames()->notes().shift, 0);
    view().frames()->setTimeFormat(FrameListModel::TimeFormat::sinceFirst); // which is remembered
}

TEST_F(DecodeWindowTest, ANoteStandsInTheListAndInTheTree)
{
    showConversation(20);
    list().setFocus();
    press(Qt::Key_C, alt);
    auto* dialog = view().findChild<QInputDialog*>();
    ASSERT_TRUE(dialog);
    dialog->setTextValue(QStringLiteral(" the first  question"));
    dialog->accept();
    EXPECT_TRUE(
        view().frames()->text(0, FrameListModel::info).startsWith(QStringLiteral("Note: the first question — ")));
    EXPECT_EQ(nodes().index(0, 0).data().toString(), QStringLiteral("Note: the first question"));
    tree().setCurrentIndex(node("ip.ttl"));
    EXPECT_EQ(view().bytes()->lit().length, 1u) << "the rows below are nodes as before";
}

TEST_F(DecodeWindowTest, ARowOfTheTreeBecomesAColumnThatIsRemembered)
{
    showConversation(20);
    view().goToFrame(3);
    ASSERT_TRUE(isShown(3));
    tree().setFocus();
    tree().setCurrentIndex(node("ip.ttl"));
    press(Qt::Key_I, shift);
    const int column = FrameListModel::columns;
    ASSERT_EQ(view().frames()->columnCount(), column + 1);
    EXPECT_TRUE(eventually([&] { return view().frames()->text(2, column) == QStringLiteral("64"); }));
    const auto* header = list().header();
    EXPECT_EQ(header->visualIndex(FrameListModel::info), header->count() - 1) << "the info keeps the room that is left";
    EXPECT_TRUE(list().selectionModel()->isRowSelected(2, {}));
    DecodeView another;
    EXPECT_EQ(another.frames()->fields(), view().frames()->fields());
    QMenu menu;
    view().fillViewMenu(menu);
    auto* columns = menu.findChild<QMenu*>(QStringLiteral("columns"));
    ASSERT_TRUE(columns);
    emit columns->aboutToShow();
    for (auto* action : columns->actions())
        if (action->text() == QLatin1String("IPv4 TTL"))
            action->setChecked(false);
    EXPECT_EQ(view().frames()->columnCount(), column);
    EXPECT_TRUE(DecodeView().frames()->fields().isEmpty());
}

struct ExportCase {
    FrameWriter::Form form;
    std::vector<std::string> command;
};

TEST_F(DecodeWindowTest, ExportsWhatTheCommandPrints)
{
    const auto sample = std::string(NETRONDO_SOURCE_DIR "/Samples/office.pcapng");
    window.open(QString::fromStdString(sample));
    window.show();
    ASSERT_TRUE(eventually([&] { return view().store()->isComplete() && view().frames()->rowCount() > 0; }));
    const TempFolder folder;
    for (const auto& [form, command] : {ExportCase{FrameWriter::Form::list, {"decode", sample}},
                                        ExportCase{FrameWriter::Form::json, {"decode", "--json", sample}}}) {
        QSignalSpy remarks(&view(), &DecodeView::remarked);
        const auto target = folder / "exported";
        view().exportFrames(QString::fromStdString(target.string()), FrameExportDialog::Extent::shown, form);
        ASSERT_TRUE(eventually([&] { return !remarks.empty(); }));
        EXPECT_EQ(textOfFile(target), netrondo(command).output);
    }
}

TEST_F(DecodeWindowTest, ExportsTheChosenOrTheMarkedFramesWithoutTheIgnored)
{
    showConversation(30);
    const TempFolder folder;
    const auto exported = [&](FrameExportDialog::Extent extent) {
        QSignalSpy remarks(&view(), &DecodeView::remarked);
        const auto target = folder / "exported";
        view().exportFrames(QString::fromStdString(target.string()), extent, FrameWriter::Form::list);
        EXPECT_TRUE(eventually([&] { return !remarks.empty(); }));
        std::vector<int> numbers;
        std::istringstream lines(textOfFile(target));
        for (std::string line; std::getline(lines, line);)
            numbers.push_back(std::stoi(line));
        return numbers;
    };
    using Kind = FrameListModel::Kind;
    view().frames()->set(Kind::marked, {{3, 4}, {20, 20}}, true);
    view().frames()->set(Kind::ignored, {{4, 4}}, true);
    EXPECT_EQ(exported(FrameExportDialog::Extent::marked), (std::vector{4, 21}));
    ASSERT_TRUE(filtered(QStringLiteral("udp"), 6)); // 1, 6, 11, 16, 21, 26
    list().selectionModel()->select({view().frames()->index(1, 0), view().frames()->index(2, 0)},
                                    QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
    EXPECT_EQ(exported(FrameExportDialog::Extent::chosen), (std::vector{6, 11}));
    EXPECT_EQ(exported(FrameExportDialog::Extent::shown), (std::vector{1, 6, 11, 16, 21, 26}));
}

TEST_F(DecodeWindowTest, SaysWhyNothingWasExported)
{
    showConversation(5);
    QSignalSpy failed(&view(), &DecodeView::failed);
    view().exportFrames(QStringLiteral("/nowhere/list.txt"), FrameExportDialog::Extent::shown, FrameWriter::Form::list);
    ASSERT_TRUE(eventually([&] { return !failed.empty(); }));
    EXPECT_EQ(failed.front().front().toString(),
              QStringLiteral("/nowhere/list.txt: No such file or directory. Nothing was exported."));
}

TEST_F(DecodeWindowTest, AnExportThatIsCancelledLeavesNothing)
{
    showConversation(20'000);
    const TempFolder folder;
    view().exportFrames(QString::fromStdString((folder / "list.txt").string()), FrameExportDialog::Extent::shown,
                        FrameWriter::Form::json);
    auto* progress = view().findChild<QProgressDialog*>();
    ASSERT_TRUE(progress);
    progress->findChild<QPushButton*>()->click();
    EXPECT_TRUE(eventually([&] { return folder.count() == 0 && !view().findChild<QProgressDialog*>(); }));
    QTest::qWait(50);
    EXPECT_EQ(folder.count(), 0u);
}

TEST_F(DecodeWindowTest, CopiesRowsAsTheColumnsStand)
{
    showConversation(20);
    list().setFocus();
    view().goToFrame(3);
    ASSERT_TRUE(eventually([&] { return view().frames()->row(2); }));
    press(Qt::Key_C, Qt::ControlModifier);
    EXPECT_TRUE(eventually([] {
        return QGuiApplication::clipboard()->text()
            == QStringLiteral("3\t2.000000\t10.0.0.1\t10.0.0.2\tHTTP\t96\tGET /2 HTTP/1.1 (www.example.org)\n");
    })) << QGuiApplication::clipboard()->text().toStdString();
    ASSERT_TRUE(isShown(3));
    tree().setFocus();
    tree().setCurrentIndex(node("ip.ttl"));
    press(Qt::Key_C, Qt::ControlModifier);
    EXPECT_EQ(QGuiApplication::clipboard()->text(), QStringLiteral("IPv4 TTL: 64"));
    view().bytes()->setFocus();
    press(Qt::Key_C, Qt::ControlModifier);
    EXPECT_EQ(QGuiApplication::clipboard()->text(), QStringLiteral("40"));
}

TEST_F(DecodeWindowTest, CopiesRowsThatWereNeverInView)
{
    showConversation(20'000);
    list().setFocus();
    list().selectAll();
    QSignalSpy remarks(&view(), &DecodeView::remarked);
    press(Qt::Key_C, Qt::ControlModifier);
    ASSERT_TRUE(eventually([&] { return !remarks.empty(); }));
    const auto lines = QGuiApplication::clipboard()->text().split(QLatin1Char('\n'));
    ASSERT_EQ(lines.size(), 20'001) << "and an end of line behind the last";
    for (const int row : {0, 9'999, 19'999}) {
        const auto cells = lines[row].split(QLatin1Char('\t'));
        ASSERT_EQ(cells.size(), 7) << row;
        EXPECT_EQ(cells[0].toInt(), row + 1);
        for (const auto& cell : cells)
            EXPECT_FALSE(cell.isEmpty()) << row;
    }
    EXPECT_EQ(remarks.front().front().toString(), QStringLiteral("20,000 frames copied"));
}

TEST_F(DecodeWindowTest, SaysThatNotAllRowsWereCopied)
{
    showConversation(20);
    view().setMostCopied(12);
    list().setFocus();
    list().selectAll();
    QSignalSpy remarks(&view(), &DecodeView::remarked);
    press(Qt::Key_C, Qt::ControlModifier);
    ASSERT_TRUE(eventually([&] { return !remarks.empty(); }));
    EXPECT_EQ(remarks.front().front().toString(), QStringLiteral("The first 12 of 20 frames copied"));
}

TEST_F(DecodeWindowTest, CopiesWhatThePaneWithTheFocusHasChosen)
{
    showConversation(20);
    ASSERT_TRUE(isShown(1));
    const auto copied = [&](const char* command) {
        view().findChild<QAction*>(QLatin1String(command))->trigger();
        return QGuiApplication::clipboard()->text();
    };
    tree().setFocus();
    tree().setCurrentIndex(node("ip.ttl"));
    EXPECT_EQ(copied("copyHex"), QStringLiteral("40"));
    EXPECT_EQ(copied("copyFilter"), QStringLiteral("ip.ttl == 64"));
    EXPECT_EQ(copied("copyCharacters"), QStringLiteral("@"));
    EXPECT_TRUE(copied("copyC").contains(QLatin1String("frame_1[1] = {"))) << copied("copyC").toStdString();
    EXPECT_TRUE(copied("copyJson").startsWith(QLatin1String("[{\"id\":\"frame\",")))
        << copied("copyJson").toStdString();
    EXPECT_TRUE(copied("copyTree").contains(QLatin1String("\n    IPv4 TTL: 64\n"))) << copied("copyTree").toStdString();
    list().setFocus();
    const auto bytes = nodes().frame()->capture.data.size();
    EXPECT_EQ(copied("copyHex").size(), static_cast<qsizetype>(2 * bytes)) << "from the list it is the frame";
    EXPECT_TRUE(copied("copyDump").startsWith(QLatin1String("0000  "))) << copied("copyDump").toStdString();
    list().selectionModel()->setCurrentIndex(view().frames()->index(0, FrameListModel::length),
                                             QItemSelectionModel::NoUpdate);
    EXPECT_EQ(copied("copyFilter"), QStringLiteral("frame.len == %1").arg(bytes));
    QSignalSpy remarks(&view(), &DecodeView::remarked);
    list().selectionModel()->setCurrentIndex(view().frames()->index(0, FrameListModel::info),
                                             QItemSelectionModel::NoUpdate);
    EXPECT_EQ(copied("copyFilter"), QStringLiteral("frame.len == %1").arg(bytes)) << "a sentence is no filter";
    EXPECT_EQ(remarks.size(), 1);
}

TEST_F(DecodeWindowTest, HeadingsStandOverWhatTheyHead)
{
    showConversation(20);
    for (int column = 0; column < FrameListModel::columns; ++column)
        EXPECT_EQ(view().frames()->headerData(column, Qt::Horizontal, Qt::TextAlignmentRole),
                  view().frames()->data(view().frames()->index(0, column), Qt::TextAlignmentRole))
            << column;
}

TEST_F(DecodeWindowTest, TypingIntoTheListBeginsAFilter)
{
    showConversation(20);
    list().setFocus();
    press(Qt::Key_U);
    EXPECT_EQ(bar().text(), QStringLiteral("u"));
    EXPECT_TRUE(bar().line()->hasFocus());
}

TEST_F(DecodeWindowTest, TheTreeHasItsKeys)
{
    showConversation(20);
    view().goToFrame(3);
    ASSERT_TRUE(isShown(3));
    tree().setFocus();
    press(Qt::Key_Right, Qt::ControlModifier);
    EXPECT_TRUE(tree().isExpanded(node("ip")));
    tree().setCurrentIndex(node("ip.ttl"));
    press(Qt::Key_Backspace);
    EXPECT_EQ(tree().currentIndex(), node("ip"));
    press(Qt::Key_Return);
    EXPECT_FALSE(tree().isExpanded(node("ip")));
    press(Qt::Key_Right, Qt::ShiftModifier);
    EXPECT_TRUE(tree().isExpanded(node("ip")));
    press(Qt::Key_Left, Qt::ControlModifier);
    EXPECT_FALSE(tree().isExpanded(node("tcp")));
}

TEST_F(DecodeWindowTest, ColumnsAreHiddenAndComeBack)
{
    showConversation(5);
    auto* header = list().header();
    EXPECT_TRUE(header->isSectionHidden(FrameListModel::sourcePort));
    header->showSection(FrameListModel::sourcePort);
    header->moveSection(header->visualIndex(FrameListModel::protocol), 0);
    EXPECT_GT(list().visualRect(view().frames()->index(0, FrameListModel::sourcePort)).width(), 0);
    EXPECT_EQ(list().visualRect(view().frames()->index(0, FrameListModel::protocol)).left(), 0);
}

TEST_F(DecodeWindowTest, ThePagesOfTheListFollowTheKeysAndTheMouse)
{
    showConversation(3000);
    list().setFocus();
    press(Qt::Key_PageDown);
    EXPECT_EQ(row(), list().rowsPerScreen());
    list().verticalScrollBar()->setValue(1500);
    QTest::mouseClick(list().viewport(), Qt::LeftButton, {}, QPoint(20, list().rowHeight() * 2 + 3));
    EXPECT_EQ(row(), 1502);
    QTest::mouseClick(list().viewport(), Qt::LeftButton, Qt::ShiftModifier, QPoint(20, list().rowHeight() * 4 + 3));
    EXPECT_EQ(list().chosenRows(100), (QList<int>{1502, 1503, 1504}));
    EXPECT_EQ(list().chosenRows(2), (QList<int>{1502, 1503}));
    EXPECT_EQ(list().chosenCount(), 3);
}

TEST_F(DecodeWindowTest, IsATableForAssistiveTechnology)
{
    showConversation(10);
    QAccessible::setActive(true);
    auto* table = QAccessible::queryAccessibleInterface(&list());
    ASSERT_TRUE(table && table->tableInterface());
    EXPECT_EQ(table->text(QAccessible::Name), QStringLiteral("Frames"));
    EXPECT_EQ(table->tableInterface()->rowCount(), 10);
    ASSERT_TRUE(eventually([&] { return view().frames()->row(2); }));
    auto* cell = table->tableInterface()->cellAt(2, FrameListModel::info);
    ASSERT_TRUE(cell);
    EXPECT_EQ(cell->text(QAccessible::Name), QStringLiteral("GET /2 HTTP/1.1 (www.example.org)"));
    EXPECT_EQ(cell->tableCellInterface()->rowIndex(), 2);
    EXPECT_EQ(table->tableInterface()->columnDescription(FrameListModel::info), QStringLiteral("Info"));
    EXPECT_EQ(table->child(2 * FrameListModel::columns + FrameListModel::info), cell);
    QAccessible::setActive(false);
}

TEST_F(DecodeWindowTest, SaysThatACaptureCannotBeRead)
{
    const QSignalSpy failed(&view(), &DecodeView::failed);
    window.open(QStringLiteral("/nowhere/x.pcap"));
    ASSERT_TRUE(eventually([&] { return !failed.isEmpty(); }));
    EXPECT_EQ(failed.first().first().toString(), QStringLiteral("/nowhere/x.pcap: No such file or directory"));
}

TEST_F(DecodeWindowTest, AGrowingCaptureGetsItsNewFrames)
{
    const TempFile growing(conversationCapture(3));
    const auto more = conversationCapture(4, 3);
    window.open(QString::fromStdString(growing.path().string()), FrameStore::Reading::growing);
    window.show();
    ASSERT_TRUE(eventually([&] { return view().frames()->rowCount() == 3; }));
    append(growing, Bytes(more).subspan(24));
    ASSERT_TRUE(eventually([&] { return view().frames()->rowCount() == 7; }));
    EXPECT_TRUE(filtered(QStringLiteral("udp"), 2));
}

class ColorRulesTest : public DecodeWindowTest {
protected:
    void SetUp() override { QSettings().clear(); }
    void TearDown() override { QSettings().clear(); }
    QPushButton* button(const QString& text)
    {
        for (auto* each : dialog->findChildren<QPushButton*>())
            if (each->text().remove(QLatin1Char('&')) == text)
                return each;
        return nullptr;
    }
    QPushButton* ok() { return dialog->findChild<QDialogButtonBox*>()->button(QDialogButtonBox::Ok); }
    QTableWidget& table() { return *dialog->findChild<QTableWidget*>(); }
    QString said()
    {
        QString all;
        for (const auto* label : dialog->findChildren<QLabel*>())
            all += label->text() + QLatin1Char('\n');
        return all;
    }

    std::unique_ptr<ColorRulesDialog> dialog = std::make_unique<ColorRulesDialog>(
        FrameColorRules({{QStringLiteral("Web"), QStringLiteral("http"), QColor(Qt::green)},
                         {QStringLiteral("Rest"), QStringLiteral("frame"), QColor(Qt::blue)}}));
};

TEST(ColorRulesDialog, ShowsTheFiltersOfTheFirstRulesUncut)
{
    ColorRulesDialog dialog(FrameColorRules::defaults());
    dialog.open();
    auto& table = *dialog.findChild<QTableWidget*>();
    for (int row = 0; row < table.rowCount(); ++row) {
        const QRect room(0, 0, table.columnWidth(1), 10'000);
        const auto text = table.fontMetrics().boundingRect(room, Qt::TextWordWrap, table.item(row, 1)->text());
        EXPECT_GE(table.rowHeight(row), text.height()) << row;
    }
}

TEST_F(ColorRulesTest, RulesAreAddedMovedAndRemoved)
{
    table().setCurrentCell(1, 0);
    button(QStringLiteral("Move Up"))->click();
    EXPECT_EQ(dialog->rules().front().name, QStringLiteral("Rest"));
    EXPECT_EQ(dialog->rules().front().color, QColor(Qt::blue));
    button(QStringLiteral("Add"))->click();
    ASSERT_EQ(dialog->rules().size(), 3u);
    table().item(1, 1)->setText(QStringLiteral(" dns "));
    EXPECT_EQ(dialog->rules()[1].filter, QStringLiteral("dns"));
    table().setCurrentCell(2, 0);
    EXPECT_FALSE(button(QStringLiteral("Move Down"))->isEnabled());
    button(QStringLiteral("Remove"))->click();
    EXPECT_EQ(dialog->rules().size(), 2u);
    button(QStringLiteral("Restore Defaults"))->click();
    EXPECT_EQ(dialog->rules(), FrameColorRules::defaults().rules());
}

TEST_F(ColorRulesTest, AFilterThatDoesNotCompileIsToldAndNotTaken)
{
    EXPECT_TRUE(ok()->isEnabled());
    table().item(0, 1)->setText(QStringLiteral("foo.bar"));
    EXPECT_FALSE(ok()->isEnabled());
    EXPECT_TRUE(
        said().contains(QStringLiteral("Web: Unknown field “foo.bar” — not in Netrondo’s display-filter catalog")));
    table().item(0, 1)->setText(QStringLiteral("http.host"));
    EXPECT_TRUE(ok()->isEnabled());
}

TEST_F(ColorRulesTest, ColourTheListAndLastBeyondTheWindow)
{
    showConversation(6); // the first frame is a DNS query
    QMenu menu;
    view().fillViewMenu(menu);
    view().findChild<QAction*>(QStringLiteral("colorRules"))->trigger();
    dialog.reset(view().findChild<ColorRulesDialog*>());
    ASSERT_TRUE(dialog);
    dialog->setAttribute(Qt::WA_DeleteOnClose, false);
    table().item(0, 1)->setText(QStringLiteral("dns"));
    table().item(0, 0)->setText(QStringLiteral("Questions"));
    ok()->click();
    EXPECT_EQ(view().frames()->colorRules().rules().front().filter, QStringLiteral("dns"));
    ASSERT_TRUE(eventually([&] { return view().frames()->row(0) != nullptr; }));
    EXPECT_EQ(view().frames()->row(0)->rule, 0);
    EXPECT_EQ(FrameColorRules::saved().rules(), view().frames()->colorRules().rules());
    EXPECT_EQ(FrameListModel().colorRules().rules().front().name, QStringLiteral("Questions"));
}

TEST(DecodeTreeModel, KeepsItsPromisesForEveryFrame)
{
    const TempFile file(conversationCapture(10));
    const auto store = readStore(file);
    FrameListModel frames;
    frames.setStore(store.get());
    DecodeTreeModel model;
    const QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::Fatal);
    QObject::connect(&frames, &FrameListModel::detailReady,
                     [&](quint32, const std::shared_ptr<const FrameDetail>& detail) { model.setFrame(detail); });
    for (const std::uint32_t frame : {0u, 2u, 3u}) {
        frames.requestDetail(frame);
        ASSERT_TRUE(eventually([&] { return model.frame() && model.frame()->decoded.summary.number == frame + 1; }));
        for (std::uint32_t node = 0; node < model.frame()->decoded.tree.size(); ++node)
            EXPECT_EQ(DecodeTreeModel::nodeAt(model.indexOf(node)), node);
    }
    model.setFrame(nullptr);
    EXPECT_EQ(model.rowCount(), 0);
}

} // namespace netrondo::test
