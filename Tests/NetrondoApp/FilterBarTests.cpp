// The filter line, key by key.
#include "Views/FilterBar.h"

#include "NetrondoApp/Support/Waiting.h"
#include "Views/FilterHelp.h"

#include <QAction>
#include <QApplication>
#include <QCompleter>
#include <QDropEvent>
#include <QHeaderView>
#include <QLineEdit>
#include <QListView>
#include <QMimeData>
#include <QSettings>
#include <QSignalSpy>
#include <QTest>
#include <QTreeWidget>
#include <gtest/gtest.h>

namespace netrondo::test {
namespace {

class FilterBarTest : public testing::Test {
protected:
    void SetUp() override
    {
        QSettings().clear();
        bar = std::make_unique<FilterBar>();
        bar->resize(800, 60);
        bar->show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(bar.get()));
        bar->activateWindow();
        bar->line()->setFocus();
        QObject::connect(bar.get(), &FilterBar::applied, [this](const QString& text) { applied.append(text); });
    }
    void type(const char* text) { QTest::keyClicks(bar->line(), QString::fromUtf8(text)); }
    void press(Qt::Key key)
    {
        auto* popup = bar->findChild<QCompleter*>()->popup();
        QTest::keyClick(popup->isVisible() ? static_cast<QWidget*>(popup) : bar->line(), key);
    }
    bool offers() { return bar->findChild<QCompleter*>()->popup()->isVisible(); }

    std::unique_ptr<FilterBar> bar;
    QStringList applied;
};

} // namespace

TEST_F(FilterBarTest, TabCompletesWithTheFirstSuggestion)
{
    type("tcp.dst");
    EXPECT_TRUE(offers());
    press(Qt::Key_Tab);
    EXPECT_EQ(bar->text(), QStringLiteral("tcp.dstport"));
    EXPECT_FALSE(offers());
    EXPECT_TRUE(applied.isEmpty());
}

TEST_F(FilterBarTest, ArrowsChooseASuggestionAndEnterTakesIt)
{
    type("ip and udp.");
    ASSERT_TRUE(offers());
    press(Qt::Key_Down);
    press(Qt::Key_Down);
    const auto second = bar->findChild<QCompleter*>()->popup()->currentIndex().data(Qt::EditRole).toString();
    press(Qt::Key_Return);
    EXPECT_EQ(bar->text(), QStringLiteral("ip and ") + second);
    EXPECT_TRUE(applied.isEmpty());
    press(Qt::Key_Return);
    EXPECT_EQ(applied, QStringList{bar->text()});
}

TEST_F(FilterBarTest, EnterAppliesWhatIsTypedWhenNoSuggestionIsChosen)
{
    type("tcp");
    ASSERT_TRUE(offers());
    press(Qt::Key_Return);
    EXPECT_EQ(applied, QStringList{QStringLiteral("tcp")});
    EXPECT_EQ(bar->state(), FilterBar::State::applied);
}

TEST_F(FilterBarTest, CompletesInFrontOfTheCursorAndKeepsWhatFollows)
{
    bar->setText(QStringLiteral("ip. and tcp"));
    bar->line()->setCursorPosition(3);
    type("tt");
    press(Qt::Key_Tab);
    EXPECT_EQ(bar->text(), QStringLiteral("ip.ttl and tcp"));
    EXPECT_EQ(bar->line()->cursorPosition(), 6);
}

TEST_F(FilterBarTest, ANameThatIsStillBeingTypedIsNoFaultYet)
{
    type("tcp and tcp.fl");
    EXPECT_EQ(bar->state(), FilterBar::State::unfinished);
    EXPECT_EQ(bar->message().trimmed(), QString());
    type("x");
    EXPECT_EQ(bar->state(), FilterBar::State::invalid);
    press(Qt::Key_Backspace);
    EXPECT_EQ(bar->state(), FilterBar::State::unfinished);
    press(Qt::Key_Return);
    EXPECT_EQ(bar->state(), FilterBar::State::invalid);
    EXPECT_TRUE(applied.isEmpty());
}

