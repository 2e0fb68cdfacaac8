// How fast the circle is drawn on a screen of 1600 by 1000 points.
#include "../Office.h"
#include "Circle/CircleLayout.h"
#include "Drawing/ScenePainter.h"

#include <QGuiApplication>
#include <QImage>
#include <QPainter>
#include <benchmark/benchmark.h>

namespace netrondo {
namespace {

CircleLayout layoutOf(std::vector<CommPair> pairs, bool thickness)
{
    return CircleLayout(
        {.size = {1600, 1000}, .pairs = std::move(pairs), .showLineThickness = thickness, .ringInset = 90});
}

void draw(benchmark::State& state, const CircleScene& scene)
{
    QImage screen(1600, 1000, QImage::Format_RGB32);
    for (auto _ : state) {
        QPainter painter(&screen);
        play(scene, painter);
    }
    if (screen.pixel(800, 500) == screen.pixel(0, 0))
        state.SkipWithError("nothing crosses the middle of the picture");
}

/// Goal: 30 ms.
void Draw2000HostsAnd20000Pairs(benchmark::State& state)
{
    const auto layout = layoutOf(office(2000, 20000, false), state.range(0));
    draw(state, circleScene(layout, {}, sceneTextWidth));
}
BENCHMARK(Draw2000HostsAnd20000Pairs)
    ->ArgName("thickness")
    ->Arg(0)
    ->Arg(1)
    ->Unit(benchmark::kMillisecond)
    ->MeasureProcessCPUTime()
    ->UseRealTime();

void DrawTheLabelsOf2000Hosts(benchmark::State& state)
{
    auto scene = circleScene(layoutOf(office(2000, 20000, false), false), {}, sceneTextWidth);
    scene.lines.resize(1);
    scene.lines[0] = {{0, 500}, {1600, 500}, 2, {{255, 0, 0}, 1}};
    scene.discs.clear();
    state.counters["labels"] = static_cast<double>(scene.labels.size());
    draw(state, scene);
}
BENCHMARK(DrawTheLabelsOf2000Hosts)->Unit(benchmark::kMillisecond);

void MakeTheSceneOf2000HostsAnd20000Pairs(benchmark::State& state)
{
    const auto layout = layoutOf(office(2000, 20000, false), false);
    for (auto _ : state)
        benchmark::DoNotOptimize(circleScene(layout, {}, sceneTextWidth));
}
BENCHMARK(MakeTheSceneOf2000HostsAnd20000Pairs)->Unit(benchmark::kMillisecond);

} // namespace
} // namespace netrondo

int main(int argc, char** argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    const QGuiApplication application(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
}
