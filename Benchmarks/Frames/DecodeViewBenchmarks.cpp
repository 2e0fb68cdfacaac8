// How long the decode view takes until its first screen stands, and to stand anywhere else in a large capture.
//
// The captures are those of Benchmarks/compare, in the folder that NETRONDO_CAPTURES names; without it there is nothing
// to measure.
#include "Models/FrameListModel.h"
#include "Views/DecodeBytesView.h"
#include "Views/DecodeView.h"
#include "Views/DecodeWindow.h"
#include "Views/FrameFindBar.h"
#include "Views/FrameListView.h"

#include <QAction>
#include <QApplication>
#include <QElapsedTimer>
#include <QLineEdit>
#include <QScrollBar>
#include <QTemporaryDir>
#include <QTimer>
#include <QTreeView>
#include <algorithm>
#include <benchmark/benchmark.h>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <random>

namespace netrondo {
namespace {

std::optional<QString> capture(const char* name)
{
    const auto folder = qEnvironmentVariable("NETRONDO_CAPTURES");
    const auto path = folder + QLatin1Char('/') + QLatin1String(name);
    return !folder.isEmpty() && std::filesystem::exists(path.toStdString()) ? std::optional(path) : std::nullopt;
}

/// Lets the window live until the condition holds; false when it does not in a minute.
template <typename Condition> bool eventually(Condition condition)
{
    QElapsedTimer timer;
    timer.start();
    while (!condition() && timer.elapsed() < 60'000)
        QApplication::processEvents(QEventLoop::WaitForMoreEvents, 5);
    return condition();
}

/// Whether every row of the screen is decoded.
bool isScreenFull(DecodeView& view)
{
    const auto& list = *view.list();
    const int rows = view.frames()->rowCount();
    if (rows == 0)
        return false;
    const int last = std::min(rows, list.firstVisibleRow() + list.rowsPerScreen());
    for (int row = list.firstVisibleRow(); row < last; ++row)
        if (!view.frames()->row(row))
            return false;
    return true;
}

/// A few frames of 65,535 bytes: one that is no protocol's, one with thousands of DNS records, one of NUL bytes.
void writeHugeFrames(const std::string& path)
{
    std::ofstream out(path, std::ios::binary);
    const auto put = [&](std::uint32_t value) { out.write(reinterpret_cast<const char*>(&value), sizeof value); };
    for (const std::uint32_t word : {0xa1b2c3d4u, 0x00040002u, 0u, 0u, 262'144u, 1u})
        put(word);
    std::mt19937 random(1);
    for (int i = 0; i < 3; ++i) {
        std::string frame("\2\0\0\0\0\2\2\0\0\0\0\1\x08\0\x45\0\xff\xf1\0\1\0\0\x40\x11\0\0\x0a\0\0\1\x0a\0\0\2", 34);
        frame += std::string("\0\x35\xc3\x50\xff\xdd\0\0", 8);
        if (i == 1) {
            frame += std::string("\0\1\x81\x80\0\1\x0f\xa0\0\0\0\0\1a\0\0\1\0\1", 19);
            while (frame.size() + 16 <= 65'535)
                frame += std::string("\xc0\x0c\0\1\0\1\0\0\0\x3c\0\4\x0a\0\0\3", 16);
        }
        while (frame.size() < 65'535)
            frame += static_cast<char>(i == 0 ? random() : 0);
        for (const std::uint32_t word : {static_cast<std::uint32_t>(i), 0u, 65'535u, 65'535u})
            put(word);
        out << frame;
    }
}

void FirstScreen(benchmark::State& state, const char* name)
{
    const auto path = capture(name);
    if (!path)
        return state.SkipWithError("NETRONDO_CAPTURES names no folder that holds the capture");
    for (auto _ : state) {
        DecodeView view;
        view.resize(1600, 1000);
        view.show();
        view.open(*path);
        if (!eventually([&] { return isScreenFull(view) && view.nodes()->frame(); }))
            return state.SkipWithError("the first screen does not come");
        view.grab();
        state.PauseTiming();
        view.setStore(nullptr);
        state.ResumeTiming();
    }
}
BENCHMARK_CAPTURE(FirstScreen, mixed, "mixed.pcap")->Unit(benchmark::kMillisecond)->Iterations(5)->UseRealTime();
BENCHMARK_CAPTURE(FirstScreen, mixedNg, "mixed.pcapng")->Unit(benchmark::kMillisecond)->Iterations(5)->UseRealTime();
BENCHMARK_CAPTURE(FirstScreen, small, "small.pcap")->Unit(benchmark::kMillisecond)->Iterations(5)->UseRealTime();

/// From setting the scroll bar to a screen that is decoded and painted; `longest_ms` is the slowest of all.
void ScrollAnywhere(benchmark::State& state, const char* name, const char* filter)
{
    const auto path = capture(name);
    if (!path)
        return state.SkipWithError("NETRONDO_CAPTURES names no folder that holds the capture");
    DecodeView view;
    view.resize(1600, 1000);
    view.show();
    view.open(*path);
    const auto isRead = [&] { return view.store()->isComplete() && view.store()->followed() == view.store()->count(); };
    if (!eventually(isRead) || view.frames()->rowCount() == 0)
        return state.SkipWithError("the capture is not read");
    bool isFiltered = false;
    QObject::connect(&view, &DecodeView::filterProgress,
                     [&](quint32, quint32, quint32, bool isDone) { isFiltered = isDone; });
    view.setFilter(QString::fromLatin1(filter));
    if (!eventually([&] { return isFiltered && isScreenFull(view); }))
        return state.SkipWithError("the filter does not end");
    std::mt19937 random(1);
    const int rows = view.frames()->rowCount();
    double longest = 0;
    for (auto _ : state) {
        QElapsedTimer timer;
        timer.start();
        const int target = static_cast<int>(random() % static_cast<unsigned>(rows));
        view.list()->verticalScrollBar()->setValue(target);
        view.list()->viewport()->repaint();
        if (!eventually([&] { return isScreenFull(view); }))
            return state.SkipWithError("the screen does not come");
        longest = std::max(longest, static_cast<double>(timer.nsecsElapsed()) / 1e6);
    }
    state.counters["rows"] = rows;
    state.counters["longest_ms"] = longest;
}
BENCHMARK_CAPTURE(ScrollAnywhere, mixed, "mixed.pcap", "")->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_CAPTURE(ScrollAnywhere, small, "small.pcap", "")->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_CAPTURE(ScrollAnywhere, mixedFiltered, "mixed.pcap", "dns")->Unit(benchmark::kMillisecond)->UseRealTime();

/// How long the window's thread stays away from its events: by the clock, and by its own use of a processor, which the
/// other threads and programs do not swell.
class Heartbeat {
public:
    Heartbeat()
    {
        QObject::connect(&timer_, &QTimer::timeout, &timer_, [this] { beat(); });
        timer_.setTimerType(Qt::PreciseTimer);
        timer_.start(1);
    }
    /// Begins anew and tells the longest until now.
    std::pair<double, double> take()
    {
        beat();
        return {std::exchange(longest_, 0), std::exchange(busiest_, 0)};
    }

private:
    static double busy()
    {
        timespec used{};
        clock_gettime(CLOCK_THREAD_CPUTIME_ID, &used);
        return static_cast<double>(used.tv_sec) * 1e3 + static_cast<double>(used.tv_nsec) / 1e6;
    }
    void beat()
    {
        const double now = busy();
        if (since_.isValid()) {
            longest_ = std::max(longest_, static_cast<double>(since_.nsecsElapsed()) / 1e6);
            busiest_ = std::max(busiest_, now - busyUntil_);
        }
        busyUntil_ = now;
        since_.start();
    }

    QTimer timer_;
    QElapsedTimer since_;
    double busyUntil_ = 0, longest_ = 0, busiest_ = 0;
};

/// Everything a person does, one after the other, and the longest stall of each: `…_ms` by the clock, `…_cpu` by the
/// thread's own work. Goal: 16 ms.
void Stalls(benchmark::State& state, const char* name)
{
    const auto path = capture(name);
    if (!path)
        return state.SkipWithError("NETRONDO_CAPTURES names no folder that holds the capture");
    QTemporaryDir folder;
    const auto huge = folder.filePath(QStringLiteral("huge.pcap"));
    writeHugeFrames(huge.toStdString());
    for (auto _ : state) {
        DecodeWindow window;
        window.resize(1600, 1000);
        window.show();
        QApplication::processEvents();
        auto& view = *window.view();
        auto& list = *view.list();
        Heartbeat heartbeat;
        const auto note = [&](const char* what) {
            const auto [longest, busiest] = heartbeat.take();
            state.counters[std::string(what) + "_ms"] = longest;
            state.counters[std::string(what) + "_cpu"] = busiest;
        };
        const auto live = [](int milliseconds) {
            QElapsedTimer timer;
            timer.start();
            eventually([&] { return timer.elapsed() >= milliseconds; });
        };
        window.open(*path);
        eventually([&] { return isScreenFull(view) && view.nodes()->frame(); });
        note("open");
        std::mt19937 random(1);
        const auto scroll = [&] {
            for (int i = 0; i < 60; ++i) {
                const auto rows = static_cast<unsigned>(std::max(1, view.frames()->rowCount()));
                list.verticalScrollBar()->setValue(static_cast<int>(random() % rows));
                live(10);
            }
        };
        scroll();
        note("scroll_while_read");
        eventually([&] { return view.store()->isComplete() && view.store()->followed() == view.store()->count(); });
        note("read");
        scroll();
        note("scroll");
        auto& bar = *window.filterBar();
        for (const QChar letter : QStringLiteral("tcp.port == 443")) {
            bar.line()->insert(letter);
            live(5);
        }
        note("type");
        bool isFiltered = false;
        QObject::connect(&view, &DecodeView::filterProgress, &view,
                         [&](quint32, quint32, quint32, bool isDone) { isFiltered = isDone; });
        bar.apply();
        eventually([&] { return isFiltered; });
        note("filter");
        bar.clear();
        live(50);
        note("show_all");
        list.setFocus();
        view.findBar()->begin();
        view.findBar()->setText(QStringLiteral("no frame says this"));
        view.findChild<QAction*>(QStringLiteral("findNext"))->trigger();
        live(1500);
        note("find");
        view.findBar()->hide();
        view.stopSearching();
        list.setFocus();
        for (const char* command : {"last", "first", "next", "sincePrevious", "dateAndTime", "sinceFirst"}) {
            view.findChild<QAction*>(QLatin1String(command))->trigger();
            live(50);
        }
        note("go_and_times");
        list.selectAll();
        live(50);
        note("select_all");
        bool isCopied = false;
        QObject::connect(&view, &DecodeView::remarked, &view, [&] { isCopied = true; });
        view.findChild<QAction*>(QStringLiteral("copy"))->trigger();
        eventually([&] { return isCopied; });
        note("copy_100000_rows");
        for (const char* command : {"mark", "nextMark", "unmarkAll", "nextMark", "markAll", "previousMark"}) {
            view.findChild<QAction*>(QLatin1String(command))->trigger();
            live(50);
        }
        note("mark_all");
        window.open(huge);
        eventually([&] { return isScreenFull(view) && view.nodes()->frame(); });
        for (int row = 1; row < view.frames()->rowCount(); ++row) {
            list.choose(row);
            live(50);
        }
        note("frames_of_64_kB");
        view.tree()->expandAll();
        view.bytes()->verticalScrollBar()->setValue(view.bytes()->verticalScrollBar()->maximum());
        live(50);
        note("open_all_nodes");
        for (const char* command : {"copyJson", "copyTree", "copyHex", "copyDump", "copyC"}) {
            view.findChild<QAction*>(QLatin1String(command))->trigger();
            live(20);
        }
        note("copy_64_kB");
        state.counters["rows"] = view.frames()->rowCount();
    }
}
BENCHMARK_CAPTURE(Stalls, mixed, "mixed.pcap")->Unit(benchmark::kMillisecond)->Iterations(1)->UseRealTime();
BENCHMARK_CAPTURE(Stalls, small, "small.pcap")->Unit(benchmark::kMillisecond)->Iterations(1)->UseRealTime();
BENCHMARK_CAPTURE(Stalls, tenMillion, "ten-million.pcap")->Unit(benchmark::kMillisecond)->Iterations(1)->UseRealTime();

} // namespace
} // namespace netrondo

int main(int argc, char** argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    const QApplication application(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
}