TEST_F(FilterBarTest, OffersNothingWhereAValueBelongs)
{
    type("eth.type == ar");
    EXPECT_FALSE(offers());
}

struct StateCase {
    const char* name;
    const char* text;
    FilterBar::State state;
    const char* message;
};

class FilterBarState : public FilterBarTest, public testing::WithParamInterface<StateCase> { };

TEST_P(FilterBarState, IsSaidInWords)
{
    bar->setText(QString::fromUtf8(GetParam().text));
    EXPECT_EQ(bar->state(), GetParam().state);
    EXPECT_EQ(bar->message().trimmed(), QString::fromUtf8(GetParam().message));
    bar->apply();
    EXPECT_EQ(applied.size(), GetParam().state == FilterBar::State::invalid ? 0 : 1);
}

INSTANTIATE_TEST_SUITE_P(
    States, FilterBarState,
    testing::Values(
        StateCase{"Empty", "", FilterBar::State::empty, ""}, StateCase{"Blank", "   ", FilterBar::State::empty, ""},
        StateCase{"Valid", "ip and tcp.port", FilterBar::State::valid, "tcp.port: TCP source or destination port"},
        StateCase{"ValidWithAliases", "dns.q", FilterBar::State::valid, "dns.q: DNS query name (also dns.qry.name)"},
        StateCase{"UnknownField", "foo.bar", FilterBar::State::invalid,
                  "Unknown field “foo.bar” — not in Netrondo’s display-filter catalog"},
        StateCase{"NoValue", "tcp.port ==", FilterBar::State::invalid, "Expected a value after tcp.port"},
        StateCase{"OpenParenthesis", "(tcp", FilterBar::State::invalid, "Missing “)”"},
        StateCase{"NotEqualOfTwoPorts", "tcp.port != 80", FilterBar::State::valid,
                  "“!=” selects frames of which one port differs; “not tcp.port == 80” selects those without it"},
        StateCase{"ANetworkForAnAddress", "ip.addr == 10.0.0.0/8", FilterBar::State::valid,
                  "An address is compared as a whole: no frame has the address “10.0.0.0/8”"}),
    [](const auto& row) { return std::string(row.param.name); });

TEST_F(FilterBarTest, ArrowsGoThroughTheHistoryWhichLastsBeyondTheWindow)
{
    for (const auto* text : {"tcp", "udp", "tcp"}) {
        bar->setText(QString::fromLatin1(text));
        bar->apply();
    }
    EXPECT_EQ(bar->history(), (QStringList{QStringLiteral("tcp"), QStringLiteral("udp")}));
    bar = std::make_unique<FilterBar>();
    bar->show();
    bar->line()->setFocus();
    press(Qt::Key_Up);
    EXPECT_EQ(bar->text(), QStringLiteral("tcp"));
    press(Qt::Key_Up);
    EXPECT_EQ(bar->text(), QStringLiteral("udp"));
    press(Qt::Key_Down);
    EXPECT_EQ(bar->text(), QStringLiteral("tcp"));
}

TEST_F(FilterBarTest, KeepsFavouritesByName)
{
    bar->addFavourite(QStringLiteral("web"), QStringLiteral("http or tls"));
    bar->addFavourite(QStringLiteral("names"), QStringLiteral("dns"));
    bar->addFavourite(QStringLiteral("web"), QStringLiteral("http"));
    bar->removeFavourite(QStringLiteral("names"));
    bar = std::make_unique<FilterBar>();
    ASSERT_EQ(bar->favourites().size(), 1);
    EXPECT_EQ(bar->favourites().first().first, QStringLiteral("web"));
    EXPECT_EQ(bar->favourites().first().second, QStringLiteral("http"));
}

TEST_F(FilterBarTest, TakesWhatIsPointedAtElsewhere)
{
    bar->setText(QStringLiteral("arp or ip"));
    bar->take(QStringLiteral("tcp.port == 80"), FilterFrom::Joint::andNot, FilterBar::Use::prepare);
    EXPECT_EQ(bar->text(), QStringLiteral("(arp or ip) and not tcp.port == 80"));
    EXPECT_TRUE(applied.isEmpty());
    bar->take(QStringLiteral("dns"), FilterFrom::Joint::replace, FilterBar::Use::apply);
    EXPECT_EQ(applied, QStringList{QStringLiteral("dns")});
}

