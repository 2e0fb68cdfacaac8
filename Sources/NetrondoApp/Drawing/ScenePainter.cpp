// Plays a scene onto a QPainter.
#include "Drawing/ScenePainter.h"

#include "Drawing/RasterShapes.h"

#include <QFontDatabase>
#include <QFontInfo>
#include <QFontMetricsF>
#include <QImage>
#include <QPainter>
#include <QPainterPath>
#include <algorithm>
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

QPen penFor(double width, const SceneColor& color)
{
    return {colorOf(color), width, Qt::SolidLine, Qt::FlatCap};
}

/// The image that the painter paints on as it is, without turning or clipping; null when that is something else.
QImage* plainImage(const QPainter& painter)
{
    const auto transform = painter.deviceTransform();
    if (painter.device()->devType() != QInternal::Image || painter.hasClipping() || painter.opacity() < 1
        || transform.type() > QTransform::TxScale || transform.m11() != transform.m22())
        return nullptr;
    auto* const image = static_cast<QImage*>(painter.device());
    return isRaster(*image) ? image : nullptr;
}

/// A curve as lines so short that its bends do not show.
void flatten(const SceneCurve& curve, std::vector<SceneLine>& into)
{
    const auto& [a, b, c, d] = curve.points;
    const double length = distance(a, b) + distance(b, c) + distance(c, d);
    const int steps = std::clamp(static_cast<int>(length / 12), 4, 64);
    auto from = a;
    for (int i = 1; i <= steps; ++i) {
        const double t = static_cast<double>(i) / steps, u = 1 - t;
        const Point to{u * u * u * a.x + 3 * u * u * t * b.x + 3 * u * t * t * c.x + t * t * t * d.x,
                       u * u * u * a.y + 3 * u * u * t * b.y + 3 * u * t * t * c.y + t * t * t * d.y};
        into.push_back({from, to, curve.width, curve.color});
        from = to;
    }
}

void drawCurve(const SceneCurve& curve, QPainter& painter)
{
    QPainterPath path(at(curve.points[0]));
    path.cubicTo(at(curve.points[1]), at(curve.points[2]), at(curve.points[3]));
    painter.setPen(penFor(curve.width, curve.color));
    painter.drawPath(path);
}

void drawDisc(const SceneDisc& disc, QPainter& painter)
{
    painter.setBrush(disc.fill.alpha > 0 ? QBrush(colorOf(disc.fill)) : QBrush(Qt::NoBrush));
    painter.setPen(disc.outlineWidth > 0 ? QPen(colorOf(disc.outline), disc.outlineWidth) : QPen(Qt::NoPen));
    painter.drawEllipse(at(disc.center), disc.radius, disc.radius);
}

void drawPolygon(const ScenePolygon& polygon, QPainter& painter)
{
    QPolygonF points;
    for (const auto& point : polygon.points)
        points << at(point);
    if (polygon.outlineWidth > 0 && polygon.outline.alpha > 0) {
        painter.setBrush(Qt::NoBrush);
        painter.setPen(QPen(colorOf(polygon.outline), 2 * polygon.outlineWidth, Qt::SolidLine, Qt::FlatCap,
                            Qt::RoundJoin)); // half of it is covered by the fill
        painter.drawPolygon(points);
    }
    painter.setPen(Qt::NoPen);
    painter.setBrush(colorOf(polygon.fill));
    painter.drawPolygon(points);
}

/// Lines, curves and discs of thousands, into an image's own pixels. Wide curves and rings are few and are painted.
void drawCrowd(const CircleScene& scene, QImage& image, QPainter& painter)
{
    const auto transform = painter.deviceTransform();
    const RasterPlacing placing{transform.m11(), transform.dx(), transform.dy()};
    drawLines(image, placing, scene.lines);
    constexpr double thin = 2.5;
    std::vector<SceneLine> run;
    painter.setBrush(Qt::NoBrush);
    for (const auto& curve : scene.curves) {
        if (curve.width <= thin) {
            flatten(curve, run);
            continue;
        }
        drawLines(image, placing, run);
        run.clear();
        drawCurve(curve, painter);
    }
    drawLines(image, placing, run);
    for (const auto& disc : scene.discs)
        if (disc.fill.alpha <= 0)
            drawDisc(disc, painter);
    drawDiscs(image, placing, scene.discs);
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
    painter.save();
    painter.setRenderHints(QPainter::Antialiasing | QPainter::TextAntialiasing);
    painter.fillRect(QRectF(0, 0, scene.size.width, scene.size.height), colorOf(scene.ground));
    if (auto* const image = plainImage(painter)) {
        drawCrowd(scene, *image, painter);
    } else {
        for (const auto& line : scene.lines) {
            painter.setPen(penFor(line.width, line.color));
            painter.drawLine(at(line.from), at(line.to));
        }
        painter.setBrush(Qt::NoBrush);
        for (const auto& curve : scene.curves)
            drawCurve(curve, painter);
        for (const auto& disc : scene.discs)
            drawDisc(disc, painter);
    }
    for (const auto& polygon : scene.polygons)
        drawPolygon(polygon, painter);
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
