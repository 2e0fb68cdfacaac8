// The lists, the legend, the details, and the one selection they share with the picture.
#include "Analysis/Tcp/Complaints.h"
#include "Base/Units.h"
#include "NetrondoApp/Support/Window.h"

#include <QAbstractItemModelTester>
#include <QClipboard>
#include <QDockWidget>
#include <QLineEdit>
#include <fstream>
#include <sstream>

namespace netrondo::test {
namespace {

class ListTest : public WindowTest {
protected:
    void SetUp() override
    {
        WindowTest::SetUp();
        open(sample());
    }
    QTableView& list(const char* name) const { return part<QTableView>(name); }
    QString cell(const QTableView& table, int row, int column) const
    {
        return table.model()->index(row, column).data().toString();
    }
    QString details() const
    {
        EXPECT_TRUE(eventually([&] { return !part<DetailsView>().isGathering(); }));
        return part<DetailsView>().toPlainText();
    }
};

TEST_F(ListTest, ModelsKeepTheRulesOfTheirKind)
{
    for (const auto* name : {"conversationsList", "hostsList", "protocolsList"}) {
        auto* const model = list(name).model();
        const QAbstractItemModelTester tester(model, QAbstractItemModelTester::FailureReportingMode::Fatal);
        for (int column = 0; column < model->columnCount(); ++column) {
            model->sort(column, Qt::AscendingOrder);
            model->sort(column, Qt::DescendingOrder);
        }
        static_cast<RankedModel*>(model)->setFilterText(QStringLiteral("10.20"));
        static_cast<RankedModel*>(model)->setFilterText({});
    }
}

TEST_F(ListTest, ConversationsStandWithTheLargestFirstBothDirectionsTogether)
{
    const auto& talks = *session().talks();
    std::uint64_t total = 0, largest = 0;
    for (const auto& talk : talks.talks()) {
        total += talk.allBytes();
        largest = std::max(largest, talk.allBytes());
    }
    EXPECT_EQ(total, talks.result()->totalBytes);
    EXPECT_EQ(cell(list("conversationsList"), 0, ConversationModel::bytes), asQt(units::bytes(largest)));
}

TEST_F(ListTest, SortingByAnyColumnOrdersItsValues)
{
    auto* const model = list("hostsList").model();
    model->sort(HostModel::peers, Qt::DescendingOrder);
    const auto peers = [&](int row) { return cell(list("hostsList"), row, HostModel::peers).remove(',').toInt(); };
    for (int row = 1; row < model->rowCount(); ++row)
        EXPECT_GE(peers(row - 1), peers(row));
}

TEST_F(ListTest, TypingNarrowsAList)
{
    const int all = list("conversationsList").model()->rowCount();
    QTest::keyClicks(&part<QLineEdit>("conversationsFilter"), QStringLiteral("ANNA"));
    const int narrowed = list("conversationsList").model()->rowCount();
    EXPECT_GT(narrowed, 0);
    EXPECT_LT(narrowed, all);
    for (int row = 0; row < narrowed; ++row)
        EXPECT_TRUE((cell(list("conversationsList"), row, 0) + cell(list("conversationsList"), row, 1))
                        .contains(QStringLiteral("anna")));
    part<QLineEdit>("conversationsFilter").clear();
    EXPECT_EQ(list("conversationsList").model()->rowCount(), all);
}

TEST_F(ListTest, ARowThatIsChosenIsSelectedEverywhere)
{
    auto& table = list("conversationsList");
    table.setCurrentIndex(table.model()->index(2, 0));
    const auto selected = selection().selected();
    ASSERT_EQ(selected.kind, Selected::Kind::conversation);
    EXPECT_TRUE(picture().findChord(selected));
    EXPECT_TRUE(details().contains(asQt(selected.a)));
    EXPECT_TRUE(details().contains(asQt(selected.b)));
}

TEST_F(ListTest, WhatIsSelectedInThePictureIsSelectedInTheLists)
{
    const auto& chord = picture().chords[5];
    selection().select(chord.what);
    auto& table = list("conversationsList");
    ASSERT_TRUE(table.selectionModel()->hasSelection());
    const auto& talk =
        session().talks()->talks()[static_cast<RankedModel*>(table.model())->itemAt(table.currentIndex().row())];
    EXPECT_EQ(Selected::conversation(session().talks()->host(talk, 0).text, session().talks()->host(talk, 1).text),
              chord.what);
    selection().select(Selected::host(chord.what.a));
    EXPECT_FALSE(table.selectionModel()->hasSelection());
    EXPECT_EQ(cell(list("hostsList"), list("hostsList").currentIndex().row(), HostModel::address), asQt(chord.what.a));
}

TEST_F(ListTest, AProtocolIsHiddenAndShownAloneFromTheLegend)
{
    auto* const model = static_cast<ProtocolModel*>(list("protocolsList").model());
    const auto name = std::string(model->nameOf(model->itemAt(0)));
    const auto carriers = std::ranges::count(session().talks()->talks(), name, &TalkRow::protocol);
    const auto all = picture().chords.size();
    model->setData(model->index(0, 0), Qt::Unchecked, Qt::CheckStateRole);
    settle();
    EXPECT_EQ(picture().chords.size(), all - static_cast<std::size_t>(carriers));
    EXPECT_TRUE(shownText().contains(QStringLiteral("%1 hidden").arg(carriers))) << shownText().toStdString();
    model->showOnly(model->itemAt(0));
    settle();
    EXPECT_EQ(picture().chords.size(), static_cast<std::size_t>(carriers));
    model->showOnly(model->itemAt(0));
    settle();
    EXPECT_EQ(picture().chords.size(), all);
}

TEST_F(ListTest, AClickInTheLegendShowsAProtocolAloneOneOnItsBoxHidesIt)
{
    auto& legend = list("protocolsList");
    part<QDockWidget>("protocolsDock").raise();
    auto* const model = static_cast<ProtocolModel*>(legend.model());
    ASSERT_TRUE(eventually([&] { return legend.isVisible(); }));
    const auto row = legend.visualRect(model->index(1, 0));
    const auto first = std::string(model->nameOf(model->itemAt(1)));
    const auto all = static_cast<std::size_t>(model->rowCount());
    const auto onTheName = [&] { QTest::mouseClick(legend.viewport(), Qt::LeftButton, {}, row.center()); };
    onTheName();
    EXPECT_EQ(model->hidden().size(), all - 1);
    EXPECT_FALSE(model->hidden().contains(first));
    onTheName();
    EXPECT_TRUE(model->hidden().empty());
    QTest::mouseClick(legend.viewport(), Qt::LeftButton, {}, row.topLeft() + QPoint(10, row.height() / 2));
    EXPECT_EQ(model->hidden(), (std::set<std::string, std::less<>>{first}));
    QTest::keyClick(&legend, Qt::Key_Space);
    EXPECT_TRUE(model->hidden().empty());
    QTest::keyClick(&legend, Qt::Key_Return);
    EXPECT_EQ(model->hidden().size(), all - 1);
}

TEST_F(ListTest, DetailsSpellOutTheScoreAndEachPenalty)
{
    const auto& talks = session().talks()->talks();
    const auto worst =
        std::ranges::min_element(talks, {}, [](const TalkRow& t) { return t.score < 0 ? 1000 : t.score; });
    ASSERT_LT(worst->score, 100);
    selection().select(
        Selected::conversation(session().talks()->host(*worst, 0).text, session().talks()->host(*worst, 1).text));
    EXPECT_TRUE(details().contains(gradeText(worst->score, {})));
    const auto pairs = session().talks()->pairsOf(*worst);
    for (const auto& complaint : complaints(*pairs.front().tcpQuality))
        EXPECT_TRUE(details().contains(asQt(complaint.detail))) << complaint.detail;
    for (const auto* text : {"A → B", "Ports", "First seen", "Last seen", "Handshake options"})
        EXPECT_TRUE(details().contains(QString::fromUtf8(text))) << text;
}

TEST_F(ListTest, DetailsLeadOnToTheOtherHostsAndConversations)
{
    const auto& host = session().talks()->hosts().front();
    selection().select(Selected::host(host.text));
    QSignalSpy changed(&selection(), &Selection::changed);
    settle();
    const auto html = part<DetailsView>().toHtml();
    const auto begin = html.indexOf(QStringLiteral("select:")), end = html.indexOf(QLatin1Char('"'), begin);
    ASSERT_GT(begin, 0);
    emit part<DetailsView>().anchorClicked(QUrl(html.mid(begin, end - begin)));
    EXPECT_EQ(changed.count(), 1);
    EXPECT_EQ(selection().selected().kind, Selected::Kind::conversation);
    EXPECT_NE(session().talks()->findTalk(selection().selected().a, selection().selected().b), TalkRow::none);
}

TEST_F(ListTest, AHostileNameIsTextAndNoMarkup)
{
    selection().select(Selected::host("<img src=x>"));
    settle();
    EXPECT_FALSE(part<DetailsView>().toHtml().contains(QStringLiteral("<img src")));
}

TEST_F(ListTest, AListIsWrittenAsCommaSeparatedValuesWithAllItsRows)
{
    const TempFolder folder;
    const auto path = folder / "hosts.csv";
    exportWith(
        [&] { window->exportTable(*static_cast<RankedModel*>(list("hostsList").model()), asQt(path.string())); });
    std::ifstream in(path);
    std::string line;
    ASSERT_TRUE(std::getline(in, line));
    EXPECT_EQ(line, "Host,Name,Bytes,Sent,Received,Packets,Peers\r");
    std::size_t rows = 0;
    while (std::getline(in, line))
        ++rows;
    EXPECT_EQ(rows, session().talks()->hosts().size());
}

TEST_F(ListTest, AFieldWithACommaOrAQuoteIsQuoted)
{
    class Rows : public RankedRows {
        std::size_t count() const override { return 1; }
        bool less(std::uint32_t, std::uint32_t, int) const override { return false; }
        std::vector<bool> holding(const QString&) const override { return {true}; }
        QString plainText(std::uint32_t, int) const override { return QStringLiteral("a \"b\", c"); }
    };
    const RankedOrder order{std::make_shared<Rows>(), {}, -1, Qt::DescendingOrder, {0}, {0}};
    EXPECT_EQ(order.csv({QStringLiteral("Said")}), QStringLiteral("Said\r\n\"a \"\"b\"\", c\"\r\n"));
}

TEST_F(ListTest, ThePictureIsCopiedAndSoAreTheLists)
{
    window->copyPicture();
    EXPECT_EQ(QApplication::clipboard()->image().size(), picture().image.size());
    window->copyTable(*static_cast<RankedModel*>(list("conversationsList").model()));
    ASSERT_TRUE(eventually([] { return QApplication::clipboard()->text().startsWith(QStringLiteral("Host A,")); }));
    EXPECT_EQ(QApplication::clipboard()->text().count(QLatin1Char('\n')),
              list("conversationsList").model()->rowCount() + 1);
}

/// So many rows that they are put in order in the background: numbers in a shuffled order.
class LongList : public testing::Test {
protected:
    static constexpr std::uint32_t count = 200'000;
    static std::uint32_t value(std::uint32_t item) { return item * 7919 % count; }