TEST_F(FilterBarTest, TakesWhatIsDroppedOnItsLine)
{
    bar->setText(QStringLiteral("arp or ip"));
    bar->apply();
    QMimeData dragged;
    dragged.setText(QStringLiteral("ip.ttl == 64"));
    const auto drop = [&](Qt::KeyboardModifiers keys) {
        const auto place = bar->line()->geometry().center();
        QDragEnterEvent enter(place, Qt::CopyAction, &dragged, Qt::LeftButton, keys);
        QApplication::sendEvent(bar.get(), &enter);
        EXPECT_TRUE(enter.isAccepted());
        QDropEvent event(place, Qt::CopyAction, &dragged, Qt::LeftButton, keys);
        QApplication::sendEvent(bar.get(), &event);
        return bar->text();
    };
    EXPECT_EQ(drop(Qt::NoModifier), QStringLiteral("(arp or ip) and ip.ttl == 64"));
    EXPECT_EQ(applied.last(), bar->text());
    bar->setText(QStringLiteral("udp"));
    EXPECT_EQ(drop(Qt::ControlModifier), QStringLiteral("udp or ip.ttl == 64"));
    bar->setText(QStringLiteral("udp"));
    EXPECT_EQ(drop(Qt::ShiftModifier), QStringLiteral("udp and not ip.ttl == 64"));
    EXPECT_FALSE(bar->line()->acceptDrops()) << "or the line would take it as text";
}

TEST_F(FilterBarTest, EscapeGoesBackToTheFilterThatIsApplied)
{
    bar->setText(QStringLiteral("tcp"));
    bar->apply();
    bar->setText(QStringLiteral("udp and"));
    press(Qt::Key_Escape);
    EXPECT_EQ(bar->text(), QStringLiteral("tcp"));
}

TEST_F(FilterBarTest, ShowsHowFarASearchHasCome)
{
    bar->setText(QStringLiteral("tcp"));
    bar->apply();
    bar->showProgress(12, 400, 1000, false);
    EXPECT_EQ(bar->message(), QStringLiteral("12 frames match so far, 400 of 1,000 searched"));
    bar->showProgress(12, 400, 1000, true);
    EXPECT_EQ(bar->message(), QStringLiteral("12 frames match among the first 400 of 1,000; the search was stopped"));
    bar->showProgress(30, 1000, 1000, true);
    EXPECT_EQ(bar->message(), QStringLiteral("30 of 1,000 frames match"));
}

TEST_F(FilterBarTest, TheHelpListsEveryNameAndPutsOneIntoTheLine)
{
    FilterHelp help;
    auto* names = help.findChild<QTreeWidget*>();
    EXPECT_EQ(names->topLevelItemCount(), 122);
    help.findChild<QLineEdit*>()->setText(QStringLiteral("window"));
    int shown = 0;
    for (int i = 0; i < names->topLevelItemCount(); ++i)
        shown += !names->topLevelItem(i)->isHidden();
    EXPECT_GT(shown, 0);
    EXPECT_LT(shown, 10);
    QString chosen;
    QObject::connect(&help, &FilterHelp::chosen, [&](const QString& name) { chosen = name; });
    emit names->itemActivated(names->topLevelItem(0), 0);
    EXPECT_EQ(chosen, QStringLiteral("frame"));
}

TEST_F(FilterBarTest, TheHelpShowsItsColumnsUncut)
{
    FilterHelp help;
    auto* names = help.findChild<QTreeWidget*>();
    help.show();
    for (int column = 0; column < names->columnCount(); ++column) {
        int widest = 0;
        for (int i = 0; i < names->topLevelItemCount(); ++i)
            widest = std::max(widest, names->fontMetrics().horizontalAdvance(names->topLevelItem(i)->text(column)));
        EXPECT_LT(widest, names->header()->sectionSize(column)) << column;
    }
}

} // namespace netrondo::test
