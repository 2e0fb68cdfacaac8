// The packet list's rows.
#include "Models/FrameListModel.h"

#include "NetrondoApp/Support/Waiting.h"

#include <QAbstractItemModelTester>
#include <QMimeData>
#include <gtest/gtest.h>
#include <random>
#include <set>

namespace netrondo::test {
namespace {

/// The text of a cell once it is decoded.
QString cell(FrameListModel& model, int row, FrameListModel::Column column)
{
    EXPECT_TRUE(eventually([&] { return model.row(row); }));
    return model.data(model.index(row, column), Qt::DisplayRole).toString();
}

struct Shown {
    TempFile file;
    std::shared_ptr<FrameStore> store;
    FrameListModel model;

    explicit Shown(int frames) : file(conversationCapture(frames)), store(readStore(file))
    {
        model.setStore(store.get());
    }
};

} // namespace

TEST(FrameListModel, ShowsAFrameInItsColumns)
{
    Shown shown(10);
    using Column = FrameListModel::Column;
    const std::pair<Column, const char*> expected[] = {{Column::number, "3"},
                                                       {Column::time, "2.000000"},
                                                       {Column::source, "10.0.0.1"},
                                                       {Column::destination, "10.0.0.2"},
                                                       {Column::protocol, "HTTP"},
                                                       {Column::length, "96"},
                                                       {Column::sourcePort, "51000"},
                                                       {Column::destinationPort, "80"},
                                                       {Column::info, "GET /2 HTTP/1.1 (www.example.org)"}};
    for (const auto& [column, text] : expected)
        EXPECT_EQ(cell(shown.model, 2, column), QString::fromLatin1(text));
}

TEST(FrameListModel, KeepsItsPromisesWhileItGrowsAndIsFiltered)
{
    const TempFile file(conversationCapture(300));
    FrameStore store(QString::fromStdString(file.path().string()));
    FrameListModel model;
    const QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::Fatal);
    model.setStore(&store);
    ASSERT_TRUE(eventually([&] { return model.rowCount() == 300; }));
    FrameFilterTask task(store, DisplayFilter::compile("udp").value());
    model.setFilter(&task);
    ASSERT_TRUE(eventually([&] { return model.rowCount() == 60; }));
    EXPECT_EQ(cell(model, 59, FrameListModel::number), QStringLiteral("296"));
    model.setFilter(nullptr);
    EXPECT_EQ(model.rowCount(), 300);
    model.setStore(nullptr);
    EXPECT_EQ(model.rowCount(), 0);
}

TEST(FrameListModel, TellsTimeInFourWays)
{
    Shown shown(10);
    qputenv("TZ", "UTC");
    FrameFilterTask task(*shown.store, DisplayFilter::compile("udp").value());
    shown.model.setFilter(&task);
    ASSERT_TRUE(eventually([&] { return shown.model.rowCount() == 2; }));
    const std::pair<FrameListModel::TimeFormat, const char*> expected[] = {
        {FrameListModel::TimeFormat::sinceFirst, "5.000000"},
        {FrameListModel::TimeFormat::sincePrevious, "5.000000"}, // the previous one that is shown
        {FrameListModel::TimeFormat::timeOfDay, "22:13:25.250000"},
        {FrameListModel::TimeFormat::dateAndTime, "2023-11-14 22:13:25.250000"}};
    for (const auto& [format, text] : expected) {
        shown.model.setTimeFormat(format);
        EXPECT_EQ(cell(shown.model, 1, FrameListModel::time), QString::fromLatin1(text));
    }
}

TEST(FrameListModel, FindsTheRowOfAFrameAmongThoseShown)
{
    Shown shown(20);
    FrameFilterTask task(*shown.store, DisplayFilter::compile("udp").value());
    shown.model.setFilter(&task);
    ASSERT_TRUE(eventually([&] { return shown.model.rowCount() == 4; })); // 0, 5, 10, 15
    EXPECT_EQ(shown.model.rowOf(10), 2);
    EXPECT_EQ(shown.model.rowOf(11), std::nullopt);
    EXPECT_EQ(shown.model.rowAtOrBefore(14), 2);
    EXPECT_EQ(shown.model.rowAtOrBefore(99), 3);
    EXPECT_EQ(shown.model.rowAtOrBefore(0), 0);
}

TEST(FrameListModel, ColoursAFrameByTheFirstRuleThatFits)
{
    Shown shown(10);
    shown.model.setColorRules(FrameColorRules({{QStringLiteral("broken"), QStringLiteral("no.such.field"), Qt::red},
                                               {QStringLiteral("names"), QStringLiteral("udp"), Qt::blue},
                                               {QStringLiteral("all"), QStringLiteral("ip"), Qt::green}}));
    cell(shown.model, 0, FrameListModel::info);
    EXPECT_EQ(shown.model.ruleAt(0)->name, QStringLiteral("names"));
    EXPECT_EQ(shown.model.ruleAt(1)->name, QStringLiteral("all"));
}