    class Rows : public RankedRows {
    public:
        explicit Rows(std::uint32_t rows) : rows_(rows) { }
        std::size_t count() const override { return rows_; }
        bool less(std::uint32_t a, std::uint32_t b, int) const override { return value(a) < value(b); }
        std::vector<bool> holding(const QString& text) const override
        {
            std::vector<bool> found;
            for (std::uint32_t item = 0; item < rows_; ++item)
                found.push_back(plainText(item, 0).contains(text));
            return found;
        }
        QString plainText(std::uint32_t item, int) const override { return QString::number(value(item)); }

    private:
        std::uint32_t rows_;
    };

    class Model : public RankedModel {
    public:
        Model() { setRows(std::make_shared<Rows>(count)); }
        void replace(std::uint32_t rows) { setRows(std::make_shared<Rows>(rows)); }
        int columnCount(const QModelIndex&) const override { return 1; }
        QVariant data(const QModelIndex& index, int role) const override
        {
            return role == Qt::DisplayRole ? QVariant(value(itemAt(index.row()))) : QVariant();
        }
    };
    std::uint32_t at(int row) const { return model.index(row, 0).data().toUInt(); }
    void arrange()
    {
        ASSERT_TRUE(eventually([&] { return !model.isArranging(); }));
    }

    Model model;
};

TEST_F(LongList, ShowsWhatItShowedUntilTheNewOrderIsThere)
{
    EXPECT_EQ(model.rowCount(), 0) << "it is not sorted where it is asked for";
    arrange();
    ASSERT_EQ(model.rowCount(), static_cast<int>(count));
    const auto before = at(1);
    model.sort(0, Qt::AscendingOrder);
    EXPECT_EQ(at(1), before);
    arrange();
    for (const int row : {0, 1, 5000, 199'999})
        EXPECT_EQ(at(row), static_cast<std::uint32_t>(row));
}

TEST_F(LongList, TheLatestOfSeveralWishesIsShown)
{
    model.sort(0, Qt::AscendingOrder);
    model.setFilterText(QStringLiteral("9999"));
    model.sort(0, Qt::DescendingOrder);
    arrange();
    EXPECT_EQ(at(0), 199'999u);
    EXPECT_EQ(at(9), 199'990u);
    EXPECT_EQ(at(10), 189'999u) << "what lies between does not hold 9999";
    model.setFilterText({});
    model.replace(10); // few rows stand at once, and what the others come to is dropped
    EXPECT_EQ(model.rowCount(), 10);
    QTest::qWait(200);
    EXPECT_EQ(model.rowCount(), 10);
}

TEST_F(LongList, WhoHoldsOnToARowGoesWithIt)
{
    arrange();
    const QPersistentModelIndex held = model.index(3, 0);
    const auto of = held.data().toUInt();
    model.sort(0, Qt::DescendingOrder);
    arrange();
    EXPECT_EQ(held.data().toUInt(), of);
    EXPECT_EQ(held.row(), static_cast<int>(count - 1 - of));
    EXPECT_EQ(model.rowOf(model.itemAt(held.row())), held.row());
}

TEST_F(LongList, KeepsTheRulesOfItsKind)
{
    const QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::Fatal);
    arrange();
    model.sort(0, Qt::AscendingOrder);
    arrange();
    model.setFilterText(QStringLiteral("123"));
    arrange();
    EXPECT_GT(model.rowCount(), 0);
}

TEST_F(LongList, MayGoWhileItIsPutInOrder)
{
    Model brief;
    EXPECT_TRUE(brief.isArranging());
}

} // namespace
} // namespace netrondo::test
