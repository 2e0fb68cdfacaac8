// Lines and discs in pixels, beside those of a general painter.
#include "Drawing/RasterShapes.h"

#include <QImage>
#include <QPainter>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <random>

namespace netrondo::test {
namespace {

constexpr int side = 200;

QImage ground()
{
    QImage image(side, side, QImage::Format_RGB32);
    image.fill(Qt::white);
    return image;
}

/// How much darker than white an image is, all its pixels together, in pixels of black.
double ink(const QImage& image)
{
    double sum = 0;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            sum += 1 - qGreen(image.pixel(x, y)) / 255.0;
    return sum;
}

QImage painted(const SceneLine& line)
{
    auto image = ground();
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    QColor color(line.color.rgb.r, line.color.rgb.g, line.color.rgb.b);
    color.setAlphaF(static_cast<float>(line.color.alpha));
    painter.setPen(QPen(color, line.width, Qt::SolidLine, Qt::FlatCap));
    painter.drawLine(QPointF(line.from.x, line.from.y), QPointF(line.to.x, line.to.y));
    return image;
}

TEST(RasterShapes, LinesOfAnyWidthAndDirectionHaveTheInkOfTheirArea)
{
    for (const double width : {1.0, 1.4, 2.0, 2.7, 5.0, 10.0})
        for (int degrees = 0; degrees < 180; degrees += 7)
            for (const double alpha : {0.07, 0.3, 0.7, 1.0}) {
                const double angle = degrees * 3.14159265 / 180, reach = 70;
                const SceneLine line{{100.3 - reach * std::cos(angle), 99.6 - reach * std::sin(angle)},
                                     {100.3 + reach * std::cos(angle), 99.6 + reach * std::sin(angle)},
                                     width,
                                     {{0, 0, 0}, alpha}};
                auto image = ground();
                drawLines(image, {}, std::span(&line, 1));
                const double expected = width * 2 * reach * alpha;
                EXPECT_NEAR(ink(image) / expected, 1, 0.04) << width << " wide at " << degrees << "°, alpha " << alpha;
            }
}

TEST(RasterShapes, LinesLieWhereThePainterHasThem)
{
    const SceneLine line{{20, 30}, {180, 150}, 6, {{0, 0, 0}, 1}};
    auto image = ground();
    drawLines(image, {}, std::span(&line, 1));
    const auto expected = painted(line);
    for (int y = 0; y < side; ++y)
        for (int x = 30; x < 170; ++x) // the ends are cut a little differently
            EXPECT_NEAR(qGreen(image.pixel(x, y)), qGreen(expected.pixel(x, y)), 40) << x << "," << y;
}

TEST(RasterShapes, ManyFaintLinesDoNotDarkenOrColourWhatTheyDoNotCover)
{
    const std::vector<SceneLine> lines(500, {{0, 100}, {200, 100}, 1, {{255, 255, 255}, 0.07}});
    auto image = ground();
    drawLines(image, {}, lines);
    EXPECT_EQ(ink(image), 0);
}

TEST(RasterShapes, NothingIsWrittenOutsideOfTheImage)
{
    std::mt19937 random(3);
    std::uniform_real_distribution<double> anywhere(-5000, 5000);
    std::uniform_real_distribution<double> width(0.1, 30);
    std::vector<SceneLine> lines;
    std::vector<SceneDisc> discs;
    for (int i = 0; i < 2000; ++i) {
        lines.push_back({{anywhere(random), anywhere(random)},
                         {anywhere(random), anywhere(random)},
                         width(random),
                         {{10, 20, 30}, 0.5}});
        discs.push_back(
            {{anywhere(random) / 20, anywhere(random) / 20}, width(random), {{9, 9, 9}, 1}, 2, {{1, 1, 1}, 1}});
    }
    const double infinite = std::numeric_limits<double>::infinity();
    lines.push_back({{infinite, 0}, {0, 0}, 1, {}});
    lines.push_back({{std::nan(""), 0}, {0, 0}, 1, {}});
    lines.push_back({{5, 5}, {5, 5}, 1, {}});
    discs.push_back({{infinite, 0}, 5, {}, 0, {}});
    // The image lies in the middle of a larger piece of memory, whose rest must stay as it is.
    constexpr std::uint32_t untouched = 0xdeadbeef;
    std::vector<std::uint32_t> memory(3 * side * side, untouched);
    QImage image(reinterpret_cast<uchar*>(memory.data() + side * side), side, side, QImage::Format_RGB32);
    image.fill(Qt::white);
    drawLines(image, {}, lines);
    drawDiscs(image, {}, discs);
    EXPECT_GT(ink(image), 100);
    for (std::size_t i = 0; i < side * side; ++i) {
        ASSERT_EQ(memory[i], untouched) << i;
        ASSERT_EQ(memory[2 * side * side + i], untouched) << i;
    }
}

TEST(RasterShapes, ADiscHasItsAreaAndItsRim)
{
    const SceneDisc disc{{100, 100}, 20, {{0, 0, 0}, 1}, 4, {{0, 0, 0}, 1}};
    auto image = ground();
    drawDiscs(image, {}, std::span(&disc, 1));
    EXPECT_NEAR(ink(image), 3.14159265 * 22 * 22, 15);
}

} // namespace
} // namespace netrondo::test