TEST(FrameListModel, MarksFramesWhateverIsShown)
{
    Shown shown(20);
    shown.model.setMarked(5, 6, true);
    FrameFilterTask task(*shown.store, DisplayFilter::compile("udp").value());
    shown.model.setFilter(&task);
    ASSERT_TRUE(eventually([&] { return shown.model.rowCount() == 4; }));
    EXPECT_FALSE(shown.model.data(shown.model.index(0, 0), FrameListModel::markedRole).toBool());
    EXPECT_TRUE(shown.model.data(shown.model.index(1, 0), FrameListModel::markedRole).toBool());
    EXPECT_EQ(shown.model.nextMarked(-1, 1), 1);
    EXPECT_EQ(shown.model.nextMarked(1, 1), std::nullopt);
    shown.model.markAllShown();
    EXPECT_EQ(shown.model.nextMarked(1, 1), 2);
    shown.model.setFilter(nullptr);
    EXPECT_EQ(shown.model.nextMarked(0, 1), 5);
    EXPECT_EQ(shown.model.nextMarked(20, -1), 15);
    shown.model.clearMarks();
    EXPECT_EQ(shown.model.nextMarked(-1, 1), std::nullopt);
}

TEST(MarkedFrames, AreWhatAListOfThemWouldBe)
{
    MarkedFrames marked;
    std::set<std::uint32_t> expected;
    std::mt19937 random(7);
    for (int i = 0; i < 300; ++i) {
        const auto first = static_cast<std::uint32_t>(random() % 700);
        const auto last = first + static_cast<std::uint32_t>(random() % (i % 3 == 0 ? 200 : 2));
        const bool isMarked = random() % 2 == 0;
        marked.set(first, last, isMarked);
        for (auto frame = first; frame <= last; ++frame)
            isMarked ? static_cast<void>(expected.insert(frame)) : static_cast<void>(expected.erase(frame));
        for (std::int64_t frame = -1; frame < 1000; ++frame) {
            const auto next = expected.lower_bound(static_cast<std::uint32_t>(std::max<std::int64_t>(frame, 0)));
            ASSERT_EQ(marked.next(frame), next == expected.end() ? std::nullopt : std::optional(*next)) << frame;
            const auto behind = frame < 0 ? expected.begin() : expected.upper_bound(static_cast<std::uint32_t>(frame));
            ASSERT_EQ(marked.previous(frame),
                      behind == expected.begin() ? std::nullopt : std::optional(*std::prev(behind)))
                << frame;
            ASSERT_EQ(frame >= 0 && marked.have(static_cast<std::uint32_t>(frame)),
                      frame >= 0 && expected.contains(static_cast<std::uint32_t>(frame)));
        }
    }
    marked.clear();
    EXPECT_EQ(marked.next(0), std::nullopt);
    EXPECT_EQ(marked.previous(1000), std::nullopt);
}

TEST(FrameListModel, ACellIsDraggedAsItsFilter)
{
    Shown shown(10);
    cell(shown.model, 2, FrameListModel::info);
    const std::unique_ptr<QMimeData> data(
        shown.model.mimeData({shown.model.index(2, FrameListModel::destinationPort)}));
    ASSERT_TRUE(data);
    EXPECT_EQ(data->text(), QStringLiteral("tcp.dstport == 80"));
    EXPECT_FALSE(shown.model.mimeData({shown.model.index(2, FrameListModel::info)}));
}

TEST(FrameListModel, SaysWhyAFrameCannotBeShown)
{
    Shown shown(3);
    std::filesystem::resize_file(shown.file, 150);
    EXPECT_EQ(cell(shown.model, 2, FrameListModel::info),
              QStringLiteral("I/O error: frame 3 is no longer in the file, which has become shorter"));
    EXPECT_EQ(cell(shown.model, 2, FrameListModel::source), QString());
}

TEST(FrameListModel, KeepsNoMorePagesThanItMay)
{
    Shown shown(10'000);
    for (int row = 0; row < 10'000; row += 7)
        EXPECT_TRUE(eventually([&] { return shown.model.row(row); }));
    EXPECT_EQ(cell(shown.model, 9'999, FrameListModel::number), QStringLiteral("10000"));
    EXPECT_EQ(cell(shown.model, 3, FrameListModel::time), QStringLiteral("3.000000"));
}

TEST(FrameListModel, ShowsAMessageOfSeveralFramesOnceTheyHaveBeenFollowed)
{
    // The answer's head ends in the second segment.
    const auto segment = [](std::uint32_t seq, std::string_view text) {
        auto frame = tcpFrame(Ends().back(), text);
        for (int i = 0; i < 4; ++i)
            frame[static_cast<std::size_t>(38 + i)] = static_cast<std::uint8_t>(seq >> (24 - 8 * i));
        return frame;
    };
    const std::string head = "HTTP/1.1 200 OK\r\nServer: x";
    const TempFile file(PcapBytes()
                            .frame(segment(1, head))
                            .frame(segment(static_cast<std::uint32_t>(1 + head.size()), "y\r\n\r\n"))
                            .bytes());
    const auto store = readStore(file);
    FrameListModel model;
    model.setStore(store.get());
    EXPECT_EQ(cell(model, 1, FrameListModel::info), QStringLiteral("HTTP/1.1 200 OK"));
}

} // namespace netrondo::test
