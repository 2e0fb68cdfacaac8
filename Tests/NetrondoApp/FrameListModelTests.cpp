// The packet list's rows.
#include "Models/FrameListModel.h"

#include "Models/FrameTimes.h"
#include "NetrondoApp/Support/Waiting.h"

#include <QAbstractItemModelTester>
#include <QMimeData>
#include <QSignalSpy>
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

using Kind = FrameListModel::Kind;
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
    shown.model.set(Kind::marked, {{5, 6}}, true);
    FrameFilterTask task(*shown.store, DisplayFilter::compile("udp").value());
    shown.model.setFilter(&task);
    ASSERT_TRUE(eventually([&] { return shown.model.rowCount() == 4; }));
    EXPECT_FALSE(shown.model.data(shown.model.index(0, 0), FrameListModel::markedRole).toBool());
    EXPECT_TRUE(shown.model.data(shown.model.index(1, 0), FrameListModel::markedRole).toBool());
    EXPECT_EQ(shown.model.next(Kind::marked, -1, 1), 1);
    EXPECT_EQ(shown.model.next(Kind::marked, 1, 1), std::nullopt);
    shown.model.setAllShown(Kind::marked);
    EXPECT_EQ(shown.model.next(Kind::marked, 1, 1), 2);
    shown.model.setFilter(nullptr);
    EXPECT_EQ(shown.model.next(Kind::marked, 0, 1), 5);
    EXPECT_EQ(shown.model.next(Kind::marked, 20, -1), 15);
    shown.model.clear(Kind::marked);
    EXPECT_EQ(shown.model.next(Kind::marked, -1, 1), std::nullopt);
}

