// Reading a capture beside the window.
#include "Tasks/FrameFilterTask.h"
#include "Tasks/FrameFindTask.h"

#include "Analysis/Expert/TcpHistory.h"
#include "Capture/CaptureFile.h"
#include "Dissection/Filter/FrameSelector.h"
#include "NetrondoApp/Support/Waiting.h"
#include "Support/Dissect.h"
#include "Tasks/FrameRowLoader.h"

#include <QSignalSpy>
#include <gtest/gtest.h>

namespace netrondo::test {
namespace {

QString pathOf(const TempFile& file)
{
    return QString::fromStdString(file.path().string());
}

DisplayFilter filterOf(std::string_view text)
{
    return DisplayFilter::compile(text).value();
}

std::vector<std::uint32_t> all(const FrameMatches& matches)
{
    std::vector<std::uint32_t> frames;
    for (std::uint32_t i = 0; i < matches.size(); ++i)
        frames.push_back(matches[i]);
    return frames;
}

} // namespace

TEST(FrameStore, OpensReadsAndFollowsACaptureAndSaysSoInThisOrder)
{
    const TempFile file(conversationCapture(1000));
    FrameStore store(pathOf(file));
    QStringList order;
    QObject::connect(&store, &FrameStore::opened, [&] { order.append(QStringLiteral("opened")); });
    QObject::connect(&store, &FrameStore::grew, [&] { order.append(QStringLiteral("grew")); });
    QObject::connect(&store, &FrameStore::completed, [&] { order.append(QStringLiteral("completed")); });
    ASSERT_TRUE(eventually([&] { return store.isComplete() && store.followed() == 1000; }));
    EXPECT_EQ(order.first(), QStringLiteral("opened"));
    EXPECT_EQ(order.last(), QStringLiteral("completed"));
    EXPECT_EQ(store.count(), 1000u);
    EXPECT_EQ(store.progress(), 1);
    EXPECT_TRUE(store.error().isEmpty());
    EXPECT_TRUE(store.orderedDecoder());
}

TEST(FrameStore, SaysWhichFileCannotBeOpenedAndWhy)
{
    FrameStore store(QStringLiteral("/nowhere/office.pcap"));
    const QSignalSpy failed(&store, &FrameStore::failed);
    ASSERT_TRUE(eventually([&] { return store.isComplete(); }));
    EXPECT_EQ(failed.size(), 1);
    EXPECT_EQ(store.error(), QStringLiteral("/nowhere/office.pcap: No such file or directory"));
    EXPECT_FALSE(store.index());
}

TEST(FrameStore, KeepsTheFramesBeforeADamagedBlock)
{
    const TempFile file(PcapNgBytes().section().interface(1).enhanced(0, tcpFrame({})).block(1, pattern(4)).bytes());
    FrameStore store(pathOf(file));
    ASSERT_TRUE(eventually([&] { return store.isComplete(); }));
    EXPECT_EQ(store.count(), 1u);
    EXPECT_TRUE(store.error().endsWith(QStringLiteral(": Invalid capture header: Short IDB")))
        << qPrintable(store.error());
}

TEST(FrameStore, FollowsAGrowingFileUntilItIsStopped)
{
    const auto more = conversationCapture(7, 3);
    const TempFile file(conversationCapture(3));
    FrameStore store(pathOf(file), FrameStore::Reading::growing);
    ASSERT_TRUE(eventually([&] { return store.count() == 3; }));
    append(file, Bytes(more).subspan(24));
    ASSERT_TRUE(eventually([&] { return store.count() == 10; }));
    EXPECT_FALSE(store.isComplete());
    store.stop();
    ASSERT_TRUE(eventually([&] { return store.isComplete(); }));
    EXPECT_TRUE(store.error().isEmpty());
}

TEST(FrameStore, LearnsHostNamesOnTheWay)
{
    // A DNS answer: www.example.org is 10.0.0.2.
    const std::string answer(
        "\x12\x34\x81\x80\x00\x01\x00\x01\x00\x00\x00\x00\x03www\x07"
        "example\x03org\x00\x00\x01\x00\x01\xc0\x0c\x00\x01\x00\x01\x00\x00\x00\x3c\x00\x04\x0a\x00\x00\x02",
        49);
    const TempFile file(
        PcapBytes().frame(udpFrame({"10.0.0.53", "10.0.0.1", 53, 51000}, answer)).frame(tcpFrame({})).bytes());
    const auto store = readStore(file);
    EXPECT_EQ(store->hostName(*Address::parse("10.0.0.2")), QStringLiteral("www.example.org"));
    EXPECT_EQ(store->hostName(*Address::parse("10.0.0.1")), QString());
}

TEST(FrameStore, CanBeDroppedWhileItReads)
{
    const TempFile file(conversationCapture(20'000));
    for (int i = 0; i < 5; ++i)
        FrameStore store(pathOf(file));
}

TEST(FrameFilterTask, FindsTheFramesInTheirOrder)
{
    const TempFile file(conversationCapture(40));
    const auto store = readStore(file);
    FrameFilterTask task(*store, filterOf("udp"));
    ASSERT_TRUE(eventually([&] { return task.isComplete(); }));
    EXPECT_EQ(all(*task.matches()), (std::vector<std::uint32_t>{0, 5, 10, 15, 20, 25, 30, 35}));
    EXPECT_EQ(task.count(), 8u);
    EXPECT_EQ(task.examined(), 40u);
}

TEST(FrameFilterTask, KnowsWhatEarlierFramesTellOfAFrame)
{
    const char* path = NETRONDO_SOURCE_DIR "/Samples/trouble.pcapng";
    const auto filter = filterOf("tcp.analysis.retransmission");
    const auto reader = CaptureFile::open(path).value();
    FrameSelector selector(filter, reader->isNanosecond(), historyFor(filter));
    std::vector<std::uint32_t> expected;
    std::uint32_t number = 0;
    for (auto frame = reader->nextFrame(); frame && *frame; frame = reader->nextFrame(), ++number) {
        if (selector.next(**frame))
            expected.push_back(number);
    }
    ASSERT_FALSE(expected.empty());
    const auto store = readStore(path);
    FrameFilterTask task(*store, filter);
    ASSERT_TRUE(eventually([&] { return task.isComplete(); }));
    EXPECT_EQ(all(*task.matches()), expected);
}

TEST(FrameFilterTask, GoesOnAsTheFileGrows)
{
    const auto more = conversationCapture(7, 3);
    const TempFile file(conversationCapture(3));
    FrameStore store(pathOf(file), FrameStore::Reading::growing);
    ASSERT_TRUE(eventually([&] { return store.count() == 3; }));
    FrameFilterTask task(store, filterOf("udp"));
    ASSERT_TRUE(eventually([&] { return task.examined() == 3; }));
    append(file, Bytes(more).subspan(24));
    ASSERT_TRUE(eventually([&] { return task.examined() == 10; }));
    EXPECT_EQ(all(*task.matches()), (std::vector<std::uint32_t>{0, 5}));
    EXPECT_FALSE(task.isComplete());
    task.stop();
    ASSERT_TRUE(eventually([&] { return task.isComplete(); }));
}

struct FindCase {
    std::string_view name, filter;
    std::int64_t from;
    FrameFindTask::Direction direction;
    std::optional<quint32> row;
    bool wrapped;
};

class FrameFind : public testing::TestWithParam<FindCase> { };

TEST_P(FrameFind, GoesRoundTheListOnce)
{
    const auto& row = GetParam();
    const TempFile file(conversationCapture(12)); // DNS: frames 0, 5, 10
    const auto store = readStore(file);
    FrameFindTask task({store->index(), store->orderedDecoderSource(), nullptr, store->count()},
                       FrameSearch::forFilter(filterOf(row.filter)), row.from, row.direction);
    std::optional<quint32> found;
    bool wrapped = false, isDone = false;
    QObject::connect(&task, &FrameFindTask::found, [&](quint32 at, bool beyond) {
        found = at;
        wrapped = beyond;
        isDone = true;
    });
    QObject::connect(&task, &FrameFindTask::notFound, [&] { isDone = true; });
    ASSERT_TRUE(eventually([&] { return isDone; }));
    EXPECT_EQ(found, row.row);
    EXPECT_EQ(wrapped, row.wrapped);
}

TEST(FrameFind, KnowsWhatEarlierFramesTellOfAFrame)
{
    const auto filter = filterOf("tcp.analysis.retransmission");
    const auto store = readStore(NETRONDO_SOURCE_DIR "/Samples/trouble.pcapng");
    FrameFilterTask filtered(*store, filter);
    ASSERT_TRUE(eventually([&] { return filtered.isComplete(); }));
    ASSERT_GT(filtered.count(), 0u);
    const auto first = all(*filtered.matches()).front();

    FrameFindTask task({store->index(), store->orderedDecoderSource(), nullptr, store->count()},
                       FrameSearch::forFilter(filter), -1, FrameFindTask::Direction::forwards);
    std::optional<quint32> found;
    QObject::connect(&task, &FrameFindTask::found, [&](quint32 at, bool) { found = at; });
    ASSERT_TRUE(eventually([&] { return found.has_value(); }));
    EXPECT_EQ(found, first);

    ASSERT_TRUE(eventually([&] { return store->followed() > first; }));
    FrameRowLoader loader(store->index(), store->orderedDecoderSource());
    std::shared_ptr<const FrameDetail> shown;
    QObject::connect(&loader, &FrameRowLoader::detailReady,
                     [&](quint32, const std::shared_ptr<const FrameDetail>& detail) { shown = detail; });
    loader.requestDetail(first);
    ASSERT_TRUE(eventually([&] { return shown != nullptr; }));
    EXPECT_NE(experts(shown->decoded).find("tcp.retx.endpoint"), std::string::npos);
}

TEST(FrameRowLoader, KeepsThePageThatCameLastForWhoeverAskedForIt)
{
    const TempFile file(conversationCapture(4));
    const auto store = readStore(file);
    FrameRowLoader loader(store->index(), store->orderedDecoderSource());
    std::uint64_t ready = 0;
    QObject::connect(&loader, &FrameRowLoader::pageReady, [&](quint64 page) { ready = page; });
    std::uint64_t page = 100; // scrolling up, and nobody takes what was decoded ahead
    for (; page > 60; --page) {
        loader.request(page, {0, 1});
        ASSERT_TRUE(eventually([&] { return ready == page; }));
    }
    const auto last = loader.take(page + 1, std::chrono::microseconds(0));
    ASSERT_TRUE(last);
    EXPECT_EQ(last->rows.size(), 2u);
    EXPECT_FALSE(loader.take(100, std::chrono::microseconds(0))) << "the oldest went for it";
}

using Direction = FrameFindTask::Direction;
INSTANTIATE_TEST_SUITE_P(Ways, FrameFind,
                         testing::Values(FindCase{"Forwards", "udp", 0, Direction::forwards, 5, false},
                                         FindCase{"Backwards", "udp", 7, Direction::backwards, 5, false},
                                         FindCase{"ForwardsPastTheEnd", "udp", 10, Direction::forwards, 0, true},
                                         FindCase{"BackwardsPastTheStart", "udp", 0, Direction::backwards, 10, true},
                                         FindCase{"WithoutAChosenRow", "udp", -1, Direction::forwards, 0, false},
                                         FindCase{"WithoutAChosenRowBackwards", "udp", -1, Direction::backwards, 10,
                                                  false},
                                         FindCase{"TheRowItself", "frame.number == 4", 3, Direction::forwards, 3, true},
                                         FindCase{"Nothing", "arp", 3, Direction::forwards, std::nullopt, false}),
                         [](const auto& row) { return std::string(row.param.name); });

} // namespace netrondo::test
