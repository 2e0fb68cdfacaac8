// Plays a scene onto a QPainter.
#include "Drawing/ScenePainter.h"

#include <QFontDatabase>
#include <QFontInfo>
#include <QFontMetricsF>
#include <QImage>
#include <QPaintEngine>
#include <QPainter>
#include <QPainterPath>
#include <map>
#include <numbers>
#include <utility>

namespace netrondo {
namespace {

constexpr int screenDots = 96;

QColor colorOf(const SceneColor& color)
{
    QColor made(color.rgb.r, color.rgb.g, color.rgb.b);
    made.setAlphaF(static_cast<float>(color.alpha));
    return made;
}

QPointF at(const Point& point)
{
    return {point.x, point.y};
}

/// The first of the usual sans-serifs that is installed. It is looked up once and by name, so that an SVG names the
/// font whose letters were measured.
const QString& family()
{
    static const QString found = [] {
        const auto installed = QFontDatabase::families();
        for (const auto* name : {"Inter", "Noto Sans", "DejaVu Sans", "Liberation Sans"})
            if (installed.contains(QLatin1String(name)))
                return QString::fromLatin1(name);
        QFont font;
        font.setStyleHint(QFont::SansSerif);
        return QFontInfo(font).family();
    }();
    return found;
}

QPen penFor(double width, const SceneColor& color, bool isRaster)
{
    QPen pen(colorOf(color), width, Qt::SolidLine, Qt::FlatCap);
    // On pixels a hairline has a way of its own to be drawn, many times as fast.
    if (isRaster && width <= 1)
        pen.setCosmetic(true);
    return pen;
}

void drawLabel(const SceneLabel& label, QPainter& painter)
{
    const auto font = sceneFont(label.size, label.isBold, painter.device()->logicalDpiY());
    const auto text = QString::fromStdString(label.text);
    const double width = sceneTextWidth(label.text, label.size, label.isBold);
    const double shift = label.align == SceneLabel::Align::start ? 0
        : label.align == SceneLabel::Align::middle               ? -width / 2
                                                                 : -width;
    // Half the height of capitals below the point: digits and names stand level with their disc.
    const QPointF origin(shift, 0.36 * label.size);
    painter.setFont(font);
    painter.setPen(colorOf(label.color));
    if (label.angle == 0) {
        painter.drawText(at(label.at) + origin, text);
        return;
    }
    painter.save();
    painter.translate(at(label.at));
    painter.rotate(label.angle * 180 / std::numbers::pi);
    painter.drawText(origin, text);
    painter.restore();
}

} // namespace

QFont sceneFont(double size, bool isBold, int dotsPerInch)
{
    QFont font(family());
    font.setPointSizeF(size * 72 / dotsPerInch);
    font.setHintingPreference(QFont::PreferNoHinting); // the same widths on every device and at every angle
    if (isBold)
        font.setWeight(QFont::DemiBold);
    return font;
}

double sceneTextWidth(std::string_view text, double size, bool isBold)
{
    thread_local std::map<std::pair<double, bool>, QFontMetricsF> metrics;
    auto known = metrics.find({size, isBold});
    if (known == metrics.end()) {
        QImage device(1, 1, QImage::Format_RGB32);
        device.setDotsPerMeterX(static_cast<int>(screenDots / 0.0254));
        device.setDotsPerMeterY(static_cast<int>(screenDots / 0.0254));
        known =
            metrics
                .emplace(std::pair(size, isBold), QFontMetricsF(sceneFont(size, isBold, device.logicalDpiY()), &device))
                .first;
    }
    return known->second.horizontalAdvance(QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size())));
}

void play(const CircleScene& scene, QPainter& painter)
{
    const bool isRaster = painter.paintEngine() && painter.paintEngine()->type() == QPaintEngine::Raster;
    painter.save();
    painter.setRenderHints(QPainter::Antialiasing | QPainter::TextAntialiasing);
    painter.fillRect(QRectF(0, 0, scene.size.width, scene.size.height), colorOf(scene.ground));
    for (const auto& line : scene.lines) {
        painter.setPen(penFor(line.width, line.color, isRaster));
        painter.drawLine(at(line.from), at(line.to));
    }
    painter.setBrush(Qt::NoBrush);
    for (const auto& curve : scene.curves) {
        QPainterPath path(at(curve.points[0]));
        path.cubicTo(at(curve.points[1]), at(curve.points[2]), at(curve.points[3]));
        painter.setPen(penFor(curve.width, curve.color, false));
        painter.drawPath(path);
    }
    for (const auto& disc : scene.discs) {
        painter.setBrush(disc.fill.alpha > 0 ? QBrush(colorOf(disc.fill)) : QBrush(Qt::NoBrush));
        painter.setPen(disc.outlineWidth > 0 ? QPen(colorOf(disc.outline), disc.outlineWidth) : QPen(Qt::NoPen));
        painter.drawEllipse(at(disc.center), disc.radius, disc.radius);
    }
    painter.setPen(Qt::NoPen);
    for (const auto& box : scene.boxes) {
        painter.setBrush(colorOf(box.fill));
        painter.drawRoundedRect(QRectF(at(box.origin), QSizeF(box.size.width, box.size.height)), box.corner,
                                box.corner);
    }
    for (const auto& label : scene.labels)
        drawLabel(label, painter);
    painter.restore();
}

} // namespace netrondo