TEST(FrameSet, IsWhatAListOfThemWouldBe)
{
    FrameSet marked;
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

TEST(FrameSet, HoldsAnotherWhenAllOfThatAreInIt)
{
    FrameSet many, few;
    EXPECT_TRUE(few.holds(many));
    many.set(10, 200, true);
    few.set(64, 64, true);
    EXPECT_TRUE(many.holds(few));
    EXPECT_FALSE(few.holds(many));
    few.set(300, 300, true);
    EXPECT_FALSE(many.holds(few));
}

TEST(FrameListModel, AnIgnoredFrameSaysSoAndNothingElse)
{
    Shown shown(10);
    shown.model.setColorRules(FrameColorRules({{QStringLiteral("all"), QStringLiteral("ip"), Qt::green}}));
    shown.model.set(Kind::ignored, {{2, 2}}, true);
    EXPECT_EQ(cell(shown.model, 2, FrameListModel::info), QStringLiteral("Ignored"));
    EXPECT_EQ(cell(shown.model, 2, FrameListModel::number), QStringLiteral("3"));
    EXPECT_EQ(cell(shown.model, 2, FrameListModel::time), QStringLiteral("2.000000"));
    EXPECT_EQ(cell(shown.model, 2, FrameListModel::source), QString());
    EXPECT_EQ(shown.model.ruleAt(2), nullptr);
    EXPECT_EQ(shown.model.filterOf(2, FrameListModel::source), QString());
    shown.model.clear(Kind::ignored);
    EXPECT_EQ(cell(shown.model, 2, FrameListModel::source), QStringLiteral("10.0.0.1"));
}

TEST(FrameListModel, ATimeCountsFromTheReferenceBeforeIt)
{
    Shown shown(10);
    shown.model.set(Kind::references, {{3, 3}, {6, 6}}, true);
    const char* const expected[] = {"0.000000", "1.000000",  "2.000000", "Reference", "1.000000",
                                    "2.000000", "Reference", "1.000000", "2.000000",  "3.000000"};
    for (int row = 0; row < 10; ++row)
        EXPECT_EQ(cell(shown.model, row, FrameListModel::time), QString::fromLatin1(expected[row])) << row;
}

TEST(FrameListModel, TimesOfDayAreShiftedAndTheHeadingSaysSo)
{
    Shown shown(10);
    qputenv("TZ", "UTC");
    shown.model.setTimeFormat(FrameListModel::TimeFormat::timeOfDay);
    const auto heading = [&] {
        return shown.model.headerData(FrameListModel::time, Qt::Horizontal, Qt::DisplayRole).toString();
    };
    EXPECT_EQ(heading(), QStringLiteral("Time of day"));
    shown.store->notes().setShift(-3'600'000'000'000 + 1);
    EXPECT_EQ(cell(shown.model, 5, FrameListModel::time), QStringLiteral("21:13:25.250000001"));
    EXPECT_EQ(heading(), QStringLiteral("Time of day, shifted"));
    shown.model.setTimeFormat(FrameListModel::TimeFormat::sinceFirst);
    EXPECT_EQ(cell(shown.model, 5, FrameListModel::time), QStringLiteral("5.000000"));
}

TEST(FrameListModel, ANoteStandsBeforeTheInfo)
{
    Shown shown(10);
    shown.store->notes().setNote(2, QStringLiteral("look\nhere"));
    EXPECT_EQ(cell(shown.model, 2, FrameListModel::info),
              QStringLiteral("Note: look here — GET /2 HTTP/1.1 (www.example.org)"));
}

TEST(FrameListModel, AFieldHasAColumnOfItsOwn)
{
    Shown shown(10);
    const QAbstractItemModelTester tester(&shown.model, QAbstractItemModelTester::FailureReportingMode::Fatal);
    const int ttl = shown.model.addField({QStringLiteral("ip.ttl"), QStringLiteral("IPv4 TTL")});
    const int host = shown.model.addField({QStringLiteral("http.host"), QStringLiteral("Host")});
    const int http = shown.model.addField({QStringLiteral("http"), QStringLiteral("HTTP")});
    EXPECT_EQ(shown.model.addField({QStringLiteral("ip.ttl"), QStringLiteral("IPv4 TTL")}), ttl) << "one is enough";
    EXPECT_EQ(shown.model.columnCount(), FrameListModel::columns + 3);
    EXPECT_EQ(shown.model.headerData(ttl, Qt::Horizontal, Qt::DisplayRole), QStringLiteral("IPv4 TTL"));
    EXPECT_EQ(cell(shown.model, 2, static_cast<FrameListModel::Column>(ttl)), QStringLiteral("64"));
    EXPECT_EQ(cell(shown.model, 2, static_cast<FrameListModel::Column>(host)), QStringLiteral("www.example.org"));
    EXPECT_EQ(cell(shown.model, 2, static_cast<FrameListModel::Column>(http)),
              QStringLiteral("GET /2 HTTP/1.1 (www.example.org)"));
    EXPECT_EQ(cell(shown.model, 0, static_cast<FrameListModel::Column>(host)), QString()) << "a DNS query has none";
    EXPECT_EQ(shown.model.filterOf(2, ttl), QStringLiteral("ip.ttl == 64"));
    shown.model.removeField(ttl);
    EXPECT_EQ(cell(shown.model, 2, static_cast<FrameListModel::Column>(ttl)), QStringLiteral("www.example.org"))
        << "the next one has moved up";
}

struct SpanCase {
    const char* text;
    std::optional<std::int64_t> nanoseconds;
    const char* written; ///< the other way round
};

TEST(FrameTimes, ReadsAndWritesSpans)
{
    for (const auto& [text, nanoseconds, written] : {
             SpanCase{"0", 0, "0"},
             SpanCase{"1.5", 1'500'000'000, "1.5"},
             SpanCase{" -0.000000001 ", -1, "-0.000000001"},
             SpanCase{"+1:00:00", 3'600'000'000'000, "3600"},
             SpanCase{"\u22122:30", -150'000'000'000, "-150"},
             SpanCase{"", std::nullopt, ""},
             SpanCase{"1.5 s", std::nullopt, ""},
             SpanCase{"1:", std::nullopt, ""},
             SpanCase{"99999999999", std::nullopt, ""},
         }) {
        EXPECT_EQ(FrameTimes::parseSpan(QString::fromUtf8(text)), nanoseconds) << text;
        if (nanoseconds) {
            EXPECT_EQ(FrameTimes::spanText(*nanoseconds), QLatin1String(written));
        }
    }
}

TEST(FrameTimes, ReadsTheMomentsThatItWrites)
{
    qputenv("TZ", "UTC");
    const auto format = QStringLiteral("yyyy-MM-dd HH:mm:ss");
    for (const std::int64_t moment : {0ll, 1'700'000'000'250'000'000ll, 1'700'000'000'250'000'001ll, -1ll})
        EXPECT_EQ(FrameTimes::parseMoment(FrameTimes::clock(moment, format)), moment);
    for (const auto* text : {"", "2026-13-01 00:00:00", "2026-01-31", "2026-01-31 12:00:00.", "9999-01-01 00:00:00"})
        EXPECT_EQ(FrameTimes::parseMoment(QString::fromLatin1(text)), std::nullopt) << text;
}

TEST(FrameNotes, AreTakenBackAndDoneAgainStepByStep)
{
    FrameNotes notes;
    QSignalSpy changed(&notes, &FrameNotes::changed);
    notes.change(Kind::marked, [](FrameSet& set) { set.set(1, 3, true); });
    notes.setNote(7, QStringLiteral("odd"));
    notes.setNote(7, QStringLiteral("odd")); // no step: nothing is different
    notes.setShift(5);
    EXPECT_EQ(changed.size(), 3);
    auto& history = notes.history();
    EXPECT_EQ(history.undoText(), QStringLiteral("time shift"));
    history.undo();
    EXPECT_EQ(notes.now().shift, 0);
    history.undo();
    EXPECT_TRUE(notes.now().notes.isEmpty());
    EXPECT_TRUE(notes.now().marked.have(2));
    history.undo();
    EXPECT_FALSE(notes.now().marked.have(2));
    EXPECT_FALSE(history.canUndo());
    for (int i = 0; i < 3; ++i)
        history.redo();
    EXPECT_EQ(notes.now().shift, 5);
    EXPECT_EQ(notes.now().notes.value(7), QStringLiteral("odd"));
    notes.setNote(7, {});
    EXPECT_TRUE(notes.now().notes.isEmpty());
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
