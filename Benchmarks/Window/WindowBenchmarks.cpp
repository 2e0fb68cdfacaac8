// How fast the window shows a capture, and answers the pointer on a crowded ring of 1600 by 1000 points.
//
// The captures are those of Benchmarks/compare, in the folder that NETRONDO_CAPTURES names; without it the benchmarks
// that open one are skipped.
#include "../Office.h"
#include "Capture/CaptureFile.h"
#include "Capture/Drivers/AnalyzeFile.h"
#include "Shell/MainWindow.h"
#include "Views/CircleView.h"
#include "Views/Picture.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QMouseEvent>
#include <algorithm>
#include <benchmark/benchmark.h>
#include <filesystem>
#include <random>

namespace netrondo {
namespace {

/// Lets the window live until the condition holds; false when it does not in two minutes. What happened in the window
/// meanwhile is looked at no later than a millisecond afterwards.
template <typename Condition> bool eventually(Condition condition)
{
    QElapsedTimer timer;
    timer.start();
    while (!condition() && timer.elapsed() < 120'000)
        QApplication::processEvents(QEventLoop::WaitForMoreEvents, 1);
    return condition();
}

PictureRequest crowded(bool thickness)
{
    PictureRequest request;
    request.pairs = office(2000, 10000, true);
    request.showLineThickness = thickness;
    return request;
}

void pointAt(CircleView& view, const QPointF& place)
{
    QMouseEvent move(QEvent::MouseMove, place, view.mapToGlobal(place), Qt::NoButton, Qt::NoButton, Qt::NoModifier);
    QApplication::sendEvent(&view, &move);
}

/// From a movement of the pointer to the picture painted anew. Goal: 8 ms, also for the longest.
void HoverOver20000Pairs(benchmark::State& state)
{
    Selection selection;
    CircleView view(selection);
    view.resize(1600, 1000);
    view.setVisible(true);
    view.show(crowded(state.range(0)));
    if (!eventually([&] { return view.picture() && !view.isBusy() && !view.picture()->chords.empty(); }))
        return state.SkipWithError("no picture comes");
    const auto& picture = *view.picture();
    QImage screen(1600, 1000, QImage::Format_RGB32);
    std::mt19937 random(2);
    std::uniform_real_distribution<double> share(0, 1);
    double longest = 0;
    int hits = 0;
    for (auto _ : state) {
        // Hosts in turn with places on the chords between them.
        const auto& chord = picture.chords[random() % picture.chords.size()];
        const auto from = picture.positionOf(picture.nodes()[chord.from]);
        const auto to = picture.positionOf(picture.nodes()[chord.to]);
        const auto place = hits % 2 ? from : from + (to - from) * share(random);
        QElapsedTimer timer;
        timer.start();
        pointAt(view, place);
        view.render(&screen);
        longest = std::max(longest, static_cast<double>(timer.nsecsElapsed()) / 1e6);
        if (!view.hovered())
            return state.SkipWithError("the pointer is on nothing");
        ++hits;
    }
    state.counters["longest_ms"] = longest;
}
BENCHMARK(HoverOver20000Pairs)->ArgName("thickness")->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->UseRealTime();

/// Laid out, composed, drawn: what happens in the background before the window can show another picture.
void ComposeAndDraw20000Pairs(benchmark::State& state)
{
    auto request = crowded(true);
    request.size = {1600, 1000};
    for (auto _ : state)
        benchmark::DoNotOptimize(Picture(request).image.constBits());
}
BENCHMARK(ComposeAndDraw20000Pairs)->Unit(benchmark::kMillisecond)->UseRealTime();

std::optional<QString> capture(const char* name)
{
    const auto folder = qEnvironmentVariable("NETRONDO_CAPTURES");
    const auto path = folder + QLatin1Char('/') + QLatin1String(name);
    return !folder.isEmpty() && std::filesystem::exists(path.toStdString()) ? std::optional(path) : std::nullopt;
}

/// The analysis alone, as `netrondo analyze` does it: what the next one is held against.
void AnalyzeAlone(benchmark::State& state, const char* name)
{
    const auto path = capture(name);
    if (!path)
        return state.SkipWithError("NETRONDO_CAPTURES names no folder that holds the capture");
    for (auto _ : state) {
        auto reader = CaptureFile::open(path->toStdString());
        const auto result = CaptureFile::analyze(**reader, AnalysisMode::l3IP, ExpertPreferences{}, {}, {});
        benchmark::DoNotOptimize(result->totalPackets);
    }
}
BENCHMARK_CAPTURE(AnalyzeAlone, mixed, "mixed.pcap")->Unit(benchmark::kMillisecond)->Iterations(3)->UseRealTime();
BENCHMARK_CAPTURE(AnalyzeAlone, small, "small.pcap")->Unit(benchmark::kMillisecond)->Iterations(3)->UseRealTime();

/// From the wish to open a file to its first picture, painted. Goal: 1.2 times `netrondo analyze`. `blocked_ms` is the
/// longest that the window's thread was away from its events.
void FirstPicture(benchmark::State& state, const char* name)
{
    const auto path = capture(name);
    if (!path)
        return state.SkipWithError("NETRONDO_CAPTURES names no folder that holds the capture");
    double blocked = 0;
    for (auto _ : state) {
        MainWindow window;
        window.resize(1600, 1000);
        window.show();
        auto& circle = *window.findChild<CircleView*>();
        QImage screen(circle.size(), QImage::Format_RGB32);
        window.open(*path);
        QElapsedTimer away;
        const auto isThere = [&] {
            if (away.isValid())
                blocked = std::max(blocked, static_cast<double>(away.nsecsElapsed()) / 1e6);
            const bool there = circle.picture() && !circle.picture()->chords.empty();
            away.start();
            return there;
        };
        if (!eventually(isThere))
            return state.SkipWithError("no picture comes");
        circle.render(&screen);
        state.PauseTiming();
        window.close();
        state.ResumeTiming();
    }
    state.counters["blocked_ms"] = blocked;
}
BENCHMARK_CAPTURE(FirstPicture, mixed, "mixed.pcap")->Unit(benchmark::kMillisecond)->Iterations(3)->UseRealTime();
BENCHMARK_CAPTURE(FirstPicture, small, "small.pcap")->Unit(benchmark::kMillisecond)->Iterations(3)->UseRealTime();

} // namespace
} // namespace netrondo

int main(int argc, char** argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    const QApplication application(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
}
