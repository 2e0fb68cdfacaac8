#include "NetrondoApp/Support/PictureGolden.h"

#include "Drawing/ScenePainter.h"

#include <QDir>
#include <QPainter>
#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace netrondo::test {
namespace {

constexpr int visible = 16; // of 255, in a blurred pixel
constexpr int tolerated = 40;

/// The mean of each pixel and its eight neighbours.
QImage blurred(const QImage& image)
{
    QImage soft(image.size(), QImage::Format_RGB32);
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x) {
            int red = 0, green = 0, blue = 0;
            for (int dy = -1; dy <= 1; ++dy)
                for (int dx = -1; dx <= 1; ++dx) {
                    const auto pixel = image.pixel(std::clamp(x + dx, 0, image.width() - 1),
                                                   std::clamp(y + dy, 0, image.height() - 1));
                    red += qRed(pixel);
                    green += qGreen(pixel);
                    blue += qBlue(pixel);
                }
            soft.setPixel(x, y, qRgb(red / 9, green / 9, blue / 9));
        }
    return soft;
}

} // namespace

QImage drawnWithoutLetters(CircleScene scene)
{
    for (const auto& label : scene.labels) {
        const double width = approximateTextWidth(label.text, label.size, label.isBold);
        const double from = label.align == SceneLabel::Align::start ? 0
            : label.align == SceneLabel::Align::middle              ? -width / 2
                                                                    : -width;
        const auto along = [&](double way) {
            return Point{label.at.x + way * std::cos(label.angle), label.at.y + way * std::sin(label.angle)};
        };
        scene.lines.push_back({along(from), along(from + width), 0.6 * label.size, {label.color.rgb, 0.5}});
    }
    scene.labels.clear();
    QImage image(static_cast<int>(scene.size.width), static_cast<int>(scene.size.height), QImage::Format_RGB32);
    QPainter painter(&image);
    play(scene, painter);
    return image;
}

PictureDifference difference(const QImage& a, const QImage& b)
{
    const auto softA = blurred(a), softB = blurred(b);
    PictureDifference found;
    for (int y = 0; y < a.height(); ++y)
        for (int x = 0; x < a.width(); ++x) {
            const auto p = softA.pixel(x, y), q = softB.pixel(x, y);
            const int differs =
                std::max({std::abs(qRed(p) - qRed(q)), std::abs(qGreen(p) - qGreen(q)), std::abs(qBlue(p) - qBlue(q))});
            found.differ += differs > visible;
            if (differs > found.most) {
                found.most = differs;
                found.where = {x, y};
            }
        }
    return found;
}

bool isSame(const PictureDifference& difference)
{
    return difference.most <= tolerated && difference.differ <= 20;
}

void expectGoldenPicture(const std::string& name, const QImage& actual)
{
    const auto path = QStringLiteral(NETRONDO_SOURCE_DIR "/Tests/Golden/Pictures/%1.png").arg(name.c_str());
    if (std::getenv("NETRONDO_REWRITE_GOLDEN")) {
        ASSERT_TRUE(actual.save(path)) << path.toStdString();
        return;
    }
    const QImage expected(path);
    ASSERT_EQ(expected.size(), actual.size()) << path.toStdString();
    const auto found = difference(expected, actual);
    if (isSame(found))
        return;
    const auto seen = QDir::temp().filePath(QStringLiteral("netrondo-%1.png").arg(name.c_str()));
    actual.save(seen);
    ADD_FAILURE() << path.toStdString() << ": " << found.differ << " pixels differ, most by " << found.most << " at "
                  << found.where.x() << "," << found.where.y() << "; the picture of today is " << seen.toStdString()
                  << ". The target `golden` takes it as it is.";
}

} // namespace netrondo::test
