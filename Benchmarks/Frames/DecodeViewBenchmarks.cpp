// How long the decode view takes until its first screen stands, and to stand anywhere else in a large capture.
//
// The captures are those of Benchmarks/compare, in the folder that NETRONDO_CAPTURES names; without it there is nothing
// to measure.
#include "Models/FrameListModel.h"
#include "Views/DecodeView.h"
#include "Views/FrameListView.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QScrollBar>
#include <algorithm>
#include <benchmark/benchmark.h>
#include <filesystem>
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

} // namespace
} // namespace netrondo

int main(int argc, char** argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    const QApplication application(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
}
